#include "QDString.h"

#include "QDByteTables.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

const unsigned char* const QDString::s_toUpper = QDByteTables::s_toUpper;
QDString QDString::s_emptyString;

namespace
{
// Signed on purpose: bytes 0x80-0xFF read below the case table (see QDByteTables.h).
inline unsigned char upper(char c) { return QDString::s_toUpper[(signed char)c]; }

inline int strLength(const char* s) { return s ? int(strlen(s)) : 0; }

char* copyOf(const char* begin, size_t n)
{
    char* buffer = new char[n + 1];
    memcpy(buffer, begin, n);
    buffer[n] = 0;
    return buffer;
}

// Membership table of a character set. Indexing by the unsigned byte marks and
// finds exactly what a signed index would, without leaving the table.
struct CharSet
{
    bool in[256];
    CharSet(const QDString& set, bool inverted)
    {
        memset(in, inverted ? 1 : 0, sizeof(in));
        for (const char* p = set.c_str(); p && *p; ++p)
            in[(unsigned char)*p] = !inverted;
    }
    bool has(char c) const { return in[(unsigned char)c]; }
};

int scanForward(const char* s, int len, int from, const CharSet& set)
{
    for (int i = from < 0 ? 0 : from; i < len; ++i)
        if (set.has(s[i]))
            return i;
    return -1;
}

int scanBackward(const char* s, int len, int from, const CharSet& set)
{
    for (int i = from >= len ? len - 1 : from; i >= 0; --i)
        if (set.has(s[i]))
            return i;
    return -1;
}

inline bool sameChar(char a, char b, bool noCase) { return noCase ? upper(a) == upper(b) : a == b; }

bool matchesAt(const char* s, const char* sub, int subLen, bool noCase)
{
    for (int j = 0; j < subLen; ++j)
        if (!sameChar(s[j], sub[j], noCase))
            return false;
    return true;
}

// Both comparisons order null before any non-empty string and equal to an
// empty one, and stop at the first terminator or after n characters; they
// differ only in the key of a character.
template <class Key> int compareKeys(const char* a, const char* b, int n, Key key)
{
    if (!a)
        return (!b || !*b) ? 0 : -1;
    if (!b)
        return *a ? 1 : 0;
    if (n < 1)
        n = 2147483647;
    for (int i = 0; i < n; ++i)
    {
        int ca = key(a[i]), cb = key(b[i]);
        if (ca < cb)
            return -1;
        if (ca > cb)
            return 1;
        if (ca == 0)
            return 0;
    }
    return 0;
}
} // namespace

QDString::QDString(const char* text) : m_data(text ? copyOf(text, strlen(text)) : nullptr) {}

QDString::QDString(const QDString& other) : QDString(other.m_data) {}

void QDString::clear()
{
    delete[] m_data;
    m_data = nullptr;
}

void QDString::set(const char* text)
{
    // Copy first: text may point into our own buffer.
    char* fresh = text ? copyOf(text, strlen(text)) : nullptr;
    delete[] m_data;
    m_data = fresh;
}

QDString& QDString::operator=(const char* text)
{
    set(text);
    return *this;
}

QDString& QDString::operator=(const QDString& other)
{
    set(other.m_data);
    return *this;
}

QDString& QDString::operator=(QDString&& other) noexcept
{
    if (this != &other)
    {
        delete[] m_data;
        m_data = other.m_data;
        other.m_data = nullptr;
    }
    return *this;
}

void QDString::swap(QDString& other)
{
    char* t = m_data;
    m_data = other.m_data;
    other.m_data = t;
}

void QDString::create(const char* begin, const char* end)
{
    // Copy before freeing: the range may lie inside our own buffer.
    char* fresh = (begin && end - begin > 0) ? copyOf(begin, size_t(end - begin)) : nullptr;
    delete[] m_data;
    m_data = fresh;
}

void QDString::create(int count, char c)
{
    clear();
    if (count >= 1)
    {
        m_data = new char[size_t(count) + 1];
        memset(m_data, c, size_t(count));
        m_data[count] = 0;
    }
}

int QDString::length() const { return strLength(m_data); }

int QDString::getDynMemoryUsed() const { return m_data ? length() + 1 : 0; }

