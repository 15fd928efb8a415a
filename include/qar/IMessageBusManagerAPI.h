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

/// Answers a user's HTTP request. Runs on a worker of the platform, several calls at once, also of one handler; it may
/// block. The records live for the length of the call.
/// The answer is one of three: a text in the response's str_body; a file in its MIME part, which is sent before the
/// call is over for the platform, without being copied (str_mime_0 content type, str_mime_1 content disposition,
/// str_mime_3 entity tag without its quotes, str_mime_6 the data); or, with b_no_auto_reply, whatever the handler sends
/// by itself, then or later. What it throws is the platform's matter, which logs it and answers with 500.
using UsrRequestFunc = std::function<void(SHttpResponse& response, const SHttpRequest& request)>;
/// Gets an event or a notify message; runs on a thread of the bus. Who keeps `msg` keeps the message's memory.
using EventFunc = std::function<void(std::shared_ptr<IBusMsg> msg)>;
/// Gets a change message; runs on a thread of the bus.
using ChangeFunc = std::function<void(const std::string& observer, std::shared_ptr<IBusMsg> msg)>;
/// Gets a change message with the data given at the subscribe; runs on a thread of the bus.
using ChangeFuncEx = void (*)(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data);

/// All of the message bus.
/// Threads: any operation from any thread at any time, also from inside a callback or a request's handler; none keeps a
/// lock while it calls the platform. No operation runs a callback on its caller's thread, or waits for one or for a
/// receiver; on a thread of the bus a callback may run before the operation that led to it has returned.
/// Callbacks: run with no lock of the library held, and may call every operation here. One subscriber's calls come in
/// order, one by one; a slow one holds up nobody else. What a callback throws is logged and goes no further. A callback
/// is copied, and lives as long as a call may come: let it own what it touches.
/// Failures: false, with the details in the log; SubscribeChangeMsgEx and UnsubscribeChangeMsgEx also set
/// Mox::Base::Error. True says that the platform took the call, not that anybody got a message.
/// `plugin` is the caller's plug-in id: the platform finds subscriptions by it.
class QARCOMMON_API IMessageBusManagerAPI {
public:
    using ClientType = ZELPlatform::InterfaceCommonData::UserSession::ClientType;

    virtual ~IMessageBusManagerAPI();

