// Which lock each operation of the history waits for.

#include <atomic>
#include <boost/thread/locks.hpp>

#include "device_event_fixture.h"
#include "tests/support/other_thread.h"

namespace qar::history_test {
namespace {

using test_support::OtherThread;
using Work = std::function<void()>;

class HistoryLocksTest : public DeviceEventTest {
protected:
    HistoryLocksTest() { platform.time_zone.fake.ForgetClock(kUnknownClock); }

    template <class Lock>
    static bool WaitsFor(Lock& lock, Work work) {
        boost::unique_lock<Lock> held(lock);
        return Waits(std::move(work), [&] { held.unlock(); });
    }
    /// Another reader holds the lock.
    static bool WaitsForReaders(boost::shared_mutex& lock, Work work) {
        boost::shared_lock<boost::shared_mutex> held(lock);
        return Waits(std::move(work), [&] { held.unlock(); });
    }
    /// The lock is free at first, and taken when the work has come to Pause().
    bool WaitsAfterThePauseFor(boost::shared_mutex& lock, Work work) {
        boost::unique_lock<boost::shared_mutex> held(lock, boost::defer_lock);
        OtherThread other(std::move(work));
        while (!paused_) std::this_thread::yield();
        held.lock();
        go_on_ = true;
        const bool waits = other.Waits();
        held.unlock();
        return waits;
    }
    /// Keeps the thread awake, so that it does not look as if it waited for a lock.
    void Pause() {
        paused_ = true;
        while (!go_on_) std::this_thread::yield();
    }
    void PauseAtStatements() {
        ON_CALL(platform.database, Execute).WillByDefault([this](const auto&...) {
            Pause();
            return true;
        });
    }
    void PauseAtQueries() {
        ON_CALL(platform.database, ExecuteQuery)
            .WillByDefault([this](const auto& plugin, auto type, const auto& sql, auto fn) {
                Pause();
                return platform.database.fake.Query("ExecuteQuery", plugin, type, sql, fn);
            });
    }

    static constexpr int kUnknownClock = 2;
    static constexpr int kPutOff = 102;

private:
    static bool Waits(Work work, const Work& release) {
        OtherThread other(std::move(work));
        const bool waits = other.Waits();
        release();
        return waits;
    }

    std::atomic<bool> paused_{false};
    std::atomic<bool> go_on_{false};
};

TEST_F(HistoryLocksTest, StartsWaitForEachOther) {
    EXPECT_TRUE(WaitsFor(Peer::InitLock(manager), [this] { manager.Init(); }));
}

TEST_F(HistoryLocksTest, PointsWaitForTheTimelines) {
    auto& lock = Peer::StateLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { Peer::Add(manager, kPlugin, 1, 101, Point(kNow, 1)); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { Peer::Exists(manager, kPlugin, 1, 101); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { Peer::Load(manager, kPlugin, 1, 102, {{kNow, 1}}); }));
}

TEST_F(HistoryLocksTest, RangesWaitForTheTimelines) {
    Register();
    auto& lock = Peer::StateLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { Ranges(); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.NotifyExceptionRange(); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, {kWeekAgo, kNow}); }));
}

TEST_F(HistoryLocksTest, SweepsWaitForTheTimelines) {
    auto& lock = Peer::StateLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.CheckCameraState(); }));
    ASSERT_TRUE(Peer::Add(manager, kPlugin, kBusi, kCamera, Point(kWeekAgo, 2)));
    EXPECT_TRUE(WaitsFor(lock, [this] { Peer::Expire(manager, kPlugin, kBusi, kCamera, Point(kNow, 2)); }));
}

TEST_F(HistoryLocksTest, RegistrationsWaitForTheTimelines) {
    auto& lock = Peer::StateLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.Register(Keep(), {kBusi}, kPlugin, kTable, "id"); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.UnRegister(kPlugin); }));
}

TEST_F(HistoryLocksTest, DeletionsOfCamerasWaitForTheTimelines) {
    RegisterAndCare();
    auto& lock = Peer::StateLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {1}); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfoByCameraID(kPlugin, kCamera); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera}); }));
}

