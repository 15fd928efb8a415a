#pragma once

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

/// Delivers what is queued and ends the bus's threads. Later messages are refused. For the host's stop; a bus that was
/// never used is stopped all the same. Not from a callback.
void StopBus();

}  // namespace qarplatform
