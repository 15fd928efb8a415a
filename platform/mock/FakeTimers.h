#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "qarutil/ThreadManager.h"

namespace qarmock {

/// Named timers without threads: a tick comes when the test says so. Threads: any.
class FakeTimers {
public:
    struct NewTimerCall {
        std::string name;
        unsigned int interval_ms;
        int reserved;
    };

    /// Calls a timer's function with the next count, on the caller's thread; what it throws is caught and kept.
    /// @return false when no such timer runs
    bool Tick(const std::string& name);
    /// Tick with a count of the test's choice; the next one follows it.
    bool Tick(const std::string& name, unsigned long long n_tick);

    /// @return the names of the timers that run
    std::vector<std::string> Running() const;
    std::vector<NewTimerCall> Started() const;
    std::vector<std::string> Deleted() const;
    std::vector<std::string> CaughtExceptions() const;

    bool NewTimer(const std::string& name, unsigned int interval_ms, qar::IThreadManager::TimerFunc fn, int reserved);
    void DelTimer(const std::string& name);

private:
    struct Timer {
        qar::IThreadManager::TimerFunc fn;
        unsigned long long ticks = 0;
    };

    mutable std::mutex mutex_;
    std::map<std::string, Timer> timers_;
    std::vector<NewTimerCall> started_;
    std::vector<std::string> deleted_;
    std::vector<std::string> caught_;
};

}  // namespace qarmock
