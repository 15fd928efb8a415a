#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>

#include "mock/Platform.h"
#include "zelplatformadaptor/DeviceTimeZoneImpl.h"

namespace qar {
namespace {

using qarmock::FakeTimeZone;
using ::testing::_;
using ::testing::IsEmpty;
using ::testing::Return;

constexpr int kDeviceId = 7;
constexpr int kDeviceType = 2001;

class DeviceTimeZoneTest : public ::testing::Test {
protected:
    ~DeviceTimeZoneTest() override { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }

    static auto KeyOf(int id, int type) {
        return ::testing::AllOf(::testing::Property(&ZELPlatform::TimeZone::CTimeZoneDeviceKey::GetDeviceId, id),
                                ::testing::Property(&ZELPlatform::TimeZone::CTimeZoneDeviceKey::GetDeviceType, type));
    }

    int OffsetAt(const std::string& local_time) {
        int offset = 4711;
        EXPECT_TRUE(time_zone.GetDeviceUtcOffset(offset, kDeviceId, kDeviceType, local_time));
        return offset;
    }

    qarmock::Platform platform;
    CDeviceTimeZoneImpl time_zone;
};

// --- clocks ----------------------------------------------------------------------------------------------------------

TEST_F(DeviceTimeZoneTest, LocalTimeReadsTheSystemClockOnceAndDropsThePlainText) {
    int64_t iso_time = 0;
    int64_t plain_time = -1;
    EXPECT_CALL(platform.time_util, TimeT2LocalTimeStrISO).WillOnce([&](int64_t t) {
        iso_time = t;
        return "iso";
    });
    EXPECT_CALL(platform.time_util, TimeT2LocalTime).WillOnce([&](std::string& text, int& offset, int64_t t) {
        text = "plain";
        offset = 3600;
        plain_time = t;
    });
    std::string text;
    int offset = 0;
    const auto before = std::time(nullptr);
    EXPECT_TRUE(time_zone.GetLocalTime(text, offset));
    EXPECT_EQ(text, "iso");
    EXPECT_EQ(offset, 3600);
    EXPECT_EQ(iso_time, plain_time);
    EXPECT_GE(iso_time, before);
    // not std::time: its clock may lag behind by some milliseconds
    EXPECT_LE(iso_time, std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()));
}

TEST_F(DeviceTimeZoneTest, DeviceTimePassesTheTimeOnAndDropsTheSecondText) {
    for (const long long time : {-1LL, 0LL, 5000000000LL}) {
        EXPECT_CALL(platform.time_zone, GetDeviceTime(_, _, _, KeyOf(kDeviceId, kDeviceType), time))
            .WillOnce([](std::string& local, std::string& utc, int& offset, const auto&, long long) {
                local = "local";
                utc = "utc";
                offset = 28800;
            });
        std::string text;
        int offset = 0;
        EXPECT_TRUE(time_zone.GetDeviceTime(text, offset, kDeviceId, kDeviceType, time));
        EXPECT_EQ(text, "local");
        EXPECT_EQ(offset, 28800);
    }
}

TEST_F(DeviceTimeZoneTest, DeviceTimeExAnswersForThePlatform) {
    for (const bool answer : {true, false}) {
        EXPECT_CALL(platform.time_zone, GetDeviceTimeEx(_, _, _, KeyOf(kDeviceId, kDeviceType), -1))
            .WillOnce([answer](std::string& local, std::string& utc, int& offset, const auto&, long long) {
                local = "local";
                utc = "utc";
                offset = 28800;
                return answer;
            });
        std::string text;
        int offset = 0;
        EXPECT_EQ(time_zone.GetDeviceTimeEx(text, offset, kDeviceId, kDeviceType, -1), answer);
        EXPECT_EQ(text, "local");
        EXPECT_EQ(offset, 28800);
    }
}

TEST_F(DeviceTimeZoneTest, IsoTimeOfTheDeviceIsInItsZone) {
    platform.site.AddDevice(kDeviceId);
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("east", -480));
    std::string text;
    int offset = 0;
    EXPECT_TRUE(time_zone.GetDeviceISOTime(text, offset, kDeviceId, kDeviceType, 0));
    EXPECT_EQ(text, "1970-01-01T08:00:00+08:00");
    EXPECT_EQ(offset, 28800);
}

