// Orthographic, depth-buffered view of a mesh, faces shaded flat by a light
// from the viewer's upper left, in their colour map's colours where they have
// one. Faces with a corner that is out of range or not finite are left out; the
// view is fitted to the faces that remain.

#include "MeshRender.h"
#include "QDTivMesh.h"
#include "RenderRaster.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
// Right, up and towards the viewer, in mesh coordinates: a right-handed frame.
struct ViewFrame
{
    double right[3], up[3], toward[3];
};

// In the editor's frame: each view looks at the same side of the model in both
// frames.
ViewFrame editorFrameOf(RenderView view)
{
    const double r2 = 1.0 / std::sqrt(2.0), r3 = 1.0 / std::sqrt(3.0), r6 = 1.0 / std::sqrt(6.0);
    switch (view)
    {
    case RenderView::back:
        return {{-1, 0, 0}, {0, 1, 0}, {0, 0, -1}};
    case RenderView::left:
        return {{0, 0, 1}, {0, 1, 0}, {-1, 0, 0}};
    case RenderView::right:
        return {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}};
    case RenderView::top:
        return {{1, 0, 0}, {0, 0, -1}, {0, 1, 0}};
    case RenderView::bottom:
        return {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}};
    case RenderView::iso:
        return {{r2, 0, -r2}, {-r6, 2 * r6, -r6}, {r3, r3, r3}};
    case RenderView::front:
        break;
    }
    return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
}

// The sculpting application's coordinates are the editor's with y and z
// negated, a half turn about x: the same turn takes the view's axes there.
ViewFrame frameOf(RenderView view, MeshFrame meshFrame)
{
    ViewFrame frame = editorFrameOf(view);
    if (meshFrame == MeshFrame::sculpting)
        for (double* axis : {frame.right, frame.up, frame.toward})
        {
            axis[1] = -axis[1];
            axis[2] = -axis[2];
        }
    return frame;
}

double dot(const double a[3], const QDVector3f& p)
{
    return a[0] * double(p.x()) + a[1] * double(p.y()) + a[2] * double(p.z());
}

