#include "QDDiskServer.h"
#include "TestSupport.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace
{
std::string join(const std::string& folder, const char* name)
{
    return folder + "/" + name;
}
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
