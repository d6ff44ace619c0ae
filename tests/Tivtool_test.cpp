#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TestSupport.h"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace
{
struct ToolRun
{
    int status = -1;
    std::string out, err;
};

// Runs the built tool with its output and errors captured in files.
ToolRun tivtool(const std::string& arguments)
{
#ifdef TIV_TIVTOOL_EXE
    const std::string tool = TIV_TIVTOOL_EXE;
#else
    const std::string tool = "tivtool was not built";
#endif
    // Beside the test's own folder, which testFolder() would empty.
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string dir =
        std::string(TIV_TEST_TMP) + "/" + test->test_suite_name() + "." + test->name() + "-run";
    std::filesystem::create_directories(dir);
    ToolRun run;
    int raw = std::system(
        ("'" + tool + "' " + arguments + " > '" + dir + "/out' 2> '" + dir + "/err'").c_str());
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = readBytes(dir + "/out");
    run.err = readBytes(dir + "/err");
    return run;
}

bool oneLine(const std::string& text)
{
    return !text.empty() && text.find('\n') == text.size() - 1;
}

const char* const s_cube = "mtllib cube.mtl\nusemtl skin\n"
                           "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 1 1 0\nv 0 0 0\nv 1 0 2\n"
                           "vt 0 0\nvt 1 0\nvt 1 0.25\nvt 0 1\n"
                           "f 1/1 2/2 3/3 4/4\nf 5/3 6/1 7/2\n";
} // namespace

TEST(Tivtool, UsageErrorsAndHelp)
{
    ToolRun help = tivtool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("tivtool convert IN OUT [--weld] [--flip]"), std::string::npos);

    for (const char* arguments :
         {"", "info", "info a.obj b.obj", "convert a.obj", "convert a.obj b.txt", "info a.stl",
          "explode a.obj", "info a.obj --frobnicate", "info a.obj --weld"})
    {
        ToolRun run = tivtool(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_TRUE(oneLine(run.err)) << arguments << ": " << run.err;
        EXPECT_TRUE(run.out.empty()) << arguments;
    }
}

TEST(Tivtool, InfoOfAnObjFileAndUnreadableFiles)
{
    const std::string dir = testFolder();
    writeBytes(dir + "/cube.obj", s_cube);
    writeBytes(dir + "/cube.mtl", "newmtl skin\nmap_Kd skin.png\n");
    ToolRun run = tivtool("info '" + dir + "/cube.obj'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("vertices:     7\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("faces:        2 (1 triangles, 1 quads)\n"), std::string::npos);
    EXPECT_NE(run.out.find("corner UVs:   8\n"), std::string::npos);
    EXPECT_NE(run.out.find("unique UVs:   4\n"), std::string::npos);
    EXPECT_NE(run.out.find("texture:      skin.png\n"), std::string::npos);
    EXPECT_NE(run.out.find("bounding box: (0, 0, 0) to (1, 1, 2)\n"), std::string::npos);

    // Relative paths work although the mesh services clean paths up to their
    // first slash.
    ToolRun relative =
        tivtool("info '" + std::filesystem::relative(dir + "/cube.obj").string() + "'");
    EXPECT_EQ(relative.status, 0) << relative.err;

    writeBytes(dir + "/bad.tiv", "Tiva and more than thirty-two bytes of something");
    for (const std::string& file : {dir + "/missing.obj", dir + "/bad.tiv"})
    {
        ToolRun failed = tivtool("info '" + file + "'");
        EXPECT_EQ(failed.status, 1) << file;
        EXPECT_TRUE(oneLine(failed.err)) << failed.err;
        EXPECT_NE(failed.err.find(file), std::string::npos) << failed.err;
    }
}

TEST(Tivtool, ConvertWeldsFlipsAndRoundTrips)
{
    const std::string dir = testFolder();
    writeBytes(dir + "/cube.obj", s_cube);
    writeBytes(dir + "/cube.mtl", "newmtl skin\nmap_Kd skin.png\n");
    ToolRun run = tivtool("convert '" + dir + "/cube.obj' '" + dir + "/cube.tiv' --weld --flip");
    ASSERT_EQ(run.status, 0) << run.err;

    QDTivMesh tiv;
    ASSERT_TRUE(tiv.loadFromTivFile((dir + "/cube.tiv").c_str()));
    ASSERT_EQ(tiv.m_vertices.size(), 5); // two of the seven positions repeat
    const BBox& box = tiv.getBBox();
    EXPECT_EQ(box.getMin().y(), -1.0f);
    EXPECT_EQ(box.getMin().z(), -2.0f);
    EXPECT_EQ(box.getMax().x(), 1.0f);
    ASSERT_EQ(tiv.m_cornerUVs.size(), 8);
    EXPECT_EQ(tiv.m_cornerUVs[2], QDVector2f(1.0f, 0.75f)); // v flipped
    EXPECT_EQ(tiv.m_cornerUVs[7], QDVector2f(1.0f, 1.0f));  // triangle's fourth slot: coordinate 1
    EXPECT_STREQ(tiv.m_textureFileName.c_str(), "skin.png");
    // Corners that named equal positions name one vertex after welding.
    EXPECT_EQ(tiv.m_faceVertexIndices[2], tiv.m_faceVertexIndices[4]);
    EXPECT_EQ(tiv.m_faceVertexIndices[0], tiv.m_faceVertexIndices[5]);

    // Back to OBJ and in again: the same faces and positions.
    ToolRun back = tivtool("convert '" + dir + "/cube.tiv' '" + dir + "/again.obj'");
    ASSERT_EQ(back.status, 0) << back.err;
    QDTivMesh again;
    QDObjImport importer;
    ASSERT_TRUE(importer.importTivMesh((dir + "/again.obj").c_str(), again, true));
    ASSERT_EQ(again.m_vertices.size(), 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_FALSE(again.m_vertices[i] != tiv.m_vertices[i]) << i;
    EXPECT_EQ(std::vector<int>(again.m_faceVertexIndices.begin(), again.m_faceVertexIndices.end()),
              std::vector<int>(tiv.m_faceVertexIndices.begin(), tiv.m_faceVertexIndices.end()));
    EXPECT_STREQ(again.m_textureFileName.c_str(), "skin.png");

    // An output that cannot be written is an error naming it.
    ToolRun blocked = tivtool("convert '" + dir + "/cube.obj' '" + dir + "/no/such/out.tiv'");
    EXPECT_EQ(blocked.status, 1);
    EXPECT_NE(blocked.err.find(dir + "/no/such/out.tiv"), std::string::npos) << blocked.err;
    EXPECT_TRUE(oneLine(blocked.err));
}
