#include "kill/support/expected_ranges.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qartest {

namespace {

std::string Iso(const HistoryPoint& point) {
    const int minutes = std::abs(point.differ) / 60;
    char offset[24];
    std::snprintf(offset, sizeof offset, "%c%02d:%02d", point.differ < 0 ? '-' : '+', minutes / 60, minutes % 60);
    std::string text = point.state_time;
    std::replace(text.begin(), text.end(), ' ', 'T');
    return text + offset;
}

bool SameTimeline(const HistoryPoint& one, const HistoryPoint& other) {
    return one.busi == other.busi && one.camera == other.camera;
}

bool InOrder(const HistoryPoint& earlier, const HistoryPoint& later) {
    return (earlier.state == 1 || earlier.state == 2) && later.state == 2;
}

}  // namespace

std::vector<std::string> ExpectedRanges(const std::vector<HistoryPoint>& points) {
    const auto exception = [&](std::size_t i) {  // the stretch from point i to the next one
        return i + 1 < points.size() && SameTimeline(points[i], points[i + 1]) && !InOrder(points[i], points[i + 1]);
    };
    std::vector<std::string> ranges;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (!exception(i)) continue;
        const HistoryPoint& begin = points[i];
        while (exception(i + 1)) ++i;
        ranges.push_back(std::to_string(begin.busi) + " " + std::to_string(begin.camera) + " " + Iso(begin) + " " +
                         Iso(points[i + 1]));
    }
    std::sort(ranges.begin(), ranges.end());
    return ranges;
}

}  // namespace qartest
