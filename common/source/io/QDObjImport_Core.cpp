#include "QDObjImport.h"

#include "QDObjByteReader.h"
#include "QDObjLineScan.h"
#include "QDObjNumberReader.h"
#include "QDTivMesh.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

char* QDObjImport::s_fileBuffer = nullptr;
char* QDObjImport::s_endFileBuffer = nullptr;
char* QDObjImport::s_curBufferPos = nullptr;

void QDObjImport::myInitFileBuffer()
{
    char* buffer = new char[1048576];
    delete[] s_fileBuffer;
    s_fileBuffer = buffer;
    s_endFileBuffer = s_fileBuffer;
    s_curBufferPos = s_fileBuffer;
}

void QDObjImport::myCloseFileBuffer()
{
    delete[] s_fileBuffer;
    s_fileBuffer = nullptr;
    s_endFileBuffer = nullptr;
    s_curBufferPos = nullptr;
}

namespace
{
// Counts are accumulated in 64 bits and clamped here, so that hostile digit
// strings or huge files saturate instead of overflowing.
inline long long accumulateDigit(long long count, int c)
{
    long long next = count * 10 + (c - '0');
    return next > INT_MAX ? INT_MAX : next;
}

inline int clampCount(long long n)
{
    return n > INT_MAX ? INT_MAX : int(n);
}

// Finishes the line whose current byte is c: true when a line end was reached,
// false at the end of the file.
template <class In> bool finishLine(In& in, int c)
{
    if (qdObjIsLineEnd(c)) return true;
    if (c < 0) return false;
    return in.skipLine() >= 0;
}

// Reads the rest of a header keyword; true when every byte matched. On a
// mismatch c holds the offending byte.
template <class In> bool matchWord(In& in, const char* word, int& c)
{
    for (; *word; ++word)
    {
        c = in.next();
        if (c != *word) return false;
    }
    return true;
}

struct StatCounts
{
    long long vertexHeader = 0, uvHeader = 0, faceHeader = 0;
    long long vertexLines = 0, faceLines = 0, corners = 0, uvLines = 0;

    // The host writes one texture coordinate per face corner: a header whose
    // three counts agree with that is trusted without reading the data.
    bool headersAgree() const
    {
        return vertexHeader >= 1 && uvHeader >= 1 && faceHeader >= 1 &&
               3 * faceHeader <= uvHeader && uvHeader <= 4 * faceHeader;
    }
    int uvCount() const { return clampCount(uvLines != 0 ? uvLines : uvHeader); }
};

// One counting-phase line, begun on its first byte c; false at end of file.
template <class In> bool countLine(In& in, int c, StatCounts& n)
{
    if (c == 'v')
    {
        c = in.next();
        if (qdObjIsBlank(c))
            ++n.vertexLines;
        else if (c == 't')
            ++n.uvLines;
        return finishLine(in, c);
    }
    if (c != 'f') return finishLine(in, c);
    c = in.next();
    if (!qdObjIsBlank(c)) return finishLine(in, c);
    ++n.faceLines;
    c = in.next();
    for (;;)
    {
        while (qdObjIsBlank(c))
            c = in.next();
        if (!qdObjIsDigit(c)) return finishLine(in, c);
        ++n.corners;
        do
            c = in.next();
        while (qdObjIsDigit(c) || c == '/');
        if (!qdObjIsBlank(c)) return finishLine(in, c);
    }
}

// The bits of the LF and CR bytes among the 64 bytes at p.
inline std::uint64_t lineEndBits(const unsigned char* p)
{
#if defined(__SSE2__) || defined(_M_X64)
    std::uint64_t bits = 0;
    const __m128i lf = _mm_set1_epi8('\n'), cr = _mm_set1_epi8('\r');
    for (int k = 0; k < 4; ++k)
    {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
        bits |= std::uint64_t(unsigned(
                    _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(x, lf), _mm_cmpeq_epi8(x, cr)))))
                << (16 * k);
    }
    return bits;
#else
    std::uint64_t bits = 0;
    for (int i = 0; i < 64; ++i)
        bits |= std::uint64_t(qdObjIsLineEnd(p[i])) << i;
    return bits;
#endif
}

