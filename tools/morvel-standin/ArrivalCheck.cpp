#include "ArrivalCheck.h"

#include "AbsolutePath.h"
#include "MeshCompare.h"
#include "QDTivMesh.h"
#include "ReplaceFile.h"

#include <cstdint>
#include <cstdio>
#include <sys/stat.h>

namespace
{
// Objects are named by their full path; layer names may hold slashes and be
// long. The copy's name is the last part of it, shortened, and a hash of the whole.
std::string copyName(const std::string& object)
{
    uint64_t hash = 1469598103934665603ull;
    for (unsigned char ch : object)
        hash = (hash ^ ch) * 1099511628211ull;
    std::string leaf = object.substr(object.rfind('/') + 1).substr(0, 100);
    char text[24];
    snprintf(text, sizeof(text), "-%016llx", (unsigned long long)hash);
    return leaf + text;
}

// Written whole beside the copy, then renamed over it.
bool copyFile(const std::string& from, const std::string& to)
{
    FILE* in = fopen(from.c_str(), "rb");
    if (!in) return false;
    const bool copied = replaceFile(to,
                                    [in](FILE* out)
                                    {
                                        char buffer[1 << 16];
                                        size_t n = 0;
                                        while ((n = fread(buffer, 1, sizeof(buffer), in)) > 0)
                                            if (fwrite(buffer, 1, n, out) != n) return false;
                                        return !ferror(in);
                                    });
    fclose(in);
    return copied;
}
} // namespace

std::string checkArrival(const std::string& stem, const std::string& tivPath)
{
    QDTivMesh now, last;
    if (!now.loadFromTivFile(libraryPath(tivPath).c_str())) return "";
    const std::string folder = stem + "_LastArrivals";
    const std::string stemOfObject = tivPath.substr(0, tivPath.size() - 4); // without ".tiv"
    const std::string copy = folder + "/" + copyName(stemOfObject) + ".tiv";
    std::string line;
    if (last.loadFromTivFile(libraryPath(copy).c_str()))
        line = "  " + arrivalLine(compareMeshes(last, now, 0));
    mkdir(folder.c_str(), 0755);
    copyFile(tivPath, copy);
    return line;
}
