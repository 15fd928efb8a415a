#include "kill/support/expected_ranges.h"

#include <gtest/gtest.h>

namespace qartest {
namespace {

using Ranges = std::vector<std::string>;

// A timeline with one point an hour, from 00:00 on.
std::vector<HistoryPoint> Timeline(const std::vector<int>& states, int camera = 101, int differ = 28800) {
    std::vector<HistoryPoint> points;
    for (std::size_t i = 0; i < states.size(); ++i) {
        points.push_back({1, camera, "2026-03-01 0" + std::to_string(i) + ":00:00", states[i], differ});
    }
    return points;
}

std::string Range(int from_hour, int to_hour, const std::string& offset = "+08:00") {
    const auto moment = [&](int hour) { return "2026-03-01T0" + std::to_string(hour) + ":00:00" + offset; };
    return "1 101 " + moment(from_hour) + " " + moment(to_hour);
}

TEST(ExpectedRangesTest, ContactsInARowMakeOneRange) {
    EXPECT_EQ(Ranges{Range(0, 2)}, ExpectedRanges(Timeline({1, 1, 1})));
}

TEST(ExpectedRangesTest, RangeEndsWhereTheCameraWasFoundInOrder) {
    EXPECT_EQ(Ranges{Range(1, 2)}, ExpectedRanges(Timeline({1, 2, 1})));
    EXPECT_EQ((Ranges{Range(0, 1), Range(2, 3)}), ExpectedRanges(Timeline({2, 1, 2, 1})));
    EXPECT_EQ(Ranges{}, ExpectedRanges(Timeline({1, 2, 2})));
}

TEST(ExpectedRangesTest, AnyOtherStateMakesRangesOnBothSides) {
    EXPECT_EQ(Ranges{Range(0, 2)}, ExpectedRanges(Timeline({2, 3, 2})));
}

TEST(ExpectedRangesTest, SinglePointMakesNone) { EXPECT_EQ(Ranges{}, ExpectedRanges(Timeline({3}))); }

TEST(ExpectedRangesTest, TimelinesStandAlone) {
    auto points = Timeline({1});
    const auto other = Timeline({1}, 102);
    points.insert(points.end(), other.begin(), other.end());
    EXPECT_EQ(Ranges{}, ExpectedRanges(points));
}

TEST(ExpectedRangesTest, MomentsCarryTheirOwnOffset) {
    EXPECT_EQ(Ranges{Range(0, 1, "-05:30")}, ExpectedRanges(Timeline({1, 1}, 101, -19800)));
    EXPECT_EQ(Ranges{Range(0, 1, "-00:30")}, ExpectedRanges(Timeline({1, 1}, 101, -1800)));
    EXPECT_EQ(Ranges{Range(0, 1, "+00:00")}, ExpectedRanges(Timeline({1, 1}, 101, 0)));
}

}  // namespace
}  // namespace qartest
