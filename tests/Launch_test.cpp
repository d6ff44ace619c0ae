#include "QDDiskServer.h"
#include "QDDiskServer_Commands.h"
#include "sandbox/SandboxSupport.h"

#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace
{
using sandbox::bundleExecutable;
using sandbox::Runs;
using sandbox::waitForRuns;
using sandbox::writeRecordingScript;

// No child of ours is left, running or as a zombie.
bool noChildLeft()
{
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

// A child running the command, returned once it runs the program (no longer
// this one).
pid_t startChild(std::vector<std::string> command)
{
    std::vector<char*> argv;
    for (std::string& argument : command)
        argv.push_back(&argument[0]);
    argv.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0)
    {
        execvp(argv[0], argv.data());
        _exit(127);
    }
    std::error_code ec;
    const std::string exe = "/proc/" + std::to_string(pid) + "/exe";
    for (int i = 0; i < 500 && std::filesystem::equivalent(exe, "/proc/self/exe", ec); ++i)
        usleep(10000);
    return pid;
}
} // namespace

TEST(Launch, EndingsIgnoreCaseAndNonBundlesRunThroughTheShell)
{
    using namespace QDLaunchCommands;
    EXPECT_TRUE(isBundle("/A/M.app") && isBundle("x.APP") && isShellScript("/A/run.Sh"));
    EXPECT_FALSE(isBundle("/A/M.app/") || isBundle("/A/app") || isShellScript("/A/bash"));
    // Nothing is escaped: the quote inside ends the quoting early. The shell
    // gets the path without its volume.
    EXPECT_EQ(toStd(makeShellLaunchCommand("Disk:/bin/tool", "it's")), "/bin/tool 'it's'");
    EXPECT_EQ(toStd(QDDiskServer::getApplicationX86Folder(true)), "/Applications");

    // The shell waits for these, so the records are there on return; its
    // status is not looked at. An empty argument appends nothing.
    std::string dir = testFolder(), record = dir + "/record.txt";
    writeRecordingScript(dir + "/run.Sh", record);
    writeRecordingScript(dir + "/tool", record);
    EXPECT_TRUE(
        QDDiskServer::launchApplication(("Macintosh HD:" + dir + "/run.Sh").c_str(), "a b"));
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/run.Sh").c_str(), ""));
    EXPECT_TRUE(QDDiskServer::launchApplication(("file:" + dir + "/tool").c_str(), "c d"));
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/missing.sh").c_str(), ""));
    EXPECT_EQ(waitForRuns(record), (Runs{{"a b"}, {}, {"c d"}}));

    // A recording osascript first on the search path.
    writeRecordingScript(dir + "/bin/osascript", dir + "/osascript.txt");
    const std::string path = getenv("PATH");
    setenv("PATH", (dir + "/bin:" + path).c_str(), 1);
    EXPECT_TRUE(QDDiskServer::runAppleScript("display dialog 1"));
    EXPECT_TRUE(QDDiskServer::launchApplicationAsAdmin("Disk:/p/x.SH", "a b"));
    EXPECT_TRUE(QDDiskServer::launchApplicationAsAdmin("file:/p/M.App", ""));
    EXPECT_TRUE(QDDiskServer::launchApplicationAsAdmin("/bin/tool", "x"));
    setenv("PATH", path.c_str(), 1);
    const std::string suffix = "\" with administrator privileges";
    EXPECT_EQ(waitForRuns(dir + "/osascript.txt"),
              (Runs{{"-e", "display dialog 1"},
                    {"-e", "do shell script \"sh '/p/x.SH' 'a b'" + suffix},
                    {"-e", "do shell script \"open -a '/p/M.App'" + suffix},
                    {"-e", "do shell script \"'/bin/tool' 'x'" + suffix}}));
}

TEST(Launch, BundlesStartDetachedInTheirOwnSessionWithOneArgument)
{
    std::string dir = testFolder(), record = dir + "/record.txt";
    std::string sessions = dir + "/sessions.txt", app = dir + "/Stand In.APP";
    writeRecordingScript(bundleExecutable(app), record,
                         "cut -d' ' -f6 /proc/$$/stat >> '" + sessions + "'");
    std::string script = dir + "/Tiv Load.mvs";
    writeBytes(script, "");

    ASSERT_TRUE(QDDiskServer::launchApplication(app.c_str(), "one arg"));
    ASSERT_TRUE(QDDiskServer::launchApplication(app.c_str(), ""));
    ASSERT_TRUE(QDDiskServer::openFileInApplication(app.c_str(), script.c_str()));
    Runs runs = waitForRuns(record, 3);
    std::sort(runs.begin(), runs.end()); // detached: any order
    EXPECT_EQ(runs, (Runs{{}, {script}, {"one arg"}}));
    EXPECT_TRUE(noChildLeft());
    std::istringstream ids(sandbox::waitForText(
        sessions, [](const std::string& t) { return std::count(t.begin(), t.end(), '\n') >= 3; }));
    int detached = 0;
    for (std::string id; std::getline(ids, id);)
        detached += id != std::to_string(getsid(0));
    EXPECT_EQ(detached, 3);

    // Unresolvable paths, or an executable that cannot run: false, nothing started.
    std::string inert = dir + "/Inert.app";
    writeBytes(bundleExecutable(inert), "#!/bin/sh\n"); // not executable
    EXPECT_FALSE(QDDiskServer::launchApplication((dir + "/None.app").c_str(), "") ||
                 QDDiskServer::launchApplication(inert.c_str(), "x"));
    EXPECT_FALSE(QDDiskServer::openFileInApplication(app.c_str(), (dir + "/none.mvs").c_str()) ||
                 QDDiskServer::openFileInApplication(app.c_str(), ""));
    EXPECT_FALSE(QDDiskServer::openFileInApplication((dir + "/No.app").c_str(), script.c_str()) ||
                 QDDiskServer::openFileInApplication(inert.c_str(), script.c_str()));
    EXPECT_TRUE(noChildLeft());
    EXPECT_EQ(waitForRuns(record).size(), 3u);
}

