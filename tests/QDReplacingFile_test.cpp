// Files replaced whole or not at all: whatever stops a writer half-way, the
// target keeps its earlier content and no temporary file stays behind.

#include "QDDiskServer.h"
#include "QDGenericConfigFileParser.h"
#include "QDReplacingFile.h"
#include "QDTivFile.h"
#include "TestSupport.h"

#include <functional>

namespace
{
typedef QDDiskServer DS;

// A mesh whose files run to a few kilobytes: a grid of quads with texture
// coordinates, groups and a texture name.
QDTivMesh gridMesh()
{
    std::vector<QDVector3f> positions;
    std::vector<int> corners;
    std::vector<QDVector2f> uvs;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            positions.push_back(QDVector3f(float(x), float(y), 0));
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 7; ++x)
        {
            int v = 8 * y + x;
            corners.insert(corners.end(), {v, v + 1, v + 9, v + 8});
            for (int k = 0; k < 4; ++k)
                uvs.push_back(
                    QDVector2f(float(x + (k == 1 || k == 2)) / 7, float(y + (k > 1)) / 7));
        }
    QDTivMesh mesh = makeMesh(positions, corners, uvs);
    mesh.m_faceGroups = QDArray<unsigned short>(49, 0);
    mesh.m_faceGroups[3] = 4;
    mesh.m_textureFileName = "skin.png";
    return mesh;
}
} // namespace

// (Failed and thrown writes, folders and missing folders: ToolFiles, through
// the tools' wrapper.)
TEST(QDReplacingFile, TargetChangesAtCommitKeepingItsModeOwnerAndLinks)
{
    const std::string dir = testFolder(), target = dir + "/list.txt";
    writeBytes(target, "earlier\n");
    chmod(target.c_str(), 0640);
    if (geteuid() == 0) ownAs(target, true, 0640); // the owner kept only where root may give it
    struct stat before, after;
    stat(target.c_str(), &before);
    QDReplacingFile file;
    ASSERT_TRUE(file.open(target.c_str()));
    DS::fileWrite(file.handle(), "new\n", 4);
    EXPECT_EQ(readBytes(target), "earlier\n"); // readers see the old file meanwhile
    EXPECT_TRUE(file.isReplacing());
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(readBytes(target), "new\n");
    EXPECT_FALSE(file.commit()); // nothing open any more
    stat(target.c_str(), &after);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_TRUE(after.st_uid == before.st_uid && after.st_gid == before.st_gid);

    // A symbolic link and a second name are written through, not replaced.
    std::filesystem::create_symlink(target, dir + "/link.txt");
    std::filesystem::create_hard_link(target, dir + "/second.txt");
    EXPECT_TRUE(DS::writeFileFromString((dir + "/link.txt").c_str(), "through"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir + "/link.txt"));
    EXPECT_EQ(readBytes(dir + "/second.txt"), "through");
    EXPECT_TRUE(DS::writeFileFromString((dir + "/second.txt").c_str(), "both"));
    EXPECT_EQ(readBytes(target), "both");
    EXPECT_EQ(folderEntries(dir), (std::vector<std::string>{"link.txt", "list.txt", "second.txt"}));
}

// A binary file let go without close() is in place, as if closed; one that a
// throw let go, or whose write failed or was refused, leaves the earlier file.
TEST(QDReplacingFile, BinaryFileLetGoIsInPlaceUnlessItFailed)
{
    const std::string dir = testFolder(), path = dir + "/mesh.tiv";
    {
        QDTivFile file(path.c_str(), "wb");
        EXPECT_TRUE(file.writeTivFileHeader() && file.writeEndTivBlock());
    }
    EXPECT_EQ(readBytes(path), "Tivb" + zeros(44));

    writeBytes(path, "earlier");
    EXPECT_THROW(
        {
            QDTivFile file(path.c_str(), "wb");
            file.writeTivFileHeader();
            throw std::bad_alloc();
        },
        std::bad_alloc);
    EXPECT_EQ(readBytes(path), "earlier");
    {
        FileSizeLimit cut(100);
        QDBinaryFile file(path.c_str(), "wb");
        EXPECT_FALSE(file.write(QDArray<unsigned char>(1 << 16, 1)));
        EXPECT_TRUE(file.write(1)); // a later write that fits does not undo the failure
    }
    EXPECT_EQ(readBytes(path), "earlier");
    {
        QDTivFile file(path.c_str(), "wb");
        EXPECT_FALSE(file.writeTivBlock(7, 0.0f, 1, 0xFFFFFFF0u, ""));
    }
    EXPECT_EQ(readBytes(path), "earlier");
    EXPECT_EQ(folderEntries(dir), std::vector<std::string>{"mesh.tiv"});
}

