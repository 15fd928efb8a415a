#pragma once

#include <set>
#include <string>

namespace qarplatform {

/// What a client asks for over its WebSocket:
/// {"subscribe":{"events":[1,2],"resource_types":[1001],"resource_ids":[7]}}
/// {"unsubscribe":{"messages":[3]}}
/// Without "events", types or ids stand for all events of these resources.
struct PushCommand {
    bool subscribe = true;
    bool about_events = false;  ///< the three sets of events count
    std::set<int> events;       ///< never empty when they count
    std::set<int> resource_types;
    std::set<unsigned int> resource_ids;
    std::set<int> messages;  ///< types of notify messages
};

/// @param error  gets what is wrong
bool ParsePushCommand(const std::string& text, PushCommand& command, std::string& error);

}  // namespace qarplatform
