#include <gtest/gtest.h>

#include "integration/support/history_rows.h"
#include "integration/support/host_process.h"
#include "integration/support/notice_file.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

class DatabaseFaultTest : public testing::Test {
protected:
    DatabaseFaultTest() {
        site_.AddPlugin("recorder", "recorder.so", "cameras = [101]\ndelete = true");
        site_.Write();
        options_.environment = {{"LD_PRELOAD", TEST_PLUGIN_DIR "/disk_faults.so"},
                                {"DISK_FAULT_DIR", site_.DatabaseDir().string()},
                                {"DISK_FULL_SWITCH", full_.string()},
                                {"DISK_READONLY_SWITCH", readonly_.string()}};
    }

    void Settle(HostProcess& host) {
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        ASSERT_TRUE(notices_.WaitFor([](const Notice& notice) { return notice.kind == "deleted"; }));
        ASSERT_TRUE(host.WaitForQuiet());
    }

    // The moment at which the camera came back.
    std::int64_t CutOff(const HostProcess& host) {
        camera_.GoAway();
        EXPECT_TRUE(host.WaitForOnline(1, false));
        return camera_.ComeBack() / 1000;
    }

    bool WaitUntilTold(std::int64_t end_s) const {
        return notices_.WaitFor([=](const Notice& notice) {
            return notice.kind == "told" && notice.end_utc_s >= end_s - TestSite::kProbeS &&
                   notice.Seconds() < 6 * 86400;
        });
    }

    void TurnOn(const std::filesystem::path& fault) { site_.Folder().Write(fault.filename().string(), ""); }
    void TurnOff(const std::filesystem::path& fault) { std::filesystem::remove(fault); }

    TestSite site_;
    demo::SimulatedCamera& camera_ = site_.AddCamera();
    NoticeFile notices_{site_.DataDir() / "recorder.journal"};
    const std::filesystem::path file_ = site_.DatabaseDir() / "recorder.db";
    const std::filesystem::path full_ = site_.Folder().Path() / "full";
    const std::filesystem::path readonly_ = site_.Folder().Path() / "readonly";
    HostOptions options_;
};

TEST_F(DatabaseFaultTest, LockOfAnotherIsWaitedOutAndNothingIsLost) {
    camera_.ComeBack();
    HostProcess host(site_);
    Settle(host);
    HistoryRows other(file_);
    other.Run("BEGIN IMMEDIATE");
    const auto rows = other.All();
    const std::int64_t back_s = CutOff(host);
    ASSERT_TRUE(host.WaitForOnline(1, true));
    const std::int64_t online_ms = site_.Clock().NowMs();
    ASSERT_TRUE(Eventually([&] { return site_.Clock().NowMs() > online_ms + 600'000; }));
    EXPECT_EQ(rows, other.All());
    other.Run("COMMIT");
    EXPECT_TRUE(Eventually([&] { return other.LatestWallS() >= back_s - TestSite::kProbeS + TestSite::kEast8S; }));
    EXPECT_TRUE(WaitUntilTold(back_s));
    EXPECT_TRUE(site_.LogLines("locked").empty()) << site_.LogLines("locked").front();
    EXPECT_EQ(0, host.Stop());
}

TEST_F(DatabaseFaultTest, FullDiskCostsStatementsAndTheRestGoesOn) {
    camera_.ComeBack();
    HostProcess host(site_, options_);
    Settle(host);
    TurnOn(full_);
    const std::int64_t lost_s = CutOff(host);
    EXPECT_TRUE(Eventually([&] { return !site_.LogLines("full").empty(); }));
    EXPECT_TRUE(host.State()) << "the host answers all the same";
    TurnOff(full_);
    EXPECT_TRUE(WaitUntilTold(lost_s)) << "memory knows what the table could not take";

    ASSERT_TRUE(host.WaitForQuiet());
    const std::size_t failures = site_.LogLines("full").size();
    const std::int64_t back_s = CutOff(host);
    EXPECT_TRUE(
        Eventually([&] { return HistoryRows(file_).LatestWallS() >= back_s - TestSite::kProbeS + TestSite::kEast8S; }));
    EXPECT_TRUE(WaitUntilTold(back_s));
    EXPECT_EQ(failures, site_.LogLines("full").size());
    EXPECT_EQ(0, host.Stop());
}

TEST_F(DatabaseFaultTest, ReadOnlyDatabaseKeepsThePluginFromStartingAndSaysSo) {
    TurnOn(readonly_);
    HostProcess host(site_, options_);
    EXPECT_EQ(4, host.Process().WaitForEnd());
    EXPECT_NE(std::string::npos, host.Process().Err().find("plug-in \"recorder\": start gave 1: cannot"))
        << host.Process().Err();
    const auto reasons = site_.LogLines("[database] plug-in recorder");
    ASSERT_EQ(1u, reasons.size());
    EXPECT_NE(std::string::npos, reasons[0].find(site_.DatabaseDir().string())) << reasons[0];
}

TEST_F(DatabaseFaultTest, DatabaseThatIsWritableAgainIsUsedByTheNextHost) {
    TurnOn(readonly_);
    EXPECT_EQ(4, HostProcess(site_, options_).Process().WaitForEnd());
    TurnOff(readonly_);
    HostProcess host(site_, options_);
    EXPECT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    EXPECT_EQ(0, host.Stop());
}

}  // namespace
}  // namespace qartest
