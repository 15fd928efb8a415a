#include <gtest/gtest.h>

#include "demo_run/host_status.h"
#include "tests/standalone/demo/demo_temporary_folder.h"

namespace demo {
namespace {

TEST(DemoHostStatusTest, TheHistoryTimerIsFoundByItsName) {
    const auto status = ParseHostStatus(
        R"({"ok":true,"pid":7,"clock":{"scale":600,"now_ms":1793484123456},"timers":[)"
        R"({"name":"other","interval_ms":1000,"started_ms":1,"ticks":2},)"
        R"({"name":"HistoryStateMgr.timer","interval_ms":60000,"started_ms":1793484100000,"ticks":3}],"devices":[]})");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->now_ms, 1793484123456);
    ASSERT_NE(status->HistoryTimer(), nullptr);
    EXPECT_EQ(status->HistoryTimer()->interval_ms, 60000);
    EXPECT_EQ(status->HistoryTimer()->started_ms, 1793484100000);
    EXPECT_EQ(status->HistoryTimer()->ticks, 3);
}

TEST(DemoHostStatusTest, BeforeThePluginStartsItThereIsNoTimer) {
    const auto status = ParseHostStatus(R"({"ok":true,"timers":[]})");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->HistoryTimer(), nullptr);
}

TEST(DemoHostStatusTest, AnAnswerOfFailureOrNoJsonGivesNothing) {
    EXPECT_FALSE(ParseHostStatus(R"({"ok":false,"error":"busy"})"));
    EXPECT_FALSE(ParseHostStatus("[]"));
    EXPECT_FALSE(ParseHostStatus("{\"ok\":true"));
    EXPECT_FALSE(ParseHostStatus(""));
}

TEST(DemoHostStatusTest, AHostThatIsNotThereGivesNothing) {
    const TemporaryFolder folder;
    EXPECT_FALSE(AskHostStatus(folder.Path() / "none.sock", std::chrono::milliseconds(100)));
    EXPECT_FALSE(AskHostStatus("/" + std::string(200, 'x'), std::chrono::milliseconds(100))) << "too long for a socket";
}

}  // namespace
}  // namespace demo
