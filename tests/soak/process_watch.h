#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "soak/resource_series.h"

namespace soak {

/// Watches what another process holds. Threads and descriptors that come and go, as those of a probe or a child, do
/// not show; what is left behind does, in the stretch after.
class ProcessWatch {
public:
    /// @param database  folder of the database, whose descriptors are counted apart
    explicit ProcessWatch(pid_t pid, std::string database = "") : pid_(pid), database_(std::move(database)) {}

    /// Looks once. @throws std::runtime_error  where the process is gone
    void Look();

    /// Ends a stretch. @return what was held in all looks since the last one; nothing where there were none
    std::optional<ResourceSample> EndStretch();

private:
    const pid_t pid_;
    const std::string database_;
    int looks_ = 0;
    std::set<std::string> threads_;
    std::set<std::string> descriptors_;  // number and what it is open on
    std::int64_t memory_kib_ = 0;
};

}  // namespace soak
