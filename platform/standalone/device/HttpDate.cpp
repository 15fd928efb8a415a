#include "standalone/device/HttpDate.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>

namespace qarplatform {

namespace {

// 0 stands for a digit, a for a letter, everything else for itself.
constexpr std::string_view kForm = "aaa, 00 aaa 0000 00:00:00 GMT";

constexpr std::array<std::string_view, 7> kWeekdays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool HasForm(std::string_view text) {
    return text.size() == kForm.size() && std::equal(text.begin(), text.end(), kForm.begin(), [](char c, char form) {
               return form == '0' ? c >= '0' && c <= '9' : form == 'a' || c == form;
           });
}

template <std::size_t Size>
std::size_t IndexOf(const std::array<std::string_view, Size>& names, std::string_view name) {
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

int Number(std::string_view digits) {
    int number = 0;
    for (const char c : digits) {
        number = number * 10 + (c - '0');
    }
    return number;
}

}  // namespace

bool ParseHttpDate(std::string_view text, int64_t& seconds) {
    if (!HasForm(text) || IndexOf(kWeekdays, text.substr(0, 3)) == kWeekdays.size()) {
        return false;
    }
    const auto month = static_cast<unsigned>(IndexOf(kMonths, text.substr(8, 3))) + 1;
    const std::chrono::year_month_day date(std::chrono::year(Number(text.substr(12, 4))), std::chrono::month(month),
                                           std::chrono::day(static_cast<unsigned>(Number(text.substr(5, 2)))));
    const int hour = Number(text.substr(17, 2));
    const int minute = Number(text.substr(20, 2));
    const int second = Number(text.substr(23, 2));
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) {  // 60: a leap second
        return false;
    }
    const std::chrono::sys_seconds day = std::chrono::sys_days(date);
    seconds = day.time_since_epoch().count() + hour * 3600 + minute * 60 + second;
    return true;
}

}  // namespace qarplatform
