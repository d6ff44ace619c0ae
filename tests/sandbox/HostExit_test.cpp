// tiv-host's exit status and last line, run as a user runs it: after a plain
// build (no sandbox yet), with sends that stop at each place before the
// sculpting application, with a plug-in or a model it cannot use, and out of
// memory.

#include "SandboxSupport.h"

#include <sys/resource.h>

namespace
{
namespace fs = std::filesystem;

const std::string s_root = TIV_SANDBOX_ROOT;
const std::string s_sandbox = fs::path(s_root).parent_path().string();
const std::string s_project = s_root + "/TivProjects/Default";
const std::string s_config = s_root + "/TivMorvel/Tiv_Config.txt";
const std::string s_stopped = "tiv-host: the send stopped ";

// A bundle that launches nothing, or that never reports.
std::string application(const std::string& folder, const char* name, bool present)
{
    std::string app = folder + "/" + name + ".app";
    if (present)
    {
        writeBytes(sandbox::bundleExecutable(app), "#!/bin/sh\nexit 0\n");
        fs::permissions(sandbox::bundleExecutable(app), fs::perms(0755));
    }
    return app;
}
} // namespace

TEST(HostExit, PlainBuildSendsAndTheSandboxIsMadeWhereMissing)
{
    fs::remove_all(s_sandbox);
    CommandRun r = sandbox::tivHost("");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_TRUE(has(r.out, "sandbox   laid out Quendaric/TivMorvel/Tiv_Config.txt\n") &&
                has(r.out, "sandbox   laid out Applications/Morvel.app/Contents/MacOS/Morvel\n"))
        << r.out;
    EXPECT_EQ(sandbox::lastLine(r.out),
              "tiv-host: sent; the sculpting application loaded Sphere.tiv (1986 "
              "vertices, 3968 faces)");

    // A stand-in that is not the build's is replaced; the rest stays. (Renamed
    // into place: the one that just reported may still be exiting, and a
    // running executable cannot be opened for writing.)
    const std::string morvel = s_sandbox + "/Applications/Morvel.app/Contents/MacOS/Morvel";
    writeBytes(morvel + ".old", "#!/bin/sh\n");
    fs::rename(morvel + ".old", morvel);
    r = sandbox::tivHost("--not-3d --layer Background");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_TRUE(has(r.out, "sandbox   laid out Applications/Morvel.app/Contents/MacOS/Morvel\n"));
    EXPECT_EQ(r.out.find("laid out"), r.out.rfind("laid out")) << r.out;
    EXPECT_EQ(sandbox::lastLine(r.out),
              "tiv-host: nothing to send, the layer is not a 3D layer; the "
              "sculpting application showed \"The current layer is not a 3D "
              "layer: select a 3D layer and send it again.\"");
}

TEST(HostExit, SendsThatStopBeforeTheSculptingApplicationSayWhere)
{
    const std::string folder = testFolder();
    struct Case
    {
        std::string arguments;
        std::string config; // Tiv_Config.txt's application, when not the sandbox's own
        std::string last;
    };
    const std::string missing = application(folder, "Missing", false);
    const std::string silent = application(folder, "Silent", true);
    // Folders where the export and the mesh file would go.
    fs::create_directories(s_project + "/Blocked.obj");
    fs::create_directories(s_project + "/NoMesh.tiv");
    const std::vector<Case> cases = {
        {"--layer Blocked", "",
         s_stopped + "at the export: could not write " + s_project +
             "/Blocked.obj: Is a directory"},
        {"--layer NoMesh --wait 1", "",
         s_stopped + "after the export: no " + s_project + "/NoMesh.tiv was written"},
        {"--wait 1", missing,
         s_stopped + "before the sculpting application: no launch, " + missing +
             " has no executable " + missing + "/Contents/MacOS/Missing"},
        {"--wait 1", silent,
         s_stopped + "at the sculpting application: no report from it within 1 s"},
    };
    for (const Case& c : cases)
    {
        // The configuration is laid out again when it is missing.
        fs::remove(s_config);
        if (!c.config.empty()) writeBytes(s_config, "PATH = \"" + c.config + "\"\n");
        CommandRun r = sandbox::tivHost(c.arguments);
        EXPECT_EQ(r.status, 1) << c.arguments << "\n" << r.out << r.err;
        EXPECT_EQ(sandbox::lastLine(r.out), c.last) << c.arguments;
    }
    fs::remove(s_config);
    fs::remove_all(s_project + "/Blocked.obj");
    fs::remove_all(s_project + "/NoMesh.tiv");
}

