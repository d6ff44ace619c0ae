#include "QDTivMesh.h"

#include <gtest/gtest.h>

namespace
{
QDTivMesh makeMesh(float x)
{
    QDTivMesh mesh;
    mesh.m_vertices.reinit(1, QDVector3f(x, 0, 0));
    mesh.m_vertices.push_back(QDVector3f(x + 1, 1, 2));
    mesh.m_faceVertexIndices.reinit(4, 1);
    mesh.m_uniqueUVs.reinit(1, QDVector2f(0.5f, 0.5f));
    mesh.m_cornerUVIndices.reinit(4, 0);
    mesh.m_creaseFlags.reinit(4, true);
    mesh.m_thirdMapFileName = "third.png";
    mesh.m_thirdMapFactor = x;
    return mesh;
}

bool boxIs(const BBox& box, float minX, float maxX)
{
    return box.isInitialized() && box.getMin().x() == minX && box.getMax().x() == maxX;
}
} // namespace

TEST(QDTivMesh, BoxIsACacheFilledOnlyWhileEmpty)
{
    QDTivMesh mesh;
    EXPECT_EQ(mesh.m_thirdMapFactor, 0.0f);
    EXPECT_FALSE(mesh.getBBox().isInitialized()); // no vertices: stays empty
    mesh.m_vertices.push_back(QDVector3f(1, 2, 3));
    EXPECT_TRUE(boxIs(mesh.getBBox(), 1, 1)); // recomputed, as it was empty
    mesh.m_vertices.push_back(QDVector3f(-1, 5, 3));
    EXPECT_TRUE(boxIs(mesh.getBBox(), 1, 1)); // unnoticed until clearCaches()
    static_cast<const QDTivMesh&>(mesh).clearCaches();
    EXPECT_TRUE(boxIs(mesh.getBBox(), -1, 1));
}

TEST(QDTivMesh, CopyAssignmentAndClear)
{
    QDTivMesh source = makeMesh(3);
    source.getBBox();
    QDTivMesh copy(source); // everything but the box, which starts empty
    EXPECT_FALSE(copy.m_bbox.isInitialized());
    EXPECT_TRUE(copy.m_uniqueUVs.size() == 1 && copy.m_cornerUVIndices.size() == 4);
    EXPECT_EQ(copy.m_thirdMapFactor, 3.0f);
    EXPECT_TRUE(boxIs(copy.getBBox(), 3, 4));

    // Assignment neither copies nor empties the target's box: the old one is
    // served until clearCaches().
    QDTivMesh target = makeMesh(10);
    target.getBBox();
    EXPECT_EQ(&(target = source), &target);
    EXPECT_TRUE(target.m_thirdMapFactor == 3.0f && target.m_vertices[0].x() == 3.0f);
    EXPECT_EQ(target.m_uniqueUVs.size(), 1);
    EXPECT_TRUE(boxIs(target.getBBox(), 10, 11));
    target.clearCaches();
    EXPECT_TRUE(boxIs(target.getBBox(), 3, 4));
    EXPECT_TRUE(target.m_uniqueUVs.empty() && target.m_cornerUVIndices.empty());

    // clear() keeps the third map's factor and nothing else.
    target.clear();
    EXPECT_TRUE(target.m_vertices.empty() && target.m_faceVertexIndices.empty());
    EXPECT_TRUE(target.m_creaseFlags.size() == 0 && target.m_thirdMapFileName.isNull());
    EXPECT_FALSE(target.m_bbox.isInitialized());
    EXPECT_EQ(target.m_thirdMapFactor, 3.0f);
}
