// Eight threads do all that can be done with the state history at one time, for QAR_THREAD_SECONDS.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <stdexcept>

#include "history_stress_worker.h"
#include "history_table.h"
#include "qar/IDBManager.h"
#include "qarcommonbiz/TaskDefine.h"
#include "thread_watch.h"

namespace qar::history_test {
namespace {

using namespace stress;
using RangeMap = std::map<int, std::vector<SStateRange>>;

constexpr int kThreads = 8;
constexpr std::chrono::seconds kRound{5};
const std::string kAccessTopic = "TUK_DeviceAccess";
const std::string kConfigTopic = "Config_LocalConfigManager";
const std::string kTimer = "HistoryStateMgr.timer";

class HistoryStressTest : public HistoryTest {
protected:
    using Operation = void (HistoryStressTest::*)(Worker& worker);
    struct NamedOperation {
        const char* name;
        Operation operation;
    };

    HistoryStressTest() {
        platform.log.SetLevel(7);
        for (const int camera : kCameras) platform.site.AddCamera(camera, DeviceOf(camera));
        SetClocks();
        ON_CALL(platform.database, GetNextID).WillByDefault([this](const std::string&) { return ++last_id_; });
        ON_CALL(platform.database, Execute)
            .WillByDefault([this](const std::string& plugin, uint32_t conn_type, const std::string& sql) {
                if (plugin.rfind("db", 0) == 0) return platform.database.fake.Execute(plugin, conn_type, sql);
                tables_.Execute(sql);
                return true;
            });
        ON_CALL(platform.database, ExecuteQuery)
            .WillByDefault([this](const std::string& plugin, uint32_t conn_type, const std::string& sql, auto fn) {
                if (plugin.rfind("db", 0) == 0)
                    return platform.database.fake.Query("ExecuteQuery", plugin, conn_type, sql, fn);
                qarmock::FakeConnect connect(tables_.Query(sql));
                fn(&connect);
                return true;
            });
    }

    // --- the callback ------------------------------------------------------------------------------------------------

    NotifyFunc Callback(const std::string& plugin) {
        return [this, plugin](RangeMap& ranges, int busi) {
            const int call = ++calls_;
            EXPECT_FALSE(ranges.empty());
            ExpectWellFormed(ranges);
            {
                std::lock_guard<std::mutex> lock(told_mutex_);
                told_[{plugin, busi}].push_back(Texts(ranges));
            }
            if (quiet_) return;
            if (call % 8 == 0) {
                RangeMap asked;
                manager.GetExceptionRange(asked, plugin, busi);
                ExpectWellFormed(asked);
            }
            if (call % 64 == 0) throw std::runtime_error("broken");
        };
    }

    /// Each range has a length, and each begins behind the one before.
    static void ExpectWellFormed(const RangeMap& ranges) {
        for (const auto& [camera, of_camera] : ranges) {
            std::string before;
            EXPECT_FALSE(of_camera.empty()) << camera;
            for (const SStateRange& range : of_camera) {
                EXPECT_LT(before, Moment(range.str_begin_time_)) << camera;
                EXPECT_LT(Moment(range.str_begin_time_), Moment(range.str_end_time_)) << camera;
                before = Moment(range.str_end_time_);
            }
        }
    }

    // --- what the threads do -----------------------------------------------------------------------------------------

    void SetClocks() {
        const std::string text = PlainText(Now());
        for (const int device : {1, 2, kUnknownClockDevice}) SetClock(text, device, OffsetOf(device));
    }
    long long Now() const { return kFirstMoment + steps_ * kStepSeconds; }

