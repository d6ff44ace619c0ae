#include "QDGenericConfigFileParser.h"

#include "TestSupport.h"

#include <climits>
#include <vector>

namespace
{
typedef QDGenericConfigFileParser Parser;

std::string find(const std::string& path, const char* token, bool* found = nullptr)
{
    return toStd(Parser::findTokenInConfigFile(path.c_str(), token, found));
}

std::vector<std::string> s_seen;
void onPath(const char* value, void*)
{
    s_seen.push_back(std::string("PATH:") + value);
}
void onPaths(const char* value, void* count)
{
    s_seen.push_back(std::string("PATHS:") + value);
    ++*static_cast<int*>(count);
}
} // namespace

TEST(ConfigFileParser, FindMatchesWholeKeysInAnyCaseAndStripsOnePairOfQuotes)
{
    std::string dir = testFolder();
    std::string path = dir + "/c.txt";
    writeBytes(path, "  other = 1\r\n\r\n\tpath\t =  /Apps/X.app  \nPATH = /second\nPATHS=3\n"
                     "Q=\"\nE=\"\"\nR=\"x\nY= \"Mixed\"Case\"\nFLAG\nLAST=\"a b\"");
    bool found = false;
    EXPECT_EQ(find(path, "PATH", &found), "/Apps/X.app"); // the first line wins
    EXPECT_TRUE(found);
    // A lone quote, or one without its pair, stays.
    EXPECT_EQ(find(path, "Other") + "|" + find(path, "q") + "|" + find(path, "R"), "1|\"|\"x");
    EXPECT_EQ(find(path, "Y") + "|" + find(path, "LAST") + "|" + find(path, "E"),
              "Mixed\"Case|a b|");
    EXPECT_EQ(find(path, "FLAG", &found), ""); // a key without '=' is found, empty
    EXPECT_TRUE(found);
    EXPECT_EQ(find(path, "PAT", &found), "");
    EXPECT_FALSE(found);

    // Missing, empty, a folder, zero bytes, key-less lines: nothing, no fault.
    writeBytes(dir + "/empty.txt", "");
    writeBytes(dir + "/odd.txt", std::string("=\n = x\n\t\n\r\rA=1\0PATH=2\n", 22));
    for (std::string odd : {dir + "/missing.txt", dir + "/empty.txt", dir, dir + "/odd.txt"})
    {
        found = true;
        EXPECT_EQ(find(odd, "PATH", &found), "") << odd;
        EXPECT_FALSE(found) << odd;
    }
    EXPECT_EQ(find(dir + "/odd.txt", "A"), "1"); // the text ends at the zero byte
    find(dir + "/odd.txt", "", &found);
    EXPECT_FALSE(found);
}

TEST(ConfigFileParser, ReplacePutsTheKeyFirstAndDropsEveryOldLineOfIt)
{
    std::string dir = testFolder();
    std::string path = dir + "/c.txt";
    bool found = false;
    // The blank line right after the replaced key goes with it.
    writeBytes(path, "Path=/old\n\nOTHER=1\n");
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(path.c_str(), "PATH", "/new", &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(readBytes(path), "PATH = /new\nOTHER=1\n");

    // Every line of the key in any case goes, with the key-less lines (blanks
    // only, "=x") that follow it; other lines keep their bytes and order.
    writeBytes(path, "\nA = 1\r\npath = x\n   \n=x\nB=2\npAtH=y\nC=3");
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(path.c_str(), "pAth", "\"/q\"", &found));
    EXPECT_EQ(readBytes(path), "PATH = \"/q\"\n\nA = 1\r\nB=2\nC=3");

    // Nothing after a zero byte is kept.
    writeBytes(path, std::string("A=1\n\0PATH=x\n", 11));
    EXPECT_TRUE(Parser::replaceTokenInConfigFile(path.c_str(), "PATH", "v", &found));
    EXPECT_FALSE(found);
    EXPECT_EQ(readBytes(path), "PATH = v\nA=1\n");

    EXPECT_TRUE(Parser::replaceTokenInConfigFile((dir + "/new.txt").c_str(), "key", "v", nullptr));
    EXPECT_EQ(readBytes(dir + "/new.txt"), "KEY = v\n");
    // Cannot write (the path is a folder): false, nothing changes.
    EXPECT_FALSE(Parser::replaceTokenInConfigFile(dir.c_str(), "PATH", "/x", nullptr));
    EXPECT_TRUE(std::filesystem::is_directory(dir));
}

