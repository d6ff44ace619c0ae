#include "MeshRender.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TestSupport.h"

#include <limits>

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

bool covered(const RgbImage& image, int x, int y)
{
    return image.get(x, y) != s_renderBackground;
}

unsigned brightness(const RgbImage& image, int x, int y)
{
    uint32_t rgb = image.get(x, y);
    return (rgb >> 16) + ((rgb >> 8) & 0xFF) + (rgb & 0xFF);
}
} // namespace

TEST(Tivtool, UsageErrorsAndInfo)
{
    CommandRun help = tivtool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("tivtool convert IN OUT [--weld] [--flip]"), std::string::npos);
    for (const char* arguments :
         {"", "info", "info a.obj b.obj", "convert a.obj", "convert a.obj b.txt", "info a.stl",
          "explode a.obj", "info a.obj --frobnicate", "info a.obj --weld", "render a.obj",
          "render a.obj b.jpg", "render a.obj b.png --size 0", "render a.obj b.png --view up",
          "render a.obj b.png --size"})
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

// Two unit quads side by side, the left one turned to the upper left, the
// right one to the lower right, and above them a right triangle whose right
// angle is on the left. The triangle's texture corners are (0.25, 0.25),
// (0.75, 0.25) and (0.25, 0.75).
TEST(Tivtool, RenderShowsTheMeshAsItStands)
{
    const std::string dir = testFolder();
    writeBytes(dir + "/cube.obj",
               "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
               "v 0 0 1\nv 1 0 1\nv 1 1 1\nv 0 1 1\n"
               "f 1 4 3 2\nf 5 6 7 8\nf 1 2 6 5\nf 4 8 7 3\nf 1 5 8 4\nf 2 3 7 6\n");
    writeBytes(dir + "/shapes.obj", "v 0 0 0\nv 1 0 0.5\nv 1 1 0\nv 0 1 -0.5\n"
                                    "v 2 0 0\nv 3 0 -0.5\nv 3 1 0\nv 2 1 0.5\n"
                                    "v 0 1.5 0\nv 3 1.5 0\nv 0 2.5 0\n"
                                    "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvt 0.25 0.25\nvt 0.75 "
                                    "0.25\nvt 0.25 0.75\n"
                                    "f 1/1 2/2 3/3 4/4\nf 5/1 6/2 7/3 8/4\nf 9/5 10/6 11/7\n");
    auto render = [&dir](const std::string& mesh, const std::string& options)
    {
        RgbImage image;
        std::string message;
        CommandRun run =
            tivtool("render '" + dir + "/" + mesh + "' '" + dir + "/out.png' " + options);
        EXPECT_TRUE(run.status == 0 && run.err.empty()) << options << run.err;
        EXPECT_TRUE(readPng(dir + "/out.png", image, message)) << message;
        return image;
    };

    // The cube seen from the front is the square the margin leaves.
    const int size = 200, margin = renderMargin(size);
    RgbImage cube = render("cube.obj", "--size 200");
    ASSERT_TRUE(cube.width == size && cube.height == size);
    int low[2] = {size, size}, high[2] = {-1, -1}, count = 0;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            if (covered(cube, x, y))
            {
                low[0] = std::min(low[0], x), low[1] = std::min(low[1], y);
                high[0] = std::max(high[0], x), high[1] = std::max(high[1], y);
                ++count;
            }
    for (int k = 0; k < 2; ++k)
        EXPECT_TRUE(std::abs(low[k] - margin) <= 1 && std::abs(high[k] - (size - 1 - margin)) <= 1)
            << low[k] << " " << high[k];
    EXPECT_GE(count, (size - 2 * margin - 2) * (size - 2 * margin - 2));

    // Lit from the upper left; the back view is the front one mirrored.
    RgbImage front = render("shapes.obj", "--size 300"),
             back = render("shapes.obj", "--size 300 --view back");
    // The view is three units wide; the quads' centres are 0.75 units below the middle.
    const int unit = (300 - 2 * renderMargin(300)) / 3;
    const int leftQuad[2] = {renderMargin(300) + unit / 2, 150 + 3 * unit / 4};
    const int rightQuad[2] = {300 - leftQuad[0], leftQuad[1]};
    ASSERT_TRUE(covered(front, leftQuad[0], leftQuad[1]) &&
                covered(front, rightQuad[0], rightQuad[1]));
    EXPECT_GT(brightness(front, leftQuad[0], leftQuad[1]),
              brightness(front, rightQuad[0], rightQuad[1]) + 60);
    int mirrored = 0, differing = 0;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 300; ++x)
        {
            mirrored += covered(front, x, y);
            differing += covered(front, x, y) != covered(back, 299 - x, y);
        }
    EXPECT_GT(mirrored, 2 * unit * unit);
    EXPECT_LE(differing, 300) << "of " << mirrored;

    // The layout has v upwards: the triangle's lower edge, not its mirror image.
    RgbImage layout = render("shapes.obj", "--size 300 --uv");
    auto at = [](double u, double v)
    {
        const int m = renderMargin(300);
        return std::pair<int, int>(int(m + u * (300 - 2 * m)), int(300 - m - v * (300 - 2 * m)));
    };
    for (auto [u, v, drawn] : {std::tuple(0.5, 0.25, true), std::tuple(0.25, 0.5, true),
                               std::tuple(0.5, 0.75, false), std::tuple(0.35, 0.35, false)})
    {
        auto [x, y] = at(u, v);
        EXPECT_EQ(covered(layout, x, y) || covered(layout, x, y - 1) || covered(layout, x + 1, y),
                  drawn)
            << u << " " << v;
    }

    CommandRun run = tivtool("render '" + dir + "/cube.obj' '" + dir + "/no/such/out.png'");
    EXPECT_TRUE(run.status == 1 && oneLine(run.err, dir + "/no/such/out.png")) << run.err;
}

