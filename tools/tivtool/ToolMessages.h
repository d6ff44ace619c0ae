#pragma once

// tivtool's kinds of complaint, shared by its commands; each returns the exit
// status its command gives for it.

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

// What tivtool is doing, and to which file, so that memory running out can be
// said as the step it stopped: "read", "write" or "draw".
struct ToolStep
{
    const char* verb = "read";
    std::string path;
};

inline ToolStep& currentStep()
{
    static ToolStep step;
    return step;
}

inline void beginStep(const char* verb, const std::string& path)
{
    currentStep().verb = verb;
    currentStep().path = path;
}

inline int reportOutOfMemory(int status)
{
    const ToolStep& step = currentStep();
    fprintf(stderr, "tivtool: %s: not enough memory to %s it\n", step.path.c_str(), step.verb);
    return status;
}
