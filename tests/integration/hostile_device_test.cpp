#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>

#include "integration/support/host_process.h"
#include "integration/support/notice_file.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

/// A site with one good camera, device 1, beside the hostile one, device 2.
class HostileDeviceTest : public testing::Test {
protected:
    demo::SimulatedCamera& AddHostile(demo::CameraOptions options = {}) {
        demo::SimulatedCamera& camera = site_.AddCamera("east8", std::move(options));
        camera.ComeBack();
        return camera;
    }

    void Start() {
        site_.AddPlugin("recorder", "recorder.so", "cameras = [101, 102]\ndelete = true");
        site_.SetProbeTimeout(300);
        site_.Write();
        good_.ComeBack();
        host_.emplace(site_);
        ASSERT_TRUE(host_->WaitUntilReady()) << host_->Process().Err();
        ASSERT_TRUE(host_->WaitForOnline(1, true));
        ASSERT_TRUE(
            notices_.WaitFor([](const Notice& notice) { return notice.kind == "deleted" && notice.camera == 101; }));
    }

    // The good camera's outage is found all the same, and meanwhile the hostile one was asked many times.
    void ExpectTheRestGoesOn() {
        ASSERT_TRUE(host_->WaitForQuiet());
        const std::int64_t away_s = good_.GoAway() / 1000;
        ASSERT_TRUE(host_->WaitForOnline(1, false));
        ASSERT_TRUE(host_->WaitForCheck());
        ASSERT_TRUE(host_->WaitForQuiet());
        const std::int64_t back_s = good_.ComeBack() / 1000;
        EXPECT_TRUE(notices_.WaitFor([=](const Notice& notice) {
            return notice.kind == "told" && notice.camera == 101 && notice.Seconds() < 6 * 86400 &&
                   notice.begin_utc_s <= away_s + 300 && notice.end_utc_s >= back_s - TestSite::kProbeS;
        }));
    }

    // One line tells what is wrong with device 2, however often it is asked.
    void ExpectOneLine(const std::string& text) const {
        const auto lines = site_.LogLines("device 2 \"Camera 102\"");
        std::size_t count = 0;
        for (const auto& line : lines) count += line.find(text) != std::string::npos ? 1 : 0;
        EXPECT_EQ(1u, count) << text << " in " << testing::PrintToString(lines);
    }

    TestSite site_;
    demo::SimulatedCamera& good_ = site_.AddCamera();
    NoticeFile notices_{site_.DataDir() / "recorder.journal"};
    std::optional<HostProcess> host_;
};

TEST_F(HostileDeviceTest, RubbishIsOneErrorAndTheDeviceIsAway) {
    AddHostile().SetProbeBehaviour(demo::ProbeBehaviour::kRubbish);
    Start();
    ExpectTheRestGoesOn();
    ExpectOneLine("does not answer at rtsp://");
    EXPECT_FALSE(host_->State()->Device(2)->online);
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, SilenceAfterTheConnectIsOneErrorAndTheDeviceIsAway) {
    AddHostile().SetProbeBehaviour(demo::ProbeBehaviour::kSilent);
    Start();
    ExpectTheRestGoesOn();
    ExpectOneLine("does not answer at rtsp://");
    EXPECT_FALSE(host_->State()->Device(2)->online);
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, ByteASecondIsOneErrorAndTheDeviceIsAway) {
    AddHostile().SetProbeBehaviour(demo::ProbeBehaviour::kDrip);
    Start();
    ExpectTheRestGoesOn();
    ExpectOneLine("does not answer at rtsp://");
    EXPECT_FALSE(host_->State()->Device(2)->online);
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, ClosedPortIsOneErrorAndTheDeviceIsAway) {
    AddHostile().GoAway();
    Start();
    ExpectTheRestGoesOn();
    ExpectOneLine("does not answer at rtsp://");
    EXPECT_FALSE(host_->State()->Device(2)->online);
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, JumpOfTheClockIsOneLineAndTheNewTimeCounts) {
    demo::SimulatedCamera& camera = AddHostile();
    Start();
    ASSERT_TRUE(host_->WaitForOnline(2, true));
    camera.JumpClock(86400);
    ASSERT_TRUE(Eventually([&] { return !site_.LogLines("its clock jumped").empty(); }));
    ExpectTheRestGoesOn();
    ExpectOneLine("its clock jumped by ");
    // an outage from now on is told on the new time
    ASSERT_TRUE(host_->WaitForQuiet());
    camera.GoAway();
    ASSERT_TRUE(host_->WaitForOnline(2, false));
    const std::int64_t back_s = camera.ComeBack() / 1000 + 86400;
    EXPECT_TRUE(notices_.WaitFor([=](const Notice& notice) {
        return notice.kind == "told" && notice.camera == 102 && notice.end_utc_s >= back_s - TestSite::kProbeS;
    }));
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, DateOf1970IsNotBelieved) {
    AddHostile().SetDateBehaviour(demo::DateBehaviour::kYear1970);
    Start();
    ASSERT_TRUE(host_->WaitForOnline(2, true));
    ExpectTheRestGoesOn();
    ExpectOneLine("is not believed: it lies before the year 2000");
    EXPECT_FALSE(host_->State()->Device(2)->clock_known);
    const auto old = notices_.Find([](const Notice& notice) { return notice.begin_utc_s < 946684800; });
    EXPECT_TRUE(old.empty());
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, DeviceWithoutADateRunsOnTheHostsClock) {
    AddHostile().SetDateBehaviour(demo::DateBehaviour::kNone);
    Start();
    ASSERT_TRUE(host_->WaitForOnline(2, true));
    EXPECT_TRUE(host_->State()->Device(2)->clock_known);
    EXPECT_TRUE(notices_.WaitFor([](const Notice& notice) { return notice.kind == "told" && notice.camera == 102; }));
    ExpectTheRestGoesOn();
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(HostileDeviceTest, DeviceOnIpv6IsADeviceLikeAnyOther) {
    demo::CameraOptions options;
    options.address = "::1";
    try {
        AddHostile(options);
    } catch (const boost::system::system_error& error) {
        GTEST_SKIP() << "no IPv6 here: " << error.what();
    }
    Start();
    ASSERT_TRUE(host_->WaitForOnline(2, true));
    EXPECT_TRUE(notices_.WaitFor([](const Notice& notice) { return notice.kind == "told" && notice.camera == 102; }));
    EXPECT_EQ(0, host_->Stop());
}

}  // namespace
}  // namespace qartest
