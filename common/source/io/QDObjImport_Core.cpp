#include "QDObjImport.h"

#include "QDObjByteReader.h"
#include "QDTivMesh.h"

#include <climits>
#include <cmath>
#include <cstdlib>

char* QDObjImport::s_fileBuffer = nullptr;
char* QDObjImport::s_endFileBuffer = nullptr;
char* QDObjImport::s_curBufferPos = nullptr;

void QDObjImport::myInitFileBuffer()
{
    s_fileBuffer = static_cast<char*>(malloc(1048576));
    s_endFileBuffer = s_fileBuffer;
    s_curBufferPos = s_fileBuffer;
}

void QDObjImport::myCloseFileBuffer()
{
    free(s_fileBuffer);
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
inline bool finishLine(QDObjByteReader& in, int c)
{
    if (qdObjIsLineEnd(c)) return true;
    if (c < 0) return false;
    return in.skipLine() >= 0;
}

// Reads the rest of a header keyword; true when every byte matched. On a
// mismatch c holds the offending byte.
inline bool matchWord(QDObjByteReader& in, const char* word, int& c)
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
bool countLine(QDObjByteReader& in, int c, StatCounts& n)
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
} // namespace

void QDObjImport::quickReadStats(FILE* file, int& vertexCount, int& faceCount, int& cornerCount,
                                 int& uvCount, unsigned long bufferSize)
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
    // Counting phase, c being the first byte of a data line.
    for (;;)
    {
        if (!countLine(in, c, n)) break;
        if (n.vertexHeader > 0 && n.faceHeader > 0)
        {
            vertexCount = clampCount(n.vertexHeader);
            faceCount = clampCount(n.faceHeader);
            cornerCount = clampCount(4 * n.faceHeader);
            uvCount = n.uvCount();
            return;
        }
        do
            c = in.next();
        while (qdObjIsLineEnd(c));
        if (c < 0) break;
    }
endOfFile:
    vertexCount = clampCount(n.vertexLines);
    faceCount = clampCount(n.faceLines);
    cornerCount = clampCount(n.corners);
    uvCount = n.uvCount();
}

namespace
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
const DivisorTable s_divisors;

// Largest value for which value * 10 + 9 still fits the 24-bit float mantissa:
// below it, integer and single-precision accumulation give the same bits.
const unsigned int s_exactMantissaLimit = 1677720;

// Element ceiling of the output arrays, whose sizes are ints.
const long long s_maxElements = INT_MAX / 2;

// Writes into an array through a running index, using its size on entry as
// capacity and growing it when the file holds more than was counted.
template <typename T> class GrowingOutput
{
public:
    explicit GrowingOutput(QDArray<T>& array) : m_array(array), m_capacity(array.size()) {}

    // Room for n more elements from the current position.
    bool reserve(long long n)
    {
        long long needed = m_count + n;
        if (needed <= m_capacity) return true;
        if (needed > s_maxElements) return false;
        long long grown = m_capacity + m_capacity / 2 + 64;
        long long capacity =
            needed > grown ? needed : (grown < s_maxElements ? grown : s_maxElements);
        m_array.resize(int(capacity));
        m_capacity = capacity;
        return true;
    }
    void put(const T& value) { m_array.begin()[m_count++] = value; }
    long long count() const { return m_count; }

    // Cuts the array to what was written and gives back storage that growth or
    // overstated header counts left unused; an exact count costs no copy.
    void finish()
    {
        m_array.resize(int(m_count));
        if (m_array.capacity() - m_array.size() > m_array.size() / 8 + 1024)
        {
            QDArray<T> exact(int(m_count), T{});
            for (int i = 0; i < int(m_count); ++i)
                exact[i] = m_array[i];
            m_array.swap(exact);
        }
    }

private:
    QDArray<T>& m_array;
    long long m_capacity;
    long long m_count = 0;
};

