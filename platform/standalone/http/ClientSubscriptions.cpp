#include "standalone/http/ClientSubscriptions.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace qarplatform {

namespace {

template <class Number>
std::vector<int64_t> Widened(const std::set<Number>& numbers, int64_t if_empty) {
    if (numbers.empty()) return {if_empty};
    return {numbers.begin(), numbers.end()};
}

template <class Number>
std::size_t CountOf(const std::set<Number>& numbers) {
    return std::max<std::size_t>(numbers.size(), 1);
}

}  // namespace

bool ClientSubscriptions::NamesFew(const PushCommand& command) {
    // a command has some ten thousand numbers at most, so the product stays far from overflowing
    const std::size_t pairs = command.events.size() * CountOf(command.resource_types) * CountOf(command.resource_ids);
    return pairs + command.messages.size() <= kMax;
}

bool ClientSubscriptions::Apply(const PushCommand& command) {
    if (!NamesFew(command)) return false;
    if (command.subscribe) return Add(command);
    Remove(command);
    return true;
}

bool ClientSubscriptions::Add(const PushCommand& command) {
    // what is new is made apart, so that joining it neither is refused nor fails
    Pairs pairs;
    const std::vector<int64_t> types = Widened(command.resource_types, kEvery);
    const std::vector<int64_t> ids = Widened(command.resource_ids, kEvery);
    for (const int event : command.events) {
        for (const int64_t type : types) {
            for (const int64_t id : ids) {
                if (pairs_.count({event, type, id}) == 0) pairs.emplace_hint(pairs.end(), event, type, id);
            }
        }
    }
    std::set<int> messages;
    for (const int type : command.messages) {
        if (messages_.count(type) == 0) messages.insert(messages.end(), type);
    }
    if (Count() + pairs.size() + messages.size() > kMax) return false;
    pairs_.merge(pairs);
    messages_.merge(messages);
    return true;
}

// an empty set ends the subscriptions of every one
void ClientSubscriptions::Remove(const PushCommand& command) {
    for (const int event : command.events) {
        if (command.resource_types.empty()) RemoveOfAnyType(event, command.resource_ids);
        for (const int type : command.resource_types) RemoveOfType(event, type, command.resource_ids);
    }
    for (const int type : command.messages) messages_.erase(type);
}

void ClientSubscriptions::RemoveOfAnyType(int event, const std::set<unsigned int>& ids) {
    const auto begin = pairs_.lower_bound({event, kEvery, kEvery});
    const auto end = pairs_.upper_bound({event, INT64_MAX, INT64_MAX});
    if (ids.empty()) {
        pairs_.erase(begin, end);
        return;
    }
    for (auto pair = begin; pair != end;) {
        const int64_t id = std::get<2>(*pair);
        const bool named = id != kEvery && ids.count(static_cast<unsigned int>(id)) > 0;
        pair = named ? pairs_.erase(pair) : std::next(pair);
    }
}

void ClientSubscriptions::RemoveOfType(int event, int64_t type, const std::set<unsigned int>& ids) {
    if (ids.empty()) {
        pairs_.erase(pairs_.lower_bound({event, type, kEvery}), pairs_.upper_bound({event, type, INT64_MAX}));
        return;
    }
    for (const unsigned int id : ids) pairs_.erase({event, type, id});
}

std::set<int> ClientSubscriptions::Events() const {
    std::set<int> events;
    for (const auto& pair : pairs_) events.insert(std::get<0>(pair));
    return events;
}

}  // namespace qarplatform
