#include <gtest/gtest.h>

#include <array>
#include <random>

#include "demo_run/interval_set.h"

namespace demo {
namespace {

using Stretches = std::map<std::int64_t, std::int64_t>;

TEST(DemoIntervalSetTest, StretchesThatTouchBecomeOne) {
    IntervalSet set;
    set.Add(10, 20);
    set.Add(30, 40);
    set.Add(20, 25);
    EXPECT_EQ(set.Stretches(), (Stretches{{10, 25}, {30, 40}}));
    set.Add(5, 35);
    EXPECT_EQ(set.Stretches(), (Stretches{{5, 40}}));
}

TEST(DemoIntervalSetTest, EmptyAndReversedStretchesAddNothing) {
    IntervalSet set;
    set.Add(10, 10);
    set.Add(10, 5);
    EXPECT_TRUE(set.Stretches().empty());
}

TEST(DemoIntervalSetTest, NothingIsAlwaysCoveredAndNeverTouched) {
    const IntervalSet set;
    EXPECT_TRUE(set.Covers(10, 10));
    EXPECT_FALSE(set.Touches(10, 10));
}

TEST(DemoIntervalSetTest, AgreesWithASetOfSingleSeconds) {
    constexpr std::size_t kSize = 60;
    std::mt19937 source(7);
    for (int round = 0; round < 200; ++round) {
        IntervalSet set;
        std::array<bool, kSize> seconds{};
        for (int i = 0; i < 8; ++i) {
            const std::size_t begin = source() % kSize;
            const std::size_t end = std::min<std::size_t>(begin + source() % 12, kSize);
            set.Add(static_cast<std::int64_t>(begin), static_cast<std::int64_t>(end));
            for (std::size_t s = begin; s < end; ++s) {
                seconds.at(s) = true;
            }
        }
        for (std::size_t begin = 0; begin < kSize; ++begin) {
            bool all = true;
            bool any = false;
            for (std::size_t end = begin + 1; end <= kSize; ++end) {
                all = all && seconds.at(end - 1);
                any = any || seconds.at(end - 1);
                ASSERT_EQ(set.Covers(static_cast<std::int64_t>(begin), static_cast<std::int64_t>(end)), all);
                ASSERT_EQ(set.Touches(static_cast<std::int64_t>(begin), static_cast<std::int64_t>(end)), any);
            }
        }
    }
}

}  // namespace
}  // namespace demo
