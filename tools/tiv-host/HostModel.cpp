#include "HostModel.h"

#include "HostTexture.h"
#include "ReplaceFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace
{
const int s_rings = 32;
const int s_segments = 64;
const float s_radius = 10.0f;
const float s_center[3] = {0.0f, 10.0f, 5.0f};

uint32_t ringPosition(int ring, int segment)
{
    // Position 0 is the north pole, then the rings' segments, then the south pole.
    if (ring == 0) return 0;
    if (ring == s_rings) return 1 + uint32_t((s_rings - 1) * s_segments);
    return 1 + uint32_t((ring - 1) * s_segments + segment % s_segments);
}

uint32_t gridUV(int ring, int segment)
{
    return uint32_t(ring * (s_segments + 1) + segment);
}

std::string fileNameOf(const std::string& path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string withoutObjExtension(const std::string& path)
{
    size_t n = path.size();
    if (n >= 4 && path.compare(n - 4, 4, ".obj") == 0) return path.substr(0, n - 4);
    return path;
}

bool writeAll(FILE* f, const std::string& text)
{
    return fwrite(text.data(), 1, text.size(), f) == text.size();
}

// Buffered so that a multi-million-triangle layer is written in large blocks.
class TextOut
{
public:
    explicit TextOut(FILE* f) : m_file(f) { m_buffer.reserve(1 << 20); }
    void line(const char* format, ...) __attribute__((format(printf, 2, 3)))
    {
        char text[256];
        va_list args;
        va_start(args, format);
        int n = vsnprintf(text, sizeof(text), format, args);
        va_end(args);
        if (n > 0) m_buffer.append(text, size_t(n) < sizeof(text) ? size_t(n) : sizeof(text) - 1);
        if (m_buffer.size() >= (1 << 20)) flush();
    }
    bool flush()
    {
        m_ok = m_ok && writeAll(m_file, m_buffer);
        m_buffer.clear();
        return m_ok;
    }

private:
    FILE* m_file;
    std::string m_buffer;
    bool m_ok = true;
};

std::string trimmed(const char* text)
{
    std::string out(text);
    const char* blanks = " \t\r\n";
    out.erase(0, std::min(out.size(), out.find_first_not_of(blanks)));
    out.erase(out.find_last_not_of(blanks) + 1);
    return out;
}

std::string systemError(const std::string& path)
{
    return path + ": " + strerror(errno);
}

bool parseIndex(const char* text, size_t count, uint32_t& index)
{
    char* end = nullptr;
    errno = 0;
    long long value = strtoll(text, &end, 10);
    if (end == text || errno != 0) return false;
    long long resolved = value > 0 ? value - 1 : (long long)count + value;
    if (value == 0 || resolved < 0 || resolved >= (long long)count) return false;
    index = uint32_t(resolved);
    return true;
}
} // namespace

HostModel makeDefaultModel()
{
    const double pi = 3.14159265358979323846;
    HostModel model;
    model.positions.push_back({s_center[0], s_center[1] + s_radius, s_center[2]});
    for (int ring = 1; ring < s_rings; ++ring)
    {
        double theta = pi * ring / s_rings;
        for (int segment = 0; segment < s_segments; ++segment)
        {
            double phi = 2.0 * pi * segment / s_segments;
            model.positions.push_back({float(s_center[0] + s_radius * sin(theta) * cos(phi)),
                                       float(s_center[1] + s_radius * cos(theta)),
                                       float(s_center[2] + s_radius * sin(theta) * sin(phi))});
        }
    }
    model.positions.push_back({s_center[0], s_center[1] - s_radius, s_center[2]});

    // The texture wraps once around: the seam and the poles have texture
    // coordinates of their own on shared positions.
    for (int ring = 0; ring <= s_rings; ++ring)
        for (int segment = 0; segment <= s_segments; ++segment)
            model.uvs.push_back({float(segment) / s_segments, 1.0f - float(ring) / s_rings});

    for (int ring = 0; ring < s_rings; ++ring)
        for (int segment = 0; segment < s_segments; ++segment)
        {
            HostCorner a{ringPosition(ring, segment), gridUV(ring, segment)};
            HostCorner b{ringPosition(ring + 1, segment), gridUV(ring + 1, segment)};
            HostCorner c{ringPosition(ring + 1, segment + 1), gridUV(ring + 1, segment + 1)};
            HostCorner d{ringPosition(ring, segment + 1), gridUV(ring, segment + 1)};
            if (ring != 0) model.triangles.push_back({a, b, d});
            if (ring != s_rings - 1) model.triangles.push_back({d, b, c});
        }
    return model;
}

bool readObjModel(const std::string& path, HostModel& model, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
    {
        error = systemError(path);
        return false;
    }
    model = HostModel();
    std::string mtlName, material;
    bool missingUV = false;
    const uint32_t noUV = UINT32_MAX;
    std::string line;
    std::vector<HostCorner> polygon;
    while (std::getline(in, line))
    {
        const char* p = line.c_str();
        while (*p == ' ' || *p == '\t')
            ++p;
        if (p[0] == 'v' && (p[1] == ' ' || p[1] == '\t'))
        {
            std::array<float, 3> v{0.0f, 0.0f, 0.0f};
            char* end = nullptr;
            const char* q = p + 1;
            for (float& c : v)
            {
                c = strtof(q, &end);
                q = end;
            }
            model.positions.push_back(v);
        }
        else if (p[0] == 'v' && p[1] == 't' && (p[2] == ' ' || p[2] == '\t'))
        {
            std::array<float, 2> t{0.0f, 0.0f};
            char* end = nullptr;
            const char* q = p + 2;
            for (float& c : t)
            {
                c = strtof(q, &end);
                q = end;
            }
            model.uvs.push_back(t);
        }
        else if (strncmp(p, "mtllib", 6) == 0 && (p[6] == ' ' || p[6] == '\t') && mtlName.empty())
            mtlName = trimmed(p + 6);
        else if (strncmp(p, "usemtl", 6) == 0 && (p[6] == ' ' || p[6] == '\t') && material.empty())
            material = trimmed(p + 6);
        else if (p[0] == 'f' && (p[1] == ' ' || p[1] == '\t'))
        {
            polygon.clear();
            bool valid = true;
            const char* q = p + 1;
            while (valid)
            {
                while (*q == ' ' || *q == '\t' || *q == '\r')
                    ++q;
                if (*q == 0) break;
                HostCorner corner{0, noUV};
                valid = parseIndex(q, model.positions.size(), corner.position);
                while (*q != 0 && *q != '/' && *q != ' ' && *q != '\t' && *q != '\r')
                    ++q;
                if (valid && *q == '/' && q[1] != '/' && q[1] != ' ' && q[1] != 0)
                    valid = parseIndex(q + 1, model.uvs.size(), corner.uv);
                while (*q != 0 && *q != ' ' && *q != '\t' && *q != '\r')
                    ++q;
                if (corner.uv == noUV) missingUV = true;
                polygon.push_back(corner);
            }
            for (size_t k = 2; valid && k < polygon.size(); ++k)
                model.triangles.push_back({polygon[0], polygon[k - 1], polygon[k]});
        }
    }
    if (model.triangles.empty())
    {
        error = path + ": no face";
        return false;
    }
    model.colourMap = findColourMap(path, mtlName, material, model.colourMapMissing);
    if (missingUV)
    {
        uint32_t origin = uint32_t(model.uvs.size());
        model.uvs.push_back({0.0f, 0.0f});
        for (auto& triangle : model.triangles)
            for (HostCorner& corner : triangle)
                if (corner.uv == noUV) corner.uv = origin;
    }
    return true;
}

bool exportModel(const HostModel& model, const std::string& objPath, HostExport& written,
                 std::string& error)
{
    std::string base = withoutObjExtension(objPath);
    written = HostExport();
    written.objPath = objPath;
    written.mtlPath = base + ".mtl";
    written.texturePath = base + "_diffuse.bmp";
    written.faceCount = model.triangles.size();
    const char* material = "layerMaterial";

    auto writeObj = [&](FILE* file)
    {
        size_t corners = model.triangles.size() * 3;
        TextOut out(file);
        out.line("#Vertex Count %zu\n", corners);
        out.line("#UV Vertex Count %zu\n", corners);
        out.line("#Face Count %zu\n", model.triangles.size());
        out.line("mtllib %s\n", fileNameOf(written.mtlPath).c_str());
        out.line("usemtl %s\n", material);
        for (const auto& triangle : model.triangles)
            for (const HostCorner& c : triangle)
            {
                const auto& p = model.positions[c.position];
                out.line("v %.6f %.6f %.6f\n", p[0], p[1], p[2]);
            }
        for (const auto& triangle : model.triangles)
            for (const HostCorner& c : triangle)
            {
                const auto& t = model.uvs[c.uv];
                out.line("vt %.6f %.6f\n", t[0], t[1]);
            }
        for (size_t i = 0; i < model.triangles.size(); ++i)
            out.line("f %zu/%zu %zu/%zu %zu/%zu\n", 3 * i + 1, 3 * i + 1, 3 * i + 2, 3 * i + 2,
                     3 * i + 3, 3 * i + 3);
        return out.flush();
    };
    if (!replaceFile(objPath, writeObj))
    {
        error = systemError(objPath);
        return false;
    }
    if (!replaceFileWith(written.mtlPath,
                         std::string("newmtl ") + material +
                             "\nKa 0.000000 0.000000 0.000000\n"
                             "Kd 1.000000 1.000000 1.000000\nmap_Kd " +
                             fileNameOf(written.texturePath) + "\n"))
    {
        error = systemError(written.mtlPath);
        return false;
    }
    if (!writeHostTexture(model, written.texturePath, written.textureSource, written.checkerReason))
    {
        error = systemError(written.texturePath);
        return false;
    }
    return true;
}
