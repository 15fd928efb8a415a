#include "soak/check_calendar.h"

#include <gtest/gtest.h>

namespace soak {
namespace {

constexpr std::int64_t kStartMs = 1'772'323'200'000;

constexpr std::int64_t Tick(std::int64_t tick) { return kStartMs + tick * CheckCalendar::kTickMs; }

class CheckCalendarTest : public testing::Test {
protected:
    const CheckCalendar calendar_{kStartMs, 600};
};

TEST_F(CheckCalendarTest, ChecksAreAtTick25AndEachHalfHourBehind) {
    EXPECT_EQ(0, calendar_.LastCheck(Tick(25) - 1));
    EXPECT_EQ(Tick(25), calendar_.LastCheck(Tick(25)));
    EXPECT_EQ(Tick(25), calendar_.LastCheck(Tick(55) - 1));
    EXPECT_EQ(Tick(55), calendar_.LastCheck(Tick(55)));
    EXPECT_EQ(Tick(115), calendar_.LastCheck(Tick(120)));
}

TEST_F(CheckCalendarTest, NotificationsAreAtTick5OfEachHour) {
    EXPECT_EQ(Tick(5), calendar_.NextNotification(kStartMs));
    EXPECT_EQ(Tick(5), calendar_.NextNotification(Tick(5)));
    EXPECT_EQ(Tick(65), calendar_.NextNotification(Tick(5) + 1));
}

TEST_F(CheckCalendarTest, CamerasReturnBehindTheFirstCheckOfAnHourSoThatAProbeFitsIn) {
    EXPECT_FALSE(calendar_.MayReturn(Tick(25) - 1));
    EXPECT_TRUE(calendar_.MayReturn(Tick(25)));
    EXPECT_TRUE(calendar_.MayReturn(Tick(37)));
    EXPECT_FALSE(calendar_.MayReturn(Tick(37) + 1));
    EXPECT_FALSE(calendar_.MayReturn(Tick(56)));
    EXPECT_TRUE(calendar_.MayReturn(Tick(85)));
}

TEST_F(CheckCalendarTest, CamerasGoBehindAnyCheckSoThatAProbeFitsIn) {
    EXPECT_FALSE(calendar_.MayGo(Tick(24)));
    EXPECT_TRUE(calendar_.MayGo(Tick(25)));
    EXPECT_TRUE(calendar_.MayGo(Tick(37)));
    EXPECT_FALSE(calendar_.MayGo(Tick(37) + 1));
    EXPECT_TRUE(calendar_.MayGo(Tick(55)));
}

}  // namespace
}  // namespace soak
