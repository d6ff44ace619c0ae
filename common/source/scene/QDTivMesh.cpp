#include "QDTivMesh.h"

// The box is a cache of the source's vertices: a copy starts with an empty box
// and recomputes it on first use.
QDTivMesh::QDTivMesh(const QDTivMesh& other)
    : m_vertices(other.m_vertices), m_faceVertexIndices(other.m_faceVertexIndices),
      m_cornerUVs(other.m_cornerUVs), m_faceGroups(other.m_faceGroups),
      m_creaseFlags(other.m_creaseFlags), m_textureFileName(other.m_textureFileName),
      m_secondMapFileName(other.m_secondMapFileName),
      m_thirdMapFileName(other.m_thirdMapFileName), m_thirdMapFactor(other.m_thirdMapFactor),
      m_uniqueUVs(other.m_uniqueUVs), m_cornerUVIndices(other.m_cornerUVIndices)
{
}

// Leaves this mesh's own box in place: callers that assign over a mesh whose box
// was computed call clearCaches() before relying on getBBox().
QDTivMesh& QDTivMesh::operator=(const QDTivMesh& other)
{
    m_vertices = other.m_vertices;
    m_faceVertexIndices = other.m_faceVertexIndices;
    m_cornerUVs = other.m_cornerUVs;
    m_faceGroups = other.m_faceGroups;
    m_creaseFlags = other.m_creaseFlags;
    m_uniqueUVs = other.m_uniqueUVs;
    m_cornerUVIndices = other.m_cornerUVIndices;
    m_textureFileName = other.m_textureFileName;
    m_secondMapFileName = other.m_secondMapFileName;
    m_thirdMapFileName = other.m_thirdMapFileName;
    m_thirdMapFactor = other.m_thirdMapFactor;
    return *this;
}

// m_thirdMapFactor survives: it belongs to the last third map read.
void QDTivMesh::clear()
{
    m_vertices.destroy();
    m_faceVertexIndices.destroy();
    m_cornerUVs.destroy();
    m_faceGroups.destroy();
    m_creaseFlags.freeData();
    m_textureFileName.clear();
    m_secondMapFileName.clear();
    m_thirdMapFileName.clear();
    clearCaches();
}

void QDTivMesh::clearCaches() const
{
    m_uniqueUVs.destroy();
    m_cornerUVIndices.destroy();
    m_bbox.clear();
}

const BBox& QDTivMesh::getBBox() const
{
    if (!m_bbox.isInitialized())
        m_bbox.add(m_vertices);
    return m_bbox;
}
