#include <gtest/gtest.h>

#include "integration/support/host_process.h"
#include "integration/support/notice_file.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

constexpr std::int64_t kWeekS = 7 * 86400;
constexpr std::int64_t kSlackS = 300;  // two probe periods, and how late a busy machine may be

// One recorder that deletes what it is told, so that each gap stands alone.
class OutageTest : public testing::Test {
protected:
    void Prepare(const std::string& config = "delete = true") {
        site_.AddPlugin("recorder", "recorder.so", "cameras = [101]\n" + config);
        site_.Write();
    }

    static bool IsFirstWeek(const Notice& notice) { return notice.kind == "told" && notice.Seconds() >= kWeekS; }

    // Starts the host and lets the recorder deal with the week before the first contact.
    void StartAndSettle(HostProcess& host) {
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        ASSERT_TRUE(host.WaitForOnline(1, true));
        ASSERT_TRUE(notices_.WaitFor(
            [](const Notice& notice) { return notice.kind == "deleted" && notice.Seconds() >= kWeekS; }));
    }

    // An outage, on the camera's own clock.
    struct Cut {
        std::int64_t begin_s;
        std::int64_t end_s;
    };

    // Lets a camera go and come back once a check has missed it.
    static Cut CutOff(const HostProcess& host, demo::SimulatedCamera& camera) {
        EXPECT_TRUE(host.WaitForCheck());
        EXPECT_TRUE(host.WaitForQuiet());
        const std::int64_t begin_s = camera.GoAway() / 1000 + camera.SkewS();
        EXPECT_TRUE(host.WaitForOnline(1, false));
        EXPECT_TRUE(host.WaitForCheck());
        EXPECT_TRUE(host.WaitForQuiet());
        return {begin_s, camera.ComeBack() / 1000 + camera.SkewS()};
    }

    // Lets a camera go and come back while no host runs.
    Cut CutOffWithoutHost(demo::SimulatedCamera& camera) const {
        const std::int64_t begin_s = camera.GoAway() / 1000;
        EXPECT_TRUE(Eventually([&] { return site_.Clock().NowMs() / 1000 >= begin_s + 1200; }));
        return {begin_s, camera.ComeBack() / 1000};
    }

    static bool IsToldFor(const Notice& notice, const Cut& cut) {
        return notice.kind == "told" && notice.camera == 101 && notice.Seconds() < kWeekS &&
               notice.begin_utc_s <= cut.begin_s + kSlackS && notice.end_utc_s >= cut.end_s - TestSite::kProbeS;
    }

    // Those that a restarted host told or deleted, from the `first`th line of the journal on.
    void ExpectNoNewCamera(std::size_t first) const {
        const auto all = notices_.All();
        for (std::size_t i = first; i < all.size(); ++i) {
            EXPECT_LT(all[i].Seconds(), kWeekS) << "after a restart no camera is new: " << all[i].begin;
        }
    }

    TestSite site_;
    NoticeFile notices_{site_.DataDir() / "recorder.journal"};
};

TEST_F(OutageTest, FirstContactIsToldAsTheWeekBeforeIt) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare("delete = false");
    const std::int64_t back_s = camera.ComeBack() / 1000;
    HostProcess host(site_);
    Notice told;
    ASSERT_TRUE(notices_.WaitFor(&OutageTest::IsFirstWeek, &told)) << host.Process().Err();
    EXPECT_EQ(101, told.camera);
    EXPECT_EQ(1, told.busi);
    EXPECT_EQ(kWeekS, told.Seconds());
    EXPECT_GE(told.end_utc_s, back_s - TestSite::kProbeS);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(OutageTest, CutIsToldOnTheDevicesOwnClockAndGoneFromTheRangesOnceDeleted) {
    demo::CameraOptions options;
    options.skew_s = 3600;
    demo::SimulatedCamera& camera = site_.AddCamera("west530", options);
    Prepare();
    camera.ComeBack();
    HostProcess host(site_);
    StartAndSettle(host);

    const Cut cut = CutOff(host, camera);

    Notice told;
    ASSERT_TRUE(notices_.WaitFor([&](const Notice& notice) { return IsToldFor(notice, cut); }, &told));
    EXPECT_EQ(TestSite::kWest530S, told.end_offset_s);
    EXPECT_LE(told.end_utc_s, cut.end_s + 1800) << "a moment of another clock";
    Notice deleted;
    ASSERT_TRUE(notices_.WaitFor(
        [&](const Notice& notice) { return notice.kind == "deleted" && notice.end == told.end; }, &deleted));
    EXPECT_EQ("left=0", deleted.rest);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(OutageTest, RangeThatIsNotDeletedIsToldAgainEachHour) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare("delete = false");
    camera.ComeBack();
    HostProcess host(site_);
    ASSERT_TRUE(notices_.WaitFor(&OutageTest::IsFirstWeek)) << host.Process().Err();
    const Cut cut = CutOff(host, camera);

    Notice first;
    ASSERT_TRUE(notices_.WaitFor([&](const Notice& notice) { return IsToldFor(notice, cut); }, &first));
    EXPECT_TRUE(Eventually([&] {
        return notices_
                   .Find([&](const Notice& notice) { return notice.begin == first.begin && notice.end == first.end; })
                   .size() >= 3;
    }));
    EXPECT_EQ(0, host.Stop());
}

