// Which cameras a plug-in cares for.

#include <boost/thread/locks.hpp>
#include <mutex>

#include "internal/Log.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "qarcommonbiz/TimelineRules.h"
#include "tuk/Channel.h"
#include "tuk/Device.h"

namespace qar {

using namespace internal;

namespace {

constexpr int kCameraType = 1001;
constexpr int kDeviceType = 2001;
constexpr long long kNow = -1;
constexpr int kAllBusiTypes = -1;

}  // namespace

bool CHistoryStateMgr::SetCareCameraStateInfo(const std::string& plugin, int busi, const std::set<int>& cameras) {
    if (cameras.empty()) return true;
    SPluginNotifyInfo info;
    switch (AddCareCameras(info, plugin, busi, cameras)) {
        case ECareResult::kNoPlugin:
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
            return false;
        case ECareResult::kNoBusiType:
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register busi_type value = %d[%s(%d)]", busi);
            return false;
        case ECareResult::kAdded:
            break;
    }

    std::map<int, std::vector<SStateRange>> ranges;
    for (const int camera : cameras) {
        bool b_guard = false;
        if (!IsGuard(b_guard, camera)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]check guard is fail camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]", camera,
                    plugin.c_str(), busi);
            continue;
        }
        if (!b_guard) {
            QAR_LOG(kLogWarning, kModuleCommon,
                    "[%s]Not Guard! camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]", camera,
                    plugin.c_str(), busi);
            continue;
        }
        const auto ptr_dev_time_zone = IPlatformAdapterInterface::Instance()->GetDeviceTimeZoneAPI();
        if (!ptr_dev_time_zone) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]ptr_dev_time_zone is null camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]",
                    camera, plugin.c_str(), busi);
            continue;
        }
        std::string text;
        int offset = 0;
        if (!ptr_dev_time_zone->GetCameraTime(text, offset, camera, kNow)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]get dev_time is fail camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]", camera,
                    plugin.c_str(), busi);
            continue;
        }
        const SHistoryTime time = PlainToTime(text, offset);
        const bool first_add = !IsExistCameraState(plugin, busi, camera);
        if (first_add && !HandleFirstAdd(plugin, busi, camera, time, info.table_name_, info.key_column_)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]add fist state is fail plugin_id = %s, busi_type = %d, camera_id = %d, time = %s[%s(%d)]",
                    plugin.c_str(), busi, camera, TimeToISO(time).c_str());
            continue;
        }
        if (!AddHistoryStateInfo(plugin, busi, camera, SHistoryState(time, kStateContact), info.table_name_,
                                 info.key_column_)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]add history state info is fail camera_id = %d, str_plugin_id = %s, n_busi_type = %d, time = %s[%s(%d)]",
                camera, plugin.c_str(), busi, TimeToISO(time).c_str());
            continue;
        }
        if (first_add) ranges[camera].push_back(FirstAddRange(time));
    }

    if (ranges.empty()) return true;
    if (!info.notify_func_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]notify_func is null[%s(%d)]");
        return true;
    }
    for (const auto& [camera, camera_ranges] : ranges) {
        for (const SStateRange& range : camera_ranges) {
            QAR_LOG(
                kLogInformation, kModuleCommon,
                "[%s]CHistoryStateMgr::SetCareCameraStateInfo notity history range plugin_id = %s, busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
                plugin.c_str(), busi, camera, range.str_begin_time_.c_str(), range.str_end_time_.c_str());
        }
    }
    info.notify_func_(ranges, busi);
    return true;
}

