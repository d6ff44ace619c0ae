// The texture-coordinate layout: the unit square framed, each face's corners
// joined by lines, over the colour map when there is one. The colour map stands
// upright, so v grows upwards in the editor's frame (as texture artists see it)
// and downwards in the sculpting application's: a mesh and its sent copy give
// the same layout.

#include "QDTivMesh.h"
#include "RenderRaster.h"

#include <algorithm>
#include <cmath>

namespace
{
// Clips the line to [lo, hi] on both axes (Liang-Barsky); false when nothing is left.
bool clip(double& x0, double& y0, double& x1, double& y1, double lo, double hi)
{
    double t0 = 0, t1 = 1;
    const double dx = x1 - x0, dy = y1 - y0;
    const double p[4] = {-dx, dx, -dy, dy};
    const double q[4] = {x0 - lo, hi - x0, y0 - lo, hi - y0};
    for (int i = 0; i < 4; ++i)
    {
        if (p[i] == 0)
        {
            if (q[i] < 0) return false;
            continue;
        }
        const double t = q[i] / p[i];
        if (p[i] < 0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 > t1) return false;
    }
    const double sx = x0, sy = y0;
    x0 = sx + t0 * dx;
    y0 = sy + t0 * dy;
    x1 = sx + t1 * dx;
    y1 = sy + t1 * dy;
    return true;
}

// The colour map, stretched over the unit square.
void drawColourMap(RgbImage& image, const RgbImage& map, MeshFrame frame)
{
    const int size = image.width, margin = renderMargin(size);
    const double side = size - 2 * margin;
    for (int y = margin; y < size - margin; ++y)
    {
        const double down = (y + 0.5 - margin) / side;
        const double v = frame == MeshFrame::editor ? 1.0 - down : down;
        for (int x = margin; x < size - margin; ++x)
            image.set(x, y, sampleColourMap(map, (x + 0.5 - margin) / side, v, frame));
    }
}
} // namespace

void drawLine(RgbImage& image, double x0, double y0, double x1, double y1, uint32_t rgb)
{
    if (!std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(x1) || !std::isfinite(y1))
        return;
    if (!clip(x0, y0, x1, y1, 0.0, double(std::max(image.width, image.height)))) return;
    // Bresenham between the pixels that hold the two ends.
    int x = int(std::floor(x0)), y = int(std::floor(y0));
    const int xEnd = int(std::floor(x1)), yEnd = int(std::floor(y1));
    const int dx = std::abs(xEnd - x), dy = -std::abs(yEnd - y);
    const int sx = x < xEnd ? 1 : -1, sy = y < yEnd ? 1 : -1;
    int error = dx + dy;
    for (;;)
    {
        image.set(x, y, rgb);
        if (x == xEnd && y == yEnd) break;
        const int twice = 2 * error;
        if (twice >= dy)
        {
            error += dy;
            x += sx;
        }
        if (twice <= dx)
        {
            error += dx;
            y += sy;
        }
    }
}

void drawRing(RgbImage& image, double x, double y, double radius, uint32_t rgb)
{
    const int steps = 64;
    const double turn = 2 * M_PI / steps;
    for (int i = 0; i < steps; ++i)
        for (double r : {radius, radius + 1})
            drawLine(image, x + r * std::cos(i * turn), y + r * std::sin(i * turn),
                     x + r * std::cos((i + 1) * turn), y + r * std::sin((i + 1) * turn), rgb);
}

bool renderLayout(const QDTivMesh& mesh, const RenderOptions& options, RgbImage& image,
                  std::string& message)
{
    const int faceCount = mesh.getFaceCount();
    if (faceCount == 0 || mesh.m_cornerUVs.size() != 4 * faceCount)
    {
        message = faceCount == 0 ? "the mesh has no faces" : "the mesh has no texture coordinates";
        return false;
    }
    const int size = image.width, margin = renderMargin(size);
    const double side = size - 2 * margin;
    auto px = [&](const QDVector2f& uv) { return margin + double(uv.x()) * side; };
    const bool vDown = options.frame == MeshFrame::sculpting;
    auto py = [&](const QDVector2f& uv)
    { return vDown ? margin + double(uv.y()) * side : size - margin - double(uv.y()) * side; };

    if (options.texture && !options.faceColors)
        drawColourMap(image, *options.texture, options.frame);

    const uint32_t frame = 0x6A707A;
    drawLine(image, margin, margin, size - margin, margin, frame);
    drawLine(image, size - margin, margin, size - margin, size - margin, frame);
    drawLine(image, size - margin, size - margin, margin, size - margin, frame);
    drawLine(image, margin, size - margin, margin, margin, frame);

    const std::vector<uint32_t>* colors = options.faceColors;
    if (colors && colors->size() != size_t(faceCount)) colors = nullptr;
    auto drawFace = [&](int f, uint32_t rgb)
    {
        const int n = faceCornerCount(&mesh.m_faceVertexIndices[4 * f]);
        for (int c = 0; c < n; ++c)
        {
            const QDVector2f& a = mesh.m_cornerUVs[4 * f + c];
            const QDVector2f& b = mesh.m_cornerUVs[4 * f + (c + 1) % n];
            drawLine(image, px(a), py(a), px(b), py(b), rgb);
        }
    };
    for (int f = 0; f < faceCount; ++f)
        drawFace(f, colors ? (*colors)[size_t(f)] : 0xE6E6E6);
    // On top of its neighbours' shared edges.
    if (options.markedFace >= 0 && options.markedFace < faceCount)
        drawFace(options.markedFace, s_markedColor);
    return true;
}
