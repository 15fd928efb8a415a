#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusEvents.h"
#include "standalone/bus/BusThreads.h"
#include "standalone/bus/EventTable.h"
#include "standalone/bus/Receiver.h"

namespace qarplatform {

/// What a producer of events is told.
struct CapacityMessage final : Message {
    std::string Text() const override;

    ZELPlatform::SubScribeType subscribe_type{};
    int event = 0;
    int resource_type = 0;
    std::set<unsigned int> resources;
};

/// The producers of events, and what they have to be told of the subscriptions in a table. A producer of an event is
/// told when it begins or ceases to be wanted at all; one of an event on a type of resources, when a resource begins or
/// ceases to be wanted by clients; one of all events of a type, likewise, an empty set being every resource. Whoever
/// wants all events wants each of them. Each registration has a lane, so its calls come in order.
/// Threads: one at a time, with the table.
class EventCapacities {
public:
    EventCapacities(const EventTable& table, BusThreads& threads) : table_(table), threads_(threads) {}

    // `tell` is whether the bus still delivers. Those that stood before are told at once.
    void AddEventProducer(const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn, bool tell);
    void AddResourceProducer(const std::map<int, std::set<int>>& types_of_events,
                             const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn, bool tell);
    void AddTypeProducer(const std::set<int>& types, const ZELPlatform::MsgBus::ResourceCapacityFunc& fn, bool tell);

    /// Tells of what changed in the table. @param places  of the event, that one subscriber has begun or ended
    void Tell(ZELPlatform::SubScribeType subscribe_type, ZELPlatform::SubscriberType kind, int event,
              const std::vector<EventPlace>& places) const;

private:
    using CapacityReceiver = ReceiverOf<CapacityMessage>;
    struct EventProducer {
        std::set<int> events;
        std::shared_ptr<const CapacityReceiver> receiver;
    };
    struct ResourceProducer {
        std::map<int, std::set<int>> types_of_events;
        std::shared_ptr<const CapacityReceiver> receiver;
    };
    struct TypeProducer {
        std::set<int> types;
        std::shared_ptr<const CapacityReceiver> receiver;
    };

    void TellTypeProducer(const TypeProducer& producer, ZELPlatform::SubScribeType subscribe_type, int type,
                          const std::vector<EventPlace>& places) const;

    /// @return how many subscriptions want an event
    std::size_t Subscriptions(int event) const;
    /// @return those of the places that no other client wants, for resources of a type
    std::vector<EventPlace> Changed(ZELPlatform::SubScribeType subscribe_type, int event, int type,
                                    const std::vector<EventPlace>& places) const;
    static std::set<unsigned int> IdsOf(const std::vector<EventPlace>& places, int type);

    std::shared_ptr<const CapacityReceiver> MakeReceiver(std::string name, CapacityReceiver::Function call);
    static void Post(const std::shared_ptr<const CapacityReceiver>& receiver, ZELPlatform::SubScribeType subscribe_type,
                     int event, int type, std::set<unsigned int> ids);

    const EventTable& table_;
    BusThreads& threads_;
    std::vector<EventProducer> event_producers_;
    std::vector<ResourceProducer> resource_producers_;
    std::vector<TypeProducer> type_producers_;
};

}  // namespace qarplatform
