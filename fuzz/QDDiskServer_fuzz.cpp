// Text files and file names from anywhere: the readers must hold their limits
// and the wildcard matcher must answer quickly whatever the filter.
#include "QDDiskServer.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace
{
struct ScratchFile
{
    std::string path;
    ScratchFile()
    {
        char name[] = "/tmp/tiv_disk_fuzz_XXXXXX";
        int fd = mkstemp(name);
        if (fd >= 0) close(fd);
        path = name;
    }
    ~ScratchFile() { unlink(path.c_str()); }
};

const std::string& scratchFile()
{
    static const ScratchFile file;
    return file.path;
}

void checkReaders(const uint8_t* data, size_t size)
{
    FILE* file = fopen(scratchFile().c_str(), "wb");
    if (!file) return;
    fwrite(data, 1, size, file);
    fclose(file);
    QDString path(scratchFile().c_str());

    QDString text;
    bool read = QDDiskServer::readFileAsString(path, text);
    if (read != (size <= 4096) || (read && size > 0 && memcmp(text.c_str(), data, size) != 0))
        abort();

    QDArray<QDString> lines;
    if (!QDDiskServer::readFileAsStringLines(path, lines)) abort();
    // Each byte closes or lengthens at most one line, and only the last repeats.
    size_t total = 0;
    for (const QDString& line : lines)
        total += size_t(line.length()) + 1;
    if (total > size + 2) abort();
}

void checkNames(const uint8_t* data, size_t size)
{
    std::string bytes(reinterpret_cast<const char*>(data), size);
    size_t split = bytes.find('\0');
    std::string name = bytes.substr(0, split);
    std::string filter = split == std::string::npos ? name : bytes.substr(split + 1);
    bool matched = fileNameMatchFilter(name.c_str(), filter.c_str());
    if (matched && (name.empty() || filter.c_str()[0] == 0)) abort();

    QDString edited(name.c_str());
    QDDiskServer::extractPathFromFilename(edited);
    QDDiskServer::removePathFromFilename(edited);
    QDString other(filter.c_str());
    QDDiskServer::makeFilenameWithExt(other, edited);
    QDDiskServer::makeFilenameWithoutExt(other, edited);
    QDDiskServer::fileNameHasExtension(other, edited);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 65536) return 0;
    checkNames(data, size);
    checkReaders(data, size);
    return 0;
}
