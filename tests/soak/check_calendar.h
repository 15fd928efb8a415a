#pragma once

#include <cstdint>

namespace soak {

/// When the host checks its cameras: at each tick n of its timer, one a minute, with n % 30 == 25. All moments are
/// milliseconds of the site's clock.
///
/// A contact that is noticed shortly before a check, or while one runs, may be lost: the check may find the camera in
/// order before the contact is entered. So cameras come back only behind a check, and not behind each, but once an
/// hour, when neither expiry nor notification follows before the next.
class CheckCalendar {
public:
    static constexpr std::int64_t kTickMs = 60'000;
    static constexpr std::int64_t kCheckMs = 30 * kTickMs;  ///< between two checks

    /// @param started_ms  tick n falls at started_ms + n * kTickMs
    /// @param probe_s     period of the probes
    CheckCalendar(std::int64_t started_ms, std::int64_t probe_s);

    /// The last check at or before the moment; 0 where there is none.
    std::int64_t LastCheck(std::int64_t moment_ms) const;

    /// The first tick of the hourly notification at or after the moment.
    std::int64_t NextNotification(std::int64_t moment_ms) const;

    /// Whether a camera may come back, as far as the time goes: its next probe then ends early enough.
    bool MayReturn(std::int64_t moment_ms) const;

    /// Whether a camera may go, as far as the time goes: a probe then misses it well before the next check.
    bool MayGo(std::int64_t moment_ms) const;

private:
    std::int64_t InHour(std::int64_t moment_ms) const;

    const std::int64_t started_ms_;
    const std::int64_t probe_ms_;
};

}  // namespace soak
