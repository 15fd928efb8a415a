// What a plug-in's callback may count on and what it must not do, by every road on which it is called.

#include <atomic>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <thread>

#include "device_event_fixture.h"
#include "qar/IDBManager.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "thread_watch.h"

namespace qar::history_test {
namespace {

using RangeMap = std::map<int, std::vector<SStateRange>>;

class HistoryCallbackTest : public DeviceEventTest {
protected:
    /// Registers, and cares for the camera without points: its first contact will be told.
    void CareWithoutPoints(NotifyFunc fn, const std::string& plugin = kPlugin) {
        platform.site.Device(kDevice)->guard = false;
        ASSERT_TRUE(manager.Register(std::move(fn), {1, 2}, plugin, kTable, "id"));
        ASSERT_TRUE(manager.SetCareCameraStateInfo(plugin, kBusi, {kCamera}));
        platform.site.Device(kDevice)->guard = true;
    }
    void PutOff(NotifyFunc fn, const std::string& plugin = kPlugin) {
        platform.time_zone.fake.ForgetClock(kDevice);
        ASSERT_TRUE(manager.Register(std::move(fn), {1, 2}, plugin, kTable, "id"));
        ASSERT_FALSE(manager.SetCareCameraStateInfoEx(plugin, kBusi, {kCamera}));
        SetClock("2024-03-08 09:00:00");
    }
    /// Gives the camera the range of the seven days up to the present.
    void AddRange(int busi = kBusi, const std::string& plugin = kPlugin) {
        ASSERT_TRUE(manager.AddCameraState(plugin, 1, kWeekAgo, busi, kCamera));
        ASSERT_TRUE(manager.AddCameraState(plugin, 1, kNow, busi, kCamera));
    }
    void WaitUntilAWriterWaitsOr(const std::atomic<bool>& over) {
        while (!Peer::WriterWaits(manager) && !over) std::this_thread::yield();
    }
};

// --- on every road ---------------------------------------------------------------------------------------------------

enum class Road { kSetCare, kSetCareEx, kDeviceEvent, kChannelEvent, kHourly, kRetry };

struct NamedRoad {
    const char* name;
    Road road;
};

void PrintTo(const NamedRoad& road, std::ostream* out) { *out << road.name; }

class CallbackRoadTest : public HistoryCallbackTest, public ::testing::WithParamInterface<NamedRoad> {
protected:
    bool IsCareCall() const { return GetParam().road == Road::kSetCare || GetParam().road == Road::kSetCareEx; }
    bool IsEvent() const { return GetParam().road == Road::kDeviceEvent || GetParam().road == Road::kChannelEvent; }

    /// Registers a function that Walk will call once, with the range of the seven days.
    void Prepare(const NotifyFunc& fn, const std::string& plugin = kPlugin) {
        ASSERT_TRUE(manager.Init());
        switch (GetParam().road) {
            case Road::kSetCare:
            case Road::kSetCareEx:
                ASSERT_TRUE(manager.Register(fn, {1, 2}, plugin, kTable, "id"));
                break;
            case Road::kDeviceEvent:
            case Road::kChannelEvent:
                CareWithoutPoints(fn, plugin);
                break;
            case Road::kHourly:
                ASSERT_TRUE(manager.Register(fn, {1, 2}, plugin, kTable, "id"));
                AddRange(kBusi, plugin);
                break;
            case Road::kRetry:
                PutOff(fn, plugin);
                break;
        }
    }
    /// What leads to the call: on a road by way of the workers it only queues a task.
    void Lead() {
        switch (GetParam().road) {
            case Road::kSetCare:
                EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
                break;
            case Road::kSetCareEx:
                EXPECT_TRUE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kCamera}));
                break;
            case Road::kDeviceEvent:
                EXPECT_EQ(platform.bus.fake.Deliver(kTopic, 265, Event(265, 2001, kDevice)), 1u);
                break;
            case Road::kChannelEvent:
                EXPECT_EQ(platform.bus.fake.Deliver(kTopic, 517, Event(517, 1001, kCamera)), 1u);
                break;
            case Road::kHourly:
                EXPECT_TRUE(platform.timers.fake.Tick(kTimer, 5));
                break;
            case Road::kRetry:
                EXPECT_TRUE(platform.timers.fake.Tick(kTimer, 1));
                break;
        }
    }
    void Walk() {
        Lead();
        platform.pools.RunAll();
    }
};

