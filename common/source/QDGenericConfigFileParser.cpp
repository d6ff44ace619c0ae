#include "QDGenericConfigFileParser.h"

#include "QDDiskServer.h"
#include "QDReplacingFile.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{
inline unsigned char upper(char c)
{
    return QDString::s_toUpper[(signed char)c];
}

inline bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

// The whole file, zero-terminated. The stream's size is only an upper bound:
// a folder or a file cut while we read reports more than it delivers, so the
// buffer grows with what was really read and never with what was announced.
void readOpenFile(QDDiskServer::FileHandle file, long size, std::vector<char>& bytes)
{
    const unsigned long step = 1ul << 20;
    bytes.clear();
    unsigned long total = size > 0 ? (unsigned long)size : 0;
    while (bytes.size() < total)
    {
        unsigned long want = total - bytes.size();
        if (want > step) want = step;
        size_t old = bytes.size();
        bytes.resize(old + want);
        unsigned long got = QDDiskServer::fileRead(file, bytes.data() + old, want);
        bytes.resize(old + got);
        if (got < want) break;
    }
    bytes.push_back(0);
}

// Size of an opened file, or 0 when it did not open.
long openedSize(QDDiskServer::FileHandle file)
{
    if (file == QDDiskServer::s_invalidFile) return 0;
    long size = QDDiskServer::fileSize(file);
    return size > 0 ? size : 0;
}

bool sameKey(const QDString& key, const QDString& upperToken)
{
    return !key.empty() && key == upperToken;
}

// Walks the text as the look-up and the rewrite both do: a line runs up to the
// first byte of the next non-empty line, so the empty lines after it belong to
// it. A line without a key keeps the key of the line before, which is why the
// rewrite drops the blank lines that follow a replaced key.
template <typename Visit> void walkKeyedLines(const std::vector<char>& bytes, Visit visit)
{
    // The text ends at its first zero byte, as every line function sees it.
    const char* text = bytes.data();
    const char* textEnd = text + strlen(text);
    QDString key, value;
    for (const char* line = text; line;)
    {
        const char* next = QDGenericConfigFileParser::findNextLine(line);
        const char* lineEnd = next ? next : textEnd;
        QDGenericConfigFileParser::parseALine(line, lineEnd, key, value);
        key.toUpper();
        if (!visit(line, lineEnd, key, value)) return;
        line = next;
    }
}

QDString upperCopy(const QDString& text)
{
    QDString copy(text);
    copy.toUpper();
    return copy;
}

bool isFalseSpelling(const char* text)
{
    return QDString::cmpNoCase(text, "No") == 0 || QDString::cmpNoCase(text, "0") == 0 ||
           QDString::cmpNoCase(text, "False") == 0 || QDString::cmpNoCase(text, "#f") == 0;
}

bool isTrueSpelling(const char* text)
{
    return QDString::cmpNoCase(text, "Yes") == 0 || QDString::cmpNoCase(text, "1") == 0 ||
           QDString::cmpNoCase(text, "True") == 0 || QDString::cmpNoCase(text, "#t") == 0;
}
} // namespace

bool QDGenericConfigFileToken::parseLine(const char* line, void* context) const
{
    if (!line) return false;
    const char* p = line;
    for (const char* k = m_key.isNull() ? "" : m_key.c_str(); *k; ++k, ++p)
        if (*p == 0 || upper(*k) != upper(*p)) return false;
    if (*p == 0)
    {
        if (m_callback) m_callback("", context);
        return true;
    }
    while (*p == ':' || *p == '=' || isBlank(*p))
        ++p;
    if (*p != 0 && m_callback) m_callback(p, context);
    return true;
}

QDGenericConfigFileParser::QDGenericConfigFileParser(const QDGenericConfigFileParser& other)
{
    copyTokens(other.m_tokens);
}

QDGenericConfigFileParser&
QDGenericConfigFileParser::operator=(const QDGenericConfigFileParser& other)
{
    if (this != &other)
    {
        deleteTokens();
        copyTokens(other.m_tokens);
    }
    return *this;
}

QDGenericConfigFileParser::~QDGenericConfigFileParser()
{
    deleteTokens();
}

void QDGenericConfigFileParser::copyTokens(const QDGenericConfigFileToken* head)
{
    QDGenericConfigFileToken** tail = &m_tokens;
    for (const QDGenericConfigFileToken* t = head; t; t = t->m_next)
    {
        *tail = new QDGenericConfigFileToken(t->m_key, t->m_callback, nullptr);
        tail = &(*tail)->m_next;
    }
}

void QDGenericConfigFileParser::deleteTokens()
{
    while (m_tokens)
    {
        QDGenericConfigFileToken* next = m_tokens->m_next;
        delete m_tokens;
        m_tokens = next;
    }
}

void QDGenericConfigFileParser::addToken(const char* key, QDConfigTokenCallback callback)
{
    m_tokens = new QDGenericConfigFileToken(QDString(key), callback, m_tokens);
}

bool QDGenericConfigFileParser::parseFile(const char* path, void* context) const
{
    QDDiskServer::ScopedFile file(QDDiskServer::fileOpen(QDString(path), "rb"));
    if (!file.isOpen()) return false;
    long size = openedSize(file.get());
    if (size == 0) return false;
    std::vector<char> bytes;
    readOpenFile(file.get(), size, bytes);
    file.close();

    for (char* line = bytes.data(); line;)
    {
        char* end = findEndOfLine(line);
        char* begin = line;
        while (isBlank(*begin))
            ++begin;
        char* cut = end;
        while (cut > begin && isBlank(cut[-1]))
            --cut;
        // Terminate the line in place for the tokens, then put the byte back so
        // that the walk to the next line still sees the line end.
        char saved = *cut;
        *cut = 0;
        for (const QDGenericConfigFileToken* t = m_tokens; t; t = t->m_next)
            if (t->parseLine(begin, context)) break;
        *cut = saved;
        line = findNextLine(end);
    }
    return true;
}

