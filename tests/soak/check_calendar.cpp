#include "soak/check_calendar.h"

namespace soak {

namespace {

constexpr std::int64_t kHourMs = 60 * CheckCalendar::kTickMs;
constexpr std::int64_t kFirstCheckMs = 25 * CheckCalendar::kTickMs;
constexpr std::int64_t kNotificationMs = 5 * CheckCalendar::kTickMs;
constexpr std::int64_t kEnteredMs = 7 * CheckCalendar::kTickMs;  // from a probe to what it changes, if all is well
constexpr std::int64_t kSlackMs = CheckCalendar::kTickMs;        // by which a probe may be late

}  // namespace

CheckCalendar::CheckCalendar(std::int64_t started_ms, std::int64_t probe_s)
    : started_ms_(started_ms), probe_ms_(probe_s * 1000) {}

std::int64_t CheckCalendar::LastCheck(std::int64_t moment_ms) const {
    const std::int64_t since_first = moment_ms - started_ms_ - kFirstCheckMs;
    return since_first < 0 ? 0 : moment_ms - since_first % kCheckMs;
}

std::int64_t CheckCalendar::NextNotification(std::int64_t moment_ms) const {
    const std::int64_t to_go = kNotificationMs - InHour(moment_ms);
    return moment_ms + (to_go < 0 ? to_go + kHourMs : to_go);
}

bool CheckCalendar::MayReturn(std::int64_t moment_ms) const {
    const std::int64_t in_hour = InHour(moment_ms);
    return in_hour >= kFirstCheckMs && in_hour <= kFirstCheckMs + kCheckMs - kEnteredMs - probe_ms_ - kSlackMs;
}

bool CheckCalendar::MayGo(std::int64_t moment_ms) const {
    const std::int64_t check_ms = LastCheck(moment_ms);
    return check_ms != 0 && moment_ms - check_ms <= kCheckMs - kEnteredMs - probe_ms_ - kSlackMs;
}

std::int64_t CheckCalendar::InHour(std::int64_t moment_ms) const { return (moment_ms - started_ms_) % kHourMs; }

}  // namespace soak
