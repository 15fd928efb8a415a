#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "ZELPlatform/TimeZone.h"
#include "platform/PlatformTest.h"
#include "tuk/DeviceManager.h"

namespace platform_tests {
namespace {

using namespace ZELPlatform::TimeZone;

constexpr long long kMinute = 60;
constexpr long long kHour = 3600;

struct Told {
    bool ok = false;
    std::string local;
    std::string utc;
    int offset = -1;
};

/// Seconds since 1970 of a UTC text, by the calendar of <chrono>.
long long Utc(const std::string& text) {
    int y = 0;
    unsigned m = 0;
    unsigned d = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    EXPECT_EQ(std::sscanf(text.c_str(), "%d-%u-%u %d:%d:%d", &y, &m, &d, &hour, &minute, &second), 6) << text;
    using namespace std::chrono;
    const sys_days day = year(y) / month(m) / std::chrono::day(d);
    return duration_cast<seconds>(day.time_since_epoch()).count() + hour * kHour + minute * kMinute + second;
}

class TimeZoneTest : public PlatformTest {
protected:
    void SetUp() override { platform_->LoadSite(); }

    static CTimeZoneDeviceKey Key(int device, int type = 2001) {
        CTimeZoneDeviceKey key;
        key.SetDeviceId(device);
        key.SetDeviceType(type);
        return key;
    }
    static Told Ask(int device, long long time, int type = 2001) {
        Told told;
        told.ok = GetDeviceTimeEx(told.local, told.utc, told.offset, Key(device, type), time);
        Told plain;
        GetDeviceTime(plain.local, plain.utc, plain.offset, Key(device, type), time);
        if (time != -1) {
            EXPECT_EQ(plain.local, told.local);
            EXPECT_EQ(plain.utc, told.utc);
        }
        EXPECT_EQ(plain.offset, told.offset);
        return told;
    }
    static std::string Local(int device, const std::string& utc) { return Ask(device, Utc(utc)).local; }
    static int Offset(int device, const std::string& utc) { return Ask(device, Utc(utc)).offset; }
    static std::string Iso(int device, const std::string& utc) {
        std::shared_ptr<CTimeZoneInfo> info;
        GetDeviceTimeZone(info, Key(device));
        std::string text = "untouched";
        GetDevISOTimeByUTCTime(text, Utc(utc), info);
        return text;
    }
};

TEST_F(TimeZoneTest, KeyKeepsItsValues) {
    CTimeZoneDeviceKey key;
    EXPECT_EQ(key.GetDeviceId(), -1);
    EXPECT_EQ(key.GetDeviceType(), -1);
    key.SetDeviceId(5);
    key.SetDeviceType(2001);
    EXPECT_EQ(key.GetDeviceId(), 5);
    EXPECT_EQ(key.GetDeviceType(), 2001);
}

TEST_F(TimeZoneTest, RecordsKeepTheirValues) {
    auto dst = std::make_shared<CDaylightSavingTime>();
    EXPECT_FALSE(dst->GetEnable());
    EXPECT_EQ(dst->GetDaylightbias(), 0);
    dst->SetEnable(true);
    dst->SetDaylightDate("3:2:0:2:0");
    dst->SetStandardDate("11:1:0:2:0");
    dst->SetDaylightbias(-60);
    CTimeZoneInfo info;
    EXPECT_EQ(info.GetBias(), 0);
    EXPECT_EQ(info.GetDst(), nullptr);
    info.SetDisplayName("name");
    info.SetBias(300);
    info.SetDst(dst);
    EXPECT_EQ(info.GetDisplayName(), "name");
    EXPECT_EQ(info.GetBias(), 300);
    EXPECT_TRUE(info.GetDst()->GetEnable());
    EXPECT_EQ(info.GetDst()->GetDaylightDate(), "3:2:0:2:0");
    EXPECT_EQ(info.GetDst()->GetStandardDate(), "11:1:0:2:0");
    EXPECT_EQ(info.GetDst()->GetDaylightbias(), -60);
}

TEST_F(TimeZoneTest, FixedZoneAddsItsOffset) {
    const Told told = Ask(1, Utc("2024-02-29 20:30:15"));
    EXPECT_TRUE(told.ok);
    EXPECT_EQ(told.local, "2024-03-01 04:30:15");
    EXPECT_EQ(told.utc, "2024-02-29 20:30:15");
    EXPECT_EQ(told.offset, 8 * kHour);
}

TEST_F(TimeZoneTest, MomentBefore1970) {
    const Told told = Ask(1, -100000);
    EXPECT_EQ(told.utc, "1969-12-30 20:13:20");
    EXPECT_EQ(told.local, "1969-12-31 04:13:20");
}

TEST_F(TimeZoneTest, DaylightBeginsAndEndsAtItsRules) {
    // bias 300: from 2026-03-08 02:00 standard (07:00 UTC) to 2026-11-01 02:00 daylight (06:00 UTC)
    EXPECT_EQ(Offset(2, "2026-03-08 06:59:59"), -5 * kHour);
    EXPECT_EQ(Offset(2, "2026-03-08 07:00:00"), -4 * kHour);
    EXPECT_EQ(Local(2, "2026-03-08 06:59:59"), "2026-03-08 01:59:59");
    EXPECT_EQ(Local(2, "2026-03-08 07:00:00"), "2026-03-08 03:00:00");
    EXPECT_EQ(Local(2, "2026-11-01 05:59:59"), "2026-11-01 01:59:59");
    EXPECT_EQ(Local(2, "2026-11-01 06:00:00"), "2026-11-01 01:00:00") << "the hour comes twice";
    EXPECT_EQ(Offset(2, "2026-11-01 06:00:00"), -5 * kHour);
    EXPECT_EQ(Offset(2, "2026-07-01 00:00:00"), -4 * kHour);
    EXPECT_EQ(Offset(2, "2027-01-01 00:00:00"), -5 * kHour);
}

TEST_F(TimeZoneTest, YearOfTheRulesIsTheLocalOne) {
    EXPECT_EQ(Local(2, "2027-01-01 04:59:59"), "2026-12-31 23:59:59");
    EXPECT_EQ(Local(3, "2026-12-31 13:00:00"), "2027-01-01 00:00:00");
}

TEST_F(TimeZoneTest, SouthernZoneHasDaylightOverTheTurnOfTheYear) {
    // bias -600: from 2025-10-05 02:00 standard (2025-10-04 16:00 UTC) to 2026-04-05 03:00 daylight (2026-04-04 16:00)
    EXPECT_EQ(Offset(3, "2025-10-04 15:59:59"), 10 * kHour);
    EXPECT_EQ(Offset(3, "2025-10-04 16:00:00"), 11 * kHour);
    EXPECT_EQ(Offset(3, "2025-12-31 23:00:00"), 11 * kHour);
    EXPECT_EQ(Offset(3, "2026-01-15 00:00:00"), 11 * kHour);
    EXPECT_EQ(Offset(3, "2026-04-04 15:59:59"), 11 * kHour);
    EXPECT_EQ(Offset(3, "2026-04-04 16:00:00"), 10 * kHour);
    EXPECT_EQ(Offset(3, "2026-07-01 00:00:00"), 10 * kHour);
}

TEST_F(TimeZoneTest, WeekFiveIsTheLastOfTheMonth) {
    // last Sundays: 2026-03-29 (the fifth) and 2026-10-25 (the fourth); 2024-03-31 and 2024-10-27
    EXPECT_EQ(Offset(4, "2026-03-29 00:59:59"), 1 * kHour);
    EXPECT_EQ(Offset(4, "2026-03-29 01:00:00"), 2 * kHour);
    EXPECT_EQ(Offset(4, "2026-10-25 00:59:59"), 2 * kHour);
    EXPECT_EQ(Offset(4, "2026-10-25 01:00:00"), 1 * kHour);
    EXPECT_EQ(Offset(4, "2024-03-31 00:59:59"), 1 * kHour);
    EXPECT_EQ(Offset(4, "2024-03-31 01:00:00"), 2 * kHour);
    EXPECT_EQ(Offset(4, "2024-10-27 00:59:59"), 2 * kHour);
    EXPECT_EQ(Offset(4, "2024-10-27 01:00:00"), 1 * kHour);
}

TEST_F(TimeZoneTest, RulesThatAreNotEnabledDoNothing) {
    EXPECT_EQ(Offset(6, "2026-01-01 00:00:00"), 9 * kHour);
    EXPECT_EQ(Offset(6, "2026-07-01 00:00:00"), 9 * kHour);
}

TEST_F(TimeZoneTest, DeviceWithoutAZoneIsAnsweredInUtc) {
    const Told told = Ask(5, Utc("2026-07-01 12:00:00"));
    EXPECT_EQ(told.local, "2026-07-01 12:00:00");
    EXPECT_EQ(told.offset, 0);
}

TEST_F(TimeZoneTest, UnknownDeviceIsAnsweredInUtcAndToldByTheExForm) {
    const Told told = Ask(99, Utc("2026-07-01 12:00:00"));
    EXPECT_FALSE(told.ok);
    EXPECT_EQ(told.local, "2026-07-01 12:00:00");
    EXPECT_EQ(told.utc, "2026-07-01 12:00:00");
    EXPECT_EQ(told.offset, 0);
    EXPECT_FALSE(Ask(1, Utc("2026-07-01 12:00:00"), 2002).ok) << "known, but of another type";
    EXPECT_FALSE(Ask(99, -1).ok);
}

TEST_F(TimeZoneTest, PresentOfAClockThatWasNeverLearnedIsTheServersAndToldByTheExForm) {
    const Told told = Ask(1, -1);
    EXPECT_FALSE(told.ok);
    EXPECT_EQ(told.offset, 8 * kHour) << "filled all the same";
    EXPECT_EQ(Utc(told.local) - Utc(told.utc), 8 * kHour);
    EXPECT_TRUE(Ask(1, 0).ok) << "a given moment needs no clock";
}

TEST_F(TimeZoneTest, PresentOfAClockIsKnownFromTheFirstContactOnAlsoWhileTheDeviceIsAway) {
    const auto device = Mox::Base::CSingleton<tuk::CDeviceManager>::Instance()->FindDeviceByID(1, 2001);
    platform_->SetAnswers(1, true);
    platform_->StartDevices();
    ASSERT_TRUE(WaitUntil([] { return Ask(1, -1).ok; }));
    const Told told = Ask(1, -1);
    EXPECT_EQ(told.offset, 8 * kHour);
    EXPECT_EQ(Utc(told.local) - Utc(told.utc), 8 * kHour);
    ASSERT_TRUE(WaitUntil([&] { return device->IsOnline(); }));
    platform_->SetAnswers(1, false);
    ASSERT_TRUE(WaitUntil([&] { return !device->IsOnline(); }));
    EXPECT_TRUE(Ask(1, -1).ok);
}

TEST_F(TimeZoneTest, ZoneOfADevice) {
    std::shared_ptr<CTimeZoneInfo> info;
    GetDeviceTimeZone(info, Key(2));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetDisplayName(), "west");
    EXPECT_EQ(info->GetBias(), 300);
    ASSERT_NE(info->GetDst(), nullptr);
    EXPECT_TRUE(info->GetDst()->GetEnable());
    EXPECT_EQ(info->GetDst()->GetDaylightDate(), "3:2:0:2:0");
    EXPECT_EQ(info->GetDst()->GetStandardDate(), "11:1:0:2:0");
    EXPECT_EQ(info->GetDst()->GetDaylightbias(), -60);

