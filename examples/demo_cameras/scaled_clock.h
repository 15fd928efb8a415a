#pragma once

#include <chrono>
#include <cstdint>

namespace demo {

/// The clock of a simulated site: runs `scale` times as fast as the system clock, from `start` on at the real moment
/// `origin`. Threads: any.
class ScaledClock {
public:
    using RealTime = std::chrono::system_clock::time_point;

    /// @param scale     scaled seconds per real second, above 0
    /// @param origin_s  real moment at which the scaled time is `start_s`, in seconds since 1970 UTC
    /// @param start_s   scaled moment, in seconds since 1970 UTC
    ScaledClock(int scale, std::int64_t origin_s, std::int64_t start_s);

    /// Scaled milliseconds since 1970 UTC.
    std::int64_t NowMs() const;
    std::int64_t MsAt(RealTime real) const;

    /// The real moment at which the scaled time is `scaled_ms`.
    RealTime RealAt(std::int64_t scaled_ms) const;

    int Scale() const { return scale_; }
    std::int64_t OriginSeconds() const { return origin_s_; }
    std::int64_t StartSeconds() const { return start_s_; }

private:
    int scale_;
    std::int64_t origin_s_;
    std::int64_t start_s_;
};

}  // namespace demo
