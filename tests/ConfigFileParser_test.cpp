#include "QDGenericConfigFileParser.h"

#include "TestSupport.h"

#include <cstring>
#include <string>
#include <vector>

namespace
{
typedef QDGenericConfigFileParser Parser;

QDString find(const std::string& path, const char* token, bool* found = nullptr)
{
    return Parser::findTokenInConfigFile(path.c_str(), token, found);
}

std::string str(const QDString& s)
{
    return s.isNull() ? std::string() : std::string(s.c_str());
}

// What the callbacks saw, in order, as "key:value".
std::vector<std::string> s_seen;
void onPath(const char* value, void*)
{
    s_seen.push_back(std::string("PATH:") + value);
}
void onPaths(const char* value, void*)
{
    s_seen.push_back(std::string("PATHS:") + value);
}
void onName(const char* value, void* context)
{
    s_seen.push_back(std::string("NAME:") + value);
    ++*static_cast<int*>(context);
}
} // namespace

TEST(ConfigFileParser, FindIgnoresKeyCaseKeepsValueAndStripsOnePairOfQuotes)
{
    std::string dir = testFolder();
    std::string path = dir + "/c.txt";
    writeBytes(path, "  other = 1\r\n\r\n\tpath\t =  /Apps/X.app  \nPATH = /second\n");
    bool found = false;
    EXPECT_EQ(str(find(path, "PATH", &found)), "/Apps/X.app");
    EXPECT_TRUE(found);
    EXPECT_EQ(str(find(path, "Other")), "1");

    writeBytes(path, "PATH=\"/a b/My App.app\"\nQ=\"\nE=\"\"\nR=\"x\ny= \"Mixed\"Case\"\n");
    EXPECT_EQ(str(find(path, "path")), "/a b/My App.app");
    EXPECT_EQ(str(find(path, "Q")), "\""); // a lone quote stays
    EXPECT_EQ(str(find(path, "E")), "");
    EXPECT_EQ(str(find(path, "R")), "\"x"); // no closing quote: kept whole
    EXPECT_EQ(str(find(path, "Y")), "Mixed\"Case");

    // A key without '=' has an empty value but is found; an absent key is not.
    writeBytes(path, "FLAG\nA=1");
    found = false;
    EXPECT_EQ(str(find(path, "flag", &found)), "");
    EXPECT_TRUE(found);
    EXPECT_EQ(str(find(path, "A")), "1"); // last line without a line end
    EXPECT_EQ(str(find(path, "PATH", &found)), "");
    EXPECT_FALSE(found);
    // No word boundary in this look-up: the whole key must match.
    writeBytes(path, "PATHS=1\n");
    EXPECT_EQ(str(find(path, "PATH", &found)), "");
    EXPECT_FALSE(found);
}

TEST(ConfigFileParser, FindOnMissingEmptyOrOddFilesYieldsNothing)
{
    std::string dir = testFolder();
    bool found = true;
    EXPECT_TRUE(find(dir + "/missing.txt", "PATH", &found).empty());
    EXPECT_FALSE(found);
    writeBytes(dir + "/empty.txt", "");
    found = true;
    EXPECT_TRUE(find(dir + "/empty.txt", "PATH", &found).empty());
    EXPECT_FALSE(found);
    // A folder, zero bytes, lines of separators only: nothing found, no fault.
    EXPECT_TRUE(find(dir, "PATH", &found).empty());
    writeBytes(dir + "/nul.txt", std::string("A=1\0PATH=2\n", 11));
    EXPECT_EQ(str(find(dir + "/nul.txt", "A")), "1");
    EXPECT_TRUE(find(dir + "/nul.txt", "PATH").empty());
    writeBytes(dir + "/seps.txt", "=\n = x\n\t\n\r\r\n");
    EXPECT_TRUE(find(dir + "/seps.txt", "PATH", &found).empty());
    EXPECT_FALSE(found);
    // An empty token never matches a key-less line.
    find(dir + "/seps.txt", "", &found);
    EXPECT_FALSE(found);
}

