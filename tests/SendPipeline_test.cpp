#include "QDDiskServer.h"
#include "QDLogServer.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TivPSServer.h"
#include "sandbox/SandboxSupport.h"

namespace
{
typedef std::vector<std::string> Lines;
using sandbox::Runs;
using sandbox::waitForRuns;

Lines s_lines;
bool logged(const std::string& line)
{
    return std::find(s_lines.begin(), s_lines.end(), line) != s_lines.end();
}

QDTivMesh imported(const std::string& path, bool tiv = false)
{
    QDTivMesh mesh;
    EXPECT_TRUE(tiv ? mesh.loadFromTivFile(path.c_str())
                    : QDObjImport().importTivMesh(path.c_str(), mesh, true))
        << path;
    return mesh;
}

template <typename T> std::vector<float> floats(const QDArray<T>& a)
{
    const float* f = reinterpret_cast<const float*>(a.begin());
    return std::vector<float>(f, f + a.size() * sizeof(T) / sizeof(float));
}

QDArray<QDString> names(const std::vector<std::string>& list)
{
    QDArray<QDString> result;
    for (const std::string& name : list)
        result.push_back(name.c_str());
    return result;
}

// Each test gets its own exchange tree with stand-ins, and sees the log.
class SendPipeline : public testing::Test
{
protected:
    SendPipeline() : m_root(testFolder()), m_tree(m_root)
    {
        s_lines.clear();
        QDLogServer::setLineObserver([](const char* line) { s_lines.push_back(line); });
        TivPSServer::initialize();
    }
    ~SendPipeline() override { QDLogServer::setLineObserver(nullptr); }

    std::string project(const std::string& name) const { return m_tree.project + "/" + name; }

    // One quad exported as two triangles with every corner its own vertex.
    void writeLayer(const std::string& name) const
    {
        writeBytes(project(name + ".obj"), "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 0 0\nv 1 1 0\nv 0 1 0\n"
                                           "vt 0 0.25\nvt 1 0.25\nvt 1 1\nvt 0 1\nusemtl skin\n"
                                           "f 1/1 2/2 3/3\nf 4/1 5/3 6/4\n");
        writeBytes(project(name + ".mtl"), "newmtl skin\nmap_Kd skin.png\n");
    }

    std::string m_root;
    sandbox::ExchangeTree m_tree;
};
} // namespace

TEST_F(SendPipeline, WholeSendThenReturnOfTheSameLayer)
{
    const std::string layer = project("Layer");
    TivPSServer::hackBeforePhotoshopExport3DModel((layer + ".obj").c_str());
    writeLayer("Layer");
    ASSERT_TRUE(TivPSServer::goToMorvel(names({layer})));

    // Welded into ascending position order, then y and z negated; v flipped per
    // corner, and a triangle's fourth corner holds the second coordinate.
    QDTivMesh sent = imported(layer + ".tiv", true);
    EXPECT_EQ(floats(sent.m_vertices), (std::vector<float>{0, 0, 0, 0, -1, 0, 1, 0, 0, 1, -1, 0}));
    EXPECT_EQ(values(sent.m_faceVertexIndices), (std::vector<int>{0, 2, 3, -1, 0, 3, 1, -1}));
    EXPECT_EQ(floats(sent.m_cornerUVs), (std::vector<float>{0, 0.75f, 1, 0.75f, 1, 0, 1, 0.75f, 0,
                                                            0.75f, 1, 0, 0, 0, 1, 0.75f}));
    // A texture named without a folder lies in the default project folder.
    EXPECT_EQ(toStd(sent.m_textureFileName), project("skin.png"));
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt"), layer + "\n");
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_Application.txt"), "Photoshop");
    for (const std::string& line : {"TexName: '" + project("skin.png") + "'",
                                    "  ->" + layer + ".tiv", std::string(" MorvelWasRunning = 0")})
        EXPECT_TRUE(logged(line)) << line;
    EXPECT_EQ(waitForRuns(m_tree.launcherRecord, 1), (Runs{{}}));
    EXPECT_EQ(waitForRuns(m_tree.morvelRecord, 1),
              (Runs{{m_tree.photoshopFile("Tiv_LoadTextures.mvs")}}));

    // The layer comes back (its OBJ is there) with previous geometry that fits,
    // and no sculpting application is configured: the launcher starts all the same.
    m_tree.configure(false);
    TivPSServer::hackBeforePhotoshopExport3DModel((layer + ".obj").c_str());
    writeBytes(layer + ".obj.prevMV2PS.obj", sandbox::trianglesObj(2, 5));
    ASSERT_TRUE(TivPSServer::goToMorvel(names({layer})));
    sent = imported(layer + ".tiv", true);
    ASSERT_EQ(sent.m_vertices.size(), 6); // kept as it was, not welded
    EXPECT_FALSE(sent.m_vertices[1] != QDVector3f(0, -1, -5) ||
                 sent.m_vertices[5] != QDVector3f(2, -1, -5));
    for (const QDVector2f& uv : sent.m_cornerUVs)
        EXPECT_EQ(uv, QDVector2f(0.5f, 0.75f));
    EXPECT_EQ(toStd(sent.m_textureFileName), project("skin.png"));
    EXPECT_EQ(waitForRuns(m_tree.launcherRecord, 2).size(), 2u);
    EXPECT_EQ(waitForRuns(m_tree.morvelRecord).size(), 1u);
}

