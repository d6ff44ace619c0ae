#include "QDDiskServer.h"
#include "TestSupport.h"

#include <algorithm>
#include <cctype>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

namespace
{
std::string join(const std::string& folder, const char* name) { return folder + "/" + name; }
} // namespace

TEST(QDDiskServerStreams, InvalidHandleAnswersWithoutTouchingAnything)
{
    QDDiskServer::FileHandle none = QDDiskServer::s_invalidFile;
    char byte = 'x';
    EXPECT_EQ(QDDiskServer::fileClose(none), 1);
    EXPECT_EQ(QDDiskServer::fileRead(none, &byte, 1), 0u);
    EXPECT_EQ(QDDiskServer::fileWrite(none, &byte, 1), 0u);
    EXPECT_EQ(QDDiskServer::fileSeek(none, 4, SEEK_SET), 0);
    EXPECT_EQ(QDDiskServer::fileSize(none), 0);
    EXPECT_TRUE(QDDiskServer::fileAtEnd(none));
    EXPECT_EQ(byte, 'x');

    EXPECT_EQ(QDDiskServer::fileOpen(QDString(), "r"), none);
    EXPECT_EQ(QDDiskServer::fileOpen(join(testFolder(), "missing").c_str(), "r"), none);
    EXPECT_EQ(QDDiskServer::fileOpen(join(testFolder(), "f").c_str(), QDString()), none);
    EXPECT_EQ(QDDiskServer::fileOpen(join(testFolder(), "f").c_str(), "q"), none);
}

TEST(QDDiskServerStreams, SizeKeepsThePositionAndVolumePrefixesAreStripped)
{
    std::string folder = testFolder();
    writeBytes(join(folder, "data.bin"), "0123456789");
    // The host hands over paths with a volume name in front.
    QDString hostPath = ("Macintosh HD:" + join(folder, "data.bin")).c_str();
    QDDiskServer::FileHandle file = QDDiskServer::fileOpen(hostPath, "rb");
    ASSERT_NE(file, QDDiskServer::s_invalidFile);
    EXPECT_EQ(QDDiskServer::fileSeek(file, 3, SEEK_SET), 0);
    EXPECT_EQ(QDDiskServer::fileSize(file), 10);
    char bytes[16] = {};
    EXPECT_EQ(QDDiskServer::fileRead(file, bytes, sizeof(bytes)), 7u);
    EXPECT_STREQ(bytes, "3456789");
    EXPECT_TRUE(QDDiskServer::fileAtEnd(file));
    EXPECT_EQ(QDDiskServer::fileClose(file), 0);

    file = QDDiskServer::fileOpen(join(folder, "out.bin").c_str(), "wb");
    ASSERT_NE(file, QDDiskServer::s_invalidFile);
    EXPECT_EQ(QDDiskServer::fileWrite(file, "abc", 3), 3u);
    EXPECT_EQ(QDDiskServer::fileClose(file), 0);
    EXPECT_EQ(readBytes(join(folder, "out.bin")), "abc");
}

