#pragma once

#include <optional>
#include <string>

namespace qarmock {

/// @param t  seconds since 1970-01-01 00:00:00
/// @return "YYYY-MM-DD HH:MM:SS"
std::string PlainText(long long t);

/// @return seconds since 1970-01-01 00:00:00 of a text as PlainText makes it; nothing for another text
std::optional<long long> ReadPlainText(const std::string& text);

/// @return the moment of "month:week:weekday:hour:minute" in a year, week 5 being the last such weekday; nothing for
///         a rule that cannot be read
std::optional<long long> RuleMoment(const std::string& rule, int year);

int YearOf(long long t);

}  // namespace qarmock
