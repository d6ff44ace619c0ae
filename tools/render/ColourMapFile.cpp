// Colour maps decoded by stb_image, from Debian's libstb-dev. Its header holds
// the decoder itself: it is compiled here, for the four formats meshes name and
// with its functions private to this file, so that any width of build (the
// 32-bit one too) has it without a library. Without the header the pictures
// are plain, and every failed read says why.

#include "ColourMap.h"
#include "QDTivMesh.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <sys/stat.h>

#if TIV_HAVE_STB
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_BMP
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_TGA
#define STBI_FAILURE_USERMSG
// Larger images are refused before anything is allocated for them.
#define STBI_MAX_DIMENSIONS 8192
#include <stb_image.h>
static_assert(STBI_MAX_DIMENSIONS == s_maxColourMapSize, "one limit for colour maps");
#endif

std::string colourMapPath(const std::string& meshPath, const std::string& textureName)
{
    // Material files written on Windows separate folders with backslashes
    // (".\maps\skin.jpg"); the exchange's own .tiv writer turns them into slashes.
    std::string name = textureName;
    std::replace(name.begin(), name.end(), '\\', '/');
    while (name.compare(0, 2, "./") == 0)
        name.erase(0, 2);
    if (name.empty() || name[0] == '/') return name;
    const size_t slash = meshPath.rfind('/');
    return slash == std::string::npos ? name : meshPath.substr(0, slash + 1) + name;
}

#if TIV_HAVE_STB
bool readColourMap(const std::string& path, RgbImage& image, std::string& message)
{
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
    {
        message = "is a folder";
        return false;
    }
    FILE* file = fopen(path.c_str(), "rb");
    if (!file)
    {
        message = strerror(errno);
        return false;
    }
    int width = 0, height = 0, channels = 0;
    stbi_uc* pixels = stbi_load_from_file(file, &width, &height, &channels, 3);
    fclose(file);
    if (!pixels)
    {
        const char* reason = stbi_failure_reason();
        if (reason && strcmp(reason, "Out of memory") == 0) throw std::bad_alloc();
        message = reason ? reason : "not an image";
        return false;
    }
    try
    {
        image.width = width;
        image.height = height;
        image.pixels.assign(pixels, pixels + size_t(width) * size_t(height) * 3);
    }
    catch (...)
    {
        stbi_image_free(pixels);
        throw;
    }
    stbi_image_free(pixels);
    return true;
}
#else
bool readColourMap(const std::string&, RgbImage& image, std::string& message)
{
    image = RgbImage();
    message = "this build reads no colour maps (it was built without stb_image, from libstb-dev)";
    return false;
}
#endif

ColourMapLoad loadMeshColourMap(const QDTivMesh& mesh, const std::string& meshPath, RgbImage& map,
                                std::string& message)
{
    const int faces = mesh.getFaceCount();
    if (faces == 0 || mesh.m_cornerUVs.size() != 4 * faces || mesh.m_textureFileName.empty())
        return ColourMapLoad::none;
    const std::string path = colourMapPath(meshPath, mesh.m_textureFileName.c_str());
    std::string reason;
    if (readColourMap(path, map, reason)) return ColourMapLoad::loaded;
    message = "colour map " + path + " not drawn: " + reason;
    return ColourMapLoad::failed;
}
