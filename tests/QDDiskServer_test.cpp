#include "QDDiskServer.h"
#include "TestSupport.h"

#include <algorithm>
#include <cctype>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

typedef QDDiskServer DS;

namespace
{
QDString path(const std::string& folder, const char* name = "")
{
    return (folder + (*name ? "/" : "") + name).c_str();
}
} // namespace

TEST(QDDiskServerStreams, InvalidHandlesVolumePrefixesAndSizeThatKeepsThePosition)
{
    char byte = 'x';
    EXPECT_EQ(DS::fileClose(DS::s_invalidFile), 1);
    EXPECT_EQ(DS::fileRead(DS::s_invalidFile, &byte, 1) + DS::fileWrite(nullptr, &byte, 1), 0u);
    EXPECT_EQ(DS::fileSeek(DS::s_invalidFile, 4, SEEK_SET) + DS::fileSize(nullptr), 0);
    EXPECT_TRUE(DS::fileAtEnd(DS::s_invalidFile));
    EXPECT_EQ(DS::fileOpen(QDString(), "r"), DS::s_invalidFile);
    std::string folder = testFolder();
    EXPECT_EQ(DS::fileOpen(path(folder, "f"), QDString()), DS::s_invalidFile);

    writeBytes(folder + "/data.bin", "0123456789");
    DS::FileHandle file = DS::fileOpen(("Macintosh HD:" + folder + "/data.bin").c_str(), "rb");
    ASSERT_NE(file, DS::s_invalidFile);
    EXPECT_EQ(DS::fileSeek(file, 3, SEEK_SET), 0);
    EXPECT_EQ(DS::fileSize(file), 10);
    char bytes[16] = {};
    EXPECT_EQ(DS::fileRead(file, bytes, sizeof(bytes)), 7u);
    EXPECT_STREQ(bytes, "3456789");
    EXPECT_TRUE(DS::fileAtEnd(file));
    EXPECT_EQ(DS::fileClose(file), 0);
}

// The plug-in runs on the host's only thread: opening must never wait on a
// FIFO, and reading must never start on something that does not end.
TEST(QDDiskServerStreams, ReadingRefusesFoldersPipesAndDevices)
{
    std::string folder = testFolder();
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    EXPECT_EQ(DS::fileOpen(path(folder, "pipe"), "r"), DS::s_invalidFile);
    EXPECT_EQ(DS::fileOpen(path(folder, "pipe"), "w"), DS::s_invalidFile);
    EXPECT_EQ(DS::fileOpen(path(folder), "r"), DS::s_invalidFile);
    EXPECT_EQ(DS::fileOpen("/dev/zero", "rb"), DS::s_invalidFile);
    DS::FileHandle sink = DS::fileOpen("/dev/null", "wb");
    EXPECT_NE(sink, DS::s_invalidFile);
    DS::fileClose(sink);
}

TEST(QDDiskServerWholeFile, ReadsAtMost4096BytesAndAnEmptyFileLeavesTheNullString)
{
    std::string folder = testFolder();
    QDString file = path(folder, "text.txt"), text("previous");
    writeBytes(file.c_str(), std::string(4096, 'q'));
    EXPECT_TRUE(DS::readFileAsString(file, text));
    EXPECT_EQ(std::string(text.c_str()), std::string(4096, 'q'));
    writeBytes(file.c_str(), std::string(4097, 'q')); // refused, not cut
    EXPECT_FALSE(DS::readFileAsString(file, text));
    EXPECT_TRUE(text.isNull());

    for (QDString bad : {path(folder, "missing"), path(folder)})
    {
        text = "previous";
        EXPECT_FALSE(DS::readFileAsString(bad, text));
        EXPECT_TRUE(text.isNull());
    }
    writeBytes(file.c_str(), "");
    text = "previous";
    EXPECT_TRUE(DS::readFileAsString(file, text));
    EXPECT_TRUE(text.isNull());
}

TEST(QDDiskServerWholeFile, WriteTruncatesFirstAndFailsOnEmptyLongOrFullDisk)
{
    std::string file = testFolder() + "/list.txt";
    EXPECT_TRUE(DS::writeFileFromString(file.c_str(), "head\n"));
    EXPECT_EQ(readBytes(file), "head\n");
    EXPECT_FALSE(DS::writeFileFromString(file.c_str(), QDString("")));
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(readBytes(file), "");

    std::string longest(4096, 'w');
    EXPECT_TRUE(DS::writeFileFromString(file.c_str(), longest.c_str()));
    EXPECT_EQ(readBytes(file), longest);
    EXPECT_FALSE(DS::writeFileFromString(file.c_str(), (longest + "w").c_str()));
    EXPECT_EQ(readBytes(file), "");
    // The bytes only meet the full disk when the buffered stream is closed.
    EXPECT_FALSE(DS::writeFileFromString("/dev/full", "abc"));
    EXPECT_FALSE(DS::writeFileFromString((file + "/x").c_str(), "abc"));
}

