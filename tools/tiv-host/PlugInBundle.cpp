#include "PlugInBundle.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace
{
// A resource file holds at most a 16 MiB data area and a 64 KiB map.
const uint64_t s_maxResourceFile = 256 + (16u << 20) + (64u << 10);
const uint64_t s_maxInfoPlist = 1u << 20;
// Deeper than any Plug-ins folder; stops a loop of links.
const int s_maxScanDepth = 8;

constexpr uint32_t code(const char (&c)[5])
{
    return uint32_t(uint8_t(c[0])) << 24 | uint32_t(uint8_t(c[1])) << 16 |
           uint32_t(uint8_t(c[2])) << 8 | uint32_t(uint8_t(c[3]));
}

std::string codeText(uint32_t value)
{
    std::string text = "'";
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        char c = char(value >> shift);
        if (c < 32 || c > 126) return "0x" + std::to_string(value);
        text += c;
    }
    return text + "'";
}

uint32_t u32(const std::string& b, size_t at)
{
    return uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 |
           uint32_t(uint8_t(b[at + 2])) << 8 | uint32_t(uint8_t(b[at + 3]));
}

uint32_t u16(const std::string& b, size_t at)
{
    return uint32_t(uint8_t(b[at])) << 8 | uint32_t(uint8_t(b[at + 1]));
}

bool isFolder(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The whole file, or false when it is missing, not a file or larger than the limit.
bool readFile(const std::string& path, uint64_t limit, std::string& bytes, std::string& error)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
    {
        error = "missing";
        return false;
    }
    if (uint64_t(info.st_size) > limit)
    {
        error = "larger than " + std::to_string(limit) + " bytes";
        return false;
    }
    FILE* in = fopen(path.c_str(), "rb");
    if (in == nullptr)
    {
        error = "unreadable";
        return false;
    }
    bytes.assign(size_t(info.st_size), '\0');
    size_t got = bytes.empty() ? 0 : fread(&bytes[0], 1, bytes.size(), in);
    fclose(in);
    bytes.resize(got);
    return true;
}

