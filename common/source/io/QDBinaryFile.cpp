#include "QDBinaryFile.h"

#include <cstdio>

// Files are raw memory images of the values: only a little-endian build writes
// the byte order that the other side expects.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "Tiv files are little-endian images");
static_assert(sizeof(int) == 4 && sizeof(float) == 4, "scalars are stored as 4 bytes");
static_assert(sizeof(QDVector3f) == 12 && sizeof(QDVector2f) == 8,
              "vectors are stored as their raw components");

namespace
{
// What a count may make the reader allocate: a few times the file's size plus
// a fixed allowance (the allowance alone when the stream cannot tell its size).
const unsigned long long s_countAllowance = 16ull * 1024 * 1024;
const unsigned long long s_countBytesPerFileByte = 4;

const unsigned char s_zeros[4] = {0, 0, 0, 0};

// Exceptions thrown and not yet caught on this thread, read from the C++ ABI's
// own record: the standard library's count of them reached the Mac's C++
// library only in 10.12, and the plug-in runs on older systems.
struct ExceptionGlobals
{
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
};
} // namespace
namespace __cxxabiv1
{
struct __cxa_eh_globals;
extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept;
} // namespace __cxxabiv1
namespace
{
int exceptionsInFlight()
{
    const void* globals = __cxxabiv1::__cxa_get_globals_fast();
    return globals ? int(static_cast<const ExceptionGlobals*>(globals)->uncaughtExceptions) : 0;
}

// Bytes from n up to the next multiple of 4, with the signed division that the
// format has always used; computed wide so that no n overflows.
long long alignPadding(int n)
{
    return ((long long)n + 3) / 4 * 4 - n;
}
} // namespace

QDBinaryFile::QDBinaryFile(const QDString& path, const char* mode)
{
    open(path, mode);
}

QDBinaryFile::~QDBinaryFile()
{
    // A throw on its way through the writer means the file was not finished.
    if (exceptionsInFlight() > m_exceptionsAtOpen) abandon();
    close();
}

bool QDBinaryFile::open(const QDString& path, const char* mode)
{
    close();
    m_writeFailed = false;
    m_exceptionsAtOpen = exceptionsInFlight();
    // Plain writes replace the target whole; reads and updates go to the file itself.
    bool replaces = mode && mode[0] == 'w' && (mode[1] == 0 || (mode[1] == 'b' && mode[2] == 0));
    if (!replaces)
        m_file = QDDiskServer::fileOpen(path, mode);
    else if (m_replacement.open(path))
        m_file = m_replacement.handle();
    return isOpen();
}

bool QDBinaryFile::close()
{
    if (!isOpen()) return true;
    QDDiskServer::FileHandle file = m_file;
    m_file = QDDiskServer::s_invalidFile;
    if (m_replacement.isOpen())
    {
        if (!m_writeFailed) return m_replacement.commit();
        m_replacement.discard();
        return false;
    }
    return QDDiskServer::fileClose(file) == 0;
}

bool QDBinaryFile::writeBytes(const void* data, unsigned long n)
{
    if (!isOpen()) return false;
    if (QDDiskServer::fileWrite(m_file, data, n) == n) return true;
    m_writeFailed = true;
    return false;
}

bool QDBinaryFile::readBytes(void* data, unsigned long n) const
{
    return isOpen() && QDDiskServer::fileRead(m_file, data, n) == n;
}

bool QDBinaryFile::write(int value)
{
    return writeBytes(&value, 4);
}

bool QDBinaryFile::write(float value)
{
    return writeBytes(&value, 4);
}

bool QDBinaryFile::read(int& value) const
{
    return readBytes(&value, 4);
}

bool QDBinaryFile::read(float& value) const
{
    return readBytes(&value, 4);
}

long QDBinaryFile::getRemainingBytes() const
{
    if (!isOpen()) return 0;
    long position = ftell(m_file);
    long size = QDDiskServer::fileSize(m_file);
    if (position < 0 || size < 0) return -1;
    return size > position ? size - position : 0;
}

bool QDBinaryFile::writeCounted(int count, const void* data, unsigned long elementSize)
{
    return write(count) && writeBytes(data, (unsigned long)count * elementSize);
}

// A count the file cannot fill still gets its value, zero-filled past what is
// there, and a false read. A count beyond the reader's bound marks the file as
// damaged: it fails here before anything is allocated for it, and the position
// moves to the end of the file as a short read would have moved it.
bool QDBinaryFile::readCount(int& count, unsigned long elementSize) const
{
    if (!read(count)) return false;
    long size = QDDiskServer::fileSize(m_file);
    unsigned long long limit =
        s_countAllowance + s_countBytesPerFileByte * (size > 0 ? (unsigned long long)size : 0);
    if (count >= 0 && (unsigned long long)count * elementSize <= limit) return true;
    QDDiskServer::fileSeek(m_file, 0, SEEK_END);
    return false;
}

bool QDBinaryFile::write(const QDString& text)
{
    if (text.empty()) return write(1) && write(0);
    int n = text.length();
    return write(n + 1) && writeBytes(text.c_str(), (unsigned long)n + 1) && writeAlignData(n + 1);
}

bool QDBinaryFile::read(QDString& text) const
{
    int n = 0;
    if (!readCount(n, 1))
    {
        text.clear();
        return false;
    }
    text.create(n, 0);
    bool ok = readBytes(text.c_str(), (unsigned long)n);
    return readAlignData(n) && ok;
}

bool QDBinaryFile::writeAsciiString(const QDString& text)
{
    return isOpen() && writeBytes(text.c_str(), (unsigned long)text.length());
}

bool QDBinaryFile::writeAlignData(int n)
{
    bool ok = isOpen();
    for (long long i = alignPadding(n); i > 0; --i)
        ok = writeBytes(s_zeros, 1) && ok;
    return ok;
}

bool QDBinaryFile::readAlignData(int n) const
{
    bool ok = isOpen();
    unsigned char discarded;
    for (long long i = alignPadding(n); i > 0; --i)
        ok = readBytes(&discarded, 1) && ok;
    return ok;
}

bool QDBinaryFile::write(const QDBoolArray& bits)
{
    QDArray<unsigned char> bytes(bits.size(), 0);
    for (int i = bits.findFirst(true); i >= 0; i = bits.findFirst(true, i + 1))
        bytes[i] = 1;
    return write(bytes);
}

bool QDBinaryFile::read(QDBoolArray& bits) const
{
    QDArray<unsigned char> bytes;
    if (!read(bytes)) return false;
    bits.reinit(bytes.size(), false);
    for (int i = 0; i < bytes.size(); ++i)
        if (bytes[i] != 0) bits.set(i);
    return true;
}
