#include "QDDiskServer.h"

#include <sys/stat.h>
#include <unistd.h>

QDDiskServer::FileHandle const QDDiskServer::s_invalidFile = nullptr;

QDDiskServer::FileHandle QDDiskServer::fileOpen(const QDString& path, const QDString& mode)
{
    return fopen(path.getValidFilePath(), mode.isNull() ? "" : mode.c_str());
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

long QDDiskServer::fileSize(FileHandle file)
{
    if (file == s_invalidFile)
        return 0;
    long position = ftell(file);
    fseek(file, 0, SEEK_END);
    long size = ftell(file);
    fseek(file, position, SEEK_SET);
    return size;
}

bool QDDiskServer::fileAtEnd(FileHandle file)
{
    return file == s_invalidFile ? true : feof(file) != 0;
}
