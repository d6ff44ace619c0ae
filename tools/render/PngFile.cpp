// PNG files through libpng's simplified interface, written whole or not at
// all. A build without libpng (a 32-bit build on a 64-bit machine that has
// only the 64-bit library) still renders; only its pictures cannot be written
// or read.

#include "MeshRender.h"
#include "ReplaceFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#if TIV_HAVE_PNG
#include <png.h>
#endif

#if TIV_HAVE_PNG

bool writePng(const std::string& path, const RgbImage& image, std::string& message)
{
    if (image.width <= 0 || image.height <= 0 ||
        image.pixels.size() != size_t(image.width) * size_t(image.height) * 3)
    {
        message = "the picture is empty";
        return false;
    }
    png_image png;
    memset(&png, 0, sizeof(png));
    png.version = PNG_IMAGE_VERSION;
    png.width = png_uint_32(image.width);
    png.height = png_uint_32(image.height);
    png.format = PNG_FORMAT_RGB;
    const bool written = replaceFile(
        path, [&](FILE* file)
        { return png_image_write_to_stdio(&png, file, 0, image.pixels.data(), 0, nullptr) != 0; });
    if (!written)
        message = png.message[0] ? png.message : errno != 0 ? strerror(errno) : "cannot be written";
    return written;
}

bool readPng(const std::string& path, RgbImage& image, std::string& message)
{
    png_image png;
    memset(&png, 0, sizeof(png));
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str()))
    {
        message = png.message;
        return false;
    }
    if (png.width > png_uint_32(s_maxRenderSize) || png.height > png_uint_32(s_maxRenderSize))
    {
        png_image_free(&png);
        message = "larger than a picture of this tool";
        return false;
    }
    png.format = PNG_FORMAT_RGB;
    image.width = int(png.width);
    image.height = int(png.height);
    image.pixels.assign(PNG_IMAGE_SIZE(png), 0);
    if (!png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr))
    {
        message = png.message;
        image = RgbImage();
        return false;
    }
    return true;
}
#else
bool writePng(const std::string&, const RgbImage&, std::string& message)
{
    message = "this build has no PNG support (libpng was not found)";
    return false;
}

bool readPng(const std::string&, RgbImage& image, std::string& message)
{
    image = RgbImage();
    message = "this build has no PNG support (libpng was not found)";
    return false;
}
#endif

bool renderMeshToPng(const QDTivMesh& mesh, const RenderOptions& options, const std::string& path,
                     std::string& message)
{
    RgbImage image;
    const bool drawn = renderMesh(mesh, options, image, message);
    std::string failure;
    if (!writePng(path, image, failure))
    {
        message = failure;
        return false;
    }
    return drawn;
}
