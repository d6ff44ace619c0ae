// Processes and launching on POSIX systems. A path ending in ".app" is a bundle
// folder laid out as on the Mac; its executable is Contents/MacOS/<name>.
#include "QDDiskServer.h"
#include "QDDiskServer_Commands.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
struct FileIdentity
{
    dev_t device;
    ino_t inode;
    bool operator==(const FileIdentity& o) const { return device == o.device && inode == o.inode; }
};

bool identify(const char* path, FileIdentity& id)
{
    struct stat st;
    if (stat(path, &st) != 0) return false;
    id.device = st.st_dev;
    id.inode = st.st_ino;
    return true;
}

// The executable an application path stands for, which must exist as a file:
// the counterpart of resolving the path to a file reference on the Mac.
bool resolveExecutable(const QDString& appPath, QDString& executable, FileIdentity& id)
{
    QDString path(appPath.getValidFilePath());
    executable = path;
    if (QDLaunchCommands::isBundle(appPath))
    {
        QDString name(path);
        name.cutTo(name.findLastCharOf("/") + 1);
        name.cutFrom(name.length() - 4);
        executable = path + "/Contents/MacOS/" + name;
    }
    struct stat st;
    if (executable.empty() || stat(executable.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return false;
    id.device = st.st_dev;
    id.inode = st.st_ino;
    return true;
}

// The interpreter that the kernel starts for a script: the path on its "#!"
// line and that line's one optional argument (the rest of the line, as one).
struct Interpreter
{
    FileIdentity id;
    QDString argument;
};

bool readInterpreter(const QDString& script, Interpreter& interpreter)
{
    char line[256] = {};
    FILE* file = fopen(script.c_str(), "rb");
    if (!file && errno == ENOMEM) throw std::bad_alloc();
    if (!file) return false;
    size_t n = fread(line, 1, sizeof(line) - 1, file);
    fclose(file);
    if (n < 2 || line[0] != '#' || line[1] != '!') return false;
    line[strcspn(line, "\n")] = 0;
    const char* blanks = " \t";
    char* path = line + 2 + strspn(line + 2, blanks);
    char* rest = path + strcspn(path, blanks);
    if (*rest) *rest++ = 0;
    rest += strspn(rest, blanks);
    size_t end = strlen(rest);
    while (end > 0 && strchr(blanks, rest[end - 1]))
        --end;
    interpreter.argument.create(rest, rest + end);
    return *path && identify(path, interpreter.id);
}

// Whether a command-line argument of a process names the file: relative
// arguments are taken from the process's own working folder.
bool argumentNames(int pid, const char* argument, const FileIdentity& target)
{
    char path[4200];
    if (argument[0] == '/')
        snprintf(path, sizeof(path), "%s", argument);
    else
        snprintf(path, sizeof(path), "/proc/%d/cwd/%s", pid, argument);
    FileIdentity id;
    return identify(path, id) && id == target;
}

// Whether the interpreter process runs the script as its program: the script
// is the first argument after the "#!" line's own and any options. A process
// that merely names the script further on (a shell running another script
// with it as an argument) does not run it.
bool runsScript(int pid, const FileIdentity& script, const Interpreter& interpreter)
{
    // Enough for a few arguments of the longest path; longer command lines
    // simply do not match. Had before the open, so that a throw leaks no descriptor.
    static const size_t s_capacity = 3 * 4096 + 4;
    std::unique_ptr<char[]> line(new char[s_capacity + 1]);
    char path[64];
    snprintf(path, sizeof(path), "/proc/%d/cmdline", pid);
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    size_t used = 0;
    while (used < s_capacity)
    {
        ssize_t got = read(fd, line.get() + used, s_capacity - used);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        used += size_t(got);
    }
    close(fd);
    line[used] = 0;

    const char* end = line.get() + used;
    const char* argument = line.get() + strlen(line.get()) + 1;
    if (argument < end && !interpreter.argument.empty() &&
        strcmp(interpreter.argument.c_str(), argument) == 0)
        argument += strlen(argument) + 1;
    while (argument < end && argument[0] == '-')
        argument += strlen(argument) + 1;
    return argument < end && *argument && argumentNames(pid, argument, script);
}

// A process of the application: one whose executable is the application's, or
// its script's interpreter running that script.
bool processRuns(int pid, const FileIdentity& target, const Interpreter* interpreter)
{
    char path[64];
    snprintf(path, sizeof(path), "/proc/%d/exe", pid);
    FileIdentity id;
    if (!identify(path, id)) return false;
    if (id == target) return true;
    return interpreter && id == interpreter->id && runsScript(pid, target, *interpreter);
}

int parsePid(const char* name)
{
    long value = 0;
    for (const char* p = name; *p; ++p)
    {
        if (*p < '0' || *p > '9' || value > 100000000L) return 0;
        value = value * 10 + (*p - '0');
    }
    return int(value);
}

void redirect(int from, int to)
{
    if (from != to) dup2(from, to);
}

// Starts the executable in its own session and lets it go: an intermediate
// child forks it and exits at once, so the process is adopted by the system
// and never left behind as a zombie of ours. A close-on-exec pipe tells
// whether the exec itself worked.
bool spawnDetached(const QDString& executable, const QDString& argument)
{
    // Everything the children need is prepared here: after fork only
    // async-signal-safe calls are allowed.
    char* const argv[3] = {const_cast<char*>(executable.c_str()),
                           argument.empty() ? nullptr : const_cast<char*>(argument.c_str()),
                           nullptr};
    int fds[2];
    if (pipe(fds) != 0) return false;
    for (int& fd : fds)
    {
        // Above the standard descriptors, which the child replaces.
        int moved = fcntl(fd, F_DUPFD_CLOEXEC, 3);
        if (moved >= 0)
        {
            close(fd);
            fd = moved;
        }
    }

    pid_t child = fork();
    if (child < 0)
    {
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (child == 0)
    {
        close(fds[0]);
        setsid();
        pid_t grandchild = fork();
        if (grandchild != 0) _exit(grandchild < 0 ? 1 : 0);
        int devNull = open("/dev/null", O_RDWR);
        if (devNull >= 0)
        {
            redirect(devNull, 0);
            redirect(devNull, 1);
            redirect(devNull, 2);
            if (devNull > 2) close(devNull);
        }
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        signal(SIGPIPE, SIG_DFL);
        execv(argv[0], argv);
        int error = errno;
        ssize_t written = write(fds[1], &error, sizeof(error));
        (void)written;
        _exit(127);
    }

    close(fds[1]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
    {
    }
    int error = 0;
    ssize_t got;
    do
        got = read(fds[0], &error, sizeof(error));
    while (got < 0 && errno == EINTR);
    close(fds[0]);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 && got == 0;
}
} // namespace

bool QDDiskServer::getRunningProcess(const QDString& appPath, ProcessSerialNumber& psn)
{
    psn.highLongOfPSN = 0;
    psn.lowLongOfPSN = 0;
    QDString executable;
    FileIdentity target;
    if (!resolveExecutable(appPath, executable, target)) return false;
    Interpreter interpreter;
    const Interpreter* script = readInterpreter(executable, interpreter) ? &interpreter : nullptr;

    std::unique_ptr<DIR, int (*)(DIR*)> processes(opendir("/proc"), closedir);
    // Want of memory is not "not running": the send must not go on as if it were.
    if (!processes && errno == ENOMEM) throw std::bad_alloc();
    if (!processes) return false;
    while (dirent* entry = readdir(processes.get()))
    {
        int pid = parsePid(entry->d_name);
        if (pid > 0 && processRuns(pid, target, script))
        {
            psn.lowLongOfPSN = (unsigned int)pid;
            return true;
        }
    }
    return false;
}

bool QDDiskServer::launchApplication(const QDString& appPath, const QDString& argument)
{
    if (!QDLaunchCommands::isBundle(appPath))
        return QDLaunchCommands::launchThroughShell(appPath, argument);
    QDString executable;
    FileIdentity id;
    if (!resolveExecutable(appPath, executable, id)) return false;
    return spawnDetached(executable, argument);
}

bool QDDiskServer::openFileInApplication(const QDString& appPath, const QDString& filePath)
{
    QDString executable;
    FileIdentity appId, fileId;
    if (!resolveExecutable(appPath, executable, appId)) return false;
    QDString file(filePath.getValidFilePath());
    if (file.empty() || !identify(file.c_str(), fileId)) return false;
    return spawnDetached(executable, file);
}

// There are no Apple events or per-process keyboard events here, and no
// bundle metadata to read: these report that nothing was done.
bool QDDiskServer::sendAppleEventToApplication(const QDString&, unsigned int, const QDString&)
{
    return false;
}

bool QDDiskServer::sendKeyEventToApplication(const QDString&, int, int)
{
    return false;
}

bool QDDiskServer::getApplicationInfo(const QDString&, bool& flag, int& major, int& minor)
{
    flag = false;
    major = 0;
    minor = 0;
    return false;
}
