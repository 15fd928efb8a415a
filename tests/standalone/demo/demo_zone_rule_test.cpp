#include <gtest/gtest.h>

#include "demo_cameras/time_text.h"
#include "demo_cameras/zone_rule.h"

namespace demo {
namespace {

std::int64_t Utc(const char* iso) { return ParseIso(iso)->utc_s; }

ZoneRule East() { return DemoZones()[0]; }
ZoneRule HalfHour() { return DemoZones()[1]; }
ZoneRule Daylight() { return DemoZones()[2]; }

TEST(DemoZoneRuleTest, AZoneWithoutDaylightSavingHasOneOffset) {
    EXPECT_EQ(East().OffsetAt(Utc("2026-01-01T00:00:00Z")), 28800);
    EXPECT_EQ(East().OffsetAt(Utc("2026-07-01T00:00:00Z")), 28800);
    EXPECT_EQ(HalfHour().OffsetAt(Utc("2026-07-01T00:00:00Z")), -19800);
}

TEST(DemoZoneRuleTest, DaylightSavingBeginsAndEndsToTheSecond) {
    EXPECT_EQ(Daylight().OffsetAt(Utc("2026-03-08T06:59:59Z")), -18000);
    EXPECT_EQ(Daylight().OffsetAt(Utc("2026-03-08T07:00:00Z")), -14400);
    EXPECT_EQ(Daylight().OffsetAt(Utc("2026-11-01T05:59:59Z")), -14400);
    EXPECT_EQ(Daylight().OffsetAt(Utc("2026-11-01T06:00:00Z")), -18000);
}

TEST(DemoZoneRuleTest, ASouthernZoneHasDaylightSavingOverTheTurnOfTheYear) {
    const ZoneRule south{"south", "", -600, DaylightRule{{10, 1, 0, 2, 0}, {4, 1, 0, 3, 0}, -60}};
    EXPECT_EQ(south.OffsetAt(Utc("2026-01-01T00:00:00Z")), 39600);
    EXPECT_EQ(south.OffsetAt(Utc("2026-07-01T00:00:00Z")), 36000);
}

TEST(DemoZoneRuleTest, BothPassesOfTheRepeatedHourAreOne) {
    EXPECT_FALSE(Daylight().InRepeatedHour(Utc("2026-11-01T00:59:59-04:00")));
    EXPECT_TRUE(Daylight().InRepeatedHour(Utc("2026-11-01T01:00:00-04:00")));
    EXPECT_TRUE(Daylight().InRepeatedHour(Utc("2026-11-01T01:59:59-05:00")));
    EXPECT_FALSE(Daylight().InRepeatedHour(Utc("2026-11-01T02:00:00-05:00")));
    EXPECT_FALSE(Daylight().InRepeatedHour(Utc("2026-03-08T02:00:00-05:00")));
    EXPECT_FALSE(East().InRepeatedHour(Utc("2026-11-01T01:30:00-05:00")));
}

TEST(DemoZoneRuleTest, AWallClockShownTwiceIsToldApartByItsOffset) {
    const std::int64_t wall = *ParsePlain("2026-11-01 01:30:00");
    EXPECT_EQ(Daylight().UtcOf(wall, -14400), Utc("2026-11-01T01:30:00-04:00"));
    EXPECT_EQ(Daylight().UtcOf(wall, -18000), Utc("2026-11-01T01:30:00-05:00"));
}

TEST(DemoZoneRuleTest, AnOffsetThatTheZoneDoesNotHaveThenIsNotBelieved) {
    EXPECT_EQ(Daylight().UtcOf(*ParsePlain("2026-11-01 12:00:00"), -14400), Utc("2026-11-01T12:00:00-05:00"));
    EXPECT_EQ(Daylight().UtcOf(*ParsePlain("2026-10-31 12:00:00"), -18000), Utc("2026-10-31T12:00:00-04:00"));
}

TEST(DemoZoneRuleTest, YearlyMomentsAreTheNthOrTheLastWeekday) {
    EXPECT_EQ((YearlyMoment{3, 2, 0, 2, 0}.WallSecond(2026)), *ParsePlain("2026-03-08 02:00:00"));
    EXPECT_EQ((YearlyMoment{11, 1, 0, 2, 0}.WallSecond(2026)), *ParsePlain("2026-11-01 02:00:00"));
    EXPECT_EQ((YearlyMoment{10, 5, 0, 3, 30}.WallSecond(2026)), *ParsePlain("2026-10-25 03:30:00"));
    EXPECT_EQ((YearlyMoment{11, 1, 0, 2, 0}.Text()), "11:1:0:2:0");
}

}  // namespace
}  // namespace demo
