#include "Mox/Base/ThreadPool.h"

#include <cxxabi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <exception>
#include <list>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

#include "standalone/base/DescribedTask.h"
#include "standalone/base/ThreadPoolControl.h"
#include "standalone/log/PlatformLog.h"

namespace Mox {
namespace Base {

namespace {

void Execute(CTask& task) {
    try {
        task.Exec();
    } catch (const std::exception& error) {
        LogSinkWrite(qarplatform::kLogError, qarplatform::kModulePlatform, "a task of a thread pool threw: %s",
                     error.what());
    } catch (...) {
        LogSinkWrite(qarplatform::kLogError, qarplatform::kModulePlatform,
                     "a task of a thread pool threw something that is no std::exception");
    }
}

std::string Describe(const CTask& task) {
    if (const auto* described = dynamic_cast<const qarplatform::DescribedTask*>(&task)) {
        return described->Description();
    }
    const char* const name = typeid(task).name();
    const std::unique_ptr<char, void (*)(void*)> readable(abi::__cxa_demangle(name, nullptr, nullptr, nullptr),
                                                          &std::free);
    return std::string("a task of class ") + (readable != nullptr ? readable.get() : name);
}

/// The workers of all pools. Never destroyed: workers may outlive all else.
class AllWorkers {
public:
    static AllWorkers& Get() {
        static AllWorkers* const all = new AllWorkers;
        return *all;
    }

    void Begun() {
        std::lock_guard<std::mutex> lock(mutex_);
        ++count_;
    }

    void Ended() {
        std::lock_guard<std::mutex> lock(mutex_);
        --count_;
        ended_.notify_all();
    }

    void WaitForEnd() {
        std::unique_lock<std::mutex> lock(mutex_);
        ended_.wait(lock, [this] { return count_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    std::size_t count_ = 0;  // guarded by mutex_
};

/// The workers of one Start with their queue. Workers share it, so that it may be left behind while they still run.
class Crew : public std::enable_shared_from_this<Crew> {
public:
    Crew(int min_threads, int max_threads, int idle_seconds, std::shared_ptr<std::atomic<int>> task_count)
        : min_threads_(static_cast<std::size_t>(std::max(min_threads, 1))),
          max_threads_(std::max(min_threads_, static_cast<std::size_t>(std::max(max_threads, 1)))),
          idle_time_(std::max(idle_seconds, 0)),
          task_count_(std::move(task_count)) {}

    /// @return whether there is a worker
    bool Begin() {
        std::lock_guard<std::mutex> lock(mutex_);
        while (!stopped_ && workers_ < min_threads_ && AddWorker()) {
        }
        return workers_ > 0;
    }

    void Post(std::shared_ptr<CTask> task) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopped_) return;
            queue_.push_back(std::move(task));
            task_count_->fetch_add(1);
            // without a further thread the task waits for one that is there
            if (queue_.size() > idle_workers_ && workers_ < max_threads_) AddWorker();
        }
        work_.notify_one();
    }

    void Drain() {
        std::unique_lock<std::mutex> lock(mutex_);
        stopped_ = true;
        work_.notify_all();
        ended_.wait(lock, [this] { return workers_ == 0; });
    }

    void Abandon() {
        std::deque<std::shared_ptr<CTask>> dropped;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopped_ = true;
            dropped.swap(queue_);
        }
        work_.notify_all();
        task_count_->fetch_sub(static_cast<int>(dropped.size()));
    }

    void AddRunning(std::vector<std::shared_ptr<CTask>>& tasks) {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const std::weak_ptr<CTask>& entry : running_) {
            if (std::shared_ptr<CTask> task = entry.lock()) tasks.push_back(std::move(task));
        }
    }

private:
    using Running = std::list<std::weak_ptr<CTask>>;

    // mutex_ is held
    bool AddWorker() {
        AllWorkers::Get().Begun();
        try {
            std::thread([crew = shared_from_this()]() mutable {
                crew->Work();
                crew.reset();
                AllWorkers::Get().Ended();
            }).detach();
        } catch (const std::system_error&) {
            AllWorkers::Get().Ended();
            return false;
        }
        ++workers_;
        ++idle_workers_;
        return true;
    }

    void Work() {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto own = running_.emplace(running_.end());
        while (std::shared_ptr<CTask> task = NextTask(lock)) {
            *own = task;
            lock.unlock();
            Execute(*task);
            task.reset();
            task_count_->fetch_sub(1);
            lock.lock();
            own->reset();
            ++idle_workers_;
        }
        running_.erase(own);
        --workers_;
        ended_.notify_all();
    }

    /// @return the next task; null when the worker is to end
    std::shared_ptr<CTask> NextTask(std::unique_lock<std::mutex>& lock) {
        const auto due = [this] { return stopped_ || !queue_.empty(); };
        while (!due()) {
            if (workers_ > min_threads_) {
                if (!work_.wait_for(lock, idle_time_, due) && workers_ > min_threads_) break;
            } else {
                work_.wait(lock);
            }
        }
        --idle_workers_;
        if (queue_.empty()) return nullptr;
        std::shared_ptr<CTask> task = std::move(queue_.front());
        queue_.pop_front();
        return task;
    }

