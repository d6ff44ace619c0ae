#pragma once

// The stand-in keeps a copy of the last mesh file it loaded for each object,
// under its record stem (beside its summary, never in the exchange folder), so
// that it can tell whether a mesh that arrives again came back unchanged.

#include <string>

// Compares the mesh file with the copy kept from the object's last arrival and
// keeps the file as the new copy. Returns one summary line when there was a
// last arrival to compare with, else an empty string.
std::string checkArrival(const std::string& stem, const std::string& tivPath);
