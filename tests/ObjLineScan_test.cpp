#include "QDObjImport.h"
#include "QDObjLineScan.h"
#include "QDTivMesh.h"
#include "TestSupport.h"

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace
{
// A line where the read buffer would hold it: readable bytes before it and
// zeroed bytes after it.
class PaddedLine
{
public:
    explicit PaddedLine(const std::string& text)
        : m_bytes(std::string(16, '\0') + text + std::string(64, '\0'))
    {
    }
    const unsigned char* begin() const
    {
        return reinterpret_cast<const unsigned char*>(m_bytes.data()) + 16;
    }

private:
    std::string m_bytes;
};

class Random
{
public:
    unsigned below(unsigned n)
    {
        m_state = m_state * 6364136223846793005ull + 1442695040888963407ull;
        return unsigned(m_state >> 33) % n;
    }
    bool oneIn(unsigned n) { return below(n) == 0; }
    char pick(const char* choices) { return choices[below(unsigned(strlen(choices)))]; }

private:
    unsigned long long m_state = 0x5eed;
};

std::string digits(Random& r, unsigned most)
{
    std::string s;
    for (unsigned n = r.below(most + 1); n > 0; --n)
        s += char('0' + r.below(10));
    return s;
}

// Mostly the usual "-d.dddddd", with every near miss the whole-line reader
// must refuse or read exactly as the reading along the line does.
std::string numberText(Random& r)
{
    if (r.oneIn(12)) return std::string(1, r.pick("-+.e5x,/")) + digits(r, 3);
    std::string s = r.oneIn(2) ? "-" : (r.oneIn(20) ? "+" : "");
    s += digits(r, r.oneIn(4) ? 10 : 3);
    if (!r.oneIn(10)) s += ".";
    s += digits(r, r.oneIn(4) ? 10 : 7);
    if (r.oneIn(15)) s += r.pick("eE.-") + digits(r, 2);
    return s;
}

std::string cornerText(Random& r)
{
    if (r.oneIn(20)) return std::string(1, r.pick("-+/x.")) + digits(r, 2);
    std::string s = digits(r, r.oneIn(5) ? 10 : 7);
    switch (r.below(6))
    {
    case 0:
        return s;
    case 1:
    case 2:
        return s + "/" + digits(r, r.oneIn(5) ? 10 : 7);
    case 3:
        return s + "//" + digits(r, 3);
    case 4:
        return s + "/" + digits(r, 7) + "/" + digits(r, 3) + (r.oneIn(4) ? "/7" : "");
    default:
        return s + (r.oneIn(2) ? "/" : "/-1");
    }
}

std::string separator(Random& r)
{
    return r.oneIn(10) ? std::string(1 + r.below(3), r.pick(" \t")) : " ";
}

std::string lineEnd(Random& r)
{
    std::string trail = r.oneIn(8) ? std::string(1 + r.below(2), ' ') : "";
    return trail + (r.oneIn(10) ? "\r\n" : "\n");
}

// A file of vertex, texture and face lines of every shape, and some others.
std::string randomFile(Random& r, int lines)
{
    std::string text;
    for (int i = 0; i < lines; ++i)
    {
        const unsigned kind = r.below(20);
        if (kind < 7)
        {
            text += kind < 4 ? "v" : "vt";
            const unsigned count = (kind < 4 ? 3 : 2) + (r.oneIn(8) ? r.below(3) : 1) - 1;
            for (unsigned k = 0; k < count; ++k)
                text += (k > 0 || !r.oneIn(30) ? separator(r) : "") + numberText(r);
            text += lineEnd(r);
        }
        else if (kind < 16)
        {
            text += "f";
            const unsigned count = r.oneIn(6) ? 2 + r.below(4) : 3 + r.below(2);
            for (unsigned k = 0; k < count; ++k)
                text += separator(r) + cornerText(r);
            text += lineEnd(r);
        }
        else
        {
            static const char* const others[] = {"# comment\n",   "\n",       "vn 0 1 0\n", "s 1\n",
                                                 "usemtl skin\n", "g group\n"};
            text += others[r.below(6)];
        }
    }
    return text;
}

template <typename T> bool sameBytes(const QDArray<T>& a, const QDArray<T>& b)
{
    return a.size() == b.size() &&
           (a.size() == 0 || memcmp(a.begin(), b.begin(), sizeof(T) * size_t(a.size())) == 0);
}

// Imports the text with a buffer of the given size; with one byte no line is
// ever whole in the buffer, so every line is read byte by byte.
QDTivMesh importWith(const std::string& text, unsigned long bufferSize)
{
    const std::string path = testFolder() + "/lines.obj";
    writeBytes(path, text);
    QDTivMesh mesh;
    QDObjImport importer(bufferSize);
    EXPECT_TRUE(importer.importTivMesh(path.c_str(), mesh, true));
    return mesh;
}

// The counting pass's four counts.
std::vector<int> countWith(const std::string& text, unsigned long bufferSize)
{
    const std::string path = testFolder() + "/counts.obj";
    writeBytes(path, text);
    std::vector<int> n(4);
    FILE* file = fopen(path.c_str(), "r");
    QDObjImport::quickReadStats(file, n[0], n[1], n[2], n[3], bufferSize);
    fclose(file);
    return n;
}

void expectSameMesh(const QDTivMesh& a, const QDTivMesh& b, const std::string& what)
{
    EXPECT_TRUE(sameBytes(a.m_vertices, b.m_vertices)) << what;
    EXPECT_TRUE(sameBytes(a.m_uniqueUVs, b.m_uniqueUVs)) << what;
    EXPECT_TRUE(sameBytes(a.m_faceVertexIndices, b.m_faceVertexIndices)) << what;
    EXPECT_TRUE(sameBytes(a.m_cornerUVIndices, b.m_cornerUVIndices)) << what;
    EXPECT_TRUE(sameBytes(a.m_cornerUVs, b.m_cornerUVs)) << what;
}
} // namespace