bool isFinite(const QDVector3f& p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

// The faces worth drawing: every corner a vertex with a finite position.
std::vector<int> drawableFaces(const QDTivMesh& mesh)
{
    std::vector<int> faces;
    const int faceCount = mesh.getFaceCount(), vertexCount = mesh.m_vertices.size();
    for (int f = 0; f < faceCount; ++f)
    {
        const int* corners = &mesh.m_faceVertexIndices[4 * f];
        int n = faceCornerCount(corners);
        bool ok = n > 0;
        for (int c = 0; ok && c < n; ++c)
            ok = corners[c] < vertexCount && isFinite(mesh.m_vertices[corners[c]]);
        if (ok) faces.push_back(f);
    }
    return faces;
}

// Vertex positions in pixels: x right, y down, depth growing towards the viewer.
struct Projection
{
    std::vector<float> x, y, depth;
};

Projection project(const QDTivMesh& mesh, const std::vector<int>& faces, const ViewFrame& frame,
                   int size)
{
    const int vertexCount = mesh.m_vertices.size();
    std::vector<unsigned char> used(size_t(vertexCount), 0);
    for (int f : faces)
        for (int c = 0, n = faceCornerCount(&mesh.m_faceVertexIndices[4 * f]); c < n; ++c)
            used[size_t(mesh.m_faceVertexIndices[4 * f + c])] = 1;

    // Doubles: the extent of floats near their limit overflows a float.
    const double inf = std::numeric_limits<double>::infinity();
    double lo[3] = {inf, inf, inf}, hi[3] = {-inf, -inf, -inf};
    for (int v = 0; v < vertexCount; ++v)
    {
        if (!used[size_t(v)]) continue;
        const QDVector3f& p = mesh.m_vertices[v];
        const double q[3] = {dot(frame.right, p), dot(frame.up, p), dot(frame.toward, p)};
        for (int k = 0; k < 3; ++k)
        {
            lo[k] = std::min(lo[k], q[k]);
            hi[k] = std::max(hi[k], q[k]);
        }
    }
    const double extent = std::max(hi[0] - lo[0], hi[1] - lo[1]);
    const double scale = extent > 0 ? (size - 2 * renderMargin(size)) / extent : 1.0;
    const double depthScale = hi[2] > lo[2] ? 1.0 / (hi[2] - lo[2]) : 0.0;
    const double cx = 0.5 * (lo[0] + hi[0]), cy = 0.5 * (lo[1] + hi[1]), half = 0.5 * size;

    Projection out;
    out.x.assign(size_t(vertexCount), 0.0f);
    out.y.assign(size_t(vertexCount), 0.0f);
    out.depth.assign(size_t(vertexCount), 0.0f);
    for (int v = 0; v < vertexCount; ++v)
    {
        if (!used[size_t(v)]) continue;
        const QDVector3f& p = mesh.m_vertices[v];
        out.x[size_t(v)] = float(half + (dot(frame.right, p) - cx) * scale);
        out.y[size_t(v)] = float(half - (dot(frame.up, p) - cy) * scale);
        out.depth[size_t(v)] = float((dot(frame.toward, p) - lo[2]) * depthScale);
    }
    return out;
}

// Brightness of a face, 0.35 to 1: the side facing the viewer is lit, whichever
// way the face is wound.
double faceLight(const QDTivMesh& mesh, const int* corners, int n, const ViewFrame& frame)
{
    // A quad's normal from its diagonals, a triangle's from two edges.
    auto at = [&](int c) { return mesh.m_vertices[corners[c]]; };
    const QDVector3f u0 = at(0), u1 = at(n == 4 ? 2 : 1), w0 = at(n == 4 ? 1 : 0),
                     w1 = at(n == 4 ? 3 : 2);
    const double u[3] = {double(u1.x()) - u0.x(), double(u1.y()) - u0.y(), double(u1.z()) - u0.z()};
    const double w[3] = {double(w1.x()) - w0.x(), double(w1.y()) - w0.y(), double(w1.z()) - w0.z()};
    const double normal[3] = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2],
                              u[0] * w[1] - u[1] * w[0]};
    auto along = [&normal](const double axis[3])
    { return axis[0] * normal[0] + axis[1] * normal[1] + axis[2] * normal[2]; };
    double nx = along(frame.right), ny = along(frame.up), nz = along(frame.toward);
    const double length = std::sqrt(nx * nx + ny * ny + nz * nz);
    if (!(length > 0) || !std::isfinite(length)) return 0.35;
    if (nz < 0)
    {
        nx = -nx;
        ny = -ny;
        nz = -nz;
    }
    // Light from the upper left, in front: (-1, 1, 2) normalised.
    const double lit = (-nx + ny + 2 * nz) / (length * std::sqrt(6.0));
    return 0.35 + 0.65 * std::max(0.0, lit);
}

uint32_t shade(uint32_t rgb, double light)
{
    uint32_t out = 0;
    for (int shift = 16; shift >= 0; shift -= 8)
        out |= uint32_t(std::lround(((rgb >> shift) & 0xFF) * light)) << shift;
    // The background colour marks empty pixels: a face never takes it.
    return out == s_renderBackground ? out ^ 1 : out;
}

void putPixel(uint8_t* pixel, uint32_t rgb)
{
    pixel[0] = uint8_t(rgb >> 16);
    pixel[1] = uint8_t(rgb >> 8);
    pixel[2] = uint8_t(rgb);
}

struct Target
{
    RgbImage& image;
    std::vector<float> depth;
};

