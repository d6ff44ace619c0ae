#pragma once

// What the plug-in's readers make of a file that a user would not expect.
// The readers take what they can and say nothing (a send must not stop for a
// stray byte); the tools say it, from a pass of their own over the file that
// follows the readers' rules, so that the readers pay nothing for it.

#include <string>
#include <vector>

class QDTivMesh;

enum class FindingKind
{
    notText,            // NUL bytes, a UTF-16 byte-order mark
    cutShort,           // a .tiv that ends inside a block or before its end block
    lastLineDropped,    // a last OBJ line without a line end
    numbersUnread,      // a v or vt line whose numbers could not all be read
    nonFinite,          // a coordinate that is infinite or NaN
    relativeIndex,      // a negative face index, read the plug-in's way
    vertexIndexOutside, // faces with a vertex index outside the positions
    uvIndexOutside,     // faces with a texture index outside the coordinates
    kinds
};

struct Finding
{
    FindingKind kind;
    long long line = 0;    // OBJ: 1-based line
    unsigned block = 0;    // .tiv: tag of the block
    long long offset = -1; // .tiv: byte offset in the file
    std::string text;
    int weight = 1; // faces, for the index kinds
};

// Every finding is counted; only the first few of each kind are kept to show.
class FileFindings
{
public:
    static const int s_shownPerKind = 3;

    void add(Finding finding);
    int total() const;
    int count(FindingKind kind) const { return m_count[int(kind)]; }
    const std::vector<Finding>& shown() const { return m_shown; }

    // One line each: "FILE:LINE: text" or "FILE: block B at offset O: text",
    // then one line per kind for those not shown, each line after `prefix`.
    std::string lines(const std::string& file, const std::string& prefix = "") const;
    // {"file": ..., "findings": N, "kinds": {...}, "shown": [...]}
    std::string json(const std::string& file) const;

private:
    int m_count[int(FindingKind::kinds)] = {};
    int m_shownWeight[int(FindingKind::kinds)] = {};
    int m_shownLines[int(FindingKind::kinds)] = {};
    std::vector<Finding> m_shown;
};

// The findings of an OBJ file, read as the plug-in reads it. False when the
// file cannot be opened.
bool findObjReadings(const std::string& path, FileFindings& findings);

// The findings of a .tiv file that the plug-in's reader loaded into `mesh`.
bool findTivReadings(const std::string& path, const QDTivMesh& mesh, FileFindings& findings);
