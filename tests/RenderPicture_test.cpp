// Pictures of meshes as a user checks them: a textured quad upright in the
// picture of its OBJ and of its sent .tiv, every view showing the same side of
// a model and its .tiv, colour maps that cannot be read, and the sampling.

#include "ColourMap.h"
#include "ColourMapWriter.h"
#include "PictureSupport.h"
#include "QDTivMesh.h"

#include <algorithm>
#include <cmath>

namespace
{
// The colour map in the format its name says; BMP as the editor writes it.
void writeColourMap(const std::string& path, const RgbImage& map)
{
    const std::string extension = path.substr(path.rfind('.'));
    if (extension == ".bmp") return writeBytes(path, bmpBytes(map));
    ASSERT_TRUE(writeColourMapFile(path, map)) << path;
}

RgbImage picture(const std::string& path)
{
    RgbImage image;
    std::string message;
    EXPECT_TRUE(readPng(path, image, message)) << path << ": " << message;
    return image;
}

// Green top-left, red above, blue below: the colour map upright and unmirrored.
void expectUpright(const RgbImage& image, const std::string& what)
{
    EXPECT_EQ(hueAt(image, 0.15, 0.15), Hue::green) << what;
    EXPECT_EQ(hueAt(image, 0.8, 0.15), Hue::red) << what;
    EXPECT_EQ(hueAt(image, 0.3, 0.4), Hue::red) << what;
    EXPECT_EQ(hueAt(image, 0.15, 0.85), Hue::blue) << what;
    EXPECT_EQ(hueAt(image, 0.8, 0.6), Hue::blue) << what;
}
} // namespace

// The quad of the OBJ, of its `convert --flip` .tiv, and their layouts, with
// the colour map in each format; a texture artist's first check.
TEST(RenderPicture, TexturedQuadIsUprightInObjAndSentTiv)
{
    if (!TIV_HAVE_PNG || !TIV_HAVE_STB)
        GTEST_SKIP() << "built without libpng or stb_image (libpng-dev, libstb-dev): no textures";
    const std::string dir = testFolder();
    // Named as Windows programs name them too: ".\maps\skin.jpg".
    std::filesystem::create_directory(dir + "/maps");
    for (const char* map :
         {"maps/skin.bmp", "maps\\skin.png", ".\\maps\\skin.jpg", "maps/skin.tga"})
    {
        writeColourMap(dir + "/maps/skin" + strrchr(map, '.'), halvesColourMap());
        writeBytes(dir + "/quad.mtl", materialNaming(map));
        writeBytes(dir + "/quad.obj", texturedQuadObj("quad.mtl"));
        const std::string obj = "'" + dir + "/quad.obj' ", tiv = "'" + dir + "/quad.tiv' ";
        ASSERT_EQ(tivtool("convert " + obj + tiv + "--weld --flip").status, 0) << map;
        for (const std::string& mesh : {obj, tiv})
            for (const char* options : {"--size 100", "--size 100 --uv"})
            {
                CommandRun run = tivtool("render " + mesh + "'" + dir + "/out.png' " + options);
                EXPECT_TRUE(run.status == 0 && run.err.empty()) << mesh << options << run.err;
                expectUpright(picture(dir + "/out.png"), map + (" " + mesh) + options);
            }
    }
    // The layout's lines over the colour map: a triangle inset in the unit square.
    std::filesystem::copy_file(dir + "/quad.mtl", dir + "/inset.mtl");
    writeBytes(dir + "/inset.obj", "mtllib inset.mtl\nusemtl skin\nv 0 0 0\nv 1 0 0\nv 1 1 0\n"
                                   "vt 0.25 0.25\nvt 0.75 0.25\nvt 0.75 0.75\nf 1/1 2/2 3/3\n");
    ASSERT_EQ(
        tivtool("render '" + dir + "/inset.obj' '" + dir + "/out.png' --size 100 --uv").status, 0);
    RgbImage layout = picture(dir + "/out.png");
    EXPECT_EQ(layout.get(50, 50 + 45 / 2), 0xE6E6E6u) << "the lower edge, at v = 0.25";
    EXPECT_EQ(hueAt(layout, 0.5, 0.85), Hue::blue);
}