TEST_P(CallbackRoadTest, RunsOnTheThreadOfTheCareCallOrOnAWorker) {
    std::vector<std::thread::id> threads;
    Prepare([&](auto&, int) { threads.push_back(std::this_thread::get_id()); });
    std::thread::id leader;
    RunWatched("lead", [&] {
        leader = std::this_thread::get_id();
        Lead();
    });
    EXPECT_EQ(threads.size(), IsCareCall() ? 1u : 0u);
    platform.pools.RunAll();  // the main thread is the worker
    EXPECT_THAT(threads, ElementsAre(IsCareCall() ? leader : std::this_thread::get_id()));
}

TEST_P(CallbackRoadTest, MayAskForTheRangesAlsoWhileAnotherThreadWaitsToRegister) {
    std::vector<std::string> asked;
    std::atomic<bool> registered{false};
    ThreadWatch others;
    Prepare([&](RangeMap& ranges, int busi) {
        others.Start("other", [&](ThreadWatch::Place& place) {
            place.Doing("Register");
            EXPECT_TRUE(manager.Register([](auto&, int) {}, {1}, "other", kTable, "id"));
            registered = true;
        });
        if (IsEvent()) {
            WaitUntilAWriterWaitsOr(registered);
        } else {
            others.Join();
        }
        EXPECT_EQ(registered, !IsEvent()) << "an event's callback runs with the registrations held";
        asked = Ranges(kPlugin, busi);
        EXPECT_EQ(asked, Texts(ranges));
    });
    RunWatched("walk", [this] { Walk(); });
    others.Join();
    EXPECT_THAT(asked, ElementsAre("101: " + kWeekAgo + " " + kNow));
}

TEST_P(CallbackRoadTest, MayUseTheDatabaseAndTheBus) {
    int calls = 0;
    Prepare([&](auto&, int) {
        ++calls;
        IDBManager* const database = IDBManager::Instance();
        EXPECT_TRUE(database->Initialize("inner", 1, 1));
        EXPECT_TRUE(database->Execute("inner", 1, "UPDATE inner"));
        int rows = 0;
        EXPECT_TRUE(database->ExecuteQuery("inner", 1, "SELECT inner", [&](db_layer::CConnect*) { ++rows; }));
        EXPECT_EQ(rows, 1);
        EXPECT_GT(database->GetNextID(""), 0);
        EXPECT_TRUE(database->ResetDBParam("inner"));
        EXPECT_TRUE(database->Finalize("inner"));
        const auto bus = IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
        const ChangeFunc ignore = [](const std::string&, std::shared_ptr<IBusMsg>) {};
        EXPECT_TRUE(bus->PublishChangeMsgType("topic", {1}, {}));
        EXPECT_TRUE(bus->SubscribeChangeMsg("topic", {}, ignore, "inner"));
        EXPECT_TRUE(bus->PostChangeMsg(Message(1, 0, 0), "topic"));
        bus->UnsubscribeChangeMsg("topic", "inner");
    });
    RunWatched("walk", [this] { Walk(); });
    EXPECT_EQ(calls, 1);
}

TEST_P(CallbackRoadTest, MayKeepAndChangeItsRanges) {
    RangeMap kept;
    Prepare([&](RangeMap& ranges, int) {
        kept = std::move(ranges);
        ranges.clear();
        ranges[4].resize(4);
    });
    Walk();
    EXPECT_THAT(Texts(kept), ElementsAre("101: " + kWeekAgo + " " + kNow));
    EXPECT_THAT(Ranges(), ElementsAre("101: " + kWeekAgo + " " + kNow));
    manager.NotifyExceptionRange();
    EXPECT_THAT(Texts(kept), ElementsAre("101: " + kWeekAgo + " " + kNow)) << "told whole again";
}

