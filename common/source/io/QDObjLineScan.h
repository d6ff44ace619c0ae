#pragma once

// Whole-line readers for the lines that make up nearly all of a large OBJ
// file: "v x y z", "vt u v" and "f a/b c/d e/f". The spaces, line ends and
// marks of a line are found in one wide step, so the place of every number is
// known before any is read and the numbers are converted side by side instead
// of one after the other. Each number is read from the eight bytes that end
// with it. A line of any other shape is refused untouched, for the readers
// that go along the line.
//
// Lines are read where they lie in the read buffer: up to 64 bytes from the
// first byte after the keyword and 16 bytes before it may be loaded, and only
// the bytes of the line decide anything.

#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#include <emmintrin.h>
#define QD_OBJ_LINE_SCAN_SSE2 1
#endif

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the line readers take eight characters as one little-endian word"
#endif

// One bit per byte of the first 64 bytes of a line, bit i for byte i. Only the
// bits before the first line end are meaningful; the later ones depend on how
// they were found and are never looked at. In a face line, whose readers take
// nothing but spaces, slashes and digits, the line end stands for the first
// byte of any other kind: the line is of their shape only if that byte is a LF
// or a CR (qdObjFaceLineEnd).
struct QDObjLineBits
{
    std::uint64_t space = 0;
    std::uint64_t lineEnd = 0; // LF or CR; in a face line, any byte that is not valid
    std::uint64_t mark = 0;    // "." in a number line, "/" in a face line
    std::uint64_t valid = 0;   // a space, a "/" or a digit; face lines only
    std::uint64_t minus = 0;   // "-"; number lines only
};

// Byte at a time, and stopping at the first line end; the reference that the
// wide version must agree with.
inline QDObjLineBits qdObjLineBitsByByte(const unsigned char* p, bool faceLine)
{
    QDObjLineBits bits;
    for (int i = 0; i < 64; ++i)
    {
        const int c = p[i];
        const std::uint64_t bit = std::uint64_t(1) << i;
        const bool valid = c == ' ' || c == '/' || unsigned(c - '0') < 10u;
        if (faceLine ? !valid : c == '\n' || c == '\r')
        {
            bits.lineEnd = bit;
            break;
        }
        if (c == ' ') bits.space |= bit;
        if (c == (faceLine ? '/' : '.')) bits.mark |= bit;
        if (!faceLine && c == '-') bits.minus |= bit;
        if (faceLine) bits.valid |= bit;
    }
    return bits;
}

// Whether the byte that ends the valid bytes of a face line is a line end.
inline bool qdObjFaceLineEnd(const unsigned char* p, unsigned end)
{
    return p[end] == '\n' || p[end] == '\r';
}

#ifdef QD_OBJ_LINE_SCAN_SSE2
namespace qdObjLineScan
{
inline std::uint64_t bitsOf(__m128i bytes, int shift)
{
    return std::uint64_t(unsigned(_mm_movemask_epi8(bytes))) << shift;
}

inline __m128i equal(__m128i x, char c)
{
    return _mm_cmpeq_epi8(x, _mm_set1_epi8(c));
}

// Classifies the 16 bytes at p into bits shift .. shift + 15. A face line
// leaves its line ends to qdObjLineBits.
template <bool faceLine>
inline void classify16(const unsigned char* p, int shift, QDObjLineBits& bits)
{
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i space = equal(x, ' ');
    const __m128i mark = equal(x, faceLine ? '/' : '.');
    bits.space |= bitsOf(space, shift);
    bits.mark |= bitsOf(mark, shift);
    if (!faceLine)
    {
        bits.lineEnd |= bitsOf(_mm_or_si128(equal(x, '\n'), equal(x, '\r')), shift);
        bits.minus |= bitsOf(equal(x, '-'), shift);
    }
    else
    {
        // "/" and the digits are the bytes 0x2F to 0x39: those that stay
        // themselves when their distance from "/" is held to at most 10.
        const __m128i distance = _mm_sub_epi8(x, _mm_set1_epi8('/'));
        const __m128i slashOrDigit =
            _mm_cmpeq_epi8(_mm_min_epu8(distance, _mm_set1_epi8(10)), distance);
        bits.valid |= bitsOf(_mm_or_si128(space, slashOrDigit), shift);
    }
}
} // namespace qdObjLineScan
#endif

// The byte classes of the line that begins at p.
template <bool faceLine> inline QDObjLineBits qdObjLineBits(const unsigned char* p)
{
#ifdef QD_OBJ_LINE_SCAN_SSE2
    QDObjLineBits bits;
    qdObjLineScan::classify16<faceLine>(p, 0, bits);
    qdObjLineScan::classify16<faceLine>(p + 16, 16, bits);
    // Most lines end within 32 bytes; only the others pay for the second half.
    if (faceLine ? bits.valid == 0xFFFFFFFFu : bits.lineEnd == 0)
    {
        qdObjLineScan::classify16<faceLine>(p + 32, 32, bits);
        qdObjLineScan::classify16<faceLine>(p + 48, 48, bits);
    }
    if (faceLine) bits.lineEnd = ~bits.valid;
    return bits;
#else
    return qdObjLineBitsByByte(p, faceLine);
#endif
}

