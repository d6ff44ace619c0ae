#pragma once

// The OBJ reader's number read one byte after another: the reading that every
// number the faster readers refuse comes back to, and the one the tools follow
// to say what the plug-in made of a line. Each step is rounded to single
// precision, so the bits are those the host's files must give.

#include "QDObjByteReader.h"

#include <cmath>

namespace qdObjNumberReader
{
// Powers of ten built by repeated single-precision products, exactly as a
// divisor that is multiplied by 10 once per decimal would be; from 10^39 on
// every entry is infinite.
struct DivisorTable
{
    float value[48];
    DivisorTable()
    {
        float d = 1.0f;
        for (float& v : value)
        {
            v = d;
            d = d * 10.0f;
        }
    }
};
inline const DivisorTable s_divisors;

// Largest value for which value * 10 + 9 still fits the 24-bit float mantissa:
// below it, integer and single-precision accumulation give the same bits.
const unsigned int s_exactMantissaLimit = 1677720;

inline void addDigit(int c, unsigned int& mantissa, float& wide, bool& isWide)
{
    if (isWide)
        wide = wide * 10.0f + float(c - '0');
    else if (mantissa <= s_exactMantissaLimit)
        mantissa = mantissa * 10 + unsigned(c - '0');
    else
    {
        isWide = true;
        wide = float(mantissa) * 10.0f + float(c - '0');
    }
}
} // namespace qdObjNumberReader

// Reads one number begun by c ("+", "-", "." or a digit), the bytes after it
// taken from in.next(). Returns the byte that ended it; value is set only when
// that byte is a blank or a line end.
template <class In> int qdObjReadNumber(In& in, int c, float& value)
{
    using namespace qdObjNumberReader;
    float sign = 1.0f;
    if (c == '-' || c == '+')
    {
        sign = c == '-' ? -1.0f : 1.0f;
        c = in.next();
    }
    unsigned int mantissa = 0;
    float wide = 0.0f;
    bool isWide = false;
    int decimals = 0;
    for (; qdObjIsDigit(c); c = in.next())
        addDigit(c, mantissa, wide, isWide);
    if (c == '.')
        for (c = in.next(); qdObjIsDigit(c); c = in.next())
        {
            addDigit(c, mantissa, wide, isWide);
            decimals += decimals < 47;
        }
    bool hasPower = false;
    int exponentSign = 1;
    int exponent = 0;
    if (c == 'e')
    {
        c = in.next();
        if (c == '+' || c == '-')
        {
            hasPower = true;
            exponentSign = c == '-' ? -1 : 1;
            c = in.next();
        }
        for (; qdObjIsDigit(c); c = in.next())
        {
            hasPower = true;
            if (exponent < 100000) exponent = exponent * 10 + (c - '0');
        }
    }
    if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) return c;
    float v = isWide ? wide : float(mantissa);
    v = v / s_divisors.value[decimals] * sign;
    if (hasPower) v = float(double(v) * pow(10.0, double(exponentSign * exponent)));
    value = v;
    return c;
}
