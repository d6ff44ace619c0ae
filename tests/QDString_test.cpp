#include "QDString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

TEST(QDString, NullAndAllocatedEmptyAreDistinct)
{
    QDString null1, null2;
    QDString empty1(""), empty2;
    empty2.set("");
    EXPECT_TRUE(null1 == null2);
    EXPECT_TRUE(empty1 == empty2);
    EXPECT_FALSE(null1 == empty1);
    EXPECT_TRUE(null1 != empty1);
    EXPECT_TRUE(null1.empty() && empty1.empty());
    EXPECT_EQ(null1.length() + empty1.length(), 0);
    EXPECT_EQ(null1.c_str(), nullptr);
    ASSERT_NE(empty1.c_str(), nullptr);
    EXPECT_EQ(null1.getDynMemoryUsed(), 0);
    EXPECT_EQ(empty1.getDynMemoryUsed(), 1);
    EXPECT_EQ(QDString("abc").getDynMemoryUsed(), 4);
    EXPECT_EQ(null1.getMemoryUsed(), int(sizeof(void*)));
    EXPECT_EQ(QDString(empty1).c_str()[0], 0); // a copy stays allocated
    EXPECT_TRUE(QDString(null1).isNull());
    EXPECT_TRUE(QDString(static_cast<const char*>(nullptr)).isNull());
    EXPECT_TRUE(QDString::emptyString().isNull());
    QDString assigned("x");
    assigned = empty1;
    EXPECT_FALSE(assigned.isNull());
    assigned = null1;
    EXPECT_TRUE(assigned.isNull());
    empty2.clear();
    EXPECT_TRUE(empty2.isNull());

    // null + allocated empty -> copy of the right: allocated empty;
    // allocated empty + null -> copy of the right: null.
    EXPECT_FALSE((null1 + empty1).isNull());
    EXPECT_TRUE((empty1 + null1).isNull());
    EXPECT_FALSE(("" + empty1).isNull());
    EXPECT_TRUE(("" + null1).isNull());
    EXPECT_STREQ(("x" + null1).c_str(), "x");
    EXPECT_STREQ((QDString("ab") + QDString("cd")).c_str(), "abcd");
    QDString sum;
    sum += empty1;
    EXPECT_FALSE(sum.isNull());
    sum += QDString("ab");
    sum += sum;
    EXPECT_STREQ(sum.c_str(), "abab");
}

TEST(QDString, CreateSetAndSwapWithRangesInsideTheString)
{
    QDString s("hello world");
    s.set(s.c_str() + 6);
    EXPECT_STREQ(s.c_str(), "world");
    s.create(s.c_str() + 1, s.c_str() + 4);
    EXPECT_STREQ(s.c_str(), "orl");
    s.create(s.c_str(), s.c_str());
    EXPECT_TRUE(s.isNull());
    s.create(nullptr, "abc");
    EXPECT_TRUE(s.isNull());
    s.create(3, 'z');
    EXPECT_STREQ(s.c_str(), "zzz");
    s.create(0, 'z');
    EXPECT_TRUE(s.isNull());
    QDString a("a"), b;
    a.swap(b);
    EXPECT_TRUE(a.isNull());
    EXPECT_STREQ(b.c_str(), "a");
    EXPECT_EQ(QDString("\xFF")[0], -1); // characters read as signed
}

