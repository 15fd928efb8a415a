#include <gtest/gtest.h>

#include <iostream>

#include "integration/support/history_rows.h"
#include "kill/support/host_loop.h"

namespace qartest {
namespace {

TEST(KillLoopTest, AnsweredStatementsOutliveAKillAtAnyMomentAndTheRangesAreThoseOfTheRows) {
    const auto options = LoopOptions::FromEnvironment(SIGKILL, "QAR_KILLS");
    std::cout << "seed " << options.seed << std::endl;
    const LoopReport report = HostLoop(options).Run();
    std::cout << report.Summary() << std::endl;
    EXPECT_EQ("", report.failure);
    EXPECT_EQ(options.rounds, report.rounds);
    EXPECT_GT(2 * report.while_fetching, report.rounds);
    EXPECT_GE(report.while_sweeping, report.rounds / 20);
    EXPECT_GE(report.in_statement, report.rounds / 20);
    EXPECT_GE(report.sweeps, 2 * report.rounds);
    EXPECT_GE(report.events, 2 * report.rounds);
    EXPECT_GE(report.statements, 100 * report.rounds);
    EXPECT_GE(report.starts_compared, report.rounds);
    EXPECT_GE(report.ranges, report.rounds);
}

TEST(KillLoopTest, StatementThatIsAnsweredAndNeverExecutedIsFound) {
    LoopOptions options;
    options.fault = "lose";
    const LoopReport report = HostLoop(options).Run();
    EXPECT_NE(std::string::npos, report.failure.find("the tables do not hold what was answered:\n  missing in "))
        << report.failure;
}

TEST(KillLoopTest, StatementThatIsExecutedAfterItsAnswerIsFound) {
    LoopOptions options;
    options.fault = "late";
    const LoopReport report = HostLoop(options).Run();
    EXPECT_NE(std::string::npos, report.failure.find("the tables do not hold what was answered:\n")) << report.failure;
}

TEST(KillLoopTest, RowsThatChangeBetweenTwoRunsAreFoundInTheRanges) {
    LoopOptions options;
    options.meddle = [](const std::filesystem::path& database) {
        for (const char* file : {"alpha.db", "beta.db"}) {
            HistoryRows(database / file).Run("UPDATE camera_history SET camera_state = 2");
        }
    };
    const LoopReport report = HostLoop(options).Run();
    EXPECT_NE(std::string::npos, report.failure.find("after its registration are not those of its ")) << report.failure;
}

TEST(KillLoopTest, HostThatEndsByItselfIsFoundWithAllThatItWrote) {
    LoopOptions options;
    options.plugin = "ends_early.so";
    const LoopReport report = HostLoop(options).Run();
    std::string evidence = "the host ended by itself with code 66\nstandard error of the host:\n";
    for (int line = 1; line <= 100; ++line) evidence += "line " + std::to_string(line) + "\n";
    EXPECT_NE(std::string::npos, report.failure.find(evidence)) << report.failure;
}

}  // namespace
}  // namespace qartest
