#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "host/StopWatch.h"
#include "standalone/base/arrivals.h"

namespace qarhost {
namespace {

using std::chrono::milliseconds;
using testing::StartsWith;
using Texts = std::vector<std::string>;

constexpr const char* kWayOut = ". Another SIGTERM ends the process at once";

TEST(StopTextTest, NamesThePartAndWhatRuns) {
    EXPECT_EQ(StopText("the timers", {}), std::string("the stop waits for the timers") + kWayOut);
    EXPECT_EQ(StopText("the bus", {"subscriber a"}), std::string("the stop waits for the bus: subscriber a") + kWayOut);
    EXPECT_EQ(StopText("the bus", {"b", "a"}), std::string("the stop waits for the bus: a; b") + kWayOut);
}

TEST(StopTextTest, CountsEqualTexts) {
    EXPECT_EQ(StopText("the front", {"b", "a", "b", "b"}),
              std::string("the stop waits for the front: a; b (3 times)") + kWayOut);
}

TEST(StopTextTest, TellsTenTextsAndTheNumberOfFurtherOnes) {
    Texts running;
    for (char c = 'a'; c < 'a' + 10; ++c) running.emplace_back(1, c);
    const std::string ten = "the stop waits for the bus: a; b; c; d; e; f; g; h; i; j";
    EXPECT_EQ(StopText("the bus", running), ten + kWayOut);
    running.insert(running.end(), {"k", "l", "l"});
    EXPECT_EQ(StopText("the bus", running), ten + "; 2 more" + kWayOut);
}

TEST(StopWatchTest, TellsAgainAndAgainWhatTheStopWaitsFor) {
    testing::internal::CaptureStderr();
    Arrivals<int> looks;
    {
        StopWatch watch(
            [&] {
                looks.Add(0);
                return Texts{"subscriber a"};
            },
            milliseconds(1), milliseconds(1));
        watch.Enter("the bus");
        const std::size_t seen = looks.Now().size();
        looks.WaitFor(seen + 3);
    }
    const std::size_t told = looks.Now().size();
    const std::string line =
        "qarhost: the stop waits for the bus: subscriber a. Another SIGTERM ends the process at once\n";
    const std::string text = testing::internal::GetCapturedStderr();
    std::size_t lines = 0;
    for (std::size_t at = text.find("qarhost: "); at != std::string::npos; at = text.find("qarhost: ", at + 1)) ++lines;
    EXPECT_EQ(lines, told);
    ASSERT_GE(text.size(), line.size());
    EXPECT_EQ(text.substr(text.size() - line.size()), line);
}

TEST(StopWatchTest, WaitsTheFirstTimeAndThenTheOther) {
    testing::internal::CaptureStderr();
    Arrivals<int> looks;
    {
        const StopWatch watch(
            [&] {
                looks.Add(0);
                return Texts();
            },
            milliseconds(1), std::chrono::hours(1));
        looks.WaitFor(1);
        Arrivals<int> others;
        const StopWatch often(
            [&] {
                others.Add(0);
                return Texts();
            },
            milliseconds(1), milliseconds(1));
        others.WaitFor(10);  // in which the first one would have looked again
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("qarhost: the stop waits for "));
    EXPECT_EQ(looks.Now().size(), 1U);
}

TEST(StopWatchTest, ALookThatThrowsCostsItsLineOnly) {
    testing::internal::CaptureStderr();
    Arrivals<int> looks;
    {
        StopWatch watch(
            [&]() -> Texts {
                looks.Add(0);
                if (looks.Now().size() % 2 == 1) throw std::bad_alloc();
                return {"subscriber a"};
            },
            milliseconds(1), milliseconds(1));
        looks.WaitFor(4);
    }
    const std::size_t told = looks.Now().size() / 2;
    const std::string text = testing::internal::GetCapturedStderr();
    std::size_t lines = 0;
    for (std::size_t at = text.find("qarhost: "); at != std::string::npos; at = text.find("qarhost: ", at + 1)) ++lines;
    EXPECT_EQ(lines, told);
}

TEST(StopWatchTest, AStopThatEndsInTimeTellsNothing) {
    testing::internal::CaptureStderr();
    {
        const StopWatch watch([] { return Texts(); }, std::chrono::hours(1));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace qarhost