TEST(QDString, ComparisonIsSignedAndCaseFoldingUsesTheBitCountTable)
{
    EXPECT_EQ(QDString::cmp(nullptr, ""), 0);
    EXPECT_EQ(QDString::cmp("", nullptr), 0);
    EXPECT_EQ(QDString::cmp(nullptr, nullptr), 0);
    EXPECT_EQ(QDString::cmp(nullptr, "a"), -1);
    EXPECT_EQ(QDString::cmp("a", nullptr), 1);
    EXPECT_EQ(QDString::cmp("\x80", "a"), -1); // 0x80 is negative
    EXPECT_EQ(QDString::cmp("a", "\xFF"), 1);
    EXPECT_EQ(QDString::cmp("abc", "abd"), -1);
    EXPECT_EQ(QDString::cmp("abc", "abd", 2), 0);
    EXPECT_EQ(QDString::cmp("abc", "abd", 0), -1); // below 1: no limit
    EXPECT_EQ(QDString::cmp("ab", "abc"), -1);
    EXPECT_EQ(QDString::cmpNoCase("Hello", "hELLO"), 0);
    EXPECT_EQ(QDString::cmpNoCase("abc", "ABD"), -1);
    EXPECT_EQ(QDString::cmpNoCase(nullptr, "x"), -1);

    // Bytes 0x80-0xFF fold to their bit count: same count, equal without case;
    // compared as unsigned after folding, so they sort below every letter.
    EXPECT_EQ(QDString::cmpNoCase("\x81", "\x82"), 0);
    EXPECT_EQ(QDString::cmpNoCase("\x80", "\x01"), 0);
    EXPECT_EQ(QDString::cmpNoCase("\xFF", "a"), -1);
    EXPECT_EQ(QDString::cmpNoCase("\xFF", "\x07"), 1);
    QDString up("ab\x80\xFFz");
    EXPECT_STREQ(up.toUpper().c_str(), "AB\x01\x08Z");
    QDString nothing;
    EXPECT_TRUE(nothing.toUpper().isNull());

    QDString path("/Users/Shared/File.OBJ");
    EXPECT_TRUE(path.startsWith("/Users"));
    EXPECT_FALSE(path.startsWith("/users"));
    EXPECT_TRUE(path.startsWith("/users", true));
    EXPECT_TRUE(path.startsWith(QDString()));
    EXPECT_FALSE(QDString("ab").startsWith("abc"));
    EXPECT_TRUE(path.endsWith(".obj", true));
    EXPECT_FALSE(path.endsWith(".obj"));
    EXPECT_FALSE(QDString().endsWith("x"));
    EXPECT_TRUE(QDString("\\USERS\\shared\\x").isInPath("/Users/Shared/"));
    EXPECT_FALSE(QDString("/Users").isInPath("/Users/"));
    EXPECT_FALSE(QDString("/Usersx").isInPath("/Users/"));
}

TEST(QDString, CharacterSetSearches)
{
    QDString s("a/b:c/d");
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
    EXPECT_EQ(s.findFirstCharOf(QDString()), -1);
    EXPECT_EQ(s.findFirstCharNotOf(QDString()), 0);

    QDString null;
    EXPECT_EQ(null.findFirstCharOf("/"), -1);
    EXPECT_EQ(null.findLastCharNotOf("/"), -1);
    EXPECT_EQ(null.findPrevCharOf("/", 3), -1);

    // Set bytes 0x80-0xFF stand for themselves, in both directions.
    QDString accented("caf\xE9 \xE8t\xE9");
    EXPECT_EQ(accented.findFirstCharOf("\xE9"), 3);
    EXPECT_EQ(accented.findLastCharOf("\xE9\xE8"), 7);
    EXPECT_EQ(accented.findFirstCharNotOf("acf\xE9"), 4);
    EXPECT_EQ(accented.findLastCharNotOf("\xE9"), 6);
    accented.replaceCharsOf("\xE8\xE9", 'e');
    EXPECT_STREQ(accented.c_str(), "cafe ete");
    accented.removeCharsOf(" e");
    EXPECT_STREQ(accented.c_str(), "caft");
    accented.replaceCharsNotOf("ct", '-');
    EXPECT_STREQ(accented.c_str(), "c--t");
    accented.removeCharsNotOf("-");
    EXPECT_STREQ(accented.c_str(), "--");
    null.removeCharsOf("x");
    null.replaceCharsNotOf("x", 'y');
    EXPECT_TRUE(null.isNull());
}

