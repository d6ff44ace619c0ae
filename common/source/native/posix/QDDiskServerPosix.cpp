#include "QDDiskServer.h"
#include "QDReplacingFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

QDDiskServer::FileHandle const QDDiskServer::s_invalidFile = nullptr;

namespace
{
// open(2) flags for an fopen mode, and the plain mode to hand fdopen. False for
// a mode that fopen would refuse.
bool openFlagsOfMode(const char* mode, int& flags, const char*& streamMode)
{
    if (!mode) return false;
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
    if (!openFlagsOfMode(mode.c_str(), flags, streamMode)) return s_invalidFile;
#ifdef O_CLOEXEC
    flags |= O_CLOEXEC; // launched applications must not inherit our files
#endif
    int fd = open(path.getValidFilePath(), flags | O_NONBLOCK, 0666);
    if (fd < 0) return s_invalidFile;
    struct stat info;
    bool reads = (flags & O_ACCMODE) != O_WRONLY;
    int status = fcntl(fd, F_GETFL);
    FILE* file = nullptr;
    int error = 0;
    if (fstat(fd, &info) == 0 && (!reads || S_ISREG(info.st_mode)) && status != -1 &&
        fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != -1)
    {
        file = fdopen(fd, streamMode);
        if (file) return file;
        error = errno;
    }
    close(fd);
    // Out of memory is not a missing file: the caller must not go on as if it were.
    if (error == ENOMEM) throw std::bad_alloc();
    return s_invalidFile;
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
    if (file == s_invalidFile) return 0;
    long position = ftell(file);
    if (position < 0 || fseek(file, 0, SEEK_END) != 0) return -1;
    long size = ftell(file);
    fseek(file, position, SEEK_SET);
    return size;
}

bool QDDiskServer::fileAtEnd(FileHandle file)
{
    return file == s_invalidFile ? true : feof(file) != 0;
}

bool QDDiskServer::readFileAsString(const QDString& path, QDString& text)
{
    ScopedFile file(fileOpen(path, "r"));
    if (!file.isOpen())
    {
        text.clear();
        return false;
    }
    long size = fileSize(file.get());
    bool done = false;
    if (size >= 0 && size <= s_maxWholeFileSize)
    {
        // An empty file leaves the null string and still counts as read.
        text.create(int(size), ' ');
        done = size == 0 ||
               fileRead(file.get(), text.c_str(), (unsigned long)size) == (unsigned long)size;
    }
    if (!done) text.clear();
    return done;
}

// A refused text (empty, or longer than the limit) still empties the file, as
// it always has. A text that could not be written leaves the earlier file
// whole: a reader must never find half a path list.
bool QDDiskServer::writeFileFromString(const QDString& path, const QDString& text)
{
    QDReplacingFile file;
    if (!file.open(path)) return false;
    unsigned long length = (unsigned long)text.length();
    bool accepted = length >= 1 && length <= (unsigned long)s_maxWholeFileSize;
    if (accepted && fileWrite(file.handle(), text.c_str(), length) != length) return false;
    return file.commit() && accepted;
}

namespace
{
// What a line costs besides its characters and terminator: its slot in the
// list and the heap block of a short string (32 bytes at least).
const long long s_lineOverhead = (long long)sizeof(QDString) + 32;

bool isLineBreak(char c)
{
    return c == '\r' || c == '\n';
}

// Collects lines the way the line reader has always cut them: CR and LF each
// close a line, so CR LF leaves an empty line behind.
//
// Short lines cost many times their bytes, so the budget is counted per line:
// every line the file can hold (one per byte, plus the repeated last byte's)
// may take the fixed overhead besides its characters, on top of a few times
// the file's size. A stable file always fits; only one that grows while it is
// read can outrun it, and is then treated as damaged.
class LineCollector
{
public:
    LineCollector(QDArray<QDString>& lines, long fileSize)
        : m_lines(lines), m_budget(budgetFor(fileSize > 0 ? fileSize : 0))
    {
        m_line.reserve(1024);
    }

    // False once the lines outgrow their budget or what a string or the list
    // can index.
    bool add(char c)
    {
        if (isLineBreak(c)) return closeLine();
        if (m_line.size() == m_line.capacity() &&
            (m_line.size() >= INT_MAX / 2 || m_cost + 2LL * m_line.capacity() > m_budget))
            return false;
        m_line.push_back(c);
        return true;
    }

