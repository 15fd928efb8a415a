#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace qar {

/// A named periodic timer on a thread of its own. Its key is its name, and one timer in the process runs under a key.
/// Threads: Start and Stop of one object from one thread at a time; Stop also from the timer's own function.
class CQarTimer {
public:
    using TimerFunc = std::function<void()>;

    CQarTimer() = default;
    /// Stops the timer. Must not run inside the timer's own function.
    ~CQarTimer();
    CQarTimer(const CQarTimer&) = delete;
    CQarTimer& operator=(const CQarTimer&) = delete;

    /// Calls `fn` every interval, the first time when one interval is over, until Stop.
    /// @param interval_ms  milliseconds from the end of one call to the begin of the next
    /// @param fn           must not be empty and must not throw
    /// @return false when a timer of this key or this object runs already, which changes neither; or when no thread can
    ///         be made
    bool Start(const std::string& key, int interval_ms, TimerFunc fn);

    /// Ends the timer: no further call of the function begins, and its key is free when Stop returns. Waits for a call
    /// that runs; from the timer's own function it returns at once, and the key is free when that call has returned.
    void Stop();

private:
    bool IsStopped();
    void Run();

    std::string key_;
    int interval_ms_ = 0;
    TimerFunc fn_;
    std::thread thread_;

    // guarded by mutex_
    bool stopped_ = false;
    std::mutex mutex_;
    std::condition_variable wake_;
};

}  // namespace qar
