#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "devices/load.h"
#include "devices/many_devices.h"
#include "integration/support/history_rows.h"
#include "integration/support/host_process.h"
#include "integration/support/notice_file.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::int64_t kTickMs = 60'000;
constexpr std::int64_t kCheckEvery = 30;  // ticks
constexpr std::size_t kOtherFiles = 64;   // of the host, besides its connections to devices

constexpr int CameraOf(int device) { return device + 100; }

/// A host asks the devices, with a plug-in that has a history of every seventh and one that calls the library all the
/// time.
class HostLoadTest : public testing::Test {
protected:
    void Start() {
        std::string cameras;
        for (int device = 1; device <= load_.devices; ++device) {
            site_.AddDevice(devices_.Probe(device));
            if (device % 7 == 0) cameras += std::to_string(CameraOf(device)) + ", ";
        }
        site_.AddPlugin("recorder", "recorder.so", "cameras = [" + cameras + "]\ndelete = true");
        site_.AddPlugin("caller", "caller.so",
                        "of = \"recorder\"\ndevices = " + std::to_string(load_.devices) +
                            "\nslow_ms = " + std::to_string(load_.TimeoutMs()));
        site_.SetProbePeriod(Load::kPeriodS);
        site_.SetProbeTimeout(load_.TimeoutMs());
        site_.SetProbeConnections(load_.Connections());
        site_.Write();
        host_.emplace(site_);
        ASSERT_TRUE(host_->WaitUntilReady()) << host_->Process().Err();
    }

    /// Looks at the host once; what is measured on the way is kept. @return whether exactly the devices are online that
    /// answer, without the `away`
    bool Look(const std::set<int>& away) {
        const std::filesystem::path files = "/proc/" + std::to_string(host_->Process().Pid()) + "/fd";
        const auto count = std::distance(std::filesystem::directory_iterator(files), {});
        most_files_ = std::max(most_files_, static_cast<std::size_t>(count));
        const std::int64_t latest = rows_->LatestWallS(kSteadyCamera);
        sweeps_ += latest != steady_latest_ ? 1 : 0;
        steady_latest_ = latest;
        const auto state = host_->State();
        if (!state || !state->history_timer_started_ms) return false;
        ticks_ = state->history_timer_ticks;
        const std::int64_t due = (state->now_ms - *state->history_timer_started_ms) / kTickMs;
        most_ticks_late_ = std::max(most_ticks_late_, due - ticks_);
        return std::all_of(state->devices.begin(), state->devices.end(), [&](const DeviceState& device) {
            return device.online == (CountsAsOnline(ManyDevices::BehaviourOf(device.id)) && away.count(device.id) == 0);
        });
    }

    milliseconds WaitForOnline(const std::vector<int>& away, milliseconds limit) {
        const std::set<int> not_there(away.begin(), away.end());
        const auto begin = steady_clock::now();
        EXPECT_TRUE(Eventually([&] { return Look(not_there); }, limit)) << "after " << limit.count() << " ms";
        return duration_cast<milliseconds>(steady_clock::now() - begin);
    }

    static constexpr int kSteady = 140;  // answers as it should, and stays
    static constexpr int kSteadyCamera = CameraOf(kSteady);
    static constexpr int kLeavingCamera = CameraOf(42);
    static_assert(kSteady % 7 == 0 && kSteady % 20 == 0 && 42 % 7 == 0 && 42 % 20 == 2);

    const Load load_;
    TestSite site_{load_.Scale()};
    ManyDevices devices_{load_.devices, [this] { return site_.Clock().NowMs() / 1000; }, load_.Drip()};
    NoticeFile notices_{site_.DataDir() / "recorder.journal"};
    std::optional<HostProcess> host_;
    std::optional<HistoryRows> rows_;

    std::size_t most_files_ = 0;
    std::int64_t ticks_ = 0;
    std::int64_t most_ticks_late_ = 0;
    std::int64_t sweeps_ = 0;
    std::int64_t steady_latest_ = 0;
};

