#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>

namespace qarplatform {

/// A device's own clock, as its answers tell it: it runs as fast as the platform's clock, at a fixed distance from it.
/// All times are milliseconds since 1970 UTC. Threads: reads from any; Learn and RunOnHostClock from one.
class DeviceClock {
public:
    enum class Change { kNone, kLearned, kJumped };

    bool Known() const { return distance_ms_.load(std::memory_order_acquire) != kUnknown; }
    /// @param now_ms  of the platform's clock @return the device's time; `now_ms` while the clock is not known
    int64_t DeviceTimeMs(int64_t now_ms) const;

    /// Takes a date that the device answered.
    /// @param date_s      seconds since 1970 UTC on the device's clock
    /// @param now_ms      of the platform's clock, when the answer arrived
    /// @param round_trip  of the platform's clock, between the question and the answer
    /// @param jump_ms     gets how far the date lies from what was expected, when the answer is kJumped
    Change Learn(int64_t date_s, int64_t now_ms, std::chrono::milliseconds round_trip, int64_t& jump_ms);

    /// Lets a clock that is not known run with the platform's.
    void RunOnHostClock();

private:
    static constexpr int64_t kUnknown = std::numeric_limits<int64_t>::min();

    std::atomic<int64_t> distance_ms_{kUnknown};
    std::chrono::milliseconds learned_round_trip_{0};
};

}  // namespace qarplatform
