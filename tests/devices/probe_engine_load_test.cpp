#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "devices/load.h"
#include "devices/many_devices.h"
#include "integration/support/eventually.h"
#include "standalone/base/Clock.h"
#include "standalone/device/DeviceLayer.h"

namespace qartest {
namespace {

using qarplatform::DeviceLayer;
using qarplatform::DeviceStatus;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::int64_t kStartMs = 1772323200000;  // 2026-03-01T00:00:00Z

/// The device layer of this process asks the devices.
class ProbeEngineLoadTest : public testing::Test {
protected:
    void SetUp() override {
        rlimit files{};
        ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &files));
        files.rlim_cur = files.rlim_max;
        ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &files));
        ASSERT_GT(files.rlim_cur, static_cast<rlim_t>(4 * load_.Connections()));
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        qarplatform::Clock::Get().Configure(load_.Scale(), duration_cast<milliseconds>(now).count(), kStartMs);
        qarplatform::Site site;
        for (int id = 1; id <= load_.devices; ++id) {
            const std::string name = "D-" + std::to_string(id);
            site.devices.push_back({id, 2001, name, name, devices_.Probe(id), "", "", true});
        }
        DeviceLayer::Get().Load(site);
    }

    void TearDown() override { DeviceLayer::Get().StopProbes(); }

    /// Waits until exactly the devices are online that answer, without the `away`. @return how long that took
    milliseconds WaitForOnline(const std::vector<int>& away, milliseconds limit) {
        const std::set<int> not_there(away.begin(), away.end());
        const auto begin = steady_clock::now();
        const bool found = Eventually(
            [&] {
                for (const DeviceStatus& device : DeviceLayer::Get().Status()) {
                    const bool wanted =
                        CountsAsOnline(ManyDevices::BehaviourOf(device.id)) && not_there.count(device.id) == 0;
                    if (device.online != wanted) return false;
                }
                return true;
            },
            limit);
        EXPECT_TRUE(found) << "after " << limit.count() << " ms";
        return duration_cast<milliseconds>(steady_clock::now() - begin);
    }

    const Load load_;
    ManyDevices devices_{load_.devices, [] { return qarplatform::Clock::Get().NowMs() / 1000; }, load_.Drip()};
};

TEST_F(ProbeEngineLoadTest, DevicesThatAnswerAreKnownInTimeAmongThousandsThatDoNot) {
    const std::vector<int> leaving = load_.Leaving();
    const std::vector<int> failing = load_.Those(
        [](Behaviour behaviour) { return !CountsAsOnline(behaviour) && behaviour != Behaviour::kBlackhole; });
    std::string error;
    ASSERT_TRUE(DeviceLayer::Get().StartProbes({Load::kPeriodS, load_.TimeoutMs(), 1, load_.Connections()}, error))
        << error;

    const milliseconds first = WaitForOnline({}, Load::kPatience * load_.FirstRound());
    EXPECT_TRUE(Eventually(
        [&] {
            return std::all_of(failing.begin(), failing.end(), [&](int device) { return devices_.Asked(device) > 0; });
        },
        Load::kPatience * load_.FirstRound()));
    for (const DeviceStatus& device : DeviceLayer::Get().Status()) {
        const Behaviour behaviour = ManyDevices::BehaviourOf(device.id);
        EXPECT_EQ(CountsAsOnline(behaviour) && behaviour != Behaviour::kWrongDate, device.clock_known) << device.id;
    }

    const double good_before = devices_.TurnsOf(load_.Good());
    const double silent_before = devices_.TurnsOf(load_.Silent());
    devices_.SetAway(leaving, true);
    const milliseconds gone = WaitForOnline(leaving, Load::kPatience * load_.Notice());
    devices_.SetAway(leaving, false);
    const milliseconds back = WaitForOnline({}, Load::kPatience * load_.Notice());
    // a whole round of those that hang
    EXPECT_TRUE(Eventually([&] { return devices_.TurnsOf(load_.Silent()) - silent_before >= 1; },
                           Load::kPatience * load_.FirstRound()));
    const double good_turns = devices_.TurnsOf(load_.Good()) - good_before;
    const double silent_turns = devices_.TurnsOf(load_.Silent()) - silent_before;
    // In turns of all alike there would be as many of the one as of the other.
    EXPECT_GE(good_turns, 1.5 * silent_turns);
    EXPECT_LE(devices_.MostOpen(), static_cast<std::size_t>(load_.Connections()));

    const auto begin = steady_clock::now();
    DeviceLayer::Get().StopProbes();
    const auto stop = duration_cast<milliseconds>(steady_clock::now() - begin);
    EXPECT_LT(stop, Load::kPatience * load_.Timeout());
    std::cout << load_.devices << " devices, period " << load_.Period().count() << " ms, time-out " << load_.TimeoutMs()
              << " ms: all known after " << first.count() << " ms (" << load_.FirstRound().count()
              << " expected), outage after " << gone.count() << " ms, return after " << back.count() << " ms ("
              << load_.Notice().count() << " expected); most connections " << devices_.MostOpen() << " of "
              << load_.Connections() << "; meanwhile " << good_turns << " probes of each good device, " << silent_turns
              << " of each silent one; stop " << stop.count() << " ms\n";
}

}  // namespace
}  // namespace qartest
