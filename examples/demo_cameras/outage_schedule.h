#pragma once

#include <cstdint>
#include <vector>

#include "demo_cameras/zone_rule.h"

namespace demo {

struct Outage {
    int camera = 0;
    std::int64_t begin_ms = 0;  // on the site's scaled clock
    std::int64_t end_ms = 0;

    bool operator==(const Outage&) const = default;
};

/// When the host checks its cameras: at each tick n of its timer with n % 30 == 25.
/// An outage must not end near such a tick: the check could find the camera in order before the host has entered the
/// contact, and the gap would be lost.
struct CheckTicks {
    static constexpr std::int64_t kTickMs = 60'000;

    std::int64_t timer_started_ms = 0;  // tick n falls at timer_started_ms + n * kTickMs

    /// The first check at or after the moment.
    std::int64_t Next(std::int64_t moment_ms) const;
    /// How far the nearest check is.
    std::int64_t Distance(std::int64_t moment_ms) const;
};

struct ScheduledCamera {
    int id = 0;
    ZoneRule zone;
    std::int64_t skew_s = 0;
};

/// The outages of a set of cameras, drawn from a seed: the same seed, cameras and moments give the same outages.
class OutageSchedule {
public:
    static constexpr std::int64_t kMinuteMs = 60'000;
    static constexpr std::int64_t kShortestMs = 20 * kMinuteMs;
    static constexpr std::int64_t kLongestMs = 90 * kMinuteMs;
    static constexpr std::int64_t kShortestPauseMs = 40 * kMinuteMs;  // between two outages of a camera
    static constexpr std::int64_t kLongestPauseMs = 160 * kMinuteMs;
    static constexpr std::int64_t kAfterCheckMs = 2 * kMinuteMs;   // no end sooner after a check
    static constexpr std::int64_t kBeforeCheckMs = 5 * kMinuteMs;  // no end closer before a check

    /// Draws outages that begin in [from, until).
    OutageSchedule(std::uint64_t seed, const CheckTicks& checks, const std::vector<ScheduledCamera>& cameras,
                   std::int64_t from_ms, std::int64_t until_ms);

    /// In the order of their begin.
    const std::vector<Outage>& Outages() const { return outages_; }

    /// Whether an outage of the camera may end at the moment: not near a check, not in a repeated hour of its zone.
    static bool MayEnd(const ScheduledCamera& camera, const CheckTicks& checks, std::int64_t moment_ms);

    /// Whether an outage may begin at the moment: not so shortly before a check that it depends on how fast the host
    /// notices it whether that check still finds the camera there.
    static bool MayBegin(const CheckTicks& checks, std::int64_t moment_ms);

private:
    std::vector<Outage> outages_;
};

}  // namespace demo
