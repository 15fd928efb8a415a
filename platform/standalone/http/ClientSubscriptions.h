#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <tuple>

#include "ZELPlatform/MsgBusEvents.h"
#include "standalone/http/PushCommand.h"

namespace qarplatform {

/// What a session has subscribed to on the bus, by the bus's own rules of rows. Threads: one at a time.
class ClientSubscriptions {
public:
    /// Most subscriptions of a session: each pair of event, resource type and resource id is one, each message type.
    static constexpr std::size_t kMax = 10000;

    /// @return whether a command names no more than kMax
    static bool NamesFew(const PushCommand& command);

    /// Notes what a command changes. Costs what the command names and ends, not what is noted already; one that ends
    /// ids of any type costs what is noted of its events.
    /// @return false when there would be more than kMax, or the command names more; nothing is noted then, nor when
    ///         the memory is at an end
    bool Apply(const PushCommand& command);

    std::size_t Count() const { return pairs_.size() + messages_.size(); }
    /// @return the events of which there is a subscription
    std::set<int> Events() const;

private:
    using Pairs = std::set<std::tuple<int, int64_t, int64_t>>;  // event, resource type, resource id

    static constexpr int64_t kEvery = INT64_MIN;  // in the place of a resource type or id

    bool Add(const PushCommand& command);
    void Remove(const PushCommand& command);
    void RemoveOfAnyType(int event, const std::set<unsigned int>& ids);
    void RemoveOfType(int event, int64_t type, const std::set<unsigned int>& ids);

    Pairs pairs_;
    std::set<int> messages_;
};

}  // namespace qarplatform
