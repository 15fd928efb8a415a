#include "standalone/timezone/Zone.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using qarplatform::Zone;
using qarplatform::ZoneRecord;
using ZELPlatform::TimeZone::CDaylightSavingTime;
using ZELPlatform::TimeZone::CTimeZoneInfo;

constexpr int64_t kHour = 3600;

/// One zone in both notations.
struct ZoneCase {
    const char* name;
    const char* posix;  ///< for the C library, which serves as the independent computation
    ZoneRecord record;
};

void PrintTo(const ZoneCase& zone, std::ostream* out) { *out << zone.name; }

ZoneRecord Record(int bias, const char* begins = nullptr, const char* ends = nullptr, int daylight_bias = -60) {
    ZoneRecord record;
    record.bias = bias;
    if (begins) {
        record.has_daylight = true;
        record.daylight_enable = true;
        record.daylight_date = begins;
        record.standard_date = ends;
        record.daylight_bias = daylight_bias;
    }
    return record;
}

const ZoneCase kZones[] = {
    {"Utc", "UTC0", Record(0)},
    {"East8", "CST-8", Record(-480)},
    {"West5And30", "XXX5:30", Record(330)},
    {"East14", "XXX-14", Record(-840)},
    {"NorthAmerica", "EST5EDT,M3.2.0/2,M11.1.0/2", Record(300, "3:2:0:2:0", "11:1:0:2:0")},
    {"LastSundays", "CET-1CEST,M3.5.0/2,M10.5.0/3", Record(-60, "3:5:0:2:0", "10:5:0:3:0")},
    {"AtMidnight", "XXX2YYY,M3.5.6/23,M10.5.0/0", Record(120, "3:5:6:23:0", "10:5:0:0:0")},
    {"South", "AEST-10AEDT,M10.1.0/2,M4.1.0/3", Record(-600, "10:1:0:2:0", "4:1:0:3:0")},
    {"SouthLastWeeks", "XXX4YYY,M9.5.6/23:30,M4.5.6/23:30", Record(240, "9:5:6:23:30", "4:5:6:23:30")},
    {"HalfAnHour", "XXX-10:30YYY-11,M10.1.0/2,M4.1.0/2", Record(-630, "10:1:0:2:0", "4:1:0:2:0", -30)},
    {"WinterTimeIsTheExtra", "IST-1GMT0,M10.5.0/2,M3.5.0/1", Record(-60, "10:5:0:2:0", "3:5:0:1:0", 60)},
    {"OverNewYear", "XXX-12YYY,M12.4.5/0,M1.2.1/0", Record(-720, "12:4:5:0:0", "1:2:1:0:0")},
};

class ZoneAgainstCLibraryTest : public testing::TestWithParam<ZoneCase> {};

TEST_P(ZoneAgainstCLibraryTest, EveryHalfHourOfTwentyYearsAgrees) {
    const Zone zone(GetParam().record);
    ASSERT_EQ(setenv("TZ", GetParam().posix, 1), 0);
    tzset();
    constexpr int64_t kFirst = 1577836800;  // 2020-01-01
    constexpr int64_t kLast = 2208988800;   // 2040-01-01
    int faults = 0;
    for (int64_t utc = kFirst; utc < kLast && faults < 5; utc += kHour / 2) {
        for (const int64_t moment : {utc, utc - 1}) {
            const time_t argument = moment;
            tm local{};
            ASSERT_NE(localtime_r(&argument, &local), nullptr);
            if (zone.OffsetSeconds(moment) != local.tm_gmtoff) {
                ADD_FAILURE() << "at " << moment << ": " << zone.OffsetSeconds(moment) << ", not " << local.tm_gmtoff;
                ++faults;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Zones, ZoneAgainstCLibraryTest, testing::ValuesIn(kZones),
                         [](const auto& info) { return std::string(info.param.name); });

// The C library goes by the year of UTC there and is wrong for these.
TEST(ZoneTest, ChangeInTheFirstHoursOfAYearFallsIntoTheYearBeforeOfUtc) {
    const Zone zone(Record(-720, "12:5:5:0:0", "1:1:1:0:0"));
    EXPECT_EQ(zone.OffsetSeconds(1703764799), 12 * kHour);
    EXPECT_EQ(zone.OffsetSeconds(1703764800), 13 * kHour);  // 2023-12-29 00:00:00 +12:00, a Friday
    EXPECT_EQ(zone.OffsetSeconds(1704020399), 13 * kHour);
    EXPECT_EQ(zone.OffsetSeconds(1704020400), 12 * kHour);  // 2024-01-01 00:00:00 +13:00, a Monday
}

TEST(ZoneTest, DaylightSavingThatIsSwitchedOffHasNoEffectAndIsTold) {
    ZoneRecord record = Record(300, "3:2:0:2:0", "11:1:0:2:0");
    record.daylight_enable = false;
    const Zone zone(record);

    EXPECT_EQ(zone.OffsetSeconds(1782864000), -5 * kHour);  // 2026-07-01
    const auto info = zone.Info();
    ASSERT_NE(info->GetDst(), nullptr);
    EXPECT_FALSE(info->GetDst()->GetEnable());
    EXPECT_EQ(info->GetDst()->GetDaylightDate(), "3:2:0:2:0");
}

TEST(ZoneTest, RulesThatCannotBeReadLeaveTheBias) {
    CTimeZoneInfo info;
    info.SetBias(300);
    auto daylight = std::make_shared<CDaylightSavingTime>();
    daylight->SetEnable(true);
    daylight->SetDaylightDate("3:2:0:2");
    daylight->SetStandardDate("11:1:0:2:0");
    daylight->SetDaylightbias(-60);
    info.SetDst(daylight);

    EXPECT_EQ(Zone(info).OffsetSeconds(1782864000), -5 * kHour);
}

TEST(ZoneTest, InfoIsACopyOfTheCallersOwn) {
    const Zone zone(Record(300, "3:2:0:2:0", "11:1:0:2:0"));
    const auto info = zone.Info();
    info->SetBias(0);
    info->GetDst()->SetEnable(false);

    EXPECT_EQ(zone.OffsetSeconds(1782864000), -4 * kHour);
    EXPECT_EQ(zone.Info()->GetBias(), 300);
    EXPECT_TRUE(zone.Info()->GetDst()->GetEnable());
}

TEST(ZoneTest, FirstAndLastYear) {
    const Zone zone(Record(300, "3:2:0:2:0", "11:1:0:2:0"));
    EXPECT_EQ(zone.OffsetSeconds(0), -5 * kHour);
    EXPECT_EQ(zone.OffsetSeconds(253386000000), -4 * kHour);  // 9999-06-29
    EXPECT_EQ(zone.OffsetSeconds(253402300799), -5 * kHour);
}

}  // namespace
