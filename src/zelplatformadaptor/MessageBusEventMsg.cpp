#include "zelplatformadaptor/MessageBusEventMsg.h"

#include <list>
#include <utility>

#include "Mox/Base/StringUtil.h"
#include "internal/Log.h"
#include "internal/PerformceTiming.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/PluginMsgBusEvent.h"

namespace qar {

using internal::kLogDebug;
using internal::kLogError;
using internal::kLogInformation;
using internal::kModuleCommon;
using internal::kModuleMsg;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;
using ZELPlatform::MsgBus::CSubscriber;
using ZELPlatform::MsgBus::EventNotifyFunc;

namespace {

constexpr int kNoPush = -1;
constexpr int kNotifyMode = 0;

std::string ResourceKey(int resource_type, unsigned int resource_id) {
    return Mox::Base::StringUtil::str_fmt("%d:%d", resource_type, static_cast<int>(resource_id));
}

std::set<std::string> ResourceKeys(int resource_type, const std::set<unsigned int>& resource_ids) {
    std::set<std::string> keys;
    for (const unsigned int resource_id : resource_ids) keys.insert(ResourceKey(resource_type, resource_id));
    return keys;
}

CSubscriber PluginSubscriber(const std::string& plugin, EventNotifyFunc fn = nullptr) {
    CSubscriber subscriber;
    subscriber.SetValsubscribeType(ZELPlatform::kSubscriberPlugin);
    subscriber.SetValcallbackFunction(std::move(fn));
    subscriber.SetSubscriberId(plugin);
    return subscriber;
}

/// One row for each event, each as `row` but for the event.
std::list<CMsgSubscribeInfo> Rows(const std::set<int>& events, CMsgSubscribeInfo row) {
    std::list<CMsgSubscribeInfo> rows;
    for (const int event : events) {
        row.SetValeventType(event);
        rows.push_back(row);
    }
    return rows;
}

void SetResources(CMsgSubscribeInfo& row, const std::set<int>& resource_types, const std::set<int>& resource_ids) {
    row.SetValresourceTypes(resource_types);
    row.SetValresourceIDs(std::set<unsigned int>(resource_ids.begin(), resource_ids.end()));
}

}  // namespace

bool CMessageBusEventMsg::PublishEventType(const std::set<int>& events, int push_resource_type) {
    const auto self = shared_from_this();
    const bool need_push = push_resource_type != kNoPush;
    QAR_LOG(kLogInformation, kModuleCommon,
            "[%s][MessageBus] PublishEventType to platform, need-push[%s], they are: \n[%s(%d)]",
            need_push ? "true" : "false");
    for (const int event : events) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] event[%d]\n[%s(%d)]", event);
    }
    const auto be_subscribed = [self](ZELPlatform::SubScribeType subscribe_type, int event,
                                      const std::set<unsigned int>& resources) {
        self->BeSubscribedCB(subscribe_type, event, resources);
    };
    if (!ZELPlatform::MsgBus::RegistMsgCapacity(events, be_subscribed)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] PublishEventType failed, platform_msgbus::RegistMsgCapacity() failed.\n[%s(%d)]");
        return false;
    }
    if (!need_push) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Those event don't need to push client.\n[%s(%d)]");
        return true;
    }
    std::map<int, std::set<int>> events_to_resource_types;
    for (const int event : events) events_to_resource_types[event] = {push_resource_type};
    const auto push_by_event = [self](ZELPlatform::SubScribeType subscribe_type, int event, int resource_type,
                                      const std::set<unsigned int>& resources) {
        self->NeedPushClientByEvnetTypeCB(subscribe_type, event, resource_type, resources);
    };
    if (!ZELPlatform::MsgBus::RegistMsgResourceCapacity(events_to_resource_types, push_by_event)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s][MessageBus] PublishEventType for cs subscribe by event type failed, platform_msgbus::RegistMsgResourceCapacity() failed.\n[%s(%d)]");
        return false;
    }
    const auto push_by_resource = [self](ZELPlatform::SubScribeType subscribe_type, int resource_type,
                                         const std::set<unsigned int>& resources) {
        self->NeedPushClientByResourceCB(subscribe_type, resource_type, resources);
    };
    if (!ZELPlatform::MsgBus::RegistResourceCapacity({push_resource_type}, push_by_resource)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s][MessageBus] PublishEventType for cs subscribe by res type failed, platform_msgbus::RegistResourceCapacity() failed.\n[%s(%d)]");
        return false;
    }
    return true;
}

