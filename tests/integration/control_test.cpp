#include <gtest/gtest.h>

#include "integration/support/history_rows.h"
#include "integration/support/host_process.h"
#include "integration/support/notice_file.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

constexpr std::int64_t kWeekS = 7 * 86400;

class ControlTest : public testing::Test {
protected:
    ControlTest() {
        camera_.ComeBack();
        site_.AddPlugin("recorder", "recorder.so", "cameras = [101]\ndelete = true");
        site_.Write();
    }

    void Settle(HostProcess& host) {
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        ASSERT_TRUE(notices_.WaitFor([](const Notice& notice) { return notice.kind == "deleted"; }));
    }

    TestSite site_;
    demo::SimulatedCamera& camera_ = site_.AddCamera();
    NoticeFile notices_{site_.DataDir() / "recorder.journal"};
};

TEST_F(ControlTest, GuardThatIsOffAndOnAgainIsAGap) {
    HostProcess host(site_);
    Settle(host);
    ASSERT_TRUE(host.WaitForQuiet());
    const std::int64_t off_s = site_.Clock().NowMs() / 1000;
    const Ended off = host.Command("guard", {"1", "off"});
    EXPECT_EQ(0, off.exit_code) << off.err;
    EXPECT_EQ("device 1: guard off\n", off.out);
    ASSERT_TRUE(host.WaitForState([](const HostState& state) { return !state.Device(1)->guard; }));
    EXPECT_TRUE(host.State()->Device(1)->online) << "it is there all the same";
    ASSERT_TRUE(host.WaitForCheck());
    ASSERT_TRUE(host.WaitForQuiet());
    const std::int64_t on_s = site_.Clock().NowMs() / 1000;
    EXPECT_EQ(0, host.Command("guard", {"1", "on"}).exit_code);
    EXPECT_TRUE(notices_.WaitFor([&](const Notice& notice) {
        return notice.kind == "told" && notice.Seconds() < kWeekS && notice.begin_utc_s <= off_s + 60 &&
               notice.end_utc_s >= on_s - 60;
    }));
    EXPECT_EQ(0, host.Stop());
}

TEST_F(ControlTest, GuardOutlivesARestart) {
    {
        HostProcess host(site_);
        Settle(host);
        EXPECT_EQ(0, host.Command("guard", {"1", "off"}).exit_code);
        EXPECT_EQ(0, host.Stop());
    }
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(host.State());
    EXPECT_FALSE(host.State()->Device(1)->guard);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(ControlTest, GuardOfAnUnknownDeviceIsRefused) {
    HostProcess host(site_);
    Settle(host);
    const Ended ended = host.Command("guard", {"77", "on"});
    EXPECT_EQ(1, ended.exit_code);
    EXPECT_NE(std::string::npos, ended.err.find("77")) << ended.err;
    EXPECT_EQ(0, host.Stop());
}

TEST_F(ControlTest, DatabaseThatIsPointedElsewhereGetsTheRowsFromThenOn) {
    HostProcess host(site_);
    Settle(host);
    const auto old_file = site_.DatabaseDir() / "recorder.db";
    const auto new_dir = site_.Folder().Path() / "elsewhere";
    const auto new_file = new_dir / "recorder.db";
    std::filesystem::create_directories(new_dir);
    HistoryRows::CopyTable(old_file, new_file);

    const Ended ended = host.Command("database", {"--dir", new_dir.string()});
    EXPECT_EQ(0, ended.exit_code) << ended.err;
    EXPECT_EQ("database " + new_dir.string() + "\n", ended.out);
    ASSERT_TRUE(host.State());
    EXPECT_EQ(new_dir.string(), host.State()->database);
    ASSERT_TRUE(host.WaitForQuiet());
    camera_.GoAway();
    ASSERT_TRUE(host.WaitForOnline(1, false));
    const std::int64_t back_s = camera_.ComeBack() / 1000;
    EXPECT_TRUE(Eventually(
        [&] { return HistoryRows(new_file).LatestWallS() >= back_s - TestSite::kProbeS + TestSite::kEast8S; }));
    const auto old_rows = HistoryRows(old_file).All();
    ASSERT_TRUE(host.WaitForCheck());
    EXPECT_EQ(old_rows, HistoryRows(old_file).All());
    EXPECT_EQ(0, host.Stop());

    HostProcess again(site_);
    ASSERT_TRUE(again.WaitUntilReady()) << again.Process().Err();
    EXPECT_EQ(new_dir.string(), again.State()->database) << "after a restart it stays where it was pointed to";
    EXPECT_EQ(0, again.Stop());
}

TEST_F(ControlTest, DatabaseFolderThatCannotBeMadeIsRefusedAndTheOldOneStays) {
    HostProcess host(site_);
    Settle(host);
    const std::string file = site_.Folder().Write("file", "");
    const Ended ended = host.Command("database", {"--dir", file + "/below"});
    EXPECT_EQ(1, ended.exit_code);
    EXPECT_NE(std::string::npos, ended.err.find(file + "/below")) << ended.err;
    ASSERT_TRUE(host.State());
    EXPECT_EQ(site_.DatabaseDir().string(), host.State()->database);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(ControlTest, DataFolderAsDatabaseFolderIsRefusedAndTheOldOneStays) {
    HostProcess host(site_);
    Settle(host);
    const Ended ended = host.Command("database", {"--dir", site_.DataDir().string() + "/."});
    EXPECT_EQ(1, ended.exit_code);
    EXPECT_EQ("qarhost: database.dir must not be site.data_dir, where the host's own files lie: " +
                  site_.DataDir().string() + "\n",
              ended.err);
    ASSERT_TRUE(host.State());
    EXPECT_EQ(site_.DatabaseDir().string(), host.State()->database);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(ControlTest, StatusShowsTablesToPeople) {
    HostProcess host(site_);
    Settle(host);
    ASSERT_TRUE(host.WaitForOnline(1, true));
    const Ended ended = host.Command("status");
    EXPECT_EQ(0, ended.exit_code) << ended.err;
    for (const char* text : {"site test, pid ", "DEVICE  ONLINE  GUARD  CLOCK\n1       yes     on     known\n",
                             "recorder  started\n", "HistoryStateMgr.timer  60000 ms  "}) {
        EXPECT_NE(std::string::npos, ended.out.find(text)) << ended.out;
    }
    EXPECT_EQ(0, host.Stop());
}

TEST_F(ControlTest, CommandsWithoutAHostSayThatNoneRuns) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"status"}, {"guard", "1", "on"}, {"database", "--dir", "/tmp"}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--site", site_.SiteFile().string()});
        const Ended ended = RunToEnd(HostCommand(all));
        EXPECT_EQ(1, ended.exit_code);
        EXPECT_EQ("qarhost: no host runs on " + site_.DataDir().string() + "\n", ended.err);
    }
}

}  // namespace
}  // namespace qartest
