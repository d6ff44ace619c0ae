#include "QDTivMesh.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

namespace
{
QDTivMesh makeFaces(int vertexCount, const std::vector<int>& indices)
{
    QDTivMesh mesh;
    for (int i = 0; i < vertexCount; ++i)
        mesh.m_vertices.push_back(QDVector3f(float(i), 0, 0));
    for (int i : indices)
        mesh.m_faceVertexIndices.push_back(i);
    return mesh;
}

void setUVs(QDTivMesh& mesh, const std::vector<QDVector2f>& uvs)
{
    mesh.m_cornerUVs.clear();
    for (const QDVector2f& uv : uvs)
        mesh.m_cornerUVs.push_back(uv);
}

std::vector<int> toVector(const QDArray<int>& a)
{
    return std::vector<int>(a.begin(), a.end());
}
} // namespace

TEST(Topology, IdenticalAndRotatedFaces)
{
    QDTivMesh mesh = makeFaces(5, {0, 1, 2, 3, 2, 3, 4, -1});
    QDArray<int> map;
    map.push_back(99);
    EXPECT_EQ(mesh.compareTopology(mesh, map), 0);
    EXPECT_TRUE(map.empty());

    QDTivMesh rotated = makeFaces(5, {1, 2, 3, 0, 2, 3, 4, -1});
    EXPECT_EQ(mesh.compareTopology(rotated, map), 0);
    EXPECT_EQ(toVector(map), (std::vector<int>{3, 0, 1, 2, 4, 5, 6, 7}));
    rotated.reorderCorners(map);
    EXPECT_EQ(toVector(rotated.m_faceVertexIndices), toVector(mesh.m_faceVertexIndices));

    // Every accepted rotation of a quad and of a triangle, in one mesh.
    QDTivMesh many = makeFaces(8, {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 4, 5, 6, -1, 4, 5, 6, -1});
    QDTivMesh other = makeFaces(8, {2, 3, 0, 1, 3, 0, 1, 2, 0, 1, 2, 3, 5, 6, 4, -1, 6, 4, 5, -1});
    EXPECT_EQ(many.compareTopology(other, map), 0);
    EXPECT_EQ(toVector(map), (std::vector<int>{2,  3,  0,  1,  5,  6,  7,  4,  8,  9,
                                               10, 11, 14, 12, 13, 15, 17, 18, 16, 19}));
    other.reorderCorners(map);
    EXPECT_EQ(toVector(other.m_faceVertexIndices), toVector(many.m_faceVertexIndices));
}

TEST(Topology, DifferencesEmptyTheMap)
{
    QDTivMesh quad = makeFaces(4, {0, 1, 2, 3});
    QDArray<int> map;
    // Mirrored winding is a difference, even after a rotation was recorded.
    QDTivMesh twoQuads = makeFaces(4, {0, 1, 2, 3, 0, 1, 2, 3});
    EXPECT_EQ(twoQuads.compareTopology(makeFaces(4, {1, 2, 3, 0, 3, 2, 1, 0}), map), 2);
    EXPECT_TRUE(map.empty());

    EXPECT_EQ(quad.compareTopology(makeFaces(4, {0, 1, 2, -1}), map), 2);
    EXPECT_EQ(makeFaces(4, {0, 1, 2, -1}).compareTopology(quad, map), 2);
    EXPECT_EQ(quad.compareTopology(makeFaces(4, {0, 1, 3, 2}), map), 2);
    EXPECT_EQ(makeFaces(3, {0, 1, 2, -1}).compareTopology(makeFaces(3, {0, 2, 1, -1}), map), 2);
    EXPECT_TRUE(map.empty());

    // Different counts answer at once and leave the map alone.
    map.push_back(7);
    EXPECT_EQ(quad.compareTopology(makeFaces(5, {0, 1, 2, 3}), map), 2);
    EXPECT_EQ(quad.compareTopology(makeFaces(4, {0, 1, 2, 3, 0, 1, 2, 3}), map), 2);
    EXPECT_EQ(toVector(map), (std::vector<int>{7}));
}

