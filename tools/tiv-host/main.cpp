// tiv-host: a simulated image editor that loads an automation plug-in bundle
// the way the host does, runs it on a document with one current layer, and
// tells what the plug-in asked of it and what the run left in the exchange folder.

#include "ExchangeWatch.h"
#include "AbsolutePath.h"
#include "HostSession.h"
#include "PlugInBundle.h"
#include "SandboxLayout.h"
#include "SendVerdict.h"

#include <algorithm>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <new>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#ifndef TIV_HOST_DEFAULT_PLUGIN
#define TIV_HOST_DEFAULT_PLUGIN ""
#endif
#ifndef TIV_SANDBOX_ROOT
#define TIV_SANDBOX_ROOT ""
#endif
// A folder scan runs only plug-ins that work inside the build tree.
#ifndef TIV_BUILD_TREE
#define TIV_BUILD_TREE ""
#endif
// What goes into the build's sandbox: the stand-ins, this editor, the scripts.
#ifndef TIV_MORVEL_STANDIN
#define TIV_MORVEL_STANDIN ""
#define TIV_LAUNCHER_STANDIN ""
#define TIV_HOST_EXE ""
#define TIV_SANDBOX_SCRIPTS ""
#endif

namespace fs = std::filesystem;

namespace
{
typedef SPErr (*EntryPoint)(const char*, const char*, void*);

// How long the sculpting application gets to open the script and report back.
const int s_summaryWaitSeconds = 30;
// After a send that stopped before there was a mesh to load, the application
// can still have been asked to show a message: its report comes at once, or not at all.
const int s_afterStopWaitSeconds = 3;

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
    int waitSeconds = s_summaryWaitSeconds;
};

void usage(FILE* out)
{
    fprintf(out,
            "usage: tiv-host [--plugin BUNDLE.plugin|FOLDER] [--list] [--layer NAME]\n"
            "                [--model FILE.obj] [--not-3d] [--deny-suite NAME]...\n"
            "                [--caller TEXT] [--selector TEXT] [--exchange FOLDER]\n"
            "                [--wait SECONDS]\n"
            "Runs an automation plug-in bundle (default: the build's sandbox bundle; in a\n"
            "Plug-ins FOLDER, the first one the editor can load that works in the exchange\n"
            "folder) on a document whose current layer is NAME (default \"Sphere\", a\n"
            "textured sphere), then prints what the plug-in asked and what it left in the\n"
            "exchange folder (default: the build's sandbox, laid out first where it is\n"
            "missing), which must be the exchange root the bundle was built for. --list only\n"
            "lists the plug-ins found, with their property lists and exchange roots.\n"
            "--deny-suite: a suite the editor then refuses, by its name or its full name,\n"
            "in any case; it offers %s.\n"
            "--wait: how long the sculpting application has to report (default 30 s).\n"
            "Exit status: 0 the sculpting application loaded the layer's mesh, or showed\n"
            "the not-a-3D-layer message for a layer that is not 3D; 1 the plug-in failed or\n"
            "the send stopped before that (the last line says where and why); 2 an argument\n"
            "it cannot act on, a plug-in it cannot run or a model it cannot load (the last\n"
            "line on stderr says which).\n",
            HostSession::offeredSuiteNames().c_str());
}

// One line on stderr, the last one: what an argument should have been.
bool badArgument(const std::string& what)
{
    fprintf(stderr, "tiv-host: %s\n", what.c_str());
    return false;
}

bool parseOptions(int argc, char** argv, Options& options)
{
    const std::string suites = "a suite this editor offers, by its name or its full name, in "
                               "any case: " +
                               HostSession::offeredSuiteNames();
    const std::string seconds = "a whole number of seconds, 0 or more (at most 3600)";
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        std::string given;
        // The option's value, or false when it has none; `takes` says what it takes.
        auto value = [&](std::string& into, const std::string& takes)
        {
            if (i + 1 >= argc) return badArgument(arg + " takes " + takes);
            into = argv[++i];
            return true;
        };
        auto refuse = [&](const std::string& takes)
        { return badArgument(arg + " takes " + takes + "; not \"" + given + "\""); };
        bool ok = true;
        if (arg == "--plugin")
            ok = value(options.plugin, "a .plugin bundle or a Plug-ins folder");
        else if (arg == "--layer")
            ok = value(options.layer, "a layer name");
        else if (arg == "--model")
            ok = value(options.model, "an OBJ file");
        else if (arg == "--not-3d")
            options.notA3DLayer = true;
        else if (arg == "--list")
            options.listOnly = true;
        else if (arg == "--deny-suite" && (ok = value(given, suites)))
        {
            options.deniedSuites.push_back(HostSession::offeredSuite(given));
            if (options.deniedSuites.back().empty()) ok = refuse(suites);
        }
        else if (arg == "--caller")
            ok = value(options.caller, "a text");
        else if (arg == "--selector")
            ok = value(options.selector, "a text");
        else if (arg == "--exchange")
            ok = value(options.exchange, "a folder");
        else if (arg == "--wait" && (ok = value(given, seconds)))
        {
            char* end = nullptr;
            const long n = strtol(given.c_str(), &end, 10);
            if (given.empty() || *end != 0 || n < 0 || n > 3600) ok = refuse(seconds);
            options.waitSeconds = int(n);
        }
        else if (ok)
        {
            usage(stderr);
            ok = badArgument("unknown option: " + arg);
        }
        if (!ok) return false;
    }
    // What the paths mean, whatever the plug-in later does to the working folder.
    options.plugin = absolutePath(options.plugin);
    options.model = absolutePath(options.model);
    options.exchange = absolutePath(options.exchange);
    return true;
}