    const std::size_t min_threads_;
    const std::size_t max_threads_;
    const std::chrono::seconds idle_time_;
    const std::shared_ptr<std::atomic<int>> task_count_;

    std::mutex mutex_;
    std::condition_variable work_;
    std::condition_variable ended_;
    // guarded by mutex_
    std::deque<std::shared_ptr<CTask>> queue_;
    Running running_;  // of each worker its task, which is the worker's to let go of
    std::size_t workers_ = 0;
    std::size_t idle_workers_ = 0;
    bool stopped_ = false;
};

/// The crews that pools run with, so that they can be ended all at once. Never destroyed.
class AllCrews {
public:
    static AllCrews& Get() {
        static AllCrews* const all = new AllCrews;
        return *all;
    }

    /// @return false once all were ended
    bool Add(const std::shared_ptr<Crew>& crew) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (ended_) return false;
        std::erase_if(crews_, [](const std::weak_ptr<Crew>& other) { return other.expired(); });
        crews_.push_back(crew);
        return true;
    }

    /// No crew is added any more. @return those that were
    std::vector<std::weak_ptr<Crew>> End() {
        std::lock_guard<std::mutex> lock(mutex_);
        ended_ = true;
        return crews_;
    }

    std::vector<std::weak_ptr<Crew>> All() {
        std::lock_guard<std::mutex> lock(mutex_);
        return crews_;
    }

private:
    std::mutex mutex_;
    // guarded by mutex_
    std::vector<std::weak_ptr<Crew>> crews_;
    bool ended_ = false;
};

}  // namespace

class CMessageLoopDyThreadPool::Impl {
public:
    bool Start(int min_threads, int max_threads, int idle_seconds) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (crew_ != nullptr) return true;
        auto crew = std::make_shared<Crew>(min_threads, max_threads, idle_seconds, task_count_);
        if (!AllCrews::Get().Add(crew) || !crew->Begin()) return false;
        crew_ = std::move(crew);
        return true;
    }

    std::shared_ptr<Crew> TakeCrew() {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(crew_, nullptr);
    }

    std::shared_ptr<Crew> GetCrew() {
        std::lock_guard<std::mutex> lock(mutex_);
        return crew_;
    }

    int TaskCount() const { return task_count_->load(); }

private:
    // tasks of this crew and of those left behind
    const std::shared_ptr<std::atomic<int>> task_count_ = std::make_shared<std::atomic<int>>(0);

    std::mutex mutex_;
    std::shared_ptr<Crew> crew_;  // guarded by mutex_; null while the pool does not run
};

CMessageLoopDyThreadPool::CMessageLoopDyThreadPool() : impl_(std::make_shared<Impl>()) {}

CMessageLoopDyThreadPool::~CMessageLoopDyThreadPool() { Stop(false); }

bool CMessageLoopDyThreadPool::Start(int min_threads, int max_threads, int idle_seconds) {
    return impl_->Start(min_threads, max_threads, idle_seconds);
}

void CMessageLoopDyThreadPool::Stop(bool wait) {
    const std::shared_ptr<Crew> crew = impl_->TakeCrew();
    if (crew == nullptr) return;
    if (wait) {
        crew->Drain();
    } else {
        crew->Abandon();
    }
}

int CMessageLoopDyThreadPool::GetWorkTaskCount() const { return impl_->TaskCount(); }

void CMessageLoopDyThreadPool::PostTask(std::shared_ptr<CTask> task) {
    if (task == nullptr) return;
    if (const std::shared_ptr<Crew> crew = impl_->GetCrew()) crew->Post(std::move(task));
}

static std::vector<std::string> DescribeAllRunning() {
    std::vector<std::shared_ptr<CTask>> tasks;
    for (const auto& entry : AllCrews::Get().All()) {
        if (const std::shared_ptr<Crew> crew = entry.lock()) crew->AddRunning(tasks);
    }
    std::vector<std::string> texts;
    for (const std::shared_ptr<CTask>& task : tasks) {
        if (std::string text = Describe(*task); !text.empty()) texts.push_back(std::move(text));
    }
    return texts;
}

static void EndAllCrews() {
    for (const auto& entry : AllCrews::Get().End()) {
        if (const std::shared_ptr<Crew> crew = entry.lock()) crew->Abandon();
    }
    AllWorkers::Get().WaitForEnd();
}

}  // namespace Base
}  // namespace Mox

namespace qarplatform {

void JoinThreadPools() { Mox::Base::EndAllCrews(); }

std::vector<std::string> RunningTasks() { return Mox::Base::DescribeAllRunning(); }

}  // namespace qarplatform
