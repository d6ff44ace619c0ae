#pragma once

// Stand-in applications and exchange folder trees for tests that launch
// processes. A stand-in is a bundle whose executable is a shell script that
// appends one line per run to a record file.

#include "QDTiv.h"
#include "TestSupport.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <thread>
#include <vector>

namespace sandbox
{
typedef std::vector<std::vector<std::string>> Runs;

// The record line is "run" and a tab before each argument, so that an empty
// argument is told from none; `body` runs after it.
inline void writeRecordingScript(const std::string& script, const std::string& record,
                                 const std::string& body = "")
{
    writeBytes(script, "#!/bin/sh\nline=run\nfor a in \"$@\"; do line=\"$line\t$a\"; done\n"
                       "printf '%s\\n' \"$line\" >> '" +
                           record + "'\n" + body + "\n");
    std::filesystem::permissions(script, std::filesystem::perms(0755));
}

// The executable of a bundle: Contents/MacOS/<bundle name without ".app">.
inline std::string bundleExecutable(const std::string& bundle)
{
    std::string name = std::filesystem::path(bundle).stem().string();
    return bundle + "/Contents/MacOS/" + name;
}

// Detached processes write their records late: the text of the file once
// `done` accepts it, or as it stands after 30 s.
template <typename Done> std::string waitForText(const std::string& path, Done done)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string text = readBytes(path);
    while (!done(text) && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        text = readBytes(path);
    }
    return text;
}

// The runs in a record, each with its arguments, once there are `count`.
inline Runs waitForRuns(const std::string& record, size_t count = 0)
{
    std::istringstream lines(
        waitForText(record, [count](const std::string& text)
                    { return size_t(std::count(text.begin(), text.end(), '\n')) >= count; }));
    Runs runs;
    for (std::string line; std::getline(lines, line);)
    {
        runs.emplace_back(); // the fields after "run"
        for (size_t at = line.find('\t'); at != std::string::npos; at = line.find('\t', at + 1))
            runs.back().push_back(line.substr(at + 1, line.find('\t', at + 1) - at - 1));
    }
    return runs;
}

// The last line of a program's output, without its line end.
inline std::string lastLine(const std::string& text)
{
    size_t end = text.find_last_not_of('\n');
    if (end == std::string::npos) return std::string();
    size_t start = text.rfind('\n', end);
    start = start == std::string::npos ? 0 : start + 1;
    return text.substr(start, end + 1 - start);
}

#ifdef TIV_HOST_EXE
// The editor's program run by the shell, under an address-space limit in KiB
// when one is given.
inline CommandRun tivHost(const std::string& arguments, const std::string& limit = "")
{
    std::string command = "'" TIV_HOST_EXE "' " + arguments;
    if (!limit.empty()) command = "ulimit -v " + limit + " && exec " + command;
    return runCommand(command);
}

// The sandbox exchange root laid out afresh, stand-ins included, as the build
// lays it out.
inline CommandRun layOutSandbox()
{
    return runCommand("'" TIV_CMAKE_COMMAND "' -P '" TIV_SANDBOX_LAYOUT "'");
}
#endif

// An exchange folder tree under `root`, which the exchange paths name while it
// lives, with stand-ins for the sculpting application (root/Apps/Morvel.app,
// configured as its PATH) and for the launcher.
struct ExchangeTree
{
    std::string root, morvelApp, morvelRecord, launcherRecord, project;

    explicit ExchangeTree(const std::string& folder)
        : root(folder), morvelApp(root + "/Apps/Morvel.app"), morvelRecord(root + "/morvel.txt"),
          launcherRecord(root + "/launcher.txt"), project(root + "/TivProjects/Default")
    {
        for (int i = 0; i < 5; ++i)
        {
            m_saved[i] = *s_folders[i];
            *s_folders[i] = (root + s_names[i]).c_str();
        }
        std::filesystem::create_directories(project);
        writeRecordingScript(bundleExecutable(morvelApp), morvelRecord);
        writeRecordingScript(bundleExecutable(root + "/TivMorvel/TivMorvelFromApp.app"),
                             launcherRecord);
        for (const char* name : {"Tiv_LoadTextures.mvs", "Tiv_NotA3DLayer.mvs"})
            writeBytes(photoshopFile(name), "// stand-in script\n");
        configure(true);
    }
    ~ExchangeTree()
    {
        for (int i = 0; i < 5; ++i)
            *s_folders[i] = m_saved[i];
    }

    void configure(bool withMorvel) const
    {
        writeBytes(root + "/TivMorvel/Tiv_Config.txt",
                   withMorvel ? "PATH = \"" + morvelApp + "\"\n" : "OTHER = 1\n");
    }
    std::string photoshopFile(const std::string& name) const
    {
        return root + "/TivApps/Photoshop/" + name;
    }

private:
    QDString m_saved[5];
    static inline QDString* const s_folders[5] = {
        &QDTiv::s_publicFolder, &QDTiv::s_TivAppsFolder, &QDTiv::s_TivMorvelFolder,
        &QDTiv::s_TivProjectsFolder, &QDTiv::s_TivDefaultProjectFolder};
    static inline const char* const s_names[5] = {"", "/TivApps", "/TivMorvel", "/TivProjects",
                                                  "/TivProjects/Default"};
};

// An OBJ of `count` separate triangles at height z, every corner its own
// vertex and at texture coordinate (0.5, 0.25). The second coordinate is
// there for the empty fourth corner of a triangle, which takes it.
inline std::string trianglesObj(int count, int z)
{
    std::string obj = "vt 0.5 0.25\nvt 0.5 0.25\n", faces;
    for (int i = 0; i < count; ++i)
    {
        std::string x = std::to_string(i), x1 = std::to_string(i + 1), h = std::to_string(z);
        obj += "v " + x + " 0 " + h + "\nv " + x + " 1 " + h + "\nv " + x1 + " 1 " + h + "\n";
        faces += "f " + std::to_string(3 * i + 1) + "/1 " + std::to_string(3 * i + 2) + "/1 " +
                 std::to_string(3 * i + 3) + "/1\n";
    }
    return obj + faces;
}
} // namespace sandbox
