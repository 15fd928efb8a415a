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
    const int64_t after = RealMs() + 1;
    EXPECT_LE(kStart + (before - origin) * 600, now);
    EXPECT_LE(now, kStart + (after - origin) * 600);
}

TEST(ClockTest, IsBehindStartBeforeOrigin) {
    Clock::Get().Configure(2, RealMs() + 3600000, kStart);
    EXPECT_LT(Clock::Get().NowMs(), kStart);
}

TEST(ClockTest, ScaledMinuteLastsATenthOfASecondAtSixHundred) {
    Clock::Get().Configure(600, 0, 0);
    EXPECT_EQ(Clock::Get().RealDuration(milliseconds(60000)), nanoseconds(100000000));
}

}  // namespace
