#include "QDTivMesh.h"

#include "QDFloatKey.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
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
};

inline PositionKey makeKey(const QDVector3f& p)
{
    return PositionKey{{qdFloatOrderKey(p.x()), qdFloatOrderKey(p.y()), qdFloatOrderKey(p.z())}};
}

// Equal keys, compared on the floats: equal values (0.0 and -0.0 included), or
// the same bits (a NaN equals only itself, bit for bit).
inline bool sameComponent(float a, float b)
{
    if (a == b) return true;
    std::uint32_t ba, bb;
    std::memcpy(&ba, &a, sizeof ba);
    std::memcpy(&bb, &b, sizeof bb);
    return ba == bb;
}

inline bool samePosition(const QDVector3f& a, const QDVector3f& b)
{
    return sameComponent(a.x(), b.x()) && sameComponent(a.y(), b.y()) &&
           sameComponent(a.z(), b.z());
}

inline std::uint32_t hashKey(const PositionKey& k)
{
    std::uint32_t h = k.m_key[0] * 0x9E3779B1u + k.m_key[1];
    h = (h ^ (h >> 15)) * 0x85EBCA77u + k.m_key[2];
    h = (h ^ (h >> 13)) * 0xC2B2AE3Du;
    return h ^ (h >> 16);
}

// Open addressing from exact positions to distinct ids, numbered in order of
// first use. For each id it keeps the value of the latest vertex seen with that
// position: the one the welded mesh keeps. It grows with the distinct positions
// found, about a sixth of the vertices of a host mesh, instead of being sized
// for the worst case: fresh memory is costly to touch.
class DistinctPositions
{
public:
    // Ids stay below mostEntries. A slot holds its id in the low bits and the
    // top bits of the position's hash in the bits left above them, so that a
    // probe that meets another position seldom has to read that position
    // from the far larger value array to tell.
    DistinctPositions(std::size_t expectedEntries, std::size_t mostEntries)
    {
        int idBits = 1;
        while (idBits < 31 && (std::size_t(1) << idBits) < mostEntries)
            ++idBits;
        m_idMask = int((std::uint32_t(1) << idBits) - 1);
        m_tagShift = idBits;
        std::size_t size = 64;
        while (size < 2 * expectedEntries)
            size *= 2;
        m_slots.assign(size, -1);
        // Pages reserved but never written cost nothing, so a generous
        // reserve spares the copies of growing.
        m_values.reserve(2 * expectedEntries);
    }

    // The id of p, given the hash of its key.
    int add(const QDVector3f& p, std::uint32_t hash)
    {
        int& slot = find(p, hash);
        if (slot >= 0)
        {
            const int id = slot & m_idMask;
            m_values[std::size_t(id)] = p;
            return id;
        }
        const int id = int(m_values.size());
        slot = id | tag(hash);
        m_values.push_back(p);
        if (m_values.size() * 4 > m_slots.size() * 3) grow();
        return id;
    }

    const std::vector<QDVector3f>& values() const { return m_values; }

    // Asks for the first slot that a position of this hash probes, and the
    // position its id names, to be brought into the cache: the table is far
    // larger than the cache, and a lookup waits on both.
    void prefetchSlot(std::uint32_t hash) const
    {
        __builtin_prefetch(&m_slots[hash & (m_slots.size() - 1)]);
    }
    void prefetchValue(std::uint32_t hash) const
    {
        const int slot = m_slots[hash & (m_slots.size() - 1)];
        if (slot >= 0) __builtin_prefetch(&m_values[std::size_t(slot & m_idMask)]);
    }

    // The slots are done with once every vertex is in: their storage (larger
    // than the number of ids) is handed on.
    std::vector<int> releaseSlots() { return std::move(m_slots); }

private:
    // The slot holding p's id, or the empty slot where it belongs. The table
    // is at most three quarters full, so an empty slot is always reached.
    int& find(const QDVector3f& p, std::uint32_t hash)
    {
        const std::size_t mask = m_slots.size() - 1;
        const int tagged = tag(hash);
        std::size_t index = hash & mask;
        for (std::size_t probe = 1;; ++probe)
        {
            int& slot = m_slots[index];
            if (slot < 0 || ((slot & ~m_idMask) == tagged &&
                             samePosition(m_values[std::size_t(slot & m_idMask)], p)))
                return slot;
            index = (index + probe) & mask; // triangular steps visit every slot
        }
    }

