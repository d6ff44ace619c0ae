#pragma once

// Whether a mesh came back from an editor as it was sent: counts, faces up to
// rotated corners, texture-coordinate seams, and how far vertices and corner
// texture coordinates moved. Used by `tivtool compare` and by the stand-in
// sculpting application on a repeated arrival.

#include <string>
#include <vector>

class QDTivMesh;

struct MeshCounts
{
    int vertices = 0, faces = 0, triangles = 0, quads = 0;
    // Every face has four slots; a triangle's fourth is no corner, and its
    // coordinate there means nothing.
    int corners = 0, cornerSlots = 0;
    int cornerUVs = 0, cornerUVSlots = 0;
    // Coordinates that are infinite or NaN are counted, never measured.
    int nonFiniteVertices = 0, firstNonFiniteVertex = -1;
    int nonFiniteUVs = 0, firstNonFiniteUV = -1;
};

MeshCounts countMesh(const QDTivMesh& mesh);
// "11904 corner UVs (15872 slots)", the slots only where they differ.
std::string countWithSlots(int count, int slots, const char* one, const char* many);

// Distances between corresponding points (vertices, or corner texture
// coordinates) of two meshes with the same faces.
struct MoveStats
{
    bool measured = false;
    int pairs = 0;
    double largest = 0, rootMeanSquare = 0;
    int largestAt = -1;
    int moved = 0;       // farther apart than the tolerance
    int notMeasured = 0; // a non-finite coordinate on one side, other bits on the other
};

enum class UVLayout
{
    neither, // no texture coordinates on either side
    same,
    onlyA,
    onlyB,
    seamsDiffer,
    notCompared // both have them, but the faces differ
};

struct MeshComparison
{
    MeshCounts a, b;
    bool sameTopology = false;
    int rotatedFaces = 0;
    // With different faces: the first face that differs (or that only one mesh
    // has) and its four vertex slots in each mesh (empty where it has none).
    int firstDifferentFace = -1;
    std::vector<int> faceA, faceB;
    UVLayout uvLayout = UVLayout::neither;
    MoveStats positions, uvs;
    double tolerance = 0;

    bool countsDiffer() const;
    // Rotated corners alone still count as the same mesh.
    bool same() const;
};

// Compares b against a. When only rotations differ, b's corners are put into
// a's order (as reorderCorners does) before its texture coordinates are
// measured. Both meshes' caches are rebuilt.
MeshComparison compareMeshes(const QDTivMesh& a, QDTivMesh& b, double tolerance);

// The largest move of each face's vertices, for a picture of b coloured by it;
// a vertex with a non-finite coordinate on either side counts as `largest`.
// Needs faces that compared the same.
std::vector<float> faceMoves(const QDTivMesh& a, const QDTivMesh& b, float largest);

std::string comparisonText(const MeshComparison& c, const std::string& nameA,
                           const std::string& nameB);
std::string comparisonJson(const MeshComparison& c, const std::string& nameA,
                           const std::string& nameB);
// The text as a JSON string, quoted and escaped.
std::string jsonString(const std::string& s);
// One line for a mesh that arrives again: faces, seams, largest vertex move.
std::string arrivalLine(const MeshComparison& c);
