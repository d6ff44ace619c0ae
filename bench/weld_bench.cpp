#include "QDIndexedSort.h"
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#ifdef TIV_HAVE_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif

// Welding a host-style mesh against meshoptimizer's vertex remap on the same
// positions. Both allocate their working memory on every call, and on a
// virtual machine a fresh page costs microseconds, more than the hashing of
// the vertices on it. Whether a call gets fresh pages depends on what the
// allocator kept from the previous call, so each pair runs in three states:
//   /0 the allocator as it is (glibc: its thresholds adapt to the sizes seen),
//   /1 fresh pages for every call (freed memory handed back before each one),
//   /2 recycled pages (the allocator keeps everything; set last, it sticks).

namespace
{
enum MemoryState
{
    AllocatorAsItIs = 0,
    FreshPages = 1,
    RecycledPages = 2
};

// A wavy height field of quadsX * quadsY quads, two triangles each, written
// the way a host exporter writes OBJ: one vertex per face corner, so every
// inner grid position appears six times.
QDTivMesh makeHostStyleMesh(int quadsX, int quadsY)
{
    auto position = [](int i, int j)
    {
        float x = float(i) * 0.01f - 5.0f, z = float(j) * 0.01f - 2.5f;
        return QDVector3f(x, 0.25f * std::sin(x * 3.0f) * std::cos(z * 2.0f), z);
    };
    QDTivMesh mesh;
    mesh.m_vertices.reserve(quadsX * quadsY * 6);
    mesh.m_faceVertexIndices.reserve(quadsX * quadsY * 8);
    auto addTriangle = [&mesh](const QDVector3f& a, const QDVector3f& b, const QDVector3f& c)
    {
        int first = mesh.m_vertices.size();
        mesh.m_vertices.push_back(a);
        mesh.m_vertices.push_back(b);
        mesh.m_vertices.push_back(c);
        for (int k = 0; k < 3; ++k)
            mesh.m_faceVertexIndices.push_back(first + k);
        mesh.m_faceVertexIndices.push_back(-1);
    };
    for (int j = 0; j < quadsY; ++j)
        for (int i = 0; i < quadsX; ++i)
        {
            addTriangle(position(i, j), position(i + 1, j), position(i + 1, j + 1));
            addTriangle(position(i, j), position(i + 1, j + 1), position(i, j + 1));
        }
    return mesh;
}

// 1,000,000 triangles, 3,000,000 vertices, 501,501 distinct positions.
const QDTivMesh& hostMesh()
{
    static const QDTivMesh mesh = makeHostStyleMesh(1000, 500);
    return mesh;
}

long minorFaults()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

void enterMemoryState(int state)
{
#if defined(__GLIBC__)
    if (state == RecycledPages)
    {
        mallopt(M_MMAP_THRESHOLD, 1 << 30);
        mallopt(M_TRIM_THRESHOLD, 1 << 30);
    }
#else
    (void)state;
#endif
}

// Untimed, before each call.
void prepareCall(int state)
{
#if defined(__GLIBC__)
    if (state == FreshPages) malloc_trim(0);
#else
    (void)state;
#endif
}

void setCounters(benchmark::State& state, int vertexCount, int removed, long faults)
{
    state.counters["vertices"] = vertexCount;
    state.counters["removed"] = removed;
    state.counters["faults"] =
        benchmark::Counter(double(faults), benchmark::Counter::kAvgIterations);
    state.counters["Mvertices/s"] = benchmark::Counter(
        double(vertexCount) * 1e-6, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_MergeEqualVertices(benchmark::State& state)
{
    enterMemoryState(int(state.range(0)));
    const QDTivMesh& source = hostMesh();
    QDTivMesh mesh = source;
    mesh.mergeEqualVertices(); // lets the allocator settle before timing
    int removed = 0;
    long faults = 0;
    for (auto _ : state)
    {
        state.PauseTiming();
        mesh = source;
        prepareCall(int(state.range(0)));
        long before = minorFaults();
        state.ResumeTiming();
        removed = mesh.mergeEqualVertices();
        benchmark::DoNotOptimize(mesh.m_vertices.begin());
        state.PauseTiming();
        faults += minorFaults() - before;
        state.ResumeTiming();
    }
    setCounters(state, source.m_vertices.size(), removed, faults);
}

#ifdef TIV_HAVE_MESHOPTIMIZER
// The peer finds the distinct positions in first-use order; it neither sorts
// them nor rewrites faces. Its remap array is the caller's, allocated once.
void BM_MeshoptGenerateVertexRemap(benchmark::State& state)
{
    enterMemoryState(int(state.range(0)));
    const QDTivMesh& source = hostMesh();
    const std::size_t count = std::size_t(source.m_vertices.size());
    std::vector<unsigned int> remap(count);
    std::size_t unique = meshopt_generateVertexRemap(
        remap.data(), nullptr, count, source.m_vertices.begin(), count, sizeof(QDVector3f));
    long faults = 0;
    for (auto _ : state)
    {
        state.PauseTiming();
        prepareCall(int(state.range(0)));
        long before = minorFaults();
        state.ResumeTiming();
        unique = meshopt_generateVertexRemap(remap.data(), nullptr, count,
                                             source.m_vertices.begin(), count, sizeof(QDVector3f));
        benchmark::DoNotOptimize(remap.data());
        state.PauseTiming();
        faults += minorFaults() - before;
        state.ResumeTiming();
    }
    setCounters(state, int(count), int(count - unique), faults);
}
#endif

// What welding would cost with the plain definition: one comparison sort of
// every vertex index, before any face is rewritten.
void BM_IndexedSortOfAllVertices(benchmark::State& state)
{
    const QDTivMesh& source = hostMesh();
    QDArray<int> order;
    for (auto _ : state)
    {
        indexedSort(order, source.m_vertices);
        benchmark::DoNotOptimize(order.begin());
    }
    setCounters(state, source.m_vertices.size(), 0, 0);
}

// Registered by memory state: the recycled state changes the allocator for
// good, so it comes last.
const bool s_registered = []()
{
    for (int memory : {AllocatorAsItIs, FreshPages, RecycledPages})
    {
        benchmark::RegisterBenchmark("BM_MergeEqualVertices", BM_MergeEqualVertices)
            ->Arg(memory)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
#ifdef TIV_HAVE_MESHOPTIMIZER
        benchmark::RegisterBenchmark("BM_MeshoptGenerateVertexRemap", BM_MeshoptGenerateVertexRemap)
            ->Arg(memory)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
#endif
    }
    benchmark::RegisterBenchmark("BM_IndexedSortOfAllVertices", BM_IndexedSortOfAllVertices)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    return true;
}();
} // namespace

namespace
{
double cpuSeconds()
{
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

double wallSeconds()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// The two take turns, round after round, and the best run of each gives the
// ratio: a busy neighbour on a shared machine then favours neither.
int alternate(int rounds)
{
#ifdef TIV_HAVE_MESHOPTIMIZER
    const QDTivMesh& source = hostMesh();
    const std::size_t count = std::size_t(source.m_vertices.size());
    std::vector<unsigned int> remap(count);
    double best[2] = {1e30, 1e30}, bestCpu[2] = {1e30, 1e30};
    QDTivMesh mesh;
    for (int round = 0; round < rounds; ++round)
    {
        mesh = source;
        double wall = wallSeconds(), cpu = cpuSeconds();
        mesh.mergeEqualVertices();
        benchmark::DoNotOptimize(mesh.m_vertices.begin());
        best[0] = std::min(best[0], wallSeconds() - wall);
        bestCpu[0] = std::min(bestCpu[0], cpuSeconds() - cpu);
        wall = wallSeconds();
        cpu = cpuSeconds();
        meshopt_generateVertexRemap(remap.data(), nullptr, count, source.m_vertices.begin(), count,
                                    sizeof(QDVector3f));
        benchmark::DoNotOptimize(remap.data());
        best[1] = std::min(best[1], wallSeconds() - wall);
        bestCpu[1] = std::min(bestCpu[1], cpuSeconds() - cpu);
    }
    printf("%zu vertices: mergeEqualVertices %.1f ms, meshopt_generateVertexRemap %.1f ms "
           "(best of %d)\n",
           count, best[0] * 1e3, best[1] * 1e3, rounds);
    printf("time ratio: %.2fx (target at most 1.0x); CPU time ratio %.2fx\n", best[0] / best[1],
           bestCpu[0] / bestCpu[1]);
    return 0;
#else
    (void)rounds;
    fprintf(stderr, "weld_bench: built without meshoptimizer, nothing to compare with\n");
    return 1;
#endif
}
} // namespace

// By default the alternating comparison (weld_bench [--rounds N], default 9);
// any --benchmark_... argument runs the Google Benchmark cases instead.
int main(int argc, char** argv)
{
    bool googleBenchmark = false;
    int rounds = 9;
    for (int i = 1; i < argc; ++i)
    {
        if (strncmp(argv[i], "--benchmark", 11) == 0) googleBenchmark = true;
        if (strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) rounds = atoi(argv[i + 1]);
    }
    if (!googleBenchmark) return alternate(rounds > 0 ? rounds : 1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
