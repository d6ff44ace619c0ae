#include "QDTivMesh.h"

#include "QDFloatKey.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Welding must give exactly the result of sorting all V vertex indices by
// position and numbering the runs of equal positions, but a comparison sort of
// millions of indices is far too slow for the meshes hosts export (each
// position repeated about six times). So the distinct positions are found first
// by hashing their exact keys, and only those are ordered, by a radix sort on
// keys whose integer order is the float order.

namespace
{
struct PositionKey
{
    std::uint32_t m_key[3]; // x, y, z

    bool operator==(const PositionKey& b) const
    {
        return m_key[0] == b.m_key[0] && m_key[1] == b.m_key[1] && m_key[2] == b.m_key[2];
    }
};

PositionKey makeKey(const QDVector3f& p)
{
    return PositionKey{{qdFloatOrderKey(p.x()), qdFloatOrderKey(p.y()), qdFloatOrderKey(p.z())}};
}

std::uint32_t hashKey(const PositionKey& k)
{
    std::uint32_t h = k.m_key[0] * 0x9E3779B1u + k.m_key[1];
    h = (h ^ (h >> 15)) * 0x85EBCA77u + k.m_key[2];
    h = (h ^ (h >> 13)) * 0xC2B2AE3Du;
    return h ^ (h >> 16);
}

// Open addressing from exact position keys to distinct ids (keys[id]). It
// grows with the distinct positions found, about a sixth of the vertices of a
// host mesh, instead of being sized for the worst case: fresh memory is costly
// to touch.
class DistinctPositionTable
{
public:
    explicit DistinctPositionTable(std::size_t expectedEntries)
    {
        std::size_t size = 64;
        while (size < 2 * expectedEntries)
            size *= 2;
        m_slots.assign(size, -1);
    }

    // The id of key; a key not seen before is appended to keys and its index
    // there becomes its id.
    int findOrAdd(const PositionKey& key, std::vector<PositionKey>& keys)
    {
        int& slot = find(key, keys);
        if (slot >= 0) return slot;
        const int id = int(keys.size());
        slot = id;
        keys.push_back(key);
        if (keys.size() * 4 > m_slots.size() * 3) grow(keys);
        return id;
    }

private:
    // The slot holding key's id, or the empty slot where it belongs. The table
    // is at most three quarters full, so an empty slot is always reached.
    int& find(const PositionKey& key, const std::vector<PositionKey>& keys)
    {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t index = hashKey(key) & mask;
        for (std::size_t probe = 1;; ++probe)
        {
            int& slot = m_slots[index];
            if (slot < 0 || keys[std::size_t(slot)] == key) return slot;
            index = (index + probe) & mask; // triangular steps visit every slot
        }
    }

    void grow(const std::vector<PositionKey>& keys)
    {
        m_slots.assign(m_slots.size() * 2, -1);
        for (std::size_t id = 0; id < keys.size(); ++id)
            find(keys[id], keys) = int(id);
    }

    std::vector<int> m_slots;
};

// Numbers the distinct positions in order of first use. distinctOf[i] is the id
// of vertex i, lastOf[id] the highest vertex index holding that position, keys[id]
// its key.
void findDistinctPositions(const QDArray<QDVector3f>& vertices, QDArray<int>& distinctOf,
                           QDArray<int>& lastOf, std::vector<PositionKey>& keys)
{
    const int count = vertices.size();
    DistinctPositionTable table(static_cast<std::size_t>(count / 8));
    distinctOf.reinit(count);
    // Room for a quarter of the vertices: more than a host mesh needs, so the
    // arrays do not move (and touch twice the memory) while they fill.
    lastOf.clear();
    lastOf.reserve(count / 4);
    keys.clear();
    keys.reserve(std::size_t(count / 4));
    for (int i = 0; i < count; ++i)
    {
        const int id = table.findOrAdd(makeKey(vertices[i]), keys);
        if (id == lastOf.size())
            lastOf.push_back(i);
        else
            lastOf[id] = i;
        distinctOf[i] = id;
    }
}

struct KeyedId
{
    std::uint32_t m_key;
    int m_id;
};

// Stable LSD radix sort of records by their 32-bit key, 11 bits a pass; a pass
// whose digit is the same for every record is skipped.
void radixSortByKey(std::vector<KeyedId>& records, std::vector<KeyedId>& scratch)
{
    const int digitBits = 11, buckets = 1 << digitBits, passes = 3;
    std::vector<std::size_t> counts(std::size_t(passes * buckets), 0);
    for (const KeyedId& r : records)
        for (int pass = 0; pass < passes; ++pass)
            ++counts[std::size_t(pass * buckets) +
                     ((r.m_key >> (pass * digitBits)) & (buckets - 1))];
    scratch.resize(records.size());
    for (int pass = 0; pass < passes && !records.empty(); ++pass)
    {
        std::size_t* count = &counts[std::size_t(pass * buckets)];
        std::uint32_t firstDigit = (records[0].m_key >> (pass * digitBits)) & (buckets - 1);
        if (count[firstDigit] == records.size()) continue;
        std::size_t offset = 0;
        for (int b = 0; b < buckets; ++b)
        {
            std::size_t n = count[b];
            count[b] = offset;
            offset += n;
        }
        for (const KeyedId& r : records)
            scratch[count[(r.m_key >> (pass * digitBits)) & (buckets - 1)]++] = r;
        records.swap(scratch);
    }
}

// The distinct ids in ascending position order (x decides, then y, then z):
// one stable pass per axis, least significant axis first.
void sortDistinctPositions(const std::vector<PositionKey>& keys, std::vector<KeyedId>& sorted)
{
    sorted.resize(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i)
        sorted[i].m_id = int(i);
    std::vector<KeyedId> scratch;
    for (int axis = 2; axis >= 0; --axis)
    {
        for (KeyedId& r : sorted)
            r.m_key = keys[std::size_t(r.m_id)].m_key[axis];
        radixSortByKey(sorted, scratch);
    }
}
} // namespace

// Survivors come out in ascending position order; within a welded set the
// vertex with the highest former index gives the stored value (the sign of a
// zero is all that can tell them apart). Faces keep their slots, -1 included,
// and the caches stay valid: the set of positions does not change.
int QDTivMesh::mergeEqualVertices()
{
    const int vertexCount = m_vertices.size();
    if (vertexCount == 0) return 0;

    QDArray<int> newIndex, lastOf;
    std::vector<KeyedId> sorted;
    {
        std::vector<PositionKey> keys;
        findDistinctPositions(m_vertices, newIndex, lastOf, keys);
        sortDistinctPositions(keys, sorted);
    }
    const int distinctCount = lastOf.size();

    QDArray<QDVector3f> welded(distinctCount, QDVector3f());
    for (int rank = 0; rank < distinctCount; ++rank)
    {
        const int id = sorted[std::size_t(rank)].m_id;
        welded[rank] = m_vertices[lastOf[id]];
        lastOf[id] = rank; // from here on: rank of each id
    }
    sorted = std::vector<KeyedId>();
    for (int i = 0; i < vertexCount; ++i)
        newIndex[i] = lastOf[newIndex[i]];
    m_vertices.swap(welded);
    welded.destroy();

    // An index outside the vertices (only a damaged file can hold one) is left
    // as it is rather than read through.
    for (int& index : m_faceVertexIndices)
        if (index >= 0 && index < vertexCount) index = newIndex[index];
    return vertexCount - distinctCount;
}
