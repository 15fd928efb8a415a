// Device events: the road from the bus to a camera's timeline.

#include <boost/thread/locks.hpp>

#include "internal/Log.h"
#include "internal/Topics.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "qarcommonbiz/TaskDefine.h"
#include "qarcommonbiz/TimelineRules.h"
#include "tuk/Channel.h"
#include "tuk/Device.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace qar {

using namespace internal;

namespace {

constexpr int kCameraType = 1001;
constexpr int kDeviceType = 2001;
constexpr long long kNow = -1;

bool IsDeviceEvent(const IBusMsg& msg) {
    return msg.SourceType() == kDeviceType &&
           (msg.Type() == tuk::DeviceAccessEvent_DeviceGuardOn || msg.Type() == tuk::DeviceAccessEvent_DeviceOnline);
}

bool IsChannelEvent(const IBusMsg& msg) {
    return msg.SourceType() == kCameraType && msg.Type() == tuk::DeviceAccessEvent_ChannelOnline;
}

}  // namespace

void CHistoryStateMgr::ProcChangeMsgCBFunc(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data) {
    if (!msg || user_data == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Recv Observer[%s], ptr_bus_msg[%d] or user_data[%p] is null.[%s(%d)]",
                observer.c_str(), msg ? 1 : 0, user_data);
        return;
    }
    if (observer != kTopicDeviceAccess) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Recv Observer[%s], user_data[%p], no handler function matched.[%s(%d)]",
                observer.c_str(), user_data);
        return;
    }
    static_cast<CHistoryStateMgr*>(user_data)->UpdateDeviceState(observer, msg);
}

void CHistoryStateMgr::UpdateDeviceState(const std::string& observer, std::shared_ptr<IBusMsg> msg) {
    if (observer != kTopicDeviceAccess) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]in UpdateDeviceState error msg type name value = %s[%s(%d)]",
                observer.c_str());
        return;
    }
    if (!msg) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]in UpdateDeviceState ptr_msg is null[%s(%d)]");
        return;
    }
    bool posted = true;
    if (IsDeviceEvent(*msg)) {
        posted = CHandleDeviceStateTask::PushTask(msg, this);
    } else if (IsChannelEvent(*msg)) {
        posted = CHandleChannelStateTask::PushTask(msg, this);
    }
    if (!posted) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]in UpdateDeviceState push task is fail resour_id = %d, type = %d[%s(%d)]",
                static_cast<int>(msg->SourceID()), msg->SourceType());
    }
}

// An event is not believed by itself: the device's state at the time of handling decides.
void CHistoryStateMgr::HandleDeviceState(std::shared_ptr<IBusMsg> msg) {
    if (!msg) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_bus_msg is null[%s(%d)]");
        return;
    }
    if (!IsDeviceEvent(*msg)) return;
    const int device_id = static_cast<int>(msg->SourceID());
    const int event_type = msg->Type();
    const auto ptr_dev_mgr = IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    if (!ptr_dev_mgr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_dev_mgr is null device_id = %d[%s(%d)]", device_id);
        return;
    }
    const auto device = ptr_dev_mgr->GetDevicePtr(device_id, kDeviceType);
    if (!device) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]get device_info is fail device_id = %d, event_type = %d[%s(%d)]",
                device_id, event_type);
        return;
    }
    if (!device->GetGuardStatus() || !device->IsOnline()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]device_info not realy guard device_id = %d, event_type = %d[%s(%d)]",
                device_id, event_type);
        return;
    }
    const auto ptr_dev_time_zone = IPlatformAdapterInterface::Instance()->GetDeviceTimeZoneAPI();
    if (!ptr_dev_time_zone) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_dev_time_zone is null device_id = %d, event_type = %d[%s(%d)]",
                device_id, event_type);
        return;
    }
    std::string text;
    int offset = 0;
    if (!ptr_dev_time_zone->GetDeviceTime(text, offset, device_id, msg->SourceType(), kNow)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s] get device time is fail device_id = %d[%s(%d)]", device_id);
        return;
    }
    std::list<std::shared_ptr<SChannelBaseInfo>> channels;
    if (!ptr_dev_mgr->GetDeviceChannels(channels, device_id, msg->SourceType(), kCameraType)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]get  channel_list is fail device_id = %d[%s(%d)]", device_id);
        return;
    }
    if (channels.empty()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]channel_list is empty device_id = %d[%s(%d)]", device_id);
        return;
    }
    QAR_LOG(kLogInformation, kModuleCommon,
            "[%s]CHistoryStateMgr::HandleDeviceState on guard notify info deivce_id = %d, event_type = %d[%s(%d)]",
            device_id, event_type);

    boost::shared_lock<boost::shared_mutex> lock(plugin_lock_);
    for (const auto& channel : channels) {
        if (!channel) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]has null channel[%s(%d)]");
            continue;
        }
        const int camera = channel->n_channel_id;
        for (const auto& [plugin, info] : map_plugin_id_) {
            for (const auto& [busi, cameras] : info.care_cameras_) {
                if (cameras.count(camera) != 0) RecordContact(plugin, info, busi, device_id, camera, text, offset);
            }
        }
    }
}

