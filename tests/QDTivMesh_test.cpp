#include "QDTivMesh.h"

#include <gtest/gtest.h>

namespace
{
QDTivMesh makeTriangleAndQuad()
{
    QDTivMesh mesh;
    const float points[][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 2}, {-1, 0, 0}};
    for (const auto& p : points)
        mesh.m_vertices.push_back(QDVector3f(p[0], p[1], p[2]));
    for (int index : {0, 1, 2, -1, 0, 2, 3, 4})
        mesh.m_faceVertexIndices.push_back(index);
    for (int c = 0; c < 8; ++c)
        mesh.m_cornerUVs.push_back(QDVector2f(0.1f * float(c), 0.5f));
    mesh.m_faceGroups.push_back(1);
    mesh.m_faceGroups.push_back(2);
    mesh.m_creaseFlags.reinit(8, false);
    mesh.m_creaseFlags.set(3);
    mesh.m_textureFileName = "color.png";
    mesh.m_secondMapFileName = "second.png";
    mesh.m_thirdMapFileName = "third.png";
    mesh.m_thirdMapFactor = 0.75f;
    return mesh;
}

void expectBox(const BBox& box, const QDVector3f& lo, const QDVector3f& hi)
{
    ASSERT_TRUE(box.isInitialized());
    EXPECT_FALSE(box.getMin() != lo);
    EXPECT_FALSE(box.getMax() != hi);
}

void expectSameContent(const QDTivMesh& a, const QDTivMesh& b)
{
    ASSERT_EQ(a.m_vertices.size(), b.m_vertices.size());
    for (int i = 0; i < a.m_vertices.size(); ++i)
        EXPECT_FALSE(a.m_vertices[i] != b.m_vertices[i]);
    ASSERT_EQ(a.m_faceVertexIndices.size(), b.m_faceVertexIndices.size());
    for (int i = 0; i < a.m_faceVertexIndices.size(); ++i)
        EXPECT_EQ(a.m_faceVertexIndices[i], b.m_faceVertexIndices[i]);
    ASSERT_EQ(a.m_cornerUVs.size(), b.m_cornerUVs.size());
    for (int i = 0; i < a.m_cornerUVs.size(); ++i)
        EXPECT_TRUE(a.m_cornerUVs[i] == b.m_cornerUVs[i]);
    EXPECT_EQ(a.m_faceGroups.size(), b.m_faceGroups.size());
    ASSERT_EQ(a.m_creaseFlags.size(), b.m_creaseFlags.size());
    for (int i = 0; i < a.m_creaseFlags.size(); ++i)
        EXPECT_EQ(a.m_creaseFlags.get(i), b.m_creaseFlags.get(i));
    EXPECT_TRUE(a.m_textureFileName == b.m_textureFileName);
    EXPECT_TRUE(a.m_secondMapFileName == b.m_secondMapFileName);
    EXPECT_TRUE(a.m_thirdMapFileName == b.m_thirdMapFileName);
    EXPECT_EQ(a.m_thirdMapFactor, b.m_thirdMapFactor);
    EXPECT_EQ(a.m_uniqueUVs.size(), b.m_uniqueUVs.size());
    EXPECT_EQ(a.m_cornerUVIndices.size(), b.m_cornerUVIndices.size());
}
} // namespace

TEST(QDTivMesh, NewMeshAndTriangleSlots)
{
    QDTivMesh empty;
    EXPECT_EQ(empty.m_vertices.size(), 0);
    EXPECT_EQ(empty.getFaceCount(), 0);
    EXPECT_TRUE(empty.m_textureFileName.isNull());
    EXPECT_EQ(empty.m_thirdMapFactor, 0.0f);
    EXPECT_FALSE(empty.m_bbox.isInitialized());

    QDTivMesh mesh = makeTriangleAndQuad();
    EXPECT_EQ(mesh.getFaceCount(), 2);
    EXPECT_EQ(mesh.m_faceVertexIndices[3], -1);
    EXPECT_EQ(mesh.m_cornerUVs.size(), 4 * mesh.getFaceCount());
}

