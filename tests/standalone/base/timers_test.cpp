#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

#include "qarutil/ThreadManager.h"
#include "standalone/base/Clock.h"
#include "standalone/base/TimerStatus.h"
#include "standalone/base/arrivals.h"
#include "standalone/log/temp_log.h"

namespace {

using qar::IThreadManager;
using qarplatform::Clock;
using qarplatform::ListTimers;
using qarplatform::TimerStatus;
using testing::ElementsAre;

constexpr unsigned int kMinute = 60000;  // ten real milliseconds in these tests
constexpr int64_t kStart = 1772236800000;

class TimersTest : public testing::Test {
protected:
    TimersTest() {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        Clock::Get().Configure(6000, std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), kStart);
    }

    IThreadManager& timers_ = *IThreadManager::Instance();
};

/// Ends the timers before what their functions use, when declared behind it.
struct TimersEnd {
    ~TimersEnd() { qarplatform::StopTimers(); }
};

struct Tick {
    unsigned long long number;
    int64_t moment_ms;
};

TEST_F(TimersTest, TicksFallAtStartPlusMultiplesOfTheIntervalAndCountFromOne) {
    Arrivals<Tick> ticks;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "t", kMinute,
        [&](unsigned long long tick) {
            ticks.Add({tick, Clock::Get().NowMs()});
        },
        0));
    const int64_t started = ListTimers().at(0).started_ms;
    EXPECT_GE(started, kStart);
    const auto seen = ticks.WaitFor(30);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].number, i + 1);
        EXPECT_GE(seen[i].moment_ms, started + static_cast<int64_t>(i + 1) * kMinute);
    }
}

TEST_F(TimersTest, SlowFunctionDelaysNoOtherTimer) {
    std::latch may_go_on(1);
    Arrivals<unsigned long long> slow;
    Arrivals<unsigned long long> quick;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "slow", kMinute,
        [&](unsigned long long tick) {
            slow.Add(tick);
            may_go_on.wait();
        },
        0));
    ASSERT_TRUE(timers_.NewTimer(
        "quick", kMinute, [&](unsigned long long tick) { quick.Add(tick); }, 0));
    slow.WaitFor(1);
    quick.WaitFor(5);
    EXPECT_THAT(slow.Now(), ElementsAre(1));
    may_go_on.count_down();
}

TEST_F(TimersTest, TicksMissedDuringASlowCallAreMadeUpWithoutDrift) {
    std::latch may_go_on(1);
    Arrivals<Tick> slow;
    Arrivals<unsigned long long> quick;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "slow", kMinute,
        [&](unsigned long long tick) {
            if (tick == 1) may_go_on.wait();
            slow.Add({tick, Clock::Get().NowMs()});
        },
        0));
    const int64_t started = ListTimers().at(0).started_ms;
    ASSERT_TRUE(timers_.NewTimer(
        "quick", kMinute, [&](unsigned long long tick) { quick.Add(tick); }, 0));
    quick.WaitFor(10);
    may_go_on.count_down();

    const auto seen = slow.WaitFor(20);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].number, i + 1);
        EXPECT_GE(seen[i].moment_ms, started + static_cast<int64_t>(i + 1) * kMinute);
    }
}

TEST_F(TimersTest, EndingFromAnotherThreadWaitsForTheCallThatRuns) {
    std::latch begun(1);
    std::latch may_end(1);
    std::atomic<bool> ended = false;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observed = held;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "t", kMinute,
        [&, held = std::move(held)](unsigned long long) {
            begun.count_down();
            may_end.wait();
            ended = true;
        },
        0));
    begun.wait();
    std::thread deleter([&] {
        timers_.DelTimer("t");
        EXPECT_TRUE(ended);
        EXPECT_TRUE(observed.expired());
    });
    may_end.count_down();
    deleter.join();
    EXPECT_TRUE(ListTimers().empty());
}

