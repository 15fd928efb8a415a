#include "TimeRange.h"

#include <algorithm>
#include <cstdio>

namespace backfill {
namespace {

// days since 1970-01-01 in the Gregorian calendar
int64_t DaysFromCivil(int64_t year, int month, int day) {
    year -= month <= 2 ? 1 : 0;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t year_of_era = year - era * 400;
    const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year - 719468;
}

}  // namespace

std::optional<Moment> ParseMoment(const std::string& iso) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    char sign = 0;
    int offset_hours = 0;
    int offset_minutes = 0;
    int length = 0;
    const int read = std::sscanf(iso.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c%2d:%2d%n", &year, &month, &day, &hour, &minute,
                                 &second, &sign, &offset_hours, &offset_minutes, &length);
    if (read != 9 || static_cast<std::size_t>(length) != iso.size() || (sign != '+' && sign != '-')) return {};
    if (month < 1 || month > 12 || day < 1 || day > 31) return {};
    const int64_t offset = (offset_hours * 60 + offset_minutes) * 60 * (sign == '-' ? -1 : 1);
    const int64_t local = DaysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
    return Moment{iso, local - offset};
}

std::optional<TimeRange> ParseRange(const qar::SStateRange& range) {
    const auto begin = ParseMoment(range.str_begin_time_);
    const auto end = ParseMoment(range.str_end_time_);
    if (!begin || !end) return {};
    return TimeRange{*begin, *end};
}

bool IsOpen(const TimeRange& range, const std::vector<qar::SStateRange>& open) {
    return std::any_of(open.begin(), open.end(), [&range](const qar::SStateRange& other_texts) {
        const auto other = ParseRange(other_texts);
        if (!other) return false;
        return other->Overlaps(range) || (other->begin.iso == range.begin.iso && other->end.iso == range.end.iso);
    });
}

}  // namespace backfill
