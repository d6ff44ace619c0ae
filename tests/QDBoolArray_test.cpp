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
    QDBoolArray a(int(bits.size()), false);
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

int bytesFor(int bits) { return (bits + 7) / 8; }

// The guards sit right around the data bytes; a guard byte 1 reads as bit 0 set only.
void expectGuards(const QDBoolArray& a, int dataBytes)
{
    for (int bit = 0; bit < 8; ++bit)
    {
        EXPECT_EQ(a.getNoSizeTest(bit - 8), bit == 0) << bit;
        EXPECT_EQ(a.getNoSizeTest(8 * dataBytes + bit), bit == 0) << dataBytes;
    }
}

const int kSizes[] = {1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 77};
} // namespace

TEST(QDBoolArray, EmptyArrayAndGuardBytes)
{
    QDBoolArray empty;
    EXPECT_EQ(empty.size() + empty.getNumberOfBitSet(), 0);
    EXPECT_EQ(empty.getMemoryUsed(), 1);
    EXPECT_FALSE(empty.get(0));
    EXPECT_EQ(empty.findFirst(true) + empty.findFirst(false, -5), -2);
    EXPECT_EQ(empty.findLast(true) + empty.findLast(false, 100), -2);
    EXPECT_TRUE(empty == QDBoolArray(0, true));

    for (int n : kSizes)
    {
        SCOPED_TRACE(n);
        QDBoolArray zeros(n, false), ones(n, true);
        expectGuards(zeros, bytesFor(n)); // exact allocation, no spare capacity
        expectGuards(ones, bytesFor(n));
        EXPECT_FALSE(zeros.get(n) || ones.get(n));
        EXPECT_EQ(zeros.getMemoryUsed(), n / 8 + 1);
        // The scans run off the data onto a guard and report nothing.
        EXPECT_EQ(zeros.findFirst(true, 0) + ones.findFirst(false, 0), -2);
        EXPECT_EQ(zeros.findLast(true) + ones.findLast(false), -2);
        EXPECT_EQ(ones.getNumberOfBitSet() + zeros.getNumberOfBitCleared(), 2 * n);
    }
}

TEST(QDBoolArray, ResizeFillsNewBitsAndTheSpareBitsOfTheLastByte)
{
    QDBoolArray a;
    a.setAutoResize(20);
    EXPECT_EQ(a.size(), 21);
    EXPECT_EQ(a.findFirst(true) + a.findLast(true), 40);
    EXPECT_EQ(a.getNumberOfBitSet(), 1);
    expectGuards(a, 3);

    // Growing past the storage reallocates exactly and keeps the old bits;
    // the bits from the old size on take the fill value.
    QDBoolArray b(5, false);
    b.set(2);
    b.resize(19, true);
    expectGuards(b, 3);
    for (int i = 0; i < 24; ++i)
        EXPECT_EQ(b.getNoSizeTest(i), i == 2 || i >= 5) << i;

    // Shrink, then grow again inside the same storage: the bytes that come back
    // into use hold the new fill, not what the shrink left.
    QDBoolArray c(32, false);
    c.resize(3, true);
    expectGuards(c, 4); // storage kept
    EXPECT_EQ(c.getNumberOfBitSet(), 0);
    c.resize(30, false);
    EXPECT_EQ(c.getNumberOfBitSet(), 0);
    for (int i = 30; i < 32; ++i)
        EXPECT_FALSE(c.getNoSizeTest(i)) << i;
    c.resize(11, true); // the spare bits of a shrunk last byte take the fill too
    for (int i = 11; i < 16; ++i)
        EXPECT_TRUE(c.getNoSizeTest(i)) << i;
    c.resize(0, true);
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
    EXPECT_EQ(toBits(d), Bits({0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));

    QDBoolArray e(40, true);
    e.reinit(3, false);
    expectGuards(e, 1);
    EXPECT_EQ(e.size(), 3);
    e.clearArray();
    EXPECT_EQ(e.size(), 0);
    e.freeData();
    EXPECT_EQ(e.getMemoryUsed(), 1);
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
                        first = bits[size_t(i)] == v ? i : -1;
                    for (int i = from >= n ? n - 1 : from; i >= 0 && last < 0; --i)
                        last = bits[size_t(i)] == v ? i : -1;
                    ASSERT_EQ(a.findFirst(v, from), first) << n << " " << from << " " << v;
                    ASSERT_EQ(a.findLast(v, from), last) << n << " " << from << " " << v;
                }
        }
    // Spare bits past the size never leak into a search.
    QDBoolArray spare(13, false);
    spare.set(14);
    EXPECT_EQ(spare.findFirst(true, 0) + spare.findFirst(true, 12), -2);
}

