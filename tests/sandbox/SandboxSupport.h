#pragma once

// Stand-in applications and exchange folder trees for tests that launch
// processes: a stand-in is a bundle folder whose executable is a small shell
// script that appends one line per run to a record file.

#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
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
    fs::permissions(scriptPath, fs::perms(0755));
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
    std::string root, morvelApp, morvelRecord, launcherRecord, defaultProject;

    explicit ExchangeTree(const std::string& rootFolder)
        : root(rootFolder), morvelApp(root + "/Apps/Morvel.app"),
          morvelRecord(root + "/records/morvel.txt"),
          launcherRecord(root + "/records/launcher.txt"),
          defaultProject(root + "/TivProjects/Default")
    {
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
        for (const char* script :
             {"Tiv_LoadTextures.mvs", "Tiv_InsertMeshIfMorvelLaunch.mvs", "Tiv_NotA3DLayer.mvs"})
            writeText(photoshopScript(script), "// stand-in script\n");
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

// An OBJ of `count` separate triangles at height z, every corner its own
// vertex and at texture coordinate (0.5, 0.25). The second coordinate is
// there for the empty fourth corner of a triangle, which takes it.
inline std::string trianglesObj(int count, int z)
{
    std::string obj = "vt 0.5 0.25\nvt 0.5 0.25\n";
    for (int i = 0; i < count; ++i)
        obj += "v " + std::to_string(i) + " 0 " + std::to_string(z) + "\nv " + std::to_string(i) +
               " 1 " + std::to_string(z) + "\nv " + std::to_string(i + 1) + " 1 " +
               std::to_string(z) + "\n";
    for (int i = 0; i < count; ++i)
        obj += "f " + std::to_string(3 * i + 1) + "/1 " + std::to_string(3 * i + 2) + "/1 " +
               std::to_string(3 * i + 3) + "/1\n";
    return obj;
}

// The blocks of a .tiv file by tag: its element count and its data bytes.
// Empty when the header is not there; stops at the end block or a bad size.
struct TivBlock
{
    uint32_t count = 0;
    std::string data;
};

inline std::map<uint32_t, TivBlock> readTivBlocks(const std::string& path)
{
    std::map<uint32_t, TivBlock> blocks;
    std::string bytes = readText(path);
    if (bytes.size() < 32 || bytes.compare(0, 4, "Tivb") != 0) return blocks;
    size_t at = 32;
    while (at + 16 <= bytes.size())
    {
        uint32_t header[3];
        memcpy(header, bytes.data() + at, sizeof(header));
        if (header[0] == 0 || header[1] < 16 || at + header[1] > bytes.size()) break;
        blocks[header[0]] = TivBlock{header[2], bytes.substr(at + 16, header[1] - 16)};
        at += header[1];
    }
    return blocks;
}

template <typename T> std::vector<T> tivValues(const TivBlock& block)
{
    std::vector<T> values(block.data.size() / sizeof(T));
    if (!values.empty()) memcpy(values.data(), block.data.data(), values.size() * sizeof(T));
    return values;
}
} // namespace sandbox
