#include "QDDiskServer.h"
#include "QDDiskServer_Commands.h"
#include "TestSupport.h"
#include "sandbox/SandboxSupport.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using sandbox::makeStandInBundle;
using sandbox::readRuns;
using sandbox::waitForRuns;
typedef std::vector<std::vector<std::string>> Runs;

std::string str(const QDString& s)
{
    return s.isNull() ? std::string() : std::string(s.c_str());
}

// No child of ours is left, running or as a zombie.
bool noChildLeft()
{
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

// Puts a recording `osascript` first on the search path for the life of a test.
class FakeOsascript
{
public:
    explicit FakeOsascript(const std::string& folder) : m_record(folder + "/osascript.txt")
    {
        sandbox::writeRecordingScript(folder + "/bin/osascript", m_record);
        const char* path = getenv("PATH");
        m_savedPath = path ? path : "";
        setenv("PATH", (folder + "/bin:" + m_savedPath).c_str(), 1);
    }
    ~FakeOsascript() { setenv("PATH", m_savedPath.c_str(), 1); }
    Runs runs() const { return readRuns(m_record); }

private:
    std::string m_record, m_savedPath;
};

// Ends a process only when it really runs the given executable.
void killIfRunning(unsigned int pid, const std::string& executable)
{
    std::error_code ec;
    std::filesystem::path exe =
        std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", ec);
    if (pid > 0 && !ec && std::filesystem::equivalent(exe, executable, ec))
        kill(pid_t(pid), SIGKILL);
}
} // namespace

TEST(Launch, EndingsSelectTheKindIgnoringCaseAndShapeTheShellCommands)
{
    using namespace QDLaunchCommands;
    EXPECT_TRUE(isBundle("/A/M.app") && isBundle("/A/M.APP") && isBundle("x.App"));
    EXPECT_TRUE(isShellScript("/A/run.sh") && isShellScript("/A/run.Sh"));
    EXPECT_FALSE(isBundle("/A/M.app/") || isBundle("/A/app") || isShellScript("/A/bash"));

    EXPECT_EQ(str(makeShellLaunchCommand("/a b/run.SH", "x y")), "sh \"/a b/run.SH\" \"x y\"");
    EXPECT_EQ(str(makeShellLaunchCommand("/a b/run.sh", "")), "sh \"/a b/run.sh\"");
    EXPECT_EQ(str(makeShellLaunchCommand("/bin/tool", "x y")), "/bin/tool 'x y'");
    EXPECT_EQ(str(makeShellLaunchCommand("/bin/tool", QDString())), "/bin/tool");
    // Nothing is escaped: the quote inside ends the quoting early.
    EXPECT_EQ(str(makeShellLaunchCommand("/bin/tool", "it's")), "/bin/tool 'it's'");

    EXPECT_EQ(str(QDDiskServer::getApplicationFolder()), "/Applications");
    EXPECT_EQ(str(QDDiskServer::getApplicationX86Folder(true)), "/Applications");
}

TEST(Launch, AppleScriptAndAdminLaunchesAreOsascriptCommands)
{
    std::string dir = testFolder();
    FakeOsascript osascript(dir);
    EXPECT_TRUE(QDDiskServer::runAppleScript("display dialog 1"));
    EXPECT_TRUE(QDDiskServer::launchApplicationAsAdmin("/p/x.SH", "a b"));
    EXPECT_TRUE(QDDiskServer::launchApplicationAsAdmin("/p/M.App", ""));
    EXPECT_TRUE(QDDiskServer::launchApplicationAsAdmin("/bin/tool", "x"));
    const std::string suffix = "\" with administrator privileges";
    EXPECT_EQ(osascript.runs(), (Runs{{"-e", "display dialog 1"},
                                      {"-e", "do shell script \"sh '/p/x.SH' 'a b'" + suffix},
                                      {"-e", "do shell script \"open -a '/p/M.App'" + suffix},
                                      {"-e", "do shell script \"'/bin/tool' 'x'" + suffix}}));
}

TEST(Launch, ScriptsAndPlainExecutablesRunThroughTheShell)
{
    std::string dir = testFolder();
    std::string record = dir + "/record.txt";
    sandbox::writeRecordingScript(dir + "/run.Sh", record);
    sandbox::writeRecordingScript(dir + "/tool", record);

    // The shell waits for these, so the records are there on return.
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/run.Sh").c_str(), "a b"));
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/run.Sh").c_str(), ""));
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/tool").c_str(), "c d"));
    EXPECT_EQ(readRuns(record), (Runs{{"a b"}, {}, {"c d"}}));
    // The status of the shell is not looked at.
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/missing.sh").c_str(), ""));
    EXPECT_TRUE(QDDiskServer::launchApplication((dir + "/missing").c_str(), "x"));
}