std::string currentFolder()
{
    char buffer[4096];
    return getcwd(buffer, sizeof(buffer)) ? buffer : "(unreadable)";
}

// ---- Loading the plug-in as the host does --------------------------------------

struct LoadedPlugIn
{
    PlugInBundle bundle;
    void* module = nullptr;
    EntryPoint entry = nullptr;
};

// The same folder, also when one of the names goes through a link.
bool sameFolder(const std::string& a, const std::string& b)
{
    std::error_code ec;
    return fs::path(a).lexically_normal() == fs::path(b).lexically_normal() ||
           fs::equivalent(a, b, ec);
}

bool insideBuildTree(const std::string& path)
{
    std::error_code ec;
    const fs::path tree = fs::weakly_canonical(TIV_BUILD_TREE, ec);
    if (std::string(TIV_BUILD_TREE).empty() || ec) return false;
    const fs::path inside = fs::weakly_canonical(path, ec).lexically_relative(tree);
    return !ec && !inside.empty() && *inside.begin() != "..";
}

// Why the editor does not run a plug-in it could load: followed in another
// folder than the one it writes to, a send would seem to leave nothing. A
// folder scan also passes over plug-ins that work outside the build tree (the
// product bundle works in the user's own exchange folder) or name no root.
std::string notToRunHere(const PlugInBundle& bundle, const std::string& exchange, bool scanned)
{
    const std::string& root = bundle.exchangeRoot;
    if (root.empty()) return scanned ? "its code names no exchange root" : "";
    const std::string writes = "it writes to the exchange root " + root;
    if (scanned && !insideBuildTree(root)) return writes + ", outside the build tree";
    if (!sameFolder(root, exchange)) return writes + ", not to " + exchange;
    return "";
}