// The lines in [p, end), p being the start of a line and end just past a line
// end, counted as countLine counts them but for their corners: the first two
// bytes of a line tell all else. The line starts are found 64 bytes at a time,
// as the bytes after the line ends. Returns end.
const unsigned char* countLinesByFirstBytes(const unsigned char* p, const unsigned char* end,
                                            StatCounts& n)
{
    std::uint64_t carry = 1; // bit 0: the block's first byte starts a line
    for (const unsigned char* block = p; block < end; block += 64)
    {
        const std::uint64_t ends = lineEndBits(block);
        std::uint64_t starts = (ends << 1) | carry;
        carry = ends >> 63;
        if (end - block < 64) starts &= (std::uint64_t(1) << (end - block)) - 1;
        while (starts != 0)
        {
            const unsigned char* line = block + __builtin_ctzll(starts);
            starts &= starts - 1;
            const int first = line[0], second = line[1];
            n.vertexLines += first == 'v' && qdObjIsBlank(second);
            n.uvLines += first == 'v' && second == 't';
            n.faceLines += first == 'f' && qdObjIsBlank(second);
        }
    }
    return end;
}
} // namespace

void QDObjImport::quickReadStats(FILE* file, int& vertexCount, int& faceCount, int& cornerCount,
                                 int& uvCount, unsigned long bufferSize, bool countCorners)
{
    QDObjByteReader in(file, bufferSize);
    StatCounts n;
    int c;
    // Header phase: the comments before the first data line.
    for (;;)
    {
        c = in.next();
        if (c < 0) goto endOfFile;
        if (qdObjIsLineEnd(c)) continue;
        if (c != '#') break;
        c = in.next();
        long long* header = c == 'V'   ? &n.vertexHeader
                            : c == 'U' ? &n.uvHeader
                            : c == 'F' ? &n.faceHeader
                                       : nullptr;
        const char* rest = c == 'V' ? "ertex Count " : c == 'U' ? "V Vertex Count " : "ace Count ";
        if (header && matchWord(in, rest, c))
        {
            c = in.next();
            while (qdObjIsDigit(c))
            {
                *header = accumulateDigit(*header, c);
                c = in.next();
            }
            if (c >= 0 && n.headersAgree())
            {
                vertexCount = clampCount(n.vertexHeader);
                faceCount = clampCount(n.faceHeader);
                cornerCount = clampCount(n.uvHeader);
                uvCount = clampCount(n.uvHeader);
                return;
            }
        }
        if (!finishLine(in, c)) goto endOfFile;
    }
    // Counting phase, c being the first byte of a data line. The header counts
    // no longer change, so the check made at every line end is decided by the
    // end of this first line.
    if (!countLine(in, c, n)) goto endOfFile;
    if (n.vertexHeader > 0 && n.faceHeader > 0)
    {
        vertexCount = clampCount(n.vertexHeader);
        faceCount = clampCount(n.faceHeader);
        cornerCount = clampCount(4 * n.faceHeader);
        uvCount = n.uvCount();
        return;
    }
    for (;;)
    {
        const unsigned char*& position = in.position();
        if (!countCorners && position < in.lineSafeEnd())
        {
            position = countLinesByFirstBytes(position, in.lineSafeEnd(), n);
            continue;
        }
        if (position < in.lineSafeEnd())
        {
            // Face lines, most of the file, counted in one go.
            unsigned corners;
            const unsigned char* end;
            if (*position == 'f' && (end = qdObjCountCorners(position + 1, corners)))
            {
                ++n.faceLines;
                n.corners += corners;
                position = end + 1;
                continue;
            }
            QDObjLineCursor line(position, in.lineSafeEnd());
            c = line.next();
            if (!qdObjIsLineEnd(c)) countLine(line, c, n);
            position = line.position();
            continue;
        }
        c = in.next();
        if (c < 0 || (!qdObjIsLineEnd(c) && !countLine(in, c, n))) break;
    }
endOfFile:
    vertexCount = clampCount(n.vertexLines);
    faceCount = clampCount(n.faceLines);
    cornerCount = countCorners ? clampCount(n.corners) : 0;
    uvCount = n.uvCount();
}

