#include "Mox/Base/TimeUtil.h"

#include <cstdlib>
#include <ctime>

#include "standalone/base/DateTimeText.h"

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
    return qarplatform::DateTimeText(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, separator, local.tm_hour,
                                     local.tm_min, local.tm_sec);
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
    const auto digit = [](long long number) { return static_cast<char>('0' + number % 10); };
    std::string text = {seconds < 0 ? '-' : '+',  digit(minutes / 600), digit(minutes / 60), ':',
                        digit(minutes % 60 / 10), digit(minutes % 60)};
    if (minutes >= 6000) text.replace(1, 2, std::to_string(minutes / 60));
    return text;
}

}  // namespace TimeUtil
}  // namespace Base
}  // namespace Mox
