// Comparing two 1,000,000-face meshes (what `tivtool compare` does after
// reading them) against reading one of them from a .tiv file.
#include "MeshCompare.h"
#include "ObjBenchFiles.h"
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace
{
const int s_columns = 1000;
const int s_rows = 500; // 1000 x 500 cells, two triangles each

// A welded host export: a shared vertex grid, triangles, one texture coordinate
// per corner, a seam down the middle column.
QDTivMesh gridMesh()
{
    QDTivMesh mesh;
    const int stride = s_columns + 1;
    for (int r = 0; r <= s_rows; ++r)
        for (int c = 0; c <= s_columns; ++c)
            mesh.m_vertices.push_back(
                QDVector3f(c * 0.01f, r * 0.01f, float((r * c) % 7) * 0.001f));
    for (int r = 0; r < s_rows; ++r)
        for (int c = 0; c < s_columns; ++c)
        {
            int v = r * stride + c;
            int corners[2][3] = {{v, v + 1, v + stride + 1}, {v, v + stride + 1, v + stride}};
            for (auto& triangle : corners)
            {
                for (int k = 0; k < 3; ++k)
                {
                    int w = triangle[k], column = w % stride;
                    float u = column * 0.001f + (c >= s_columns / 2 ? 0.5f : 0.0f);
                    mesh.m_faceVertexIndices.push_back(w);
                    mesh.m_cornerUVs.push_back(QDVector2f(u, (w / stride) * 0.002f));
                }
                mesh.m_faceVertexIndices.push_back(-1);
                mesh.m_cornerUVs.push_back(QDVector2f());
            }
        }
    return mesh;
}

// B as an editor might send it back: every face's corners rotated by one, and
// every vertex moved a little (the most work a comparison can have).
QDTivMesh returnedMesh(const QDTivMesh& a)
{
    QDTivMesh b = a;
    for (int first = 0; first < b.m_faceVertexIndices.size(); first += 4)
    {
        int* f = &b.m_faceVertexIndices[first];
        QDVector2f* uv = &b.m_cornerUVs[first];
        int v0 = f[0];
        QDVector2f uv0 = uv[0];
        f[0] = f[1], f[1] = f[2], f[2] = v0;
        uv[0] = uv[1], uv[1] = uv[2], uv[2] = uv0;
    }
    for (QDVector3f& p : b.m_vertices)
        p.z() += 0.0005f;
    return b;
}

const QDTivMesh& meshA()
{
    static QDTivMesh a = gridMesh();
    return a;
}

void compare(benchmark::State& state, const QDTivMesh& b)
{
    const QDTivMesh& a = meshA();
    for (auto _ : state)
    {
        state.PauseTiming();
        QDTivMesh copy = b; // the comparison puts B's corners into A's order
        state.ResumeTiming();
        MeshComparison c = compareMeshes(a, copy, 0.0);
        benchmark::DoNotOptimize(c);
    }
    state.counters["faces"] = a.getFaceCount();
}

void BM_CompareIdentical(benchmark::State& state)
{
    compare(state, meshA());
}
BENCHMARK(BM_CompareIdentical)->Unit(benchmark::kMillisecond);

void BM_CompareRotatedAndMoved(benchmark::State& state)
{
    static QDTivMesh b = returnedMesh(meshA());
    compare(state, b);
}
BENCHMARK(BM_CompareRotatedAndMoved)->Unit(benchmark::kMillisecond);

// For scale: reading one of the two meshes from its .tiv file.
void BM_ReadOneTiv(benchmark::State& state)
{
    const std::string path =
        objbench::executableFolder() + "/meshcompare_bench-" + std::to_string(getpid()) + ".tiv";
    if (!meshA().saveToTivFile(path.c_str(), false)) state.SkipWithError("cannot write");
    for (auto _ : state)
    {
        QDTivMesh mesh;
        benchmark::DoNotOptimize(mesh.loadFromTivFile(path.c_str()));
    }
    remove(path.c_str());
}
BENCHMARK(BM_ReadOneTiv)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
