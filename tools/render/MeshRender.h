#pragma once

// Pictures of meshes for the tools (never for the plug-in): an orthographic,
// depth-buffered, shaded view of a mesh, or its texture-coordinate layout,
// and PNG output.

#include <cstdint>
#include <string>
#include <vector>

class QDTivMesh;

enum class RenderView
{
    front,
    back,
    left,
    right,
    top,
    bottom,
    iso
};

// Which way a mesh's axes point on the screen. The editor shows x to the
// right, y up and z towards the viewer, and its texture v = 0 is the image's
// bottom row. The sculpting application shows x to the right, y down and z into
// the screen, and its v = 0 is the top row: a send negates y and z and flips v
// so that the model looks the same there. Pictures follow the frame, so a mesh
// and its sent copy give the same picture in every view.
enum class MeshFrame
{
    editor,   // OBJ files
    sculpting // .tiv files
};

// The frame of a mesh file by its type: .tiv files are the sculpting application's.
MeshFrame meshFrameOf(const std::string& path);

// Largest picture side; larger requests are clamped to it.
constexpr int s_maxRenderSize = 8192;

// RGB, 3 bytes a pixel, rows from top to bottom.
struct RgbImage
{
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;

    void fill(int width, int height, uint32_t rgb);
    void set(int x, int y, uint32_t rgb); // ignores points outside
    uint32_t get(int x, int y) const;     // 0 outside
};

struct RenderOptions
{
    int size = 512; // width and height in pixels
    RenderView view = RenderView::front;
    MeshFrame frame = MeshFrame::editor;
    bool uvLayout = false; // the texture-coordinate layout instead of the shaded mesh
    // The colour map (see ColourMap.h) that faces with corner texture
    // coordinates are drawn with, shaded like the default grey, and that the
    // layout is drawn over; null, or faceColors given: none.
    const RgbImage* texture = nullptr;
    // Base colour of each face (0xRRGGBB), shaded like the default grey; null
    // or of another length than the face count: every face grey.
    const std::vector<uint32_t>* faceColors = nullptr;
    int markedFace = -1; // a face drawn in a highlight colour, -1 for none
};

// Draws the mesh into a new picture of options.size pixels. False, with a
// message, when there was nothing to draw (no faces, no finite position): the
// picture is then the plain background.
bool renderMesh(const QDTivMesh& mesh, const RenderOptions& options, RgbImage& image,
                std::string& message);

// Short labels on pictures (scale-bar values): digits, letters, '.', '-', '+',
// ' ', ':' and '%' in a small fixed-width bitmap font, drawn with (x, y) as the
// top-left corner; returns the width drawn in pixels.
int drawLabel(RgbImage& image, int x, int y, const std::string& text, uint32_t rgb);

bool writePng(const std::string& path, const RgbImage& image, std::string& message);

// "front", "back", "left", "right", "top", "bottom" or "iso".
bool parseRenderView(const std::string& name, RenderView& view);

// Colour of every pixel that shows neither the mesh nor its layout.
constexpr uint32_t s_renderBackground = 0x2B2F36;

// Pixels left free on each side of a picture of `size` pixels: the mesh's
// projected extent, or the unit square of the layout, fills the rest exactly.
int renderMargin(int size);

// renderMesh, then writePng; false with the message of the step that failed
// (nothing to draw still writes the plain picture, and returns false).
bool renderMeshToPng(const QDTivMesh& mesh, const RenderOptions& options, const std::string& path,
                     std::string& message);

// A PNG of at most s_maxRenderSize pixels a side, as 8-bit RGB whatever its own format.
bool readPng(const std::string& path, RgbImage& image, std::string& message);
