// tiv-host: a simulated image editor that loads an automation plug-in bundle
// the way the host does, runs it on a document with one current layer, and
// tells what the plug-in asked of it and what the run left in the exchange folder.

#include "HostSession.h"
#include "PlugInBundle.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

#ifndef TIV_HOST_DEFAULT_PLUGIN
#define TIV_HOST_DEFAULT_PLUGIN ""
#endif
#ifndef TIV_SANDBOX_ROOT
#define TIV_SANDBOX_ROOT ""
#endif

namespace fs = std::filesystem;

namespace
{
typedef SPErr (*EntryPoint)(const char*, const char*, void*);

// How long the sculpting application gets to open the script and report back.
const int s_summaryWaitSeconds = 30;

struct Options
{
    std::string plugin = TIV_HOST_DEFAULT_PLUGIN;
    std::string exchange = TIV_SANDBOX_ROOT;
    std::string layer = "Sphere";
    std::string model;
    bool notA3DLayer = false;
    std::vector<std::string> deniedSuites;
    std::string caller = "PS Photoshop";
    std::string selector = "Do It";
    bool listOnly = false;
};

void usage(FILE* out)
{
    fprintf(out, "usage: tiv-host [--plugin BUNDLE.plugin|FOLDER] [--list] [--layer NAME]\n"
                 "                [--model FILE.obj] [--not-3d] [--deny-suite NAME]...\n"
                 "                [--caller TEXT] [--selector TEXT] [--exchange FOLDER]\n"
                 "Runs an automation plug-in bundle (default: the build's sandbox bundle; in a\n"
                 "Plug-ins FOLDER, the first one the editor can load) on a document whose current\n"
                 "layer is NAME (default \"Sphere\", a textured sphere), then prints what the\n"
                 "plug-in asked and what it left in the exchange folder (default: the build's\n"
                 "sandbox). --list only lists the plug-ins found, with their property lists.\n");
}

bool parseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string arg = argv[i];
        auto value = [&](std::string& into)
        {
            if (i + 1 >= argc) return false;
            into = argv[++i];
            return true;
        };
        std::string denied;
        bool ok = true;
        if (arg == "--plugin")
            ok = value(options.plugin);
        else if (arg == "--layer")
            ok = value(options.layer);
        else if (arg == "--model")
            ok = value(options.model);
        else if (arg == "--not-3d")
            options.notA3DLayer = true;
        else if (arg == "--list")
            options.listOnly = true;
        else if (arg == "--deny-suite")
        {
            ok = value(denied);
            options.deniedSuites.push_back(denied);
        }
        else if (arg == "--caller")
            ok = value(options.caller);
        else if (arg == "--selector")
            ok = value(options.selector);
        else if (arg == "--exchange")
            ok = value(options.exchange);
        else
            ok = false;
        if (!ok)
        {
            fprintf(stderr, "tiv-host: bad argument: %s\n", arg.c_str());
            return false;
        }
    }
    return true;
}

std::string codeText(SPErr code)
{
    char text[64];
    unsigned u = unsigned(code);
    char c[4] = {char(u >> 24), char(u >> 16), char(u >> 8), char(u)};
    bool printable = true;
    for (char ch : c)
        printable = printable && ch >= 32 && ch <= 126;
    if (printable)
        snprintf(text, sizeof(text), "'%c%c%c%c' (0x%08X)", c[0], c[1], c[2], c[3], u);
    else
        snprintf(text, sizeof(text), "%d", int(code));
    return text;
}

std::string sizeText(uintmax_t bytes)
{
    char text[32];
    if (bytes < 10 * 1024)
        snprintf(text, sizeof(text), "%ju bytes", bytes);
    else if (bytes < 10 * 1024 * 1024)
        snprintf(text, sizeof(text), "%ju KiB", bytes / 1024);
    else
        snprintf(text, sizeof(text), "%ju MiB", bytes / (1024 * 1024));
    return text;
}

std::string readSmallFile(const std::string& path, size_t limit = 4096)
{
    std::ifstream in(path, std::ios::binary);
    std::string text(limit, '\0');
    in.read(&text[0], std::streamsize(limit));
    text.resize(size_t(in.gcount()));
    return text;
}

std::string currentFolder()
{
    char buffer[4096];
    return getcwd(buffer, sizeof(buffer)) ? buffer : "(unreadable)";
}

// ---- The exchange folder before and after ----------------------------------

struct FileState
{
    uintmax_t size;
    fs::file_time_type time;
};
typedef std::map<std::string, FileState> Snapshot;

Snapshot snapshot(const std::string& root)
{
    Snapshot files;
    std::error_code ec;
    fs::recursive_directory_iterator it(root, ec), end;
    for (; !ec && it != end; it.increment(ec))
    {
        std::error_code ignored;
        if (!it->is_regular_file(ignored)) continue;
        std::string relative = fs::relative(it->path(), root, ignored).string();
        files[relative] = {it->file_size(ignored), it->last_write_time(ignored)};
    }
    return files;
}

