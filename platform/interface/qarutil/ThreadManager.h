#pragma once

#include <functional>
#include <string>

namespace qar {

/// Named periodic timers. One object per process. Threads: any.
class IThreadManager {
public:
    using TimerFunc = std::function<void(unsigned long long n_tick)>;

    static IThreadManager* Instance();

    virtual ~IThreadManager() {}

    /// Starts a timer. `fn` is called on a thread of the timer once each interval of the platform's clock with a count
    /// that grows by 1 from call to call and begins at 1. A call that lasts longer than the interval delays the later
    /// ones, none is left out. What `fn` throws is caught and logged.
    /// @param name         of a timer that runs already: true, and nothing changes
    /// @param interval_ms  milliseconds of the platform's clock, above 0
    /// @param reserved     0
    /// @return false for an empty function, an interval of 0 or when no thread can be made
    virtual bool NewTimer(const std::string& name, unsigned int interval_ms, TimerFunc fn, int reserved) = 0;

    /// Ends a timer. From another thread it returns once no call runs any more; from the timer's own function it
    /// returns at once and that call is the last. Harmless for a name that does not run.
    virtual void DelTimer(const std::string& name) = 0;
};

}  // namespace qar
