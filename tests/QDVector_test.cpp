#include "QDVector2f.h"
#include "QDVector3f.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
const float kNaN = std::numeric_limits<float>::quiet_NaN();

bool same(const QDVector3f& a, const QDVector3f& b)
{
    return !(a != b);
}
} // namespace

TEST(QDVector2f, NormalizeAndSnap)
{
    QDVector2f v(3, 4), tiny(1e-6f, 0), scaled(3, 4);
    EXPECT_FLOAT_EQ(v.normalize(), 5.0f);
    EXPECT_TRUE(v == QDVector2f(0.6f, 0.8f));
    EXPECT_EQ(tiny.normalize(), 0.0f); // 1e-6f is a hair below 1e-6: left as it is
    EXPECT_EQ(tiny.x(), 1e-6f);
    scaled.normalize(10.0f);
    EXPECT_TRUE(scaled == QDVector2f(6, 8));

    // Truncation toward zero: -0.0001 snaps to 0, 2.9999 is far from 2 and
    // stays; out of int range or NaN is left alone instead of overflowing.
    QDVector2f a(2.0001f, -0.0001f), b(2.9999f, 3e9f), c(kNaN, 2.5f);
    a.snapToIntegerValues(0.001f);
    b.snapToIntegerValues(0.001f);
    c.snapToIntegerValues(0.5f); // strict: 0.5 away is not within 0.5
    EXPECT_TRUE(a == QDVector2f(2, 0));
    EXPECT_TRUE(b == QDVector2f(2.9999f, 3e9f));
    EXPECT_TRUE(std::isnan(c.x()) && c.y() == 2.5f);
}

TEST(QDVector3f, ComparisonsNormsAndOrthogonals)
{
    EXPECT_FALSE(QDVector3f(0, 0, 0) != QDVector3f(-0.0f, 0, -0.0f));
    EXPECT_TRUE(QDVector3f(0, kNaN, 0) != QDVector3f(0, kNaN, 0));
    EXPECT_TRUE(QDVector3f(1, 0, 9) < QDVector3f(1, 1, 0));
    EXPECT_FALSE(QDVector3f(-0.0f, 1, 1) < QDVector3f(0, 1, 1));
    // x ties within 0.1, so y decides; a difference of exactly eps is a tie.
    EXPECT_EQ(QDVector3f(1, 5, 0).compareEps(QDVector3f(1.05f, 2, 0), 0.1f), 1);
    EXPECT_EQ(QDVector3f(1.05f, 2, 0).compareEps(QDVector3f(1, 5, 0), 0.1f), -1);
    EXPECT_EQ(QDVector3f(1, 2, 3).compareEps(QDVector3f(1.5f, 1.95f, 3.05f), 0.5f), 0);

    QDVector3f n(3, 0, 4), zero, v(1, 2, 3);
    EXPECT_FLOAT_EQ(n.normalize(), 5.0f);
    EXPECT_TRUE(same(n, QDVector3f(0.6f, 0, 0.8f)));
    EXPECT_TRUE(zero.normalize() == 0.0f && same(zero, QDVector3f::m_zero));
    EXPECT_TRUE(std::isinf(QDVector3f(1e20f, 0, 0).norm())); // single precision
    EXPECT_TRUE(v.makeOrthogonalTo(QDVector3f::m_axis[2]) && same(v, QDVector3f(1, 2, 0)));

    // Crossed with the axis the vector leans on least (signs ignored); out may
    // be the vector itself.
    const QDVector3f cases[][2] = {{{3, 2, 1}, {-2, 3, 0}},
                                   {{1, 3, 2}, {0, -2, 3}},
                                   {{2, 3, 1}, {-3, 2, 0}},
                                   {{-3, 1, -2}, {-2, 0, 3}}};
    for (const auto& c : cases)
    {
        QDVector3f out = c[0];
        out.findOrthogonalVector(out);
        EXPECT_TRUE(same(out, c[1])) << c[0].x() << " " << c[0].y() << " " << c[0].z();
    }
    EXPECT_EQ(qd_fabs(-2.5f), 2.5f);
    EXPECT_TRUE(std::signbit(qd_fabs(-0.0f))); // only values below zero flip
}
