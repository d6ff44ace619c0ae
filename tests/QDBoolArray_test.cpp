#include "QDBoolArray.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

namespace
{
using Bits = std::vector<bool>;

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

bool bitOf(const Bits& bits, long long i)
{
    return i >= 0 && i < (long long)bits.size() && bits[size_t(i)];
}

// The guards sit right around the data bytes, so storage is exact; a guard
// byte 1 reads as bit 0 set only.
void expectGuards(const QDBoolArray& a, int dataBytes)
{
    for (int bit = 0; bit < 8; ++bit)
    {
        EXPECT_EQ(a.getNoSizeTest(bit - 8), bit == 0) << bit;
        EXPECT_EQ(a.getNoSizeTest(8 * dataBytes + bit), bit == 0) << dataBytes;
    }
}
} // namespace

TEST(QDBoolArray, EmptyArrayGuardBytesAndExactStorage)
{
    QDBoolArray empty;
    EXPECT_TRUE(empty.size() == 0 && empty.getMemoryUsed() == 1 && !empty.get(0));
    EXPECT_EQ(empty.findFirst(true) + empty.findFirst(false, -5) + empty.findLast(true), -3);
    EXPECT_TRUE(empty == QDBoolArray(0, true));

    for (int n : {1, 7, 8, 9, 16, 17, 64, 77})
    {
        SCOPED_TRACE(n);
        QDBoolArray zeros(n, false), ones(n, true);
        expectGuards(zeros, (n + 7) / 8);
        expectGuards(ones, (n + 7) / 8);
        EXPECT_TRUE(!zeros.get(n) && !ones.get(n) && zeros.getMemoryUsed() == n / 8 + 1);
        // The scans run off the data onto a guard and report nothing.
        EXPECT_EQ(zeros.findFirst(true, 0) + ones.findFirst(false, 0) + zeros.findLast(true) +
                      ones.findLast(false),
                  -4);
    }

    QDBoolArray grown;
    grown.setAutoResize(20);
    EXPECT_EQ(grown.size(), 21);
    EXPECT_EQ(grown.findFirst(true) + grown.findLast(true) + grown.getNumberOfBitSet(), 41);
    expectGuards(grown, 3);
    for (int i = 0; i < 9; ++i) // one bit at a time: a new allocation per byte
        grown.insert(0, true);
    expectGuards(grown, 4);
    QDBoolArray big(64, true);
    big.resize(9, true); // storage kept; a copy allocates only what its size needs
    expectGuards(QDBoolArray(big), 2);
    big.reinit(3, false);
    expectGuards(big, 1);
    big.resize(19, true); // past the storage: reallocated exactly
    expectGuards(big, 3);
    big.freeData();
    EXPECT_EQ(big.size() + big.getMemoryUsed(), 1);

    // Auto-resize ignores indices it cannot grow to.
    big.toggleAutoResize(INT_MAX);
    big.clearAutoResize(INT_MAX);
    EXPECT_EQ(big.size(), 0);
}

TEST(QDBoolArray, RandomEditsAndQueriesMatchAModel)
{
    std::mt19937 rng(3);
    auto pick = [&rng](int lo, int hi) { return lo + int(rng() % unsigned(hi - lo + 1)); };
    using Op = void (QDBoolArray::*)(const QDBoolArray&);
    const std::pair<Op, bool (*)(bool, bool)> combinations[] = {
        {&QDBoolArray::inter, [](bool p, bool q) { return p && q; }},
        {&QDBoolArray::merge, [](bool p, bool q) { return p || q; }}, // grows to the other's size
        {static_cast<Op>(&QDBoolArray::set), [](bool p, bool q) { return p || q; }},
        {static_cast<Op>(&QDBoolArray::toggle), [](bool p, bool q) { return p != q; }},
        {static_cast<Op>(&QDBoolArray::clear), [](bool p, bool q) { return p && !q; }}};
    Bits model;
    QDBoolArray a;
    for (int step = 0; step < 1500; ++step)
    {
        const int n = int(model.size()), i = pick(-2, n + 2), j = pick(-2, n + 2);
        const bool v = rng() & 1;
        switch (rng() % 8)
        {
        case 0: // single-bit writes are unchecked: in range only
            if (i < 0 || i >= n) break;
            a.set(i, v);
            model[size_t(i)] = v;
            break;
        case 1:
            a.insert(i, v);
            if (i >= 0 && i <= n) model.insert(model.begin() + i, v);
            break;
        case 2:
            a.erase(i);
            if (i >= 0 && i < n) model.erase(model.begin() + i);
            break;
        case 3: // auto-resize grows past the end and ignores negative indices
            v ? a.setAutoResize(i) : (j & 1 ? a.toggleAutoResize(i) : a.clearAutoResize(i));
            if (i >= n) model.resize(size_t(i) + 1, false);
            if (i >= 0) model[size_t(i)] = v || (j & 1 && !model[size_t(i)]);
            break;
        case 4:
            a.resize(j & 63, v);
            model.resize(size_t(j & 63), v);
            break;
        case 5:
            v ? a.set(i, j) : a.clear(i, j);
            for (int k = i < 0 ? 0 : i; k < j && k < n; ++k)
                model[size_t(k)] = v;
            break;
        case 6: // with an array whose spare bits are set: they must not leak in
        {
            Bits y(size_t(pick(0, 80)));
            for (auto&& bit : y)
                bit = rng() & 1;
            QDBoolArray b = fromBits(y);
            b.resize(int(y.size()), true);
            bool shared = false, subset = true;
            for (size_t k = 0; k < y.size(); ++k)
            {
                shared = shared || (y[k] && bitOf(model, k));
                subset = subset && (!y[k] || bitOf(model, k));
            }
            ASSERT_TRUE(a.hasInter(b) == shared && a.bitTest(b) == subset) << step;
            const auto& c = combinations[rng() % 5];
            (a.*c.first)(b);
            if (c.first == &QDBoolArray::merge && y.size() > model.size()) model.resize(y.size());
            for (size_t k = 0; k < model.size(); ++k)
                model[k] = c.second(model[k], bitOf(y, k));
            break;
        }
        default:
            v ? a.inverse() : (i & 1 ? a.setAll() : a.clearAll());
            for (size_t k = 0; k < model.size(); ++k)
                model[k] = v ? !model[k] : (i & 1);
        }
        ASSERT_EQ(toBits(a), model) << step;
        ASSERT_TRUE(a == fromBits(model) && QDBoolArray(a) == a) << step;

        // Spare bits past the size never show in a search, a count or a mask.
        const int size = int(model.size());
        for (int from = -2; from <= size + 2; ++from)
            for (bool bit : {false, true})
            {
                int first = -1, last = -1;
                for (int k = from < 0 ? 0 : from; k < size && first < 0; ++k)
                    first = model[size_t(k)] == bit ? k : -1;
                for (int k = from >= size ? size - 1 : from; k >= 0 && last < 0; --k)
                    last = model[size_t(k)] == bit ? k : -1;
                ASSERT_EQ(a.findFirst(bit, from), first) << step << " " << from;
                ASSERT_EQ(a.findLast(bit, from), last) << step << " " << from;
            }
        int set = 0, within = 0, cleared = 0;
        unsigned int mask = 0;
        for (int k = 0; k < size; ++k)
        {
            set += model[size_t(k)];
            (model[size_t(k)] ? within : cleared) += k >= i && k < j;
        }
        for (int k = 0; k < 32; ++k)
            mask |= unsigned(bitOf(model, (long long)i + k)) << k;
        ASSERT_EQ(a.getNumberOfBitSet(), set) << step;
        ASSERT_EQ(a.getNumberOfBitSetWithin(i, j), within) << step;
        ASSERT_EQ(a.getNumberOfBitClearedWithin(i, j), cleared) << step;
        ASSERT_EQ(a.getAsMask(i), mask) << step;
    }
    EXPECT_EQ(a.getAsMask(INT_MAX), 0u);
}

