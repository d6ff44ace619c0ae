#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TestSupport.h"

namespace
{
CommandRun tivtool(const std::string& arguments)
{
#ifdef TIV_TIVTOOL_EXE
    return runCommand("'" TIV_TIVTOOL_EXE "' " + arguments);
#else
    return runCommand("'tivtool was not built' " + arguments);
#endif
}

// Every failure is told in one line naming what went wrong.
bool oneLine(const std::string& text, const std::string& part = "")
{
    return !text.empty() && text.find('\n') == text.size() - 1 &&
           text.find(part) != std::string::npos;
}

// A quad and a triangle over seven positions, two of which repeat.
std::string writeCube(const std::string& dir)
{
    writeBytes(dir + "/cube.obj", "mtllib cube.mtl\nusemtl skin\n"
                                  "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 1 1 0\nv 0 0 0\nv 1 0 2\n"
                                  "vt 0 0\nvt 1 0\nvt 1 0.25\nvt 0 1\n"
                                  "f 1/1 2/2 3/3 4/4\nf 5/3 6/1 7/2\n");
    writeBytes(dir + "/cube.mtl", "newmtl skin\nmap_Kd skin.png\n");
    return "'" + dir + "/cube.obj'";
}
} // namespace

TEST(Tivtool, UsageErrorsAndInfo)
{
    CommandRun help = tivtool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("tivtool convert IN OUT [--weld] [--flip]"), std::string::npos);
    for (const char* arguments :
         {"", "info", "info a.obj b.obj", "convert a.obj", "convert a.obj b.txt", "info a.stl",
          "explode a.obj", "info a.obj --frobnicate", "info a.obj --weld"})
    {
        CommandRun run = tivtool(arguments);
        EXPECT_TRUE(run.status == 2 && run.out.empty() && oneLine(run.err)) << arguments;
    }

    const std::string dir = testFolder();
    CommandRun run = tivtool("info " + writeCube(dir));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(
        run.out.find("vertices:     7\nfaces:        2 (1 triangles, 1 quads)\n"
                     "corner UVs:   8\nunique UVs:   4\nface groups:  0\ntexture:      skin.png\n"
                     "bounding box: (0, 0, 0) to (1, 1, 2)\n"),
        std::string::npos)
        << run.out;
    // Relative paths work although the mesh services clean paths up to their
    // first slash.
    EXPECT_EQ(
        tivtool("info '" + std::filesystem::relative(dir + "/cube.obj").string() + "'").status, 0);

    writeBytes(dir + "/bad.tiv", "Tiva and more than thirty-two bytes of something");
    for (const std::string& file : {dir + "/missing.obj", dir + "/bad.tiv"})
    {
        CommandRun failed = tivtool("info '" + file + "'");
        EXPECT_EQ(failed.status, 1) << file;
        EXPECT_TRUE(oneLine(failed.err, file)) << failed.err;
    }
}

TEST(Tivtool, ConvertWeldsFlipsAndRoundTrips)
{
    const std::string dir = testFolder();
    CommandRun run = tivtool("convert " + writeCube(dir) + " '" + dir + "/cube.tiv' --weld --flip");
    ASSERT_EQ(run.status, 0) << run.err;

    QDTivMesh tiv, again;
    ASSERT_TRUE(tiv.loadFromTivFile((dir + "/cube.tiv").c_str()));
    ASSERT_EQ(tiv.m_vertices.size(), 5);
    const BBox& box = tiv.getBBox();
    EXPECT_TRUE(box.getMin().y() == -1.0f && box.getMin().z() == -2.0f && box.getMax().x() == 1.0f);
    ASSERT_EQ(tiv.m_cornerUVs.size(), 8);
    EXPECT_EQ(tiv.m_cornerUVs[2], QDVector2f(1.0f, 0.75f)); // v flipped
    EXPECT_STREQ(tiv.m_textureFileName.c_str(), "skin.png");

    // Back to OBJ and in again: the same faces and positions.
    run = tivtool("convert '" + dir + "/cube.tiv' '" + dir + "/again.obj'");
    ASSERT_TRUE(run.status == 0 &&
                QDObjImport().importTivMesh((dir + "/again.obj").c_str(), again, true))
        << run.err;
    ASSERT_EQ(again.m_vertices.size(), 5);
    EXPECT_EQ(memcmp(again.m_vertices.begin(), tiv.m_vertices.begin(), 5 * sizeof(QDVector3f)), 0);
    EXPECT_TRUE(std::equal(again.m_faceVertexIndices.begin(), again.m_faceVertexIndices.end(),
                           tiv.m_faceVertexIndices.begin(), tiv.m_faceVertexIndices.end()));
    EXPECT_STREQ(again.m_textureFileName.c_str(), "skin.png");

    // An output that cannot be written is an error naming it.
    run = tivtool("convert '" + dir + "/cube.obj' '" + dir + "/no/such/out.tiv'");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(oneLine(run.err, dir + "/no/such/out.tiv")) << run.err;
}
