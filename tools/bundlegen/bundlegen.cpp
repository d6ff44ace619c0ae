// bundlegen: writes the parts of a host plug-in bundle that are not code: the
// Info.plist, the PkgInfo and the resource file with the plug-in property list
// ('PiPL') that makes the host list the plug-in. It runs at build time on every
// platform, so the bundle needs no resource compiler.
//
//   bundlegen --executable NAME [--identifier ID] [--name MENU] [--category TEXT]
//             [--kind CODE] [--code KEY=ENTRY]... [--enable EXPR] [--version TEXT]
//             CONTENTS_FOLDER

#include "ReplaceFile.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace
{
// The automation interface version the plug-in is written against: 1.0.
const uint32_t s_piplVersion = 1u << 16;
const int16_t s_piplResourceID = 16000;
// The resource map addresses data with 24 bits and itself with 16.
const size_t s_maxDataArea = (1u << 24) - 1;

struct Options
{
    std::string executable, identifier, name, category, enable;
    std::string kind = "8LIZ";
    std::string version = "1.0";
    std::vector<std::pair<std::string, std::string>> codes;
    std::string contents;
};

void putU32(std::string& out, uint32_t v)
{
    out += char(v >> 24);
    out += char(v >> 16);
    out += char(v >> 8);
    out += char(v);
}

void putU16(std::string& out, uint32_t v)
{
    out += char(v >> 8);
    out += char(v);
}

std::string pascal(const std::string& text)
{
    return char(uint8_t(text.size())) + text;
}

// One property: vendor, key, id 0, length of the data, the data padded to 4 bytes.
void putProperty(std::string& out, const char* vendor, const std::string& key,
                 const std::string& data)
{
    out.append(vendor, 4);
    out += key;
    putU32(out, 0);
    putU32(out, uint32_t(data.size()));
    out += data;
    out.append((4 - data.size() % 4) % 4, '\0');
}

// Kind first, then name, category, version and code, as the host's own plug-ins
// have them; enable info last.
std::string makePiPL(const Options& o)
{
    std::string properties;
    int count = 0;
    auto add = [&](const std::string& key, const std::string& data)
    {
        putProperty(properties, "8BIM", key, data);
        ++count;
    };
    add("kind", o.kind);
    add("name", pascal(o.name));
    if (!o.category.empty()) add("catg", pascal(o.category));
    std::string version;
    putU32(version, s_piplVersion);
    add("vers", version);
    for (const auto& code : o.codes)
        add(code.first, pascal(code.second));
    if (!o.enable.empty()) add("enbl", o.enable + '\0');

    std::string pipl;
    putU32(pipl, 0);
    putU32(pipl, uint32_t(count));
    return pipl + properties;
}

// A resource file (data fork) holding one resource, without a name.
std::string makeResourceFile(const std::string& type, int16_t id, const std::string& data)
{
    const uint32_t dataOffset = 256;
    std::string area;
    putU32(area, uint32_t(data.size()));
    area += data;
    const uint32_t mapOffset = dataOffset + uint32_t(area.size());
    const uint32_t typeListOffset = 28, mapLength = 28 + 2 + 8 + 12;

    std::string header;
    putU32(header, dataOffset);
    putU32(header, mapOffset);
    putU32(header, uint32_t(area.size()));
    putU32(header, mapLength);

    std::string map = header;
    putU32(map, 0);                // next map
    putU16(map, 0);                // file reference
    putU16(map, 0);                // attributes
    putU16(map, typeListOffset);   // from the map to the type list
    putU16(map, mapLength);        // from the map to the (empty) name list
    putU16(map, 0);                // one type
    map += type;
    putU16(map, 0);                // one resource of it
    putU16(map, 2 + 8);            // its reference list, from the type list
    putU16(map, uint16_t(id));
    putU16(map, 0xFFFF);           // no name
    putU32(map, 0);                // attributes 0, data at offset 0 of the area
    putU32(map, 0);

    return header + std::string(dataOffset - header.size(), '\0') + area + map;
}

std::string xmlText(const std::string& text)
{
    std::string out;
    for (char c : text)
    {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else
            out += c;
    }
    return out;
}

std::string makeInfoPlist(const Options& o)
{
    const std::pair<const char*, std::string> entries[] = {
        {"CFBundleDevelopmentRegion", "English"},
        {"CFBundleExecutable", o.executable},
        {"CFBundleIdentifier", o.identifier},
        {"CFBundleInfoDictionaryVersion", "6.0"},
        {"CFBundleName", o.name},
        {"CFBundlePackageType", o.kind},
        {"CFBundleShortVersionString", o.version},
        {"CFBundleSignature", "8BIM"},
        {"CFBundleVersion", o.version},
    };
    std::string plist = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                        "<plist version=\"1.0\">\n<dict>\n";
    for (const auto& entry : entries)
        plist += std::string("\t<key>") + entry.first + "</key>\n\t<string>" +
                 xmlText(entry.second) + "</string>\n";
    return plist + "</dict>\n</plist>\n";
}

// Writes only when the bytes differ, so that an unchanged bundle keeps its
// times; a file is replaced whole or not at all.
bool writeFile(const std::string& path, const std::string& bytes)
{
    FILE* in = fopen(path.c_str(), "rb");
    if (in != nullptr)
    {
        std::string old(bytes.size() + 1, '\0');
        size_t got = fread(&old[0], 1, old.size(), in);
        fclose(in);
        if (got == bytes.size() && old.compare(0, got, bytes) == 0) return true;
    }
    const bool ok = replaceFileWith(path, bytes);
    if (!ok) fprintf(stderr, "bundlegen: cannot write %s: %s\n", path.c_str(), strerror(errno));
    return ok;
}

// Makes the folder and any missing folder above it.
bool makeFolder(const std::string& path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0755);
    if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) return true;
    fprintf(stderr, "bundlegen: cannot make %s: %s\n", path.c_str(), strerror(errno));
    return false;
}

