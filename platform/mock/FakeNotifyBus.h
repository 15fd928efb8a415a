#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ZELPlatform/MsgBusNotify.h"
#include "mock/DeliveryQueue.h"

namespace qarmock {

/// The notify half of the bus without threads: what is pushed, and what publishers are to be told, waits in one queue
/// until the test delivers it on its own thread. Threads: any; no lock is held while a callback runs.
class FakeNotifyBus {
public:
    using PushInfo = std::shared_ptr<ZELPlatform::CMsgPushInfo>;
    using SubscribedInfo = std::shared_ptr<ZELPlatform::CMsgSubscribedInfo>;
    using Subscribers = std::map<ZELPlatform::SubscriberType, std::set<std::string>>;

    /// A message that was sent with one of the three pushes.
    struct Push {
        std::string operation;  ///< "PushMsgToSubscriber"
        PushInfo info;
        std::set<std::string> clients;  ///< of PushMsgToSpecifiedClients
        Subscribers subscribers;        ///< of PushMsgToSpecifiedSubscribers
    };

    struct Subscription {
        ZELPlatform::SubscriberType kind;
        std::string subscriber;
        std::set<int> types;
    };

    struct Publisher {
        std::string name;
        std::set<int> types;
        std::size_t callbacks;
    };

    /// Opens a user's client; it is a subscriber of the kind of clients like any other, and keeps what reaches it.
    /// @param name         the session's id
    /// @param permissions  what the user holds, for all resources
    /// @param types        what the client subscribes to. Opening it again adds types; UnsubscribeMsg takes some away
    void OpenClient(const std::string& name, const std::set<int>& permissions = {}, const std::set<int>& types = {});
    /// Ends a client and its subscription. @return false when there is none
    bool CloseClient(const std::string& name);
    /// What the client's user holds from now on. @return false when there is no such client
    bool SetPermissions(const std::string& client, const std::set<int>& permissions);
    /// @return what was delivered to a client, also to one that has been closed
    std::vector<PushInfo> Received(const std::string& client) const;

    /// Calls the subscribers of a message that nobody of this process sent, as PushMsgToSubscriber finds them, on the
    /// caller's thread, in the order of their subscriptions. What one throws is caught and kept. `info` may be null: it
    /// goes to every plug-in then. @return how many were called
    std::size_t Deliver(const PushInfo& info);

    /// Delivers what has waited longest: a message, to those who were its subscribers when it was sent, or one call of
    /// a publisher's callback. @return false when nothing waits
    bool DeliverOne() { return queue_.DeliverOne(); }
    /// Delivers until nothing waits. @return how many
    std::size_t DeliverAll() { return queue_.DeliverAll(); }

    /// Calls the callbacks of all publishers, on the caller's thread, with whatever the test says.
    /// @return how many were called
    std::size_t TellPublishers(ZELPlatform::SubScribeType type, const SubscribedInfo& info);

    /// @return all messages sent so far, delivered or not
    std::vector<Push> Pushes() const;
    /// @return what stands, in the order of subscribing
    std::vector<Subscription> Subscriptions() const;
    std::vector<Publisher> Publishers() const;
    std::vector<std::string> CaughtExceptions() const { return queue_.CaughtExceptions(); }

    bool PublishMsg(const std::shared_ptr<ZELPlatform::CMsgPublishInfo>& info);
    bool SubscribeMsg(const SubscribedInfo& info);
    bool UnsubscribeMsg(const SubscribedInfo& info);
    bool PushMsgToSubscriber(const PushInfo& info);
    bool PushMsgToSpecifiedClients(const std::set<std::string>& clients, const PushInfo& info);
    bool PushMsgToSpecifiedSubscribers(const Subscribers& subscribers, const PushInfo& info);

private:
    using Callback = ZELPlatform::CMsgSubscribedInfo::Callback;
    using PublishCallback = ZELPlatform::CMsgPublishInfo::Callback;

    struct Subscriber {
        ZELPlatform::SubscriberType kind;
        std::string name;
        ZELPlatform::MsgCategory category;
        std::set<int> types;
        Callback callback;
    };
    struct PublisherEntry {
        std::string name;
        std::set<int> types;
        std::vector<PublishCallback> callbacks;
    };

    // mutex_ is held in these
    Subscriber* Find(ZELPlatform::SubscriberType kind, const std::string& name);
    void QueueChange(ZELPlatform::SubScribeType type, const Subscriber& subscriber, const std::set<int>& types);
    void QueueFor(const PublishCallback& callback, ZELPlatform::SubScribeType type, const Subscriber& subscriber,
                  const std::set<int>& types);
    bool IsOpenClient(const Subscriber& subscriber) const;
    DeliveryQueue::Calls CallsIf(const PushInfo& info, const std::function<bool(const Subscriber&)>& wants) const;
    bool IsFor(const Subscriber& subscriber, const PushInfo& info) const;

    bool Send(Push push, const std::function<bool(const Subscriber&)>& wants);

    DeliveryQueue queue_;
    mutable std::mutex mutex_;
    std::vector<PublisherEntry> publishers_;
    std::vector<Subscriber> subscribers_;
    std::map<std::string, std::set<int>> permissions_;  // by open client
    std::map<std::string, std::vector<PushInfo>> received_;
    std::vector<Push> pushes_;
};

}  // namespace qarmock
