#include "FileFindings.h"

#include "MeshCompare.h"
#include "QDObjByteReader.h"
#include "QDObjLineScan.h"
#include "QDObjNumberReader.h"
#include "QDTivMesh.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace
{
struct KindWords
{
    const char* key;  // in JSON
    const char* rest; // "N more ..." for those not shown
};

const KindWords s_kinds[int(FindingKind::kinds)] = {
    {"not_text", "lines with NUL bytes"},
    {"cut_short", "cut blocks"},
    {"last_line_dropped", "last lines dropped"},
    {"numbers_unread", "'v' and 'vt' lines whose numbers could not all be read"},
    {"non_finite", "non-finite coordinates"},
    {"relative_index", "face lines with relative indices"},
    {"vertex_index_outside", "faces with vertex indices outside the vertex array"},
    {"uv_index_outside", "faces with texture indices outside the texture coordinates"},
};

std::string plural(long long n, const char* one, const char* many)
{
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string ordinal(int n)
{
    static const char* const s_words[] = {"first", "second", "third"};
    return n >= 1 && n <= 3 ? s_words[n - 1] : std::to_string(n) + "th";
}

std::string byteShown(int c)
{
    char text[16];
    if (c > ' ' && c < 0x7F)
        snprintf(text, sizeof(text), "'%c'", c);
    else
        snprintf(text, sizeof(text), "0x%02X", unsigned(c) & 0xFFu);
    return text;
}

std::string numberShown(double value)
{
    char text[32];
    snprintf(text, sizeof(text), "%g", value);
    return text;
}

bool finite(const float* p, int n)
{
    for (int k = 0; k < n; ++k)
        if (!std::isfinite(p[k])) return false;
    return true;
}

// The plug-in's OBJ reading, saying what it makes of the file where that
// would surprise. Lines are read whole from the buffer; the usual ones (plain
// "v", "vt" and "f" lines) go through the import's own whole-line readers,
// every other one is read byte after byte by the plug-in's rules. Faces are checked against the
// positions and coordinates of the whole file, known only at its end: a face
// whose indices all lie among those read so far is inside for good, any other
// is kept and decided at the end.
class ObjScanner
{
public:
    ObjScanner(FILE* file, FileFindings& findings) : m_file(file), m_findings(findings) {}

    void run()
    {
        // The whole-line readers load up to 16 bytes before a line and 64
        // after its start.
        std::vector<unsigned char> storage(s_before + s_bufferSize + s_after);
        size_t have = 0;
        bool first = true;
        for (;;)
        {
            unsigned char* buffer = storage.data() + s_before;
            const size_t room = storage.size() - s_before - s_after;
            const size_t n = fread(buffer + have, 1, room - have, m_file);
            have += n;
            if (first && have >= 2)
                m_utf16 = (buffer[0] == 0xFF && buffer[1] == 0xFE) ||
                          (buffer[0] == 0xFE && buffer[1] == 0xFF);
            if (first && m_utf16)
                add(FindingKind::notText, 1,
                    "not text: a UTF-16 byte-order mark; the plug-in reads the file byte by byte "
                    "and finds no statement in it");
            first = false;
            // The complete lines, up to the last line end.
            size_t complete = have;
            while (complete > 0 && !qdObjIsLineEnd(buffer[complete - 1]))
                --complete;
            if (n == 0 && complete < have)
            {
                // The last line has no line end: read as far as the plug-in
                // reads it, against a line end of our own.
                buffer[have] = '\n';
                m_unendedAt = buffer + have;
                complete = have + 1;
            }
            lines(buffer, buffer + complete);
            if (n == 0) break;
            std::copy(buffer + complete, buffer + have, buffer);
            have -= complete;
            // A line longer than the buffer grows it.
            if (have == room) storage.resize(storage.size() + room);
        }
        decideFaces();
    }

private:
    static const size_t s_bufferSize = 1 << 20, s_before = 16, s_after = 64;
    struct KeptFace
    {
        long long line;
        int weight;
        int vertex, uv; // the most outlying indices, -1 .. INT_MAX; uv -2: none
    };

    void add(FindingKind kind, long long line, const std::string& text, int weight = 1)
    {
        Finding finding;
        finding.kind = kind;
        finding.line = line;
        finding.text = text;
        finding.weight = weight;
        m_findings.add(finding);
    }

    // Lines begin at p; end is just past the last line end.
    void lines(const unsigned char* p, const unsigned char* end)
    {
        if (p == end) return;
        const bool nul = !m_utf16 && memchr(p, 0, size_t(end - p)) != nullptr;
        // A LF after a CR ends the same line, also across two fills.
        if (m_afterCr && p < end && *p == '\n') ++p;
        m_afterCr = end[-1] == '\r';
        while (p < end)
        {
            m_line = p;
            ++m_lineNumber;
            const unsigned char* next = usualLine(p);
            if (!next)
            {
                m_p = p;
                line();
                next = m_p;
            }
            if (nul)
                for (const unsigned char* q = p; q < next; ++q)
                    if (*q == 0)
                    {
                        add(FindingKind::notText, m_lineNumber,
                            "not text: a NUL byte at column " + std::to_string(q - p + 1));
                        break;
                    }
            if (next[-1] == '\r' && next < end && *next == '\n') ++next;
            p = next;
        }
    }

    int next() { return *m_p++; }
    int column() const { return int(m_p - m_line); }
    // The line end of the unended last line stands for the end of the file.
    bool endOfFile() const { return m_p - 1 == m_unendedAt; }
    void skipLine()
    {
        while (!qdObjIsLineEnd(next()))
        {
        }
    }

    // One line that is not of the usual shapes, from its first byte.
    void line()
    {
        const int c = next();
        bool dropped = false;
        if (c == 'v')
            dropped = vertexLine();
        else if (c == 'f')
            dropped = faceLine();
        else if (!qdObjIsLineEnd(c))
            skipLine();
        if (dropped)
            add(FindingKind::lastLineDropped, m_lineNumber,
                "the last line has no line end: the plug-in drops it");
    }

    // Plain "v x y z", "vt u v" and "f" lines of three or four unsigned
    // corners whose indices lie among those read so far, read as the import
    // reads them: the start of the next line, or null with nothing read.
    const unsigned char* usualLine(const unsigned char* p)
    {
        const unsigned char* end;
        float value[3];
        if (p[0] == 'v' && p[1] == ' ')
        {
            // At most eight digits: finite.
            if (!(end = qdObjQuickNumbers<3>(p + 1, value, m_positionShapes)) || end == m_unendedAt)
                return nullptr;
            m_positionNumbers += 3;
            return end + 1;
        }
        if (p[0] == 'v' && p[1] == 't')
        {
            if (!(end = qdObjQuickNumbers<2>(p + 2, value, m_uvShapes)) || end == m_unendedAt)
                return nullptr;
            m_uvNumbers += 2;
            return end + 1;
        }
        if (p[0] != 'f' || !m_vertexList.empty() || !m_uvList.empty()) return nullptr;
        QDObjCorners corners;
        if (!(end = qdObjLastShapeCorners(p + 1, corners, m_cornerShapes)) &&
            !(end = qdObjQuickCorners(p + 1, corners, m_cornerShapes)))
            return nullptr;
        if (end == m_unendedAt) return nullptr;
        for (int k = 0; k < corners.count; ++k)
            if (corners.vertex[k] < 0 || corners.vertex[k] >= m_positionNumbers / 3 ||
                (corners.textured &&
                 (corners.texture[k] < 0 || corners.texture[k] >= m_uvNumbers / 2)))
                return nullptr;
        return end + 1;
    }

    // The bytes from m_p on, for the reader's own number reading.
    struct Bytes
    {
        const unsigned char*& p;
        int next() { return *p++; }
    };

    void shortLine(bool texture, int numbers, int badByte)
    {
        const int wanted = texture ? 2 : 3;
        if (numbers >= wanted) return;
        std::string text = std::string(texture ? "'vt'" : "'v'") + " line: ";
        text += numbers == 0 ? "no number read"
                             : std::to_string(numbers) + " of its " + std::to_string(wanted) +
                                   " numbers read";
        if (badByte >= 0)
            text += " (" + byteShown(badByte) + " at column " + std::to_string(column()) +
                    " ends the line)";
        if (numbers == 0)
            text += texture ? ": it gives no texture coordinate" : ": it gives no position";
        else
            text += texture ? ": the texture coordinates after it are shifted"
                            : ": the positions after it are shifted";
        add(FindingKind::numbersUnread, m_lineNumber, text);
    }

    // "v" and "vt" lines, the "v" read; true when the end of the file cut
    // the line. "vn", "vp" and the like are other statements, skipped
    // without a word.
    bool vertexLine()
    {
        bool texture = false, blank = false, nonFinite = false;
        int numbers = 0;
        int c = next();
        for (;;)
        {
            if (qdObjIsBlank(c))
            {
                blank = true;
                c = next();
                continue;
            }
            if (qdObjIsLineEnd(c))
            {
                if (endOfFile()) return true;
                shortLine(texture, numbers, -1);
                return false;
            }
            if (qdObjIsDigit(c) || c == '-' || c == '+' || c == '.')
            {
                if (numbers >= (texture ? 2 : 3))
                {
                    skipLine();
                    return false;
                }
                ++numbers;
                float value = 0.0f;
                Bytes bytes = {m_p};
                c = qdObjReadNumber(bytes, c, value);
                if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c))
                {
                    shortLine(texture, numbers - 1, c);
                    skipLine();
                    return false;
                }
                if (endOfFile()) return true;
                ++(texture ? m_uvNumbers : m_positionNumbers);
                if (!std::isfinite(value) && !nonFinite)
                {
                    nonFinite = true;
                    add(FindingKind::nonFinite, m_lineNumber,
                        std::string(texture ? "'vt'" : "'v'") + " line: its " + ordinal(numbers) +
                            " number reads as " + numberShown(value));
                }
                continue;
            }
            if (c == 't')
            {
                texture = true;
                c = next();
                continue;
            }
            if (texture || blank || numbers > 0) shortLine(texture, numbers, c);
            skipLine();
            return false;
        }
    }

    static long long saturated(long long value, int c)
    {
        const long long n = value * 10 + (c - '0');
        return n > INT_MAX ? INT_MAX : n;
    }

    // "f" lines, the "f" read; true when the end of the file cut the line. A
    // line left part-way hands its corners on to the next, as the plug-in's
    // lists do.
    bool faceLine()
    {
        int c = next();
        if (!qdObjIsBlank(c))
        {
            if (!qdObjIsLineEnd(c)) skipLine();
            return false;
        }
        bool relativeSaid = false;
        c = next();
        for (;;)
        {
            while (qdObjIsBlank(c))
                c = next();
            if (qdObjIsLineEnd(c))
            {
                if (endOfFile()) return true;
                emitFace();
                return false;
            }
            const bool negative = c == '-';
            if (c == '-' || c == '+')
                c = next();
            else if (!qdObjIsDigit(c))
                break;
            long long value = 0;
            for (; qdObjIsDigit(c); c = next())
                value = saturated(value, c);
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c) && c != '/') break;
            long long index = value - 1;
            if (negative && value != 0)
            {
                const long long before = m_positionNumbers / 3;
                index = before + value;
                if (!relativeSaid)
                {
                    relativeSaid = true;
                    std::string text = "relative index -" + std::to_string(value) +
                                       " read as vertex " + std::to_string(index + 1) + " (the " +
                                       plural(before, "vertex", "vertices") + " so far plus " +
                                       std::to_string(value) + ")";
                    if (before - value >= 0)
                        text += ", not as vertex " + std::to_string(before - value + 1);
                    add(FindingKind::relativeIndex, m_lineNumber, text);
                }
            }
            m_vertexList.push_back(index > INT_MAX ? INT_MAX : int(index));
            if (c != '/') continue;
            c = next();
            const bool empty = !qdObjIsDigit(c);
            for (value = 0; qdObjIsDigit(c); c = next())
                value = saturated(value, c);
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c) && c != '/') break;
            if (!empty) m_uvList.push_back(int(value - 1));
            if (c != '/') continue;
            do
                c = next();
            while (qdObjIsDigit(c) || c == '/');
            if (!qdObjIsBlank(c) && !qdObjIsLineEnd(c)) break;
        }
        skipLine();
        return false;
    }

    // The faces of one line's corners, a polygon of n corners being n - 2
    // triangles; those not inside for good are kept for the end.
    void emitFace()
    {
        const size_t n = m_vertexList.size();
        const bool textured = m_uvList.size() == n;
        const size_t faces = n < 3 ? 0 : n <= 4 ? 1 : n - 2;
        for (size_t f = 0; f < faces; ++f)
        {
            // The corners of face f: all of a triangle or quad, or 0, f + 1, f + 2.
            const size_t corners[4] = {0, n <= 4 ? 1 : f + 1, n <= 4 ? 2 : f + 2, 3};
            KeptFace kept = {m_lineNumber, 1, 0, textured ? 0 : -2};
            bool inside = true;
            for (size_t k = 0; k < (n == 4 ? 4u : 3u); ++k)
            {
                const int v = m_vertexList[corners[k]];
                if (v < 0 || v >= m_positionNumbers / 3)
                {
                    inside = false;
                    kept.vertex = kept.vertex < 0 ? kept.vertex
                                  : v < 0         ? v
                                                  : std::max(kept.vertex, v);
                }
                if (!textured) continue;
                const int t = m_uvList[corners[k]];
                if (t < 0 || t >= m_uvNumbers / 2)
                {
                    inside = false;
                    kept.uv = kept.uv < 0 ? kept.uv : t < 0 ? t : std::max(kept.uv, t);
                }
            }
            if (!inside) m_kept.push_back(kept);
        }
        m_vertexList.clear();
        if (textured) m_uvList.clear();
    }

    // The kept faces against the whole file's positions and coordinates, one
    // finding a line for each kind.
    void decideFaces()
    {
        const long long vertices = m_positionNumbers / 3, uvs = m_uvNumbers / 2;
        for (size_t i = 0; i < m_kept.size();)
        {
            const long long line = m_kept[i].line;
            int vertexFaces = 0, uvFaces = 0, firstVertex = 0, firstUV = 0;
            for (; i < m_kept.size() && m_kept[i].line == line; ++i)
            {
                const KeptFace& face = m_kept[i];
                if (face.vertex < 0 || face.vertex >= vertices)
                    if (vertexFaces++ == 0) firstVertex = face.vertex;
                if (face.uv != -2 && (face.uv < 0 || face.uv >= uvs))
                    if (uvFaces++ == 0) firstUV = face.uv;
            }
            if (vertexFaces > 0)
                add(FindingKind::vertexIndexOutside, line,
                    outsideText(vertexFaces, "vertex", firstVertex, vertices, "vertex", "vertices"),
                    vertexFaces);
            if (uvFaces > 0)
                add(FindingKind::uvIndexOutside, line,
                    outsideText(uvFaces, "texture", firstUV, uvs, "texture coordinate",
                                "texture coordinates"),
                    uvFaces);
        }
    }

    static std::string outsideText(int faces, const char* what, long long first, long long have,
                                   const char* one, const char* many)
    {
        const std::string outside = " outside the " + plural(have, one, many) + " of the file";
        if (faces == 1)
            return std::string("face with ") + what + " index " + std::to_string(first + 1) +
                   outside;
        return plural(faces, "face", "faces") + " with " + what + " indices" + outside +
               " (the first: " + std::to_string(first + 1) + ")";
    }

    FILE* m_file;
    FileFindings& m_findings;
    bool m_utf16 = false, m_afterCr = false;
    const unsigned char* m_p = nullptr;
    const unsigned char* m_line = nullptr;
    const unsigned char* m_unendedAt = nullptr;
    long long m_lineNumber = 0;
    long long m_positionNumbers = 0, m_uvNumbers = 0;
    std::vector<int> m_vertexList, m_uvList;
    std::vector<KeptFace> m_kept;
    QDObjNumberShapes<3> m_positionShapes;
    QDObjNumberShapes<2> m_uvShapes;
    QDObjCornerShapes m_cornerShapes;
};

