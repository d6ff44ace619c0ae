#include "QDDiskServer.h"
#include "TestSupport.h"

#include <sys/stat.h>
#include <unistd.h>
#include <vector>

typedef QDDiskServer DS;
typedef std::vector<std::string> Strings;

namespace
{
QDString path(const std::string& folder, const char* name = "")
{
    return (folder + (*name ? "/" : "") + name).c_str();
}

std::vector<std::string> strings(const QDArray<QDString>& list, size_t cut = 0)
{
    std::vector<std::string> out;
    for (const QDString& s : list)
        out.push_back(toStd(s).substr(std::min(cut, toStd(s).size())));
    return out;
}
} // namespace

TEST(QDDiskServerStreams, InvalidHandlesVolumePrefixesAndSizeThatKeepsThePosition)
{
    char byte = 'x';
    EXPECT_EQ(DS::fileClose(DS::s_invalidFile), 1);
    EXPECT_EQ(DS::fileRead(DS::s_invalidFile, &byte, 1) + DS::fileWrite(nullptr, &byte, 1), 0u);
    EXPECT_EQ(DS::fileSeek(DS::s_invalidFile, 4, SEEK_SET) + DS::fileSize(nullptr), 0);
    std::string folder = testFolder();
    EXPECT_TRUE(DS::fileAtEnd(DS::s_invalidFile) && !DS::fileOpen(QDString(), "r") &&
                !DS::fileOpen(path(folder, "f"), QDString()));

    writeBytes(folder + "/data.bin", "0123456789");
    DS::FileHandle file = DS::fileOpen(("Macintosh HD:" + folder + "/data.bin").c_str(), "rb");
    ASSERT_NE(file, DS::s_invalidFile);
    EXPECT_EQ(DS::fileSeek(file, 3, SEEK_SET), 0);
    EXPECT_EQ(DS::fileSize(file), 10);
    char bytes[16] = {};
    EXPECT_EQ(DS::fileRead(file, bytes, sizeof(bytes)), 7u);
    EXPECT_STREQ(bytes, "3456789");
    EXPECT_TRUE(DS::fileAtEnd(file) && DS::fileClose(file) == 0);

    // The plug-in runs on the host's only thread: opening must never wait on a
    // FIFO, and reading must never start on something that does not end.
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    for (const char* mode : {"r", "w"})
        EXPECT_EQ(DS::fileOpen(path(folder, "pipe"), mode), DS::s_invalidFile) << mode;
    EXPECT_TRUE(!DS::fileOpen(path(folder), "r") && !DS::fileOpen("/dev/zero", "rb"));
    EXPECT_EQ(DS::fileClose(DS::fileOpen("/dev/null", "wb")), 0);
}

TEST(QDDiskServerWholeFile, ReadAndWriteAtMost4096Bytes)
{
    std::string folder = testFolder();
    QDString file = path(folder, "text.txt"), text;
    const std::string longest(4096, 'q');
    EXPECT_TRUE(DS::writeFileFromString(file, longest.c_str()) && DS::readFileAsString(file, text));
    EXPECT_EQ(toStd(text), longest);
    // Longer is refused, not cut: the write leaves the file it truncated empty.
    EXPECT_FALSE(DS::writeFileFromString(file, (longest + "q").c_str()));
    EXPECT_EQ(readBytes(file.c_str()), "");
    writeBytes(file.c_str(), longest + "q");
    for (QDString bad : {file, path(folder, "missing"), path(folder)})
    {
        text = "previous";
        EXPECT_FALSE(DS::readFileAsString(bad, text));
        EXPECT_TRUE(text.isNull());
    }
    writeBytes(file.c_str(), "");
    text = "previous";
    EXPECT_TRUE(DS::readFileAsString(file, text) && text.isNull()); // empty: success, null

    writeBytes(file.c_str(), "head\n");
    EXPECT_FALSE(DS::writeFileFromString(file, QDString("")));
    EXPECT_TRUE(std::filesystem::exists(file.c_str()) && readBytes(file.c_str()).empty());
    // The bytes only meet the full disk when the buffered stream is closed.
    EXPECT_FALSE(DS::writeFileFromString("/dev/full", "abc") ||
                 DS::writeFileFromString(path(folder, "text.txt/x"), "abc"));
}