TEST_P(CallbackRoadTest, WhatItThrowsReachesTheCallerOfACareCallAndEndsAtTheWorkersEdge) {
    Prepare([](auto&, int) { throw std::runtime_error("broken"); });
    if (IsCareCall()) {
        EXPECT_THROW(Lead(), std::runtime_error);
    } else {
        EXPECT_NO_THROW(Walk());
    }
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", kNow + " 1")) << "its points stand all the same";
    if (IsEvent() || GetParam().road == Road::kHourly) {
        ASSERT_EQ(platform.log.LinesFrom(5).size(), 1u);
        EXPECT_EQ(platform.log.LinesFrom(5)[0].body,
                  "notify_func_ of plugin threw, plugin_id = gap, busi_type = 1, error = broken");
    } else {
        EXPECT_THAT(platform.log.LinesFrom(5), IsEmpty());
    }
    const std::vector<std::string> expected(GetParam().road == Road::kRetry ? 1 : 0, "broken");
    EXPECT_EQ(Pool()->CaughtExceptions(), expected) << "the pool logs what a retry lets through";
}

INSTANTIATE_TEST_SUITE_P(EveryRoad, CallbackRoadTest,
                         ::testing::Values(NamedRoad{"SetCare", Road::kSetCare},
                                           NamedRoad{"SetCareEx", Road::kSetCareEx},
                                           NamedRoad{"DeviceEvent", Road::kDeviceEvent},
                                           NamedRoad{"ChannelEvent", Road::kChannelEvent},
                                           NamedRoad{"Hourly", Road::kHourly}, NamedRoad{"Retry", Road::kRetry}),
                         [](const auto& param) { return std::string(param.param.name); });

// --- operations that a callback must not call ------------------------------------------------------------------------

struct NamedOperation {
    const char* name;
    void (*call)(CHistoryStateMgr& manager);
};

void PrintTo(const NamedOperation& operation, std::ostream* out) { *out << operation.name; }

class ForbiddenOperationTest : public HistoryCallbackTest, public ::testing::WithParamInterface<NamedOperation> {};

TEST_P(ForbiddenOperationTest, WaitsForAnEventsCallbackThatRuns) {
    Gate inside;
    std::atomic<bool> returned{false};
    CareWithoutPoints([&](auto&, int) { inside.Pass(); });
    ThreadWatch watch;
    watch.Start("event", [&](ThreadWatch::Place& place) {
        place.Doing("HandleDeviceState");
        manager.HandleDeviceState(Message(265, 2001, kDevice));
    });
    inside.Await(1);
    watch.Start("operation", [&](ThreadWatch::Place& place) {
        place.Doing(GetParam().name);
        GetParam().call(manager);
        returned = true;
    });
    WaitUntilAWriterWaitsOr(returned);
    EXPECT_FALSE(returned);
    inside.Open();
    watch.Join();
    EXPECT_TRUE(returned);
}

// The callback's thread holds the registrations and waits for itself.
TEST_P(ForbiddenOperationTest, StandsStillWhenCalledFromInsideAnEventsCallback) {
    constexpr int kReturned = 4;
    constexpr int kStandsStill = 5;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [this] {
        CareWithoutPoints([this](auto&, int) {
            std::atomic<bool> returned{false};
            std::thread watcher([&] {
                WaitUntilAWriterWaitsOr(returned);
                std::_Exit(returned ? kReturned : kStandsStill);
            });
            GetParam().call(manager);
            returned = true;
            watcher.join();
        });
        manager.HandleDeviceState(Message(265, 2001, kDevice));
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(kStandsStill), "");
}