    void AdvanceTheClocks(Worker& worker) {
        ++steps_;
        SetClocks();
        if (worker.Once(3)) platform.time_zone.fake.ForgetClock(kUnknownClockDevice);
    }
    void ChangeTheDevices(Worker& worker) {
        const int device = 1 + worker.Below(3);
        platform.site.Device(device)->online = !worker.Once(4);
        platform.site.Device(device)->guard = !worker.Once(4);
        platform.site.Camera(worker.Of(kCameras))->online = !worker.Once(4);
    }
    void TellOfADevice(Worker& worker) {
        const int type = worker.Once(2) ? 265 : 261;
        platform.bus.fake.Deliver(kAccessTopic, type, Event(type, 2001, 1 + worker.Below(3)));
        RunTasks(worker);
    }
    void TellOfAChannel(Worker& worker) {
        platform.bus.fake.Deliver(kAccessTopic, 517, Event(517, 1001, worker.Of(kCameras)));
        RunTasks(worker);
    }
    void TellOfNothing(Worker& worker) {
        platform.bus.fake.Deliver(kAccessTopic, 517, Event(517, 2001, 1 + worker.Below(3)));
        platform.bus.fake.Deliver(kAccessTopic, 265, Event(265, 1001, worker.Of(kCameras)));
        platform.bus.fake.Deliver(kAccessTopic, 265, Event(265, 2001, 77));
        RunTasks(worker);
    }
    void PassAMinute(Worker& worker) {
        static const std::vector<unsigned long long> ticks = {5, 20, 25, 55, 7};
        EXPECT_TRUE(platform.timers.fake.Tick(kTimer, worker.Of(ticks)));
        RunTasks(worker);
    }
    void RunTasks(Worker& worker) {
        for (int i = worker.Below(4); i >= 0; --i) pool_->RunOne();
    }