bool CMessageBusEventMsg::PostEventMsg(std::shared_ptr<IBusMsg> msg) {
    if (msg == nullptr) return false;
    constexpr bool send_always = true;  // when false, events that no client asked for are dropped
    if (!send_always && !IsWantedByClient(msg->Type(), msg->SourceType(), msg->SourceID())) {
        QAR_LOG(kLogInformation, kModuleMsg, "[%s][MessageBus] no-body care event[%d]-resource[%d], droped.\n[%s(%d)]",
                msg->Type(), static_cast<int>(msg->SourceID()));
        return true;
    }
    const auto content = std::make_shared<CPlatformMsgContent>(msg);
    const bool posted = ZELPlatform::MsgBus::MsgNotifyBySubscription(
        msg->Type(), msg->SourceType(), static_cast<int>(msg->SourceID()), content, msg->PluginID(), kNotifyMode);
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Event[%d]-Resource[%d] post to platform [%s].\n[%s(%d)]", msg->Type(),
            static_cast<int>(msg->SourceID()), posted ? "success" : "failed");
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Event[%d] post to platform msg: \n%s\n[%s(%d)]", msg->Type(),
            msg->GetJsonTxt().c_str());
    return posted;
}

bool CMessageBusEventMsg::SubscribeEventMsg(const std::set<int>& events, const std::string& plugin, EventFunc fn,
                                            bool include_node_events) {
    if (!fn) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] Plugin[%s] subscribe event failed for function is null.\n[%s(%d)]", plugin.c_str());
        return false;
    }
    CMsgSubscribeInfo row;
    row.SetValsubscriber(PluginSubscriber(plugin, BindEventMsgCB(std::move(fn), plugin)));
    row.SetValsubscribeType(ZELPlatform::kSubscribe);
    row.SetIncludeNodeEvents(include_node_events);
    std::list<CMsgSubScribeErrorInfo> errors;
    if (!ZELPlatform::MsgBus::UpdateSubscribeList(errors, Rows(events, row))) {
        for (const auto& error : errors) {
            QAR_LOG(kLogError, kModuleCommon, "[%s][MessageBus] subscribe event failed. err[%d], plugin[%s]\n[%s(%d)]",
                    error.GetValerrorInfo().GetCode(), plugin.c_str());
        }
        return false;
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Plugin[%s] subscribe event: \n[%s(%d)]", plugin.c_str());
    for (const int event : events) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] event[%d]\n[%s(%d)]", event);
    }
    return true;
}

void CMessageBusEventMsg::UnsubscribeEventMsg(const std::set<int>& events, const std::string& plugin) {
    CMsgSubscribeInfo row;
    row.SetValsubscriber(PluginSubscriber(plugin));
    row.SetValsubscribeType(ZELPlatform::kSubscribeCancel);
    std::list<CMsgSubScribeErrorInfo> errors;
    if (!ZELPlatform::MsgBus::UpdateSubscribeList(errors, Rows(events, row))) {
        for (const auto& error : errors) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s][MessageBus] Unsubscribe event failed. err[%d], plugin[%s]\n[%s(%d)]",
                    error.GetValerrorInfo().GetCode(), plugin.c_str());
        }
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Plugin[%s] Unsubscribe event-num[%d]\n[%s(%d)]",
            plugin.c_str(), static_cast<int>(events.size()));
}