TEST_F(DeviceTimeZoneTest, IsoTimeReplacesMinusOneByTheSystemClockWhileDeviceTimePassesItOn) {
    long long asked = 0;
    long long iso_asked = 0;
    EXPECT_CALL(platform.time_zone, GetDeviceTime(_, _, _, KeyOf(kDeviceId, kDeviceType), _))
        .WillOnce([&](std::string&, std::string&, int& offset, const auto&, long long time) {
            asked = time;
            offset = 60;
        })
        .WillOnce([](std::string&, std::string&, int&, const auto&, long long time) { EXPECT_EQ(time, -1); });
    EXPECT_CALL(platform.time_zone, GetDevISOTimeByUTCTime)
        .WillOnce([&](std::string& text, long long time, const auto&) {
            text = "iso";
            iso_asked = time;
            return true;
        });
    std::string text;
    int offset = 0;
    const auto before = std::time(nullptr);
    EXPECT_TRUE(time_zone.GetDeviceISOTime(text, offset, kDeviceId, kDeviceType, -1));
    EXPECT_EQ(text, "iso");
    EXPECT_EQ(offset, 60);
    EXPECT_GE(asked, before);
    EXPECT_LE(asked, std::time(nullptr));
    EXPECT_EQ(iso_asked, asked);
    EXPECT_TRUE(time_zone.GetDeviceTime(text, offset, kDeviceId, kDeviceType, -1));
}

TEST_F(DeviceTimeZoneTest, IsoTimeHandsThePlatformAZoneMadeBeforehandAndIgnoresItsAnswers) {
    EXPECT_CALL(platform.time_zone, GetDeviceTimeZone(_, KeyOf(kDeviceId, kDeviceType)))
        .WillOnce([](auto& info, const auto&) {
            EXPECT_NE(info, nullptr);
            info = nullptr;
        });
    EXPECT_CALL(platform.time_zone, GetDevISOTimeByUTCTime(_, 5, ::testing::IsNull())).WillOnce(Return(false));
    std::string text = "untouched";
    int offset = 0;
    EXPECT_TRUE(time_zone.GetDeviceISOTime(text, offset, kDeviceId, kDeviceType, 5));
    EXPECT_EQ(text, "untouched");
}

TEST_F(DeviceTimeZoneTest, CameraTimesAreThoseOfItsDevice) {
    platform.site.AddCamera(101, kDeviceId);
    platform.time_zone.fake.SetClock(kDeviceId, "2024-03-01 08:00:00", 28800);
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("east", -480));
    std::string text;
    int offset = 0;
    EXPECT_TRUE(time_zone.GetCameraTime(text, offset, 101, -1));
    EXPECT_EQ(text, "2024-03-01 08:00:00");
    EXPECT_EQ(offset, 28800);
    text.clear();
    EXPECT_TRUE(time_zone.GetCameraTimeEx(text, offset, 101, -1));
    EXPECT_EQ(text, "2024-03-01 08:00:00");
    EXPECT_TRUE(time_zone.GetCameraISOTime(text, offset, 101, 86400));
    EXPECT_EQ(text, "1970-01-02T08:00:00+08:00");
}

TEST_F(DeviceTimeZoneTest, CameraTimeExIsFalseWhileTheDevicesClockIsUnknownAndTheOthersAreTrue) {
    platform.site.AddCamera(101, kDeviceId);
    std::string text;
    int offset = 0;
    EXPECT_FALSE(time_zone.GetCameraTimeEx(text, offset, 101, -1));
    EXPECT_TRUE(time_zone.GetCameraTime(text, offset, 101, -1));
    EXPECT_TRUE(time_zone.GetCameraISOTime(text, offset, 101, -1));
}

