// Exception ranges: what is to be fetched, how a range that was dealt with leaves a timeline, and how old points go.

#include <boost/thread/locks.hpp>
#include <exception>
#include <mutex>

#include "internal/Log.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "qarcommonbiz/TimelineRules.h"

namespace qar {

using namespace internal;

bool CHistoryStateMgr::AddCameraState(const std::string& plugin, int state, const std::string& iso_time, int busi,
                                      int camera) {
    SHistoryTime time;
    if (!ISOToTime(iso_time, time)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]AddCameraState state_time is error plugin_id = %s, busi_type = %d, camera_id = %d, state = %d, time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, state, iso_time.c_str());
        return false;
    }
    std::string table;
    std::string key_column;
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        const auto found = map_plugin_id_.find(plugin);
        if (found == map_plugin_id_.end()) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]no register plugin_id = %s[%s(%d)]", plugin.c_str());
            return false;
        }
        table = found->second.table_name_;
        key_column = found->second.key_column_;
    }
    if (!AddHistoryStateInfo(plugin, busi, camera, SHistoryState(time, state), table, key_column)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]add AddHistoryStateInfo is fail pg_id = %s, busi_type = %d, camera_id = %d, time = %s, state = %d[%s(%d)]",
            plugin.c_str(), busi, camera, TimeToISO(time).c_str(), state);
        return false;
    }
    return true;
}

bool CHistoryStateMgr::GetExceptionRange(std::map<int, std::vector<SStateRange>>& out, const std::string& plugin,
                                         int busi) {
    std::lock_guard<std::mutex> lock(state_lock_);
    const auto timelines = map_camera_state_.find(plugin);
    if (timelines == map_camera_state_.end()) return true;
    const auto cameras = timelines->second.find(busi);
    if (cameras != timelines->second.end()) CalcExceptionRange(out, cameras->second);
    return true;
}

void CHistoryStateMgr::CallNotifyFunc(const std::string& plugin, const NotifyFunc& notify_func,
                                      std::map<int, std::vector<SStateRange>>& ranges, int busi) {
    std::string reason = "unknown exception";
    try {
        notify_func(ranges, busi);
        return;
    } catch (const std::exception& error) {
        reason = error.what();
    } catch (...) {
        // told below
    }
    QAR_LOG(kLogError, kModuleCommon,
            "[%s]notify_func_ of plugin threw, plugin_id = %s, busi_type = %d, error = %s[%s(%d)]", plugin.c_str(),
            busi, reason.c_str());
}

// Nothing remembers what has been told: each run tells all ranges anew, until the plug-in has deleted them.
void CHistoryStateMgr::NotifyExceptionRange() {
    QAR_LOG(kLogInformation, kModuleCommon,
            "[%s]CHistoryStateMgr::NotifyExceptionRange handle exception range[%s(%d)]");
    std::map<std::string, BusiTimelines> states;
    {
        std::lock_guard<std::mutex> lock(state_lock_);
        states = map_camera_state_;
    }
    for (const auto& [plugin, timelines] : states) {
        SPluginNotifyInfo info;
        if (!GetPluginNotifyInfo(info, plugin)) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]not find map_plugin_id notify info plugin_id = %s[%s(%d)]",
                    plugin.c_str());
            continue;
        }
        for (const auto& [busi, cameras] : timelines) {
            std::map<int, std::vector<SStateRange>> ranges;
            CalcExceptionRange(ranges, cameras);
            if (ranges.empty()) continue;
            if (!info.notify_func_) {
                QAR_LOG(kLogError, kModuleCommon, "[%s]pugin func is null plugin_id = %s[%s(%d)]", plugin.c_str());
                break;
            }
            for (const auto& [camera, camera_ranges] : ranges) {
                for (const SStateRange& range : camera_ranges) {
                    QAR_LOG(
                        kLogInformation, kModuleCommon,
                        "[%s]CHistoryStateMgr::NotifyExceptionRange plugin_id = %s, busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
                        plugin.c_str(), busi, camera, range.str_begin_time_.c_str(), range.str_end_time_.c_str());
                }
            }
            CallNotifyFunc(plugin, info.notify_func_, ranges, busi);
        }
    }
}