TEST(Topology, ReorderMovesCornerArraysOnly)
{
    QDTivMesh mesh = makeFaces(4, {1, 2, 3, 0, 0, 1, 2, -1});
    setUVs(mesh, {{1, 0}, {2, 0}, {3, 0}, {0, 0}, {5, 5}, {6, 6}, {7, 7}, {8, 8}});
    mesh.m_cornerUVIndices.reinit(8, 0);
    for (int c = 0; c < 8; ++c)
        mesh.m_cornerUVIndices[c] = 10 + c;
    mesh.m_creaseFlags.reinit(8, false);
    mesh.m_creaseFlags.set(0);
    mesh.m_faceGroups.reinit(2, 3);

    QDArray<int> map;
    for (int c : {3, 0, 1, 2, 4, 5, 6, 7})
        map.push_back(c);
    mesh.reorderCorners(map);
    EXPECT_EQ(toVector(mesh.m_faceVertexIndices), (std::vector<int>{0, 1, 2, 3, 0, 1, 2, -1}));
    EXPECT_EQ(mesh.m_cornerUVs[0].x(), 0.0f);
    EXPECT_EQ(mesh.m_cornerUVs[1].x(), 1.0f);
    EXPECT_EQ(mesh.m_cornerUVs[4].x(), 5.0f);
    EXPECT_EQ(toVector(mesh.m_cornerUVIndices), (std::vector<int>{13, 10, 11, 12, 14, 15, 16, 17}));
    EXPECT_TRUE(mesh.m_creaseFlags.get(0)); // crease bits keep their order
    EXPECT_FALSE(mesh.m_creaseFlags.get(1));

    // An empty map changes nothing; entries a damaged map puts out of range
    // leave their corner as it was, and a short map covers only its corners.
    QDArray<int> empty;
    mesh.reorderCorners(empty);
    QDArray<int> damaged;
    for (int c : {-1, 100, INT_MAX, 0})
        damaged.push_back(c);
    mesh.reorderCorners(damaged);
    EXPECT_EQ(toVector(mesh.m_faceVertexIndices), (std::vector<int>{0, 1, 2, 0, 0, 1, 2, -1}));
    EXPECT_EQ(mesh.m_cornerUVs[3].x(), 0.0f);
}

TEST(Topology, UniqueUVsNumberByVertexFromTheLastCorner)
{
    // Vertex 0 is used by corners 0 and 4 with different UVs, vertex 1 by
    // corners 1 and 6 with equal UVs; vertex 3 only by corner 5.
    QDTivMesh mesh = makeFaces(4, {0, 1, 2, -1, 0, 3, 1, -1});
    const QDVector2f a(0.1f, 0.1f), b(0.2f, 0.2f), c(0.3f, 0.3f), d(0.9f, 0.9f);
    setUVs(mesh, {a, b, c, d, c, a, b, d});
    const QDArray<QDVector2f>& unique = mesh.getUniqueUVs();
    // Vertex 0 from corner 4 back to corner 0, then vertex 1, 2, 3.
    EXPECT_EQ(toVector(mesh.m_cornerUVIndices), (std::vector<int>{1, 2, 3, -1, 0, 4, 2, -1}));
    ASSERT_EQ(unique.size(), 5);
    EXPECT_TRUE(unique[0] == c);
    EXPECT_TRUE(unique[1] == a);
    EXPECT_TRUE(unique[2] == b);
    EXPECT_TRUE(unique[3] == c); // equal UV, other vertex: its own id
    EXPECT_TRUE(unique[4] == a);
    EXPECT_EQ(&mesh.getUniqueUVIndices(), &mesh.m_cornerUVIndices);

    // A cache: corner edits go unnoticed until clearCaches().
    mesh.m_cornerUVs[4] = a;
    EXPECT_EQ(mesh.getUniqueUVs().size(), 5);
    mesh.clearCaches();
    EXPECT_EQ(mesh.getUniqueUVs().size(), 4);

    // No corner UVs: nothing to build.
    QDTivMesh bare = makeFaces(3, {0, 1, 2, -1});
    EXPECT_TRUE(bare.getUniqueUVs().empty());
    EXPECT_TRUE(bare.getUniqueUVIndices().empty());
}

