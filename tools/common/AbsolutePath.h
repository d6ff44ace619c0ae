#pragma once

// The paths a user gives the tools, as the library must be handed them. The
// library cleans every path it is given for the editor's sake: a volume
// prefix up to the first ':' is dropped, and so is anything before the first
// '/' ("out/b.png" would be "/b.png"). The tools therefore hand it absolute
// paths only, and a path that holds a ':' gets an empty volume prefix of its
// own, which the cleaning takes off again, leaving the path whole.

#include <filesystem>
#include <string>
#include <system_error>

// `path` against the working folder, without "." and ".." steps and without
// a trailing '/'; as it is when the working folder cannot be had.
inline std::string absolutePath(const std::string& path)
{
    std::error_code error;
    if (path.empty()) return path;
    std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
    if (error) return path;
    if (!absolute.has_filename() && absolute != absolute.root_path())
        absolute = absolute.parent_path();
    return absolute.string();
}

// absolutePath(path) for the library's file services (QDString paths).
inline std::string libraryPath(const std::string& path)
{
    const std::string absolute = absolutePath(path);
    return absolute.find(':') == std::string::npos ? absolute : ":" + absolute;
}
