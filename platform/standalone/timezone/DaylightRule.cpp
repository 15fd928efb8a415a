#include "standalone/timezone/DaylightRule.h"

#include <array>
#include <chrono>
#include <cstddef>

namespace qarplatform {

namespace {

struct Field {
    const char* name;
    unsigned lowest;
    unsigned highest;
};

constexpr std::array<Field, 5> kFields = {
    {{"month", 1, 12}, {"week", 1, 5}, {"weekday", 0, 6}, {"hour", 0, 23}, {"minute", 0, 59}}};

constexpr unsigned kLastWeek = 5;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Reads a number of one or two digits. @return false when none begins at `position`
bool ReadNumber(const std::string& text, std::size_t& position, unsigned& number) {
    std::size_t digits = 0;
    number = 0;
    while (position < text.size() && IsDigit(text[position]) && digits < 3) {
        number = number * 10 + static_cast<unsigned>(text[position] - '0');
        ++position;
        ++digits;
    }
    return digits == 1 || digits == 2;
}

}  // namespace

int64_t DaylightRule::LocalSeconds(int year) const {
    using namespace std::chrono;
    const auto in_month = std::chrono::year(year) / std::chrono::month(month);
    const std::chrono::weekday day_of_week(weekday);
    const sys_days day =
        week == kLastWeek ? sys_days(in_month / day_of_week[last]) : sys_days(in_month / day_of_week[week]);
    return duration_cast<seconds>(day.time_since_epoch()).count() + int64_t{hour} * 3600 + int64_t{minute} * 60;
}

bool ParseDaylightRule(const std::string& text, DaylightRule& rule, std::string& error) {
    std::array<unsigned, kFields.size()> numbers{};
    std::size_t position = 0;
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        const bool separated = i == 0 || (position < text.size() && text[position++] == ':');
        if (!separated || !ReadNumber(text, position, numbers[i])) {
            error = "must be month:week:weekday:hour:minute in numbers, for example 3:2:0:2:0";
            return false;
        }
    }
    if (position != text.size()) {
        error = "must be month:week:weekday:hour:minute in numbers, for example 3:2:0:2:0";
        return false;
    }
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        if (numbers[i] < kFields[i].lowest || numbers[i] > kFields[i].highest) {
            error = std::string("the ") + kFields[i].name + " must be " + std::to_string(kFields[i].lowest) + " to " +
                    std::to_string(kFields[i].highest);
            return false;
        }
    }
    rule = {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4]};
    return true;
}

}  // namespace qarplatform
