#include "MeshRender.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TestSupport.h"

#include <cmath>
#include <limits>

namespace
{
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
    EXPECT_TRUE(has(help.out, "tivtool convert IN OUT [--weld] [--flip]"));
    for (const char* arguments : {"",
                                  "info",
                                  "info a.obj b.obj",
                                  "convert a.obj",
                                  "convert a.obj b.txt",
                                  "info a.stl",
                                  "explode a.obj",
                                  "info a.obj --frobnicate",
                                  "info a.obj --weld",
                                  "compare a.obj",
                                  "compare a.obj b.txt",
                                  "compare a.obj b.obj --tolerance -1",
                                  "compare a.obj b.obj --picture",
                                  "compare a.obj b.obj --picture b.jpg",
                                  "render a.obj",
                                  "render a.obj b.jpg",
                                  "render a.obj b.png --size 0",
                                  "render a.obj b.png --view up",
                                  "render a.obj b.png --size",
                                  "check",
                                  "check a.txt",
                                  "info a.obj --json",
                                  "check a.obj --weld"})
    {
        CommandRun run = tivtool(arguments);
        EXPECT_TRUE(run.status == 2 && run.out.empty() && oneLine(run.err)) << arguments;
    }

    const std::string dir = testFolder();
    CommandRun run = tivtool("info " + writeCube(dir));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(has(run.out,
                    "vertices:     7\nfaces:        2 (1 triangles, 1 quads)\n"
                    "corners:      7 (8 slots)\ncorner UVs:   7 (8 slots)\nunique UVs:   4\n"
                    "face groups:  0\ntexture:      skin.png\n"
                    "bounding box: (0, 0, 0) to (1, 1, 2)\nfindings:     0\n"))
        << run.out;
    writeBytes(dir + "/bad.tiv", "Tiva and more than thirty-two bytes of something");
    for (const std::string& file : {dir + "/missing.obj", dir + "/bad.tiv"})
    {
        CommandRun failed = tivtool("info '" + file + "'");
        EXPECT_EQ(failed.status, 1) << file;
        EXPECT_TRUE(oneLine(failed.err, file)) << failed.err;
    }
}

