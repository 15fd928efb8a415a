#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qar/StateRange.h"

namespace backfill {

/// A moment on a device's own clock: its text as the library told it, and the same as seconds since 1970 UTC.
struct Moment {
    std::string iso;
    int64_t unix_s = 0;
};

/// A stretch of time, its end excluded.
struct TimeRange {
    Moment begin;
    Moment end;

    /// A device whose offset changed can show a later clock at an earlier moment: there is nothing to fetch then.
    bool Empty() const { return begin.unix_s >= end.unix_s; }
    bool Overlaps(const TimeRange& other) const {
        return begin.unix_s < other.end.unix_s && other.begin.unix_s < end.unix_s;
    }
    /// Overlaps, or one begins where the other ends.
    bool Touches(const TimeRange& other) const {
        return begin.unix_s <= other.end.unix_s && other.begin.unix_s <= end.unix_s;
    }
};

/// @param iso  "YYYY-MM-DDTHH:MM:SS+HH:MM"
/// @return nothing for any other text
std::optional<Moment> ParseMoment(const std::string& iso);

/// @return nothing when either text is no moment
std::optional<TimeRange> ParseRange(const qar::SStateRange& range);

/// @param open  the history's present exception ranges of a camera
/// @return whether anything of the range is open still; a range without any time in it is while it stands there
bool IsOpen(const TimeRange& range, const std::vector<qar::SStateRange>& open);

}  // namespace backfill