bool isCode(const std::string& text)
{
    if (text.size() != 4) return false;
    for (char c : text)
        if (c < 32 || c > 126) return false;
    return true;
}

bool parseOptions(int argc, char** argv, Options& o)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string arg = argv[i];
        std::string value = i + 1 < argc ? argv[i + 1] : "";
        bool takesValue = arg.size() > 2 && arg.compare(0, 2, "--") == 0;
        if (takesValue && i + 1 >= argc)
        {
            fprintf(stderr, "bundlegen: %s needs a value\n", arg.c_str());
            return false;
        }
        if (takesValue) ++i;
        if (arg == "--executable")
            o.executable = value;
        else if (arg == "--identifier")
            o.identifier = value;
        else if (arg == "--name")
            o.name = value;
        else if (arg == "--category")
            o.category = value;
        else if (arg == "--kind")
            o.kind = value;
        else if (arg == "--enable")
            o.enable = value;
        else if (arg == "--version")
            o.version = value;
        else if (arg == "--code" && value.find('=') == 4)
            o.codes.emplace_back(value.substr(0, 4), value.substr(5));
        else if (!takesValue && o.contents.empty())
            o.contents = arg;
        else
        {
            fprintf(stderr, "bundlegen: bad argument: %s\n", arg.c_str());
            return false;
        }
    }
    if (o.name.empty()) o.name = o.executable;
    if (o.identifier.empty()) o.identifier = "com.example." + o.executable;
    if (o.codes.empty())
        o.codes = {{"mi32", "AutoPluginMain"}, {"mi64", "AutoPluginMain"}};
    bool ok = !o.executable.empty() && !o.contents.empty() && isCode(o.kind);
    for (const std::string* text : {&o.name, &o.category})
        ok = ok && text->size() <= 255;
    for (const auto& code : o.codes)
        ok = ok && isCode(code.first) && !code.second.empty() && code.second.size() <= 255;
    if (!ok)
        fprintf(stderr, "usage: bundlegen --executable NAME [--identifier ID] [--name MENU]\n"
                        "         [--category TEXT] [--kind CODE] [--code KEY=ENTRY]...\n"
                        "         [--enable EXPR] [--version TEXT] CONTENTS_FOLDER\n"
                        "Names and entries take at most 255 bytes; codes are 4 characters.\n");
    return ok;
}
} // namespace

int main(int argc, char** argv)
{
    Options o;
    if (!parseOptions(argc, argv, o)) return 2;
    std::string pipl = makePiPL(o);
    if (pipl.size() + 4 > s_maxDataArea)
    {
        fprintf(stderr, "bundlegen: the property list is too large for a resource file\n");
        return 2;
    }
    std::string resources = o.contents + "/Resources";
    bool ok = makeFolder(o.contents) && makeFolder(resources) &&
              writeFile(o.contents + "/Info.plist", makeInfoPlist(o)) &&
              writeFile(o.contents + "/PkgInfo", o.kind + "8BIM") &&
              writeFile(resources + "/" + o.executable + ".rsrc",
                        makeResourceFile("PiPL", s_piplResourceID, pipl));
    return ok ? 0 : 1;
}
