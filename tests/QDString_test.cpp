#include "QDString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace
{
typedef std::vector<int> Ints;
typedef std::vector<std::string> Strings;

// The null string shows as "<null>", so one comparison also tells it from "".
std::string str(const QDString& s)
{
    return s.c_str() ? s.c_str() : "<null>";
}
} // namespace

TEST(QDString, NullAndAllocatedEmptyAreDistinct)
{
    QDString null1, null2, empty1(""), empty2;
    empty2.set("");
    EXPECT_TRUE(null1 == null2 && empty1 == empty2 && null1 != empty1 && !(null1 == empty1));
    EXPECT_TRUE(null1.empty() && empty1.empty() && empty1.getDynMemoryUsed() == 1);
    QDString assigned("x");
    assigned = empty1;
    EXPECT_EQ(str(assigned), "");
    assigned = null1;
    EXPECT_EQ(str(assigned), "<null>");

    // Copies keep the state; a sum whose left side has length 0 is a copy of
    // the right side, null or not.
    EXPECT_EQ(Strings({str(QDString(empty1)), str(QDString(null1)), str(QDString::emptyString()),
                       str(QDString(static_cast<const char*>(nullptr))), str(null1 + empty1),
                       str(empty1 + null1), str("" + empty1), str("" + null1), str("x" + null1)}),
              Strings({"", "<null>", "<null>", "<null>", "", "<null>", "", "<null>", "x"}));
    QDString sum;
    sum += empty1;
    sum += QDString("ab");
    sum += sum;
    EXPECT_EQ(str(sum), "abab");

    // Ranges inside the string itself are copied before the old buffer goes.
    QDString s("hello world");
    s.set(s.c_str() + 6);
    s.create(s.c_str() + 1, s.c_str() + 4);
    EXPECT_EQ(str(s), "orl");
    s.create(s.c_str(), s.c_str());
    EXPECT_EQ(str(s), "<null>");
    s.create(3, 'z');
    s.swap(null1);
    EXPECT_EQ(str(s) + str(null1), "<null>zzz");
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
    const Case cases[] = {{nullptr, "", 0, 0, 0},
                          {"", nullptr, 0, 0, 0},
                          {nullptr, "a", 0, -1, -1},
                          {"a", nullptr, 0, 1, 1},
                          {"\x80", "a", 0, -1, -1},
                          {"abc", "abd", 2, 0, 0},
                          {"ab", "abc", -3, -1, -1},
                          {"Hello", "hELLO", 0, -1, 0},
                          // 0x80-0xFF fold to their bit count, compared unsigned.
                          {"\x81", "\x82", 0, -1, 0},
                          {"\xFF", "\x07", 0, -1, 1}};
    for (const Case& c : cases)
    {
        EXPECT_EQ(QDString::cmp(c.a, c.b, c.n), c.cmp) << str(c.a) << " " << str(c.b);
        EXPECT_EQ(QDString::cmpNoCase(c.a, c.b, c.n), c.noCase) << str(c.a) << " " << str(c.b);
    }
    QDString up("ab\x80\xFFz"), nothing;
    EXPECT_EQ(str(up.toUpper()) + str(nothing.toUpper()), "AB\x01\x08Z<null>");

    QDString path("/Users/Shared/File.OBJ");
    EXPECT_TRUE(path.startsWith("/users", true) && path.startsWith(QDString()));
    EXPECT_FALSE(path.startsWith("/users") || QDString("ab").startsWith("abc"));
    EXPECT_TRUE(path.endsWith(".obj", true));
    EXPECT_FALSE(path.endsWith(".obj") || QDString().endsWith("x"));
    EXPECT_TRUE(QDString("\\USERS\\shared\\x").isInPath("/Users/Shared/"));
    EXPECT_FALSE(QDString("/Users").isInPath("/Users/") || QDString("/Usersx").isInPath("/Users/"));
}

