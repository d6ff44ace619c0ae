#include "HostTexture.h"

#include "ColourMap.h"
#include "HostModel.h"
#include "ReplaceFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace
{
std::string trimmed(const std::string& text)
{
    const char* blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The words after a keyword; options before a map's name ("-s 1 1 1 a.png")
// leave its last word.
std::string mapName(const std::string& rest)
{
    std::string name = trimmed(rest);
    if (!name.empty() && name[0] == '-') name = name.substr(name.find_last_of(" \t") + 1);
    return name;
}

// Bottom row first, 3 bytes a pixel in blue, green, red order, each row padded
// to 4 bytes: the BMP the editor writes for a texture.
bool writeBmp(const std::string& path, const RgbImage& image)
{
    const uint32_t rowBytes = (uint32_t(image.width) * 3 + 3) & ~3u;
    const uint32_t pixelBytes = rowBytes * uint32_t(image.height);
    unsigned char header[54] = {'B', 'M'};
    auto put32 = [&header](int at, uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            header[at + i] = (unsigned char)(v >> (8 * i));
    };
    put32(2, 54 + pixelBytes);
    put32(10, 54);
    put32(14, 40);
    put32(18, uint32_t(image.width));
    put32(22, uint32_t(image.height));
    header[26] = 1;
    header[28] = 24;
    put32(34, pixelBytes);
    return replaceFile(path,
                       [&](FILE* file)
                       {
                           if (fwrite(header, 1, sizeof(header), file) != sizeof(header))
                               return false;
                           std::string row(rowBytes, '\0');
                           for (int y = image.height - 1; y >= 0; --y)
                           {
                               for (int x = 0; x < image.width; ++x)
                               {
                                   const uint32_t rgb = image.get(x, y);
                                   row[size_t(x) * 3] = char(rgb);
                                   row[size_t(x) * 3 + 1] = char(rgb >> 8);
                                   row[size_t(x) * 3 + 2] = char(rgb >> 16);
                               }
                               if (fwrite(row.data(), 1, row.size(), file) != row.size())
                                   return false;
                           }
                           return true;
                       });
}

RgbImage checker()
{
    const int size = 64;
    RgbImage image;
    image.fill(size, size, 0);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            image.set(x, y, ((x / 8) + ((size - 1 - y) / 8)) % 2 == 0 ? 0x90C0E0 : 0xA06040);
    return image;
}
} // namespace

std::string findColourMap(const std::string& objPath, const std::string& mtlName,
                          const std::string& material, std::string& why)
{
    why.clear();
    if (mtlName.empty())
    {
        why = "the model names no material file (mtllib)";
        return "";
    }
    const std::string mtlPath = colourMapPath(objPath, mtlName);
    std::ifstream in(mtlPath, std::ios::binary);
    if (!in)
    {
        why = "the model's material file " + mtlPath + " cannot be read: " + strerror(errno);
        return "";
    }
    std::string line, current;
    while (std::getline(in, line))
    {
        const std::string text = trimmed(line);
        const std::string keyword = text.substr(0, text.find_first_of(" \t"));
        const std::string rest = text.substr(keyword.size());
        if (keyword == "newmtl")
            current = trimmed(rest);
        else if (keyword == "map_Kd" && (material.empty() || current == material) &&
                 !mapName(rest).empty())
            return colourMapPath(objPath, mapName(rest));
    }
    why = "the model's material file " + mtlPath + " names no colour map (map_Kd)" +
          (material.empty() ? "" : " for \"" + material + "\"");
    return "";
}

bool writeHostTexture(const HostModel& model, const std::string& path, std::string& source,
                      std::string& why)
{
    RgbImage map;
    std::string reason;
    source.clear();
    why = model.colourMapMissing;
    if (!model.colourMap.empty())
    {
        if (readColourMap(model.colourMap, map, reason))
        {
            source = model.colourMap;
            return writeBmp(path, map);
        }
        why = "the model's colour map " + model.colourMap + " cannot be read: " + reason;
    }
    return writeBmp(path, checker());
}
