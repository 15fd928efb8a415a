#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qarplatform {

/// A timer that runs. Tick n falls at started_ms + n * interval_ms.
struct TimerStatus {
    std::string name;
    unsigned int interval_ms = 0;
    int64_t started_ms = 0;        ///< scaled moment, milliseconds since 1970 UTC
    unsigned long long ticks = 0;  ///< calls made so far
};

/// @return the timers that run now, by name. Threads: any.
std::vector<TimerStatus> ListTimers();

/// Ends all timers and waits for their calls. For the host's stop; no new timer starts afterwards.
void StopTimers();

}  // namespace qarplatform
