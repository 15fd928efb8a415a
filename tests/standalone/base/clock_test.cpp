#include "standalone/base/Clock.h"

#include <gtest/gtest.h>

namespace {

using qarplatform::Clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::system_clock;

int64_t RealMs() { return std::chrono::duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count(); }

constexpr int64_t kStart = 1772236800000;  // 2026-02-28 00:00:00 UTC

TEST(ClockTest, IsRealTimeUntilConfigured) {
    const int64_t before = RealMs();
    const int64_t now = Clock::Get().NowMs();
    const int64_t after = RealMs();
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
    EXPECT_EQ(Clock::Get().Scale(), 1.0);
}

TEST(ClockTest, RunsScaleTimesAsFastFromStartAtOrigin) {
    const int64_t origin = RealMs() - 10000;
    Clock::Get().Configure(600, origin, kStart);
    const int64_t before = RealMs();
    const int64_t now = Clock::Get().NowMs();
    const int64_t after = RealMs() + 2;
    EXPECT_LE(kStart + (before - origin) * 600, now);
    EXPECT_LE(now, kStart + (after - origin) * 600);
}

TEST(ClockTest, IsBehindStartBeforeOrigin) {
    Clock::Get().Configure(2, RealMs() + 3600000, kStart);
    EXPECT_LT(Clock::Get().NowMs(), kStart);
}

std::chrono::hours system_step{0};

system_clock::time_point SteppedSystemClock() { return system_clock::now() + system_step; }

TEST(ClockTest, ScaledClockDoesNotStepWithTheSystemClock) {
    Clock::Get().Configure(600, RealMs() - 10000, kStart, &SteppedSystemClock);
    for (const int hours : {1, -2}) {
        const int64_t before = Clock::Get().NowMs();
        system_step = std::chrono::hours(hours);
        const int64_t after = Clock::Get().NowMs();
        EXPECT_LE(before, after);
        EXPECT_LT(after, before + 600 * 60000);  // a step of an hour would be sixty times that
    }
}

TEST(ClockTest, RealClockFollowsTheSystemClock) {
    const int64_t origin = RealMs();
    Clock::Get().Configure(1, origin, origin, &SteppedSystemClock);
    system_step = std::chrono::hours(-1);
    EXPECT_LT(Clock::Get().NowMs(), origin);
}

TEST(ClockTest, ScaledMinuteLastsATenthOfASecondAtSixHundred) {
    Clock::Get().Configure(600, 0, 0);
    EXPECT_EQ(Clock::Get().RealDuration(milliseconds(60000)), nanoseconds(100000000));
}

}  // namespace
