#include "QDIndexedSort.h"
#include "QDTivMesh.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// Meshes as a damaged file could leave them (indices out of range, UV and
// corner counts that disagree, NaN and signed-zero positions) through every
// operation that reads indices from the mesh.

namespace
{
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool empty() const { return m_pos >= m_size; }
    std::uint8_t byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
    float number()
    {
        // Mostly a few shared values, so that positions repeat; sometimes raw
        // bits (NaN, infinities, subnormals).
        static const float palette[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 2.0f, 1e-45f};
        std::uint8_t b = byte();
        if (b < 200) return palette[b % 7];
        std::uint32_t bits = std::uint32_t(byte()) | std::uint32_t(byte()) << 8 |
                             std::uint32_t(byte()) << 16 | std::uint32_t(byte()) << 24;
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_pos = 0;
};

QDTivMesh readMesh(Input& in)
{
    QDTivMesh mesh;
    const int vertexCount = in.byte() % 64;
    for (int i = 0; i < vertexCount; ++i)
    {
        float x = in.number(), y = in.number(), z = in.number();
        mesh.m_vertices.push_back(QDVector3f(x, y, z));
    }
    const int cornerCount = in.byte() % 128;
    for (int c = 0; c < cornerCount; ++c)
        mesh.m_faceVertexIndices.push_back(int(in.byte() % (vertexCount + 4)) - 2);
    const int uvCount = in.byte() % 2 ? cornerCount + int(in.byte() % 5) - 2 : 0;
    for (int c = 0; c < uvCount; ++c)
    {
        float u = in.number(), v = in.number();
        mesh.m_cornerUVs.push_back(QDVector2f(u, v));
    }
    return mesh;
}

void checkWeld(QDTivMesh mesh)
{
    QDArray<int> before(mesh.m_faceVertexIndices);
    const int vertexCount = mesh.m_vertices.size();
    const int removed = mesh.mergeEqualVertices();
    if (removed < 0 || mesh.m_vertices.size() != vertexCount - removed ||
        mesh.m_faceVertexIndices.size() != before.size())
        std::abort();
    for (int c = 0; c < before.size(); ++c)
    {
        const bool valid = before[c] >= 0 && before[c] < vertexCount;
        const int after = mesh.m_faceVertexIndices[c];
        if (valid ? (after < 0 || after >= mesh.m_vertices.size()) : after != before[c])
            std::abort();
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input in(data, size);
    QDTivMesh a = readMesh(in);
    QDTivMesh b = in.byte() % 2 ? a : readMesh(in);

    checkWeld(a);
    a.getUniqueUVs();
    b.getUniqueUVIndices();
    a.compareUVTopology(b);
    b.compareUVTopology(a);

    QDArray<int> map;
    a.compareTopology(b, map);
    while (!in.empty() && in.byte() % 3 == 0)
        map.push_back(int(in.byte()) - 8);
    b.reorderCorners(map);
    b.compareUVTopology(a);

    QDArray<int> order;
    QDVector3f::indexedSort(order, a.m_vertices, float(in.byte()) / 64.0f);
    return 0;
}
