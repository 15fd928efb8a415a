#pragma once

#include "history_fixture.h"

namespace qar::history_test {

using Peer = CHistoryStateMgrPeer;

inline const std::string kNow = "2024-03-08T09:00:00+08:00";
inline const std::string kWeekAgo = "2024-03-01T09:00:00+08:00";

class CareRegistryTest : public HistoryTest {
protected:
    std::set<int> Cared(int busi = kBusi, const std::string& plugin = kPlugin) {
        std::set<int> cameras = {-5};
        manager.GetCareCameraList(cameras, plugin, busi);
        return cameras;
    }
    bool Set(const std::set<int>& cameras = {kCamera}) {
        return manager.SetCareCameraStateInfo(kPlugin, kBusi, cameras);
    }
    bool SetEx(const std::set<int>& cameras = {kCamera}) {
        return manager.SetCareCameraStateInfoEx(kPlugin, kBusi, cameras);
    }
    void RemoveStoreWhenTheClockIsAsked() {
        ON_CALL(platform.time_zone, GetDeviceTimeEx)
            .WillByDefault([this](std::string& local, std::string& utc, int& offset, const auto& key, long long time) {
                Peer::RemoveStore(manager);
                return platform.time_zone.fake.GetDeviceTimeEx(local, utc, offset, key, time);
            });
    }
    static std::string Of(int camera) {
        return " camera_id = " + std::to_string(camera) + ", str_plugin_id = gap, n_busi_type = 1";
    }
    static std::string Told(const std::string& begin, const std::string& end, int camera = kCamera) {
        return "3 QARCommon CHistoryStateMgr::SetCareCameraStateInfo notity history range plugin_id = gap, busi_type = 1, "
               "camera_id = " +
               std::to_string(camera) + ", begin_time = " + begin + ", end_time = " + end + "\n";
    }
    static std::string NoStore(const std::string& iso) {
        return "5 QARCommon  ptr_db_history_data_ is null state plugin_id = gap, busi_type = 1, camera_id = 101 state = "
               "1, time = " +
               iso + "\n";
    }
    const std::vector<std::string> kFirstAddSql = {
        InsertSql(1, 101, 1, "2024-03-01 09:00:00", "2024-03-01 01:00:00", 1, kEast8),
        InsertSql(2, 101, 1, "2024-03-08 09:00:00", "2024-03-08 01:00:00", 1, kEast8)};
    const std::string kSelect = "SELECT * FROM gap.history WHERE camera_id IN (101)";
    const std::string kRange = "1/101: " + kWeekAgo + " " + kNow;
};

}  // namespace qar::history_test
