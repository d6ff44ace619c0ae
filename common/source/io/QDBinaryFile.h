#pragma once

#include "QDArray.h"
#include "QDBoolArray.h"
#include "QDDiskServer.h"
#include "QDReplacingFile.h"
#include "QDString.h"
#include "QDVector2f.h"
#include "QDVector3f.h"

#include <type_traits>

// One open file, read and written as raw little-endian images: 4-byte scalars,
// counted arrays without padding, counted strings padded to 4 bytes. No buffer,
// position or error state of its own: every call goes straight to the handle.
//
// A file opened for writing ("w", "wb") replaces its target only when it is
// closed or let go: until then the target keeps its earlier content. One whose
// write failed or was refused, or that a throw let go, leaves it so. (Where the
// target is written in place, as fopen would, it keeps what reached it.)
class QDBinaryFile
{
public:
    QDBinaryFile() = default;
    QDBinaryFile(const QDString& path, const char* mode);
    ~QDBinaryFile();
    QDBinaryFile(const QDBinaryFile&) = delete;
    QDBinaryFile& operator=(const QDBinaryFile&) = delete;

    bool open(const QDString& path, const char* mode);
    // False when the system could not complete the file (buffered bytes that a
    // full disk refused show up only here, and so does any earlier failed
    // write of a file being replaced); true when nothing was open.
    bool close();
    // For a writer that stops half-way: the file is then closed as one whose
    // write failed.
    void abandon() { m_writeFailed = true; }
    bool isOpen() const { return m_file != QDDiskServer::s_invalidFile; }
    QDDiskServer::FileHandle getFile() const { return m_file; }

    bool write(int value);
    bool write(float value);
    bool read(int& value) const;
    bool read(float& value) const;

    // The count as one int, then the raw elements, no padding.
    template <typename T> bool write(const QDArray<T>& array)
    {
        checkElementType<T>();
        return writeCounted(array.size(), array.begin(), sizeof(T));
    }
    // A count the file cannot fill gives that many elements, zero past what
    // was there, and false; one beyond the reader's bound fails without
    // allocating and leaves the array empty.
    template <typename T> bool read(QDArray<T>& array) const
    {
        checkElementType<T>();
        int count = 0;
        if (!readCount(count, sizeof(T)))
        {
            array.reinit(0);
            return false;
        }
        array.reinit(count);
        return readBytes(array.begin(), (unsigned long)count * sizeof(T));
    }

    bool write(const QDString& text);
    bool read(QDString& text) const;
    bool writeAsciiString(const QDString& text);
    bool writeAlignData(int n);
    bool readAlignData(int n) const;

    bool write(const QDBoolArray& bits);
    bool read(QDBoolArray& bits) const;

    // Bytes between the read position and the end of the file, -1 when the
    // stream cannot tell (not seekable).
    long getRemainingBytes() const;

protected:
    bool readBytes(void* data, unsigned long n) const;
    bool writeBytes(const void* data, unsigned long n);

private:
    template <typename T> static void checkElementType()
    {
        static_assert(std::is_same<T, QDVector3f>::value || std::is_same<T, QDVector2f>::value ||
                          std::is_same<T, unsigned char>::value ||
                          std::is_same<T, unsigned short>::value ||
                          std::is_same<T, unsigned int>::value || std::is_same<T, int>::value,
                      "element type without a file layout");
    }
    bool writeCounted(int count, const void* data, unsigned long elementSize);
    bool readCount(int& count, unsigned long elementSize) const;

    QDDiskServer::FileHandle m_file = QDDiskServer::s_invalidFile;
    QDReplacingFile m_replacement;
    bool m_writeFailed = false;
    int m_exceptionsAtOpen = 0;
};
