#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

class HostLifeTest : public testing::Test {
protected:
    std::string Life() const { return ReadText(site_.DataDir() / "life.txt"); }

    TestSite site_;
};

TEST_F(HostLifeTest, PluginsStartInOrderBeforeTheFirstContactAndStopInReverse) {
    const auto second = site_.Folder().Path() / "second.so";
    std::filesystem::copy_file(std::filesystem::path(TEST_PLUGIN_DIR) / "lifecycle.so", second);
    demo::SimulatedCamera& camera = site_.AddCamera();
    site_.AddPlugin("first", "lifecycle.so");
    site_.AddPlugin("second", second.string());
    site_.Write();
    camera.ComeBack();
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    const auto has = [&](const char* line) { return Life().find(line) != std::string::npos; };
    ASSERT_TRUE(Eventually([&] { return has("first contact\n") && has("second contact\n"); }));
    EXPECT_EQ(0, host.Stop());
    EXPECT_EQ(0u, Life().find("first start online=0\nsecond start online=0\n")) << Life();
    const std::string stops = "second stop database=works\nfirst stop database=works\n";
    ASSERT_GE(Life().size(), stops.size());
    EXPECT_EQ(stops, Life().substr(Life().size() - stops.size()));
}

class StopSignalsTest : public testing::TestWithParam<int> {};

TEST_P(StopSignalsTest, StopTheHostCleanly) {
    TestSite site;
    demo::SimulatedCamera& camera = site.AddCamera();
    site.AddPlugin("recorder", "recorder.so", "cameras = [101]");
    site.Write();
    camera.ComeBack();
    HostProcess host(site);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(host.WaitForOnline(1, true));
    const pid_t pid = host.Process().Pid();
    host.Process().Signal(GetParam());
    EXPECT_EQ(0, host.Process().WaitForEnd());
    EXPECT_EQ("qarhost ready pid=" + std::to_string(pid) + " site=test\nqarhost stopped\n", host.Process().Out());
    EXPECT_EQ("", host.Process().Err());
    EXPECT_FALSE(std::filesystem::exists(site.DataDir() / "qarhost.sock"));
    ASSERT_FALSE(site.LogLines("").empty());
    EXPECT_NE(std::string::npos, site.LogLines("").back().find("[qarhost] stopped"));
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignalsTest, testing::Values(SIGTERM, SIGINT),
                         [](const auto& info) { return info.param == SIGTERM ? "SIGTERM" : "SIGINT"; });

TEST_F(HostLifeTest, HostMayOpenAsManyFilesAsTheHardLimitAllows) {
    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
    ASSERT_GT(limit.rlim_max, 256u);
    limit.rlim_cur = 256;
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    site_.Write();
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    rlimit of_host{};
    ASSERT_EQ(0, prlimit(host.Process().Pid(), RLIMIT_NOFILE, nullptr, &of_host));
    EXPECT_EQ(limit.rlim_max, of_host.rlim_cur);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(HostLifeTest, SecondSignalEndsAHostWhoseStopHangs) {
    site_.AddPlugin("stop_hangs", "stop_hangs.so");
    site_.Write();
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    host.Process().Signal(SIGTERM);
    ASSERT_TRUE(Eventually([&] { return host.Process().Err().find("stop hangs") != std::string::npos; }));
    // one that follows the first too closely counts as the same
    EXPECT_TRUE(Eventually([&] {
        host.Process().Signal(SIGTERM);
        return !host.Process().Running();
    }));
    EXPECT_EQ(1, host.Process().WaitForEnd());
    EXPECT_NE(std::string::npos, host.Process().Err().find("second signal"));
}

TEST_F(HostLifeTest, SecondHostOnTheSameDataIsRefusedAndTheFirstGoesOn) {
    site_.Write();
    HostProcess first(site_);
    ASSERT_TRUE(first.WaitUntilReady()) << first.Process().Err();
    HostProcess second(site_);
    EXPECT_EQ(1, second.Process().WaitForEnd());
    EXPECT_EQ("qarhost: another host (pid " + std::to_string(first.Process().Pid()) + ") runs on " +
                  site_.DataDir().string() + "\n",
              second.Process().Err());
    ASSERT_TRUE(first.State());
    EXPECT_EQ(first.Process().Pid(), first.State()->pid);
    EXPECT_EQ(0, first.Stop());
}

TEST_F(HostLifeTest, SocketOfAKilledHostIsReplaced) {
    site_.Write();
    {
        HostProcess killed(site_);
        ASSERT_TRUE(killed.WaitUntilReady()) << killed.Process().Err();
        killed.Kill();
    }
    ASSERT_TRUE(std::filesystem::exists(site_.DataDir() / "qarhost.sock"));
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(host.State());
    EXPECT_EQ(host.Process().Pid(), host.State()->pid);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(HostLifeTest, ControlSocketIsTheOwnersOnly) {
    site_.Write();
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    struct stat status {};
    ASSERT_EQ(0, stat((site_.DataDir() / "qarhost.sock").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777u);
}

TEST_F(HostLifeTest, ClockGoesOnThroughARestart) {
    site_.Write();
    {
        HostProcess host(site_);
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        EXPECT_EQ(0, host.Stop());
    }
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    const std::int64_t before = site_.Clock().NowMs();
    const Ended ended = host.Command("status", {"--json"});
    const std::int64_t after = site_.Clock().NowMs();
    const std::size_t at = ended.out.find("\"now_ms\":");
    ASSERT_NE(std::string::npos, at) << ended.out;
    const std::int64_t now = std::stoll(ended.out.substr(at + 9));
    EXPECT_LE(before - TestSite::kScale, now);
    EXPECT_LE(now, after + TestSite::kScale);
}

TEST_F(HostLifeTest, StoreCountsAfterTheFirstRun) {
    site_.AddDevice("tcp://127.0.0.1:9/");
    site_.Write();
    {
        HostProcess host(site_);
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        EXPECT_EQ(0, host.Stop());
    }
    site_.AddDevice("tcp://127.0.0.1:9/");
    site_.Write();
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(host.State());
    EXPECT_EQ(1u, host.State()->devices.size());
    EXPECT_EQ(0, host.Stop());
}

TEST_F(HostLifeTest, StoreThatIsNoDatabaseEndsTheHost) {
    site_.Write();
    site_.Folder().Write("data/site.db", std::string(8192, 'x'));
    HostProcess host(site_);
    EXPECT_EQ(5, host.Process().WaitForEnd());
    EXPECT_NE(std::string::npos, host.Process().Err().find((site_.DataDir() / "site.db").string()))
        << host.Process().Err();
}

TEST_F(HostLifeTest, DataFolderThatCannotBeMadeEndsTheHost) {
    site_.Write();
    site_.Folder().Write("data", "a file stands in its place");
    HostProcess host(site_);
    EXPECT_EQ(1, host.Process().WaitForEnd());
    EXPECT_NE(std::string::npos, host.Process().Err().find("cannot make the data folder " + site_.DataDir().string()))
        << host.Process().Err();
}

}  // namespace
}  // namespace qartest
