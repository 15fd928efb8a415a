#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace qarhost {

/// SIGTERM and SIGINT as a request to stop. From its construction on they are blocked in the constructing thread and in
/// every thread started after it, SIGPIPE is ignored, and a thread of its own takes the signals: the first one
/// asks to stop; one that comes at least `kPatience` later ends the process at once with exit code 1. Those in between
/// count as the first one: a shell may send it to the process and to its group. Make it before any other thread.
class StopSignal {
public:
    using Now = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr std::chrono::seconds kPatience{1};

    /// @param now  the clock by which signals are told apart; called on the thread that takes them
    /// @throws std::system_error  where the system refuses
    explicit StopSignal(Now now = &std::chrono::steady_clock::now);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    bool Asked() const { return asked_; }

    /// Waits until asked to stop.
    void Wait();

private:
    void Take();

    const Now now_;
    int signals_ = -1;
    int end_ = -1;
    std::atomic<bool> asked_{false};
    std::mutex lock_;
    std::condition_variable changed_;
    std::thread thread_;
};

}  // namespace qarhost