// Another user's files and folders, as nobody: a file the writer may not
// write is refused and stays; one it may write is written, in place where
// no file can be made beside it or renaming would change its owner.
TEST(QDReplacingFile, PermissionsOfTheTargetDecideAsForFopen)
{
    const std::string dir = testFolder();
    const std::string open = dir + "/open", closed = dir + "/closed", sticky = dir + "/sticky";
    writeBytes(open + "/read-only.txt", "earlier");
    writeBytes(open + "/Tiv_Config.txt", "PATH = /a\n");
    writeBytes(closed + "/shared.txt", "earlier");
    writeBytes(closed + "/shared.tiv", "earlier");
    writeBytes(sticky + "/shared.txt", "earlier");
    if (geteuid() == 0)
    {
        ownAs(open + "/read-only.txt", true, 0444);
        ownAs(open + "/Tiv_Config.txt", true, 0444);
        ownAs(open, false, 0777);
        for (const std::string& file : {closed + "/shared.txt", closed + "/shared.tiv",
                                        sticky + "/shared.txt"})
            ownAs(file, false, 0666);
        ownAs(closed, false, 0755);
        ownAs(sticky, false, 01777);
    }
    const QDTivMesh mesh = gridMesh();
    std::string skipped;
    const std::string said = runAsNobody(
        dir,
        [&]
        {
            QDBinaryFile binary;
            std::string results;
            for (bool done :
                 {DS::writeFileFromString((open + "/read-only.txt").c_str(), "new"),
                  binary.open((open + "/read-only.txt").c_str(), "wb"),
                  QDGenericConfigFileParser::replaceTokenInConfigFile(
                      (open + "/Tiv_Config.txt").c_str(), "PATH", "/b", nullptr),
                  DS::writeFileFromString((closed + "/shared.txt").c_str(), "new"),
                  mesh.saveToTivFile((closed + "/shared.tiv").c_str(), true),
                  DS::writeFileFromString((sticky + "/shared.txt").c_str(), "new"),
                  DS::writeFileFromString((sticky + "/mine.txt").c_str(), "mine")})
                results += done ? '1' : '0';
            return results;
        },
        skipped);
    if (!skipped.empty()) GTEST_SKIP() << skipped;
    EXPECT_EQ(said, "0001111");
    EXPECT_EQ(readBytes(open + "/read-only.txt"), "earlier");
    EXPECT_EQ(readBytes(open + "/Tiv_Config.txt"), "PATH = /a\n");
    EXPECT_EQ(std::filesystem::status(open + "/read-only.txt").permissions(),
              std::filesystem::perms(0444));
    EXPECT_EQ(readBytes(closed + "/shared.txt"), "new");
    mesh.saveToTivFile((dir + "/whole.tiv").c_str(), true);
    EXPECT_EQ(readBytes(closed + "/shared.tiv"), readBytes(dir + "/whole.tiv"));
    EXPECT_EQ(readBytes(sticky + "/shared.txt"), "new");
    EXPECT_EQ(readBytes(sticky + "/mine.txt"), "mine");
    struct stat info;
    stat((sticky + "/shared.txt").c_str(), &info);
    EXPECT_TRUE(info.st_uid == 0 && (info.st_mode & 07777) == 0666);
    for (const std::string& folder : {open, closed, sticky})
        EXPECT_EQ(folderEntries(folder).size(), 2u) << folder;
}

// Each writer, cut anywhere, reports the failure and leaves the earlier
// file; with room enough it writes what it always wrote.
TEST(QDReplacingFile, WritersCutAtAnyByteKeepTheEarlierFile)
{
    const std::string dir = testFolder();
    const QDTivMesh mesh = gridMesh();
    const std::string tiv = dir + "/mesh.tiv", obj = dir + "/mesh.obj", mtl = dir + "/mesh.mtl";
    const std::string text = dir + "/list.txt", config = dir + "/config.txt", copy = dir + "/copy";
    ASSERT_TRUE(mesh.saveToTivFile(tiv.c_str(), true));
    ASSERT_TRUE(mesh.saveToObjFile(obj.c_str(), true, false, true, false, false));
    const std::string wholeTiv = readBytes(tiv), wholeObj = readBytes(obj),
                      wholeMtl = readBytes(mtl);
    const std::string wholeText(300, 'p');

    struct Writer
    {
        std::string path, earlier;
        std::function<bool()> write;
    };
    const std::vector<Writer> writers = {
        {tiv, "earlier", [&] { return mesh.saveToTivFile(tiv.c_str(), true); }},
        {obj, "earlier",
         [&] { return mesh.saveToObjFile(obj.c_str(), true, false, true, false, false); }},
        {text, "earlier", [&] { return DS::writeFileFromString(text.c_str(), wholeText.c_str()); }},
        {config, "PATH = /a\nOTHER = 1\n",
         [&]
         {
             return QDGenericConfigFileParser::replaceTokenInConfigFile(config.c_str(), "PATH",
                                                                        "/b", nullptr);
         }},
        {copy, "earlier", [&] { return DS::copyFile(tiv.c_str(), copy.c_str()); }},
    };
    for (const Writer& writer : writers)
    {
        // Byte by byte at the start, then in steps that land on every offset
        // within a stream buffer sooner or later.
        for (rlim_t limit = 0;; limit += limit < 64 ? 1 : 37)
        {
            writeBytes(writer.path, writer.earlier);
            bool done;
            {
                FileSizeLimit cut(limit);
                done = writer.write();
            }
            if (done) break;
            ASSERT_EQ(readBytes(writer.path), writer.earlier) << writer.path << " cut at " << limit;
            ASSERT_LT(limit, 100000u) << writer.path;
        }
        for (const std::string& name : folderEntries(dir))
            EXPECT_EQ(name.find(".part"), std::string::npos) << name << " left by " << writer.path;
    }
    EXPECT_EQ(readBytes(tiv), wholeTiv);
    EXPECT_EQ(readBytes(obj), wholeObj);
    EXPECT_EQ(readBytes(mtl), wholeMtl);
    EXPECT_EQ(readBytes(text), wholeText);
    EXPECT_EQ(readBytes(config), "PATH = /b\nOTHER = 1\n");
    EXPECT_EQ(readBytes(copy), wholeTiv);
}
