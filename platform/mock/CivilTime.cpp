#include "mock/CivilTime.h"

#include <chrono>
#include <cstdio>

namespace qarmock {

using namespace std::chrono;

namespace {

sys_days DayOf(long long t) { return floor<days>(sys_seconds(seconds(t))); }

}  // namespace

std::string PlainText(long long t) {
    const sys_days day = DayOf(t);
    const year_month_day date(day);
    const long long second = t - duration_cast<seconds>(day.time_since_epoch()).count();
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02u %02lld:%02lld:%02lld", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), second / 3600,
                  second / 60 % 60, second % 60);
    return text;
}

std::optional<long long> ReadPlainText(const std::string& text) {
    int y = 0;
    unsigned m = 0;
    unsigned d = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (std::sscanf(text.c_str(), "%d-%u-%u %d:%d:%d", &y, &m, &d, &hour, &minute, &second) != 6) return std::nullopt;
    const year_month_day date{year(y), month(m), day(d)};
    if (!date.ok()) return std::nullopt;
    return duration_cast<seconds>(sys_days(date).time_since_epoch()).count() + hour * 3600LL + minute * 60 + second;
}

std::optional<long long> RuleMoment(const std::string& rule, int y) {
    unsigned m = 0;
    unsigned week = 0;
    unsigned day_of_week = 0;
    int hour = 0;
    int minute = 0;
    if (std::sscanf(rule.c_str(), "%u:%u:%u:%d:%d", &m, &week, &day_of_week, &hour, &minute) != 5) return std::nullopt;
    if (m < 1 || m > 12 || week < 1 || week > 5 || day_of_week > 6) return std::nullopt;
    const year_month month_of_rule{year(y), month(m)};
    const sys_days date = week == 5 ? sys_days(month_of_rule / weekday(day_of_week)[last])
                                    : sys_days(month_of_rule / weekday(day_of_week)[week]);
    return duration_cast<seconds>(date.time_since_epoch()).count() + hour * 3600LL + minute * 60;
}

int YearOf(long long t) { return static_cast<int>(year_month_day(DayOf(t)).year()); }

}  // namespace qarmock
