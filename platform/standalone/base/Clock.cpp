#include "standalone/base/Clock.h"

#include <cmath>

namespace qarplatform {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::system_clock;

Clock& Clock::Get() {
    static Clock& clock = *new Clock;
    return clock;
}

void Clock::Configure(double scale, int64_t origin_ms, int64_t start_ms) {
    scale_ = scale;
    origin_ms_ = origin_ms;
    start_ms_ = start_ms;
}

double Clock::Scale() const { return scale_; }

int64_t Clock::NowMs() const {
    const auto real_us = std::chrono::duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    const auto since_origin_us = static_cast<double>(real_us - origin_ms_ * 1000);
    return start_ms_ + static_cast<int64_t>(std::floor(since_origin_us * scale_ / 1000.0));
}

nanoseconds Clock::RealDuration(milliseconds scaled) const {
    return nanoseconds(std::llround(static_cast<double>(scaled.count()) * 1e6 / scale_));
}

}  // namespace qarplatform
