// Plug-ins, events, sweeps and ranges at one time.

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <thread>

#include "history_fixture.h"

namespace qar::history_test {
namespace {

using Peer = CHistoryStateMgrPeer;

constexpr int kRounds = 200;

class HistoryThreadsTest : public HistoryTest {
protected:
    HistoryThreadsTest() {
        platform.log.SetLevel(7);
        platform.site.AddCamera(102, kDevice);
        platform.site.AddCamera(103, 2);
        SetClock("2024-03-08 09:00:00", 2, -19800);
    }

    static std::shared_ptr<IBusMsg> Message(int type, int source_type, unsigned int id) {
        return std::make_shared<CBusMsgCommon>(type, source_type, id, "{}", nullptr, 0);
    }

    static std::string ClockText(int round) {
        char text[32];
        std::snprintf(text, sizeof text, "2024-03-08 %02d:%02d:%02d", 9 + round / 3600, round / 60 % 60, round % 60);
        return text;
    }

    template <class... Work>
    static void RunTogether(Work... work) {
        std::vector<std::thread> threads;
        (threads.emplace_back([work] {
            for (int round = 0; round < kRounds; ++round) work(round);
        }),
         ...);
        for (std::thread& thread : threads) thread.join();
    }

    /// The moments rise, and the ranges are those of the points.
    void ExpectWholeTimelines(const std::string& plugin, int busi) {
        for (const int camera : {101, 102, 103}) {
            std::vector<std::string> moments;
            for (const std::string& point : Points(camera, busi, plugin)) moments.push_back(point.substr(0, 19));
            for (std::size_t i = 1; i < moments.size(); ++i) EXPECT_LT(moments[i - 1], moments[i]);
        }
    }
};

TEST_F(HistoryThreadsTest, PluginsEventsSweepsAndRangesRunTogether) {
    std::atomic<int> calls{0};
    for (const char* plugin : {"a", "b"}) {
        ASSERT_TRUE(manager.Register([&calls](auto&, int) { ++calls; }, {1, 2}, plugin, kTable, "id"));
    }
    RunTogether(
        [this](int round) {
            SetClock(ClockText(round));
            manager.HandleDeviceState(Message(265, 2001, kDevice));
            manager.HandleDeviceState(Message(261, 2001, 2));
        },
        [this](int) { manager.HandleChannelState(Message(517, 1001, 102)); },
        [this](int) {
            manager.CheckCameraState();
            manager.CheckExpireState();
        },
        [this](int) {
            manager.NotifyExceptionRange();
            manager.DoDelaySetCareCamera();
        },
        [this](int round) {
            manager.SetCareCameraStateInfo("a", 1 + round % 2, {101, 102, 103});
            if (round % 10 == 9) manager.DelCareCameraStateInfo("a", 1, {101, 103});
            if (round % 10 == 4) manager.DelCareCameraStateInfoByCameraID("a", 102);
        },
        [this](int round) {
            manager.SetCareCameraStateInfoEx("b", 1, {101, 103});
            if (round % 7 == 6) manager.DelCareCameraStateInfoAtMoveOutByCameraIDs("b", {103});
            std::map<int, std::vector<SStateRange>> ranges;
            manager.GetExceptionRange(ranges, "b", 1);
            for (const auto& [camera, of_camera] : ranges) {
                for (const SStateRange& range : of_camera) manager.DelHistoryStateInRange("b", 1, camera, range);
            }
            std::set<int> cared;
            manager.GetCareCameraList(cared, "b", 1);
        },
        [this](int round) {
            manager.Register([](auto&, int) {}, {1}, "c", kTable, "id");
            manager.AddCameraState("c", 1 + round % 2, "2024-03-08T09:00:00+08:00", 1, 101);
            manager.UnRegister("c");
        });
    EXPECT_GT(calls, 0);
    for (const char* plugin : {"a", "b"}) {
        for (const int busi : {1, 2}) ExpectWholeTimelines(plugin, busi);
    }
}

TEST_F(HistoryThreadsTest, RowsFollowTheOrderOfMemoryUnderManyWriters) {
    ASSERT_TRUE(manager.Register([](auto&, int) {}, {1}, kPlugin, kTable, "id"));
    platform.database.fake.Clear();
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    ON_CALL(platform.database, Execute)
        .WillByDefault([&](const std::string& plugin, uint32_t conn_type, const std::string& sql) {
            if (++inside > 1) ++overlaps;
            for (int i = 0; i < 50; ++i) std::this_thread::yield();  // lets the others come, if they can
            const bool result = platform.database.fake.Execute(plugin, conn_type, sql);
            --inside;
            return result;
        });
    const auto check = [this](int round) {
        std::string iso = ClockText(round) + "+08:00";
        iso[10] = 'T';
        manager.AddCameraState(kPlugin, 2, iso, 1, kCamera);
    };
    RunTogether(check, check, check, check);
    EXPECT_EQ(overlaps, 0);
    // whatever the order was, each statement's old moment is the one that the statement before left
    std::string last;
    for (const std::string& sql : Sqls()) {
        if (sql.rfind("UPDATE", 0) != 0) {
            const std::size_t moment = sql.find('\'');
            if (last.empty()) last = sql.substr(moment + 1, 19);
            continue;  // an older moment, inserted in its place
        }
        const std::size_t to = sql.find("state_time = '") + 14;
        const std::size_t from = sql.find("and state_time = '") + 18;
        EXPECT_EQ(sql.substr(from, 19), last);
        last = sql.substr(to, 19);
    }
    EXPECT_EQ(last, ClockText(kRounds - 1));
    EXPECT_EQ(Points().back(), "2024-03-08T09:03:19+08:00 2");
}

// Were a lock held around it, the callback would wait for itself for ever.
TEST_F(HistoryThreadsTest, CallbackOfTheCareCallsRunsWithNoLockHeld) {
    int calls = 0;
    ASSERT_TRUE(manager.Register(
        [&](std::map<int, std::vector<SStateRange>>& ranges, int busi) {
            ++calls;
            std::set<int> cared;
            manager.GetCareCameraList(cared, kPlugin, busi);  // takes the registry exclusively
            EXPECT_EQ(cared.count(ranges.begin()->first), 1u);
            EXPECT_TRUE(manager.AddCameraState(kPlugin, 1, "2024-03-09T09:00:00+08:00", busi, 500));
            EXPECT_TRUE(manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {500}));
            ASSERT_TRUE(manager.Register([](auto&, int) {}, {1}, "inner", kTable, "id"));
            manager.UnRegister("inner");
        },
        {1}, kPlugin, kTable, "id"));
    EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 1, {101}));
    EXPECT_TRUE(manager.SetCareCameraStateInfoEx(kPlugin, 1, {102}));
    EXPECT_EQ(calls, 2);
}

