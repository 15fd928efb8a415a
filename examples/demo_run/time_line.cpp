#include "demo_run/time_line.h"

#include <array>

#include "demo_cameras/time_text.h"

namespace demo {

Mark MarkOf(const KnownPast& past, std::int64_t begin, std::int64_t end) {
    if (past.fetching.Touches(begin, end)) {
        return Mark::kFetching;
    }
    if (past.gaps.Touches(begin, end)) {
        return Mark::kGap;
    }
    if (past.fetched.Touches(begin, end)) {
        return Mark::kFetched;
    }
    if (begin >= past.now) {
        return Mark::kNothing;
    }
    const bool in_order = past.last_point && *past.last_point >= begin + (end - begin) / 2;
    return in_order ? Mark::kInOrder : Mark::kUnknown;
}

std::vector<Mark> MarksOf(const KnownPast& past, std::int64_t begin, std::int64_t step_s, std::size_t count) {
    std::vector<Mark> marks;
    for (std::size_t i = 0; i < count; ++i, begin += step_s) {
        marks.push_back(MarkOf(past, begin, begin + step_s));
    }
    return marks;
}

std::string HourLabels(std::int64_t begin, std::int64_t step_s, std::size_t count) {
    constexpr std::int64_t kHour = 3600;
    constexpr std::array<std::int64_t, 7> kApart{1, 2, 3, 4, 6, 12, 24};
    constexpr std::int64_t kPlacesPerLabel = 8;
    constexpr std::size_t kLabelWidth = 5;
    std::int64_t apart = kApart.back() * kHour;
    for (const std::int64_t hours : kApart) {
        if (hours * kHour >= kPlacesPerLabel * step_s) {
            apart = hours * kHour;
            break;
        }
    }
    std::string labels(count, ' ');
    for (std::int64_t hour = (begin + apart - 1) / apart * apart;; hour += apart) {
        const auto place = static_cast<std::size_t>((hour - begin) / step_s);
        if (place + kLabelWidth > count) {
            return labels;
        }
        labels.replace(place, kLabelWidth, FormatHourMinute(hour));
    }
}

}  // namespace demo
