#include "demo_cameras/time_text.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace demo {

namespace {

struct Fields {
    int year, month, day, hour, minute, second, weekday;
};

Fields FieldsOf(std::int64_t utc_s) {
    using namespace std::chrono;
    const sys_seconds moment{seconds(utc_s)};
    const sys_days day_start = floor<days>(moment);
    const year_month_day date{day_start};
    const auto in_day = (moment - day_start).count();
    return {static_cast<int>(date.year()),
            static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day())),
            static_cast<int>(in_day / 3600),
            static_cast<int>(in_day / 60 % 60),
            static_cast<int>(in_day % 60),
            static_cast<int>(weekday(day_start).c_encoding())};
}

template <typename... Values>
std::string Format(const char* format, Values... values) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

/// Seconds since 1970 of the fields taken as UTC.
std::optional<std::int64_t> SecondsOf(const Fields& fields) {
    using namespace std::chrono;
    const year_month_day date{year(fields.year), month(static_cast<unsigned>(fields.month)),
                              day(static_cast<unsigned>(fields.day))};
    if (!date.ok() || fields.hour > 23 || fields.minute > 59 || fields.second > 59) {
        return std::nullopt;
    }
    return (sys_days(date).time_since_epoch() + hours(fields.hour) + minutes(fields.minute) + seconds(fields.second)) /
           seconds(1);
}

/// Reads the digits of `text` at the places where `pattern` has '0'; every other place must be the same character.
bool Matches(const std::string& text, std::size_t at, const std::string& pattern) {
    if (text.size() < at + pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = text[at + i];
        if (pattern[i] == '0' ? (c < '0' || c > '9') : c != pattern[i]) {
            return false;
        }
    }
    return true;
}

int Number(const std::string& text, std::size_t at, std::size_t length) { return std::stoi(text.substr(at, length)); }

std::optional<std::int64_t> ParseDateTime(const std::string& text, const std::string& pattern) {
    if (!Matches(text, 0, pattern)) {
        return std::nullopt;
    }
    return SecondsOf({Number(text, 0, 4), Number(text, 5, 2), Number(text, 8, 2), Number(text, 11, 2),
                      Number(text, 14, 2), Number(text, 17, 2), 0});
}

}  // namespace

std::optional<OffsetTime> ParseIso(const std::string& text) {
    const std::optional<std::int64_t> wall = ParseDateTime(text, "0000-00-00T00:00:00");
    if (!wall) {
        return std::nullopt;
    }
    const std::size_t zone = 19;
    if (text.size() == zone + 1 && text[zone] == 'Z') {
        return OffsetTime{*wall, 0};
    }
    if (text.size() != zone + 6 || (text[zone] != '+' && text[zone] != '-') || !Matches(text, zone + 1, "00:00") ||
        Number(text, zone + 4, 2) > 59) {
        return std::nullopt;
    }
    const int offset_s =
        (Number(text, zone + 1, 2) * 3600 + Number(text, zone + 4, 2) * 60) * (text[zone] == '-' ? -1 : 1);
    return OffsetTime{*wall - offset_s, offset_s};
}

std::string FormatIso(const OffsetTime& time) {
    const Fields f = FieldsOf(time.utc_s + time.offset_s);
    return Format("%04d-%02d-%02dT%02d:%02d:%02d", f.year, f.month, f.day, f.hour, f.minute, f.second) +
           FormatOffset(time.offset_s);
}

std::optional<std::int64_t> ParsePlain(const std::string& text) {
    return text.size() == 19 ? ParseDateTime(text, "0000-00-00 00:00:00") : std::nullopt;
}

std::string FormatMinute(std::int64_t utc_s) {
    const Fields f = FieldsOf(utc_s);
    return Format("%04d-%02d-%02d %02d:%02d", f.year, f.month, f.day, f.hour, f.minute);
}

std::string FormatHourMinute(std::int64_t utc_s) {
    const Fields f = FieldsOf(utc_s);
    return Format("%02d:%02d", f.hour, f.minute);
}

std::string FormatOffset(std::int64_t offset_s) {
    const std::int64_t size = offset_s < 0 ? -offset_s : offset_s;
    return Format("%c%02d:%02d", offset_s < 0 ? '-' : '+', static_cast<int>(size / 3600),
                  static_cast<int>(size / 60 % 60));
}

std::string FormatHttpDate(std::int64_t utc_s) {
    static constexpr std::array<const char*, 7> kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const Fields f = FieldsOf(utc_s);
    return Format("%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[static_cast<std::size_t>(f.weekday)], f.day,
                  kMonths[static_cast<std::size_t>(f.month - 1)], f.year, f.hour, f.minute, f.second);
}

std::string FormatUtc(std::int64_t utc_s) {
    const Fields f = FieldsOf(utc_s);
    return Format("%04d-%02d-%02dT%02d:%02d:%02dZ", f.year, f.month, f.day, f.hour, f.minute, f.second);
}

}  // namespace demo
