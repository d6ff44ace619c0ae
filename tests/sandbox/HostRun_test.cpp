// Whole runs through the simulated editor and the real plug-in module, down to
// the stand-in sculpting application reading back what was sent. A run of a 3D
// layer waits two seconds in the plug-in, so few runs here are whole sends.

#include "HostModel.h"
#include "HostRunSupport.h"

namespace
{
bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// The editor prints the sculpting application's report last.
std::string lastLine(const std::string& output)
{
    std::vector<std::string> all = lines(output);
    return all.empty() ? std::string() : all.back();
}

void writeScaledPreviousGeometry(const std::string& objPath, float scale)
{
    HostModel model = makeDefaultModel();
    for (auto& p : model.positions)
        for (float& c : p)
            c *= scale;
    HostExport written;
    std::string error;
    ASSERT_TRUE(exportModel(model, objPath, written, error)) << error;
}
} // namespace

class HostRun : public testing::Test
{
protected:
    void SetUp() override
    {
        layOutSandbox();
        m_folder = testFolder();
    }
    ProcessResult host(const std::vector<std::string>& arguments)
    {
        ProcessResult r = runHost(arguments, m_folder);
        EXPECT_TRUE(has(r.output, "working folder unchanged: " + m_folder)) << r.output;
        EXPECT_TRUE(has(r.output, "suites still held: 0; descriptors, references and handles "
                                  "not given back: 0"))
            << r.output;
        return r;
    }
    std::string m_folder;
};

TEST_F(HostRun, FirstSendThenReturnOfTheSameLayer)
{
    const std::string project = defaultProjectFolder();
    ProcessResult first = host({});
    ASSERT_EQ(first.exitCode, 0) << first.output;
    // Welded, y and z negated (the sphere spans y 0..20, z -5..15 in the editor).
    EXPECT_TRUE(has(first.output, "Sphere.tiv: 1986 vertices, 3968 faces (3968 triangles, 0 "
                                  "quads), 15872 corner UVs"))
        << first.output;
    EXPECT_TRUE(has(first.output, "texture: " + project + "/Sphere_diffuse.bmp (found)"));
    EXPECT_EQ(lastLine(first.output),
              "    bounding box: (-10.000, -20.000, -15.000) to (10.000, 0.000, 5.000)");
    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_ObjectList.txt"), project + "/Sphere\n");
    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_Application.txt"), "Photoshop");
    EXPECT_EQ(waitForContent(launcherArguments(), "\n"), "\n");
    EXPECT_EQ(readBytes(morvelArguments()), scriptFolder() + "/Tiv_LoadTextures.mvs\n");

    // The OBJ of the first send is in place now: the layer counts as a return,
    // and a previous geometry with as many faces replaces the re-export whole
    // (unwelded, as it was read), and is flipped all the same.
    writeScaledPreviousGeometry(project + "/Sphere.obj.prevMV2PS.obj", 2.0f);
    ProcessResult second = host({});
    ASSERT_EQ(second.exitCode, 0) << second.output;
    EXPECT_TRUE(has(second.output, "Sphere.tiv: 11904 vertices, 3968 faces")) << second.output;
    EXPECT_EQ(lastLine(second.output),
              "    bounding box: (-20.000, -40.000, -30.000) to (20.000, 0.000, 10.000)");
    EXPECT_EQ(waitForContent(launcherArguments(), "\n\n"), "\n\n");
}

TEST_F(HostRun, FlatLayerShowsTheMessageAndTidiesTheProjectFolder)
{
    const std::string project = defaultProjectFolder();
    for (const char* name : {"stale.bmp", "stale.psd", "keep.obj", "keep.tiv"})
        writeBytes(project + "/" + name, "x");

    ProcessResult r = host({"--layer", "Background", "--not-3d"});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_TRUE(has(r.output, "layer \"Background\" is not a 3D layer, nothing written"));
    EXPECT_TRUE(has(r.output, "removed  TivProjects/Default/stale.bmp"));
    EXPECT_TRUE(has(r.output, "removed  TivProjects/Default/stale.psd"));
    EXPECT_TRUE(exists(project + "/keep.obj") && exists(project + "/keep.tiv"));
    EXPECT_FALSE(exists(project + "/Background.tiv"));
    EXPECT_EQ(lastLine(r.output), "  shows: The current layer is not a 3D layer: select a 3D "
                                  "layer and send it again.");
    EXPECT_EQ(readBytes(morvelArguments()), scriptFolder() + "/Tiv_NotA3DLayer.mvs\n");
    EXPECT_FALSE(exists(launcherArguments()));
}

TEST_F(HostRun, RefusedSuiteFailsTheRunWithParm)
{
    ProcessResult r = host({"--deny-suite", "Photoshop Alias Utility Suite"});
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_TRUE(has(r.output, "The plug-in failed with 'Parm' (0x5061726D)")) << r.output;
    EXPECT_TRUE(has(r.output, "refused (denied)"));
    EXPECT_FALSE(exists(defaultProjectFolder() + "/Sphere.obj"));
    EXPECT_FALSE(exists(morvelFolder() + "/Tiv_ObjectList.txt"));
    EXPECT_FALSE(exists(morvelArguments()));
}

TEST_F(HostRun, OtherCallerIsIgnoredAndTouchesNothing)
{
    writeBytes(defaultProjectFolder() + "/stale.bmp", "x");
    ProcessResult r = host({"--caller", "Adobe Illustrator"});
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_TRUE(has(r.output, "(the plug-in asked nothing of the editor)")) << r.output;
    EXPECT_TRUE(has(r.output, "nothing changed"));
    EXPECT_TRUE(exists(defaultProjectFolder() + "/stale.bmp"));
    EXPECT_FALSE(has(r.output, "acquired"));
}

TEST_F(HostRun, LayerNamesAtTheLimitAndWithASlash)
{
    const std::string project = defaultProjectFolder();

    // 256 characters do not fit: the run goes on with an empty name and sends
    // "<project folder>/.tiv".
    ProcessResult tooLong = host({"--layer", std::string(256, 'n')});
    ASSERT_EQ(tooLong.exitCode, 0) << tooLong.output;
    EXPECT_TRUE(has(tooLong.output, "to " + project + "/.obj: wrote 3968 triangles"));
    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_ObjectList.txt"), project + "/\n");
    EXPECT_TRUE(has(tooLong.output, ".tiv: 1986 vertices")) << tooLong.output;

    // 255 characters arrive whole; the file system then refuses the file name.
    std::string longest(255, 'm');
    ProcessResult full = host({"--layer", longest});
    ASSERT_EQ(full.exitCode, 0) << full.output;
    EXPECT_TRUE(has(full.output, "to " + project + "/" + longest + ".obj: could not write"));
    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_ObjectList.txt"), project + "/" + longest + "\n");
    EXPECT_TRUE(has(lastLine(full.output), "shows: The current layer is not a 3D layer"));

    // A slash is joined as it stands: the files would lie in a subfolder.
    ProcessResult slash = host({"--layer", "Props/Cup"});
    ASSERT_EQ(slash.exitCode, 0) << slash.output;
    EXPECT_TRUE(has(slash.output, "to " + project + "/Props/Cup.obj: could not write"));
    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_ObjectList.txt"), project + "/Props/Cup\n");
}
