#include "QDTivMesh.h"

#include "QDBinaryFile.h"
#include "QDDiskServer.h"
#include "QDReplacingFile.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>

namespace
{
const char s_digitPairs[] = "0001020304050607080910111213141516171819202122232425262728293031323334"
                            "3536373839404142434445464748495051525354555657585960616263646566676869"
                            "707172737475767778798081828384858687888990919293949596979899";

// Exactly count digits of v, ending just before end; the leading ones are zeros
// when v is shorter. Returns where they start. 32-bit steps, so that a 32-bit
// build does no 64-bit division per digit.
char* writeDigitsBefore(char* end, uint32_t v, int count)
{
    for (; count >= 2; count -= 2, v /= 100)
    {
        end -= 2;
        memcpy(end, s_digitPairs + 2 * (v % 100), 2);
    }
    if (count) *--end = char('0' + v % 10);
    return end;
}

int digitCount(uint32_t v)
{
    int n = 1;
    for (; v >= 10; v /= 10)
        ++n;
    return n;
}

// v without leading zeros; beyond 32 bits, nine digits at a time from the
// bottom.
char* writeUnsigned(char* out, uint64_t v)
{
    if (v <= 0xFFFFFFFFu)
    {
        const int n = digitCount(uint32_t(v));
        writeDigitsBefore(out + n, uint32_t(v), n);
        return out + n;
    }
    uint32_t chunks[3];
    int count = 0;
    for (; v > 0xFFFFFFFFu; v /= 1000000000u)
        chunks[count++] = uint32_t(v % 1000000000u);
    out = writeUnsigned(out, v);
    while (count > 0)
    {
        writeDigitsBefore(out + 9, chunks[--count], 9);
        out += 9;
    }
    return out;
}

// m * 2^shift (m below 2^24, shift up to 104) in decimal. Beyond 64 bits, the
// value is held in 32-bit words and divided by 10^9 from the top word down.
char* writeShifted(char* out, uint32_t m, int shift)
{
    if (shift <= 40) return writeUnsigned(out, uint64_t(m) << shift);
    uint32_t words[5] = {0, 0, 0, 0, 0};
    const uint64_t placed = uint64_t(m) << (shift % 32);
    words[shift / 32] = uint32_t(placed);
    words[shift / 32 + 1] = uint32_t(placed >> 32);
    uint32_t chunks[5];
    int chunkCount = 0;
    for (int top = 4; top >= 0;)
    {
        uint64_t rest = 0;
        for (int i = top; i >= 0; --i)
        {
            const uint64_t current = (rest << 32) | words[i];
            words[i] = uint32_t(current / 1000000000u);
            rest = current % 1000000000u;
        }
        chunks[chunkCount++] = uint32_t(rest);
        while (top >= 0 && words[top] == 0)
            --top;
    }
    out = writeUnsigned(out, chunks[--chunkCount]);
    while (chunkCount > 0)
    {
        writeDigitsBefore(out + 9, chunks[--chunkCount], 9);
        out += 9;
    }
    return out;
}

const uint64_t s_powersOf5[16] = {1ull, 5ull, 25ull, 125ull, 625ull, 3125ull, 15625ull, 78125ull,
                                  390625ull, 1953125ull, 9765625ull, 48828125ull, 244140625ull,
                                  1220703125ull, 6103515625ull, 30517578125ull};

// printf's "%.<decimals>f" (decimals 1 to 15) of the value widened to double,
// with a point whatever the locale: the exact binary value rounded to nearest,
// ties to even, as the C library rounds. A float is m * 2^-k with m below
// 2^24, so its fraction in units of 10^-decimals is r * 5^decimals /
// 2^(k - decimals), and r * 5^15 stays below 2^59.
char* writeFixed(char* out, float value, int decimals)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof(bits));
    if (bits >> 31) *out++ = '-';
    const int biased = int(bits >> 23) & 0xFF;
    uint32_t m = bits & 0x7FFFFF;
    if (biased == 0xFF)
    {
        memcpy(out, m ? "nan" : "inf", 3);
        return out + 3;
    }
    int k = 149; // subnormal: m * 2^-149
    if (biased != 0)
    {
        m |= 0x800000;
        k = 150 - biased;
    }
    if (k <= 0)
    {
        out = writeShifted(out, m, -k);
        *out++ = '.';
        memset(out, '0', size_t(decimals));
        return out + decimals;
    }
    uint32_t integer = k < 32 ? m >> k : 0;
    const uint64_t scaled = uint64_t(k < 32 ? m & ((1u << k) - 1) : m) * s_powersOf5[decimals];
    const int shift = k - decimals;
    uint64_t units = 0;
    if (shift <= 0)
        units = scaled << -shift;
    else if (shift < 64) // from 64 on, scaled is below half a unit
    {
        units = scaled >> shift;
        const uint64_t rest = scaled & ((uint64_t(1) << shift) - 1);
        const uint64_t half = uint64_t(1) << (shift - 1);
        if (rest > half || (rest == half && (units & 1))) ++units;
    }
    if (units == s_powersOf5[decimals] << decimals)
    {
        ++integer;
        units = 0;
    }
    out = writeUnsigned(out, integer);
    *out++ = '.';
    if (decimals > 8)
    {
        writeDigitsBefore(out + decimals, uint32_t(units % 100000000u), 8);
        units /= 100000000u;
        writeDigitsBefore(out + decimals - 8, uint32_t(units), decimals - 8);
    }
    else
        writeDigitsBefore(out + decimals, uint32_t(units), decimals);
    return out + decimals;
}

