#include "MeshCompare.h"

#include "QDTivMesh.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace
{
bool finite(const float* p, int n)
{
    for (int k = 0; k < n; ++k)
        if (!std::isfinite(p[k])) return false;
    return true;
}

double distance(const float* a, const float* b, int n)
{
    double sum = 0;
    for (int k = 0; k < n; ++k)
    {
        double d = double(b[k]) - double(a[k]); // rarely rounded, unlike a float difference
        sum += d * d;
    }
    return std::sqrt(sum);
}

// Distances between pairs of points of n coordinates. A pair with a
// non-finite coordinate is never measured: it counts as unmoved when both
// sides hold the same bits, and as not measured otherwise.
class MoveCounter
{
public:
    explicit MoveCounter(double tolerance) : m_tolerance(tolerance) { m_stats.measured = true; }

    void add(int at, const float* a, const float* b, int n)
    {
        double apart = 0;
        if (finite(a, n) && finite(b, n))
            apart = distance(a, b, n);
        else if (memcmp(a, b, sizeof(float) * size_t(n)) != 0)
        {
            ++m_stats.notMeasured;
            return;
        }
        ++m_stats.pairs;
        m_sumOfSquares += apart * apart;
        if (m_stats.largestAt < 0 || apart > m_stats.largest)
        {
            m_stats.largest = apart;
            m_stats.largestAt = at;
        }
        if (apart > m_tolerance) ++m_stats.moved;
    }

    MoveStats finish()
    {
        if (m_stats.pairs > 0) m_stats.rootMeanSquare = std::sqrt(m_sumOfSquares / m_stats.pairs);
        return m_stats;
    }

private:
    double m_tolerance;
    double m_sumOfSquares = 0;
    MoveStats m_stats;
};

void coordinates(const QDVector3f& v, float* out)
{
    out[0] = v.x();
    out[1] = v.y();
    out[2] = v.z();
}

void coordinates(const QDVector2f& v, float* out)
{
    out[0] = v.x();
    out[1] = v.y();
}

bool isTriangleSlot(const QDTivMesh& mesh, int corner)
{
    return corner % 4 == 3 && mesh.m_faceVertexIndices[corner] == -1;
}

} // namespace

MeshCounts countMesh(const QDTivMesh& mesh)
{
    MeshCounts n;
    n.vertices = mesh.m_vertices.size();
    n.faces = mesh.getFaceCount();
    for (int f = 0; f < n.faces; ++f)
        n.triangles += mesh.m_faceVertexIndices[4 * f + 3] == -1;
    n.quads = n.faces - n.triangles;
    n.corners = 3 * n.triangles + 4 * n.quads;
    n.cornerSlots = 4 * n.faces;
    n.cornerUVSlots = mesh.m_cornerUVs.size();
    float p[3];
    for (int v = 0; v < n.vertices; ++v)
    {
        coordinates(mesh.m_vertices[v], p);
        if (finite(p, 3)) continue;
        if (n.nonFiniteVertices++ == 0) n.firstNonFiniteVertex = v;
    }
    // A damaged .tiv may hold more or fewer coordinates than slots.
    for (int c = 0; c < n.cornerUVSlots; ++c)
    {
        if (c < n.cornerSlots && isTriangleSlot(mesh, c)) continue; // carries no meaning
        ++n.cornerUVs;
        coordinates(mesh.m_cornerUVs[c], p);
        if (finite(p, 2)) continue;
        if (n.nonFiniteUVs++ == 0) n.firstNonFiniteUV = c;
    }
    return n;
}