TEST(QDBoolArray, CountsAndRangeWritesMatchAModel)
{
    std::mt19937 rng(11);
    for (int n : kSizes)
    {
        Bits bits = randomBits(rng, n);
        QDBoolArray a = fromBits(bits);
        for (int from = -2; from <= n + 2; ++from)
            for (int to = from - 1; to <= n + 2; ++to)
            {
                int set = 0, cleared = 0;
                for (int i = from < 0 ? 0 : from; i < to && i < n; ++i)
                    (bits[size_t(i)] ? set : cleared)++;
                ASSERT_EQ(a.getNumberOfBitSetWithin(from, to), set) << from << " " << to;
                ASSERT_EQ(a.getNumberOfBitClearedWithin(from, to), cleared) << from << " " << to;
                if (from == 0 && to >= n)
                {
                    ASSERT_EQ(a.getNumberOfBitSet(), set);
                }
            }

        int from = int(rng() % unsigned(n + 4)) - 2, to = int(rng() % unsigned(n + 4)) - 2;
        for (bool v : {true, false})
        {
            for (int i = 0; i < n; ++i)
                if (i >= from && i < to)
                    bits[size_t(i)] = v;
            v ? a.set(from, to) : a.clear(from, to);
            EXPECT_EQ(toBits(a), bits) << from << " " << to;
        }

        // Whole-array writes leave the spare bits of the last byte alone.
        a.resize(n, true);
        a.inverse();
        for (int i = 0; i < n; ++i)
            ASSERT_NE(a[i], bool(bits[size_t(i)]));
        a.clearAll();
        a.toggleAll();
        EXPECT_EQ(a.getNumberOfBitSet(), n);
        a.clearAll();
        a.setAll();
        EXPECT_EQ(a.getNumberOfBitCleared(), 0);
        a.clearAll();
        for (int i = n; i < 8 * bytesFor(n); ++i)
            EXPECT_TRUE(a.getNoSizeTest(i)) << i;
        expectGuards(a, bytesFor(n));
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
            const Bits x = randomBits(rng, n), y = randomBits(rng, m);
            QDBoolArray a = fromBits(x), b = fromBits(y);
            b.resize(m, true); // spare bits set: they must not leak into a

            // Model of each operation: this array's bit and the other's (false beyond it).
            auto check = [&](void (QDBoolArray::*op)(const QDBoolArray&), bool (*f)(bool, bool),
                             int size) {
                QDBoolArray r = a;
                (r.*op)(b);
                Bits expect(static_cast<size_t>(size));
                for (int i = 0; i < size; ++i)
                    expect[size_t(i)] = f(i < n && x[size_t(i)], i < m && y[size_t(i)]);
                EXPECT_EQ(toBits(r), expect);
            };
            using Op = void (QDBoolArray::*)(const QDBoolArray&);
            check(&QDBoolArray::inter, [](bool p, bool q) { return p && q; }, n);
            check(static_cast<Op>(&QDBoolArray::set), [](bool p, bool q) { return p || q; }, n);
            check(static_cast<Op>(&QDBoolArray::toggle), [](bool p, bool q) { return p != q; }, n);
            check(static_cast<Op>(&QDBoolArray::clear), [](bool p, bool q) { return p && !q; }, n);
            check(&QDBoolArray::merge, [](bool p, bool q) { return p || q; }, n > m ? n : m);

            bool shared = false, subset = true;
            for (int i = 0; i < m; ++i)
            {
                shared = shared || (y[size_t(i)] && i < n && x[size_t(i)]);
                subset = subset && (!y[size_t(i)] || (i < n && x[size_t(i)]));
            }
            EXPECT_EQ(a.hasInter(b), shared);
            EXPECT_EQ(a.bitTest(b), subset);
            EXPECT_TRUE(a.bitTest(a));

            QDBoolArray r = a;
            r.copy(b, true);
            Bits keep(static_cast<size_t>(n));
            for (int i = 0; i < n && i < m; ++i)
                keep[size_t(i)] = y[size_t(i)];
            EXPECT_EQ(toBits(r), keep);
            r.copy(b, false);
            EXPECT_TRUE(r == b);
        }
}

TEST(QDBoolArray, CopiesAssignFormsAndMasks)
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
    copy = same;
    copy.copy(copy, false);
    EXPECT_TRUE(copy.get(0) && copy.size() == 19);

    // Only bits below the size count for equality; a copy allocates only what its size needs.
    QDBoolArray p(13, false), q(13, true);
    q.clearAll();
    EXPECT_TRUE(p == q);
    EXPECT_FALSE(p == QDBoolArray(14, false));
    QDBoolArray big(64, true);
    big.resize(9, true);
    expectGuards(QDBoolArray(big), 2);
    big.swap(a);
    EXPECT_TRUE(big.size() == 19 && big.get(18) && a.size() == 9);

    a.assign(10, false);
    EXPECT_EQ(a.size() + a.getNumberOfBitSet(), 10);
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

    QDBoolArray m(40, false);
    m.set(3);
    m.set(10);
    m.set(34);
    EXPECT_EQ(m.getAsMask(0), (1u << 3) | (1u << 10));
    EXPECT_EQ(m.getAsMask(3), 1u | (1u << 7) | (1u << 31));
    EXPECT_EQ(m.getAsMask(-2), (1u << 5) | (1u << 12));
    m.resize(34, true); // bit 34 is now beyond the size and reads 0
    EXPECT_EQ(m.getAsMask(10), 1u);
    EXPECT_EQ(m.getAsMask(35) + m.getAsMask(INT_MAX), 0u);
}