TEST_F(HistoryLocksTest, PluginsAreToldWithTheTimelinesFree) {
    std::vector<bool> free;
    const auto look = [&](auto&, int) {
        OtherThread other([&] {
            const std::unique_lock<std::mutex> lock(Peer::StateLock(manager), std::try_to_lock);
            free.push_back(lock.owns_lock());
        });
    };
    ASSERT_TRUE(manager.Register(look, {1, 2, 3}, kPlugin, kTable, "id"));
    EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 1, {kCamera}));
    EXPECT_TRUE(manager.SetCareCameraStateInfoEx(kPlugin, 2, {kCamera}));
    platform.site.Device(kDevice)->guard = false;
    EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 3, {kCamera}));
    platform.site.Device(kDevice)->guard = true;
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    manager.NotifyExceptionRange();
    EXPECT_THAT(free, ElementsAre(true, true, true, true, true, true));
}

TEST_F(HistoryLocksTest, PointsAndRangesWaitForTheRegistrations) {
    auto& lock = Peer::PluginLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.AddCameraState(kPlugin, 1, kNow, kBusi, kCamera); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, {kWeekAgo, kNow}); }));
    ASSERT_TRUE(Peer::Add(manager, kPlugin, kBusi, kCamera, Point(kNow, 2)));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.NotifyExceptionRange(); }));
}

TEST_F(HistoryLocksTest, EventsWaitForTheRegistrations) {
    auto& lock = Peer::PluginLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.HandleDeviceState(Message(265, 2001, kDevice)); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.HandleChannelState(Message(517, 1001, kCamera)); }));
}

TEST_F(HistoryLocksTest, RegistrationWaitsForTheOthersWhenItBeginsAndWhenItsTableIsRead) {
    auto& lock = Peer::PluginLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.Register(Keep(), {kBusi}, "a", kTable, "id"); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.UnRegister("a"); }));
    PauseAtQueries();
    platform.database.fake.Answer("ORDER BY", HistoryRows({{"101", "1", "2024-03-05 08:00:00", "28800", "1"}}));
    EXPECT_TRUE(WaitsAfterThePauseFor(lock, [this] { manager.Register(Keep(), {kBusi}, "b", kTable, "id"); }));
}

TEST_F(HistoryLocksTest, CareCallsAndListsWaitForReadersOfTheRegistrations) {
    Register();
    auto& lock = Peer::PluginLock(manager);
    EXPECT_TRUE(WaitsForReaders(lock, [this] { manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}); }));
    // a list makes the level of a business type that is new
    std::set<int> cameras;
    EXPECT_TRUE(WaitsForReaders(lock, [&] { manager.GetCareCameraList(cameras, kPlugin, 2); }));
}

TEST_F(HistoryLocksTest, DeletionsOfCamerasWaitForTheRegistrations) {
    Register();
    auto& lock = Peer::PluginLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera}); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfoByCameraID(kPlugin, kCamera); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kCamera}); }));
}

TEST_F(HistoryLocksTest, CameraThatIsPutOffWaitsForTheRegistrations) {
    Register();
    platform.site.AddCamera(kPutOff, kUnknownClock);
    PauseAtQueries();
    EXPECT_TRUE(WaitsAfterThePauseFor(Peer::PluginLock(manager),
                                      [this] { manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kPutOff}); }));
}

TEST_F(HistoryLocksTest, PuttingOffAndForgettingWaitForTheRetries) {
    Register();
    platform.site.AddCamera(kPutOff, kUnknownClock);
    auto& lock = Peer::DelayLock(manager);
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DoDelaySetCareCamera(); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kPutOff}); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kPutOff}); }));
    EXPECT_TRUE(WaitsFor(lock, [this] { manager.UnRegister(kPlugin); }));
}

TEST_F(HistoryLocksTest, RetryThatSucceedsWaitsForTheOthers) {
    Register();
    platform.site.AddCamera(kPutOff, kUnknownClock);
    ASSERT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kPutOff}));
    SetClock("2024-03-08 09:00:00", kUnknownClock);
    PauseAtStatements();
    EXPECT_TRUE(WaitsAfterThePauseFor(Peer::DelayLock(manager), [this] { manager.DoDelaySetCareCamera(); }));
    EXPECT_THAT(Peer::Delayed(manager).at(kPlugin).at(kBusi), IsEmpty());
}

}  // namespace
}  // namespace qar::history_test