// `color(wa, wb, wc)` gives the colour at the pixel of barycentric weights
// wa, wb, wc (summing to 1) of the corners a, b, c.
template <typename Color>
void fillTriangle(Target& target, const Projection& p, int a, int b, int c, Color color)
{
    const float ax = p.x[size_t(a)], ay = p.y[size_t(a)], bx = p.x[size_t(b)], by = p.y[size_t(b)],
                cx = p.x[size_t(c)], cy = p.y[size_t(c)];
    float area = (bx - ax) * (cy - ay) - (by - ay) * (cx - ax);
    if (!(area != 0)) return;
    const float sign = area > 0 ? 1.0f : -1.0f;
    area *= sign;
    const int size = target.image.width;
    const int x0 = std::max(0, int(std::floor(std::min({ax, bx, cx}))));
    const int x1 = std::min(size - 1, int(std::ceil(std::max({ax, bx, cx}))));
    const int y0 = std::max(0, int(std::floor(std::min({ay, by, cy}))));
    const int y1 = std::min(size - 1, int(std::ceil(std::max({ay, by, cy}))));
    const float da = p.depth[size_t(a)], db = p.depth[size_t(b)], dc = p.depth[size_t(c)];
    for (int y = y0; y <= y1; ++y)
    {
        const float py = y + 0.5f;
        for (int x = x0; x <= x1; ++x)
        {
            const float px = x + 0.5f;
            const float wa = sign * ((cx - bx) * (py - by) - (cy - by) * (px - bx));
            const float wb = sign * ((ax - cx) * (py - cy) - (ay - cy) * (px - cx));
            const float wc = sign * ((bx - ax) * (py - ay) - (by - ay) * (px - ax));
            if (wa < 0 || wb < 0 || wc < 0) continue;
            const float z = (wa * da + wb * db + wc * dc) / area;
            float& held = target.depth[size_t(y) * size_t(size) + size_t(x)];
            if (!(z > held)) continue;
            held = z;
            const uint32_t rgb = color(wa / area, wb / area, wc / area);
            putPixel(&target.image.pixels[(size_t(y) * size_t(size) + size_t(x)) * 3], rgb);
        }
    }
}

// Face f in its colour map's colours, the corners' texture coordinates
// interpolated across each of its triangles.
void drawTexturedFace(Target& target, const Projection& projection, const QDTivMesh& mesh, int f,
                      const RgbImage& map, MeshFrame frame, double light)
{
    const int* corners = &mesh.m_faceVertexIndices[4 * f];
    const QDVector2f* uv = &mesh.m_cornerUVs[4 * f];
    auto triangle = [&](int a, int b, int c)
    {
        auto color = [&](float wa, float wb, float wc)
        {
            const double u =
                double(wa) * uv[a].x() + double(wb) * uv[b].x() + double(wc) * uv[c].x();
            const double v =
                double(wa) * uv[a].y() + double(wb) * uv[b].y() + double(wc) * uv[c].y();
            return shade(sampleColourMap(map, u, v, frame), light);
        };
        fillTriangle(target, projection, corners[a], corners[b], corners[c], color);
    };
    triangle(0, 1, 2);
    if (faceCornerCount(corners) == 4) triangle(0, 2, 3);
}
} // namespace

MeshFrame meshFrameOf(const std::string& path)
{
    const size_t n = path.size();
    if (n < 4) return MeshFrame::editor;
    std::string extension = path.substr(n - 4);
    for (char& c : extension)
        c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return extension == ".tiv" ? MeshFrame::sculpting : MeshFrame::editor;
}

int faceCornerCount(const int* corners)
{
    if (corners[0] < 0 || corners[1] < 0 || corners[2] < 0 || corners[3] < -1) return 0;
    return corners[3] == -1 ? 3 : 4;
}

int renderMargin(int size)
{
    return std::max(1, size / 20);
}

