#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "demo_run/host_process.h"
#include "tests/standalone/demo/demo_temporary_folder.h"

namespace demo {
namespace {

using namespace std::chrono_literals;

/// A shell script stands in for the host.
class DemoHostProcessTest : public testing::Test {
protected:
    std::unique_ptr<HostProcess> Start(const std::string& script) {
        const std::filesystem::path host = folder_.Path() / "host";
        std::ofstream(host) << "#!/bin/sh\n" << script;
        std::filesystem::permissions(host, std::filesystem::perms::owner_all);
        return std::make_unique<HostProcess>(host, "the site", "the plugins", folder_.Path() / "errors");
    }

    std::string Errors() const {
        std::ifstream file(folder_.Path() / "errors");
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    }

    const TemporaryFolder folder_;
    StopSignal stop_;
};

// The shell waits in "wait", so that a signal is taken at once.
const std::string kRunUntilTold = "trap 'kill $!; exit 0' TERM; echo 'host ready'; sleep 60 & wait\n";

TEST_F(DemoHostProcessTest, ReadyIsFoundBehindOtherLines) {
    const auto host = Start("echo first; " + kRunUntilTold);
    EXPECT_TRUE(host->WaitForLine("host ready", 10s, stop_));
    EXPECT_TRUE(host->Running());
    EXPECT_EQ(host->Stop(10s), "");
    EXPECT_FALSE(host->Running());
}

TEST_F(DemoHostProcessTest, ItGetsTheSiteAndThePlugins) {
    const auto host = Start("echo \"$*\" >&2; " + kRunUntilTold);
    ASSERT_TRUE(host->WaitForLine("host ready", 10s, stop_));
    EXPECT_EQ(Errors(), "run --site the site --plugins the plugins\n");
}

TEST_F(DemoHostProcessTest, AHostThatEndsEarlyIsNotWaitedFor) {
    const auto host = Start("echo no site >&2; exit 3\n");
    EXPECT_FALSE(host->WaitForLine("host ready", 60s, stop_));
    EXPECT_EQ(host->Stop(10s), "the host ended with exit code 3");
    EXPECT_EQ(Errors(), "no site\n");
}

TEST_F(DemoHostProcessTest, AHostThatCannotBeStartedEnds) {
    HostProcess host("/nothing/there", "site", "plugins", folder_.Path() / "errors");
    EXPECT_FALSE(host.WaitForLine("host ready", 60s, stop_));
    EXPECT_EQ(host.Stop(10s), "the host ended with exit code 127");
}

TEST_F(DemoHostProcessTest, AHostThatDoesNotStopIsKilled) {
    const auto host = Start("trap '' TERM; echo 'host ready'; while :; do sleep 1; done\n");
    ASSERT_TRUE(host->WaitForLine("host ready", 10s, stop_));
    EXPECT_EQ(host->Stop(100ms), "the host did not stop in time and was killed");
    EXPECT_FALSE(host->Running());
}

TEST_F(DemoHostProcessTest, AHostThatPrintsMuchNeverWaitsForAReader) {
    const auto host = Start("echo 'host ready'; i=0; while [ $i -lt 3000 ]; do i=$((i+1)); echo " +
                            std::string(100, 'x') + "; done; exit 0\n");
    ASSERT_TRUE(host->WaitForLine("host ready", 10s, stop_));
    const auto until = std::chrono::steady_clock::now() + 30s;
    while (host->Running() && std::chrono::steady_clock::now() < until) {
    }
    EXPECT_EQ(host->Stop(10s), "");
}

}  // namespace
}  // namespace demo
