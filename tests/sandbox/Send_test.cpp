// Whole sends in the sandbox exchange root, with stand-ins for the launcher and
// the sculpting application. Each send waits for the launcher for real, so the
// sends run in sequence in one test.
#include "QDLogServer.h"
#include "QDTiv.h"
#include "SandboxSupport.h"
#include "TivPSServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace
{
namespace fs = std::filesystem;
typedef std::vector<std::vector<std::string>> Runs;

std::vector<std::string> s_lines;
void keepLine(const char* line)
{
    s_lines.push_back(line);
}

bool logged(const std::string& line)
{
    return std::find(s_lines.begin(), s_lines.end(), line) != s_lines.end();
}

struct Float3
{
    float x, y, z;
};
struct Float2
{
    float u, v;
};

bool operator==(const Float3& a, const Float3& b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}
bool operator==(const Float2& a, const Float2& b)
{
    return a.u == b.u && a.v == b.v;
}
} // namespace

TEST(Send, WholeSendsThroughTheSandboxExchangeFolder)
{
    const std::string root = TIV_SANDBOX_ROOT;
    ASSERT_EQ(std::string(QDTiv::s_publicFolder.c_str()), root);
    sandbox::ExchangeTree tree(root);
    tree.create();
    const std::string layer = tree.defaultProject + "/Sandbox Cube";
    for (const char* ext : {".obj", ".mtl", ".tiv", ".obj.prevMV2PS.obj"})
        fs::remove(layer + ext);
    const std::string projectFolder = root + "/TivProjects/FromMorvel";
    fs::remove_all(projectFolder);
    sandbox::writeText(root + "/TivMorvel/Tiv_ProjectPath.txt", projectFolder + "\n");
    QDArray<QDString> objects;
    objects.push_back(QDString(layer.c_str()));
    QDLogServer::setLineObserver(keepLine);

    // First send of the layer: the host exports a quad as two unwelded triangles.
    TivPSServer::hackBeforePhotoshopExport3DModel((layer + ".obj").c_str());
    sandbox::writeText(layer + ".obj", "mtllib Sandbox Cube.mtl\n"
                                       "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 0 0\nv 1 1 0\nv 0 1 0\n"
                                       "vt 0 0.25\nvt 1 0.25\nvt 1 1\nvt 0 1\n"
                                       "usemtl skin\nf 1/1 2/2 3/3\nf 4/1 5/3 6/4\n");
    sandbox::writeText(layer + ".mtl", "newmtl skin\nmap_Kd cube.png\n");
    TivPSServer::initialize();
    EXPECT_TRUE(fs::is_directory(projectFolder));
    ASSERT_TRUE(TivPSServer::goToMorvel(objects));

    auto blocks = sandbox::readTivBlocks(layer + ".tiv");
    ASSERT_EQ(blocks.count(10001), 1u);
    // Welded into ascending position order, then y and z negated.
    EXPECT_EQ(blocks[10001].count, 4u);
    EXPECT_EQ(sandbox::tivValues<Float3>(blocks[10001]),
              (std::vector<Float3>{{0, 0, 0}, {0, -1, 0}, {1, 0, 0}, {1, -1, 0}}));
    EXPECT_EQ(sandbox::tivValues<int>(blocks[20001]), (std::vector<int>{0, 2, 3, -1, 0, 3, 1, -1}));
    // Per corner, v flipped; a triangle's fourth corner holds the second coordinate.
    EXPECT_EQ(
        sandbox::tivValues<Float2>(blocks[25001]),
        (std::vector<Float2>{
            {0, 0.75f}, {1, 0.75f}, {1, 0}, {1, 0.75f}, {0, 0.75f}, {1, 0}, {0, 0}, {1, 0.75f}}));
    // The texture named without a folder lies in the default project folder.
    EXPECT_STREQ(blocks[45001].data.c_str(), (tree.defaultProject + "/cube.png").c_str());
    EXPECT_EQ(sandbox::readText(root + "/TivMorvel/Tiv_ObjectList.txt"), layer + "\n");
    EXPECT_EQ(sandbox::readText(root + "/TivMorvel/Tiv_Application.txt"), "Photoshop");
    EXPECT_TRUE(logged("Not A Return to Morvel -> mergeEqualVertices()"));
    EXPECT_TRUE(logged("TexName: 'cube.png'"));
    EXPECT_TRUE(logged("TexName: '" + tree.defaultProject + "/cube.png'"));
    EXPECT_TRUE(logged("  ->" + layer + ".tiv"));
    EXPECT_TRUE(logged(" MorvelWasRunning = 0"));
    EXPECT_EQ(sandbox::waitForRuns(tree.launcherRecord, 1), (Runs{{}}));
    EXPECT_EQ(sandbox::waitForRuns(tree.morvelRecord, 1),
              (Runs{{root + "/TivApps/Photoshop/Tiv_LoadTextures.mvs"}}));

    // Second send: the layer comes back (its OBJ is there) with previous
    // geometry that fits, and no sculpting application is configured.
    tree.configure(false);
    TivPSServer::hackBeforePhotoshopExport3DModel((layer + ".obj").c_str());
    sandbox::writeText(layer + ".obj.prevMV2PS.obj", sandbox::trianglesObj(2, 5));
    s_lines.clear();
    TivPSServer::initialize();
    ASSERT_TRUE(TivPSServer::goToMorvel(objects));

    blocks = sandbox::readTivBlocks(layer + ".tiv");
    EXPECT_EQ(blocks[10001].count, 6u); // kept as it was, not welded
    std::vector<Float3> kept = sandbox::tivValues<Float3>(blocks[10001]);
    ASSERT_EQ(kept.size(), 6u);
    EXPECT_TRUE((kept[1] == Float3{0, -1, -5}) && (kept[5] == Float3{2, -1, -5}));
    for (const Float2& uv : sandbox::tivValues<Float2>(blocks[25001]))
        EXPECT_TRUE((uv == Float2{0.5f, 0.75f}));
    EXPECT_STREQ(blocks[45001].data.c_str(), (tree.defaultProject + "/cube.png").c_str());
    EXPECT_TRUE(logged("   -> keep previous geometry (quads, vtx and uvs)"));
    EXPECT_TRUE(logged(" MorvelWasRunning = 0"));
    EXPECT_FALSE(logged(". Executing MvScript:"));
    EXPECT_EQ(sandbox::waitForRuns(tree.launcherRecord, 2).size(), 2u);
    EXPECT_EQ(sandbox::readRuns(tree.morvelRecord).size(), 1u);

    QDLogServer::setLineObserver(nullptr);
}
