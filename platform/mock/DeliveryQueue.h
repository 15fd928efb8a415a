#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace qarmock {

/// What a bus without threads has still to deliver, and what its callbacks threw. Threads: any; no lock is held while a
/// callback runs.
class DeliveryQueue {
public:
    using Call = std::function<void()>;
    /// One delivery: a call for each who gets it.
    using Calls = std::vector<Call>;

    void Add(Calls calls);

    /// Runs the delivery that has waited longest. @return false when none waits
    bool DeliverOne();
    /// Delivers until none waits. @return how many
    std::size_t DeliverAll();

    /// Runs a delivery that does not wait; what a call throws is caught and kept. @return how many calls there were
    std::size_t Run(const Calls& calls);

    std::vector<std::string> CaughtExceptions() const;

private:
    mutable std::mutex mutex_;
    // guarded by mutex_
    std::deque<Calls> waiting_;
    std::vector<std::string> caught_;
};

}  // namespace qarmock