namespace
{
// The reciprocals of the first divisors in double precision. For every
// mantissa up to 2^24 and up to 16 decimals, the double product rounded to
// single precision equals the single-precision quotient (checked for all of
// them), and a product is far cheaper than a division.
struct ReciprocalTable
{
    double value[17];
    ReciprocalTable()
    {
        for (int k = 0; k < 17; ++k)
            value[k] = 1.0 / double(qdObjNumberReader::s_divisors.value[k]);
    }
};
const ReciprocalTable s_reciprocals;

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "digitRun reads eight characters as one little-endian word"
#endif

// Leading decimal digits among the eight bytes at p: returns their count and
// puts their value in 'value'. Bytes after the first non-digit do not matter,
// so a scan that stops inside the data may look at a word that goes past it.
inline int digitRun(const unsigned char* p, std::uint64_t& value)
{
    // Integer parts are mostly one digit: that case skips the word folding.
    if (!qdObjIsDigit(p[1]))
    {
        value = qdObjIsDigit(p[0]) ? std::uint64_t(p[0] - '0') : 0;
        return qdObjIsDigit(p[0]) ? 1 : 0;
    }
    std::uint64_t x;
    memcpy(&x, p, 8);
    const std::uint64_t high = 0xF0F0F0F0F0F0F0F0ull, threes = 0x3030303030303030ull;
    std::uint64_t nonDigit =
        ((x & high) ^ threes) | (((x + 0x0606060606060606ull) & high) ^ threes);
    int n = nonDigit ? __builtin_ctzll(nonDigit) >> 3 : 8;
    if (n == 0)
    {
        value = 0;
        return 0;
    }
    // Little-endian: the first character is the lowest byte. Dropping the bytes
    // after the run leaves leading zeros, then pairs, quads and the eight fold.
    std::uint64_t d = (x - threes) << (8 * (8 - n));
    d = (d * 10 + (d >> 8)) & 0x00FF00FF00FF00FFull;
    d = (d * 100 + (d >> 16)) & 0x0000FFFF0000FFFFull;
    value = (d * 10000 + (d >> 32)) & 0xFFFFFFFFull;
    return n;
}

const std::uint64_t s_powersOfTen[9] = {1,      10,      100,      1000,     10000,
                                        100000, 1000000, 10000000, 100000000};

// Up to sixteen digits as two runs; false when the digits go on beyond.
inline bool digitRun16(const unsigned char*& p, std::uint64_t& value, int& count)
{
    count = digitRun(p, value);
    p += count;
    if (count < 8) return true;
    std::uint64_t more;
    int n = digitRun(p, more);
    p += n;
    value = value * s_powersOfTen[n] + more;
    count += n;
    return n < 8;
}

// The first byte from p on that is neither a digit nor "/" (the normal index
// of a corner, which is passed over), sixteen bytes at a time: a line always
// ends in a byte of neither kind, and the buffer has padding after its data.
inline const unsigned char* pastDigitsAndSlashes(const unsigned char* p)
{
#if defined(__SSE2__) || defined(_M_X64)
    for (;; p += 16)
    {
        // "/" and the digits are the bytes 0x2F to 0x39; signed comparisons
        // leave bytes from 0x80 on outside.
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const unsigned inside = unsigned(_mm_movemask_epi8(_mm_and_si128(
            _mm_cmpgt_epi8(x, _mm_set1_epi8('/' - 1)), _mm_cmplt_epi8(x, _mm_set1_epi8('9' + 1)))));
        if (inside != 0xFFFF) return p + __builtin_ctz(~inside);
    }
#else
    while (qdObjIsDigit(*p) || *p == '/')
        ++p;
    return p;
#endif
}

// Element ceiling of the output arrays, whose sizes are ints.
const long long s_maxElements = INT_MAX / 2;

// Appends to an array whose capacity was sized from the counting pass, growing
// it when the file holds more than was counted.
template <typename T> class GrowingOutput
{
public:
    GrowingOutput(QDArray<T>& array, bool used) : m_array(array), m_capacity(array.capacity())
    {
        if (used) m_array.clear();
    }

    // Room for n more elements; false only at the int size ceiling.
    bool reserve(long long n) { return m_size + n <= m_capacity || grow(m_size + n); }
    void put(const T& value)
    {
        m_array.push_back(value);
        ++m_size;
    }
    void add(const T& value)
    {
        if (reserve(1)) put(value);
    }
    void put4(const T& a, const T& b, const T& c, const T& d)
    {
        put(a);
        put(b);
        put(c);
        put(d);
    }

    // Gives back storage that growth or overstated header counts left mostly
    // unused. Capacity that was reserved but never written holds no memory, so
    // a smaller surplus is not worth copying the array for.
    void finish()
    {
        if (m_array.capacity() - m_array.size() > m_array.size() + 1024)
        {
            QDArray<T> exact(m_array);
            m_array.swap(exact);
        }
    }

private:
    bool grow(long long needed)
    {
        if (needed > s_maxElements) return false;
        long long grown = m_capacity + m_capacity / 2 + 64;
        m_array.reserve(
            int(needed > grown ? needed : (grown < s_maxElements ? grown : s_maxElements)));
        m_capacity = m_array.capacity();
        return true;
    }

    QDArray<T>& m_array;
    long long m_capacity;
    long long m_size = 0;
};

// The parsing pass. Each line is read through a cursor: QDObjLineCursor when
// the whole line is already in the buffer (no end checks), the refilling
// reader itself for a line that straddles two fills. Both run the same code.
class ObjParser
{
public:
    ObjParser(FILE* file, unsigned long bufferSize, QDTivMesh& mesh, bool readUVs,
              char* materialName, int materialNameSize)
        : m_in(file, bufferSize), m_readUVs(readUVs), m_vertices(mesh.m_vertices, true),
          m_slots(mesh.m_faceVertexIndices, true), m_uvs(mesh.m_uniqueUVs, readUVs),
          m_uvSlots(mesh.m_cornerUVIndices, readUVs), m_materialName(materialName),
          m_materialNameSize(materialNameSize)
    {
        m_vertexList.reserve(5);
        m_uvList.reserve(5);
        if (m_materialName && m_materialNameSize > 0)
            m_materialName[0] = 0;
        else
            m_materialName = nullptr;
    }

