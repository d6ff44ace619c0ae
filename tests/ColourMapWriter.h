#pragma once

// Colour maps in the formats meshes name, written for the tests.

#include "MeshRender.h"

#include <string>

// PNG, JPEG (quality 95) or TGA by the name's extension, with stb_image_write;
// false when the file cannot be written or this build has no stb.
bool writeColourMapFile(const std::string& path, const RgbImage& map);
