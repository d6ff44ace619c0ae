#pragma once

// Colour maps and looks at pictures for the tests of textured pictures: what
// a picture must show is told by colour classes, never by stored images.

#include "MeshRender.h"
#include "TestSupport.h"

// 64 x 64: the top half red, the bottom half blue, and a green square in the
// top-left corner, so that a picture upside down or mirrored shows.
inline RgbImage halvesColourMap()
{
    RgbImage map;
    map.fill(64, 64, 0);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            map.set(x, y, x < 16 && y < 16 ? 0x00FF00 : y < 32 ? 0xFF0000 : 0x0000FF);
    return map;
}

// As the editor writes its textures: 24-bit, bottom row first, rows padded to 4 bytes.
inline std::string bmpBytes(const RgbImage& image)
{
    const unsigned rowBytes = (unsigned(image.width) * 3 + 3) & ~3u;
    std::string pixels;
    for (int y = image.height - 1; y >= 0; --y)
    {
        std::string row(rowBytes, '\0');
        for (int x = 0; x < image.width; ++x)
        {
            const uint32_t rgb = image.get(x, y);
            row[size_t(x) * 3] = char(rgb), row[size_t(x) * 3 + 1] = char(rgb >> 8);
            row[size_t(x) * 3 + 2] = char(rgb >> 16);
        }
        pixels += row;
    }
    std::string header = "BM" + le32(54 + unsigned(pixels.size())) + le32(0) + le32(54) + le32(40) +
                         le32(unsigned(image.width)) + le32(unsigned(image.height)) +
                         std::string("\1\0\x18\0", 4) + le32(0) + le32(unsigned(pixels.size())) +
                         zeros(16);
    return header + pixels;
}

enum class Hue
{
    red,
    green,
    blue,
    grey, // the plain faces
    background,
    other
};

inline Hue hueOf(uint32_t rgb)
{
    if (rgb == s_renderBackground) return Hue::background;
    const int r = int(rgb >> 16), g = int((rgb >> 8) & 0xFF), b = int(rgb & 0xFF);
    if (r > 2 * g + 20 && r > 2 * b + 20) return Hue::red;
    if (g > 2 * r + 20 && g > 2 * b + 20) return Hue::green;
    if (b > 2 * r + 20 && b > 2 * g + 20) return Hue::blue;
    if (std::abs(r - g) < 8 && std::abs(g - b) < 8 && r > 40) return Hue::grey;
    return Hue::other;
}

// The hue at a point given as fractions of the picture's width and height.
inline Hue hueAt(const RgbImage& picture, double x, double y)
{
    return hueOf(picture.get(int(x * picture.width), int(y * picture.height)));
}

// A unit quad facing the viewer, its texture square on it upright: the
// picture of its OBJ shows the colour map as it is.
inline std::string texturedQuadObj(const std::string& mtl)
{
    return "mtllib " + mtl +
           "\nusemtl skin\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
           "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nf 1/1 2/2 3/3 4/4\n";
}
inline std::string materialNaming(const std::string& map)
{
    return "newmtl other\nmap_Kd nothing.png\nnewmtl skin\nKd 1 1 1\nmap_Kd " + map + "\n";
}
