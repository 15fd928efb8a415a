// The order of rows, and what is held while a callback runs.

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <thread>

#include "history_fixture.h"

namespace qar::history_test {
namespace {

constexpr int kRounds = 200;

class HistoryThreadsTest : public HistoryTest {
protected:
    HistoryThreadsTest() {
        platform.log.SetLevel(7);
        platform.site.AddCamera(102, kDevice);
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
};

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
