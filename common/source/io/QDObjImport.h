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
    bool importTivMesh(const QDString& path, QDTivMesh& mesh, bool readUVs);

    static void quickReadStats(FILE* file, int& vertexCount, int& faceCount, int& cornerCount,
                               int& uvCount);
    static void quickReadTexture(FILE*& file, QDString& textureName, const char* materialName);
};
