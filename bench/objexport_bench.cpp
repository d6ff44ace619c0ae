// Writing a host-sized mesh as OBJ text, against printf formatting the same
// numbers: the export's number formatting is most of its cost.
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const int s_side = 500; // 500 x 500 vertices, 2 x 499 x 499 triangles

// Varied magnitudes, signs and digits, as a sculpted model exported by the host
// has; texture coordinates are shared by the corners of a vertex.
const QDTivMesh& exportMesh()
{
    static QDTivMesh mesh;
    if (!mesh.m_vertices.empty()) return mesh;
    unsigned state = 12345;
    auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return float(state >> 8) / float(1 << 24);
    };
    for (int r = 0; r < s_side; ++r)
        for (int c = 0; c < s_side; ++c)
            mesh.m_vertices.push_back(QDVector3f((next() - 0.5f) * 40.0f, (next() - 0.5f) * 0.2f,
                                                 (next() - 0.5f) * 400.0f));
    for (int r = 0; r + 1 < s_side; ++r)
        for (int c = 0; c + 1 < s_side; ++c)
        {
            int v = r * s_side + c;
            int corners[2][3] = {{v, v + 1, v + s_side + 1}, {v, v + s_side + 1, v + s_side}};
            for (auto& triangle : corners)
            {
                for (int index : triangle)
                {
                    mesh.m_faceVertexIndices.push_back(index);
                    mesh.m_cornerUVs.push_back(QDVector2f(float(index % s_side) / (s_side - 1),
                                                          float(index / s_side) / (s_side - 1)));
                }
                mesh.m_faceVertexIndices.push_back(-1);
                mesh.m_cornerUVs.push_back(QDVector2f());
            }
        }
    mesh.getUniqueUVs(); // filled once, outside the timed loop
    return mesh;
}

std::string benchPath(const char* name)
{
    const char* tmp = getenv("TMPDIR");
    return std::string(tmp && *tmp ? tmp : "/tmp") + "/objexport_bench_" +
           std::to_string(getpid()) + "_" + name;
}

long fileBytes(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? long(info.st_size) : 0;
}

void BM_SaveToObjFile(benchmark::State& state)
{
    const QDTivMesh& mesh = exportMesh();
    std::string path = benchPath("mesh.obj");
    for (auto _ : state)
        if (!mesh.saveToObjFile(path.c_str(), false, false, false, false, false))
            state.SkipWithError("save failed");
    state.SetBytesProcessed(state.iterations() * fileBytes(path));
    state.counters["vertices"] = mesh.m_vertices.size();
    unlink(path.c_str());
}

// The same number lines formatted by snprintf into a buffer, no file.
void BM_SnprintfSameNumbers(benchmark::State& state)
{
    const QDTivMesh& mesh = exportMesh();
    const QDArray<QDVector2f>& uvs = mesh.getUniqueUVs();
    char line[256];
    for (auto _ : state)
    {
        size_t total = 0;
        for (const QDVector3f& v : mesh.m_vertices)
            total += size_t(snprintf(line, sizeof(line), "v %.15f %.15f %.15f\n", double(v.x()),
                                     double(v.y()), double(v.z())));
        for (const QDVector2f& uv : uvs)
            total += size_t(
                snprintf(line, sizeof(line), "vt %.9f %.9f\n", double(uv.x()), double(uv.y())));
        benchmark::DoNotOptimize(total);
    }
}
} // namespace

BENCHMARK(BM_SaveToObjFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SnprintfSameNumbers)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
