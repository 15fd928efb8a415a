#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "qarutil/ThreadManager.h"
#include "standalone/base/TimerStatus.h"

namespace qarplatform {

/// One periodic timer on a thread of its own, so that a slow function delays no other timer.
class Timer : public std::enable_shared_from_this<Timer> {
public:
    Timer(std::string name, unsigned int interval_ms, qar::IThreadManager::TimerFunc fn);

    /// Starts the thread; tick 1 falls an interval from now. Throws std::system_error when none can be made.
    void Begin();

    /// No call begins afterwards but one that has begun already. Does not wait.
    void RequestStop();

    /// Waits until the last call has returned and the function is let go; on the timer's own thread returns at once.
    void WaitForEnd();

    /// @return whether the last call has returned and the function is let go
    bool Ended() const;

    TimerStatus Status() const;

private:
    void Run();
    /// Waits for the moment of a tick. @return false when the timer is to end
    bool WaitForTick(unsigned long long tick);
    void Call(unsigned long long tick);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // guarded by mutex_
    TimerStatus status_;
    std::chrono::steady_clock::time_point began_;
    std::thread::id thread_;
    bool stopping_ = false;
    bool ended_ = false;

    qar::IThreadManager::TimerFunc fn_;  // of the timer's thread
};

}  // namespace qarplatform