namespace qdObjLineScan
{
// Positions are unsigned, so that they widen to addresses for free.
inline unsigned lowestBit(std::uint64_t x)
{
    return unsigned(__builtin_ctzll(x));
}

inline std::uint64_t below(int n)
{
    return (std::uint64_t(1) << n) - 1;
}

// The words of the line (runs of bytes other than spaces) as the bits of
// their first bytes and of the bytes just past them; false without a line end.
inline bool lineWords(const QDObjLineBits& bits, unsigned& end, std::uint64_t& starts,
                      std::uint64_t& ends)
{
    if (bits.lineEnd == 0) return false;
    end = lowestBit(bits.lineEnd);
    const std::uint64_t words = ~bits.space & below(end);
    starts = words & ~(words << 1);
    ends = ~words & (words << 1);
    return true;
}

// The eight bytes that end just before 'end', as one word: the last character
// is the top byte.
inline std::uint64_t wordBefore(const unsigned char* end)
{
    std::uint64_t x;
    memcpy(&x, end - 8, 8);
    return x;
}

// Masks of the top n bytes of a word, n from 0 to 8.
struct TopBytes
{
    std::uint64_t mask[9];
    TopBytes()
    {
        for (int n = 0; n <= 8; ++n)
            mask[n] = n == 0 ? 0 : ~std::uint64_t(0) << (64 - 8 * n);
    }
};
const TopBytes s_topBytes;

// The value of the decimal digits in the top n bytes of a word.
inline std::uint32_t digitsValue(std::uint64_t word, int n)
{
    std::uint64_t d = (word ^ 0x3030303030303030ull) & s_topBytes.mask[n];
    d = (d * 10 + (d >> 8)) & 0x00FF00FF00FF00FFull;
    d = (d * 100 + (d >> 16)) & 0x0000FFFF0000FFFFull;
    return std::uint32_t(d * 10000 + (d >> 32));
}

// Powers of ten up to 10^8, all exact floats: the divisors of the reading
// along the line.
const float s_divisors[9] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f, 1e8f};

// A number of a "v" or "vt" line: where it ends, and its shape.
struct Number
{
    unsigned end;      // the byte just past it
    unsigned digits;   // before and after the dot, 1 to 8
    unsigned decimals; // after the dot, 1 to 8
    unsigned negative; // 1 after a leading minus
};

// The digits of a number side by side in the top bytes of a word, as the
// character codes. The eight bytes before its end hold the decimals; those
// before the byte before its end hold the whole digits one byte further up,
// which closes the gap of the dot.
inline std::uint64_t closedDigits(const unsigned char* p, const Number& n)
{
    const std::uint64_t decimals = s_topBytes.mask[n.decimals];
    return (wordBefore(p + n.end) & decimals) | (wordBefore(p + n.end - 1) & ~decimals);
}

// The float of a number; false when a byte among its digits is no digit or
// their value is beyond the 24 bits that keep the reading along the line
// exact. The same bits as that reading: the value of the digits, exact as a
// float, divided once by the exact power of ten of the decimals, then negated
// (0 gives -0).
inline bool numberValue(const unsigned char* p, const Number& n, float& value)
{
    const std::uint64_t closed = closedDigits(p, n);
    const std::uint64_t d = (closed ^ 0x3030303030303030ull) & s_topBytes.mask[n.digits];
    // A byte above 9 sets its top bit when 0x76 is added; the top bit itself
    // is kept out of the sum, so that no carry runs into the next byte.
    if ((((d & 0x7F7F7F7F7F7F7F7Full) + 0x7676767676767676ull) | d) & 0x8080808080808080ull)
        return false;
    const std::uint32_t mantissa = digitsValue(closed, n.digits);
    if (mantissa > 16777216) return false;
    const float v = float(int(mantissa)) / s_divisors[n.decimals];
    value = n.negative ? -v : v;
    return true;
}

// The numbers of a line one after the other; the reference of the wide version.
template <int count>
inline bool numberValuesByWord(const unsigned char* p, const Number* numbers, float* values)
{
    for (int k = 0; k < count; ++k)
        if (!numberValue(p, numbers[k], values[k])) return false;
    return true;
}

#ifdef QD_OBJ_LINE_SCAN_SSE2
// Sign bits of up to four lanes, lane k negative when bit k of the index is set.
struct SignLanes
{
    __m128 lanes[16];
    SignLanes()
    {
        for (int i = 0; i < 16; ++i)
        {
            const __m128i bit = _mm_set1_epi32(INT32_MIN);
            lanes[i] = _mm_castsi128_ps(_mm_and_si128(
                bit, _mm_set_epi32(-(i >> 3 & 1), -(i >> 2 & 1), -(i >> 1 & 1), -(i & 1))));
        }
    }
};
const SignLanes s_signLanes;

// Two words from memory, one per lane.
inline __m128i lanes(const void* a, const void* b)
{
    return _mm_unpacklo_epi64(_mm_loadl_epi64(static_cast<const __m128i*>(a)),
                              _mm_loadl_epi64(static_cast<const __m128i*>(b)));
}

// The digit values of two numbers, one per lane (as numberValue reads them),
// in the top bytes of the lane; 'digits' turns to zero where a byte is no digit.
inline __m128i closedDigitPair(const unsigned char* p, const Number& a, const Number& b,
                               __m128i& digits)
{
    const __m128i decimals = lanes(&s_topBytes.mask[a.decimals], &s_topBytes.mask[b.decimals]);
    const __m128i closed =
        _mm_or_si128(_mm_and_si128(lanes(p + a.end - 8, p + b.end - 8), decimals),
                     _mm_andnot_si128(decimals, lanes(p + a.end - 9, p + b.end - 9)));
    const __m128i d = _mm_and_si128(_mm_xor_si128(closed, _mm_set1_epi8('0')),
                                    lanes(&s_topBytes.mask[a.digits], &s_topBytes.mask[b.digits]));
    digits = _mm_and_si128(digits, _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(9)), d));
    return d;
}

// The value of the digits of each lane, in the lane's low half: pairs of
// digits, then fours, then eights, the most significant digit in the lowest
// byte.
inline __m128i digitPairValues(__m128i d)
{
    const __m128i pairs =
        _mm_add_epi16(_mm_mullo_epi16(_mm_and_si128(d, _mm_set1_epi16(0xFF)), _mm_set1_epi16(10)),
                      _mm_srli_epi16(d, 8));
    const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00010064));
    return _mm_add_epi32(_mm_mul_epu32(fours, _mm_set1_epi32(10000)), _mm_srli_epi64(fours, 32));
}