TEST_F(SendPipeline, ReturnBranchesKeepOrWeldTheGeometry)
{
    writeLayer("Layer");
    const std::string obj = project("Layer.obj"), previous = obj + ".prevMV2PS.obj";
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
    Lines expected = {"A Return to Morvel: try to read previous 3D geometry",
                      "---- NEW_BAD_PS_OBJ_EXPORT_HACK ----"};

    // The OBJ was not there before the export: welded, a previous file or not.
    TivPSServer::hackBeforePhotoshopExport3DModel(project("Other.obj").c_str());
    EXPECT_EQ(readBack(sandbox::trianglesObj(2, 5)).m_vertices.size(), 4);
    EXPECT_EQ(s_lines, Lines{"Not A Return to Morvel -> mergeEqualVertices()"});

    // It was there: a return, whatever the previous file holds.
    TivPSServer::hackBeforePhotoshopExport3DModel(obj.c_str());
    EXPECT_EQ(readBack("").m_vertices.size(), 4);
    EXPECT_EQ(s_lines, (Lines{expected[0], expected[1],
                              "  read previous 3D geometry FAILED : -> mergeEqualVertices"}));

    // More corners before than now: not compatible, welded.
    EXPECT_EQ(readBack(sandbox::trianglesObj(3, 5)).m_vertices.size(), 4);
    expected.insert(expected.end(), {"   check prev mesh and current mesh compatibility",
                                     "   prevMesh: 3 fac,  9 vtx", "   curMesh : 2 fac,  6 vtx",
                                     "   -> NOT compatible meshes", "   -> mergeEqualVertices()"});
    EXPECT_EQ(s_lines, expected);

    // As many corners, or fewer: the previous geometry replaces the current
    // one whole and unwelded; groups and texture name stay the mesh's own.
    QDTivMesh mesh = readBack(sandbox::trianglesObj(2, 5)), previousMesh = imported(previous);
    ASSERT_EQ(s_lines.size(), 7u);
    EXPECT_EQ(s_lines[3], "   prevMesh: 2 fac,  6 vtx");
    EXPECT_EQ(s_lines[5], "   -> compatible meshes (#quad > prev#quad : poor check)");
    EXPECT_EQ(s_lines[6], "   -> keep previous geometry (quads, vtx and uvs)");
    // (The whole send checks the positions and corner UVs it kept.)
    EXPECT_TRUE(std::equal(mesh.m_faceVertexIndices.begin(), mesh.m_faceVertexIndices.end(),
                           previousMesh.m_faceVertexIndices.begin()));
    EXPECT_TRUE(mesh.m_uniqueUVs.size() == 2 &&
                std::equal(mesh.m_cornerUVIndices.begin(), mesh.m_cornerUVIndices.end(),
                           previousMesh.m_cornerUVIndices.begin(),
                           previousMesh.m_cornerUVIndices.end()));
    EXPECT_TRUE(mesh.m_faceGroups.size() == 2 && toStd(mesh.m_textureFileName) == "skin.png");
    EXPECT_EQ(readBack(sandbox::trianglesObj(1, 7)).m_vertices[0].z(), 7.0f);
}

