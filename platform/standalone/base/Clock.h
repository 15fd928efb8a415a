#pragma once

#include <chrono>
#include <cstdint>

namespace qarplatform {

/// The platform's one clock. Scaled time runs `scale` times as fast as real time:
///     scaled now = start + (real now - origin) * scale
/// Real now is the system clock at scale 1. At any other it is the system clock at the moment of Configure, gone on
/// with the steady clock: a step of the system clock would be `scale` times as long. Scaled: timers' ticks, devices'
/// clocks, probe periods. Everything else (time-outs, log times, retries) is real. Threads: any. Configure once, before
/// anything reads the clock.
class Clock {
public:
    using SystemNow = std::chrono::system_clock::time_point (*)();

    /// Real time until configured: scale 1, origin equal to start.
    static Clock& Get();

    /// @param scale      above 0
    /// @param origin_ms  real moment, milliseconds since 1970 UTC
    /// @param start_ms   scaled moment at `origin_ms`, milliseconds since 1970 UTC
    /// @param system_now  the system clock; another one for tests
    void Configure(double scale, int64_t origin_ms, int64_t start_ms,
                   SystemNow system_now = &std::chrono::system_clock::now);

    double Scale() const;

    /// @return the scaled moment now, milliseconds since 1970 UTC
    int64_t NowMs() const;

    /// @return how long a scaled duration lasts in real time
    std::chrono::nanoseconds RealDuration(std::chrono::milliseconds scaled) const;

private:
    Clock() = default;

    std::chrono::microseconds RealNow() const;

    SystemNow system_now_ = &std::chrono::system_clock::now;
    std::chrono::nanoseconds steady_to_real_{0};  // added to the steady clock; where the scale is not 1
    double scale_ = 1.0;
    int64_t origin_ms_ = 0;
    int64_t start_ms_ = 0;
};

}  // namespace qarplatform
