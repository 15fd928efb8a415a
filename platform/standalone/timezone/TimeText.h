#pragma once

#include <cstdint>
#include <string>

namespace qarplatform {

/// The moments that a time text can show: 0000-01-01 00:00:00 to 9999-12-31 23:59:59.
constexpr int64_t kFirstTextSecond = -62167219200;
constexpr int64_t kLastTextSecond = 253402300799;

/// @param seconds  since 1970-01-01 00:00:00 of some clock; cut to what a text can show
/// @param separator  between date and time
/// @return "YYYY-MM-DD HH:MM:SS"
std::string TimeText(int64_t seconds, char separator = ' ');

}  // namespace qarplatform
