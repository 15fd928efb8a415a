#pragma once

#include <cstdint>
#include <map>

namespace demo {

/// A set of seconds as disjoint stretches [begin, end).
class IntervalSet {
public:
    /// An end that is not after the begin adds nothing.
    void Add(std::int64_t begin, std::int64_t end);

    /// Whether all of [begin, end) is in the set; of nothing it is.
    bool Covers(std::int64_t begin, std::int64_t end) const;

    /// Whether any of [begin, end) is in the set.
    bool Touches(std::int64_t begin, std::int64_t end) const;

    /// Begin to end, in order.
    const std::map<std::int64_t, std::int64_t>& Stretches() const { return stretches_; }

private:
    std::map<std::int64_t, std::int64_t> stretches_;
};

}  // namespace demo
