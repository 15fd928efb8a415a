#pragma once

#include <cstdint>

namespace soak {

/// How a run is made. Each value can be set from the environment, as QAR_SOAK_CAMERAS and so on.
struct SoakOptions {
    static constexpr double kLongDays = 10;  ///< from here on a run is a long one, in which rows also expire

    int cameras = 20;
    double days = 0.5;  ///< of device time
    /// Device seconds in a second; less where there are many cameras, and to be set lower where the machine is slow.
#ifdef QAR_SANITIZED
    int scale = 1200;
#else
    int scale = 3600;
#endif
    int probe_s = 600;  ///< device seconds between two probes of a camera
    unsigned seed = 1;  ///< of the outages

    /// @throws std::invalid_argument  for a value that is none, or with which no run can be made
    static SoakOptions FromEnvironment();

    std::int64_t DurationMs() const { return static_cast<std::int64_t>(days * 86'400'000); }
};

}  // namespace soak
