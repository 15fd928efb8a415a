#pragma once

#include <string>

#include "host/ControlProtocol.h"

namespace qarhost {

/// @return a host's status as tables for people
std::string StatusText(const HostStatus& status);

}  // namespace qarhost