TEST_F(HistoryThreadsTest, CallbackOfTheNotificationRunsWithNoLockHeld) {
    int calls = 0;
    ASSERT_TRUE(manager.Register(
        [&](std::map<int, std::vector<SStateRange>>& ranges, int busi) {
            ++calls;
            const SStateRange range = ranges.at(kCamera).at(0);
            EXPECT_TRUE(manager.DelHistoryStateInRange(kPlugin, busi, kCamera, range));
        },
        {1}, kPlugin, kTable, "id"));
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 2, "2024-03-08T08:00:00+08:00", 1, kCamera));
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, "2024-03-08T09:00:00+08:00", 1, kCamera));
    manager.NotifyExceptionRange();
    manager.NotifyExceptionRange();
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(Points(), ElementsAre("2024-03-08T09:00:00+08:00 2"));
}

TEST_F(HistoryThreadsTest, TimelinesCanBeReadWhileAnEventsCallbackRuns) {
    std::vector<std::string> asked;
    ASSERT_TRUE(manager.Register([&](auto&, int busi) { asked = Ranges(kPlugin, busi); }, {1}, kPlugin, kTable, "id"));
    platform.site.Device(kDevice)->guard = false;
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 1, {kCamera}));
    platform.site.Device(kDevice)->guard = true;
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_THAT(asked, ElementsAre("101: 2024-03-01T09:00:00+08:00 2024-03-08T09:00:00+08:00"));
}

}  // namespace
}  // namespace qar::history_test
