#include "mock/FakeTimers.h"

#include <utility>

#include "mock/Caught.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

bool FakeTimers::Tick(const std::string& name) {
    unsigned long long next = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = timers_.find(name);
        if (found == timers_.end()) return false;
        next = found->second.ticks + 1;
    }
    return Tick(name, next);
}

bool FakeTimers::Tick(const std::string& name, unsigned long long n_tick) {
    qar::IThreadManager::TimerFunc fn;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = timers_.find(name);
        if (found == timers_.end()) return false;
        found->second.ticks = n_tick;
        fn = found->second.fn;
    }
    if (const auto error = CatchText([&] { fn(n_tick); })) {
        std::lock_guard<std::mutex> lock(mutex_);
        caught_.push_back(*error);
    }
    return true;
}

std::vector<std::string> FakeTimers::Running() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> names;
    for (const auto& entry : timers_) names.push_back(entry.first);
    return names;
}

std::vector<FakeTimers::NewTimerCall> FakeTimers::Started() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_;
}

std::vector<std::string> FakeTimers::Deleted() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return deleted_;
}

std::vector<std::string> FakeTimers::CaughtExceptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return caught_;
}

bool FakeTimers::NewTimer(const std::string& name, unsigned int interval_ms, qar::IThreadManager::TimerFunc fn,
                          int reserved) {
    const bool fails = CallFails("IThreadManager::NewTimer");
    std::lock_guard<std::mutex> lock(mutex_);
    started_.push_back({name, interval_ms, reserved});
    if (fails || !fn || interval_ms == 0) return false;
    timers_.try_emplace(name, Timer{std::move(fn), 0});
    return true;
}

void FakeTimers::DelTimer(const std::string& name) {
    if (CallFails("IThreadManager::DelTimer")) return;
    std::lock_guard<std::mutex> lock(mutex_);
    deleted_.push_back(name);
    timers_.erase(name);
}

}  // namespace qarmock
