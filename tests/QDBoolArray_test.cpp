#include "QDBoolArray.h"
#include "QDByteTables.h"
#include "QDString.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

namespace
{
using Bits = std::vector<bool>;

Bits randomBits(std::mt19937& rng, int n, int percentSet = 50)
{
    Bits bits(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        bits[size_t(i)] = int(rng() % 100) < percentSet;
    return bits;
}

QDBoolArray fromBits(const Bits& bits)
{
    QDBoolArray a;
    a.resize(int(bits.size()), false);
    for (size_t i = 0; i < bits.size(); ++i)
        a.set(int(i), bool(bits[i]));
    return a;
}

Bits toBits(const QDBoolArray& a)
{
    Bits bits(static_cast<size_t>(a.size()));
    for (int i = 0; i < a.size(); ++i)
        bits[size_t(i)] = a[i];
    return bits;
}

// Bytes of storage that a bit array of this size owns.
int bytesFor(int bits) { return (bits + 7) / 8; }

// The guards sit right around the data bytes: byte value 1 is bit 0 set, bits 1-7 clear.
void expectGuards(const QDBoolArray& a, int dataBytes)
{
    EXPECT_TRUE(a.getNoSizeTest(-8));
    EXPECT_FALSE(a.getNoSizeTest(-7));
    EXPECT_FALSE(a.getNoSizeTest(-1));
    EXPECT_TRUE(a.getNoSizeTest(8 * dataBytes));
    EXPECT_FALSE(a.getNoSizeTest(8 * dataBytes + 1));
    EXPECT_FALSE(a.getNoSizeTest(8 * dataBytes + 7));
}

const int kSizes[] = {1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 77};
} // namespace

TEST(QDBoolArray, ByteTablesAndTheSharedBitCount)
{
    for (int b = 0; b < 256; ++b)
    {
        int count = 0, lo1 = 8, lo0 = 8, hi1 = 8, hi0 = 8;
        for (int bit = 0; bit < 8; ++bit)
        {
            bool on = (b >> bit) & 1;
            count += on;
            if (on && lo1 == 8)
                lo1 = bit;
            if (!on && lo0 == 8)
                lo0 = bit;
            if (on)
                hi1 = bit;
            if (!on)
                hi0 = bit;
        }
        auto u = (unsigned char)b;
        ASSERT_EQ(QDBoolArray::getNumBitsAt1(u), count) << b;
        ASSERT_EQ(QDBoolArray::getNumBitsAt0(u), 8 - count) << b;
        ASSERT_EQ(QDBoolArray::getFirstBitAt1(u), lo1) << b;
        ASSERT_EQ(QDBoolArray::getFirstBitAt0(u), lo0) << b;
        ASSERT_EQ(QDBoolArray::getLastBitAt1(u), hi1) << b;
        ASSERT_EQ(QDBoolArray::getLastBitAt0(u), hi0) << b;
    }
    // One bit-count table serves both the bit array and the string's case folding.
    EXPECT_EQ(QDBoolArray::numberOfBitSet, QDByteTables::s_numberOfBitSet);
    EXPECT_EQ(QDString::s_toUpper, QDBoolArray::numberOfBitSet + 256);
}

TEST(QDBoolArray, EmptyArrayAndGuardBytes)
{
    QDBoolArray empty;
    EXPECT_EQ(empty.size(), 0);
    EXPECT_EQ(empty.getMemoryUsed(), 1);
    EXPECT_FALSE(empty.get(0));
    EXPECT_EQ(empty.findFirst(true), -1);
    EXPECT_EQ(empty.findFirst(false, -5), -1);
    EXPECT_EQ(empty.findLast(true), -1);
    EXPECT_EQ(empty.findLast(false, 100), -1);
    EXPECT_EQ(empty.getNumberOfBitSet(), 0);
    EXPECT_TRUE(empty == QDBoolArray(0, true));

    for (int n : kSizes)
    {
        SCOPED_TRACE(n);
        QDBoolArray zeros(n, false), ones(n, true);
        expectGuards(zeros, bytesFor(n));
        expectGuards(ones, bytesFor(n));
        EXPECT_FALSE(zeros.get(n));
        EXPECT_FALSE(ones.get(n));
        EXPECT_EQ(zeros.getMemoryUsed(), n / 8 + 1);
        // The scans run off the data onto a guard and report nothing.
        EXPECT_EQ(zeros.findFirst(true, 0), -1);
        EXPECT_EQ(ones.findFirst(false, 0), -1);
        EXPECT_EQ(zeros.findLast(true), -1);
        EXPECT_EQ(ones.findLast(false), -1);
        EXPECT_EQ(ones.getNumberOfBitSet(), n);
        EXPECT_EQ(ones.getNumberOfBitCleared(), 0);
        EXPECT_EQ(zeros.getNumberOfBitCleared(), n);
    }
}

TEST(QDBoolArray, ResizeFillsNewBitsAndTheSpareBitsOfTheLastByte)
{
    QDBoolArray a;
    a.setAutoResize(20);
    EXPECT_EQ(a.size(), 21);
    EXPECT_EQ(a.findFirst(true), 20);
    EXPECT_EQ(a.findLast(true), 20);
    EXPECT_EQ(a.getNumberOfBitSet(), 1);
    expectGuards(a, 3); // exact allocation, no spare capacity

    // Growing past the storage reallocates exactly and keeps the old bits;
    // the bits from the old size on take the fill value.
    a.resize(3, false);
    a.set(1);
    QDBoolArray b(5, false);
    b.set(2);
    b.resize(19, true);
    EXPECT_EQ(b.size(), 19);
    expectGuards(b, 3);
    for (int i = 0; i < 24; ++i)
        EXPECT_EQ(b.getNoSizeTest(i), i == 2 || i >= 5) << i;

    // Shrink, then grow again inside the same storage: the bytes that come back
    // into use must hold the new fill, not what the shrink left.
    QDBoolArray c(32, false);
    c.resize(3, true);
    expectGuards(c, 4); // storage kept
    for (int i = 3; i < 32; ++i)
        EXPECT_TRUE(c.getNoSizeTest(i)) << i;
    c.resize(30, false);
    EXPECT_EQ(c.getNumberOfBitSet(), 0);
    for (int i = 30; i < 32; ++i)
        EXPECT_FALSE(c.getNoSizeTest(i)) << i;
    c.resize(0, true);
    EXPECT_EQ(c.size(), 0);
    EXPECT_EQ(c.findFirst(false), -1);
    c.resize(12, false);
    EXPECT_EQ(c.findFirst(true), -1);

    // Auto-resize ignores indices it cannot grow to.
    QDBoolArray d;
    d.setAutoResize(-1);
    d.toggleAutoResize(INT_MAX);
    EXPECT_EQ(d.size(), 0);
    d.toggleAutoResize(9);
    d.clearAutoResize(12);
    EXPECT_EQ(d.size(), 13);
    EXPECT_EQ(toBits(d), Bits({0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));

    QDBoolArray e(40, true);
    e.reinit(3, false);
    EXPECT_EQ(e.size(), 3);
    expectGuards(e, 1);
    e.freeData();
    EXPECT_EQ(e.size(), 0);
    e.clearArray();
    EXPECT_EQ(e.size(), 0);
}

TEST(QDBoolArray, SearchesMatchABitByBitScan)
{
    std::mt19937 rng(7);
    for (int n : kSizes)
        for (int percent : {0, 3, 50, 97, 100})
        {
            Bits bits = randomBits(rng, n, percent);
            QDBoolArray a = fromBits(bits);
            for (int from = -3; from <= n + 3; ++from)
                for (bool v : {false, true})
                {
                    int first = -1, last = -1;
                    for (int i = from < 0 ? 0 : from; i < n && first < 0; ++i)
                        if (bits[size_t(i)] == v)
                            first = i;
                    for (int i = from >= n ? n - 1 : from; i >= 0 && last < 0; --i)
                        if (bits[size_t(i)] == v)
                            last = i;
                    ASSERT_EQ(a.findFirst(v, from), first) << n << " " << from << " " << v;
                    ASSERT_EQ(a.findLast(v, from), last) << n << " " << from << " " << v;
                }
        }

    // Spare bits past the size never leak into a search.
    QDBoolArray spare(13, false);
    spare.set(14);
    spare.set(15);
    EXPECT_EQ(spare.findFirst(true, 0), -1);
    EXPECT_EQ(spare.findFirst(true, 12), -1);
}

TEST(QDBoolArray, CountsAndRangeWritesMatchAModel)
{
    std::mt19937 rng(11);
    for (int n : kSizes)
    {
        Bits bits = randomBits(rng, n);
        QDBoolArray a = fromBits(bits);
        int total = 0;
        for (bool bit : bits)
            total += bit;
        ASSERT_EQ(a.getNumberOfBitSet(), total);
        for (int from = -2; from <= n + 2; ++from)
            for (int to = from - 1; to <= n + 2; ++to)
            {
                int set = 0, cleared = 0;
                for (int i = from < 0 ? 0 : from; i < to && i < n; ++i)
                    (bits[size_t(i)] ? set : cleared)++;
                ASSERT_EQ(a.getNumberOfBitSetWithin(from, to), set) << from << " " << to;
                ASSERT_EQ(a.getNumberOfBitClearedWithin(from, to), cleared) << from << " " << to;
            }

        int from = int(rng() % unsigned(n + 4)) - 2, to = int(rng() % unsigned(n + 4)) - 2;
        Bits expect = bits;
        for (int i = 0; i < n; ++i)
            if (i >= from && i < to)
                expect[size_t(i)] = true;
        QDBoolArray b = fromBits(bits);
        b.set(from, to);
        EXPECT_EQ(toBits(b), expect) << from << " " << to;
        for (int i = 0; i < n; ++i)
            if (i >= from && i < to)
                expect[size_t(i)] = false;
        b.clear(from, to);
        EXPECT_EQ(toBits(b), expect) << from << " " << to;

        // Whole-array writes leave the spare bits of the last byte alone.
        QDBoolArray c = fromBits(bits);
        c.resize(n, true);
        c.inverse();
        for (int i = 0; i < n; ++i)
            ASSERT_NE(c[i], bool(bits[size_t(i)]));
        c.clearAll();
        EXPECT_EQ(c.getNumberOfBitSet(), 0);
        c.toggleAll();
        EXPECT_EQ(c.getNumberOfBitSet(), n);
        c.clearAll();
        c.setAll();
        EXPECT_EQ(c.getNumberOfBitCleared(), 0);
        for (int i = n; i < 8 * bytesFor(n); ++i)
            EXPECT_TRUE(c.getNoSizeTest(i)) << i;
        expectGuards(c, bytesFor(n));
    }
}

TEST(QDBoolArray, EraseAndInsertShiftTheFollowingBits)
{
    std::mt19937 rng(3);
    Bits model;
    QDBoolArray a;
    for (int step = 0; step < 600; ++step)
    {
        int n = int(model.size());
        int i = int(rng() % unsigned(n + 3)) - 1; // sometimes out of range
        if (rng() % 3 != 0)
        {
            bool v = rng() & 1;
            a.insert(i, v);
            if (i >= 0 && i <= n)
                model.insert(model.begin() + i, v);
        }
        else
        {
            a.erase(i);
            if (i >= 0 && i < n)
                model.erase(model.begin() + i);
        }
        ASSERT_EQ(toBits(a), model) << step;
    }

    // Growing one bit at a time allocates exactly, byte by byte.
    QDBoolArray b;
    for (int i = 0; i < 9; ++i)
        b.insert(0, true);
    expectGuards(b, 2);
    EXPECT_EQ(b.getNumberOfBitSet(), 9);
}

TEST(QDBoolArray, CombinationsWithAnotherArray)
{
    std::mt19937 rng(5);
    for (int n : {0, 5, 8, 13, 40})
        for (int m : {0, 3, 8, 13, 41})
        {
            SCOPED_TRACE(std::to_string(n) + " " + std::to_string(m));
            Bits x = randomBits(rng, n), y = randomBits(rng, m);
            auto yAt = [&](int i) { return i < m && y[size_t(i)]; };
            Bits andBits(x), orBits(x), xorBits(x), andNotBits(x), keep(x), merged(x);
            bool anyShared = false, subset = true;
            merged.resize(size_t(n > m ? n : m), false);
            for (int i = 0; i < n; ++i)
            {
                bool a = x[size_t(i)], b = yAt(i);
                andBits[size_t(i)] = a && b;
                orBits[size_t(i)] = a || b;
                xorBits[size_t(i)] = a != b;
                andNotBits[size_t(i)] = a && !b;
                keep[size_t(i)] = b;
                anyShared = anyShared || (a && b);
            }
            for (int i = 0; i < m; ++i)
            {
                merged[size_t(i)] = merged[size_t(i)] || y[size_t(i)];
                if (y[size_t(i)] && !(i < n && x[size_t(i)]))
                    subset = false;
            }
            QDBoolArray a = fromBits(x), b = fromBits(y);
            QDBoolArray r = a;
            r.inter(b);
            EXPECT_EQ(toBits(r), andBits);
            r = a;
            r.set(b);
            EXPECT_EQ(toBits(r), orBits);
            r = a;
            r.toggle(b);
            EXPECT_EQ(toBits(r), xorBits);
            r = a;
            r.clear(b);
            EXPECT_EQ(toBits(r), andNotBits);
            r = a;
            r.merge(b);
            EXPECT_EQ(toBits(r), merged);
            r = a;
            r.copy(b, true);
            EXPECT_EQ(toBits(r), keep);
            r.copy(b, false);
            EXPECT_TRUE(r == b);
            EXPECT_EQ(a.hasInter(b), anyShared);
            EXPECT_EQ(a.bitTest(b), subset);
            EXPECT_TRUE(a.bitTest(a));
        }
}

TEST(QDBoolArray, CopiesAssignmentsAndEquality)
{
    QDBoolArray a(19, false);
    a.set(0);
    a.set(18);
    QDBoolArray copy(a);
    EXPECT_TRUE(copy == a);
    expectGuards(copy, 3);
    copy.clear(18);
    EXPECT_FALSE(copy == a);
    EXPECT_TRUE(a.get(18)); // each copy owns its storage

    const QDBoolArray& same = copy;
    copy = same; // self-assignment keeps the bits
    EXPECT_EQ(copy.size(), 19);
    EXPECT_TRUE(copy.get(0));
    copy.copy(copy, false);
    EXPECT_TRUE(copy.get(0));

    // Only bits below the size count for equality.
    QDBoolArray p(13, false), q(13, true);
    q.clearAll();
    EXPECT_TRUE(p == q);
    EXPECT_FALSE(p == QDBoolArray(14, false));

    // A copy of a shrunk array allocates only what its size needs.
    QDBoolArray big(64, true);
    big.resize(9, true);
    QDBoolArray small(big);
    expectGuards(small, 2);

    QDBoolArray s(3, true);
    s.swap(a);
    EXPECT_EQ(s.size(), 19);
    EXPECT_TRUE(s.get(18));
    EXPECT_EQ(a.size(), 3);
    EXPECT_EQ(a.getNumberOfBitSet(), 3);
}

TEST(QDBoolArray, AssignFormsMasksAndIndexLists)
{
    QDBoolArray a(4, true);
    a.assign(10, false);
    EXPECT_EQ(a.size(), 10);
    EXPECT_EQ(a.getNumberOfBitSet(), 0);
    a.assign(6, true);
    EXPECT_EQ(a.getNumberOfBitSet(), 6);

    const char flags[] = {1, 0, '0', 0, 0, 0, 0, 0, 7};
    a.assign(9, flags);
    EXPECT_EQ(toBits(a), Bits({1, 0, 1, 0, 0, 0, 0, 0, 1}));
    a.assign(3, static_cast<const char*>(nullptr));
    EXPECT_EQ(toBits(a), Bits({0, 0, 0}));

    const int indices[] = {2, -1, 5, 40, 0};
    a.assign(6, indices, 5);
    EXPECT_EQ(toBits(a), Bits({1, 0, 1, 0, 0, 1}));
    a.clear(5, indices);
    EXPECT_EQ(a.getNumberOfBitSet(), 0);
    a.set(2, indices);
    EXPECT_EQ(toBits(a), Bits({0, 0, 1, 0, 0, 0}));
    a.set(0, static_cast<const int*>(nullptr));

    QDBoolArray m(40, false);
    m.set(3);
    m.set(10);
    m.set(34);
    EXPECT_EQ(m.getAsMask(0), (1u << 3) | (1u << 10));
    EXPECT_EQ(m.getAsMask(3), 1u | (1u << 7) | (1u << 31));
    EXPECT_EQ(m.getAsMask(-2), (1u << 5) | (1u << 12));
    EXPECT_EQ(m.getAsMask(35), 0u);
    m.resize(34, true); // bit 34 is now beyond the size and reads 0
    EXPECT_EQ(m.getAsMask(10), 1u);
    EXPECT_EQ(m.getAsMask(INT_MAX), 0u);
}

TEST(QDBitMgr, WordScansOnEightSixteenAndThirtyTwoBits)
{
    for (unsigned w = 0; w < 65536; ++w)
    {
        int count = 0, lo1 = 16, lo0 = 16, hi1 = 16, hi0 = 16;
        for (int bit = 0; bit < 16; ++bit)
        {
            bool on = (w >> bit) & 1;
            count += on;
            if (on && lo1 == 16)
                lo1 = bit;
            if (!on && lo0 == 16)
                lo0 = bit;
            if (on)
                hi1 = bit;
            if (!on)
                hi0 = bit;
        }
        auto s = (unsigned short)w;
        ASSERT_EQ(QDBitMgr::getNumBits1(s), count) << w;
        ASSERT_EQ(QDBitMgr::getNumBits0(s), 16 - count) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit1(s), lo1) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit0(s), lo0) << w;
        ASSERT_EQ(QDBitMgr::getLastBit1(s), hi1) << w;
        ASSERT_EQ(QDBitMgr::getLastBit0(s), hi0) << w;
        if (w < 256)
        {
            auto c = (unsigned char)w;
            ASSERT_EQ(QDBitMgr::getNumBits1(c), count);
            ASSERT_EQ(QDBitMgr::getNumBits0(c), 8 - count);
            ASSERT_EQ(QDBitMgr::getFirstBit1(c), lo1 == 16 ? 8 : lo1);
            ASSERT_EQ(QDBitMgr::getFirstBit0(c), lo0 >= 8 ? 8 : lo0);
            ASSERT_EQ(QDBitMgr::getLastBit1(c), hi1 == 16 ? 8 : hi1);
        }
    }

