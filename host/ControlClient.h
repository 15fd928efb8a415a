#pragma once

#include <chrono>
#include <string>

namespace qarhost {

/// @return the path of a host's control socket
std::string ControlSocketPath(const std::string& data_dir);

/// Asks the host that runs on a data folder.
/// @param request  one line without the newline
/// @param timeout  real time for the whole exchange
/// @param answer   gets the answer without the newline
/// @param error    gets why there is none
bool AskHost(const std::string& data_dir, const std::string& request, std::chrono::milliseconds timeout,
             std::string& answer, std::string& error);

}  // namespace qarhost
