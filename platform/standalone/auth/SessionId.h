#pragma once

#include <cstddef>
#include <string>

namespace qarplatform {

constexpr std::size_t kSessionIdLength = 32;

/// @return 32 random characters A-Z, a-z, 0-9; "" when the system gives no random bytes
std::string NewSessionId();

}  // namespace qarplatform
