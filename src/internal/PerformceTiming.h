#pragma once

#include <chrono>
#include <cstdint>
#include <ratio>
#include <string>

namespace qar {

/// Measures the wall time of a scope. With `enabled` it writes one line at the scope's end. Threads: one at a time.
class CPerformceTiming {
public:
    CPerformceTiming(const std::string& name, bool enabled);
    ~CPerformceTiming();
    CPerformceTiming(const CPerformceTiming&) = delete;
    CPerformceTiming& operator=(const CPerformceTiming&) = delete;

    /// @return milliseconds since construction, rounded towards zero
    long long Elapsed() const;

private:
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, Ticks>;

    std::string name;
    TimePoint begin;
    TimePoint end;  // stays zero: the elapsed time is not stored
    bool enabled;
};

}  // namespace qar