TEST(QDDiskServerWholeFile, LinesKeepTheRepeatedLastByteAndABoundedSize)
{
    QDString file = path(testFolder(), "lines.txt");
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}},
        {"a\nb\n", {"a", "b", ""}},  // the final LF is handed over twice
        {"ab", {"abb"}},             // so is an unterminated line's last byte
        {"a\r\nb", {"a", "", "bb"}}, // CR LF leaves an empty line
        {std::string(20000, 'c') + "\nd", {std::string(20000, 'c'), "dd"}},
    };
    QDArray<QDString> lines;
    for (const auto& c : cases)
    {
        writeBytes(file.c_str(), c.first);
        lines = QDArray<QDString>(3, QDString("stale"));
        ASSERT_TRUE(DS::readFileAsStringLines(file, lines));
        EXPECT_EQ(strings(lines), c.second) << "file of " << c.first.size() << " bytes";
    }
    EXPECT_FALSE(DS::readFileAsStringLines(file + "/x", lines));
    EXPECT_EQ(lines.size(), 0);

    // A heap string for every two bytes would take many times the file, in 32
    // and 64 bits alike: such a file is damaged.
    std::string shortLines;
    for (int i = 0; i < 3 << 20; ++i)
        shortLines += "a\n";
    writeBytes(file.c_str(), shortLines);
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

TEST(QDDiskServerFolders, ExistenceCreationRenamingDeletionAndModes)
{
    std::string folder = testFolder();
    writeBytes(folder + "/f.txt", "x");
    EXPECT_TRUE(DS::fileExists(path(folder, "f.txt")) && DS::folderExists(path(folder)));
    EXPECT_TRUE(DS::fileExists(("Disk:" + folder + "/f.txt").c_str()));
    EXPECT_FALSE(DS::fileExists(path(folder)) || DS::folderExists(path(folder, "f.txt")));
    EXPECT_FALSE(DS::fileExists(path(folder, "no")) || DS::folderExists(path(folder, "no")));
    EXPECT_FALSE(DS::fileExists(QDString()) || DS::folderExists(QDString()));

    mode_t mask = umask(0);
    umask(mask);
    ASSERT_TRUE(DS::createFolder(path(folder, "made")));
    EXPECT_EQ(DS::getMode(path(folder, "made")) & 0777, 0700 & ~mask);
    EXPECT_FALSE(DS::createFolder(path(folder, "made")));
    EXPECT_FALSE(DS::createFolder(path(folder, "a/b")) ||
                 DS::createFolder(QDString())); // one level
    // Handed to the system unchanged: a volume prefix is not stripped here.
    EXPECT_FALSE(DS::createFolder(("Disk:" + folder + "/c").c_str()));

    EXPECT_TRUE(DS::setMode(path(folder, "f.txt"), 0640) == 0 &&
                DS::getMode(path(folder, "f.txt")) == 0100640);
    EXPECT_TRUE(DS::setMode(path(folder, "no"), 0640) != 0 && DS::getMode(path(folder, "no")) == 0);
    // Only the source is cleaned; one operation deletes files and empty folders.
    ASSERT_TRUE(DS::renameFile(("Disk:" + folder + "/f.txt").c_str(), path(folder, "made/g")));
    EXPECT_FALSE(DS::deleteFolder(path(folder, "made"))); // not empty
    EXPECT_TRUE(DS::deleteFile(path(folder, "made/g")) && DS::deleteFile(path(folder, "made")));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST(QDDiskServerFolders, CopyDeleteTreeAndSearchStayInsideWhatTheyAreGiven)
{
    std::string folder = testFolder(), tree = folder + "/tree";
    std::string bytes(1048576 * 2 + 12345, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7919 >> 5);
    writeBytes(folder + "/big.bin", bytes);
    QDString source = path(folder, "big.bin");
    ASSERT_TRUE(DS::copyFile(source, path(folder, "copy.bin")));
    EXPECT_TRUE(readBytes(folder + "/copy.bin") == bytes);
    // Copying a file onto itself must not empty it.
    EXPECT_FALSE(DS::copyFile(source, path(folder, "./big.bin")));
    EXPECT_TRUE(readBytes(folder + "/big.bin") == bytes);
    EXPECT_FALSE(DS::copyFile(source, "/dev/full"));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));

    for (const char* name : {"/outside/keep", "/tree/b.OBJ", "/tree/a.obj", "/tree/c.txt",
                             "/tree/sub/d.obj", "/tree/sub/deeper/e.obj"})
        writeBytes(folder + name, "x");
    std::filesystem::create_directory_symlink(folder + "/outside", tree + "/sub/link");
    std::filesystem::create_directory_symlink(tree, tree + "/sub/loop");
    auto search = [&](const char* filter, int depth, int folders)
    {
        QDArray<QDString> found;
        EXPECT_TRUE(DS::searchFileList(found, tree.c_str(), filter, depth, folders));
        return strings(found, tree.size());
    };
    // Each level down takes one of both counts; a link back up is not entered.
    typedef std::vector<std::string> Names;
    EXPECT_EQ(search("*.obj", 0, 9), (Names{"/a.obj", "/b.OBJ"}));
    EXPECT_EQ(search("*.OBJ", 9, 9),
              (Names{"/a.obj", "/b.OBJ", "/sub/d.obj", "/sub/deeper/e.obj"}));
    QDArray<QDString> found;
    EXPECT_FALSE(DS::searchFileList(found, path(folder, "none"), "*", 1, 1));

    // A link is removed, never followed.
    EXPECT_FALSE(DS::deleteDirectory((tree + "/sub/link").c_str(), true, true));
    EXPECT_TRUE(DS::deleteDirectory(tree.c_str(), true, true));
    EXPECT_FALSE(std::filesystem::exists(tree));
    EXPECT_TRUE(std::filesystem::exists(folder + "/outside/keep"));
    EXPECT_FALSE(DS::deleteDirectory(tree.c_str(), true, true));
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
    // The edited name, marked when the edit reports that it did nothing.
    typedef bool (*Edit)(QDString&, const QDString&);
    auto edit = [](Edit f, const char* text, const char* ext = "")
    {
        QDString s(text);
        return f(s, ext) ? toStd(s) : toStd(s) + " (kept)";
    };
    Edit extract = [](QDString& s, const QDString&) { return DS::extractPathFromFilename(s); };
    Edit remove = [](QDString& s, const QDString&) { return DS::removePathFromFilename(s); };
    // Only '/' ends the folder part here; removing the folder also cuts at '\'.
    EXPECT_EQ(
        Strings({edit(extract, "/a/b.txt"), edit(extract, "b.txt"), edit(extract, "C:\\x/y\\b"),
                 edit(remove, "/a\\b.txt"), edit(remove, "b.txt")}),
        Strings({"/a/", "", "C:\\x/", "b.txt", "b.txt"}));
    // Deliberately reversed: a name WITH the extension is left alone, and one
    // without it loses as many characters as ".obj" has.
    EXPECT_EQ(Strings({edit(DS::makeFilenameWithExt, "head", "obj"),
                       edit(DS::makeFilenameWithExt, "head.obj", ".obj"),
                       edit(DS::makeFilenameWithoutExt, "head.obj", "obj"),
                       edit(DS::makeFilenameWithoutExt, "head.txt", "obj"),
                       edit(DS::makeFilenameWithoutExt, "ab", "obj")}),
              Strings({"head.obj", "head.obj (kept)", "head.obj (kept)", "head", ""}));
    QDString folder, name("/Users/me/head.obj");
    EXPECT_TRUE(DS::extractPathFromFilename(folder, name));
    EXPECT_EQ(toStd(folder) + " " + toStd(name), "/Users/me/ /Users/me/head.obj");
    EXPECT_TRUE(DS::fileNameHasExtension("head.obj", "obj") &&
                DS::fileNameHasExtension("x.obj", ".obj"));
    EXPECT_FALSE(DS::fileNameHasExtension("head.obj", "OBJ") ||
                 DS::fileNameHasExtension("headobj", "obj"));
}