TEST_F(HostLoadTest, SweepsCallsAndDevicesThatAnswerDoNotWaitForThousandsThatDoNot) {
    const auto begin = steady_clock::now();
    ASSERT_NO_FATAL_FAILURE(Start());
    const auto ready = duration_cast<milliseconds>(steady_clock::now() - begin);
    rows_.emplace(site_.DatabaseDir() / "recorder.db");
    const std::vector<int> leaving = load_.Leaving();
    const milliseconds first = WaitForOnline({}, Load::kPatience * load_.FirstRound());

    // While nobody comes, only the sweeps move the newest row of a camera that stays.
    sweeps_ = 0;
    const std::int64_t ticks_before = ticks_;
    const double good_before = devices_.TurnsOf(load_.Good());
    const double silent_before = devices_.TurnsOf(load_.Silent());
    devices_.SetAway(leaving, true);
    const milliseconds gone = WaitForOnline(leaving, Load::kPatience * load_.Notice());
    const std::int64_t gone_s = site_.Clock().NowMs() / 1000;
    const std::set<int> away(leaving.begin(), leaving.end());
    EXPECT_TRUE(Eventually(
        [&] {
            Look(away);
            return ticks_ - ticks_before >= 3 * kCheckEvery;
        },
        Load::kPatience * load_.Notice()));
    const std::int64_t sweeps = sweeps_;
    EXPECT_GE(sweeps, (ticks_ - ticks_before) / kCheckEvery / 2);

    const std::int64_t back_s = site_.Clock().NowMs() / 1000;
    devices_.SetAway(leaving, false);
    const milliseconds back = WaitForOnline({}, Load::kPatience * load_.Notice());
    EXPECT_TRUE(notices_.WaitFor([=](const Notice& notice) {
        return notice.kind == "told" && notice.camera == kLeavingCamera && notice.Seconds() < 6 * 86400 &&
               notice.begin_utc_s <= gone_s && notice.end_utc_s >= back_s;
    }));

    const double good_turns = devices_.TurnsOf(load_.Good()) - good_before;
    const double silent_turns = devices_.TurnsOf(load_.Silent()) - silent_before;
    // In turns of all alike there would be as many of the one as of the other.
    EXPECT_GE(good_turns, 1.5 * silent_turns);
    EXPECT_GT(silent_turns, 0);
    EXPECT_LT(most_ticks_late_, kCheckEvery);
    EXPECT_LE(devices_.MostOpen(), static_cast<std::size_t>(load_.Connections()));
    EXPECT_LE(most_files_, static_cast<std::size_t>(load_.Connections()) + kOtherFiles);
    const auto stop_begin = steady_clock::now();
    EXPECT_EQ(0, host_->Stop());
    const auto stop = duration_cast<milliseconds>(steady_clock::now() - stop_begin);

    std::int64_t rounds = 0;
    std::int64_t slow = -1;
    std::int64_t longest_ms = 0;
    std::ifstream(site_.DataDir() / "caller.calls") >> rounds >> slow >> longest_ms;
    const std::int64_t timeouts = (first + gone + back) / load_.Timeout();
    EXPECT_GE(rounds, 10 * timeouts);
    EXPECT_GE(slow, 0);
    EXPECT_LE(100 * slow, rounds);
    for (const char* trouble : {"devices cannot be asked", "push task is fail", "is lost"}) {
        EXPECT_TRUE(site_.LogLines(trouble).empty()) << site_.LogLines(trouble).front();
    }
    std::cout << load_.devices << " devices, period " << load_.Period().count() << " ms, time-out " << load_.TimeoutMs()
              << " ms: ready after " << ready.count() << " ms, all known after " << first.count() << " ms ("
              << load_.FirstRound().count() << " expected), outage after " << gone.count() << " ms, return after "
              << back.count() << " ms (" << load_.Notice().count() << " expected); most connections "
              << devices_.MostOpen() << " of " << load_.Connections() << ", most open files " << most_files_
              << "; meanwhile " << good_turns << " probes of each good device, " << silent_turns
              << " of each silent one; timer at most " << most_ticks_late_ << " ticks late; " << sweeps
              << " sweeps seen in " << (ticks_ - ticks_before) << " ticks; " << rounds
              << " rounds of a plug-in's calls, " << slow << " slow, longest " << longest_ms << " ms; stop "
              << stop.count() << " ms\n";
}

}  // namespace
}  // namespace qartest