void printChanges(const std::string& root, const Snapshot& before, const Snapshot& after)
{
    printf("\nExchange folder %s\n", root.c_str());
    bool any = false;
    for (const auto& entry : before)
        if (after.count(entry.first) == 0)
        {
            printf("  removed  %s\n", entry.first.c_str());
            any = true;
        }
    for (const auto& entry : after)
    {
        auto old = before.find(entry.first);
        const char* change = old == before.end()                     ? "new     "
                             : old->second.time != entry.second.time ? "written "
                                                                     : nullptr;
        if (change == nullptr) continue;
        any = true;
        printf("  %s %s (%s)\n", change, entry.first.c_str(), sizeText(entry.second.size).c_str());
        std::string name = fs::path(entry.first).filename().string();
        if (name == "Tiv_ObjectList.txt" || name == "Tiv_Application.txt")
        {
            std::istringstream lines(readSmallFile(root + "/" + entry.first));
            std::string line;
            while (std::getline(lines, line))
                printf("             | %s\n", line.c_str());
        }
    }
    if (!any) printf("  nothing changed\n");
}

// ---- The sculpting application's stand-in ----------------------------------

// The application configured in the exchange folder, quotes removed; empty when
// there is none.
std::string configuredApplication(const std::string& root)
{
    std::istringstream lines(readSmallFile(root + "/TivMorvel/Tiv_Config.txt"));
    std::string line;
    while (std::getline(lines, line))
    {
        size_t equal = line.find('=');
        std::string key = line.substr(0, equal);
        key.erase(key.find_last_not_of(" \t") + 1);
        key.erase(0, key.find_first_not_of(" \t"));
        for (char& c : key)
            c = char(toupper((unsigned char)c));
        if (equal == std::string::npos || key != "PATH") continue;
        std::string value = line.substr(equal + 1);
        value.erase(0, value.find_first_not_of(" \t"));
        value.erase(value.find_last_not_of(" \t\r") + 1);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        return value;
    }
    return std::string();
}

// The stand-in reports beside its bundle: ".../Morvel.app" -> ".../Morvel_Summary.txt".
std::string summaryFileOf(std::string application)
{
    while (!application.empty() && application.back() == '/')
        application.pop_back();
    if (application.size() > 4 && application.compare(application.size() - 4, 4, ".app") == 0)
        application.resize(application.size() - 4);
    return application + "_Summary.txt";
}

