#include "tool/Timer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "mock/Platform.h"

namespace qar {
namespace {

using qarmock::Line;
using qarmock::LineIn;
using ::testing::ElementsAre;

constexpr int kHour = 3600 * 1000;

class QarTimerTest : public ::testing::Test {
protected:
    void WaitForLine(const std::string& body) const {
        const auto is_there = [&] {
            const auto lines = platform.log.Lines();
            return std::any_of(lines.begin(), lines.end(), [&](const auto& line) { return line.body == body; });
        };
        while (!is_there()) std::this_thread::yield();
    }

    qarmock::Platform platform;
};

TEST_F(QarTimerTest, EachRoundLogsTheWaitTheFunctionAndTheEnd) {
    int calls = 0;
    std::promise<void> called_twice;
    {
        CQarTimer timer;
        ASSERT_TRUE(timer.Start("t", 1, [&] {
            if (++calls < 2) return;
            timer.Stop();
            called_twice.set_value();
        }));
        called_twice.get_future().wait();
    }
    EXPECT_EQ(calls, 2);
    const auto round_line = [](const char* body) { return LineIn("qar::CQarTimer::Run", 2, "QARCommon", body); };
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn("qar::CQarTimer::Run", 3, "QARCommon", "Timer start working...name[t]\n"),
                            round_line("Timer wait_for start working...name[t], interval[1]\n"),
                            round_line("Timer wait_for end working...name[t], interval[1]\n"),
                            round_line("Timer func end working...name[t], interval[1]\n"),
                            round_line("Timer wait_for start working...name[t], interval[1]\n"),
                            round_line("Timer wait_for end working...name[t], interval[1]\n"),
                            round_line("Timer func end working...name[t], interval[1]\n"),
                            LineIn("qar::CQarTimer::Run", 3, "QARCommon", "Timer exit ok. name[t]\n")));
}

TEST_F(QarTimerTest, StopInTheWaitEndsTheRoundWithoutACall) {
    std::atomic<int> calls{0};
    CQarTimer timer;
    ASSERT_TRUE(timer.Start("t", kHour, [&] { ++calls; }));
    WaitForLine("Timer wait_for start working...name[t], interval[3600000]\n");
    timer.Stop();
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(Line(3, "QARCommon", "Timer start working...name[t]\n"),
                            Line(2, "QARCommon", "Timer wait_for start working...name[t], interval[3600000]\n"),
                            Line(2, "QARCommon", "Timer wait_for end working...name[t], interval[3600000]\n"),
                            Line(2, "QARCommon", "Timer func end working...name[t], interval[3600000]\n"),
                            Line(3, "QARCommon", "Timer exit ok. name[t]\n")));
}

TEST_F(QarTimerTest, SecondStartWithARunningKeyFailsAndTheFirstTimerRunsOn) {
    std::atomic<int> first_calls{0};
    std::atomic<int> second_calls{0};
    CQarTimer first;
    ASSERT_TRUE(first.Start("t", 1, [&] { ++first_calls; }));
    CQarTimer second;
    EXPECT_FALSE(second.Start("t", 1, [&] { ++second_calls; }));
    const int calls_then = first_calls;
    while (first_calls < calls_then + 2) std::this_thread::yield();
    first.Stop();
    EXPECT_EQ(second_calls, 0);
    EXPECT_THAT(platform.log.LinesFrom(4), ElementsAre(LineIn("qar::CQarTimer::Start", 4, "QARCommon",
                                                              "QarTimer start failed, dupalicate starting. key[t]\n")));
}

TEST_F(QarTimerTest, TimerThatRunsIsNotStartedUnderAnotherKey) {
    CQarTimer timer;
    ASSERT_TRUE(timer.Start("t", kHour, [] {}));
    EXPECT_FALSE(timer.Start("u", kHour, [] {}));
    EXPECT_THAT(platform.log.LinesFrom(4),
                ElementsAre(Line(4, "QARCommon", "QarTimer start failed, dupalicate starting. key[u]\n")));
    CQarTimer other;
    EXPECT_TRUE(other.Start("u", kHour, [] {}));
}

TEST_F(QarTimerTest, KeyIsFreeAgainAfterStopAndAfterDestruction) {
    CQarTimer timer;
    ASSERT_TRUE(timer.Start("t", kHour, [] {}));
    timer.Stop();
    auto other = std::make_unique<CQarTimer>();
    EXPECT_TRUE(other->Start("t", kHour, [] {}));
    other.reset();
    EXPECT_TRUE(timer.Start("t", kHour, [] {}));
}

TEST_F(QarTimerTest, TimerStoppedByItsOwnFunctionCanBeStartedAgain) {
    std::promise<void> called;
    std::atomic<bool> told{false};
    CQarTimer timer;
    ASSERT_TRUE(timer.Start("t", 1, [&] { timer.Stop(); }));
    WaitForLine("Timer exit ok. name[t]\n");
    ASSERT_TRUE(timer.Start("u", 1, [&] {
        if (!told.exchange(true)) called.set_value();
    }));
    called.get_future().wait();
}

TEST_F(QarTimerTest, StopOfATimerThatNeverRanIsHarmless) {
    CQarTimer timer;
    timer.Stop();
    EXPECT_TRUE(timer.Start("t", kHour, [] {}));
}

}  // namespace
}  // namespace qar