// convert welds and flips what it is asked to, and compare, given the same
// options, finds the result the same as the OBJ it came from.
TEST(Tivtool, ConvertWeldsFlipsAndCompareTellsWhatChanged)
{
    const std::string dir = testFolder();
    const std::string square =
        "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n";
    const std::string quad = square + "f 1/1 2/2 3/3 4/4\n";
    // Two quads sharing the edge 2-3; the second one's UVs continue the first's.
    const std::string strip = square + "v 2 0 0\nv 2 1 0\nvt 2 0\nvt 2 1\n"
                                       "f 1/1 2/2 3/3 4/4\nf 2/2 5/5 6/6 3/3\n";
    const std::string rotated = square + "f 2/2 3/3 4/4 1/1\n";
    const std::string reversed = square + "f 4/4 3/3 2/2 1/1\n";
    // Vertex 2 moved by (0.375, 0.5, 0).
    const std::string moved = "v 0 0 0\nv 1 0 0\nv 1.375 1.5 0\nv 0 1 0\n"
                              "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nf 1/1 2/2 3/3 4/4\n";
    std::string seam = strip;
    seam.replace(seam.rfind("2/2"), 3, "2/1"); // vertex 2 on the other side of a seam

    // A NaN that the OBJ reader would not take, in a .tiv.
    QDTivMesh nan = makeMesh({{0, 0, 0}, {1, 0, 0}, {std::nanf(""), 1, 0}}, {0, 1, 2, -1});
    ASSERT_TRUE(nan.saveToTivFile((dir + "/nan.tiv").c_str(), false));
    nan.m_vertices[2] = QDVector3f(1, 1, 0);
    ASSERT_TRUE(nan.saveToTivFile((dir + "/finite.tiv").c_str(), false));

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

    struct Case
    {
        std::string a, b; // OBJ texts, or the names of files in the folder
        std::string options;
        int status;
        std::vector<std::string> shown;
    };
    const std::vector<Case> cases = {
        {quad, quad, "", 0, {"topology: same\nUV layout: same\n", "result: same"}},
        // B's corners go back into A's order: its texture coordinates then match.
        {quad,
         rotated,
         "",
         0,
         {"topology: same, 1 face with rotated corners\n",
          "texture coordinates: largest move 0 at corner 0,"}},
        {quad,
         reversed,
         "--json",
         1,
         {"\"first_different_face\": {\"face\": 0, \"a\": [0, 1, 2, 3], \"b\": [3, 2, 1, 0]}",
          "\"same\": false"}},
        {quad,
         square + "f 1/1 2/2 3/3\n",
         "",
         1,
         {"topology: different, corner counts differ (4 and 3); first at face 0: A (0, 1, 2, 3), "
          "B (0, 1, 2)\n",
          "   4 vertices, 1 face (0 triangles, 1 quads), 4 corners, 4 corner UVs\n",
          "   4 vertices, 1 face (1 triangles, 0 quads), 3 corners (4 slots), 3 corner UVs (4 "
          "slots)\n"}},
        {quad,
         moved,
         "",
         1,
         {"positions: largest move 0.625 at vertex 2, root mean square 0.3125, 1 vertex moved more "
          "than 0\n"}},
        {quad, moved, "--tolerance 0.63", 0, {"0 vertices moved more than 0.63\n", "result: same"}},
        {strip, seam, "", 1, {"UV layout: seams differ\n"}},
        {seam, strip, "", 1, {"UV layout: seams differ\n"}},
        {"cube.obj",
         "cube.tiv",
         "--weld --flip --json",
         0,
         {"\"corners\": 7, \"corner_slots\": 8, \"corner_uvs\": 7, \"corner_uv_slots\": 8",
          "\"same\": true"}},
        {"cube.obj", "cube.tiv", "", 1, {"vertex counts differ (7 and 5)"}},
        {"nan.tiv", "nan.tiv", "", 0, {"non-finite coordinates in A: 1 vertex (first: 2)"}},
        {"nan.tiv",
         "finite.tiv",
         "--json",
         1,
         {"\"non_finite_vertices\": 1, \"first_non_finite_vertex\": 2",
          "\"pairs\": 2, \"largest\": 0, \"largest_at\": 0, \"rms\": 0, \"moved\": 0, "
          "\"not_measured\": 1"}},
        {"cube.obj", "missing.tiv", "", 2, {"missing.tiv: No such file or directory"}},
    };
    int n = 0;
    for (const Case& c : cases)
    {
        std::string files[2] = {c.a, c.b};
        for (std::string& file : files)
            if (has(file, "\n"))
            {
                writeBytes(dir + "/" + std::to_string(n) + ".obj", file);
                file = std::to_string(n++) + ".obj";
            }
        CommandRun run = tivtool("compare '" + dir + "/" + files[0] + "' '" + dir + "/" + files[1] +
                                 "' " + c.options);
        const std::string& text = c.status == 2 ? run.err : run.out;
        EXPECT_EQ(run.status, c.status) << files[0] << " " << files[1] << "\n"
                                        << run.out << run.err;
        for (const std::string& part : c.shown)
            EXPECT_TRUE(has(text, part)) << part << "\n" << text;
    }

    // Pictures of B: the moved quad in the colour of the largest move, over a
    // scale from blue at 0 to red; the reversed one marked, without a scale.
    if (!TIV_HAVE_PNG) return;
    writeBytes(dir + "/quad.obj", quad);
    writeBytes(dir + "/moved.obj", moved);
    writeBytes(dir + "/reversed.obj", reversed);
    RgbImage picture;
    std::string message;
    auto red = [&picture](int x, int y)
    { return (picture.get(x, y) >> 16) > (picture.get(x, y) & 0xFF); };
    for (const char* b : {"moved", "reversed"})
    {
        const std::string png = dir + "/" + b + ".png";
        EXPECT_EQ(tivtool("compare '" + dir + "/quad.obj' '" + dir + "/" + b + ".obj' --picture '" +
                          png + "'")
                      .status,
                  1);
        ASSERT_TRUE(readPng(png, picture, message)) << message;
        EXPECT_TRUE(picture.width == 512 && red(256, 256)) << b;
        const bool scale = picture.get(451, 505) != s_renderBackground;
        EXPECT_EQ(scale, b[0] == 'm') << b;
        if (scale)
        {
            EXPECT_TRUE(!red(35, 505) && red(451, 505));
        }
    }
}

