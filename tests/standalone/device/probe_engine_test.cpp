#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "standalone/base/Clock.h"
#include "standalone/device/ProbeEngine.h"
#include "standalone/device/scripted_server.h"

namespace {

using device_test::ScriptedServer;
using qarplatform::Clock;
using qarplatform::DeviceAddress;
using qarplatform::ParseDeviceAddress;
using qarplatform::ProbeEngine;
using qarplatform::ProbeResult;

class ProbeEngineTest : public testing::Test {
protected:
    /// Targets at one server; each result is counted, after what the test does with it.
    std::vector<ProbeEngine::Target> Targets(const ScriptedServer& server, int count,
                                             std::function<void(int target)> on_result = nullptr) {
        DeviceAddress address;
        std::string error;
        EXPECT_TRUE(ParseDeviceAddress("rtsp://" + server.HostAndPort() + "/", address, error)) << error;
        std::vector<ProbeEngine::Target> targets;
        for (int i = 0; i < count; ++i) {
            targets.push_back({address, [this, i, on_result](const ProbeResult&) {
                                   const std::lock_guard<std::mutex> lock(mutex_);
                                   ++results_[i];
                                   ++all_results_;
                                   changed_.notify_all();
                                   if (on_result) {
                                       on_result(i);
                                   }
                               }});
        }
        return targets;
    }

    bool WaitUntil(const std::function<bool()>& condition) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), condition);
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<int, int> results_;  // guarded by mutex_
    int all_results_ = 0;         // guarded by mutex_
    std::string error_;
};

TEST_F(ProbeEngineTest, EveryTargetIsAskedAgainAndAgain) {
    Clock::Get().Configure(600, 0, 0);
    ScriptedServer server;
    server.SetScript([](const std::string&) { return ScriptedServer::Reply{"RTSP/1.0 200 OK\r\n\r\n"}; });
    ProbeEngine engine({60, 5000, 1}, Targets(server, 20));
    ASSERT_TRUE(engine.Start(error_)) << error_;

    EXPECT_TRUE(WaitUntil([this] {
        return results_.size() == 20 &&
               std::all_of(results_.begin(), results_.end(), [](const auto& result) { return result.second >= 3; });
    }));
}

TEST_F(ProbeEngineTest, ProbesOfOneTargetNeverOverlap) {
    Clock::Get().Configure(1000, 0, 0);
    ScriptedServer silent;
    bool overlapped = false;
    // A period of 1 ms and answers that never come: the next connection must wait for the result of the one before.
    ProbeEngine engine({1, 50, 1}, Targets(silent, 1, [&](int) { overlapped |= silent.Connections() > all_results_; }));
    ASSERT_TRUE(engine.Start(error_)) << error_;

    EXPECT_TRUE(WaitUntil([this] { return all_results_ >= 5; }));
    engine.Stop();
    EXPECT_FALSE(overlapped);
    EXPECT_GE(silent.Connections(), 5);
}

TEST_F(ProbeEngineTest, NoMoreConnectionsThanItsLimitAreOpenAndAllTargetsHaveTheirTurn) {
    constexpr int kTargets = static_cast<int>(ProbeEngine::kMostAtOnce) + 88;
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    Clock::Get().Configure(1000, 0, 0);
    ScriptedServer silent;
    int connections_at_first_result = 0;
    ProbeEngine engine({1, 2000, 1}, Targets(silent, kTargets, [&](int) {
                           if (all_results_ == 1) {
                               connections_at_first_result = silent.Connections();
                           }
                       }));
    ASSERT_TRUE(engine.Start(error_)) << error_;

    EXPECT_TRUE(WaitUntil([this] { return results_.size() == kTargets; }));
    engine.Stop();
    // When the first result is told, its place has been taken by the next target.
    EXPECT_LE(connections_at_first_result, static_cast<int>(ProbeEngine::kMostAtOnce) + 1);
    EXPECT_GT(connections_at_first_result, 0);
}

TEST_F(ProbeEngineTest, StopDoesNotWaitForSilentDevices) {
    Clock::Get().Configure(1, 0, 0);
    ScriptedServer silent;
    ProbeEngine engine({60, 60000, 1}, Targets(silent, 1));
    ASSERT_TRUE(engine.Start(error_)) << error_;
    ASSERT_TRUE(silent.WaitForConnections(1));

    const auto begin = std::chrono::steady_clock::now();
    engine.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_EQ(all_results_, 0);
}

TEST_F(ProbeEngineTest, HandlerThatThrowsCostsNoProbe) {
    Clock::Get().Configure(600, 0, 0);
    ScriptedServer server;
    server.SetScript([](const std::string&) { return ScriptedServer::Reply{"RTSP/1.0 200 OK\r\n\r\n"}; });
    ProbeEngine engine({60, 5000, 1}, Targets(server, 2, [](int target) {
                           if (target == 0) {
                               throw std::runtime_error("fault");
                           }
                       }));
    ASSERT_TRUE(engine.Start(error_)) << error_;

    EXPECT_TRUE(WaitUntil([this] { return results_[0] >= 3 && results_[1] >= 3; }));
}

TEST_F(ProbeEngineTest, WithoutTargetsItStartsAndStops) {
    ProbeEngine engine({60, 5000, 1}, {});
    EXPECT_TRUE(engine.Start(error_)) << error_;
    engine.Stop();
}

}  // namespace
