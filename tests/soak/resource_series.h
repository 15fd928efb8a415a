#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace soak {

/// What a process held during one stretch of the run.
struct ResourceSample {
    std::size_t threads = 0;               ///< that lived all the time
    std::size_t descriptors = 0;           ///< that were open all the time, on other files than the database's
    std::int64_t memory_kib = 0;           ///< the least that it had
    std::int64_t database_kib = 0;         ///< size of the database's files at the end
    std::size_t rows = 0;                  ///< of the history tables at the end
    std::size_t database_descriptors = 0;  ///< that were open all the time on the database's files
};

/// How much more than in the first half a process may hold in the second.
struct GrowthLimits {
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    std::int64_t memory_kib = 0;
    std::int64_t database_kib = 0;
    std::size_t rows = 0;
    std::size_t database_descriptors = 0;
};

/// Compares the two halves of a series of samples, of which the first of an odd number is left out: the second must not
/// exceed the first one's maximum by more than the limits.
/// @return a text for each that does; one also where there are fewer than two samples
std::vector<std::string> FindGrowth(const std::vector<ResourceSample>& samples, const GrowthLimits& limits);

}  // namespace soak