INSTANTIATE_TEST_SUITE_P(
    EveryOperation, ForbiddenOperationTest,
    ::testing::Values(
        NamedOperation{
            "Register",
            [](CHistoryStateMgr& manager) { manager.Register([](auto&, int) {}, {1}, "other", kTable, "id"); }},
        NamedOperation{"UnRegister", [](CHistoryStateMgr& manager) { manager.UnRegister(kPlugin); }},
        NamedOperation{"SetCareCameraStateInfo",
                       [](CHistoryStateMgr& manager) { manager.SetCareCameraStateInfo(kPlugin, 2, {kCamera}); }},
        NamedOperation{"SetCareCameraStateInfoEx",
                       [](CHistoryStateMgr& manager) { manager.SetCareCameraStateInfoEx(kPlugin, 2, {kCamera}); }},
        NamedOperation{"DelCareCameraStateInfo",
                       [](CHistoryStateMgr& manager) { manager.DelCareCameraStateInfo(kPlugin, 1, {kCamera}); }},
        NamedOperation{"DelCareCameraStateInfoByCameraID",
                       [](CHistoryStateMgr& manager) { manager.DelCareCameraStateInfoByCameraID(kPlugin, kCamera); }},
        NamedOperation{
            "DelCareCameraStateInfoAtMoveOutByCameraIDs",
            [](CHistoryStateMgr& manager) { manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kCamera}); }},
        NamedOperation{"GetCareCameraList",
                       [](CHistoryStateMgr& manager) {
                           std::set<int> cameras;
                           manager.GetCareCameraList(cameras, kPlugin, 1);
                       }},
        NamedOperation{"AddCameraState",
                       [](CHistoryStateMgr& manager) { manager.AddCameraState(kPlugin, 1, kNow, 1, kCamera); }},
        NamedOperation{"DelHistoryStateInRange",
                       [](CHistoryStateMgr& manager) {
                           manager.DelHistoryStateInRange(kPlugin, 1, kCamera, {kWeekAgo, kNow});
                       }}),
    [](const auto& param) { return std::string(param.param.name); });

// --- when calls come -------------------------------------------------------------------------------------------------

TEST_F(HistoryCallbackTest, RangesAreToldEachHourUntilThePluginDeletesThem) {
    ASSERT_TRUE(manager.Init());
    Register();
    AddRange();
    const auto pass_the_hour = [this](unsigned long long n_tick) {
        told.clear();
        platform.timers.fake.Tick(kTimer, n_tick);
        platform.pools.RunAll();
        return told;
    };
    EXPECT_THAT(pass_the_hour(5), ElementsAre(kRange));
    EXPECT_THAT(pass_the_hour(65), ElementsAre(kRange));
    ASSERT_TRUE(manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, {kWeekAgo, kNow}));
    EXPECT_THAT(pass_the_hour(125), IsEmpty());
}

TEST_F(HistoryCallbackTest, CallsOfOnePluginMayOverlap) {
    platform.site.AddCamera(102, 2);
    SetClock("2024-03-08 09:00:00", 2);
    platform.site.Device(2)->guard = false;
    Gate inside;
    CareWithoutPoints([&](auto&, int) { inside.Pass(); });
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {102}));
    platform.site.Device(2)->guard = true;
    AddRange(2);
    ThreadWatch watch;
    for (const unsigned int device : {1u, 2u}) {
        watch.Start("event",
                    [this, device](ThreadWatch::Place&) { manager.HandleDeviceState(Message(265, 2001, device)); });
    }
    watch.Start("notification", [this](ThreadWatch::Place&) { manager.NotifyExceptionRange(); });
    watch.Start("opener", [&](ThreadWatch::Place& place) {
        place.Doing("wait for three calls at a time");
        inside.Await(3);
        inside.Open();
    });
    watch.Join();
}

TEST_F(HistoryCallbackTest, CallMayComeBeforeTheCareCallThatLedToItHasReturned) {
    platform.site.AddCamera(102, 2);
    SetClock("2024-03-08 09:00:00", 2);
    Register();
    std::vector<std::string> told_before;
    ON_CALL(platform.time_zone, GetDeviceTime)
        .WillByDefault([&](std::string& local, std::string& utc, int& offset, const auto& key, long long time) {
            if (key.GetDeviceId() == 2 && told_before.empty()) {
                RunWatched("event", [this] { manager.HandleChannelState(Message(517, 1001, 102)); });
                told_before = told;
            }
            platform.time_zone.fake.GetDeviceTime(local, utc, offset, key, time);
        });
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera, 102}));
    EXPECT_THAT(told_before, ElementsAre("1/102: " + kWeekAgo + " " + kNow));
    EXPECT_THAT(told, ElementsAre("1/102: " + kWeekAgo + " " + kNow, kRange)) << "each camera once";
}

