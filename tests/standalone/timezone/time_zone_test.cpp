#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "ZELPlatform/TimeZone.h"
#include "standalone/base/Clock.h"
#include "standalone/device/DeviceTable.h"
#include "standalone/timezone/TimeText.h"

namespace {

using qarplatform::Clock;
using qarplatform::DeviceTable;
using qarplatform::Site;
using qarplatform::TimeText;
using namespace ZELPlatform::TimeZone;

constexpr long long kWinter = 1772323200;  // 2026-03-01 00:00:00 UTC
constexpr long long kSummer = 1782864000;  // 2026-07-01 00:00:00 UTC

class TimeZoneTest : public testing::Test {
protected:
    void SetUp() override {
        Site site;
        site.zones = {{"east8", "UTC+08:00", -480, false, false, "", "", 0},
                      {"west5", "Five west", 300, true, true, "3:2:0:2:0", "11:1:0:2:0", -60},
                      {"west5_30", "", 330, false, false, "", "", 0}};
        site.devices = {{1, 2001, "D-1", "a", "tcp://127.0.0.1:1", "", "east8", true},
                        {2, 2001, "D-2", "b", "tcp://127.0.0.1:1", "", "west5", true},
                        {3, 2001, "D-3", "c", "tcp://127.0.0.1:1", "", "", true},
                        {4, 2001, "D-4", "d", "tcp://127.0.0.1:1", "", "west5_30", true}};
        DeviceTable::Publish(std::make_unique<const DeviceTable>(site));
    }

    static CTimeZoneDeviceKey Key(int id, int type = 2001) {
        CTimeZoneDeviceKey key;
        key.SetDeviceId(id);
        key.SetDeviceType(type);
        return key;
    }

    /// The answer as one text: "local|utc|offset|result".
    static std::string Answer(int id, long long time, int type = 2001) {
        std::string local;
        std::string utc;
        int offset = 12345;
        const bool known = GetDeviceTimeEx(local, utc, offset, Key(id, type), time);
        return local + "|" + utc + "|" + std::to_string(offset) + "|" + (known ? "true" : "false");
    }

