#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TestSupport.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{
// Writes head.obj (and head.mtl when given) into a fresh folder and imports it.
bool importText(const std::string& obj, QDTivMesh& mesh,
                unsigned long bufferSize = QDObjImport::s_readBufferSize,
                const std::string& mtl = std::string(), const std::string& objName = "head.obj")
{
    std::string dir = testFolder();
    writeBytes(dir + "/" + objName, obj);
    if (!mtl.empty()) writeBytes(dir + "/head.mtl", mtl);
    QDObjImport importer(bufferSize);
    return importer.importTivMesh((dir + "/" + objName).c_str(), mesh, true);
}

// The number arithmetic written out digit by digit, as an independent oracle.
float stepwise(const char* text)
{
    float sign = 1.0f, value = 0.0f, divisor = 1.0f;
    if (*text == '-' || *text == '+') sign = *text++ == '-' ? -1.0f : 1.0f;
    bool point = false;
    for (; *text && *text != 'e'; ++text)
    {
        if (*text == '.')
        {
            point = true;
            continue;
        }
        value = value * 10.0f + float(*text - '0');
        if (point) divisor = divisor * 10.0f;
    }
    value = value / divisor * sign;
    if (*text == 'e') value = float(double(value) * pow(10.0, atof(text + 1)));
    return value;
}

struct Stats
{
    int vertices = -1, faces = -1, corners = -1, uvs = -1;
};

Stats statsOf(const std::string& text)
{
    std::string path = testFolder() + "/stats.obj";
    writeBytes(path, text);
    Stats s;
    FILE* f = fopen(path.c_str(), "r");
    QDObjImport::quickReadStats(f, s.vertices, s.faces, s.corners, s.uvs);
    fclose(f);
    return s;
}

const char* const s_threeVertices = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
const char* const s_fourUVs = "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n";
} // namespace