TEST(ObjLineScan, WholeLinesReadAsAlongTheLine)
{
    Random r;
    const std::string text = randomFile(r, 30000);
    const QDTivMesh byByte = importWith(text, 1);
    ASSERT_GT(byByte.m_vertices.size(), 3000);
    ASSERT_GT(byByte.m_faceVertexIndices.size(), 10000);
    expectSameMesh(importWith(text, QDObjImport::s_readBufferSize), byByte, "whole buffer");
    // Fills that end anywhere within lines, so that lines lie at either edge
    // of the buffer.
    for (unsigned long size : {31ul, 64ul, 97ul, 4096ul})
        expectSameMesh(importWith(text, size), byByte, std::to_string(size));

    // The counting pass counts whole face lines in one go, too.
    const std::vector<int> counted = countWith(text, 1);
    EXPECT_GT(counted[1], 5000);
    EXPECT_GT(counted[2], 2 * counted[1]);
    EXPECT_EQ(countWith(text, QDObjImport::s_readBufferSize), counted);
    EXPECT_EQ(countWith(text, 97), counted);
}

TEST(ObjLineScan, EdgeShapesOfTheWholeLineReaders)
{
    float v[3];
    // Eight digits, the most a number may have, and a mantissa of exactly 2^24.
    EXPECT_NE(qdObjQuickNumbers<3>(PaddedLine(" -12.345678 16.777216 .5\n").begin(), v), nullptr);
    EXPECT_EQ(v[0], -12.345678f);
    EXPECT_EQ(v[1], 16.777216f);
    EXPECT_EQ(v[2], 0.5f);
    // One more digit, a mantissa past 2^24, no decimals, a plus, an exponent, a
    // fourth number or a tab are left to the reading along the line.
    for (const char* refused :
         {" 1.23456789 0.1 0.1\n", " 16.777217 0.1 0.1\n", " 5. 0.1 0.1\n", " +1.5 0.1 0.1\n",
          " 1.5e2 0.1 0.1\n", " 0.1 0.1 0.1 0.1\n", "\t0.1 0.1 0.1\n", " 0.1 0.1\n",
          " 1.1.1 0.1 1\n", " 0.1 -0.-1 0.1\n"})
        EXPECT_EQ(qdObjQuickNumbers<3>(PaddedLine(refused).begin(), v), nullptr) << refused;
    // Minus zero keeps its sign.
    ASSERT_NE(qdObjQuickNumbers<2>(PaddedLine(" -0.000000 0.0\r\n").begin(), v), nullptr);
    EXPECT_TRUE(std::signbit(v[0]) && !std::signbit(v[1]));
    // A line of the same spaces, dots and minus signs as one read before, but
    // with another byte among the digits or another value, is read afresh.
    QDObjNumberShapes<3> shapes;
    for (const char* line : {" 1.5 -0.25 0.1\n", " 2.5 -0.75 9.9\n", " +.5 -0.25 0.1\n",
                             " 1.5 -0x25 0.1\n", " 1.5 -0.25 0.1\n"})
    {
        float cached[3] = {0, 0, 0};
        const bool read = qdObjQuickNumbers<3>(PaddedLine(line).begin(), v) != nullptr;
        EXPECT_EQ(qdObjQuickNumbers<3>(PaddedLine(line).begin(), cached, shapes) != nullptr, read)
            << line;
        if (read)
        {
            EXPECT_EQ(memcmp(v, cached, sizeof(v)), 0) << line;
        }
    }

    QDObjCorners corners;
    ASSERT_NE(qdObjQuickCorners(PaddedLine(" 12345678/1 2/2/9 3/3//  \n").begin(), corners),
              nullptr);
    EXPECT_EQ(corners.count, 3);
    EXPECT_TRUE(corners.textured);
    EXPECT_EQ(corners.vertex[0], 12345677);
    EXPECT_EQ(corners.texture[2], 2);
    ASSERT_NE(qdObjQuickCorners(PaddedLine(" 0//5 1//5 2//5 3//5\n").begin(), corners), nullptr);
    EXPECT_EQ(corners.count, 4);
    EXPECT_FALSE(corners.textured);
    EXPECT_EQ(corners.vertex[0], -1);
    // Nine digits, mixed texture indices, signs, two or five corners.
    for (const char* refused : {" 123456789 1 2\n", " 1/1 2 3/3\n", " -1 2 3\n", " 1 2\n",
                                " 1 2 3 4 5\n", " /1 2 3\n", " 1 2 3x\n"})
        EXPECT_EQ(qdObjQuickCorners(PaddedLine(refused).begin(), corners), nullptr) << refused;
    // The shape of a line read before, with other digits or with a byte that
    // is no digit among them.
    QDObjCornerShapes cornerShapes;
    for (const char* line :
         {" 12/3 45/6 78/9\n", " 98/7 65/4 32/1\n", " 12/3 4x/6 78/9\n", " 12/3 45/6 78/9\n"})
    {
        QDObjCorners cached;
        const bool read = qdObjQuickCorners(PaddedLine(line).begin(), corners) != nullptr;
        EXPECT_EQ(qdObjQuickCorners(PaddedLine(line).begin(), cached, cornerShapes) != nullptr,
                  read)
            << line;
        if (read)
        {
            EXPECT_EQ(cached.vertex[2], corners.vertex[2]) << line;
            EXPECT_EQ(cached.texture[1], corners.texture[1]) << line;
        }
    }
    // A line is first tried against the shape of the line read last; that
    // shape's slot may since have gone to a line refused whole, whose shape
    // must not be taken for the old one. Lines with more spaces before their
    // end are tried until one lands in the slot of the first.
    for (int spaces = 1; spaces < 400; ++spaces)
    {
        const std::string refused = std::string(size_t(spaces % 20 + 1), ' ') + "1 2 3" +
                                    std::string(size_t(spaces / 20), ' ') + "\n";
        QDObjNumberShapes<3> numberShapes;
        const PaddedLine good(" 1.5 -0.25 0.1\n"), later(" 7.5 -0.75 0.3\n"), bad(refused);
        float first[3];
        ASSERT_NE(qdObjQuickNumbers<3>(good.begin(), first, numberShapes), nullptr);
        auto* slot = numberShapes.last;
        EXPECT_EQ(qdObjQuickNumbers<3>(bad.begin(), v, numberShapes), nullptr);
        if (slot->end == 64)
        {
            float fresh[3], cached[3];
            ASSERT_NE(qdObjQuickNumbers<3>(later.begin(), fresh), nullptr);
            ASSERT_NE(qdObjQuickNumbers<3>(later.begin(), cached, numberShapes), nullptr);
            EXPECT_EQ(memcmp(fresh, cached, sizeof(fresh)), 0);
            break;
        }
        ASSERT_LT(spaces, 399) << "no refused line took the slot";
    }
    // A shape taken from a line whose minus stands where a digit belongs
    // ("1-4.99") reads no line, so it must not lend its pattern to the next.
    int landed = 0;
    for (int spaces = 1; spaces < 400; ++spaces)
    {
        const std::string misplaced = std::string(size_t(spaces % 20 + 1), ' ') + "1-4.9900" +
                                      std::string(size_t(spaces / 20 + 1), ' ') + "-0.089\n";
        QDObjNumberShapes<2> uvShapes;
        float uv[2];
        ASSERT_NE(qdObjQuickNumbers<2>(PaddedLine(" 0.25 0.75\n").begin(), uv, uvShapes), nullptr);
        auto* slot = uvShapes.last;
        EXPECT_EQ(qdObjQuickNumbers<2>(PaddedLine(misplaced).begin(), uv, uvShapes), nullptr);
        EXPECT_EQ(qdObjQuickNumbers<2>(PaddedLine(misplaced).begin(), uv, uvShapes), nullptr);
        landed += slot->pattern.empty();
    }
    EXPECT_GT(landed, 0) << "no misplaced minus took the slot of the line before";
    for (int spaces = 1; spaces < 400; ++spaces)
    {
        const std::string refused = std::string(size_t(spaces % 20 + 1), ' ') + "/1 2 3" +
                                    std::string(size_t(spaces / 20), ' ') + "\n";
        QDObjCornerShapes shapes;
        QDObjCorners fresh, cached;
        ASSERT_NE(qdObjQuickCorners(PaddedLine(" 12/3 45/6 78/9\n").begin(), cached, shapes),
                  nullptr);
        auto* slot = shapes.last;
        EXPECT_EQ(qdObjQuickCorners(PaddedLine(refused).begin(), cached, shapes), nullptr);
        if (slot->count == 0)
        {
            const PaddedLine later(" 98/7 65/4 32/1\n");
            EXPECT_EQ(qdObjLastShapeCorners(later.begin(), cached, shapes), nullptr);
            ASSERT_NE(qdObjQuickCorners(later.begin(), fresh), nullptr);
            ASSERT_NE(qdObjQuickCorners(later.begin(), cached, shapes), nullptr);
            EXPECT_EQ(cached.vertex[1], fresh.vertex[1]);
            // Now the last shape again, read from the pattern alone.
            QDObjCorners again;
            ASSERT_NE(qdObjLastShapeCorners(later.begin(), again, shapes), nullptr);
            EXPECT_EQ(again.vertex[2], 31);
            EXPECT_EQ(again.texture[0], 6);
            break;
        }
        ASSERT_LT(spaces, 399) << "no refused line took the slot";
    }
    // Lines of up to 128 bytes and eight corners, read as the window-by-window
    // reader reads them, also when a line repeats the shape of one before.
    QDObjFaceShapes faceShapes;
    const std::string wide =
        " 1000001/7 1000002//7 1000003/7/7 1000004/7 1000005 1000006/7 1000007/7\n";
    for (const std::string& line :
         {wide,
          std::string(" 9000009/1 9000008//1 9000007/1/1 9000006/1 9000005 9000004/1 9000003/1\n"),
          std::string(" 1/1 2/2 3/3 4/4 5/5\n"), std::string(" 9/8 7/6 5/4 3/2 1/0\n"),
          std::string(" /1 2/2 3/3 4/4 5/5\n"), std::string(" 1 2 3 4 5 6 7 8 9\n")})
    {
        int vertex[8], texture[8], count = 0, textured = 0;
        int longVertex[8], longTexture[8], longCount = 0, longTextured = 0;
        const PaddedLine bytes(line.c_str());
        const bool read =
            qdObjQuickFaceCorners(bytes.begin(), vertex, texture, 8, count, textured) != nullptr;
        ASSERT_EQ(qdObjQuickLongFace(bytes.begin(), qdObjLineBits<true>(bytes.begin()), faceShapes,
                                     longVertex, longTexture, longCount, longTextured) != nullptr,
                  read)
            << line;
        if (!read) continue;
        EXPECT_EQ(longCount, count) << line;
        EXPECT_EQ(longTextured, textured) << line;
        EXPECT_EQ(std::vector<int>(longVertex, longVertex + longCount),
                  std::vector<int>(vertex, vertex + count))
            << line;
        EXPECT_EQ(std::vector<int>(longTexture, longTexture + longTextured),
                  std::vector<int>(texture, texture + textured))
            << line;
    }
}