TEST(QDBoolArray, CopiesSwapAndAssignForms)
{
    QDBoolArray a(19, false), b(9, true);
    a.set(18);
    QDBoolArray copy(a);
    copy.clear(18);
    EXPECT_TRUE(a.get(18)); // each copy owns its storage
    const QDBoolArray& same = copy;
    copy = same;
    copy.copy(copy, false);
    EXPECT_TRUE(copy == QDBoolArray(19, false));
    copy.copy(b, true); // this size kept, the other's bits, cleared beyond them
    EXPECT_TRUE(copy.size() == 19 && copy.findLast(true) == 8 && copy.getNumberOfBitSet() == 9);
    copy.copy(a, false);
    EXPECT_TRUE(copy == a);
    b.swap(a);
    EXPECT_TRUE(b.size() == 19 && b.get(18) && a.size() == 9 && a.get(8));

    a.assign(6, true);
    EXPECT_TRUE(a.size() == 6 && a.getNumberOfBitSet() == 6);
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
}

TEST(QDBitMgr, WordScansAndByteTables)
{
    // A bit-by-bit answer; the width stands for "nothing found".
    auto scan = [](unsigned w, int width, bool v, bool fromLow)
    {
        for (int k = 0; k < width; ++k)
            if (bool((w >> (fromLow ? k : width - 1 - k)) & 1) == v)
                return fromLow ? k : width - 1 - k;
        return width;
    };
    auto check = [&scan](auto word, unsigned w, int width)
    {
        ASSERT_EQ(QDBitMgr::getNumBits1(word), __builtin_popcount(w)) << w;
        ASSERT_EQ(QDBitMgr::getNumBits0(word), width - __builtin_popcount(w)) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit1(word), scan(w, width, true, true)) << w;
        ASSERT_EQ(QDBitMgr::getFirstBit0(word), scan(w, width, false, true)) << w;
        ASSERT_EQ(QDBitMgr::getLastBit1(word), scan(w, width, true, false)) << w;
        ASSERT_EQ(QDBitMgr::getLastBit0(word), scan(w, width, false, false)) << w;
    };
    std::mt19937 rng(9);
    for (unsigned w = 0; w < 65536; ++w)
    {
        check((unsigned short)w, w, 16);
        check((unsigned char)w, w & 255, 8);
        // Words of the original platform: 32 bits, whatever unsigned long is here.
        const unsigned wide = w < 2 ? -w : unsigned(rng()) >> (rng() % 32);
        check((unsigned long)wide | (sizeof(unsigned long) > 4 ? ~0ul << 16 << 16 : 0ul), wide, 32);
    }
    // The byte lookups each read their own table: 0x28 is 00101000.
    typedef QDBoolArray B;
    EXPECT_EQ(
        std::vector<int>({B::getNumBitsAt1(0x28), B::getNumBitsAt0(0x28), B::getFirstBitAt1(0x28),
                          B::getFirstBitAt0(0x28), B::getLastBitAt1(0x28), B::getLastBitAt0(0x28)}),
        std::vector<int>({2, 6, 3, 0, 5, 7}));
    EXPECT_EQ(QDBitMgr::getBitOrdering(), __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
                                              ? QDBitMgr::s_littleEndian
                                              : QDBitMgr::s_bigEndian);
}
