#include "qarutil/ThreadManager.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "standalone/base/Timer.h"
#include "standalone/base/TimerStatus.h"

namespace qarplatform {

namespace {

class ThreadManager : public qar::IThreadManager {
public:
    /// Never destroyed: timers may be ended by static objects.
    static ThreadManager& Get() {
        static ThreadManager& manager = *new ThreadManager;
        return manager;
    }

    bool NewTimer(const std::string& name, unsigned int interval_ms, TimerFunc fn, int /*reserved*/) override {
        if (!fn || interval_ms == 0) return false;
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) return false;
        if (running_.count(name) > 0) return true;
        const auto timer = std::make_shared<Timer>(name, interval_ms, std::move(fn));
        try {
            timer->Begin();
        } catch (const std::system_error&) {
            return false;
        }
        running_[name] = timer;
        return true;
    }

    void DelTimer(const std::string& name) override {
        Timers timers;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (const auto found = running_.find(name); found != running_.end()) {
                ending_.push_back(found->second);
                running_.erase(found);
            }
            // those that another thread has just begun to end count too
            std::copy_if(ending_.begin(), ending_.end(), std::back_inserter(timers),
                         [&](const auto& timer) { return timer->Status().name == name; });
        }
        End(timers);
    }

    std::vector<TimerStatus> List() const {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<TimerStatus> list;
        for (const auto& [name, timer] : running_) list.push_back(timer->Status());
        return list;
    }

    void Stop() {
        Timers timers;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopped_ = true;
            for (const auto& [name, timer] : running_) ending_.push_back(timer);
            running_.clear();
            timers = ending_;
        }
        End(timers);
    }

private:
    using Timers = std::vector<std::shared_ptr<Timer>>;

    void End(const Timers& timers) {
        for (const auto& timer : timers) timer->RequestStop();
        for (const auto& timer : timers) timer->WaitForEnd();
        std::lock_guard<std::mutex> lock(mutex_);
        std::erase_if(ending_, [](const auto& timer) { return timer->Ended(); });
    }

    mutable std::mutex mutex_;
    // guarded by mutex_
    std::map<std::string, std::shared_ptr<Timer>> running_;
    Timers ending_;  // asked to end, perhaps still in a call
    bool stopped_ = false;
};

}  // namespace

std::vector<TimerStatus> ListTimers() { return ThreadManager::Get().List(); }

void StopTimers() { ThreadManager::Get().Stop(); }

}  // namespace qarplatform

namespace qar {

IThreadManager* IThreadManager::Instance() { return &qarplatform::ThreadManager::Get(); }

}  // namespace qar
