#include "standalone/device/DeviceClock.h"

#include <algorithm>
#include <cstdlib>

namespace qarplatform {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTolerance(2000);  // a date counts whole seconds
constexpr milliseconds kJump(5000);

}  // namespace

int64_t DeviceClock::DeviceTimeMs(int64_t now_ms) const {
    const int64_t distance = distance_ms_.load(std::memory_order_acquire);
    return distance == kUnknown ? now_ms : now_ms + distance;
}

DeviceClock::Change DeviceClock::Learn(int64_t date_s, int64_t now_ms, milliseconds round_trip, int64_t& jump_ms) {
    const bool known = Known();
    const int64_t difference = date_s * 1000 - DeviceTimeMs(now_ms);
    // At a high scale the clock moves on by seconds while the answer is under way; what agrees within that is no news,
    // and following it would make the clock go backwards.
    const milliseconds tolerance = std::max(kTolerance, 2 * round_trip);
    if (known && milliseconds(std::abs(difference)) <= tolerance) {
        return Change::kNone;
    }
    const bool jumped = known && milliseconds(std::abs(difference)) > std::max(kJump, tolerance) + learned_round_trip_;
    distance_ms_.store(date_s * 1000 - now_ms, std::memory_order_release);
    learned_round_trip_ = round_trip;
    jump_ms = difference;
    return jumped ? Change::kJumped : Change::kLearned;
}

void DeviceClock::RunOnHostClock() {
    if (!Known()) {
        distance_ms_.store(0, std::memory_order_release);
    }
}

}  // namespace qarplatform
