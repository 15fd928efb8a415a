#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <string>

namespace qarplatform {

/// Tells whether a client's user holds one of the permissions: permission to the resource ids for which it is asked.
using ClientPermissions =
    std::function<bool(const std::string& client, const std::map<int, std::list<int>>& permissions)>;

/// Sets who gets the notify messages that are pushed with permissions; until then nobody does. Called on the pushing
/// thread, with no lock held. An empty function: nobody.
void SetClientPermissions(ClientPermissions permissions);

/// How long StopBus goes on delivering, in real time.
inline constexpr std::chrono::seconds kBusStopTime{5};

/// Refuses later messages, delivers those that are queued, and ends the bus's threads. What is still queued after
/// kBusStopTime is dropped, with a line in the log for each subscriber. Returns when no callback runs any more, however
/// long that takes. For the host's stop, behind the plug-ins' and before JoinThreadPools; a bus that was never used is
/// stopped all the same. Not from a callback.
void StopBus();

}  // namespace qarplatform
