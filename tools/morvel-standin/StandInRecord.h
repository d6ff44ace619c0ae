#pragma once

// What both stand-ins share: where they keep their records, and the record of
// every start with its arguments.

#include <cstdio>
#include <string>
#include <unistd.h>

// ".../Name.app/Contents/MacOS/Name" -> ".../Name"; an executable outside a
// bundle keeps its own path. Records are kept under that stem, beside the bundle.
inline std::string recordStem(const char* argv0)
{
    char buffer[4096];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
    std::string exe = n > 0 ? std::string(buffer, size_t(n)) : std::string(argv0 ? argv0 : "");
    std::string marker = ".app/Contents/MacOS/";
    size_t at = exe.rfind(marker);
    if (at != std::string::npos) return exe.substr(0, at);
    return exe;
}

// One line per start: the arguments separated by tabs (an empty line when
// there were none).
inline void recordArguments(const std::string& stem, int argc, char** argv)
{
    std::string line;
    for (int i = 1; i < argc; ++i)
    {
        if (i > 1) line += '\t';
        line += argv[i];
    }
    line += '\n';
    if (FILE* f = fopen((stem + "_Arguments.txt").c_str(), "a"))
    {
        fwrite(line.data(), 1, line.size(), f);
        fclose(f);
    }
}
