#include "QDTivMesh.h"

#include <gtest/gtest.h>

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

QDTivMesh makeMesh(const std::vector<QDVector3f>& vertices, const std::vector<int>& indices)
{
    QDTivMesh mesh;
    for (const QDVector3f& v : vertices)
        mesh.m_vertices.push_back(v);
    for (int i : indices)
        mesh.m_faceVertexIndices.push_back(i);
    return mesh;
}

bool sameBits(const QDVector3f& a, const QDVector3f& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Welding as defined: sort every index by position (ties by index), number the
// runs of equal positions, let the highest former index write each survivor.
int referenceWeld(QDTivMesh& mesh)
{
    const std::vector<QDVector3f> v(mesh.m_vertices.begin(), mesh.m_vertices.end());
    const int n = int(v.size());
    if (n == 0) return 0;
    std::vector<int> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&v](int a, int b)
              {
                  if (v[a] < v[b]) return true;
                  if (v[b] < v[a]) return false;
                  return a < b;
              });
    std::vector<int> newIndex(static_cast<std::size_t>(n), 0);
    int k = 0;
    for (int s = 1; s < n; ++s)
    {
        if (v[order[s - 1]] != v[order[s]]) ++k;
        newIndex[order[s]] = k;
    }
    QDArray<QDVector3f> welded(k + 1, QDVector3f());
    for (int i = 0; i < n; ++i)
        welded[newIndex[i]] = v[i];
    mesh.m_vertices.swap(welded);
    for (int& index : mesh.m_faceVertexIndices)
        if (index != -1) index = newIndex[index];
    return n - (k + 1);
}

void expectSameWeld(const QDTivMesh& mesh, const QDTivMesh& expected)
{
    ASSERT_EQ(mesh.m_vertices.size(), expected.m_vertices.size());
    for (int i = 0; i < mesh.m_vertices.size(); ++i)
        ASSERT_TRUE(sameBits(mesh.m_vertices[i], expected.m_vertices[i])) << "vertex " << i;
    ASSERT_EQ(mesh.m_faceVertexIndices.size(), expected.m_faceVertexIndices.size());
    for (int i = 0; i < mesh.m_faceVertexIndices.size(); ++i)
        ASSERT_EQ(mesh.m_faceVertexIndices[i], expected.m_faceVertexIndices[i]) << "corner " << i;
}

// Positions drawn from a few coordinates (signed zeros, infinities, the
// smallest subnormal, neighbours one ulp apart) repeat often; a share of
// fully random ones keeps the distinct count growing. Faces are triangles and
// quads over random vertices, so some vertices stay unused.
QDTivMesh makeRandomMesh(std::mt19937& random, int vertexCount, int faceCount, int randomShare)
{
    static const float pool[] = {0.0f,   -0.0f, 1.0f,  -1.0f, 0.5f, std::nextafter(0.5f, 1.0f),
                                 1e-45f, kInf,  -kInf, 3e38f, -2.0f};
    const int poolSize = int(sizeof pool / sizeof pool[0]);
    std::uniform_real_distribution<float> anywhere(-100.0f, 100.0f);
    auto coordinate = [&]()
    { return int(random() % 100) < randomShare ? anywhere(random) : pool[random() % poolSize]; };
    QDTivMesh mesh;
    for (int i = 0; i < vertexCount; ++i)
        mesh.m_vertices.push_back(QDVector3f(coordinate(), coordinate(), coordinate()));
    for (int f = 0; f < faceCount && vertexCount > 0; ++f)
    {
        bool triangle = random() % 2 == 0;
        for (int c = 0; c < 4; ++c)
            mesh.m_faceVertexIndices.push_back(triangle && c == 3 ? -1
                                                                  : int(random() % vertexCount));
    }
    return mesh;
}
} // namespace