bool CHistoryStateMgr::SetCareCameraStateInfoEx(const std::string& plugin, int busi, const std::set<int>& cameras) {
    if (cameras.empty()) return true;
    SPluginNotifyInfo info;
    switch (AddCareCameras(info, plugin, busi, cameras)) {
        case ECareResult::kNoPlugin:
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
            return false;
        case ECareResult::kNoBusiType:
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register busi_type value = %d[%s(%d)]", busi);
            return false;
        case ECareResult::kAdded:
            break;
    }
    if (!ptr_db_history_data_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_db_history_data_ nullptr plugin_id = %s[%s(%d)]", plugin.c_str());
        return false;
    }
    StateRowMap rows;
    if (!ptr_db_history_data_->QueryCameraStateByCameraID(rows, plugin, info.table_name_, cameras)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]QueryCameraStateByCameraID failed plugin_id = %s, table_name = %s[%s(%d)]", plugin.c_str(),
                info.table_name_.c_str());
        return false;
    }
    const auto rows_of_busi = rows.find(busi);

    bool result = true;
    std::map<int, std::vector<SStateRange>> ranges;
    for (const int camera : cameras) {
        bool b_guard = false;
        if (!IsGuard(b_guard, camera)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]check guard is fail camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]", camera,
                    plugin.c_str(), busi);
            result = false;
            continue;
        }
        if (!b_guard) {
            QAR_LOG(kLogWarning, kModuleCommon,
                    "[%s]Not Guard! camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]", camera,
                    plugin.c_str(), busi);
            result = false;
            continue;
        }
        const auto ptr_dev_time_zone = IPlatformAdapterInterface::Instance()->GetDeviceTimeZoneAPI();
        if (!ptr_dev_time_zone) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]ptr_dev_time_zone is null camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]",
                    camera, plugin.c_str(), busi);
            result = false;
            continue;
        }
        std::string text;
        int offset = 0;
        if (!ptr_dev_time_zone->GetCameraTimeEx(text, offset, camera, kNow)) {
            QAR_LOG(kLogWarning, kModuleCommon,
                    "[%s]get dev_time is fail camera_id = %d, str_plugin_id = %s, n_busi_type = %d[%s(%d)]", camera,
                    plugin.c_str(), busi);
            // put off: DoDelaySetCareCamera brings it back here
            {
                boost::unique_lock<boost::shared_mutex> lock(delay_lock_);
                map_delay_camera_[plugin][busi].insert(camera);
            }
            {
                boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
                const auto found = map_plugin_id_.find(plugin);
                if (found != map_plugin_id_.end()) found->second.care_cameras_[busi].erase(camera);
            }
            result = false;
            continue;
        }
        const SHistoryTime time = PlainToTime(text, offset);
        bool first_add = false;
        if (!IsExistCameraState(plugin, busi, camera)) {
            first_add = true;
            // rows that another node has left for this camera take the place of a first add
            if (rows_of_busi != rows.end()) {
                const auto times = rows_of_busi->second.find(camera);
                if (times != rows_of_busi->second.end() && !times->second.empty()) {
                    first_add = !UpdateTriggerTime(plugin, busi, camera, times->second);
                    if (first_add) {
                        result = false;
                        QAR_LOG(
                            kLogError, kModuleCommon,
                            "[%s]iso time to tm is fail plugin_id = %s, busi_type = %d, camera_id = %d, state = %lld.[%s(%d)]",
                            plugin.c_str(), busi, camera, static_cast<long long>(times->second.size()));
                    }
                }
            }
        }
        if (first_add && !HandleFirstAdd(plugin, busi, camera, time, info.table_name_, info.key_column_)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]add fist state is fail plugin_id = %s, busi_type = %d, camera_id = %d, time = %s[%s(%d)]",
                    plugin.c_str(), busi, camera, TimeToISO(time).c_str());
            result = false;
            continue;
        }
        if (!AddHistoryStateInfo(plugin, busi, camera, SHistoryState(time, kStateContact), info.table_name_,
                                 info.key_column_)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]add history state info is fail camera_id = %d, str_plugin_id = %s, n_busi_type = %d, time = %s[%s(%d)]",
                camera, plugin.c_str(), busi, TimeToISO(time).c_str());
            result = false;
            continue;
        }
        if (first_add) ranges[camera].push_back(FirstAddRange(time));
    }

    if (ranges.empty()) return result;
    if (!info.notify_func_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]notify_func is null[%s(%d)]");
        return true;
    }
    for (const auto& [camera, camera_ranges] : ranges) {
        for (const SStateRange& range : camera_ranges) {
            QAR_LOG(
                kLogInformation, kModuleCommon,
                "[%s]CHistoryStateMgr::SetCareCameraStateInfo notity history range plugin_id = %s, busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
                plugin.c_str(), busi, camera, range.str_begin_time_.c_str(), range.str_end_time_.c_str());
        }
    }
    info.notify_func_(ranges, busi);
    return result;
}

