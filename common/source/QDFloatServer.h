#pragma once

// Tolerance tests on floats; the tolerance is always the caller's.
class QDFloatServer
{
public:
    static bool isEqualEps(float a, float b, float eps)
    {
        float d = a - b;
        return -eps < d && d < eps;
    }
    static bool isLower(float a, float b, float eps)
    {
        float d = a - b;
        return d < -eps;
    }
    static bool isGreater(float a, float b, float eps)
    {
        float d = a - b;
        return d > eps;
    }
};