TEST(ConfigFileParser, ReplacePutsTheKeyFirstAndDropsEveryOldLineOfIt)
{
    std::string dir = testFolder();
    std::string path = dir + "/c.txt";

    // The blank line right after the replaced key goes with it.
    writeBytes(path, "Path=/old\n\nOTHER=1\n");
    bool found = false;
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(path.c_str(), "PATH", "/new", &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(readBytes(path), "PATH = /new\nOTHER=1\n");

    // Every line of the key in any case is dropped, with the key-less lines
    // (blanks only, "=x") that follow it; other lines keep their bytes and order.
    writeBytes(path, "\nA = 1\r\npath = x\n   \n=x\nB=2\npAtH=y\nC=3");
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(path.c_str(), "pAth", "\"/q\"", &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(readBytes(path), "PATH = \"/q\"\n\nA = 1\r\nB=2\nC=3");

    // The text ends at its first zero byte: what follows is not kept.
    writeBytes(path, std::string("A=1\n\0PATH=x\n", 11));
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(path.c_str(), "PATH", "v", &found));
    EXPECT_FALSE(found);
    EXPECT_EQ(readBytes(path), "PATH = v\nA=1\n");

    // A file that is not there is created with the one line.
    std::string fresh = dir + "/fresh.txt";
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(fresh.c_str(), "key", "v", &found));
    EXPECT_FALSE(found);
    EXPECT_EQ(readBytes(fresh), "KEY = v\n");
    EXPECT_EQ(str(find(fresh, "KEY")), "v");

    // Cannot write (the path is a folder): false, nothing changes.
    std::string folder = dir + "/folder";
    std::filesystem::create_directories(folder);
    EXPECT_FALSE(Parser::replaceTokenInConfigFile(folder.c_str(), "PATH", "/x", nullptr));
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}

TEST(ConfigFileParser, TokenReaderMatchesPrefixesInNewestFirstOrder)
{
    std::string dir = testFolder();
    std::string path = dir + "/t.txt";
    writeBytes(path, "\tpaths: x  \r\n\nPATH = a b \t\nname\nNAME ::= \nnAmEless\nunknown = 4\n"
                     "# PATH = commented\nPATH");
    Parser parser;
    parser.addToken("PATH", onPath);
    parser.addToken("PATHS", onPaths);
    parser.addToken("NAME", onName);
    int names = 0;
    s_seen.clear();
    ASSERT_TRUE(parser.parseFile(path.c_str(), &names));
    // "NAME ::= " holds separators only: accepted without a call. "nAmEless"
    // matches NAME as a prefix. The commented line matches nothing.
    std::vector<std::string> expected = {"PATHS:x", "PATH:a b", "NAME:", "NAME:less", "PATH:"};
    EXPECT_EQ(s_seen, expected);
    EXPECT_EQ(names, 2);

    // Tried from the newest token: with PATH added last it takes "paths: x".
    Parser reversed;
    reversed.addToken("PATHS", onPaths);
    reversed.addToken("PATH", onPath);
    s_seen.clear();
    ASSERT_TRUE(reversed.parseFile(path.c_str(), &names));
    ASSERT_FALSE(s_seen.empty());
    EXPECT_EQ(s_seen[0], "PATH:s: x");

    // Copies keep the keys, callbacks and order; the source may go away.
    Parser copy(reversed);
    Parser assigned;
    assigned.addToken("NAME", onName);
    {
        Parser source(reversed);
        assigned = source;
    }
    std::vector<std::string> fromOriginal = s_seen;
    for (Parser* p : {&copy, &assigned})
    {
        s_seen.clear();
        ASSERT_TRUE(p->parseFile(path.c_str(), &names));
        EXPECT_EQ(s_seen, fromOriginal);
    }

    EXPECT_FALSE(parser.parseFile((dir + "/missing.txt").c_str(), nullptr));
    writeBytes(dir + "/empty.txt", "");
    EXPECT_FALSE(parser.parseFile((dir + "/empty.txt").c_str(), nullptr));
}

