#pragma once

// Packed bit array, least significant bit first, storage allocated exactly
// (memory over speed) with one guard byte of value 1 on each side: a byte 1 is
// neither all-clear nor all-set, so the unbounded byte scans of findFirst and
// findLast always stop on a guard.
//
// Index ranges given as (from, to) are half-open, [from, to), and are clipped to
// [0, size()). Single-bit writes (set, clear, toggle of one index) are not
// bounds-checked; everything else is.
class QDBoolArray
{
public:
    // Byte lookup tables, 256 entries each; the empty-answer entries hold 8.
    static const unsigned char* const numberOfBitSet;
    static const unsigned char* const first1;
    static const unsigned char* const first0;
    static const unsigned char* const last1;
    static const unsigned char* const last0;

    QDBoolArray();
    QDBoolArray(int n, bool value);
    QDBoolArray(const QDBoolArray& other);
    ~QDBoolArray();
    QDBoolArray& operator=(const QDBoolArray& other);
    // Same size and same bits below it; the spare bits of the last byte do not count.
    bool operator==(const QDBoolArray& other) const;

    int size() const { return m_size; }
    bool get(int i) const { return i < m_size && getNoSizeTest(i); }
    bool getNoSizeTest(int i) const { return (m_begin[i >> 3] >> (i & 7)) & 1; }
    bool operator[](int i) const { return getNoSizeTest(i); }

    void set(int i, bool v) { v ? set(i) : clear(i); }
    void set(int i) { m_begin[i >> 3] |= (unsigned char)(1u << (i & 7)); }
    void clear(int i) { m_begin[i >> 3] &= (unsigned char)~(1u << (i & 7)); }
    void toggle(int i) { m_begin[i >> 3] ^= (unsigned char)(1u << (i & 7)); }
    // Grow to i + 1 bits (new bits clear) when i is beyond the end; a negative i
    // or i at the int limit is ignored.
    void setAutoResize(int i);
    void clearAutoResize(int i);
    void toggleAutoResize(int i);

    // New bits take fill; afterwards every allocated bit at or above n equals fill.
    void resize(int n, bool fill);
    // Drops the storage and allocates exactly n bits of value.
    void reinit(int n, bool value);
    int findFirst(bool v, int from) const;
    // Highest index at or below from (a from beyond the end means the last bit).
    int findLast(bool v, int from) const;
    int findFirst(bool v) const { return findFirst(v, 0); }
    int findLast(bool v) const { return findLast(v, m_size - 1); }
    int getNumberOfBitSet() const;
    int getNumberOfBitCleared() const { return m_size - getNumberOfBitSet(); }
    int getNumberOfBitSetWithin(int from, int to) const;
    int getNumberOfBitClearedWithin(int from, int to) const;
    int getMemoryUsed() const { return m_size / 8 + 1; }
    void freeData();

    void swap(QDBoolArray& other);
    void inverse();
    void toggleAll() { inverse(); }
    void setAll();
    void clearAll();
    // Size 0 with the storage kept for regrowth (freeData releases it).
    void clearArray() { resize(0, false); }
    // Remove bit i, or insert v before bit i (i == size() appends); the bits
    // after i move by one. An i out of range changes nothing.
    void erase(int i);
    void insert(int i, bool v);
    // The 32 bits from `from` on, bit `from` in bit 0; bits outside the array read 0.
    unsigned int getAsMask(int from) const;
    // The array becomes n bits: all v; bit i set when flags[i] is non-zero; the
    // listed indices set (indices outside [0, n) ignored).
    void assign(int n, bool v);
    void assign(int n, const char* flags);
    void assign(int n, const int* indices, int count);
    // Set or clear the listed indices; indices outside the array are ignored.
    void set(int count, const int* indices);
    void clear(int count, const int* indices);
    void set(int from, int to);
    void clear(int from, int to);

    // Combinations with another array. inter: AND, and bits beyond the other's
    // size are cleared. merge: OR, growing to the other's size when it is larger.
    // set / toggle / clear: OR / XOR / AND-NOT over the shared bits, size kept.
    void inter(const QDBoolArray& other);
    void merge(const QDBoolArray& other);
    void set(const QDBoolArray& other);
    void toggle(const QDBoolArray& other);
    void clear(const QDBoolArray& other);
    // True when some index is set in both.
    bool hasInter(const QDBoolArray& other) const;
    // True when every bit set in other is set here too (other is a subset).
    bool bitTest(const QDBoolArray& other) const;
    // keepSize false: exact copy (size and bits). keepSize true: this size stays,
    // the shared bits are copied and the bits beyond the other's size cleared.
    void copy(const QDBoolArray& other, bool keepSize);

    static int getNumBitsAt1(unsigned char b) { return numberOfBitSet[b]; }
    static int getNumBitsAt0(unsigned char b) { return 8 - numberOfBitSet[b]; }
    static int getFirstBitAt1(unsigned char b) { return first1[b]; }
    static int getFirstBitAt0(unsigned char b) { return first0[b]; }
    static int getLastBitAt1(unsigned char b) { return last1[b]; }
    static int getLastBitAt0(unsigned char b) { return last0[b]; }

private:
    // Storage of every empty array: the two guards and nothing between.
    static unsigned char emptyArray[2];

    enum class Write
    {
        Set,
        Clear,
        Toggle
    };
    enum class Combine
    {
        And,
        Or,
        Xor,
        AndNot,
        Copy
    };

    void release();
    void writeRange(int from, int to, Write op);
    void combine(const QDBoolArray& other, Combine op);

    unsigned char* m_begin;
    unsigned char* m_end;
    int m_size;
};

// Bit scans on 8-, 16- and 32-bit words, built from the byte tables. A scan
// that finds nothing returns the word's width (8, 16 or 32).
// The unsigned long forms are the 32-bit words of the original platform: on
// LP64 only the low 32 bits are looked at.
class QDBitMgr
{
public:
    static constexpr int s_littleEndian = 0;
    static constexpr int s_bigEndian = 1;

    static int getNumBits1(unsigned char w);
    static int getNumBits1(unsigned short w);
    static int getNumBits1(unsigned long w);
    static int getNumBits0(unsigned char w);
    static int getNumBits0(unsigned short w);
    static int getNumBits0(unsigned long w);
    static int getFirstBit1(unsigned char w);
    static int getFirstBit1(unsigned short w);
    static int getFirstBit1(unsigned long w);
    static int getFirstBit0(unsigned char w);
    static int getFirstBit0(unsigned short w);
    static int getFirstBit0(unsigned long w);
    static int getLastBit1(unsigned char w);
    static int getLastBit1(unsigned short w);
    static int getLastBit1(unsigned long w);
    static int getLastBit0(unsigned char w);
    static int getLastBit0(unsigned short w);
    static int getLastBit0(unsigned long w);
    // Byte order of this machine's words in memory: s_littleEndian or s_bigEndian.
    static int getBitOrdering();
};