QDString QDString::operator+(const QDString& right) const
{
    int n = length();
    if (n == 0)
        return right;
    int m = right.length();
    if (m == 0)
        return *this;
    char* buffer = new char[size_t(n) + size_t(m) + 1];
    memcpy(buffer, m_data, size_t(n));
    memcpy(buffer + n, right.m_data, size_t(m) + 1);
    return adopt(buffer);
}

QDString operator+(const char* left, const QDString& right)
{
    if (strLength(left) == 0)
        return right;
    return QDString(left) + right;
}

QDString& QDString::operator+=(const QDString& right)
{
    QDString sum = *this + right;
    swap(sum);
    return *this;
}

int QDString::cmp(const char* a, const char* b, int n)
{
    return compareKeys(a, b, n, [](char c) { return int((signed char)c); });
}

int QDString::cmpNoCase(const char* a, const char* b, int n)
{
    return compareKeys(a, b, n, [](char c) { return int(upper(c)); });
}

bool QDString::operator==(const QDString& other) const
{
    if (!m_data || !other.m_data)
        return !m_data && !other.m_data;
    return strcmp(m_data, other.m_data) == 0;
}

bool QDString::startsWith(const QDString& prefix, bool noCase) const
{
    int n = prefix.length();
    if (length() < n)
        return false;
    if (n == 0)
        return true;
    return (noCase ? cmpNoCase(m_data, prefix.m_data, n) : cmp(m_data, prefix.m_data, n)) == 0;
}

bool QDString::endsWith(const QDString& suffix, bool noCase) const
{
    int n = suffix.length();
    int len = length();
    if (len < n)
        return false;
    if (n == 0)
        return true;
    const char* tail = m_data + (len - n);
    return (noCase ? cmpNoCase(tail, suffix.m_data, n) : cmp(tail, suffix.m_data, n)) == 0;
}

bool QDString::isInPath(const QDString& folder) const
{
    int n = folder.length();
    if (length() < n)
        return false;
    for (int i = 0; i < n; ++i)
    {
        char a = m_data[i] == '\\' ? '/' : m_data[i];
        char b = folder.m_data[i] == '\\' ? '/' : folder.m_data[i];
        if (upper(a) != upper(b))
            return false;
    }
    return true;
}

int QDString::findFirstCharOf(const QDString& set) const
{
    return scanForward(m_data, length(), 0, CharSet(set, false));
}

int QDString::findLastCharOf(const QDString& set) const
{
    int len = length();
    return scanBackward(m_data, len, len - 1, CharSet(set, false));
}

int QDString::findFirstCharNotOf(const QDString& set) const
{
    return scanForward(m_data, length(), 0, CharSet(set, true));
}

int QDString::findLastCharNotOf(const QDString& set) const
{
    int len = length();
    return scanBackward(m_data, len, len - 1, CharSet(set, true));
}

int QDString::findNextCharOf(const QDString& set, int from) const
{
    return scanForward(m_data, length(), from, CharSet(set, false));
}

int QDString::findPrevCharOf(const QDString& set, int from) const
{
    return scanBackward(m_data, length(), from, CharSet(set, false));
}

int QDString::findNextCharNotOf(const QDString& set, int from) const
{
    return scanForward(m_data, length(), from, CharSet(set, true));
}

int QDString::findPrevCharNotOf(const QDString& set, int from) const
{
    return scanBackward(m_data, length(), from, CharSet(set, true));
}

int QDString::findFirst(const QDString& sub, bool noCase) const { return findNext(sub, 0, noCase); }

int QDString::findNext(const QDString& sub, int from, bool noCase) const
{
    int len = length(), subLen = sub.length();
    if (len == 0 || len < subLen)
        return -1;
    for (int i = from < 0 ? 0 : from; i <= len - subLen; ++i)
        if (matchesAt(m_data + i, sub.m_data, subLen, noCase))
            return i;
    return -1;
}

int QDString::findLast(const QDString& sub, bool noCase) const
{
    int len = length(), subLen = sub.length();
    if (len == 0 || len < subLen)
        return -1;
    for (int i = len - subLen; i >= 0; --i)
        if (matchesAt(m_data + i, sub.m_data, subLen, noCase))
            return i;
    return -1;
}

