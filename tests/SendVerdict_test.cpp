// What tiv-host concludes from a run: each way a send can stop gives 1 and
// names where, and only an arrival (or the message for a flat layer) gives 0.
// The whole runs that reach these verdicts are in sandbox/HostExit_test.cpp.

#include "SendVerdict.h"
#include "TestSupport.h"

namespace
{
// A first send of a 3D layer that the sculpting application loaded.
SendFacts arrived()
{
    SendFacts f;
    f.layerTriangles = 3968;
    f.exportAsked = f.exportWritten = f.tivWritten = true;
    f.tivPath = "/x/TivProjects/Default/Sphere.tiv";
    f.configFile = "/x/TivMorvel/Tiv_Config.txt";
    f.application = "/a/Morvel.app";
    f.executable = "/a/Morvel.app/Contents/MacOS/Morvel";
    f.executableFound = f.reportCame = true;
    f.waitedSeconds = 30;
    f.report = "Morvel (stand-in) opened /x/TivApps/Photoshop/Tiv_LoadTextures.mvs\n"
               "sent from: Photoshop\n"
               "Sphere.tiv: 1986 vertices, 3968 faces (3968 triangles, 0 quads), 11904 corner "
               "UVs (15872 slots)\n  picture: /x/Sphere.png\n";
    return f;
}

const char* const s_shown = "shows: The current layer is not a 3D layer.\n";
} // namespace

TEST(SendVerdict, EveryStopIsOneAndSaysWhere)
{
    struct Case
    {
        const char* what;
        void (*change)(SendFacts&);
        int status;
        std::string line;
    };
    const std::string stopped = "tiv-host: the send stopped ";
    const std::vector<Case> cases = {
        {"arrival", [](SendFacts&) {}, 0,
         "tiv-host: sent; the sculpting application loaded Sphere.tiv (1986 vertices, 3968 faces)"},
        {"plug-in error", [](SendFacts& f) { f.result = kSPBadParameterError; }, 1,
         stopped + "in the plug-in: it failed with 'Parm' (0x5061726D)"},
        {"plug-in error, not a code", [](SendFacts& f) { f.result = -108; }, 1,
         stopped + "in the plug-in: it failed with -108"},
        {"no export asked", [](SendFacts& f) { f.exportAsked = false; }, 1,
         "tiv-host: nothing sent: the plug-in did not ask for the layer's export"},
        {"export not written",
         [](SendFacts& f)
         {
             f.exportWritten = f.tivWritten = false;
             f.exportError = "could not write /x/A.obj: Is a directory";
             f.report = s_shown;
         },
         1, stopped + "at the export: could not write /x/A.obj: Is a directory"},
        {"no .tiv", [](SendFacts& f) { f.tivWritten = false; }, 1,
         stopped + "after the export: no /x/TivProjects/Default/Sphere.tiv was written"},
        {"none configured", [](SendFacts& f) { f.application.clear(); }, 1,
         stopped + "before the sculpting application: none is configured in "
                   "/x/TivMorvel/Tiv_Config.txt"},
        {"no launch", [](SendFacts& f) { f.executableFound = false; }, 1,
         stopped + "before the sculpting application: no launch, /a/Morvel.app has no "
                   "executable /a/Morvel.app/Contents/MacOS/Morvel"},
        {"no report", [](SendFacts& f) { f.reportCame = false; }, 1,
         stopped + "at the sculpting application: no report from it within 30 s"},
        {"message instead of the mesh", [](SendFacts& f) { f.report = s_shown; }, 1,
         stopped + "at the sculpting application: it did not load Sphere.tiv: it showed \"The "
                   "current layer is not a 3D layer.\""},
        {"unreadable mesh", [](SendFacts& f) { f.report = "Sphere.tiv: cannot be read\n"; }, 1,
         stopped + "at the sculpting application: Sphere.tiv cannot be read"},
        {"empty mesh",
         [](SendFacts& f)
         { f.report = "Sphere.tiv: 0 vertices, 0 faces (0 triangles, 0 quads)\n"; },
         1,
         stopped + "at the sculpting application: Sphere.tiv arrived without a face, where the "
                   "layer has 3968 triangles"},
        // Only the line of the object sent counts: another mesh of the same
        // stem loaded is not this one.
        {"another object",
         [](SendFacts& f) { f.report = "Sphere.tiv.old.tiv: 3 vertices, 1 faces\n"; }, 1,
         stopped + "at the sculpting application: it did not load Sphere.tiv"},
        {"flat layer, message shown",
         [](SendFacts& f)
         {
             f.layerIs3D = f.exportWritten = f.tivWritten = false;
             f.report = s_shown;
         },
         0,
         "tiv-host: nothing to send, the layer is not a 3D layer; the sculpting application "
         "showed \"The current layer is not a 3D layer.\""},
        {"flat layer, stale mesh sent", [](SendFacts& f) { f.layerIs3D = false; }, 1,
         stopped + "at the sculpting application: the layer is not a 3D layer, yet it loaded "
                   "Sphere.tiv (1986 vertices, 3968 faces), made from the OBJ an earlier export "
                   "left"},
        {"flat layer, nothing shown",
         [](SendFacts& f)
         {
             f.layerIs3D = false;
             f.report = "ran the script\n";
         },
         1,
         stopped + "at the sculpting application: the layer is not a 3D layer, and it did not "
                   "show the message that says so"},
        {"flat layer, no report",
         [](SendFacts& f)
         {
             f.layerIs3D = false;
             f.reportCame = false;
         },
         1, stopped + "at the sculpting application: no report from it within 30 s"},
    };
    for (const Case& c : cases)
    {
        SendFacts facts = arrived();
        c.change(facts);
        SendVerdict verdict = judgeSend(facts);
        EXPECT_EQ(verdict.status, c.status) << c.what;
        EXPECT_EQ(verdict.line, c.line) << c.what;
    }
}

TEST(SendVerdict, TheReportIsAwaitedOnlyWhenTheApplicationCanHaveBeenStarted)
{
    SendFacts f = arrived();
    EXPECT_TRUE(applicationAsked(f) && !stoppedBeforeLoading(f));
    // A 3D layer whose export failed may still have had the message shown.
    f.exportWritten = false;
    EXPECT_TRUE(applicationAsked(f) && stoppedBeforeLoading(f));
    f = arrived();
    f.layerIs3D = f.exportWritten = f.tivWritten = false;
    EXPECT_TRUE(applicationAsked(f) && !stoppedBeforeLoading(f));
    for (void (*change)(SendFacts&) : {+[](SendFacts& s) { s.result = kSPBadParameterError; },
                                       +[](SendFacts& s) { s.exportAsked = false; },
                                       +[](SendFacts& s) { s.application.clear(); },
                                       +[](SendFacts& s) { s.executableFound = false; }})
    {
        f = arrived();
        change(f);
        EXPECT_FALSE(applicationAsked(f));
    }
}
