#include "demo_cameras/outage_schedule.h"

#include <algorithm>
#include <random>

namespace demo {

namespace {

constexpr std::int64_t kChecksApartMs = 30 * CheckTicks::kTickMs;
constexpr std::int64_t kFirstCheckMs = 25 * CheckTicks::kTickMs;

// A begin less than a probe period before a check is a fair case, as the check's point then lies within that period.
constexpr std::int64_t kProbePeriodMs = 50'000;
constexpr std::int64_t kNoticedMs = 5 * OutageSchedule::kMinuteMs;

std::int64_t Draw(std::mt19937_64& source, std::int64_t least, std::int64_t most) {
    return least + static_cast<std::int64_t>(source() % static_cast<std::uint64_t>(most - least + 1));
}

}  // namespace

std::int64_t CheckTicks::Next(std::int64_t moment_ms) const {
    const std::int64_t first = timer_started_ms + kFirstCheckMs;
    if (moment_ms <= first) {
        return first;
    }
    return first + (moment_ms - first + kChecksApartMs - 1) / kChecksApartMs * kChecksApartMs;
}

std::int64_t CheckTicks::Distance(std::int64_t moment_ms) const {
    const std::int64_t next = Next(moment_ms);
    const std::int64_t last = next - kChecksApartMs;
    const std::int64_t since = last < timer_started_ms ? kChecksApartMs : moment_ms - last;
    return std::min(next - moment_ms, since);
}

bool OutageSchedule::MayEnd(const ScheduledCamera& camera, const CheckTicks& checks, std::int64_t moment_ms) {
    const std::int64_t to_next = checks.Next(moment_ms) - moment_ms;
    return to_next >= kBeforeCheckMs && checks.Distance(moment_ms) >= kAfterCheckMs &&
           !camera.zone.InRepeatedHour(moment_ms / 1000 + camera.skew_s);
}

bool OutageSchedule::MayBegin(const CheckTicks& checks, std::int64_t moment_ms) {
    const std::int64_t to_next = checks.Next(moment_ms) - moment_ms;
    return to_next <= kProbePeriodMs || to_next >= kNoticedMs;
}

OutageSchedule::OutageSchedule(std::uint64_t seed, const CheckTicks& checks,
                               const std::vector<ScheduledCamera>& cameras, std::int64_t from_ms,
                               std::int64_t until_ms) {
    for (const ScheduledCamera& camera : cameras) {
        std::mt19937_64 source(seed * 1'000'003 + static_cast<std::uint64_t>(camera.id));
        std::int64_t moment = from_ms + Draw(source, 0, kLongestPauseMs / 2);
        while (moment < until_ms) {
            const Outage outage{camera.id, moment, moment + Draw(source, kShortestMs, kLongestMs)};
            if (MayBegin(checks, outage.begin_ms) && MayEnd(camera, checks, outage.end_ms)) {
                outages_.push_back(outage);
                moment = outage.end_ms + Draw(source, kShortestPauseMs, kLongestPauseMs);
            } else {
                moment += Draw(source, 1, kMinuteMs);
            }
        }
    }
    std::sort(outages_.begin(), outages_.end(), [](const Outage& a, const Outage& b) {
        return a.begin_ms != b.begin_ms ? a.begin_ms < b.begin_ms : a.camera < b.camera;
    });
}

}  // namespace demo
