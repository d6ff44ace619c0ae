#include "QDBoolArray.h"

#include "QDByteTables.h"

#include <cstring>

namespace
{
// The empty array points into this: a guard byte on each side, nothing between.
unsigned char s_emptyArray[2] = {1, 1};

inline int byteCount(int bits) { return bits > 0 ? (bits + 7) / 8 : 0; }
} // namespace

const unsigned char* const QDBoolArray::numberOfBitSet = QDByteTables::s_numberOfBitSet;

QDBoolArray::QDBoolArray() : m_begin(s_emptyArray + 1), m_end(s_emptyArray + 1), m_size(0) {}

QDBoolArray::QDBoolArray(int n, bool value) : QDBoolArray() { resize(n, value); }

QDBoolArray::QDBoolArray(const QDBoolArray& other) : QDBoolArray() { copy(other, false); }

QDBoolArray::~QDBoolArray() { freeData(); }

QDBoolArray& QDBoolArray::operator=(const QDBoolArray& other)
{
    if (this != &other)
        copy(other, false);
    return *this;
}

void QDBoolArray::freeData()
{
    if (m_end > m_begin)
        delete[] (m_begin - 1);
    m_begin = m_end = s_emptyArray + 1;
    m_size = 0;
}

void QDBoolArray::copy(const QDBoolArray& other, bool)
{
    freeData();
    int bytes = int(other.m_end - other.m_begin);
    if (bytes > 0)
    {
        unsigned char* storage = new unsigned char[size_t(bytes) + 2];
        storage[0] = 1;
        storage[bytes + 1] = 1;
        memcpy(storage + 1, other.m_begin, size_t(bytes));
        m_begin = storage + 1;
        m_end = m_begin + bytes;
    }
    m_size = other.m_size;
}

void QDBoolArray::resize(int n, bool fill)
{
    if (n < 0)
        n = 0;
    const unsigned char fillByte = fill ? 0xFF : 0x00;
    const int newBytes = byteCount(n);
    const int oldBytes = byteCount(m_size);
    const int capacityBits = 8 * int(m_end - m_begin);
    // Bits of the old last byte at and above the old size take the fill value.
    auto fillTail = [&](unsigned char* bytes) {
        if (m_size % 8 != 0)
        {
            unsigned char high = (unsigned char)(0xFF << (m_size % 8));
            if (fill)
                bytes[oldBytes - 1] |= high;
            else
                bytes[oldBytes - 1] &= (unsigned char)~high;
        }
    };
    if (capacityBits >= n)
    {
        if (m_end > m_begin)
        {
            // New bytes and bytes dropped by a shrink take the fill value.
            const int from = oldBytes < newBytes ? oldBytes : newBytes;
            memset(m_begin + from, fillByte, size_t((m_end - m_begin) - from));
            if (oldBytes > 0)
                fillTail(m_begin);
        }
        m_size = n;
        return;
    }
    unsigned char* storage = new unsigned char[size_t(newBytes) + 2];
    storage[0] = 1;
    storage[newBytes + 1] = 1;
    unsigned char* bytes = storage + 1;
    memcpy(bytes, m_begin, size_t(oldBytes));
    memset(bytes + oldBytes, fillByte, size_t(newBytes - oldBytes));
    if (oldBytes > 0)
        fillTail(bytes);
    if (m_end > m_begin)
        delete[] (m_begin - 1);
    m_begin = bytes;
    m_end = bytes + newBytes;
    m_size = n;
}

void QDBoolArray::reinit(int n, bool value)
{
    freeData();
    resize(n, value);
}
