#include "TivPSServer.h"

#include "QDDiskServer.h"
#include "QDLogServer.h"
#include "QDObjImport.h"
#include "QDTimeService.h"
#include "QDTiv.h"
#include "QDTivMesh.h"

#include <utility>

// True when the layer's OBJ was already there before the host exported it:
// the layer then came from the sculpting application earlier.
static bool s_isAMorvelReturn = false;

namespace
{
// Paths go into log lines as arguments, never as formats: a '%' in a layer
// name must not be read as a conversion.
inline const char* text(const QDString& s)
{
    return s.isNull() ? "" : s.c_str();
}

const char* const s_previousGeometrySuffix = ".prevMV2PS.obj";
const unsigned int s_launcherStartMs = 2000;

QDString photoshopScript(const char* name)
{
    return QDTiv::getAppFolder("Photoshop") + name;
}

void logMeshSize(const char* format, const QDTivMesh& mesh)
{
    QDLogServer::printLine(format, mesh.m_faceVertexIndices.size() / 4, mesh.m_vertices.size());
}

// One object of the send: OBJ in, .tiv out. False stops the send.
bool convertObject(const QDString& name)
{
    if (name.empty())
    {
        showNotAn3DLayerErrorMsg();
        return false;
    }
    QDString tivFile = name + ".tiv";
    QDString objFile = name + ".obj";

    QDTivMesh mesh;
    QDObjImport importer;
    if (!importer.importTivMesh(objFile, mesh, true))
    {
        QDLogServer::printLine("Error on loading obj file : %s", text(objFile));
        showNotAn3DLayerErrorMsg();
        return false;
    }
    QDLogServer::printLine("TexName: '%s'", text(mesh.m_textureFileName));
    TivPSServer::hackAfterExported3DModelRead(objFile, mesh);

    // The host names textures relative to the exported OBJ.
    QDString textureFolder;
    QDDiskServer::extractPathFromFilename(textureFolder, mesh.m_textureFileName);
    if (textureFolder.empty())
        mesh.m_textureFileName = QDTiv::getDefaultProjectFile(mesh.m_textureFileName);
    QDLogServer::printLine("TexName: '%s'", text(mesh.m_textureFileName));

    QDLogServer::printLine("doFlipAndSwitch...");
    doFlipAndSwitch_PhotoshopToMorvel(mesh.m_vertices);
    doFlipV_PhotoshopToMorvel(mesh.m_cornerUVs);
    doFlipV_PhotoshopToMorvel(mesh.m_uniqueUVs);

    QDLogServer::printLine("saveToTivFile...");
    if (!mesh.saveToTivFile(tivFile, true)) return false;
    QDLogServer::printLine("Tiv file saved!!");
    QDLogServer::printLine("  ->%s", text(tivFile));
    return true;
}
} // namespace

void TivPSServer::hackBeforePhotoshopExport3DModel(QDString objPath)
{
    // The OBJ itself is tested, not the previous geometry beside it: only a
    // layer that went through the sculpting application has an OBJ before the
    // host exports it.
    s_isAMorvelReturn = QDDiskServer::fileExists(objPath);
}

bool TivPSServer::goToMorvel(const QDArray<QDString>& objectNames)
{
    QDDiskServer::writeFileFromString(QDTiv::getApplicationFile(), "Photoshop");

    QDString objectList;
    for (const QDString& name : objectNames)
        objectList += name + "\n";
    QDDiskServer::writeFileFromString(s_objectListFile, objectList);
    QDLogServer::printLine("objectList file written!!");
    QDLogServer::printLine("  ->%s", text(s_objectListFile));

    for (const QDString& name : objectNames)
        if (!convertObject(name)) return false;

    QDLogServer::printLine(". Executing TivMorvelFromApp.exe....");
    ProcessSerialNumber psn = {0, 0};
    bool wasRunning = QDDiskServer::getRunningProcess(QDTiv::getMorvelPath(), psn);
    QDLogServer::printLine(" MorvelWasRunning = %d", wasRunning ? 1 : 0);
    // The insert-mesh script is named but the loading script is the one run.
    // Both are made before the launch: once the launcher runs, as little as
    // possible should be left that could fail for want of memory.
    QDString script = photoshopScript("/Tiv_InsertMeshIfMorvelLaunch.mvs");
    script = photoshopScript("/Tiv_LoadTextures.mvs");

    // The launcher brings the sculpting application up whether or not it runs.
    QDDiskServer::launchApplication(QDTiv::getMorvelFile("TivMorvelFromApp.app"), "");
    QDTimeService::sleep(s_launcherStartMs);
    executeMvScript(std::move(script));
    return true;
}

void TivPSServer::hackAfterExported3DModelRead(QDString objPath, QDTivMesh& mesh)
{
    if (!s_isAMorvelReturn)
    {
        QDLogServer::printLine("Not A Return to Morvel -> mergeEqualVertices()");
        mesh.mergeEqualVertices();
        return;
    }
    QDLogServer::printLine("A Return to Morvel: try to read previous 3D geometry");
    QDLogServer::printLine("---- NEW_BAD_PS_OBJ_EXPORT_HACK ----");

    QDTivMesh previous;
    QDObjImport importer;
    if (!importer.importTivMesh(objPath + s_previousGeometrySuffix, previous, true))
    {
        QDLogServer::printLine("  read previous 3D geometry FAILED : -> mergeEqualVertices");
        mesh.mergeEqualVertices();
        return;
    }
    QDLogServer::printLine("   check prev mesh and current mesh compatibility");
    logMeshSize("   prevMesh: %d fac,  %d vtx", previous);
    logMeshSize("   curMesh : %d fac,  %d vtx", mesh);

    // Only the corner counts are compared; equal counts pass.
    if (mesh.m_faceVertexIndices.size() < previous.m_faceVertexIndices.size())
    {
        QDLogServer::printLine("   -> NOT compatible meshes");
        QDLogServer::printLine("   -> mergeEqualVertices()");
        mesh.mergeEqualVertices();
        return;
    }
    QDLogServer::printLine("   -> compatible meshes (#quad > prev#quad : poor check)");
    QDLogServer::printLine("   -> keep previous geometry (quads, vtx and uvs)");
    mesh.m_vertices.swap(previous.m_vertices);
    mesh.m_faceVertexIndices.swap(previous.m_faceVertexIndices);
    mesh.m_cornerUVs.swap(previous.m_cornerUVs);
    mesh.m_cornerUVIndices.swap(previous.m_cornerUVIndices);
    mesh.m_uniqueUVs.swap(previous.m_uniqueUVs);
}

void doFlipAndSwitch_PhotoshopToMorvel(QDArray<QDVector3f>& positions)
{
    for (QDVector3f& p : positions)
    {
        p.y() = -p.y();
        p.z() = -p.z();
    }
}

void doFlipV_PhotoshopToMorvel(QDArray<QDVector2f>& uvs)
{
    for (QDVector2f& uv : uvs)
        uv.y() = 1.0f - uv.y();
}

void showNotAn3DLayerErrorMsg()
{
    TivPSServer::executeMvScript(photoshopScript("/Tiv_NotA3DLayer.mvs"));
}
