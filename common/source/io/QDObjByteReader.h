#pragma once

#include "QDDiskServer.h"

#include <memory>
#include <new>

// Byte-at-a-time reading of a stream through one fixed buffer, refilled when
// it runs dry, so that a file of any size costs one buffer. Tokens may straddle
// two fills; callers keep their own state across next() calls.
class QDObjByteReader
{
public:
    QDObjByteReader(FILE* file, unsigned long bufferSize)
        : m_file(file), m_size(bufferSize > 0 ? bufferSize : 1),
          m_buffer(new (std::nothrow) unsigned char[m_size])
    {
    }

    // The next byte (0-255), or -1 at the end of the file.
    int next()
    {
        if (m_pos == m_end && !refill()) return -1;
        return *m_pos++;
    }

    // Drops bytes up to and including the next LF or CR. Returns that byte, or
    // -1 when the file ends first.
    int skipLine()
    {
        for (;;)
        {
            const unsigned char* p = m_pos;
            const unsigned char* e = m_end;
            while (p != e)
            {
                unsigned char c = *p++;
                if (c <= '\r' && (c == '\n' || c == '\r'))
                {
                    m_pos = p;
                    return c;
                }
            }
            m_pos = p;
            if (!refill()) return -1;
        }
    }

private:
    bool refill()
    {
        if (!m_buffer) return false;
        unsigned long n = QDDiskServer::fileRead(m_file, m_buffer.get(), m_size);
        m_pos = m_buffer.get();
        m_end = m_pos + n;
        return n > 0;
    }

    FILE* m_file;
    unsigned long m_size;
    std::unique_ptr<unsigned char[]> m_buffer;
    const unsigned char* m_pos = nullptr;
    const unsigned char* m_end = nullptr;
};

inline bool qdObjIsBlank(int c)
{
    return c == ' ' || c == '\t';
}
inline bool qdObjIsLineEnd(int c)
{
    return c == '\n' || c == '\r';
}
inline bool qdObjIsDigit(int c)
{
    return unsigned(c - '0') < 10u;
}