void printSummary(const std::string& summaryFile)
{
    using Clock = std::chrono::steady_clock;
    Clock::time_point deadline = Clock::now() + std::chrono::seconds(s_summaryWaitSeconds);
    std::error_code ec;
    while (!fs::exists(summaryFile, ec) && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    printf("\nSculpting application\n");
    if (!fs::exists(summaryFile, ec))
    {
        printf("  no report from it within %d s (%s)\n", s_summaryWaitSeconds, summaryFile.c_str());
        return;
    }
    std::istringstream lines(readSmallFile(summaryFile, 1 << 20));
    std::string line;
    while (std::getline(lines, line))
        printf("  %s\n", line.c_str());
}
// ---- Loading the plug-in as the host does --------------------------------------

struct LoadedPlugIn
{
    PlugInBundle bundle;
    void* module = nullptr;
    EntryPoint entry = nullptr;
};

void printPlugIn(const PlugInBundle& bundle)
{
    printf("  plug-in   %s\n", bundle.path.c_str());
    std::istringstream lines(describePiPL(bundle));
    std::string line;
    while (std::getline(lines, line))
        printf("            %s\n", line.c_str());
}

// Loads the bundle's executable and finds the entry point its PiPL names.
bool load(LoadedPlugIn& plugIn, std::string& reason)
{
    plugIn.module = dlopen(plugIn.bundle.executable.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (plugIn.module == nullptr)
    {
        const char* error = dlerror();
        reason = "cannot load its executable: " + std::string(error ? error : "");
        return false;
    }
    plugIn.entry = reinterpret_cast<EntryPoint>(dlsym(plugIn.module, plugIn.bundle.entry.c_str()));
    if (plugIn.entry == nullptr)
    {
        reason = "its executable has no " + plugIn.bundle.entry +
                 ", the entry point its PiPL names";
        dlclose(plugIn.module);
        plugIn.module = nullptr;
        return false;
    }
    return true;
}

// A bundle, or the first loadable automation plug-in of a Plug-ins folder
// (the others are listed, those the host would skip with the reason). With
// listOnly nothing is loaded. Returns the exit status when it cannot go on.
int choosePlugIn(const Options& options, LoadedPlugIn& plugIn)
{
    std::string path = options.plugin;
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    std::error_code ec;
    if (path.empty() || !fs::is_directory(path, ec))
    {
        fprintf(stderr, "tiv-host: --plugin takes a .plugin bundle or a Plug-ins folder: %s\n",
                path.empty() ? "(none given)" : path.c_str());
        return 2;
    }
    bool isBundle = fs::path(path).extension() == ".plugin";
    std::vector<std::string> candidates = isBundle ? std::vector<std::string>{path}
                                                   : findBundles(path);
    if (!isBundle) printf("Plug-ins folder %s: %zu bundles\n", path.c_str(), candidates.size());
    int usable = 0;
    for (const std::string& candidate : candidates)
    {
        PlugInBundle bundle;
        std::string reason;
        bool ok = examineBundle(candidate, bundle, reason);
        if (ok && options.listOnly)
            printPlugIn(bundle);
        else if (ok && usable == 0)
        {
            plugIn.bundle = bundle;
            ok = load(plugIn, reason);
        }
        if (!ok && isBundle)
        {
            fprintf(stderr, "tiv-host: cannot use the plug-in %s: %s\n", candidate.c_str(),
                    reason.c_str());
            return 2;
        }
        if (!ok)
            printf("  skipped   %s: %s\n", candidate.c_str(), reason.c_str());
        else if (usable++ > 0 && !options.listOnly)
            printf("  not run   %s\n", candidate.c_str());
    }
    if (usable == 0)
    {
        fprintf(stderr, "tiv-host: no automation plug-in in %s that this editor can load\n",
                path.c_str());
        return 2;
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i)
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)
        {
            usage(stdout);
            return 0;
        }
    if (!parseOptions(argc, argv, options))
    {
        usage(stderr);
        return 2;
    }

    LoadedPlugIn plugIn;
    if (int status = choosePlugIn(options, plugIn)) return status;
    if (options.listOnly) return 0;

    HostDocument document;
    document.layerName = options.layer;
    document.is3D = !options.notA3DLayer;
    std::string modelText = "a textured sphere";
    if (!options.model.empty())
    {
        std::string error;
        if (!readObjModel(options.model, document.model, error))
        {
            fprintf(stderr, "tiv-host: cannot use the model: %s\n", error.c_str());
            dlclose(plugIn.module);
            return 2;
        }
        modelText = options.model;
    }
    else
        document.model = makeDefaultModel();

    printf("tiv-host: a simulated image editor\n");
    printPlugIn(plugIn.bundle);
    if (document.is3D)
        printf("  layer     \"%s\": 3D, %s, %zu triangles\n", document.layerName.c_str(),
               modelText.c_str(), document.model.triangles.size());
    else
        printf("  layer     \"%s\": not a 3D layer\n", document.layerName.c_str());
    printf("  exchange  %s\n", options.exchange.c_str());
    fflush(stdout);

    std::string application = configuredApplication(options.exchange);
    std::string summaryFile = application.empty() ? std::string() : summaryFileOf(application);
    std::error_code ec;
    if (!summaryFile.empty()) fs::remove(summaryFile, ec);

    HostSession host(document);
    for (const std::string& name : options.deniedSuites)
        host.denySuite(name);

    Snapshot before = snapshot(options.exchange);
    PIActionParameters parameters = {plugInDialogDisplay, 0, nullptr};
    PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, host.basicSuite()}, &parameters};
    std::string folderBefore = currentFolder();
    printf("\n%s(\"%s\", \"%s\")\n", plugIn.bundle.entry.c_str(), options.caller.c_str(),
           options.selector.c_str());
    fflush(stdout);
    auto start = std::chrono::steady_clock::now();
    SPErr result = plugIn.entry(options.caller.c_str(), options.selector.c_str(), &message);
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::string folderAfter = currentFolder();
    size_t eventsDuringRun = host.events().size();
    for (const std::string& event : host.events())
        printf("  - %s\n", event.c_str());
    // Comparing the caller and selector is no request: it makes no event.
    if (host.events().empty()) printf("  (the plug-in asked nothing of the editor)\n");
    printf("  returned %s after %.1f s\n", codeText(result).c_str(), seconds);
    if (folderAfter == folderBefore)
        printf("  working folder unchanged: %s\n", folderAfter.c_str());
    else
        printf("  working folder CHANGED: %s -> %s\n", folderBefore.c_str(), folderAfter.c_str());

    dlclose(plugIn.module);
    printf("\nUnloading the plug-in\n");
    for (size_t i = eventsDuringRun; i < host.events().size(); ++i)
        printf("  - %s\n", host.events()[i].c_str());
    int stillHeld = 0;
    for (const auto& held : host.heldSuites())
        stillHeld += held.second;
    printf("  suites still held: %d; descriptors, references and handles not given back: %zu\n",
           stillHeld, host.liveObjects());

    struct rusage usage;
    if (getrusage(RUSAGE_SELF, &usage) == 0)
        printf("  peak memory of the editor with the plug-in: %ld MiB\n", usage.ru_maxrss / 1024);

    printChanges(options.exchange, before, snapshot(options.exchange));

    // Only a run that got past the export and was not cut short by an error
    // goes on to the sculpting application.
    bool exportPlayed = !host.exports().empty() && result == kSPNoError;
    if (exportPlayed && !summaryFile.empty())
        printSummary(summaryFile);
    else if (exportPlayed)
        printf("\nSculpting application: none configured in %s/TivMorvel/Tiv_Config.txt\n",
               options.exchange.c_str());

    if (result != kSPNoError)
    {
        printf("\nThe plug-in failed with %s\n", codeText(result).c_str());
        return 1;
    }
    return 0;
}