TEST(QDDiskServerWholeFile, LinesKeepTheRepeatedLastByteAndABoundedSize)
{
    QDString file = path(testFolder(), "lines.txt");
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
        {std::string(16383, 'c') + "\n", {std::string(16383, 'c'), ""}}, // a full chunk
        {std::string(20000, 'c') + "\nd", {std::string(20000, 'c'), "dd"}},
    };
    for (const Case& c : cases)
    {
        writeBytes(file.c_str(), c.bytes);
        QDArray<QDString> lines(3, QDString("stale"));
        ASSERT_TRUE(DS::readFileAsStringLines(file, lines));
        std::vector<std::string> got;
        for (const QDString& line : lines)
            got.push_back(line.isNull() ? "" : line.c_str());
        EXPECT_EQ(got, c.lines) << "file of " << c.bytes.size() << " bytes";
    }
    QDArray<QDString> lines(2, QDString("stale"));
    EXPECT_FALSE(DS::readFileAsStringLines(file + "/x", lines));
    EXPECT_EQ(lines.size(), 0);

    // One string per byte would take many times the file: such a file is damaged.
    writeBytes(file.c_str(), std::string(6 << 20, '\n'));
    lines.resize(2);
    EXPECT_FALSE(DS::readFileAsStringLines(file, lines));
    EXPECT_EQ(lines.size(), 0);
    std::string text;
    while (text.size() < 6u << 20)
        text += "v 1.5 -2 " + std::to_string(text.size() % 9973) + "\n";
    writeBytes(file.c_str(), text);
    ASSERT_TRUE(DS::readFileAsStringLines(file, lines));
    EXPECT_EQ(size_t(lines.size()), size_t(std::count(text.begin(), text.end(), '\n') + 1));
}

TEST(QDDiskServerFolders, ExistenceTestsTellFilesFromFolders)
{
    std::string folder = testFolder();
    writeBytes(folder + "/f.txt", "x");
    EXPECT_TRUE(DS::fileExists(path(folder, "f.txt")));
    EXPECT_TRUE(DS::fileExists(("Disk:" + folder + "/f.txt").c_str()));
    EXPECT_TRUE(DS::folderExists(path(folder)));
    EXPECT_FALSE(DS::fileExists(path(folder)) || DS::folderExists(path(folder, "f.txt")));
    EXPECT_FALSE(DS::fileExists(path(folder, "no")) || DS::folderExists(path(folder, "no")));
    EXPECT_FALSE(DS::fileExists(QDString()) || DS::folderExists(QDString()));
}