TEST_F(DeviceTimeZoneTest, UnknownCameraOrDeviceIsFalseAndLeavesTheOutputs) {
    platform.site.AddCamera(101, kDeviceId);
    platform.site.Camera(101)->device.reset();
    for (const int camera : {101, 999}) {
        std::string text = "untouched";
        int offset = 4711;
        EXPECT_FALSE(time_zone.GetCameraTime(text, offset, camera, -1));
        EXPECT_FALSE(time_zone.GetCameraTimeEx(text, offset, camera, -1));
        EXPECT_FALSE(time_zone.GetCameraISOTime(text, offset, camera, -1));
        EXPECT_EQ(text, "untouched");
        EXPECT_EQ(offset, 4711);
    }
}

// --- zones -----------------------------------------------------------------------------------------------------------

TEST_F(DeviceTimeZoneTest, ZoneInfoHoldsNameAndBias) {
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("east", -480));
    SDeviceTimeZoneInfo info;
    EXPECT_TRUE(time_zone.GetDeviceTimeZoneInfo(info, kDeviceId, kDeviceType));
    EXPECT_EQ(info.str_display_name_, "east");
    EXPECT_EQ(info.n_bias_, -480);
    EXPECT_EQ(info.str_daylight_date_, "");
    EXPECT_EQ(info.str_standard_date_, "");
    EXPECT_EQ(info.n_daylight_bias_, 0);
}

TEST_F(DeviceTimeZoneTest, ZoneInfoHoldsTheRulesOfADaylightSavingThatIsOff) {
    const auto zone = FakeTimeZone::MakeZone("west", 300, "3:2:0:2:0", "11:1:0:2:0", -60);
    zone->GetDst()->SetEnable(false);
    platform.time_zone.fake.SetZone(kDeviceId, zone);
    SDeviceTimeZoneInfo info;
    EXPECT_TRUE(time_zone.GetDeviceTimeZoneInfo(info, kDeviceId, kDeviceType));
    EXPECT_EQ(info.str_daylight_date_, "3:2:0:2:0");
    EXPECT_EQ(info.str_standard_date_, "11:1:0:2:0");
    EXPECT_EQ(info.n_daylight_bias_, -60);
    EXPECT_EQ(OffsetAt("2026-07-01 00:00:00"), -18000);
}

TEST_F(DeviceTimeZoneTest, DeviceWithoutAZoneIsFalseAndLeavesTheOutputs) {
    SDeviceTimeZoneInfo info;
    info.n_bias_ = 5;
    EXPECT_FALSE(time_zone.GetDeviceTimeZoneInfo(info, kDeviceId, kDeviceType));
    EXPECT_EQ(info.n_bias_, 5);
    int offset = 4711;
    EXPECT_FALSE(time_zone.GetDeviceUtcOffset(offset, kDeviceId, kDeviceType, "2026-01-01 00:00:00"));
    EXPECT_EQ(offset, 4711);
}

TEST_F(DeviceTimeZoneTest, OffsetOfAZoneWithoutDaylightSavingIsItsBiasAlone) {
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("west", 480));
    EXPECT_EQ(OffsetAt("2026-07-01 00:00:00"), -28800);
    EXPECT_EQ(OffsetAt("no time"), -28800);
}

TEST_F(DeviceTimeZoneTest, DaylightSavingHoldsFromItsStartUntilBeforeItsEnd) {
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("west", 300, "3:2:0:2:0", "11:1:0:2:0", -60));
    EXPECT_EQ(OffsetAt("2026-01-15 12:00:00"), -18000);
    EXPECT_EQ(OffsetAt("2026-03-08 01:59:59"), -18000);
    EXPECT_EQ(OffsetAt("2026-03-08 02:00:00"), -14400);
    EXPECT_EQ(OffsetAt("2026-11-01 01:59:59"), -14400);
    EXPECT_EQ(OffsetAt("2026-11-01 02:00:00"), -18000);
}

TEST_F(DeviceTimeZoneTest, ZoneWhoseStartLiesAfterItsEndGivesTheBiasForEveryDate) {
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("south", -600, "10:1:0:2:0", "4:1:0:3:0", -60));
    for (const char* time : {"2026-01-15 12:00:00", "2026-04-05 03:00:00", "2026-07-01 00:00:00", "2026-10-04 02:00:00",
                             "2026-12-31 23:59:59"}) {
        EXPECT_EQ(OffsetAt(time), 36000) << time;
    }
}

