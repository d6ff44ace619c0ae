#pragma once

#include "BBox.h"
#include "QDArray.h"
#include "QDBoolArray.h"
#include "QDString.h"
#include "QDVector2f.h"
#include "QDVector3f.h"

// The exchanged polygon mesh. Every face owns four corner slots; a triangle
// holds -1 in its fourth vertex slot.
class QDTivMesh
{
public:
    QDArray<QDVector3f> m_vertices;
    QDArray<int> m_faceVertexIndices;
    QDArray<QDVector2f> m_cornerUVs;
    QDArray<unsigned short> m_faceGroups;
    QDBoolArray m_creaseFlags;
    QDString m_textureFileName;
    QDString m_secondMapFileName;
    QDString m_thirdMapFileName;
    float m_thirdMapFactor = 0.0f;
    // Caches, filled and emptied by const operations.
    mutable QDArray<QDVector2f> m_uniqueUVs;
    mutable QDArray<int> m_cornerUVIndices;
    mutable BBox m_bbox;

    QDTivMesh() = default;
    QDTivMesh(const QDTivMesh& other);
    QDTivMesh& operator=(const QDTivMesh& other);
    ~QDTivMesh() = default;

    int getFaceCount() const { return m_faceVertexIndices.size() / 4; }

    void clear();
    void clearCaches() const;
    const BBox& getBBox() const;

    int mergeEqualVertices();

    bool saveToTivFile(const QDString& path, bool writeTextureName) const;
    bool loadFromTivFile(const QDString& path);

    bool saveToObjFile(const QDString& path, bool writeGroups, bool writeSmoothingGroups,
                       bool writeTextureMap, bool writeSecondMap, bool writeThirdMap) const;
    bool saveMapsToXMaxFile(const QDString& path) const;

    int compareTopology(const QDTivMesh& other, QDArray<int>& cornerMap) const;
    void reorderCorners(const QDArray<int>& cornerMap);
    QDArray<QDVector2f>& getUniqueUVs() const;
    QDArray<int>& getUniqueUVIndices() const;
    int compareUVTopology(const QDTivMesh& other) const;
    void convertCreasedEdgesToSmoothingGroups(QDArray<unsigned int>& groups) const;
};
