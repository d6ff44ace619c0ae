#include "QDString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace
{
// The null string shows as "<null>", so one comparison also tells it from "".
std::string str(const QDString& s) { return s.c_str() ? s.c_str() : "<null>"; }
} // namespace

TEST(QDString, NullAndAllocatedEmptyAreDistinct)
{
    QDString null1, null2, empty1(""), empty2;
    empty2.set("");
    EXPECT_TRUE(null1 == null2 && empty1 == empty2);
    EXPECT_FALSE(null1 == empty1);
    EXPECT_TRUE(null1 != empty1);
    EXPECT_TRUE(null1.empty() && empty1.empty());
    EXPECT_EQ(null1.getDynMemoryUsed() + 10 * empty1.getDynMemoryUsed(), 10);
    EXPECT_EQ(QDString("abc").getDynMemoryUsed(), 4);
    EXPECT_EQ(null1.getMemoryUsed(), int(sizeof(void*)));
    EXPECT_EQ(str(QDString(empty1)), "");
    EXPECT_EQ(str(QDString(null1)), "<null>");
    EXPECT_EQ(str(QDString(static_cast<const char*>(nullptr))), "<null>");
    EXPECT_EQ(str(QDString::emptyString()), "<null>");
    QDString assigned("x");
    assigned = empty1;
    EXPECT_EQ(str(assigned), "");
    assigned = null1;
    EXPECT_EQ(str(assigned), "<null>");

    // A sum whose left side has length 0 is a copy of the right side, null or not.
    EXPECT_EQ(str(null1 + empty1), "");
    EXPECT_EQ(str(empty1 + null1), "<null>");
    EXPECT_EQ(str("" + empty1), "");
    EXPECT_EQ(str("" + null1), "<null>");
    EXPECT_EQ(str("x" + null1), "x");
    EXPECT_EQ(str(QDString("ab") + QDString("cd")), "abcd");
    QDString sum;
    sum += empty1;
    sum += QDString("ab");
    sum += sum;
    EXPECT_EQ(str(sum), "abab");
}

TEST(QDString, CreateSetAndSwapWithRangesInsideTheString)
{
    QDString s("hello world");
    s.set(s.c_str() + 6);
    EXPECT_EQ(str(s), "world");
    s.create(s.c_str() + 1, s.c_str() + 4);
    EXPECT_EQ(str(s), "orl");
    s.create(s.c_str(), s.c_str());
    EXPECT_EQ(str(s), "<null>");
    s.create(nullptr, "abc");
    EXPECT_EQ(str(s), "<null>");
    s.create(3, 'z');
    EXPECT_EQ(str(s), "zzz");
    QDString other;
    s.swap(other);
    EXPECT_EQ(str(s) + str(other), "<null>zzz");
    s.create(0, 'z');
    EXPECT_EQ(str(s), "<null>");
    EXPECT_EQ(QDString("\xFF")[0], -1); // characters read as signed
}

TEST(QDString, ComparisonIsSignedAndCaseFoldingUsesTheBitCountTable)
{
    struct Case
    {
        const char *a, *b;
        int n, cmp, noCase;
    };
    const Case cases[] = {{nullptr, "", 0, 0, 0},   {"", nullptr, 0, 0, 0},
                          {nullptr, "a", 0, -1, -1}, {"a", nullptr, 0, 1, 1},
                          {"\x80", "a", 0, -1, -1},  {"abc", "abd", 0, -1, -1},
                          {"abc", "abd", 2, 0, 0},   {"ab", "abc", -3, -1, -1},
                          {"Hello", "hELLO", 0, -1, 0},
                          // 0x80-0xFF fold to their bit count, compared unsigned.
                          {"\x81", "\x82", 0, -1, 0}, {"\x80", "\x01", 0, -1, 0},
                          {"\xFF", "\x07", 0, -1, 1}};
    for (const Case& c : cases)
    {
        EXPECT_EQ(QDString::cmp(c.a, c.b, c.n), c.cmp) << str(c.a) << " " << str(c.b);
        EXPECT_EQ(QDString::cmpNoCase(c.a, c.b, c.n), c.noCase) << str(c.a) << " " << str(c.b);
    }
    QDString up("ab\x80\xFFz"), nothing;
    EXPECT_EQ(str(up.toUpper()), "AB\x01\x08Z");
    EXPECT_EQ(str(nothing.toUpper()), "<null>");

    QDString path("/Users/Shared/File.OBJ");
    EXPECT_TRUE(path.startsWith("/Users") && path.startsWith("/users", true));
    EXPECT_FALSE(path.startsWith("/users"));
    EXPECT_TRUE(path.startsWith(QDString()));
    EXPECT_FALSE(QDString("ab").startsWith("abc"));
    EXPECT_TRUE(path.endsWith(".obj", true));
    EXPECT_FALSE(path.endsWith(".obj") || QDString().endsWith("x"));
    EXPECT_TRUE(QDString("\\USERS\\shared\\x").isInPath("/Users/Shared/"));
    EXPECT_FALSE(QDString("/Users").isInPath("/Users/"));
    EXPECT_FALSE(QDString("/Usersx").isInPath("/Users/"));
}

