#pragma once

#include "QDArray.h"
#include "QDVector2f.h"

// Three floats, stored in files as their raw 12 bytes.
class QDVector3f
{
public:
    // Constant-initialised (constexpr constructors), so they are ready before
    // any other static initialiser could read them.
    static const QDVector3f m_zero;
    static const QDVector3f m_axis[3];

    constexpr QDVector3f() : m_x(0.0f), m_y(0.0f), m_z(0.0f) {}
    constexpr QDVector3f(float x, float y, float z) : m_x(x), m_y(y), m_z(z) {}
    constexpr explicit QDVector3f(const QDVector2f& v) : m_x(v.x()), m_y(v.y()), m_z(0.0f) {}

    constexpr float x() const { return m_x; }
    constexpr float y() const { return m_y; }
    constexpr float z() const { return m_z; }
    float& x() { return m_x; }
    float& y() { return m_y; }
    float& z() { return m_z; }
    void setValue(float x, float y, float z)
    {
        m_x = x;
        m_y = y;
        m_z = z;
    }

    bool operator!=(const QDVector3f& b) const
    {
        return m_x != b.m_x || m_y != b.m_y || m_z != b.m_z;
    }
    bool operator<(const QDVector3f& b) const
    {
        if (m_x < b.m_x) return true;
        if (b.m_x < m_x) return false;
        if (m_y < b.m_y) return true;
        if (b.m_y < m_y) return false;
        return m_z < b.m_z;
    }
    int compareEps(const QDVector3f& b, float eps) const;

    QDVector3f operator*(float f) const { return QDVector3f(m_x * f, m_y * f, m_z * f); }
    QDVector3f operator-(const QDVector3f& b) const
    {
        return QDVector3f(m_x - b.m_x, m_y - b.m_y, m_z - b.m_z);
    }
    QDVector3f& operator+=(const QDVector3f& b)
    {
        m_x += b.m_x;
        m_y += b.m_y;
        m_z += b.m_z;
        return *this;
    }
    void selfMultCoords(const QDVector3f& b)
    {
        m_x *= b.m_x;
        m_y *= b.m_y;
        m_z *= b.m_z;
    }
    float dot(const QDVector3f& b) const { return m_x * b.m_x + m_y * b.m_y + m_z * b.m_z; }
    float norm() const;
    float normalize();

    static void sub(QDVector3f& out, const QDVector3f& a, const QDVector3f& b) { out = a - b; }
    static void cross(QDVector3f& out, const QDVector3f& a, const QDVector3f& b);
    bool makeOrthogonalTo(const QDVector3f& n);
    void findOrthogonalVector(QDVector3f& out) const;

    static void indexedSort(QDArray<int>& order, const QDArray<QDVector3f>& values, float eps);

private:
    float m_x, m_y, m_z;
};

float qd_fabs(float x);