TEST(Topology, UniqueUVsOnOneVertexAndSignedZeros)
{
    // Four corners on one vertex with two distinct UVs: two unique UVs.
    QDTivMesh fan = makeFaces(3, {0, 1, 2, -1, 0, 2, 1, -1, 0, 1, 2, 0});
    setUVs(fan, {{0, 0},
                 {1, 0},
                 {1, 1},
                 {},
                 {0.5f, 0},
                 {1, 1},
                 {1, 0},
                 {},
                 {0, 0},
                 {1, 0},
                 {1, 1},
                 {0.5f, 0}});
    fan.getUniqueUVs();
    const QDArray<int>& ids = fan.m_cornerUVIndices;
    EXPECT_EQ(ids[11], 0); // last corner of vertex 0 first
    EXPECT_EQ(ids[4], 0);
    EXPECT_EQ(ids[8], 1);
    EXPECT_EQ(ids[0], 1);
    EXPECT_EQ(fan.m_uniqueUVs.size(), 2 + 1 + 1);

    // 0.0 and -0.0 are one coordinate; the highest corner's value is stored.
    QDTivMesh zeros = makeFaces(3, {0, 1, 2, -1, 0, 1, 2, -1});
    setUVs(zeros, {{-0.0f, 0}, {0, 0}, {0, 0}, {}, {0.0f, 0}, {0, 0}, {0, 0}, {}});
    ASSERT_EQ(zeros.getUniqueUVs().size(), 3);
    EXPECT_FALSE(std::signbit(zeros.m_uniqueUVs[zeros.m_cornerUVIndices[0]].x()));
    setUVs(zeros, {{0.0f, 0}, {0, 0}, {0, 0}, {}, {-0.0f, 0}, {0, 0}, {0, 0}, {}});
    zeros.clearCaches();
    zeros.getUniqueUVs();
    EXPECT_EQ(zeros.m_cornerUVIndices[0], zeros.m_cornerUVIndices[4]);
    EXPECT_TRUE(std::signbit(zeros.m_uniqueUVs[zeros.m_cornerUVIndices[0]].x()));

    // A NaN UV gets an id of its own, and the ids after it still match up.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    QDTivMesh withNaN = makeFaces(2, {0, 0, 0, 1, 0, 0, 0, -1});
    setUVs(withNaN,
           {{0.5f, 0.5f}, {1, 1}, {0.5f, 0.5f}, {0, 0}, {1, 1}, {0.5f, 0.5f}, {nan, 0}, {}});
    withNaN.getUniqueUVs();
    EXPECT_EQ(toVector(withNaN.m_cornerUVIndices), (std::vector<int>{1, 2, 1, 3, 2, 1, 0, -1}));

    // A vertex shared by many corners, each with its own UV, one with NaN.
    const int corners = 30000;
    std::vector<int> indices;
    std::vector<QDVector2f> uvs;
    for (int f = 0; f < corners / 4; ++f)
        for (int c = 0; c < 4; ++c)
        {
            indices.push_back(0);
            uvs.push_back(QDVector2f(float(4 * f + c), c == 3 ? 0.5f : 0.25f));
        }
    QDTivMesh star = makeFaces(1, indices);
    setUVs(star, uvs);
    star.m_cornerUVs[7].y() = std::numeric_limits<float>::quiet_NaN();
    ASSERT_EQ(star.getUniqueUVs().size(), corners);
    EXPECT_EQ(star.m_cornerUVIndices[corners - 1], 0);
    EXPECT_EQ(star.m_cornerUVIndices[0], corners - 1);
}

TEST(Topology, UVLayoutComparison)
{
    QDTivMesh mesh = makeFaces(4, {0, 1, 2, -1, 0, 2, 3, -1});
    setUVs(mesh, {{0, 0}, {1, 0}, {1, 1}, {}, {0, 0}, {1, 1}, {0, 1}, {}});
    QDTivMesh same = mesh;
    EXPECT_EQ(mesh.compareUVTopology(same), 0);

    QDTivMesh bare = makeFaces(4, {0, 1, 2, -1, 0, 2, 3, -1});
    EXPECT_EQ(bare.compareUVTopology(mesh), 16);
    EXPECT_EQ(mesh.compareUVTopology(bare), 8);
    EXPECT_EQ(bare.compareUVTopology(bare), 0);

    // A seam on this side only: one of the other's ids splits in two here.
    QDTivMesh seam = mesh;
    seam.m_cornerUVs[4] = QDVector2f(0.5f, 0.5f);
    seam.clearCaches();
    EXPECT_EQ(seam.compareUVTopology(mesh), 24);
    // The other way round two of its ids meet in one of ours: not reported.
    EXPECT_EQ(mesh.compareUVTopology(seam), 0);
}

TEST(Topology, DamagedIndicesStayInBounds)
{
    // Corner indices out of range, UVs shorter than the corners, a size that
    // is not a multiple of four, a stale cache pointing past the unique UVs.
    QDTivMesh mesh = makeFaces(3, {0, 7, -5, INT_MAX, 2, 1, 0, -1, 1});
    setUVs(mesh, {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 2}, {3, 3}});
    const QDArray<int>& ids = mesh.getUniqueUVIndices();
    EXPECT_EQ(toVector(ids), (std::vector<int>{0, -1, -1, -1, 2, 1, -1, -1, -1}));
    EXPECT_EQ(mesh.m_uniqueUVs.size(), 3);

    QDTivMesh other = mesh;
    other.m_cornerUVIndices[0] = 1000;
    other.m_cornerUVIndices[4] = -7;
    EXPECT_EQ(mesh.compareUVTopology(other), 0);
    QDTivMesh shorter = makeFaces(3, {0, 1, 2, -1});
    setUVs(shorter, {{0, 0}, {1, 0}, {1, 1}, {}});
    EXPECT_EQ(mesh.compareUVTopology(shorter), 0);
    EXPECT_EQ(shorter.compareUVTopology(mesh), 0);

    QDArray<int> map;
    EXPECT_EQ(mesh.compareTopology(mesh, map), 0);
    QDArray<unsigned int> groups;
    groups.push_back(5);
    mesh.convertCreasedEdgesToSmoothingGroups(groups);
    EXPECT_EQ(groups.size(), 1);
}