    GetDeviceTimeZone(info, Key(1));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetBias(), -480);
    EXPECT_EQ(info->GetDst(), nullptr);

    GetDeviceTimeZone(info, Key(6));
    ASSERT_NE(info, nullptr);
    ASSERT_NE(info->GetDst(), nullptr);
    EXPECT_FALSE(info->GetDst()->GetEnable());
}

TEST_F(TimeZoneTest, DeviceWithoutAZoneAndAnUnknownOneMakeTheInfoEmpty) {
    auto info = std::make_shared<CTimeZoneInfo>();
    GetDeviceTimeZone(info, Key(5));
    EXPECT_EQ(info, nullptr);
    info = std::make_shared<CTimeZoneInfo>();
    GetDeviceTimeZone(info, Key(99));
    EXPECT_EQ(info, nullptr);
}

TEST_F(TimeZoneTest, IsoTextHasTheOffsetOfItsMoment) {
    EXPECT_EQ(Iso(1, "2024-03-01 00:00:00"), "2024-03-01T08:00:00+08:00");
    EXPECT_EQ(Iso(2, "2026-07-01 12:00:00"), "2026-07-01T08:00:00-04:00");
    EXPECT_EQ(Iso(2, "2026-12-01 12:00:00"), "2026-12-01T07:00:00-05:00");
    EXPECT_EQ(Iso(3, "2026-01-01 00:00:00"), "2026-01-01T11:00:00+11:00");
}

TEST_F(TimeZoneTest, IsoTextOfNoZoneIsRefusedAndUntouched) {
    std::string text = "untouched";
    EXPECT_FALSE(GetDevISOTimeByUTCTime(text, 0, nullptr));
    EXPECT_EQ(text, "untouched");
}

TEST_F(TimeZoneTest, IsoTextNeedsNoDevice) {
    auto info = std::make_shared<CTimeZoneInfo>();
    info->SetBias(330);
    std::string text;
    EXPECT_TRUE(GetDevISOTimeByUTCTime(text, 0, info));
    EXPECT_EQ(text, "1969-12-31T18:30:00-05:30");
}

}  // namespace
}  // namespace platform_tests