    std::string AnyPlugin(Worker& worker) {
        static const std::vector<std::string> plugins = {kKept[0], kKept[1], kComer, kWild};
        return worker.Of(plugins);
    }
    template <class Call>
    static void AllowThrow(const Call& call) {
        try {
            call();
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "broken");
        }
    }
    void SetCare(Worker& worker) {
        const std::string plugin = AnyPlugin(worker);
        AllowThrow([&] {
            const bool result = manager.SetCareCameraStateInfo(plugin, worker.Of(kBusiTypes), worker.Cameras());
            EXPECT_TRUE(result || plugin == kComer);
        });
    }
    void SetCareEx(Worker& worker) {
        AllowThrow([&] { manager.SetCareCameraStateInfoEx(kWild, worker.Of(kBusiTypes), worker.Cameras()); });
    }
    void DeleteCare(Worker& worker) {
        if (!worker.Once(3)) return;
        manager.DelCareCameraStateInfo(AnyPlugin(worker), worker.Of(kBusiTypes), worker.Cameras());
    }
    void DeleteCareOfACamera(Worker& worker) {
        if (!worker.Once(3)) return;
        manager.DelCareCameraStateInfoByCameraID(AnyPlugin(worker), worker.Of(kCameras));
    }
    void MoveOut(Worker& worker) {
        EXPECT_TRUE(manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kWild, worker.Cameras()));
    }
    void ListCare(Worker& worker) {
        std::set<int> cameras;
        manager.GetCareCameraList(cameras, AnyPlugin(worker), worker.Of(kBusiTypes));
        for (const int camera : cameras) EXPECT_EQ(std::count(kCameras.begin(), kCameras.end(), camera), 1);
    }
    void AskForRanges(Worker& worker) {
        RangeMap ranges;
        EXPECT_TRUE(manager.GetExceptionRange(ranges, AnyPlugin(worker), worker.Of(kBusiTypes)));
        ExpectWellFormed(ranges);
    }
    void DeleteRanges(Worker& worker) {
        const std::string plugin = AnyPlugin(worker);
        const int busi = worker.Of(kBusiTypes);
        RangeMap ranges;
        EXPECT_TRUE(manager.GetExceptionRange(ranges, plugin, busi));
        for (const auto& [camera, of_camera] : ranges) {
            if (worker.Once(2)) {
                EXPECT_TRUE(manager.DelHistoryStateInRange(plugin, busi, camera, worker.Of(of_camera)));
            }
        }
        // also one that nobody told, with its end before its begin now and then
        const int camera = worker.Of(kCameras);
        const SStateRange range{AnyMoment(worker, camera), AnyMoment(worker, camera)};
        EXPECT_TRUE(manager.DelHistoryStateInRange(plugin, busi, camera, range));
    }
    /// One of the last eight days.
    std::string AnyMoment(Worker& worker, int camera) const {
        return IsoText(Now() - worker.Below(8 * 24 * 3600), camera);
    }
    void AddState(Worker& worker) {
        static const std::vector<int> states = {1, 1, 2, 2, 7};
        const std::string plugin = AnyPlugin(worker);
        const int camera = worker.Of(kCameras);
        const bool result =
            manager.AddCameraState(plugin, worker.Of(states), AnyMoment(worker, camera), worker.Of(kBusiTypes), camera);
        EXPECT_TRUE(result || plugin == kComer);
        EXPECT_FALSE(manager.AddCameraState(plugin, 1, "", 1, camera));
        EXPECT_FALSE(manager.AddCameraState("stranger", 1, AnyMoment(worker, camera), 1, camera));
    }
    void ComeOrGo(Worker& worker) {
        if (worker.Once(2)) {
            manager.Register(Callback(kComer), {1, 2}, kComer, TableOf(kComer), "id");
        } else {
            manager.UnRegister(kComer);
        }
    }
    /// A plug-in of the thread's own: what nobody else interferes with has sure results.
    void LiveALife(Worker& worker) {
        const std::string plugin = "own" + std::to_string(worker.number);
        const int camera = worker.Of(kCameras);
        EXPECT_TRUE(manager.Register(Callback(plugin), {1, 2}, plugin, TableOf(plugin), "id"));
        EXPECT_FALSE(manager.Register(Callback(plugin), {1, 2}, plugin, TableOf(plugin), "id"));
        EXPECT_TRUE(manager.AddCameraState(plugin, 1, AnyMoment(worker, camera), 1, camera));
        EXPECT_FALSE(manager.SetCareCameraStateInfo(plugin, 3, {camera}));
        AllowThrow([&] { manager.SetCareCameraStateInfo(plugin, 1, {camera}); });
        AllowThrow([&] { manager.SetCareCameraStateInfoEx(plugin, 2, worker.Cameras()); });
        std::set<int> cared;
        manager.GetCareCameraList(cared, plugin, 1);
        EXPECT_EQ(cared.count(camera), 1u);
        manager.DelCareCameraStateInfo(plugin, 1, {camera});
        manager.GetCareCameraList(cared, plugin, 1);
        EXPECT_EQ(cared.count(camera), 0u);
        if (worker.Once(2)) manager.DelCareCameraStateInfo(plugin, 2, {kCameras.begin(), kCameras.end()});
        EXPECT_TRUE(manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(plugin, {kCameras.begin(), kCameras.end()}));
        manager.UnRegister(plugin);
        EXPECT_FALSE(manager.AddCameraState(plugin, 1, AnyMoment(worker, camera), 1, camera));
        cared = {-5};
        manager.GetCareCameraList(cared, plugin, 1);
        EXPECT_THAT(cared, ElementsAre(-5));
    }
    void UseTheDatabase(Worker& worker) {
        IDBManager* const database = IDBManager::Instance();
        const std::string plugin = "db" + std::to_string(worker.number);
        EXPECT_TRUE(database->Initialize(plugin, 1, 1));
        EXPECT_TRUE(database->Execute(plugin, 1, "UPDATE 1"));
        int results = 0;
        EXPECT_TRUE(database->ExecuteQuery(plugin, 2, "SELECT 1", [&](db_layer::CConnect*) {
            ++results;
            EXPECT_TRUE(database->ResetDBParam(plugin));
        }));
        EXPECT_EQ(results, 1);
        EXPECT_GT(database->GetNextID(""), 0);
        EXPECT_TRUE(database->Finalize(plugin));
        EXPECT_FALSE(database->Execute(plugin, 1, "UPDATE 1"));
        EXPECT_FALSE(database->ResetDBParam(plugin));
        EXPECT_FALSE(database->Finalize(plugin));
        EXPECT_TRUE(worker.Once(2) || database->Initialize(plugin, 2, 0));
    }
    void PointElsewhere(const std::string& name) {
        auto info = std::make_shared<ZELPlatform::CLocalDBInfo>();
        info->SetValdbName(name);
        platform.local_config.fake.Set(info);
        auto content = std::make_shared<ZELPlatform::CObserverParam>();
        content->SetObserverMsgType(1);
        content->SetText("{\"ChangeType\":1}");
        platform.bus.fake.Deliver(kConfigTopic, 1, content);
    }
    void PointElsewhere(Worker& worker) {
        PointElsewhere("place" + std::to_string(worker.Below(5)));
        EXPECT_TRUE(IDBManager::Instance()->ResetDBParam(kKept[0]));
    }
    void InitAgain(Worker&) { EXPECT_TRUE(manager.Init()); }

