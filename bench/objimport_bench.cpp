// Import throughput on two generated 1M-face OBJ files, against tinyobjloader
// parsing the same files. Target: at least 6x tinyobjloader on both.

#include "ObjBenchFiles.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>

#ifdef TIV_HAVE_TINYOBJLOADER
#include <tiny_obj_loader.h>
#endif

namespace
{
// Best throughput of each run, for the ratios printed at the end.
std::map<std::string, double> s_bestMBps;

void record(const std::string& name, double seconds, long bytes)
{
    double mbps = bytes / 1e6 / seconds;
    double& best = s_bestMBps[name];
    if (mbps > best) best = mbps;
}

void importTiv(benchmark::State& state, const std::string& path, const char* name)
{
    long bytes = objbench::fileSize(path);
    for (auto _ : state)
    {
        auto start = std::chrono::steady_clock::now();
        QDTivMesh mesh;
        QDObjImport importer;
        bool ok = importer.importTivMesh(path.c_str(), mesh, true);
        record(name,
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
               bytes);
        if (!ok || mesh.getFaceCount() < 900000) state.SkipWithError("import failed");
        benchmark::DoNotOptimize(mesh.m_vertices.begin());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}

void BM_QDObjImport_Host(benchmark::State& state)
{
    importTiv(state, objbench::hostFile(), "tiv host");
}
void BM_QDObjImport_Plain(benchmark::State& state)
{
    importTiv(state, objbench::plainFile(), "tiv plain");
}
BENCHMARK(BM_QDObjImport_Host)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_QDObjImport_Plain)->Unit(benchmark::kMillisecond)->Iterations(5);

#ifdef TIV_HAVE_TINYOBJLOADER
void importTiny(benchmark::State& state, const std::string& path, const char* name)
{
    long bytes = objbench::fileSize(path);
    for (auto _ : state)
    {
        auto start = std::chrono::steady_clock::now();
        tinyobj::ObjReaderConfig config;
        config.triangulate = false;
        config.vertex_color = false;
        tinyobj::ObjReader reader;
        bool ok = reader.ParseFromFile(path, config);
        record(name,
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
               bytes);
        if (!ok || reader.GetShapes().empty()) state.SkipWithError("tinyobjloader failed");
        benchmark::DoNotOptimize(reader.GetAttrib().vertices.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}

void BM_TinyObjLoader_Host(benchmark::State& state)
{
    importTiny(state, objbench::hostFile(), "tinyobj host");
}
void BM_TinyObjLoader_Plain(benchmark::State& state)
{
    importTiny(state, objbench::plainFile(), "tinyobj plain");
}
BENCHMARK(BM_TinyObjLoader_Host)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_TinyObjLoader_Plain)->Unit(benchmark::kMillisecond)->Iterations(2);
#endif
} // namespace

int main(int argc, char** argv)
{
    if (!objbench::ensureFiles())
    {
        fprintf(stderr, "objimport_bench: cannot write the OBJ files into %s\n",
                objbench::dataFolder().c_str());
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    for (const char* style : {"host", "plain"})
    {
        double tiv = s_bestMBps[std::string("tiv ") + style];
        double tiny = s_bestMBps[std::string("tinyobj ") + style];
        if (tiv > 0) printf("%-6s file: QDObjImport %.1f MB/s", style, tiv);
        if (tiv > 0 && tiny > 0)
            printf(", tinyobjloader %.1f MB/s, ratio %.1fx (target 6x)", tiny, tiv / tiny);
        if (tiv > 0) printf("\n");
    }
    return 0;
}
