#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "internal/PerformceTiming.h"
#include "mock/Platform.h"

namespace qar {
namespace {

using qarmock::Line;
using std::chrono::milliseconds;
using std::chrono::system_clock;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PerformceTimingTest : public ::testing::Test {
protected:
    qarmock::Platform platform;
};

TEST_F(PerformceTimingTest, DisabledTimingWritesNothingAlsoUnderExceptions) {
    { const CPerformceTiming timing("quiet", false); }
    try {
        const CPerformceTiming timing("quiet", false);
        throw std::runtime_error("out of the scope");
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(PerformceTimingTest, EnabledTimingWritesOnePerformanceLineAlsoUnderExceptions) {
    try {
        const CPerformceTiming timing("Multi temp table operator", true);
        throw std::runtime_error("out of the scope");
    } catch (const std::runtime_error&) {
    }
    const auto lines = platform.log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].module, "QarUtilsPerf");
    EXPECT_EQ(lines[0].format, "[%4d][%s]:%s %lld ms\n");
    EXPECT_EQ(lines[0].text.find("[  55][qar::CPerformceTiming::~CPerformceTiming]:Multi temp table operator "), 0u);
}

TEST_F(PerformceTimingTest, ScopeBelowAMillisecondLogsZero) {
    // A scope that the scheduler stretches says nothing: take the first that was short by the same clock.
    bool found = false;
    for (int i = 0; i < 100000 && !found; ++i) {
        platform.log.Clear();
        const auto before = system_clock::now();
        { const CPerformceTiming timing("short", true); }
        found = system_clock::now() - before < milliseconds(1);
    }
    ASSERT_TRUE(found);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(Line(2, "QarUtilsPerf", "[  55][qar::CPerformceTiming::~CPerformceTiming]:short 0 ms\n")));
}

TEST_F(PerformceTimingTest, ElapsedCountsWholeMillisecondsSinceConstruction) {
    const auto before = system_clock::now();
    const CPerformceTiming timing("", false);
    const auto after = system_clock::now();
    while (system_clock::now() - after < milliseconds(5)) {
    }
    const long long elapsed = timing.Elapsed();
    EXPECT_GE(elapsed, 5);
    EXPECT_LE(milliseconds(elapsed), system_clock::now() - before);
}

}  // namespace
}  // namespace qar
