#include <gtest/gtest.h>

#include "standalone/device/DeviceClock.h"

namespace {

using qarplatform::DeviceClock;
using std::chrono::milliseconds;
using Change = DeviceClock::Change;

class DeviceClockTest : public testing::Test {
protected:
    Change Learn(int64_t date_s, int64_t now_ms, int64_t round_trip_ms = 0) {
        return clock_.Learn(date_s, now_ms, milliseconds(round_trip_ms), jump_ms_);
    }

    DeviceClock clock_;
    int64_t jump_ms_ = 0;
};

TEST_F(DeviceClockTest, UnknownClockShowsThePlatformsTime) {
    EXPECT_FALSE(clock_.Known());
    EXPECT_EQ(clock_.DeviceTimeMs(1234), 1234);
}

TEST_F(DeviceClockTest, LearnedClockRunsOnFromTheDate) {
    EXPECT_EQ(Learn(5000, 1'000'000), Change::kLearned);
    EXPECT_TRUE(clock_.Known());
    EXPECT_EQ(clock_.DeviceTimeMs(1'000'000), 5'000'000);
    EXPECT_EQ(clock_.DeviceTimeMs(1'060'000), 5'060'000);
}

TEST_F(DeviceClockTest, DateThatAgreesWithinTwoSecondsChangesNothing) {
    Learn(5000, 1'000'000);
    EXPECT_EQ(Learn(5062, 1'060'000), Change::kNone);
    EXPECT_EQ(Learn(5058, 1'060'000), Change::kNone);
    EXPECT_EQ(clock_.DeviceTimeMs(1'060'000), 5'060'000);
}

TEST_F(DeviceClockTest, SmallDifferenceIsLearnedWithoutAJump) {
    Learn(5000, 1'000'000);
    EXPECT_EQ(Learn(5063, 1'060'000), Change::kLearned);
    EXPECT_EQ(clock_.DeviceTimeMs(1'060'000), 5'063'000);
    EXPECT_EQ(Learn(5118, 1'120'000), Change::kLearned);
    EXPECT_EQ(clock_.DeviceTimeMs(1'120'000), 5'118'000);
}

TEST_F(DeviceClockTest, DifferenceOfMoreThanFiveSecondsIsAJump) {
    Learn(5000, 1'000'000);
    EXPECT_EQ(Learn(5065, 1'060'000), Change::kLearned);
    EXPECT_EQ(Learn(5131, 1'120'000), Change::kJumped);
    EXPECT_EQ(jump_ms_, 6000);
    EXPECT_EQ(Learn(2000, 1'180'000), Change::kJumped);
    EXPECT_EQ(jump_ms_, 2'000'000 - 5'191'000);
    EXPECT_EQ(clock_.DeviceTimeMs(1'180'000), 2'000'000);
}

TEST_F(DeviceClockTest, ToleranceGrowsWithTheRoundTrip) {
    Learn(5000, 1'000'000);
    EXPECT_EQ(Learn(5080, 1'060'000, 10'000), Change::kNone);
    EXPECT_EQ(Learn(5081, 1'060'000, 10'000), Change::kJumped);
}

TEST_F(DeviceClockTest, CorrectionOfADateThatCameSlowlyIsNoJump) {
    Learn(5000, 1'000'000, 30'000);
    EXPECT_EQ(Learn(5090, 1'060'000, 100), Change::kLearned);
    EXPECT_EQ(clock_.DeviceTimeMs(1'060'000), 5'090'000);
    EXPECT_EQ(Learn(5180, 1'120'000, 100), Change::kJumped);
}

TEST_F(DeviceClockTest, HostsClockIsTakenOnlyWhileNothingIsLearned) {
    clock_.RunOnHostClock();
    EXPECT_TRUE(clock_.Known());
    EXPECT_EQ(clock_.DeviceTimeMs(1'000'000), 1'000'000);

    EXPECT_EQ(Learn(5000, 1'000'000), Change::kJumped);
    clock_.RunOnHostClock();
    EXPECT_EQ(clock_.DeviceTimeMs(1'000'000), 5'000'000);
}

// Dates of whole seconds, read every 100 ms of real time at a scale of 600 with some delay: never goes back.
TEST_F(DeviceClockTest, ClockDoesNotGoBackwardsOverDatesOfWholeSeconds) {
    int64_t before = 0;
    for (int64_t now_ms = 1'000'000; now_ms < 100'000'000; now_ms += 60'137) {
        const int64_t delay_ms = now_ms % 900;
        const int64_t true_ms = now_ms - delay_ms + 7'777'777;
        Learn(true_ms / 1000, now_ms, delay_ms);
        const int64_t shown = clock_.DeviceTimeMs(now_ms);
        ASSERT_GT(shown, before);
        ASSERT_NEAR(static_cast<double>(shown), static_cast<double>(true_ms), 2000.0);
        before = shown;
    }
}

}  // namespace
