// Whole runs of the plug-in's code in this process, hosted by the simulated
// editor: the run driver's steps, its log lines and what it leaves on disk. The
// layers here are never 3D, so no run waits for the sculpting application.

#include "HostRunSupport.h"
#include "HostSession.h"
#include "PIUSuites.h"
#include "QDLogServer.h"
#include "TivPhotoshopPlugIn.h"

#include <memory>

namespace
{
std::vector<std::string> s_logged;
void collect(const char* line)
{
    s_logged.push_back(line);
}

std::string currentFolder()
{
    char buffer[4096];
    return getcwd(buffer, sizeof(buffer)) ? buffer : "";
}

bool contains(const std::vector<std::string>& all, const std::string& wanted)
{
    for (const std::string& line : all)
        if (line == wanted) return true;
    return false;
}
} // namespace

class PluginRun : public testing::Test
{
protected:
    void SetUp() override
    {
        layOutSandbox();
        m_folder = testFolder();
        m_savedFolder = currentFolder();
        ASSERT_EQ(chdir(m_folder.c_str()), 0);
        s_logged.clear();
        QDLogServer::setLineObserver(collect);
    }

    void TearDown() override
    {
        QDLogServer::setLineObserver(nullptr);
        if (m_host) sSPBasic = m_host->basicSuite();
        PIUSuitesRelease();
        sSPBasic = nullptr;
        m_host.reset();
        EXPECT_EQ(chdir(m_savedFolder.c_str()), 0);
    }

    SPErr run(HostDocument document, const std::string& deniedSuite = std::string())
    {
        m_host = std::make_unique<HostSession>(document);
        if (!deniedSuite.empty()) m_host->denySuite(deniedSuite);
        PIActionParameters parameters = {plugInDialogDisplay, 0, nullptr};
        PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, m_host->basicSuite()},
                                          &parameters};
        return AutoPluginMain("PS Photoshop", "Do It", &message);
    }

    static HostDocument flatLayer(const std::string& name)
    {
        HostDocument document;
        document.layerName = name;
        document.is3D = false;
        return document;
    }

    std::string m_folder, m_savedFolder;
    std::unique_ptr<HostSession> m_host;
};

TEST_F(PluginRun, FlatLayerLogsEveryStepTidiesTheProjectFolderAndShowsTheMessage)
{
    const std::string project = defaultProjectFolder();
    for (const char* name : {"old.bmp", "old.psd", "a:b.psd", "keep.obj", "keep.tiv", "keep.BMP",
                             ".hidden.bmp", "keep.bmp.txt"})
        writeBytes(project + "/" + name, "x");
    std::filesystem::create_directory(project + "/folder.bmp");

    EXPECT_EQ(run(flatLayer("Background")), kSPNoError);

    ASSERT_GE(s_logged.size(), 6u);
    const std::vector<std::string> driver = {
        "PhotoshopTivPlugin executed!", "[RELEASE]",
        " curPath = " + m_folder,       "    (newCurPath = " + project + ")",
        "Layer Name = Background",      "exporting 3D model....(.PSD)!"};
    EXPECT_EQ(std::vector<std::string>(s_logged.begin(), s_logged.begin() + 6), driver);
    EXPECT_TRUE(contains(s_logged, "Error on loading obj file : " + project + "/Background.obj"));
    EXPECT_EQ(currentFolder(), m_folder);

    // Exactly what "rm *.bmp; rm *.psd" in the project folder would remove.
    for (const char* gone : {"old.bmp", "old.psd", "a:b.psd"})
        EXPECT_FALSE(exists(project + "/" + gone)) << gone;
    for (const char* kept :
         {"keep.obj", "keep.tiv", "keep.BMP", ".hidden.bmp", "keep.bmp.txt", "folder.bmp"})
        EXPECT_TRUE(exists(project + "/" + kept)) << kept;

    ASSERT_EQ(m_host->exports().size(), 1u);
    const HostExportRequest& asked = m_host->exports()[0];
    EXPECT_EQ(asked.path, project + "/Background.obj");
    EXPECT_EQ(asked.ecmaChoice, 1);
    EXPECT_EQ(asked.formatChoice, 0);
    EXPECT_EQ(asked.playOptions, plugInDialogSilent);
    EXPECT_FALSE(asked.written);
    EXPECT_EQ(m_host->liveObjects(), 0u);

    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_ObjectList.txt"), project + "/Background\n");
    ASSERT_TRUE(waitForFile(morvelSummary()));
    EXPECT_EQ(readBytes(morvelArguments()), scriptFolder() + "/Tiv_NotA3DLayer.mvs\n");
    EXPECT_NE(readBytes(morvelSummary()).find("shows: The current layer is not a 3D layer"),
              std::string::npos);
}

TEST_F(PluginRun, ProjectFolderThatCannotBeEnteredRemovesNothing)
{
    // Removing after a failed change of folder would hit the working folder.
    std::filesystem::remove_all(defaultProjectFolder());
    writeBytes(m_folder + "/mine.bmp", "x");
    writeBytes(m_folder + "/mine.psd", "x");

    EXPECT_EQ(run(flatLayer("Background")), kSPNoError);

    EXPECT_TRUE(exists(m_folder + "/mine.bmp"));
    EXPECT_TRUE(exists(m_folder + "/mine.psd"));
    ASSERT_GE(s_logged.size(), 4u);
    EXPECT_EQ(s_logged[3], "    (newCurPath = " + m_folder + ")");
    EXPECT_EQ(currentFolder(), m_folder);
    ASSERT_TRUE(waitForFile(morvelSummary()));
}

TEST_F(PluginRun, RefusedSuiteReachesTheHostAsParmAndStopsTheRun)
{
    HostDocument sphere;
    sphere.model = makeDefaultModel();
    EXPECT_EQ(run(sphere, kPSAliasSuite), kSPBadParameterError);

    EXPECT_EQ(m_host->acquisitions().at(kPSAliasSuite), 1);
    EXPECT_TRUE(m_host->exports().empty());
    EXPECT_EQ(m_host->liveObjects(), 0u);
    EXPECT_FALSE(exists(defaultProjectFolder() + "/Sphere.obj"));
    EXPECT_FALSE(exists(morvelFolder() + "/Tiv_ObjectList.txt"));
    EXPECT_EQ(s_logged.back(), "exporting 3D model....(.PSD)!");
    EXPECT_EQ(currentFolder(), m_folder);
}

TEST_F(PluginRun, FailedNameQueryGoesOnWithAnEmptyName)
{
    HostDocument noLayer;
    noLayer.hasLayer = false;
    EXPECT_EQ(run(noLayer), kSPNoError);

    EXPECT_TRUE(contains(s_logged, "Layer Name = "));
    ASSERT_EQ(m_host->exports().size(), 1u);
    EXPECT_EQ(m_host->exports()[0].path, defaultProjectFolder() + "/.obj");
    EXPECT_EQ(readBytes(morvelFolder() + "/Tiv_ObjectList.txt"), defaultProjectFolder() + "/\n");
    ASSERT_TRUE(waitForFile(morvelSummary()));
}