TEST(QDString, CharacterSetSearchesAndEdits)
{
    QDString s("a/b:c/d"), null, accented("caf\xE9 \xE8t\xE9");
    EXPECT_EQ(
        Ints({s.findFirstCharOf(":/"), s.findLastCharOf(":/"), s.findFirstCharNotOf("a/"),
              s.findLastCharNotOf("d/"), s.findNextCharOf("/", 2), s.findNextCharOf("/", -4),
              s.findNextCharOf("/", 6), s.findPrevCharOf("/", 4), s.findPrevCharOf("/", 99),
              s.findPrevCharOf("/", -1), s.findNextCharNotOf("/:bc", 1),
              s.findPrevCharNotOf("/:bcd", 6), s.findFirstCharOf(null), s.findFirstCharNotOf(null),
              null.findFirstCharOf("/"), null.findLastCharNotOf("/")}),
        Ints({1, 5, 2, 4, 5, 1, -1, 1, 5, -1, 6, 0, -1, 0, -1, -1}));
    // Set bytes 0x80-0xFF stand for themselves.
    EXPECT_EQ(Ints({accented.findFirstCharOf("\xE9"), accented.findLastCharOf("\xE9\xE8"),
                    accented.findFirstCharNotOf("acf\xE9"), accented.findLastCharNotOf("\xE9")}),
              Ints({3, 7, 4, 6}));
    accented.replaceCharsOf("\xE8\xE9", 'e');
    EXPECT_EQ(str(accented), "cafe ete");
    accented.removeCharsOf(" e");
    EXPECT_EQ(str(accented), "caft");
    accented.replaceCharsNotOf("ct", '-');
    EXPECT_EQ(str(accented), "c--t");
    accented.removeCharsNotOf("-");
    null.removeCharsOf("x");
    null.replaceCharsNotOf("x", 'y');
    EXPECT_EQ(str(accented) + str(null), "--<null>");
}

TEST(QDString, SubstringSearches)
{
    QDString s("abcABCabc"), null, abab("abab");
    EXPECT_EQ(Ints({s.findFirst("bc"), s.findFirst("BC"), s.findFirst("ca", true), s.findFirst(""),
                    s.findFirst(null), s.findFirst("abcABCabcx"), QDString("").findFirst(""),
                    s.findLast("abc"), s.findNext("abc", 1), s.findNext("abc", 1, true),
                    s.findNext("a", INT_MAX), QDString("x\x81y").findFirst("\x82", true),
                    null.findFirst("a"), null.findFirst(null), null.findLast("a", true)}),
              Ints({1, 4, 2, 0, 0, -1, -1, 6, 6, 3, -1, 1, -1, -1, -1}));
    // findPrev finds matches starting before `from`...
    EXPECT_EQ(Ints({abab.findPrev("ab", 100), abab.findPrev("ab", 2), abab.findPrev("ab", 0),
                    abab.findPrev("", 3), abab.findPrev("ababa", 3), null.findPrev("a", 5)}),
              Ints({2, 0, -1, -1, -1, -1}));
    // ...in one backward pass without backtracking, so "abb" in "abbb" is missed,
    EXPECT_EQ(QDString("abbb").findPrev("abb", 100), -1);
    EXPECT_EQ(QDString("abbb").findLast("abb"), 0);
    // and a mismatching character restarts a match only when equal with case.
    EXPECT_EQ(QDString("xbb").findPrev("xb", 100, true), 0);
    EXPECT_EQ(QDString("xBb").findPrev("xb", 100, true), -1);
    EXPECT_EQ(QDString("xBb").findPrev("XB", 2, true), 0);

    int from = 42, to = 42;
    QDString tags("<a>one</a><a>two</a>");
    EXPECT_FALSE(tags.findFirstTag("<b>", "</b>", from, to) ||
                 null.findLastTag("<a>", "</a>", from, to));
    EXPECT_EQ(from + to, 84); // left alone
    EXPECT_TRUE(tags.findLastTag("<A>", "</A>", from, to, true));
    EXPECT_EQ(str(tags.subString(from, to)), "two");
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
    EXPECT_EQ(s.c_str(), buffer); // truncated in place
    s.cutTo(1);
    EXPECT_EQ(str(s), "bcd");
    s.cutTo(s.length());
    e.cutTo(1);
    EXPECT_EQ(str(s) + str(e), "<null><null>");

    const QDString t("abcdef");
    const std::pair<int, int> ranges[] = {{1, 3},  {2, -1}, {2, 99}, {4, 1}, {-3, 2},
                                          {3, -7}, {3, 3},  {6, -1}, {9, 2}};
    const char* const expected[] = {"bc",  "cdef", "cdef",   "ef",    "ab",
                                    "def", "",     "<null>", "<null>"};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(str(t.subString(ranges[i].first, ranges[i].second)), expected[i]) << i;
    EXPECT_EQ(str(t), "abcdef"); // the temporary terminator is gone
    EXPECT_EQ(str(QDString().subString(0)), "<null>");
}

