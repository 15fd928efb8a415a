#pragma once

#include <cstdint>
#include <string_view>

namespace qarplatform {

/// Reads the date of an HTTP or RTSP answer in its one form, "Sun, 06 Nov 1994 08:49:37 GMT". That the weekday is the
/// date's own is not tested: cameras are known to err there while their clock is right.
/// @param seconds  gets seconds since 1970 UTC
/// @return false for anything else; `seconds` is as it was then
bool ParseHttpDate(std::string_view text, int64_t& seconds);

}  // namespace qarplatform
