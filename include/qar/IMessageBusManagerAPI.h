#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "ZELPlatform/BusTypes.h"
#include "qar/Export.h"
#include "qar/IBusMsg.h"

namespace qar {

struct SHttpRequest;
struct SHttpResponse;

/// Answers a user's HTTP request; runs on a thread of the platform.
using UsrRequestFunc = std::function<void(SHttpResponse& response, const SHttpRequest& request)>;
/// Gets an event or a notify message; runs on a thread of the bus.
using EventFunc = std::function<void(std::shared_ptr<IBusMsg> msg)>;
/// Gets a change message; runs on a thread of the bus.
using ChangeFunc = std::function<void(const std::string& observer, std::shared_ptr<IBusMsg> msg)>;
/// Gets a change message with the data given at the subscribe; runs on a thread of the bus.
using ChangeFuncEx = void (*)(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data);

/// All of the message bus.
/// Threads: any operation from any thread at any time, also from inside a callback. No operation runs a callback on its
/// caller's thread or waits for one; on a thread of the bus a callback may run before the operation that led to it has
/// returned.
/// Failures: false, with the details in the log; SubscribeChangeMsgEx and UnsubscribeChangeMsgEx also set
/// Mox::Base::Error.
/// This version carries the change messages; the operations on users' requests, events, notify messages and pushes give
/// their failure value (docs/plugin-guide.md).
class QARCOMMON_API IMessageBusManagerAPI {
public:
    using ClientType = ZELPlatform::InterfaceCommonData::UserSession::ClientType;

    virtual ~IMessageBusManagerAPI();

    /// Binds a URL of the platform's web front to a handler.
    virtual void RegisterUsrRequest(const std::string& plugin, const std::string& url, ZELPlatform::Method method,
                                    ZELPlatform::CmdParam::Exec exec, UsrRequestFunc handler, bool flag) = 0;
    virtual void UnregisterUsrRequest(const std::string& url) = 0;
    /// Declares the events that a plug-in posts. @param push_resource_type  -1: they need no push to clients
    virtual bool PublishEventType(const std::set<int>& events, int push_resource_type) = 0;
    virtual bool SubscribeEventMsg(const std::set<int>& events, const std::string& plugin, EventFunc fn,
                                   bool include_node_events) = 0;
    virtual void UnsubscribeEventMsg(const std::set<int>& events, const std::string& plugin) = 0;
    /// Registers a topic.
    /// @param task0_types  types that go out on task 0
    /// @param task2_types  types that go out on task 2, as do types in neither set
    /// @return whether the platform took the topic
    virtual bool PublishChangeMsgType(const std::string& observer, const std::set<int>& task0_types,
                                      const std::set<int>& task2_types) = 0;
    /// Adds a function to a topic. A second one of the same plug-in and topic is called as well.
    /// @param types  not read: a plain subscription gets every type of the topic
    /// @return false for an empty function, or when the platform refuses
    virtual bool SubscribeChangeMsg(const std::string& observer, const std::set<int>& types, ChangeFunc fn,
                                    const std::string& plugin) = 0;
    /// Ends all plain subscriptions of the plug-in on the topic. A call that is on its way may still come.
    virtual void UnsubscribeChangeMsg(const std::string& observer, const std::string& plugin) = 0;
    virtual bool PostEventMsg(std::shared_ptr<IBusMsg> msg) = 0;
    /// Sends a message on a topic. @return false for an empty message, or when the platform refuses
    virtual bool PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer) = 0;
    virtual bool PushMsgToUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                                const std::list<ClientType>& client_types) = 0;
    /// Does nothing; keeps the order of the operations.
    virtual void Reserved() = 0;
    virtual bool PushMsgToPersonUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                                      const std::list<ClientType>& client_types) = 0;
    virtual bool PushMsgToUsersNew(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                                   const std::list<ClientType>& client_types) = 0;
    /// Subscribes the plug-in to types of a topic. A plug-in has one function and one user data for each topic; a
    /// second call with the same two adds types.
    /// @param types      an empty set is all types
    /// @param fn         must not be null
    /// @param user_data  the plug-in's own, handed to each call as it is; must live as long as calls may come
    /// @return false: last error (0, 2) for a null function, (0, 40945) for another function or user data than the
    ///         topic's (the first subscription stays), (0, 1) when memory ran out at the end, otherwise the platform's
    virtual bool SubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types, ChangeFuncEx fn,
                                      void* user_data, const std::string& plugin) = 0;
    /// Ends the whole subscription of the plug-in on the topic. A call that is on its way may still come.
    /// @param types  only written to the log
    virtual void UnsubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types,
                                        const std::string& plugin) = 0;
    virtual bool SubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                     const std::set<int>& resource_ids, const std::string& plugin, EventFunc fn,
                                     bool include_node_events, bool need_tuk_store_picture) = 0;
    virtual void UnsubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                       const std::set<int>& resource_ids, const std::string& plugin) = 0;
    virtual bool PublishMsgType(const std::string& publisher, const std::set<int>& types) = 0;
    virtual bool SubscribeMsg(const std::set<int>& types, const std::string& plugin, EventFunc fn) = 0;
    virtual void UnsubscribeMsg(const std::set<int>& types, const std::string& plugin) = 0;
    virtual bool PostMsg(std::shared_ptr<IBusMsg> msg) = 0;
    virtual bool PostMsgToSpecifiedClients(const std::set<std::string>& clients, std::shared_ptr<IBusMsg> msg) = 0;
    virtual bool PostMsgToSpecifiedClientsAndSubscribers(
        std::map<ZELPlatform::SubscriberType, std::set<std::string>> receivers, std::shared_ptr<IBusMsg> msg) = 0;
    virtual bool PostMsgWithPermission(const std::map<int, std::list<int>>& permissions,
                                       std::shared_ptr<IBusMsg> msg) = 0;
};

}  // namespace qar
