// Points: how one enters a camera's timeline, in memory and in the table.

#include <mutex>

#include "internal/Log.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"

namespace qar {

using namespace internal;

StateTimeline* CHistoryStateMgr::FindTimeline(const std::string& plugin, int busi, int camera) {
    const auto busi_timelines = map_camera_state_.find(plugin);
    if (busi_timelines == map_camera_state_.end()) return nullptr;
    const auto cameras = busi_timelines->second.find(busi);
    if (cameras == busi_timelines->second.end()) return nullptr;
    const auto timeline = cameras->second.find(camera);
    return timeline == cameras->second.end() ? nullptr : &timeline->second;
}

// A state 2 behind a state 2 moves that point, so that a camera in order for weeks costs one row; a state 1 always
// stands as a point of its own.
bool CHistoryStateMgr::AddHistoryStateInfo(const std::string& plugin, int busi, int camera, const SHistoryState& rec,
                                           const std::string& table, const std::string& key_column) {
    const std::string iso_time = TimeToISO(rec);
    if (!ptr_db_history_data_) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s] ptr_db_history_data_ is null state plugin_id = %s, busi_type = %d, camera_id = %d state = %d, time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, rec.state, iso_time.c_str());
        return false;
    }
    std::lock_guard<std::mutex> lock(state_lock_);
    StateTimeline* timeline = FindTimeline(plugin, busi, camera);
    if (timeline != nullptr && !timeline->empty()) {
        const auto last = std::prev(timeline->end());
        // nearly every point is the newest, which needs no search
        const auto same_moment = last->first < rec ? timeline->end() : timeline->find(rec);
        if (same_moment != timeline->end()) {
            // the first of a second wins, whatever the states
            QAR_LOG(
                kLogDebug, kModuleCommon,
                "[%s]exist state time add plugin_id = %s, busi_type = %d, camera_id = %d, state time = %s, state = %d, old_state = %d[%s(%d)]",
                plugin.c_str(), busi, camera, iso_time.c_str(), rec.state, same_moment->second.state);
            return true;
        }
        if (rec.state == kStateInOrder && last->second.state == kStateInOrder && last->first <= rec) {
            const int old_state = last->second.state;
            const std::string old_time = TimeToPlain(last->second);
            timeline->erase(last);
            timeline->emplace_hint(timeline->end(), rec, rec);
            if (!ptr_db_history_data_->UpdateDBHistoryStateTime(plugin, busi, camera, old_time, kStateInOrder, iso_time,
                                                                table)) {
                QAR_LOG(
                    kLogError, kModuleCommon,
                    "[%s] update db state time is fail state pu_id = %s, old_time = %s, busi_type = %d, camera_id = %d time = %s, state = %d, old_state = %d[%s(%d)]",
                    plugin.c_str(), old_time.c_str(), busi, camera, iso_time.c_str(), rec.state, old_state);
            }
            QAR_LOG(
                kLogInformation, kModuleCommon,
                "[%s]CHistoryStateMgr::AddHistoryStateInfo add history state info update state plugin_id = %s, busi_type = %d, camera_id = %d, time = %s, state = %d[%s(%d)]",
                plugin.c_str(), busi, camera, iso_time.c_str(), rec.state);
            return true;
        }
    }
    if (timeline == nullptr) timeline = &map_camera_state_[plugin][busi][camera];
    timeline->emplace_hint(timeline->end(), rec, rec);
    if (!ptr_db_history_data_->AddDBHistoryStateInfo(plugin, busi, camera, rec.state, iso_time, table, key_column)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s] add db state time is fail state plugin_id = %s, busi_type = %d, camera_id = %d, time = %s, state = %d[%s(%d)]",
            plugin.c_str(), busi, camera, iso_time.c_str(), rec.state);
    }
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]CHistoryStateMgr::AddHistoryStateInfo add history state info insert state plugin_id = %s, busi_type = %d, camera_id = %d, time = %s, state = %d[%s(%d)]",
        plugin.c_str(), busi, camera, iso_time.c_str(), rec.state);
    return true;
}

bool CHistoryStateMgr::IsExistCameraState(const std::string& plugin, int busi, int camera) {
    std::lock_guard<std::mutex> lock(state_lock_);
    const StateTimeline* timeline = FindTimeline(plugin, busi, camera);
    return timeline != nullptr && !timeline->empty();
}

bool CHistoryStateMgr::UpdateTriggerTime(const std::string& plugin, int busi, int camera,
                                         const std::map<std::string, int>& times) {
    std::lock_guard<std::mutex> lock(state_lock_);
    for (const auto& [iso_time, state] : times) {
        SHistoryTime time;
        if (!ISOToTime(iso_time, time)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]iso time to tm is fail plugin_id = %s, busi_type = %d, camera_id = %d, value = %s[%s(%d)]",
                    plugin.c_str(), busi, camera, iso_time.c_str());
            return false;
        }
        StateTimeline& timeline = map_camera_state_[plugin][busi][camera];
        timeline.erase(time);
        timeline.emplace(time, SHistoryState(time, state));
    }
    return true;
}

}  // namespace qar