TEST_F(DeviceTimeZoneTest, StartRuleThatNamesNoDateKeepsDaylightSavingOff) {
    for (const char* rule : {"13:1:0:2:0", "2:5:1:3:30"}) {
        platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("west", 300, rule, "11:1:0:2:0", -60));
        EXPECT_EQ(OffsetAt("2026-07-01 00:00:00"), -18000);
    }
}

TEST_F(DeviceTimeZoneTest, EndRuleThatNamesNoDateLeavesDaylightSavingOnUntilTheEndOfTheYear) {
    for (const char* rule : {"13:1:0:2:0", "2:5:1:3:30"}) {
        platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("west", 300, "3:2:0:2:0", rule, -60));
        EXPECT_EQ(OffsetAt("2026-12-31 23:59:59"), -14400);
        EXPECT_EQ(OffsetAt("2026-01-15 12:00:00"), -18000);
    }
}

TEST_F(DeviceTimeZoneTest, TextThatDoesNotBeginWithAYearThrowsWhereDaylightSavingIsOn) {
    platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("west", 300, "3:2:0:2:0", "11:1:0:2:0", -60));
    int offset = 4711;
    EXPECT_THROW(time_zone.GetDeviceUtcOffset(offset, kDeviceId, kDeviceType, "no time"), std::invalid_argument);
    EXPECT_THROW(time_zone.GetDeviceUtcOffset(offset, kDeviceId, kDeviceType, ""), std::invalid_argument);
    EXPECT_EQ(offset, 4711);
}

TEST_F(DeviceTimeZoneTest, EachRuleWithoutFiveFieldsThrowsWhateverTheDate) {
    const auto expect_throw = [&](const char* begin, const char* end) {
        platform.time_zone.fake.SetZone(kDeviceId, FakeTimeZone::MakeZone("west", 300, begin, end, -60));
        int offset = 4711;
        try {
            time_zone.GetDeviceUtcOffset(offset, kDeviceId, kDeviceType, "2026-01-15 12:00:00");
            ADD_FAILURE() << "nothing was thrown for " << begin << " and " << end;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "Invalid daylight_date format");
        }
        EXPECT_EQ(offset, 4711);
    };
    expect_throw("3:2:0:2", "11:1:0:2:0");
    // the start lies behind the date, so its comparison alone would decide
    expect_throw("3:2:0:2:0", "11:1:0:2");
}

// --- rules -----------------------------------------------------------------------------------------------------------

std::string RuleText(const std::string& rule, int year) {
    return CDeviceTimeZoneImpl::DaylightRuleToTimeText(rule, year);
}

TEST(DaylightRuleTest, RuleNamesTheNthWeekdayOfTheMonth) {
    EXPECT_EQ(RuleText("3:2:0:2:0", 2026), "2026-03-08 02:00:00");
    EXPECT_EQ(RuleText("11:1:0:2:0", 2026), "2026-11-01 02:00:00");
}

TEST(DaylightRuleTest, FifthWeekdayThatTheMonthDoesNotHaveIsOutOfRange) {
    EXPECT_EQ(RuleText("2:5:1:3:30", 2026), "Date out of range");
    EXPECT_EQ(RuleText("2:5:1:3:30", 2044), "2044-02-29 03:30:00");  // a leap February that begins on a Monday
    EXPECT_EQ(RuleText("2:5:4:0:0", 1900), "Date out of range");     // no leap year; begins on a Thursday
    EXPECT_EQ(RuleText("2:5:2:0:0", 2000), "2000-02-29 00:00:00");   // a leap year
}

TEST(DaylightRuleTest, FieldOutOfItsRangeIsInvalidInput) {
    for (const char* rule : {"13:1:0:2:0", "0:1:0:2:0", "-1:1:0:2:0", "a:1:0:2:0", ":1:0:2:0", "3:0:0:2:0", "3:6:0:2:0",
                             "3:1:7:2:0", "3:1:-1:2:0", "4294967299:1:0:2:0", "99999999999999999999:1:0:2:0"}) {
        EXPECT_EQ(RuleText(rule, 2026), "Invalid input") << rule;
    }
}

