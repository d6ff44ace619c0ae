#include "QDBoolArray.h"

#include "QDByteTables.h"

#include <climits>
#include <cstring>

namespace
{
struct ScanTables
{
    unsigned char first1[256];
    unsigned char first0[256];
    unsigned char last1[256];
    unsigned char last0[256];
};

// 8 stands for "no such bit", one past the highest position of a byte.
constexpr ScanTables buildScanTables()
{
    ScanTables t{};
    for (int b = 0; b < 256; ++b)
    {
        t.first1[b] = t.first0[b] = t.last1[b] = t.last0[b] = 8;
        for (int bit = 7; bit >= 0; --bit)
        {
            if ((b >> bit) & 1)
                t.first1[b] = (unsigned char)bit;
            else
                t.first0[b] = (unsigned char)bit;
        }
        for (int bit = 0; bit < 8; ++bit)
        {
            if ((b >> bit) & 1)
                t.last1[b] = (unsigned char)bit;
            else
                t.last0[b] = (unsigned char)bit;
        }
    }
    return t;
}

constexpr ScanTables s_scanTables = buildScanTables();

inline int byteCount(int bits) { return bits > 0 ? bits / 8 + (bits % 8 != 0) : 0; }

// Bits 0 .. n-1 of a byte, n in 0..8.
inline unsigned char lowBits(int n) { return (unsigned char)((1u << n) - 1u); }

inline void writeMasked(unsigned char& byte, unsigned char mask, bool fill)
{
    byte = fill ? (unsigned char)(byte | mask) : (unsigned char)(byte & ~mask);
}

// Storage for n bytes between two guards; returns the first data byte.
unsigned char* allocateBytes(int n)
{
    unsigned char* storage = new unsigned char[size_t(n) + 2];
    storage[0] = 1;
    storage[n + 1] = 1;
    return storage + 1;
}

inline int clampTo(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// The auto-resizing edits grow the array to reach i; an index no int size can
// reach is ignored.
bool growToInclude(QDBoolArray& a, int i)
{
    if (i < 0 || i == INT_MAX)
        return false;
    if (i >= a.size())
        a.resize(i + 1, false);
    return true;
}
} // namespace

unsigned char QDBoolArray::emptyArray[2] = {1, 1};

const unsigned char* const QDBoolArray::numberOfBitSet = QDByteTables::s_numberOfBitSet;
const unsigned char* const QDBoolArray::first1 = s_scanTables.first1;
const unsigned char* const QDBoolArray::first0 = s_scanTables.first0;
const unsigned char* const QDBoolArray::last1 = s_scanTables.last1;
const unsigned char* const QDBoolArray::last0 = s_scanTables.last0;

QDBoolArray::QDBoolArray() : m_begin(emptyArray + 1), m_end(emptyArray + 1), m_size(0) {}

QDBoolArray::QDBoolArray(int n, bool value) : QDBoolArray() { resize(n, value); }

QDBoolArray::QDBoolArray(const QDBoolArray& other) : QDBoolArray() { copy(other, false); }

QDBoolArray::~QDBoolArray() { release(); }

QDBoolArray& QDBoolArray::operator=(const QDBoolArray& other)
{
    copy(other, false);
    return *this;
}

void QDBoolArray::release()
{
    if (m_end > m_begin)
        delete[] (m_begin - 1);
}

void QDBoolArray::freeData()
{
    release();
    m_begin = m_end = emptyArray + 1;
    m_size = 0;
}

void QDBoolArray::copy(const QDBoolArray& other, bool keepSize)
{
    if (keepSize)
    {
        combine(other, Combine::Copy);
        writeRange(other.m_size, m_size, Write::Clear);
        return;
    }
    if (this == &other)
        return;
    const int bytes = byteCount(other.m_size);
    unsigned char* fresh = emptyArray + 1;
    if (bytes > 0)
    {
        fresh = allocateBytes(bytes);
        memcpy(fresh, other.m_begin, size_t(bytes));
    }
    release();
    m_begin = fresh;
    m_end = fresh + bytes;
    m_size = other.m_size;
}

void QDBoolArray::resize(int n, bool fill)
{
    if (n < 0)
        n = 0;
    const unsigned char fillByte = fill ? 0xFF : 0x00;
    const int newBytes = byteCount(n);
    const int oldBytes = byteCount(m_size);
    const int allocated = int(m_end - m_begin);
    unsigned char* bytes = m_begin;
    if (newBytes > allocated)
    {
        // Exactly the bytes asked for, no spare capacity: memory over speed.
        bytes = allocateBytes(newBytes);
        memcpy(bytes, m_begin, size_t(oldBytes));
        memset(bytes + oldBytes, fillByte, size_t(newBytes - oldBytes));
    }
    else if (allocated > 0)
    {
        // Bytes that come back into use, and bytes dropped by a shrink, take the fill.
        const int from = oldBytes < newBytes ? oldBytes : newBytes;
        memset(bytes + from, fillByte, size_t(allocated - from));
    }
    if (m_size % 8 != 0)
        writeMasked(bytes[oldBytes - 1], (unsigned char)~lowBits(m_size % 8), fill);
    if (n % 8 != 0)
        writeMasked(bytes[newBytes - 1], (unsigned char)~lowBits(n % 8), fill);
    if (bytes != m_begin)
    {
        release();
        m_begin = bytes;
        m_end = bytes + newBytes;
    }
    m_size = n;
}

void QDBoolArray::reinit(int n, bool value)
{
    freeData();
    resize(n, value);
}

void QDBoolArray::setAutoResize(int i)
{
    if (growToInclude(*this, i))
        set(i);
}

void QDBoolArray::clearAutoResize(int i)
{
    if (growToInclude(*this, i))
        clear(i);
}

void QDBoolArray::toggleAutoResize(int i)
{
    if (growToInclude(*this, i))
        toggle(i);
}

int QDBoolArray::findFirst(bool v, int from) const
{
    if (from >= m_size)
        return -1;
    if (from < 0)
        from = 0;
    const unsigned char none = v ? 0x00 : 0xFF;
    const unsigned char below = lowBits(from % 8);
    const unsigned char* p = m_begin + from / 8;
    unsigned char b = v ? (unsigned char)(*p & ~below) : (unsigned char)(*p | below);
    // No bound: the trailing guard (1) is neither 0x00 nor 0xFF.
    while (b == none)
        b = *++p;
    const long long i = 8LL * (p - m_begin) + (v ? first1[b] : first0[b]);
    return i < m_size ? int(i) : -1;
}

int QDBoolArray::findLast(bool v, int from) const
{
    if (from >= m_size)
        from = m_size - 1;
    if (from < 0)
        return -1;
    const unsigned char none = v ? 0x00 : 0xFF;
    const unsigned char above = (unsigned char)~lowBits(from % 8 + 1);
    const unsigned char* p = m_begin + from / 8;
    unsigned char b = v ? (unsigned char)(*p & ~above) : (unsigned char)(*p | above);
    // No bound: the leading guard (1) stops the scan and gives a negative index.
    while (b == none)
        b = *--p;
    const long long i = 8LL * (p - m_begin) + (v ? last1[b] : last0[b]);
    return i >= 0 ? int(i) : -1;
}

int QDBoolArray::getNumberOfBitSet() const { return getNumberOfBitSetWithin(0, m_size); }

int QDBoolArray::getNumberOfBitSetWithin(int from, int to) const
{
    from = clampTo(from, 0, m_size);
    to = clampTo(to, 0, m_size);
    if (from >= to)
        return 0;
    const int first = from / 8, last = (to - 1) / 8;
    const unsigned char firstMask = (unsigned char)~lowBits(from % 8);
    const unsigned char lastMask = lowBits((to - 1) % 8 + 1);
    if (first == last)
        return numberOfBitSet[m_begin[first] & firstMask & lastMask];
    int n = numberOfBitSet[m_begin[first] & firstMask];
    for (int k = first + 1; k < last; ++k)
        n += numberOfBitSet[m_begin[k]];
    return n + numberOfBitSet[m_begin[last] & lastMask];
}

int QDBoolArray::getNumberOfBitClearedWithin(int from, int to) const
{
    from = clampTo(from, 0, m_size);
    to = clampTo(to, 0, m_size);
    return from >= to ? 0 : (to - from) - getNumberOfBitSetWithin(from, to);
}

void QDBoolArray::writeRange(int from, int to, Write op)
{
    from = clampTo(from, 0, m_size);
    to = clampTo(to, 0, m_size);
    if (from >= to)
        return;
    const int first = from / 8, last = (to - 1) / 8;
    auto apply = [op](unsigned char& byte, unsigned char mask) {
        if (op == Write::Toggle)
            byte ^= mask;
        else
            writeMasked(byte, mask, op == Write::Set);
    };
    const unsigned char firstMask = (unsigned char)~lowBits(from % 8);
    const unsigned char lastMask = lowBits((to - 1) % 8 + 1);
    if (first == last)
    {
        apply(m_begin[first], firstMask & lastMask);
        return;
    }
    apply(m_begin[first], firstMask);
    for (int k = first + 1; k < last; ++k)
        apply(m_begin[k], 0xFF);
    apply(m_begin[last], lastMask);
}

void QDBoolArray::set(int from, int to) { writeRange(from, to, Write::Set); }

void QDBoolArray::clear(int from, int to) { writeRange(from, to, Write::Clear); }

void QDBoolArray::inverse() { writeRange(0, m_size, Write::Toggle); }

void QDBoolArray::setAll() { writeRange(0, m_size, Write::Set); }

void QDBoolArray::clearAll() { writeRange(0, m_size, Write::Clear); }

void QDBoolArray::swap(QDBoolArray& other)
{
    unsigned char* b = m_begin;
    unsigned char* e = m_end;
    int n = m_size;
    m_begin = other.m_begin;
    m_end = other.m_end;
    m_size = other.m_size;
    other.m_begin = b;
    other.m_end = e;
    other.m_size = n;
}

void QDBoolArray::erase(int i)
{
    if (i < 0 || i >= m_size)
        return;
    const int k = i / 8, last = byteCount(m_size) - 1;
    const unsigned char keep = lowBits(i % 8);
    unsigned char* b = m_begin;
    b[k] = (unsigned char)((b[k] & keep) | ((b[k] >> 1) & ~keep));
    for (int j = k; j < last; ++j)
    {
        b[j] = (unsigned char)(b[j] | (b[j + 1] << 7));
        b[j + 1] = (unsigned char)(b[j + 1] >> 1);
    }
    // Shrinking in place keeps the storage and puts the spare bits in a known state.
    resize(m_size - 1, false);
}

void QDBoolArray::insert(int i, bool v)
{
    if (i < 0 || i > m_size || m_size == INT_MAX)
        return;
    resize(m_size + 1, false);
    const int k = i / 8, last = byteCount(m_size) - 1;
    unsigned char* b = m_begin;
    for (int j = last; j > k; --j)
        b[j] = (unsigned char)((b[j] << 1) | (b[j - 1] >> 7));
    const unsigned char keep = lowBits(i % 8);
    b[k] = (unsigned char)((b[k] & keep) | ((b[k] << 1) & ~keep));
    set(i, v);
}

unsigned int QDBoolArray::getAsMask(int from) const
{
    unsigned int mask = 0;
    for (int j = 0; j < 32; ++j)
    {
        const long long i = (long long)from + j;
        if (i >= 0 && i < m_size && getNoSizeTest(int(i)))
            mask |= 1u << j;
    }
    return mask;
}

void QDBoolArray::assign(int n, bool v)
{
    resize(n, v);
    writeRange(0, m_size, v ? Write::Set : Write::Clear);
}

void QDBoolArray::assign(int n, const char* flags)
{
    assign(n, false);
    for (int i = 0; flags && i < m_size; ++i)
        if (flags[i])
            set(i);
}

void QDBoolArray::assign(int n, const int* indices, int count)
{
    assign(n, false);
    set(count, indices);
}

void QDBoolArray::set(int count, const int* indices)
{
    for (int k = 0; indices && k < count; ++k)
        if (indices[k] >= 0 && indices[k] < m_size)
            set(indices[k]);
}

void QDBoolArray::clear(int count, const int* indices)
{
    for (int k = 0; indices && k < count; ++k)
        if (indices[k] >= 0 && indices[k] < m_size)
            clear(indices[k]);
}

// Applies op byte by byte over the bits both arrays have; the bits of this
// array at or above that shared size are left as they are.
void QDBoolArray::combine(const QDBoolArray& other, Combine op)
{
    const int n = m_size < other.m_size ? m_size : other.m_size;
    const int bytes = byteCount(n);
    for (int k = 0; k < bytes; ++k)
    {
        const unsigned char a = m_begin[k], o = other.m_begin[k];
        unsigned char r = a;
        switch (op)
        {
        case Combine::And: r = a & o; break;
        case Combine::Or: r = a | o; break;
        case Combine::Xor: r = a ^ o; break;
        case Combine::AndNot: r = a & (unsigned char)~o; break;
        case Combine::Copy: r = o; break;
        }
        const unsigned char mask = (k == bytes - 1 && n % 8 != 0) ? lowBits(n % 8) : 0xFF;
        m_begin[k] = (unsigned char)((a & ~mask) | (r & mask));
    }
}

void QDBoolArray::inter(const QDBoolArray& other)
{
    combine(other, Combine::And);
    writeRange(other.m_size, m_size, Write::Clear);
}

void QDBoolArray::merge(const QDBoolArray& other)
{
    if (other.m_size > m_size)
        resize(other.m_size, false);
    combine(other, Combine::Or);
}

void QDBoolArray::set(const QDBoolArray& other) { combine(other, Combine::Or); }

void QDBoolArray::toggle(const QDBoolArray& other) { combine(other, Combine::Xor); }

void QDBoolArray::clear(const QDBoolArray& other) { combine(other, Combine::AndNot); }

bool QDBoolArray::hasInter(const QDBoolArray& other) const
{
    const int n = m_size < other.m_size ? m_size : other.m_size;
    const int bytes = byteCount(n);
    for (int k = 0; k < bytes; ++k)
    {
        const unsigned char mask = (k == bytes - 1 && n % 8 != 0) ? lowBits(n % 8) : 0xFF;
        if (m_begin[k] & other.m_begin[k] & mask)
            return true;
    }
    return false;
}

bool QDBoolArray::bitTest(const QDBoolArray& other) const
{
    const int n = m_size < other.m_size ? m_size : other.m_size;
    const int bytes = byteCount(n);
    for (int k = 0; k < bytes; ++k)
    {
        const unsigned char mask = (k == bytes - 1 && n % 8 != 0) ? lowBits(n % 8) : 0xFF;
        if (other.m_begin[k] & (unsigned char)~m_begin[k] & mask)
            return false;
    }
    return other.findFirst(true, n) < 0;
}

bool QDBoolArray::operator==(const QDBoolArray& other) const
{
    if (m_size != other.m_size)
        return false;
    const int full = m_size / 8;
    if (memcmp(m_begin, other.m_begin, size_t(full)) != 0)
        return false;
    const unsigned char mask = lowBits(m_size % 8);
    return mask == 0 || ((m_begin[full] ^ other.m_begin[full]) & mask) == 0;
}
