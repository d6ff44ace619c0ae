#include "QDReplacingFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// Only a plain file, or nothing, may be replaced by renaming over it.
bool replaceable(const char* path)
{
    struct stat info;
    return lstat(path, &info) != 0 ? errno == ENOENT : S_ISREG(info.st_mode);
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
    return nullptr;
}

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
        int flags = O_WRONLY | O_CREAT | O_EXCL;
#ifdef O_CLOEXEC
        flags |= O_CLOEXEC; // launched applications must not inherit it
#endif
        int fd = open(temporary.c_str(), flags, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
        unlink(temporary.c_str());
    }
    return -1;
}
} // namespace

bool QDReplacingFile::open(const QDString& path)
{
    discard();
    m_target = QDString(path.getValidFilePath());
    if (!replaceable(m_target.c_str()))
    {
        m_temporary.clear();
        m_file = QDDiskServer::fileOpen(m_target, "w");
        return isOpen();
    }
    int fd = createTemporary(m_target, m_temporary);
    if (fd < 0)
    {
        m_temporary.clear();
        return false;
    }
    try
    {
        m_file = streamOf(fd);
    }
    catch (...)
    {
        unlink(m_temporary.c_str());
        m_temporary.clear();
        throw;
    }
    if (!isOpen())
    {
        unlink(m_temporary.c_str());
        m_temporary.clear();
    }
    return isOpen();
}

bool QDReplacingFile::commit()
{
    if (!isOpen()) return false;
    // A buffered write reaches the disk at the flush: a full disk shows up
    // there or in the error flag of an earlier write.
    bool written = fflush(m_file) == 0 && ferror(m_file) == 0;
    bool closed = fclose(m_file) == 0;
    m_file = QDDiskServer::s_invalidFile;
    if (m_temporary.isNull()) return written && closed;
    bool done = written && closed && rename(m_temporary.c_str(), m_target.c_str()) == 0;
    if (!done) unlink(m_temporary.c_str());
    m_temporary.clear();
    return done;
}

void QDReplacingFile::discard()
{
    if (isOpen()) fclose(m_file);
    m_file = QDDiskServer::s_invalidFile;
    if (!m_temporary.isNull()) unlink(m_temporary.c_str());
    m_temporary.clear();
}
