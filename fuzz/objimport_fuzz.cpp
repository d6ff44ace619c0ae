// Imports arbitrary OBJ and MTL text. The input is split at the first "\0MTL"
// marker: what comes before is the OBJ file, what follows its MTL file. Each
// input is read twice, with the product's buffer and with a tiny one, and the
// two meshes must agree: the word-wide path for whole lines and the byte path
// for lines that straddle two fills must give the same bits.

#include "QDObjImport.h"
#include "QDTivMesh.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace
{
std::string s_folder;

void writeFile(const std::string& path, const uint8_t* data, size_t size)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) abort();
    if (size > 0 && fwrite(data, 1, size, f) != size) abort();
    fclose(f);
}

template <typename T> bool sameBytes(const QDArray<T>& a, const QDArray<T>& b)
{
    return a.size() == b.size() &&
           (a.size() == 0 || memcmp(a.begin(), b.begin(), sizeof(T) * size_t(a.size())) == 0);
}

bool sameMesh(const QDTivMesh& a, const QDTivMesh& b)
{
    return sameBytes(a.m_vertices, b.m_vertices) &&
           sameBytes(a.m_faceVertexIndices, b.m_faceVertexIndices) &&
           sameBytes(a.m_cornerUVs, b.m_cornerUVs) && sameBytes(a.m_uniqueUVs, b.m_uniqueUVs) &&
           sameBytes(a.m_cornerUVIndices, b.m_cornerUVIndices) &&
           a.m_textureFileName == b.m_textureFileName;
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char pattern[] = "/tmp/objimport_fuzz.XXXXXX";
    if (!mkdtemp(pattern)) abort();
    s_folder = pattern;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const char marker[] = {0, 'M', 'T', 'L'};
    size_t objSize = size;
    for (size_t i = 0; i + sizeof(marker) <= size; ++i)
        if (memcmp(data + i, marker, sizeof(marker)) == 0)
        {
            objSize = i;
            break;
        }
    const std::string obj = s_folder + "/in.obj";
    const std::string mtl = s_folder + "/in.mtl";
    writeFile(obj, data, objSize);
    if (objSize < size)
        writeFile(mtl, data + objSize + sizeof(marker), size - objSize - sizeof(marker));
    else
        unlink(mtl.c_str());

    QDTivMesh whole, pieces;
    // Inputs stay far below 64 KiB, so this buffer holds every input whole, as
    // the product's does for files of up to 16 MiB, at a fraction of the cost.
    QDObjImport wide(65536);
    QDObjImport narrow(1 + (size > 0 ? data[size - 1] % 13 : 0));
    if (!wide.importTivMesh(obj.c_str(), whole, true) ||
        !narrow.importTivMesh(obj.c_str(), pieces, true))
        abort();
    if (!sameMesh(whole, pieces)) abort();
    whole.getBBox();
    return 0;
}
