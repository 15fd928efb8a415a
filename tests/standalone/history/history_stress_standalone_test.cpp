// Eight threads use the state history at one time over real workers, timers, bus, probes and SQLite, for
// QAR_THREAD_SECONDS.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/LocalConfigManager.h"
#include "ZELPlatform/MsgBus.h"
#include "qar/IDBManager.h"
#include "qar/IHistoryStateMgr.h"
#include "standalone/base/Clock.h"
#include "standalone/base/ThreadPoolControl.h"
#include "standalone/base/TimerStatus.h"
#include "standalone/bus/BusControl.h"
#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/log/LogControl.h"
#include "tests/standalone/database/temp_folder.h"
#include "tests/standalone/device/scripted_server.h"
#include "tests/support/random_worker.h"
#include "tests/unit/qarcommonbiz/thread_watch.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace {

using device_test::ScriptedServer;
using qar::SStateRange;
using qar::history_test::ThreadWatch;
using qarplatform::Clock;
using qarplatform::DeviceLayer;
using testing::IsEmpty;
using RangeMap = std::map<int, std::vector<SStateRange>>;

constexpr int kThreads = 8;
constexpr int kDevices = 3;
constexpr double kScale = 3000;          // a minute's tick each 20 ms
constexpr int64_t kStartS = 1772323200;  // 2026-03-01 00:00:00 UTC

const std::set<int> kCameras = {101, 102, 201, 202, 301, 302};
const std::vector<int> kCameraList(kCameras.begin(), kCameras.end());
const std::vector<int> kBusiTypes = {1, 2};
// kept: registered all the time, never moved out. comer: comes and goes. wild: also with the Ex form and move-outs that
// overlap deletions.
const std::vector<std::string> kPlugins = {"kept_a", "kept_b", "comer", "wild"};

long long Setting(const char* name, long long otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoll(text);
}

std::string Text(int64_t seconds, const char* format) {
    const time_t moment = seconds;
    tm utc{};
    gmtime_r(&moment, &utc);
    char text[64];
    strftime(text, sizeof(text), format, &utc);
    return text;
}

int64_t NowS() { return Clock::Get().NowMs() / 1000; }

std::string TableOf(const std::string& plugin) { return "history." + plugin; }

std::vector<std::string> Texts(const RangeMap& ranges) {
    std::vector<std::string> texts;
    for (const auto& [camera, of_camera] : ranges) {
        for (const SStateRange& range : of_camera) {
            texts.push_back(std::to_string(camera) + ": " + range.str_begin_time_ + " " + range.str_end_time_);
        }
    }
    return texts;
}

/// One thread's own.
struct Worker : test_support::RandomWorker {
    std::set<int> Cameras() { return SomeOf(kCameras); }
    std::string AnyMoment() { return Text(NowS() - Below(8 * 24 * 3600), "%Y-%m-%dT%H:%M:%S+00:00"); }
};

class HistoryStressStandaloneTest : public testing::Test {
protected:
    using Operation = void (HistoryStressStandaloneTest::*)(Worker& worker);
    struct NamedOperation {
        const char* name;
        Operation operation;
    };

    void SetUp() override {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        Clock::Get().Configure(kScale, std::chrono::duration_cast<std::chrono::milliseconds>(now).count(),
                               kStartS * 1000);
        qarplatform::LogOptions log;
        log.level = 5;
        log.file = folder_ / "log";
        log.max_bytes = std::size_t{1} << 30;
        std::string error;
        ASSERT_TRUE(qarplatform::StartLog(log, error)) << error;
        MoveTheDatabase("first");
        LoadSite();
    }

    void LoadSite() {
        qarplatform::Site site;
        for (int id = 1; id <= kDevices; ++id) {
            servers_.push_back(std::make_unique<ScriptedServer>());
            servers_.back()->SetScript([](const std::string&) {
                return ScriptedServer::Reply{
                    "RTSP/1.0 200 OK\r\nCSeq: 1\r\nDate: " + Text(NowS(), "%a, %d %b %Y %H:%M:%S GMT") + "\r\n\r\n"};
            });
            const std::string number = std::to_string(id);
            site.devices.push_back({id, 2001, "D-" + number, "device " + number,
                                    "rtsp://" + servers_.back()->HostAndPort() + "/", "", "", true});
            for (int no = 1; no <= 2; ++no) {
                const int camera = 100 * id + no;
                const std::string text = std::to_string(camera);
                site.channels.push_back({camera, 1001, "C-" + text, id, no});
                site.elements.push_back({camera + 1000, "E-" + text, "camera " + text, camera, 0, kStartS});
            }
        }
        DeviceLayer::Get().Load(site);
        std::string error;
        ASSERT_TRUE(DeviceLayer::Get().StartProbes({60, 2000, 1}, error)) << error;
    }