TEST(QDString, CharacterSetSearches)
{
    QDString s("a/b:c/d"), null;
    EXPECT_EQ(s.findFirstCharOf(":/"), 1);
    EXPECT_EQ(s.findLastCharOf(":/"), 5);
    EXPECT_EQ(s.findFirstCharNotOf("a/"), 2);
    EXPECT_EQ(s.findLastCharNotOf("d/"), 4);
    EXPECT_EQ(s.findNextCharOf("/", 2), 5);
    EXPECT_EQ(s.findNextCharOf("/", -4), 1);
    EXPECT_EQ(s.findNextCharOf("/", 6), -1);
    EXPECT_EQ(s.findPrevCharOf("/", 4), 1);
    EXPECT_EQ(s.findPrevCharOf("/", 99), 5);
    EXPECT_EQ(s.findPrevCharOf("/", -1), -1);
    EXPECT_EQ(s.findNextCharNotOf("/:bc", 1), 6);
    EXPECT_EQ(s.findPrevCharNotOf("/:bcd", 6), 0);
    EXPECT_EQ(s.findFirstCharOf(null) + s.findFirstCharNotOf(null), -1);
    EXPECT_EQ(null.findFirstCharOf("/") + null.findLastCharNotOf("/"), -2);

    // Set bytes 0x80-0xFF stand for themselves.
    QDString accented("caf\xE9 \xE8t\xE9");
    EXPECT_EQ(accented.findFirstCharOf("\xE9"), 3);
    EXPECT_EQ(accented.findLastCharOf("\xE9\xE8"), 7);
    EXPECT_EQ(accented.findFirstCharNotOf("acf\xE9"), 4);
    EXPECT_EQ(accented.findLastCharNotOf("\xE9"), 6);
    accented.replaceCharsOf("\xE8\xE9", 'e');
    EXPECT_EQ(str(accented), "cafe ete");
    accented.removeCharsOf(" e");
    EXPECT_EQ(str(accented), "caft");
    accented.replaceCharsNotOf("ct", '-');
    EXPECT_EQ(str(accented), "c--t");
    accented.removeCharsNotOf("-");
    EXPECT_EQ(str(accented), "--");
    null.removeCharsOf("x");
    null.replaceCharsNotOf("x", 'y');
    EXPECT_EQ(str(null), "<null>");
}