TEST(ConfigFileParser, LineFunctions)
{
    char text[] = "ab\r\n\n\rcd\n";
    EXPECT_EQ(Parser::findEndOfLine(text), text + 2);
    EXPECT_EQ(Parser::findNextLine(text), text + 6);
    EXPECT_EQ(Parser::findNextLine(text + 6), nullptr); // only line ends follow
    EXPECT_EQ(Parser::findEndOfLine(text + 9), text + 9);
    EXPECT_EQ(Parser::findEndOfLine(static_cast<char*>(nullptr)), nullptr);
    EXPECT_EQ(Parser::findNextLine(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(Parser::findNextLine(static_cast<const char*>(text)), text + 6);

    QDString key("k"), value("v");
    const char* line = "  Key Name \t= \"quoted\" value \t\r\n";
    ASSERT_TRUE(Parser::parseALine(line, line + strlen(line), key, value));
    EXPECT_EQ(str(key), "Key Name");
    EXPECT_EQ(str(value), "\"quoted\" value");
    const char* b = " a=b=c";
    ASSERT_TRUE(Parser::parseALine(b, b + strlen(b), key, value));
    EXPECT_EQ(str(value), "b=c");

    // Failures leave key and value as they were.
    const char* noKey = " \t= x\n";
    EXPECT_FALSE(Parser::parseALine(noKey, noKey + strlen(noKey), key, value));
    EXPECT_FALSE(Parser::parseALine(b, b, key, value));
    EXPECT_FALSE(Parser::parseALine(nullptr, b, key, value));
    EXPECT_EQ(str(key), "a");
    EXPECT_EQ(str(value), "b=c");
}

TEST(ConfigFileParser, Converters)
{
    EXPECT_FLOAT_EQ(Parser::paramToFloat(" 2.5e1"), 25.0f);
    EXPECT_EQ(Parser::paramToFloat("abc"), 0.0f);
    EXPECT_EQ(Parser::paramToFloat(nullptr), 0.0f);
    EXPECT_EQ(Parser::paramToInt("3.9"), 3);
    EXPECT_EQ(Parser::paramToInt("-3.9"), -3);
    EXPECT_EQ(Parser::paramToInt("x"), 0);
    EXPECT_EQ(Parser::paramToInt("1e30"), 2147483647);
    EXPECT_EQ(Parser::paramToInt("-1e30"), -2147483647 - 1);
    EXPECT_EQ(Parser::paramToInt("nan"), 0);

    for (const char* no : {"no", "NO", "0", "false", "FaLsE", "#f", "#F"})
    {
        EXPECT_FALSE(Parser::paramToBool(no)) << no;
        EXPECT_EQ(Parser::paramToBoolOrDefault(no), 0) << no;
    }
    for (const char* yes : {"yes", "Yes", "1", "TRUE", "#t"})
    {
        EXPECT_TRUE(Parser::paramToBool(yes)) << yes;
        EXPECT_EQ(Parser::paramToBoolOrDefault(yes), 1) << yes;
    }
    for (const char* other : {"maybe", "", "00", "no "})
    {
        EXPECT_TRUE(Parser::paramToBool(other)) << other;
        EXPECT_EQ(Parser::paramToBoolOrDefault(other), -1) << other;
    }

    EXPECT_EQ(str(Parser::paramToString("\"a b\"")), "a b");
    EXPECT_EQ(str(Parser::paramToString("\"open")), "open");
    EXPECT_EQ(str(Parser::paramToString("close\"")), "close\"");
    EXPECT_EQ(str(Parser::paramToString("\"")), "");
    EXPECT_EQ(str(Parser::paramToString("\"\"")), "");
    EXPECT_EQ(str(Parser::paramToString("plain")), "plain");
    EXPECT_TRUE(Parser::paramToString(nullptr).empty());
}
