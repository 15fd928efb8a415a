#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"
#include "integration/support/web_client.h"

namespace qartest {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* kSecret = "abcdefghijklmnopqrstuvwxyz012345";  // as a session's id looks

/// A host with a plug-in in which a thread hangs until it is let go on.
class HostStopTest : public testing::Test {
protected:
    ~HostStopTest() override { Release(); }

    void Begin() {
        site_.AddPlugin("front_probe", "front_probe.so");
        site_.AddFront();
    }

    void Run() {
        site_.Write();
        host_ = std::make_unique<HostProcess>(site_);
        url_ = FrontUrl(*host_);
        ASSERT_NE("", url_) << host_->Process().Err();
    }

    /// Sends a request whose handler hangs, and waits until it does.
    void HangInARequest() {
        asking_ = std::make_unique<ChildProcess>(
            Launch{{"/usr/bin/curl", "-sS", url_ + "/probe/hangs/7?SID=" + kSecret}, {}, 0});
        WaitUntilItHangs();
    }

    void WaitUntilItHangs() {
        const std::string fifo = (site_.DataDir() / "front_probe.fifo").string();
        // nobody reads before
        ASSERT_TRUE(Eventually([&] { return (fifo_ = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; }));
    }

    void Release() {
        if (fifo_ >= 0) close(fifo_);
        fifo_ = -1;
    }

    /// Asks the host to stop. @return what it tells that it waits for
    std::string StopUntilItTells() {
        host_->Process().Signal(SIGTERM);
        EXPECT_TRUE(Eventually([&] { return host_->Process().Err().find("at once\n") != std::string::npos; }));
        EXPECT_TRUE(host_->Process().Running());
        return host_->Process().Err();
    }

    TestSite site_{1};
    std::unique_ptr<HostProcess> host_;
    std::unique_ptr<ChildProcess> asking_;
    std::string url_;
    int fifo_ = -1;
};

TEST_F(HostStopTest, ARequestThatHangsIsNamedAndTheStopEndsWithIt) {
    Begin();
    Run();
    HangInARequest();
    EXPECT_THAT(StopUntilItTells(),
                MatchesRegex("qarhost: the stop waits for (the front|tasks of thread pools): plug-in front_probe at a "
                             "request for /probe/hangs/7\\. Another SIGTERM ends the process at once\n"));
    EXPECT_EQ(1U, site_.LogLines("E [qarhost] the stop waits for ").size());
    Release();
    EXPECT_EQ(0, host_->Process().WaitForEnd());
    EXPECT_THAT(host_->Process().Out(), HasSubstr("\nqarhost stopped\n"));
    EXPECT_EQ(0U, site_.LogLines(kSecret).size());
}

TEST_F(HostStopTest, ASubscriberThatHangsIsNamedAndWhatWaitsForItIsDroppedInTheEnd) {
    Begin();
    Run();
    ASSERT_EQ("{\"pushed\":true}", Curl({"-X", "POST", url_ + "/probe/tell?times=3"}).body);
    WaitUntilItHangs();
    EXPECT_EQ(
        "qarhost: the stop waits for the bus: subscriber front_probe (2 messages wait). Another SIGTERM ends the "
        "process at once\n",
        StopUntilItTells());
    Release();
    EXPECT_EQ(0, host_->Process().WaitForEnd());
    EXPECT_THAT(host_->Process().Out(), HasSubstr("\nqarhost stopped\n"));
    EXPECT_EQ(
        1U, site_.LogLines("W [QARPlatform] the bus stops: 2 messages for subscriber front_probe are dropped").size());
    EXPECT_EQ("told, passed on: 0\n", ReadText(site_.DataDir() / "front_probe.told"))
        << "a bus that has stopped takes no message that it would not deliver";
}

TEST_F(HostStopTest, MessagesThatWaitAtTheStopAreDeliveredWhileThereIsTime) {
    Begin();
    Run();
    ASSERT_EQ("{\"pushed\":true}", Curl({"-X", "POST", url_ + "/probe/tell?times=3"}).body);
    WaitUntilItHangs();
    host_->Process().Signal(SIGTERM);
    ASSERT_TRUE(Eventually([&] { return !site_.LogLines("plug-in \"front_probe\" stopped").empty(); }));
    Release();
    EXPECT_EQ(0, host_->Process().WaitForEnd());
    EXPECT_EQ(0U, site_.LogLines("the bus stops").size());
    const std::string told = ReadText(site_.DataDir() / "front_probe.told");
    const auto count = [&](const std::string& line) {
        std::size_t lines = 0;
        for (std::size_t at = told.find(line); at != std::string::npos; at = told.find(line, at + 1)) ++lines;
        return lines;
    };
    EXPECT_EQ(3U, count("told, passed on: ")) << told;
    EXPECT_EQ(count("told, passed on: 1\n"), count("reached the other\n")) << told;
}

TEST_F(HostStopTest, ASecondSignalEndsAHostInWhichARequestHangs) {
    Begin();
    Run();
    HangInARequest();
    StopUntilItTells();
    host_->Process().Signal(SIGTERM);
    EXPECT_EQ(1, host_->Process().WaitForEnd());
    EXPECT_THAT(host_->Process().Err(), HasSubstr("qarhost: second signal, ending at once\n"));
}

TEST_F(HostStopTest, APluginWhoseStopHangsIsNamedAndASecondSignalEndsTheHost) {
    Begin();
    site_.AddPlugin("stop_hangs", "stop_hangs.so");
    Run();
    ASSERT_EQ("{\"pushed\":true}", Curl({"-X", "POST", url_ + "/probe/tell?times=1"}).body);
    WaitUntilItHangs();
    EXPECT_THAT(StopUntilItTells(),
                HasSubstr("qarhost: the stop waits for the plug-ins: subscriber front_probe; the stop of plug-in "
                          "stop_hangs. Another SIGTERM ends the process at once\n"));
    host_->Process().Signal(SIGTERM);
    EXPECT_EQ(1, host_->Process().WaitForEnd());
    EXPECT_THAT(host_->Process().Err(), HasSubstr("qarhost: second signal, ending at once\n"));
}

}  // namespace
}  // namespace qartest
