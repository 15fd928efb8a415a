#include "standalone/bus/EventTable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "ZELPlatform/MsgBusEvents.h"

namespace qarplatform {

using ZELPlatform::kSubscriberClient;
using ZELPlatform::MsgBus::kAllEvents;

std::string EventMessage::Text() const {
    return "event " + std::to_string(type) + " of resource " + std::to_string(static_cast<unsigned int>(resource_id)) +
           " from " + plugin;
}

std::size_t EventPlaceHash::operator()(const EventPlace& place) const {
    const auto type = static_cast<std::uint32_t>(place.type.value_or(0));
    std::uint64_t bits = std::uint64_t{type} << 32 | place.id.value_or(0);
    bits ^= std::uint64_t{place.type.has_value()} << 63 ^ std::uint64_t{place.id.has_value()} << 62;
    return static_cast<std::size_t>(bits * 0x9E3779B97F4A7C15u >> 16);
}

std::size_t EventTable::KeyHash::operator()(const Key& key) const {
    return std::hash<std::string>()(key.id) ^ static_cast<std::size_t>(key.kind);
}

std::vector<EventPlace> EventTable::Begin(const Key& subscriber, int event, const std::vector<EventPlace>& places,
                                          const std::shared_ptr<const EventReceiver>& receiver,
                                          std::vector<std::shared_ptr<const EventReceiver>>& old) {
    std::vector<EventPlace> begun;
    Subscriber& owner = subscribers_[subscriber];
    auto& own_places = owner.places[event];
    Event& table = events_[event];
    for (const EventPlace& place : places) {
        Bucket& bucket = table.places[place];
        if (own_places.insert(place).second) {
            bucket.entries.push_back({&owner, receiver});
            if (subscriber.kind == kSubscriberClient) ++bucket.clients;
            ++table.count;
            begun.push_back(place);
        } else {
            Entry& entry = *Find(bucket, owner);
            old.push_back(std::move(entry.receiver));
            entry.receiver = receiver;
        }
    }
    return begun;
}

std::vector<EventPlace> EventTable::End(const Key& subscriber, int event, const std::set<int>& types,
                                        const std::set<unsigned int>& ids,
                                        std::vector<std::shared_ptr<const EventReceiver>>& old) {
    std::vector<EventPlace> ended;
    const auto owner = subscribers_.find(subscriber);
    if (owner == subscribers_.end()) return ended;
    const auto own_places = owner->second.places.find(event);
    if (own_places == owner->second.places.end()) return ended;
    // whichever is shorter: what the subscriber has, or what the row names
    if (types.empty() || ids.empty() || types.size() * ids.size() > own_places->second.size()) {
        for (const EventPlace& place : own_places->second) {
            const bool type_fits = types.empty() || (place.type && types.count(*place.type) > 0);
            const bool id_fits = ids.empty() || (place.id && ids.count(*place.id) > 0);
            if (type_fits && id_fits) ended.push_back(place);
        }
    } else {
        for (const int type : types) {
            for (const unsigned int id : ids) {
                if (own_places->second.count({type, id}) > 0) ended.push_back({type, id});
            }
        }
    }

    Event& table = events_.at(event);
    for (const EventPlace& place : ended) {
        const auto bucket = table.places.find(place);
        const auto entry = Find(bucket->second, owner->second);
        old.push_back(std::move(entry->receiver));
        *entry = std::move(bucket->second.entries.back());
        bucket->second.entries.pop_back();
        if (subscriber.kind == kSubscriberClient) --bucket->second.clients;
        if (bucket->second.entries.empty()) table.places.erase(bucket);
        own_places->second.erase(place);
        --table.count;
    }
    if (table.count == 0) events_.erase(event);
    if (own_places->second.empty()) owner->second.places.erase(own_places);
    if (owner->second.places.empty()) subscribers_.erase(owner);
    return ended;
}

EventTable::Receivers EventTable::ReceiversOf(int event, int resource_type, unsigned int resource_id) const {
    const EventPlace places[] = {
        {resource_type, resource_id}, {std::nullopt, resource_id}, {resource_type, std::nullopt}, {}};
    std::array<const Bucket*, 2 * std::size(places)> buckets{};
    std::size_t found = 0;
    const auto look_up = [&](int wanted) {
        const auto table = events_.find(wanted);
        if (table == events_.end()) return;
        for (const EventPlace& place : places) {
            const auto bucket = table->second.places.find(place);
            if (bucket != table->second.places.end()) buckets[found++] = &bucket->second;
        }
    };
    look_up(event);
    if (event != kAllEvents) look_up(kAllEvents);

    Receivers receivers;
    if (found == 1) {
        receivers.reserve(buckets[0]->entries.size());
        for (const Entry& entry : buckets[0]->entries) receivers.push_back(entry.receiver);
    } else if (found > 1) {
        std::vector<const Entry*> entries;
        for (std::size_t i = 0; i < found; ++i) {
            for (const Entry& entry : buckets[i]->entries) entries.push_back(&entry);
        }
        std::stable_sort(entries.begin(), entries.end(), [](const Entry* left, const Entry* right) {
            return std::less<>()(left->subscriber, right->subscriber);
        });
        const auto same = [](const Entry* left, const Entry* right) { return left->subscriber == right->subscriber; };
        entries.erase(std::unique(entries.begin(), entries.end(), same), entries.end());
        receivers.reserve(entries.size());
        for (const Entry* entry : entries) receivers.push_back(entry->receiver);
    }
    return receivers;
}

std::size_t EventTable::Count(int event) const {
    const auto table = events_.find(event);
    return table != events_.end() ? table->second.count : 0;
}

std::size_t EventTable::Clients(int event, const EventPlace& place) const {
    const auto table = events_.find(event);
    if (table == events_.end()) return 0;
    const auto bucket = table->second.places.find(place);
    return bucket != table->second.places.end() ? bucket->second.clients : 0;
}

std::vector<EventPlace> EventTable::ClientPlaces(int event) const {
    std::vector<EventPlace> found;
    const auto table = events_.find(event);
    if (table == events_.end()) return found;
    for (const auto& [place, bucket] : table->second.places) {
        if (bucket.clients > 0) found.push_back(place);
    }
    return found;
}

std::vector<EventTable::Entry>::iterator EventTable::Find(Bucket& bucket, const Subscriber& subscriber) {
    return std::find_if(bucket.entries.begin(), bucket.entries.end(),
                        [&](const Entry& entry) { return entry.subscriber == &subscriber; });
}

}  // namespace qarplatform
