// Throughput of the file services on inputs far larger than the plug-in's own
// text files, and the wildcard matcher on a filter built to make naive
// backtracking explode.
#include "QDDiskServer.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace
{
std::string scratch(const char* name)
{
    return std::string("/tmp/tiv_disk_bench_") + std::to_string(getpid()) + "_" + name;
}

void writeFile(const std::string& path, const std::string& bytes)
{
    FILE* file = fopen(path.c_str(), "wb");
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
}

void BM_readFileAsStringLines(benchmark::State& state)
{
    std::string text;
    for (int i = 0; text.size() < 16u << 20; ++i)
        text += "v " + std::to_string(i) + ".25 -1.5 " + std::to_string(i * 7) + "\r\n";
    std::string path = scratch("lines.txt");
    writeFile(path, text);
    for (auto _ : state)
    {
        QDArray<QDString> lines;
        benchmark::DoNotOptimize(QDDiskServer::readFileAsStringLines(path.c_str(), lines));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
    unlink(path.c_str());
}
BENCHMARK(BM_readFileAsStringLines)->Unit(benchmark::kMillisecond);

// The costliest file per byte: 8 MB of one-character lines, each a string of
// its own. Run alone under /usr/bin/time -v for the peak memory of one read.
void BM_readFileAsStringLinesOfOneCharacter(benchmark::State& state)
{
    std::string text;
    text.reserve(8u << 20);
    while (text.size() < 8u << 20)
        text += "a\n";
    std::string path = scratch("short.txt");
    writeFile(path, text);
    text = std::string();
    for (auto _ : state)
    {
        QDArray<QDString> lines;
        benchmark::DoNotOptimize(QDDiskServer::readFileAsStringLines(path.c_str(), lines));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(8u << 20));
    unlink(path.c_str());
}
BENCHMARK(BM_readFileAsStringLinesOfOneCharacter)->Unit(benchmark::kMillisecond);

void BM_copyFile(benchmark::State& state)
{
    std::string bytes(64u << 20, 'm');
    std::string from = scratch("from.bin"), to = scratch("to.bin");
    writeFile(from, bytes);
    for (auto _ : state)
        benchmark::DoNotOptimize(QDDiskServer::copyFile(from.c_str(), to.c_str()));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
    unlink(from.c_str());
    unlink(to.c_str());
}
BENCHMARK(BM_copyFile)->Unit(benchmark::kMillisecond);

void BM_readFileAsString(benchmark::State& state)
{
    std::string path = scratch("path.txt");
    writeFile(path, std::string(4096, 'p'));
    for (auto _ : state)
    {
        QDString text;
        benchmark::DoNotOptimize(QDDiskServer::readFileAsString(path.c_str(), text));
    }
    unlink(path.c_str());
}
BENCHMARK(BM_readFileAsString);

void BM_fileNameMatchFilterHostile(benchmark::State& state)
{
    std::string name(size_t(state.range(0)), 'a');
    for (auto _ : state)
        benchmark::DoNotOptimize(fileNameMatchFilter(name.c_str(), "*a*a*a*a*a*a*a*a*a*a*b"));
}
BENCHMARK(BM_fileNameMatchFilterHostile)->Arg(255)->Arg(4096);
} // namespace

BENCHMARK_MAIN();
