#include "ExchangeFolderSupport.h"
#include "QDDiskServer.h"
#include "QDLogServer.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TestSupport.h"
#include "TivPSServer.h"
#include "sandbox/SandboxSupport.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace
{
typedef std::vector<std::string> Lines;
typedef std::vector<std::vector<std::string>> Runs;

Lines s_lines;
void keepLine(const char* line)
{
    s_lines.push_back(line);
}
bool logged(const std::string& line)
{
    return std::find(s_lines.begin(), s_lines.end(), line) != s_lines.end();
}

QDTivMesh imported(const std::string& obj)
{
    QDTivMesh mesh;
    EXPECT_TRUE(QDObjImport().importTivMesh(obj.c_str(), mesh, true)) << obj;
    return mesh;
}

QDArray<QDString> names(std::initializer_list<std::string> list)
{
    QDArray<QDString> result;
    for (const std::string& name : list)
        result.push_back(QDString(name.c_str()));
    return result;
}

// Each test gets its own exchange tree with stand-ins, and sees the log.
class SendPipeline : public testing::Test
{
protected:
    SendPipeline() : m_root(testFolder()), m_exchange(m_root), m_tree(m_root)
    {
        m_tree.create();
        s_lines.clear();
        QDLogServer::setLineObserver(keepLine);
        TivPSServer::initialize();
    }
    ~SendPipeline() override { QDLogServer::setLineObserver(nullptr); }

    std::string project(const std::string& name) const
    {
        return m_tree.defaultProject + "/" + name;
    }

    // One quad exported as two triangles with every corner its own vertex.
    void writeLayer(const std::string& name) const
    {
        writeBytes(project(name + ".obj"), "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 0 0\nv 1 1 0\nv 0 1 0\n"
                                           "vt 0 0.25\nvt 1 0.25\nvt 1 1\nvt 0 1\nusemtl skin\n"
                                           "f 1/1 2/2 3/3\nf 4/1 5/3 6/4\n");
        writeBytes(project(name + ".mtl"), "newmtl skin\nmap_Kd skin.png\n");
    }

    std::string m_root;
    ExchangeFolderOverride m_exchange;
    sandbox::ExchangeTree m_tree;
};
} // namespace

TEST(SendPipelineFlips, NegateYAndZAndMirrorV)
{
    QDArray<QDVector3f> positions(1, QDVector3f(1.0f, 2.0f, -3.0f));
    doFlipAndSwitch_PhotoshopToMorvel(positions);
    EXPECT_TRUE(positions[0].x() == 1.0f && positions[0].y() == -2.0f && positions[0].z() == 3.0f);

    QDArray<QDVector2f> uvs(1, QDVector2f(0.3f, 0.25f));
    uvs.push_back(QDVector2f(2.0f, 0.1f));
    doFlipV_PhotoshopToMorvel(uvs);
    EXPECT_EQ(uvs[0], QDVector2f(0.3f, 0.75f));
    EXPECT_EQ(uvs[1], QDVector2f(2.0f, 1.0f - 0.1f)); // single precision
}

TEST_F(SendPipeline, ReturnBranchesKeepOrWeldTheGeometry)
{
    writeLayer("Layer");
    const std::string obj = project("Layer.obj");
    const std::string previous = obj + ".prevMV2PS.obj";
    const Lines returnLines = {"A Return to Morvel: try to read previous 3D geometry",
                               "---- NEW_BAD_PS_OBJ_EXPORT_HACK ----"};
    auto readBack = [&](const std::string& previousObj)
    {
        if (previousObj.empty())
            std::filesystem::remove(previous);
        else
            writeBytes(previous, previousObj);
        QDTivMesh mesh = imported(obj);
        mesh.m_faceGroups = QDArray<unsigned short>(2, 9);
        s_lines.clear();
        TivPSServer::hackAfterExported3DModelRead(obj.c_str(), mesh);
        return mesh;
    };

    // The OBJ was not there before the export: welded, a previous file or not.
    TivPSServer::hackBeforePhotoshopExport3DModel(project("Other.obj").c_str());
    EXPECT_EQ(readBack(sandbox::trianglesObj(2, 5)).m_vertices.size(), 4);
    EXPECT_EQ(s_lines, Lines{"Not A Return to Morvel -> mergeEqualVertices()"});

    // It was there: a return, whatever the previous file holds.
    TivPSServer::hackBeforePhotoshopExport3DModel(obj.c_str());
    EXPECT_EQ(readBack("").m_vertices.size(), 4);
    Lines expected = returnLines;
    expected.push_back("  read previous 3D geometry FAILED : -> mergeEqualVertices");
    EXPECT_EQ(s_lines, expected);

    // More corners before than now: not compatible, welded.
    EXPECT_EQ(readBack(sandbox::trianglesObj(3, 5)).m_vertices.size(), 4);
    expected = returnLines;
    expected.insert(expected.end(), {"   check prev mesh and current mesh compatibility",
                                     "   prevMesh: 3 fac,  9 vtx", "   curMesh : 2 fac,  6 vtx",
                                     "   -> NOT compatible meshes", "   -> mergeEqualVertices()"});
    EXPECT_EQ(s_lines, expected);

    // As many corners, or fewer: the previous geometry replaces the current
    // one whole and unwelded; groups and texture name stay the mesh's own.
    writeBytes(previous, sandbox::trianglesObj(2, 5));
    QDTivMesh previousMesh = imported(previous);
    QDTivMesh mesh = readBack(sandbox::trianglesObj(2, 5));
    ASSERT_EQ(s_lines.size(), 7u);
    EXPECT_EQ(s_lines[3], "   prevMesh: 2 fac,  6 vtx");
    EXPECT_EQ(s_lines[5], "   -> compatible meshes (#quad > prev#quad : poor check)");
    EXPECT_EQ(s_lines[6], "   -> keep previous geometry (quads, vtx and uvs)");
    ASSERT_EQ(mesh.m_vertices.size(), 6);
    EXPECT_TRUE(std::all_of(mesh.m_vertices.begin(), mesh.m_vertices.end(),
                            [](const QDVector3f& p) { return p.z() == 5.0f; }));
    EXPECT_TRUE(std::equal(mesh.m_faceVertexIndices.begin(), mesh.m_faceVertexIndices.end(),
                           previousMesh.m_faceVertexIndices.begin()));
    EXPECT_TRUE(std::equal(mesh.m_cornerUVs.begin(), mesh.m_cornerUVs.end(),
                           previousMesh.m_cornerUVs.begin()));
    EXPECT_EQ(mesh.m_uniqueUVs.size() + mesh.m_cornerUVIndices.size(),
              previousMesh.m_uniqueUVs.size() + previousMesh.m_cornerUVIndices.size());
    EXPECT_EQ(mesh.m_faceGroups.size(), 2);
    EXPECT_STREQ(mesh.m_textureFileName.c_str(), "skin.png");
    EXPECT_EQ(readBack(sandbox::trianglesObj(1, 7)).m_vertices[0].z(), 7.0f);
}