TEST(QDString, QuotingAndPaths)
{
    auto unquoted = [](const char* s) { return str(QDString(s).unquoted()); };
    auto valid = [](const char* s) { return std::string(QDString(s).getValidFilePath()); };
    auto fileName = [](const char* s) { return str(QDString(s).getFileName()); };
    auto madeValid = [](const char* s)
    {
        QDString path(s);
        path.makePathValid();
        return str(path);
    };
    EXPECT_EQ(str(QDString("a b").quoted()) + str(QDString().quoted()), "\"a b\"\"\"");
    EXPECT_EQ(str(QDString("x").quoted("'")), "'x'");
    EXPECT_EQ(Strings({unquoted("\""), unquoted("\"\"x\"\""), unquoted("\"\""), unquoted("\"x"),
                       unquoted(nullptr)}),
              Strings({"<null>", "\"x\"", "", "\"x", "<null>"}));
    EXPECT_EQ(Strings({valid("Disk:/Users/a"), valid("abc/def"), valid("file:///x"),
                       valid("Disk:abc"), valid(nullptr)}),
              Strings({"/Users/a", "/def", "///x", "abc", ""}));
    EXPECT_EQ(Strings({madeValid("file:/Users/a//"), madeValid("FILE:/a\\"), madeValid("!:/x/"),
                       madeValid("!:"), madeValid("x!:/y"), madeValid("/")}),
              Strings({"/Users/a/", "/a", "/x", "<null>", "x!:/y", ""}));
    EXPECT_EQ(Strings({fileName("/a/b.c.obj"), fileName("/a/.obj"), fileName("dir.x/file"),
                       fileName("C:\\dir\\f.txt"), fileName("/a/"), fileName(nullptr)}),
              Strings({"b.c", "<null>", "file", "f", "<null>", "<null>"}));
    QDString own("a:/b");
    EXPECT_EQ(own.getValidFilePath(), own.c_str() + 2); // no copy

    QDString series("a/x99"), none;
    EXPECT_TRUE(series.fileNameAdvance() && !none.fileNameAdvance());
    EXPECT_EQ(str(series) + str(none), "a/x100<null>");
}

TEST(QDString, NumbersAndFormatting)
{
    auto toInt = [](const char* s) { return QDString(s).convertToInt(); };
    EXPECT_EQ(
        Ints({toInt(" 12"), toInt("-12abc"), toInt("+7"), toInt("--3"), toInt("2147483647"),
              toInt("-2147483648"), toInt("2147483648"), toInt("4294967297"), toInt(nullptr)}),
        Ints({0, -12, 7, 0, INT_MAX, INT_MIN, INT_MIN, 1, 0}));
    EXPECT_EQ(str(QDString::int2String(-5)), "-5");

    QDString s("abc");
    s.print("%s-%s", s.c_str(), "x");
    EXPECT_EQ(str(s), "abc-x");
    s.print("%s", std::string(600, 'y').c_str());
    EXPECT_EQ(s.length(), 511);
    EXPECT_EQ(str(QDString::format("%d/%s", 3, "z")), "3/z");

    const std::pair<int, const char*> counts[] = {{1234567, "1.2m"}, {56789, "56.7k"},
                                                  {999, "999"},      {1000, "1.0k"},
                                                  {-5, "-5"},        {INT_MIN, "-648"}};
    for (auto& c : counts)
    {
        s.printShortCount(c.first);
        EXPECT_EQ(str(s), c.second) << c.first;
    }

    char buffer[8];
    EXPECT_EQ(qdSprintf_s(buffer, 8, "%s", "123456789"), 9);
    EXPECT_STREQ(buffer, "1234567");
    EXPECT_EQ(qdSprintf_s(buffer, 0, "x") + qdSprintf_s(nullptr, 8, "x"), -2);
}