struct OpenFile
{
    explicit OpenFile(const std::string& path) : file(fopen(path.c_str(), "rb")) {}
    ~OpenFile()
    {
        if (file) fclose(file);
    }
    FILE* file;
};

const char* blockName(unsigned tag)
{
    switch (tag)
    {
    case 10001:
        return " (vertices)";
    case 20001:
        return " (faces)";
    case 25001:
        return " (corner UVs)";
    case 40001:
        return " (face groups)";
    case 45001:
        return " (texture name)";
    default:
        return "";
    }
}

// Where the .tiv reader would find its blocks' data, and whether the file
// ends before what it reads; the data of the last block of each array kind.
struct TivLayout
{
    long long vertexData = -1, faceData = -1, uvData = -1;
};

void addTiv(FileFindings& findings, FindingKind kind, unsigned tag, long long offset,
            const std::string& text, int weight = 1)
{
    Finding finding;
    finding.kind = kind;
    finding.block = tag;
    finding.offset = offset;
    finding.text = text;
    finding.weight = weight;
    findings.add(finding);
}

TivLayout walkTivBlocks(FILE* file, FileFindings& findings)
{
    TivLayout layout;
    fseeko(file, 0, SEEK_END);
    const long long size = ftello(file);
    long long at = 32;
    for (;;)
    {
        uint32_t header[4];
        if (at + 16 > size)
        {
            addTiv(findings, FindingKind::cutShort, 0, at,
                   at >= size ? "the file ends before its end block"
                              : "the file ends inside a block header (" +
                                    std::to_string(size - at) + " of its 16 bytes)");
            return layout;
        }
        if (fseeko(file, at, SEEK_SET) != 0 || fread(header, 4, 4, file) != 4) return layout;
        const unsigned tag = header[0];
        const unsigned long long stored = header[1] >= 16 ? header[1] - 16ull : 0;
        const unsigned long long count = header[2];
        if (tag == 0) return layout;
        const long long data = at + 16;
        // Bytes the reader fills from the file, and where the next header is.
        unsigned long long wanted = stored;
        long long end = data + (long long)stored;
        switch (tag)
        {
        case 10001:
            wanted = std::min(stored, count * 12);
            layout.vertexData = data;
            break;
        case 20001:
            wanted = std::min(stored, count * 16);
            layout.faceData = data;
            break;
        case 25001:
            wanted = std::min(stored, count * 32);
            layout.uvData = data;
            break;
        case 40001:
            wanted = count * 2;
            end = data + (long long)wanted;
            break;
        case 45001:
        case 50001:
        case 55001:
            break;
        default:
            wanted = 0;
        }
        if (tag != 40001 && header[1] < 16) return layout; // the reader refuses it
        if (end > size)
        {
            const long long blockBytes = end - data, missing = end - size;
            const long long zeros = std::max(0LL, data + (long long)wanted - size);
            addTiv(findings, FindingKind::cutShort, tag, at,
                   std::string("the file ends inside this block") + blockName(tag) + ": " +
                       std::to_string(missing) + " of its " +
                       plural(blockBytes, "data byte", "data bytes") + " are missing" +
                       (zeros == missing ? " and read as zeros"
                        : zeros > 0      ? ", " + std::to_string(zeros) + " of them read as zeros"
                                         : ""));
            return layout;
        }
        at = end;
    }
}