TEST(Launch, BundlesStartDetachedWithTheirOneArgument)
{
    std::string dir = testFolder();
    std::string record = dir + "/record.txt";
    std::string sessions = dir + "/sessions.txt";
    std::string app = dir + "/Stand In.APP";
    makeStandInBundle(app, record, "cut -d' ' -f6 /proc/$$/stat >> '" + sessions + "'");

    ASSERT_TRUE(QDDiskServer::launchApplication(app.c_str(), "one arg"));
    ASSERT_TRUE(QDDiskServer::launchApplication(app.c_str(), ""));
    Runs runs = waitForRuns(record, 2);
    ASSERT_EQ(runs.size(), 2u);
    // Two detached processes: either may record first.
    EXPECT_TRUE((runs == Runs{{"one arg"}, {}}) || (runs == Runs{{}, {"one arg"}}));
    EXPECT_TRUE(noChildLeft());
    // Their own session, not ours.
    Runs sessionLines = waitForRuns(sessions, 2);
    EXPECT_EQ(sessionLines.size(), 2u);
    std::istringstream lines(sandbox::readText(sessions));
    for (std::string session; std::getline(lines, session);)
        EXPECT_NE(session, std::to_string(getsid(0)));

    // Not resolvable, or cannot be executed: false.
    EXPECT_FALSE(QDDiskServer::launchApplication((dir + "/None.app").c_str(), ""));
    std::string inert = dir + "/Inert.app";
    sandbox::writeText(sandbox::bundleExecutable(inert), "#!/bin/sh\n");
    EXPECT_FALSE(QDDiskServer::launchApplication(inert.c_str(), "x"));
    EXPECT_TRUE(noChildLeft());
}

TEST(Launch, OpenFileStartsTheApplicationWithTheFileAsItsArgument)
{
    std::string dir = testFolder();
    std::string record = dir + "/record.txt";
    std::string app = dir + "/Morvel.app";
    makeStandInBundle(app, record);
    std::string script = dir + "/Tiv Load.mvs";
    writeBytes(script, "");

    EXPECT_TRUE(QDDiskServer::openFileInApplication(app.c_str(), script.c_str()));
    EXPECT_EQ(waitForRuns(record, 1), (Runs{{script}}));
    EXPECT_TRUE(noChildLeft());

    // Either path unresolvable, or an application that cannot run: false, nothing started.
    EXPECT_FALSE(QDDiskServer::openFileInApplication(app.c_str(), (dir + "/none.mvs").c_str()));
    EXPECT_FALSE(QDDiskServer::openFileInApplication(app.c_str(), ""));
    EXPECT_FALSE(QDDiskServer::openFileInApplication((dir + "/No.app").c_str(), script.c_str()));
    std::string inert = dir + "/Inert.app";
    sandbox::writeText(sandbox::bundleExecutable(inert), "#!/bin/sh\n");
    EXPECT_FALSE(QDDiskServer::openFileInApplication(inert.c_str(), script.c_str()));
    EXPECT_EQ(readRuns(record).size(), 1u);
}

TEST(Launch, RunningProcessIsFoundByItsExecutableOrItsScript)
{
    std::string dir = testFolder();
    ProcessSerialNumber psn = {7, 7};
    EXPECT_FALSE(QDDiskServer::getRunningProcess((dir + "/None.app").c_str(), psn));
    EXPECT_EQ(psn.highLongOfPSN, 0u);
    EXPECT_EQ(psn.lowLongOfPSN, 0u);

    // A script bundle that runs until told to stop, and a binary one (a copy of sleep).
    std::string record = dir + "/record.txt";
    std::string pids = dir + "/pids.txt";
    std::string stop = dir + "/stop";
    std::string scripted = dir + "/Scripted.app";
    makeStandInBundle(scripted, record,
                      "echo $$ >> '" + pids + "'\nwhile [ ! -e '" + stop +
                          "' ]; do sleep 0.05; done");
    std::string binary = dir + "/Binary.app";
    std::filesystem::create_directories(binary + "/Contents/MacOS");
    std::filesystem::copy_file("/bin/sleep", binary + "/Contents/MacOS/Binary");

    psn = {7, 7};
    EXPECT_FALSE(QDDiskServer::getRunningProcess(scripted.c_str(), psn));
    EXPECT_EQ(psn.lowLongOfPSN, 0u);
    EXPECT_FALSE(QDDiskServer::getRunningProcess(binary.c_str(), psn));

    // A launch returns once the executable is in place, so both are found at once.
    ASSERT_TRUE(QDDiskServer::launchApplication(binary.c_str(), "30"));
    ASSERT_TRUE(QDDiskServer::launchApplication(scripted.c_str(), ""));
    ProcessSerialNumber binaryPsn = {7, 7}, scriptPsn = {7, 7}, plainPsn = {7, 7};
    EXPECT_TRUE(QDDiskServer::getRunningProcess(binary.c_str(), binaryPsn));
    EXPECT_TRUE(QDDiskServer::getRunningProcess(scripted.c_str(), scriptPsn));
    // The executable itself, named as a plain path, is the same process.
    EXPECT_TRUE(
        QDDiskServer::getRunningProcess(sandbox::bundleExecutable(scripted).c_str(), plainPsn));
    EXPECT_EQ(binaryPsn.highLongOfPSN, 0u);
    EXPECT_NE(binaryPsn.lowLongOfPSN, 0u);
    EXPECT_NE(binaryPsn.lowLongOfPSN, unsigned(getpid()));
    killIfRunning(binaryPsn.lowLongOfPSN, binary + "/Contents/MacOS/Binary");

    ASSERT_EQ(waitForRuns(pids, 1).size(), 1u);
    unsigned int scriptPid = unsigned(atoi(sandbox::readText(pids).c_str()));
    EXPECT_EQ(scriptPsn.highLongOfPSN, 0u);
    EXPECT_EQ(scriptPsn.lowLongOfPSN, scriptPid);
    EXPECT_EQ(plainPsn.lowLongOfPSN, scriptPid);

    // Once it has ended it is no longer found.
    writeBytes(stop, "");
    bool running = true;
    for (int i = 0; i < 500 && running; ++i)
    {
        running = QDDiskServer::getRunningProcess(scripted.c_str(), psn);
        if (running) usleep(10000);
    }
    EXPECT_FALSE(running);
    EXPECT_EQ(psn.lowLongOfPSN, 0u);
}
