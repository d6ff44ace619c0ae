#pragma once

// Files the tools write replace the old one whole or not at all, the way the
// library writes its own (QDReplacingFile): a reader never sees half a file,
// and a failed write leaves the earlier one as it was.

#include "AbsolutePath.h"
#include "QDReplacingFile.h"

#include <cerrno>
#include <cstdio>
#include <string>

// Writes `path` (relative to the working folder, as the user means it)
// through write(FILE*), which returns false when a write failed.
// False when anything failed, with errno telling why where the system knows
// (0 when only `write` knows); an exception from `write` goes on once the
// temporary file is gone.
template <typename Write> bool replaceFile(const std::string& path, Write write)
{
    QDReplacingFile file;
    if (!file.open(libraryPath(path).c_str())) return false;
    errno = 0;
    if (!write(file.handle()))
    {
        const int error = errno;
        file.discard();
        errno = error;
        return false;
    }
    return file.commit();
}

// The bytes as the whole of `path`.
inline bool replaceFileWith(const std::string& path, const std::string& bytes)
{
    return replaceFile(path, [&bytes](FILE* file)
                       { return fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(); });
}