// The numbers of a line side by side in the lanes of registers, with the same
// results as numberValuesByWord.
template <int count>
inline bool numberValuesWide(const unsigned char* p, const Number* numbers, float* values)
{
    const Number& a = numbers[0];
    const Number& b = numbers[1];
    const Number& c = numbers[count - 1];
    __m128i digits = _mm_set1_epi8(-1);
    const __m128i first = digitPairValues(closedDigitPair(p, a, b, digits));
    // A lone third number fills both lanes of the second register.
    const __m128i second = count == 3 ? digitPairValues(closedDigitPair(p, c, c, digits)) : first;
    const __m128i mantissas = _mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(first), _mm_castsi128_ps(second), _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i tooLarge = _mm_cmpgt_epi32(mantissas, _mm_set1_epi32(16777216));
    if (_mm_movemask_epi8(_mm_andnot_si128(tooLarge, digits)) != 0xFFFF) return false;
    const __m128 divisors = _mm_movelh_ps(
        _mm_unpacklo_ps(_mm_load_ss(&s_divisors[a.decimals]), _mm_load_ss(&s_divisors[b.decimals])),
        _mm_load_ss(&s_divisors[c.decimals]));
    const __m128 v = _mm_xor_ps(_mm_div_ps(_mm_cvtepi32_ps(mantissas), divisors),
                                s_signLanes.lanes[a.negative | b.negative << 1 | c.negative << 2]);
    _mm_storel_pi(reinterpret_cast<__m64*>(values), v);
    if (count == 3) _mm_store_ss(values + 2, _mm_movehl_ps(v, v));
    return true;
}

// What numberValuesWide looks up for the numbers of one shape, looked up once:
// the masks of each pair of numbers, the divisors and the signs.
template <int count> struct NumberLanes
{
    __m128i decimals[2], digits[2];
    __m128 divisors, signs;

    void take(const Number* numbers)
    {
        const Number& a = numbers[0];
        const Number& b = numbers[1];
        const Number& c = numbers[count - 1];
        decimals[0] = lanes(&s_topBytes.mask[a.decimals], &s_topBytes.mask[b.decimals]);
        decimals[1] = lanes(&s_topBytes.mask[c.decimals], &s_topBytes.mask[c.decimals]);
        digits[0] = lanes(&s_topBytes.mask[a.digits], &s_topBytes.mask[b.digits]);
        digits[1] = lanes(&s_topBytes.mask[c.digits], &s_topBytes.mask[c.digits]);
        divisors = _mm_setr_ps(s_divisors[a.decimals], s_divisors[b.decimals],
                               s_divisors[c.decimals], 1.0f);
        signs = s_signLanes.lanes[a.negative | b.negative << 1 | c.negative << 2];
    }
};

// The digit values of the numbers a and b of a line known to hold digits
// wherever their shape has them.
inline __m128i knownDigitPair(const unsigned char* p, const Number& a, const Number& b,
                              __m128i decimals, __m128i digits)
{
    const __m128i closed =
        _mm_or_si128(_mm_and_si128(lanes(p + a.end - 8, p + b.end - 8), decimals),
                     _mm_andnot_si128(decimals, lanes(p + a.end - 9, p + b.end - 9)));
    return digitPairValues(_mm_and_si128(_mm_xor_si128(closed, _mm_set1_epi8('0')), digits));
}

// numberValuesWide for a line that matched the pattern of the numbers' shape,
// so that only the size of each value is left to check.
template <int count>
inline bool knownNumberValues(const unsigned char* p, const Number* numbers,
                              const NumberLanes<count>& l, float* values)
{
    const Number& c = numbers[count - 1];
    const __m128i first = knownDigitPair(p, numbers[0], numbers[1], l.decimals[0], l.digits[0]);
    const __m128i second =
        count == 3 ? knownDigitPair(p, c, c, l.decimals[1], l.digits[1]) : first;
    const __m128i mantissas = _mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(first), _mm_castsi128_ps(second), _MM_SHUFFLE(2, 0, 2, 0)));
    if (_mm_movemask_epi8(_mm_cmpgt_epi32(mantissas, _mm_set1_epi32(16777216))) != 0)
        return false;
    const __m128 v = _mm_xor_ps(_mm_div_ps(_mm_cvtepi32_ps(mantissas), l.divisors), l.signs);
    _mm_storel_pi(reinterpret_cast<__m64*>(values), v);
    if (count == 3) _mm_store_ss(values + 2, _mm_movehl_ps(v, v));
    return true;
}
#endif

template <int count>
inline bool numberValues(const unsigned char* p, const Number* numbers, float* values)
{
#ifdef QD_OBJ_LINE_SCAN_SSE2
    return numberValuesWide<count>(p, numbers, values);
#else
    return numberValuesByWord<count>(p, numbers, values);
#endif
}
} // namespace qdObjLineScan

namespace qdObjLineScan
{
// True when x has exactly n bits set.
template <int n> inline bool hasBits(std::uint64_t x)
{
    for (int k = 1; k < n; ++k)
        x &= x - 1;
    return x != 0 && (x & (x - 1)) == 0;
}

// Takes the first number of the line's words and dots into n. 'shapes' turns
// negative when a number has no whole part left of its dot (its dot lies in an
// earlier number), no decimals, or more than eight digits.
__attribute__((always_inline)) inline void takeNumber(const unsigned char* p, std::uint64_t& starts,
                                                      std::uint64_t& ends, std::uint64_t& dots,
                                                      Number& n, int& shapes)
{
    const unsigned first = lowestBit(starts), point = lowestBit(dots);
    n.end = lowestBit(ends);
    starts &= starts - 1;
    ends &= ends - 1;
    dots &= dots - 1;
    n.negative = p[first] == '-';
    const unsigned whole = point - first - n.negative;
    n.decimals = n.end - point - 1;
    n.digits = whole + n.decimals;
    shapes |= int(whole) | int(n.decimals - 1) | int(8 - n.digits);
}

// The shapes of the numbers of the line that begins at p, the byte after the
// keyword, and the position of its line end; false for a line of any other
// shape than the one qdObjQuickNumbers reads.
template <int count>
inline bool lineNumbers(const unsigned char* p, const QDObjLineBits& bits, Number* numbers,
                        unsigned& end)
{
    std::uint64_t starts, ends;
    if (!lineWords(bits, end, starts, ends) || !(bits.space & 1)) return false;
    // As many dots as numbers: with each dot within its number (the k-th dot
    // in the k-th number), every number has exactly one.
    std::uint64_t dots = bits.mark & below(end);
    if (!hasBits<count>(starts) || !hasBits<count>(dots)) return false;
    int shapes = 0;
    takeNumber(p, starts, ends, dots, numbers[0], shapes);
    takeNumber(p, starts, ends, dots, numbers[1], shapes);
    if (count == 3) takeNumber(p, starts, ends, dots, numbers[count - 1], shapes);
    return shapes >= 0;
}

template <int count> inline bool lineNumbers(const unsigned char* p, Number* numbers, unsigned& end)
{
    return lineNumbers<count>(p, qdObjLineBits<false>(p), numbers, end);
}
} // namespace qdObjLineScan

