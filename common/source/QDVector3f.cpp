#include "QDVector3f.h"

#include "QDFloatServer.h"
#include "QDIndexedSort.h"

#include <cmath>

const QDVector3f QDVector3f::m_zero(0.0f, 0.0f, 0.0f);
const QDVector3f QDVector3f::m_axis[3] = {
    QDVector3f(1.0f, 0.0f, 0.0f), QDVector3f(0.0f, 1.0f, 0.0f), QDVector3f(0.0f, 0.0f, 1.0f)};

namespace
{
int compareComponent(float a, float b, float eps)
{
    if (QDFloatServer::isLower(a, b, eps)) return -1;
    if (QDFloatServer::isGreater(a, b, eps)) return 1;
    return 0;
}
} // namespace

// The first component that differs by more than eps decides, even when an
// earlier one differs by less.
int QDVector3f::compareEps(const QDVector3f& b, float eps) const
{
    int r = compareComponent(m_x, b.m_x, eps);
    if (r == 0) r = compareComponent(m_y, b.m_y, eps);
    if (r == 0) r = compareComponent(m_z, b.m_z, eps);
    return r;
}

float QDVector3f::norm() const
{
    return std::sqrt(m_x * m_x + m_y * m_y + m_z * m_z);
}

// Divides in double so that the unit vector is as close as the norm allows.
float QDVector3f::normalize()
{
    float n = norm();
    if (n == 0.0f) return 0.0f;
    double d = n;
    m_x = float(m_x / d);
    m_y = float(m_y / d);
    m_z = float(m_z / d);
    return n;
}

// Writes one component at a time: out must not be a or b.
void QDVector3f::cross(QDVector3f& out, const QDVector3f& a, const QDVector3f& b)
{
    out.m_x = a.m_y * b.m_z - a.m_z * b.m_y;
    out.m_y = a.m_z * b.m_x - a.m_x * b.m_z;
    out.m_z = a.m_x * b.m_y - a.m_y * b.m_x;
}

// n is expected to have unit length; nothing can fail.
bool QDVector3f::makeOrthogonalTo(const QDVector3f& n)
{
    float along = dot(n);
    *this = *this - n * along;
    return true;
}

// Crossing with the axis the vector leans on least keeps the result well away
// from zero length.
void QDVector3f::findOrthogonalVector(QDVector3f& out) const
{
    float ax = qd_fabs(m_x), ay = qd_fabs(m_y), az = qd_fabs(m_z);
    const QDVector3f* axis;
    if (ax > ay)
        axis = ay > az ? &m_axis[2] : &m_axis[1];
    else
        axis = ax > az ? &m_axis[2] : &m_axis[0];
    QDVector3f result;
    cross(result, *axis, *this); // through a temporary: out may be this vector
    out = result;
}

void QDVector3f::indexedSort(QDArray<int>& order, const QDArray<QDVector3f>& values, float eps)
{
    ::indexedSort(order, values, QDVector3fComp(eps));
}

// Keeps the sign of -0.0 and returns NaN as it is: only values below zero flip.
float qd_fabs(float x)
{
    return 0.0f > x ? -x : x;
}
