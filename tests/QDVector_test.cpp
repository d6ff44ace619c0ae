#include "QDFloatServer.h"
#include "QDVector2f.h"
#include "QDVector3f.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

void expectVector(const QDVector3f& v, float x, float y, float z)
{
    EXPECT_FLOAT_EQ(v.x(), x);
    EXPECT_FLOAT_EQ(v.y(), y);
    EXPECT_FLOAT_EQ(v.z(), z);
}
} // namespace

TEST(QDFloatServer, ToleranceTestsAreStrict)
{
    EXPECT_TRUE(QDFloatServer::isEqualEps(1.0f, 1.25f, 0.5f));
    EXPECT_FALSE(QDFloatServer::isEqualEps(1.0f, 1.5f, 0.5f));
    EXPECT_FALSE(QDFloatServer::isEqualEps(1.5f, 1.0f, 0.5f));
    EXPECT_FALSE(QDFloatServer::isLower(1.0f, 1.5f, 0.5f));
    EXPECT_TRUE(QDFloatServer::isLower(1.0f, 1.75f, 0.5f));
    EXPECT_FALSE(QDFloatServer::isGreater(1.5f, 1.0f, 0.5f));
    EXPECT_TRUE(QDFloatServer::isGreater(1.75f, 1.0f, 0.5f));
    // NaN is neither lower, greater nor equal.
    EXPECT_FALSE(QDFloatServer::isEqualEps(kNaN, 1.0f, 0.5f));
    EXPECT_FALSE(QDFloatServer::isLower(kNaN, 1.0f, 0.5f));
    EXPECT_FALSE(QDFloatServer::isGreater(kNaN, 1.0f, 0.5f));
}

TEST(QDVector2f, NormalizeLeavesNearZeroVectorsAlone)
{
    QDVector2f v(3.0f, 4.0f);
    EXPECT_FLOAT_EQ(v.normalize(), 5.0f);
    EXPECT_FLOAT_EQ(v.x(), 0.6f);
    EXPECT_FLOAT_EQ(v.y(), 0.8f);

    QDVector2f tiny(1e-7f, 0.0f);
    EXPECT_EQ(tiny.normalize(), 0.0f);
    EXPECT_EQ(tiny.x(), 1e-7f);
    // 1e-6f is a hair below 1e-6 in double: still negligible.
    QDVector2f edge(1e-6f, 0.0f);
    EXPECT_EQ(edge.normalize(), 0.0f);
    EXPECT_EQ(edge.x(), 1e-6f);
    QDVector2f small(2e-6f, 0.0f);
    EXPECT_EQ(small.normalize(), 2e-6f);
    EXPECT_EQ(small.x(), 1.0f);

    QDVector2f scaled(3.0f, 4.0f);
    scaled.normalize(10.0f);
    EXPECT_FLOAT_EQ(scaled.x(), 6.0f);
    EXPECT_FLOAT_EQ(scaled.y(), 8.0f);
    QDVector2f zero;
    zero.normalize(10.0f);
    EXPECT_TRUE(zero == QDVector2f::m_zero);
}

TEST(QDVector2f, SnapTruncatesTowardZero)
{
    QDVector2f v(2.0001f, -0.0001f);
    v.snapToIntegerValues(0.001f);
    EXPECT_EQ(v.x(), 2.0f);
    EXPECT_EQ(v.y(), 0.0f);

    // 2.9999 truncates to 2, which is far: no snap up to 3.
    QDVector2f w(2.9999f, -3.0002f);
    w.snapToIntegerValues(0.001f);
    EXPECT_EQ(w.x(), 2.9999f);
    EXPECT_EQ(w.y(), -3.0f);

    // The tolerance is strict.
    QDVector2f h(2.5f, 7.25f);
    h.snapToIntegerValues(0.5f);
    EXPECT_EQ(h.x(), 2.5f);
    EXPECT_EQ(h.y(), 7.0f);

    // Out of int range or not a number: left as they are.
    QDVector2f big(3e9f, kNaN);
    big.snapToIntegerValues(1.0f);
    EXPECT_EQ(big.x(), 3e9f);
    EXPECT_TRUE(std::isnan(big.y()));
    QDVector2f inf(-kInf, kInf);
    inf.snapToIntegerValues(1.0f);
    EXPECT_EQ(inf.x(), -kInf);
    EXPECT_EQ(inf.y(), kInf);
}

TEST(QDVector3f, ExactComparisons)
{
    QDVector3f zero(0.0f, 0.0f, 0.0f), negZero(-0.0f, 0.0f, -0.0f);
    EXPECT_FALSE(zero != negZero);
    EXPECT_FALSE(zero < negZero);
    EXPECT_FALSE(negZero < zero);
    QDVector3f withNaN(0.0f, kNaN, 0.0f);
    EXPECT_TRUE(withNaN != withNaN);

    EXPECT_TRUE(QDVector3f(1, 5, 9) < QDVector3f(2, 0, 0));
    EXPECT_FALSE(QDVector3f(2, 0, 0) < QDVector3f(1, 5, 9));
    EXPECT_TRUE(QDVector3f(1, 0, 9) < QDVector3f(1, 1, 0));
    EXPECT_TRUE(QDVector3f(1, 1, 0) < QDVector3f(1, 1, 1));
    EXPECT_FALSE(QDVector3f(1, 1, 1) < QDVector3f(1, 1, 1));
    EXPECT_TRUE(QDVector3f(-kInf, 0, 0) < QDVector3f(-1e30f, 0, 0));
    // One unit in the last place of y is a difference.
    QDVector3f a(1, 0.1f, 0), b(1, std::nextafter(0.1f, 1.0f), 0);
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a < b);
}