TEST_F(SendPipeline, FailedObjectsStopTheSendBeforeAnyLaunch)
{
    const std::string notA3DLayer = m_tree.photoshopScript("Tiv_NotA3DLayer.mvs");

    // An empty name: the exchange files are written, then the script runs.
    EXPECT_FALSE(TivPSServer::goToMorvel(names({""})));
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_Application.txt"), "Photoshop");
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt"), "\n");
    EXPECT_EQ(sandbox::waitForRuns(m_tree.morvelRecord, 1), (Runs{{notA3DLayer}}));

    // No readable OBJ: the same script, and the failure logged.
    EXPECT_FALSE(TivPSServer::goToMorvel(names({project("Missing")})));
    EXPECT_TRUE(logged("Error on loading obj file : " + project("Missing.obj")));
    EXPECT_EQ(sandbox::waitForRuns(m_tree.morvelRecord, 2).size(), 2u);

    // All objects are listed first; the good one is converted before the
    // missing one stops the send.
    writeLayer("Layer");
    EXPECT_FALSE(TivPSServer::goToMorvel(names({project("Layer"), project("Missing")})));
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt"),
              project("Layer") + "\n" + project("Missing") + "\n");
    EXPECT_TRUE(logged("  ->" + project("Layer.tiv")));
    EXPECT_EQ(sandbox::readTivBlocks(project("Layer.tiv"))[10001].count, 4u);
    EXPECT_EQ(sandbox::waitForRuns(m_tree.morvelRecord, 3).size(), 3u);
    EXPECT_FALSE(logged(". Executing TivMorvelFromApp.exe...."));
    EXPECT_TRUE(sandbox::readRuns(m_tree.launcherRecord).empty());
}

TEST_F(SendPipeline, UnwritableMeshFileFailsSilentlyWithoutLaunch)
{
    // The .tiv path is a folder, or a full disk with more data than any
    // stream buffer holds.
    writeLayer("Layer");
    std::filesystem::create_directories(project("Layer.tiv"));
    writeBytes(project("Big.obj"), sandbox::trianglesObj(4000, 1));
    std::filesystem::create_symlink("/dev/full", project("Big.tiv"));
    for (const char* name : {"Layer", "Big"})
    {
        s_lines.clear();
        EXPECT_FALSE(TivPSServer::goToMorvel(names({project(name)}))) << name;
        EXPECT_EQ(s_lines.empty() ? "" : s_lines.back(), "saveToTivFile...") << name;
    }
    EXPECT_TRUE(sandbox::readRuns(m_tree.launcherRecord).empty());
    EXPECT_TRUE(sandbox::readRuns(m_tree.morvelRecord).empty());
}

TEST_F(SendPipeline, ScriptsOpenInTheConfiguredApplicationOnly)
{
    const std::string script = m_tree.photoshopScript("Tiv_LoadTextures.mvs");
    TivPSServer::executeMvScript(script.c_str());
    EXPECT_EQ(s_lines, (Lines{". Executing MvScript:", "  -> \"" + script + "\"",
                              "  QDDiskServer::openFileInApplication(" + m_tree.morvelApp + ", \"" +
                                  script + "\")",
                              " -> OK", "  curPath = " + toStd(QDDiskServer::getCurrentPath())}));
    EXPECT_EQ(sandbox::waitForRuns(m_tree.morvelRecord, 1), (Runs{{script}}));

    s_lines.clear(); // a script that cannot be opened is only logged
    TivPSServer::executeMvScript((script + ".missing").c_str());
    EXPECT_EQ(s_lines.size() > 3 ? s_lines[3] : "", " -> FAILED!");

    m_tree.configure(false); // no application: nothing is logged or run
    s_lines.clear();
    TivPSServer::executeMvScript(script.c_str());
    showNotAn3DLayerErrorMsg();
    EXPECT_TRUE(s_lines.empty());
    EXPECT_EQ(sandbox::readRuns(m_tree.morvelRecord).size(), 1u);
}
