#include "QDTivMesh.h"
#include "TestSupport.h"

#include <clocale>
#include <cstdio>
#include <string>
#include <sys/stat.h>

namespace
{
std::string printed(const char* format, double value)
{
    char text[128];
    snprintf(text, sizeof(text), format, value);
    return text;
}

// One quad and one triangle over four vertices.
QDTivMesh quadAndTriangle()
{
    QDTivMesh mesh;
    mesh.m_vertices.push_back(QDVector3f(0, 0, 0));
    mesh.m_vertices.push_back(QDVector3f(1, 0, 0));
    mesh.m_vertices.push_back(QDVector3f(1, 1, 0));
    mesh.m_vertices.push_back(QDVector3f(0, 1, 0));
    for (int i : {0, 1, 2, 3, 0, 2, 3, -1})
        mesh.m_faceVertexIndices.push_back(i);
    return mesh;
}

// Fills the UV caches directly, so the expected text does not depend on how
// unique coordinates are numbered.
void setUVs(QDTivMesh& mesh)
{
    mesh.m_uniqueUVs.push_back(QDVector2f(0.25f, 0.5f));
    mesh.m_uniqueUVs.push_back(QDVector2f(1, 0.75f));
    for (int i : {0, 1, 1, 0, 1, 0, 1, -1})
        mesh.m_cornerUVIndices.push_back(i);
    mesh.m_cornerUVs.resize(8);
}

const char* const s_vertexLines = "v 0.000000000000000 0.000000000000000 0.000000000000000\n"
                                  "v 1.000000000000000 0.000000000000000 0.000000000000000\n"
                                  "v 1.000000000000000 1.000000000000000 0.000000000000000\n"
                                  "v 0.000000000000000 1.000000000000000 0.000000000000000\n";
} // namespace

TEST(ObjExport, PlainMeshWritesPositionsAndFaces)
{
    std::string dir = testFolder();
    QDTivMesh mesh = quadAndTriangle();
    mesh.m_textureFileName = "ignored.png"; // the map flag is off
    ASSERT_TRUE(mesh.saveToObjFile((dir + "/a.obj").c_str(), false, false, false, false, false));
    EXPECT_EQ(readBytes(dir + "/a.obj"), std::string(s_vertexLines) + "f 1 2 3 4\nf 1 3 4\n");
    EXPECT_FALSE(std::filesystem::exists(dir + "/a.mtl"));

    // Every float is written as printf's "%.15f" of its double would write it.
    QDTivMesh numbers;
    const float values[] = {0.1f, -1.0e-7f, 123456.789f, 3.4e38f, -0.0f, 1.0f / 3.0f};
    numbers.m_vertices.push_back(QDVector3f(values[0], values[1], values[2]));
    numbers.m_vertices.push_back(QDVector3f(values[3], values[4], values[5]));
    ASSERT_TRUE(numbers.saveToObjFile((dir + "/n.obj").c_str(), false, false, false, false, false));
    std::string expected;
    for (int v = 0; v < 2; ++v)
        expected += "v " + printed("%.15f", values[3 * v]) + " " +
                    printed("%.15f", values[3 * v + 1]) + " " +
                    printed("%.15f", values[3 * v + 2]) + "\n";
    EXPECT_EQ(readBytes(dir + "/n.obj"), expected);

    // A comma locale changes nothing.
    const char* comma = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE", "fr_FR"})
        if (setlocale(LC_NUMERIC, name))
        {
            comma = name;
            break;
        }
    if (comma)
    {
        ASSERT_TRUE(
            numbers.saveToObjFile((dir + "/l.obj").c_str(), false, false, false, false, false));
        setlocale(LC_NUMERIC, "C");
        EXPECT_EQ(readBytes(dir + "/l.obj"), expected) << comma;
    }
    else
        std::cout << "no comma locale installed: the locale check was not made\n";

    // The OBJ cannot be opened: false, nothing written.
    EXPECT_FALSE(
        mesh.saveToObjFile((dir + "/missing/a.obj").c_str(), false, false, true, false, false));
}

