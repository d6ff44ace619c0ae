#include "QDArray.h"
#include "QDString.h"

#include <gtest/gtest.h>

TEST(QDArray, ReinitResizeAndCopies)
{
    QDArray<int> a(10, 4);
    a[9] = 5;
    a.reinit(3, 7);
    ASSERT_EQ(a.size(), 3);
    for (int v : a)
        EXPECT_EQ(v, 7);

    a.resize(5, 1); // existing elements stay, new ones are copies of the value
    EXPECT_EQ(a[2], 7);
    EXPECT_EQ(a[3], 1);
    EXPECT_EQ(a.end() - a.begin(), 5);
    a.resize(-2, 0);
    a.reserve(-1);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(QDArray<int>(-4, 1).size(), 0);

    // Copies own their elements, strings included, and keep null strings null.
    QDArray<QDString> names;
    names.push_back(QDString("a"));
    names.push_back(QDString());
    QDArray<QDString> copy(names);
    copy[0] = "b";
    EXPECT_STREQ(names[0].c_str(), "a");
    EXPECT_NE(copy[0].c_str(), names[0].c_str());
    EXPECT_TRUE(copy[1].isNull());
    names = copy;
    EXPECT_STREQ(names[0].c_str(), "b");
}

TEST(QDArray, ClearKeepsCapacityDestroyReleasesItSwapMovesStorage)
{
    QDArray<int> a;
    a.reserve(100);
    for (int i = 0; i < 50; ++i)
        a.push_back(i);
    const int* storage = a.begin();
    a.clear();
    EXPECT_TRUE(a.empty());
    EXPECT_GE(a.capacity(), 100);
    a.push_back(3);
    EXPECT_EQ(a.begin(), storage); // no reallocation after clear

    a.destroy();
    EXPECT_EQ(a.size(), 0);
    EXPECT_EQ(a.capacity(), 0);

    QDArray<int> b(4, 9), c;
    c.push_back(1);
    const int* bStorage = b.begin();
    b.swap(c);
    EXPECT_EQ(c.begin(), bStorage); // elements are not copied
    EXPECT_EQ(c.size(), 4);
    EXPECT_EQ(b.size(), 1);
    EXPECT_EQ(b[0], 1);
}
