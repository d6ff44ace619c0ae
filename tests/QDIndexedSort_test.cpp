#include "QDIndexedSort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>

namespace
{
bool isPermutation(const QDArray<int>& order, int n)
{
    if (order.size() != n) return false;
    std::vector<bool> seen(std::size_t(n), false);
    for (int i : order)
    {
        if (i < 0 || i >= n || seen[std::size_t(i)]) return false;
        seen[std::size_t(i)] = true;
    }
    return true;
}

// Answers every question differently from its mirror image: no order at all.
struct ChaoticComparator
{
    int operator()(const int& a, const int& b) const
    {
        std::uint32_t h = std::uint32_t(a) * 2654435761u ^ std::uint32_t(b) * 40503u;
        return int(h >> 7) % 3 - 1;
    }
};

// Claims every value is below every other, itself included.
struct AlwaysLess
{
    int operator()(const int&, const int&) const { return -1; }
};
} // namespace

TEST(QDIndexedSort, ComparatorsAndTieBreak)
{
    QDBasicComparator<float> basic;
    EXPECT_EQ(basic(1.0f, 2.0f), -1);
    EXPECT_EQ(basic(2.0f, 1.0f), 1);
    EXPECT_EQ(basic(2.0f, 2.0f), 0);
    EXPECT_EQ(QDVector3fComp(0.1f)(QDVector3f(1, 5, 0), QDVector3f(1.05f, 2, 0)), 1);

    const float values[] = {3, 1, 3, 1};
    QDIndexedComparator<float, QDBasicComparator<float>> less(values, basic);
    EXPECT_TRUE(less(1, 0));
    EXPECT_FALSE(less(0, 1));
    EXPECT_TRUE(less(0, 2)); // equal values: the lower index first
    EXPECT_FALSE(less(2, 0));
    EXPECT_FALSE(less(2, 2));
}

TEST(QDIndexedSort, OrdersByValueThenIndex)
{
    std::mt19937 random(7);
    for (int n : {0, 1, 2, 15, 16, 17, 33, 1000, 4099})
    {
        QDArray<int> values;
        for (int i = 0; i < n; ++i)
            values.push_back(int(random() % 20));
        QDArray<int> order(5, 42); // stale content is replaced
        indexedSort(order, values);
        ASSERT_TRUE(isPermutation(order, n)) << n;
        for (int k = 1; k < n; ++k)
        {
            int a = order[k - 1], b = order[k];
            ASSERT_TRUE(values[a] < values[b] || (values[a] == values[b] && a < b)) << n;
        }
    }

    // The count form sorts only the first n values.
    const float values[] = {5, 4, 3, 2, 1};
    QDArray<int> order;
    indexedSort(order, 3, values, QDBasicComparator<float>());
    ASSERT_EQ(order.size(), 3);
    EXPECT_EQ(order[0], 2);
    EXPECT_EQ(order[1], 1);
    EXPECT_EQ(order[2], 0);
}

TEST(QDIndexedSort, ToleranceOrder)
{
    QDArray<QDVector3f> points;
    points.push_back(QDVector3f(2, 0, 0));
    points.push_back(QDVector3f(1.05f, 9, 0)); // ties with the next on x, larger on y
    points.push_back(QDVector3f(1, 0, 0));
    points.push_back(QDVector3f(1.02f, 0.02f, 0)); // within eps of index 2: tie
    QDArray<int> order;
    QDVector3f::indexedSort(order, points, 0.1f);
    ASSERT_EQ(order.size(), 4);
    EXPECT_EQ(order[0], 2);
    EXPECT_EQ(order[1], 3);
    EXPECT_EQ(order[2], 1);
    EXPECT_EQ(order[3], 0);
}

// Chains of near positions and NaN make the comparison intransitive; the sort
// must still return a permutation without reading outside the array (the
// sanitizer build checks the reads).
TEST(QDIndexedSort, InconsistentComparisonsStayInBounds)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<float> coordinate(0.0f, 0.5f);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    QDArray<QDVector3f> chain;
    for (int i = 0; i < 20000; ++i)
        chain.push_back(QDVector3f(coordinate(random), i % 7 == 0 ? nan : coordinate(random),
                                   coordinate(random)));
    QDArray<int> order;
    QDVector3f::indexedSort(order, chain, 0.05f);
    EXPECT_TRUE(isPermutation(order, chain.size()));
    indexedSort(order, chain);
    EXPECT_TRUE(isPermutation(order, chain.size()));

    QDArray<int> values;
    for (int i = 0; i < 5000; ++i)
        values.push_back(int(random()));
    indexedSort(order, values, ChaoticComparator());
    EXPECT_TRUE(isPermutation(order, values.size()));
    indexedSort(order, values, AlwaysLess());
    EXPECT_TRUE(isPermutation(order, values.size()));
}