TEST(QDString, SubstringSearches)
{
    QDString s("abcABCabc");
    EXPECT_EQ(s.findFirst("bc"), 1);
    EXPECT_EQ(s.findFirst("BC"), 4);
    EXPECT_EQ(s.findFirst("ca", true), 2);
    EXPECT_EQ(s.findFirst(""), 0);
    EXPECT_EQ(s.findFirst("abcABCabcx"), -1);
    EXPECT_EQ(s.findLast("abc"), 6);
    EXPECT_EQ(s.findLast("ABC", true), 6);
    EXPECT_EQ(s.findNext("abc", 1), 6);
    EXPECT_EQ(s.findNext("abc", 1, true), 3);
    EXPECT_EQ(s.findNext("abc", 7), -1);
    EXPECT_EQ(s.findNext("a", INT_MAX), -1);
    EXPECT_EQ(QDString("x\x81y").findFirst("\x82", true), 1); // folded bytes match

    // Null strings on either side give "not found" or the empty-pattern answer.
    QDString null;
    EXPECT_EQ(null.findFirst("a"), -1);
    EXPECT_EQ(null.findFirst(null), -1);
    EXPECT_EQ(s.findFirst(null), 0);
    EXPECT_EQ(null.findLast("a", true), -1);
    EXPECT_EQ(null.findPrev("a", 5), -1);
    EXPECT_EQ(QDString("").findFirst(""), -1);

    // findPrev: matches starting before `from`.
    QDString abab("abab");
    EXPECT_EQ(abab.findPrev("ab", 100), 2);
    EXPECT_EQ(abab.findPrev("ab", 3), 2);
    EXPECT_EQ(abab.findPrev("ab", 2), 0);
    EXPECT_EQ(abab.findPrev("ab", 0), -1);
    EXPECT_EQ(abab.findPrev("", 3), -1);
    EXPECT_EQ(abab.findPrev("ababa", 3), -1);
    // One backward pass without backtracking: "abb" in "abbb" is missed...
    EXPECT_EQ(QDString("abbb").findPrev("abb", 100), -1);
    EXPECT_EQ(QDString("abbb").findLast("abb"), 0);
    // ...while the mismatching character may restart a match, compared with case.
    EXPECT_EQ(QDString("xbb").findPrev("xb", 100, true), 0);
    EXPECT_EQ(QDString("xBb").findPrev("xb", 100, true), -1);
    EXPECT_EQ(QDString("xBb").findPrev("XB", 2, true), 0);

    int from = -1, to = -1;
    QDString tags("<a>one</a><a>two</a>");
    EXPECT_TRUE(tags.findFirstTag("<a>", "</a>", from, to));
    EXPECT_EQ(tags.subString(from, to), QDString("one"));
    EXPECT_TRUE(tags.findLastTag("<A>", "</A>", from, to, true));
    EXPECT_EQ(tags.subString(from, to), QDString("two"));
    from = to = 42;
    EXPECT_FALSE(tags.findFirstTag("<b>", "</b>", from, to));
    EXPECT_FALSE(tags.findLastTag("<b>", "</a>", from, to));
    EXPECT_FALSE(null.findFirstTag("<a>", "</a>", from, to));
    EXPECT_EQ(from + to, 84);
}

TEST(QDString, CutsAndSubStringsClampTheirArguments)
{
    QDString s("abcdef");
    const char* buffer = s.c_str();
    s.cutFrom(6);
    s.cutFrom(-1);
    EXPECT_STREQ(s.c_str(), "abcdef");
    s.cutFrom(4);
    EXPECT_STREQ(s.c_str(), "abcd");
    EXPECT_EQ(s.c_str(), buffer); // truncated in place
    s.cutTo(0);
    s.cutTo(-1);
    EXPECT_STREQ(s.c_str(), "abcd");
    s.cutTo(1);
    EXPECT_STREQ(s.c_str(), "bcd");
    s.cutTo(s.length());
    EXPECT_TRUE(s.isNull());
    QDString e("");
    e.cutTo(1);
    EXPECT_TRUE(e.isNull());

    const QDString t("abcdef");
    EXPECT_STREQ(t.subString(1, 3).c_str(), "bc");
    EXPECT_STREQ(t.subString(2).c_str(), "cdef");
    EXPECT_STREQ(t.subString(2, 99).c_str(), "cdef");
    EXPECT_STREQ(t.subString(4, 1).c_str(), "ef"); // end below start: to the real end
    EXPECT_STREQ(t.subString(-3, 2).c_str(), "ab");
    EXPECT_STREQ(t.subString(3, -7).c_str(), "def");
    EXPECT_FALSE(t.subString(3, 3).isNull()); // allocated empty
    EXPECT_TRUE(t.subString(6).isNull());
    EXPECT_TRUE(QDString().subString(0).isNull());
    EXPECT_STREQ(t.c_str(), "abcdef"); // the temporary terminator is gone
}

