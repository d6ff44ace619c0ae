#pragma once

// The texture image of an export, and the colour map of a model read from an
// OBJ file that it comes from.

#include <string>

struct HostModel;

// The colour map that the material `material` of the MTL file `mtlName` names
// (taken, as the map's name, from the folder of the OBJ file objPath), or an
// empty string when there is none, and then `why` says so. No material: the
// file's first colour map.
std::string findColourMap(const std::string& objPath, const std::string& mtlName,
                          const std::string& material, std::string& why);

// Writes the editor's 24-bit BMP texture: the model's colour map when it can
// be read, else a small checker, so that the texture is always a real file.
// `source` is the colour map it was made of, empty for the checker; `why`
// tells why a model that names a colour map, or was read from a file, got the
// checker. False with errno set when the file cannot be written.
bool writeHostTexture(const HostModel& model, const std::string& path, std::string& source,
                      std::string& why);