    EXPECT_EQ(QDBitMgr::getNumBits1(0x80000001ul), 2);
    EXPECT_EQ(QDBitMgr::getNumBits0(0x80000001ul), 30);
    EXPECT_EQ(QDBitMgr::getFirstBit1(0x00010000ul), 16);
    EXPECT_EQ(QDBitMgr::getFirstBit0(0x00FFFFFFul), 24);
    EXPECT_EQ(QDBitMgr::getLastBit1(0x00000300ul), 9);
    EXPECT_EQ(QDBitMgr::getLastBit1(0x80000000ul), 31);
    EXPECT_EQ(QDBitMgr::getLastBit0(0xFF7FFFFFul), 23);
    // Nothing found: the word's width.
    EXPECT_EQ(QDBitMgr::getFirstBit1(0ul), 32);
    EXPECT_EQ(QDBitMgr::getLastBit1(0ul), 32);
    EXPECT_EQ(QDBitMgr::getFirstBit0(0xFFFFFFFFul), 32);
    EXPECT_EQ(QDBitMgr::getLastBit0(0xFFFFFFFFul), 32);
    EXPECT_EQ(QDBitMgr::getLastBit0((unsigned char)0xFF), 8);
    if (sizeof(unsigned long) > 4)
    {
        // Only the low 32 bits are a word here.
        const unsigned long high = (unsigned long)0xF0F0F0F0ul << 16 << 16;
        EXPECT_EQ(QDBitMgr::getNumBits1(high | 1ul), 1);
        EXPECT_EQ(QDBitMgr::getFirstBit1(high), 32);
        EXPECT_EQ(QDBitMgr::getLastBit1(high | 4ul), 2);
        EXPECT_EQ(QDBitMgr::getLastBit0(high | 0xFFFFFFFFul), 32);
    }

    const unsigned one = 1;
    EXPECT_EQ(QDBitMgr::getBitOrdering(), *reinterpret_cast<const unsigned char*>(&one) == 1
                                              ? QDBitMgr::s_littleEndian
                                              : QDBitMgr::s_bigEndian);
}
