#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace platform_tests {

/// Holds threads up until it is opened. Shared, so that a thread may leave it after the test.
class Gate {
public:
    /// @return whether it was opened in time
    bool Pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        ++waiting_;
        changed_.notify_all();
        return changed_.wait_for(lock, std::chrono::seconds(20), [this] { return open_; });
    }
    bool WaitForWaiting(int count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return waiting_ >= count; });
    }
    int Waiting() {
        std::lock_guard<std::mutex> lock(mutex_);
        return waiting_;
    }
    void Open() {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int waiting_ = 0;
    bool open_ = false;
};

}  // namespace platform_tests
