#include "standalone/base/Clock.h"

#include <cmath>

namespace qarplatform {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

namespace {

/// @return how far the system clock is ahead of the steady one; of some readings the one that was held up least
nanoseconds SteadyToReal(Clock::SystemNow system_now) {
    constexpr int kReadings = 10;
    nanoseconds result{0};
    nanoseconds shortest = nanoseconds::max();
    for (int i = 0; i < kReadings; ++i) {
        const nanoseconds before = steady_clock::now().time_since_epoch();
        const nanoseconds real = system_now().time_since_epoch();
        const nanoseconds took = steady_clock::now().time_since_epoch() - before;
        if (took >= shortest) continue;
        shortest = took;
        result = real - before;
    }
    return result;
}

}  // namespace

Clock& Clock::Get() {
    static Clock& clock = *new Clock;
    return clock;
}

void Clock::Configure(double scale, int64_t origin_ms, int64_t start_ms, SystemNow system_now) {
    scale_ = scale;
    origin_ms_ = origin_ms;
    start_ms_ = start_ms;
    system_now_ = system_now;
    steady_to_real_ = SteadyToReal(system_now);
}

double Clock::Scale() const { return scale_; }

microseconds Clock::RealNow() const {
    const nanoseconds real =
        scale_ == 1.0 ? system_now_().time_since_epoch() : steady_clock::now().time_since_epoch() + steady_to_real_;
    return std::chrono::duration_cast<microseconds>(real);
}

int64_t Clock::NowMs() const {
    const auto since_origin_us = static_cast<double>((RealNow() - milliseconds(origin_ms_)).count());
    return start_ms_ + static_cast<int64_t>(std::floor(since_origin_us * scale_ / 1000.0));
}

nanoseconds Clock::RealDuration(milliseconds scaled) const {
    return nanoseconds(std::llround(static_cast<double>(scaled.count()) * 1e6 / scale_));
}

}  // namespace qarplatform
