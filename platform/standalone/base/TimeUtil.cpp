#include "Mox/Base/TimeUtil.h"

#include <cstdlib>
#include <ctime>

#include "Mox/Base/StringUtil.h"

namespace Mox {
namespace Base {
namespace TimeUtil {

namespace {

std::tm LocalTime(int64_t t) {
    const auto moment = static_cast<std::time_t>(t);
    std::tm local{};
    localtime_r(&moment, &local);
    return local;
}

std::string DateAndTime(const std::tm& local, char separator) {
    return StringUtil::str_fmt("%04d-%02d-%02d%c%02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                               separator, local.tm_hour, local.tm_min, local.tm_sec);
}

}  // namespace

void TimeT2LocalTime(std::string& text, int& offset_seconds, int64_t t) {
    const std::tm local = LocalTime(t);
    text = DateAndTime(local, ' ');
    offset_seconds = static_cast<int>(local.tm_gmtoff);
}

std::string TimeT2LocalTimeStrISO(int64_t t) {
    const std::tm local = LocalTime(t);
    return DateAndTime(local, 'T') + TimeDifference2Str(static_cast<int>(local.tm_gmtoff));
}

std::string TimeDifference2Str(int seconds) {
    const long long minutes = std::llabs(seconds) / 60;
    return StringUtil::str_fmt("%c%02lld:%02lld", seconds < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

}  // namespace TimeUtil
}  // namespace Base
}  // namespace Mox