TEST(HostExit, PlugInOrModelThatCannotBeUsedIsTwo)
{
    const std::string folder = testFolder(), elsewhere = testFolder("-elsewhere");
    const std::string bundle = folder + "/Broken.plugin";
    fs::copy(TIV_PLUGIN_BUNDLE, bundle, fs::copy_options::recursive);
    writeBytes(bundle + "/Contents/MacOS/TivPhotoshopPlugIn_Sandbox", "not a module");
    writeBytes(folder + "/flat.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    struct Case
    {
        std::string arguments, said; // the start of the last line on stderr
    };
    const std::vector<Case> cases = {
        {"--plugin '" + bundle + "'",
         "tiv-host: cannot use the plug-in " + bundle + ": cannot load its executable: "},
        {"--plugin '" + folder + "'", "tiv-host: no automation plug-in in " + folder},
        {"--model '" + folder + "/none.obj'",
         "tiv-host: cannot use the model: " + folder + "/none.obj: No such file or directory"},
        {"--model '" + folder + "/flat.obj'",
         "tiv-host: cannot use the model: " + folder + "/flat.obj: no face"},
        {"--wait -1", "tiv-host: --wait takes a whole number of seconds, 0 or more"},
        {"--deny-suite Nonsense", "tiv-host: --deny-suite takes a suite this editor offers"},
        // The plug-in's sends go to the root it was built for, whatever is asked.
        {"--exchange '" + elsewhere + "'",
         "tiv-host: cannot use the plug-in " + std::string(TIV_PLUGIN_BUNDLE) +
             ": it writes to the exchange root " + s_root + ", not to " + elsewhere},
    };
    for (const Case& c : cases)
    {
        CommandRun r = sandbox::tivHost(c.arguments);
        EXPECT_EQ(r.status, 2) << c.arguments;
        EXPECT_EQ(sandbox::lastLine(r.err).rfind(c.said, 0), 0u) << c.arguments << "\n" << r.err;
        EXPECT_FALSE(has(r.out, "AutoPluginMain(")) << c.arguments;
    }
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

// Under an address-space limit the editor says what it could not do, and
// never dies of it. The sanitizers reserve more address space than any limit
// leaves, so their builds skip this.
TEST(HostExit, OutOfMemoryIsSaidNeverAnAbort)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "address-space limits do not work under AddressSanitizer";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "address-space limits do not work under AddressSanitizer";
#endif
#endif
    const std::string folder = testFolder();
    // A 100,000-triangle layer: fans over 1,000 shared positions.
    std::string small;
    for (int i = 0; i < 1000; ++i)
        small += "v " + std::to_string(i % 37) + " " + std::to_string(i / 37) + " 0\n";
    std::string fan = "f";
    for (int i = 1; i <= 1000; ++i)
        fan += " " + std::to_string(i);
    for (int k = 0; k < 100; ++k)
        small += fan + "\n";
    writeBytes(folder + "/small.obj", small);
    // Ten million triangles in 20 MB: one polygon of as many corners.
    std::string huge = "v 0 0 0\nf";
    huge.reserve(20 << 20);
    for (int i = 0; i < 10000000; ++i)
        huge += " 1";
    writeBytes(folder + "/huge.obj", huge + "\n");

    // The least address space (KiB, to 1 MiB) in which the editor loads the
    // small layer and runs a plug-in that asks nothing.
    auto loads = [&](long kib)
    {
        return sandbox::tivHost("--model '" + folder + "/small.obj' --caller 'PS Other'",
                                std::to_string(kib))
                   .status == 1;
    };
    long low = 1024, high = 4 << 20;
    ASSERT_TRUE(loads(high));
    while (high - low > 1024)
    {
        long middle = (low + high) / 2;
        (loads(middle) ? high : low) = middle;
    }
    // The 10-million-triangle layer needs far more than 64 MiB over that.
    const std::string limit = std::to_string(high + (64 << 10));
    CommandRun r = sandbox::tivHost("--model '" + folder + "/huge.obj'", limit);
    EXPECT_EQ(r.status, 2) << r.out << r.err;
    EXPECT_EQ(r.err, "tiv-host: cannot use the model: " + folder +
                         "/huge.obj: not enough memory to load it\n");

    // 8 MiB over it, the small layer loads but its send cannot be made: the
    // plug-in's read buffer alone is twice that.
    r = sandbox::tivHost("--model '" + folder + "/small.obj' --layer Crowd --wait 5",
                         std::to_string(high + (8 << 10)));
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    EXPECT_EQ(sandbox::lastLine(r.out).compare(0, s_stopped.size(), s_stopped), 0) << r.out;
    EXPECT_FALSE(has(r.out, "loaded Crowd.tiv")) << r.out;
}