// Two unit quads side by side, the left one turned to the upper left, the
// right one to the lower right, and above them a right triangle whose right
// angle is on the left. The triangle's texture corners are (0.25, 0.25),
// (0.75, 0.25) and (0.25, 0.75).
TEST(Tivtool, RenderShowsTheMeshAsItStands)
{
    if (!TIV_HAVE_PNG) GTEST_SKIP() << "built without libpng (libpng-dev): no pictures to look at";
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

    // Lit from the upper left (every view showing its own side is a picture test).
    RgbImage front = render("shapes.obj", "--size 300");
    // The view is three units wide; the quads' centres are 0.75 units below the middle.
    const int unit = (300 - 2 * renderMargin(300)) / 3;
    const int leftQuad[2] = {renderMargin(300) + unit / 2, 150 + 3 * unit / 4};
    const int rightQuad[2] = {300 - leftQuad[0], leftQuad[1]};
    ASSERT_TRUE(covered(front, leftQuad[0], leftQuad[1]) &&
                covered(front, rightQuad[0], rightQuad[1]));
    EXPECT_GT(brightness(front, leftQuad[0], leftQuad[1]),
              brightness(front, rightQuad[0], rightQuad[1]) + 60);

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

// What the plug-in's readers make of a file that a user would not expect:
// said on stderr by every command, listed by check. What is read and written
// stays what a send makes of the file.
TEST(Tivtool, FindingsAreSaidAndChecked)
{
    const std::string dir = testFolder(), square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";
    QDTivMesh quad = makeMesh({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {0, 1, 2, 3});
    ASSERT_TRUE(quad.saveToTivFile((dir + "/quad.tiv").c_str(), false));
    QDTivMesh bad = makeMesh({{0, 0, 0}, {1, 0, 0}, {std::nanf(""), 1, 0}}, {0, 1, 7, -1});
    ASSERT_TRUE(bad.saveToTivFile((dir + "/bad.tiv").c_str(), false));
    struct Case
    {
        const char* file;
        std::string bytes; // none: written above
        std::vector<std::string> said;
    };
    const std::vector<Case> cases = {
        {"quad.tiv", "", {}},
        {"clean.obj", square + "f 1 2 3 4\n", {}},
        {"cut.tiv",
         readBytes(dir + "/quad.tiv").substr(0, 50),
         {"cut.tiv: block 10001 at offset 32: the file ends inside this block (vertices): 46 of "
          "its 48 data bytes are missing and read as zeros\n"}},
        {"header.tiv",
         readBytes(dir + "/quad.tiv").substr(0, 100),
         {"header.tiv: at offset 96: the file ends inside a block header (4 of its 16 bytes)\n"}},
        {"bad.tiv",
         "",
         {"bad.tiv: block 10001 at offset 72: vertex 2 is (nan, 1, 0)\n",
          "bad.tiv: block 20001 at offset 100: face 0 with vertex index 7 outside the 3 vertices "
          "of the file\n"}},
        {"binary.obj",
         square + std::string("f 1 2 3\0\n", 9),
         {"binary.obj:5: not text: a NUL byte at column 8\n"}},
        {"utf16.obj",
         std::string("\xFF\xFEv\0 \0001\0\n\0", 10),
         {"utf16.obj:1: not text: a UTF-16 byte-order mark;"}},
        {"unended.obj",
         square + "f 1 2 3",
         {"unended.obj:5: the last line has no line end: the plug-in drops it\n"}},
        // Three lines are shown, the fourth counted.
        {"numbers.obj",
         "v 1 x 0\nv 1,5 0 0\nv 1E3 0 0\nvt 0.5\n" + square,
         {"numbers.obj:1: 'v' line: 1 of its 3 numbers read ('x' at column 5 ends the line): the "
          "positions after it are shifted\n",
          "numbers.obj:2: 'v' line: no number read (',' at column 4 ends the line): it gives no "
          "position\n",
          "numbers.obj:3: 'v' line: no number read ('E' at column 4",
          "numbers.obj: 1 more 'v' and 'vt' lines whose numbers could not all be read\n"}},
        {"infinite.obj",
         "v 1e39 0 0\n",
         {"infinite.obj:1: 'v' line: its first number reads as inf\n"}},
        {"relative.obj",
         square + "f -4 -3 -2 -1\n",
         {"relative.obj:5: relative index -4 read as vertex 9 (the 4 vertices so far plus 4), not "
          "as vertex 1\n",
          "relative.obj:5: face with vertex index 9 outside the 4 vertices of the file\n"}},
        {"outside.obj",
         square + "vt 0 0\nf 1/1 2/1 3/2\nf 1 2 5 6 7\n",
         {"outside.obj:6: face with texture index 2 outside the 1 texture coordinate of the file\n",
          "outside.obj:7: 3 faces with vertex indices outside the 4 vertices of the file (the "
          "first: 5)\n"}},
    };
    std::string all;
    for (const Case& c : cases)
    {
        const std::string path = dir + "/" + c.file;
        if (!c.bytes.empty()) writeBytes(path, c.bytes);
        all += " '" + path + "'";
        CommandRun run = tivtool("check '" + path + "'");
        EXPECT_EQ(run.status, c.said.empty() ? 0 : 1) << c.file << run.err;
        EXPECT_TRUE(has(run.out, c.said.empty() ? ": no findings\n" : " finding")) << run.out;
        // The same lines on stderr of the other commands; info counts them.
        CommandRun info = tivtool("info '" + path + "'");
        EXPECT_TRUE(has(info.out, "findings:     ")) << c.file;
        for (const std::string& said : c.said)
        {
            EXPECT_TRUE(has(run.out, dir + "/" + said)) << said << run.out;
            EXPECT_TRUE(has(info.err, "tivtool: " + dir + "/" + said)) << said;
        }
        if (QDString(c.file).endsWith(".tiv")) continue;
        // convert writes what the plug-in's own import reads.
        QDTivMesh imported;
        ASSERT_TRUE(QDObjImport().importTivMesh(path.c_str(), imported, true));
        ASSERT_TRUE(imported.saveToTivFile((dir + "/read.tiv").c_str(), true));
        EXPECT_EQ(tivtool("convert '" + path + "' '" + dir + "/converted.tiv'").status, 0);
        EXPECT_EQ(readBytes(dir + "/converted.tiv"), readBytes(dir + "/read.tiv")) << c.file;
    }

    // One file with findings makes 1, one that cannot be read 2, in text and JSON.
    CommandRun run = tivtool("check" + all + " --json");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(has(run.out, "\"relative_index\": 1, \"vertex_index_outside\": 1"));
    EXPECT_TRUE(has(run.out, "{\"kind\": \"uv_index_outside\", \"line\": 6, \"faces\": 1,"));
    run = tivtool("check '" + dir + "/clean.obj' '" + dir + "/missing.obj' --json");
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(oneLine(run.err, "missing.obj: No such file or directory")) << run.err;
    EXPECT_TRUE(has(run.out, "\"error\": \"No such file or directory\"}"));

    // A picture of faces that all point past the vertices says so.
    run = tivtool("render '" + dir + "/relative.obj' '" + dir + "/relative.png'");
    EXPECT_TRUE(has(run.err, "nothing to draw: every face points outside the mesh's 4 vertices\n"))
        << run.err;
}

// Every path a tool takes means what it means to the user's shell, ':' and
// '..' included, although the library cleans the paths it is given.
TEST(Tivtool, PathsAreTakenFromTheWorkingFolder)
{
    const std::string dir = testFolder(), work = dir + "/work";
    writeCube(dir);
    std::filesystem::create_directories(work + "/out");
    std::vector<std::string> commands = {"convert ../cube.obj 'out/e:f.tiv'",
                                         "convert 'out/e:f.tiv' './out/../out/g:h.obj'",
                                         "info 'out/g:h.obj'", "check 'out/e:f.tiv'"};
    if (TIV_HAVE_PNG)
        for (const char* picture :
             {"render ../cube.obj out/b.png", "render 'out/e:f.tiv' '../a:b.png'",
              "compare ../cube.obj 'out/g:h.obj' --picture 'out/p:q.png'"})
            commands.push_back(picture);
    for (const std::string& command : commands)
    {
        CommandRun run = tivtool(command, work);
        EXPECT_EQ(run.status, 0) << command << "\n" << run.err;
    }
    std::vector<std::string> written = {"e:f.tiv", "g:h.mtl", "g:h.obj"};
    if (TIV_HAVE_PNG) written.insert(written.begin(), {"b.png"}), written.push_back("p:q.png");
    EXPECT_EQ(folderEntries(work + "/out"), written);
    EXPECT_EQ(folderEntries(work), std::vector<std::string>{"out"});
    EXPECT_EQ(std::filesystem::exists(dir + "/a:b.png"), TIV_HAVE_PNG);

    // An output that cannot be written is an error naming it.
    for (const char* command :
         {"convert ../cube.obj no/out.tiv", "render ../cube.obj no/out.png --no-texture"})
    {
        CommandRun run = tivtool(command, work);
        EXPECT_TRUE(run.status == 1 && oneLine(run.err, "no/out.")) << command << run.err;
    }

#ifdef TIV_MORVEL_EXE
    // The stand-in sculpting application, run by a relative path to its
    // script, loads and draws an object whose name holds a ':' and reports
    // its corners as the faces have them.
    const std::string root = dir + "/Q", object = root + "/TivProjects/Default/a:b";
    std::filesystem::create_directories(dir + "/Apps");
    std::filesystem::copy_file(TIV_MORVEL_EXE, dir + "/Apps/Morvel");
    writeBytes(root + "/TivApps/Photoshop/Tiv_LoadTextures.mvs", "load\n");
    writeBytes(root + "/TivMorvel/Tiv_ObjectList.txt", object + "\n");
    std::filesystem::create_directories(root + "/TivProjects/Default");
    std::filesystem::copy_file(work + "/out/e:f.tiv", object + ".tiv");
    runCommand("cd '" + root + "' && ../Apps/Morvel TivApps/Photoshop/Tiv_LoadTextures.mvs");
    const std::string summary = readBytes(dir + "/Apps/Morvel_Summary.txt");
    EXPECT_TRUE(has(summary, "a:b.tiv: 7 vertices, 2 faces (1 triangles, 1 quads), 7 corner UVs (8 "
                             "slots)\n"))
        << summary;
    EXPECT_EQ(has(summary, "picture: " + object + ".png\n"), TIV_HAVE_PNG) << summary;
#endif
}
