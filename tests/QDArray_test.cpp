#include "TestSupport.h"

TEST(QDArray, ReinitResizeAndCopies)
{
    QDArray<int> a(10, 4);
    a.reinit(3, 7);
    EXPECT_EQ(values(a), std::vector<int>(3, 7));
    a.resize(5, 1); // existing elements stay, new ones are copies of the value
    EXPECT_EQ(values(a), (std::vector<int>{7, 7, 7, 1, 1}));
    a.resize(-2, 0);
    a.reserve(-1);
    EXPECT_TRUE(a.empty() && QDArray<int>(-4, 1).empty());

    // Copies own their elements, strings included, and keep null strings null.
    QDArray<QDString> names;
    names.push_back(QDString("a"));
    names.push_back(QDString());
    QDArray<QDString> copy(names);
    copy[0] = "b";
    EXPECT_STREQ(names[0].c_str(), "a");
    EXPECT_TRUE(copy[1].isNull());
    names = copy;
    EXPECT_STREQ(names[0].c_str(), "b");
}

TEST(QDArray, ClearKeepsCapacityDestroyReleasesItSwapMovesStorage)
{
    QDArray<int> a, b(4, 9);
    a.reserve(100);
    a.push_back(1);
    const int* storage = a.begin();
    a.clear();
    EXPECT_TRUE(a.empty() && a.capacity() >= 100);
    a.push_back(3);
    EXPECT_EQ(a.begin(), storage); // no reallocation after clear

    const int* bStorage = b.begin();
    b.swap(a);
    EXPECT_TRUE(a.begin() == bStorage && a.size() == 4 && b.size() == 1 && b[0] == 3);
    a.destroy();
    EXPECT_EQ(a.size() + a.capacity(), 0);
}
