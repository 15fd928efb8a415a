#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusEvents.h"
#include "mock/DeliveryQueue.h"

namespace qarmock {

/// The event half of the bus without threads: what is posted, and what the functions of RegistMsgCapacity and its like
/// are to be told, waits in one queue until the test delivers it on its own thread. Threads: any; no lock is held while
/// a callback runs.
class FakeEventBus {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

    /// An event that was posted with MsgNotifyBySubscription.
    struct Event {
        int type;
        int resource_type;
        int resource_id;
        Content content;
        std::string plugin;
        int mode;
    };

    /// One subscribed pair of resource type and id, of one event and one subscriber. Without a value: every one.
    struct Subscription {
        ZELPlatform::SubscriberType kind;
        std::string subscriber;
        int event;
        std::optional<int> resource_type;
        std::optional<unsigned int> resource_id;
        bool include_node_events;
        bool need_pictures;
        ZELPlatform::MsgBus::EventNotifyFunc fn;
    };

    /// Calls the subscribers of an event that nobody of this process posted, on the caller's thread, in the order of
    /// their subscriptions. What one throws is caught and kept. @return how many were called
    std::size_t Deliver(int type, int resource_type, int resource_id, const Content& content);
    /// Deliver of an event that another node posted: for those who want such ones.
    std::size_t DeliverFromNode(int type, int resource_type, int resource_id, const Content& content);

    /// Delivers what has waited longest: an event, to those who were subscribed when it was posted, or one call of a
    /// capacity's function. @return false when nothing waits
    bool DeliverOne() { return queue_.DeliverOne(); }
    /// Delivers until nothing waits. @return how many
    std::size_t DeliverAll() { return queue_.DeliverAll(); }

    // Calls the functions that were registered for the event or resource type, on the caller's thread, with whatever
    // the test says. @return how many were called
    std::size_t TellMsgCapacity(ZELPlatform::SubScribeType type, int event, const std::set<unsigned int>& resources);
    std::size_t TellMsgResourceCapacity(ZELPlatform::SubScribeType type, int event, int resource_type,
                                        const std::set<unsigned int>& resources);
    std::size_t TellResourceCapacity(ZELPlatform::SubScribeType type, int resource_type,
                                     const std::set<unsigned int>& resources);

    /// @return all events posted so far, delivered or not
    std::vector<Event> Posted() const;
    /// @return what stands, in the order of subscribing
    std::vector<Subscription> Subscriptions() const;
    /// @return the events of RegistMsgCapacity
    std::set<int> Events() const;
    /// @return the events and resource types of RegistMsgResourceCapacity
    std::map<int, std::set<int>> ResourceEvents() const;
    /// @return the resource types of RegistResourceCapacity
    std::set<int> ResourceTypes() const;
    std::vector<std::string> CaughtExceptions() const { return queue_.CaughtExceptions(); }

    bool RegistMsgCapacity(const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn);
    bool RegistMsgResourceCapacity(const std::map<int, std::set<int>>& events_to_resource_types,
                                   const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn);
    bool RegistResourceCapacity(const std::set<int>& resource_types,
                                const ZELPlatform::MsgBus::ResourceCapacityFunc& fn);
    bool UpdateSubscribeList(std::list<ZELPlatform::MsgBus::CMsgSubScribeErrorInfo>& errors,
                             const std::list<ZELPlatform::MsgBus::CMsgSubscribeInfo>& rows);
    bool MsgNotifyBySubscription(int type, int resource_type, int resource_id, const Content& content,
                                 const std::string& plugin, int mode);

private:
    struct MsgCapacity {
        std::set<int> events;
        ZELPlatform::MsgBus::MsgCapacityFunc fn;
    };
    struct MsgResourceCapacity {
        std::map<int, std::set<int>> events;
        ZELPlatform::MsgBus::MsgResourceCapacityFunc fn;
    };
    struct ResourceCapacity {
        std::set<int> resource_types;
        ZELPlatform::MsgBus::ResourceCapacityFunc fn;
    };

    // mutex_ is held in these
    void Subscribe(const ZELPlatform::MsgBus::CMsgSubscribeInfo& row);
    void Cancel(const ZELPlatform::MsgBus::CMsgSubscribeInfo& row);
    // Queue what a capacity is to be told of subscriptions that stood before and those that stand now.
    void QueueChange(const MsgCapacity& capacity, const std::vector<Subscription>& before);
    void QueueChange(const MsgResourceCapacity& capacity, const std::vector<Subscription>& before);
    void QueueChange(const ResourceCapacity& capacity, const std::vector<Subscription>& before);
    DeliveryQueue::Calls CallsFor(const Event& event, bool from_node) const;

    DeliveryQueue queue_;
    mutable std::mutex mutex_;
    std::vector<MsgCapacity> msg_capacities_;
    std::vector<MsgResourceCapacity> msg_resource_capacities_;
    std::vector<ResourceCapacity> resource_capacities_;
    std::vector<Subscription> subscriptions_;
    std::vector<Event> posted_;
};

}  // namespace qarmock
