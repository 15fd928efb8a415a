#include "tool/Timer.h"

#include <chrono>
#include <set>
#include <system_error>
#include <utility>

#include "internal/Log.h"

namespace qar {

using internal::kLogDebug;
using internal::kLogInformation;
using internal::kLogWarning;
using internal::kModuleCommon;

namespace {

/// The keys of the timers that run in this process. Never destroyed, as a timer may outlive the static objects.
class RunningKeys {
public:
    static RunningKeys& Instance() {
        static RunningKeys& keys = *new RunningKeys;
        return keys;
    }

    /// @return false when the key was there
    bool Add(const std::string& key) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return keys_.insert(key).second;
    }

    void Remove(const std::string& key) {
        const std::lock_guard<std::mutex> lock(mutex_);
        keys_.erase(key);
    }

private:
    std::set<std::string> keys_;
    std::mutex mutex_;
};

}  // namespace

CQarTimer::~CQarTimer() { Stop(); }

bool CQarTimer::Start(const std::string& key, int interval_ms, TimerFunc fn) {
    const bool running = thread_.joinable() && !IsStopped();
    if (running || !RunningKeys::Instance().Add(key)) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]QarTimer start failed, dupalicate starting. key[%s]\n[%s(%d)]",
                key.c_str());
        return false;
    }
    if (thread_.joinable()) thread_.join();  // stopped from inside its function
    key_ = key;
    interval_ms_ = interval_ms;
    fn_ = std::move(fn);
    const std::lock_guard<std::mutex> lock(mutex_);  // its function may call Stop, which reads thread_, at once
    stopped_ = false;
    try {
        thread_ = std::thread(&CQarTimer::Run, this);
    } catch (const std::system_error&) {
        RunningKeys::Instance().Remove(key);
        return false;
    }
    return true;
}

void CQarTimer::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

bool CQarTimer::IsStopped() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return stopped_;
}

void CQarTimer::Run() {
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]Timer start working...name[%s]\n[%s(%d)]", key_.c_str());
    while (!IsStopped()) {
        QAR_LOG(kLogDebug, kModuleCommon, "[%s]Timer wait_for start working...name[%s], interval[%d]\n[%s(%d)]",
                key_.c_str(), interval_ms_);
        bool stopped = false;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            stopped = wake_.wait_for(lock, std::chrono::milliseconds(interval_ms_), [this] { return stopped_; });
        }
        QAR_LOG(kLogDebug, kModuleCommon, "[%s]Timer wait_for end working...name[%s], interval[%d]\n[%s(%d)]",
                key_.c_str(), interval_ms_);
        if (!stopped) fn_();
        QAR_LOG(kLogDebug, kModuleCommon, "[%s]Timer func end working...name[%s], interval[%d]\n[%s(%d)]", key_.c_str(),
                interval_ms_);
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]Timer exit ok. name[%s]\n[%s(%d)]", key_.c_str());
    RunningKeys::Instance().Remove(key_);
}

}  // namespace qar
