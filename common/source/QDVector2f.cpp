#include "QDVector2f.h"

#include "QDFloatServer.h"

#include <cmath>

const QDVector2f QDVector2f::m_zero(0.0f, 0.0f);

namespace
{
// Lengths this close to zero would blow the components up; such vectors are
// left as they are.
bool isNegligibleLength(float length)
{
    return double(length) >= -1e-6 && double(length) <= 1e-6;
}

// The truncation of a float that fits a 32-bit int; false for NaN and for
// magnitudes past the int range, where the conversion would be undefined.
bool truncateToInt(float value, int& truncated)
{
    if (!(value > -2147483648.0f && value < 2147483648.0f)) return false;
    truncated = int(value);
    return true;
}

void snapComponent(float& component, float eps)
{
    int truncated = 0;
    if (!truncateToInt(component, truncated)) return;
    if (QDFloatServer::isEqualEps(component, float(truncated), eps)) component = float(truncated);
}
} // namespace

float QDVector2f::normalize()
{
    float length = std::sqrt(m_x * m_x + m_y * m_y);
    if (isNegligibleLength(length)) return 0.0f;
    m_x /= length;
    m_y /= length;
    return length;
}

void QDVector2f::normalize(float length)
{
    float current = std::sqrt(m_x * m_x + m_y * m_y);
    if (isNegligibleLength(current)) return;
    float scale = length / current;
    m_x *= scale;
    m_y *= scale;
}

// Truncation toward zero, not rounding: only values just above an integer (in
// magnitude) snap down to it, 2.9999 stays as it is.
void QDVector2f::snapToIntegerValues(float eps)
{
    snapComponent(m_x, eps);
    snapComponent(m_y, eps);
}