// A model that looks different from every side, and its sent .tiv: the same
// picture in every view, and each view shows the side it names.
TEST(RenderPicture, ViewsShowTheSameSideOfAModelAndItsTiv)
{
    if (!TIV_HAVE_PNG) GTEST_SKIP() << "built without libpng (libpng-dev): no pictures to look at";
    const std::string dir = testFolder();
    // A 2 x 2 x 2 box and, at its corner of greatest x, y and z, a unit cube.
    std::string obj;
    auto box = [&obj](double x0, double y0, double z0, double side)
    {
        const int base = int(std::count(obj.begin(), obj.end(), 'v'));
        for (int k = 0; k < 8; ++k)
            obj += "v " + std::to_string(x0 + side * (k & 1)) + " " +
                   std::to_string(y0 + side * (k >> 1 & 1)) + " " +
                   std::to_string(z0 + side * (k >> 2 & 1)) + "\n";
        for (const char* face : {"1 3 4 2", "5 6 8 7", "1 2 6 5", "3 7 8 4", "1 5 7 3", "2 4 8 6"})
        {
            obj += "f";
            for (const char* c = face; *c; ++c)
                if (*c != ' ') obj += " " + std::to_string(base + (*c - '0'));
            obj += "\n";
        }
    };
    box(-1, -1, -1, 2);
    box(1, 1, 1, 1);
    writeBytes(dir + "/model.obj", obj);
    const std::string model = "'" + dir + "/model.obj' ", sent = "'" + dir + "/model.tiv' ";
    ASSERT_EQ(tivtool("convert " + model + sent + "--weld --flip").status, 0);

    // Where the small cube shows in each view, as fractions of the picture.
    const struct
    {
        const char* view;
        double x, y;
    } views[] = {{"front", 0.85, 0.15}, {"back", 0.15, 0.15}, {"right", 0.15, 0.15},
                 {"left", 0.85, 0.15},  {"top", 0.85, 0.85},  {"bottom", 0.85, 0.15},
                 {"iso", 0.5, 0.1}};
    for (const auto& v : views)
    {
        const std::string options = std::string("--size 120 --view ") + v.view;
        ASSERT_EQ(tivtool("render " + model + "'" + dir + "/a.png' " + options).status, 0);
        ASSERT_EQ(tivtool("render " + sent + "'" + dir + "/b.png' " + options).status, 0);
        RgbImage a = picture(dir + "/a.png"), b = picture(dir + "/b.png");
        EXPECT_TRUE(a.pixels == b.pixels) << v.view;
        EXPECT_NE(hueAt(a, v.x, v.y), Hue::background) << v.view;
        // Beside it and below or above it, the picture is empty: the cube sticks
        // out at one corner only.
        if (v.view != std::string("iso"))
        {
            EXPECT_EQ(hueAt(a, 1 - v.x, v.y), Hue::background) << v.view;
            EXPECT_EQ(hueAt(a, v.x, 1 - v.y), Hue::background) << v.view;
        }
    }

    // compare --picture draws B as it stands: a .tiv, or an OBJ it flipped.
    for (const std::string& b : {sent, model})
    {
        tivtool("compare " + model + b + "--weld --flip --picture '" + dir + "/c.png'");
        RgbImage c = picture(dir + "/c.png");
        EXPECT_NE(hueAt(c, 0.85, 0.15), Hue::background) << b;
        EXPECT_EQ(hueAt(c, 0.15, 0.15), Hue::background) << b;
    }
}

// A colour map that cannot be read is one line and a plain picture; so is one
// that this build cannot decode. --no-texture draws plain without a word.
TEST(RenderPicture, ColourMapsThatCannotBeReadGivePlainPictures)
{
    if (!TIV_HAVE_PNG) GTEST_SKIP() << "built without libpng (libpng-dev): no pictures to look at";
    const std::string dir = testFolder();
    writeColourMap(dir + "/good.bmp", halvesColourMap());
    writeBytes(dir + "/junk.png", "\x89PNG\r\n\x1a\n but nothing after");
    std::filesystem::create_directory(dir + "/folder.png");
    struct Case
    {
        std::string map, options;
        bool said, textured;
    };
    const std::vector<Case> cases = {
        {"missing.png", "", true, false},
        {"junk.png", "", true, false},
        {"folder.png", "", true, false},
        {"good.bmp", "--no-texture", false, false},
        {"missing.png", "--no-texture", false, false},
        {"good.bmp", "", !TIV_HAVE_STB, TIV_HAVE_STB != 0},
    };
    for (const Case& c : cases)
    {
        writeBytes(dir + "/quad.mtl", materialNaming(c.map));
        writeBytes(dir + "/quad.obj", texturedQuadObj("quad.mtl"));
        ASSERT_EQ(tivtool("convert '" + dir + "/quad.obj' '" + dir + "/quad.tiv' --flip").status,
                  0);
        for (const std::string mesh : {"quad.obj", "quad.tiv"})
        {
            std::filesystem::remove(dir + "/out.png");
            CommandRun run =
                tivtool("render '" + dir + "/" + mesh + "' '" + dir + "/out.png' " + c.options);
            const std::string what = mesh + " " + c.map + " " + c.options + "\n" + run.err;
            EXPECT_EQ(run.status, 0) << what;
            if (c.said)
            {
                EXPECT_TRUE(oneLine(run.err, dir + "/" + c.map) && has(run.err, "not drawn"))
                    << what;
            }
            else
            {
                EXPECT_TRUE(run.err.empty()) << what;
            }
            if (!TIV_HAVE_STB && c.said)
            {
                EXPECT_TRUE(has(run.err, "libstb-dev")) << what;
            }
            RgbImage image = picture(dir + "/out.png");
            EXPECT_EQ(hueAt(image, 0.5, 0.2), c.textured ? Hue::red : Hue::grey) << what;
            EXPECT_EQ(hueAt(image, 0.5, 0.8), c.textured ? Hue::blue : Hue::grey) << what;
        }
    }
}