// A line's bytes as a pattern that a later line of the same shape matches in a
// few wide steps: the spaces, marks and signs before the line end, and the line
// end, must be the very bytes of the line the pattern was taken from, the other
// bytes before the end any digit, and the bytes after the end are free. A line
// that matches lies exactly as that line did, so all that its shape told holds
// for it too, and it ends at the same place: the next line is known before this
// one is read.
struct QDObjLinePattern
{
#ifdef QD_OBJ_LINE_SCAN_SSE2
    // Each byte xor 'expect' must be at most 'limit': 0 for the fixed bytes, 9
    // for the digits (the digits xor "0" are 0 to 9 and no other byte is), 255
    // for the free bytes.
    __m128i expect[4] = {};
    __m128i limit[4] = {};
#endif
    // What the 16 byte tests of a match give: -1, which they never give, for
    // no pattern, so that an empty pattern costs no test of its own.
    int required = -1;
    bool wide = false; // the line end lies past the first 32 bytes
    unsigned end = 0;

    bool empty() const { return required == -1; }
    void clear() { required = -1; }

    // The pattern of the line at p that ends at 'end' (at most 63), 'fixed'
    // having the bits of the bytes before the end that are no digits.
    void take(const unsigned char* p, unsigned lineEnd, std::uint64_t fixed)
    {
#ifdef QD_OBJ_LINE_SCAN_SSE2
        unsigned char e[64], l[64];
        for (unsigned i = 0; i < 64; ++i)
        {
            const bool isFixed = i == lineEnd || (i < lineEnd && (fixed >> i & 1));
            e[i] = isFixed ? p[i] : (i < lineEnd ? '0' : 0);
            l[i] = isFixed ? 0 : (i < lineEnd ? 9 : 255);
        }
        for (int k = 0; k < 4; ++k)
        {
            expect[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(e + 16 * k));
            limit[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(l + 16 * k));
        }
        wide = lineEnd >= 32;
        end = lineEnd;
        required = 0xFFFF;
#else
        (void)p;
        (void)lineEnd;
        (void)fixed;
#endif
    }

    bool matches(const unsigned char* p) const
    {
#ifdef QD_OBJ_LINE_SCAN_SSE2
        __m128i over = _mm_or_si128(step(p, 0), step(p, 1));
        if (wide) over = _mm_or_si128(over, _mm_or_si128(step(p, 2), step(p, 3)));
        return _mm_movemask_epi8(_mm_cmpeq_epi8(over, _mm_setzero_si128())) == required;
#else
        (void)p;
        return false;
#endif
    }

private:
#ifdef QD_OBJ_LINE_SCAN_SSE2
    __m128i step(const unsigned char* p, int k) const
    {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
        return _mm_subs_epu8(_mm_xor_si128(x, expect[k]), limit[k]);
    }
#endif
};

// The shapes of number lines read lately. The places of the spaces, dots and
// minus signs before the line end, and the line end, decide all that
// lineNumbers finds; a file writes its numbers with few widths, so most lines
// repeat a shape met shortly before and skip the work of taking the numbers
// apart. The digits are still checked on every line.
template <int count> struct QDObjNumberShapes
{
    struct Shape
    {
        std::uint64_t space = 0, dot = 0, minus = 0;
        unsigned end = 64; // no line has its end there, so an empty entry never matches
        qdObjLineScan::Number numbers[count];
        QDObjLinePattern pattern;
#ifdef QD_OBJ_LINE_SCAN_SSE2
        qdObjLineScan::NumberLanes<count> lanes;
#endif
    };
    Shape shape[64];
    Shape* last = shape; // the shape of the last line read, tried first; never null

    Shape& slot(std::uint64_t space, std::uint64_t dot, std::uint64_t minus, unsigned end)
    {
        const std::uint64_t key = space ^ (dot << 1) ^ (minus << 2) ^ end;
        return shape[(key * 0x9E3779B97F4A7C15ull) >> 58];
    }
};

// Reads the rest of a "v" or "vt" line from p, the byte after the keyword:
// exactly 'count' (2 or 3) numbers after spaces, then spaces and a line end.
// Each number is an optional minus, digits, one dot and decimals, with one to
// eight digits after the dot and at most eight in all, worth at most 2^24
// without the dot; any other line is refused. Returns the address of the line
// end, or null.
template <int count>
inline const unsigned char* qdObjQuickNumbers(const unsigned char* p, float* values)
{
    qdObjLineScan::Number numbers[count];
    unsigned end;
    if (!qdObjLineScan::lineNumbers<count>(p, numbers, end) ||
        !qdObjLineScan::numberValues<count>(p, numbers, values))
        return nullptr;
    return p + end;
}

template <int count>
const unsigned char* qdObjShapeNumbers(const unsigned char* p, float* values,
                                       QDObjNumberShapes<count>& shapes);