TEST(ObjExport, TextureCoordinatesAndDefaultMaterial)
{
    std::string dir = testFolder();
    QDTivMesh mesh = quadAndTriangle();
    setUVs(mesh);
    mesh.m_textureFileName = "C:\\maps\\skin.png";
    ASSERT_TRUE(mesh.saveToObjFile((dir + "/head.obj").c_str(), false, true, true, false, false));
    EXPECT_EQ(readBytes(dir + "/head.obj"),
              "mtllib head.mtl\nusemtl defaultMat\n\n" + std::string(s_vertexLines) +
                  "vt 0.250000000 0.500000000\nvt 1.000000000 0.750000000\n"
                  "f 1/1 2/2 3/2 4/1\nf 1/2 3/1 4/2\n");
    EXPECT_EQ(readBytes(dir + "/head.mtl"), "newmtl defaultMat\nmap_Kd C:\\maps\\skin.png\n");

    // The second map alone still writes the default material, naming no map;
    // the smoothing flag changes nothing.
    mesh.m_textureFileName.clear();
    mesh.m_secondMapFileName = "bump.png";
    ASSERT_TRUE(mesh.saveToObjFile((dir + "/two.obj").c_str(), false, false, true, true, false));
    EXPECT_EQ(readBytes(dir + "/two.mtl"), "newmtl defaultMat\n");
    const std::string withoutSmoothing = readBytes(dir + "/two.obj");
    ASSERT_TRUE(mesh.saveToObjFile((dir + "/two.obj").c_str(), false, true, true, true, false));
    EXPECT_EQ(readBytes(dir + "/two.obj"), withoutSmoothing);

    // An MTL that cannot be created is skipped with its mtllib line.
    std::filesystem::create_directory(dir + "/blocked.mtl");
    ASSERT_TRUE(
        mesh.saveToObjFile((dir + "/blocked.obj").c_str(), false, false, true, true, false));
    EXPECT_EQ(readBytes(dir + "/blocked.obj").find("mtllib"), std::string::npos);

    // Index caches that do not cover every corner mean no texture coordinates.
    mesh.m_cornerUVIndices.resize(4);
    ASSERT_TRUE(
        mesh.saveToObjFile((dir + "/partial.obj").c_str(), false, false, false, false, false));
    EXPECT_EQ(readBytes(dir + "/partial.obj"), std::string(s_vertexLines) + "f 1 2 3 4\nf 1 3 4\n");
}

TEST(ObjExport, GroupsOpenMaterialsAndReplaceTheDefaultFile)
{
    std::string dir = testFolder();
    QDTivMesh mesh = quadAndTriangle();
    for (int i : {0, 1, 2, -1, 1, 2, 3, -1})
        mesh.m_faceVertexIndices.push_back(i);
    for (unsigned short g : {2, 2, 5, 2})
        mesh.m_faceGroups.push_back(g);
    mesh.m_textureFileName = "skin.png";
    const std::string path = dir + "/g.obj";
    ASSERT_TRUE(mesh.saveToObjFile(path.c_str(), true, false, true, false, false));
    EXPECT_EQ(readBytes(path), "mtllib g.mtl\nusemtl defaultMat\n\n" + std::string(s_vertexLines) +
                                   "usemtl Mat2\nf 1 2 3 4\nf 1 3 4\nusemtl Mat5\nf 1 2 3\n"
                                   "usemtl Mat2\nf 2 3 4\nmtllib " +
                                   dir + "/g.mtl\n");
    EXPECT_EQ(readBytes(dir + "/g.mtl"),
              "newmtl Mat2\nKd 1.0 1.0 1.0\nnewmtl Mat5\nKd 1.0 1.0 1.0\n");

    // One group for every face: no material line, no group file.
    QDTivMesh same = quadAndTriangle();
    same.m_faceGroups.push_back(3);
    same.m_faceGroups.push_back(3);
    ASSERT_TRUE(same.saveToObjFile((dir + "/s.obj").c_str(), true, false, false, false, false));
    EXPECT_EQ(readBytes(dir + "/s.obj"), std::string(s_vertexLines) + "f 1 2 3 4\nf 1 3 4\n");
    EXPECT_FALSE(std::filesystem::exists(dir + "/s.mtl"));

    // A group list shorter than the faces (a damaged file) and the largest
    // group number stay in bounds.
    QDTivMesh damaged = quadAndTriangle();
    damaged.m_faceGroups.push_back(65535);
    damaged.m_faceGroups.push_back(0);
    damaged.m_faceVertexIndices.push_back(2147483647);
    for (int i = 0; i < 3; ++i)
        damaged.m_faceVertexIndices.push_back(0);
    ASSERT_TRUE(damaged.saveToObjFile((dir + "/d.obj").c_str(), true, false, false, false, false));
    EXPECT_NE(readBytes(dir + "/d.obj").find("usemtl Mat0\nf 1 3 4\nf 2147483648 1 1 1\n"),
              std::string::npos);
    EXPECT_EQ(readBytes(dir + "/d.mtl"),
              "newmtl Mat0\nKd 1.0 1.0 1.0\nnewmtl Mat65535\nKd 1.0 1.0 1.0\n");
}

TEST(ObjExport, MapFileNamesInTheBinaryMapFile)
{
    std::string dir = testFolder();
    QDTivMesh mesh;
    ASSERT_TRUE(mesh.saveMapsToXMaxFile((dir + "/none.bin").c_str()));
    EXPECT_EQ(readBytes(dir + "/none.bin"), "");
    EXPECT_FALSE(mesh.saveMapsToXMaxFile((dir + "/missing/m.bin").c_str()));

    mesh.m_textureFileName = "abc";
    mesh.m_thirdMapFileName = "disp.exr";
    mesh.m_thirdMapFactor = 0.5f;
    ASSERT_TRUE(mesh.saveMapsToXMaxFile((dir + "/m.bin").c_str()));
    const std::string expected("\x08\0\0\0\x04\0\0\0abc\0"
                               "\x0a\0\0\0\0\0\0\x3f\x09\0\0\0disp.exr\0\0\0\0",
                               36);
    EXPECT_EQ(readBytes(dir + "/m.bin"), expected);
}