// Formats into a buffer flushed to the stream in large writes. Numbers always
// get a point, whatever the process locale says about decimal separators.
class ObjTextWriter
{
public:
    explicit ObjTextWriter(FILE* file) : m_file(file), m_buffer(new char[s_size]) {}
    ~ObjTextWriter() { flush(); }
    ObjTextWriter(const ObjTextWriter&) = delete;
    ObjTextWriter& operator=(const ObjTextWriter&) = delete;

    ObjTextWriter& operator<<(const char* text) { return append(text, strlen(text)); }
    ObjTextWriter& operator<<(const QDString& text)
    {
        return text.isNull() ? *this : append(text.c_str(), size_t(text.length()));
    }
    ObjTextWriter& operator<<(long long value)
    {
        room(32);
        m_used = size_t(std::to_chars(m_buffer.get() + m_used, m_buffer.get() + s_size, value).ptr -
                        m_buffer.get());
        return *this;
    }
    // printf's "%.<decimals>f" of the value widened to double.
    void fixed(float value, int decimals)
    {
        room(64);
        m_used = size_t(writeFixed(m_buffer.get() + m_used, value, decimals) - m_buffer.get());
    }

    void flush()
    {
        if (m_used > 0) QDDiskServer::fileWrite(m_file, m_buffer.get(), m_used);
        m_used = 0;
    }

private:
    static const size_t s_size = 1 << 16;

    void room(size_t n)
    {
        if (s_size - m_used < n) flush();
    }
    ObjTextWriter& append(const char* text, size_t n)
    {
        if (n > s_size - m_used)
        {
            flush();
            if (n > s_size)
            {
                QDDiskServer::fileWrite(m_file, text, n);
                return *this;
            }
        }
        memcpy(m_buffer.get() + m_used, text, n);
        m_used += n;
        return *this;
    }

    FILE* m_file;
    std::unique_ptr<char[]> m_buffer;
    size_t m_used = 0;
};

// The path without its last n characters (all of them when shorter).
QDString withoutTail(const QDString& path, int n)
{
    QDString cut(path);
    int length = cut.length();
    cut.cutFrom(length > n ? length - n : 0);
    return cut;
}

// Writes the one material that names the colour map, beside the OBJ file.
// False when the material file was begun but could not be completed.
bool writeDefaultMaterial(ObjTextWriter& obj, const QDString& objPath, const QDString& textureName,
                          bool withTexture)
{
    QDString mtlPath = withoutTail(objPath, 4) + ".mtl";
    QDReplacingFile file;
    if (!file.open(mtlPath)) return true;
    QDString fileName(mtlPath);
    QDDiskServer::removePathFromFilename(fileName);
    obj << "mtllib " << fileName << "\n"
        << "usemtl defaultMat\n"
        << "\n";
    {
        ObjTextWriter mtl(file.handle());
        mtl << "newmtl defaultMat\n";
        if (withTexture) mtl << "map_Kd " << textureName << "\n";
    }
    return file.commit();
}

// One plain white material per group used; replaces the default material's
// file when the OBJ path ends in ".obj".
bool writeGroupMaterials(ObjTextWriter& obj, const QDString& objPath, const QDBoolArray& used)
{
    QDString mtlPath = withoutTail(objPath, 3) + "mtl";
    QDReplacingFile file;
    if (!file.open(mtlPath)) return true;
    obj << "mtllib " << mtlPath << "\n";
    {
        ObjTextWriter mtl(file.handle());
        for (int g = used.findFirst(true, 0); g >= 0; g = used.findFirst(true, g + 1))
            mtl << "newmtl Mat" << (long long)g << "\n"
                << "Kd 1.0 1.0 1.0\n";
    }
    return file.commit();
}
} // namespace

