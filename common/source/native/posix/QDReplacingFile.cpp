#include "QDReplacingFile.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// Launched applications must not inherit a file being written.
int withCloseOnExec(int flags)
{
#ifdef O_CLOEXEC
    flags |= O_CLOEXEC;
#endif
    return flags;
}

// A stream that could not be had for want of memory is not a file that could
// not be opened.
FILE* streamOf(int fd)
{
    FILE* file = fdopen(fd, "w");
    if (file) return file;
    int error = errno;
    close(fd);
    if (error == ENOMEM) throw std::bad_alloc();
    errno = error;
    return nullptr;
}

// A descriptor closed on every way out, a throw included.
struct Descriptor
{
    int fd;
    ~Descriptor()
    {
        if (fd >= 0) close(fd);
    }
    int release()
    {
        int kept = fd;
        fd = -1;
        return kept;
    }
};

// The target's name cut so that the temporary name still fits the longest
// name a folder takes.
const int s_longestKeptName = 200;

// A name of our own beside the target: the process id and a serial number
// keep writers apart, and a name left over from a crashed run of the same id
// (or planted there) is removed rather than written through.
int createTemporary(const QDString& target, QDString& temporary)
{
    static unsigned int s_serial = 0;
    QDString kept(target);
    int leaf = kept.findLastCharOf("/") + 1;
    if (kept.length() - leaf > s_longestKeptName) kept.cutFrom(leaf + s_longestKeptName);
    char suffix[48];
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        snprintf(suffix, sizeof(suffix), ".part%ld.%u", long(getpid()), s_serial++);
        temporary = kept + suffix;
        int fd = ::open(temporary.c_str(), withCloseOnExec(O_WRONLY | O_CREAT | O_EXCL), 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
        unlink(temporary.c_str());
    }
    return -1;
}

// Gives the new file the target's owner, group and mode bits, the owner and
// group first since changing them may clear the set-id bits. False where the
// system does not let the writer hand them on (another user's file, a group
// the writer is not in): replacing the file would then change who has it.
bool takeIdentity(int fd, const struct stat& target)
{
    struct stat made;
    if (fstat(fd, &made) != 0) return false;
    if ((made.st_uid != target.st_uid || made.st_gid != target.st_gid) &&
        fchown(fd, target.st_uid, target.st_gid) != 0)
        return false;
    return fchmod(fd, target.st_mode & 07777) == 0;
}
} // namespace

bool QDReplacingFile::open(const QDString& path)
{
    discard();
    m_target = QDString(path.getValidFilePath());
    struct stat info;
    if (lstat(m_target.c_str(), &info) != 0)
    {
        // A new file is made whole too; where no file can be made beside it,
        // the in-place open says why, as fopen would.
        int fd = errno == ENOENT ? createTemporary(m_target, m_temporary) : -1;
        if (fd < 0)
        {
            m_temporary.clear();
            return openInPlace(-1);
        }
        return adoptTemporary(fd);
    }
    // A rename would replace a link or a node by a plain file, and give only
    // one of a file's names the new content.
    if (!S_ISREG(info.st_mode) || info.st_nlink > 1) return openInPlace(-1);

    // The target's own permissions decide, whatever its folder allows.
    Descriptor targetFd = {
        ::open(m_target.c_str(), withCloseOnExec(O_WRONLY | O_NOCTTY | O_NONBLOCK))};
    if (targetFd.fd < 0) return false;
    int fd = createTemporary(m_target, m_temporary);
    if (fd >= 0 && !takeIdentity(fd, info))
    {
        close(fd);
        unlink(m_temporary.c_str());
        fd = -1;
    }
    if (fd < 0)
    {
        m_temporary.clear();
        return openInPlace(targetFd.release());
    }
    return adoptTemporary(fd);
}

bool QDReplacingFile::adoptTemporary(int fd)
{
    try
    {
        m_file = streamOf(fd);
    }
    catch (...)
    {
        discard();
        throw;
    }
    if (!isOpen()) discard();
    return isOpen();
}

// Truncates and writes the target itself, as fopen with "w" does; `targetFd`
// is the target already opened for writing, or -1 to open (and create) it.
// The open never waits: a FIFO without a reader fails instead of blocking.
bool QDReplacingFile::openInPlace(int targetFd)
{
    int fd = targetFd;
    if (fd < 0)
        fd = ::open(m_target.c_str(),
                    withCloseOnExec(O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_NONBLOCK), 0666);
    if (fd < 0) return false;
    struct stat info;
    int flags = fcntl(fd, F_GETFL);
    if (fstat(fd, &info) != 0 || (S_ISREG(info.st_mode) && ftruncate(fd, 0) != 0) ||
        flags == -1 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == -1)
    {
        int error = errno;
        close(fd);
        errno = error;
        return false;
    }
    m_file = streamOf(fd);
    return isOpen();
}

bool QDReplacingFile::commit()
{
    if (!isOpen()) return false;
    // A buffered write reaches the disk at the flush: a full disk shows up
    // there or in the error flag of an earlier write.
    bool written = fflush(m_file) == 0 && ferror(m_file) == 0;
    bool closed = fclose(m_file) == 0;
    m_file = nullptr;
    if (m_temporary.isNull()) return written && closed;
    bool done = written && closed && rename(m_temporary.c_str(), m_target.c_str()) == 0;
    if (!done)
    {
        int error = errno;
        unlink(m_temporary.c_str());
        errno = error;
    }
    m_temporary.clear();
    return done;
}

void QDReplacingFile::discard()
{
    if (isOpen()) fclose(m_file);
    m_file = nullptr;
    if (!m_temporary.isNull()) unlink(m_temporary.c_str());
    m_temporary.clear();
}