    void run()
    {
        for (;;)
        {
            const unsigned char*& position = m_in.position();
            const unsigned char* p = position;
            const unsigned char* const safeEnd = m_in.lineSafeEnd();
            while (p < safeEnd)
            {
                if (const unsigned char* next = usualLine(p))
                {
                    p = next;
                    continue;
                }
                // A material name ends only at a LF, which the line-safe end
                // does not promise, so that one line takes the checked path.
                if (*p == 'u' && wantsMaterialName()) break;
                QDObjLineCursor line(p, safeEnd);
                readLine(line);
                p = line.position();
            }
            position = p;
            if (!readLine(m_in)) break;
        }
        m_vertices.finish();
        m_slots.finish();
        if (m_readUVs)
        {
            m_uvs.finish();
            m_uvSlots.finish();
        }
    }

private:
    bool wantsMaterialName() const { return m_materialName && m_materialName[0] == 0; }

    // One line, from its first byte; false at the end of the file.
    template <class In> bool readLine(In& in)
    {
        switch (int c = in.next())
        {
        case -1:
            return false;
        case '\n':
        case '\r':
            return true;
        case 'v':
            return vertexLine(in);
        case 'f':
            return faceLine(in);
        case 'u':
            return materialLine(in);
        default:
            return finishLine(in, c);
        }
    }

    // The usual shape of a number, "-12.345678" ended by a blank or a line end
    // with at most 24 bits of digits, read a word at a time from p (its first
    // byte, sign included): the same bits as the digit-by-digit reading. On
    // success p is left on the ending byte; anything else (an exponent, a
    // longer mantissa, a bad byte) returns false.
    __attribute__((always_inline)) static bool quickNumber(const unsigned char*& p, float& value)
    {
        const unsigned char* q = p;
        float sign = 1.0f;
        if (*q == '-' || *q == '+') sign = *q++ == '-' ? -1.0f : 1.0f;
        std::uint64_t mantissa = 0, fraction = 0;
        int digits = 0, decimals = 0;
        if (!digitRun16(q, mantissa, digits)) return false;
        if (*q == '.' && !digitRun16(++q, fraction, decimals)) return false;
        if (digits + decimals > 16 || !(qdObjIsBlank(*q) || qdObjIsLineEnd(*q))) return false;
        for (int k = decimals; k > 0; k -= 8)
            mantissa *= s_powersOfTen[k > 8 ? 8 : k];
        mantissa += fraction;
        if (mantissa > 16777216) return false;
        value = float(double(int(mantissa)) * s_reciprocals.value[decimals]) * sign;
        p = q;
        return true;
    }

