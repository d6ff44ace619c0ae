// stb_image_write's encoders, compiled once for the tests. Its JPEG encoder
// shifts negative values left, which the sanitizers' build lets pass in this
// file alone (see tests/CMakeLists.txt).

#include "ColourMapWriter.h"

#if TIV_HAVE_STB
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

bool writeColourMapFile(const std::string& path, const RgbImage& map)
{
    const std::string extension = path.substr(path.rfind('.') + 1);
    const char* file = path.c_str();
    const void* pixels = map.pixels.data();
    const int w = map.width, h = map.height;
    if (extension == "png") return stbi_write_png(file, w, h, 3, pixels, w * 3) != 0;
    if (extension == "jpg") return stbi_write_jpg(file, w, h, 3, pixels, 95) != 0;
    if (extension == "tga") return stbi_write_tga(file, w, h, 3, pixels) != 0;
    return false;
}
#else
bool writeColourMapFile(const std::string&, const RgbImage&)
{
    return false;
}
#endif
