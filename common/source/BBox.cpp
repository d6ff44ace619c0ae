#include "BBox.h"

#include <algorithm>
#include <utility>

// One point moves at most one bound per axis (else-if): a point below the
// minimum is never also tested against the maximum.
void BBox::add(const QDVector3f& p)
{
    if (!isInitialized())
    {
        m_min = p;
        m_max = p;
        return;
    }
    if (m_min.x() > p.x())
        m_min.x() = p.x();
    else if (p.x() > m_max.x())
        m_max.x() = p.x();
    if (m_min.y() > p.y())
        m_min.y() = p.y();
    else if (p.y() > m_max.y())
        m_max.y() = p.y();
    if (m_min.z() > p.z())
        m_min.z() = p.z();
    else if (p.z() > m_max.z())
        m_max.z() = p.z();
}

void BBox::add(const QDArray<QDVector3f>& points)
{
    for (const QDVector3f& p : points)
        add(p);
}

void BBox::add(const BBox& other)
{
    if (!isInitialized())
    {
        m_min = other.m_min;
        m_max = other.m_max;
        return;
    }
    add(other.m_min);
    add(other.m_max);
}

float BBox::getMaxSize() const
{
    QDVector3f d = m_max - m_min;
    return std::max(d.x(), std::max(d.y(), d.z()));
}

float BBox::getMinSize() const
{
    QDVector3f d = m_max - m_min;
    return std::min(d.x(), std::min(d.y(), d.z()));
}

float BBox::getArea() const
{
    QDVector3f d = m_max - m_min;
    return 2.0f * (d.x() * d.y() + d.y() * d.z() + d.z() * d.x());
}

float BBox::getDiameter() const
{
    return (m_max - m_min).norm();
}

// Closed boxes: touching faces count as intersecting.
bool BBox::intersectBBox(const BBox& other) const
{
    return other.m_max.x() >= m_min.x() && m_max.x() >= other.m_min.x() &&
           other.m_max.y() >= m_min.y() && m_max.y() >= other.m_min.y() &&
           other.m_max.z() >= m_min.z() && m_max.z() >= other.m_min.z();
}

namespace
{
// Narrows [tEnter, tExit] to the part of the segment inside one slab; false
// when nothing of the segment is left.
bool clipToSlab(float p0, float p1, float lo, float hi, float& tEnter, float& tExit)
{
    float d = p1 - p0;
    if (d == 0.0f) return p0 >= lo && p0 <= hi;
    float t0 = (lo - p0) / d;
    float t1 = (hi - p0) / d;
    if (t0 > t1) std::swap(t0, t1);
    if (t0 > tEnter) tEnter = t0;
    if (t1 < tExit) tExit = t1;
    return tEnter <= tExit;
}

float squared(float v)
{
    return v * v;
}

// Distance along one axis from p to the slab [lo, hi]; 0 inside.
float distanceToSlab(float p, float lo, float hi)
{
    if (p < lo) return lo - p;
    if (p > hi) return p - hi;
    return 0.0f;
}

float farthestInSlab(float p, float lo, float hi)
{
    return std::max(qd_fabs(p - lo), qd_fabs(p - hi));
}

// The face of the slab nearer to p (the lower one on a tie).
float nearerFace(float p, float lo, float hi)
{
    return p <= (lo + hi) * 0.5f ? lo : hi;
}

float fartherFace(float p, float lo, float hi)
{
    return p >= (lo + hi) * 0.5f ? lo : hi;
}
} // namespace

bool BBox::intersectSegment(const QDVector3f& p0, const QDVector3f& p1, float& t) const
{
    if (!isInitialized()) return false;
    float tEnter = 0.0f, tExit = 1.0f;
    if (!clipToSlab(p0.x(), p1.x(), m_min.x(), m_max.x(), tEnter, tExit) ||
        !clipToSlab(p0.y(), p1.y(), m_min.y(), m_max.y(), tEnter, tExit) ||
        !clipToSlab(p0.z(), p1.z(), m_min.z(), m_max.z(), tEnter, tExit))
        return false;
    t = tEnter;
    return true;
}

bool BBox::getMinMaxDistance2(const QDVector3f& p, float& min2, float& max2) const
{
    if (!isInitialized()) return false;
    min2 = squared(distanceToSlab(p.x(), m_min.x(), m_max.x())) +
           squared(distanceToSlab(p.y(), m_min.y(), m_max.y())) +
           squared(distanceToSlab(p.z(), m_min.z(), m_max.z()));
    max2 = squared(farthestInSlab(p.x(), m_min.x(), m_max.x())) +
           squared(farthestInSlab(p.y(), m_min.y(), m_max.y())) +
           squared(farthestInSlab(p.z(), m_min.z(), m_max.z()));
    return true;
}

// max2 bounds the distance to the nearest point of whatever the box tightly
// encloses: every face of the box touches it, so some point lies on the nearer
// face of one axis, at worst at the far corners of that face.
bool BBox::getNearestPointInBBoxMinMaxDistance2(const QDVector3f& p, float& min2, float& max2) const
{
    if (!isInitialized()) return false;
    const float pc[3] = {p.x(), p.y(), p.z()};
    const float lo[3] = {m_min.x(), m_min.y(), m_min.z()};
    const float hi[3] = {m_max.x(), m_max.y(), m_max.z()};
    float far2[3], near2[3];
    min2 = 0.0f;
    for (int a = 0; a < 3; ++a)
    {
        min2 += squared(distanceToSlab(pc[a], lo[a], hi[a]));
        near2[a] = squared(pc[a] - nearerFace(pc[a], lo[a], hi[a]));
        far2[a] = squared(pc[a] - fartherFace(pc[a], lo[a], hi[a]));
    }
    max2 = near2[0] + far2[1] + far2[2];
    max2 = std::min(max2, far2[0] + near2[1] + far2[2]);
    max2 = std::min(max2, far2[0] + far2[1] + near2[2]);
    return true;
}