namespace
{
// b[k] == a[(k + s) mod n] for some shift s.
bool isRotation(const int* a, const int* b, int n)
{
    for (int shift = 0; shift < n; ++shift)
    {
        int k = 0;
        while (k < n && b[k] == a[(k + shift) % n])
            ++k;
        if (k == n) return true;
    }
    return false;
}

std::vector<int> faceCorners(const QDTivMesh& mesh, int face)
{
    if (face >= mesh.getFaceCount()) return {};
    const int* slots = &mesh.m_faceVertexIndices[4 * face];
    return std::vector<int>(slots, slots + (slots[3] == -1 ? 3 : 4));
}

void findFirstDifferentFace(const QDTivMesh& a, const QDTivMesh& b, MeshComparison& c)
{
    const int common = a.getFaceCount() < b.getFaceCount() ? a.getFaceCount() : b.getFaceCount();
    int face = 0;
    for (; face < common; ++face)
    {
        const int* fa = &a.m_faceVertexIndices[4 * face];
        const int* fb = &b.m_faceVertexIndices[4 * face];
        bool triangle = fa[3] == -1;
        if (triangle != (fb[3] == -1) || !isRotation(fa, fb, triangle ? 3 : 4)) break;
    }
    if (face == common && a.getFaceCount() == b.getFaceCount()) return;
    c.firstDifferentFace = face;
    c.faceA = faceCorners(a, face);
    c.faceB = faceCorners(b, face);
}

// The OBJ reader leaves its own texture-coordinate table in the caches, one id
// per "vt" line whatever the vertex: both sides are rebuilt from their corners
// so that an id means one (vertex, coordinate) pair on each.
UVLayout compareLayout(const QDTivMesh& a, const QDTivMesh& b, bool sameTopology)
{
    a.clearCaches();
    b.clearCaches();
    const bool hasA = !a.getUniqueUVs().empty(), hasB = !b.getUniqueUVs().empty();
    if (!hasA || !hasB) return hasA ? UVLayout::onlyA : hasB ? UVLayout::onlyB : UVLayout::neither;
    if (!sameTopology) return UVLayout::notCompared;
    // Each direction only notices one side's seams: both are needed.
    if (a.compareUVTopology(b) != 0 || b.compareUVTopology(a) != 0) return UVLayout::seamsDiffer;
    return UVLayout::same;
}

MoveStats comparePositions(const QDTivMesh& a, const QDTivMesh& b, double tolerance)
{
    MoveCounter counter(tolerance);
    float pa[3], pb[3];
    for (int v = 0; v < a.m_vertices.size(); ++v)
    {
        coordinates(a.m_vertices[v], pa);
        coordinates(b.m_vertices[v], pb);
        counter.add(v, pa, pb, 3);
    }
    return counter.finish();
}

// Corners in the same order on both sides, each with its coordinate. A damaged
// file may hold fewer or more coordinates than corners: as many as both have
// and there are corners are measured.
MoveStats compareCornerUVs(const QDTivMesh& a, const QDTivMesh& b, double tolerance)
{
    const int slots = a.m_faceVertexIndices.size(), count = a.m_cornerUVs.size();
    if (count == 0 || b.m_cornerUVs.size() != count) return MoveStats();
    MoveCounter counter(tolerance);
    float pa[2], pb[2];
    for (int c = 0; c < count && c < slots; ++c)
    {
        if (isTriangleSlot(a, c)) continue;
        coordinates(a.m_cornerUVs[c], pa);
        coordinates(b.m_cornerUVs[c], pb);
        counter.add(c, pa, pb, 2);
    }
    return counter.finish();
}

int rotatedFaceCount(const QDArray<int>& cornerMap)
{
    int rotated = 0;
    for (int first = 0; first + 4 <= cornerMap.size(); first += 4)
        rotated += cornerMap[first] != first;
    return rotated;
}
} // namespace

bool MeshComparison::countsDiffer() const
{
    return a.vertices != b.vertices || a.faces != b.faces || a.triangles != b.triangles ||
           a.cornerUVs != b.cornerUVs || a.cornerUVSlots != b.cornerUVSlots;
}

bool MeshComparison::same() const
{
    const bool layoutSame = uvLayout == UVLayout::same || uvLayout == UVLayout::neither;
    const bool uvsSame =
        uvLayout == UVLayout::neither || (uvs.measured && uvs.moved == 0 && uvs.notMeasured == 0);
    return sameTopology && !countsDiffer() && layoutSame && uvsSame && positions.moved == 0 &&
           positions.notMeasured == 0;
}

MeshComparison compareMeshes(const QDTivMesh& a, QDTivMesh& b, double tolerance)
{
    MeshComparison c;
    c.tolerance = tolerance;
    c.a = countMesh(a);
    c.b = countMesh(b);
    QDArray<int> cornerMap;
    c.sameTopology = a.compareTopology(b, cornerMap) == 0;
    if (c.sameTopology)
    {
        c.rotatedFaces = rotatedFaceCount(cornerMap);
        b.reorderCorners(cornerMap);
        c.positions = comparePositions(a, b, tolerance);
        c.uvs = compareCornerUVs(a, b, tolerance);
    }
    else
        findFirstDifferentFace(a, b, c);
    c.uvLayout = compareLayout(a, b, c.sameTopology);
    return c;
}

std::vector<float> faceMoves(const QDTivMesh& a, const QDTivMesh& b, float largest)
{
    const int faces = a.getFaceCount() < b.getFaceCount() ? a.getFaceCount() : b.getFaceCount();
    const int vertices =
        a.m_vertices.size() < b.m_vertices.size() ? a.m_vertices.size() : b.m_vertices.size();
    std::vector<float> moves(size_t(faces), 0.0f);
    float pa[3], pb[3];
    for (int f = 0; f < faces; ++f)
        for (int k = 0; k < 4; ++k)
        {
            int v = a.m_faceVertexIndices[4 * f + k];
            if (v < 0 || v >= vertices) continue;
            coordinates(a.m_vertices[v], pa);
            coordinates(b.m_vertices[v], pb);
            float move = largest;
            if (finite(pa, 3) && finite(pb, 3)) move = float(distance(pa, pb, 3));
            if (move > moves[size_t(f)]) moves[size_t(f)] = move;
        }
    return moves;
}