class ObjParser
{
public:
    ObjParser(FILE* file, unsigned long bufferSize, QDTivMesh& mesh, bool readUVs,
              char* materialName, int materialNameSize)
        : m_in(file, bufferSize), m_readUVs(readUVs), m_vertices(mesh.m_vertices),
          m_slots(mesh.m_faceVertexIndices), m_uvs(mesh.m_uniqueUVs),
          m_uvSlots(mesh.m_cornerUVIndices), m_materialName(materialName),
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
            int c = m_in.next();
            bool more;
            switch (c)
            {
            case -1:
                more = false;
                break;
            case '\n':
            case '\r':
                more = true;
                break;
            case 'v':
                more = vertexLine();
                break;
            case 'f':
                more = faceLine();
                break;
            case 'u':
                more = materialLine();
                break;
            default:
                more = m_in.skipLine() >= 0;
                break;
            }
            if (!more) break;
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
    bool skipRest(int c) { return finishLine(m_in, c); }

    // Reads one number begun by c ("+", "-", "." or a digit). Returns the byte
    // that ended it; value is set only when that byte is a blank or a line end.
    int number(int c, float& value)
    {
        float sign = 1.0f;
        if (c == '-' || c == '+')
        {
            sign = c == '-' ? -1.0f : 1.0f;
            c = m_in.next();
        }
        unsigned int mantissa = 0;
        float wide = 0.0f;
        bool isWide = false;
        int decimals = 0;
        bool afterPoint = false;
        for (;; c = m_in.next())
        {
            if (qdObjIsDigit(c))
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
                if (afterPoint && decimals < 47) ++decimals;
            }
            else if (c == '.' && !afterPoint)
                afterPoint = true;
            else
                break;
        }
        bool hasPower = false;
        int exponentSign = 1;
        int exponent = 0;
        if (c == 'e')
        {
            c = m_in.next();
            if (c == '+' || c == '-')
            {
                hasPower = true;
                exponentSign = c == '-' ? -1 : 1;
                c = m_in.next();
            }
            while (qdObjIsDigit(c))
            {
                hasPower = true;
                if (exponent < 100000) exponent = exponent * 10 + (c - '0');
                c = m_in.next();
            }
        }
        if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) return c;
        float v = isWide ? wide : float(mantissa);
        v = v / s_divisors.value[decimals] * sign;
        if (hasPower) v = float(double(v) * pow(10.0, double(exponentSign * exponent)));
        value = v;
        return c;
    }

    void storePosition(float value)
    {
        m_position[m_positionNumbers % 3] = value;
        ++m_positionNumbers;
        if (m_positionNumbers % 3 == 0 && m_vertices.reserve(1))
            m_vertices.put(QDVector3f(m_position[0], m_position[1], m_position[2]));
    }

    void storeUV(float value)
    {
        m_uv[m_uvNumbers % 2] = value;
        ++m_uvNumbers;
        if (m_uvNumbers % 2 == 0 && m_uvs.reserve(1)) m_uvs.put(QDVector2f(m_uv[0], m_uv[1]));
    }

    // "v" and "vt" lines; the "v" has been read.
    bool vertexLine()
    {
        bool texture = false;
        int numbers = 0;
        int c = m_in.next();
        for (;;)
        {
            if (qdObjIsBlank(c))
            {
                c = m_in.next();
                continue;
            }
            if (c < 0) return false;
            if (qdObjIsLineEnd(c)) return true;
            if (qdObjIsDigit(c) || c == '-' || c == '+' || c == '.')
            {
                // A w weight, vertex colours or a third texture number are ignored.
                if (numbers >= (texture ? 2 : 3)) return skipRest(c);
                ++numbers;
                float value = 0.0f;
                c = number(c, value);
                if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) return skipRest(c);
                if (texture)
                    storeUV(value);
                else
                    storePosition(value);
                continue;
            }
            if (c == 't' && m_readUVs)
            {
                texture = true;
                c = m_in.next();
                continue;
            }
            return skipRest(c);
        }
    }

    // A negative reference adds the count of positions read instead of taking
    // the magnitude from it; files from the host never use one.
    int vertexIndex(long long value, bool negative) const
    {
        long long index = negative && value != 0 ? m_positionNumbers / 3 + value : value - 1;
        return index > INT_MAX ? INT_MAX : int(index);
    }

    // "f" lines; the "f" has been read. The corner lists are cleared only when
    // a face is emitted, so a line abandoned part-way hands its corners on.
    bool faceLine()
    {
        int c = m_in.next();
        if (!qdObjIsBlank(c)) return skipRest(c);
        c = m_in.next();
        for (;;)
        {
            while (qdObjIsBlank(c))
                c = m_in.next();
            if (qdObjIsLineEnd(c)) return emitFace();
            bool negative = c == '-';
            if (c == '-' || c == '+')
                c = m_in.next();
            else if (!qdObjIsDigit(c))
                return skipRest(c);
            long long value = 0;
            while (qdObjIsDigit(c))
            {
                value = accumulateDigit(value, c);
                c = m_in.next();
            }
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c) && c != '/') return skipRest(c);
            m_vertexList.push_back(vertexIndex(value, negative));
            if (c != '/') continue;
            c = m_in.next();
            value = 0;
            bool empty = true;
            while (qdObjIsDigit(c))
            {
                value = accumulateDigit(value, c);
                empty = false;
                c = m_in.next();
            }
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c) && c != '/') return skipRest(c);
            if (!empty) m_uvList.push_back(int(value - 1));
            if (c != '/') continue;
            do
                c = m_in.next();
            while (qdObjIsDigit(c) || c == '/');
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) return skipRest(c);
        }
    }

    bool emitFace()
    {
        const int n = m_vertexList.size();
        const bool withUVs = m_uvList.size() == n;
        const int* v = m_vertexList.begin();
        const int* t = m_uvList.begin();
        const bool writeUVs = withUVs && m_readUVs;
        const long long slots = n == 3 || n == 4 ? 4 : (n > 4 ? 4LL * (n - 2) : 0);
        if (slots > 0 && m_slots.reserve(slots) && (!writeUVs || m_uvSlots.reserve(slots)))
        {
            if (n <= 4)
            {
                for (int k = 0; k < 3; ++k)
                    m_slots.put(v[k]);
                m_slots.put(n == 4 ? v[3] : -1);
                if (writeUVs)
                {
                    for (int k = 0; k < 3; ++k)
                        m_uvSlots.put(t[k]);
                    // A triangle's fourth texture slot holds 1, not -1.
                    m_uvSlots.put(n == 4 ? t[3] : 1);
                }
            }
            else
            {
                for (int k = 2; k < n; ++k)
                {
                    m_slots.put(v[0]);
                    m_slots.put(v[k - 1]);
                    m_slots.put(v[k]);
                    m_slots.put(-1);
                    if (writeUVs)
                    {
                        m_uvSlots.put(t[0]);
                        m_uvSlots.put(t[k - 1]);
                        m_uvSlots.put(t[k]);
                        m_uvSlots.put(-1);
                    }
                }
            }
        }
        m_vertexList.clear();
        if (withUVs) m_uvList.clear();
        return true;
    }

    // "usemtl" lines; the "u" has been read. Only a LF ends the name, so a CR
    // of a CR LF file becomes part of it.
    bool materialLine()
    {
        if (!m_materialName || m_materialName[0] != 0) return m_in.skipLine() >= 0;
        static const char* s_useMaterialStr = "usemtl";
        int c;
        if (!matchWord(m_in, s_useMaterialStr + 1, c)) return skipRest(c);
        int length = 0;
        for (;;)
        {
            c = m_in.next();
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
    long long m_positionNumbers = 0;
    long long m_uvNumbers = 0;
    float m_position[3] = {0.0f, 0.0f, 0.0f};
    float m_uv[2] = {0.0f, 0.0f};
};
} // namespace

void quickReadTivMesh(FILE* file, QDTivMesh& mesh, bool readUVs, char* materialName,
                      int materialNameSize, unsigned long bufferSize)
{
    ObjParser(file, bufferSize, mesh, readUVs, materialName, materialNameSize).run();
}
