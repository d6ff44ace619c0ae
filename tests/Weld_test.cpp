#include "TestSupport.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace
{
const float kInf = std::numeric_limits<float>::infinity();

// Welding as defined: sort every index by position (ties by index), number the
// runs of equal positions, let the highest former index write each survivor.
int referenceWeld(QDTivMesh& mesh)
{
    const std::vector<QDVector3f> v(mesh.m_vertices.begin(), mesh.m_vertices.end());
    const int n = int(v.size());
    if (n == 0) return 0;
    std::vector<int> order(v.size()), newIndex(v.size(), 0);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&v](int a, int b) { return v[a] < v[b] || (!(v[b] < v[a]) && a < b); });
    int k = 0;
    for (int s = 1; s < n; ++s)
        newIndex[order[s]] = v[order[s - 1]] != v[order[s]] ? ++k : k;
    QDArray<QDVector3f> welded(k + 1, QDVector3f());
    for (int i = 0; i < n; ++i)
        welded[newIndex[i]] = v[i];
    mesh.m_vertices.swap(welded);
    for (int& index : mesh.m_faceVertexIndices)
        if (index != -1) index = newIndex[index];
    return n - (k + 1);
}

// Vertices bit for bit, so that the sign of a zero counts; then the indices.
std::string image(const QDTivMesh& mesh)
{
    return std::string(reinterpret_cast<const char*>(mesh.m_vertices.begin()),
                       sizeof(QDVector3f) * size_t(mesh.m_vertices.size())) +
           std::string(reinterpret_cast<const char*>(mesh.m_faceVertexIndices.begin()),
                       sizeof(int) * size_t(mesh.m_faceVertexIndices.size()));
}

// Coordinates from a small pool (signed zeros, infinities, the smallest
// subnormal, neighbours one ulp apart) repeat often; a share of random ones
// keeps the distinct count growing. Random faces leave some vertices unused.
QDTivMesh makeRandomMesh(std::mt19937& random, int vertexCount, int faceCount, int randomShare)
{
    static const float pool[] = {0.0f,   -0.0f, 1.0f,  -1.0f, 0.5f, std::nextafter(0.5f, 1.0f),
                                 1e-45f, kInf,  -kInf, 3e38f};
    std::uniform_real_distribution<float> anywhere(-100.0f, 100.0f);
    auto coordinate = [&]()
    { return int(random() % 100) < randomShare ? anywhere(random) : pool[random() % 10]; };
    QDTivMesh mesh;
    for (int i = 0; i < vertexCount; ++i)
        mesh.m_vertices.push_back(QDVector3f(coordinate(), coordinate(), coordinate()));
    for (int c = 0; c < 4 * faceCount; ++c) // about half of the faces are triangles
        mesh.m_faceVertexIndices.push_back(
            c % 4 == 3 && random() % 2 ? -1 : int(random() % vertexCount));
    return mesh;
}

// Caches are left as they are: welding keeps the set of positions.
void expectWeld(const std::vector<QDVector3f>& vertices, const std::vector<int>& faces, int removed,
                const std::vector<QDVector3f>& welded, const std::vector<int>& weldedFaces)
{
    QDTivMesh mesh = makeMesh(vertices, faces);
    mesh.m_uniqueUVs.reinit(1, QDVector2f(0.25f, 0.5f));
    mesh.getBBox();
    EXPECT_EQ(mesh.mergeEqualVertices(), removed);
    EXPECT_EQ(image(mesh), image(makeMesh(welded, weldedFaces)));
    EXPECT_EQ(mesh.m_uniqueUVs.size(), 1);
    EXPECT_EQ(mesh.m_bbox.isInitialized(), !vertices.empty());
}
} // namespace

TEST(Weld, WorkedExamples)
{
    expectWeld({{1, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 0, 0}}, {0, 1, 2, 3}, 2,
               {{0, 0, 0}, {1, 0, 0}}, {1, 0, 1, 0});
    // Nothing welded, yet the survivors come out in position order; -1 stays.
    expectWeld({{2, 0, 0}, {1, 0, 0}}, {0, 1, 1, -1}, 0, {{1, 0, 0}, {2, 0, 0}}, {1, 0, 0, -1});
    // One ulp apart in y: kept apart. An unused vertex is welded and kept.
    const float y = 0.3f, nextY = std::nextafter(y, 1.0f);
    expectWeld({{0, nextY, 0}, {0, y, 0}, {0, nextY, 0}, {9, 9, 9}, {9, 9, 9}}, {0, 1, 2, -1}, 2,
               {{0, y, 0}, {0, nextY, 0}, {9, 9, 9}}, {1, 0, 1, -1});
    // 0.0 and -0.0 weld; the highest former index gives the value kept.
    expectWeld({{-0.0f, 0, 0}, {0, 1, 0}, {0.0f, 0, -0.0f}}, {2, 1, 0, -1}, 1,
               {{0.0f, 0, -0.0f}, {0, 1, 0}}, {0, 1, 0, -1});
    // No vertices; indices outside the vertices are kept, not followed.
    expectWeld({}, {0, 1, 2, -1}, 0, {}, {0, 1, 2, -1});
    expectWeld({{2, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 3, INT_MAX, -5}, 1, {{1, 0, 0}, {2, 0, 0}},
               {1, 3, INT_MAX, -5});
}

TEST(Weld, MatchesTheSortDefinitionOnRandomMeshes)
{
    std::mt19937 random(2024);
    const int shapes[][4] = {// vertices, faces, share of random coordinates (%), meshes
                             {1, 1, 0, 20},
                             {7, 3, 0, 200},
                             {40, 20, 10, 200},
                             {5000, 4000, 30, 5},
                             {200000, 150000, 100, 1}}; // the lookup table has to grow
    for (const auto& shape : shapes)
        for (int r = 0; r < shape[3]; ++r)
        {
            QDTivMesh mesh = makeRandomMesh(random, shape[0], shape[1], shape[2]);
            QDTivMesh expected = mesh;
            ASSERT_EQ(mesh.mergeEqualVertices(), referenceWeld(expected)) << shape[0];
            ASSERT_TRUE(image(mesh) == image(expected)) << shape[0];
        }
}