// qdObjQuickNumbers with the shapes of earlier lines: the same results.
template <int count>
inline const unsigned char* qdObjQuickNumbers(const unsigned char* p, float* values,
                                              QDObjNumberShapes<count>& shapes)
{
    // Most lines are shaped as the one before; only the others pay for a call.
#ifdef QD_OBJ_LINE_SCAN_SSE2
    using namespace qdObjLineScan;
    if (shapes.last->pattern.matches(p))
        return knownNumberValues<count>(p, shapes.last->numbers, shapes.last->lanes, values)
                   ? p + shapes.last->end
                   : nullptr;
#endif
    return qdObjShapeNumbers<count>(p, values, shapes);
}

// qdObjQuickNumbers for a line of any shape.
template <int count>
__attribute__((noinline)) const unsigned char*
qdObjShapeNumbers(const unsigned char* p, float* values, QDObjNumberShapes<count>& shapes)
{
    using namespace qdObjLineScan;
    const QDObjLineBits bits = qdObjLineBits<false>(p);
    if (bits.lineEnd == 0) return nullptr;
    const unsigned end = lowestBit(bits.lineEnd);
    const std::uint64_t line = below(int(end));
    const std::uint64_t space = bits.space & line, dot = bits.mark & line,
                        minus = bits.minus & line;
    auto& shape = shapes.slot(space, dot, minus, end);
    if (shape.end != end || shape.space != space || shape.dot != dot || shape.minus != minus)
    {
        unsigned lineEnd;
        if (!lineNumbers<count>(p, bits, shape.numbers, lineEnd))
        {
            shape.end = 64;
            shape.pattern.clear();
            return nullptr;
        }
        shape.space = space;
        shape.dot = dot;
        shape.minus = minus;
        shape.end = end;
        shape.pattern.clear();
#ifdef QD_OBJ_LINE_SCAN_SSE2
        shape.lanes.take(shape.numbers);
#endif
    }
    if (!numberValues<count>(p, shape.numbers, values)) return nullptr;
    // The pattern comes from a line whose digits all passed: a line that only
    // has the spaces, dots and minus signs of the shape may hold a minus where
    // a digit belongs ("1-4.5"), which the pattern would take for fixed.
    if (shape.pattern.empty()) shape.pattern.take(p, end, space | dot | minus);
    shapes.last = &shape;
    return p + end;
}

// The corners of a face line as the reading along the line lists them.
struct QDObjCorners
{
    int count = 0;
    bool textured = false; // every corner has a texture index
    int vertex[4];
    int texture[4]; // when textured
};

namespace qdObjLineScan
{
// Where the indices of a corner end, and how many digits they have.
struct Corner
{
    unsigned vertexEnd, vertexDigits;
    unsigned textureEnd, textureDigits;
};

// Takes the first corner of the line's words. A corner's vertex index runs up
// to its first "/" (or its end), its texture index from there to its second
// "/" (or its end); 'shapes' turns negative when one has more than eight
// digits, and 'textured' gets bit k when the texture index of corner k has any.
inline void takeCorner(std::uint64_t& starts, std::uint64_t& ends, std::uint64_t marks, Corner& c,
                       int k, int& shapes, unsigned& textured)
{
    const unsigned first = lowestBit(starts), last = lowestBit(ends);
    starts &= starts - 1;
    ends &= ends - 1;
    // The corner's slashes, and a stop bit at its end for the missing ones.
    const std::uint64_t stop = std::uint64_t(1) << (last - first);
    const std::uint64_t slashes = (marks >> first) & (stop - 1);
    c.vertexEnd = first + lowestBit(slashes | stop);
    c.textureEnd = first + lowestBit((slashes & (slashes - 1)) | stop);
    c.vertexDigits = c.vertexEnd - first;
    c.textureDigits = c.textureEnd - c.vertexEnd - (slashes != 0);
    shapes |= int(8 - c.vertexDigits) | int(8 - c.textureDigits);
    textured |= unsigned(c.textureDigits != 0) << k;
}

// The words of a face line that holds a line end within 64 bytes, a space
// after the keyword and nothing but spaces, digits and slashes before its end.
inline bool faceWords(const unsigned char* p, const QDObjLineBits& bits, unsigned& end,
                      std::uint64_t& starts, std::uint64_t& ends)
{
    return lineWords(bits, end, starts, ends) && (bits.space & 1) && qdObjFaceLineEnd(p, end);
}
} // namespace qdObjLineScan

namespace qdObjLineScan
{
// The corners of a face line of the words and slashes given: false for a line
// that qdObjQuickCorners refuses whatever its digits.
inline bool lineCorners(std::uint64_t starts, std::uint64_t ends, std::uint64_t slashes, Corner* c,
                        int& count, bool& textured)
{
    // A digit first in every corner.
    if (slashes & starts) return false;
    const bool quad = hasBits<4>(starts);
    if (!quad && !hasBits<3>(starts)) return false;
    int shapes = 0;
    unsigned withTexture = 0;
    takeCorner(starts, ends, slashes, c[0], 0, shapes, withTexture);
    takeCorner(starts, ends, slashes, c[1], 1, shapes, withTexture);
    takeCorner(starts, ends, slashes, c[2], 2, shapes, withTexture);
    if (quad) takeCorner(starts, ends, slashes, c[3], 3, shapes, withTexture);
    const unsigned all = quad ? 15 : 7;
    if (shapes < 0 || (withTexture != 0 && withTexture != all)) return false;
    count = quad ? 4 : 3;
    textured = withTexture != 0;
    return true;
}

inline void cornerValues(const unsigned char* p, const Corner* c, int count, bool textured,
                         QDObjCorners& corners)
{
    corners.count = count;
    corners.textured = textured;
    for (int k = 0; k < 4; ++k)
    {
        if (k == 3 && count == 3) break;
        corners.vertex[k] = int(digitsValue(wordBefore(p + c[k].vertexEnd), c[k].vertexDigits)) - 1;
        if (textured)
            corners.texture[k] =
                int(digitsValue(wordBefore(p + c[k].textureEnd), c[k].textureDigits)) - 1;
    }
}
} // namespace qdObjLineScan

