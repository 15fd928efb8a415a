#include "demo_cameras/demo_start.h"

#include <chrono>

namespace demo {

ScaledClock DemoClock(int scale) {
    using namespace std::chrono;
    const auto now = duration_cast<seconds>(system_clock::now().time_since_epoch());
    return ScaledClock(scale, now.count(), kDemoStartS);
}

}  // namespace demo
