#include "SandboxLayout.h"

#include "ReplaceFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace
{
std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Written beside the target and renamed over it once whole: a send running
// from another editor never finds half a stand-in or half a configuration.
// `fill` writes the bytes and is false when a write failed.
template <typename Fill>
bool writeWhole(const std::string& path, fs::perms perms, std::string& error, Fill fill)
{
    const bool ok = replaceFile(path, [&](FILE* file)
                                { return fchmod(fileno(file), mode_t(perms)) == 0 && fill(file); });
    if (!ok) error = "cannot write " + path + ": " + strerror(errno);
    return ok;
}

// A text file of the layout, written only when it is missing.
bool ensureText(const std::string& path, const std::string& text, std::vector<std::string>& made,
                std::string& error)
{
    std::error_code ec;
    if (fs::exists(path, ec)) return true;
    if (!writeWhole(path, fs::perms(0644), error,
                    [&](FILE* file)
                    { return fwrite(text.data(), 1, text.size(), file) == text.size(); }))
        return false;
    made.push_back(path);
    return true;
}

// The stand-ins are read a piece at a time: what the editor takes before the
// plug-in runs stays small and the same whatever their size, since tests
// measure the room left for the plug-in from it.
const size_t s_pieceBytes = 64 * 1024;

bool sameBytes(const std::string& a, const std::string& b)
{
    std::ifstream first(a, std::ios::binary), second(b, std::ios::binary);
    std::vector<char> one(s_pieceBytes), other(s_pieceBytes);
    while (first && second)
    {
        first.read(one.data(), std::streamsize(one.size()));
        second.read(other.data(), std::streamsize(other.size()));
        if (first.gcount() != second.gcount() ||
            memcmp(one.data(), other.data(), size_t(first.gcount())) != 0)
            return false;
    }
    return first.eof() && second.eof();
}

bool copyWhole(const std::string& from, const std::string& to, std::string& error)
{
    std::ifstream in(from, std::ios::binary);
    std::vector<char> piece(s_pieceBytes);
    return writeWhole(
        to, fs::perms(0755), error,
        [&](FILE* file)
        {
            while (in.read(piece.data(), std::streamsize(piece.size())) || in.gcount() > 0)
                if (fwrite(piece.data(), 1, size_t(in.gcount()), file) != size_t(in.gcount()))
                    return false;
            return in.eof() && !in.bad();
        });
}

// A stand-in's executable, copied when missing or not the one the build made.
bool ensureCopy(const std::string& from, const std::string& to, std::vector<std::string>& made,
                std::string& error)
{
    std::error_code ec;
    if (!fs::is_regular_file(from, ec))
    {
        error = "the build made no " + from;
        return false;
    }
    if (fs::exists(to, ec) && fs::file_size(from, ec) == fs::file_size(to, ec) && !ec &&
        sameBytes(from, to))
        return true;
    if (!copyWhole(from, to, error)) return false;
    made.push_back(to);
    return true;
}

bool ensureFolder(const std::string& path, std::vector<std::string>& made, std::string& error)
{
    std::error_code ec;
    if (fs::is_directory(path, ec)) return true;
    if (!fs::create_directories(path, ec) || ec)
    {
        error = "cannot make the folder " + path + ": " + ec.message();
        return false;
    }
    made.push_back(path + "/");
    return true;
}
} // namespace

bool layOutSandbox(const SandboxParts& parts, std::vector<std::string>& made, std::string& error)
{
    const std::string photoshop = parts.root + "/TivApps/Photoshop";
    const std::string project = parts.root + "/TivProjects/Default";
    const std::string morvelApp = parts.applications + "/Morvel.app";
    const std::string launcherApp = parts.root + "/TivMorvel/TivMorvelFromApp.app";
    for (const std::string& folder :
         {photoshop, project, morvelApp + "/Contents/MacOS", launcherApp + "/Contents/MacOS"})
        if (!ensureFolder(folder, made, error)) return false;

    if (!ensureCopy(parts.morvelExe, morvelApp + "/Contents/MacOS/Morvel", made, error) ||
        !ensureCopy(parts.launcherExe, launcherApp + "/Contents/MacOS/TivMorvelFromApp", made,
                    error))
        return false;

    if (!ensureText(parts.root + "/TivMorvel/Tiv_Config.txt", "PATH = \"" + morvelApp + "\"\n",
                    made, error) ||
        !ensureText(photoshop + "/Tiv_Config.txt", "PATH = \"" + parts.hostExe + "\"\n", made,
                    error) ||
        !ensureText(parts.root + "/TivMorvel/Tiv_ProjectPath.txt", project + "\n", made, error))
        return false;

    std::error_code ec;
    for (fs::directory_iterator it(parts.scriptsFolder, ec), end; !ec && it != end;
         it.increment(ec))
        if (it->path().extension() == ".mvs" &&
            !ensureText(photoshop + "/" + it->path().filename().string(),
                        readFile(it->path().string()), made, error))
            return false;
    if (ec)
    {
        error = "cannot list the scripts in " + parts.scriptsFolder + ": " + ec.message();
        return false;
    }
    return true;
}
