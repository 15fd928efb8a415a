#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace demo {

/// One moment of each year at which clocks are changed: the `week`th `weekday` (0 = Sunday) of `month`, week 5 being
/// the last, at `hour`:`minute` of the wall clock that is valid before the change.
struct YearlyMoment {
    unsigned month = 1;
    unsigned week = 1;
    unsigned weekday = 0;
    int hour = 0;
    int minute = 0;

    /// "11:1:0:2:0"
    std::string Text() const;
    /// The moment's wall clock in that year, in seconds since 1970 as if it were UTC.
    std::int64_t WallSecond(int year) const;
};

struct DaylightRule {
    YearlyMoment begins;
    YearlyMoment ends;
    int bias_min = -60;  // added to the zone's bias while daylight saving is on
};

/// A device's zone: local time + bias = UTC.
struct ZoneRule {
    std::string name;
    std::string display_name;
    int bias_min = 0;
    std::optional<DaylightRule> daylight;

    /// Offset from UTC in seconds, east positive, at a moment given in seconds since 1970 UTC.
    std::int64_t OffsetAt(std::int64_t utc_s) const;

    /// Whether the wall clock of the moment is shown twice on that day: from one hour before the clocks are put back
    /// until one hour after it.
    bool InRepeatedHour(std::int64_t utc_s) const;

    /// The moment that a wall clock shows. Where it is shown twice, the moment with the offset `hint_s` is taken, else
    /// the later one.
    /// @param wall_s  the wall clock in seconds since 1970 as if it were UTC
    std::int64_t UtcOf(std::int64_t wall_s, std::int64_t hint_s) const;
};

/// The zones of the demonstration: +08:00, -05:30, and -05:00 with daylight saving.
std::vector<ZoneRule> DemoZones();

}  // namespace demo