TEST(Launch, RunningProcessIsFoundByItsExecutableOrItsScript)
{
    std::string dir = testFolder();
    ProcessSerialNumber psn = {7, 7}, binaryPsn = {7, 7}, scriptPsn = {7, 7}, plainPsn = {7, 7};
    EXPECT_FALSE(QDDiskServer::getRunningProcess((dir + "/None.app").c_str(), psn));
    EXPECT_TRUE(psn.highLongOfPSN == 0 && psn.lowLongOfPSN == 0);

    // A script bundle that runs until told to stop (30 s at most), and a
    // binary one (a copy of sleep).
    std::string pids = dir + "/pids.txt", stop = dir + "/stop";
    std::string scripted = dir + "/Scripted.app", binary = dir + "/Binary.app";
    writeRecordingScript(bundleExecutable(scripted), dir + "/record.txt",
                         "echo $$ > '" + pids + "'\ni=0\nwhile [ ! -e '" + stop +
                             "' ] && [ $i -lt 600 ]; do sleep 0.05; i=$((i+1)); done");
    std::filesystem::create_directories(binary + "/Contents/MacOS");
    std::filesystem::copy_file("/bin/sleep", bundleExecutable(binary));
    // Processes that only name the script do not run it: a tail of it, and its
    // interpreter running another script with it as an argument.
    writeBytes(dir + "/wait.sh", "while [ ! -e '" + stop + "' ]; do sleep 0.05; done\n");
    const pid_t decoys[] = {startChild({"tail", "-f", bundleExecutable(scripted)}),
                            startChild({"/bin/sh", dir + "/wait.sh", bundleExecutable(scripted)})};
    EXPECT_FALSE(QDDiskServer::getRunningProcess(scripted.c_str(), psn) ||
                 QDDiskServer::getRunningProcess(binary.c_str(), psn));

    // A launch returns once the executable is in place, so both are found at
    // once; the script's executable named as a plain path is the same process.
    ASSERT_TRUE(QDDiskServer::launchApplication(binary.c_str(), "30"));
    ASSERT_TRUE(QDDiskServer::launchApplication(scripted.c_str(), ""));
    EXPECT_TRUE(QDDiskServer::getRunningProcess(binary.c_str(), binaryPsn));
    EXPECT_TRUE(QDDiskServer::getRunningProcess(scripted.c_str(), scriptPsn));
    EXPECT_TRUE(QDDiskServer::getRunningProcess(bundleExecutable(scripted).c_str(), plainPsn));
    EXPECT_TRUE(binaryPsn.highLongOfPSN == 0 && binaryPsn.lowLongOfPSN != unsigned(getpid()));
    // Ended only when it really runs the copy of sleep.
    std::error_code ec;
    if (std::filesystem::equivalent("/proc/" + std::to_string(binaryPsn.lowLongOfPSN) + "/exe",
                                    bundleExecutable(binary), ec))
        kill(pid_t(binaryPsn.lowLongOfPSN), SIGKILL);

    unsigned int scriptPid =
        unsigned(atoi(sandbox::waitForText(pids, [](const std::string& t)
                                           { return !t.empty() && t.back() == '\n'; })
                          .c_str()));
    EXPECT_TRUE(scriptPsn.highLongOfPSN == 0 && scriptPsn.lowLongOfPSN == scriptPid &&
                plainPsn.lowLongOfPSN == scriptPid);

    // Once it has ended it is no longer found.
    writeBytes(stop, "");
    for (pid_t decoy : decoys)
    {
        kill(decoy, SIGKILL);
        waitpid(decoy, nullptr, 0);
    }
    bool running = true;
    for (int i = 0; i < 500 && running; ++i)
        if ((running = QDDiskServer::getRunningProcess(scripted.c_str(), psn))) usleep(10000);
    EXPECT_FALSE(running);
    EXPECT_EQ(psn.lowLongOfPSN, 0u);
}