    /// Binds a URL of the platform's web front to a handler, as one that carries no JSON. A URL that the platform does
    /// not take is told in the log alone.
    /// @param plugin   who serves the URL
    /// @param url      absolute path without a query; the request's own keeps its query
    /// @param method   methods that are served
    /// @param exec     how the handler is wanted to run; the platform's, handed on
    /// @param handler  must not be empty; lives as long as the URL is bound, and as calls run
    /// @param flag     true: served without a session as well; the platform's, handed on
    virtual void RegisterUsrRequest(const std::string& plugin, const std::string& url, ZELPlatform::Method method,
                                    ZELPlatform::CmdParam::Exec exec, UsrRequestFunc handler, bool flag) = 0;
    /// Releases a URL with all of its methods. Calls that run go on and may still answer; a URL that is not bound is
    /// told in the log alone.
    virtual void UnregisterUsrRequest(const std::string& url) = 0;
    /// Declares the events that this process posts; that lasts to the end of the process.
    /// @param push_resource_type  type of the resources that clients may subscribe to these events for; -1: the events
    ///                            need no push to clients
    /// @return whether the platform took it; on false what it took before stays
    virtual bool PublishEventType(const std::set<int>& events, int push_resource_type) = 0;
    /// Subscribes the plug-in to events of all resources. A further call for the same event puts its function and flag
    /// in the place of the old.
    /// @param events               an empty set subscribes to nothing
    /// @param fn                   runs once for each event
    /// @param include_node_events  whether events that other nodes posted come as well
    /// @return false for an empty function, or when the platform refuses an event; the others are subscribed then
    virtual bool SubscribeEventMsg(const std::set<int>& events, const std::string& plugin, EventFunc fn,
                                   bool include_node_events) = 0;
    /// Ends the plug-in's subscriptions of these events, whatever resources they were for. A call that is on its way
    /// may still come.
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
    /// Sends an event, with the message's type, resource and sender, to those who are subscribed now. The message is
    /// kept until all have it.
    /// @return false for an empty message, or when the platform refuses
    virtual bool PostEventMsg(std::shared_ptr<IBusMsg> msg) = 0;
    /// Sends a message on a topic. @return false for an empty message, or when the platform refuses
    virtual bool PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer) = 0;
    /// Sends a message to the clients that these users have open now. Asks the platform once for each user and client
    /// type before it sends; a session that is found twice gets the message twice.
    /// @param users  ids of users; an empty list reaches nobody
    /// @return false for an empty message, or when the platform refuses; true when none of them is online
    virtual bool PushMsgToUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                                const std::list<ClientType>& client_types) = 0;
    /// Does nothing; keeps the order of the operations.
    virtual void Reserved() = 0;
    /// As PushMsgToUsers, to persons.
    /// @param users         ids of persons; an empty list reaches nobody
    /// @param client_types  each counts once; an empty list is every client type
    virtual bool PushMsgToPersonUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                                      const std::list<ClientType>& client_types) = 0;
    /// As PushMsgToUsers, but for the empty list.
    /// @param users  ids of users; an empty list is everybody who is online on these client types
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
    /// As SubscribeEventMsg, for each pair of these types and ids. A plug-in gets an event once, however many of its
    /// pairs match: a certain id goes before every id, then a certain type before every type.
    /// @param resource_types          an empty set is every type
    /// @param resource_ids            ids, as int of the same bits; an empty set is every id
    /// @param need_tuk_store_picture  whether the events' pictures are wanted
    virtual bool SubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                     const std::set<int>& resource_ids, const std::string& plugin, EventFunc fn,
                                     bool include_node_events, bool need_tuk_store_picture) = 0;
    /// Ends the plug-in's subscriptions of these events for these resources. A call that is on its way may still come.
    /// @param resource_types  an empty set is those of any type
    /// @param resource_ids    an empty set is those of any id
    virtual void UnsubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                       const std::set<int>& resource_ids, const std::string& plugin) = 0;
    /// Declares the types of notify messages that a publisher sends; that lasts to the end of the process.
    /// @return true, also when the platform refuses: the log tells of that
    virtual bool PublishMsgType(const std::string& publisher, const std::set<int>& types) = 0;
    /// Adds types of notify messages to those that the plug-in gets. The function of the last call counts for all of
    /// the plug-in's types.
    /// @return false for an empty function, or when the platform refuses
    virtual bool SubscribeMsg(const std::set<int>& types, const std::string& plugin, EventFunc fn) = 0;
    /// Ends these types for every subscriber in the process, other plug-ins and users' clients included: the platform
    /// is told no name. A call that is on its way may still come.
    /// @param plugin  only written to the log
    virtual void UnsubscribeMsg(const std::set<int>& types, const std::string& plugin) = 0;
    /// Sends a notify message to the subscribers of its type. The message is kept until all have it.
    /// @return false for an empty message, or when the platform refuses
    virtual bool PostMsg(std::shared_ptr<IBusMsg> msg) = 0;
    /// As PostMsg, to clients by name, whatever types they subscribed to.
    /// @param clients  names; a user's client is named by its session id
    virtual bool PostMsgToSpecifiedClients(const std::set<std::string>& clients, std::shared_ptr<IBusMsg> msg) = 0;
    /// As PostMsg, to the named subscribers of each kind, whatever types they subscribed to.
    virtual bool PostMsgToSpecifiedClientsAndSubscribers(
        std::map<ZELPlatform::SubscriberType, std::set<std::string>> receivers, std::shared_ptr<IBusMsg> msg) = 0;
    /// As PostMsg, to the clients of users who hold one of the permissions, and to nobody else. The message travels
    /// without its type: a receiver sees type 0.
    /// @param permissions  permission to the ids of the resources for which it is asked; an empty list: for no certain
    ///                     resource
    virtual bool PostMsgWithPermission(const std::map<int, std::list<int>>& permissions,
                                       std::shared_ptr<IBusMsg> msg) = 0;
};

}  // namespace qar