TEST_F(TimersTest, EndingFromItsOwnFunctionReturnsAtOnceAndIsTheLastCall) {
    Arrivals<unsigned long long> ticks;
    std::latch ended(1);
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "t", kMinute,
        [&](unsigned long long tick) {
            timers_.DelTimer("t");
            ticks.Add(tick);
            ended.count_down();
        },
        0));
    ended.wait();
    timers_.DelTimer("t");  // waits for the end of that call
    EXPECT_THAT(ticks.Now(), ElementsAre(1));
}

TEST_F(TimersTest, FunctionMayReplaceItsOwnTimer) {
    Arrivals<std::string> calls;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "t", kMinute,
        [&](unsigned long long) {
            calls.Add("first");
            timers_.DelTimer("t");
            EXPECT_TRUE(timers_.NewTimer(
                "t", kMinute, [&](unsigned long long) { calls.Add("second"); }, 0));
        },
        0));
    const auto seen = calls.WaitFor(3);
    EXPECT_EQ(std::vector<std::string>(seen.begin(), seen.begin() + 3),
              (std::vector<std::string>{"first", "second", "second"}));
}

TEST_F(TimersTest, SecondTimerOfARunningNameChangesNothing) {
    Arrivals<std::string> calls;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "t", kMinute, [&](unsigned long long) { calls.Add("first"); }, 0));
    EXPECT_TRUE(timers_.NewTimer(
        "t", 1, [&](unsigned long long) { calls.Add("second"); }, 0));
    const auto list = ListTimers();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].interval_ms, kMinute);
    for (const std::string& call : calls.WaitFor(5)) EXPECT_EQ(call, "first");
}

TEST_F(TimersTest, EmptyFunctionAndZeroIntervalAreRefused) {
    EXPECT_FALSE(timers_.NewTimer("t", kMinute, nullptr, 0));
    EXPECT_FALSE(timers_.NewTimer(
        "t", 0, [](unsigned long long) {}, 0));
    EXPECT_TRUE(ListTimers().empty());
}

TEST_F(TimersTest, EndingWhatDoesNotRunIsHarmless) { timers_.DelTimer("nobody"); }

TEST_F(TimersTest, ThrowingFunctionIsLoggedAndTheNextTickComes) {
    TempLog log;
    Arrivals<unsigned long long> ticks;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "t", kMinute,
        [&](unsigned long long tick) {
            ticks.Add(tick);
            if (tick == 1) throw std::runtime_error("boom");
            if (tick == 2) throw 5;
        },
        0));
    ticks.WaitFor(3);
    timers_.DelTimer("t");
    EXPECT_THAT(log.Lines(),
                ElementsAre("E [QARPlatform] tick 1 of timer t threw: boom",
                            "E [QARPlatform] tick 2 of timer t threw something that is no std::exception"));
}

TEST_F(TimersTest, ListTellsNamesIntervalsAndCallsMade) {
    Arrivals<unsigned long long> ticks;
    const TimersEnd end;
    ASSERT_TRUE(timers_.NewTimer(
        "b", kMinute, [&](unsigned long long tick) { ticks.Add(tick); }, 0));
    ASSERT_TRUE(timers_.NewTimer(
        "a", 3600 * 1000 * 1000U, [](unsigned long long) {}, 0));
    ticks.WaitFor(4);
    const std::vector<TimerStatus> list = ListTimers();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].name, "a");
    EXPECT_EQ(list[0].ticks, 0u);
    EXPECT_EQ(list[1].name, "b");
    EXPECT_EQ(list[1].interval_ms, kMinute);
    EXPECT_GE(list[1].ticks, 3u);
}

TEST_F(TimersTest, StopEndsAllAndNoTimerStartsAfterwards) {
    std::atomic<int> running = 0;
    std::latch begun(3);
    for (const char* name : {"a", "b", "c"}) {
        ASSERT_TRUE(timers_.NewTimer(
            name, kMinute,
            [&](unsigned long long tick) {
                ++running;
                if (tick == 1) begun.count_down();
                --running;
            },
            0));
    }
    begun.wait();
    qarplatform::StopTimers();
    EXPECT_EQ(running, 0);
    EXPECT_TRUE(ListTimers().empty());
    EXPECT_FALSE(timers_.NewTimer(
        "d", kMinute, [](unsigned long long) {}, 0));
}

}  // namespace
