#pragma once

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "ZELPlatform/MsgBusNotify.h"
#include "qar/IBusMsg.h"
#include "qar/IMessageBusManagerAPI.h"

namespace qar {

/// The notify messages of the bus: publishes message types, posts messages to subscribers, named clients and holders of
/// permissions, and subscribes plug-ins. What is registered with the platform holds a pointer to this object, so it is
/// made with std::make_shared. One operation is virtual; without a virtual destructor the class is final.
/// Threads: any, also from inside a callback; no lock is held across a call to the platform or a plug-in.
class CMessageBusNotifyMsg final : public std::enable_shared_from_this<CMessageBusNotifyMsg> {
public:
    /// @return true, also when the platform refuses
    bool PublishMsgType(const std::string& publisher, ZELPlatform::MsgCategory category, const std::set<int>& types);
    bool PostMsg(std::shared_ptr<IBusMsg> msg);
    bool PostMsgToSpecifiedClients(std::shared_ptr<IBusMsg> msg, const std::set<std::string>& clients);
    bool PostMsgToSpecifiedClientsAndSubscribers(
        std::shared_ptr<IBusMsg> msg, std::map<ZELPlatform::SubscriberType, std::set<std::string>> receivers);
    bool PostMsgWithPermission(std::shared_ptr<IBusMsg> msg, const std::map<int, std::list<int>>& permissions);
    bool SubscribeMsg(const std::set<int>& types, const std::string& plugin, EventFunc fn);
    virtual void UnsubscribeMsg(const std::set<int>& types, const std::string& plugin);

private:
    bool IsMsgTypeBeSubscribed(int type);
    bool IsMsgResourceBeSubscribed(int type, int source_type, unsigned int source_id);
    bool AddBeSubscribedType(int type);
    void DelBeSubscribedType(int type);

    void BeSubscribedCB(ZELPlatform::SubScribeType subscribe_type,
                        const std::shared_ptr<ZELPlatform::CMsgSubscribedInfo>& info);
    void EventMsgCB(const std::shared_ptr<ZELPlatform::CMsgPushInfo>& info, const EventFunc& fn,
                    const std::string& plugin);

    std::set<int> set_subscribed_types;  // guarded by mutex_types
    std::mutex mutex_types;
    std::mutex mutex_resources;
};

}  // namespace qar
