#include "qarcommonbiz/HistoryTime.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <tuple>

#include "Mox/Base/StringUtil.h"
#include "Mox/Base/TimeUtil.h"

namespace qar {
namespace {

auto Fields(const SHistoryTime& time) {
    return std::tie(time.year, time.month, time.day, time.hour, time.minute, time.second);
}

int32_t OffsetSeconds(int hours, int minutes) {
    return static_cast<int32_t>(int64_t{hours} * 3600 + int64_t{minutes} * 60);
}

// 0 for a month or year that the calendar does not know
int MonthLength(int year, int month) {
    static constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || year < 1900) return 0;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kLengths[month - 1];
}

void StepForward(SHistoryTime& time) {
    if (++time.day <= MonthLength(time.year, time.month)) return;
    time.day = 1;
    if (++time.month <= 12) return;
    time.month = 1;
    ++time.year;
}

void StepBackward(SHistoryTime& time) {
    if (--time.day >= 1) return;
    if (--time.month < 1) {
        time.month = 12;
        --time.year;
    }
    time.day = MonthLength(time.year, time.month);
}

}  // namespace

bool operator<(const SHistoryTime& left, const SHistoryTime& right) { return Fields(left) < Fields(right); }

bool operator==(const SHistoryTime& left, const SHistoryTime& right) { return Fields(left) == Fields(right); }

bool operator<=(const SHistoryTime& left, const SHistoryTime& right) { return left < right || left == right; }

bool ISOToTime(const std::string& text, SHistoryTime& time) {
    if (text.empty()) return false;
    const bool east = text.find('+') != std::string::npos;
    const char* format = east ? "%d-%d-%dT%d:%d:%d+%d:%d" : "%d-%d-%dT%d:%d:%d-%d:%d";
    SHistoryTime read;
    int hours = 0;
    int minutes = 0;
    // format is one of the two literals above
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int assigned = std::sscanf(text.c_str(), format, &read.year, &read.month, &read.day, &read.hour, &read.minute,
                                     &read.second, &hours, &minutes);
#pragma GCC diagnostic pop
    if (assigned < 1) return false;
    const int32_t offset = OffsetSeconds(hours, minutes);
    read.differ = east ? offset : static_cast<int32_t>(-int64_t{offset});
    time = read;
    return true;
}

SHistoryTime PlainToTime(const std::string& text, int differ) {
    SHistoryTime time;
    const int assigned = std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &time.year, &time.month, &time.day, &time.hour,
                                     &time.minute, &time.second);
    if (!text.empty() && assigned >= 1) time.differ = differ;
    return time;
}

std::string TimeToPlain(const SHistoryTime& time) {
    return Mox::Base::StringUtil::str_fmt("%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day, time.hour,
                                          time.minute, time.second);
}

std::string TimeToISO(const SHistoryTime& time) {
    std::string text = TimeToPlain(time);
    std::replace(text.begin(), text.end(), ' ', 'T');
    return text + Mox::Base::TimeUtil::TimeDifference2Str(time.differ);
}

std::string TimeToUTC(const SHistoryTime& time) {
    std::string local_text;
    int server_offset = 0;
    Mox::Base::TimeUtil::TimeT2LocalTime(local_text, server_offset, std::time(nullptr));
    const std::time_t delta = std::time_t{time.differ} - server_offset;

    std::tm fields{};
    fields.tm_year = static_cast<int>(int64_t{time.year} - 1900);
    fields.tm_mon = static_cast<int>(int64_t{time.month} - 1);
    fields.tm_mday = time.day;
    fields.tm_hour = time.hour;
    fields.tm_min = time.minute;
    fields.tm_sec = time.second;
    fields.tm_isdst = -1;
    std::time_t moment = std::mktime(&fields);
    if (moment == -1) moment = 0;

    const std::time_t utc_moment = moment - delta;
    std::tm utc{};
    if (gmtime_r(&utc_moment, &utc) == nullptr) {
        const std::time_t epoch = 0;
        gmtime_r(&epoch, &utc);
    }
    return Mox::Base::StringUtil::str_fmt("%04d-%02d-%02d %02d:%02d:%02d",
                                          static_cast<int>(int64_t{utc.tm_year} + 1900), utc.tm_mon + 1, utc.tm_mday,
                                          utc.tm_hour, utc.tm_min, utc.tm_sec);
}

void AddDays(SHistoryTime& time, int days) {
    for (; days > 0; --days) StepForward(time);
    for (; days < 0; ++days) StepBackward(time);
}

}  // namespace qar