int QDString::findPrev(const QDString& sub, int from, bool noCase) const
{
    int len = length(), subLen = sub.length();
    if (from < 1 || subLen == 0 || subLen > len)
        return -1;
    if (from > len - subLen + 1)
        from = len - subLen + 1;
    // A single backward pass that never backtracks: after a mismatch the scan
    // goes on from the next character to the left, and that mismatching
    // character may itself start a new match of the last character of sub.
    int i = from - 1 + subLen - 1;
    int j = subLen - 1;
    while (i >= 0)
    {
        if (sameChar(m_data[i], sub.m_data[j], noCase))
        {
            if (j == 0)
                return i;
            --j;
        }
        else
        {
            j = subLen - 1;
            if (m_data[i] == sub.m_data[j])
                --j;
        }
        --i;
    }
    return -1;
}

bool QDString::findFirstTag(const QDString& open, const QDString& close, int& from, int& to,
                            bool noCase) const
{
    int o = findFirst(open, noCase);
    if (o < 0)
        return false;
    int c = findNext(close, o + open.length(), noCase);
    if (c < 0)
        return false;
    from = o + open.length();
    to = c;
    return true;
}

bool QDString::findLastTag(const QDString& open, const QDString& close, int& from, int& to,
                           bool noCase) const
{
    int c = findLast(close, noCase);
    if (c < 0)
        return false;
    int len = length(), openLen = open.length();
    for (int o = c - openLen; o >= 0; --o)
    {
        if (o + openLen <= len && matchesAt(m_data + o, open.m_data, openLen, noCase))
        {
            from = o + openLen;
            to = c;
            return true;
        }
    }
    return false;
}

void QDString::cutFrom(int n)
{
    if (n >= 0 && n < length())
        m_data[n] = 0;
}

void QDString::cutTo(int n)
{
    if (n <= 0)
        return;
    int len = length();
    if (n >= len)
    {
        clear();
        return;
    }
    char* fresh = copyOf(m_data + n, size_t(len - n));
    delete[] m_data;
    m_data = fresh;
}

QDString QDString::subString(int start, int end) const
{
    int len = length();
    if (start < 0)
        start = 0;
    if (start >= len)
        return QDString();
    if (end < 0 || end > len)
        end = len;
    // Terminate our own buffer at end for the copy, then put the byte back.
    // With end before start the copy therefore runs to the real end.
    char saved = m_data[end];
    m_data[end] = 0;
    QDString result(m_data + start);
    m_data[end] = saved;
    return result;
}

QDString& QDString::toUpper()
{
    for (char* p = m_data; p && *p; ++p)
        *p = char(upper(*p));
    return *this;
}

void QDString::replaceCharsOf(const QDString& set, char c)
{
    CharSet in(set, false);
    for (char* p = m_data; p && *p; ++p)
        if (in.has(*p))
            *p = c;
}

void QDString::replaceCharsNotOf(const QDString& set, char c)
{
    CharSet in(set, true);
    for (char* p = m_data; p && *p; ++p)
        if (in.has(*p))
            *p = c;
}

void QDString::removeCharsOf(const QDString& set)
{
    CharSet in(set, false);
    char* out = m_data;
    for (char* p = m_data; p && *p; ++p)
        if (!in.has(*p))
            *out++ = *p;
    if (out)
        *out = 0;
}

void QDString::removeCharsNotOf(const QDString& set)
{
    CharSet in(set, true);
    char* out = m_data;
    for (char* p = m_data; p && *p; ++p)
        if (!in.has(*p))
            *out++ = *p;
    if (out)
        *out = 0;
}

QDString QDString::quoted(const QDString& q) const { return q + *this + q; }

QDString QDString::quoted() const { return quoted(QDString("\"")); }

QDString QDString::unquoted() const
{
    if (startsWith("\"") && endsWith("\""))
        return subString(1, length() - 1);
    return *this;
}

const char* QDString::getValidFilePath() const
{
    if (!m_data)
        return "";
    const char* p = m_data;
    const char* colon = strchr(p, ':');
    if (colon)
        p = colon + 1;
    const char* slash = strchr(p, '/');
    return slash ? slash : p;
}

void QDString::makePathValid()
{
    if (startsWith("!:"))
        cutTo(2);
    else if (startsWith("file:", true))
        cutTo(5);
    int len = length();
    if (len > 0 && (m_data[len - 1] == '/' || m_data[len - 1] == '\\'))
        m_data[len - 1] = 0;
}

