#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mock/Platform.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace qar {

/// Reaches what the manager hides.
struct CHistoryStateMgrPeer {
    static void RemoveStore(CHistoryStateMgr& manager) { manager.ptr_db_history_data_.reset(); }
    static std::shared_ptr<IDBHistoryData> SwapStore(CHistoryStateMgr& manager, std::shared_ptr<IDBHistoryData> store) {
        manager.ptr_db_history_data_.swap(store);
        return store;
    }
    static bool Add(CHistoryStateMgr& manager, const std::string& plugin, int busi, int camera,
                    const SHistoryState& rec) {
        return manager.AddHistoryStateInfo(plugin, busi, camera, rec, "t", "id");
    }
    static bool Load(CHistoryStateMgr& manager, const std::string& plugin, int busi, int camera,
                     const std::map<std::string, int>& times) {
        return manager.UpdateTriggerTime(plugin, busi, camera, times);
    }
    static bool Exists(CHistoryStateMgr& manager, const std::string& plugin, int busi, int camera) {
        return manager.IsExistCameraState(plugin, busi, camera);
    }
    static bool Expire(CHistoryStateMgr& manager, const std::string& plugin, int busi, int camera,
                       const SHistoryTime& expire) {
        return manager.DelExpireStateByTime(plugin, busi, camera, expire, "t", "id");
    }
    static void ForgetFunction(CHistoryStateMgr& manager, const std::string& plugin) {
        manager.map_plugin_id_[plugin].notify_func_ = nullptr;
    }
    static void ForgetRegistration(CHistoryStateMgr& manager, const std::string& plugin) {
        manager.map_plugin_id_.erase(plugin);
    }
    /// @return whether a thread waits to change the registrations, or changes them
    static bool WriterWaits(CHistoryStateMgr& manager) {
        if (!manager.plugin_lock_.try_lock_shared()) return true;
        manager.plugin_lock_.unlock_shared();
        return false;
    }
    static bool HasPlugin(const CHistoryStateMgr& manager, const std::string& plugin) {
        return manager.map_camera_state_.count(plugin) != 0;
    }
    static const std::map<std::string, std::map<int, std::set<int>>>& Delayed(const CHistoryStateMgr& manager) {
        return manager.map_delay_camera_;
    }
    static const std::map<std::string, SPluginNotifyInfo>& Registered(const CHistoryStateMgr& manager) {
        return manager.map_plugin_id_;
    }
    /// @return plug-in to business type to camera to timeline
    static const std::map<std::string, std::map<int, std::map<int, StateTimeline>>>& Timelines(
        const CHistoryStateMgr& manager) {
        return manager.map_camera_state_;
    }
    static std::mutex& InitLock(CHistoryStateMgr& manager) { return manager.init_lock_; }
    static boost::shared_mutex& PluginLock(CHistoryStateMgr& manager) { return manager.plugin_lock_; }
    static std::mutex& StateLock(CHistoryStateMgr& manager) { return manager.state_lock_; }
    static boost::shared_mutex& DelayLock(CHistoryStateMgr& manager) { return manager.delay_lock_; }
    /// @return the points as "<iso> <state>"
    static std::vector<std::string> Points(const CHistoryStateMgr& manager, const std::string& plugin, int busi,
                                           int camera) {
        std::vector<std::string> points;
        const auto timelines = manager.map_camera_state_.find(plugin);
        if (timelines == manager.map_camera_state_.end()) return points;
        const auto cameras = timelines->second.find(busi);
        if (cameras == timelines->second.end()) return points;
        const auto timeline = cameras->second.find(camera);
        if (timeline == cameras->second.end()) return points;
        for (const auto& [time, state] : timeline->second) {
            points.push_back(TimeToISO(state) + " " + std::to_string(state.state));
        }
        return points;
    }
};

namespace history_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr int kBusi = 1;
constexpr int kCamera = 101;
constexpr int kDevice = 1;
constexpr int kEast8 = 28800;
inline const std::string kPlugin = "gap";
inline const std::string kTable = "gap.history";

/// A store that a test scripts where the real one cannot be brought to an answer.
class MockStore : public IDBHistoryData {
public:
    virtual ~MockStore() = default;
    MOCK_METHOD(bool, InitDBHistoryStateInfo, (StateRowMap&, const std::string&, const std::string&), (override));
    MOCK_METHOD(bool, UpdateDBHistoryStateTime,
                (const std::string&, int, int, const std::string&, int, const std::string&, const std::string&),
                (override));
    MOCK_METHOD(bool, UpdateDBHistorySateType,
                (const std::string&, int, int, int, const std::string&, const std::string&), (override));
    MOCK_METHOD(bool, AddDBHistoryStateInfo,
                (const std::string&, int, int, int, const std::string&, const std::string&, const std::string&),
                (override));
    MOCK_METHOD(bool, DelDBHistorySateInfo, (const std::string&, int, int, const SStateRange&, const std::string&),
                (override));
    MOCK_METHOD(bool, DelDBHistorySateByExpireTime,
                (const std::string&, int, int, const std::string&, const std::string&), (override));
    MOCK_METHOD(bool, DelDBHistoryStateByCameraIDAndBusiType, (const std::string&, int, int, const std::string&),
                (override));
    MOCK_METHOD(bool, DelDBHistoryStateByCameraID, (const std::string&, int, const std::string&), (override));
    MOCK_METHOD(bool, QueryCameraStateByCameraID,
                (StateRowMap&, const std::string&, const std::string&, const std::set<int>&), (override));
};