void CHistoryStateMgr::HandleChannelState(std::shared_ptr<IBusMsg> msg) {
    if (!msg) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_bus_msg is null[%s(%d)]");
        return;
    }
    if (!IsChannelEvent(*msg)) return;
    const int n_channel_id = static_cast<int>(msg->SourceID());
    const int event_type = msg->Type();
    const auto ptr_dev_mgr = IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    if (!ptr_dev_mgr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_dev_mgr is null channel_id = %d[%s(%d)]", n_channel_id);
        return;
    }
    const auto channel = ptr_dev_mgr->GetChannelPtr(n_channel_id, kCameraType);
    if (!channel) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]get channel_info is fail n_channel_id = %d, event_type = %d[%s(%d)]",
                n_channel_id, event_type);
        return;
    }
    const int device_id = channel->GetDeviceID();
    QAR_LOG(
        kLogDebug, kModuleCommon,
        "[%s]Received 'tuk::DeviceAccessEvent_ChannelOnline' event, n_channel_id = %d, event_type = %d, device_id = %d, channel_no = %d, event json=%s[%s(%d)]",
        n_channel_id, event_type, device_id, channel->GetNo(), msg->GetJsonTxt().c_str());
    const auto device = ptr_dev_mgr->GetDevicePtr(device_id, kDeviceType);
    if (!device) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]get device_info is fail device_id = %d, event_type = %d[%s(%d)]",
                device_id, event_type);
        return;
    }
    if (!device->GetGuardStatus() || !device->IsOnline()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]device_info not realy guard device_id = %d, event_type = %d[%s(%d)]",
                device_id, event_type);
        return;
    }
    const auto ptr_dev_time_zone = IPlatformAdapterInterface::Instance()->GetDeviceTimeZoneAPI();
    if (!ptr_dev_time_zone) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]ptr_dev_time_zone is null device_id = %d, event_type = %d[%s(%d)]",
                device_id, event_type);
        return;
    }
    std::string text;
    int offset = 0;
    if (ptr_dev_time_zone->GetCameraTimeEx(text, offset, n_channel_id, kNow)) {
        // goes out on success, the reverse of what it says: kept for those who watch the log for it
        QAR_LOG(kLogWarning, kModuleCommon,
                "[%s]Get device time by camera id is fail, device_id = %d, channel id = %d[%s(%d)]", device_id,
                n_channel_id);
    } else if (!ptr_dev_time_zone->GetDeviceTime(text, offset, device_id, kDeviceType, kNow)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s] get device time is fail device_id = %d[%s(%d)]", device_id);
        return;
    }
    QAR_LOG(
        kLogInformation, kModuleCommon,
        "[%s]CHistoryStateMgr::HandleDeviceState : Channel online info channel_id = %d, deivce_id = %d, event_type = %d[%s(%d)]",
        n_channel_id, device_id, event_type);

    boost::shared_lock<boost::shared_mutex> lock(plugin_lock_);
    for (const auto& [plugin, info] : map_plugin_id_) {
        for (const auto& [busi, cameras] : info.care_cameras_) {
            if (cameras.count(n_channel_id) != 0) {
                RecordContact(plugin, info, busi, device_id, n_channel_id, text, offset);
            }
        }
    }
}

// Called with plugin_lock_ held shared. Only the first seven days are told here; a gap that this contact closes is told
// by the next hourly notification.
void CHistoryStateMgr::RecordContact(const std::string& plugin, const SPluginNotifyInfo& info, int busi, int device_id,
                                     int camera, const std::string& time_text, int offset) {
    const SHistoryState rec(PlainToTime(time_text, offset), kStateContact);
    const std::string iso_time = TimeToISO(rec);
    bool first = false;
    if (!IsExistCameraState(plugin, busi, camera)) {
        if (!HandleFirstAdd(plugin, busi, camera, rec, info.table_name_, info.key_column_)) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]add fist state is fail plugin_id = %s, busi_type = %d, camera_id = %d, time = %s[%s(%d)]",
                    plugin.c_str(), busi, camera, iso_time.c_str());
        }
        first = true;
    }
    if (!AddHistoryStateInfo(plugin, busi, camera, rec, info.table_name_, info.key_column_)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]CHistoryStateMgr::HandleDeviceState add is fail pug_id = %s, device_id = %d, channel_id = %d, time = %s[%s(%d)]",
            plugin.c_str(), device_id, camera, iso_time.c_str());
        return;
    }
    if (!first) return;
    std::map<int, std::vector<SStateRange>> ranges;
    ranges[camera].push_back(FirstAddRange(rec));
    if (!info.notify_func_) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]notify_func_ is null plugin_id = %s, busi_type = %d, camera_id = %d, time = %s[%s(%d)]",
                plugin.c_str(), busi, camera, iso_time.c_str());
        return;
    }
    CallNotifyFunc(plugin, info.notify_func_, ranges, busi);
}

}  // namespace qar