    static std::string IsoOf(int id, long long time) {
        std::shared_ptr<CTimeZoneInfo> info;
        GetDeviceTimeZone(info, Key(id));
        std::string text = "untouched";
        const bool done = GetDevISOTimeByUTCTime(text, time, info);
        return done == (info != nullptr) ? text : "wrong result";
    }
};

TEST_F(TimeZoneTest, GivenMomentIsShownByTheZonesRules) {
    EXPECT_EQ(Answer(1, kWinter), "2026-03-01 08:00:00|2026-03-01 00:00:00|28800|true");
    EXPECT_EQ(Answer(2, kWinter), "2026-02-28 19:00:00|2026-03-01 00:00:00|-18000|true");
    EXPECT_EQ(Answer(2, kSummer), "2026-06-30 20:00:00|2026-07-01 00:00:00|-14400|true");
    EXPECT_EQ(Answer(4, kWinter), "2026-02-28 18:30:00|2026-03-01 00:00:00|-19800|true");
}

TEST_F(TimeZoneTest, DeviceWithoutAZoneStandsInUtc) {
    EXPECT_EQ(Answer(3, kSummer), "2026-07-01 00:00:00|2026-07-01 00:00:00|0|true");
    EXPECT_EQ(IsoOf(3, kSummer), "untouched");
}

TEST_F(TimeZoneTest, UnknownDeviceIsAnsweredInUtcAndFalse) {
    EXPECT_EQ(Answer(9, kWinter), "2026-03-01 00:00:00|2026-03-01 00:00:00|0|false");
    EXPECT_EQ(Answer(1, kWinter, 2002), "2026-03-01 00:00:00|2026-03-01 00:00:00|0|false");
    auto info = std::make_shared<CTimeZoneInfo>();
    GetDeviceTimeZone(info, Key(9));
    EXPECT_EQ(info, nullptr);
}

TEST_F(TimeZoneTest, PresentIsTheServersUntilTheDevicesClockIsLearned) {
    Clock::Get().Configure(1e-6, 0, kWinter * 1000);
    const long long now = Clock::Get().NowMs() / 1000;
    const std::string shown = TimeText(now + 28800) + "|" + TimeText(now) + "|28800|";
    EXPECT_EQ(Answer(1, -1), shown + "false");

    DeviceTable::Current().FindDevice(1)->GetClock().RunOnHostClock();
    EXPECT_EQ(Answer(1, -1), shown + "true");
}

TEST_F(TimeZoneTest, PresentIsThatOfTheDevicesOwnClockOnceLearned) {
    Clock::Get().Configure(1e-6, 0, kWinter * 1000);
    int64_t jump = 0;
    DeviceTable::Current().FindDevice(2)->GetClock().Learn(kSummer, Clock::Get().NowMs(), std::chrono::milliseconds(0),
                                                           jump);
    EXPECT_EQ(Answer(2, -1), "2026-06-30 20:00:00|2026-07-01 00:00:00|-14400|true");

    std::string local;
    std::string utc;
    int offset = 0;
    GetDeviceTime(local, utc, offset, Key(2), -1);
    EXPECT_EQ(local, "2026-06-30 20:00:00");
    EXPECT_EQ(utc, "2026-07-01 00:00:00");
    EXPECT_EQ(offset, -14400);
}

TEST_F(TimeZoneTest, IsoTextHasTheOffsetOfItsMoment) {
    EXPECT_EQ(IsoOf(1, kWinter), "2026-03-01T08:00:00+08:00");
    EXPECT_EQ(IsoOf(2, kWinter), "2026-02-28T19:00:00-05:00");
    EXPECT_EQ(IsoOf(2, kSummer), "2026-06-30T20:00:00-04:00");
    EXPECT_EQ(IsoOf(4, kWinter), "2026-02-28T18:30:00-05:30");
    EXPECT_EQ(IsoOf(1, -1), "1970-01-01T07:59:59+08:00");
}

TEST_F(TimeZoneTest, BothSidesOfEachChangeAreRight) {
    EXPECT_EQ(IsoOf(2, 1772953199), "2026-03-08T01:59:59-05:00");
    EXPECT_EQ(IsoOf(2, 1772953200), "2026-03-08T03:00:00-04:00");
    EXPECT_EQ(IsoOf(2, 1793512799), "2026-11-01T01:59:59-04:00");
    EXPECT_EQ(IsoOf(2, 1793512800), "2026-11-01T01:00:00-05:00");
}

TEST_F(TimeZoneTest, MomentsOutsideWhatATextCanShowAreCut) {
    EXPECT_EQ(Answer(3, 9223372036854775807LL), "9999-12-31 23:59:59|9999-12-31 23:59:59|0|true");
    EXPECT_EQ(Answer(3, -9223372036854775807LL), "0000-01-01 00:00:00|0000-01-01 00:00:00|0|true");
    EXPECT_EQ(IsoOf(1, 9223372036854775807LL), "9999-12-31T23:59:59+08:00");
}

TEST_F(TimeZoneTest, ZoneIsToldAsTheSiteHasIt) {
    std::shared_ptr<CTimeZoneInfo> info;
    GetDeviceTimeZone(info, Key(2));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetDisplayName(), "Five west");
    EXPECT_EQ(info->GetBias(), 300);
    ASSERT_NE(info->GetDst(), nullptr);
    EXPECT_TRUE(info->GetDst()->GetEnable());
    EXPECT_EQ(info->GetDst()->GetDaylightDate(), "3:2:0:2:0");
    EXPECT_EQ(info->GetDst()->GetStandardDate(), "11:1:0:2:0");
    EXPECT_EQ(info->GetDst()->GetDaylightbias(), -60);

    GetDeviceTimeZone(info, Key(1));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetDst(), nullptr);
}

}  // namespace