TEST_F(HistoryCallbackTest, CallOfTheNotificationMayBeginAfterUnRegisterHasReturned) {
    std::vector<int> busi_types;
    ASSERT_TRUE(manager.Register(
        [&](auto&, int busi) {
            busi_types.push_back(busi);
            if (busi == 1) RunWatched("UnRegister", [this] { manager.UnRegister(kPlugin); });
        },
        {1, 2}, kPlugin, kTable, "id"));
    AddRange(1);
    AddRange(2);
    manager.NotifyExceptionRange();
    EXPECT_THAT(busi_types, ElementsAre(1, 2));
    manager.NotifyExceptionRange();
    EXPECT_EQ(busi_types.size(), 2u);
}

TEST_F(HistoryCallbackTest, RetryThatAPluginsThrowEndsGoesOnAMinuteLaterAndCostsTheOthersNothing) {
    ASSERT_TRUE(manager.Init());
    int calls = 0;
    PutOff(
        [&](auto&, int) {
            ++calls;
            throw std::runtime_error("broken");
        },
        "a_bad");
    PutOff(Keep());
    const auto pass_a_minute = [this] {
        platform.timers.fake.Tick(kTimer);
        platform.pools.RunAll();
    };
    pass_a_minute();
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(told, IsEmpty());
    pass_a_minute();
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_EQ(calls, 1) << "its camera has a timeline by now";
    pass_a_minute();
    EXPECT_THAT(told, ElementsAre(kRange));
}

// --- life of the function --------------------------------------------------------------------------------------------

/// Asks for a list when it goes, which takes the registrations exclusively.
class AsksAtItsEnd {
public:
    AsksAtItsEnd(CHistoryStateMgr& manager, int& ended) : manager_(manager), ended_(ended) {}
    ~AsksAtItsEnd() {
        std::set<int> cameras;
        manager_.GetCareCameraList(cameras, "nobody", kBusi);
        ++ended_;
    }

private:
    CHistoryStateMgr& manager_;
    int& ended_;
};

TEST_F(HistoryCallbackTest, WhatTheFunctionOwnsIsDestroyedWithNoLockHeld) {
    int ended = 0;
    const auto owner = [&] { return [owned = std::make_shared<AsksAtItsEnd>(manager, ended)](auto&, int) {}; };
    RunWatched("Register and UnRegister", [&] {
        EXPECT_TRUE(manager.Register(owner(), {kBusi}, kPlugin, kTable, "id"));
        EXPECT_EQ(ended, 0);
        EXPECT_FALSE(manager.Register(owner(), {kBusi}, kPlugin, kTable, "id"));
        EXPECT_EQ(ended, 1) << "a refused function goes";
        manager.UnRegister(kPlugin);
        EXPECT_EQ(ended, 2);
    });
}

// --- what must not overlap -------------------------------------------------------------------------------------------

TEST_F(HistoryCallbackTest, RowsReadByTheExFormBeforeADeletionComeBackIntoMemory) {
    Register();
    AddRange();
    platform.database.fake.Answer("SELECT", HistoryRows({{"101", "1", "2024-03-07 09:00:00", "28800", "2"}}));
    ON_CALL(platform.database, ExecuteQuery)
        .WillByDefault([this](const std::string& plugin, uint32_t conn_type, const std::string& sql, auto fn) {
            const bool result = platform.database.fake.Query("ExecuteQuery", plugin, conn_type, sql, fn);
            RunWatched("deletion", [this] { manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera}); });
            return result;
        });
    Forget();
    EXPECT_TRUE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kCamera}));
    EXPECT_THAT(Points(), ElementsAre("2024-03-07T09:00:00+08:00 2", kNow + " 1"));
    ASSERT_EQ(Sqls().size(), 3u);
    EXPECT_EQ(Sqls()[1], "DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1");
    EXPECT_EQ(Sqls()[2].rfind("INSERT", 0), 0u) << "the loaded point has no row";
}

}  // namespace
}  // namespace qar::history_test