void CHistoryStateMgr::DelCareCameraStateInfo(const std::string& plugin, int busi, const std::set<int>& cameras) {
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = %s, busi_type = %d, camera_ids = %s[%s(%d)]",
        plugin.c_str(), busi, ListIds(cameras).c_str());
    std::string table;
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        const auto found = map_plugin_id_.find(plugin);
        if (found == map_plugin_id_.end()) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
            return;
        }
        const auto cared = found->second.care_cameras_.find(busi);
        if (cared != found->second.care_cameras_.end()) {
            for (const int camera : cameras) cared->second.erase(camera);
        }
        table = found->second.table_name_;
    }
    {
        std::lock_guard<std::mutex> lock(state_lock_);
        const auto timelines = map_camera_state_.find(plugin);
        if (timelines == map_camera_state_.end()) return;
        const auto of_busi = timelines->second.find(busi);
        if (of_busi == timelines->second.end()) return;
        for (const int camera : cameras) {
            if (of_busi->second.erase(camera) == 0) continue;
            if (!ptr_db_history_data_->DelDBHistoryStateByCameraIDAndBusiType(plugin, busi, camera, table)) {
                QAR_LOG(
                    kLogError, kModuleCommon,
                    "[%s]CHistoryStateMgr::DelCareCameraStateInfo DelDBHistoryStateByCameraIDAndBusiType is fail plugin_id = %s, busi_type = %d, camera_id = %d[%s(%d)]",
                    plugin.c_str(), busi, camera);
            }
        }
    }
    RemoveDelayCamera(plugin, cameras, busi);
}

void CHistoryStateMgr::DelCareCameraStateInfoByCameraID(const std::string& plugin, int camera) {
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]CHistoryStateMgr::DelCareCameraStateInfoByCameraID del camera camera plugin_id = %s, camera_id = %d[%s(%d)]",
        plugin.c_str(), camera);
    std::string table;
    bool was_cared = false;
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        const auto found = map_plugin_id_.find(plugin);
        if (found == map_plugin_id_.end()) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
            return;
        }
        for (auto& entry : found->second.care_cameras_) {
            if (entry.second.erase(camera) != 0) was_cared = true;
        }
        table = found->second.table_name_;
    }
    if (!was_cared) {
        QAR_LOG(
            kLogInformation, kModuleCommon,
            "[%s]CHistoryStateMgr::DelCareCameraStateInfoByCameraID not exist camera plugin_id = %s, camera_id = %d[%s(%d)]",
            plugin.c_str(), camera);
        return;
    }
    {
        std::lock_guard<std::mutex> lock(state_lock_);
        const auto timelines = map_camera_state_.find(plugin);
        if (timelines == map_camera_state_.end()) return;
        for (auto& entry : timelines->second) entry.second.erase(camera);
        if (!ptr_db_history_data_->DelDBHistoryStateByCameraID(plugin, camera, table)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]CHistoryStateMgr::DelCareCameraStateInfoByCameraID DelDBHistoryStateByCameraID is fail pug_id = %s, camera_id = %d[%s(%d)]",
                plugin.c_str(), camera);
        }
    }
    RemoveDelayCamera(plugin, {camera}, kAllBusiTypes);
}

// The rows stay for the node that takes over: it reads them in SetCareCameraStateInfoEx.
bool CHistoryStateMgr::DelCareCameraStateInfoAtMoveOutByCameraIDs(const std::string& plugin,
                                                                  const std::set<int>& cameras) {
    const std::string ids = JoinIds(cameras);
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]Del camera state info plugin_id = %s, camera_ids = %s[%s(%d)]",
            plugin.c_str(), ids.c_str());
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        const auto found = map_plugin_id_.find(plugin);
        if (found == map_plugin_id_.end()) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
        } else {
            for (auto& entry : found->second.care_cameras_) {
                for (const int camera : cameras) entry.second.erase(camera);
            }
        }
        if (found == map_plugin_id_.end() || found->second.care_cameras_.empty()) {
            QAR_LOG(kLogInformation, kModuleCommon,
                    "[%s]Not find camera register info. plugin_id = %s, camera_id = %s[%s(%d)]", plugin.c_str(),
                    ids.c_str());
        }
    }
    {
        std::lock_guard<std::mutex> lock(state_lock_);
        const auto timelines = map_camera_state_.find(plugin);
        if (timelines == map_camera_state_.end()) {
            QAR_LOG(kLogWarning, kModuleCommon,
                    "[%s]Del camera state info failed, can't find plugin_id, plugin_id = %s, camera_ids = %s[%s(%d)]",
                    plugin.c_str(), ids.c_str());
        } else {
            for (auto& entry : timelines->second) {
                for (const int camera : cameras) entry.second.erase(camera);
            }
        }
    }
    RemoveDelayCamera(plugin, cameras, kAllBusiTypes);
    return true;
}