TEST(QDDiskServerFolders, CreateRenameDeleteAndModes)
{
    std::string folder = testFolder();
    mode_t mask = umask(0);
    umask(mask);
    ASSERT_TRUE(DS::createFolder(path(folder, "made")));
    EXPECT_EQ(DS::getMode(path(folder, "made")) & 0777, 0700 & ~mask);
    EXPECT_FALSE(DS::createFolder(path(folder, "made")));
    EXPECT_FALSE(DS::createFolder(path(folder, "a/b"))); // one level only
    // Handed to the system unchanged: a volume prefix is not stripped here.
    EXPECT_FALSE(DS::createFolder(("Disk:" + folder + "/c").c_str()));
    EXPECT_FALSE(DS::createFolder(QDString()));

    writeBytes(folder + "/made/f", "data");
    EXPECT_EQ(DS::setMode(path(folder, "made/f"), 0640), 0);
    EXPECT_EQ(DS::getMode(path(folder, "made/f")), 0100640);
    EXPECT_NE(DS::setMode(path(folder, "missing"), 0640), 0);
    EXPECT_EQ(DS::getMode(path(folder, "missing")), 0);

    ASSERT_TRUE(DS::renameFile(("Disk:" + folder + "/made/f").c_str(), path(folder, "g")));
    EXPECT_EQ(readBytes(folder + "/g"), "data");
    EXPECT_FALSE(DS::deleteFolder(path(folder))); // not empty
    EXPECT_TRUE(DS::deleteFolder(path(folder, "made")));
    EXPECT_TRUE(DS::deleteFile(path(folder, "g")));
    EXPECT_FALSE(DS::deleteFile(path(folder, "g")));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST(QDDiskServerFolders, CopyIsExactAndNeverEmptiesItsSource)
{
    std::string folder = testFolder();
    std::string bytes(1048576 * 2 + 12345, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7919 >> 5);
    writeBytes(folder + "/big.bin", bytes);
    QDString source = path(folder, "big.bin");
    ASSERT_TRUE(DS::copyFile(source, path(folder, "copy.bin")));
    EXPECT_TRUE(readBytes(folder + "/copy.bin") == bytes);

    EXPECT_FALSE(DS::copyFile(source, path(folder, "./big.bin")));
    EXPECT_TRUE(readBytes(folder + "/big.bin") == bytes);
    EXPECT_FALSE(DS::copyFile(path(folder, "none"), path(folder, "t")));
    EXPECT_FALSE(std::filesystem::exists(folder + "/t"));
    EXPECT_FALSE(DS::copyFile(source, "/dev/full"));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST(QDDiskServerFolders, DeleteDirectoryFollowsItsFlagsAndNoLinks)
{
    std::string folder = testFolder(), tree = folder + "/tree";
    std::filesystem::create_directories(folder + "/outside");
    std::filesystem::create_directories(tree + "/sub/deeper");
    for (const char* name : {"/outside/keep", "/tree/a", "/tree/sub/deeper/b"})
        writeBytes(folder + name, "x");
    std::filesystem::create_directory_symlink(folder + "/outside", tree + "/sub/link");

    EXPECT_FALSE(DS::deleteDirectory(tree.c_str(), true, false));
    EXPECT_FALSE(std::filesystem::exists(tree + "/a"));
    EXPECT_TRUE(std::filesystem::exists(tree + "/sub/deeper/b"));
    EXPECT_FALSE(DS::deleteDirectory((tree + "/sub/link").c_str(), true, true));
    EXPECT_TRUE(DS::deleteDirectory(tree.c_str(), true, true));
    EXPECT_FALSE(std::filesystem::exists(tree));
    EXPECT_TRUE(std::filesystem::exists(folder + "/outside/keep"));
    EXPECT_FALSE(DS::deleteDirectory(tree.c_str(), true, true));
}

TEST(QDDiskServerFolders, SearchListsMatchesLevelByLevel)
{
    std::string folder = testFolder();
    std::filesystem::create_directories(folder + "/sub/deeper");
    for (const char* name : {"/b.OBJ", "/a.obj", "/c.txt", "/sub/d.obj", "/sub/deeper/e.obj"})
        writeBytes(folder + name, "");
    std::filesystem::create_directory_symlink(folder, folder + "/sub/loop");
    auto search = [&](const char* filter, int depth, int folders)
    {
        QDArray<QDString> found;
        EXPECT_TRUE(DS::searchFileList(found, path(folder), filter, depth, folders));
        std::string all;
        for (const QDString& name : found)
            all += std::string(name.c_str()).substr(folder.size()) + " ";
        return all;
    };
    EXPECT_EQ(search("*.obj", 0, 9), "/a.obj /b.OBJ ");
    EXPECT_EQ(search("*.obj", 1, 1), "/a.obj /b.OBJ /sub/d.obj ");
    EXPECT_EQ(search("*.obj", 9, 1), search("*.obj", 1, 9));
    EXPECT_EQ(search("*.obj", 9, 9), "/a.obj /b.OBJ /sub/d.obj /sub/deeper/e.obj ");
    EXPECT_EQ(search("s*", 1, 1), "/sub ");
    QDArray<QDString> found;
    EXPECT_FALSE(DS::searchFileList(found, path(folder, "none"), "*", 1, 1));
}

TEST(QDDiskServerFolders, WorkingFolderRoundTripAndTooLongAPath)
{
    std::filesystem::path saved = std::filesystem::current_path();
    std::string folder = std::filesystem::canonical(testFolder()).string();
    QDString before = DS::getCurrentPath();
    EXPECT_TRUE(DS::setCurrentPath(("Disk:" + folder).c_str()));
    EXPECT_FALSE(DS::setCurrentPath(path(folder, "missing")) || DS::setCurrentPath(QDString()));
    EXPECT_STREQ(DS::getCurrentPath().c_str(), folder.c_str());

    // The working folder is read into 512 bytes: a deeper one reads as the null string.
    std::string deep = folder;
    while (deep.size() < 600)
        deep += "/" + std::string(50, 'd');
    std::filesystem::create_directories(deep);
    EXPECT_TRUE(DS::setCurrentPath(deep.c_str()));
    EXPECT_TRUE(DS::getCurrentPath().isNull());
    EXPECT_TRUE(DS::setCurrentPath(before));
    EXPECT_TRUE(DS::getCurrentPath() == before);
    std::filesystem::current_path(saved);
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
    EXPECT_EQ(edited(DS::extractPathFromFilename, "/a/b.txt"), "/a/");
    EXPECT_EQ(edited(DS::extractPathFromFilename, "b.txt"), "");
    EXPECT_EQ(edited(DS::extractPathFromFilename, "C:\\x/y\\b.txt"), "C:\\x/");
    EXPECT_EQ(edited(DS::extractPathFromFilename, nullptr), "<null>");
    EXPECT_EQ(edited(DS::removePathFromFilename, "/a\\b.txt"), "b.txt");
    EXPECT_EQ(edited(DS::removePathFromFilename, "b.txt"), "b.txt");
    EXPECT_EQ(edited(DS::removePathFromFilename, "/a/"), "<null>");
    QDString folder, name("/Users/me/head.obj");
    EXPECT_TRUE(DS::extractPathFromFilename(folder, name));
    EXPECT_STREQ(folder.c_str(), "/Users/me/");
    EXPECT_STREQ(name.c_str(), "/Users/me/head.obj");

    EXPECT_TRUE(DS::fileNameHasExtension("head.obj", "obj"));
    EXPECT_TRUE(DS::fileNameHasExtension("head.obj", ".obj"));
    EXPECT_FALSE(DS::fileNameHasExtension("head.obj", "OBJ"));
    EXPECT_FALSE(DS::fileNameHasExtension("headobj", "obj"));
    QDString file("head");
    EXPECT_TRUE(DS::makeFilenameWithExt(file, "obj"));
    EXPECT_FALSE(DS::makeFilenameWithExt(file, ".obj"));
    EXPECT_STREQ(file.c_str(), "head.obj");

    // Deliberately reversed: a name WITH the extension is left alone, and one
    // without it loses as many characters as ".obj" has.
    EXPECT_FALSE(DS::makeFilenameWithoutExt(file, "obj"));
    EXPECT_STREQ(file.c_str(), "head.obj");
    file = "head.txt";
    EXPECT_TRUE(DS::makeFilenameWithoutExt(file, "obj"));
    EXPECT_STREQ(file.c_str(), "head");
    file = "ab";
    EXPECT_TRUE(DS::makeFilenameWithoutExt(file, "obj"));
    EXPECT_TRUE(file.empty());
}

namespace
{
// The matching rules in their plainest recursive form, for ASCII only.
bool referenceMatch(const char* name, const char* filter)
{
    if (*filter == '*')
        return (*name && referenceMatch(name + 1, filter)) || referenceMatch(name, filter + 1);
    if (!*filter || !*name) return !*filter && !*name;
    return (*filter == '?' || toupper(*filter) == toupper(*name)) &&
           referenceMatch(name + 1, filter + 1);
}

std::vector<std::string> allTexts(const std::string& alphabet, size_t maxLength)
{
    std::vector<std::string> out(1);
    for (size_t i = 0; i < out.size(); ++i)
        for (char c : alphabet)
            if (out[i].size() < maxLength) out.push_back(out[i] + c);
    return out;
}
} // namespace

TEST(QDDiskServerNames, WildcardsAgreeWithTheRulesAndIgnoreCase)
{
    EXPECT_TRUE(fileNameMatchFilter("head.obj", "*.OBJ"));
    EXPECT_TRUE(fileNameMatchFilter("ab", "??"));
    EXPECT_FALSE(fileNameMatchFilter("abc", "??"));
    EXPECT_FALSE(fileNameMatchFilter("head.obj", "") || fileNameMatchFilter("", "*"));
    EXPECT_FALSE(fileNameMatchFilter(nullptr, "*") || fileNameMatchFilter("a", nullptr));
    // Bytes above 0x7f fold to their bit count, so equal counts match.
    EXPECT_TRUE(fileNameMatchFilter("\xC3.obj", "\xA5.obj"));
    EXPECT_TRUE(fileNameMatchFilter("\xC3", "\x04"));
    EXPECT_FALSE(fileNameMatchFilter("\xC3", "\xC1"));

    int mismatches = 0;
    for (const std::string& name : allTexts("ab", 6))
        for (const std::string& filter : allTexts("aB*?", 5))
            mismatches +=
                fileNameMatchFilter(name.c_str(), filter.c_str()) !=
                (!name.empty() && !filter.empty() && referenceMatch(name.c_str(), filter.c_str()));
    EXPECT_EQ(mismatches, 0);

    // Retrying every star would take longer than the age of the universe here.
    std::string longName(4000, 'a');
    EXPECT_FALSE(fileNameMatchFilter(longName.c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
    EXPECT_TRUE(fileNameMatchFilter((longName + "b").c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
}