TEST(QDVector3f, CompareEpsLetsTheFirstClearDifferenceDecide)
{
    EXPECT_EQ(QDVector3f(1, 5, 0).compareEps(QDVector3f(1.05f, 2, 0), 0.1f), 1);
    EXPECT_EQ(QDVector3f(1.05f, 2, 0).compareEps(QDVector3f(1, 5, 0), 0.1f), -1);
    EXPECT_EQ(QDVector3f(1, 2, 3).compareEps(QDVector3f(1.05f, 1.95f, 3.05f), 0.1f), 0);
    EXPECT_EQ(QDVector3f(0, 0, 3).compareEps(QDVector3f(0, 0, 2), 0.1f), 1);
    EXPECT_EQ(QDVector3f(-1, 9, 9).compareEps(QDVector3f(0, 0, 0), 0.1f), -1);
    // Differences exactly at the tolerance are ties.
    EXPECT_EQ(QDVector3f(1, 0, 0).compareEps(QDVector3f(1.5f, 0, 0), 0.5f), 0);
    EXPECT_EQ(QDVector3f(kNaN, 0, 0).compareEps(QDVector3f(5, 0, 0), 0.1f), 0);
}

TEST(QDVector3f, ArithmeticAndNorms)
{
    QDVector3f v(1, 2, 3);
    expectVector(v * 2.0f, 2, 4, 6);
    expectVector(v - QDVector3f(1, 1, 1), 0, 1, 2);
    v += QDVector3f(1, 1, 1);
    expectVector(v, 2, 3, 4);
    v.selfMultCoords(QDVector3f(2, 0, -1));
    expectVector(v, 4, 0, -4);
    QDVector3f out;
    QDVector3f::sub(out, QDVector3f(5, 5, 5), QDVector3f(1, 2, 3));
    expectVector(out, 4, 3, 2);
    EXPECT_FLOAT_EQ(QDVector3f(1, 2, 3).dot(QDVector3f(4, -5, 6)), 12.0f);
    expectVector(QDVector3f(QDVector2f(7, 8)), 7, 8, 0);
    out.setValue(9, 8, 7);
    expectVector(out, 9, 8, 7);

    QDVector3f n(3, 0, 4);
    EXPECT_FLOAT_EQ(n.norm(), 5.0f);
    EXPECT_FLOAT_EQ(n.normalize(), 5.0f);
    expectVector(n, 0.6f, 0.0f, 0.8f);
    QDVector3f zero;
    EXPECT_EQ(zero.normalize(), 0.0f);
    expectVector(zero, 0, 0, 0);
    // The norm is computed in single precision: the square overflows.
    EXPECT_EQ(QDVector3f(1e20f, 0, 0).norm(), kInf);
}

TEST(QDVector3f, CrossAndOrthogonals)
{
    QDVector3f out;
    QDVector3f::cross(out, QDVector3f(1, 0, 0), QDVector3f(0, 1, 0));
    expectVector(out, 0, 0, 1);
    QDVector3f::cross(out, QDVector3f(1, 2, 3), QDVector3f(4, 5, 6));
    expectVector(out, -3, 6, -3);

    QDVector3f v(1, 2, 3);
    EXPECT_TRUE(v.makeOrthogonalTo(QDVector3f(0, 0, 1)));
    expectVector(v, 1, 2, 0);

    // The axis the vector leans on least is crossed with it.
    struct Case
    {
        QDVector3f v, expected;
    } cases[] = {{{3, 2, 1}, {-2, 3, 0}},    // z axis
                 {{3, 1, 2}, {2, 0, -3}},    // y axis
                 {{1, 3, 2}, {0, -2, 3}},    // x axis
                 {{2, 3, 1}, {-3, 2, 0}},    // z axis
                 {{-3, 1, -2}, {-2, 0, 3}}}; // y axis, signs ignored in the choice
    for (const Case& c : cases)
    {
        QDVector3f o;
        c.v.findOrthogonalVector(o);
        expectVector(o, c.expected.x(), c.expected.y(), c.expected.z());
        EXPECT_FLOAT_EQ(o.dot(c.v), 0.0f);
    }
    QDVector3f self(3, 2, 1);
    self.findOrthogonalVector(self);
    expectVector(self, -2, 3, 0);
}

TEST(QDVector3f, StaticsAndAbs)
{
    expectVector(QDVector3f::m_zero, 0, 0, 0);
    expectVector(QDVector3f::m_axis[0], 1, 0, 0);
    expectVector(QDVector3f::m_axis[1], 0, 1, 0);
    expectVector(QDVector3f::m_axis[2], 0, 0, 1);
    EXPECT_TRUE(QDVector2f::m_zero == QDVector2f(0, 0));

    EXPECT_EQ(qd_fabs(-2.5f), 2.5f);
    EXPECT_EQ(qd_fabs(2.5f), 2.5f);
    EXPECT_EQ(qd_fabs(-kInf), kInf);
    // Only values below zero flip: -0.0 keeps its sign, NaN passes through.
    EXPECT_TRUE(std::signbit(qd_fabs(-0.0f)));
    EXPECT_TRUE(std::isnan(qd_fabs(kNaN)));
}