    // The top bits of the hash, in the slot bits above the id; none when the
    // ids take all 31 bits.
    int tag(std::uint32_t hash) const
    {
        return m_tagShift >= 31 ? 0 : int((hash >> (m_tagShift + 1)) << m_tagShift);
    }

    void grow()
    {
        m_slots.assign(m_slots.size() * 2, -1);
        for (std::size_t id = 0; id < m_values.size(); ++id)
        {
            const std::uint32_t hash = hashKey(makeKey(m_values[id]));
            find(m_values[id], hash) = int(id) | tag(hash);
        }
    }

    std::vector<int> m_slots;
    std::vector<QDVector3f> m_values;
    int m_idMask;
    int m_tagShift;
};

// The id of every vertex, written as ints over the vertices' own storage: id i
// lands in bytes [4i, 4i + 4), which only covers vertices already read, so the
// V ids cost no memory of their own.
void numberPositionsInPlace(QDArray<QDVector3f>& vertices, DistinctPositions& distinct)
{
    unsigned char* ids = reinterpret_cast<unsigned char*>(vertices.begin());
    const int count = vertices.size();
    // Each vertex is hashed 'ahead' vertices before its lookup, so that its
    // slot is fetched meanwhile, and the position that slot names is fetched
    // 'valueAhead' vertices before. A vertex is hashed before any id is written
    // over it: ids land behind the vertex being read.
    const int ahead = 16, valueAhead = 8;
    std::uint32_t hashes[ahead];
    for (int i = 0; i < ahead && i < count; ++i)
    {
        hashes[i] = hashKey(makeKey(vertices[i]));
        distinct.prefetchSlot(hashes[i]);
    }
    for (int i = 0; i < count; ++i)
    {
        const QDVector3f p = vertices[i];
        const std::uint32_t hash = hashes[i % ahead];
        if (i + ahead < count)
        {
            const std::uint32_t next = hashKey(makeKey(vertices[i + ahead]));
            hashes[i % ahead] = next;
            distinct.prefetchSlot(next);
        }
        if (i + valueAhead < count) distinct.prefetchValue(hashes[(i + valueAhead) % ahead]);
        const int id = distinct.add(p, hash);
        std::memcpy(ids + 4 * std::size_t(i), &id, sizeof id);
    }
}

inline int idOfVertex(const unsigned char* ids, int i)
{
    int id;
    std::memcpy(&id, ids + 4 * std::size_t(i), sizeof id);
    return id;
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
void sortDistinctPositions(const std::vector<QDVector3f>& values, std::vector<KeyedId>& sorted)
{
    sorted.resize(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        sorted[i].m_id = int(i);
    std::vector<KeyedId> scratch;
    for (int axis = 2; axis >= 0; --axis)
    {
        for (KeyedId& r : sorted)
            r.m_key = makeKey(values[std::size_t(r.m_id)]).m_key[axis];
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

    DistinctPositions distinct(std::size_t(vertexCount / 8), std::size_t(vertexCount));
    numberPositionsInPlace(m_vertices, distinct);
    std::vector<KeyedId> sorted;
    sortDistinctPositions(distinct.values(), sorted);

    // The ranks go into the slots' storage, and the sorted records are given
    // back before the welded positions take their place.
    const int distinctCount = int(sorted.size());
    std::vector<int> rankOf = distinct.releaseSlots();
    for (int rank = 0; rank < distinctCount; ++rank)
        rankOf[std::size_t(sorted[std::size_t(rank)].m_id)] = rank;
    sorted = std::vector<KeyedId>();
    QDArray<QDVector3f> welded(distinctCount, QDVector3f());
    const std::vector<QDVector3f>& values = distinct.values();
    for (int id = 0; id < distinctCount; ++id)
        welded[rankOf[std::size_t(id)]] = values[std::size_t(id)];

    // An index outside the vertices (only a damaged file can hold one) is left
    // as it is rather than read through.
    const unsigned char* ids = reinterpret_cast<const unsigned char*>(m_vertices.begin());
    for (int& index : m_faceVertexIndices)
        if (index >= 0 && index < vertexCount) index = rankOf[std::size_t(idOfVertex(ids, index))];
    m_vertices.swap(welded);
    welded.destroy();
    return vertexCount - distinctCount;
}
