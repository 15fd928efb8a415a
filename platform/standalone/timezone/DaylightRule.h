#pragma once

#include <cstdint>
#include <string>

namespace qarplatform {

/// The moment in a year at which daylight saving begins or ends, on the clock that runs until then.
struct DaylightRule {
    unsigned month = 1;    ///< 1 to 12
    unsigned week = 1;     ///< 1 to 4; 5 is the last such weekday of the month
    unsigned weekday = 0;  ///< 0 is Sunday
    unsigned hour = 0;
    unsigned minute = 0;

    /// @return the moment in a year, in seconds since 1970-01-01 00:00:00 of the same clock
    int64_t LocalSeconds(int year) const;

    friend bool operator==(const DaylightRule&, const DaylightRule&) = default;
};

/// Reads "month:week:weekday:hour:minute", numbers of one or two digits.
/// @param error  gets what is wrong and what is allowed
/// @return false for anything else; `rule` is as it was then
bool ParseDaylightRule(const std::string& text, DaylightRule& rule, std::string& error);

}  // namespace qarplatform
