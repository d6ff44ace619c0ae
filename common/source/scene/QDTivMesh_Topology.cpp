#include "QDTivMesh.h"

#include "QDFloatKey.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Matching a mesh that comes back from an editor with the one that was sent.
// Every index read from either mesh is checked against the array it selects
// from: a damaged file must not make these operations read out of bounds.

namespace
{
enum
{
    SameTopology = 0,
    DifferentTopology = 2,
    SameUVs = 0,
    OtherHasNoUVs = 8,
    ThisHasNoUVs = 16,
    DifferentUVs = 24
};

// Writes the rotation of one face (corners 4f .. 4f + n - 1) into the map: the
// corner of this mesh at position k is found at corner (k + shift) mod n of the
// other. The identity is laid over all corners the first time.
void recordRotation(QDArray<int>& cornerMap, int cornerCount, int first, int n, int shift)
{
    if (cornerMap.empty())
    {
        cornerMap.reinit(cornerCount);
        for (int c = 0; c < cornerCount; ++c)
            cornerMap[c] = c;
    }
    for (int k = 0; k < n; ++k)
        cornerMap[first + k] = first + (k + n - shift) % n;
}

// The cyclic shift s for which b[k] == a[(k + s) mod n] for every k, trying
// 0, 1, ..., n-1 in turn; -1 when none fits (mirrored winding included).
int findRotation(const int* a, const int* b, int n)
{
    for (int shift = 0; shift < n; ++shift)
    {
        bool match = true;
        for (int k = 0; k < n && match; ++k)
            match = b[k] == a[(k + shift) % n];
        if (match) return shift;
    }
    return -1;
}

template <typename T> void permuteCorners(QDArray<T>& values, const QDArray<int>& cornerMap)
{
    const int count = values.size() < cornerMap.size() ? values.size() : cornerMap.size();
    if (count == 0) return;
    QDArray<T> old(values);
    for (int c = 0; c < count; ++c)
    {
        int from = cornerMap[c];
        if (from >= 0 && from < old.size()) values[c] = old[from];
    }
}
} // namespace

int QDTivMesh::compareTopology(const QDTivMesh& other, QDArray<int>& cornerMap) const
{
    if (m_vertices.size() != other.m_vertices.size() ||
        m_faceVertexIndices.size() != other.m_faceVertexIndices.size())
        return DifferentTopology;
    cornerMap.destroy();
    const int cornerCount = m_faceVertexIndices.size();
    for (int first = 0; first + 4 <= cornerCount; first += 4)
    {
        const int* a = &m_faceVertexIndices[first];
        const int* b = &other.m_faceVertexIndices[first];
        bool triangle = a[3] == -1;
        if (triangle != (b[3] == -1))
        {
            cornerMap.destroy();
            return DifferentTopology;
        }
        int n = triangle ? 3 : 4;
        int shift = findRotation(a, b, n);
        if (shift < 0)
        {
            cornerMap.destroy();
            return DifferentTopology;
        }
        if (shift > 0) recordRotation(cornerMap, cornerCount, first, n, shift);
    }
    return SameTopology;
}

// Crease bits keep their old order and face groups are per face: only the
// per-corner arrays move.
void QDTivMesh::reorderCorners(const QDArray<int>& cornerMap)
{
    if (cornerMap.empty()) return;
    permuteCorners(m_faceVertexIndices, cornerMap);
    permuteCorners(m_cornerUVs, cornerMap);
    permuteCorners(m_cornerUVIndices, cornerMap);
}

namespace
{
// Identifies a (vertex, exact UV) pair; -0.0 and 0.0 are the same coordinate.
struct VertexUVKey
{
    int m_vertex;
    std::uint32_t m_u, m_v;

    bool operator==(const VertexUVKey& b) const
    {
        return m_vertex == b.m_vertex && m_u == b.m_u && m_v == b.m_v;
    }
};

bool hasNaN(const QDVector2f& uv)
{
    return uv.x() != uv.x() || uv.y() != uv.y();
}

std::uint32_t hashVertexUV(const VertexUVKey& k)
{
    std::uint32_t h = std::uint32_t(k.m_vertex) * 0x9E3779B1u + k.m_u;
    h = (h ^ (h >> 15)) * 0x85EBCA77u + k.m_v;
    h = (h ^ (h >> 13)) * 0xC2B2AE3Du;
    return h ^ (h >> 16);
}

// Ids of (vertex, UV) pairs, handed out in the order the pairs are first met.
// A hash instead of rescanning each vertex's corner list keeps a vertex shared
// by many corners (a fan) linear.
class VertexUVIds
{
public:
    explicit VertexUVIds(int maxEntries)
    {
        std::size_t size = 16;
        while (size < 2 * std::size_t(maxEntries))
            size *= 2;
        m_slots.assign(size, -1);
    }