QDString QDGenericConfigFileParser::findTokenInConfigFile(const QDString& path,
                                                          const QDString& token, bool* found)
{
    QDString upperToken = upperCopy(token);
    QDDiskServer::ScopedFile file(QDDiskServer::fileOpen(path, "rb"));
    long size = openedSize(file.get());
    if (found) *found = false;
    if (size < 1) return QDString();
    std::vector<char> bytes;
    readOpenFile(file.get(), size, bytes);
    file.close();

    QDString result;
    walkKeyedLines(bytes,
                   [&](const char*, const char*, const QDString& key, const QDString& value)
                   {
                       if (!sameKey(key, upperToken)) return true;
                       if (found) *found = true;
                       int n = value.length();
                       if (n > 1 && value[0] == '"' && value[n - 1] == '"')
                           result.create(value.c_str() + 1, value.c_str() + n - 1);
                       else
                           result = value;
                       return false;
                   });
    return result;
}

bool QDGenericConfigFileParser::replaceTokenInConfigFile(const QDString& path,
                                                         const QDString& token,
                                                         const QDString& value, bool* found)
{
    QDString upperToken = upperCopy(token);
    QDString newLine = upperToken + QDString(" = ") + value + QDString("\n");

    QDDiskServer::ScopedFile file(QDDiskServer::fileOpen(path, "rb"));
    long size = openedSize(file.get());
    if (found) *found = false;

    // The key always comes first; the other lines follow in their order.
    std::vector<char> kept(newLine.c_str(), newLine.c_str() + newLine.length());
    if (size > 0)
    {
        std::vector<char> bytes;
        readOpenFile(file.get(), size, bytes);
        kept.reserve(kept.size() + bytes.size());
        walkKeyedLines(
            bytes,
            [&](const char* line, const char* lineEnd, const QDString& key, const QDString&)
            {
                if (sameKey(key, upperToken))
                {
                    if (found) *found = true;
                }
                else
                {
                    kept.insert(kept.end(), line, lineEnd);
                }
                return true;
            });
    }
    file.close();

    // The file keeps its earlier lines unless the new ones were all written.
    QDReplacingFile out;
    if (!out.open(path)) return false;
    if (QDDiskServer::fileWrite(out.handle(), kept.data(), kept.size()) != kept.size())
        return false;
    return out.commit();
}

float QDGenericConfigFileParser::paramToFloat(const char* text)
{
    float value = 0.0f;
    if (!text || sscanf(text, "%f", &value) != 1) return 0.0f;
    return value;
}

int QDGenericConfigFileParser::paramToInt(const char* text)
{
    float value = paramToFloat(text);
    // Out of range (or not a number) would make the conversion undefined.
    if (value != value) return 0;
    if (value >= 2147483648.0f) return INT_MAX;
    if (value < -2147483648.0f) return INT_MIN;
    return int(value);
}

bool QDGenericConfigFileParser::paramToBool(const char* text)
{
    return !isFalseSpelling(text);
}

int QDGenericConfigFileParser::paramToBoolOrDefault(const char* text)
{
    if (isFalseSpelling(text)) return 0;
    return isTrueSpelling(text) ? 1 : -1;
}

QDString QDGenericConfigFileParser::paramToString(const char* text)
{
    QDString result;
    if (!text) return result;
    const char* begin = text;
    const char* end = text + strlen(text);
    if (*begin == '"')
    {
        ++begin;
        if (end - text > 1 && end[-1] == '"') --end;
    }
    result.create(begin, end);
    return result;
}

char* QDGenericConfigFileParser::findEndOfLine(char* text)
{
    return const_cast<char*>(findEndOfLine(static_cast<const char*>(text)));
}

const char* QDGenericConfigFileParser::findEndOfLine(const char* text)
{
    if (!text) return nullptr;
    while (*text != 0 && *text != '\n' && *text != '\r')
        ++text;
    return text;
}

char* QDGenericConfigFileParser::findNextLine(char* text)
{
    text = findEndOfLine(text);
    if (!text) return nullptr;
    while (*text == '\n' || *text == '\r')
        ++text;
    return *text ? text : nullptr;
}

const char* QDGenericConfigFileParser::findNextLine(const char* text)
{
    return findNextLine(const_cast<char*>(text));
}

bool QDGenericConfigFileParser::parseALine(const char* begin, const char* end, QDString& key,
                                           QDString& value)
{
    if (!begin || end <= begin) return false;
    while (begin < end && isBlank(*begin))
        ++begin;
    while (end > begin && (isBlank(end[-1]) || end[-1] == '\n' || end[-1] == '\r'))
        --end;
    const char* equal = begin;
    while (equal < end && *equal != '=')
        ++equal;
    const char* keyEnd = equal;
    while (keyEnd > begin && isBlank(keyEnd[-1]))
        --keyEnd;
    if (keyEnd == begin) return false;
    const char* valueBegin = equal < end ? equal + 1 : end;
    while (valueBegin < end && isBlank(*valueBegin))
        ++valueBegin;
    key.create(begin, keyEnd);
    value.create(valueBegin, end);
    return true;
}
