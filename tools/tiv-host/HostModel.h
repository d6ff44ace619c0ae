#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// A 3D layer's model as the simulated image editor keeps it: shared positions
// and texture coordinates, and triangles whose corners index both.
struct HostCorner
{
    uint32_t position;
    uint32_t uv;
};

struct HostModel
{
    std::vector<std::array<float, 3>> positions;
    std::vector<std::array<float, 2>> uvs;
    std::vector<std::array<HostCorner, 3>> triangles;
    // The image the model's material names as its colour map, empty for none:
    // the export writes it as the layer's texture. For a model read from a
    // file without one, why it has none.
    std::string colourMap;
    std::string colourMapMissing;
};

// The layer every run starts with unless told otherwise: a closed, textured
// sphere of 3968 triangles over 1986 distinct positions, off the origin so that
// an axis flip shows in its bounding box.
HostModel makeDefaultModel();

// Reads the positions, texture coordinates and faces of an OBJ file; polygons
// become fans of triangles, corners without texture coordinates get (0, 0) and
// faces with an index out of range are dropped. The colour map is the one the
// file's first material has in its MTL file. False with a reason when the file
// cannot be read or holds no face.
bool readObjModel(const std::string& path, HostModel& model, std::string& error);

// What an export wrote, for the report.
struct HostExport
{
    std::string objPath;
    std::string mtlPath;
    std::string texturePath;
    std::string textureSource; // the model's colour map, empty when it is the checker
    std::string checkerReason; // why a model read from a file got the checker
    size_t faceCount = 0;
};

// Writes the model the way the image editor exports a 3D layer: an OBJ with
// one position and one texture coordinate per face corner and its header
// counts, an MTL beside it and the texture image the MTL names (the model's
// colour map when it can be read, else a checker), each written whole or not
// at all. False with the system's reason when a file cannot be written.
bool exportModel(const HostModel& model, const std::string& objPath, HostExport& written,
                 std::string& error);
