#include "QDString.h"

#include <gtest/gtest.h>

TEST(QDString, NullAndAllocatedEmptyAreDistinct)
{
    QDString null1, null2;
    QDString empty1(""), empty2;
    empty2.set("");
    EXPECT_TRUE(null1 == null2);
    EXPECT_TRUE(empty1 == empty2);
    EXPECT_FALSE(null1 == empty1);
    EXPECT_TRUE(null1 != empty1);
    EXPECT_TRUE(null1.empty() && empty1.empty());
    EXPECT_EQ(null1.c_str(), nullptr);
    ASSERT_NE(empty1.c_str(), nullptr);
    EXPECT_EQ(null1.getDynMemoryUsed(), 0);
    EXPECT_EQ(empty1.getDynMemoryUsed(), 1);
    EXPECT_EQ(QDString(empty1).c_str()[0], 0); // a copy stays allocated
    EXPECT_TRUE(QDString(null1).isNull());

    // null + allocated empty -> copy of the right: allocated empty;
    // allocated empty + null -> copy of the right: null.
    EXPECT_FALSE((null1 + empty1).isNull());
    EXPECT_TRUE((empty1 + null1).isNull());
    EXPECT_STREQ((QDString("ab") + QDString("cd")).c_str(), "abcd");
    EXPECT_STREQ(("x" + QDString("y")).c_str(), "xy");
    EXPECT_TRUE(("" + null1).isNull());
}
