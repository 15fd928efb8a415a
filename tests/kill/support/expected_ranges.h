#pragma once

#include <string>
#include <vector>

namespace qartest {

/// A row of a history table.
struct HistoryPoint {
    int busi = 0;
    int camera = 0;
    std::string state_time;  ///< "2026-03-01 08:00:00", the device's wall clock
    int state = 0;
    int differ = 0;  ///< seconds from UTC, east positive
};

/// The exception ranges of a table, worked out from nothing but its rows: the stretches between two points of a
/// timeline of which the later one does not say that the camera was in order since the earlier one; those that touch
/// are one.
/// @param points  sorted by business type, camera and time
/// @return "BUSI CAMERA BEGIN END", sorted, the moments in ISO form
std::vector<std::string> ExpectedRanges(const std::vector<HistoryPoint>& points);

}  // namespace qartest
