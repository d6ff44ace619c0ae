#include "QDObjImport.h"

#include "QDDiskServer.h"
#include "QDTivMesh.h"

#include <cstring>

namespace
{
// Upper bounds of what a file of the given size can hold, so that header
// comments claiming more never size an array beyond the file's means. The
// shortest lines are "v1 2 3" (7 bytes with its line end per position),
// "vt1 2" (6 per coordinate) and "f 1 2 3" (8 per face); the parser grows an
// array if a file still holds more.
int capByFileSize(int count, long fileSize, long bytesPerItem)
{
    long most = (fileSize > 0 ? fileSize : 0) / bytesPerItem + 1;
    return count < most ? count : int(most);
}

// Keeps four slots per face within the int sizes of the arrays.
const int s_maxFaces = 0x1fffffff;
} // namespace

QDObjImport::QDObjImport(unsigned long readBufferSize) : m_readBufferSize(readBufferSize) {}

bool QDObjImport::importTivMesh(const QDString& path, QDTivMesh& mesh, bool readUVs)
{
    FILE* file = QDDiskServer::fileOpen(path, "r");
    if (file == QDDiskServer::s_invalidFile) return false;

    long fileSize = QDDiskServer::fileSize(file);
    int vertexCount = 0, faceCount = 0, cornerCount = 0, uvCount = 0;
    quickReadStats(file, vertexCount, faceCount, cornerCount, uvCount, m_readBufferSize);
    QDDiskServer::fileSeek(file, 0, 0);

    // Four slots per face is exact for triangles and quads; polygons of five or
    // more corners make the parser grow the slot arrays.
    faceCount = capByFileSize(faceCount, fileSize, 8);
    if (faceCount > s_maxFaces) faceCount = s_maxFaces;
    mesh.m_vertices.reinit(capByFileSize(vertexCount, fileSize, 7));
    mesh.m_faceVertexIndices.reinit(faceCount * 4, 0);
    if (readUVs)
    {
        mesh.m_cornerUVIndices.reinit(faceCount * 4, 0);
        mesh.m_uniqueUVs.reinit(capByFileSize(uvCount, fileSize, 6));
    }
    mesh.m_bbox.clear();

    char materialName[s_materialNameSize];
    quickReadTivMesh(file, mesh, readUVs, materialName, s_materialNameSize, m_readBufferSize);
    QDDiskServer::fileClose(file);

    if (materialName[0] != 0 && path.endsWith(".obj", true))
    {
        QDString mtlPath(path);
        memcpy(mtlPath.c_str() + mtlPath.length() - 3, "mtl", 3);
        FILE* mtl = QDDiskServer::fileOpen(mtlPath, "rb");
        if (mtl != QDDiskServer::s_invalidFile)
        {
            QDString textureName;
            quickReadTexture(mtl, textureName, materialName);
            mesh.m_textureFileName = textureName;
            QDDiskServer::fileClose(mtl);
        }
    }

    // Texture indices come straight from the file: one outside the coordinates
    // leaves its corner at (0, 0).
    const int corners = mesh.m_cornerUVIndices.size();
    const int uvs = mesh.m_uniqueUVs.size();
    mesh.m_cornerUVs.reinit(corners);
    for (int i = 0; i < corners; ++i)
    {
        int index = mesh.m_cornerUVIndices[i];
        if (index != -1 && index >= 0 && index < uvs) mesh.m_cornerUVs[i] = mesh.m_uniqueUVs[index];
    }
    return true;
}
