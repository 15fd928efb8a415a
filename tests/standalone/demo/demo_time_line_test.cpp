#include <gtest/gtest.h>

#include "demo_cameras/time_text.h"
#include "demo_run/time_line.h"

namespace demo {
namespace {

std::string Letters(const std::vector<Mark>& marks) {
    std::string letters;
    for (const Mark mark : marks) {
        letters += " =#.x~"[static_cast<std::size_t>(mark)];
    }
    return letters;
}

TEST(DemoTimeLineTest, ACameraNeverSeenIsUnknownUpToThePresent) {
    KnownPast past;
    past.now = 550;
    EXPECT_EQ(Letters(MarksOf(past, 0, 100, 8)), "......  ");
}

TEST(DemoTimeLineTest, OrderReachesToTheLastPointAndTheRestIsUnknown) {
    KnownPast past;
    past.last_point = 400;
    past.now = 650;
    EXPECT_EQ(Letters(MarksOf(past, 0, 100, 8)), "====... ");
}

TEST(DemoTimeLineTest, AGapShowsThroughAllItsStates) {
    KnownPast past;
    past.last_point = 800;
    past.now = 800;
    past.gaps.Add(200, 450);
    EXPECT_EQ(Letters(MarksOf(past, 0, 100, 8)), "==xxx===");
    past.fetching.Add(200, 450);
    EXPECT_EQ(Letters(MarksOf(past, 0, 100, 8)), "==~~~===");
    past.gaps = IntervalSet();
    past.fetching = IntervalSet();
    past.fetched.Add(200, 450);
    EXPECT_EQ(Letters(MarksOf(past, 0, 100, 8)), "==###===");
}

TEST(DemoTimeLineTest, AShortGapIsNotLostInALongPlace) {
    KnownPast past;
    past.last_point = 10000;
    past.now = 10000;
    past.gaps.Add(4321, 4322);
    EXPECT_EQ(Letters(MarksOf(past, 0, 1000, 10)), "====x=====");
}

TEST(DemoTimeLineTest, HourLabelsStandAtTheirHours) {
    const std::int64_t begin = ParseIso("2026-10-31T22:00:00Z")->utc_s;
    EXPECT_EQ(HourLabels(begin, 1800, 20), "    00:00   04:00   ");
    EXPECT_EQ(HourLabels(begin + 900, 450, 30), "      23:00   00:00   01:00   ");
}

}  // namespace
}  // namespace demo
