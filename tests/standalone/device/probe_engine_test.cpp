#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iterator>
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
    /// Targets at one server, with numbers from `first` on; each result is counted, after what the test does with it.
    std::vector<ProbeEngine::Target> Targets(const ScriptedServer& server, int count,
                                             std::function<void(int target)> on_result = nullptr, int first = 0) {
        DeviceAddress address;
        std::string error;
        EXPECT_TRUE(ParseDeviceAddress("rtsp://" + server.HostAndPort() + "/", address, error)) << error;
        std::vector<ProbeEngine::Target> targets;
        for (int i = first; i < first + count; ++i) {
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
    constexpr int kConnections = 40;
    Clock::Get().Configure(1000, 0, 0);
    ScriptedServer silent;
    int connections_at_first_result = 0;
    ProbeEngine engine({1, 2000, 1, kConnections}, Targets(silent, kConnections + 20, [&](int) {
                           if (all_results_ == 1) {
                               connections_at_first_result = silent.Connections();
                           }
                       }));
    ASSERT_TRUE(engine.Start(error_)) << error_;

    EXPECT_TRUE(WaitUntil([this] { return results_.size() == kConnections + 20; }));
    engine.Stop();
    // When the first result is told, its place has been taken by the next target.
    EXPECT_LE(connections_at_first_result, kConnections + 1);
    EXPECT_GT(connections_at_first_result, 0);
}

// Eighty targets that hang want far more places than there are. Were those shared in turns, a target that
// answers would be asked as rarely as they are.
TEST_F(ProbeEngineTest, TargetsThatHangDoNotMakeTheOthersWait) {
    constexpr int kHanging = 80;
    constexpr int kGood = 5;
    Clock::Get().Configure(20, 0, 0);
    ScriptedServer silent;
    ScriptedServer server;
    server.SetScript([](const std::string&) { return ScriptedServer::Reply{"RTSP/1.0 200 OK\r\n\r\n"}; });
    std::vector<ProbeEngine::Target> targets = Targets(silent, kHanging);
    for (ProbeEngine::Target& good : Targets(server, kGood, nullptr, kHanging)) {
        targets.push_back(std::move(good));
    }
    ProbeEngine engine({1, 150, 1, 8}, std::move(targets));  // a period of 50 ms
    ASSERT_TRUE(engine.Start(error_)) << error_;
    const auto hanging_asked = [this](int times) {
        return static_cast<int>(results_.size()) >= kHanging &&
               std::all_of(results_.begin(), std::next(results_.begin(), kHanging),
                           [times](const auto& result) { return result.second >= times; });
    };

    // it shows at the first result which targets hang
    ASSERT_TRUE(WaitUntil([&] { return hanging_asked(1); }));
    std::map<int, int> before;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        before = results_;
    }
    ASSERT_TRUE(WaitUntil([&] { return hanging_asked(2); }));
    engine.Stop();
    for (int good = kHanging; good < kHanging + kGood; ++good) {
        EXPECT_GE(results_[good] - before[good], 10) << good;
    }
    for (int hanging = 0; hanging < kHanging; ++hanging) {
        EXPECT_LE(results_[hanging] - before[hanging], 3) << hanging;
    }
}

TEST_F(ProbeEngineTest, TargetsThatHangAreAskedWhileTheOthersTakeAllTheyMay) {
    Clock::Get().Configure(1000, 0, 0);
    ScriptedServer silent;
    ScriptedServer server;
    server.SetScript([](const std::string&) { return ScriptedServer::Reply{"RTSP/1.0 200 OK\r\n\r\n"}; });
    // A period of 1 ms: the thirty that answer are due again at once, always.
    std::vector<ProbeEngine::Target> targets = Targets(silent, 5);
    for (ProbeEngine::Target& good : Targets(server, 30, nullptr, 5)) {
        targets.push_back(std::move(good));
    }
    ProbeEngine engine({1, 50, 1, 4}, std::move(targets));
    ASSERT_TRUE(engine.Start(error_)) << error_;

    EXPECT_TRUE(WaitUntil([this] {
        return results_.size() == 35 &&
               std::all_of(results_.begin(), results_.end(), [](const auto& result) { return result.second >= 3; });
    }));
}

TEST_F(ProbeEngineTest, HalfOfTheOpenFilesAreLeftToTheRestOfTheProcess) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(ProbeEngine({1, 50, 1, 512}, {}).Places(), 50U);
    EXPECT_EQ(ProbeEngine({1, 50, 1, 50}, {}).Places(), 50U);
    EXPECT_EQ(ProbeEngine({1, 50, 1, 49}, {}).Places(), 49U);
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
