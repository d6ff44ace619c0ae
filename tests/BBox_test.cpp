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

bool corners(const BBox& b, const QDVector3f& lo, const QDVector3f& hi)
{
    return !(b.getMin() != lo) && !(b.getMax() != hi);
}
} // namespace

TEST(BBox, EmptyStateClearAndAdd)
{
    BBox b = box({2, 3, 4}, {-1, 5, 4}), copy;
    EXPECT_FALSE(BBox().isInitialized());
    b.clear(); // only x is reset; the next point overwrites all six
    EXPECT_FALSE(b.isInitialized());
    EXPECT_TRUE(corners(b, {0, 3, 4}, {-1, 5, 4}));
    b.add(QDVector3f(7, 8, 9));
    EXPECT_TRUE(corners(b, {7, 8, 9}, {7, 8, 9}));

    // A box adds another's corners, even the (0,0,0) (-1,0,0) of an empty one;
    // an empty box takes the other's corners whole.
    b.add(BBox());
    EXPECT_TRUE(corners(b, {-1, 0, 0}, {7, 8, 9}));
    copy.add(BBox());
    EXPECT_FALSE(copy.isInitialized());
}

TEST(BBox, MeasuresIntersectionsDistances)
{
    BBox b = box({0, 0, 0}, {1, 2, 3}), unit = box({0, 0, 0}, {1, 1, 1});
    EXPECT_TRUE(b.getMaxSize() == 3.0f && b.getMinSize() == 1.0f && b.getArea() == 22.0f);
    EXPECT_FLOAT_EQ(b.getDiameter(), std::sqrt(14.0f));
    EXPECT_TRUE(b.intersectBBox(box({1, 2, 3}, {5, 5, 5}))); // touching
    EXPECT_FALSE(box({0, 2.5f, 0}, {1, 3, 3}).intersectBBox(b));

    float t = -1, min2 = -1, max2 = -1;
    EXPECT_TRUE(unit.intersectSegment({2, 2, 2}, {0, 0, 0}, t));
    EXPECT_FLOAT_EQ(t, 0.5f);
    EXPECT_TRUE(unit.intersectSegment({0.5f, 0.5f, 0.5f}, {5, 5, 5}, t)); // starts inside
    EXPECT_EQ(t, 0.0f);
    EXPECT_FALSE(unit.intersectSegment({2, -1, 0.5f}, {2, 2, 0.5f}, t));        // parallel, outside
    EXPECT_FALSE(unit.intersectSegment({-3, 0.5f, 0.5f}, {-1, 0.5f, 0.5f}, t)); // short
    EXPECT_FALSE(unit.intersectSegment({-1, 0.5f, 0.5f}, {0.5f, 3, 0.5f}, t));  // slabs apart
    EXPECT_FALSE(BBox().intersectSegment({-1, 0, 0}, {1, 0, 0}, t));

    EXPECT_FALSE(BBox().getMinMaxDistance2({0, 0, 0}, min2, max2));
    EXPECT_FALSE(BBox().getNearestPointInBBoxMinMaxDistance2({0, 0, 0}, min2, max2));
    ASSERT_TRUE(unit.getMinMaxDistance2({-1, 2, 0.5f}, min2, max2));
    EXPECT_TRUE(min2 == 2.0f && max2 == 8.25f);
    // Something tightly boxed touches the near x face, at worst at its far corners.
    ASSERT_TRUE(unit.getNearestPointInBBoxMinMaxDistance2({-1, 0.5f, 0.5f}, min2, max2));
    EXPECT_TRUE(min2 == 1.0f && max2 == 1.5f);
}
