#include "standalone/http/ClientSubscriptions.h"

#include <algorithm>
#include <utility>

namespace qarplatform {

namespace {

template <class Number>
std::set<int64_t> Widened(const std::set<Number>& numbers, int64_t if_empty) {
    std::set<int64_t> wide(numbers.begin(), numbers.end());
    if (wide.empty()) wide.insert(if_empty);
    return wide;
}

}  // namespace

bool ClientSubscriptions::Apply(const PushCommand& command) {
    const std::set<int64_t> types = Widened(command.resource_types, kEvery);
    const std::set<int64_t> ids = Widened(command.resource_ids, kEvery);
    // a command has some ten thousand numbers at most, so the product stays far from overflowing
    if (command.events.size() * types.size() * ids.size() + command.messages.size() > kMax) return false;
    if (!command.subscribe) {
        // an empty set ends the subscriptions of every one
        std::erase_if(pairs_, [&](const auto& pair) {
            const auto& [event, type, id] = pair;
            return command.events.count(event) > 0 && (command.resource_types.empty() || types.count(type) > 0) &&
                   (command.resource_ids.empty() || ids.count(id) > 0);
        });
        for (const int type : command.messages) messages_.erase(type);
        return true;
    }
    auto pairs = pairs_;
    for (const int event : command.events) {
        for (const int64_t type : types) {
            for (const int64_t id : ids) pairs.emplace(event, type, id);
        }
    }
    auto messages = messages_;
    messages.insert(command.messages.begin(), command.messages.end());
    if (pairs.size() + messages.size() > kMax) return false;
    pairs_ = std::move(pairs);
    messages_ = std::move(messages);
    return true;
}

std::set<int> ClientSubscriptions::Events() const {
    std::set<int> events;
    for (const auto& pair : pairs_) events.insert(std::get<0>(pair));
    return events;
}

}  // namespace qarplatform