    static int number(QDObjLineCursor& in, int c, float& value)
    {
        const unsigned char* p = in.position() - 1;
        if (quickNumber(p, value))
        {
            in.setPosition(p + 1);
            return *p;
        }
        return qdObjReadNumber(in, c, value);
    }

    // A line that straddles two fills has no whole number in view.
    template <class In> static int number(In& in, int c, float& value)
    {
        return qdObjReadNumber(in, c, value);
    }

    __attribute__((always_inline)) void storePosition(float value)
    {
        ++m_positionNumbers;
        m_position[m_positionComponent++] = value;
        if (m_positionComponent == 3)
        {
            m_positionComponent = 0;
            if (m_vertices.reserve(1))
                m_vertices.put(QDVector3f(m_position[0], m_position[1], m_position[2]));
        }
    }

    __attribute__((always_inline)) void storeUV(float value)
    {
        m_uv[m_uvComponent++] = value;
        if (m_uvComponent == 2)
        {
            m_uvComponent = 0;
            if (m_uvs.reserve(1)) m_uvs.put(QDVector2f(m_uv[0], m_uv[1]));
        }
    }

    // The lines of nearly every large file, "v x y z", "vt u v" and faces of
    // three or four corners, each read in one go when it lies whole in the
    // buffer at p. Returns the start of the next line, or null with nothing
    // read for any other line.
    __attribute__((always_inline)) const unsigned char* usualLine(const unsigned char* p)
    {
        float value[3];
        const unsigned char* end;
        if (p[0] == 'f') return usualFaceLine(p + 1);
        if (p[0] != 'v') return nullptr;
        // "vn", "vp" and the like: a letter other than "t" right after the "v"
        // skips the line.
        if (p[1] > '9' && p[1] != 't') return qdObjFindLineEnd(p + 2, m_in.lineSafeEnd()) + 1;
        // Whole vectors only when no earlier short line left one half filled.
        if (p[1] == ' ')
        {
            if (m_positionComponent != 0 ||
                !(end = qdObjQuickNumbers<3>(p + 1, value, m_positionShapes)))
                return nullptr;
            m_positionNumbers += 3;
            m_vertices.add(QDVector3f(value[0], value[1], value[2]));
            return end + 1;
        }
        if (p[1] != 't' || !m_readUVs || m_uvComponent != 0 ||
            !(end = qdObjQuickNumbers<2>(p + 2, value, m_uvShapes)))
            return nullptr;
        m_uvs.add(QDVector2f(value[0], value[1]));
        return end + 1;
    }

    // A whole "v" or "vt" line of numbers with blanks between them and
    // nothing else, read along the line in one go and stored as the general
    // reading would store it; any other line is left untouched for that one.
    bool quickVertexLine(QDObjLineCursor& in)
    {
        const unsigned char* p = in.position();
        const bool texture = *p == 't';
        if (texture && !m_readUVs) return false;
        p += texture;
        const int count = texture ? 2 : 3;
        float value[3];
        const unsigned char* end = wordWiseNumbers(p, count, value);
        if (!end) return false;
        in.setPosition(end + 1);
        // Whole vectors when no earlier short line left a vector half filled:
        // storing the parts one float at a time and reading them back as a
        // vector stalls the store forwarding on every line.
        if (texture && m_uvComponent == 0)
            m_uvs.add(QDVector2f(value[0], value[1]));
        else if (!texture && m_positionComponent == 0)
        {
            m_positionNumbers += 3;
            m_vertices.add(QDVector3f(value[0], value[1], value[2]));
        }
        else
            for (int k = 0; k < count; ++k)
                texture ? storeUV(value[k]) : storePosition(value[k]);
        return true;
    }