// The <string> after <key>KEY</key> in an XML property list; false when absent.
bool plistString(const std::string& plist, const std::string& key, std::string& value)
{
    size_t at = plist.find("<key>" + key + "</key>");
    if (at == std::string::npos) return false;
    at = plist.find_first_not_of(" \t\r\n", at + key.size() + 11);
    if (at == std::string::npos || plist.compare(at, 8, "<string>") != 0) return false;
    size_t end = plist.find("</string>", at);
    if (end == std::string::npos) return false;
    value.clear();
    static const std::pair<const char*, char> entities[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    for (size_t i = at + 8; i < end; ++i)
    {
        char c = plist[i];
        for (const auto& entity : entities)
            if (plist.compare(i, strlen(entity.first), entity.first) == 0)
            {
                c = entity.second;
                i += strlen(entity.first) - 1;
                break;
            }
        value += c;
    }
    return true;
}

const PiPLProperty* findProperty(const std::vector<PiPLProperty>& pipl, uint32_t key)
{
    for (const PiPLProperty& p : pipl)
        if (p.vendor == code("8BIM") && p.key == key) return &p;
    return nullptr;
}

// A Pascal string that fills its property: length byte, then as many bytes.
bool pascalString(const std::string& data, std::string& text)
{
    if (data.empty() || size_t(uint8_t(data[0])) + 1 > data.size()) return false;
    text = data.substr(1, uint8_t(data[0]));
    return true;
}

std::string quoted(const std::string& text)
{
    std::string out = "\"";
    for (char c : text)
    {
        if (c >= 32 && c <= 126 && c != '"' && c != '\\')
            out += c;
        else
        {
            char escaped[8];
            snprintf(escaped, sizeof(escaped), "\\x%02X", unsigned(uint8_t(c)));
            out += escaped;
        }
    }
    return out + "\"";
}

std::string describeProperty(const PiPLProperty& p)
{
    std::string text;
    switch (p.key)
    {
    case code("name"):
    case code("catg"):
    case code("mi32"):
    case code("mi64"):
        if (pascalString(p.data, text)) return quoted(text);
        break;
    case code("kind"):
        if (p.data.size() == 4) return codeText(u32(p.data, 0));
        break;
    case code("vers"):
        if (p.data.size() == 4)
            return std::to_string(u32(p.data, 0) >> 16) + "." +
                   std::to_string(u32(p.data, 0) & 0xFFFF);
        break;
    case code("enbl"):
        if (!p.data.empty() && p.data.back() == '\0')
            return quoted(p.data.substr(0, p.data.size() - 1));
        break;
    }
    return std::to_string(p.data.size()) + " bytes";
}

void scan(const std::string& folder, int depth, std::vector<std::string>& bundles)
{
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return;
    std::vector<std::string> names;
    while (dirent* entry = readdir(dir))
    {
        std::string name = entry->d_name;
        if (name != "." && name != ".." && name[0] != '~') names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
    {
        std::string path = folder + "/" + name;
        if (!isFolder(path)) continue;
        if (name.size() > 7 && name.compare(name.size() - 7, 7, ".plugin") == 0)
            bundles.push_back(path);
        else if (depth < s_maxScanDepth)
            scan(path, depth + 1, bundles);
    }
}
} // namespace

uint32_t hostCodeKey()
{
#if defined(__x86_64__)
    return code("mi64");
#elif defined(__i386__)
    return code("mi32");
#else
    // The bundle carries Intel code properties only; elsewhere the one of the
    // same width stands in for this host's.
    return sizeof(void*) == 8 ? code("mi64") : code("mi32");
#endif
}

bool readResource(const std::string& file, uint32_t type, int16_t& id, std::string& data,
                  std::string& error)
{
    if (file.size() < 16)
    {
        error = "shorter than its header";
        return false;
    }
    uint64_t dataOffset = u32(file, 0), mapOffset = u32(file, 4);
    uint64_t dataLength = u32(file, 8), mapLength = u32(file, 12);
    if (dataOffset + dataLength > file.size() || mapOffset + mapLength > file.size() ||
        mapLength < 30 || mapLength > 0xFFFF)
    {
        error = "its header points outside the file";
        return false;
    }
    // Offsets inside the map, checked against the map's length before each read.
    auto inMap = [&](uint64_t at, uint64_t length) { return at + length <= mapLength; };
    uint64_t typeList = u16(file, size_t(mapOffset + 24));
    if (!inMap(typeList, 2))
    {
        error = "its type list lies outside the map";
        return false;
    }
    uint32_t types = (u16(file, size_t(mapOffset + typeList)) + 1) & 0xFFFF;
    for (uint32_t t = 0; t < types; ++t)
    {
        uint64_t entry = typeList + 2 + 8 * uint64_t(t);
        if (!inMap(entry, 8))
        {
            error = "its type list runs past the map";
            return false;
        }
        if (u32(file, size_t(mapOffset + entry)) != type) continue;
        uint64_t reference = typeList + u16(file, size_t(mapOffset + entry + 6));
        if (!inMap(reference, 12))
        {
            error = "a reference lies outside the map";
            return false;
        }
        size_t at = size_t(mapOffset + reference);
        uint64_t offset = u32(file, at + 4) & 0xFFFFFF;
        if (offset + 4 > dataLength ||
            offset + 4 + u32(file, size_t(dataOffset + offset)) > dataLength)
        {
            error = "a resource runs past the data area";
            return false;
        }
        id = int16_t(u16(file, at));
        data = file.substr(size_t(dataOffset + offset + 4), u32(file, size_t(dataOffset + offset)));
        return true;
    }
    error = "no " + codeText(type) + " resource";
    return false;
}

bool parsePiPL(const std::string& bytes, std::vector<PiPLProperty>& properties, std::string& error)
{
    properties.clear();
    if (bytes.size() < 8 || u32(bytes, 0) != 0)
    {
        error = bytes.size() < 8 ? "shorter than its header" : "its version is not 0";
        return false;
    }
    // Each property takes at least 16 bytes: a larger count cannot be true.
    uint64_t count = u32(bytes, 4);
    if (count > (bytes.size() - 8) / 16)
    {
        error = std::to_string(count) + " properties cannot fit in " +
                std::to_string(bytes.size()) + " bytes";
        return false;
    }
    size_t at = 8;
    for (uint64_t i = 0; i < count; ++i)
    {
        uint64_t length = at + 16 <= bytes.size() ? u32(bytes, at + 12) : ~uint64_t(0);
        if (length > bytes.size() - std::min(bytes.size(), at + 16))
        {
            error = "property " + std::to_string(i + 1) + " runs past the end";
            return false;
        }
        PiPLProperty p;
        p.vendor = u32(bytes, at);
        p.key = u32(bytes, at + 4);
        p.data = bytes.substr(at + 16, size_t(length));
        properties.push_back(p);
        at = size_t(std::min<uint64_t>(bytes.size(), at + 16 + ((length + 3) & ~uint64_t(3))));
    }
    return true;
}

bool examineBundle(const std::string& path, PlugInBundle& bundle, std::string& reason)
{
    bundle = PlugInBundle();
    bundle.path = path;
    std::string plist, rsrc, error, exe;
    if (!isFolder(path))
    {
        reason = "not a folder";
        return false;
    }
    if (!readFile(path + "/Contents/Info.plist", s_maxInfoPlist, plist, error))
    {
        reason = "Contents/Info.plist is " + error;
        return false;
    }
    if (!plistString(plist, "CFBundleExecutable", exe) || exe.empty() ||
        exe.find('/') != std::string::npos || exe == "." || exe == "..")
    {
        reason = "Contents/Info.plist names no executable (CFBundleExecutable)";
        return false;
    }
    bundle.executable = path + "/Contents/MacOS/" + exe;
    // Bundle services open exactly one resource file: the executable's name + ".rsrc".
    std::string rsrcName = "Contents/Resources/" + exe + ".rsrc";
    if (!readFile(path + "/" + rsrcName, s_maxResourceFile, rsrc, error))
    {
        reason = "its resource file " + rsrcName + " is " + error;
        return false;
    }
    std::string piplBytes;
    if (!readResource(rsrc, code("PiPL"), bundle.piplID, piplBytes, error))
    {
        reason = error.compare(0, 3, "no ") == 0 ? error + " in " + rsrcName
                                                 : "its resource file is damaged: " + error;
        return false;
    }
    if (!parsePiPL(piplBytes, bundle.pipl, error))
    {
        reason = "its PiPL is damaged: " + error;
        return false;
    }
    const PiPLProperty* kind = findProperty(bundle.pipl, code("kind"));
    if (kind == nullptr || kind->data != "8LIZ")
    {
        reason = kind == nullptr ? "its PiPL has no kind"
                                 : "its PiPL's kind is " + describeProperty(*kind) +
                                       ", not automation ('8LIZ')";
        return false;
    }
    std::string name;
    const PiPLProperty* nameProperty = findProperty(bundle.pipl, code("name"));
    if (nameProperty == nullptr || !pascalString(nameProperty->data, name))
    {
        reason = "its PiPL has no name";
        return false;
    }
    const PiPLProperty* entry = findProperty(bundle.pipl, hostCodeKey());
    if (entry == nullptr || !pascalString(entry->data, bundle.entry) || bundle.entry.empty())
    {
        reason = "its PiPL has no code property for this host's architecture (" +
                 codeText(hostCodeKey()) + ")";
        return false;
    }
    bundle.exchangeRoot = exchangeRootOf(bundle.executable);
    return true;
}

std::string exchangeRootOf(const std::string& executable)
{
    // The exchange units build the log file's path as one literal from the
    // root they are compiled with, so the code holds it whole.
    static const std::string s_logFile =
        std::string("/TivProjects/Default/Tiv_PhotoshopPlugin.txt") + '\0';
    const size_t longestRoot = 4096;
    FILE* in = fopen(executable.c_str(), "rb");
    if (in == nullptr) return "";
    std::string window, chunk(1 << 20, '\0');
    bool cut = false; // the window no longer starts at the file's start
    size_t got = 0;
    std::string root;
    while (root.empty() && (got = fread(&chunk[0], 1, chunk.size(), in)) > 0)
    {
        window.append(chunk, 0, got);
        for (size_t at = window.find(s_logFile); at != std::string::npos && root.empty();
             at = window.find(s_logFile, at + 1))
        {
            size_t start = at == 0 ? std::string::npos : window.rfind('\0', at - 1);
            if (start == std::string::npos && cut) continue;
            start = start == std::string::npos ? 0 : start + 1;
            std::string candidate = window.substr(start, at - start);
            if (!candidate.empty() && candidate[0] == '/' && candidate.size() <= longestRoot)
                root = candidate;
        }
        const size_t keep = longestRoot + s_logFile.size();
        if (window.size() > keep)
        {
            window.erase(0, window.size() - keep);
            cut = true;
        }
    }
    fclose(in);
    return root;
}

std::vector<std::string> findBundles(const std::string& folder)
{
    std::vector<std::string> bundles;
    scan(folder, 0, bundles);
    return bundles;
}

std::string describePiPL(const PlugInBundle& bundle)
{
    std::string text = "PiPL " + std::to_string(bundle.piplID) + ", " +
                       std::to_string(bundle.pipl.size()) + " properties\n";
    for (const PiPLProperty& p : bundle.pipl)
    {
        text += "  " + codeText(p.vendor) + " " + codeText(p.key) + "  " + describeProperty(p);
        if (p.vendor == code("8BIM") && p.key == hostCodeKey()) text += "  (this host's code)";
        text += "\n";
    }
    return text;
}
