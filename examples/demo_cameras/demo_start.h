#pragma once

#include <cstdint>

#include "demo_cameras/scaled_clock.h"

namespace demo {

/// Where the simulated time begins: eight hours before the zone with daylight saving puts its clocks back.
constexpr std::int64_t kDemoStartS = 1793484000;  // 2026-10-31T22:00:00Z

/// A clock that shows `kDemoStartS` at the present, whole second of the system clock.
ScaledClock DemoClock(int scale);

}  // namespace demo