TEST(QDTivMesh, BoxIsComputedOnlyWhileEmpty)
{
    // No vertices: the box stays empty and is recomputed on every call.
    QDTivMesh mesh;
    EXPECT_FALSE(mesh.getBBox().isInitialized());
    mesh.m_vertices.push_back(QDVector3f(1, 2, 3));
    expectBox(mesh.getBBox(), {1, 2, 3}, {1, 2, 3});

    // Once computed it is a cache: vertex edits go unnoticed until clearCaches().
    mesh.m_vertices.push_back(QDVector3f(-1, 5, 3));
    expectBox(mesh.getBBox(), {1, 2, 3}, {1, 2, 3});
    mesh.clearCaches();
    expectBox(mesh.getBBox(), {-1, 2, 3}, {1, 5, 3});

    const QDTivMesh& constMesh = mesh;
    constMesh.clearCaches();
    EXPECT_FALSE(mesh.m_bbox.isInitialized());
    expectBox(constMesh.getBBox(), {-1, 2, 3}, {1, 5, 3});
}

TEST(QDTivMesh, CopyStartsWithAnEmptyBox)
{
    QDTivMesh source = makeTriangleAndQuad();
    source.getBBox();
    source.m_uniqueUVs.push_back(QDVector2f(0.5f, 0.5f));
    source.m_cornerUVIndices.reinit(8, 0);

    QDTivMesh copy(source);
    expectSameContent(copy, source);
    EXPECT_FALSE(copy.m_bbox.isInitialized());
    expectBox(copy.getBBox(), {-1, 0, 0}, {1, 1, 2});
}

TEST(QDTivMesh, AssignmentKeepsTheTargetsBox)
{
    QDTivMesh target;
    target.m_vertices.push_back(QDVector3f(10, 10, 10));
    target.getBBox();
    target.m_thirdMapFactor = 5.0f;

    QDTivMesh source = makeTriangleAndQuad();
    source.m_uniqueUVs.push_back(QDVector2f(0.5f, 0.5f));
    source.m_cornerUVIndices.reinit(8, 0);
    source.getBBox();
    QDTivMesh& result = (target = source);
    EXPECT_EQ(&result, &target);
    expectSameContent(target, source);

    // Neither copied nor emptied: the old box is served until clearCaches().
    expectBox(target.getBBox(), {10, 10, 10}, {10, 10, 10});
    target.clearCaches();
    expectBox(target.getBBox(), {-1, 0, 0}, {1, 1, 2});
    EXPECT_EQ(target.m_uniqueUVs.size(), 0);
    EXPECT_EQ(target.m_cornerUVIndices.size(), 0);

    // An empty target box takes nothing from the source either.
    QDTivMesh fresh;
    fresh = source;
    EXPECT_FALSE(fresh.m_bbox.isInitialized());
}

TEST(QDTivMesh, ClearKeepsTheThirdMapFactor)
{
    QDTivMesh mesh = makeTriangleAndQuad();
    mesh.m_uniqueUVs.push_back(QDVector2f(0.5f, 0.5f));
    mesh.m_cornerUVIndices.reinit(8, 0);
    mesh.getBBox();
    mesh.clear();
    EXPECT_EQ(mesh.m_vertices.size(), 0);
    EXPECT_EQ(mesh.m_faceVertexIndices.size(), 0);
    EXPECT_EQ(mesh.m_cornerUVs.size(), 0);
    EXPECT_EQ(mesh.m_faceGroups.size(), 0);
    EXPECT_EQ(mesh.m_creaseFlags.size(), 0);
    EXPECT_TRUE(mesh.m_textureFileName.empty());
    EXPECT_TRUE(mesh.m_secondMapFileName.empty());
    EXPECT_TRUE(mesh.m_thirdMapFileName.empty());
    EXPECT_EQ(mesh.m_uniqueUVs.size(), 0);
    EXPECT_EQ(mesh.m_cornerUVIndices.size(), 0);
    EXPECT_FALSE(mesh.m_bbox.isInitialized());
    EXPECT_EQ(mesh.m_thirdMapFactor, 0.75f);
}