QDString QDString::getFileName() const
{
    if (!m_data)
        return QDString();
    int len = length();
    int end = len;
    int i = len - 1;
    for (; i >= 0; --i)
    {
        char c = m_data[i];
        if (c == '/' || c == '\\')
            break;
        if (c == '.' && end == len)
            end = i;
    }
    QDString name;
    name.create(m_data + (i + 1), m_data + end);
    return name;
}

bool QDString::fileNameAdvance()
{
    // name07.png -> name08.png, name99 -> name100, name.png -> name1.png
    int len = length();
    if (len == 0)
        return false;
    int stem = len;
    for (int i = len - 1; i >= 0 && m_data[i] != '/' && m_data[i] != '\\'; --i)
        if (m_data[i] == '.')
        {
            stem = i;
            break;
        }
    int digitsEnd = stem, digitsBegin = stem;
    while (digitsBegin > 0 && m_data[digitsBegin - 1] >= '0' && m_data[digitsBegin - 1] <= '9')
        --digitsBegin;
    QDString head, digits, tail;
    head.create(m_data, m_data + digitsBegin);
    digits.create(m_data + digitsBegin, m_data + digitsEnd);
    tail.create(m_data + stem, m_data + len);
    if (digits.empty())
    {
        *this = head + QDString("1") + tail;
        return true;
    }
    int k = digits.length() - 1;
    for (; k >= 0; --k)
    {
        if (digits.m_data[k] != '9')
        {
            ++digits.m_data[k];
            break;
        }
        digits.m_data[k] = '0';
    }
    if (k < 0)
        digits = QDString("1") + digits;
    *this = head + digits + tail;
    return true;
}

int QDString::convertToInt() const
{
    if (!m_data)
        return 0;
    const char* p = m_data;
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';
    unsigned int value = 0; // wraps on overflow instead of being undefined
    for (; *p >= '0' && *p <= '9'; ++p)
        value = value * 10u + unsigned(*p - '0');
    return int(negative ? 0u - value : value);
}

QDString QDString::int2String(int value) { return format("%d", value); }

void QDString::print(QDString format, ...)
{
    char buffer[512];
    va_list args;
    va_start(args, format);
    vsnprintf(buffer, sizeof(buffer), format.m_data ? format.m_data : "", args);
    va_end(args);
    set(buffer);
}

QDString QDString::format(QDString format, ...)
{
    char buffer[512];
    va_list args;
    va_start(args, format);
    vsnprintf(buffer, sizeof(buffer), format.m_data ? format.m_data : "", args);
    va_end(args);
    return QDString(buffer);
}

void QDString::printShortCount(int n)
{
    int m = n / 1000000;
    int k = (n % 1000000) / 1000;
    int u = n % 1000;
    if (m >= 1)
        print("%d.%dm", m, k / 100);
    else if (k >= 1)
        print("%d.%dk", k, u / 100);
    else
        print("%d", u);
}

void QDString::printTime(unsigned long ms, bool withMilliseconds)
{
    // Largest units first, zero units left out: "1d 2h 5m 7s", "250ms".
    unsigned long days = ms / s_oneDay;
    unsigned long hours = ms % s_oneDay / s_oneHour;
    unsigned long minutes = ms % s_oneHour / s_oneMinute;
    unsigned long seconds = ms % s_oneMinute / s_oneSecond;
    unsigned long millis = ms % s_oneSecond;
    char buffer[128];
    int n = 0;
    const unsigned long values[4] = {days, hours, minutes, seconds};
    const char* units[4] = {"d", "h", "m", "s"};
    for (int i = 0; i < 4; ++i)
        if (values[i] != 0)
            n += snprintf(buffer + n, sizeof(buffer) - size_t(n), "%s%lu%s", n ? " " : "",
                          values[i], units[i]);
    if (withMilliseconds && (millis != 0 || n == 0))
        n += snprintf(buffer + n, sizeof(buffer) - size_t(n), "%s%lums", n ? " " : "", millis);
    if (n == 0)
        snprintf(buffer, sizeof(buffer), "0s");
    set(buffer);
}

int qdSprintf(char* buffer, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    int n = vsprintf(buffer, format, args);
    va_end(args);
    return n;
}

int qdSprintf_s(char* buffer, int size, const char* format, ...)
{
    if (!buffer || size <= 0)
        return -1;
    va_list args;
    va_start(args, format);
    int n = vsnprintf(buffer, size_t(size), format ? format : "", args);
    va_end(args);
    return n;
}