// Faces with a corner out of range or not finite are left out and the view is
// fitted to the rest; with nothing left the picture is plain.
TEST(Tivtool, RenderOfDegenerateMeshes)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(),
                inf = std::numeric_limits<float>::infinity(), big = 3e38f;
    struct Case
    {
        const char* what;
        QDTivMesh mesh;
        int size;
        bool drawn;
        int minimumCovered;
    };
    const int side = 64 - 2 * renderMargin(64);
    const std::vector<QDVector3f> triangle = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const std::vector<Case> cases = {
        {"no faces", makeMesh({}, {}), 64, false, 0},
        {"one point", makeMesh({{1, 2, 3}}, {}), 64, false, 0},
        {"only a point as a face", makeMesh({{1, 2, 3}}, {0, 0, 0, -1}), 64, true, 0},
        {"not finite", makeMesh({{nan, 0, 0}, {inf, 0, 0}, {0, -inf, 0}}, {0, 1, 2, -1}), 64, false,
         0},
        {"out of range", makeMesh(triangle, {0, 1, 3, -1, 0, -2, 1, 2, 0, 1, 2, -3}), 64, false, 0},
        {"bad faces beside a good one",
         makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {nan, 50, 0}},
                  {0, 1, 3, -1, 0, 1, 2, 7, 0, 1, 2, -1}),
         64, true, side * side / 2 - side},
        {"at the float limits",
         makeMesh({{-big, -big, big}, {big, -big, -big}, {-big, big, 0}}, {0, 1, 2, -1}), 64, true,
         side * side / 2 - side},
        {"no size", makeMesh(triangle, {0, 1, 2, -1}), -3, true, 0},
    };
    for (const Case& c : cases)
    {
        RenderOptions options;
        options.size = c.size;
        for (bool uv : {false, true})
        {
            options.uvLayout = uv;
            RgbImage image;
            std::string message;
            const bool drawn = renderMesh(c.mesh, options, image, message);
            const int size = std::max(c.size, 1);
            ASSERT_TRUE(image.width == size && image.height == size) << c.what;
            if (uv)
            {
                EXPECT_FALSE(drawn) << c.what; // none has texture coordinates
                continue;
            }
            EXPECT_EQ(drawn, c.drawn) << c.what;
            EXPECT_EQ(message.empty(), c.drawn) << c.what << ": " << message;
            int count = 0;
            for (int y = 0; y < size; ++y)
                for (int x = 0; x < size; ++x)
                    count += covered(image, x, y);
            EXPECT_GE(count, c.minimumCovered) << c.what;
            if (!c.drawn)
            {
                EXPECT_EQ(count, 0) << c.what;
            }
        }
    }
}
