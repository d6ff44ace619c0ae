// Import throughput on generated 1M-face OBJ files (host-style, plain quads
// and triangles, and the mixed kind other programs write), against fast_obj and
// tinyobjloader parsing the same files.
//
// By default the readers take turns on each file, round after round in this
// one process, and the ratios come from the best run of each: alternating keeps
// a busy neighbour on a shared machine from favouring one reader, and the best
// of several runs drops the rounds it disturbed. Any --benchmark_... argument
// runs the Google Benchmark cases instead.
//
//   objimport_bench [--rounds N] [--trim]   (default 7; tinyobjloader runs in 2)
//
// Targets: at least 2.0x fast_obj on the host file, 1.3x on the mixed file.

#include "ObjBenchFiles.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <ctime>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#ifdef TIV_HAVE_TINYOBJLOADER
#include <tiny_obj_loader.h>
#endif
#ifdef TIV_HAVE_FAST_OBJ
#include <fast_obj.h>
#endif

namespace
{
// Each reader parses the whole file and keeps the result until it is timed;
// false when it failed.
bool readTiv(const std::string& path)
{
    QDTivMesh mesh;
    QDObjImport importer;
    bool ok = importer.importTivMesh(path.c_str(), mesh, true);
    benchmark::DoNotOptimize(mesh.m_vertices.begin());
    return ok && mesh.getFaceCount() >= 900000;
}

#ifdef TIV_HAVE_FAST_OBJ
bool readFastObj(const std::string& path)
{
    fastObjMesh* mesh = fast_obj_read(path.c_str());
    bool ok = mesh && mesh->face_count >= 900000;
    if (mesh) fast_obj_destroy(mesh);
    return ok;
}
#endif

#ifdef TIV_HAVE_TINYOBJLOADER
bool readTiny(const std::string& path)
{
    tinyobj::ObjReaderConfig config;
    config.triangulate = false;
    config.vertex_color = false;
    tinyobj::ObjReader reader;
    bool ok = reader.ParseFromFile(path, config);
    benchmark::DoNotOptimize(reader.GetAttrib().vertices.data());
    return ok && !reader.GetShapes().empty();
}
#endif

// The floor of any reader: the file read from the page cache in the import's
// 16 MiB fills, looking at nothing. The import reads a file without header
// counts twice.
bool readPlain(const std::string& path)
{
    const std::size_t size = QDObjImport::s_readBufferSize;
    std::vector<unsigned char> buffer(size);
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return false;
    std::size_t total = 0, n;
    while ((n = fread(buffer.data(), 1, size, file)) > 0)
        total += n;
    fclose(file);
    benchmark::DoNotOptimize(buffer.data());
    return long(total) == objbench::fileSize(path);
}

struct Reader
{
    const char* name;
    std::function<bool(const std::string&)> read;
    int rounds; // 0: every round
};

std::vector<Reader> readers()
{
    std::vector<Reader> list;
    list.push_back({"QDObjImport", readTiv, 0});
    list.push_back({"plain read", readPlain, 0});
#ifdef TIV_HAVE_FAST_OBJ
    list.push_back({"fast_obj", readFastObj, 0});
#endif
#ifdef TIV_HAVE_TINYOBJLOADER
    list.push_back({"tinyobjloader", readTiny, 2});
#endif
    return list;
}

struct File
{
    const char* style;
    std::string path;
};

std::vector<File> files()
{
    return {{"host", objbench::hostFile()},
            {"plain", objbench::plainFile()},
            {"mixed", objbench::mixedFile()}};
}

void runBenchmark(benchmark::State& state, const Reader& reader, const std::string& path)
{
    for (auto _ : state)
        if (!reader.read(path)) state.SkipWithError("the reader failed");
    state.SetBytesProcessed(int64_t(state.iterations()) * objbench::fileSize(path));
}

void registerBenchmarks()
{
    for (const Reader& reader : readers())
        for (const File& file : files())
            benchmark::RegisterBenchmark((std::string(reader.name) + "/" + file.style).c_str(),
                                         runBenchmark, reader, file.path)
                ->Unit(benchmark::kMillisecond)
                ->Iterations(reader.rounds ? 2 : 5);
}

// With --trim, the memory that the reader before left free goes back to the
// system before each run, so that no reader finds pages already made by
// another: what the allocator keeps after one reader can make the next one
// faster than it would be on its own (a reader that grows its arrays step by
// step gains most), and which one gains depends on the order of the runs.
bool s_trim = false;
void releaseFreeMemory()
{
#ifdef __GLIBC__
    if (s_trim) malloc_trim(0);
#endif
}

// User and system time of this thread: on a machine shared with other work it
// leaves out the time spent waiting for a core.
double cpuSeconds()
{
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

int alternate(int rounds)
{
    const std::vector<Reader> list = readers();
    for (const File& file : files())
    {
        const double megabytes = objbench::fileSize(file.path) / 1e6;
        std::vector<double> best(list.size(), 1e30), bestCpu(list.size(), 1e30);
        for (int round = 0; round < rounds; ++round)
            for (std::size_t r = 0; r < list.size(); ++r)
            {
                if (list[r].rounds && round >= list[r].rounds) continue;
                releaseFreeMemory();
                auto start = std::chrono::steady_clock::now();
                const double startCpu = cpuSeconds();
                bool ok = list[r].read(file.path);
                double seconds =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
                const double cpu = cpuSeconds() - startCpu;
                if (cpu < bestCpu[r]) bestCpu[r] = cpu;
                if (!ok)
                {
                    fprintf(stderr, "%s failed on %s\n", list[r].name, file.path.c_str());
                    return 1;
                }
                if (seconds < best[r]) best[r] = seconds;
            }
        printf("%-5s file (%.0f MB):", file.style, megabytes);
        for (std::size_t r = 0; r < list.size(); ++r)
            printf("  %s %.0f ms %.0f MB/s", list[r].name, best[r] * 1e3, megabytes / best[r]);
        printf("\n     QDObjImport throughput ratio:");
        for (std::size_t r = 2; r < list.size(); ++r)
            printf("  %.2fx %s", best[r] / best[0], list[r].name);
        printf("\n     QDObjImport takes %.1f plain reads of the file", best[0] / best[1]);
        printf("\n     (CPU time, user and system:");
        for (std::size_t r = 2; r < list.size(); ++r)
            printf("  %.2fx %s", bestCpu[r] / bestCpu[0], list[r].name);
        printf(")\n");
        fflush(stdout);
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    if (!objbench::ensureFiles())
    {
        fprintf(stderr, "objimport_bench: cannot write the OBJ files into %s\n",
                objbench::dataFolder().c_str());
        return 1;
    }
    bool googleBenchmark = false;
    int rounds = 7;
    for (int i = 1; i < argc; ++i)
    {
        if (strncmp(argv[i], "--benchmark", 11) == 0) googleBenchmark = true;
        if (strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) rounds = atoi(argv[i + 1]);
        if (strcmp(argv[i], "--trim") == 0) s_trim = true;
    }
    if (!googleBenchmark) return alternate(rounds > 0 ? rounds : 1);
    registerBenchmarks();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
