// The simulated editor's layer model and its OBJ export: what every whole-send
// test feeds the plug-in, so it has to be exactly what it claims.

#include "HostModel.h"
#include "TestSupport.h"

#include <map>

TEST(HostModel, DefaultModelIsAClosedTexturedSurfaceOffTheOrigin)
{
    HostModel model = makeDefaultModel();
    ASSERT_EQ(model.triangles.size(), 3968u);
    EXPECT_EQ(model.positions.size(), 1986u);
    // Closed: every edge is shared by exactly two triangles, once in each direction.
    std::map<std::pair<uint32_t, uint32_t>, int> edges;
    for (const auto& t : model.triangles)
        for (int k = 0; k < 3; ++k)
        {
            ASSERT_TRUE(t[k].position < model.positions.size() && t[k].uv < model.uvs.size());
            ++edges[{t[k].position, t[(k + 1) % 3].position}];
        }
    for (const auto& edge : edges)
        EXPECT_TRUE(edge.first.first != edge.first.second && edge.second == 1 &&
                    edges.count({edge.first.second, edge.first.first}) == 1);
    // Off the origin, so that negated axes show in a bounding box.
    auto y = std::minmax_element(model.positions.begin(), model.positions.end(),
                                 [](const auto& a, const auto& b) { return a[1] < b[1]; });
    EXPECT_FLOAT_EQ((*y.first)[1], 0.0f);
    EXPECT_FLOAT_EQ((*y.second)[1], 20.0f);
}

TEST(HostModel, ExportWritesOneVertexPerCornerWithHeaderCounts)
{
    HostModel model;
    model.positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
    model.uvs = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    model.triangles = {{{{0, 0}, {1, 1}, {2, 2}}}, {{{2, 2}, {1, 1}, {3, 3}}}};
    std::string folder = testFolder(), error;
    HostExport written;
    ASSERT_TRUE(exportModel(model, folder + "/Two Faces.obj", written, error)) << error;

    std::string obj = readBytes(folder + "/Two Faces.obj");
    EXPECT_EQ(obj.rfind("#Vertex Count 6\n#UV Vertex Count 6\n#Face Count 2\n"
                        "mtllib Two Faces.mtl\nusemtl layerMaterial\n",
                        0),
              0u);
    // The shared corner is repeated.
    EXPECT_NE(obj.find("v 0.000000 1.000000 0.000000\nv 0.000000 1.000000 0.000000\n"),
              std::string::npos);
    EXPECT_NE(obj.find("f 1/1 2/2 3/3\nf 4/4 5/5 6/6\n"), std::string::npos);
    EXPECT_EQ(readBytes(written.mtlPath),
              "newmtl layerMaterial\nKa 0.000000 0.000000 0.000000\n"
              "Kd 1.000000 1.000000 1.000000\nmap_Kd Two Faces_diffuse.bmp\n");
    std::string bmp = readBytes(written.texturePath);
    EXPECT_TRUE(bmp.size() == 54u + 64 * 64 * 3 && bmp.compare(0, 2, "BM") == 0);

    EXPECT_FALSE(exportModel(model, folder + "/missing/x.obj", written, error));
    EXPECT_NE(error.find("missing/x.obj"), std::string::npos);
}

TEST(HostModel, ObjReaderTakesCommonFormsAndDropsBadFaces)
{
    std::string path = testFolder() + "/in.obj", error;
    writeBytes(path, "# comment\n"
                     "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                     "vt 0 0\nvt 1 0\nvt 1 1\n"
                     "f 1/1 2/2 3/3 4\n"  // quad, last corner without texture
                     "f -4 -3 -2\n"       // relative indices
                     "f 1//1 2//1 9//1\n" // out of range: dropped
                     "f 0 1 2\n"          // zero is no index: dropped
                     "f 1/x 2 3\r\n"      // junk texture index: dropped
                     "vn 0 0 1\ng group\ns off\nusemtl m\n");
    HostModel model;
    ASSERT_TRUE(readObjModel(path, model, error)) << error;
    EXPECT_EQ(model.positions.size(), 4u);
    ASSERT_EQ(model.triangles.size(), 3u);
    EXPECT_TRUE(model.triangles[1][2].position == 3 && model.triangles[2][0].position == 0 &&
                model.triangles[2][2].position == 2);
    // Corners without texture share one added (0, 0).
    ASSERT_EQ(model.uvs.size(), 4u);
    EXPECT_TRUE(model.triangles[1][2].uv == 3 && model.triangles[2][0].uv == 3);

    writeBytes(path, "v 0 0 0\nf 1 1\n");
    EXPECT_FALSE(readObjModel(path, model, error));
    EXPECT_FALSE(readObjModel(path + ".none", model, error));
}
