#include "QDBoolArray.h"

#include <cstdint>
#include <cstring>

namespace
{
// Words are scanned byte by byte through the byte tables, lowest byte first for
// the first-bit scans and highest byte first for the last-bit scans. A byte
// equal to `none` holds no bit of the kind sought.
int firstBit(std::uint32_t w, int bytes, const unsigned char* table, unsigned char none)
{
    for (int k = 0; k < bytes; ++k)
    {
        const unsigned char b = (unsigned char)(w >> (8 * k));
        if (b != none)
            return 8 * k + table[b];
    }
    return 8 * bytes;
}

int lastBit(std::uint32_t w, int bytes, const unsigned char* table, unsigned char none)
{
    for (int k = bytes - 1; k >= 0; --k)
    {
        const unsigned char b = (unsigned char)(w >> (8 * k));
        if (b != none)
            return 8 * k + table[b];
    }
    return 8 * bytes;
}

int numBits1(std::uint32_t w, int bytes)
{
    int n = 0;
    for (int k = 0; k < bytes; ++k)
        n += QDBoolArray::numberOfBitSet[(unsigned char)(w >> (8 * k))];
    return n;
}

// The original platform's unsigned long was 32 bits wide; on LP64 the high half
// is ignored so that every form answers as it did there.
inline std::uint32_t low32(unsigned long w) { return std::uint32_t(w & 0xFFFFFFFFul); }
} // namespace

int QDBitMgr::getNumBits1(unsigned char w) { return numBits1(w, 1); }
int QDBitMgr::getNumBits1(unsigned short w) { return numBits1(w, 2); }
int QDBitMgr::getNumBits1(unsigned long w) { return numBits1(low32(w), 4); }

int QDBitMgr::getNumBits0(unsigned char w) { return 8 - numBits1(w, 1); }
int QDBitMgr::getNumBits0(unsigned short w) { return 16 - numBits1(w, 2); }
int QDBitMgr::getNumBits0(unsigned long w) { return 32 - numBits1(low32(w), 4); }

int QDBitMgr::getFirstBit1(unsigned char w) { return firstBit(w, 1, QDBoolArray::first1, 0x00); }
int QDBitMgr::getFirstBit1(unsigned short w) { return firstBit(w, 2, QDBoolArray::first1, 0x00); }
int QDBitMgr::getFirstBit1(unsigned long w)
{
    return firstBit(low32(w), 4, QDBoolArray::first1, 0x00);
}

int QDBitMgr::getFirstBit0(unsigned char w) { return firstBit(w, 1, QDBoolArray::first0, 0xFF); }
int QDBitMgr::getFirstBit0(unsigned short w) { return firstBit(w, 2, QDBoolArray::first0, 0xFF); }
int QDBitMgr::getFirstBit0(unsigned long w)
{
    return firstBit(low32(w), 4, QDBoolArray::first0, 0xFF);
}

int QDBitMgr::getLastBit1(unsigned char w) { return lastBit(w, 1, QDBoolArray::last1, 0x00); }
int QDBitMgr::getLastBit1(unsigned short w) { return lastBit(w, 2, QDBoolArray::last1, 0x00); }
int QDBitMgr::getLastBit1(unsigned long w) { return lastBit(low32(w), 4, QDBoolArray::last1, 0x00); }

int QDBitMgr::getLastBit0(unsigned char w) { return lastBit(w, 1, QDBoolArray::last0, 0xFF); }
int QDBitMgr::getLastBit0(unsigned short w) { return lastBit(w, 2, QDBoolArray::last0, 0xFF); }
int QDBitMgr::getLastBit0(unsigned long w) { return lastBit(low32(w), 4, QDBoolArray::last0, 0xFF); }

int QDBitMgr::getBitOrdering()
{
    const std::uint32_t one = 1;
    unsigned char first;
    memcpy(&first, &one, 1);
    return first == 1 ? s_littleEndian : s_bigEndian;
}
