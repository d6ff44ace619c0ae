// Loads arbitrary bytes as a Tiv mesh file. Whatever loads must also survive a
// save and load again with the same geometry.
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

void removeFolder()
{
    unlink((s_folder + "/input.tiv").c_str());
    unlink((s_folder + "/again.tiv").c_str());
    rmdir(s_folder.c_str());
}

const std::string& folder()
{
    if (s_folder.empty())
    {
        const char* tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/tivload_fuzz.XXXXXX";
        if (!mkdtemp(&pattern[0])) abort();
        s_folder = pattern;
        atexit(removeFolder);
    }
    return s_folder;
}

template <typename T> bool sameBytes(const QDArray<T>& a, const QDArray<T>& b)
{
    return a.size() == b.size() &&
           (a.empty() || memcmp(a.begin(), b.begin(), sizeof(T) * size_t(a.size())) == 0);
}

long long arrayBytes(const QDTivMesh& mesh)
{
    return 12LL * mesh.m_vertices.size() + 4LL * mesh.m_faceVertexIndices.size() +
           8LL * mesh.m_cornerUVs.size() + 2LL * mesh.m_faceGroups.size();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string input = folder() + "/input.tiv";
    FILE* file = fopen(input.c_str(), "wb");
    if (!file) abort();
    if (size > 0) fwrite(data, 1, size, file);
    fclose(file);

    QDTivMesh mesh;
    if (!mesh.loadFromTivFile(input.c_str()) || arrayBytes(mesh) > (1 << 20)) return 0;
    if (mesh.m_faceVertexIndices.size() % 4 != 0 || mesh.m_cornerUVs.size() % 4 != 0) abort();
    std::string again = folder() + "/again.tiv";
    QDTivMesh back;
    if (!mesh.saveToTivFile(again.c_str(), true) || !back.loadFromTivFile(again.c_str())) abort();
    if (!sameBytes(mesh.m_vertices, back.m_vertices) ||
        !sameBytes(mesh.m_faceVertexIndices, back.m_faceVertexIndices) ||
        !sameBytes(mesh.m_cornerUVs, back.m_cornerUVs) ||
        !sameBytes(mesh.m_faceGroups, back.m_faceGroups))
        abort();
    return 0;
}
