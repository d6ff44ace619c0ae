// Files replaced whole or not at all: whatever stops a writer half-way, the
// target keeps its earlier content and no temporary file stays behind.

#include "QDDiskServer.h"
#include "QDGenericConfigFileParser.h"
#include "QDReplacingFile.h"
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
TEST(QDReplacingFile, TargetChangesAtCommitAndLinksAreWrittenThrough)
{
    const std::string dir = testFolder(), target = dir + "/list.txt";
    writeBytes(target, "earlier\n");
    QDReplacingFile file;
    ASSERT_TRUE(file.open(target.c_str()));
    DS::fileWrite(file.handle(), "new\n", 4);
    EXPECT_EQ(readBytes(target), "earlier\n"); // readers see the old file meanwhile
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(readBytes(target), "new\n");
    EXPECT_FALSE(file.commit()); // nothing open any more

    std::filesystem::create_symlink(target, dir + "/link.txt");
    EXPECT_TRUE(DS::writeFileFromString((dir + "/link.txt").c_str(), "through"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir + "/link.txt"));
    EXPECT_EQ(readBytes(target), "through");
    EXPECT_EQ(folderEntries(dir), (std::vector<std::string>{"link.txt", "list.txt"}));
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
