#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

/// Collects what comes from other threads and lets a test wait for it.
template <class T>
class Arrivals {
public:
    void Add(T value) {
        std::lock_guard<std::mutex> lock(mutex_);
        values_.push_back(std::move(value));
        changed_.notify_all();
    }

    /// Waits until there are at least `count`. @return all there are
    std::vector<T> WaitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return values_.size() >= count; });
        return values_;
    }

    std::vector<T> Now() { return WaitFor(0); }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<T> values_;  // guarded by mutex_
};
