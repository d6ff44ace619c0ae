#include "QDDiskServer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

QDDiskServer::FileHandle const QDDiskServer::s_invalidFile = nullptr;

namespace
{
// open(2) flags for an fopen mode, and the plain mode to hand fdopen. False for
// a mode that fopen would refuse.
bool openFlagsOfMode(const char* mode, int& flags, const char*& streamMode)
{
    if (!mode)
        return false;
    bool update = false;
    bool exclusive = false;
    for (const char* c = mode + (mode[0] ? 1 : 0); *c && *c != ','; ++c)
    {
        update = update || *c == '+';
        exclusive = exclusive || *c == 'x';
    }
    switch (mode[0])
    {
    case 'r':
        flags = update ? O_RDWR : O_RDONLY;
        streamMode = update ? "r+" : "r";
        return true;
    case 'w':
        flags = (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC | (exclusive ? O_EXCL : 0);
        streamMode = update ? "w+" : "w";
        return true;
    case 'a':
        flags = (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
        streamMode = update ? "a+" : "a";
        return true;
    default:
        return false;
    }
}
} // namespace

// Opened like fopen, with two guards: the open never waits (a FIFO without a
// writer would otherwise block the host forever), and anything opened for
// reading must be a regular file, since a folder, FIFO or device never ends or
// never starts and every reader here expects a file of known size.
QDDiskServer::FileHandle QDDiskServer::fileOpen(const QDString& path, const QDString& mode)
{
    int flags = 0;
    const char* streamMode = nullptr;
    if (!openFlagsOfMode(mode.c_str(), flags, streamMode))
        return s_invalidFile;
#ifdef O_CLOEXEC
    flags |= O_CLOEXEC; // launched applications must not inherit our files
#endif
    int fd = open(path.getValidFilePath(), flags | O_NONBLOCK, 0666);
    if (fd < 0)
        return s_invalidFile;
    struct stat info;
    bool reads = (flags & O_ACCMODE) != O_WRONLY;
    int status = fcntl(fd, F_GETFL);
    FILE* file = nullptr;
    if (fstat(fd, &info) == 0 && (!reads || S_ISREG(info.st_mode)) && status != -1 &&
        fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != -1)
        file = fdopen(fd, streamMode);
    if (!file)
        close(fd);
    return file;
}

int QDDiskServer::fileClose(FileHandle file)
{
    return file == s_invalidFile ? 1 : fclose(file);
}

unsigned long QDDiskServer::fileRead(FileHandle file, void* buffer, unsigned long n)
{
    return file == s_invalidFile ? 0 : fread(buffer, 1, n, file);
}

unsigned long QDDiskServer::fileWrite(FileHandle file, const void* buffer, unsigned long n)
{
    return file == s_invalidFile ? 0 : fwrite(buffer, 1, n, file);
}

int QDDiskServer::fileSeek(FileHandle file, int offset, int whence)
{
    return file == s_invalidFile ? 0 : fseek(file, offset, whence);
}

// -1 when the stream cannot seek: the current position is not a size.
long QDDiskServer::fileSize(FileHandle file)
{
    if (file == s_invalidFile)
        return 0;
    long position = ftell(file);
    if (position < 0 || fseek(file, 0, SEEK_END) != 0)
        return -1;
    long size = ftell(file);
    fseek(file, position, SEEK_SET);
    return size;
}

bool QDDiskServer::fileAtEnd(FileHandle file)
{
    return file == s_invalidFile ? true : feof(file) != 0;
}
