#pragma once

// What the shaded view and the texture layout share inside the library.

#include "MeshRender.h"

// Colour of a marked face.
constexpr uint32_t s_markedColor = 0xFF3A2A;
// Base colour of a face without a colour of its own.
constexpr uint32_t s_plainFaceColor = 0xC8C8C8;

// The colour map's colour at (u, v), sampled bilinearly with both wrapping;
// v = 0 is the bottom row of the image in the editor's frame, the top row in
// the sculpting application's. Not finite: the plain face colour.
uint32_t sampleColourMap(const RgbImage& map, double u, double v, MeshFrame frame);

// A line between two points in pixel coordinates (pixel centres at +0.5),
// clipped to the picture; non-finite ends draw nothing.
void drawLine(RgbImage& image, double x0, double y0, double x1, double y1, uint32_t rgb);

// A ring around a point, so that a marked face too small to see is found.
void drawRing(RgbImage& image, double x, double y, double radius, uint32_t rgb);

// The texture-coordinate layout into a picture already filled with the background.
bool renderLayout(const QDTivMesh& mesh, const RenderOptions& options, RgbImage& image,
                  std::string& message);

// Corners of face f (3 or 4), or 0 when its corner slots are not those of a
// triangle or a quad.
int faceCornerCount(const int* corners);
