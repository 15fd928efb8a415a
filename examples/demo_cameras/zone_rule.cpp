#include "demo_cameras/zone_rule.h"

#include <algorithm>
#include <chrono>

namespace demo {

namespace {

int YearOf(std::int64_t seconds_since_1970) {
    using namespace std::chrono;
    return static_cast<int>(year_month_day(floor<days>(sys_seconds(seconds(seconds_since_1970)))).year());
}

}  // namespace

std::string YearlyMoment::Text() const {
    return std::to_string(month) + ":" + std::to_string(week) + ":" + std::to_string(weekday) + ":" +
           std::to_string(hour) + ":" + std::to_string(minute);
}

std::int64_t YearlyMoment::WallSecond(int in_year) const {
    using namespace std::chrono;
    const auto of_month = year(in_year) / std::chrono::month(month);
    const sys_days date = week == 5 ? sys_days(of_month / std::chrono::weekday(weekday)[last])
                                    : sys_days(of_month / std::chrono::weekday(weekday)[week]);
    return (date.time_since_epoch() + hours(hour) + minutes(minute)) / seconds(1);
}

std::int64_t ZoneRule::OffsetAt(std::int64_t utc_s) const {
    const std::int64_t standard_s = -60 * static_cast<std::int64_t>(bias_min);
    if (!daylight) {
        return standard_s;
    }
    const std::int64_t daylight_s = standard_s - 60 * static_cast<std::int64_t>(daylight->bias_min);
    const int year = YearOf(utc_s + standard_s);
    const std::int64_t begin = daylight->begins.WallSecond(year) - standard_s;
    const std::int64_t end = daylight->ends.WallSecond(year) - daylight_s;
    const bool on = begin < end ? begin <= utc_s && utc_s < end : utc_s < end || begin <= utc_s;
    return on ? daylight_s : standard_s;
}

bool ZoneRule::InRepeatedHour(std::int64_t utc_s) const {
    if (!daylight) {
        return false;
    }
    const std::int64_t standard_s = -60 * static_cast<std::int64_t>(bias_min);
    const std::int64_t gain_s = -60 * static_cast<std::int64_t>(daylight->bias_min);
    const std::int64_t put_back = daylight->ends.WallSecond(YearOf(utc_s + standard_s)) - standard_s - gain_s;
    return put_back - gain_s <= utc_s && utc_s < put_back + gain_s;
}

std::int64_t ZoneRule::UtcOf(std::int64_t wall_s, std::int64_t hint_s) const {
    const auto shown_by = [&](std::int64_t offset_s) { return OffsetAt(wall_s - offset_s) == offset_s; };
    if (shown_by(hint_s)) {
        return wall_s - hint_s;
    }
    const std::int64_t standard_s = -60 * static_cast<std::int64_t>(bias_min);
    if (daylight && !shown_by(standard_s)) {
        return wall_s - standard_s + 60 * static_cast<std::int64_t>(daylight->bias_min);
    }
    return wall_s - standard_s;
}

std::vector<ZoneRule> DemoZones() {
    return {{"east8", "UTC+08:00", -480, std::nullopt},
            {"west530", "UTC-05:30", 330, std::nullopt},
            {"west5dst", "UTC-05:00 with daylight saving", 300, DaylightRule{{3, 2, 0, 2, 0}, {11, 1, 0, 2, 0}, -60}}};
}

}  // namespace demo