    // The numbers of a line that the whole-line reader refused (numbers
    // without a dot or with more digits, a plus sign, tabs, a long line), one
    // after the other along the line; null for a line of any other shape.
    static const unsigned char* wordWiseNumbers(const unsigned char* p, int count, float* value)
    {
        for (int k = 0; k < count; ++k)
        {
            if (!qdObjIsBlank(*p)) return nullptr;
            do
                ++p;
            while (qdObjIsBlank(*p));
            const int c = *p;
            if (!(qdObjIsDigit(c) || c == '-' || c == '+' || c == '.') || !quickNumber(p, value[k]))
                return nullptr;
        }
        while (qdObjIsBlank(*p))
            ++p;
        return qdObjIsLineEnd(*p) ? p : nullptr;
    }

    bool vertexLine(QDObjLineCursor& in)
    {
        return quickVertexLine(in) || vertexLine<QDObjLineCursor>(in);
    }

    // "v" and "vt" lines; the "v" has been read.
    template <class In> bool vertexLine(In& in)
    {
        bool texture = false;
        int numbers = 0;
        int c = in.next();
        for (;;)
        {
            if (qdObjIsBlank(c))
            {
                c = in.next();
                continue;
            }
            if (c < 0) return false;
            if (qdObjIsLineEnd(c)) return true;
            if (qdObjIsDigit(c) || c == '-' || c == '+' || c == '.')
            {
                // A w weight, vertex colours or a third texture number are ignored.
                if (numbers >= (texture ? 2 : 3)) return finishLine(in, c);
                ++numbers;
                float value = 0.0f;
                c = number(in, c, value);
                if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) return finishLine(in, c);
                if (texture)
                    storeUV(value);
                else
                    storePosition(value);
                continue;
            }
            if (c == 't' && m_readUVs)
            {
                texture = true;
                c = in.next();
                continue;
            }
            return finishLine(in, c);
        }
    }

    // Reads the digits of an index from the current byte c; returns the byte
    // after them. 'empty' tells that there was no digit.
    template <class In> static int index(In& in, int c, long long& value, bool& empty)
    {
        value = 0;
        empty = !qdObjIsDigit(c);
        for (; qdObjIsDigit(c); c = in.next())
            value = accumulateDigit(value, c);
        return c;
    }

    static int index(QDObjLineCursor& in, int c, long long& value, bool& empty)
    {
        const unsigned char* p = in.position() - 1;
        std::uint64_t digits;
        int n = digitRun(p, digits);
        if (n == 8) return index<QDObjLineCursor>(in, c, value, empty);
        value = (long long)digits;
        empty = n == 0;
        in.setPosition(p + n + 1);
        return p[n];
    }

    // A negative reference adds the count of positions read instead of taking
    // the magnitude from it; files from the host never use one.
    int vertexIndex(long long value, bool negative) const
    {
        long long index = negative && value != 0 ? m_positionNumbers / 3 + value : value - 1;
        return index > INT_MAX ? INT_MAX : int(index);
    }

    // A whole face line of unsigned corners "a", "a/b", "a/b/c" or "a//c" of at
    // most seven digits each, and at most s_quickCorners of them, when no
    // abandoned line has left corners behind, is read in one go into local
    // lists; any other line is left untouched for the general reading, with the
    // corner lists as they were.
    static const int s_quickCorners = 32;
    bool quickFaceLine(QDObjLineCursor& in)
    {
        const unsigned char* next = quickFace(in.position());
        if (next) in.setPosition(next);
        return next != nullptr;
    }

    // quickFaceLine on the line whose "f" is just before p; returns the start
    // of the next line, or null with nothing read. The corners are found 64
    // bytes at a time where the line's shape allows, else one after the other.
    const unsigned char* quickFace(const unsigned char* p, const QDObjLineBits* first = nullptr)
    {
        if (!m_vertexList.empty() || !m_uvList.empty()) return nullptr;
        int vertex[s_quickCorners], texture[s_quickCorners];
        int count, textured;
        const unsigned char* end =
            qdObjQuickFaceCorners(p, vertex, texture, s_quickCorners, count, textured, first);
        if (!end) return quickFaceAlong(p);
        emitLocalFace(vertex, count, texture, textured);
        return end + 1;
    }