TEST(ObjImport, FaceFormsFillSlotsAndCornerUVs)
{
    QDTivMesh plain;
    ASSERT_TRUE(importText(std::string(s_threeVertices) + "f 1 2 3\n", plain));
    EXPECT_EQ(values(plain.m_faceVertexIndices), (std::vector<int>{0, 1, 2, -1}));
    EXPECT_TRUE(plain.m_cornerUVIndices.empty());
    EXPECT_TRUE(plain.m_cornerUVs.empty());
    EXPECT_EQ(plain.m_vertices.size(), 3);

    // A triangle's fourth texture slot holds 1, so its fourth corner UV is
    // texture coordinate 1.
    QDTivMesh textured;
    ASSERT_TRUE(importText(std::string(s_threeVertices) + s_fourUVs + "f 1/3 2/4 3/1\n", textured));
    EXPECT_EQ(values(textured.m_faceVertexIndices), (std::vector<int>{0, 1, 2, -1}));
    EXPECT_EQ(values(textured.m_cornerUVIndices), (std::vector<int>{2, 3, 0, 1}));
    ASSERT_EQ(textured.m_cornerUVs.size(), 4);
    EXPECT_EQ(textured.m_cornerUVs[0], QDVector2f(1, 1));
    EXPECT_EQ(textured.m_cornerUVs[2], QDVector2f(0, 0));
    EXPECT_EQ(textured.m_cornerUVs[3], QDVector2f(1, 0));
    EXPECT_EQ(textured.m_uniqueUVs.size(), 4);

    QDTivMesh quad;
    ASSERT_TRUE(importText(std::string(s_threeVertices) + "v 1 1 0\n" + s_fourUVs +
                               "vn 0 0 1\nf 1/1/1 2/2/1 3/3/1 4/4/1\nf 1//1 2//1 3//1\n",
                           quad));
    EXPECT_EQ(values(quad.m_faceVertexIndices), (std::vector<int>{0, 1, 2, 3, 0, 1, 2, -1}));
    EXPECT_EQ(values(quad.m_cornerUVIndices), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(quad.m_cornerUVs.size(), 4);
}

TEST(ObjImport, PolygonsOfFiveOrMoreCornersBecomeFans)
{
    QDTivMesh mesh;
    ASSERT_TRUE(importText("v 0 0 0\nv 1 0 0\nv 2 1 0\nv 1 2 0\nv 0 1 0\n" +
                               std::string(s_fourUVs) +
                               "vt .5 .5\nf 1 2 3 4 5\nf 1/1 2/2 3/3 4/4 5/5\n",
                           mesh));
    std::vector<int> fan{0, 1, 2, -1, 0, 2, 3, -1, 0, 3, 4, -1};
    std::vector<int> both = fan;
    both.insert(both.end(), fan.begin(), fan.end());
    EXPECT_EQ(values(mesh.m_faceVertexIndices), both);
    EXPECT_EQ(values(mesh.m_cornerUVIndices), fan);
    EXPECT_EQ(mesh.m_cornerUVs[3], QDVector2f(0, 0));
    EXPECT_EQ(mesh.m_cornerUVs[7], QDVector2f(0, 0));
    EXPECT_EQ(mesh.m_cornerUVs[10], QDVector2f(0.5f, 0.5f));

    // Two corners or fewer emit nothing.
    QDTivMesh none;
    ASSERT_TRUE(importText(std::string(s_threeVertices) + "f 1 2\nf\nf 3\n", none));
    EXPECT_TRUE(none.m_faceVertexIndices.empty());
}

TEST(ObjImport, IndexSignsAndOddReferences)
{
    // A negative reference adds the vertex count instead of subtracting.
    QDTivMesh mesh;
    ASSERT_TRUE(importText(std::string(s_threeVertices) + "f -1 -2 -3\nf +1 0 -0\n", mesh));
    EXPECT_EQ(values(mesh.m_faceVertexIndices), (std::vector<int>{4, 5, 6, -1, 0, -1, -1, -1}));

    // A sign in a texture index abandons the line; a huge index saturates.
    QDTivMesh odd;
    ASSERT_TRUE(importText(std::string(s_threeVertices) + s_fourUVs +
                               "f 1/-1 2/1 3/1\nf 99999999999999999999 2 3\n",
                           odd));
    // The first line's vertex corner is carried into the second.
    EXPECT_EQ(values(odd.m_faceVertexIndices), (std::vector<int>{0, 2147483646, 1, 2}));
    EXPECT_TRUE(odd.m_cornerUVIndices.empty());
}

TEST(ObjImport, NumberSyntaxAndStepwiseArithmetic)
{
    QDTivMesh mesh;
    ASSERT_TRUE(importText("v 1.5e2 -.25 +3\n"
                           "v 1.5E2 0 0\n"
                           "v 7,5 0 0\n"
                           "v 123456789.123456789 3.14159265358979 -0.000123456789\n"
                           "v 2e 1.1e-3 16777217\n"
                           "v 1e+ - .\n"
                           "v 1e400 -2.5e-3 9.87654321e7\n"
                           "v 1 2 3 4\n"
                           "v 861879202 -7688431.49 0\n"
                           "v\t4 5 6 # w\n",
                           mesh));
    // Past 24 bits every step rounds: 861879202 reads as 861879168, not as
    // the nearest float 861879232.
    const float inf = INFINITY;
    const float expected[8][3] = {{150.0f, -0.25f, 3.0f},
                                  {stepwise("123456789.123456789"), stepwise("3.14159265358979"),
                                   stepwise("-0.000123456789")},
                                  {2.0f, stepwise("1.1e-3"), 16777216.0f},
                                  {1.0f, -0.0f, 0.0f},
                                  {inf, stepwise("-2.5e-3"), stepwise("9.87654321e7")},
                                  {1.0f, 2.0f, 3.0f},
                                  {861879168.0f, stepwise("-7688431.49"), 0.0f},
                                  {4.0f, 5.0f, 6.0f}};
    ASSERT_EQ(mesh.m_vertices.size(), 8);
    for (int i = 0; i < 8; ++i)
    {
        EXPECT_EQ(memcmp(&mesh.m_vertices[i], expected[i], sizeof(expected[i])), 0)
            << i << ": " << mesh.m_vertices[i].x() << " " << mesh.m_vertices[i].y() << " "
            << mesh.m_vertices[i].z();
    }
}

TEST(ObjImport, ShortVertexLinesShiftLaterPositions)
{
    QDTivMesh mesh;
    ASSERT_TRUE(importText("v 1 2 \nv 3 4 5 6\nv 7\nvt 0.5\t\nvt 0.25 0.75\n", mesh));
    ASSERT_EQ(mesh.m_vertices.size(), 2);
    EXPECT_EQ(mesh.m_vertices[0].z(), 3.0f);
    EXPECT_EQ(mesh.m_vertices[1].x(), 4.0f);
    EXPECT_EQ(mesh.m_vertices[1].z(), 7.0f);
    ASSERT_EQ(mesh.m_uniqueUVs.size(), 1);
    EXPECT_EQ(mesh.m_uniqueUVs[0], QDVector2f(0.5f, 0.25f));
}

TEST(ObjImport, LineEndsAndTheUnterminatedLastLine)
{
    QDTivMesh mesh;
    ASSERT_TRUE(importText("v 0 0 0\r\nv 1 0 0\rv 0 1 0\n\n\r\nf 1 2 3\r\nf 3 2 1", mesh));
    EXPECT_EQ(mesh.m_vertices.size(), 3);
    EXPECT_EQ(values(mesh.m_faceVertexIndices), (std::vector<int>{0, 1, 2, -1}));

    QDTivMesh cut;
    ASSERT_TRUE(importText("v 0 0 0\nv 1 0 0\nv 0 1 0\nv 5 5 5", cut));
    EXPECT_EQ(cut.m_vertices.size(), 3);
}

TEST(ObjImport, AbandonedFaceLinesCarryTheirCorners)
{
    // The trailing comment abandons the first line: its corners join the next.
    QDTivMesh mesh;
    ASSERT_TRUE(importText("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 2 0\nv 3 3 0\n"
                           "f 1 2 3 # first\nf 4 5 6\n",
                           mesh));
    EXPECT_EQ(values(mesh.m_faceVertexIndices),
              (std::vector<int>{0, 1, 2, -1, 0, 2, 3, -1, 0, 3, 4, -1, 0, 4, 5, -1}));

    // Texture indices are kept when their count differs from the corners'.
    QDTivMesh uvs;
    ASSERT_TRUE(
        importText(std::string(s_threeVertices) + s_fourUVs + "f 1/1 2 3\nf 1/2 2/3 3\n", uvs));
    EXPECT_EQ(values(uvs.m_faceVertexIndices), (std::vector<int>{0, 1, 2, -1, 0, 1, 2, -1}));
    EXPECT_EQ(values(uvs.m_cornerUVIndices), (std::vector<int>{0, 1, 2, 1}));
}

TEST(ObjImport, MaterialNameAndTextureLookup)
{
    const std::string faces = std::string(s_threeVertices) + "f 1 2 3\n";
    const std::string mtl = "newmtl other\nmap_Kd wrong.png\n"
                            "newmtl  old name  mymat\nmap_Ks shine.png\nmap_Kd first.png\n"
                            "map_Kd   my texture.png  \n"
                            "newmtl x\nmap_Kd later.png\n";

    // Blanks are dropped from the name, the first usemtl wins, the MTL name is
    // the last word of its line, and one trailing blank is cut from the value.
    QDTivMesh mesh;
    ASSERT_TRUE(importText("usemtl my mat\nusemtl x\n" + faces, mesh, QDObjImport::s_readBufferSize,
                           mtl, "head.OBJ"));
    EXPECT_STREQ(mesh.m_textureFileName.c_str(), "my texture.png ");

    // With CR LF line ends the name keeps its CR and matches nothing: the
    // texture name becomes empty. A usemtl without a name does not fix one.
    QDTivMesh crlf;
    crlf.m_textureFileName = "kept.png";
    ASSERT_TRUE(
        importText("usemtl\t\nusemtl mymat\r\n" + faces, crlf, QDObjImport::s_readBufferSize, mtl));
    EXPECT_TRUE(crlf.m_textureFileName.empty());

    // No MTL file, or a name that is not ".obj": the texture name stays.
    QDTivMesh missing;
    missing.m_textureFileName = "kept.png";
    ASSERT_TRUE(importText("usemtl mymat\n" + faces, missing));
    EXPECT_STREQ(missing.m_textureFileName.c_str(), "kept.png");
    QDTivMesh otherName;
    otherName.m_textureFileName = "kept.png";
    ASSERT_TRUE(importText("usemtl mymat\n" + faces, otherName, QDObjImport::s_readBufferSize, mtl,
                           "head.txt"));
    EXPECT_STREQ(otherName.m_textureFileName.c_str(), "kept.png");

    // Names longer than the MTL reader keeps never match, even cut to the same prefix.
    std::string longName(300, 'n');
    QDTivMesh longMesh;
    ASSERT_TRUE(importText("usemtl " + longName + "\n" + faces, longMesh,
                           QDObjImport::s_readBufferSize,
                           "newmtl " + longName + "\nmap_Kd long.png\nnewmtl " +
                               longName.substr(0, 255) + "\nmap_Kd short.png\n"));
    EXPECT_TRUE(longMesh.m_textureFileName.empty());
}

TEST(ObjImport, StatisticsFromHeadersOrCountedLines)
{
    // Agreeing host headers stop the pass before any data.
    Stats host = statsOf("#Vertex Count 30\n#UV Vertex Count 30\n#Face Count 10\nv 1 2 3\n");
    EXPECT_EQ(host.vertices, 30);
    EXPECT_EQ(host.faces, 10);
    EXPECT_EQ(host.corners, 30);
    EXPECT_EQ(host.uvs, 30);

    // Vertex and face headers alone stop at the end of the first data line.
    Stats partial =
        statsOf("# exported\n#Vertex Count 8\n#Face Count 2\nvt 0 0\nvt 1 1\nv 1 2 3\n");
    EXPECT_EQ(partial.vertices, 8);
    EXPECT_EQ(partial.corners, 8);
    EXPECT_EQ(partial.uvs, 1);

    // Disagreeing headers (too many texture vertices) or misspelt ones are
    // ignored and the lines are counted; corners stop at a sign.
    Stats counted = statsOf("#UV Vertex Count 99\n#Vertex count 3\n#Face Count 1\n"
                            "v 0 0 0\nvn 0 0 1\nvt 0 0\nv 1 0 0\nf 1/1 2//3 3 4\nf 1 -2 3\n"
                            "f\nfo 1 2 3\nf 1 2 3");
    EXPECT_EQ(counted.vertices, 2);
    EXPECT_EQ(counted.faces, 3);
    EXPECT_EQ(counted.corners, 8);
    EXPECT_EQ(counted.uvs, 1);
    Stats noUVLines = statsOf("#UV Vertex Count 7\nv 0 0 0\n");
    EXPECT_EQ(noUVLines.uvs, 7);
}

TEST(ObjImport, TokensStraddlingBufferFillsReadTheSame)
{
    const std::string text = "#Vertex Count 4\n#UV Vertex Count 4\n#Face Count 1\n"
                             "mtllib head.mtl\nusemtl skin\n"
                             "v -12.3456789 0.000123 1.5e-2\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                             "vt 0.125 0.875\nvt 1 0\nvt 1 1\nvt 0 1\n"
                             "f 1/1/1 2/2/1 3/3/1 4/4/1\nf 1/1 2/2 3/3\nf 4 3 2 1 -2\n";
    QDTivMesh reference;
    ASSERT_TRUE(importText(text, reference));
    ASSERT_EQ(reference.m_faceVertexIndices.size(), 4 + 4 + 12);
    for (unsigned long size = 1; size <= 48; ++size)
    {
        QDTivMesh mesh;
        ASSERT_TRUE(importText(text, mesh, size));
        ASSERT_EQ(mesh.m_vertices.size(), reference.m_vertices.size()) << size;
        for (int i = 0; i < mesh.m_vertices.size(); ++i)
            EXPECT_FALSE(mesh.m_vertices[i] != reference.m_vertices[i]) << size;
        EXPECT_EQ(values(mesh.m_faceVertexIndices), values(reference.m_faceVertexIndices)) << size;
        EXPECT_EQ(values(mesh.m_cornerUVIndices), values(reference.m_cornerUVIndices)) << size;
        ASSERT_EQ(mesh.m_uniqueUVs.size(), 4);
        EXPECT_EQ(mesh.m_uniqueUVs[0], QDVector2f(0.125f, 0.875f)) << size;
    }
}

TEST(ObjImport, UndercountedAndHostileCountsStayBounded)
{
    // Headers far below the data: every face and vertex is still read.
    std::string many = "#Vertex Count 1\n#UV Vertex Count 3\n#Face Count 1\n";
    for (int i = 0; i < 300; ++i)
        many += "v " + std::to_string(i) + " 0 0\nvt 0 0\n";
    for (int i = 0; i < 100; ++i)
        many += "f 1/1 2/2 3/3 4/4 5/5 6/6\n";
    QDTivMesh mesh;
    ASSERT_TRUE(importText(many, mesh));
    EXPECT_EQ(mesh.m_vertices.size(), 300);
    EXPECT_EQ(mesh.m_vertices[299].x(), 299.0f);
    EXPECT_EQ(mesh.m_faceVertexIndices.size(), 100 * 16);
    EXPECT_EQ(mesh.m_cornerUVIndices.size(), 100 * 16);

    // Headers claiming two billion of everything in a tiny file allocate by
    // the file's size, and texture indices beyond the coordinates read leave
    // (0, 0) in their corners.
    QDTivMesh huge;
    ASSERT_TRUE(importText("#Vertex Count 2147483647\n#UV Vertex Count 2147483647\n"
                           "#Face Count 999999999999\n" +
                               std::string(s_threeVertices) +
                               "vt 0.5 0.5\nf 1/1 2/9 3/2147483648\n",
                           huge));
    EXPECT_LT(huge.m_vertices.capacity(), 1000);
    EXPECT_LT(huge.m_faceVertexIndices.capacity(), 1000);
    EXPECT_EQ(values(huge.m_cornerUVIndices), (std::vector<int>{0, 8, 2147483646, 1}));
    EXPECT_EQ(huge.m_cornerUVs[0], QDVector2f(0.5f, 0.5f));
    EXPECT_EQ(huge.m_cornerUVs[1], QDVector2f(0, 0));
    EXPECT_EQ(huge.m_cornerUVs[2], QDVector2f(0, 0));
    EXPECT_EQ(huge.m_cornerUVs[3], QDVector2f(0, 0));
}

TEST(ObjImport, DriverResultsAndLeftFields)
{
    QDTivMesh mesh;
    mesh.m_faceGroups.push_back(7);
    mesh.m_vertices.push_back(QDVector3f(9, 9, 9));
    QDObjImport importer;
    EXPECT_FALSE(importer.importTivMesh((testFolder() + "/none.obj").c_str(), mesh, true));
    EXPECT_EQ(mesh.m_vertices.size(), 1);

    // Without readUVs, texture lines are skipped and the UV caches are left as
    // they were; the corner UVs follow the index cache.
    mesh.m_uniqueUVs.push_back(QDVector2f(0.5f, 0.5f));
    mesh.m_cornerUVIndices.push_back(0);
    std::string dir = testFolder();
    writeBytes(dir + "/a.obj", std::string(s_threeVertices) + "vt 1 1\nf 1/1 2/1 3/1\n");
    ASSERT_TRUE(importer.importTivMesh((dir + "/a.obj").c_str(), mesh, false));
    EXPECT_EQ(mesh.m_vertices.size(), 3);
    EXPECT_EQ(mesh.m_faceGroups.size(), 1);
    EXPECT_EQ(mesh.m_uniqueUVs.size(), 1);
    ASSERT_EQ(mesh.m_cornerUVs.size(), 1);
    EXPECT_EQ(mesh.m_cornerUVs[0], QDVector2f(0.5f, 0.5f));
    EXPECT_EQ(values(mesh.m_faceVertexIndices), (std::vector<int>{0, 1, 2, -1}));

    // An empty file imports as an empty mesh.
    writeBytes(dir + "/empty.obj", "");
    QDTivMesh empty;
    EXPECT_TRUE(importer.importTivMesh((dir + "/empty.obj").c_str(), empty, true));
    EXPECT_TRUE(empty.m_vertices.empty() && empty.m_faceVertexIndices.empty());

    QDObjImport::myInitFileBuffer();
    ASSERT_NE(QDObjImport::s_fileBuffer, nullptr);
    EXPECT_EQ(QDObjImport::s_curBufferPos, QDObjImport::s_fileBuffer);
    QDObjImport::myCloseFileBuffer();
    EXPECT_EQ(QDObjImport::s_fileBuffer, nullptr);
    EXPECT_EQ(QDObjImport::s_endFileBuffer, nullptr);
}
