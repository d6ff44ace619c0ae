#pragma once

#include "PIHostInterface.h"
#include "QDString.h"

// Has the host export the current 3D layer's model as OBJ to path (the host
// names the texture files it writes beside it). Returns the first host error.
SPErr Playexport3DModel(char* path, int format);

// Get and set events on the target layer; the set renames it to "renomage".
// Kept for the exchange's other tools; the plug-in's run does not play them.
SPErr PlayeventGet();
SPErr PlayeventSet();

// No script runner is offered to this plug-in: result is cleared and the call
// reports a bad parameter.
SPErr PlayJavaScript(const QDString& script, QDString& result);