void printPlugIn(const PlugInBundle& bundle)
{
    printf("  plug-in   %s\n", bundle.path.c_str());
    std::istringstream lines(describePiPL(bundle));
    std::string line;
    while (std::getline(lines, line))
        printf("            %s\n", line.c_str());
    if (bundle.exchangeRoot.empty())
        printf("            its code names no exchange root\n");
    else
        printf("            writes to the exchange root %s%s\n", bundle.exchangeRoot.c_str(),
               insideBuildTree(bundle.exchangeRoot) ? "" : ", outside the build tree");
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
        reason =
            "its executable has no " + plugIn.bundle.entry + ", the entry point its PiPL names";
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
    std::vector<std::string> candidates =
        isBundle ? std::vector<std::string>{path} : findBundles(path);
    if (!isBundle) printf("Plug-ins folder %s: %zu bundles\n", path.c_str(), candidates.size());
    int usable = 0;
    for (const std::string& candidate : candidates)
    {
        PlugInBundle bundle;
        std::string reason;
        bool ok = examineBundle(candidate, bundle, reason);
        if (ok && options.listOnly)
            printPlugIn(bundle);
        else if (ok)
            ok = (reason = notToRunHere(bundle, options.exchange, !isBundle)).empty();
        if (ok && !options.listOnly && usable == 0)
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

// ---- The build's sandbox -----------------------------------------------------

// Only the build's own sandbox is laid out, and only when the build names the
// stand-ins that go into it.
void layOutOwnSandbox(const Options& options)
{
    std::string root = TIV_SANDBOX_ROOT;
    if (root.empty() || !sameFolder(options.exchange, root) ||
        std::string(TIV_MORVEL_STANDIN).empty())
        return;
    SandboxParts parts;
    parts.root = root;
    parts.applications = fs::path(root).parent_path().string() + "/Applications";
    parts.morvelExe = TIV_MORVEL_STANDIN;
    parts.launcherExe = TIV_LAUNCHER_STANDIN;
    parts.hostExe = TIV_HOST_EXE;
    parts.scriptsFolder = TIV_SANDBOX_SCRIPTS;
    std::vector<std::string> made;
    std::string error;
    bool ok = layOutSandbox(parts, made, error);
    std::string sandbox = fs::path(root).parent_path().string() + "/";
    for (const std::string& path : made)
        printf("  sandbox   laid out %s\n",
               path.substr(path.compare(0, sandbox.size(), sandbox) == 0 ? sandbox.size() : 0)
                   .c_str());
    if (!ok) printf("  sandbox   not laid out: %s\n", error.c_str());
}

// ---- The document and the run ------------------------------------------------

// The current layer, with the model it holds. Returns the exit status when the
// model cannot be had.
int openDocument(const Options& options, HostDocument& document, std::string& modelText)
{
    document.layerName = options.layer;
    document.is3D = !options.notA3DLayer;
    modelText = "a textured sphere";
    if (options.model.empty())
    {
        document.model = makeDefaultModel();
        return 0;
    }
    std::string error;
    bool ok = false;
    try
    {
        ok = readObjModel(options.model, document.model, error);
    }
    catch (const std::bad_alloc&)
    {
        document.model = HostModel();
        error = options.model + ": not enough memory to load it";
    }
    if (!ok)
    {
        fprintf(stderr, "tiv-host: cannot use the model: %s\n", error.c_str());
        return 2;
    }
    modelText = options.model;
    return 0;
}

// What the run left, for the verdict: the export, the mesh file beside it, the
// sculpting application and its report.
SendFacts gatherFacts(const Options& options, const HostSession& host, SPErr result,
                      const Snapshot& before, const Snapshot& after)
{
    SendFacts facts;
    facts.result = result;
    facts.layerIs3D = host.document().hasLayer && host.document().is3D;
    facts.layerTriangles = host.document().model.triangles.size();
    facts.exportAsked = !host.exports().empty();
    if (facts.exportAsked)
    {
        const HostExportRequest& request = host.exports().back();
        facts.exportWritten = request.written;
        facts.exportError = request.error;
        std::string base = request.path;
        if (base.size() >= 4 && base.compare(base.size() - 4, 4, ".obj") == 0)
            base.resize(base.size() - 4);
        facts.tivPath = base + ".tiv";
        facts.tivWritten = writtenDuring(facts.tivPath, options.exchange, before, after);
    }
    facts.configFile = options.exchange + "/TivMorvel/Tiv_Config.txt";
    facts.application = configuredApplication(options.exchange);
    facts.executable = applicationExecutable(facts.application);
    facts.executableFound = !facts.application.empty() && isExecutable(facts.executable);
    return facts;
}

int runEditor(int argc, char** argv, bool& sendStarted)
{
    Options options;
    for (int i = 1; i < argc; ++i)
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)
        {
            usage(stdout);
            return 0;
        }
    if (!parseOptions(argc, argv, options)) return 2;

    LoadedPlugIn plugIn;
    if (int status = choosePlugIn(options, plugIn)) return status;
    if (options.listOnly) return 0;

    HostDocument document;
    std::string modelText;
    if (int status = openDocument(options, document, modelText))
    {
        dlclose(plugIn.module);
        return status;
    }

    printf("tiv-host: a simulated image editor\n");
    printPlugIn(plugIn.bundle);
    if (document.is3D)
        printf("  layer     \"%s\": 3D, %s, %zu triangles\n", document.layerName.c_str(),
               modelText.c_str(), document.model.triangles.size());
    else
        printf("  layer     \"%s\": not a 3D layer\n", document.layerName.c_str());
    printf("  exchange  %s\n", options.exchange.c_str());
    layOutOwnSandbox(options);
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
    sendStarted = true;
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
    printf("  returned %s after %.1f s\n", resultCodeText(result).c_str(), seconds);
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

    Snapshot after = snapshot(options.exchange);
    printChanges(options.exchange, before, after);

    SendFacts facts = gatherFacts(options, host, result, before, after);
    if (applicationAsked(facts))
    {
        facts.waitedSeconds = stoppedBeforeLoading(facts)
                                  ? std::min(options.waitSeconds, s_afterStopWaitSeconds)
                                  : options.waitSeconds;
        facts.reportCame = waitForReport(summaryFile, facts.waitedSeconds, facts.report);
    }
    SendVerdict verdict = judgeSend(facts);
    printf("\n%s\n", verdict.line.c_str());
    return verdict.status;
}
} // namespace

// The editor never dies of a failed allocation: before the plug-in runs it
// cannot run it (2), after, the send it followed failed (1).
int main(int argc, char** argv)
{
    bool sendStarted = false;
    try
    {
        return runEditor(argc, argv, sendStarted);
    }
    catch (const std::bad_alloc&)
    {
        if (!sendStarted)
        {
            fprintf(stderr, "tiv-host: not enough memory to run the plug-in\n");
            return 2;
        }
        printf("\ntiv-host: the send stopped: the editor ran out of memory while it followed "
               "it\n");
        return 1;
    }
}
