#pragma once

#include "QDDiskServer.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <sys/mman.h>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

// Large buffers and output arrays are filled from end to end right away:
// asking for huge pages turns tens of thousands of page faults into a few.
inline void qdAdviseHugePages(const void* data, std::size_t bytes)
{
#ifdef MADV_HUGEPAGE
    const std::uintptr_t huge = std::uintptr_t(2) << 20;
    std::uintptr_t first = reinterpret_cast<std::uintptr_t>(data);
    std::uintptr_t begin = (first + huge - 1) & ~(huge - 1);
    std::uintptr_t end = (first + bytes) & ~(huge - 1);
    if (data && end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)data;
    (void)bytes;
#endif
}

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

// The first LF or CR in [p, e), or e. Sixteen bytes are examined at a time, so
// up to fifteen bytes past e may be loaded: every buffer scanned here has at
// least that much padding after its data.
inline const unsigned char* qdObjFindLineEnd(const unsigned char* p, const unsigned char* e)
{
#if defined(__SSE2__) || defined(_M_X64)
    const __m128i lf = _mm_set1_epi8('\n'), cr = _mm_set1_epi8('\r');
    for (; p < e; p += 16)
    {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const unsigned mask =
            unsigned(_mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(x, lf), _mm_cmpeq_epi8(x, cr))));
        if (mask != 0)
        {
            const unsigned char* q = p + __builtin_ctz(mask);
            return q < e ? q : e;
        }
    }
    return e;
#else
    const std::uint64_t ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
    for (;;)
    {
        for (; e - p >= 8; p += 8)
        {
            std::uint64_t x;
            memcpy(&x, p, 8);
            if (((x - 14 * ones) & ~x & highs) != 0) break;
        }
        const unsigned char* stop = e - p >= 8 ? p + 8 : e;
        for (; p != stop; ++p)
            if (*p <= '\r' && qdObjIsLineEnd(*p)) return p;
        if (p == e) return e;
    }
#endif
}

// Byte-at-a-time reading of a stream through one fixed buffer, refilled when
// it runs dry, so that a file of any size costs one buffer. Tokens may straddle
// two fills; callers keep their own state across next() calls.
class QDObjByteReader
{
public:
    QDObjByteReader(FILE* file, unsigned long bufferSize)
        : m_file(file), m_size(bufferSize > 0 ? bufferSize : 1),
          m_buffer(new unsigned char[s_frontPadding + m_size + s_padding])
    {
        // A buffer that cannot be had throws: an empty read would pass for an
        // empty file, and the send would deliver an empty mesh.
        memset(m_buffer.get(), 0, s_frontPadding);
        qdAdviseHugePages(data(), m_size);
    }

    // Bytes readable past the end of the data, so that wide scans of a line
    // that ends inside the data may load whole words and the 64-byte window of
    // the whole-line readers, and bytes readable before its start for the
    // words that end with a number. All are zeroed (those after the data after
    // every fill), so that such loads never see bytes that were never written.
    static const unsigned long s_padding = 64;
    static const unsigned long s_frontPadding = 16;

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
            const unsigned char* p = qdObjFindLineEnd(m_pos, m_end);
            if (p != m_end)
            {
                m_pos = p + 1;
                return *p;
            }
            m_pos = p;
            if (!refill()) return -1;
        }
    }

    // A line that starts before lineSafeEnd() ends inside the bytes already
    // read, so it can be scanned without end checks (see QDObjLineCursor).
    const unsigned char*& position() { return m_pos; }
    const unsigned char* lineSafeEnd() const { return m_lineSafeEnd; }

private:
    unsigned char* data() { return m_buffer.get() + s_frontPadding; }

    bool refill()
    {
        unsigned long n = QDDiskServer::fileRead(m_file, data(), m_size);
        m_pos = data();
        m_end = m_pos + n;
        memset(data() + n, 0, s_padding);
        m_lineSafeEnd = m_pos;
        for (const unsigned char* p = m_end; p != m_pos; --p)
            if (qdObjIsLineEnd(p[-1]))
            {
                m_lineSafeEnd = p;
                break;
            }
        return n > 0;
    }

    FILE* m_file;
    unsigned long m_size;
    std::unique_ptr<unsigned char[]> m_buffer;
    const unsigned char* m_pos = nullptr;
    const unsigned char* m_end = nullptr;
    const unsigned char* m_lineSafeEnd = nullptr;
};

// Reads a line known to end inside the buffer: every scan of the readers
// stops at a line end, so no byte past it counts. Wide loads may look at up to
// QDObjByteReader::s_padding bytes past it and s_frontPadding bytes before the
// data.
class QDObjLineCursor
{
public:
    QDObjLineCursor(const unsigned char* p, const unsigned char* lineSafeEnd)
        : m_pos(p), m_end(lineSafeEnd)
    {
    }
    int next() { return *m_pos++; }
    int skipLine()
    {
        m_pos = qdObjFindLineEnd(m_pos, m_end) + 1;
        return m_pos[-1];
    }
    const unsigned char* position() const { return m_pos; }
    void setPosition(const unsigned char* p) { m_pos = p; }

private:
    const unsigned char* m_pos;
    const unsigned char* m_end;
};
