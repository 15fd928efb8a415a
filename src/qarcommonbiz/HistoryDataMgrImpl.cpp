#include "qarcommonbiz/HistoryDataMgrImpl.h"

#include <boost/thread/locks.hpp>
#include <functional>

#include "internal/Log.h"
#include "internal/Topics.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "qarcommonbiz/DBHistoryDataImpl.h"
#include "qarcommonbiz/TaskDefine.h"
#include "qarutil/ThreadManager.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace qar {

using namespace internal;

namespace {

constexpr const char* kTimerName = "HistoryStateMgr.timer";
constexpr unsigned int kTimerIntervalMs = 60000;

}  // namespace

IHistoryStateMgr* IHistoryStateMgr::Instance() {
    static CHistoryStateMgr manager;
    return &manager;
}

IHistoryStateMgr::~IHistoryStateMgr() = default;

CHistoryStateMgr::CHistoryStateMgr() : ptr_db_history_data_(std::make_shared<CDBHistoryData>()) {}

CHistoryStateMgr::~CHistoryStateMgr() = default;

bool CHistoryStateMgr::Init() {
    std::lock_guard<std::mutex> lock(init_lock_);
    if (b_init_) return true;
    if (!CMessageLoopForHistoryState::Instance()->Start(3, 7, 5)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]CHistoryStateMgr::Init CMessageLoopForHistoryState start is fail[%s(%d)]");
        return false;
    }
    if (!IThreadManager::Instance()->NewTimer(kTimerName, kTimerIntervalMs,
                                              std::bind(&CHistoryStateMgr::OnTimer, this, std::placeholders::_1), 0)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHistoryStateMgr::Init new timer is fail[%s(%d)]");
        return false;
    }
    const auto ptr_message_bus_mgr = IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    if (!ptr_message_bus_mgr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHistoryStateMgr::Init ptr_message_bus_mgr is null[%s(%d)]");
        return false;
    }
    const std::set<int> types = {tuk::DeviceAccessEvent_DeviceGuardOn, tuk::DeviceAccessEvent_DeviceOnline,
                                 tuk::DeviceAccessEvent_ChannelOnline};
    if (!ptr_message_bus_mgr->SubscribeChangeMsgEx(kTopicDeviceAccess, types, ProcChangeMsgCBFunc, this,
                                                   kSubscriberStateHistory)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHistoryStateMgr::Init SubscribeChangeMsg is fail[%s(%d)]");
        return false;
    }
    b_init_ = true;
    return true;
}

// b_init_ stays set, so that no later Init starts anything again: who relies on events must not call this
bool CHistoryStateMgr::Uninit() {
    const auto ptr_message_bus_mgr = IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    if (ptr_message_bus_mgr) {
        ptr_message_bus_mgr->UnsubscribeChangeMsgEx(kTopicDeviceAccess, {}, kSubscriberStateHistory);
    } else {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHistoryStateMgr::Uninit ptr_message_bus_mgr is null[%s(%d)]");
    }
    return true;
}

bool CHistoryStateMgr::Register(NotifyFunc notify_func, const std::set<int>& busi_types, const std::string& plugin,
                                const std::string& table_name, const std::string& key_column) {
    if (!notify_func || busi_types.empty()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHistoryStateMgr::Register param is error[%s(%d)]");
        return false;
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]Plugin id [%s], table name [%s][%s(%d)]", plugin.c_str(),
            table_name.c_str());
    if (!ptr_db_history_data_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_db_history_data_ is null[%s(%d)]");
        return false;
    }
    SPluginNotifyInfo info;
    info.notify_func_ = std::move(notify_func);
    info.busi_types_ = busi_types;
    info.table_name_ = table_name;
    info.key_column_ = key_column;
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        // a refused function is left in `info`: what it owns must not be destroyed under the lock
        if (!map_plugin_id_.try_emplace(plugin, std::move(info)).second) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]exist register plugin_id = %s[%s(%d)]", plugin.c_str());
            return false;
        }
    }

    std::map<int, std::set<int>> care_cameras;
    {
        // no timeline changes while the table is read, or its point would be missing in one of the two
        std::lock_guard<std::mutex> lock(state_lock_);
        StateRowMap rows;
        if (!ptr_db_history_data_->InitDBHistoryStateInfo(rows, plugin, table_name)) {
            // the plug-in stays registered: it must UnRegister before it tries again
            QAR_LOG(kLogError, kModuleCommon, "[%s]Init DB History state info is fail plugin_id = %s[%s(%d)]",
                    plugin.c_str());
            return false;
        }
        BusiTimelines& timelines = map_camera_state_[plugin];
        // all cameras before all points: what every later search walks through lies close together
        for (const auto& [busi, cameras] : rows) {
            auto& of_busi = timelines[busi];
            for (const auto& entry : cameras) of_busi[entry.first];
        }
        for (const auto& [busi, cameras] : rows) {
            for (const auto& [camera, times] : cameras) {
                StateTimeline& timeline = timelines[busi][camera];
                for (const auto& [iso_time, state] : times) {
                    SHistoryTime time;
                    if (!ISOToTime(iso_time, time)) {
                        QAR_LOG(
                            kLogError, kModuleCommon,
                            "[%s]iso time to tm is fail plugin_id = %s, busi_type = %d, camera_id = %d, value = %s[%s(%d)]",
                            plugin.c_str(), busi, camera, iso_time.c_str());
                        continue;
                    }
                    // two rows of one wall clock differ in the offset: the key must repeat the value's
                    if (!timeline.empty() && time <= std::prev(timeline.end())->first) timeline.erase(time);
                    timeline.emplace_hint(timeline.end(), time, SHistoryState(time, state));
                }
            }
        }
        for (const auto& [busi, cameras] : timelines) {
            for (const auto& entry : cameras) care_cameras[busi].insert(entry.first);
        }
    }
    if (!care_cameras.empty()) {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        const auto found = map_plugin_id_.find(plugin);
        if (found != map_plugin_id_.end()) found->second.care_cameras_ = std::move(care_cameras);
    }
    return true;
}

void CHistoryStateMgr::UnRegister(const std::string& plugin) {
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]CHistoryStateMgr::UnRegister plugin:[%s][%s(%d)]", plugin.c_str());
    std::map<std::string, SPluginNotifyInfo>::node_type registration;  // destroyed with no lock held
    bool no_plugin = false;
    bool no_state = false;
    {
        boost::unique_lock<boost::shared_mutex> lock(plugin_lock_);
        registration = map_plugin_id_.extract(plugin);
        no_plugin = map_plugin_id_.empty();
    }
    {
        std::lock_guard<std::mutex> lock(state_lock_);
        map_camera_state_.erase(plugin);
        no_state = map_camera_state_.empty();
    }
    {
        boost::unique_lock<boost::shared_mutex> lock(delay_lock_);
        map_delay_camera_.erase(plugin);
    }
    if (no_plugin && no_state) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s]all plugin unregist. Stop Thread.[%s(%d)]");
        IThreadManager::Instance()->DelTimer(kTimerName);
        CMessageLoopForHistoryState::Instance()->Stop(false);
    } else {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s]not all plugin unregist. thread still run.[%s(%d)]");
    }
}

bool CHistoryStateMgr::GetPluginNotifyInfo(SPluginNotifyInfo& out, const std::string& plugin) {
    boost::shared_lock<boost::shared_mutex> lock(plugin_lock_);
    const auto found = map_plugin_id_.find(plugin);
    if (found == map_plugin_id_.end()) return false;
    out = found->second;
    return true;
}

}  // namespace qar
