#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "Mox/Base/Error.h"
#include "ZELPlatform/BaseContent.h"
#include "ZELPlatform/BusTypes.h"

namespace ZELPlatform {
namespace MsgBus {

/// What a subscriber of events is called with.
using EventNotifyFunc =
    std::function<void(int type, int resource_type, int resource_id, const std::shared_ptr<CBaseContent>& content)>;

/// The subscribing party.
class CSubscriber {
public:
    CSubscriber() : n_type_(SubscriberType()) {}

    void SetValsubscribeType(SubscriberType type) { n_type_ = type; }
    /// @param fn  not needed by a row that cancels
    void SetValcallbackFunction(EventNotifyFunc fn) { fn_ = std::move(fn); }
    /// @param id  the plug-in's name, or a client's; the platform finds a subscription by kind and id
    void SetSubscriberId(const std::string& id) { str_id_ = id; }

    SubscriberType GetValsubscribeType() const { return n_type_; }
    const EventNotifyFunc& GetValcallbackFunction() const { return fn_; }
    const std::string& GetSubscriberId() const { return str_id_; }

private:
    SubscriberType n_type_;
    EventNotifyFunc fn_;
    std::string str_id_;
};

/// One row of a subscription list: an event type, wanted or no longer wanted by a subscriber. A type or id set that was
/// not set, or is empty, is every resource type or id.
class CMsgSubscribeInfo {
public:
    CMsgSubscribeInfo()
        : n_subscribe_type_(SubScribeType()),
          n_event_type_(0),
          b_include_node_events_(false),
          b_need_tuk_store_picture_(false) {}

    void SetValsubscriber(const CSubscriber& subscriber) { subscriber_ = subscriber; }
    void SetValsubscribeType(SubScribeType type) { n_subscribe_type_ = type; }
    void SetValeventType(int type) { n_event_type_ = type; }
    void SetValresourceTypes(const std::set<int>& types) { set_resource_types_ = types; }
    void SetValresourceIDs(const std::set<unsigned int>& ids) { set_resource_ids_ = ids; }
    /// @param include  whether events that other nodes posted are wanted as well
    void SetIncludeNodeEvents(bool include) { b_include_node_events_ = include; }
    /// @param need  whether the event's pictures are wanted; without them a CEventBaseContent hands out none
    void SetNeedTukStorePicture(bool need) { b_need_tuk_store_picture_ = need; }

    const CSubscriber& GetValsubscriber() const { return subscriber_; }
    SubScribeType GetValsubscribeType() const { return n_subscribe_type_; }
    int GetValeventType() const { return n_event_type_; }
    const std::set<int>& GetValresourceTypes() const { return set_resource_types_; }
    const std::set<unsigned int>& GetValresourceIDs() const { return set_resource_ids_; }
    bool GetIncludeNodeEvents() const { return b_include_node_events_; }
    bool GetNeedTukStorePicture() const { return b_need_tuk_store_picture_; }

private:
    CSubscriber subscriber_;
    SubScribeType n_subscribe_type_;
    int n_event_type_;
    std::set<int> set_resource_types_;
    std::set<unsigned int> set_resource_ids_;
    bool b_include_node_events_;
    bool b_need_tuk_store_picture_;
};

/// One row that the platform refused.
class CMsgSubScribeErrorInfo {
public:
    void SetValerrorInfo(const Mox::Base::Error::ErrorCode& error) { error_ = error; }
    const Mox::Base::Error::ErrorCode& GetValerrorInfo() const { return error_; }

private:
    Mox::Base::Error::ErrorCode error_;
};

using MsgCapacityFunc = std::function<void(SubScribeType type, int event, const std::set<unsigned int>& resources)>;
using MsgResourceCapacityFunc =
    std::function<void(SubScribeType type, int event, int resource_type, const std::set<unsigned int>& resources)>;
using ResourceCapacityFunc =
    std::function<void(SubScribeType type, int resource_type, const std::set<unsigned int>& resources)>;

// The event half of the bus. Threads: any, also from inside a callback. None of these waits for a callback that runs,
// and none calls back on its caller's thread. Callbacks run on the bus's own threads: in the order of posting for one
// subscriber, and no subscriber holds up another. What a callback throws is caught and logged.

/// Declares that this process can produce events. Lasts for the rest of the process.
/// @param fn  told when the first subscriber, plug-in or client, wants an event, also when it did before this call, and
///            when the last one wants it no longer; `resources` is empty. Calls come in order
/// @return false when `fn` is empty, with the last error set
bool RegistMsgCapacity(const std::set<int>& events, const MsgCapacityFunc& fn);

/// Declares the resource types on which events occur.
/// @param fn  told of resources of its types that the first client wants an event of, and that the last no longer does
/// @return as RegistMsgCapacity
bool RegistMsgResourceCapacity(const std::map<int, std::set<int>>& events_to_resource_types,
                               const MsgResourceCapacityFunc& fn);

/// Declares resource types whose events may be wanted as a whole.
/// @param fn  told of resources that the first client wants all events of, and that the last no longer does
/// @return as RegistMsgCapacity
bool RegistResourceCapacity(const std::set<int>& resource_types, const ResourceCapacityFunc& fn);

/// Event type of a row that stands for all events of its resources. For clients.
const int kAllEvents = -1;

/// Applies rows in order; a refused row changes nothing, and the others hold all the same.
/// A subscriber is found by kind and id. A row stands for each pair of its resource types and ids, "every" being one of
/// either; subscribing a pair again puts the new callback and flags in the place of the old. An event reaches a
/// subscriber once: by the pair of its type and id, else by that of every type and its id, else by its type and every
/// id, else by every type and id. A row that cancels ends the pairs of its event with these types and ids; without
/// types it ends those of any type, without ids those of any id. Cancelling what is not there is no error.
/// @param errors  gets one entry for each row that was refused, in order: no callback in a row that subscribes, no
///                subscriber id, an unknown subscriber kind, or a bus that has stopped. Appended to
/// @return false when a row was refused; the others hold
bool UpdateSubscribeList(std::list<CMsgSubScribeErrorInfo>& errors, const std::list<CMsgSubscribeInfo>& rows);

/// Delivers an event to those who are subscribed when it is posted.
/// @param resource_id  an id of 32 bits without sign, handed on as the int of the same bits
/// @param plugin       who posts
/// @param mode         0
/// @return false when the bus has stopped, with the last error set; true also when nobody wants the event
bool MsgNotifyBySubscription(int type, int resource_type, int resource_id, const std::shared_ptr<CBaseContent>& content,
                             const std::string& plugin, int mode);

}  // namespace MsgBus
}  // namespace ZELPlatform