void CHistoryStateMgr::GetCareCameraList(std::set<int>& out, const std::string& plugin, int busi) {
    boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
    const auto found = map_plugin_id_.find(plugin);
    if (found == map_plugin_id_.end()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
        return;
    }
    out = found->second.care_cameras_[busi];
}

void CHistoryStateMgr::DoDelaySetCareCamera() {
    std::map<std::string, std::map<int, std::set<int>>> delayed;
    {
        boost::shared_lock<boost::shared_mutex> lock(delay_lock_);
        delayed = map_delay_camera_;
    }
    for (const auto& [plugin, busi_types] : delayed) {
        for (const auto& [busi, cameras] : busi_types) {
            for (const int camera : cameras) {
                if (SetCareCameraStateInfoEx(plugin, busi, {camera})) {
                    boost::unique_lock<boost::shared_mutex> lock(delay_lock_);
                    map_delay_camera_[plugin][busi].erase(camera);
                }
                QAR_LOG(
                    kLogDebug, kModuleCommon,
                    "[%s]CHistoryStateMgr::DoDelaySetCareCamera Set camera info: plugin = %s, busi_type = %d, camera id = %d.[%s(%d)]",
                    plugin.c_str(), busi, camera);
            }
        }
    }
}

void CHistoryStateMgr::RemoveDelayCamera(const std::string& plugin, const std::set<int>& cameras, int busi) {
    boost::unique_lock<boost::shared_mutex> lock(delay_lock_);
    auto& busi_types = map_delay_camera_[plugin];
    for (const int camera : cameras) {
        if (busi == kAllBusiTypes) {
            for (auto& entry : busi_types) entry.second.erase(camera);
        } else {
            busi_types[busi].erase(camera);
        }
    }
}

CHistoryStateMgr::ECareResult CHistoryStateMgr::AddCareCameras(SPluginNotifyInfo& out, const std::string& plugin,
                                                               int busi, const std::set<int>& cameras) {
    // exclusive, as two such calls at one moment would race on the set
    boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
    const auto found = map_plugin_id_.find(plugin);
    if (found == map_plugin_id_.end()) return ECareResult::kNoPlugin;
    SPluginNotifyInfo& info = found->second;
    if (info.busi_types_.count(busi) == 0) return ECareResult::kNoBusiType;
    info.care_cameras_[busi].insert(cameras.begin(), cameras.end());
    out.table_name_ = info.table_name_;
    out.key_column_ = info.key_column_;
    out.notify_func_ = info.notify_func_;
    return ECareResult::kAdded;
}

// The two state 1 points, seven days back and now, make the seven days an exception range.
bool CHistoryStateMgr::HandleFirstAdd(const std::string& plugin, int busi, int camera, const SHistoryTime& time,
                                      const std::string& table, const std::string& key_column) {
    SHistoryTime first = time;
    AddDays(first, -kFirstAddLookBackDays);
    if (!AddHistoryStateInfo(plugin, busi, camera, SHistoryState(first, kStateContact), table, key_column)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]add fist state info is fail plugin_id = %s, busi_type = %d, camera_id = %d, time = %s, state = %d[%s(%d)]",
            plugin.c_str(), busi, camera, TimeToISO(first).c_str(), kStateContact);
        return false;
    }
    return true;
}

bool CHistoryStateMgr::IsGuard(bool& b_guard, int camera) {
    const auto ptr_dev_mgr = IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    if (!ptr_dev_mgr) {
        // it is the device manager that is missing; the text is kept for those who watch the log for it
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_dev_time_zone is null[%s(%d)]");
        return false;
    }
    const auto channel = ptr_dev_mgr->GetChannelPtr(camera, kCameraType);
    if (!channel) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]not find channel object camera_id = %d[%s(%d)]", camera);
        return false;
    }
    const auto device = ptr_dev_mgr->GetDevicePtr(channel->GetDeviceID(), kDeviceType);
    if (!device) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]get device_info is fail camera_id = %d, guid = %s[%s(%d)]", camera,
                channel->GetDeviceGuid().c_str());
        return false;
    }
    b_guard = device->GetGuardStatus() && device->IsOnline();
    return true;
}

bool CHistoryStateMgr::IsCameraOnline(int camera) {
    const auto ptr_dev_mgr = IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    if (!ptr_dev_mgr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_dev_time_zone is null[%s(%d)]");
        return false;
    }
    const auto channel = ptr_dev_mgr->GetChannelPtr(camera, kCameraType);
    if (!channel) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]not find channel object camera_id = %d[%s(%d)]", camera);
        return false;
    }
    return channel->IsOnline();
}

}  // namespace qar
