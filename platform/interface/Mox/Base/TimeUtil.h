#pragma once

#include <cstdint>
#include <string>

namespace Mox {
namespace Base {
namespace TimeUtil {

/// The server's local time at a moment. Threads: any.
/// @param text            gets "YYYY-MM-DD HH:MM:SS"
/// @param offset_seconds  gets the server's offset from UTC at that moment, in seconds, east positive
/// @param t               seconds since 1970-01-01 00:00:00 UTC
void TimeT2LocalTime(std::string& text, int& offset_seconds, int64_t t);

/// @param t  seconds since 1970-01-01 00:00:00 UTC
/// @return the server's local time at t as "YYYY-MM-DDTHH:MM:SS+HH:MM"
std::string TimeT2LocalTimeStrISO(int64_t t);

/// @param seconds  offset from UTC, east positive
/// @return sign, two digits of hours, a colon, two digits of minutes: "+08:00", "-00:30", "+00:00"
std::string TimeDifference2Str(int seconds);

}  // namespace TimeUtil
}  // namespace Base
}  // namespace Mox
