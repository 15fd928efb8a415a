#include "standalone/base/Timer.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <utility>

#include "standalone/base/Clock.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

Timer::Timer(std::string name, unsigned int interval_ms, qar::IThreadManager::TimerFunc fn) : fn_(std::move(fn)) {
    status_.name = std::move(name);
    status_.interval_ms = interval_ms;
}

void Timer::Begin() {
    std::lock_guard<std::mutex> lock(mutex_);
    status_.started_ms = Clock::Get().NowMs();
    began_ = std::chrono::steady_clock::now();
    std::thread thread([timer = shared_from_this()] { timer->Run(); });
    thread_ = thread.get_id();
    thread.detach();
}

void Timer::RequestStop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
}

void Timer::WaitForEnd() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (thread_ == std::this_thread::get_id()) return;
    changed_.wait(lock, [this] { return ended_; });
}

bool Timer::Ended() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ended_;
}

TimerStatus Timer::Status() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return status_;
}

void Timer::Run() {
    for (unsigned long long tick = 1; WaitForTick(tick); ++tick) {
        Call(tick);
        std::lock_guard<std::mutex> lock(mutex_);
        status_.ticks = tick;
    }
    fn_ = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ended_ = true;
        thread_ = std::thread::id();
    }
    changed_.notify_all();
}

bool Timer::WaitForTick(unsigned long long tick) {
    std::unique_lock<std::mutex> lock(mutex_);
    // by the steady clock: a step of the wall clock neither silences a timer nor makes its ticks come in a rush
    const std::chrono::milliseconds since_start(static_cast<int64_t>(tick) * status_.interval_ms);
    changed_.wait_until(lock, began_ + Clock::Get().RealDuration(since_start), [this] { return stopping_; });
    return !stopping_;
}

void Timer::Call(unsigned long long tick) {
    try {
        fn_(tick);
    } catch (const std::exception& error) {
        LogSinkWrite(kLogError, kModulePlatform, "tick %llu of timer %s threw: %s", tick, status_.name.c_str(),
                     error.what());
    } catch (...) {
        LogSinkWrite(kLogError, kModulePlatform, "tick %llu of timer %s threw something that is no std::exception",
                     tick, status_.name.c_str());
    }
}

}  // namespace qarplatform
