#include "BBox.h"

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