// The end is exclusive for the deletion and stays as a state 2, so that the stretch up to the next point is judged from
// there.
bool CHistoryStateMgr::DelHistoryStateInRange(const std::string& plugin, int busi, int camera,
                                              const SStateRange& range) {
    const char* const begin_text = range.str_begin_time_.c_str();
    const char* const end_text = range.str_end_time_.c_str();
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]in CHistoryStateMgr::DelHistoryStateInRange pre del range time plugin_id = %s, busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
        plugin.c_str(), busi, camera, begin_text, end_text);
    if (!ptr_db_history_data_) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]CHistoryStateMgr::DelHistoryStateInRange ptr_db_history_data_ is null plugin_id = %s, busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, begin_text, end_text);
        return false;
    }
    std::string table;
    std::string key_column;
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        const auto found = map_plugin_id_.find(plugin);
        if (found == map_plugin_id_.end()) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]in CHistoryStateMgr::DelHistoryStateInRange not find pugin id = %s[%s(%d)]", plugin.c_str());
            return true;
        }
        table = found->second.table_name_;
        key_column = found->second.key_column_;
    }

    std::lock_guard<std::mutex> lock(state_lock_);
    StateTimeline* const timeline = FindTimeline(plugin, busi, camera);
    if (timeline == nullptr) return true;
    SHistoryTime begin;
    if (!ISOToTime(range.str_begin_time_, begin)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]DelDBHistorySateInfo begin_time is error busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
            busi, camera, begin_text, end_text);
        return false;
    }
    SHistoryTime end;
    if (!ISOToTime(range.str_end_time_, end)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]DelDBHistorySateInfo end_time is error busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
            busi, camera, begin_text, end_text);
        return false;
    }

    bool b_exist_end_state = false;
    SHistoryTime end_point;
    for (auto point = timeline->begin(); point != timeline->end();) {
        if (point->first == end) {
            point->second.state = kStateInOrder;
            end_point = point->second;
            b_exist_end_state = true;
            break;
        }
        const bool in_range = begin <= point->first && point->first < end;
        point = in_range ? timeline->erase(point) : std::next(point);
    }
    if (!ptr_db_history_data_->DelDBHistorySateInfo(plugin, busi, camera, range, table)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]DelDBHistorySateInfo is fail busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
            busi, camera, begin_text, end_text);
    }
    if (b_exist_end_state) {
        if (!ptr_db_history_data_->UpdateDBHistorySateType(plugin, busi, camera, kStateInOrder, TimeToISO(end_point),
                                                           table)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]UpdateDBHistorySateType is fail busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s[%s(%d)]",
                busi, camera, begin_text, end_text);
        }
    } else {
        timeline->emplace(end, SHistoryState(end, kStateInOrder));
        const std::string iso_end = TimeToISO(end);
        if (!ptr_db_history_data_->AddDBHistoryStateInfo(plugin, busi, camera, kStateInOrder, iso_end, table,
                                                         key_column)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]AddDBHistoryStateInfo is fail busi_type = %d, camera_id = %d, state = %d, state_time = %s[%s(%d)]",
                busi, camera, kStateInOrder, iso_end.c_str());
        }
    }
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]in CHistoryStateMgr::DelHistoryStateInRange del range time success plugin_id = %s, busi_type = %d, camera_id = %d, begin_time = %s, end_time = %s, b_exist_end_state = %d[%s(%d)]",
        plugin.c_str(), busi, camera, begin_text, end_text, b_exist_end_state ? 1 : 0);
    return true;
}

// A point is added when nothing was erased and not when something was, which looks reversed and is required: on a quiet
// timeline that point is there after every other run.
bool CHistoryStateMgr::DelExpireStateByTime(const std::string& plugin, int busi, int camera, const SHistoryTime& expire,
                                            const std::string& table, const std::string& key_column) {
    if (!ptr_db_history_data_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_db_history_data_ is null[%s(%d)]");
        return false;
    }
    const std::string expire_text = TimeToPlain(expire);
    bool erased = false;
    {
        std::lock_guard<std::mutex> lock(state_lock_);
        StateTimeline* const timeline = FindTimeline(plugin, busi, camera);
        if (timeline == nullptr) return true;
        if (!ptr_db_history_data_->DelDBHistorySateByExpireTime(plugin, busi, camera, expire_text, table)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]DelDBHistorySateByExpireTime is error plugin_id = %s, busi_type = %d, camera_id = %d, expire_time = %s[%s(%d)]",
                plugin.c_str(), busi, camera, expire_text.c_str());
            return false;
        }
        const auto kept = timeline->lower_bound(expire);
        erased = kept != timeline->begin();
        // an emptied timeline stays: whether it is there decides what the next run does
        timeline->erase(timeline->begin(), kept);
    }
    if (!erased &&
        !AddHistoryStateInfo(plugin, busi, camera, SHistoryState(expire, kStateInOrder), table, key_column)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]add history state info is fail plugin_id = %s, busi_type = %d, camera_id = %d, state = %d, time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, kStateInOrder, TimeToISO(expire).c_str());
        return false;
    }
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]in CHistoryStateMgr::DelExpireStateByTime del expire state plugin_id = %s, n_busi_type = %d, n_camera_id = %d, expire_time = %s, table_name = %s[%s(%d)]",
        plugin.c_str(), busi, camera, expire_text.c_str(), table.c_str());
    return true;
}

}  // namespace qar