bool QDTivMesh::saveToObjFile(const QDString& path, bool writeGroups, bool writeSmoothingGroups,
                              bool writeTextureMap, bool writeSecondMap, bool writeThirdMap) const
{
    // Kept in the interface; smoothing groups are never written.
    writeSmoothingGroups = false;
    (void)writeSmoothingGroups;

    // The OBJ, and each material file beside it, replaces its earlier version
    // only once it is whole; a material file that could not be completed
    // fails the export, since the OBJ already names it.
    QDReplacingFile file;
    if (!file.open(path)) return false;
    bool materialsDone = true;
    if (m_textureFileName.empty()) writeTextureMap = false;
    if (m_secondMapFileName.empty()) writeSecondMap = false;
    if (m_thirdMapFileName.empty()) writeThirdMap = false;
    {
        ObjTextWriter obj(file.handle());
        if (writeTextureMap || writeSecondMap || writeThirdMap)
            materialsDone = writeDefaultMaterial(obj, path, m_textureFileName, writeTextureMap);

        for (const QDVector3f& v : m_vertices)
        {
            obj << "v ";
            obj.fixed(v.x(), 15);
            obj << " ";
            obj.fixed(v.y(), 15);
            obj << " ";
            obj.fixed(v.z(), 15);
            obj << "\n";
        }

        const QDArray<QDVector2f>& uvs = getUniqueUVs();
        const QDArray<int>& uvIndices = getUniqueUVIndices();
        const bool hasUVs = uvIndices.size() == m_faceVertexIndices.size();
        if (hasUVs)
            for (const QDVector2f& uv : uvs)
            {
                obj << "vt ";
                obj.fixed(uv.x(), 9);
                obj << " ";
                obj.fixed(uv.y(), 9);
                obj << "\n";
            }

        // Faces beyond the group list (a mesh read from a damaged file) keep
        // the current material.
        const int faceCount = m_faceVertexIndices.size() / 4;
        const int groupCount = m_faceGroups.size() < faceCount ? m_faceGroups.size() : faceCount;
        bool groups = writeGroups && groupCount > 0;
        if (groups)
        {
            groups = false;
            for (int f = 1; f < groupCount && !groups; ++f)
                groups = m_faceGroups[f] != m_faceGroups[0];
        }
        QDBoolArray usedGroups;
        int currentGroup = -1;
        if (groups)
        {
            currentGroup = m_faceGroups[0] + 1;
            usedGroups.reinit(65536, false);
            usedGroups.set(m_faceGroups[0]);
        }

        const int* corner = m_faceVertexIndices.begin();
        const int* uvCorner = hasUVs ? uvIndices.begin() : nullptr;
        for (int f = 0; f < faceCount; ++f, corner += 4)
        {
            if (groups && f < groupCount && m_faceGroups[f] != currentGroup)
            {
                currentGroup = m_faceGroups[f];
                obj << "usemtl Mat" << (long long)currentGroup << "\n";
                usedGroups.set(currentGroup);
            }
            const int corners = corner[3] == -1 ? 3 : 4;
            obj << "f";
            for (int k = 0; k < corners; ++k)
            {
                obj << " " << (long long)corner[k] + 1;
                if (uvCorner) obj << "/" << (long long)uvCorner[4 * f + k] + 1;
            }
            obj << "\n";
        }

        if (groups && materialsDone) materialsDone = writeGroupMaterials(obj, path, usedGroups);
    }
    return materialsDone && file.commit();
}

bool QDTivMesh::saveMapsToXMaxFile(const QDString& path) const
{
    QDBinaryFile file;
    if (!file.open(path, "wb")) return false;
    if (!m_textureFileName.empty())
    {
        file.write(8);
        if (!file.write(m_textureFileName)) return false;
    }
    if (!m_secondMapFileName.empty())
    {
        file.write(9);
        if (!file.write(m_secondMapFileName)) return false;
    }
    if (!m_thirdMapFileName.empty())
    {
        file.write(10);
        file.write(m_thirdMapFactor);
        if (!file.write(m_thirdMapFileName)) return false;
    }
    return file.close();
}
