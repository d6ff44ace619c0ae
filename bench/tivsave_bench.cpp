// Saving a host-sized mesh against the cost of writing the same bytes at once.
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{
const int s_columns = 1000;
const int s_rows = 500; // 1000 x 500 cells, two triangles each: 1,000,000 triangles

// What a welded host export looks like: a shared vertex grid, triangles with -1
// in their fourth slot, one texture coordinate per corner, a few face groups.
const QDTivMesh& hostMesh()
{
    static QDTivMesh mesh;
    if (!mesh.m_vertices.empty()) return mesh;
    const int stride = s_columns + 1;
    mesh.m_vertices.reserve(stride * (s_rows + 1));
    for (int r = 0; r <= s_rows; ++r)
        for (int c = 0; c <= s_columns; ++c)
            mesh.m_vertices.push_back(
                QDVector3f(c * 0.01f, r * 0.01f, float((r * c) % 7) * 0.001f));
    const int faces = 2 * s_columns * s_rows;
    mesh.m_faceVertexIndices.reserve(4 * faces);
    mesh.m_cornerUVs.reserve(4 * faces);
    mesh.m_faceGroups.reserve(faces);
    for (int r = 0; r < s_rows; ++r)
        for (int c = 0; c < s_columns; ++c)
        {
            int v = r * stride + c;
            int corners[2][3] = {{v, v + 1, v + stride + 1}, {v, v + stride + 1, v + stride}};
            for (auto& triangle : corners)
            {
                for (int index : triangle)
                {
                    mesh.m_faceVertexIndices.push_back(index);
                    mesh.m_cornerUVs.push_back(QDVector2f(float(index % stride) / s_columns,
                                                          float(index / stride) / s_rows));
                }
                mesh.m_faceVertexIndices.push_back(-1);
                mesh.m_cornerUVs.push_back(QDVector2f());
                mesh.m_faceGroups.push_back((unsigned short)(r * 8 / s_rows));
            }
        }
    mesh.m_textureFileName = "/Users/Shared/Quendaric/TivProjects/Default/Layer 1_Diffuse.png";
    return mesh;
}

const std::string& benchFolder()
{
    static std::string folder;
    if (folder.empty())
    {
        const char* tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/tivsave_bench.XXXXXX";
        if (!mkdtemp(&pattern[0])) abort();
        folder = pattern;
    }
    return folder;
}

long fileBytes(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? long(info.st_size) : 0;
}

void BM_SaveToTivFile(benchmark::State& state)
{
    const QDTivMesh& mesh = hostMesh();
    std::string path = benchFolder() + "/mesh.tiv";
    for (auto _ : state)
        if (!mesh.saveToTivFile(path.c_str(), true)) state.SkipWithError("save failed");
    state.SetBytesProcessed(state.iterations() * fileBytes(path));
    state.counters["vertices"] = mesh.m_vertices.size();
    state.counters["faces"] = mesh.getFaceCount();
    unlink(path.c_str());
}

void BM_PlainFwriteSameBytes(benchmark::State& state)
{
    std::string tivPath = benchFolder() + "/reference.tiv";
    hostMesh().saveToTivFile(tivPath.c_str(), true);
    std::vector<char> bytes(size_t(fileBytes(tivPath)), 1);
    unlink(tivPath.c_str());
    std::string path = benchFolder() + "/plain.bin";
    for (auto _ : state)
    {
        FILE* file = fopen(path.c_str(), "wb");
        if (!file || fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
            fclose(file) != 0)
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(state.iterations() * long(bytes.size()));
    unlink(path.c_str());
}

void BM_LoadFromTivFile(benchmark::State& state)
{
    std::string path = benchFolder() + "/load.tiv";
    hostMesh().saveToTivFile(path.c_str(), true);
    QDTivMesh mesh;
    for (auto _ : state)
        if (!mesh.loadFromTivFile(path.c_str())) state.SkipWithError("load failed");
    state.SetBytesProcessed(state.iterations() * fileBytes(path));
    unlink(path.c_str());
}
} // namespace

BENCHMARK(BM_SaveToTivFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainFwriteSameBytes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LoadFromTivFile)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    rmdir(benchFolder().c_str());
    return 0;
}
