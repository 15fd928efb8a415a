#pragma once

#include <qarhost/plugin_entry.h>

#include <string>

namespace qarhost {

/// Tests what a plug-in says of itself.
/// @param error  gets what does not fit
bool CheckPlugin(const qarhost_plugin_t* plugin, std::string& error);

/// Loads a plug-in's library, which is never unloaded, and asks it for its description.
/// @param file   absolute path
/// @param error  gets why it is no plug-in of this host
/// @return the description; null on failure
const qarhost_plugin_t* LoadPlugin(const std::string& file, std::string& error);

}  // namespace qarhost
