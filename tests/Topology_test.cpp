#include "TestSupport.h"

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

namespace
{
// Vertices 0, 1, 2, ... at x = their index.
QDTivMesh makeFaces(int vertexCount, const std::vector<int>& corners,
                    const std::vector<QDVector2f>& uvs = {})
{
    std::vector<QDVector3f> vertices;
    for (int i = 0; i < vertexCount; ++i)
        vertices.push_back(QDVector3f(float(i), 0, 0));
    return makeMesh(vertices, corners, uvs);
}
} // namespace

TEST(Topology, RotatedFacesAndTheirCornerMap)
{
    QDTivMesh mesh = makeFaces(5, {0, 1, 2, 3, 2, 3, 4, -1});
    QDArray<int> map(1, 99);
    EXPECT_TRUE(mesh.compareTopology(mesh, map) == 0 && map.empty());

    // Every accepted rotation of a quad and of a triangle; the identity is
    // laid over the faces that did not turn.
    QDTivMesh many = makeFaces(8, {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 4, 5, 6, -1, 4, 5, 6, -1});
    QDTivMesh other = makeFaces(8, {1, 2, 3, 0, 2, 3, 0, 1, 3, 0, 1, 2, 5, 6, 4, -1, 6, 4, 5, -1},
                                std::vector<QDVector2f>(20));
    other.m_cornerUVs[0] = QDVector2f(1, 1);
    other.m_cornerUVIndices.reinit(20, 0);
    other.m_cornerUVIndices[0] = 7;
    other.m_creaseFlags.reinit(20, false);
    other.m_creaseFlags.set(0);
    EXPECT_EQ(many.compareTopology(other, map), 0);
    EXPECT_EQ(values(map), (std::vector<int>{3,  0, 1,  2,  6,  7,  4,  5,  9,  10,
                                             11, 8, 14, 12, 13, 15, 17, 18, 16, 19}));
    other.reorderCorners(map);
    EXPECT_EQ(values(other.m_faceVertexIndices), values(many.m_faceVertexIndices));
    // Corner arrays move with the indices; crease bits keep their old order.
    EXPECT_TRUE(other.m_cornerUVs[1].x() == 1.0f && other.m_cornerUVIndices[1] == 7);
    EXPECT_TRUE(other.m_creaseFlags.get(0));

    // Mirrored winding, a triangle against a quad: differences, map emptied
    // even after a rotation was recorded. Different counts leave it alone.
    QDTivMesh quads = makeFaces(4, {0, 1, 2, 3, 0, 1, 2, 3});
    EXPECT_TRUE(quads.compareTopology(makeFaces(4, {1, 2, 3, 0, 3, 2, 1, 0}), map) == 2 &&
                map.empty());
    EXPECT_EQ(quads.compareTopology(makeFaces(4, {0, 1, 2, 3, 0, 1, 2, -1}), map), 2);
    EXPECT_EQ(makeFaces(3, {0, 1, 2, -1}).compareTopology(makeFaces(3, {0, 1, 2, 0}), map), 2);
    map.push_back(7);
    EXPECT_TRUE(quads.compareTopology(makeFaces(5, {0, 1, 2, 3, 0, 1, 2, 3}), map) == 2 &&
                values(map) == std::vector<int>{7});
}

TEST(Topology, UniqueUVsNumberByVertexFromTheLastCorner)
{
    // Vertex 0: corners 0 and 4, different UVs; vertex 1: corners 1 and 6,
    // equal UVs; vertex 3: corner 5 with vertex 0's UV, still its own id.
    const QDVector2f a(0.1f, 0.1f), b(0.2f, 0.2f), c(0.3f, 0.3f), d(0.9f, 0.9f);
    QDTivMesh mesh = makeFaces(4, {0, 1, 2, -1, 0, 3, 1, -1}, {a, b, c, d, c, a, b, d});
    const QDArray<QDVector2f>& unique = mesh.getUniqueUVs();
    EXPECT_EQ(values(mesh.getUniqueUVIndices()), (std::vector<int>{1, 2, 3, -1, 0, 4, 2, -1}));
    ASSERT_EQ(unique.size(), 5);
    EXPECT_TRUE(unique[0] == c && unique[1] == a && unique[2] == b && unique[4] == a);
    mesh.m_cornerUVs[4] = a; // a cache: unnoticed until clearCaches()
    EXPECT_EQ(mesh.getUniqueUVs().size(), 5);
    mesh.clearCaches();
    EXPECT_EQ(mesh.getUniqueUVs().size(), 4);
    EXPECT_TRUE(makeFaces(3, {0, 1, 2, -1}).getUniqueUVs().empty());

    // 0.0 equals -0.0, the highest corner's value is kept; NaN equals nothing
    // and gets an id of its own without upsetting the ids after it.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    QDTivMesh one =
        makeFaces(2, {0, 0, 0, 1, 0, 0, 0, -1},
                  {{0.5f, 0}, {1, 1}, {0.5f, 0}, {0, 0}, {1, 1}, {0.5f, -0.0f}, {nan, 0}, {}});
    EXPECT_EQ(values(one.getUniqueUVIndices()), (std::vector<int>{1, 2, 1, 3, 2, 1, 0, -1}));
    EXPECT_TRUE(std::signbit(one.m_uniqueUVs[1].y()));
}

TEST(Topology, UVLayoutComparisonIsOneSided)
{
    QDTivMesh mesh = makeFaces(4, {0, 1, 2, -1, 0, 2, 3, -1},
                               {{0, 0}, {1, 0}, {1, 1}, {}, {0, 0}, {1, 1}, {0, 1}, {}});
    QDTivMesh bare = makeFaces(4, {0, 1, 2, -1, 0, 2, 3, -1});
    EXPECT_EQ(
        std::vector<int>({mesh.compareUVTopology(QDTivMesh(mesh)), bare.compareUVTopology(mesh),
                          mesh.compareUVTopology(bare), bare.compareUVTopology(bare)}),
        std::vector<int>({0, 16, 8, 0}));

    // A seam on this side only: one of the other's ids splits in two here.
    QDTivMesh seam = mesh;
    seam.m_cornerUVs[4] = QDVector2f(0.5f, 0.5f);
    seam.clearCaches();
    EXPECT_EQ(seam.compareUVTopology(mesh), 24);
    EXPECT_EQ(mesh.compareUVTopology(seam), 0); // two of its ids meet in one of ours
}

TEST(Topology, DamagedIndicesStayInBounds)
{
    // Corner indices out of range, fewer UVs than corners, a corner count that
    // is not a multiple of four (the fuzz target covers the rest).
    QDTivMesh mesh = makeFaces(3, {0, 7, -5, INT_MAX, 2, 1, 0, -1, 1},
                               {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 2}, {3, 3}});
    EXPECT_EQ(values(mesh.getUniqueUVIndices()),
              (std::vector<int>{0, -1, -1, -1, 2, 1, -1, -1, -1}));
    QDArray<int> map;
    EXPECT_EQ(mesh.compareTopology(mesh, map), 0);

    // Map entries out of range leave their corner alone; a short map covers
    // only its own corners.
    for (int c : {-1, 100, INT_MAX, 0})
        map.push_back(c);
    mesh.reorderCorners(map);
    EXPECT_EQ(values(mesh.m_faceVertexIndices), (std::vector<int>{0, 7, -5, 0, 2, 1, 0, -1, 1}));
}
