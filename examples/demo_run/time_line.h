#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "demo_run/interval_set.h"

namespace demo {

/// What one place of a time line shows.
enum class Mark {
    kNothing,   // lies ahead
    kInOrder,   // the camera was in order
    kFetched,   // was a gap, and is fetched
    kUnknown,   // no check has been there yet
    kGap,       // found: something is missing
    kFetching,  // a gap that is being fetched
};

/// What is known of a camera's past at one moment, in seconds of its clock.
struct KnownPast {
    IntervalSet gaps;
    IntervalSet fetching;
    IntervalSet fetched;
    std::optional<std::int64_t> last_point;  // the last moment of contact or order
    std::int64_t now = 0;
};

/// The mark of a stretch. Of several things within it the one that matters most is shown: fetching before gap before
/// fetched before the rest.
Mark MarkOf(const KnownPast& past, std::int64_t begin, std::int64_t end);

/// The marks of `count` places of `step_s` seconds each.
std::vector<Mark> MarksOf(const KnownPast& past, std::int64_t begin, std::int64_t step_s, std::size_t count);

/// Hours under a time line, as "22:00   01:00   04:00"; each label begins at the place of its hour.
std::string HourLabels(std::int64_t begin, std::int64_t step_s, std::size_t count);

}  // namespace demo
