#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBus.h"
#include "mock/DeliveryQueue.h"

namespace qarmock {

/// The observer half of the bus without threads: what is sent waits until the test delivers it on its own thread.
/// Threads: any; no lock is held while a callback runs.
class FakeMsgBus {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

    /// A message that was sent with NotifyObserverEventEx.
    struct Message {
        std::string observer;
        int type;
        Content content;
        ZELPlatform::ObserverTaskType task_type;
    };

    /// An Ex subscription as it stands.
    struct Subscription {
        std::string plugin;
        std::string observer;
        bool all_types;  ///< every type but those in `types`; else just those in `types`
        std::set<int> types;
        ZELPlatform::MsgBus::ObserverNotifyFuncEx cb;
        void* user_data;
    };

    /// Calls the callbacks of those who are subscribed to the topic and the type, on the caller's thread, in the order
    /// of their subscriptions. What one throws is caught and kept. The topic need not be registered.
    /// @return how many were called
    std::size_t Deliver(const std::string& observer, int type, const Content& content);

    /// Delivers the sent message that has waited longest to those who were subscribed when it was sent.
    /// @return false when none waits
    bool DeliverOne() { return queue_.DeliverOne(); }
    /// Delivers until none waits. @return how many messages
    std::size_t DeliverAll() { return queue_.DeliverAll(); }

    /// @return all messages sent so far, delivered or not
    std::vector<Message> Sent() const;
    std::set<std::string> Topics() const;
    std::vector<Subscription> Subscriptions() const;
    /// @return how many plain subscriptions a topic has
    std::size_t PlainSubscriptions(const std::string& observer) const;
    std::vector<std::string> CaughtExceptions() const { return queue_.CaughtExceptions(); }

    bool RegistObserver(const std::string& observer);
    bool SubscribeObserver(const std::string& observer, const std::string& plugin,
                           ZELPlatform::MsgBus::ChangeMsgNotifyFunc fn);
    bool UnSubscribeObserver(const std::string& observer, ZELPlatform::MsgBus::ChangeMsgNotifyFunc fn);
    bool SubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types,
                             ZELPlatform::MsgBus::ObserverNotifyFuncEx cb, void* user_data);
    bool UnSubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types);
    bool NotifyObserverEventEx(const std::string& observer, int type, const Content& content,
                               ZELPlatform::ObserverTaskType task_type);

private:
    struct Plain {
        std::string observer;
        std::string plugin;
        ZELPlatform::MsgBus::ChangeMsgNotifyFunc fn;
    };

    // mutex_ is held
    DeliveryQueue::Calls CallsFor(const std::string& observer, int type, const Content& content) const;

    DeliveryQueue queue_;
    mutable std::mutex mutex_;
    std::set<std::string> topics_;
    std::vector<Plain> plain_;
    std::vector<Subscription> subscriptions_;
    std::vector<Message> sent_;
};

}  // namespace qarmock
