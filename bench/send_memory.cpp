// send_memory MODEL.obj: the heap a send of a 3D layer takes, in this process.
// The editor's model is read, then the plug-in runs on it through the
// simulated editor in a temporary exchange folder (no sculpting application
// configured, so nothing is launched and the send's wait is skipped). The
// heap's high-water mark during the plug-in's call, less what was live when it
// began, is the send's; the editor's export, which happens inside that call,
// is measured on its own beforehand so that it can be told apart.

#include "HostModel.h"
#include "HostSession.h"
#include "PIUSuites.h"
#include "QDTimeService.h"
#include "QDTiv.h"
#include "TivPhotoshopPlugIn.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <new>
#include <string>
#include <unistd.h>

namespace
{
std::atomic<long long> s_live{0};
std::atomic<long long> s_peak{0};

void* allocate(size_t n)
{
    void* p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    long long live = s_live += (long long)malloc_usable_size(p);
    long long peak = s_peak;
    while (live > peak && !s_peak.compare_exchange_weak(peak, live))
    {
    }
    return p;
}

void release(void* p)
{
    if (!p) return;
    s_live -= (long long)malloc_usable_size(p);
    std::free(p);
}

// The high-water mark from now on, above what is live now.
long long startPeak()
{
    s_peak = s_live.load();
    return s_live;
}

double mib(long long bytes)
{
    return double(bytes) / (1024.0 * 1024.0);
}

long statusKib(const char* key)
{
    FILE* f = fopen("/proc/self/status", "r");
    if (!f) return -1;
    char line[256];
    long value = -1;
    size_t n = strlen(key);
    while (fgets(line, sizeof(line), f))
        if (strncmp(line, key, n) == 0) value = atol(line + n);
    fclose(f);
    return value;
}
} // namespace

void* operator new(size_t n)
{
    return allocate(n);
}
void* operator new[](size_t n)
{
    return allocate(n);
}
void operator delete(void* p) noexcept
{
    release(p);
}
void operator delete[](void* p) noexcept
{
    release(p);
}
void operator delete(void* p, size_t) noexcept
{
    release(p);
}
void operator delete[](void* p, size_t) noexcept
{
    release(p);
}

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        fprintf(stderr, "usage: send_memory MODEL.obj\n");
        return 2;
    }
    HostModel model;
    std::string error;
    if (!readObjModel(argv[1], model, error))
    {
        fprintf(stderr, "send_memory: %s: %s\n", argv[1], error.c_str());
        return 2;
    }
    namespace fs = std::filesystem;
    const fs::path root = fs::temp_directory_path() / ("send_memory." + std::to_string(getpid()));
    fs::create_directories(root / "TivProjects/Default");
    fs::create_directories(root / "TivMorvel");
    fs::create_directories(root / "TivApps/Photoshop");
    QDTiv::s_publicFolder = root.c_str();
    QDTiv::s_TivAppsFolder = (root / "TivApps").c_str();
    QDTiv::s_TivMorvelFolder = (root / "TivMorvel").c_str();
    QDTiv::s_TivProjectsFolder = (root / "TivProjects").c_str();
    QDTiv::s_TivDefaultProjectFolder = (root / "TivProjects/Default").c_str();
    QDTimeService::setSleeper([](unsigned int) {});

    HostExport written;
    long long base = startPeak();
    bool exported = exportModel(model, (root / "Probe.obj").string(), written, error);
    long long exportPeak = s_peak - base;

    HostDocument document;
    document.layerName = "Layer";
    document.model = std::move(model);
    HostSession host(document);
    PIActionParameters parameters = {plugInDialogDisplay, 0, nullptr};
    PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, host.basicSuite()}, &parameters};
    base = startPeak();
    SPErr result = AutoPluginMain("PS Photoshop", "Do It", &message);
    long long sendPeak = s_peak - base;
    sSPBasic = host.basicSuite();
    PIUSuitesRelease();

    long long tivBytes = 0;
    std::error_code ec;
    tivBytes = (long long)fs::file_size(root / "TivProjects/Default/Layer.tiv", ec);
    printf("model: %zu triangles; %zu-bit build\n", document.model.triangles.size(),
           sizeof(void*) * 8);
    printf("editor's export alone: heap peak %.1f MiB%s\n", mib(exportPeak),
           exported ? "" : " (failed)");
    printf("plug-in call (export included): heap peak %.1f MiB above its start\n", mib(sendPeak));
    printf("process: peak resident %.1f MiB, peak address space %.1f MiB\n",
           statusKib("VmHWM:") / 1024.0, statusKib("VmPeak:") / 1024.0);
    printf(".tiv: %.1f MiB\n", mib(tivBytes));
    fs::remove_all(root, ec);
    if (result != 0 || tivBytes <= 0)
    {
        printf("send failed: plug-in returned %d\n", int(result));
        return 1;
    }
    printf("sent\n");
    return 0;
}