    /// To the same place with another name of the user, which makes every connection anew.
    void MoveTheDatabase(const std::string& user) {
        ZELPlatform::CLocalDBInfo info;
        info.SetValdbType(qarplatform::kDatabaseSqlite);
        info.SetValdbName(folder_ / "database");
        info.SetValdbUser(user);
        qarplatform::SetLocationDBInfo(info);
    }

    void OpenAndRegister(const std::string& plugin) {
        ASSERT_TRUE(database_->Initialize(plugin, 2, 2));
        const std::string table = TableOf(plugin);
        ASSERT_TRUE(database_->Execute(
            plugin, 1,
            "CREATE TABLE " + table +
                "(id BIGINT PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time VARCHAR(19), "
                "state_utc_time VARCHAR(19), business_type INTEGER, bi_type INTEGER, differ INTEGER);"
                "CREATE INDEX history." +
                plugin + "_point ON " + plugin + "(camera_id, business_type, state_time)"));
        ASSERT_TRUE(Register(plugin));
    }
    bool Register(const std::string& plugin) {
        return history_->Register(
            [this, plugin](RangeMap& ranges, int busi) {
                EXPECT_FALSE(ranges.empty());
                ExpectWellFormed(ranges);
                RangeMap asked;
                EXPECT_TRUE(history_->GetExceptionRange(asked, plugin, busi));
                ++calls_;
            },
            {1, 2}, plugin, TableOf(plugin), "id");
    }

    static void ExpectWellFormed(const RangeMap& ranges) {
        for (const auto& [camera, of_camera] : ranges) {
            std::string before;
            for (const SStateRange& range : of_camera) {
                EXPECT_LT(before, range.str_begin_time_) << camera;
                EXPECT_LT(range.str_begin_time_, range.str_end_time_) << camera;
                before = range.str_end_time_;
            }
        }
    }

    // --- what the threads do -----------------------------------------------------------------------------------------