TEST_F(OutageTest, OutageWithinTheHostsDowntimeIsToldAfterTheRestart) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare();
    camera.ComeBack();
    {
        HostProcess host(site_);
        StartAndSettle(host);
        ASSERT_TRUE(host.WaitForCheck());
        ASSERT_TRUE(host.WaitForQuiet());
        EXPECT_EQ(0, host.Stop()) << host.Process().Err();
    }
    const std::size_t known = notices_.All().size();
    const Cut cut = CutOffWithoutHost(camera);

    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(notices_.WaitFor([&](const Notice& notice) { return IsToldFor(notice, cut); }));
    ExpectNoNewCamera(known);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(OutageTest, HostThatWasKilledFindsTheOutageAfterTheRestart) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    Prepare();
    camera.ComeBack();
    {
        HostProcess host(site_);
        StartAndSettle(host);
        ASSERT_TRUE(host.WaitForCheck());
        ASSERT_TRUE(host.WaitForQuiet());
        host.Kill();
    }
    ASSERT_TRUE(std::filesystem::exists(site_.DataDir() / "qarhost.sock")) << "a killed host leaves its socket";
    const std::size_t known = notices_.All().size();
    const Cut cut = CutOffWithoutHost(camera);

    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    ASSERT_TRUE(notices_.WaitFor([&](const Notice& notice) { return IsToldFor(notice, cut); }));
    ExpectNoNewCamera(known);
    EXPECT_EQ(0, host.Stop());
}

TEST_F(OutageTest, PluginThatThrowsCostsTheOtherNothing) {
    demo::SimulatedCamera& camera = site_.AddCamera();
    demo::SimulatedCamera& other = site_.AddCamera("west530");
    const auto copy = site_.Folder().Path() / "thrower.so";
    std::filesystem::copy_file(std::filesystem::path(TEST_PLUGIN_DIR) / "recorder.so", copy);
    // its name sorts before the recorder's, so that it is told first
    site_.AddPlugin("a_thrower", copy.string(), "cameras = [101, 102]\nbusi_types = [1, 2]\nthrow = true");
    site_.AddPlugin("recorder", "recorder.so", "cameras = [101, 102]\nbusi_types = [1, 2]");
    site_.Write();
    camera.ComeBack();
    other.ComeBack();
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();

    const NoticeFile thrown(site_.DataDir() / "a_thrower.journal");
    for (const int camera_id : {101, 102}) {
        for (const int busi : {1, 2}) {
            const auto wanted = [=](const Notice& notice) {
                return IsFirstWeek(notice) && notice.camera == camera_id && notice.busi == busi;
            };
            EXPECT_TRUE(thrown.WaitFor(wanted)) << camera_id << " " << busi;
            EXPECT_TRUE(notices_.WaitFor(wanted)) << camera_id << " " << busi;
        }
    }
    // the hourly notification, too, gets past the one that throws
    const Cut cut = CutOff(host, camera);
    for (const int busi : {1, 2}) {
        const auto wanted = [&](const Notice& notice) { return IsToldFor(notice, cut) && notice.busi == busi; };
        EXPECT_TRUE(thrown.WaitFor(wanted)) << busi;
        EXPECT_TRUE(notices_.WaitFor(wanted)) << busi;
    }
    EXPECT_FALSE(site_.LogLines("the recorder throws").empty());
    EXPECT_EQ(0, host.Stop());
}

}  // namespace
}  // namespace qartest
