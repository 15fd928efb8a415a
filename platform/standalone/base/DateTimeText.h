#pragma once

#include <string>

namespace qarplatform {

/// Month to second are such as a calendar and a clock have.
/// @return "YYYY-MM-DD HH:MM:SS", with `separator` between date and time
std::string DateTimeText(int year, int month, int day, char separator, int hour, int minute, int second);

}  // namespace qarplatform
