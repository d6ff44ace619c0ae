#pragma once

// Packed bit array, least significant bit first, storage allocated exactly
// (memory over speed) with one guard byte of value 1 on each side: a byte 1 is
// neither all-clear nor all-set, so the unbounded byte scans of findFirst and
// findLast always stop on a guard.
class QDBoolArray
{
public:
    // Byte lookup tables, 256 entries each; the empty-answer entries hold 8.
    static const unsigned char* const numberOfBitSet;
    static const unsigned char first1[256];
    static const unsigned char first0[256];
    static const unsigned char last1[256];
    static const unsigned char last0[256];

    QDBoolArray();
    QDBoolArray(int n, bool value);
    QDBoolArray(const QDBoolArray& other);
    ~QDBoolArray();
    QDBoolArray& operator=(const QDBoolArray& other);
    bool operator==(const QDBoolArray& other) const;

    int size() const { return m_size; }
    bool get(int i) const { return i < m_size && getNoSizeTest(i); }
    bool getNoSizeTest(int i) const { return (m_begin[i >> 3] >> (i & 7)) & 1; }
    bool operator[](int i) const { return getNoSizeTest(i); }

    void set(int i, bool v) { v ? set(i) : clear(i); }
    void set(int i) { m_begin[i >> 3] |= (unsigned char)(1u << (i & 7)); }
    void clear(int i) { m_begin[i >> 3] &= (unsigned char)~(1u << (i & 7)); }
    void toggle(int i) { m_begin[i >> 3] ^= (unsigned char)(1u << (i & 7)); }
    void setAutoResize(int i);
    void clearAutoResize(int i);
    void toggleAutoResize(int i);

    void resize(int n, bool fill);
    void reinit(int n, bool value);
    int findFirst(bool v, int from) const;
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
    void clearArray() { freeData(); }
    void erase(int i);
    void insert(int i, bool v);
    unsigned int getAsMask(int from) const;
    void assign(int n, bool v);
    void assign(int n, const char* bits);
    void assign(int n, const int* indices, int count);
    void set(int count, const int* indices);
    void set(int from, int to);
    void clear(int count, const int* indices);
    void clear(int from, int to);
    void inter(const QDBoolArray& other);
    void merge(const QDBoolArray& other);
    void set(const QDBoolArray& other);
    void toggle(const QDBoolArray& other);
    void clear(const QDBoolArray& other);
    bool hasInter(const QDBoolArray& other) const;
    bool bitTest(const QDBoolArray& other) const;
    void copy(const QDBoolArray& other, bool keepSize);

    static int getNumBitsAt1(unsigned char b) { return numberOfBitSet[b]; }
    static int getNumBitsAt0(unsigned char b) { return 8 - numberOfBitSet[b]; }
    static int getFirstBitAt1(unsigned char b) { return first1[b]; }
    static int getFirstBitAt0(unsigned char b) { return first0[b]; }
    static int getLastBitAt1(unsigned char b) { return last1[b]; }
    static int getLastBitAt0(unsigned char b) { return last0[b]; }

private:
    unsigned char* m_begin;
    unsigned char* m_end;
    int m_size;
};

// Bit scans on 8-, 16- and 32-bit words, built from the byte tables.
class QDBitMgr
{
public:
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
    static int getBitOrdering();
};
