// Whole sends through the editor's program of models of its own: the
// sculpting application's picture shows them as the editor does, upright, from
// the same side and with their texture the right way up.

#include "ColourMap.h"
#include "PictureSupport.h"
#include "QDObjImport.h"
#include "SandboxSupport.h"

namespace
{
const std::string s_project = std::string(TIV_SANDBOX_ROOT) + "/TivProjects/Default";
const std::string s_summary = std::filesystem::path(TIV_SANDBOX_ROOT).parent_path().string() +
                              "/Applications/Morvel_Summary.txt";
} // namespace

class TexturedSend : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!TIV_HAVE_PNG)
            GTEST_SKIP() << "built without libpng (libpng-dev): the stand-in draws no pictures";
#ifndef TIV_HOST_EXE
        GTEST_SKIP() << "the simulated editor was not built";
#else
        CommandRun layout = sandbox::layOutSandbox();
        ASSERT_EQ(layout.status, 0) << layout.err;
        m_folder = testFolder();
        std::filesystem::create_directory(m_folder + "/cwd");
#endif
    }

    // Sends the model, named from the working folder m_folder/cwd, as layer
    // `layer`; the sculpting application's picture of it.
    RgbImage send(const std::string& model, const std::string& layer)
    {
        std::filesystem::remove(s_summary);
        CommandRun run = runCommand("cd '" + m_folder + "/cwd' && '" + TIV_HOST_EXE + "' --layer " +
                                    layer + " --model '" + model + "'");
        EXPECT_EQ(run.status, 0) << run.out << run.err;
        m_out = run.out;
        m_report = sandbox::waitForText(s_summary, [](const std::string& t) { return !t.empty(); });
        RgbImage picture;
        std::string message;
        EXPECT_TRUE(readPng(s_project + "/" + layer + ".png", picture, message)) << message << "\n"
                                                                                 << m_report;
        return picture;
    }

    std::string m_folder, m_out, m_report;
};

TEST_F(TexturedSend, TextureArrivesTheRightWayUp)
{
    if (!TIV_HAVE_STB) GTEST_SKIP() << "built without stb_image (libstb-dev): no textures to draw";
    // Named as a user names them: relative, through "..", with a ':' in a
    // folder's name, and the colour map with Windows' folder separators.
    writeBytes(m_folder + "/a:b/maps/quad.bmp", bmpBytes(halvesColourMap()));
    writeBytes(m_folder + "/a:b/quad.mtl", materialNaming(".\\maps\\quad.bmp"));
    writeBytes(m_folder + "/a:b/quad.obj", texturedQuadObj("quad.mtl"));

    RgbImage picture = send("../a:b/quad.obj", "Quad");
    EXPECT_TRUE(has(m_out, "3D, " + m_folder + "/a:b/quad.obj, 2 triangles")) << m_out;
    EXPECT_TRUE(has(m_report, "texture: " + s_project + "/Quad_diffuse.bmp (found)")) << m_report;
    EXPECT_FALSE(has(m_out, "checker") || has(m_report, "not drawn")) << m_out << m_report;
    EXPECT_EQ(hueAt(picture, 0.15, 0.15), Hue::green);
    EXPECT_EQ(hueAt(picture, 0.8, 0.2), Hue::red);
    EXPECT_EQ(hueAt(picture, 0.5, 0.8), Hue::blue);
}

// An L of two boxes, the short leg at the top right and in front: the
// sculpting application's picture has the outline of the OBJ's front view.
TEST_F(TexturedSend, ModelStandsAsInTheEditor)
{
    std::string obj;
    int base = 0;
    auto box = [&obj, &base](int x0, int y0, int z0, int x1, int y1, int z1)
    {
        for (int k = 0; k < 8; ++k)
            obj += "v " + std::to_string(k & 1 ? x1 : x0) + " " + std::to_string(k & 2 ? y1 : y0) +
                   " " + std::to_string(k & 4 ? z1 : z0) + "\n";
        for (const char* face : {"1342", "5687", "1265", "3784", "1573", "2486"})
        {
            obj += "f";
            for (const char* c = face; *c; ++c)
                obj += " " + std::to_string(base + (*c - '0'));
            obj += "\n";
        }
        base += 8;
    };
    box(0, 0, 0, 1, 4, 1);
    box(1, 3, 0, 3, 4, 2);
    writeBytes(m_folder + "/ell.obj", obj);

    RgbImage picture = send("../ell.obj", "Ell");
    QDTivMesh mesh;
    ASSERT_TRUE(QDObjImport().importTivMesh((m_folder + "/ell.obj").c_str(), mesh, true));
    RgbImage front;
    std::string message;
    ASSERT_TRUE(renderMesh(mesh, RenderOptions(), front, message)) << message;
    ASSERT_TRUE(picture.width == front.width && picture.height == front.height);
    int covered = 0, differing = 0;
    for (int y = 0; y < front.height; ++y)
        for (int x = 0; x < front.width; ++x)
        {
            const bool inFront = front.get(x, y) != s_renderBackground;
            covered += inFront;
            differing += inFront != (picture.get(x, y) != s_renderBackground);
        }
    EXPECT_GT(covered, front.width * front.height / 4);
    EXPECT_LE(differing, front.width / 10) << "of " << covered;
    // The short leg at the top right: upright, not mirrored.
    EXPECT_NE(hueAt(picture, 0.8, 0.15), Hue::background);
    EXPECT_EQ(hueAt(picture, 0.8, 0.85), Hue::background);
}