    void TellOfADevice(Worker& worker) {
        const bool channel = worker.Once(2);
        auto event = std::make_shared<tuk::CDeviceAccessObserverParam>();
        event->SetObserverMsgType(channel ? 517 : 265);
        event->SetVal_resource_type(channel ? 1001 : 2001);
        event->SetVal_id(channel ? worker.Of(kCameraList) : 1 + worker.Below(kDevices));
        EXPECT_TRUE(ZELPlatform::MsgBus::NotifyObserverEventEx("TUK_DeviceAccess", channel ? 517 : 265, event,
                                                               ZELPlatform::kObserverTask2));
    }
    void TurnGuardOffAndOn(Worker& worker) {
        const int device = 1 + worker.Below(kDevices);
        EXPECT_TRUE(DeviceLayer::Get().SetGuard(device, false));
        EXPECT_TRUE(DeviceLayer::Get().SetGuard(device, true));
    }
    void LoseADevice(Worker& worker) {
        if (!worker.Once(8)) return;
        const std::lock_guard<std::mutex> lock(server_mutex_);
        ScriptedServer& server = *servers_[static_cast<std::size_t>(worker.Below(kDevices))];
        server.Vanish();
        server.Return();
    }
    void SetCare(Worker& worker) {
        const std::string plugin = worker.Of(kPlugins);
        const bool result = history_->SetCareCameraStateInfo(plugin, worker.Of(kBusiTypes), worker.Cameras());
        EXPECT_TRUE(result || plugin == "comer");
    }
    void SetCareEx(Worker& worker) {
        history_->SetCareCameraStateInfoEx("wild", worker.Of(kBusiTypes), worker.Cameras());
    }
    void DeleteCare(Worker& worker) {
        if (!worker.Once(3)) return;
        history_->DelCareCameraStateInfo(worker.Of(kPlugins), worker.Of(kBusiTypes), worker.Cameras());
    }
    void DeleteCareOfACamera(Worker& worker) {
        if (!worker.Once(3)) return;
        history_->DelCareCameraStateInfoByCameraID(worker.Of(kPlugins), worker.Of(kCameraList));
    }
    void MoveOut(Worker& worker) {
        EXPECT_TRUE(history_->DelCareCameraStateInfoAtMoveOutByCameraIDs("wild", worker.Cameras()));
    }
    void ListCare(Worker& worker) {
        std::set<int> cameras;
        history_->GetCareCameraList(cameras, worker.Of(kPlugins), worker.Of(kBusiTypes));
        for (const int camera : cameras) EXPECT_EQ(kCameras.count(camera), 1U);
    }
    void DeleteRanges(Worker& worker) {
        const std::string plugin = worker.Of(kPlugins);
        const int busi = worker.Of(kBusiTypes);
        RangeMap ranges;
        EXPECT_TRUE(history_->GetExceptionRange(ranges, plugin, busi));
        ExpectWellFormed(ranges);
        for (const auto& [camera, of_camera] : ranges) {
            EXPECT_TRUE(history_->DelHistoryStateInRange(plugin, busi, camera, worker.Of(of_camera)));
        }
        EXPECT_TRUE(history_->DelHistoryStateInRange(plugin, busi, worker.Of(kCameraList),
                                                     {worker.AnyMoment(), worker.AnyMoment()}));
    }
    void AddState(Worker& worker) {
        const std::string plugin = worker.Of(kPlugins);
        const bool result = history_->AddCameraState(plugin, 1 + worker.Below(2), worker.AnyMoment(),
                                                     worker.Of(kBusiTypes), worker.Of(kCameraList));
        EXPECT_TRUE(result || plugin == "comer");
    }
    void ComeOrGo(Worker& worker) {
        if (worker.Once(2)) {
            Register("comer");
        } else {
            history_->UnRegister("comer");
        }
    }
    void UseTheDatabase(Worker& worker) {
        const std::string plugin = "db" + std::to_string(worker.number);
        EXPECT_TRUE(database_->Initialize(plugin, 1, 0));
        int rows = 0;
        EXPECT_TRUE(database_->ExecuteQuery(plugin, 1, "SELECT 7 AS v", [&](db_layer::CConnect* connect) {
            EXPECT_TRUE(database_->ResetDBParam(plugin));
            for (; !connect->IsEnd(); connect->MoveNext()) ++rows;
        }));
        EXPECT_EQ(rows, 1);
        EXPECT_GT(database_->GetNextID(""), 0);
        EXPECT_TRUE(database_->Finalize(plugin));
        EXPECT_FALSE(database_->Finalize(plugin));
    }
    void MoveTheDatabase(Worker& worker) {
        if (worker.Once(8)) MoveTheDatabase("user" + std::to_string(worker.Below(1000)));
    }
    void InitAgain(Worker&) { EXPECT_TRUE(history_->Init()); }

