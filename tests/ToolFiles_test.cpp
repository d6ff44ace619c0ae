// Files the tools write are replaced whole or not at all, and tivtool out of
// memory says what it could not do, to which file, and leaves no file behind.

#include "PictureSupport.h"
#include "ReplaceFile.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>

TEST(ToolFiles, ReplacedWholeOrNotAtAll)
{
    const std::string dir = testFolder(), path = dir + "/file.txt";
    writeBytes(path, "old");
    ASSERT_TRUE(replaceFileWith(path, "new"));
    EXPECT_EQ(readBytes(path), "new");

    // A failed write, a write that throws, and a target that a rename cannot
    // replace (a folder) leave the earlier file and no temporary one.
    auto failing = [](FILE* file) { return fputs("half", file) >= 0 && false; };
    EXPECT_FALSE(replaceFile(path, failing));
    auto throwing = [](FILE* file) -> bool
    {
        fputs("half", file);
        throw std::bad_alloc();
    };
    EXPECT_THROW(replaceFile(path, throwing), std::bad_alloc);
    std::filesystem::create_directory(dir + "/folder");
    writeBytes(dir + "/folder/inside", "x");
    EXPECT_FALSE(replaceFileWith(dir + "/folder", "new"));
    EXPECT_TRUE(errno == EISDIR || errno == ENOTEMPTY || errno == EEXIST) << strerror(errno);
    EXPECT_EQ(readBytes(path), "new");
    EXPECT_EQ(folderEntries(dir), (std::vector<std::string>{"file.txt", "folder"}));

    // No folder: nothing is made, and the reason is the system's.
    EXPECT_FALSE(replaceFileWith(dir + "/none/file.txt", "x"));
    EXPECT_EQ(errno, ENOENT);
    // The longest name a folder takes still gets its temporary file.
    const std::string longest = dir + "/" + std::string(255, 'n');
    EXPECT_TRUE(replaceFileWith(longest, "x"));
    EXPECT_EQ(readBytes(longest), "x");

    // A picture that cannot be written keeps the one before.
    if (!TIV_HAVE_PNG) return;
    RgbImage image;
    image.fill(4, 4, 0xFF0000);
    std::string message;
    ASSERT_TRUE(writePng(dir + "/p.png", image, message)) << message;
    std::filesystem::create_directory(dir + "/p2.png");
    writeBytes(dir + "/p2.png/keep", "x");
    EXPECT_FALSE(writePng(dir + "/p2.png", image, message));
    EXPECT_FALSE(message.empty());
    EXPECT_EQ(folderEntries(dir).size(), 5u); // no temporary file among them
}

// Run under a limit of the address space that the pictures and colour maps of
// 8192 pixels a side exceed, and the small files of the test do not.
TEST(ToolFiles, TivtoolOutOfMemorySaysWhatItCouldNotDo)
{
#if TIV_SANITIZE
    GTEST_SKIP() << "the sanitizers reserve more address space than any limit leaves";
#else
#ifndef TIV_TIVTOOL_EXE
    GTEST_SKIP() << "tivtool was not built";
#else
    const std::string dir = testFolder();
    writeBytes(dir + "/quad.mtl", materialNaming("huge.bmp"));
    writeBytes(dir + "/quad.obj", texturedQuadObj("quad.mtl"));
    // A BMP header of 8192 x 8192 pixels, and no pixels.
    RgbImage small;
    small.fill(1, 1, 0);
    std::string huge = bmpBytes(small).substr(0, 54);
    huge.replace(18, 8, le32(8192) + le32(8192));
    writeBytes(dir + "/huge.bmp", huge);
    writeBytes(dir + "/out.png", "earlier picture");

    auto limited = [&dir](const std::string& arguments)
    {
        return runCommand("ulimit -v 150000 && cd '" + dir + "' && '" TIV_TIVTOOL_EXE "' " +
                          arguments);
    };
    struct Case
    {
        std::string arguments, said;
    };
    std::vector<Case> cases = {
        {"render quad.obj out.png --size 8192 --no-texture",
         "tivtool: quad.obj: not enough memory to draw it\n"},
    };
    if (TIV_HAVE_STB)
        cases.push_back(
            {"render quad.obj out.png", "tivtool: huge.bmp: not enough memory to read it\n"});
    for (const Case& c : cases)
    {
        CommandRun run = limited(c.arguments);
        EXPECT_EQ(run.status, 1) << c.arguments;
        EXPECT_EQ(run.err, c.said) << c.arguments;
        EXPECT_EQ(readBytes(dir + "/out.png"), "earlier picture") << c.arguments;
        EXPECT_EQ(folderEntries(dir),
                  (std::vector<std::string>{"huge.bmp", "out.png", "quad.mtl", "quad.obj"}));
    }
    // The same within the limit, with a picture of ordinary size, works.
    CommandRun run = limited("render quad.obj out.png --size 64 --no-texture");
    EXPECT_EQ(run.status, TIV_HAVE_PNG ? 0 : 1) << run.err;
#endif
#endif
}