TEST(QDBitMgr, ByteTablesAndWordScans)
{
    // A bit-by-bit answer for every 16-bit word; width = "nothing found".
    auto scan = [](unsigned w, int width, bool v, bool fromLow) {
        for (int k = 0; k < width; ++k)
        {
            int bit = fromLow ? k : width - 1 - k;
            if (bool((w >> bit) & 1) == v)
                return bit;
        }
        return width;
    };
    for (unsigned w = 0; w < 65536; ++w)
    {
        auto s = (unsigned short)w;
        int count = QDBitMgr::getNumBits1(s);
        ASSERT_EQ(count, __builtin_popcount(w)) << w;
        ASSERT_EQ(QDBitMgr::getNumBits0(s), 16 - count) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit1(s), scan(w, 16, true, true)) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit0(s), scan(w, 16, false, true)) << w;
        ASSERT_EQ(QDBitMgr::getLastBit1(s), scan(w, 16, true, false)) << w;
        ASSERT_EQ(QDBitMgr::getLastBit0(s), scan(w, 16, false, false)) << w;
        auto c = (unsigned char)w;
        ASSERT_EQ(QDBitMgr::getNumBits1(c) + QDBitMgr::getNumBits0(c), 8);
        ASSERT_EQ(QDBitMgr::getNumBits1(c), QDBoolArray::getNumBitsAt1(c));
        ASSERT_EQ(QDBitMgr::getFirstBit1(c), scan(c, 8, true, true)) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit0(c), scan(c, 8, false, true)) << w;
        ASSERT_EQ(QDBitMgr::getLastBit1(c), scan(c, 8, true, false)) << w;
        ASSERT_EQ(QDBitMgr::getLastBit0(c), scan(c, 8, false, false)) << w;
    }
    // The byte tables answer 8 for "no such bit"; the word scans above cover the rest.
    EXPECT_EQ(QDBoolArray::getFirstBitAt1(0) + QDBoolArray::getLastBitAt1(0), 16);
    EXPECT_EQ(QDBoolArray::getFirstBitAt0(255) + QDBoolArray::getLastBitAt0(255), 16);
    EXPECT_EQ(QDBitMgr::getLastBit0((unsigned char)0xFF) + QDBitMgr::getFirstBit1((unsigned char)0), 16);
    EXPECT_EQ(QDBoolArray::getNumBitsAt0(0xF0) + QDBitMgr::getNumBits0((unsigned char)0x01), 11);
    // One bit-count table serves both the bit array and the string's case folding.
    EXPECT_EQ(QDBoolArray::numberOfBitSet, QDByteTables::s_numberOfBitSet);
    EXPECT_EQ(QDString::s_toUpper, QDBoolArray::numberOfBitSet + 256);

    std::mt19937 rng(9);
    for (int k = 0; k < 2000; ++k)
    {
        // Words of the original platform: 32 bits, whatever unsigned long is here.
        const unsigned w = k < 2 ? (k ? 0xFFFFFFFFu : 0u) : unsigned(rng()) >> (rng() % 32);
        const unsigned long wide = (unsigned long)w | (sizeof(unsigned long) > 4 ? ~0ul << 16 << 16 : 0ul);
        for (unsigned long word : {(unsigned long)w, wide})
        {
            ASSERT_EQ(QDBitMgr::getNumBits1(word), __builtin_popcount(w)) << w;
            ASSERT_EQ(QDBitMgr::getNumBits0(word), 32 - __builtin_popcount(w)) << w;
            ASSERT_EQ(QDBitMgr::getFirstBit1(word), scan(w, 32, true, true)) << w;
            ASSERT_EQ(QDBitMgr::getFirstBit0(word), scan(w, 32, false, true)) << w;
            ASSERT_EQ(QDBitMgr::getLastBit1(word), scan(w, 32, true, false)) << w;
            ASSERT_EQ(QDBitMgr::getLastBit0(word), scan(w, 32, false, false)) << w;
        }
    }

    const unsigned one = 1;
    EXPECT_EQ(QDBitMgr::getBitOrdering(), *reinterpret_cast<const unsigned char*>(&one) == 1
                                              ? QDBitMgr::s_littleEndian
                                              : QDBitMgr::s_bigEndian);
}