TEST(Weld, WorkedExamples)
{
    // Two positions, each twice: one quad naming both twice.
    QDTivMesh mesh = makeMesh({{1, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 0, 0}}, {0, 1, 2, 3});
    EXPECT_EQ(mesh.mergeEqualVertices(), 2);
    expectSameWeld(mesh, makeMesh({{0, 0, 0}, {1, 0, 0}}, {1, 0, 1, 0}));

    // Nothing to weld, yet survivors come out in position order; -1 stays.
    mesh = makeMesh({{2, 0, 0}, {1, 0, 0}}, {0, 1, 1, -1});
    EXPECT_EQ(mesh.mergeEqualVertices(), 0);
    expectSameWeld(mesh, makeMesh({{1, 0, 0}, {2, 0, 0}}, {1, 0, 0, -1}));

    // One ulp apart in y: two vertices.
    float y = 0.3f, nextY = std::nextafter(y, 1.0f);
    mesh = makeMesh({{0, nextY, 0}, {0, y, 0}, {0, nextY, 0}}, {0, 1, 2, -1});
    EXPECT_EQ(mesh.mergeEqualVertices(), 1);
    expectSameWeld(mesh, makeMesh({{0, y, 0}, {0, nextY, 0}}, {1, 0, 1, -1}));

    // Unused vertices are welded and kept like any other.
    mesh = makeMesh({{5, 5, 5}, {3, 3, 3}, {5, 5, 5}, {4, 4, 4}}, {3, 3, 3, -1});
    EXPECT_EQ(mesh.mergeEqualVertices(), 1);
    expectSameWeld(mesh, makeMesh({{3, 3, 3}, {4, 4, 4}, {5, 5, 5}}, {1, 1, 1, -1}));
}

TEST(Weld, SignedZerosWeldAndTheLastVertexWins)
{
    QDTivMesh mesh = makeMesh({{-0.0f, 0, 0}, {0, 1, 0}, {0.0f, 0, -0.0f}}, {2, 1, 0, -1});
    EXPECT_EQ(mesh.mergeEqualVertices(), 1);
    expectSameWeld(mesh, makeMesh({{0.0f, 0, -0.0f}, {0, 1, 0}}, {0, 1, 0, -1}));

    mesh = makeMesh({{0.0f, 0, -0.0f}, {-0.0f, -0.0f, 0}}, {});
    EXPECT_EQ(mesh.mergeEqualVertices(), 1);
    ASSERT_EQ(mesh.m_vertices.size(), 1);
    EXPECT_TRUE(sameBits(mesh.m_vertices[0], QDVector3f(-0.0f, -0.0f, 0.0f)));
}

TEST(Weld, OnlyPositionsAndFaceIndicesChange)
{
    QDTivMesh mesh = makeMesh({{1, 1, 1}, {0, 0, 0}, {1, 1, 1}}, {0, 1, 2, -1, 2, 2, 0, 1});
    mesh.m_cornerUVs.reinit(8, QDVector2f(0.25f, 0.5f));
    mesh.m_faceGroups.reinit(2, 7);
    mesh.m_uniqueUVs.reinit(1, QDVector2f(0.25f, 0.5f));
    mesh.m_cornerUVIndices.reinit(8, 0);
    mesh.getBBox();

    EXPECT_EQ(mesh.mergeEqualVertices(), 1);
    expectSameWeld(mesh, makeMesh({{0, 0, 0}, {1, 1, 1}}, {1, 0, 1, -1, 1, 1, 1, 0}));
    EXPECT_EQ(mesh.getFaceCount(), 2); // degenerate faces stay
    EXPECT_EQ(mesh.m_cornerUVs.size(), 8);
    EXPECT_EQ(mesh.m_faceGroups.size(), 2);
    EXPECT_EQ(mesh.m_uniqueUVs.size(), 1);
    EXPECT_EQ(mesh.m_cornerUVIndices.size(), 8);
    EXPECT_TRUE(mesh.m_bbox.isInitialized());
    EXPECT_EQ(mesh.m_bbox.getMax().x(), 1.0f);
}

