#pragma once

// Paths as the user and the plug-in mean them, on their way to the library's
// file services, which clean every path for the plug-in's sake: they drop what
// comes before a first ':' (a volume name, as in "Disk:/Users/a") and then what
// comes before a first '/', so that a relative "a/b" is "/b".

#include <string>

// Absolute against the working folder, "." and ".." steps resolved by name,
// without a trailing '/'.
std::string absolutePath(const std::string& path);

// The path to hand the library so that it writes exactly there: absolute, and
// behind an empty volume name, which its cleaning takes off again.
std::string libraryPath(const std::string& path);