// Reads the rest of an "f" line from p, the byte after the keyword: three or
// four corners after spaces, then spaces and a line end. A corner is "a",
// "a/b", "a//c" or "a/b/c" with indices of at most eight digits; anything
// after its second "/" is passed over, as the reading along the line does.
// Either every corner has a texture index or none. Any other line is refused.
// Returns the address of the line end, or null.
inline const unsigned char* qdObjQuickCorners(const unsigned char* p, QDObjCorners& corners)
{
    using namespace qdObjLineScan;
    const QDObjLineBits bits = qdObjLineBits<true>(p);
    unsigned end;
    std::uint64_t starts, ends;
    Corner c[4];
    int count;
    bool textured;
    if (!faceWords(p, bits, end, starts, ends) ||
        !lineCorners(starts, ends, bits.mark, c, count, textured))
        return nullptr;
    cornerValues(p, c, count, textured, corners);
    return p + end;
}

// The shapes of face lines read lately, as QDObjNumberShapes keeps those of
// number lines: the places of the spaces and slashes before the line end, and
// the line end, decide where every index lies once the line is known to hold
// nothing but spaces, slashes and digits.
namespace qdObjLineScan
{
#ifdef QD_OBJ_LINE_SCAN_SSE2
// The digit masks of a face shape's indices in pairs, the vertex indices of
// corners 0 and 1, then 2 and 3, then the same of the texture indices; a
// triangle takes its third corner twice.
struct CornerLanes
{
    __m128i digits[4];

    void take(const Corner* c, int count)
    {
        const Corner& d = c[count - 1];
        digits[0] = lanes(&s_topBytes.mask[c[0].vertexDigits], &s_topBytes.mask[c[1].vertexDigits]);
        digits[1] = lanes(&s_topBytes.mask[c[2].vertexDigits], &s_topBytes.mask[d.vertexDigits]);
        digits[2] =
            lanes(&s_topBytes.mask[c[0].textureDigits], &s_topBytes.mask[c[1].textureDigits]);
        digits[3] = lanes(&s_topBytes.mask[c[2].textureDigits], &s_topBytes.mask[d.textureDigits]);
    }
};

// Four indices that end at a, b, c and d, of the digits given, minus one.
inline __m128i knownIndices(const unsigned char* a, const unsigned char* b, const unsigned char* c,
                            const unsigned char* d, __m128i digitsAB, __m128i digitsCD)
{
    const __m128i zeros = _mm_set1_epi8('0');
    const __m128i ab = digitPairValues(_mm_and_si128(_mm_xor_si128(lanes(a - 8, b - 8), zeros), digitsAB));
    const __m128i cd = digitPairValues(_mm_and_si128(_mm_xor_si128(lanes(c - 8, d - 8), zeros), digitsCD));
    return _mm_sub_epi32(
        _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(ab), _mm_castsi128_ps(cd), _MM_SHUFFLE(2, 0, 2, 0))),
        _mm_set1_epi32(1));
}

// cornerValues for a line that matched the pattern of the corners' shape.
inline void knownCornerValues(const unsigned char* p, const Corner* c, int count, bool textured,
                              const CornerLanes& l, QDObjCorners& corners)
{
    const Corner& d = c[count - 1];
    corners.count = count;
    corners.textured = textured;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(corners.vertex),
                     knownIndices(p + c[0].vertexEnd, p + c[1].vertexEnd, p + c[2].vertexEnd,
                                  p + d.vertexEnd, l.digits[0], l.digits[1]));
    if (textured)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(corners.texture),
                         knownIndices(p + c[0].textureEnd, p + c[1].textureEnd,
                                      p + c[2].textureEnd, p + d.textureEnd, l.digits[2],
                                      l.digits[3]));
}
#endif
} // namespace qdObjLineScan

struct QDObjCornerShapes
{
    struct Shape
    {
        std::uint64_t space = 0, slash = 0;
        unsigned end = 64; // no line has its end there, so an empty entry never matches
        int count = 0;     // 0 for a refused shape
        bool textured = false;
        qdObjLineScan::Corner corner[4];
        QDObjLinePattern pattern;
#ifdef QD_OBJ_LINE_SCAN_SSE2
        qdObjLineScan::CornerLanes lanes;
#endif
    };
    Shape shape[64];
    Shape* last = shape; // the shape of the last line read, tried first; never null

    Shape& slot(std::uint64_t space, std::uint64_t slash, unsigned end)
    {
        const std::uint64_t key = space ^ (slash << 1) ^ end;
        return shape[(key * 0x9E3779B97F4A7C15ull) >> 58];
    }
};

// qdObjQuickCorners with the shapes of earlier lines, given the line's byte
// classes: the same results.
inline const unsigned char* qdObjQuickCorners(const unsigned char* p, const QDObjLineBits& bits,
                                              QDObjCorners& corners, QDObjCornerShapes& shapes)
{
    using namespace qdObjLineScan;
    if (bits.lineEnd == 0) return nullptr;
    const unsigned end = lowestBit(bits.lineEnd);
    const std::uint64_t line = below(int(end));
    if (!qdObjFaceLineEnd(p, end)) return nullptr;
    const std::uint64_t space = bits.space & line, slash = bits.mark & line;
    auto& shape = shapes.slot(space, slash, end);
    if (shape.end != end || shape.space != space || shape.slash != slash)
    {
        unsigned lineEnd;
        std::uint64_t starts, ends;
        // A refused shape is kept too, as no corners.
        if (!faceWords(p, bits, lineEnd, starts, ends) ||
            !lineCorners(starts, ends, bits.mark, shape.corner, shape.count, shape.textured))
            shape.count = 0;
        shape.space = space;
        shape.slash = slash;
        shape.end = end;
        if (shape.count != 0)
        {
            shape.pattern.take(p, end, space | slash);
#ifdef QD_OBJ_LINE_SCAN_SSE2
            shape.lanes.take(shape.corner, shape.count);
#endif
        }
        else
            shape.pattern.clear();
    }
    if (shape.count == 0) return nullptr;
    if (!shape.pattern.empty()) shapes.last = &shape;
    cornerValues(p, shape.corner, shape.count, shape.textured, corners);
    return p + end;
}