bool renderMesh(const QDTivMesh& mesh, const RenderOptions& options, RgbImage& image,
                std::string& message)
{
    const int size = std::clamp(options.size, 1, s_maxRenderSize);
    image.fill(size, size, s_renderBackground);
    message.clear();
    if (options.uvLayout) return renderLayout(mesh, options, image, message);
    if (mesh.getFaceCount() == 0)
    {
        message = "the mesh has no faces";
        return false;
    }
    std::vector<int> faces = drawableFaces(mesh);
    if (faces.empty())
    {
        // Faces of an OBJ with relative indices, or of a cut file, all point past the vertices.
        int inside = 0;
        const int vertexCount = mesh.m_vertices.size();
        for (int f = 0; f < mesh.getFaceCount() && inside == 0; ++f)
        {
            const int* corners = &mesh.m_faceVertexIndices[4 * f];
            const int n = faceCornerCount(corners);
            inside = n > 0;
            for (int c = 0; c < n; ++c)
                inside = inside && corners[c] < vertexCount;
        }
        message = inside ? "no face has corners that are vertices with finite positions"
                         : "every face points outside the mesh's " + std::to_string(vertexCount) +
                               (vertexCount == 1 ? " vertex" : " vertices");
        return false;
    }
    const ViewFrame frame = frameOf(options.view, options.frame);
    const Projection projection = project(mesh, faces, frame, size);
    const std::vector<uint32_t>* colors = options.faceColors;
    if (colors && colors->size() != size_t(mesh.getFaceCount())) colors = nullptr;

    const RgbImage* map =
        colors || mesh.m_cornerUVs.size() != 4 * mesh.getFaceCount() ? nullptr : options.texture;

    Target target{image, std::vector<float>(size_t(size) * size_t(size), -1.0f)};
    for (int f : faces)
    {
        const int* corners = &mesh.m_faceVertexIndices[4 * f];
        const int n = faceCornerCount(corners);
        const double light = faceLight(mesh, corners, n, frame);
        if (map && f != options.markedFace)
        {
            drawTexturedFace(target, projection, mesh, f, *map, options.frame, light);
            continue;
        }
        const uint32_t rgb = f == options.markedFace
                                 ? shade(s_markedColor, 0.5 + 0.5 * light)
                                 : shade(colors ? (*colors)[size_t(f)] : s_plainFaceColor, light);
        auto flat = [rgb](float, float, float) { return rgb; };
        fillTriangle(target, projection, corners[0], corners[1], corners[2], flat);
        if (n == 4) fillTriangle(target, projection, corners[0], corners[2], corners[3], flat);
    }
    if (std::binary_search(faces.begin(), faces.end(), options.markedFace))
    {
        const int* corners = &mesh.m_faceVertexIndices[4 * options.markedFace];
        const int n = faceCornerCount(corners);
        double x = 0, y = 0;
        for (int c = 0; c < n; ++c)
        {
            x += projection.x[size_t(corners[c])] / n;
            y += projection.y[size_t(corners[c])] / n;
        }
        drawRing(image, x, y, std::max(6.0, size / 50.0), s_markedColor);
    }
    return true;
}

void RgbImage::fill(int w, int h, uint32_t rgb)
{
    // Room for a few renders side by side, and no more.
    width = std::clamp(w, 0, 4 * s_maxRenderSize);
    height = std::clamp(h, 0, 4 * s_maxRenderSize);
    if (size_t(width) * size_t(height) > size_t(s_maxRenderSize) * s_maxRenderSize * 2)
        height = int(size_t(s_maxRenderSize) * s_maxRenderSize * 2 / std::max(width, 1));
    pixels.resize(size_t(width) * size_t(height) * 3);
    for (size_t i = 0; i < pixels.size(); i += 3)
        putPixel(&pixels[i], rgb);
}

void RgbImage::set(int x, int y, uint32_t rgb)
{
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    putPixel(&pixels[(size_t(y) * size_t(width) + size_t(x)) * 3], rgb);
}

uint32_t RgbImage::get(int x, int y) const
{
    if (x < 0 || y < 0 || x >= width || y >= height) return 0;
    const uint8_t* pixel = &pixels[(size_t(y) * size_t(width) + size_t(x)) * 3];
    return uint32_t(pixel[0]) << 16 | uint32_t(pixel[1]) << 8 | pixel[2];
}

bool parseRenderView(const std::string& name, RenderView& view)
{
    static const char* const names[] = {"front", "back", "left", "right", "top", "bottom", "iso"};
    for (int i = 0; i < 7; ++i)
        if (name == names[i])
        {
            view = RenderView(i);
            return true;
        }
    return false;
}
