#include "QDObjImport.h"

#include "QDDiskServer.h"
#include "QDObjByteReader.h"
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

template <typename T> void reserveFilled(QDArray<T>& array, int count)
{
    array.destroy();
    array.reserve(count);
    qdAdviseHugePages(array.begin(), sizeof(T) * std::size_t(array.capacity()));
}

// Keeps four slots per face within the int sizes of the arrays.
const int s_maxFaces = 0x1fffffff;
} // namespace

QDObjImport::QDObjImport(unsigned long readBufferSize) : m_readBufferSize(readBufferSize) {}

bool QDObjImport::importTivMesh(const QDString& path, QDTivMesh& mesh, bool readUVs, bool weld)
{
    QDDiskServer::ScopedFile opened(QDDiskServer::fileOpen(path, "r"));
    if (!opened.isOpen()) return false;
    FILE* file = opened.get();

    long fileSize = QDDiskServer::fileSize(file);
    int vertexCount = 0, faceCount = 0, cornerCount = 0, uvCount = 0;
    quickReadStats(file, vertexCount, faceCount, cornerCount, uvCount, m_readBufferSize, false);
    QDDiskServer::fileSeek(file, 0, 0);

    // Four slots per face is exact for triangles and quads; polygons of five or
    // more corners make the parser grow the slot arrays, which copies them.
    // Files without header counts (their corners stay uncounted, cornerCount 0)
    // come from programs that write such polygons, so they get room for a
    // pentagon's three triangles in every other face: capacity that is never
    // written holds no memory.
    faceCount = capByFileSize(faceCount, fileSize, 8);
    if (faceCount > s_maxFaces) faceCount = s_maxFaces;
    const long long slots = (cornerCount == 0 ? 6LL : 4LL) * faceCount;
    const int slotCount = int(slots < 4LL * s_maxFaces ? slots : 4LL * s_maxFaces);
    reserveFilled(mesh.m_vertices, capByFileSize(vertexCount, fileSize, 7));
    reserveFilled(mesh.m_faceVertexIndices, slotCount);
    if (readUVs)
    {
        reserveFilled(mesh.m_cornerUVIndices, slotCount);
        reserveFilled(mesh.m_uniqueUVs, capByFileSize(uvCount, fileSize, 6));
    }
    mesh.m_bbox.clear();

    char materialName[s_materialNameSize];
    quickReadTivMesh(file, mesh, readUVs, materialName, s_materialNameSize, m_readBufferSize);
    opened.close();

    if (materialName[0] != 0 && path.endsWith(".obj", true))
    {
        QDString mtlPath(path);
        memcpy(mtlPath.c_str() + mtlPath.length() - 3, "mtl", 3);
        QDDiskServer::ScopedFile mtl(QDDiskServer::fileOpen(mtlPath, "rb"));
        if (mtl.isOpen())
        {
            QDString textureName;
            FILE* stream = mtl.get();
            quickReadTexture(stream, textureName, materialName);
            mesh.m_textureFileName = textureName;
        }
    }

    if (weld) mesh.mergeEqualVertices();

    // Texture indices come straight from the file: one outside the coordinates
    // leaves its corner at (0, 0).
    const int corners = mesh.m_cornerUVIndices.size();
    const int uvs = mesh.m_uniqueUVs.size();
    reserveFilled(mesh.m_cornerUVs, corners);
    for (int i = 0; i < corners; ++i)
    {
        int index = mesh.m_cornerUVIndices[i];
        mesh.m_cornerUVs.push_back(index >= 0 && index < uvs ? mesh.m_uniqueUVs[index]
                                                             : QDVector2f());
    }
    return true;
}
