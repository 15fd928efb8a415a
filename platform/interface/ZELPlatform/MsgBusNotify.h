#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "ZELPlatform/BusTypes.h"
#include "ZELPlatform/MsgPushInfo.h"

namespace ZELPlatform {

/// A subscription of notify messages, or what a publisher is told of one.
class CMsgSubscribedInfo {
public:
    using Callback = std::function<void(const std::shared_ptr<CMsgPushInfo>& info)>;

    CMsgSubscribedInfo() : b_has_subscriber_(false), n_category_(MsgCategory()), n_subscriber_type_(SubscriberType()) {}

    void SetMsgCategory(MsgCategory category) { n_category_ = category; }
    void SetTypeValues(const std::set<int>& types) { set_types_ = types; }
    void SetSubscriber(const std::string& subscriber) {
        str_subscriber_ = subscriber;
        b_has_subscriber_ = true;
    }
    void SetSubscriberType(SubscriberType type) { n_subscriber_type_ = type; }
    void SetCallback(Callback callback) { callback_ = std::move(callback); }

    bool HasSubscriber() const { return b_has_subscriber_; }
    MsgCategory GetMsgCategory() const { return n_category_; }
    const std::set<int>& GetTypeValues() const { return set_types_; }
    const std::string& GetSubscriber() const { return str_subscriber_; }
    SubscriberType GetSubscriberType() const { return n_subscriber_type_; }
    const Callback& GetCallback() const { return callback_; }

private:
    bool b_has_subscriber_;
    MsgCategory n_category_;
    std::set<int> set_types_;
    std::string str_subscriber_;
    SubscriberType n_subscriber_type_;
    Callback callback_;
};

/// A publisher of notify messages.
class CMsgPublishInfo {
public:
    using Callback = std::function<void(SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>& info)>;

    CMsgPublishInfo() : n_category_(MsgCategory()) {}

    void SetPublisher(const std::string& publisher) { str_publisher_ = publisher; }
    void SetMsgCategory(MsgCategory category) { n_category_ = category; }
    void SetTypeValues(const std::set<int>& types) { set_types_ = types; }
    void SetCallback(Callback callback) { callback_ = std::move(callback); }

    const std::string& GetPublisher() const { return str_publisher_; }
    MsgCategory GetMsgCategory() const { return n_category_; }
    const std::set<int>& GetTypeValues() const { return set_types_; }
    const Callback& GetCallback() const { return callback_; }

private:
    std::string str_publisher_;
    MsgCategory n_category_;
    std::set<int> set_types_;
    Callback callback_;
};

namespace MsgBus {

// The notify half of the bus. Threads: any, also from inside a callback. None of these waits for a callback that runs,
// and none calls back on its caller's thread. Callbacks run on the bus's own threads: in the order of sending for one
// subscriber, and no subscriber holds up another. What a callback throws is caught and logged. All set the last error
// when they give false; the pushes give false for an empty info or one without content, and on a bus that has stopped,
// and true when nobody is there to get the message.

/// Registers a publisher for the rest of the process; a second call adds its types and keeps both callbacks.
/// @param info  its callback is told of each subscription of one of its types that begins or ends, with the types of
///              that subscription that are the publisher's, also of those that stood before this call
/// @return false without a publisher name or callback
bool PublishMsg(const std::shared_ptr<CMsgPublishInfo>& info);

/// Adds types to a subscriber, found by kind and name; a new callback replaces the old one for all of its types.
/// @return false without a name or callback, or for an unknown kind
bool SubscribeMsg(const std::shared_ptr<CMsgSubscribedInfo>& info);

/// Ends types of a subscriber; without a subscriber, those types of every subscriber in the process. A named subscriber
/// without types ends as such, with all it had; a client is reached by name until then, whatever types it has left.
/// @return true, also when nothing was subscribed
bool UnsubscribeMsg(const std::shared_ptr<CMsgSubscribedInfo>& info);

/// Sends a message to all subscribers of its type, once each. With user-permission information set it goes to the
/// users' clients whose user holds one of the permissions, and to nobody else, whatever its type; plug-ins hold none.
bool PushMsgToSubscriber(const std::shared_ptr<CMsgPushInfo>& info);

/// Sends a message to clients by name, whatever types they subscribed to. A user's client is named by its session id.
bool PushMsgToSpecifiedClients(const std::set<std::string>& clients, const std::shared_ptr<CMsgPushInfo>& info);

/// Sends a message to the named subscribers of each kind, whatever types they subscribed to.
bool PushMsgToSpecifiedSubscribers(const std::map<SubscriberType, std::set<std::string>>& subscribers,
                                   const std::shared_ptr<CMsgPushInfo>& info);

}  // namespace MsgBus
}  // namespace ZELPlatform