TEST(ConfigFileParser, TokenReaderMatchesPrefixesNewestTokenFirst)
{
    std::string dir = testFolder();
    std::string path = dir + "/t.txt";
    writeBytes(path, "\tpaths: x  \r\n\nPATH = a b \t\nPATHS ::= \nunknown = 4\n"
                     "# PATH = commented\nPATH");
    Parser parser, reversed;
    parser.addToken("PATH", onPath);
    parser.addToken("PATHS", onPaths);
    int calls = 0;
    s_seen.clear();
    ASSERT_TRUE(parser.parseFile(path.c_str(), &calls));
    // "PATHS ::= " holds separators only: taken without a call. There is no
    // comment syntax: the commented line simply matches nothing.
    EXPECT_EQ(s_seen, (std::vector<std::string>{"PATHS:x", "PATH:a b", "PATH:"}));
    EXPECT_EQ(calls, 1);

    // With PATH added last, it takes "paths: x" as a prefix. Copies keep the
    // order, and outlive their source.
    reversed.addToken("PATHS", onPaths);
    reversed.addToken("PATH", onPath);
    Parser copy(reversed), assigned;
    {
        Parser source(reversed);
        assigned = source;
    }
    for (Parser* p : {&reversed, &copy, &assigned})
    {
        s_seen.clear();
        ASSERT_TRUE(p->parseFile(path.c_str(), &calls));
        EXPECT_EQ(s_seen,
                  (std::vector<std::string>{"PATH:s: x", "PATH:a b", "PATH:S ::=", "PATH:"}));
    }

    EXPECT_FALSE(parser.parseFile((dir + "/missing.txt").c_str(), nullptr));
    writeBytes(dir + "/empty.txt", "");
    EXPECT_FALSE(parser.parseFile((dir + "/empty.txt").c_str(), nullptr));
}

TEST(ConfigFileParser, LineSplitAndConverters)
{
    // Key, "=" and value, blanks cut around each; quotes are the caller's business.
    QDString key, value;
    const char* line = "  Key Name \t= \"quoted\" = value \t\r\n";
    ASSERT_TRUE(Parser::parseALine(line, line + strlen(line), key, value));
    EXPECT_EQ(toStd(key) + "|" + toStd(value), "Key Name|\"quoted\" = value");
    EXPECT_EQ(Parser::findNextLine(static_cast<char*>(nullptr)), nullptr);

    EXPECT_FLOAT_EQ(Parser::paramToFloat(" 2.5e1"), 25.0f);
    EXPECT_EQ(Parser::paramToFloat("abc") + Parser::paramToFloat(nullptr), 0.0f);
    EXPECT_EQ(std::vector<int>({Parser::paramToInt("3.9"), Parser::paramToInt("-3.9"),
                                Parser::paramToInt("x"), Parser::paramToInt("nan"),
                                Parser::paramToInt("1e30"), Parser::paramToInt("-1e30")}),
              std::vector<int>({3, -3, 0, 0, INT_MAX, INT_MIN})); // toward zero, saturated
    // paramToBool, then paramToBoolOrDefault, of each spelling.
    std::string bools;
    for (const char* text :
         {"no", "NO", "0", "FaLsE", "#F", "Yes", "1", "TRUE", "#t", "maybe", "", "00", "no "})
        bools += std::to_string(Parser::paramToBool(text)) +
                 std::to_string(Parser::paramToBoolOrDefault(text)) + " ";
    EXPECT_EQ(bools, "00 00 00 00 00 11 11 11 11 1-1 1-1 1-1 1-1 ");
    EXPECT_EQ(std::vector<std::string>(
                  {toStd(Parser::paramToString("\"a b\"")), toStd(Parser::paramToString("\"open")),
                   toStd(Parser::paramToString("close\"")), toStd(Parser::paramToString("\"")),
                   toStd(Parser::paramToString("\"\""))}),
              std::vector<std::string>({"a b", "open", "close\"", "", ""}));
    EXPECT_TRUE(Parser::paramToString(nullptr).empty());
}
