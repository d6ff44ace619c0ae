#include "PIUFile.h"

#include "PIUSuites.h"

SPErr FullPathToAlias(const char* path, PIHandle& alias)
{
    alias = nullptr;
    if (path == nullptr) return kSPBadParameterError;
    SPErr error = sPSAlias->MacNewAliasFromCString(path, &alias);
    if (error != kSPNoError) alias = nullptr;
    return error;
}
