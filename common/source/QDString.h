#pragma once

// The in-house 8-bit string: one owned, NUL-terminated heap buffer and nothing
// else. Two empty states are distinct on purpose: the null string (no buffer,
// what a default-constructed or cleared string holds) and the allocated empty
// string (a one-byte buffer), so "never set" can be told from "set to nothing".
class QDString
{
public:
    static const unsigned long s_oneSecond = 1000;
    static const unsigned long s_oneMinute = 60000;
    static const unsigned long s_oneHour = 3600000;
    static const unsigned long s_oneDay = 86400000;

    // Upper-case table, indexed with the character taken as signed (see QDByteTables.h).
    static const unsigned char* const s_toUpper;
    static QDString s_emptyString;

    constexpr QDString() : m_data(nullptr) {}
    QDString(const char* text);
    QDString(const QDString& other);
    QDString(QDString&& other) noexcept : m_data(other.m_data) { other.m_data = nullptr; }
    ~QDString() { clear(); }

    void clear();
    void set(const char* text);
    QDString& operator=(const char* text);
    QDString& operator=(const QDString& other);
    QDString& operator=(QDString&& other) noexcept;
    void swap(QDString& other);
    void create(const char* begin, const char* end);
    void create(int count, char c);

    int length() const;
    bool empty() const { return m_data == nullptr || m_data[0] == 0; }
    bool isNull() const { return m_data == nullptr; }
    const char* c_str() const { return m_data; }
    char* c_str() { return m_data; }
    signed char operator[](int i) const { return (signed char)m_data[i]; }
    int getMemoryUsed() const { return int(sizeof(QDString)); }
    int getDynMemoryUsed() const;
    static const QDString& emptyString() { return s_emptyString; }

    QDString operator+(const QDString& right) const;
    QDString& operator+=(const QDString& right);

    static int cmp(const char* a, const char* b, int n = 0);
    static int cmpNoCase(const char* a, const char* b, int n = 0);
    bool operator==(const QDString& other) const;
    bool operator!=(const QDString& other) const { return !(*this == other); }
    bool startsWith(const QDString& prefix, bool noCase = false) const;
    bool endsWith(const QDString& suffix, bool noCase = false) const;
    bool isInPath(const QDString& folder) const;

    // Character-set searches treat every byte of the set, 0x80-0xFF included, as itself.
    int findFirstCharOf(const QDString& set) const;
    int findLastCharOf(const QDString& set) const;
    int findFirstCharNotOf(const QDString& set) const;
    int findLastCharNotOf(const QDString& set) const;
    int findNextCharOf(const QDString& set, int from) const;
    int findPrevCharOf(const QDString& set, int from) const;
    int findNextCharNotOf(const QDString& set, int from) const;
    int findPrevCharNotOf(const QDString& set, int from) const;

    int findFirst(const QDString& sub, bool noCase = false) const;
    int findLast(const QDString& sub, bool noCase = false) const;
    int findNext(const QDString& sub, int from, bool noCase = false) const;
    // Matches starting before from, in one backward pass that never backtracks.
    int findPrev(const QDString& sub, int from, bool noCase = false) const;
    // The text between the first open and the first close after it (findFirstTag), or
    // between the last close and the nearest open before it (findLastTag): from is
    // the index just past open, to the index of close. Unchanged when not found.
    bool findFirstTag(const QDString& open, const QDString& close, int& from, int& to,
                      bool noCase = false) const;
    bool findLastTag(const QDString& open, const QDString& close, int& from, int& to,
                     bool noCase = false) const;

    void cutFrom(int n);
    void cutTo(int n);
    QDString subString(int start, int end = -1) const;
    QDString& toUpper();
    void replaceCharsOf(const QDString& set, char c);
    void replaceCharsNotOf(const QDString& set, char c);
    void removeCharsOf(const QDString& set);
    void removeCharsNotOf(const QDString& set);

    QDString quoted(const QDString& q) const;
    QDString quoted() const;
    QDString unquoted() const;

    // Points into our own buffer; "" for the null string, never a null pointer.
    const char* getValidFilePath() const;
    void makePathValid();
    QDString getFileName() const;
    // Next name of a numbered series: the digits just before the extension count up
    // (name07.png -> name08.png, name99 -> name100), a name without digits gets a 1.
    // False, and no change, for an empty string.
    bool fileNameAdvance();

    int convertToInt() const;
    static QDString int2String(int value);
    void print(QDString format, ...);
    static QDString format(QDString format, ...);
    void printShortCount(int n);
    // Largest units first, zero units left out ("1d 2h 5m 7s"); "0s" for nothing.
    // withMilliseconds adds the leftover milliseconds ("1s 250ms").
    void printTime(unsigned long ms, bool withMilliseconds = false);

private:
    explicit QDString(char* adopted, int) : m_data(adopted) {}
    static QDString adopt(char* buffer) { return QDString(buffer, 0); }

    char* m_data;
};

QDString operator+(const char* left, const QDString& right);

int qdSprintf(char* buffer, const char* format, ...);
int qdSprintf_s(char* buffer, int size, const char* format, ...);
