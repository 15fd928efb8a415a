#include "standalone/timezone/TimeText.h"

#include <algorithm>
#include <chrono>

#include "standalone/base/DateTimeText.h"

namespace qarplatform {

std::string TimeText(int64_t seconds, char separator) {
    using namespace std::chrono;
    const sys_seconds moment(std::chrono::seconds(std::clamp(seconds, kFirstTextSecond, kLastTextSecond)));
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss time(moment - day);
    return DateTimeText(int(date.year()), static_cast<int>(unsigned(date.month())),
                        static_cast<int>(unsigned(date.day())), separator, static_cast<int>(time.hours().count()),
                        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
}

}  // namespace qarplatform
