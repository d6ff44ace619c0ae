#include "CompareCommand.h"

#include "MeshCompare.h"
#include "MeshRender.h"
#include "QDTivMesh.h"
#include "ToolMessages.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace
{
const uint32_t s_labelColor = 0xF0F0F0;

// From "unmoved" (a cool blue) through yellow to red at the largest move.
uint32_t scaleColor(double t)
{
    static const uint32_t stops[] = {0x4A6FB5, 0xE8D04A, 0xD23A2A};
    t = t < 0 ? 0 : t > 1 ? 1 : t;
    const double at = t * 2;
    const int low = at >= 2 ? 1 : int(at);
    const double w = at - low;
    uint32_t rgb = 0;
    for (int shift = 0; shift <= 16; shift += 8)
    {
        double from = (stops[low] >> shift) & 0xFF, to = (stops[low + 1] >> shift) & 0xFF;
        rgb |= uint32_t(std::lround(from + (to - from) * w)) << shift;
    }
    return rgb;
}

std::string shortNumber(double value)
{
    char text[32];
    snprintf(text, sizeof(text), "%.4g", value);
    return text;
}

// Along the bottom edge, under the mesh: "0", the colour scale, the largest move.
void drawScaleBar(RgbImage& image, double largest)
{
    const int size = image.width;
    const int height = 7, y = size - height - 3;
    const std::string low = "0", high = shortNumber(largest);
    const int margin = renderMargin(size);
    const int barLeft = margin + drawLabel(image, margin, y, low, s_labelColor) + 4;
    const int barRight = size - margin - 6 * int(high.size()) - 4;
    for (int x = barLeft; x < barRight; ++x)
    {
        const uint32_t rgb = scaleColor(double(x - barLeft) / std::max(1, barRight - barLeft - 1));
        for (int row = 0; row < height; ++row)
            image.set(x, y + row, rgb);
    }
    drawLabel(image, barRight + 4, y, high, s_labelColor);
}
} // namespace

bool writeComparisonPicture(const std::string& path, const QDTivMesh& a, const QDTivMesh& b,
                            MeshFrame frame, const MeshComparison& comparison, std::string& message)
{
    beginStep("draw", path);
    RenderOptions options;
    options.frame = frame;
    std::vector<uint32_t> colors;
    const double largest = comparison.positions.largest;
    if (comparison.sameTopology)
    {
        std::vector<float> moves = faceMoves(a, b, float(largest));
        colors.reserve(moves.size());
        for (float move : moves)
            colors.push_back(scaleColor(largest > 0 ? move / largest : move > 0 ? 1 : 0));
        options.faceColors = &colors;
    }
    else if (comparison.firstDifferentFace < b.getFaceCount())
        options.markedFace = comparison.firstDifferentFace;

    RgbImage image;
    std::string nothing;
    // A mesh with nothing to draw still gets its (plain) picture.
    if (!renderMesh(b, options, image, nothing))
        fprintf(stderr, "tivtool: %s: nothing to draw: %s\n", path.c_str(), nothing.c_str());
    if (comparison.sameTopology)
        drawScaleBar(image, largest);
    else if (options.markedFace >= 0)
        drawLabel(image, renderMargin(image.width), 3,
                  "face " + std::to_string(options.markedFace) + " differs", s_labelColor);
    beginStep("write", path);
    return writePng(path, image, message);
}
