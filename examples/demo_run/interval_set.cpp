#include "demo_run/interval_set.h"

#include <algorithm>
#include <iterator>

namespace demo {

void IntervalSet::Add(std::int64_t begin, std::int64_t end) {
    if (end <= begin) {
        return;
    }
    auto next = stretches_.lower_bound(begin);
    if (next != stretches_.begin() && std::prev(next)->second >= begin) {
        --next;
    }
    while (next != stretches_.end() && next->first <= end) {
        begin = std::min(begin, next->first);
        end = std::max(end, next->second);
        next = stretches_.erase(next);
    }
    stretches_.emplace(begin, end);
}

bool IntervalSet::Covers(std::int64_t begin, std::int64_t end) const {
    if (end <= begin) {
        return true;
    }
    const auto after = stretches_.upper_bound(begin);
    return after != stretches_.begin() && std::prev(after)->second >= end;
}

bool IntervalSet::Touches(std::int64_t begin, std::int64_t end) const {
    if (end <= begin) {
        return false;
    }
    const auto behind = stretches_.lower_bound(end);
    return behind != stretches_.begin() && std::prev(behind)->second > begin;
}

}  // namespace demo
