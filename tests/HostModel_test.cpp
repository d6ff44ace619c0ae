// The simulated editor's OBJ reader, which only its --model option uses. The
// default model and its export are checked by the whole runs that send them.

#include "HostModel.h"
#include "TestSupport.h"

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