// A reader must never wait on, or read forever from, something that is not a
// file: the plug-in runs on the host's only thread.
TEST(QDDiskServerStreams, ReadingRefusesFoldersPipesAndDevices)
{
    std::string folder = testFolder();
    std::string fifo = join(folder, "pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(QDDiskServer::fileOpen(fifo.c_str(), "r"), QDDiskServer::s_invalidFile);
    // Nobody reads the pipe: a blocking open for writing would never return.
    EXPECT_EQ(QDDiskServer::fileOpen(fifo.c_str(), "w"), QDDiskServer::s_invalidFile);
    EXPECT_EQ(QDDiskServer::fileOpen(folder.c_str(), "r"), QDDiskServer::s_invalidFile);
    EXPECT_EQ(QDDiskServer::fileOpen("/dev/zero", "rb"), QDDiskServer::s_invalidFile);

    QDDiskServer::FileHandle sink = QDDiskServer::fileOpen("/dev/null", "wb");
    EXPECT_NE(sink, QDDiskServer::s_invalidFile);
    QDDiskServer::fileClose(sink);
}

TEST(QDDiskServerWholeFile, ReadsAtMost4096BytesAndAnEmptyFileLeavesTheNullString)
{
    std::string folder = testFolder();
    std::string path = join(folder, "text.txt");
    QDString text("previous");
    writeBytes(path, std::string(4096, 'q'));
    EXPECT_TRUE(QDDiskServer::readFileAsString(path.c_str(), text));
    EXPECT_EQ(std::string(text.c_str()), std::string(4096, 'q'));

    // Refused rather than cut: a truncated path would name another folder.
    writeBytes(path, std::string(4097, 'q'));
    EXPECT_FALSE(QDDiskServer::readFileAsString(path.c_str(), text));
    EXPECT_TRUE(text.isNull());

    writeBytes(path, "");
    text = "previous";
    EXPECT_TRUE(QDDiskServer::readFileAsString(path.c_str(), text));
    EXPECT_TRUE(text.isNull());

    text = "previous";
    EXPECT_FALSE(QDDiskServer::readFileAsString(join(folder, "missing").c_str(), text));
    EXPECT_TRUE(text.isNull());
    text = "previous";
    EXPECT_FALSE(QDDiskServer::readFileAsString(folder.c_str(), text));
    EXPECT_TRUE(text.isNull());
}

TEST(QDDiskServerWholeFile, WriteTruncatesFirstAndFailsOnEmptyLongOrFullDisk)
{
    std::string path = join(testFolder(), "list.txt");
    EXPECT_TRUE(QDDiskServer::writeFileFromString(path.c_str(), "head\n"));
    EXPECT_EQ(readBytes(path), "head\n");

    EXPECT_FALSE(QDDiskServer::writeFileFromString(path.c_str(), QDString("")));
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ(readBytes(path), "");

    std::string longest(4096, 'w');
    EXPECT_TRUE(QDDiskServer::writeFileFromString(path.c_str(), longest.c_str()));
    EXPECT_EQ(readBytes(path), longest);
    EXPECT_FALSE(QDDiskServer::writeFileFromString(path.c_str(), (longest + "w").c_str()));
    EXPECT_EQ(readBytes(path), "");

    // The bytes only meet the full disk when the buffered stream is closed.
    EXPECT_FALSE(QDDiskServer::writeFileFromString("/dev/full", "abc"));
    EXPECT_FALSE(QDDiskServer::writeFileFromString(join(path, "x").c_str(), "abc"));
}

TEST(QDDiskServerWholeFile, LinesKeepTheRepeatedLastByte)
{
    std::string path = join(testFolder(), "lines.txt");
    struct Case
    {
        std::string bytes;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"a\nb\n", {"a", "b", ""}},  // the final LF is handed over twice
        {"ab", {"abb"}},             // so is an unterminated line's last byte
        {"a\r\nb", {"a", "", "bb"}}, // CR LF leaves an empty line
        {"x\r", {"x", ""}},
        {"\n\n", {"", "", ""}},
        {std::string(16383, 'c') + "\n", {std::string(16383, 'c'), ""}}, // a full chunk
        {std::string(20000, 'c') + "\nd", {std::string(20000, 'c'), "dd"}},
    };
    for (const Case& c : cases)
    {
        writeBytes(path, c.bytes);
        QDArray<QDString> lines(3, QDString("stale"));
        ASSERT_TRUE(QDDiskServer::readFileAsStringLines(path.c_str(), lines));
        std::vector<std::string> got;
        for (const QDString& line : lines)
            got.push_back(line.isNull() ? "" : line.c_str());
        EXPECT_EQ(got, c.lines) << "file of " << c.bytes.size() << " bytes";
    }
    QDArray<QDString> lines(2, QDString("stale"));
    EXPECT_FALSE(QDDiskServer::readFileAsStringLines(join(path, "x").c_str(), lines));
    EXPECT_EQ(lines.size(), 0);

    // One string per byte would take many times the file: such a file is damaged.
    writeBytes(path, std::string(6 << 20, '\n'));
    lines.resize(2);
    EXPECT_FALSE(QDDiskServer::readFileAsStringLines(path.c_str(), lines));
    EXPECT_EQ(lines.size(), 0);
    std::string text;
    while (text.size() < 6u << 20)
        text += "v 1.5 -2 " + std::to_string(text.size() % 9973) + "\n";
    writeBytes(path, text);
    ASSERT_TRUE(QDDiskServer::readFileAsStringLines(path.c_str(), lines));
    EXPECT_EQ(size_t(lines.size()), std::count(text.begin(), text.end(), '\n') + 1);
}