TEST(QDString, QuotingAndPaths)
{
    EXPECT_STREQ(QDString("a b").quoted().c_str(), "\"a b\"");
    EXPECT_STREQ(QDString().quoted().c_str(), "\"\"");
    EXPECT_STREQ(QDString("x").quoted("'").c_str(), "'x'");
    EXPECT_TRUE(QDString("\"").unquoted().isNull());
    EXPECT_STREQ(QDString("\"\"x\"\"").unquoted().c_str(), "\"x\"");
    EXPECT_FALSE(QDString("\"\"").unquoted().isNull());
    EXPECT_STREQ(QDString("\"x").unquoted().c_str(), "\"x");
    EXPECT_TRUE(QDString().unquoted().isNull());

    EXPECT_STREQ(QDString("Disk:/Users/a").getValidFilePath(), "/Users/a");
    EXPECT_STREQ(QDString("abc/def").getValidFilePath(), "/def");
    EXPECT_STREQ(QDString("file:///x").getValidFilePath(), "///x");
    EXPECT_STREQ(QDString("Disk:abc").getValidFilePath(), "abc");
    EXPECT_STREQ(QDString("plain").getValidFilePath(), "plain");
    EXPECT_STREQ(QDString().getValidFilePath(), "");
    QDString own("a:/b");
    EXPECT_EQ(own.getValidFilePath(), own.c_str() + 2); // no copy

    const char* const paths[][2] = {{"file:/Users/a//", "/Users/a/"}, {"FILE:/a\\", "/a"},
                                    {"!:/x/", "/x"},  {"!:", ""},  {"x!:/y", "x!:/y"},
                                    {"/", ""},        {"F:/", "F:"}};
    for (auto& p : paths)
    {
        QDString path(p[0]);
        path.makePathValid();
        EXPECT_STREQ(path.c_str() ? path.c_str() : "", p[1]) << p[0];
    }

    EXPECT_STREQ(QDString("/a/b.c.obj").getFileName().c_str(), "b.c");
    EXPECT_TRUE(QDString("/a/.obj").getFileName().isNull());
    EXPECT_STREQ(QDString("dir.x/file").getFileName().c_str(), "file");
    EXPECT_STREQ(QDString("C:\\dir\\f.txt").getFileName().c_str(), "f");
    EXPECT_STREQ(QDString("name").getFileName().c_str(), "name");
    EXPECT_TRUE(QDString("/a/").getFileName().isNull());
    EXPECT_TRUE(QDString().getFileName().isNull());

    const char* const series[][2] = {{"name07.png", "name08.png"}, {"a/x99", "a/x100"},
                                      {"b.c/name.png", "b.c/name1.png"}, {"v1.9.png", "v1.10.png"}};
    for (auto& p : series)
    {
        QDString name(p[0]);
        EXPECT_TRUE(name.fileNameAdvance());
        EXPECT_STREQ(name.c_str(), p[1]);
    }
    QDString none;
    EXPECT_FALSE(none.fileNameAdvance());
    EXPECT_TRUE(none.isNull());
}

TEST(QDString, NumbersAndFormatting)
{
    const std::pair<const char*, int> numbers[] = {
        {" 12", 0},         {"-12abc", -12},          {"+7", 7},         {"--3", 0},
        {"", 0},            {"2147483647", INT_MAX},  {"-2147483648", INT_MIN},
        {"2147483648", INT_MIN}, {"4294967297", 1}, {"99999999999999999999", 1661992959}};
    for (auto& n : numbers)
        EXPECT_EQ(QDString(n.first).convertToInt(), n.second) << n.first;
    EXPECT_EQ(QDString().convertToInt(), 0);
    EXPECT_STREQ(QDString::int2String(-5).c_str(), "-5");

    QDString s("abc");
    s.print("%s-%s", s.c_str(), "x");
    EXPECT_STREQ(s.c_str(), "abc-x");
    s.print("%s", std::string(600, 'y').c_str());
    EXPECT_EQ(s.length(), 511);
    s.print("");
    EXPECT_FALSE(s.isNull());
    EXPECT_STREQ(QDString::format("%d/%s", 3, "z").c_str(), "3/z");

    const std::pair<int, const char*> counts[] = {{1234567, "1.2m"}, {56789, "56.7k"},
                                                  {999, "999"},      {1000, "1.0k"},
                                                  {0, "0"},          {-5, "-5"},
                                                  {-5000, "0"},      {INT_MIN, "-648"}};
    for (auto& c : counts)
    {
        s.printShortCount(c.first);
        EXPECT_STREQ(s.c_str(), c.second) << c.first;
    }

    s.printTime(0);
    EXPECT_STREQ(s.c_str(), "0s");
    s.printTime(250);
    EXPECT_STREQ(s.c_str(), "0s");
    s.printTime(250, true);
    EXPECT_STREQ(s.c_str(), "250ms");
    s.printTime(QDString::s_oneDay + QDString::s_oneHour + 3 * QDString::s_oneSecond + 7, true);
    EXPECT_STREQ(s.c_str(), "1d 1h 3s 7ms");

    char buffer[8];
    EXPECT_EQ(qdSprintf_s(buffer, sizeof(buffer), "%s", "123456789"), 9);
    EXPECT_STREQ(buffer, "1234567");
    EXPECT_EQ(qdSprintf_s(buffer, 0, "x"), -1);
    EXPECT_EQ(qdSprintf_s(nullptr, 8, "x"), -1);
    EXPECT_EQ(qdSprintf(buffer, "%d", 42), 2);
    EXPECT_STREQ(buffer, "42");
}