    void Work(int number, unsigned seed, std::chrono::steady_clock::time_point end, ThreadWatch::Place& place) {
        using Self = HistoryStressStandaloneTest;
        std::vector<NamedOperation> operations = {
            {"event", &Self::TellOfADevice},
            {"guard", &Self::TurnGuardOffAndOn},
            {"lose a device", &Self::LoseADevice},
            {"SetCareCameraStateInfo", &Self::SetCare},
            {"SetCareCameraStateInfoEx", &Self::SetCareEx},
            {"DelCareCameraStateInfo", &Self::DeleteCare},
            {"DelCareCameraStateInfoByCameraID", &Self::DeleteCareOfACamera},
            {"DelCareCameraStateInfoAtMoveOutByCameraIDs", &Self::MoveOut},
            {"GetCareCameraList", &Self::ListCare},
            {"GetExceptionRange and DelHistoryStateInRange", &Self::DeleteRanges},
            {"AddCameraState", &Self::AddState},
            {"Register or UnRegister", &Self::ComeOrGo},
            {"IDBManager", &Self::UseTheDatabase},
            {"database moves", static_cast<Operation>(&Self::MoveTheDatabase)},
            {"Init", &Self::InitAgain},
        };
        Worker worker{{number, std::mt19937(seed)}};
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

    std::vector<std::string> Ranges(const std::string& plugin, int busi) {
        RangeMap ranges;
        EXPECT_TRUE(history_->GetExceptionRange(ranges, plugin, busi));
        return Texts(ranges);
    }

    /// The ranges that the rows come to, worked out here. A moment that a camera has twice fails the test unless told.
    std::vector<std::string> RangesOfTheRows(const std::string& plugin, int busi, bool twice_is_fine) {
        std::map<int, std::map<std::string, int>> points;
        // in the order in which the library reads them: of two rows of one moment the later counts
        const std::string sql = "SELECT * FROM " + TableOf(plugin) + " ORDER BY  business_type, camera_id, state_time";
        EXPECT_TRUE(database_->ExecuteQuery(plugin, 1, sql, [&](db_layer::CConnect* rows) {
            for (; !rows->IsEnd(); rows->MoveNext()) {
                if (rows->GetInt("business_type") != busi) continue;
                const int camera = static_cast<int>(rows->GetInt("camera_id"));
                const std::string moment = rows->GetString("state_time");
                EXPECT_TRUE(twice_is_fine || points[camera].count(moment) == 0) << plugin << ", " << moment;
                points[camera][moment] = static_cast<int>(rows->GetInt("camera_state"));
            }
        }));
        RangeMap ranges;
        for (const auto& [camera, of_camera] : points) {
            for (auto later = of_camera.begin(); later != of_camera.end(); ++later) {
                if (later == of_camera.begin()) continue;
                const auto earlier = std::prev(later);
                if (later->second == 2 && (earlier->second == 1 || earlier->second == 2)) continue;
                auto& all = ranges[camera];
                if (!all.empty() && all.back().str_end_time_ == Iso(earlier->first)) {
                    all.back().str_end_time_ = Iso(later->first);
                } else {
                    all.push_back({Iso(earlier->first), Iso(later->first)});
                }
            }
        }
        return Texts(ranges);
    }
    static std::string Iso(std::string plain) {
        plain[10] = 'T';
        return plain + "+00:00";
    }

    void Stop() {
        DeviceLayer::Get().StopProbes();
        qarplatform::StopTimers();
        qarplatform::StopBus();
        qarplatform::JoinThreadPools();
    }

    /// The lines of the state history's statements that failed.
    std::vector<std::string> FailedStatements() const {
        qarplatform::StopLog();
        std::vector<std::string> lines;
        std::ifstream file(folder_ / "log");
        for (std::string line; std::getline(file, line);) {
            if (line.find("execute is fail") != std::string::npos) lines.push_back(line);
        }
        return lines;
    }

    database_test::TempFolder folder_;
    std::mutex server_mutex_;  // Vanish and Return of one server do not overlap
    std::vector<std::unique_ptr<ScriptedServer>> servers_;
    qar::IDBManager* const database_ = qar::IDBManager::Instance();
    qar::IHistoryStateMgr* const history_ = qar::IHistoryStateMgr::Instance();
    std::atomic<std::size_t> operations_{0};
    std::atomic<std::size_t> calls_{0};
};

TEST_F(HistoryStressStandaloneTest, EverythingAtOnceLeavesMemoryAndTableInStep) {
    const auto seconds = std::chrono::seconds(Setting("QAR_THREAD_SECONDS", 2));
    const auto seed = static_cast<unsigned>(Setting("QAR_THREAD_SEED", std::random_device()()));
    std::printf("QAR_THREAD_SEED=%u\n", seed);
    std::fflush(stdout);
    ASSERT_TRUE(history_->Init());
    for (const std::string& plugin : kPlugins) OpenAndRegister(plugin);

    const auto end = std::chrono::steady_clock::now() + seconds;
    {
        ThreadWatch watch;
        for (int i = 0; i < kThreads; ++i) {
            watch.Start("thread " + std::to_string(i), [this, i, seed, end](ThreadWatch::Place& place) {
                Work(i, seed + static_cast<unsigned>(i), end, place);
            });
        }
    }
    Stop();
    std::printf("%zu operations, %zu calls\n", operations_.load(), calls_.load());
    EXPECT_GT(calls_, 0U);

    for (const std::string& plugin : kPlugins) {
        const bool kept = plugin.rfind("kept", 0) == 0;
        for (const int busi : kBusiTypes) {
            if (kept) {
                EXPECT_EQ(Ranges(plugin, busi), RangesOfTheRows(plugin, busi, false)) << plugin;
            }
        }
        history_->UnRegister(plugin);
        EXPECT_TRUE(Register(plugin));
        for (const int busi : kBusiTypes) {
            if (kept || plugin == "wild") {
                EXPECT_EQ(Ranges(plugin, busi), RangesOfTheRows(plugin, busi, !kept)) << plugin << " loaded again";
            }
        }
    }
    for (const std::string& plugin : kPlugins) {
        history_->UnRegister(plugin);
        EXPECT_TRUE(database_->Finalize(plugin));
    }
    qarplatform::StopDatabase();
    EXPECT_THAT(FailedStatements(), IsEmpty());
}

}  // namespace
