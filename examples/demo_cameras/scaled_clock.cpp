#include "demo_cameras/scaled_clock.h"

#include <stdexcept>

namespace demo {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::seconds;

ScaledClock::ScaledClock(int scale, std::int64_t origin_s, std::int64_t start_s)
    : scale_(scale), origin_s_(origin_s), start_s_(start_s) {
    if (scale <= 0) {
        throw std::invalid_argument("the clock's scale must be above 0");
    }
}

std::int64_t ScaledClock::NowMs() const { return MsAt(std::chrono::system_clock::now()); }

std::int64_t ScaledClock::MsAt(RealTime real) const {
    const auto since_origin = duration_cast<microseconds>(real.time_since_epoch()) - seconds(origin_s_);
    return start_s_ * 1000 + since_origin.count() * scale_ / 1000;
}

ScaledClock::RealTime ScaledClock::RealAt(std::int64_t scaled_ms) const {
    const microseconds since_origin((scaled_ms - start_s_ * 1000) * 1000 / scale_);
    return RealTime(duration_cast<RealTime::duration>(seconds(origin_s_) + since_origin));
}

}  // namespace demo
