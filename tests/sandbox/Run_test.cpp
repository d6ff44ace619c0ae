// Whole runs in the sandbox exchange root, laid out afresh with the stand-ins
// that tools/ builds: in this process through the simulated editor
// (PluginRun), or through the editor's program and the real plug-in bundle
// (HostRun). Only HostRun sends 3D layers, which wait two seconds in the plug-in.

#include "HostModel.h"
#include "HostSession.h"
#include "MeshRender.h"
#include "PIUSuites.h"
#include "QDLogServer.h"
#include "SandboxSupport.h"
#include "TivPhotoshopPlugIn.h"

#include <cmath>
#include <memory>
#include <set>

namespace
{
const std::string s_root = TIV_SANDBOX_ROOT;
const std::string s_project = s_root + "/TivProjects/Default";
const std::string s_objectList = s_root + "/TivMorvel/Tiv_ObjectList.txt";
const std::string s_morvel =
    std::filesystem::path(s_root).parent_path().string() + "/Applications/Morvel";

std::vector<std::string> s_logged;

// The stand-in sculpting application runs detached: its report comes when it is done.
std::string morvelReport()
{
    return sandbox::waitForText(s_morvel + "_Summary.txt",
                                [](const std::string& text) { return !text.empty(); });
}

// A layer that is there: flat, or 3D with the editor's default model.
HostDocument layer(const std::string& name, bool is3D = false)
{
    return {true, name, is3D, is3D ? makeDefaultModel() : HostModel()};
}
} // namespace

class PluginRun : public testing::Test
{
protected:
    void SetUp() override
    {
        CommandRun layout = sandbox::layOutSandbox();
        ASSERT_EQ(layout.status, 0) << layout.err;
        m_folder = testFolder();
        m_savedFolder = std::filesystem::current_path().string();
        std::filesystem::current_path(m_folder);
        s_logged.clear();
        QDLogServer::setLineObserver([](const char* line) { s_logged.push_back(line); });
    }

    void TearDown() override
    {
        QDLogServer::setLineObserver(nullptr);
        if (m_host) sSPBasic = m_host->basicSuite();
        PIUSuitesRelease();
        sSPBasic = nullptr;
        m_host.reset();
        std::filesystem::current_path(m_savedFolder);
    }

    SPErr run(const HostDocument& document, const std::string& deniedSuite = std::string())
    {
        m_host = std::make_unique<HostSession>(document);
        if (!deniedSuite.empty()) m_host->denySuite(deniedSuite);
        PIActionParameters parameters = {plugInDialogDisplay, 0, nullptr};
        PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, m_host->basicSuite()},
                                          &parameters};
        return AutoPluginMain("PS Photoshop", "Do It", &message);
    }

    bool logged(const std::string& line) const
    {
        return std::find(s_logged.begin(), s_logged.end(), line) != s_logged.end();
    }

    std::string m_folder, m_savedFolder;
    std::unique_ptr<HostSession> m_host;
};
typedef PluginRun HostRun;

TEST_F(PluginRun, FlatLayerLogsEveryStepTidiesTheProjectFolderAndShowsTheMessage)
{
    for (const char* name : {"old.bmp", "old.psd", "a:b.psd", "keep.obj", "keep.tiv", "keep.BMP",
                             ".hidden.bmp", "keep.bmp.txt"})
        writeBytes(s_project + "/" + name, "x");
    std::filesystem::create_directory(s_project + "/folder.bmp");

    EXPECT_EQ(run(layer("Background")), kSPNoError);

    ASSERT_GE(s_logged.size(), 6u);
    const std::vector<std::string> driver = {
        "PhotoshopTivPlugin executed!", "[RELEASE]",
        " curPath = " + m_folder,       "    (newCurPath = " + s_project + ")",
        "Layer Name = Background",      "exporting 3D model....(.PSD)!"};
    EXPECT_EQ(std::vector<std::string>(s_logged.begin(), s_logged.begin() + 6), driver);
    EXPECT_TRUE(logged("Error on loading obj file : " + s_project + "/Background.obj"));
    EXPECT_EQ(std::filesystem::current_path().string(), m_folder);

    // Exactly what "rm *.bmp; rm *.psd" in the project folder would remove.
    const std::set<std::string> gone = {"old.bmp", "old.psd", "a:b.psd"};
    for (const char* name : {"old.bmp", "old.psd", "a:b.psd", "keep.obj", "keep.tiv", "keep.BMP",
                             ".hidden.bmp", "keep.bmp.txt", "folder.bmp"})
        EXPECT_EQ(std::filesystem::exists(s_project + "/" + name), gone.count(name) == 0) << name;

    EXPECT_EQ(m_host->liveObjects(), 0u);
    EXPECT_EQ(readBytes(s_objectList), s_project + "/Background\n");
    EXPECT_TRUE(has(morvelReport(), "shows: The current layer is not a 3D layer"));
}

