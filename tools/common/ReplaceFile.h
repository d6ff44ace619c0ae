#pragma once

// Files the tools write replace the old one whole or not at all: the bytes go to
// a new file beside the target (the same folder, so that the rename never
// crosses file systems), which is renamed over the target only once every byte
// was written and the file closed without error. A reader never sees half a
// file, and a failed write leaves the earlier one as it was.

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

// A new, empty file beside `path`, open for writing, its name in `temporary`;
// null with errno set when none can be made. The name stays short enough for
// any file name the target may have.
inline FILE* openBeside(const std::string& path, std::string& temporary)
{
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string leaf = path.substr(folder.size()).substr(0, 200);
    for (int attempt = 0; attempt < 100; ++attempt)
    {
        temporary = folder + "." + leaf + "-" + std::to_string(getpid()) + "-" +
                    std::to_string(attempt) + ".partial";
        const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno == EEXIST) continue;
        if (fd < 0) return nullptr;
        FILE* file = fdopen(fd, "wb");
        if (!file)
        {
            const int error = errno;
            close(fd);
            unlink(temporary.c_str());
            errno = error;
        }
        return file;
    }
    return nullptr;
}

// Writes `path` through write(FILE*), which returns false when a write failed.
// False when anything failed, with errno telling why where the system knows
// (0 when only `write` knows); an exception from `write` goes on once the
// temporary file is gone.
template <typename Write> bool replaceFile(const std::string& path, Write write)
{
    std::string temporary;
    FILE* file = openBeside(path, temporary);
    if (!file) return false;
    bool ok = false;
    try
    {
        errno = 0;
        ok = write(file);
    }
    catch (...)
    {
        fclose(file);
        unlink(temporary.c_str());
        throw;
    }
    ok = ok && fflush(file) == 0 && !ferror(file);
    int error = ok ? 0 : errno;
    if (fclose(file) != 0 && ok)
    {
        ok = false;
        error = errno;
    }
    if (ok && rename(temporary.c_str(), path.c_str()) != 0)
    {
        ok = false;
        error = errno;
    }
    if (!ok)
    {
        unlink(temporary.c_str());
        errno = error;
    }
    return ok;
}

// The bytes as the whole of `path`.
inline bool replaceFileWith(const std::string& path, const std::string& bytes)
{
    return replaceFile(path, [&bytes](FILE* file)
                       { return fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(); });
}