    static const std::vector<NamedOperation>& Operations();

    void Work(int number, unsigned seed, std::chrono::steady_clock::time_point end, ThreadWatch::Place& place) {
        Worker worker{{number, std::mt19937(seed)}};
        std::vector<NamedOperation> operations = Operations();
        do {
            std::shuffle(operations.begin(), operations.end(), worker.random);
            for (const NamedOperation& each : operations) {
                place.Doing(each.name);
                (this->*each.operation)(worker);
            }
            operations_ += operations.size();
        } while (std::chrono::steady_clock::now() < end);
    }

    // --- what must hold once they rest
    // ----------------------------------------------------------------------------------

    std::vector<std::string> MemoryOf(const std::string& plugin, int busi, int camera) const {
        std::vector<std::string> points;
        for (const std::string& point : Points(camera, busi, plugin)) points.push_back(PlainPoint(point));
        return points;
    }
    template <class Check>
    void ForEachTimeline(const std::string& plugin, const Check& check) {
        for (const int busi : kBusiTypes) {
            for (const int camera : kCameras) {
                SCOPED_TRACE(plugin + ", " + std::to_string(busi) + ", " + std::to_string(camera));
                check(MemoryOf(plugin, busi, camera), tables_.Points(TableOf(plugin), busi, camera));
            }
        }
        for (const auto& [busi, camera] : tables_.Keys(TableOf(plugin))) {
            EXPECT_TRUE((busi == 1 || busi == 2) && camera >= 101 && camera <= 104) << "a row of nobody's";
        }
    }
    void ExpectRising(const std::string& plugin) {
        ForEachTimeline(plugin, [](const std::vector<std::string>& memory, const std::vector<std::string>&) {
            for (std::size_t i = 1; i < memory.size(); ++i) EXPECT_LT(Moment(memory[i - 1]), Moment(memory[i]));
        });
    }
    void ExpectMemoryIsTheTable(const std::string& plugin) {
        ForEachTimeline(plugin, [](const std::vector<std::string>& memory, const std::vector<std::string>& table) {
            EXPECT_EQ(memory, table);
        });
    }
    void ExpectMemoryIsInTheTable(const std::string& plugin) {
        ForEachTimeline(plugin, [](const std::vector<std::string>& memory, const std::vector<std::string>& table) {
            for (const std::string& point : memory) {
                EXPECT_NE(std::count(table.begin(), table.end(), point), 0) << point;
            }
        });
    }
    /// The table may hold a moment twice, from a point that was entered while memory had forgotten the first.
    void ExpectMemoryHasEachRowOnce(const std::string& plugin) {
        ForEachTimeline(plugin, [](const std::vector<std::string>& memory, const std::vector<std::string>& table) {
            std::vector<std::string> last_of_each;
            for (const std::string& row : table) {
                if (!last_of_each.empty() && Moment(last_of_each.back()) == Moment(row)) last_of_each.pop_back();
                last_of_each.push_back(row);
            }
            EXPECT_EQ(memory, last_of_each);
        });
    }
    void ExpectOneNotificationTellsAllRangesOnce() {
        told_.clear();
        manager.NotifyExceptionRange();
        for (const std::string& plugin : {kKept[0], kKept[1], kComer, kWild}) {
            for (const int busi : kBusiTypes) {
                const std::vector<std::string> ranges = Ranges(plugin, busi);
                std::vector<std::vector<std::string>> calls;
                if (!ranges.empty()) calls.push_back(ranges);
                EXPECT_EQ((told_[{plugin, busi}]), calls) << plugin << ", " << busi;
            }
        }
    }
    void LoadAgain(const std::string& plugin) {
        manager.UnRegister(plugin);
        ASSERT_TRUE(manager.Register(Callback(plugin), {1, 2}, plugin, TableOf(plugin), "id"));
    }
    void ExpectOpenPluginsFollow() {
        PointElsewhere("rest");
        for (const auto& [plugin, param] : platform.database.fake.Opened()) EXPECT_EQ(param.dbName, "rest") << plugin;
        EXPECT_EQ(SubscriptionsTo(kConfigTopic), 1);
    }
    long SubscriptionsTo(const std::string& topic) const {
        const auto all = platform.bus.fake.Subscriptions();
        return std::count_if(all.begin(), all.end(), [&](const auto& each) { return each.observer == topic; });
    }

