#include "qarcommonbiz/HistoryTime.h"

#include <cstddef>
#include <ctime>
#include <initializer_list>
#include <limits>
#include <string_view>
#include <tuple>

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

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

void SkipSpaces(const char*& at) {
    while (IsSpace(*at)) ++at;
}

// "%d" of scanf. A number beyond 64 bits is the last of them, and of one beyond 32 bits the lower half counts.
bool ReadNumber(const char*& text, int32_t& number) {
    const char* at = text;
    SkipSpaces(at);
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') ++at;
    if (!IsDigit(*at)) return false;
    int64_t value = 0;
    for (const char* const safe_end = at + 9; at < safe_end && IsDigit(*at); ++at) value = value * 10 + (*at - '0');
    bool beyond = false;
    for (; IsDigit(*at); ++at) {
        beyond =
            beyond || __builtin_mul_overflow(value, 10, &value) || __builtin_add_overflow(value, *at - '0', &value);
    }
    if (beyond) value = std::numeric_limits<int64_t>::max();
    if (negative) value = beyond ? std::numeric_limits<int64_t>::min() : -value;
    number = static_cast<int32_t>(value);
    text = at;
    return true;
}

// Reads numbers with a sign between each two as scanf does, which takes ten times as long; rows come by the hundred
// thousand. A blank between numbers stands for any number of blanks.
// @return how many were read; the others stay as they are
int ReadNumbers(const std::string& text, std::string_view signs, std::initializer_list<int32_t*> numbers) {
    const char* at = text.c_str();
    int read = 0;
    for (int32_t* number : numbers) {
        if (read > 0) {
            const char sign = signs[static_cast<std::size_t>(read - 1)];
            if (sign == ' ') {
                SkipSpaces(at);
            } else if (*at++ != sign) {
                break;
            }
        }
        if (!ReadNumber(at, *number)) break;
        ++read;
    }
    return read;
}

// "%0*d" of printf. @return behind the number
char* WriteNumber(char* at, int32_t number, int width) {
    if (width == 2 && number >= 0 && number < 100) {
        *at++ = static_cast<char>('0' + number / 10);
        *at++ = static_cast<char>('0' + number % 10);
        return at;
    }
    char digits[16];
    int count = 0;
    for (uint32_t left = number < 0 ? 0U - static_cast<uint32_t>(number) : static_cast<uint32_t>(number);
         left > 0 || count == 0; left /= 10) {
        digits[count++] = static_cast<char>('0' + left % 10);
    }
    if (number < 0) {
        *at++ = '-';
        --width;
    }
    for (int i = count; i < width; ++i) *at++ = '0';
    while (count > 0) *at++ = digits[--count];
    return at;
}

std::string DateAndTime(const SHistoryTime& time, char separator) {
    char text[80];  // six numbers of at most eleven characters
    char* at = WriteNumber(text, time.year, 4);
    *at++ = '-';
    at = WriteNumber(at, time.month, 2);
    *at++ = '-';
    at = WriteNumber(at, time.day, 2);
    *at++ = separator;
    at = WriteNumber(at, time.hour, 2);
    *at++ = ':';
    at = WriteNumber(at, time.minute, 2);
    *at++ = ':';
    at = WriteNumber(at, time.second, 2);
    std::string result;
    result.reserve(32);  // with an offset behind it
    result.assign(text, at);
    return result;
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
    const bool east = text.find('+') != std::string::npos;
    SHistoryTime read;
    int32_t hours = 0;
    int32_t minutes = 0;
    const int count =
        ReadNumbers(text, east ? "--T::+:" : "--T::-:",
                    {&read.year, &read.month, &read.day, &read.hour, &read.minute, &read.second, &hours, &minutes});
    if (count < 1) return false;
    const int32_t offset = OffsetSeconds(hours, minutes);
    read.differ = east ? offset : static_cast<int32_t>(-int64_t{offset});
    time = read;
    return true;
}

SHistoryTime PlainToTime(const std::string& text, int differ) {
    SHistoryTime time;
    const int count =
        ReadNumbers(text, "-- ::", {&time.year, &time.month, &time.day, &time.hour, &time.minute, &time.second});
    if (count >= 1) time.differ = differ;
    return time;
}

std::string TimeToPlain(const SHistoryTime& time) { return DateAndTime(time, ' '); }

std::string TimeToISO(const SHistoryTime& time) {
    return DateAndTime(time, 'T') + Mox::Base::TimeUtil::TimeDifference2Str(time.differ);
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
    SHistoryTime time_in_utc;
    time_in_utc.year = static_cast<int>(int64_t{utc.tm_year} + 1900);
    time_in_utc.month = utc.tm_mon + 1;
    time_in_utc.day = utc.tm_mday;
    time_in_utc.hour = utc.tm_hour;
    time_in_utc.minute = utc.tm_min;
    time_in_utc.second = utc.tm_sec;
    return TimeToPlain(time_in_utc);
}

void AddDays(SHistoryTime& time, int days) {
    for (; days > 0; --days) StepForward(time);
    for (; days < 0; ++days) StepBackward(time);
}

}  // namespace qar