    // A face line of more than four corners or longer than 64 bytes; the
    // corner lists are empty.
    const unsigned char* longFace(const unsigned char* p, const QDObjLineBits& first)
    {
        int vertex[QDObjFaceShapes::s_corners], texture[QDObjFaceShapes::s_corners];
        int count, textured;
        const unsigned char* end =
            qdObjQuickLongFace(p, first, m_faceShapes, vertex, texture, count, textured);
        if (!end) return quickFace(p, &first);
        emitLocalFace(vertex, count, texture, textured);
        return end + 1;
    }

    const unsigned char* quickFaceAlong(const unsigned char* p)
    {
        if (!m_vertexList.empty() || !m_uvList.empty() || !qdObjIsBlank(*p)) return nullptr;
        int vertex[s_quickCorners], texture[s_quickCorners];
        int count = 0, textured = 0;
        for (;;)
        {
            while (qdObjIsBlank(*p))
                ++p;
            if (qdObjIsLineEnd(*p)) break;
            if (count == s_quickCorners) return nullptr;
            std::uint64_t index;
            int n = digitRun(p, index);
            if (n == 0 || n == 8) return nullptr;
            p += n;
            vertex[count++] = int(index) - 1;
            if (*p == '/')
            {
                n = digitRun(++p, index);
                if (n == 8) return nullptr;
                p += n;
                if (n > 0) texture[textured++] = int(index) - 1;
                if (*p == '/') p = pastDigitsAndSlashes(p + 1);
            }
            if (!qdObjIsBlank(*p) && !qdObjIsLineEnd(*p)) return nullptr;
        }
        emitLocalFace(vertex, count, texture, textured);
        return p + 1;
    }

    bool faceLine(QDObjLineCursor& in)
    {
        return quickFaceLine(in) || faceLine<QDObjLineCursor>(in);
    }

    // The byte classes of a face line's first 64 bytes are found once: a
    // line of three or four corners that ends within them goes straight to
    // the face slots, any other starts the window-by-window reading with them.
    // p is the byte after the "f"; returns the start of the next line, or null
    // with nothing read. When no abandoned line has left corners behind, the
    // corner lists stay empty, as emitting the face would leave them.
    __attribute__((always_inline)) const unsigned char* usualFaceLine(const unsigned char* p)
    {
        if (!m_vertexList.empty() || !m_uvList.empty()) return nullptr;
        QDObjCorners corners;
        const unsigned char* end = qdObjLastShapeCorners(p, corners, m_cornerShapes);
        if (!end) return shapedFaceLine(p);
        emitCorners(corners);
        return end + 1;
    }

    // usualFaceLine for a line not shaped as the last one.
    __attribute__((noinline)) const unsigned char* shapedFaceLine(const unsigned char* p)
    {
        const QDObjLineBits bits = qdObjLineBits<true>(p);
        QDObjCorners corners;
        const unsigned char* end = qdObjQuickCorners(p, bits, corners, m_cornerShapes);
        if (!end) return longFace(p, bits);
        emitCorners(corners);
        return end + 1;
    }

    __attribute__((always_inline)) void emitCorners(const QDObjCorners& corners)
    {
        const bool writeUVs = corners.textured && m_readUVs;
        if (m_slots.reserve(4) && (!writeUVs || m_uvSlots.reserve(4)))
        {
            const bool quad = corners.count == 4;
            m_slots.put4(corners.vertex[0], corners.vertex[1], corners.vertex[2],
                         quad ? corners.vertex[3] : -1);
            // A triangle's fourth texture slot holds 1, not -1.
            if (writeUVs)
                m_uvSlots.put4(corners.texture[0], corners.texture[1], corners.texture[2],
                               quad ? corners.texture[3] : 1);
        }
    }

