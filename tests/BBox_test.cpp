#include "BBox.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
BBox box(const QDVector3f& a, const QDVector3f& b)
{
    BBox r;
    r.add(a);
    r.add(b);
    return r;
}

void expectCorners(const BBox& b, const QDVector3f& lo, const QDVector3f& hi)
{
    EXPECT_EQ(b.getMin().x(), lo.x());
    EXPECT_EQ(b.getMin().y(), lo.y());
    EXPECT_EQ(b.getMin().z(), lo.z());
    EXPECT_EQ(b.getMax().x(), hi.x());
    EXPECT_EQ(b.getMax().y(), hi.y());
    EXPECT_EQ(b.getMax().z(), hi.z());
}
} // namespace

TEST(BBox, EmptyStateAndClear)
{
    BBox b;
    EXPECT_FALSE(b.isInitialized());
    expectCorners(b, {0, 0, 0}, {-1, 0, 0});
    b.add(QDVector3f(2, 3, 4));
    EXPECT_TRUE(b.isInitialized());
    expectCorners(b, {2, 3, 4}, {2, 3, 4});
    b.add(QDVector3f(-1, 5, 4));
    expectCorners(b, {-1, 3, 4}, {2, 5, 4});

    // clear() only resets x; the next point overwrites all six coordinates.
    b.clear();
    EXPECT_FALSE(b.isInitialized());
    expectCorners(b, {0, 3, 4}, {-1, 5, 4});
    b.add(QDVector3f(7, 8, 9));
    expectCorners(b, {7, 8, 9}, {7, 8, 9});

    QDArray<QDVector3f> points;
    points.push_back(QDVector3f(1, -1, 0));
    points.push_back(QDVector3f(-2, 4, 10));
    BBox c;
    c.add(points);
    expectCorners(c, {-2, -1, 0}, {1, 4, 10});
}

TEST(BBox, AddingABoxTakesItsCornersAsPoints)
{
    BBox empty, target;
    BBox other = box({1, 1, 1}, {2, 2, 2});
    target.add(other);
    expectCorners(target, {1, 1, 1}, {2, 2, 2});
    target.add(box({0, 3, 1.5f}, {1.5f, 4, 1.5f}));
    expectCorners(target, {0, 1, 1}, {2, 4, 2});

    // An empty box copies whatever the other holds, empty or not.
    BBox copy;
    copy.add(empty);
    EXPECT_FALSE(copy.isInitialized());
    // A non-empty box adds an empty one's corners (0,0,0) and (-1,0,0).
    BBox grown = box({1, 1, 1}, {2, 2, 2});
    grown.add(empty);
    expectCorners(grown, {-1, 0, 0}, {2, 2, 2});
}

TEST(BBox, SizesAreaDiameterIntersection)
{
    BBox b = box({0, 0, 0}, {1, 2, 3});
    EXPECT_EQ(b.getMaxSize(), 3.0f);
    EXPECT_EQ(b.getMinSize(), 1.0f);
    EXPECT_EQ(b.getArea(), 22.0f);
    EXPECT_FLOAT_EQ(b.getDiameter(), std::sqrt(14.0f));

    EXPECT_TRUE(b.intersectBBox(box({1, 2, 3}, {5, 5, 5}))); // touching corner
    EXPECT_TRUE(box({1, 2, 3}, {5, 5, 5}).intersectBBox(b));
    EXPECT_TRUE(b.intersectBBox(box({0.5f, 0.5f, 0.5f}, {0.6f, 0.6f, 0.6f})));
    EXPECT_FALSE(b.intersectBBox(box({0, 2.5f, 0}, {1, 3, 3})));
    EXPECT_FALSE(box({0, 2.5f, 0}, {1, 3, 3}).intersectBBox(b));
    EXPECT_FALSE(b.intersectBBox(box({0, 0, 3.01f}, {1, 1, 4})));
}

TEST(BBox, SegmentClipping)
{
    BBox b = box({0, 0, 0}, {1, 1, 1});
    float t = -1;
    EXPECT_TRUE(b.intersectSegment({-1, 0.5f, 0.5f}, {3, 0.5f, 0.5f}, t));
    EXPECT_FLOAT_EQ(t, 0.25f);
    EXPECT_TRUE(b.intersectSegment({2, 2, 2}, {0, 0, 0}, t)); // entering through a corner
    EXPECT_FLOAT_EQ(t, 0.5f);
    EXPECT_TRUE(b.intersectSegment({0.5f, 0.5f, 0.5f}, {5, 5, 5}, t));
    EXPECT_EQ(t, 0.0f);
    EXPECT_TRUE(b.intersectSegment({0.5f, -1, 0.5f}, {0.5f, 2, 0.5f}, t)); // parallel to x, z
    EXPECT_FLOAT_EQ(t, 1.0f / 3.0f);

    t = -1;
    EXPECT_FALSE(b.intersectSegment({2, -1, 0.5f}, {2, 2, 0.5f}, t));        // parallel, outside x
    EXPECT_FALSE(b.intersectSegment({-3, 0.5f, 0.5f}, {-1, 0.5f, 0.5f}, t)); // stops short
    // Crosses the x and the y slab, but never both at once.
    EXPECT_FALSE(b.intersectSegment({-1, 0.5f, 0.5f}, {0.5f, 3, 0.5f}, t));
    EXPECT_FALSE(BBox().intersectSegment({-1, 0, 0}, {1, 0, 0}, t));
    EXPECT_EQ(t, -1.0f);
}

TEST(BBox, DistancesToAPoint)
{
    float min2 = -1, max2 = -1;
    EXPECT_FALSE(BBox().getMinMaxDistance2({0, 0, 0}, min2, max2));
    EXPECT_FALSE(BBox().getNearestPointInBBoxMinMaxDistance2({0, 0, 0}, min2, max2));
    EXPECT_EQ(min2, -1.0f);

    BBox b = box({0, 0, 0}, {1, 1, 1});
    ASSERT_TRUE(b.getMinMaxDistance2({0.25f, 0.5f, 0.5f}, min2, max2));
    EXPECT_EQ(min2, 0.0f);
    EXPECT_FLOAT_EQ(max2, 0.75f * 0.75f + 0.5f);
    ASSERT_TRUE(b.getMinMaxDistance2({-1, 2, 0.5f}, min2, max2));
    EXPECT_FLOAT_EQ(min2, 2.0f);
    EXPECT_FLOAT_EQ(max2, 4.0f + 4.0f + 0.25f);

    // Some point of a tightly boxed object lies on the near x face, at worst at
    // that face's far corners.
    ASSERT_TRUE(b.getNearestPointInBBoxMinMaxDistance2({-1, 0.5f, 0.5f}, min2, max2));
    EXPECT_FLOAT_EQ(min2, 1.0f);
    EXPECT_FLOAT_EQ(max2, 1.5f);
    ASSERT_TRUE(b.getNearestPointInBBoxMinMaxDistance2({0.5f, 0.5f, 0.5f}, min2, max2));
    EXPECT_EQ(min2, 0.0f);
    EXPECT_FLOAT_EQ(max2, 0.25f + 0.25f + 0.25f);
}
