#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "demo_cameras/demo_start.h"
#include "demo_cameras/outage_runner.h"
#include "tests/standalone/demo/demo_test_client.h"

namespace demo {
namespace {

constexpr std::int64_t kMinute = OutageSchedule::kMinuteMs;

class DemoOutageRunnerTest : public testing::Test {
protected:
    static bool WaitUntil(const std::function<bool()>& reached) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!reached() && std::chrono::steady_clock::now() < until) {
            std::this_thread::yield();
        }
        return reached();
    }

    DemoOutageRunnerTest() { fleet_.AllComeBack(); }

    CameraFleet fleet_{DemoClock(600), 2, 1};
    const std::int64_t start_ = fleet_.Clock().NowMs();
    const CheckTicks checks_{start_};
};

TEST_F(DemoOutageRunnerTest, TheCameraIsAwayDuringItsOutageAndTheOtherOneIsNot) {
    OutageRunner runner(fleet_, checks_, {{102, start_ + 1000, start_ + 20 * kMinute}});
    ASSERT_TRUE(WaitUntil([&] { return runner.Past().size() == 1; }));
    EXPECT_EQ(TestClient(fleet_.At(1).ProbePort()).Error(), ECONNREFUSED);
    EXPECT_TRUE(TestClient(fleet_.At(0).ProbePort()).Connected());
    EXPECT_FALSE(runner.Done());
    ASSERT_TRUE(WaitUntil([&] { return runner.Done(); }));
    EXPECT_TRUE(TestClient(fleet_.At(1).ProbePort()).Connected());
    const PastOutage outage = runner.Past().front();
    EXPECT_EQ(outage.camera, 102);
    EXPECT_GE(outage.begin_ms, start_ + 1000);
    EXPECT_GE(*outage.end_ms - outage.begin_ms, 19 * kMinute);
}

TEST_F(DemoOutageRunnerTest, AfterTheLastBeginOnlyEndsCome) {
    OutageRunner runner(
        fleet_, checks_,
        {{101, start_ + 1000, start_ + 20 * kMinute}, {102, start_ + 60 * 60 * kMinute, start_ + 61 * 60 * kMinute}});
    ASSERT_TRUE(WaitUntil([&] { return runner.Past().size() == 1; }));
    runner.BeginNoMore();
    ASSERT_TRUE(WaitUntil([&] { return runner.Done(); }));
    EXPECT_EQ(runner.Past().size(), 1U);
    EXPECT_FALSE(fleet_.At(0).Away());
}

TEST_F(DemoOutageRunnerTest, AnEndThatWouldLieAtACheckWaits) {
    // The check of tick 25 falls a minute behind the end that is asked for.
    OutageRunner runner(fleet_, checks_, {{101, start_ + 1000, start_ + 24 * kMinute}});
    ASSERT_TRUE(WaitUntil([&] { return !runner.Past().empty() && runner.Done(); }));
    const std::int64_t end = *runner.Past().front().end_ms;
    EXPECT_GE(end, start_ + 27 * kMinute);
    EXPECT_TRUE(OutageSchedule::MayEnd(fleet_.Scheduled()[0], checks_, end)) << end - start_;
}

TEST_F(DemoOutageRunnerTest, StoppingItDoesNotWaitForWhatIsToCome) {
    const auto before = std::chrono::steady_clock::now();
    { OutageRunner runner(fleet_, checks_, {{101, start_ + 600 * 60 * kMinute, start_ + 601 * 60 * kMinute}}); }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
}

}  // namespace
}  // namespace demo