TEST(QDString, SubstringSearches)
{
    QDString s("abcABCabc"), null;
    EXPECT_EQ(s.findFirst("bc"), 1);
    EXPECT_EQ(s.findFirst("BC"), 4);
    EXPECT_EQ(s.findFirst("ca", true), 2);
    EXPECT_EQ(s.findFirst(""), 0);
    EXPECT_EQ(s.findFirst("abcABCabcx"), -1);
    EXPECT_EQ(s.findLast("abc"), 6);
    EXPECT_EQ(s.findNext("abc", 1), 6);
    EXPECT_EQ(s.findNext("abc", 1, true), 3);
    EXPECT_EQ(s.findNext("a", INT_MAX), -1);
    EXPECT_EQ(QDString("x\x81y").findFirst("\x82", true), 1); // folded bytes match
    // Null strings on either side: not found, or the empty pattern's answer.
    EXPECT_EQ(null.findFirst("a") + null.findFirst(null) + null.findLast("a", true), -3);
    EXPECT_EQ(s.findFirst(null), 0);
    EXPECT_EQ(QDString("").findFirst(""), -1);

    // findPrev finds matches starting before `from`...
    QDString abab("abab");
    EXPECT_EQ(abab.findPrev("ab", 100), 2);
    EXPECT_EQ(abab.findPrev("ab", 2), 0);
    EXPECT_EQ(abab.findPrev("ab", 0) + abab.findPrev("", 3) + abab.findPrev("ababa", 3), -3);
    EXPECT_EQ(null.findPrev("a", 5), -1);
    // ...in one backward pass without backtracking, so "abb" in "abbb" is missed,
    EXPECT_EQ(QDString("abbb").findPrev("abb", 100), -1);
    EXPECT_EQ(QDString("abbb").findLast("abb"), 0);
    // and a mismatching character restarts a match only when equal with case.
    EXPECT_EQ(QDString("xbb").findPrev("xb", 100, true), 0);
    EXPECT_EQ(QDString("xBb").findPrev("xb", 100, true), -1);
    EXPECT_EQ(QDString("xBb").findPrev("XB", 2, true), 0);

    int from = -1, to = -1;
    QDString tags("<a>one</a><a>two</a>");
    EXPECT_TRUE(tags.findFirstTag("<a>", "</a>", from, to));
    EXPECT_EQ(str(tags.subString(from, to)), "one");
    EXPECT_TRUE(tags.findLastTag("<A>", "</A>", from, to, true));
    EXPECT_EQ(str(tags.subString(from, to)), "two");
    from = to = 42;
    EXPECT_FALSE(tags.findFirstTag("<b>", "</b>", from, to));
    EXPECT_FALSE(tags.findLastTag("<b>", "</a>", from, to));
    EXPECT_FALSE(null.findFirstTag("<a>", "</a>", from, to));
    EXPECT_EQ(from + to, 84);
}

TEST(QDString, CutsAndSubStringsClampTheirArguments)
{
    QDString s("abcdef"), e("");
    const char* buffer = s.c_str();
    s.cutFrom(6);
    s.cutFrom(-1);
    s.cutTo(0);
    s.cutTo(-1);
    EXPECT_EQ(str(s), "abcdef");
    s.cutFrom(4);
    EXPECT_EQ(str(s), "abcd");
    EXPECT_EQ(s.c_str(), buffer); // truncated in place
    s.cutTo(1);
    EXPECT_EQ(str(s), "bcd");
    s.cutTo(s.length());
    e.cutTo(1);
    EXPECT_EQ(str(s) + str(e), "<null><null>");

    const QDString t("abcdef");
    const std::pair<int, int> ranges[] = {{1, 3}, {2, -1}, {2, 99}, {4, 1}, {-3, 2},
                                          {3, -7}, {3, 3},  {6, -1}, {9, 2}};
    const char* const expected[] = {"bc", "cdef", "cdef", "ef", "ab", "def", "", "<null>", "<null>"};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(str(t.subString(ranges[i].first, ranges[i].second)), expected[i]) << i;
    EXPECT_EQ(str(t), "abcdef"); // the temporary terminator is gone
    EXPECT_EQ(str(QDString().subString(0)), "<null>");
}