// Bilinear between texel centres, wrapping in u and v; v = 0 the bottom row in
// the editor's frame and the top row in the sculpting application's.
TEST(RenderPicture, ColourMapSamplingWrapsAndBlends)
{
    // 2 x 2 texels: red, blue over green, white.
    RgbImage map;
    map.fill(2, 2, 0);
    map.set(0, 0, 0xFF0000), map.set(1, 0, 0x0000FF), map.set(0, 1, 0x00FF00),
        map.set(1, 1, 0xFFFFFF);
    // A quad facing the viewer whose texture coordinates run from -1 to 1 in u
    // (twice across the map) and from 0 to 1 in v.
    QDTivMesh mesh = makeMesh({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}}, {0, 1, 2, 3},
                              {{-1, 0}, {1, 0}, {1, 1}, {-1, 1}});
    RenderOptions options;
    options.size = 400;
    options.texture = &map;
    RgbImage image;
    std::string message;
    ASSERT_TRUE(renderMesh(mesh, options, image, message)) << message;
    // The quad fills the width and the middle half of the height: 360 pixels
    // for two repeats of the map, a texel 90 pixels wide and high. Texel centres
    // sit at 45 pixels from each texel's edge.
    const int left = renderMargin(400), top = 200 - 90;
    auto at = [&](double tx, double ty)
    { return image.get(left + int(tx * 90), top + int(ty * 90)); };
    EXPECT_EQ(hueOf(at(0.5, 0.5)), Hue::red); // the image's top-left texel at v near 1
    EXPECT_EQ(hueOf(at(1.5, 0.5)), Hue::blue);
    EXPECT_EQ(hueOf(at(2.5, 0.5)), Hue::red); // wrapped: u = 0 again
    EXPECT_EQ(hueOf(at(0.5, 1.5)), Hue::green);
    // Half way between red and blue both weigh the same; at the left edge u
    // wraps to the blue column.
    const uint32_t middle = at(1.0, 0.5), edge = at(0.02, 0.5);
    EXPECT_NEAR(double(middle >> 16), double(middle & 0xFF), 8) << std::hex << middle;
    EXPECT_GT(middle >> 16, 60u);
    EXPECT_GT(edge & 0xFF, 60u) << std::hex << edge;

    // The same quad as the sculpting application holds it: y and z negated and
    // v flipped is the same picture.
    QDTivMesh sent = makeMesh({{0, 0, 0}, {2, 0, 0}, {2, -1, 0}, {0, -1, 0}}, {0, 1, 2, 3},
                              {{-1, 1}, {1, 1}, {1, 0}, {-1, 0}});
    options.frame = MeshFrame::sculpting;
    RgbImage again;
    ASSERT_TRUE(renderMesh(sent, options, again, message)) << message;
    EXPECT_TRUE(again.pixels == image.pixels);

    // Texture coordinates that are not finite give the plain colour; a mesh
    // without them is drawn plain.
    QDTivMesh odd = makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, -1},
                             {{std::nanf(""), 0}, {1e30f, 0}, {0, -1e30f}, {0, 0}});
    ASSERT_TRUE(renderMesh(odd, options, image, message));
    QDTivMesh bare = makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2, -1});
    ASSERT_TRUE(renderMesh(bare, options, image, message));
    EXPECT_EQ(hueAt(image, 0.3, 0.3), Hue::grey);
}
