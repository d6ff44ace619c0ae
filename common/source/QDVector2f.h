#pragma once

// Two floats, stored in files as their raw 8 bytes.
class QDVector2f
{
public:
    static const QDVector2f m_zero;

    constexpr QDVector2f() : m_x(0.0f), m_y(0.0f) {}
    constexpr QDVector2f(float x, float y) : m_x(x), m_y(y) {}

    constexpr float x() const { return m_x; }
    constexpr float y() const { return m_y; }
    float& x() { return m_x; }
    float& y() { return m_y; }

    bool operator==(const QDVector2f& other) const { return m_x == other.m_x && m_y == other.m_y; }

    float normalize();
    void normalize(float length);
    void snapToIntegerValues(float eps);

private:
    float m_x, m_y;
};