bool CMessageBusEventMsg::SubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                              const std::set<int>& resource_ids, const std::string& plugin,
                                              EventFunc fn, bool include_node_events, bool need_tuk_store_picture) {
    if (!fn) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] Plugin[%s] subscribe event failed for function is null.\n[%s(%d)]", plugin.c_str());
        return false;
    }
    CMsgSubscribeInfo row;
    row.SetValsubscriber(PluginSubscriber(plugin, BindEventMsgCB(std::move(fn), plugin)));
    row.SetValsubscribeType(ZELPlatform::kSubscribe);
    SetResources(row, resource_types, resource_ids);
    row.SetIncludeNodeEvents(include_node_events);
    row.SetNeedTukStorePicture(need_tuk_store_picture);
    std::list<CMsgSubScribeErrorInfo> errors;
    if (!ZELPlatform::MsgBus::UpdateSubscribeList(errors, Rows(events, row))) {
        for (const auto& error : errors) {
            QAR_LOG(kLogError, kModuleCommon, "[%s][MessageBus] subscribe event failed. err[%d], plugin[%s]\n[%s(%d)]",
                    error.GetValerrorInfo().GetCode(), plugin.c_str());
        }
        return false;
    }
    QAR_LOG(kLogDebug, kModuleCommon, "[%s][MessageBus] Plugin[%s] subscribe event: \n[%s(%d)]", plugin.c_str());
    for (const int event : events) {
        QAR_LOG(kLogDebug, kModuleCommon, "[%s][MessageBus] event[%d]\n[%s(%d)]", event);
    }
    for (const int resource_type : resource_types) {
        QAR_LOG(kLogDebug, kModuleCommon, "[%s][MessageBus] resource_type[%d]\n[%s(%d)]", resource_type);
    }
    for (const int resource_id : resource_ids) {
        QAR_LOG(kLogDebug, kModuleCommon, "[%s][MessageBus] resource_id[%d]\n[%s(%d)]", resource_id);
    }
    return true;
}

void CMessageBusEventMsg::UnsubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                                const std::set<int>& resource_ids, const std::string& plugin) {
    CMsgSubscribeInfo row;
    row.SetValsubscriber(PluginSubscriber(plugin));
    row.SetValsubscribeType(ZELPlatform::kSubscribeCancel);
    SetResources(row, resource_types, resource_ids);
    std::list<CMsgSubScribeErrorInfo> errors;
    if (!ZELPlatform::MsgBus::UpdateSubscribeList(errors, Rows(events, row))) {
        for (const auto& error : errors) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s][MessageBus] Unsubscribe event failed. err[%d], plugin[%s]\n[%s(%d)]",
                    error.GetValerrorInfo().GetCode(), plugin.c_str());
        }
    }
    QAR_LOG(kLogDebug, kModuleCommon, "[%s][MessageBus] Plugin[%s] Unsubscribe event-num[%d]\n[%s(%d)]", plugin.c_str(),
            static_cast<int>(events.size()));
}

EventNotifyFunc CMessageBusEventMsg::BindEventMsgCB(EventFunc fn, const std::string& plugin) {
    return
        [self = shared_from_this(), fn = std::move(fn), plugin](
            int type, int resource_type, int resource_id, const std::shared_ptr<ZELPlatform::CBaseContent>& content) {
            self->EventMsgCB(type, resource_type, resource_id, content, fn, plugin);
        };
}

bool CMessageBusEventMsg::IsWantedByClient(int event, int resource_type, unsigned int resource_id) {
    const std::string key = ResourceKey(resource_type, resource_id);
    const std::lock_guard<std::mutex> lock(mutex_push);
    if (set_push_resources.count(key) != 0) return true;
    const auto found = map_push_events.find(event);
    return found != map_push_events.end() && found->second.count(key) != 0;
}

void CMessageBusEventMsg::AddPushResource(int resource_type, const std::set<unsigned int>& resources) {
    std::set<std::string> keys = ResourceKeys(resource_type, resources);
    {
        const std::lock_guard<std::mutex> lock(mutex_push);
        set_push_resources.merge(keys);
    }
    for (const unsigned int resource : resources) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Client subscribe resource[%d]\n[%s(%d)]",
                static_cast<int>(resource));
    }
}

