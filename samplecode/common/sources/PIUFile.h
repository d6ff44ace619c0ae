#pragma once

#include "PIHostInterface.h"

// A host alias for a full path, made by the host's alias suite. The alias is
// null when the host cannot make one. The caller disposes of it through the
// handle suite.
SPErr FullPathToAlias(const char* path, PIHandle& alias);