TEST_F(PluginRun, ProjectFolderThatCannotBeEnteredRemovesNothing)
{
    // Removing after a failed change of folder would hit the working folder.
    std::filesystem::remove_all(s_project);
    writeBytes(m_folder + "/mine.bmp", "x");
    writeBytes(m_folder + "/mine.psd", "x");

    EXPECT_EQ(run(layer("Background")), kSPNoError);

    EXPECT_TRUE(std::filesystem::exists(m_folder + "/mine.bmp") &&
                std::filesystem::exists(m_folder + "/mine.psd"));
    EXPECT_TRUE(logged("    (newCurPath = " + m_folder + ")"));
    EXPECT_EQ(std::filesystem::current_path().string(), m_folder);
    EXPECT_FALSE(morvelReport().empty());
}

TEST_F(PluginRun, LayerNamesJoinAsTheyStandAndAFailedQueryGivesAnEmptyOne)
{
    EXPECT_EQ(run(layer("Props/Cup")), kSPNoError);
    EXPECT_EQ(m_host->exports()[0].path, s_project + "/Props/Cup.obj");
    EXPECT_FALSE(morvelReport().empty());
    std::filesystem::remove(s_morvel + "_Summary.txt");

    s_logged.clear();
    EXPECT_EQ(run({false, "Unused", false, {}}), kSPNoError);
    EXPECT_TRUE(logged("Layer Name = "));
    ASSERT_EQ(m_host->exports().size(), 1u);
    EXPECT_EQ(m_host->exports()[0].path, s_project + "/.obj");
    EXPECT_EQ(readBytes(s_objectList), s_project + "/\n");
    EXPECT_FALSE(morvelReport().empty());
}

TEST_F(HostRun, FirstSendThenReturnOfTheSameLayer)
{
    const std::string launcher = s_root + "/TivMorvel/TivMorvelFromApp_Arguments.txt";
    auto send = [this]()
    {
        CommandRun r = sandbox::tivHost("--plugin '" TIV_PLUGIN_BUNDLE "'");
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(has(r.out, "working folder unchanged: " + m_folder)) << r.out;
        EXPECT_TRUE(has(r.out, "suites still held: 0; descriptors, references and handles "
                               "not given back: 0"));
        return r.out;
    };
    auto launches = [&launcher](const std::string& expected)
    { return sandbox::waitForText(launcher, [&](const std::string& t) { return t == expected; }); };

    // Stale exports of an earlier run go; meshes stay.
    for (const char* name : {"Old.bmp", "Old.psd", "Old.obj", "Old.tiv"})
        writeBytes(s_project + "/" + name, "x");

    // Welded, y and z negated (the sphere spans y 0..20, z -5..15 in the editor).
    std::string first = send();
    for (const char* name : {"Old.bmp", "Old.psd", "Old.obj", "Old.tiv"})
        EXPECT_EQ(std::filesystem::exists(s_project + "/" + name), name[4] != 'b' && name[4] != 'p')
            << name;
    EXPECT_TRUE(has(first, "Sphere.tiv: 1986 vertices, 3968 faces (3968 triangles, 0 quads), "
                           "11904 corner UVs (15872 slots)\n"))
        << first;
    EXPECT_TRUE(has(first, "texture: " + s_project + "/Sphere_diffuse.bmp (found)"));
    EXPECT_TRUE(has(first, "bounding box: (-10.000, -20.000, -15.000) to (10.000, 0.000, 5.000)"));
    EXPECT_FALSE(has(first, "against the last arrival")) << first;
    // The stand-in's picture of the sphere: a disc, as wide as the picture's margins allow.
    // (Builds without libpng draw no pictures.)
    if (TIV_HAVE_PNG)
    {
        RgbImage picture;
        std::string message;
        ASSERT_TRUE(has(first, "picture: " + s_project + "/Sphere.png\n")) << first;
        ASSERT_TRUE(readPng(s_project + "/Sphere.png", picture, message)) << message;
        double area = 0, cx = 0, cy = 0;
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x)
                if (picture.get(x, y) != s_renderBackground)
                {
                    area += 1;
                    cx += x + 0.5;
                    cy += y + 0.5;
                }
        cx /= area;
        cy /= area;
        const double radius = std::sqrt(area / M_PI);
        EXPECT_NEAR(radius, picture.width / 2 - renderMargin(picture.width), 2.0);
        int outOfRound = 0;
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x)
            {
                const double d = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
                if (std::abs(d - radius) > 1.5)
                    outOfRound += (picture.get(x, y) != s_renderBackground) != (d < radius);
            }
        EXPECT_EQ(outOfRound, 0);
    }
    EXPECT_EQ(launches("\n"), "\n");
    EXPECT_EQ(readBytes(s_morvel + "_Arguments.txt"),
              s_root + "/TivApps/Photoshop/Tiv_LoadTextures.mvs\n");

    // The OBJ of the first send is in place now: the layer counts as a return,
    // and a previous geometry with as many faces replaces the re-export whole
    // (unwelded, as it was read), and is flipped all the same.
    HostModel model = makeDefaultModel();
    for (auto& p : model.positions)
        for (float& c : p)
            c *= 2.0f;
    HostExport written;
    std::string error;
    ASSERT_TRUE(exportModel(model, s_project + "/Sphere.obj.prevMV2PS.obj", written, error));
    // The first send's texture goes before the second export writes its own: a
    // link kept to it still holds the first file, not the one written now.
    const std::string texture = s_project + "/Sphere_diffuse.bmp";
    std::filesystem::create_hard_link(texture, m_folder + "/first.bmp");
    std::string second = send();
    EXPECT_FALSE(std::filesystem::equivalent(texture, m_folder + "/first.bmp"));
    EXPECT_TRUE(has(second, "Sphere.tiv: 11904 vertices, 3968 faces")) << second;
    // The stand-in kept the first arrival outside the exchange folder.
    EXPECT_TRUE(has(second, "against the last arrival: topology different, vertex counts "
                            "differ (1986 and 11904); first at face 0: "));
    EXPECT_TRUE(has(second, "; UV layout not compared (the faces differ); largest vertex move "
                            "not measured\n"));
    EXPECT_TRUE(std::filesystem::is_directory(s_morvel + "_LastArrivals"));
    EXPECT_TRUE(
        has(second, "bounding box: (-20.000, -40.000, -30.000) to (20.000, 0.000, 10.000)"));
    EXPECT_EQ(launches("\n\n"), "\n\n");
}