TEST_F(SendPipeline, FailedObjectsStopTheSendBeforeAnyLaunch)
{
    // An empty name: the exchange files are written, then the script runs.
    EXPECT_FALSE(TivPSServer::goToMorvel(names({""})));
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_Application.txt"), "Photoshop");
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt"), "\n");
    EXPECT_EQ(waitForRuns(m_tree.morvelRecord, 1),
              (Runs{{m_tree.photoshopFile("Tiv_NotA3DLayer.mvs")}}));

    // All objects are listed first; the good one is converted before the
    // missing one stops the send.
    writeLayer("Layer");
    EXPECT_FALSE(TivPSServer::goToMorvel(names({project("Layer"), project("Missing")})));
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt"),
              project("Layer") + "\n" + project("Missing") + "\n");
    EXPECT_EQ(imported(project("Layer.tiv"), true).m_vertices.size(), 4);
    EXPECT_TRUE(logged("Error on loading obj file : " + project("Missing.obj")));
    EXPECT_EQ(waitForRuns(m_tree.morvelRecord, 2).size(), 2u);
    EXPECT_FALSE(logged(". Executing TivMorvelFromApp.exe...."));
    EXPECT_TRUE(waitForRuns(m_tree.launcherRecord).empty());
}

TEST_F(SendPipeline, UnwritableMeshFileFailsSilentlyWithoutLaunch)
{
    writeLayer("Layer");
    std::filesystem::create_directories(project("Layer.tiv"));
    EXPECT_FALSE(TivPSServer::goToMorvel(names({project("Layer")})));
    EXPECT_EQ(s_lines.back(), "saveToTivFile...");
    EXPECT_TRUE(waitForRuns(m_tree.launcherRecord).empty() &&
                waitForRuns(m_tree.morvelRecord).empty());
}

TEST_F(SendPipeline, ExchangeFilesLauncherAndScriptThatFailOnlyShowInTheLog)
{
    // Folders stand where the application file and object list go, the
    // launcher is gone and so is the loading script: the mesh is still sent.
    writeLayer("Layer");
    for (const char* name : {"/Tiv_Application.txt", "/Tiv_ObjectList.txt"})
        std::filesystem::create_directories(m_root + "/TivMorvel" + name);
    std::filesystem::remove_all(m_root + "/TivMorvel/TivMorvelFromApp.app");
    std::filesystem::remove(m_tree.photoshopFile("Tiv_LoadTextures.mvs"));
    EXPECT_TRUE(TivPSServer::goToMorvel(names({project("Layer")})));
    EXPECT_EQ(imported(project("Layer.tiv"), true).m_vertices.size(), 4);
    for (const char* line : {"objectList file written!!", " MorvelWasRunning = 0", " -> FAILED!"})
        EXPECT_TRUE(logged(line)) << line;
    EXPECT_TRUE(waitForRuns(m_tree.launcherRecord).empty() &&
                waitForRuns(m_tree.morvelRecord).empty());
}

TEST_F(SendPipeline, ScriptsOpenInTheConfiguredApplicationOnly)
{
    const std::string script = m_tree.photoshopFile("Tiv_LoadTextures.mvs");
    TivPSServer::executeMvScript(script.c_str());
    EXPECT_EQ(s_lines, (Lines{". Executing MvScript:", "  -> \"" + script + "\"",
                              "  QDDiskServer::openFileInApplication(" + m_tree.morvelApp + ", \"" +
                                  script + "\")",
                              " -> OK", "  curPath = " + toStd(QDDiskServer::getCurrentPath())}));
    waitForRuns(m_tree.morvelRecord, 1);

    s_lines.clear(); // a script that cannot be opened is only logged
    TivPSServer::executeMvScript((script + ".missing").c_str());
    EXPECT_EQ(s_lines.size() > 3 ? s_lines[3] : "", " -> FAILED!");

    m_tree.configure(false); // no application: nothing is logged or run
    s_lines.clear();
    TivPSServer::executeMvScript(script.c_str());
    showNotAn3DLayerErrorMsg();
    EXPECT_TRUE(s_lines.empty());
    EXPECT_EQ(waitForRuns(m_tree.morvelRecord).size(), 1u);
}
