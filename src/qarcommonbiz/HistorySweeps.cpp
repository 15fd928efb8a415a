// Periodic jobs: what the timer posts, and the two sweeps over all cameras.

#include <functional>
#include <mutex>

#include "internal/Log.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "qarcommonbiz/TaskDefine.h"
#include "qarcommonbiz/TimelineRules.h"

namespace qar {

using namespace internal;

namespace {

constexpr long long kNow = -1;

}  // namespace

// Ticks are minutes. The remainders keep any two sweeps from starting at one tick.
void CHistoryStateMgr::OnTimer(unsigned long long n_tick) {
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]CHistoryStateMgr::OnTimer n_tick = %lld[%s(%d)]",
            static_cast<long long>(n_tick));
    if (n_tick % 30 == 25 && !CCheckStateTask::PushTask(this)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]post CCheckStateTask is fail[%s(%d)]");
    }
    if (n_tick % 60 == 20 && !CDelExpireStateTask::PushTask(this)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]post CDelExpireStateTask is fail[%s(%d)]");
    }
    if (n_tick % 60 == 5 && !CNotifyExceptionRangeTask::PushTask(this)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]post CNotifyExceptionRangeTask is fail[%s(%d)]");
    }
    if (!CSetCareCameraDelayTask::PushTask(this)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Post 'CSetCareCameraDelayTask' is failed![%s(%d)]");
    }
}

std::map<std::string, std::map<int, std::vector<int>>> CHistoryStateMgr::CopyTimelineKeys() {
    std::map<std::string, std::map<int, std::vector<int>>> keys;
    std::lock_guard<std::mutex> lock(state_lock_);
    for (const auto& [plugin, timelines] : map_camera_state_) {
        auto& busi_types = keys[plugin];
        for (const auto& [busi, cameras] : timelines) {
            std::vector<int>& camera_ids = busi_types[busi];
            camera_ids.reserve(cameras.size());
            for (const auto& entry : cameras) camera_ids.push_back(entry.first);
        }
    }
    return keys;
}

void CHistoryStateMgr::SweepTimelines(const char* sweep, const SweepStep& step) {
    for (const auto& [plugin, busi_types] : CopyTimelineKeys()) {
        SPluginNotifyInfo info;
        if (!GetPluginNotifyInfo(info, plugin)) {
            QAR_LOG_FOR(sweep, kLogError, kModuleCommon,
                        "[%s]not find map_plugin_id notify info plugin_id = %s[%s(%d)]", plugin.c_str());
            continue;
        }
        for (const auto& [busi, cameras] : busi_types) {
            for (const int camera : cameras) {
                const auto ptr_dev_time_zone = IPlatformAdapterInterface::Instance()->GetDeviceTimeZoneAPI();
                if (!ptr_dev_time_zone) {
                    QAR_LOG_FOR(sweep, kLogError, kModuleCommon, "[%s]ptr_dev_time_zone is null[%s(%d)]");
                    return;
                }
                std::string text;
                int offset = 0;
                if (!ptr_dev_time_zone->GetCameraTimeEx(text, offset, camera, kNow)) {
                    QAR_LOG_FOR(sweep, kLogError, kModuleCommon, "[%s] get device time is fail camera_id = %d[%s(%d)]",
                                camera);
                    continue;
                }
                step(plugin, info, busi, camera, PlainToTime(text, offset));
            }
        }
    }
}

void CHistoryStateMgr::CheckExpireState() {
    const auto step = [this](const std::string& plugin, const SPluginNotifyInfo& info, int busi, int camera,
                             const SHistoryTime& now) {
        SHistoryTime expire = now;
        AddDays(expire, -kExpireDays);
        if (!DelExpireStateByTime(plugin, busi, camera, expire, info.table_name_, info.key_column_)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]del expire state is fail pug_id = %s, busi_type = %d, camera_id = %d, time = %s, table_name = %s[%s(%d)]",
                plugin.c_str(), busi, camera, TimeToISO(expire).c_str(), info.table_name_.c_str());
        }
    };
    SweepTimelines("qar::CHistoryStateMgr::CheckExpireState", step);
}

// A camera that is not guarded and online gets nothing: that silence is how an absence is remembered.
void CHistoryStateMgr::CheckCameraState() {
    const auto step = [this](const std::string& plugin, const SPluginNotifyInfo& info, int busi, int camera,
                             const SHistoryTime& now) {
        bool b_guard = false;
        if (!IsGuard(b_guard, camera) || !IsCameraOnline(camera)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]check gurad is fail plugin_id = %s, busy_type = %d, camera_id = %d[%s(%d)]", plugin.c_str(),
                    busi, camera);
            return;
        }
        if (!b_guard) return;
        if (!AddHistoryStateInfo(plugin, busi, camera, SHistoryState(now, kStateInOrder), info.table_name_,
                                 info.key_column_)) {
            QAR_LOG(
                kLogError, kModuleCommon,
                "[%s]add history state info is fail plugin_id = %s, busi_type = %d, camera_id = %d, time = %s[%s(%d)]",
                plugin.c_str(), busi, camera, TimeToISO(now).c_str());
        }
    };
    SweepTimelines("qar::CHistoryStateMgr::CheckCameraState", step);
}

}  // namespace qar
