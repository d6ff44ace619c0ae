// The simulated editor's texture: the colour map a model's material names,
// exported as the editor's BMP, or the checker when there is none to read.

#include "ColourMap.h"
#include "HostModel.h"
#include "HostTexture.h"
#include "PictureSupport.h"

TEST(HostTexture, ModelColourMapIsExportedAsTheEditorsBmp)
{
    const std::string dir = testFolder();
    // The first material's map, options before its name skipped; relative
    // names are taken from the OBJ's folder, with Windows' folder separators.
    writeBytes(dir + "/m.mtl", "newmtl a\r\nKd 1 1 1\nnewmtl b\n  map_Kd -s 1 1 1 .\\maps\\b.png \n"
                               "newmtl c\nmap_Kd /abs/c.png\n");
    std::string why;
    EXPECT_EQ(findColourMap(dir + "/x.obj", "m.mtl", "b", why), dir + "/maps/b.png");
    EXPECT_EQ(findColourMap(dir + "/x.obj", "m.mtl", "c", why), "/abs/c.png");
    EXPECT_EQ(findColourMap(dir + "/x.obj", "m.mtl", "", why), dir + "/maps/b.png");
    EXPECT_EQ(findColourMap(dir + "/x.obj", "m.mtl", "a", why), "");
    EXPECT_EQ(why,
              "the model's material file " + dir + "/m.mtl names no colour map (map_Kd) for \"a\"");
    EXPECT_EQ(findColourMap(dir + "/x.obj", "none.mtl", "b", why), "");
    EXPECT_EQ(why, "the model's material file " + dir +
                       "/none.mtl cannot be read: No such file or directory");

    writeBytes(dir + "/quad.obj", "mtllib m.mtl\nusemtl b\nusemtl c\n" + texturedQuadObj("m.mtl"));
    HostModel model;
    std::string error;
    ASSERT_TRUE(readObjModel(dir + "/quad.obj", model, error)) << error;
    EXPECT_EQ(model.colourMap, dir + "/maps/b.png");

    // An odd width, so that rows are padded; a BMP read as the editor's.
    RgbImage map;
    map.fill(5, 3, 0xFF0000);
    map.set(0, 0, 0x00FF00), map.set(4, 2, 0x0000FF);
    writeBytes(dir + "/maps/b.bmp", bmpBytes(map));
    model.colourMap = dir + "/maps/b.bmp";
    HostExport written;
    EXPECT_FALSE(exportModel(model, dir + "/out/Layer.obj", written, error)); // no folder "out"
    EXPECT_EQ(error, dir + "/out/Layer.obj: No such file or directory");
    std::filesystem::create_directory(dir + "/out");
    ASSERT_TRUE(exportModel(model, dir + "/out/Layer.obj", written, error)) << error;
    EXPECT_EQ(written.texturePath, dir + "/out/Layer_diffuse.bmp");
    const std::string bmp = readBytes(written.texturePath);
    if (TIV_HAVE_STB)
    {
        EXPECT_TRUE(written.textureSource == model.colourMap && written.checkerReason.empty());
        EXPECT_EQ(bmp, bmpBytes(map));
    }
    else
    {
        // Not decoded: the checker, 64 pixels square.
        EXPECT_EQ(written.textureSource, "");
        EXPECT_EQ(bmp.substr(18, 8), le32(64) + le32(64));
    }

    // A colour map that cannot be read gives the checker, and says why.
    model.colourMap = dir + "/maps/missing.png";
    ASSERT_TRUE(exportModel(model, dir + "/out/Layer.obj", written, error)) << error;
    EXPECT_TRUE(written.textureSource.empty() &&
                written.checkerReason.rfind(
                    "the model's colour map " + model.colourMap + " cannot be read: ", 0) == 0)
        << written.checkerReason;
    RgbImage checker;
    std::string message;
    if (TIV_HAVE_STB)
    {
        ASSERT_TRUE(readColourMap(written.texturePath, checker, message)) << message;
        EXPECT_TRUE(checker.width == 64 && checker.height == 64);
        EXPECT_NE(checker.get(0, 0), checker.get(8, 0));
    }
}