// ---- Reports ----

namespace
{
std::string number(double value)
{
    char text[32];
    snprintf(text, sizeof(text), "%.9g", value);
    return text;
}

std::string count(int n, const char* one, const char* many)
{
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

} // namespace

std::string countWithSlots(int n, int slots, const char* one, const char* many)
{
    std::string text = count(n, one, many);
    return slots == n ? text : text + " (" + count(slots, "slot", "slots") + ")";
}

namespace
{
std::string cornerList(const std::vector<int>& corners)
{
    if (corners.empty()) return "(no such face)";
    std::string text = "(";
    for (size_t k = 0; k < corners.size(); ++k)
        text += (k ? ", " : "") + std::to_string(corners[k]);
    return text + ")";
}

std::string countsText(const MeshCounts& n)
{
    return count(n.vertices, "vertex", "vertices") + ", " + count(n.faces, "face", "faces") + " (" +
           std::to_string(n.triangles) + " triangles, " + std::to_string(n.quads) + " quads), " +
           countWithSlots(n.corners, n.cornerSlots, "corner", "corners") + ", " +
           countWithSlots(n.cornerUVs, n.cornerUVSlots, "corner UV", "corner UVs");
}

std::string topologyText(const MeshComparison& c)
{
    if (c.sameTopology)
        return c.rotatedFaces == 0
                   ? "same"
                   : "same, " + count(c.rotatedFaces, "face", "faces") + " with rotated corners";
    std::string text = "different";
    const struct
    {
        const char* name;
        int a, b;
    } counts[] = {{"vertex", c.a.vertices, c.b.vertices},
                  {"face", c.a.faces, c.b.faces},
                  {"corner", c.a.corners, c.b.corners}};
    const char* separator = ", ";
    for (const auto& n : counts)
        if (n.a != n.b)
        {
            text += separator + std::string(n.name) + " counts differ (" + std::to_string(n.a) +
                    " and " + std::to_string(n.b) + ")";
            separator = "; ";
        }
    if (c.firstDifferentFace >= 0)
        text += std::string(separator) + "first at face " + std::to_string(c.firstDifferentFace) +
                ": A " + cornerList(c.faceA) + ", B " + cornerList(c.faceB);
    return text;
}

const char* layoutText(UVLayout layout)
{
    switch (layout)
    {
    case UVLayout::neither:
        return "neither has UVs";
    case UVLayout::same:
        return "same";
    case UVLayout::onlyA:
        return "only A has UVs";
    case UVLayout::onlyB:
        return "only B has UVs";
    case UVLayout::seamsDiffer:
        return "seams differ";
    case UVLayout::notCompared:
        break;
    }
    return "not compared (the faces differ)";
}

const char* layoutKey(UVLayout layout)
{
    switch (layout)
    {
    case UVLayout::neither:
        return "neither";
    case UVLayout::same:
        return "same";
    case UVLayout::onlyA:
        return "only_a";
    case UVLayout::onlyB:
        return "only_b";
    case UVLayout::seamsDiffer:
        return "seams_differ";
    case UVLayout::notCompared:
        break;
    }
    return "not_compared";
}

std::string movesText(const MoveStats& m, double tolerance, const char* one, const char* many)
{
    if (!m.measured) return "not compared";
    if (m.pairs == 0 && m.notMeasured == 0) return std::string("no ") + many;
    std::string text;
    if (m.pairs > 0)
        text = "largest move " + number(m.largest) + " at " + one + " " +
               std::to_string(m.largestAt) + ", root mean square " + number(m.rootMeanSquare) +
               ", " + count(m.moved, one, many) + " moved more than " + number(tolerance);
    if (m.notMeasured > 0)
        text += (text.empty() ? "" : ", ") + count(m.notMeasured, one, many) +
                " with non-finite coordinates not measured";
    return text;
}

std::string nonFiniteText(const char* side, const MeshCounts& n)
{
    if (n.nonFiniteVertices == 0 && n.nonFiniteUVs == 0) return "";
    std::string text = std::string("non-finite coordinates in ") + side + ": ";
    text += count(n.nonFiniteVertices, "vertex", "vertices");
    if (n.nonFiniteVertices > 0) text += " (first: " + std::to_string(n.firstNonFiniteVertex) + ")";
    text += ", " + count(n.nonFiniteUVs, "corner UV", "corner UVs");
    if (n.nonFiniteUVs > 0) text += " (first: corner " + std::to_string(n.firstNonFiniteUV) + ")";
    return text + "\n";
}

} // namespace

std::string jsonString(const std::string& s)
{
    std::string out = "\"";
    for (unsigned char ch : s)
    {
        if (ch == '"' || ch == '\\')
            out += char('\\'), out += char(ch);
        else if (ch < 0x20)
        {
            char escape[8];
            snprintf(escape, sizeof(escape), "\\u%04x", ch);
            out += escape;
        }
        else
            out += char(ch);
    }
    return out + "\"";
}

namespace
{
std::string jsonIndex(int index)
{
    return index < 0 ? "null" : std::to_string(index);
}

std::string jsonList(const std::vector<int>& values)
{
    std::string text = "[";
    for (size_t k = 0; k < values.size(); ++k)
        text += (k ? ", " : "") + std::to_string(values[k]);
    return text + "]";
}

std::string jsonCounts(const MeshCounts& n, const std::string& name)
{
    return "{\"file\": " + jsonString(name) + ", \"vertices\": " + std::to_string(n.vertices) +
           ", \"faces\": " + std::to_string(n.faces) +
           ", \"triangles\": " + std::to_string(n.triangles) +
           ", \"quads\": " + std::to_string(n.quads) +
           ", \"corners\": " + std::to_string(n.corners) +
           ", \"corner_slots\": " + std::to_string(n.cornerSlots) +
           ", \"corner_uvs\": " + std::to_string(n.cornerUVs) +
           ", \"corner_uv_slots\": " + std::to_string(n.cornerUVSlots) +
           ", \"non_finite_vertices\": " + std::to_string(n.nonFiniteVertices) +
           ", \"first_non_finite_vertex\": " + jsonIndex(n.firstNonFiniteVertex) +
           ", \"non_finite_uvs\": " + std::to_string(n.nonFiniteUVs) +
           ", \"first_non_finite_uv\": " + jsonIndex(n.firstNonFiniteUV) + "}";
}

std::string jsonMoves(const MoveStats& m)
{
    if (!m.measured) return "null";
    return "{\"pairs\": " + std::to_string(m.pairs) + ", \"largest\": " + number(m.largest) +
           ", \"largest_at\": " + jsonIndex(m.largestAt) +
           ", \"rms\": " + number(m.rootMeanSquare) + ", \"moved\": " + std::to_string(m.moved) +
           ", \"not_measured\": " + std::to_string(m.notMeasured) + "}";
}
} // namespace

std::string comparisonText(const MeshComparison& c, const std::string& nameA,
                           const std::string& nameB)
{
    std::string text = "A: " + nameA + "\n   " + countsText(c.a) + "\nB: " + nameB + "\n   " +
                       countsText(c.b) + "\n";
    text += nonFiniteText("A", c.a) + nonFiniteText("B", c.b);
    text += "topology: " + topologyText(c) + "\n";
    text += std::string("UV layout: ") + layoutText(c.uvLayout) + "\n";
    if (c.sameTopology)
    {
        text += "positions: " + movesText(c.positions, c.tolerance, "vertex", "vertices") + "\n";
        if (c.uvLayout != UVLayout::neither)
            text +=
                "texture coordinates: " + movesText(c.uvs, c.tolerance, "corner", "corners") + "\n";
    }
    else
        text += "positions: not compared (the faces differ)\n";
    return text + (c.same() ? "result: same\n" : "result: different\n");
}

std::string comparisonJson(const MeshComparison& c, const std::string& nameA,
                           const std::string& nameB)
{
    std::string face = "null";
    if (c.firstDifferentFace >= 0)
        face = "{\"face\": " + std::to_string(c.firstDifferentFace) +
               ", \"a\": " + jsonList(c.faceA) + ", \"b\": " + jsonList(c.faceB) + "}";
    return "{\n  \"a\": " + jsonCounts(c.a, nameA) + ",\n  \"b\": " + jsonCounts(c.b, nameB) +
           ",\n  \"topology\": \"" + (c.sameTopology ? "same" : "different") +
           "\",\n  \"rotated_faces\": " + std::to_string(c.rotatedFaces) +
           ",\n  \"first_different_face\": " + face + ",\n  \"uv_layout\": \"" +
           layoutKey(c.uvLayout) + "\",\n  \"positions\": " + jsonMoves(c.positions) +
           ",\n  \"uvs\": " + jsonMoves(c.uvs) + ",\n  \"tolerance\": " + number(c.tolerance) +
           ",\n  \"same\": " + (c.same() ? "true" : "false") + "\n}\n";
}

std::string arrivalLine(const MeshComparison& c)
{
    std::string move = "not measured";
    if (c.sameTopology && c.positions.pairs > 0)
        move =
            number(c.positions.largest) + " (vertex " + std::to_string(c.positions.largestAt) + ")";
    return "against the last arrival: topology " + topologyText(c) + "; UV layout " +
           layoutText(c.uvLayout) + "; largest vertex move " + move + "\n";
}