TEST(Weld, EmptyAndDamagedMeshes)
{
    // No vertices: faces (invalid as they are) are left alone.
    QDTivMesh empty = makeMesh({}, {0, 1, 2, -1});
    EXPECT_EQ(empty.mergeEqualVertices(), 0);
    expectSameWeld(empty, makeMesh({}, {0, 1, 2, -1}));

    // Indices outside the vertices are kept rather than followed.
    QDTivMesh damaged =
        makeMesh({{2, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 3, INT_MAX, -5, 1, 2, 0, -1});
    EXPECT_EQ(damaged.mergeEqualVertices(), 1);
    expectSameWeld(damaged, makeMesh({{1, 0, 0}, {2, 0, 0}}, {1, 3, INT_MAX, -5, 0, 1, 1, -1}));

    // NaN positions have no defined order; welding must still leave a mesh
    // whose every index names a vertex.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::mt19937 random(3);
    QDTivMesh withNaN = makeRandomMesh(random, 2000, 1500, 10);
    for (int i = 0; i < withNaN.m_vertices.size(); i += 3)
        withNaN.m_vertices[i].y() = i % 2 ? nan : -nan;
    int vertexCount = withNaN.m_vertices.size();
    int removed = withNaN.mergeEqualVertices();
    EXPECT_EQ(withNaN.m_vertices.size(), vertexCount - removed);
    for (int index : withNaN.m_faceVertexIndices)
        ASSERT_TRUE(index == -1 || (index >= 0 && index < withNaN.m_vertices.size()));
}

TEST(Weld, MatchesTheSortDefinitionOnRandomMeshes)
{
    std::mt19937 random(2024);
    struct Shape
    {
        int vertices, faces, randomShare, repeats;
    } shapes[] = {{1, 1, 0, 20},
                  {2, 1, 0, 50},
                  {7, 3, 0, 200},
                  {40, 20, 10, 200},
                  {500, 300, 5, 20},
                  {5000, 4000, 30, 5},
                  // Mostly distinct positions: the lookup table has to grow.
                  {200000, 150000, 100, 1}};
    for (const Shape& shape : shapes)
        for (int r = 0; r < shape.repeats; ++r)
        {
            QDTivMesh mesh = makeRandomMesh(random, shape.vertices, shape.faces, shape.randomShare);
            QDTivMesh expected = mesh;
            int expectedRemoved = referenceWeld(expected);
            ASSERT_EQ(mesh.mergeEqualVertices(), expectedRemoved) << shape.vertices;
            expectSameWeld(mesh, expected);
            if (HasFatalFailure()) return;
        }
}

// Vertex order as an exporter writes it: one vertex per face corner, each grid
// position repeated by up to six triangles.
TEST(Weld, HostStyleGrid)
{
    const int size = 60;
    QDTivMesh mesh;
    auto corner = [&mesh](int i, int j)
    {
        mesh.m_faceVertexIndices.push_back(mesh.m_vertices.size());
        mesh.m_vertices.push_back(
            QDVector3f(float(i) * 0.1f, float((i * j) % 7) * 0.01f, -float(j) * 0.1f));
    };
    for (int j = 0; j < size; ++j)
        for (int i = 0; i < size; ++i)
        {
            corner(i, j), corner(i + 1, j), corner(i + 1, j + 1);
            mesh.m_faceVertexIndices.push_back(-1);
            corner(i, j), corner(i + 1, j + 1), corner(i, j + 1);
            mesh.m_faceVertexIndices.push_back(-1);
        }
    QDTivMesh expected = mesh;
    EXPECT_EQ(mesh.mergeEqualVertices(), referenceWeld(expected));
    EXPECT_EQ(mesh.m_vertices.size(), (size + 1) * (size + 1));
    expectSameWeld(mesh, expected);
}