    // "f" lines; the "f" has been read. The corner lists are cleared only when
    // a face is emitted, so a line abandoned part-way hands its corners on.
    template <class In> bool faceLine(In& in)
    {
        int c = in.next();
        if (!qdObjIsBlank(c)) return finishLine(in, c);
        c = in.next();
        for (;;)
        {
            while (qdObjIsBlank(c))
                c = in.next();
            if (qdObjIsLineEnd(c)) return emitFace();
            bool negative = c == '-';
            if (c == '-' || c == '+')
                c = in.next();
            else if (!qdObjIsDigit(c))
                return finishLine(in, c);
            long long value;
            bool empty;
            c = index(in, c, value, empty);
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c) && c != '/') return finishLine(in, c);
            m_vertexList.push_back(vertexIndex(value, negative));
            if (c != '/') continue;
            c = index(in, in.next(), value, empty);
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c) && c != '/') return finishLine(in, c);
            if (!empty) m_uvList.push_back(int(value - 1));
            if (c != '/') continue;
            do
                c = in.next();
            while (qdObjIsDigit(c) || c == '/');
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) return finishLine(in, c);
        }
    }

    bool emitFace()
    {
        const int n = m_vertexList.size();
        const bool withUVs = m_uvList.size() == n;
        emitFace(m_vertexList.begin(), n, m_uvList.begin(), m_uvList.size());
        m_vertexList.clear();
        if (withUVs) m_uvList.clear();
        return true;
    }

    // A face read into local lists: emitted as the corner lists would emit
    // it, and the texture indices of a face that lacks some stay for the next
    // face, as they would stay in the list.
    void emitLocalFace(const int* vertex, int count, const int* texture, int textured)
    {
        emitFace(vertex, count, texture, textured);
        if (textured != count)
            for (int k = 0; k < textured; ++k)
                m_uvList.push_back(texture[k]);
    }

    // The slots of a face of n corners v, with the texture indices t when
    // there are as many of them.
    void emitFace(const int* v, int n, const int* t, int textured)
    {
        const bool writeUVs = textured == n && m_readUVs;
        const long long slots = n == 3 || n == 4 ? 4 : (n > 4 ? 4LL * (n - 2) : 0);
        if (slots == 0 || !m_slots.reserve(slots) || (writeUVs && !m_uvSlots.reserve(slots)))
            return;
        if (n <= 4)
        {
            m_slots.put4(v[0], v[1], v[2], n == 4 ? v[3] : -1);
            // A triangle's fourth texture slot holds 1, not -1.
            if (writeUVs) m_uvSlots.put4(t[0], t[1], t[2], n == 4 ? t[3] : 1);
            return;
        }
        for (int k = 2; k < n; ++k)
        {
            m_slots.put4(v[0], v[k - 1], v[k], -1);
            if (writeUVs) m_uvSlots.put4(t[0], t[k - 1], t[k], -1);
        }
    }

    // "usemtl" lines; the "u" has been read. Only a LF ends the name, so a CR
    // of a CR LF file becomes part of it.
    template <class In> bool materialLine(In& in)
    {
        static const char* s_useMaterialStr = "usemtl";
        if (!wantsMaterialName()) return in.skipLine() >= 0;
        int c;
        if (!matchWord(in, s_useMaterialStr + 1, c)) return finishLine(in, c);
        int length = 0;
        for (;;)
        {
            c = in.next();
            if (c < 0) return false;
            if (c == '\n') return true;
            if (qdObjIsBlank(c) || length >= m_materialNameSize - 1) continue;
            m_materialName[length++] = char(c);
            m_materialName[length] = 0;
        }
    }

    QDObjByteReader m_in;
    const bool m_readUVs;
    GrowingOutput<QDVector3f> m_vertices;
    GrowingOutput<int> m_slots;
    GrowingOutput<QDVector2f> m_uvs;
    GrowingOutput<int> m_uvSlots;
    char* m_materialName;
    const int m_materialNameSize;
    QDArray<int> m_vertexList;
    QDArray<int> m_uvList;
    QDObjNumberShapes<3> m_positionShapes;
    QDObjNumberShapes<2> m_uvShapes;
    QDObjCornerShapes m_cornerShapes;
    QDObjFaceShapes m_faceShapes;
    long long m_positionNumbers = 0;
    int m_positionComponent = 0;
    int m_uvComponent = 0;
    float m_position[3] = {0.0f, 0.0f, 0.0f};
    float m_uv[2] = {0.0f, 0.0f};
};
} // namespace

void quickReadTivMesh(FILE* file, QDTivMesh& mesh, bool readUVs, char* materialName,
                      int materialNameSize, unsigned long bufferSize)
{
    ObjParser(file, bufferSize, mesh, readUVs, materialName, materialNameSize).run();
}
