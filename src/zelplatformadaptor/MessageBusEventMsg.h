#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "ZELPlatform/MsgBusEvents.h"
#include "qar/IBusMsg.h"
#include "qar/IMessageBusManagerAPI.h"

namespace qar {

/// The events of the bus: publishes event types, posts events, subscribes plug-ins to them, and keeps what clients have
/// subscribed to. Who subscribed as a plug-in is known to the platform alone. What is registered with the platform
/// holds a pointer to this object, so it is made with std::make_shared. The two virtual operations keep this order;
/// without a virtual destructor the class is final.
/// Threads: any, also from inside a callback; no lock is held across a call to the platform or a plug-in, and never
/// two at once.
class CMessageBusEventMsg final : public std::enable_shared_from_this<CMessageBusEventMsg> {
public:
    bool PublishEventType(const std::set<int>& events, int push_resource_type);
    bool PostEventMsg(std::shared_ptr<IBusMsg> msg);
    bool SubscribeEventMsg(const std::set<int>& events, const std::string& plugin, EventFunc fn,
                           bool include_node_events);
    virtual void UnsubscribeEventMsg(const std::set<int>& events, const std::string& plugin);
    bool SubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                             const std::set<int>& resource_ids, const std::string& plugin, EventFunc fn,
                             bool include_node_events, bool need_tuk_store_picture);
    virtual void UnsubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                       const std::set<int>& resource_ids, const std::string& plugin);

private:
    ZELPlatform::MsgBus::EventNotifyFunc BindEventMsgCB(EventFunc fn, const std::string& plugin);
    bool IsWantedByClient(int event, int resource_type, unsigned int resource_id);
    void AddPushResource(int resource_type, const std::set<unsigned int>& resources);
    void DelPushResource(int resource_type, const std::set<unsigned int>& resources);

    void BeSubscribedCB(ZELPlatform::SubScribeType subscribe_type, int event, const std::set<unsigned int>& resources);
    void NeedPushClientByEvnetTypeCB(ZELPlatform::SubScribeType subscribe_type, int event, int resource_type,
                                     const std::set<unsigned int>& resources);
    void NeedPushClientByResourceCB(ZELPlatform::SubScribeType subscribe_type, int resource_type,
                                    const std::set<unsigned int>& resources);
    void EventMsgCB(int type, int resource_type, int resource_id,
                    const std::shared_ptr<ZELPlatform::CBaseContent>& content, const EventFunc& fn,
                    const std::string& plugin);

    std::set<int> set_subscribed_events;  // guarded by mutex_subscribed
    // guarded by mutex_push
    std::set<std::string> set_push_resources;
    std::map<int, std::set<std::string>> map_push_events;
    std::mutex mutex_subscribed;
    std::mutex mutex_push;
};

}  // namespace qar
