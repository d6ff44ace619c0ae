#include "QDTivMesh.h"
#include "TestSupport.h"

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

namespace
{
// One quad and one triangle over four vertices.
QDTivMesh quadAndTriangle()
{
    return makeMesh({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {0, 1, 2, 3, 0, 2, 3, -1});
}

std::string exported(const QDTivMesh& mesh, const std::string& path, bool groups, bool map,
                     bool second = false)
{
    EXPECT_TRUE(mesh.saveToObjFile(path.c_str(), groups, false, map, second, false)) << path;
    return readBytes(path);
}

const std::string s_vertexLines = "v 0.000000000000000 0.000000000000000 0.000000000000000\n"
                                  "v 1.000000000000000 0.000000000000000 0.000000000000000\n"
                                  "v 1.000000000000000 1.000000000000000 0.000000000000000\n"
                                  "v 0.000000000000000 1.000000000000000 0.000000000000000\n";
const std::string s_plain = s_vertexLines + "f 1 2 3 4\nf 1 3 4\n";
} // namespace

TEST(ObjExport, PlainMeshWritesPositionsAndFacesWithAPointInAnyLocale)
{
    std::string dir = testFolder();
    QDTivMesh mesh = quadAndTriangle();
    mesh.m_textureFileName = "ignored.png"; // the map flag is off
    EXPECT_EQ(exported(mesh, dir + "/a.obj", false, false), s_plain);
    EXPECT_FALSE(std::filesystem::exists(dir + "/a.mtl"));
    EXPECT_FALSE(
        mesh.saveToObjFile((dir + "/missing/a.obj").c_str(), false, false, true, false, false));

    // Every float is written as printf's "%.15f" (positions) or "%.9f"
    // (texture coordinates) of its double would write it in the C locale,
    // whatever the process's locale: edge values, ties at the last digit
    // (2^-10 is 0.0009765625), then bit patterns spread over every exponent.
    std::vector<float> values = {0.1f, -1.0e-7f, 123456.789f, 3.4e38f, -0.0f, 1.0f / 3.0f,
                                 0.0009765625f, 0.0029296875f, 1e-45f, -1.17549435e-38f,
                                 0.99999999f, 9.9999999e14f, 4294967296.0f, 1.8446744e19f,
                                 std::numeric_limits<float>::max(),
                                 std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(),
                                 std::numeric_limits<float>::quiet_NaN()};
    for (uint64_t bits = 0; bits < (uint64_t(1) << 32); bits += 65521)
    {
        float f;
        uint32_t pattern = uint32_t(bits);
        memcpy(&f, &pattern, sizeof(f));
        values.push_back(f);
    }
    while (values.size() % 6)
        values.push_back(0.5f);
    QDTivMesh numbers;
    std::string expected;
    char text[256];
    for (size_t i = 0; i < values.size(); i += 3)
    {
        numbers.m_vertices.push_back(QDVector3f(values[i], values[i + 1], values[i + 2]));
        snprintf(text, sizeof(text), "v %.15f %.15f %.15f\n", double(values[i]),
                 double(values[i + 1]), double(values[i + 2]));
        expected += text;
    }
    for (size_t i = 0; i < values.size(); i += 2)
    {
        numbers.m_uniqueUVs.push_back(QDVector2f(values[i], values[i + 1]));
        snprintf(text, sizeof(text), "vt %.9f %.9f\n", double(values[i]), double(values[i + 1]));
        expected += text;
    }
    const char* comma = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE", "fr_FR"})
        if (!comma) comma = setlocale(LC_NUMERIC, name);
    if (!comma) std::cout << "no comma locale installed: only the C locale is checked\n";
    std::string written = exported(numbers, dir + "/n.obj", false, false);
    setlocale(LC_NUMERIC, "C");
    // A fault names the first line that differs instead of printing the whole file.
    size_t from = size_t(
        std::mismatch(expected.begin(), expected.end(), written.begin(), written.end()).first -
        expected.begin());
    from = from == 0 ? 0 : expected.rfind('\n', from - 1) + 1;
    EXPECT_TRUE(written == expected) << "printf: " << expected.substr(from, expected.find('\n', from) - from)
                                     << "\nwritten: "
                                     << written.substr(from, written.find('\n', from) - from);
}

TEST(ObjExport, TextureCoordinatesAndDefaultMaterial)
{
    std::string dir = testFolder();
    QDTivMesh mesh = quadAndTriangle();
    // Caches filled directly, so the text does not depend on how unique
    // coordinates are numbered.
    mesh.m_uniqueUVs = qdArray<QDVector2f>({{0.25f, 0.5f}, {1, 0.75f}});
    mesh.m_cornerUVIndices = qdArray<int>({0, 1, 1, 0, 1, 0, 1, -1});
    mesh.m_cornerUVs.resize(8);
    mesh.m_textureFileName = "C:\\maps\\skin.png";
    const std::string head = dir + "/head.obj";
    ASSERT_TRUE(mesh.saveToObjFile(head.c_str(), false, true, true, false, false)); // smoothing on
    EXPECT_EQ(readBytes(head), "mtllib head.mtl\nusemtl defaultMat\n\n" + s_vertexLines +
                                   "vt 0.250000000 0.500000000\nvt 1.000000000 0.750000000\n"
                                   "f 1/1 2/2 3/2 4/1\nf 1/2 3/1 4/2\n");
    EXPECT_EQ(readBytes(dir + "/head.mtl"), "newmtl defaultMat\nmap_Kd C:\\maps\\skin.png\n");

    // The second map alone still writes the default material, naming no map.
    mesh.m_textureFileName.clear();
    mesh.m_secondMapFileName = "bump.png";
    exported(mesh, dir + "/two.obj", false, true, true);
    EXPECT_EQ(readBytes(dir + "/two.mtl"), "newmtl defaultMat\n");
    // An MTL that cannot be created is skipped with its mtllib line.
    std::filesystem::create_directory(dir + "/blocked.mtl");
    EXPECT_FALSE(has(exported(mesh, dir + "/blocked.obj", false, true, true), "mtllib"));
    // Index caches that do not cover every corner mean no texture coordinates.
    mesh.m_cornerUVIndices.resize(4);
    EXPECT_EQ(exported(mesh, dir + "/partial.obj", false, false), s_plain);
}

TEST(ObjExport, GroupsOpenMaterialsAndReplaceTheDefaultFile)
{
    std::string dir = testFolder();
    QDTivMesh mesh = quadAndTriangle();
    mesh.m_faceVertexIndices = qdArray<int>({0, 1, 2, 3, 0, 2, 3, -1, 0, 1, 2, -1, 1, 2, 3, -1});
    mesh.m_faceGroups = qdArray<unsigned short>({2, 2, 5, 2});
    mesh.m_textureFileName = "skin.png";
    EXPECT_EQ(exported(mesh, dir + "/g.obj", true, true),
              "mtllib g.mtl\nusemtl defaultMat\n\n" + s_vertexLines +
                  "usemtl Mat2\nf 1 2 3 4\nf 1 3 4\nusemtl Mat5\nf 1 2 3\nusemtl Mat2\nf 2 3 4\n"
                  "mtllib " +
                  dir + "/g.mtl\n");
    EXPECT_EQ(readBytes(dir + "/g.mtl"),
              "newmtl Mat2\nKd 1.0 1.0 1.0\nnewmtl Mat5\nKd 1.0 1.0 1.0\n");

    // One group for every face: no material line, no group file.
    QDTivMesh same = quadAndTriangle();
    same.m_faceGroups.reinit(2, 3);
    EXPECT_EQ(exported(same, dir + "/s.obj", true, false), s_plain);
    EXPECT_FALSE(std::filesystem::exists(dir + "/s.mtl"));

    // A group list shorter than the faces (a damaged file) and the largest
    // group number stay in bounds.
    QDTivMesh damaged = quadAndTriangle();
    damaged.m_faceGroups.push_back(65535);
    damaged.m_faceGroups.push_back(0);
    for (int i : {2147483647, 0, 0, 0})
        damaged.m_faceVertexIndices.push_back(i);
    EXPECT_TRUE(has(exported(damaged, dir + "/d.obj", true, false),
                    "usemtl Mat0\nf 1 3 4\nf 2147483648 1 1 1\n"));
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
    EXPECT_EQ(readBytes(dir + "/m.bin"), le32(8) + le32(4) + std::string("abc", 4) + le32(10) +
                                             f32(0.5f) + le32(9) + "disp.exr" + zeros(4));
}
