#pragma once

// Stand-in applications and exchange folder trees for tests that launch
// processes: a stand-in is a bundle folder whose executable is a small shell
// script that appends one line per run to a record file.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace sandbox
{
namespace fs = std::filesystem;

inline void writeText(const std::string& path, const std::string& text)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

inline std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Writes an executable shell script. `body` runs after the record line is
// written, e.g. "sleep 30" for a stand-in that keeps running.
inline void writeRecordingScript(const std::string& scriptPath, const std::string& recordFile,
                                 const std::string& body = "")
{
    writeText(scriptPath, "#!/bin/sh\n"
                          "line=run\n"
                          "for a in \"$@\"; do line=\"$line\t$a\"; done\n"
                          "printf '%s\\n' \"$line\" >> '" +
                              recordFile + "'\n" + body + "\n");
    fs::permissions(scriptPath, fs::perms::owner_all | fs::perms::group_read |
                                    fs::perms::group_exec | fs::perms::others_read |
                                    fs::perms::others_exec);
}

// The executable of a bundle: Contents/MacOS/<bundle name without ".app">.
inline std::string bundleExecutable(const std::string& bundlePath)
{
    std::string name = fs::path(bundlePath).filename().string();
    return bundlePath + "/Contents/MacOS/" + name.substr(0, name.size() - 4);
}

// Makes `bundlePath` (ending in ".app") a stand-in that records its runs.
inline void makeStandInBundle(const std::string& bundlePath, const std::string& recordFile,
                              const std::string& body = "")
{
    fs::remove_all(bundlePath);
    writeRecordingScript(bundleExecutable(bundlePath), recordFile, body);
}

// One entry per run; each entry holds the arguments of that run.
inline std::vector<std::vector<std::string>> readRuns(const std::string& recordFile)
{
    std::vector<std::vector<std::string>> runs;
    std::istringstream lines(readText(recordFile));
    std::string line;
    while (std::getline(lines, line))
    {
        std::vector<std::string> args;
        std::istringstream fields(line);
        std::string field;
        std::getline(fields, field, '\t'); // "run"
        while (std::getline(fields, field, '\t'))
            args.push_back(field);
        runs.push_back(args);
    }
    return runs;
}

// Detached launches record asynchronously: wait (bounded) until `count` runs
// are recorded, and return what is there.
inline std::vector<std::vector<std::string>> waitForRuns(const std::string& recordFile,
                                                         size_t count, double seconds = 20.0)
{
    auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(long(seconds * 1000.0));
    auto runs = readRuns(recordFile);
    while (runs.size() < count && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        runs = readRuns(recordFile);
    }
    return runs;
}

// The exchange folder tree under `root`, with the stand-ins of a send: the
// sculpting application at root/Apps/Morvel.app (configured as PATH unless
// `configureMorvel` is false) and the launcher in TivMorvel. Records go to
// root/records/morvel.txt and root/records/launcher.txt, emptied here.
struct ExchangeTree
{
    std::string root;
    std::string morvelApp;
    std::string morvelRecord;
    std::string launcherRecord;
    std::string defaultProject;

    explicit ExchangeTree(const std::string& rootFolder) : root(rootFolder)
    {
        morvelApp = root + "/Apps/Morvel.app";
        morvelRecord = root + "/records/morvel.txt";
        launcherRecord = root + "/records/launcher.txt";
        defaultProject = root + "/TivProjects/Default";
    }

    void create(bool configureMorvel = true) const
    {
        fs::create_directories(root + "/TivApps/Photoshop");
        fs::create_directories(root + "/TivMorvel");
        fs::create_directories(defaultProject);
        fs::create_directories(root + "/records");
        fs::remove(morvelRecord);
        fs::remove(launcherRecord);
        makeStandInBundle(morvelApp, morvelRecord);
        makeStandInBundle(root + "/TivMorvel/TivMorvelFromApp.app", launcherRecord);
        configure(configureMorvel);
    }

    void configure(bool configureMorvel) const
    {
        writeText(root + "/TivMorvel/Tiv_Config.txt",
                  configureMorvel ? "PATH = \"" + morvelApp + "\"\n" : "OTHER = 1\n");
    }

    std::string photoshopScript(const std::string& name) const
    {
        return root + "/TivApps/Photoshop/" + name;
    }
};
} // namespace sandbox
