#pragma once

// Whole runs in the sandbox exchange folder: laying it out afresh, running the
// simulated editor, and reading what the stand-ins recorded.

#include "TestSupport.h"

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

inline std::string sandboxRoot()
{
    return TIV_SANDBOX_ROOT;
}
inline std::string defaultProjectFolder()
{
    return sandboxRoot() + "/TivProjects/Default";
}
inline std::string morvelFolder()
{
    return sandboxRoot() + "/TivMorvel";
}
inline std::string scriptFolder()
{
    return sandboxRoot() + "/TivApps/Photoshop";
}
inline std::string applicationsFolder()
{
    return std::filesystem::path(sandboxRoot()).parent_path().string() + "/Applications";
}
inline std::string morvelArguments()
{
    return applicationsFolder() + "/Morvel_Arguments.txt";
}
inline std::string morvelSummary()
{
    return applicationsFolder() + "/Morvel_Summary.txt";
}
inline std::string launcherArguments()
{
    return morvelFolder() + "/TivMorvelFromApp_Arguments.txt";
}

// A fresh exchange tree with the stand-in applications configured in it.
inline void layOutSandbox()
{
    std::string command =
        std::string("'") + TIV_CMAKE_COMMAND + "' -P '" + TIV_SANDBOX_LAYOUT + "' > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    ASSERT_TRUE(std::filesystem::is_directory(defaultProjectFolder()));
}

inline bool exists(const std::string& path)
{
    return std::filesystem::exists(path);
}

inline std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        out.push_back(line);
    return out;
}

// The stand-in application runs detached from the plug-in: its report arrives
// when it is done.
inline bool waitForFile(const std::string& path, int seconds = 30)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!exists(path))
    {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// A record that a detached stand-in appends to: its content once it matches,
// or as it stands when the wait runs out.
inline std::string waitForContent(const std::string& path, const std::string& expected,
                                  int seconds = 30)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::string content = readBytes(path);
    while (content != expected && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        content = readBytes(path);
    }
    return content;
}

struct ProcessResult
{
    int exitCode = -1;
    std::string output;
};

// Runs a program without a shell (arguments pass as they are), in the given
// folder, and collects its standard output and error.
inline ProcessResult runProcess(const std::vector<std::string>& arguments,
                                const std::string& folder)
{
    ProcessResult result;
    int channel[2];
    if (pipe(channel) != 0) return result;
    pid_t child = fork();
    if (child == 0)
    {
        dup2(channel[1], 1);
        dup2(channel[1], 2);
        close(channel[0]);
        close(channel[1]);
        if (chdir(folder.c_str()) != 0) _exit(126);
        std::vector<char*> argv;
        for (const std::string& a : arguments)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(channel[1]);
    char buffer[4096];
    ssize_t n;
    while ((n = read(channel[0], buffer, sizeof(buffer))) > 0)
        result.output.append(buffer, size_t(n));
    close(channel[0]);
    int status = 0;
    if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    return result;
}

// tiv-host with the sandbox module, from the given working folder.
inline ProcessResult runHost(std::vector<std::string> arguments, const std::string& folder)
{
    arguments.insert(arguments.begin(), {TIV_HOST_EXE, "--plugin", TIV_PLUGIN_MODULE});
    return runProcess(arguments, folder);
}