    void CheckAtRest() {
        quiet_ = true;
        platform.pools.RunAll();
        for (const std::string& plugin : kKept) ExpectMemoryIsTheTable(plugin);
        manager.Register(Callback(kComer), {1, 2}, kComer, TableOf(kComer), "id");
        ExpectMemoryIsInTheTable(kComer);
        for (const std::string& plugin : {kKept[0], kKept[1], kComer, kWild}) ExpectRising(plugin);
        ExpectOneNotificationTellsAllRangesOnce();
        for (const std::string& plugin : kKept) {
            LoadAgain(plugin);
            ExpectMemoryIsTheTable(plugin);
        }
        for (const std::string& plugin : {kComer, kWild}) {
            LoadAgain(plugin);
            ExpectMemoryHasEachRowOnce(plugin);
        }
        EXPECT_EQ(tables_.KeysOutOfOrder(), 0) << "rows are written one at a time";
        ExpectOpenPluginsFollow();
        for (const std::string& text : pool_->CaughtExceptions()) EXPECT_EQ(text, "broken");
        EXPECT_THAT(platform.bus.fake.CaughtExceptions(), IsEmpty());
        EXPECT_THAT(platform.timers.fake.CaughtExceptions(), IsEmpty());
        platform.database.fake.Clear();
        told_.clear();
        quiet_ = false;
    }

    HistoryTables tables_;
    std::shared_ptr<qarmock::FakePool> pool_ = (CMessageLoopForHistoryState::Instance(), qarmock::Pools().back());
    std::atomic<long long> last_id_{0};
    std::atomic<long long> steps_{0};
    std::atomic<int> calls_{0};
    std::atomic<bool> quiet_{false};
    std::atomic<std::size_t> operations_{0};
    std::mutex told_mutex_;
    std::map<std::pair<std::string, int>, std::vector<std::vector<std::string>>> told_;
};

