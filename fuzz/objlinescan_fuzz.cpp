// Reads arbitrary bytes as the rest of a "v" or "vt" line and of an "f" line,
// where a read buffer would hold them, and checks the wide steps of the
// whole-line readers against their byte-at-a-time and word-at-a-time
// references: the byte classes up to the line end, and the number values.
// Whole imports, where these readers meet the reading along the line, are
// checked by objimport_fuzz.

#include "QDObjLineScan.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace
{
void checkBits(const unsigned char* line, bool face)
{
    const QDObjLineBits wide = face ? qdObjLineBits<true>(line) : qdObjLineBits<false>(line);
    const QDObjLineBits byByte = qdObjLineBitsByByte(line, face);
    const std::uint64_t end = byByte.lineEnd, kept = end ? end - 1 : ~0ull;
    if ((wide.lineEnd & (kept | end)) != end || (wide.space & kept) != byByte.space ||
        (wide.mark & kept) != byByte.mark || (wide.valid & kept) != byByte.valid ||
        (wide.minus & kept) != byByte.minus)
        abort();
}

template <int count> void checkNumbers(const unsigned char* line)
{
    qdObjLineScan::Number numbers[count];
    unsigned end;
    if (!qdObjLineScan::lineNumbers<count>(line, numbers, end)) return;
    float wide[count], byWord[count];
    const bool read = qdObjLineScan::numberValues<count>(line, numbers, wide);
    if (read != qdObjLineScan::numberValuesByWord<count>(line, numbers, byWord)) abort();
    if (read && memcmp(wide, byWord, sizeof(wide)) != 0) abort();
}

// The reader that keeps the shapes of earlier lines, across inputs, against the
// one that takes every line apart afresh; each line is read twice, so that the
// second reading finds its shape.
template <int count> void checkShapes(const unsigned char* line)
{
    static QDObjNumberShapes<count> shapes;
    float fresh[count], cached[count];
    const unsigned char* end = qdObjQuickNumbers<count>(line, fresh);
    for (int k = 0; k < 2; ++k)
    {
        if (qdObjQuickNumbers<count>(line, cached, shapes) != end) abort();
        if (end && memcmp(fresh, cached, sizeof(fresh)) != 0) abort();
    }
}
bool sameCorners(const QDObjCorners& a, const QDObjCorners& b)
{
    if (a.count != b.count || a.textured != b.textured) return false;
    for (int k = 0; k < a.count; ++k)
        if (a.vertex[k] != b.vertex[k] || (a.textured && a.texture[k] != b.texture[k]))
            return false;
    return true;
}
// The reader of face lines of up to 128 bytes. With the shapes of earlier
// lines kept across inputs it reads as with none; a line that the
// window-by-window reader reads too, it reads alike. (It also reads corners
// longer than a window, which that one refuses; whole imports check those
// against the reading along the line.)
struct LongFace
{
    const unsigned char* end;
    int vertex[8], texture[8], count, textured;

    LongFace(const unsigned char* line, QDObjFaceShapes& shapes)
        : end(qdObjQuickLongFace(line, qdObjLineBits<true>(line), shapes, vertex, texture, count,
                                 textured))
    {
    }
    bool same(const unsigned char* otherEnd, const int* otherVertex, const int* otherTexture,
              int otherCount, int otherTextured) const
    {
        return end == otherEnd &&
               (!end || (count == otherCount && textured == otherTextured &&
                         memcmp(vertex, otherVertex, sizeof(int) * size_t(count)) == 0 &&
                         memcmp(texture, otherTexture, sizeof(int) * size_t(textured)) == 0));
    }
};

void checkLongFace(const unsigned char* line)
{
    static QDObjFaceShapes kept;
    QDObjFaceShapes none;
    const LongFace fresh(line, none);
    for (int k = 0; k < 2; ++k)
    {
        const LongFace cached(line, kept);
        if (!cached.same(fresh.end, fresh.vertex, fresh.texture, fresh.count, fresh.textured))
            abort();
    }
    int vertex[8], texture[8], count, textured;
    const unsigned char* end = qdObjQuickFaceCorners(line, vertex, texture, 8, count, textured);
    if (end && fresh.end && !fresh.same(end, vertex, texture, count, textured)) abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    {
        // Face lines read 64 bytes at a time may take up to 128.
        const size_t longSize = size > 128 ? 128 : size;
        std::vector<unsigned char> buffer(16 + longSize + 64, 0);
        memcpy(buffer.data() + 16, data, longSize);
        checkLongFace(buffer.data() + 16);
    }
    if (size > 64) size = 64;
    // The room the read buffer keeps before and after its data.
    std::vector<unsigned char> buffer(16 + size + 64, 0);
    unsigned char* line = buffer.data() + 16;
    memcpy(line, data, size);
    checkBits(line, false);
    checkBits(line, true);
    checkNumbers<2>(line);
    checkNumbers<3>(line);
    checkShapes<2>(line);
    checkShapes<3>(line);
    QDObjCorners corners;
    const unsigned char* cornersEnd = qdObjQuickCorners(line, corners);
    if (cornersEnd && (corners.count < 3 || corners.count > 4)) abort();
    static QDObjCornerShapes cornerShapes;
    for (int k = 0; k < 2; ++k)
    {
        QDObjCorners cached;
        if (qdObjQuickCorners(line, cached, cornerShapes) != cornersEnd) abort();
        if (cornersEnd && !sameCorners(corners, cached)) abort();
    }
    {
        // A line that matches the last shape read is read as the shapes read it.
        QDObjCorners last;
        const unsigned char* lastEnd = qdObjLastShapeCorners(line, last, cornerShapes);
        if (lastEnd && (lastEnd != cornersEnd || !sameCorners(corners, last))) abort();
    }
    int vertex[8], texture[8], count, textured;
    const unsigned char* end = qdObjQuickFaceCorners(line, vertex, texture, 8, count, textured);
    if (end &&
        (end >= line + size || (*end != '\n' && *end != '\r') || count > 8 || textured > count))
        abort();
    return 0;
}