void CMessageBusEventMsg::DelPushResource(int resource_type, const std::set<unsigned int>& resources) {
    const std::set<std::string> keys = ResourceKeys(resource_type, resources);
    {
        const std::lock_guard<std::mutex> lock(mutex_push);
        for (const auto& key : keys) set_push_resources.erase(key);
    }
    for (const unsigned int resource : resources) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Client del-subscribe resource[%d]\n[%s(%d)]",
                static_cast<int>(resource));
    }
}

void CMessageBusEventMsg::BeSubscribedCB(ZELPlatform::SubScribeType subscribe_type, int event,
                                         const std::set<unsigned int>& resources) {
    if (!resources.empty()) {
        QAR_LOG(kLogInformation, kModuleCommon,
                "[%s][MessageBus] Be subscribed event[%d], resource-size is not 0, platform is lying!\n[%s(%d)]",
                event);
    }
    if (subscribe_type != ZELPlatform::kSubscribe) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] del-subscribe event[%d]\n[%s(%d)]", event);
        const std::lock_guard<std::mutex> lock(mutex_subscribed);
        set_subscribed_events.erase(event);
        return;
    }
    bool added = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_subscribed);
        added = set_subscribed_events.insert(event).second;
    }
    if (added) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Be subscribed event[%d]\n[%s(%d)]", event);
    } else {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Duplicate Be subscribed event[%d]\n[%s(%d)]", event);
    }
}

void CMessageBusEventMsg::NeedPushClientByEvnetTypeCB(ZELPlatform::SubScribeType subscribe_type, int event,
                                                      int resource_type, const std::set<unsigned int>& resources) {
    std::set<std::string> keys = ResourceKeys(resource_type, resources);
    if (subscribe_type == ZELPlatform::kSubscribe) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Client subscribe push-event[%d]\n[%s(%d)]", event);
        const std::lock_guard<std::mutex> lock(mutex_push);
        map_push_events[event].merge(keys);
        return;
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Client del-subscribe push-event[%d]\n[%s(%d)]", event);
    const std::lock_guard<std::mutex> lock(mutex_push);
    const auto found = map_push_events.find(event);
    if (found == map_push_events.end()) return;
    for (const auto& key : keys) found->second.erase(key);
    if (found->second.empty()) map_push_events.erase(found);
}

void CMessageBusEventMsg::NeedPushClientByResourceCB(ZELPlatform::SubScribeType subscribe_type, int resource_type,
                                                     const std::set<unsigned int>& resources) {
    if (subscribe_type == ZELPlatform::kSubscribe) {
        QAR_LOG(kLogInformation, kModuleCommon,
                "[%s][MessageBus] Client subscribe push-event by resource, type[%d]\n[%s(%d)]", resource_type);
        AddPushResource(resource_type, resources);
    } else {
        QAR_LOG(kLogInformation, kModuleCommon,
                "[%s][MessageBus] Client del-subscribe push-event by resource, type[%d]\n[%s(%d)]", resource_type);
        DelPushResource(resource_type, resources);
    }
}

void CMessageBusEventMsg::EventMsgCB(int type, int resource_type, int resource_id,
                                     const std::shared_ptr<ZELPlatform::CBaseContent>& content, const EventFunc& fn,
                                     const std::string& plugin) {
    const auto msg =
        std::make_shared<CPluginMsgBusEvent>(type, resource_type, static_cast<unsigned int>(resource_id), content);
    const CPerformceTiming timing("", false);
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Recv event[%d], msg: \n%s\n[%s(%d)]", type, msg->GetJsonTxt().c_str());
    fn(msg);
    QAR_LOG(kLogDebug, kModuleMsg,
            "[%s]Recv event[%d], resource-id[%d], resource-type[%d], [%s] proc-cost: %lld ms\n[%s(%d)]", type,
            resource_id, resource_type, plugin.c_str(), timing.Elapsed());
}

}  // namespace qar