const std::vector<HistoryStressTest::NamedOperation>& HistoryStressTest::Operations() {
    static const std::vector<NamedOperation> operations = {
        {"clocks go on", &HistoryStressTest::AdvanceTheClocks},
        {"devices come and go", &HistoryStressTest::ChangeTheDevices},
        {"event of a device", &HistoryStressTest::TellOfADevice},
        {"event of a channel", &HistoryStressTest::TellOfAChannel},
        {"event of nothing", &HistoryStressTest::TellOfNothing},
        {"tick", &HistoryStressTest::PassAMinute},
        {"tasks", &HistoryStressTest::RunTasks},
        {"SetCareCameraStateInfo", &HistoryStressTest::SetCare},
        {"SetCareCameraStateInfoEx", &HistoryStressTest::SetCareEx},
        {"DelCareCameraStateInfo", &HistoryStressTest::DeleteCare},
        {"DelCareCameraStateInfoByCameraID", &HistoryStressTest::DeleteCareOfACamera},
        {"DelCareCameraStateInfoAtMoveOutByCameraIDs", &HistoryStressTest::MoveOut},
        {"GetCareCameraList", &HistoryStressTest::ListCare},
        {"GetExceptionRange", &HistoryStressTest::AskForRanges},
        {"DelHistoryStateInRange", &HistoryStressTest::DeleteRanges},
        {"AddCameraState", &HistoryStressTest::AddState},
        {"Register or UnRegister", &HistoryStressTest::ComeOrGo},
        {"a plug-in's life", &HistoryStressTest::LiveALife},
        {"IDBManager", &HistoryStressTest::UseTheDatabase},
        {"database moves", static_cast<Operation>(&HistoryStressTest::PointElsewhere)},
        {"Init", &HistoryStressTest::InitAgain},
    };
    return operations;
}

TEST_F(HistoryStressTest, EverythingAtOnceLeavesMemoryAndTableInStep) {
    const auto seconds = std::chrono::seconds(Setting("QAR_THREAD_SECONDS", 2));
    const auto seed = static_cast<unsigned>(Setting("QAR_THREAD_SEED", std::random_device()()));
    std::printf("QAR_THREAD_SEED=%u\n", seed);
    std::fflush(stdout);
    ASSERT_TRUE(manager.Init());
    for (const std::string& plugin : {kKept[0], kKept[1], kComer, kWild}) {
        ASSERT_TRUE(IDBManager::Instance()->Initialize(plugin, 1, 1));
        ASSERT_TRUE(manager.Register(Callback(plugin), {1, 2}, plugin, TableOf(plugin), "id"));
    }

    const auto end = std::chrono::steady_clock::now() + seconds;
    unsigned round = 0;
    do {
        const auto round_end = std::min(end, std::chrono::steady_clock::now() + kRound);
        ThreadWatch watch;
        for (int i = 0; i < kThreads; ++i) {
            watch.Start("thread " + std::to_string(i), [this, i, seed, round, round_end](ThreadWatch::Place& place) {
                Work(i, seed + round * kThreads + static_cast<unsigned>(i), round_end, place);
            });
        }
        watch.Join();
        ++round;
        CheckAtRest();
    } while (!HasFailure() && std::chrono::steady_clock::now() < end);
    std::printf("%u rounds, %zu operations, %zu points, %d calls\n", round, operations_.load(), tables_.Inserts(),
                calls_.load());
    EXPECT_GT(calls_, 0);

    for (const std::string& plugin : {kKept[0], kKept[1], kComer, kWild}) {
        manager.UnRegister(plugin);
        IDBManager::Instance()->Finalize(plugin);
    }
    for (int i = 0; i < kThreads; ++i) {
        manager.UnRegister("own" + std::to_string(i));
        IDBManager::Instance()->Finalize("db" + std::to_string(i));
    }
    EXPECT_THAT(platform.timers.fake.Running(), IsEmpty()) << "the last UnRegister ends the timer";
    EXPECT_FALSE(pool_->Running());
    EXPECT_EQ(SubscriptionsTo(kConfigTopic), 0) << "the last Finalize ends the subscription";
}

}  // namespace
}  // namespace qar::history_test
