#include <gtest/gtest.h>

#include <iostream>

#include "kill/support/host_loop.h"

namespace qartest {
namespace {

TEST(StopLoopTest, HostStopsCleanlyAtAnyMomentAndLeavesNothingButSoundFiles) {
    const auto options = LoopOptions::FromEnvironment(SIGTERM, "QAR_STOPS");
    std::cout << "seed " << options.seed << std::endl;
    const LoopReport report = HostLoop(options).Run();
    std::cout << report.Summary() << std::endl;
    EXPECT_EQ("", report.failure);
    EXPECT_EQ(options.rounds, report.rounds);
    EXPECT_GT(2 * report.while_sweeping, report.rounds);
    EXPECT_GT(2 * report.while_fetching, report.rounds);
    EXPECT_EQ(0, report.in_statement) << "a host that has stopped has answered";
    EXPECT_GE(report.statements, 100 * report.rounds);
    EXPECT_GE(report.starts_compared, report.rounds);
}

struct BadStop {
    const char* name;
    const char* plugin;
    const char* config;
    const char* evidence;
};

void PrintTo(const BadStop& stop, std::ostream* out) { *out << stop.evidence; }

class BadStopTest : public testing::TestWithParam<BadStop> {};

TEST_P(BadStopTest, IsFound) {
    LoopOptions options;
    options.signal = SIGTERM;
    options.plugin = GetParam().plugin;
    options.plugin_config = GetParam().config;
    const LoopReport report = HostLoop(options).Run();
    EXPECT_NE(std::string::npos, report.failure.find(GetParam().evidence)) << report.failure;
}

INSTANTIATE_TEST_SUITE_P(Ways, BadStopTest,
                         testing::Values(BadStop{"ExitCode", "stop_throws.so", "", "the host ended with code 1"},
                                         BadStop{"Hang", "stop_hangs.so", "", "the host still runs after 5"},
                                         BadStop{"ProcessLeft", "untidy_stop.so", "way = \"child\"",
                                                 "left processes behind:\n"},
                                         BadStop{"SanitizerReport", "untidy_stop.so", "way = \"report\"",
                                                 "a sanitizer has something to say"}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace qartest