// The corners of a face line shaped as the last one that qdObjQuickCorners
// read with these shapes; null, with nothing read, for a line of another shape.
inline const unsigned char* qdObjLastShapeCorners(const unsigned char* p, QDObjCorners& corners,
                                                  QDObjCornerShapes& shapes)
{
    const QDObjCornerShapes::Shape* shape = shapes.last;
#ifdef QD_OBJ_LINE_SCAN_SSE2
    if (!shape->pattern.matches(p)) return nullptr;
    qdObjLineScan::knownCornerValues(p, shape->corner, shape->count, shape->textured, shape->lanes,
                                     corners);
    return p + shape->end;
#else
    (void)p;
    (void)corners;
    (void)shape;
    return nullptr;
#endif
}

inline const unsigned char* qdObjQuickCorners(const unsigned char* p, QDObjCorners& corners,
                                              QDObjCornerShapes& shapes)
{
    return qdObjQuickCorners(p, qdObjLineBits<true>(p), corners, shapes);
}

namespace qdObjLineScan
{
// The number of bits set, without relying on a population-count instruction.
inline unsigned bitCount(std::uint64_t x)
{
    x = x - ((x >> 1) & 0x5555555555555555ull);
    x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
    x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return unsigned((x * 0x0101010101010101ull) >> 56);
}
} // namespace qdObjLineScan

// Counts the corners of an "f" line as the counting pass does, from p, the
// byte after the keyword, for a line of spaces, digits and slashes only: the
// words that begin with a digit, up to the first word that begins with a "/",
// which ends the count. Lines of up to 256 bytes are taken 64 bytes at a time.
// Returns the address of the line end, or null for a longer line or one of any
// other bytes (blanks other than spaces among them).
inline const unsigned char* qdObjCountCorners(const unsigned char* p, unsigned& corners)
{
    using namespace qdObjLineScan;
    corners = 0;
    bool counting = true;
    std::uint64_t wordBefore = 0; // bit 0 set when the byte before the window is in a word
    for (int window = 0; window < 4; ++window, p += 64)
    {
        const QDObjLineBits bits = qdObjLineBits<true>(p);
        const unsigned end = bits.lineEnd ? lowestBit(bits.lineEnd) : 64;
        const std::uint64_t line = end < 64 ? below(int(end)) : ~std::uint64_t(0);
        if ((end < 64 && !qdObjFaceLineEnd(p, end)) || (window == 0 && !(bits.space & 1)))
            return nullptr;
        const std::uint64_t words = ~bits.space & line;
        const std::uint64_t starts = words & ~((words << 1) | wordBefore);
        wordBefore = words >> 63;
        if (counting)
        {
            const std::uint64_t stops = bits.mark & starts;
            corners += bitCount(stops ? starts & below(int(lowestBit(stops))) : starts);
            counting = stops == 0;
        }
        if (end < 64) return p + end;
    }
    return nullptr;
}

// Reads the corners of an "f" line from p, the byte after the keyword, 64
// bytes at a time, for lines of up to 256 bytes: a space, then corners "a",
// "a/b", "a//c" or "a/b/c" separated by spaces, with at most eight digits in
// each of their first two indices (anything of digits and slashes after the
// second "/" is passed over, as the reading along the line does). A corner is
// never split between two windows: the next window begins where the corner
// that the last one cut begins. vertex receives every corner's vertex index
// minus one, texture the texture index minus one of the corners that have one,
// both in line order; count and textured tell how many. Returns the address of
// the line end, or null, with nothing meaningful stored, for a line of any other
// shape or of more than 'most' corners. 'first', when given, holds the byte
// classes of the line's first window, found already.
inline const unsigned char* qdObjQuickFaceCorners(const unsigned char* p, int* vertex, int* texture,
                                                  int most, int& count, int& textured,
                                                  const QDObjLineBits* first = nullptr)
{
    using namespace qdObjLineScan;
    // Kept in registers: the stores through vertex and texture could change
    // what the references name.
    int n = 0, t = 0;
    if (*p != ' ') return nullptr;
    for (int window = 0; window < 4; ++window)
    {
        const QDObjLineBits bits = window == 0 && first ? *first : qdObjLineBits<true>(p);
        const unsigned end = bits.lineEnd ? lowestBit(bits.lineEnd) : 64;
        const std::uint64_t line = end < 64 ? below(int(end)) : ~std::uint64_t(0);
        if (end < 64 && !qdObjFaceLineEnd(p, end)) return nullptr;
        const std::uint64_t words = ~bits.space & line;
        std::uint64_t starts = words & ~(words << 1);
        // A corner that runs to the window's last byte has no end bit here.
        std::uint64_t ends = ~words & (words << 1);
        if (bits.mark & starts) return nullptr;
        while (starts != 0 && ends != 0)
        {
            const unsigned first = lowestBit(starts), last = lowestBit(ends);
            starts &= starts - 1;
            ends &= ends - 1;
            if (n == most) return nullptr;
            const std::uint64_t stop = std::uint64_t(1) << (last - first);
            const std::uint64_t slashes = (bits.mark >> first) & (stop - 1);
            const unsigned vertexEnd = first + lowestBit(slashes | stop);
            const unsigned textureEnd = first + lowestBit((slashes & (slashes - 1)) | stop);
            const unsigned vertexDigits = vertexEnd - first;
            const unsigned textureDigits = textureEnd - vertexEnd - (slashes != 0);
            if (vertexDigits > 8 || textureDigits > 8) return nullptr;
            vertex[n++] = int(digitsValue(wordBefore(p + vertexEnd), vertexDigits)) - 1;
            if (textureDigits != 0)
                texture[t++] = int(digitsValue(wordBefore(p + textureEnd), textureDigits)) - 1;
        }
        if (end < 64)
        {
            count = n;
            textured = t;
            return p + end;
        }
        if (starts == 0)
            p += 64;
        else if (lowestBit(starts) == 0)
            return nullptr; // one corner longer than the window
        else
            p += lowestBit(starts);
    }
    return nullptr;
}