inline SHistoryState Point(const std::string& iso, int state) {
    SHistoryTime time;
    EXPECT_TRUE(ISOToTime(iso, time)) << iso;
    return SHistoryState(time, state);
}

/// "<camera>: <begin> <end>", for comparison.
inline std::vector<std::string> Texts(const std::map<int, std::vector<SStateRange>>& ranges) {
    std::vector<std::string> texts;
    for (const auto& [camera, camera_ranges] : ranges) {
        for (const SStateRange& range : camera_ranges) {
            texts.push_back(std::to_string(camera) + ": " + range.str_begin_time_ + " " + range.str_end_time_);
        }
    }
    return texts;
}

inline std::string InsertSql(long long id, int camera, int state, const std::string& plain, const std::string& utc,
                             int busi, int differ, const std::string& table = kTable) {
    return "INSERT INTO " + table +
           "(id, camera_id, camera_state, state_time, state_utc_time, business_type, bi_type, differ) values(" +
           std::to_string(id) + ", " + std::to_string(camera) + ", " + std::to_string(state) + ", '" + plain + "', '" +
           utc + "', " + std::to_string(busi) + ", " + std::to_string(busi) + ", " + std::to_string(differ) + ")";
}

/// The line of a point that was entered.
inline std::string InsertLine(const std::string& iso, int state, int camera = kCamera, int busi = kBusi,
                              const std::string& plugin = kPlugin) {
    return "3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state info insert state plugin_id = " +
           plugin + ", busi_type = " + std::to_string(busi) + ", camera_id = " + std::to_string(camera) +
           ", time = " + iso + ", state = " + std::to_string(state) + "\n";
}

inline qarmock::FakeRows HistoryRows(const std::vector<std::vector<std::string>>& rows) {
    qarmock::FakeRows result{{"camera_id", "business_type", "state_time", "differ", "camera_state"}, {}};
    for (const auto& row : rows) result.rows.emplace_back(row.begin(), row.end());
    return result;
}

/// A manager of its own over the mock platform: camera 101 on device 1, online and guarded, its clock at
/// 2024-03-08 09:00:00+08:00.
class HistoryTest : public ::testing::Test {
protected:
    HistoryTest() {
        setenv("TZ", "UTC0", 1);
        tzset();
        platform.time_util.fake.SetServerOffset(0);
        platform.site.AddCamera(kCamera, kDevice);
        SetClock("2024-03-08 09:00:00");
    }

    void SetClock(const std::string& text, int device = kDevice, int offset = kEast8) {
        platform.time_zone.fake.SetClock(device, text, offset);
    }

    NotifyFunc Keep() {
        return [this](std::map<int, std::vector<SStateRange>>& ranges, int busi) {
            for (const std::string& text : Texts(ranges)) told.push_back(std::to_string(busi) + "/" + text);
        };
    }

    /// Registers the plug-in; what that logs and runs is forgotten.
    void Register(const std::string& plugin = kPlugin, const std::set<int>& busi_types = {kBusi}) {
        ASSERT_TRUE(manager.Register(Keep(), busi_types, plugin, kTable, "id"));
        Forget();
    }

    void Forget() {
        platform.log.Clear();
        platform.database.fake.Clear();
        told.clear();
    }

    std::vector<std::string> Points(int camera = kCamera, int busi = kBusi, const std::string& plugin = kPlugin) const {
        return CHistoryStateMgrPeer::Points(manager, plugin, busi, camera);
    }

    std::vector<std::string> Ranges(const std::string& plugin = kPlugin, int busi = kBusi) {
        std::map<int, std::vector<SStateRange>> ranges;
        EXPECT_TRUE(manager.GetExceptionRange(ranges, plugin, busi));
        return Texts(ranges);
    }

    std::vector<std::string> Sqls() const { return platform.database.fake.Sqls(); }
    /// The lines; each must name a function and a file.
    std::string Log() const {
        for (const auto& line : platform.log.Lines()) {
            EXPECT_EQ(line.function.rfind("qar::", 0), 0u) << line.text;
            EXPECT_NE(line.file, "") << line.text;
        }
        return platform.log.Text();
    }

    static std::shared_ptr<tuk::CDeviceAccessObserverParam> Event(int type, int resource_type, int id) {
        auto event = std::make_shared<tuk::CDeviceAccessObserverParam>();
        event->SetObserverMsgType(type);
        event->SetVal_resource_type(resource_type);
        event->SetVal_id(id);
        event->SetText("{}");
        return event;
    }

    qarmock::Platform platform;
    CHistoryStateMgr manager;
    std::vector<std::string> told;  ///< "<busi>/<camera>: <begin> <end>"
};

}  // namespace history_test
}  // namespace qar
