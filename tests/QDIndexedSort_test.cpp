#include "QDIndexedSort.h"
#include "TestSupport.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>

namespace
{
bool isPermutation(const QDArray<int>& order, int n)
{
    std::vector<int> sorted(order.begin(), order.end()), identity(static_cast<std::size_t>(n));
    std::sort(sorted.begin(), sorted.end());
    std::iota(identity.begin(), identity.end(), 0);
    return sorted == identity;
}
} // namespace

TEST(QDIndexedSort, WithinEpsIsATieBrokenByIndex)
{
    // Beyond eps the next component decides. (Welding checks the exact order.)
    QDArray<QDVector3f> points;
    for (QDVector3f p : {QDVector3f(2, 0, 0), QDVector3f(1.05f, 9, 0), QDVector3f(1, 0, 0),
                         QDVector3f(1.02f, 0.02f, 0)})
        points.push_back(p);
    QDArray<int> order(5, 42);
    QDVector3f::indexedSort(order, points, 0.1f);
    EXPECT_EQ(values(order), (std::vector<int>{2, 3, 1, 0}));
    indexedSort(order, QDArray<int>());
    EXPECT_TRUE(order.empty());
}

// Chains of near positions, NaN and a comparator with no order at all: still
// a permutation, and no read outside the array (the sanitizer build checks).
TEST(QDIndexedSort, InconsistentComparisonsStayInBounds)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<float> coordinate(0.0f, 0.5f);
    QDArray<QDVector3f> chain;
    for (int i = 0; i < 20000; ++i)
        chain.push_back(
            QDVector3f(coordinate(random),
                       i % 7 ? coordinate(random) : std::numeric_limits<float>::quiet_NaN(),
                       coordinate(random)));
    QDArray<int> order;
    QDVector3f::indexedSort(order, chain, 0.05f);
    EXPECT_TRUE(isPermutation(order, chain.size()));
    indexedSort(order, chain);
    EXPECT_TRUE(isPermutation(order, chain.size()));
    // Calls every value smaller than every other, itself included.
    indexedSort(order, QDArray<int>(5000, 0), [](const int&, const int&) { return -1; });
    EXPECT_TRUE(isPermutation(order, 5000));
}
