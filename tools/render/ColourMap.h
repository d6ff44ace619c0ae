#pragma once

// The colour maps (textures) that pictures of meshes are drawn with: the image
// a mesh's texture name means, decoded with stb_image when the build has it.

#include "MeshRender.h"

#include <string>

class QDTivMesh;

// Largest colour map side; larger images are refused, not decoded.
constexpr int s_maxColourMapSize = 8192;

// The file a mesh's texture name means: a relative name is taken from the
// folder of the mesh file, an absolute one as it is; a backslash separates
// folders as a slash does.
std::string colourMapPath(const std::string& meshPath, const std::string& textureName);

// A BMP (24-bit as the editor writes it, and the other kinds), PNG, JPEG or
// TGA file as 8-bit RGB, rows from top to bottom. False with the reason when it
// cannot be read, or when this build reads no colour maps; memory that cannot
// be had throws std::bad_alloc.
bool readColourMap(const std::string& path, RgbImage& image, std::string& message);

enum class ColourMapLoad
{
    none,   // the mesh has no corner texture coordinates or no texture name
    loaded, // `map` holds it
    failed  // `message` says which file, and why, in one line
};

// The colour map of a mesh read from meshPath.
ColourMapLoad loadMeshColourMap(const QDTivMesh& mesh, const std::string& meshPath, RgbImage& map,
                                std::string& message);
