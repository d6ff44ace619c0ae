#include "HostPath.h"

#include <filesystem>

namespace fs = std::filesystem;

std::string absolutePath(const std::string& path)
{
    std::error_code ec;
    fs::path absolute = path.empty() ? fs::path() : fs::absolute(path, ec).lexically_normal();
    if (ec || absolute.empty()) return path;
    if (!absolute.has_filename() && absolute != absolute.root_path())
        absolute = absolute.parent_path();
    return absolute.string();
}

std::string libraryPath(const std::string& path)
{
    return ":" + absolutePath(path);
}
