#include "standalone/timezone/TimeText.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace qarplatform {

std::string TimeText(int64_t seconds, char separator) {
    using namespace std::chrono;
    const sys_seconds moment(std::chrono::seconds(std::clamp(seconds, kFirstTextSecond, kLastTextSecond)));
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss time(moment - day);
    char text[32];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02u%c%02d:%02d:%02d", int(date.year()), unsigned(date.month()),
                  unsigned(date.day()), separator, static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
    return text;
}

}  // namespace qarplatform
