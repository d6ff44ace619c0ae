#pragma once

#include "PIHostInterface.h"

// One run of the plug-in: tidy the default project folder, ask the host for the
// current layer's name, have it export the layer as OBJ and send that to the
// sculpting application. Always returns 0; only a suite the host refuses ends
// the run early, by an exception for the entry point to catch.
SPErr DoIt(PSActionsPlugInMessage* message);
