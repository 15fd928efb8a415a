#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "host/ExitCode.h"
#include "host/StopSignal.h"

namespace qarhost {
namespace {

using std::chrono::milliseconds;

// Each look at it finds it later by a step.
StopSignal::Now ClockThatSteps(milliseconds step, std::atomic<int>& looks) {
    return [step, &looks] { return std::chrono::steady_clock::time_point(step * looks++); };
}

class StopSignalTest : public testing::TestWithParam<int> {};

TEST_P(StopSignalTest, FirstSignalAsksToStop) {
    StopSignal signal;
    EXPECT_FALSE(signal.Asked());
    kill(getpid(), GetParam());
    signal.Wait();
    EXPECT_TRUE(signal.Asked());
}

TEST_P(StopSignalTest, SignalASecondLaterEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atomic<int> looks{0};
            StopSignal signal(ClockThatSteps(milliseconds(1000), looks));
            kill(getpid(), GetParam());
            signal.Wait();
            kill(getpid(), GetParam());
            pause();
        },
        testing::ExitedWithCode(kExitFailure), "second signal");
}

TEST_P(StopSignalTest, SignalsWithinASecondOfTheFirstCountAsOne) {
    std::atomic<int> looks{0};
    StopSignal signal(ClockThatSteps(milliseconds(333), looks));
    for (int sent = 1; sent <= 4; ++sent) {
        kill(getpid(), GetParam());
        while (looks < sent) std::this_thread::yield();
    }
    EXPECT_TRUE(signal.Asked());
}

TEST_P(StopSignalTest, TwoSignalsInARowStopCleanly) {
    StopSignal signal;
    kill(getpid(), GetParam());
    kill(getpid(), GetParam() == SIGTERM ? SIGINT : SIGTERM);
    signal.Wait();
    EXPECT_TRUE(signal.Asked());
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignalTest, testing::Values(SIGTERM, SIGINT));

TEST(StopSignalMaskTest, WritingToAClosedPipeDoesNotEndTheProcess) {
    const StopSignal signal;
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    EXPECT_EQ(-1, write(ends[1], "x", 1));
    EXPECT_EQ(EPIPE, errno);
    close(ends[1]);
}

}  // namespace
}  // namespace qarhost
