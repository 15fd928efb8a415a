#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ZELPlatform/BaseContent.h"
#include "ZELPlatform/BusTypes.h"
#include "standalone/bus/Receiver.h"

namespace qarplatform {

struct EventMessage final : Message {
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

    std::string Text() const override;

    int type = 0;
    int resource_type = 0;
    int resource_id = 0;
    std::string plugin;
    Content content;
};

using EventReceiver = ReceiverOf<EventMessage>;

/// The resources of an event that a subscription is for. Nothing stands for every type, or every id.
struct EventPlace {
    std::optional<int> type;
    std::optional<unsigned int> id;

    bool operator==(const EventPlace&) const = default;
};

struct EventPlaceHash {
    std::size_t operator()(const EventPlace& place) const;
};

/// Who is subscribed to which events; a look-up costs the same however many are. Events and "all events" are told
/// apart by their number only. Threads: one at a time.
class EventTable {
public:
    /// A subscriber, found by kind and id.
    struct Key {
        ZELPlatform::SubscriberType kind;
        std::string id;

        bool operator==(const Key&) const = default;
    };
    /// On the stack while they are few.
    using Receivers = boost::container::small_vector<std::shared_ptr<const EventReceiver>, 16>;

    /// Places begin, or get a new receiver. @param old  gets the receivers that were replaced, to be let go of later
    /// @return the places that were not there before
    std::vector<EventPlace> Begin(const Key& subscriber, int event, const std::vector<EventPlace>& places,
                                  const std::shared_ptr<const EventReceiver>& receiver,
                                  std::vector<std::shared_ptr<const EventReceiver>>& old);

    /// The places with these types and ids end. @param types  empty: any type. @param ids  empty: any id
    /// @param old  gets the receivers that were there, to be let go of later
    /// @return the places that were there
    std::vector<EventPlace> End(const Key& subscriber, int event, const std::set<int>& types,
                                const std::set<unsigned int>& ids,
                                std::vector<std::shared_ptr<const EventReceiver>>& old);

    /// @return who gets an event, each subscriber once: by its receiver of the event before that of all events, and
    ///         of these by the most certain place
    Receivers ReceiversOf(int event, int resource_type, unsigned int resource_id) const;

    /// @return how many subscriptions an event has
    std::size_t Count(int event) const;
    /// @return how many clients are subscribed to an event at a place
    std::size_t Clients(int event, const EventPlace& place) const;
    /// @return the places of an event at which clients are subscribed
    std::vector<EventPlace> ClientPlaces(int event) const;

private:
    struct KeyHash {
        std::size_t operator()(const Key& key) const;
    };
    struct Subscriber {
        std::unordered_map<int, std::unordered_set<EventPlace, EventPlaceHash>> places;  // by event
    };
    struct Entry {
        const Subscriber* subscriber;
        std::shared_ptr<const EventReceiver> receiver;
    };
    struct Bucket {
        std::vector<Entry> entries;  // one for each subscriber
        std::size_t clients = 0;
    };
    struct Event {
        std::unordered_map<EventPlace, Bucket, EventPlaceHash> places;
        std::size_t count = 0;
    };

    static std::vector<Entry>::iterator Find(Bucket& bucket, const Subscriber& subscriber);

    std::unordered_map<int, Event> events_;
    std::unordered_map<Key, Subscriber, KeyHash> subscribers_;  // those with a subscription
};

}  // namespace qarplatform
