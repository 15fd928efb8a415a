#include "standalone/bus/EventCapacities.h"

#include <algorithm>
#include <utility>

namespace qarplatform {

using ZELPlatform::kSubscribe;
using ZELPlatform::SubScribeType;
using ZELPlatform::MsgBus::kAllEvents;

namespace {

constexpr int kNoType = -1;

bool IsFor(const EventPlace& place, int resource_type) { return !place.type || *place.type == resource_type; }

/// @return "producer of event 5 and 2 more"
template <class Numbers>
std::string ProducerOf(const char* what, const Numbers& numbers, int first) {
    std::string name = std::string("producer of ") + what;
    name += numbers.empty() ? " none" : " " + std::to_string(first);
    if (numbers.size() > 1) name += " and " + std::to_string(numbers.size() - 1) + " more";
    return name;
}

}  // namespace

std::string CapacityMessage::Text() const {
    return "the news of subscriptions of " + (event == kAllEvents ? "all events" : "event " + std::to_string(event));
}

void EventCapacities::AddEventProducer(const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn,
                                       bool tell) {
    const int first = events.empty() ? 0 : *events.begin();
    const auto call = [fn](const CapacityMessage& news) { fn(news.subscribe_type, news.event, news.resources); };
    event_producers_.push_back({events, MakeReceiver(ProducerOf("event", events, first), call)});
    if (!tell) return;
    for (const int event : events) {
        if (Subscriptions(event) > 0) Post(event_producers_.back().receiver, kSubscribe, event, kNoType, {});
    }
}

void EventCapacities::AddResourceProducer(const std::map<int, std::set<int>>& types_of_events,
                                          const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn, bool tell) {
    const int first = types_of_events.empty() ? 0 : types_of_events.begin()->first;
    const auto call = [fn](const CapacityMessage& news) {
        fn(news.subscribe_type, news.event, news.resource_type, news.resources);
    };
    resource_producers_.push_back({types_of_events, MakeReceiver(ProducerOf("event", types_of_events, first), call)});
    if (!tell) return;
    for (const auto& [event, types] : types_of_events) {
        const std::vector<EventPlace> places = table_.ClientPlaces(event);
        for (const int type : types) {
            const std::set<unsigned int> ids = IdsOf(places, type);
            if (!ids.empty()) Post(resource_producers_.back().receiver, kSubscribe, event, type, ids);
        }
    }
}

void EventCapacities::AddTypeProducer(const std::set<int>& types, const ZELPlatform::MsgBus::ResourceCapacityFunc& fn,
                                      bool tell) {
    const int first = types.empty() ? 0 : *types.begin();
    const auto call = [fn](const CapacityMessage& news) {
        fn(news.subscribe_type, news.resource_type, news.resources);
    };
    type_producers_.push_back({types, MakeReceiver(ProducerOf("events of resource type", types, first), call)});
    if (!tell) return;
    const std::vector<EventPlace> places = table_.ClientPlaces(kAllEvents);
    for (const int type : types) {
        TellTypeProducer(type_producers_.back(), kSubscribe, type, places);
    }
}

void EventCapacities::Tell(SubScribeType subscribe_type, ZELPlatform::SubscriberType kind, int event,
                           const std::vector<EventPlace>& places) const {
    if (places.empty()) return;
    for (const EventProducer& producer : event_producers_) {
        for (const int produced : producer.events) {
            if (event != produced && event != kAllEvents) continue;
            const std::size_t before_or_after = subscribe_type == kSubscribe ? places.size() : 0;
            if (Subscriptions(produced) == before_or_after) {
                Post(producer.receiver, subscribe_type, produced, kNoType, {});
            }
        }
    }
    if (kind != ZELPlatform::kSubscriberClient) return;
    for (const ResourceProducer& producer : resource_producers_) {
        const auto types = producer.types_of_events.find(event);
        if (types == producer.types_of_events.end()) continue;
        for (const int type : types->second) {
            const std::set<unsigned int> ids = IdsOf(Changed(subscribe_type, event, type, places), type);
            if (!ids.empty()) Post(producer.receiver, subscribe_type, event, type, ids);
        }
    }
    if (event != kAllEvents) return;
    for (const TypeProducer& producer : type_producers_) {
        for (const int type : producer.types) {
            TellTypeProducer(producer, subscribe_type, type, Changed(subscribe_type, event, type, places));
        }
    }
}

void EventCapacities::TellTypeProducer(const TypeProducer& producer, SubScribeType subscribe_type, int type,
                                       const std::vector<EventPlace>& places) const {
    const std::set<unsigned int> ids = IdsOf(places, type);
    if (!ids.empty()) Post(producer.receiver, subscribe_type, kAllEvents, type, ids);
    const bool every_id = std::any_of(places.begin(), places.end(),
                                      [&](const EventPlace& place) { return !place.id && IsFor(place, type); });
    if (every_id) Post(producer.receiver, subscribe_type, kAllEvents, type, {});
}

std::size_t EventCapacities::Subscriptions(int event) const {
    return table_.Count(event) + (event != kAllEvents ? table_.Count(kAllEvents) : 0);
}

std::vector<EventPlace> EventCapacities::Changed(SubScribeType subscribe_type, int event, int type,
                                                 const std::vector<EventPlace>& places) const {
    std::vector<EventPlace> changed;
    for (const EventPlace& place : places) {
        if (!IsFor(place, type)) continue;
        const std::size_t clients =
            table_.Clients(event, {type, place.id}) + table_.Clients(event, {std::nullopt, place.id});
        if (clients == (subscribe_type == kSubscribe ? 1u : 0u)) changed.push_back(place);
    }
    return changed;
}

std::set<unsigned int> EventCapacities::IdsOf(const std::vector<EventPlace>& places, int type) {
    std::set<unsigned int> ids;
    for (const EventPlace& place : places) {
        if (place.id && IsFor(place, type)) ids.insert(*place.id);
    }
    return ids;
}

std::shared_ptr<const EventCapacities::CapacityReceiver> EventCapacities::MakeReceiver(
    std::string name, CapacityReceiver::Function call) {
    return std::make_shared<const CapacityReceiver>(threads_.NewLane(std::move(name)), std::move(call));
}

void EventCapacities::Post(const std::shared_ptr<const CapacityReceiver>& receiver, SubScribeType subscribe_type,
                           int event, int type, std::set<unsigned int> ids) {
    auto news = std::make_shared<CapacityMessage>();
    news->subscribe_type = subscribe_type;
    news->event = event;
    news->resource_type = type;
    news->resources = std::move(ids);
    receiver->lane->Post(Delivery(receiver, std::shared_ptr<const CapacityMessage>(std::move(news))));
}

}  // namespace qarplatform
