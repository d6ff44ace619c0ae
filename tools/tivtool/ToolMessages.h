#pragma once

// tivtool's two kinds of complaint, shared by its commands; each returns the
// exit status its command gives for it.

#include <cstdio>
#include <string>

inline int reportUsageError(const std::string& message, int status)
{
    fprintf(stderr, "tivtool: %s (tivtool --help for usage)\n", message.c_str());
    return status;
}

inline int reportFileError(const std::string& path, const std::string& reason, int status)
{
    fprintf(stderr, "tivtool: %s: %s\n", path.c_str(), reason.c_str());
    return status;
}
