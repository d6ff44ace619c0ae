#pragma once

#include "QDTivMesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <iterator>
#include <pwd.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// A fresh, empty folder for the running test, inside the build tree.
inline std::string testFolder(const std::string& suffix = "")
{
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    std::filesystem::path dir =
        std::filesystem::path(TIV_TEST_TMP) /
        (std::string(info->test_suite_name()) + "." + info->name() + suffix);
    std::error_code ec;
    std::filesystem::permissions(dir, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(dir, ec);
    std::filesystem::create_directories(dir);
    return dir.string();
}

// Writes a whole file, making its folder first.
inline void writeBytes(const std::string& path, const std::string& bytes)
{
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

inline bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// Every failure a tool reports is one line naming what went wrong.
inline bool oneLine(const std::string& text, const std::string& part = "")
{
    return !text.empty() && text.find('\n') == text.size() - 1 && has(text, part);
}

inline std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// QDString to std::string; the null string becomes the empty one.
inline std::string toStd(const QDString& s)
{
    return s.isNull() ? std::string() : s.c_str();
}

template <typename T> QDArray<T> qdArray(const std::vector<T>& values)
{
    QDArray<T> array;
    for (const T& value : values)
        array.push_back(value);
    return array;
}
template <typename T> std::vector<T> values(const QDArray<T>& array)
{
    return std::vector<T>(array.begin(), array.end());
}

// Positions, four corners per face (-1 in a triangle's fourth), corner UVs.
inline QDTivMesh makeMesh(const std::vector<QDVector3f>& vertices, const std::vector<int>& corners,
                          const std::vector<QDVector2f>& uvs = {})
{
    QDTivMesh mesh;
    mesh.m_vertices = qdArray(vertices);
    mesh.m_faceVertexIndices = qdArray(corners);
    mesh.m_cornerUVs = qdArray(uvs);
    return mesh;
}

// Hand-built file images: little-endian words, zero runs, block headers.
inline std::string le32(unsigned int v)
{
    return {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
}
inline std::string f32(float f)
{
    unsigned int bits;
    memcpy(&bits, &f, 4);
    return le32(bits);
}
inline std::string zeros(size_t n)
{
    return std::string(n, '\0');
}
inline std::string block(unsigned tag, unsigned size, unsigned count, const std::string& data,
                         float param = 0.0f)
{
    return le32(tag) + le32(size) + le32(count) + f32(param) + data;
}

struct CommandRun
{
    int status = -1;
    std::string out, err;
};

// Runs a shell command line with its output and errors caught in files beside
// the test's own folder, which testFolder() would empty.
inline CommandRun runCommand(const std::string& command)
{
    const std::string dir = testFolder("-run");
    int raw = std::system((command + " > '" + dir + "/out' 2> '" + dir + "/err'").c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readBytes(dir + "/out"),
            readBytes(dir + "/err")};
}

// The tool under test, run by the shell as runCommand() runs any command, in
// `folder` when one is given.
inline CommandRun tivtool(const std::string& arguments, const std::string& folder = "")
{
    const std::string in = folder.empty() ? "" : "cd '" + folder + "' && ";
#ifdef TIV_TIVTOOL_EXE
    return runCommand(in + "'" TIV_TIVTOOL_EXE "' " + arguments);
#else
    return runCommand(in + "'tivtool was not built' " + arguments);
#endif
}

// The names in a folder, sorted.
inline std::vector<std::string> folderEntries(const std::string& dir)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Every write that would take a file past `bytes` fails (EFBIG) while it
// lives, instead of raising the signal that would end the process: a full
// disk at any byte, without root.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        m_handler = signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_saved);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_saved;
    void (*m_handler)(int);
};

// Runs `body` in a forked child as the user nobody, for what another user's
// files and folders let a writer do. Returns what `body` said; `skipped` tells
// why it could not run (not root, no such user, `folder` out of its reach).
inline std::string runAsNobody(const std::string& folder, const std::function<std::string()>& body,
                               std::string& skipped)
{
    const passwd* nobody = getpwnam("nobody");
    if (geteuid() != 0 || !nobody)
    {
        skipped = geteuid() != 0 ? "only root can run a test as another user" : "no user nobody";
        return std::string();
    }
    int channel[2];
    if (pipe(channel) != 0) return skipped = "no pipe", std::string();
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0)
    {
        close(channel[0]);
        std::string said;
        if (setgroups(0, nullptr) != 0 || setgid(nobody->pw_gid) != 0 ||
            setuid(nobody->pw_uid) != 0)
            said = "!could not become nobody";
        else if (access(folder.c_str(), X_OK) != 0)
            said = "!nobody cannot reach " + folder + " (a folder above it is closed)";
        else
            said = body();
        ssize_t ignored = write(channel[1], said.data(), said.size());
        (void)ignored;
        _exit(0);
    }
    close(channel[1]);
    std::string said;
    char buffer[4096];
    for (ssize_t n; (n = read(channel[0], buffer, sizeof(buffer))) > 0;)
        said.append(buffer, size_t(n));
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status)) said = "!the child did not finish";
    if (!said.empty() && said[0] == '!') skipped = said.substr(1), said.clear();
    return said;
}

// Gives a file or folder to nobody:nogroup, or to root, with the mode given.
inline void ownAs(const std::string& path, bool byNobody, mode_t mode)
{
    const passwd* nobody = getpwnam("nobody");
    uid_t uid = byNobody && nobody ? nobody->pw_uid : 0;
    gid_t gid = byNobody && nobody ? nobody->pw_gid : 0;
    EXPECT_EQ(chown(path.c_str(), uid, gid), 0) << path;
    EXPECT_EQ(chmod(path.c_str(), mode), 0) << path;
}