// What the editor's program makes of layers, suites and callers through the
// real bundle, down to its exit status and last line. Only the 256-character
// name reaches a whole send: its name query fails, and the run goes on with an
// empty name. (HostExit_test has the sandbox's own cases.)
TEST_F(HostRun, EditorCasesThroughTheModule)
{
    struct Case
    {
        std::string arguments;
        int status;
        std::vector<std::string> shown;
        std::string last;
    };
    const std::string notA3DLayer = "opened " + s_root + "/TivApps/Photoshop/Tiv_NotA3DLayer.mvs";
    const std::string stopped = "tiv-host: the send stopped ";
    const std::vector<Case> cases = {
        // A refused suite reaches the editor as 'Parm' and stops the run.
        {"--deny-suite 'ALIAS utility suite'",
         1,
         {"refused (denied)", "not given back: 0", "nothing changed"},
         stopped + "in the plug-in: it failed with 'Parm' (0x5061726D)"},
        {"--caller 'PS Other'",
         1,
         {"suites still held: 0", "nothing changed"},
         "tiv-host: nothing sent: the plug-in did not ask for the layer's export"},
        {"--layer " + std::string(255, 'a'),
         1,
         {notA3DLayer},
         stopped + "at the export: could not write " + s_project + "/" + std::string(255, 'a') +
             ".obj: File name too long"},
        {"--layer " + std::string(256, 'b'),
         0,
         {"export3DModel silently to " + s_project + "/.obj"},
         "tiv-host: sent; the sculpting application loaded .tiv (1986 vertices, 3968 faces)"},
        // The editor writes where it is asked; the plug-in reads "b.obj" (a volume name cut off).
        {"--layer a:b", 1, {}, stopped + "after the export: no " + s_project + "/a:b.tiv was"},
    };
    for (const Case& c : cases)
    {
        CommandRun r = sandbox::tivHost("--plugin '" TIV_PLUGIN_BUNDLE "' " + c.arguments);
        EXPECT_EQ(r.status, c.status) << c.arguments << r.err;
        EXPECT_TRUE(has(r.out, "working folder unchanged: " + m_folder)) << c.arguments;
        for (const std::string& part : c.shown)
            EXPECT_TRUE(has(r.out, part)) << c.arguments << ": no " << part << "\n" << r.out;
        EXPECT_EQ(sandbox::lastLine(r.out).substr(0, c.last.size()), c.last) << c.arguments;
        if (c.arguments == "--caller 'PS Other'")
        {
            EXPECT_FALSE(has(r.out, "acquired")) << r.out;
        }
    }
    EXPECT_TRUE(std::filesystem::exists(s_project + "/a:b.obj") &&
                !std::filesystem::exists(m_folder + "/b.obj"));
}
