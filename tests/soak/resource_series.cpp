#include "soak/resource_series.h"

#include <algorithm>

namespace soak {

namespace {

using Samples = std::vector<ResourceSample>;

template <typename Value>
std::int64_t MostOf(Samples::const_iterator begin, Samples::const_iterator end, Value ResourceSample::*member) {
    const auto less = [member](const ResourceSample& a, const ResourceSample& b) { return a.*member < b.*member; };
    return static_cast<std::int64_t>((*std::max_element(begin, end, less)).*member);
}

}  // namespace

std::vector<std::string> FindGrowth(const std::vector<ResourceSample>& samples, const GrowthLimits& limits) {
    if (samples.size() < 2) return {"there are too few samples to compare"};
    const auto half = static_cast<Samples::difference_type>(samples.size() / 2);
    const auto middle = samples.end() - half;
    const auto begin = middle - half;
    std::vector<std::string> found;
    const auto compare = [&](const std::string& name, auto member, std::int64_t limit) {
        const std::int64_t first = MostOf(begin, middle, member);
        const std::int64_t second = MostOf(middle, samples.end(), member);
        if (second <= first + limit) return;
        found.push_back(name + " grew from " + std::to_string(first) + " to " + std::to_string(second) +
                        ", allowed are " + std::to_string(limit) + " more");
    };
    compare("threads", &ResourceSample::threads, static_cast<std::int64_t>(limits.threads));
    compare("descriptors", &ResourceSample::descriptors, static_cast<std::int64_t>(limits.descriptors));
    compare("memory in KiB", &ResourceSample::memory_kib, limits.memory_kib);
    compare("database in KiB", &ResourceSample::database_kib, limits.database_kib);
    compare("rows", &ResourceSample::rows, static_cast<std::int64_t>(limits.rows));
    compare("descriptors of the database", &ResourceSample::database_descriptors,
            static_cast<std::int64_t>(limits.database_descriptors));
    return found;
}

}  // namespace soak
