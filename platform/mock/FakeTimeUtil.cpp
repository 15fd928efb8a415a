#include "mock/FakeTimeUtil.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "mock/CivilTime.h"

namespace qarmock {

void FakeTimeUtil::SetServerOffset(std::optional<int> seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    offset_ = seconds;
}

void FakeTimeUtil::TimeT2LocalTime(std::string& text, int& offset_seconds, int64_t t) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (offset_) {
        offset_seconds = *offset_;
    } else {
        const std::time_t moment = t;
        std::tm local{};
        localtime_r(&moment, &local);
        offset_seconds = static_cast<int>(local.tm_gmtoff);
    }
    text = PlainText(t + offset_seconds);
}

std::string FakeTimeUtil::TimeT2LocalTimeStrISO(int64_t t) const {
    std::string text;
    int offset = 0;
    TimeT2LocalTime(text, offset, t);
    text.replace(text.find(' '), 1, "T");
    return text + TimeDifference2Str(offset);
}

std::string FakeTimeUtil::TimeDifference2Str(int seconds) const {
    const bool west = seconds < 0;
    const long long minutes = std::llabs(static_cast<long long>(seconds)) / 60;
    char text[32];
    std::snprintf(text, sizeof(text), "%c%02lld:%02lld", west ? '-' : '+', minutes / 60, minutes % 60);
    return text;
}

}  // namespace qarmock