TEST(QDString, QuotingAndPaths)
{
    EXPECT_EQ(str(QDString("a b").quoted()), "\"a b\"");
    EXPECT_EQ(str(QDString().quoted()), "\"\"");
    EXPECT_EQ(str(QDString("x").quoted("'")), "'x'");
    const char* const unquoted[][2] = {{"\"", "<null>"}, {"\"\"x\"\"", "\"x\""}, {"\"\"", ""},
                                       {"\"x", "\"x"}};
    for (auto& u : unquoted)
        EXPECT_EQ(str(QDString(u[0]).unquoted()), u[1]) << u[0];
    EXPECT_EQ(str(QDString().unquoted()), "<null>");

    const char* const valid[][2] = {{"Disk:/Users/a", "/Users/a"}, {"abc/def", "/def"},
                                    {"file:///x", "///x"},         {"Disk:abc", "abc"},
                                    {"plain", "plain"}};
    for (auto& v : valid)
        EXPECT_STREQ(QDString(v[0]).getValidFilePath(), v[1]);
    EXPECT_STREQ(QDString().getValidFilePath(), "");
    QDString own("a:/b");
    EXPECT_EQ(own.getValidFilePath(), own.c_str() + 2); // no copy

    const char* const paths[][2] = {{"file:/Users/a//", "/Users/a/"}, {"FILE:/a\\", "/a"},
                                    {"!:/x/", "/x"}, {"!:", "<null>"}, {"x!:/y", "x!:/y"},
                                    {"/", ""},       {"F:/", "F:"}};
    for (auto& p : paths)
    {
        QDString path(p[0]);
        path.makePathValid();
        EXPECT_EQ(str(path), p[1]) << p[0];
    }

    const char* const names[][2] = {{"/a/b.c.obj", "b.c"}, {"/a/.obj", "<null>"},
                                    {"dir.x/file", "file"}, {"C:\\dir\\f.txt", "f"},
                                    {"name", "name"},       {"/a/", "<null>"}};
    for (auto& n : names)
        EXPECT_EQ(str(QDString(n[0]).getFileName()), n[1]) << n[0];
    EXPECT_EQ(str(QDString().getFileName()), "<null>");

    const char* const series[][2] = {{"name07.png", "name08.png"}, {"a/x99", "a/x100"},
                                     {"b.c/name.png", "b.c/name1.png"}, {"v1.9.png", "v1.10.png"}};
    for (auto& p : series)
    {
        QDString name(p[0]);
        EXPECT_TRUE(name.fileNameAdvance());
        EXPECT_EQ(str(name), p[1]);
    }
    QDString none;
    EXPECT_FALSE(none.fileNameAdvance());
    EXPECT_EQ(str(none), "<null>");
}

TEST(QDString, NumbersAndFormatting)
{
    const std::pair<const char*, int> numbers[] = {
        {" 12", 0},           {"-12abc", -12},           {"+7", 7},
        {"--3", 0},           {"2147483647", INT_MAX},   {"-2147483648", INT_MIN},
        {"2147483648", INT_MIN}, {"4294967297", 1},      {"99999999999999999999", 1661992959}};
    for (auto& n : numbers)
        EXPECT_EQ(QDString(n.first).convertToInt(), n.second) << n.first;
    EXPECT_EQ(QDString().convertToInt(), 0);
    EXPECT_EQ(str(QDString::int2String(-5)), "-5");

    QDString s("abc");
    s.print("%s-%s", s.c_str(), "x");
    EXPECT_EQ(str(s), "abc-x");
    s.print("%s", std::string(600, 'y').c_str());
    EXPECT_EQ(s.length(), 511);
    s.print("");
    EXPECT_EQ(str(s), "");
    EXPECT_EQ(str(QDString::format("%d/%s", 3, "z")), "3/z");

    const std::pair<int, const char*> counts[] = {{1234567, "1.2m"}, {56789, "56.7k"},
                                                  {999, "999"},      {1000, "1.0k"},
                                                  {-5, "-5"},        {-5000, "0"},
                                                  {INT_MIN, "-648"}};
    for (auto& c : counts)
    {
        s.printShortCount(c.first);
        EXPECT_EQ(str(s), c.second) << c.first;
    }

    const unsigned long day = QDString::s_oneDay, hour = QDString::s_oneHour;
    const std::pair<unsigned long, const char*> times[] = {
        {0, "0s"}, {250, "0s"}, {day + hour + 3 * QDString::s_oneSecond + 7, "1d 1h 3s"}};
    for (auto& t : times)
    {
        s.printTime(t.first);
        EXPECT_EQ(str(s), t.second);
    }
    s.printTime(250, true);
    EXPECT_EQ(str(s), "250ms");
    s.printTime(day + 2 * QDString::s_oneMinute + 7, true);
    EXPECT_EQ(str(s), "1d 2m 7ms");

    char buffer[8];
    EXPECT_EQ(qdSprintf_s(buffer, 8, "%s", "123456789"), 9);
    EXPECT_STREQ(buffer, "1234567");
    EXPECT_EQ(qdSprintf_s(buffer, 0, "x") + qdSprintf_s(nullptr, 8, "x"), -2);
    EXPECT_EQ(qdSprintf(buffer, "%d", 42), 2);
    EXPECT_STREQ(buffer, "42");
}
