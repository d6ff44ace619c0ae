#pragma once

#include "QDString.h"

#include <cstdio>

class QDTivMesh;

// Reads the OBJ files that the host exports (positions, texture coordinates,
// faces, the first material) and looks the material's colour map up in the
// companion MTL file.
class QDObjImport
{
public:
    // Each pass reads the file in fills of this many bytes; a smaller size is
    // only ever asked for by tests that need tokens to straddle two fills.
    static const unsigned long s_readBufferSize = 16777216;
    // The driver's material-name buffer: one byte more than the MTL reader keeps,
    // so that a name cut short here can never equal a material of the MTL file.
    static const int s_materialNameSize = 257;

    explicit QDObjImport(unsigned long readBufferSize = s_readBufferSize);

    // With weld, equal positions are merged (QDTivMesh::mergeEqualVertices) as
    // soon as the file is read, before the coordinates are copied out to the
    // corners: the mesh is the same as welding afterwards, but the unwelded
    // positions and the per-corner coordinates are never held at once.
    bool importTivMesh(const QDString& path, QDTivMesh& mesh, bool readUVs, bool weld = false);

    // Without countCorners, cornerCount stays 0 for a file whose lines are
    // counted (the import sizes nothing by it, and counting is then much
    // cheaper); header counts set it as always.
    static void quickReadStats(FILE* file, int& vertexCount, int& faceCount, int& cornerCount,
                               int& uvCount, unsigned long bufferSize = s_readBufferSize,
                               bool countCorners = true);
    static void quickReadTexture(FILE*& file, QDString& textureName, const char* materialName);

    // A 1 MiB scratch buffer kept from an earlier reader; the import does not use it.
    static char* s_fileBuffer;
    static char* s_endFileBuffer;
    static char* s_curBufferPos;
    static void myInitFileBuffer();
    static void myCloseFileBuffer();

private:
    unsigned long m_readBufferSize;
};

// The parsing pass. Fills positions, faces, the file's texture coordinates and
// their per-corner indices of the mesh from the start of each array, within the
// capacity reserved by the caller and growing it when the file holds more.
// materialName (may be null) receives the first usemtl name, cut to
// materialNameSize - 1 bytes.
void quickReadTivMesh(FILE* file, QDTivMesh& mesh, bool readUVs, char* materialName,
                      int materialNameSize,
                      unsigned long bufferSize = QDObjImport::s_readBufferSize);
