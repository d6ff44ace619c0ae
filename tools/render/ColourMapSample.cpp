// Bilinear samples of a colour map, u and v wrapping around as texture
// coordinates outside the unit square repeat the image.

#include "RenderRaster.h"

#include <cmath>

namespace
{
// The texel column or row of a coordinate already in texels, wrapped into [0, n).
int wrapTexel(double at, int n)
{
    double within = std::fmod(at, double(n));
    if (within < 0) within += n;
    const int texel = int(within);
    return texel >= 0 && texel < n ? texel : 0;
}
} // namespace

uint32_t sampleColourMap(const RgbImage& map, double u, double v, MeshFrame frame)
{
    if (map.width <= 0 || map.height <= 0 || !std::isfinite(u) || !std::isfinite(v))
        return s_plainFaceColor;
    // Texel centres sit at half-texel offsets; v = 0 is the editor's bottom row
    // and the sculpting application's top row.
    const double x = u * map.width - 0.5;
    const double y = (frame == MeshFrame::editor ? 1.0 - v : v) * map.height - 0.5;
    const double x0 = std::floor(x), y0 = std::floor(y);
    const double fx = x - x0, fy = y - y0;
    const int left = wrapTexel(x0, map.width), right = wrapTexel(x0 + 1, map.width);
    const int top = wrapTexel(y0, map.height), bottom = wrapTexel(y0 + 1, map.height);
    const uint32_t c00 = map.get(left, top), c10 = map.get(right, top), c01 = map.get(left, bottom),
                   c11 = map.get(right, bottom);
    uint32_t rgb = 0;
    for (int shift = 16; shift >= 0; shift -= 8)
    {
        auto channel = [shift](uint32_t c) { return double((c >> shift) & 0xFF); };
        const double upper = channel(c00) + (channel(c10) - channel(c00)) * fx;
        const double lower = channel(c01) + (channel(c11) - channel(c01)) * fx;
        rgb |= uint32_t(std::lround(upper + (lower - upper) * fy)) << shift;
    }
    return rgb;
}