TEST(DaylightRuleTest, WeekdayThatIsNoNumberIsSunday) { EXPECT_EQ(RuleText("3:2:x:2:0", 2026), "2026-03-08 02:00:00"); }

TEST(DaylightRuleTest, OnlyHoursAndMinutesOfOneCharacterGetALeadingZero) {
    EXPECT_EQ(RuleText("12:1:1:12:30", 2026), "2026-12-07 12:30:00");
    EXPECT_EQ(RuleText("12:1:1:1x:y", 2026), "2026-12-07 1x:0y:00");
    EXPECT_EQ(RuleText("12:1:1::100", 2026), "2026-12-07 :100:00");
}

TEST(DaylightRuleTest, RuleWithoutFiveFieldsThrows) {
    for (const char* rule : {"3:2:0:2", "3:2:0:2:0:0", "3:2:0:2:0::", "", ":", "::::", "3"}) {
        try {
            RuleText(rule, 2026);
            ADD_FAILURE() << "nothing was thrown for " << rule;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "Invalid daylight_date format") << rule;
        }
    }
}

TEST(DaylightRuleTest, ColonAtTheEndBeginsNoFurtherField) {
    EXPECT_EQ(RuleText("3:2:0:2:0:", 2026), "2026-03-08 02:00:00");
}

TEST(DaylightRuleTest, ZoneOfTheServerDoesNotMatter) {
    for (const char* zone : {"UTC", "Asia/Shanghai", "America/Los_Angeles", "Europe/Dublin", "Pacific/Apia"}) {
        ::setenv("TZ", zone, 1);
        ::tzset();
        EXPECT_EQ(RuleText("1:1:4:0:0", 2026), "2026-01-01 00:00:00") << zone;
        EXPECT_EQ(RuleText("7:1:3:0:0", 2026), "2026-07-01 00:00:00") << zone;
    }
    ::unsetenv("TZ");
    ::tzset();
}

/// The same by the standard library's calendar.
std::string ExpectedText(int month, int week, int weekday, int hour, int minute, int year) {
    using std::chrono::year_month_day;
    using std::chrono::year_month_weekday;
    if (month < 1 || month > 12 || week < 1 || week > 5 || weekday < 0 || weekday > 6) return "Invalid input";
    const year_month_weekday named{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                   std::chrono::weekday(static_cast<unsigned>(weekday))[static_cast<unsigned>(week)]};
    if (!named.ok()) return "Date out of range";
    const year_month_day date{std::chrono::sys_days(named)};
    char text[64];
    std::snprintf(text, sizeof text, "%d-%02u-%02u %02d:%02d:00", year, static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), hour, minute);
    return text;
}

TEST(DaylightRuleTest, RandomRulesAgreeWithTheStandardLibrarysCalendar) {
    std::mt19937 random(20260301);
    const auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    int dates = 0;
    int missing = 0;
    for (int i = 0; i < 50000; ++i) {
        const int year = pick(1601, 9999);
        const int month = pick(0, 13);
        const int week = pick(0, 6);
        const int weekday = pick(-1, 7);
        const int hour = pick(0, 23);
        const int minute = pick(0, 59);
        char rule[64];
        const char* form = pick(0, 1) == 0 ? "%d:%d:%d:%d:%d" : "%02d:%02d:%02d:%02d:%02d";
        std::snprintf(rule, sizeof rule, form, month, week, weekday, hour, minute);
        const std::string expected = ExpectedText(month, week, weekday, hour, minute, year);
        ASSERT_EQ(RuleText(rule, year), expected) << rule << " in " << year;
        if (expected == "Date out of range") ++missing;
        if (expected.size() == 19) ++dates;
    }
    EXPECT_GT(dates, 10000);
    EXPECT_GT(missing, 1000);
}

}  // namespace
}  // namespace qar