    // The id of (vertex, uv), or nextId when the pair is new. A UV holding NaN
    // equals nothing, not even itself, so it always gets an id of its own.
    int find(int vertex, const QDVector2f& uv, int nextId)
    {
        if (hasNaN(uv)) return nextId;
        VertexUVKey key{vertex, qdFloatOrderKey(uv.x()), qdFloatOrderKey(uv.y())};
        const std::size_t mask = m_slots.size() - 1;
        std::size_t index = hashVertexUV(key) & mask;
        for (std::size_t probe = 1;; ++probe)
        {
            int entry = m_slots[index];
            if (entry < 0)
            {
                m_slots[index] = int(m_entries.size());
                m_entries.push_back(Entry{key, nextId});
                return nextId;
            }
            if (m_entries[std::size_t(entry)].m_key == key)
                return m_entries[std::size_t(entry)].m_id;
            index = (index + probe) & mask;
        }
    }

private:
    struct Entry
    {
        VertexUVKey m_key;
        int m_id;
    };

    std::vector<int> m_slots; // at most half full: one slot per corner, twice over
    std::vector<Entry> m_entries;
};
} // namespace

// Ids are numbered by vertex and, within a vertex, from its last-used corner
// backwards; corners with no vertex (the empty slot of a triangle, or an index
// a damaged file put out of range) keep -1.
QDArray<QDVector2f>& QDTivMesh::getUniqueUVs() const
{
    if (!m_uniqueUVs.empty() || m_cornerUVs.empty()) return m_uniqueUVs;
    const int cornerCount = m_faceVertexIndices.size();
    const int vertexCount = m_vertices.size();
    const int withUV = cornerCount < m_cornerUVs.size() ? cornerCount : m_cornerUVs.size();

    QDArray<int> head(vertexCount, -1), next(cornerCount, -1);
    for (int c = 0; c < withUV; ++c)
    {
        int v = m_faceVertexIndices[c];
        if (v < 0 || v >= vertexCount) continue;
        next[c] = head[v];
        head[v] = c;
    }

    m_cornerUVIndices.reinit(cornerCount, -1);
    VertexUVIds ids(withUV);
    int count = 0;
    for (int v = 0; v < vertexCount; ++v)
        for (int c = head[v]; c >= 0; c = next[c])
        {
            int id = ids.find(v, m_cornerUVs[c], count);
            if (id == count) ++count;
            m_cornerUVIndices[c] = id;
        }

    // Ascending corners: among bit-different equal UVs (0.0 and -0.0) the
    // highest corner's value is the one kept.
    m_uniqueUVs.reinit(count);
    for (int c = 0; c < cornerCount; ++c)
        if (m_cornerUVIndices[c] >= 0) m_uniqueUVs[m_cornerUVIndices[c]] = m_cornerUVs[c];
    return m_uniqueUVs;
}

QDArray<int>& QDTivMesh::getUniqueUVIndices() const
{
    getUniqueUVs();
    return m_cornerUVIndices;
}

// One-sided on purpose: two of the other mesh's UVs may meet in one of ours,
// but one of its UVs must not split into two of ours. Corner counts are the
// caller's to compare first; extra corners on either side are ignored.
int QDTivMesh::compareUVTopology(const QDTivMesh& other) const
{
    const QDArray<int>& a = other.getUniqueUVIndices();
    const QDArray<int>& b = getUniqueUVIndices();
    if (a.empty()) return b.empty() ? SameUVs : OtherHasNoUVs;
    if (b.empty()) return ThisHasNoUVs;
    const int otherUVCount = other.m_uniqueUVs.size();
    QDArray<int> map(otherUVCount, -1);
    const int count = a.size() < b.size() ? a.size() : b.size();
    for (int c = 0; c < count; ++c)
    {
        int id = a[c];
        if (id < 0 || id >= otherUVCount) continue;
        if (map[id] == -1)
            map[id] = b[c];
        else if (map[id] != b[c])
            return DifferentUVs;
    }
    return SameUVs;
}

// Kept in the interface for callers that will want smoothing groups; creases
// are never filled by this system, so there is nothing to convert.
void QDTivMesh::convertCreasedEdgesToSmoothingGroups(QDArray<unsigned int>&) const {}