// The shapes of face lines of up to 128 bytes read lately: where the indices of
// each corner end and how many digits they have, for lines of spaces, slashes
// and digits whose spaces and slashes lie as in the line the shape was taken
// from. The texture indices are listed apart, for the corners that have one.
struct QDObjFaceShapes
{
    static const int s_corners = 8;
    struct Shape
    {
        std::uint64_t space[2] = {0, 0}, slash[2] = {0, 0};
        unsigned end = 128; // no line read here has its end there
        int count = 0;      // 0 for a refused shape
        int textured = 0;
        unsigned char vertexEnd[s_corners], vertexDigits[s_corners];
        unsigned char textureEnd[s_corners], textureDigits[s_corners];
    };
    Shape shape[64];

    Shape& slot(const std::uint64_t* space, const std::uint64_t* slash, unsigned end)
    {
        const std::uint64_t key = space[0] ^ (slash[0] << 1) ^ end ^
                                  (space[1] * 0xC2B2AE3D27D4EB4Full) ^
                                  (slash[1] * 0x165667B19E3779F9ull);
        return shape[(key * 0x9E3779B97F4A7C15ull) >> 58];
    }
};

namespace qdObjLineScan
{
inline bool isDigit(int c)
{
    return unsigned(c - '0') < 10u;
}

// The shape of a face line of spaces, slashes and digits that ends at 'end',
// read byte by byte as the reading along the line reads it; false (and no
// corners) for a line that this reader leaves to the others: a corner that
// begins with a "/", an index of more than eight digits, more corners than a
// shape holds, or none.
inline bool faceShape(const unsigned char* p, unsigned end, QDObjFaceShapes::Shape& shape)
{
    int n = 0, t = 0;
    for (unsigned i = 0;;)
    {
        while (i < end && p[i] == ' ')
            ++i;
        if (i == end) break;
        if (!isDigit(p[i]) || n == QDObjFaceShapes::s_corners) return false;
        unsigned first = i;
        while (i < end && isDigit(p[i]))
            ++i;
        if (i - first > 8) return false;
        shape.vertexEnd[n] = (unsigned char)i;
        shape.vertexDigits[n++] = (unsigned char)(i - first);
        if (i == end || p[i] != '/') continue;
        first = ++i;
        while (i < end && isDigit(p[i]))
            ++i;
        if (i - first > 8) return false;
        if (i > first)
        {
            shape.textureEnd[t] = (unsigned char)i;
            shape.textureDigits[t++] = (unsigned char)(i - first);
        }
        // The normal index, digits and slashes up to the next space.
        while (i < end && p[i] != ' ')
            ++i;
    }
    shape.count = n;
    shape.textured = t;
    return n > 0;
}
} // namespace qdObjLineScan

// Reads an "f" line of up to 128 bytes from p, the byte after the keyword,
// 'first' being the byte classes of its first 64 bytes: a space, then corners
// "a", "a/b", "a//c" or "a/b/c" separated by spaces, at most eight of them,
// with at most eight digits in each of their first two indices. vertex and
// texture receive the indices as qdObjQuickFaceCorners gives them. Returns the
// address of the line end, or null with nothing meaningful stored.
inline const unsigned char* qdObjQuickLongFace(const unsigned char* p, const QDObjLineBits& first,
                                               QDObjFaceShapes& shapes, int* vertex, int* texture,
                                               int& count, int& textured)
{
    using namespace qdObjLineScan;
    if (*p != ' ') return nullptr;
    std::uint64_t space[2], slash[2];
    unsigned end;
    if (first.lineEnd != 0)
    {
        end = lowestBit(first.lineEnd);
        const std::uint64_t line = below(int(end));
        if (!qdObjFaceLineEnd(p, end)) return nullptr;
        space[0] = first.space & line;
        slash[0] = first.mark & line;
        space[1] = slash[1] = 0;
    }
    else
    {
        // The line goes on past the first 64 bytes, so its end lies in the
        // data, and the second 64 bytes lie within the data and the padding.
        const QDObjLineBits second = qdObjLineBits<true>(p + 64);
        if (second.lineEnd == 0) return nullptr;
        end = 64 + lowestBit(second.lineEnd);
        const std::uint64_t line = below(int(end - 64));
        if (!qdObjFaceLineEnd(p, end)) return nullptr;
        space[0] = first.space;
        slash[0] = first.mark;
        space[1] = second.space & line;
        slash[1] = second.mark & line;
    }
    auto& shape = shapes.slot(space, slash, end);
    if (shape.end != end || shape.space[0] != space[0] || shape.space[1] != space[1] ||
        shape.slash[0] != slash[0] || shape.slash[1] != slash[1])
    {
        if (!faceShape(p, end, shape)) shape.count = 0;
        shape.space[0] = space[0];
        shape.space[1] = space[1];
        shape.slash[0] = slash[0];
        shape.slash[1] = slash[1];
        shape.end = end;
    }
    if (shape.count == 0) return nullptr;
    for (int k = 0; k < shape.count; ++k)
        vertex[k] = int(digitsValue(wordBefore(p + shape.vertexEnd[k]), shape.vertexDigits[k])) - 1;
    for (int k = 0; k < shape.textured; ++k)
        texture[k] =
            int(digitsValue(wordBefore(p + shape.textureEnd[k]), shape.textureDigits[k])) - 1;
    count = shape.count;
    textured = shape.textured;
    return p + end;
}