TEST(QDDiskServerNames, WildcardsIgnoreCaseAndNeverBacktrackForEver)
{
    const std::pair<const char*, const char*> matching[] = {
        {"head.obj", "*.OBJ"}, {"ab", "??"}, {"ab", "a*b"}, {"ab", "*a*b*"}, {"aXbaYb", "*a?b"}};
    for (const auto& m : matching)
        EXPECT_TRUE(fileNameMatchFilter(m.first, m.second)) << m.first << " " << m.second;
    const std::pair<const char*, const char*> failing[] = {
        {"abc", "??"}, {"head.obj", ""}, {"", "*"}, {"ab", "a*c"}, {"abab", "*a"}, {nullptr, "*"}};
    for (const auto& m : failing)
        EXPECT_FALSE(fileNameMatchFilter(m.first, m.second)) << m.second;
    EXPECT_FALSE(fileNameMatchFilter("a", nullptr));
    // Bytes above 0x7f fold to their bit count, so equal counts match.
    EXPECT_TRUE(fileNameMatchFilter("\xC3.obj", "\xA5.obj") && fileNameMatchFilter("\xC3", "\x04"));
    EXPECT_FALSE(fileNameMatchFilter("\xC3", "\xC1"));

    // Retrying every star would take longer than the age of the universe here.
    std::string longName(4000, 'a');
    EXPECT_FALSE(fileNameMatchFilter(longName.c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
    EXPECT_TRUE(fileNameMatchFilter((longName + "b").c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
}