std::string vectorShown(const float* p, int n)
{
    std::string text = "(";
    for (int k = 0; k < n; ++k)
        text += (k ? ", " : "") + numberShown(p[k]);
    return text + ")";
}
} // namespace

void FileFindings::add(Finding finding)
{
    const int k = int(finding.kind);
    m_count[k] += finding.weight;
    if (m_shownLines[k] >= s_shownPerKind) return;
    ++m_shownLines[k];
    m_shownWeight[k] += finding.weight;
    m_shown.push_back(std::move(finding));
}

int FileFindings::total() const
{
    int n = 0;
    for (int count : m_count)
        n += count;
    return n;
}

std::string FileFindings::lines(const std::string& file, const std::string& prefix) const
{
    // Faces are decided at the end of the file: in line order again.
    std::vector<Finding> shown = m_shown;
    std::stable_sort(shown.begin(), shown.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    std::string text;
    for (const Finding& f : shown)
    {
        text += prefix + file;
        if (f.offset >= 0)
            text += (f.block ? ": block " + std::to_string(f.block) : std::string(":")) +
                    " at offset " + std::to_string(f.offset);
        else
            text += ":" + std::to_string(f.line);
        text += ": " + f.text + "\n";
    }
    for (int k = 0; k < int(FindingKind::kinds); ++k)
        if (m_count[k] > m_shownWeight[k])
            text += prefix + file + ": " + std::to_string(m_count[k] - m_shownWeight[k]) +
                    " more " + s_kinds[k].rest + "\n";
    return text;
}

std::string FileFindings::json(const std::string& file) const
{
    std::string text = "{\"file\": " + jsonString(file) +
                       ", \"findings\": " + std::to_string(total()) + ", \"kinds\": {";
    for (int k = 0; k < int(FindingKind::kinds); ++k)
        text += std::string(k ? ", " : "") + "\"" + s_kinds[k].key +
                "\": " + std::to_string(m_count[k]);
    text += "}, \"shown\": [";
    for (size_t i = 0; i < m_shown.size(); ++i)
    {
        const Finding& f = m_shown[i];
        text += std::string(i ? ", " : "") + "{\"kind\": \"" + s_kinds[int(f.kind)].key + "\", ";
        if (f.offset >= 0)
            text += "\"block\": " + (f.block ? std::to_string(f.block) : std::string("null")) +
                    ", \"offset\": " + std::to_string(f.offset);
        else
            text += "\"line\": " + std::to_string(f.line);
        if (f.kind == FindingKind::vertexIndexOutside || f.kind == FindingKind::uvIndexOutside)
            text += ", \"faces\": " + std::to_string(f.weight);
        text += ", \"text\": " + jsonString(f.text) + "}";
    }
    return text + "]}";
}

bool findObjReadings(const std::string& path, FileFindings& findings)
{
    OpenFile opened(path);
    if (!opened.file) return false;
    ObjScanner(opened.file, findings).run();
    return true;
}

bool findTivReadings(const std::string& path, const QDTivMesh& mesh, FileFindings& findings)
{
    OpenFile opened(path);
    if (!opened.file) return false;
    const TivLayout layout = walkTivBlocks(opened.file, findings);

    const int vertices = mesh.m_vertices.size();
    for (int v = 0; v < vertices; ++v)
    {
        const float p[3] = {mesh.m_vertices[v].x(), mesh.m_vertices[v].y(), mesh.m_vertices[v].z()};
        if (!finite(p, 3))
            addTiv(findings, FindingKind::nonFinite, 10001, layout.vertexData + 12LL * v,
                   "vertex " + std::to_string(v) + " is " + vectorShown(p, 3));
    }
    const int slots = mesh.m_faceVertexIndices.size();
    for (int c = 0; c < mesh.m_cornerUVs.size(); ++c)
    {
        if (c < slots && c % 4 == 3 && mesh.m_faceVertexIndices[c] == -1) continue;
        const float p[2] = {mesh.m_cornerUVs[c].x(), mesh.m_cornerUVs[c].y()};
        if (!finite(p, 2))
            addTiv(findings, FindingKind::nonFinite, 25001, layout.uvData + 8LL * c,
                   "corner " + std::to_string(c) + " (face " + std::to_string(c / 4) +
                       ") has texture coordinate " + vectorShown(p, 2));
    }
    for (int f = 0; f < slots / 4; ++f)
    {
        const int* corner = &mesh.m_faceVertexIndices[4 * f];
        const int n = corner[3] == -1 ? 3 : 4;
        for (int k = 0; k < n; ++k)
            if (corner[k] < 0 || corner[k] >= vertices)
            {
                addTiv(findings, FindingKind::vertexIndexOutside, 20001, layout.faceData + 16LL * f,
                       "face " + std::to_string(f) + " with vertex index " +
                           std::to_string(corner[k]) + " outside the " +
                           plural(vertices, "vertex", "vertices") + " of the file");
                break;
            }
    }
    return true;
}
