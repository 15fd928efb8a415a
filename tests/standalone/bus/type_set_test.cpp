#include <gtest/gtest.h>

#include "standalone/bus/TypeSet.h"

namespace {

using qarplatform::TypeSet;

TEST(TypeSetTest, NewSetIsEmpty) {
    const TypeSet set;
    EXPECT_TRUE(set.Empty());
    EXPECT_FALSE(set.Contains(0));
}

TEST(TypeSetTest, ListedTypesAreIn) {
    TypeSet set;
    set.Add({1, 3});
    EXPECT_TRUE(set.Contains(1));
    EXPECT_FALSE(set.Contains(2));
    set.Remove({1, 3});
    EXPECT_TRUE(set.Empty());
}

TEST(TypeSetTest, NoTypesMeanAllOfThem) {
    TypeSet set;
    set.Add({});
    EXPECT_TRUE(set.Contains(-5));
    set.Remove({-5});
    EXPECT_FALSE(set.Contains(-5));
    EXPECT_TRUE(set.Contains(5));
    EXPECT_FALSE(set.Empty());
    set.Add({-5});
    EXPECT_TRUE(set.Contains(-5));
    set.Remove({});
    EXPECT_TRUE(set.Empty());
}

}  // namespace