    bool finish() { return m_line.empty() || closeLine(); }

private:
    static long long budgetFor(long long fileSize)
    {
        return 16LL * 1048576 + 4 * fileSize + s_lineOverhead * (fileSize + 2);
    }

    bool closeLine()
    {
        long long length = m_line.size();
        m_cost += s_lineOverhead + (length > 0 ? length + 1 : 0);
        if (m_lines.size() == INT_MAX || m_cost + m_line.capacity() > m_budget) return false;
        m_lines.push_back(QDString());
        if (length > 0)
        {
            m_lines[m_lines.size() - 1].create(m_line.begin(), m_line.end());
            m_line.clear();
        }
        return true;
    }

    QDArray<QDString>& m_lines;
    QDArray<char> m_line;
    long long m_cost = 0;
    const long long m_budget;
};

// Feeds the whole file, chunk by chunk, to `take`. The last byte read is
// handed over once more at the end: this reader has always tested the end
// before reading and ignored the read's count, so the read that meets the end
// repeated the previous byte, and callers have always seen it twice. An empty
// file has no last byte to repeat.
template <typename Take> bool readBytesRepeatingTheLast(QDDiskServer::FileHandle file, Take take)
{
    char chunk[16384];
    char last = 0;
    bool anyByte = false;
    for (;;)
    {
        unsigned long n = QDDiskServer::fileRead(file, chunk, sizeof(chunk));
        for (unsigned long i = 0; i < n; ++i)
            if (!take(chunk[i])) return false;
        if (n > 0)
        {
            last = chunk[n - 1];
            anyByte = true;
        }
        if (n < sizeof(chunk)) break;
    }
    return !ferror(file) && (!anyByte || take(last));
}
} // namespace

// The lines are counted first so that the list is allocated once at its size:
// grown by doubling, it would hold up to twice the slots it needs, and three
// times while it moves.
bool QDDiskServer::readFileAsStringLines(const QDString& path, QDArray<QDString>& lines)
{
    lines.clear();
    ScopedFile file(fileOpen(path, "r"));
    if (!file.isOpen()) return false;
    long long breaks = 0;
    bool done = readBytesRepeatingTheLast(file.get(),
                                          [&breaks](char c)
                                          {
                                              breaks += isLineBreak(c);
                                              return true;
                                          }) &&
                fileSeek(file.get(), 0, SEEK_SET) == 0;
    QDArray<QDString> collected;
    if (done && breaks < INT_MAX) collected.reserve(int(breaks + 1));
    LineCollector collector(collected, fileSize(file.get()));
    done =
        done &&
        readBytesRepeatingTheLast(file.get(), [&collector](char c) { return collector.add(c); }) &&
        collector.finish();
    if (done) lines.swap(collected);
    return done;
}

bool QDDiskServer::fileExists(const QDString& path)
{
    const char* name = path.getValidFilePath();
    struct stat info;
    return access(name, F_OK) == 0 && stat(name, &info) == 0 && (info.st_mode & 0x8000) != 0;
}

bool QDDiskServer::folderExists(const QDString& path)
{
    const char* name = path.getValidFilePath();
    struct stat info;
    return access(name, F_OK) == 0 && stat(name, &info) == 0 && (info.st_mode & 0x4000) != 0;
}

namespace
{
// The operations that take a path unchanged still must not hand the system a
// null pointer.
const char* rawPath(const QDString& path)
{
    return path.isNull() ? "" : path.c_str();
}
} // namespace

bool QDDiskServer::createFolder(const QDString& path)
{
    return mkdir(rawPath(path), 0700) == 0;
}

bool QDDiskServer::renameFile(const QDString& from, const QDString& to)
{
    return rename(from.getValidFilePath(), rawPath(to)) == 0;
}

bool QDDiskServer::deleteFile(const QDString& path)
{
    return remove(path.getValidFilePath()) == 0;
}

bool QDDiskServer::deleteFolder(const QDString& path)
{
    return deleteFile(path);
}

namespace
{
// The names of a folder but "." and "..", sorted so that listings do not
// depend on the file system's order. False when the folder cannot be read.
bool listFolder(const QDString& folder, QDArray<QDString>& names)
{
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    if (!dir && errno == ENOMEM) throw std::bad_alloc();
    if (!dir) return false;
    while (const dirent* entry = readdir(dir.get()))
    {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
            names.push_back(QDString(entry->d_name));
    }
    dir.reset();
    std::sort(names.begin(), names.end(),
              [](const QDString& a, const QDString& b)
              { return strcmp(a.c_str(), b.c_str()) < 0; });
    return true;
}

// A real folder, not a link to one: following links could loop or leave the tree.
bool isRealFolder(const QDString& path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool deleteTree(const QDString& folder, bool deleteFiles, bool deleteSubFolders)
{
    QDArray<QDString> names;
    if (!listFolder(folder, names)) return false;
    for (const QDString& name : names)
    {
        QDString child = folder + "/" + name;
        if (isRealFolder(child))
        {
            if (deleteSubFolders) deleteTree(child, deleteFiles, deleteSubFolders);
        }
        else if (deleteFiles)
            unlink(child.c_str());
    }
    return rmdir(folder.c_str()) == 0;
}

// Names are reported under the folder as the caller wrote it, but listed
// through the cleaned path: a ':' in a sub-folder's name must not move the
// search elsewhere.
bool searchFolder(QDArray<QDString>& found, const QDString& shown, const QDString& real,
                  const char* filter, int maxDepth, int maxFolders)
{
    QDArray<QDString> names;
    if (!listFolder(real, names)) return false;
    for (const QDString& name : names)
    {
        QDString shownChild = shown + "/" + name;
        if (fileNameMatchFilter(name.c_str(), filter)) found.push_back(shownChild);
        QDString realChild = real + "/" + name;
        if (maxDepth > 0 && maxFolders > 0 && isRealFolder(realChild))
            searchFolder(found, shownChild, realChild, filter, maxDepth - 1, maxFolders - 1);
    }
    return true;
}
} // namespace

// Empties the folder as far as the flags allow (files of every visited folder,
// sub-folders depth first) and then removes it; true when it is gone. A link
// to a folder is not the folder: its target is left alone.
bool QDDiskServer::deleteDirectory(const QDString& path, bool deleteFiles, bool deleteSubFolders)
{
    QDString folder(path.getValidFilePath());
    return isRealFolder(folder) && deleteTree(folder, deleteFiles, deleteSubFolders);
}

// Sub-folders are searched while both counts are positive; every level down
// uses up one of each. False when the folder itself cannot be listed.
bool QDDiskServer::searchFileList(QDArray<QDString>& found, const QDString& folder,
                                  const QDString& filter, int maxDepth, int maxFolders)
{
    return searchFolder(found, folder, folder.getValidFilePath(), filter.c_str(), maxDepth,
                        maxFolders);
}

// The target keeps its earlier content unless the whole copy could be made.
bool QDDiskServer::copyFile(const QDString& from, const QDString& to)
{
    ScopedFile in(fileOpen(from, "rb"));
    if (!in.isOpen()) return false;
    // Writing the target would empty it: when it is the source, that is the data.
    struct stat source, target;
    if (fstat(fileno(in.get()), &source) == 0 && stat(to.getValidFilePath(), &target) == 0 &&
        source.st_dev == target.st_dev && source.st_ino == target.st_ino)
        return false;
    const unsigned long bufferSize = 1048576;
    std::unique_ptr<char[]> buffer(new char[bufferSize]);
    QDReplacingFile out;
    if (!out.open(to)) return false;
    for (;;)
    {
        unsigned long n = fileRead(in.get(), buffer.get(), bufferSize);
        if (n > 0 && fileWrite(out.handle(), buffer.get(), n) != n) return false;
        if (n < bufferSize) break;
    }
    return !ferror(in.get()) && out.commit();
}

QDString QDDiskServer::getCurrentPath()
{
    char buffer[512];
    return QDString(getcwd(buffer, sizeof(buffer)));
}

bool QDDiskServer::setCurrentPath(const QDString& path)
{
    return openFolder(path);
}

bool QDDiskServer::openFolder(const QDString& path)
{
    return chdir(path.getValidFilePath()) == 0;
}

int QDDiskServer::setMode(const QDString& path, unsigned short mode)
{
    return chmod(rawPath(path), mode_t(mode));
}

unsigned short QDDiskServer::getMode(const QDString& path)
{
    struct stat info;
    return stat(rawPath(path), &info) == 0 ? (unsigned short)info.st_mode : 0;
}
