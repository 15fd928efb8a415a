#pragma once

#include <atomic>
#include <chrono>

namespace qarplatform {

/// Until when queued messages are delivered: for good, until the bus stops and sets an end. Threads: any.
class StopDeadline {
public:
    using Clock = std::chrono::steady_clock;

    void Set(Clock::time_point end) { end_ = end; }

    bool Over() const {
        const Clock::time_point end = end_.load(std::memory_order_relaxed);
        return end != kNone && Clock::now() >= end;
    }

private:
    static constexpr Clock::time_point kNone = Clock::time_point::max();

    std::atomic<Clock::time_point> end_{kNone};
};

}  // namespace qarplatform