#ifdef QD_OBJ_LINE_SCAN_SSE2
TEST(ObjLineScan, LinePatternsMatchOnlyLinesOfTheSameShape)
{
    // " -1.25 3.5\n": spaces, minus and dots fixed, the line end at 10.
    const PaddedLine model(" -1.25 3.5\n");
    QDObjLinePattern pattern;
    EXPECT_FALSE(pattern.matches(model.begin())); // an empty pattern matches nothing
    pattern.take(model.begin(), 10, 0x1 | 0x2 | 0x8 | 0x40 | 0x100);
    EXPECT_TRUE(pattern.matches(model.begin()));
    // Other digits, and anything at all after the line end.
    EXPECT_TRUE(pattern.matches(PaddedLine(" -9.07 0.0\nvt 1 2 3 4 5 6 7 8 9\n").begin()));
    for (const char* other : {" -1.25 3.5\r\n", " +1.25 3.5\n", " -1.2x 3.5\n", " -1.25 3,5\n",
                              " -1.25  3.5\n", " -1.25 3.55\n", " -1:25 3.5\n", " -1.25 3.\n\n"})
        EXPECT_FALSE(pattern.matches(PaddedLine(other).begin())) << other;
    // A line end past the first 32 bytes is tested there too.
    const std::string longLine = " 1234567/1234567 1234567/1234567 1234567/1234567\n";
    QDObjLinePattern wide;
    std::uint64_t fixed = 0;
    for (size_t i = 0; i < longLine.size() - 1; ++i)
        if (longLine[i] == ' ' || longLine[i] == '/') fixed |= std::uint64_t(1) << i;
    wide.take(PaddedLine(longLine).begin(), unsigned(longLine.size() - 1), fixed);
    EXPECT_TRUE(wide.matches(PaddedLine(" 7654321/7654321 7654321/7654321 7654321/7654320\n").begin()));
    EXPECT_FALSE(wide.matches(PaddedLine(" 7654321/7654321 7654321/7654321 7654321/765432x\n").begin()));
    EXPECT_FALSE(wide.matches(PaddedLine(" 7654321/7654321 7654321/7654321 7654321/7654320\r").begin()));
}
#endif