TEST(QDDiskServerFolders, ExistenceTestsTellFilesFromFolders)
{
    std::string folder = testFolder();
    std::string file = join(folder, "f.txt");
    writeBytes(file, "x");
    EXPECT_TRUE(QDDiskServer::fileExists(file.c_str()));
    EXPECT_TRUE(QDDiskServer::fileExists(("Disk:" + file).c_str()));
    EXPECT_FALSE(QDDiskServer::fileExists(folder.c_str()));
    EXPECT_TRUE(QDDiskServer::folderExists(folder.c_str()));
    EXPECT_FALSE(QDDiskServer::folderExists(file.c_str()));
    EXPECT_FALSE(QDDiskServer::fileExists(join(folder, "missing").c_str()));
    EXPECT_FALSE(QDDiskServer::folderExists(join(folder, "missing").c_str()));
    EXPECT_FALSE(QDDiskServer::fileExists(QDString()));
    EXPECT_FALSE(QDDiskServer::folderExists(QDString()));
}

TEST(QDDiskServerFolders, CreateRenameDeleteAndModes)
{
    std::string folder = testFolder();
    std::string made = join(folder, "made");
    mode_t mask = umask(0);
    umask(mask);
    ASSERT_TRUE(QDDiskServer::createFolder(made.c_str()));
    EXPECT_EQ(QDDiskServer::getMode(made.c_str()) & 0777, 0700 & ~mask);
    EXPECT_FALSE(QDDiskServer::createFolder(made.c_str()));
    EXPECT_FALSE(QDDiskServer::createFolder(join(folder, "a/b").c_str())); // one level only
    // The path goes to the system unchanged: a volume prefix is not stripped.
    EXPECT_FALSE(QDDiskServer::createFolder(("Disk:" + join(folder, "c")).c_str()));
    EXPECT_FALSE(QDDiskServer::createFolder(QDString()));

    std::string file = join(made, "f");
    writeBytes(file, "data");
    EXPECT_EQ(QDDiskServer::setMode(file.c_str(), 0640), 0);
    EXPECT_EQ(QDDiskServer::getMode(file.c_str()), 0100640);
    EXPECT_NE(QDDiskServer::setMode(join(folder, "missing").c_str(), 0640), 0);
    EXPECT_EQ(QDDiskServer::getMode(join(folder, "missing").c_str()), 0);

    ASSERT_TRUE(QDDiskServer::renameFile(("Disk:" + file).c_str(), join(folder, "g").c_str()));
    EXPECT_EQ(readBytes(join(folder, "g")), "data");
    EXPECT_FALSE(QDDiskServer::deleteFolder(folder.c_str())); // not empty
    EXPECT_TRUE(QDDiskServer::deleteFolder(made.c_str()));
    EXPECT_TRUE(QDDiskServer::deleteFile(join(folder, "g").c_str()));
    EXPECT_FALSE(QDDiskServer::deleteFile(join(folder, "g").c_str()));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST(QDDiskServerFolders, CopyIsExactAndNeverEmptiesItsSource)
{
    std::string folder = testFolder();
    std::string source = join(folder, "big.bin");
    std::string bytes(1048576 * 2 + 12345, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7919 >> 5);
    writeBytes(source, bytes);
    ASSERT_TRUE(QDDiskServer::copyFile(source.c_str(), join(folder, "copy.bin").c_str()));
    EXPECT_TRUE(readBytes(join(folder, "copy.bin")) == bytes);

    EXPECT_FALSE(QDDiskServer::copyFile(source.c_str(), (folder + "/./big.bin").c_str()));
    EXPECT_TRUE(readBytes(source) == bytes);
    EXPECT_FALSE(QDDiskServer::copyFile(join(folder, "none").c_str(), join(folder, "t").c_str()));
    EXPECT_FALSE(std::filesystem::exists(join(folder, "t")));
    EXPECT_FALSE(QDDiskServer::copyFile(source.c_str(), "/dev/full"));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST(QDDiskServerFolders, DeleteDirectoryFollowsItsFlagsAndNoLinks)
{
    std::string folder = testFolder();
    std::string outside = join(folder, "outside");
    std::string tree = join(folder, "tree");
    std::filesystem::create_directories(outside);
    std::filesystem::create_directories(join(tree, "sub/deeper"));
    writeBytes(join(outside, "keep"), "k");
    writeBytes(join(tree, "a"), "a");
    writeBytes(join(tree, "sub/deeper/b"), "b");
    std::filesystem::create_directory_symlink(outside, join(tree, "sub/link"));

    EXPECT_FALSE(QDDiskServer::deleteDirectory(tree.c_str(), true, false));
    EXPECT_FALSE(std::filesystem::exists(join(tree, "a")));
    EXPECT_TRUE(std::filesystem::exists(join(tree, "sub/deeper/b")));
    EXPECT_FALSE(QDDiskServer::deleteDirectory(join(tree, "sub/link").c_str(), true, true));
    EXPECT_TRUE(QDDiskServer::deleteDirectory(tree.c_str(), true, true));
    EXPECT_FALSE(std::filesystem::exists(tree));
    EXPECT_TRUE(std::filesystem::exists(join(outside, "keep")));
    EXPECT_FALSE(QDDiskServer::deleteDirectory(tree.c_str(), true, true));
}

TEST(QDDiskServerFolders, SearchListsMatchesLevelByLevel)
{
    std::string folder = testFolder();
    std::filesystem::create_directories(join(folder, "sub/deeper"));
    for (const char* name : {"b.OBJ", "a.obj", "c.txt", "sub/d.obj", "sub/deeper/e.obj"})
        writeBytes(join(folder, name), "");
    std::filesystem::create_directory_symlink(folder, join(folder, "sub/loop"));

    auto search = [&](const char* filter, int depth, int folders)
    {
        QDArray<QDString> found;
        EXPECT_TRUE(QDDiskServer::searchFileList(found, folder.c_str(), filter, depth, folders));
        std::string all;
        for (const QDString& path : found)
            all += std::string(path.c_str()).substr(folder.size()) + " ";
        return all;
    };
    EXPECT_EQ(search("*.obj", 0, 9), "/a.obj /b.OBJ ");
    EXPECT_EQ(search("*.obj", 1, 1), "/a.obj /b.OBJ /sub/d.obj ");
    EXPECT_EQ(search("*.obj", 9, 1), search("*.obj", 1, 9));
    EXPECT_EQ(search("*.obj", 9, 9), "/a.obj /b.OBJ /sub/d.obj /sub/deeper/e.obj ");
    EXPECT_EQ(search("s*", 1, 1), "/sub ");
    EXPECT_EQ(search("", 9, 9), "");

    QDArray<QDString> found;
    EXPECT_FALSE(QDDiskServer::searchFileList(found, join(folder, "none").c_str(), "*", 1, 1));
}

namespace
{
// Puts the test process back where it was, whatever the test did.
struct WorkingFolderGuard
{
    std::filesystem::path saved = std::filesystem::current_path();
    ~WorkingFolderGuard() { std::filesystem::current_path(saved); }
};
} // namespace

TEST(QDDiskServerFolders, WorkingFolderRoundTripAndTooLongAPath)
{
    WorkingFolderGuard guard;
    std::string folder = std::filesystem::canonical(testFolder()).string();
    QDString before = QDDiskServer::getCurrentPath();
    ASSERT_FALSE(before.isNull());
    EXPECT_TRUE(QDDiskServer::setCurrentPath(("Disk:" + folder).c_str()));
    EXPECT_STREQ(QDDiskServer::getCurrentPath().c_str(), folder.c_str());
    EXPECT_FALSE(QDDiskServer::setCurrentPath(join(folder, "missing").c_str()));
    EXPECT_FALSE(QDDiskServer::setCurrentPath(QDString()));
    EXPECT_STREQ(QDDiskServer::getCurrentPath().c_str(), folder.c_str());

    // The working folder is read into 512 bytes: a deeper one reads as the null string.
    std::string deep = folder;
    while (deep.size() < 600)
        deep += "/" + std::string(50, 'd');
    std::filesystem::create_directories(deep);
    ASSERT_TRUE(QDDiskServer::setCurrentPath(deep.c_str()));
    EXPECT_TRUE(QDDiskServer::getCurrentPath().isNull());
    EXPECT_TRUE(QDDiskServer::setCurrentPath(before));
    EXPECT_TRUE(QDDiskServer::getCurrentPath() == before);
}

TEST(QDDiskServerNames, PathAndExtensionEdits)
{
    auto edited = [](bool (*edit)(QDString&), const char* text)
    {
        QDString s(text);
        EXPECT_TRUE(edit(s));
        return std::string(s.isNull() ? "<null>" : s.c_str());
    };
    // Only '/' ends the folder part here; removing the folder also cuts at '\'.
    EXPECT_EQ(edited(QDDiskServer::extractPathFromFilename, "/a/b.txt"), "/a/");
    EXPECT_EQ(edited(QDDiskServer::extractPathFromFilename, "b.txt"), "");
    EXPECT_EQ(edited(QDDiskServer::extractPathFromFilename, "C:\\x/y\\b.txt"), "C:\\x/");
    EXPECT_EQ(edited(QDDiskServer::extractPathFromFilename, nullptr), "<null>");
    EXPECT_EQ(edited(QDDiskServer::removePathFromFilename, "/a/b.txt"), "b.txt");
    EXPECT_EQ(edited(QDDiskServer::removePathFromFilename, "/a\\b.txt"), "b.txt");
    EXPECT_EQ(edited(QDDiskServer::removePathFromFilename, "b.txt"), "b.txt");
    EXPECT_EQ(edited(QDDiskServer::removePathFromFilename, "/a/"), "<null>");
    QDString folder, name("/Users/me/head.obj");
    EXPECT_TRUE(QDDiskServer::extractPathFromFilename(folder, name));
    EXPECT_STREQ(folder.c_str(), "/Users/me/");
    EXPECT_STREQ(name.c_str(), "/Users/me/head.obj");

    EXPECT_TRUE(QDDiskServer::fileNameHasExtension("head.obj", "obj"));
    EXPECT_TRUE(QDDiskServer::fileNameHasExtension("head.obj", ".obj"));
    EXPECT_FALSE(QDDiskServer::fileNameHasExtension("head.obj", "OBJ"));
    EXPECT_FALSE(QDDiskServer::fileNameHasExtension("headobj", "obj"));

    QDString file("head");
    EXPECT_TRUE(QDDiskServer::makeFilenameWithExt(file, "obj"));
    EXPECT_STREQ(file.c_str(), "head.obj");
    EXPECT_FALSE(QDDiskServer::makeFilenameWithExt(file, ".obj"));
    EXPECT_STREQ(file.c_str(), "head.obj");

    // Deliberately reversed: a name WITH the extension is left alone, and one
    // without it loses as many characters as ".obj" has.
    EXPECT_FALSE(QDDiskServer::makeFilenameWithoutExt(file, "obj"));
    EXPECT_STREQ(file.c_str(), "head.obj");
    file = "head.txt";
    EXPECT_TRUE(QDDiskServer::makeFilenameWithoutExt(file, "obj"));
    EXPECT_STREQ(file.c_str(), "head");
    file = "ab";
    EXPECT_TRUE(QDDiskServer::makeFilenameWithoutExt(file, "obj"));
    EXPECT_TRUE(file.empty());
}

namespace
{
// The matching rules in their plainest recursive form, for ASCII only.
bool referenceMatch(const char* name, const char* filter)
{
    if (*filter == '*')
        return (*name && referenceMatch(name + 1, filter)) || referenceMatch(name, filter + 1);
    if (!*filter)
        return !*name;
    if (!*name)
        return false;
    return (*filter == '?' || toupper(*filter) == toupper(*name)) &&
           referenceMatch(name + 1, filter + 1);
}

void allTexts(const std::string& alphabet, size_t maxLength, std::vector<std::string>& out)
{
    size_t first = out.size();
    out.push_back("");
    for (size_t i = first; i < out.size(); ++i)
        if (out[i].size() < maxLength)
            for (char c : alphabet)
                out.push_back(out[i] + c);
}
} // namespace

TEST(QDDiskServerNames, WildcardsAgreeWithTheRulesAndIgnoreCase)
{
    EXPECT_TRUE(fileNameMatchFilter("head.obj", "*.OBJ"));
    EXPECT_TRUE(fileNameMatchFilter("ab", "??"));
    EXPECT_FALSE(fileNameMatchFilter("abc", "??"));
    EXPECT_FALSE(fileNameMatchFilter("head.obj", ""));
    EXPECT_FALSE(fileNameMatchFilter("", "*"));
    EXPECT_FALSE(fileNameMatchFilter(nullptr, "*"));
    EXPECT_FALSE(fileNameMatchFilter("a", nullptr));
    // Bytes above 0x7f fold to their bit count, so equal counts match.
    EXPECT_TRUE(fileNameMatchFilter("\xC3.obj", "\xA5.obj"));
    EXPECT_TRUE(fileNameMatchFilter("\xC3", "\x04"));
    EXPECT_FALSE(fileNameMatchFilter("\xC3", "\xC1"));

    std::vector<std::string> names, filters;
    allTexts("ab", 6, names);
    allTexts("aB*?", 5, filters);
    int mismatches = 0;
    for (const std::string& name : names)
        for (const std::string& filter : filters)
        {
            bool expected =
                !name.empty() && !filter.empty() && referenceMatch(name.c_str(), filter.c_str());
            mismatches += fileNameMatchFilter(name.c_str(), filter.c_str()) != expected;
        }
    EXPECT_EQ(mismatches, 0);

    // Retrying every star would take longer than the age of the universe here.
    std::string longName(4000, 'a');
    EXPECT_FALSE(fileNameMatchFilter(longName.c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
    EXPECT_TRUE(fileNameMatchFilter((longName + "b").c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
}
