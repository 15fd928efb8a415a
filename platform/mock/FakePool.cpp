#include "mock/FakePool.h"

#include <exception>
#include <limits>
#include <utility>

#include "mock/Caught.h"
#include "mock/Platform.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<std::weak_ptr<FakePool>> pools;
};

Registry& GetRegistry() {
    static Registry& registry = *new Registry;
    return registry;
}

}  // namespace

bool FakePool::RunOne() {
    std::shared_ptr<Mox::Base::CTask> task;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (tasks_.empty()) return false;
        task = std::move(tasks_.front());
        tasks_.pop_front();
        ++executing_;
    }
    const std::optional<std::string> error = CatchText([&task] { task->Exec(); });
    task.reset();
    std::lock_guard<std::mutex> lock(mutex_);
    --executing_;
    if (error) caught_.push_back(*error);
    return true;
}

std::size_t FakePool::RunAll() {
    std::size_t count = 0;
    while (RunOne()) ++count;
    return count;
}

bool FakePool::Running() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return running_;
}

std::size_t FakePool::Queued() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return tasks_.size();
}

void FakePool::SetWorkTaskCount(std::optional<int> count) {
    std::lock_guard<std::mutex> lock(mutex_);
    count_ = count;
}

void FakePool::SetStartFails(bool fails) {
    std::lock_guard<std::mutex> lock(mutex_);
    start_fails_ = fails;
}

std::vector<FakePool::StartCall> FakePool::Starts() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return starts_;
}

std::vector<bool> FakePool::Stops() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return stops_;
}

std::size_t FakePool::Posted() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return posted_;
}

std::vector<std::string> FakePool::CaughtExceptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return caught_;
}

bool FakePool::Start(int min_threads, int max_threads, int idle_seconds) {
    const bool fails = CallFails("CMessageLoopDyThreadPool::Start");
    std::lock_guard<std::mutex> lock(mutex_);
    starts_.push_back({min_threads, max_threads, idle_seconds});
    if (fails) return false;
    if (running_) return true;
    running_ = !start_fails_;
    return running_;
}

void FakePool::Stop(bool wait) {
    if (CallFails("CMessageLoopDyThreadPool::Stop")) return;
    std::deque<std::shared_ptr<Mox::Base::CTask>> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stops_.push_back(wait);
        running_ = false;
        if (!wait) dropped.swap(tasks_);
    }
    if (wait) RunAll();
}

int FakePool::WorkTaskCount() const {
    if (CallFails("CMessageLoopDyThreadPool::GetWorkTaskCount")) return std::numeric_limits<int>::max();
    std::lock_guard<std::mutex> lock(mutex_);
    return count_ ? *count_ : static_cast<int>(tasks_.size()) + executing_;
}

void FakePool::Post(std::shared_ptr<Mox::Base::CTask> task) {
    const bool fails = CallFails("CMessageLoopDyThreadPool::PostTask");
    std::lock_guard<std::mutex> lock(mutex_);
    ++posted_;
    if (running_ && !fails) tasks_.push_back(std::move(task));
}

FakePools::~FakePools() {
    for (const auto& pool : All()) {
        pool->Stop(false);
        pool->SetWorkTaskCount(std::nullopt);
        pool->SetStartFails(false);
    }
}

std::vector<std::shared_ptr<FakePool>> FakePools::All() const {
    Registry& registry = GetRegistry();
    std::vector<std::shared_ptr<FakePool>> pools;
    std::lock_guard<std::mutex> lock(registry.mutex);
    for (const auto& weak : registry.pools) {
        if (auto pool = weak.lock()) pools.push_back(std::move(pool));
    }
    return pools;
}

std::size_t FakePools::RunAll() {
    std::size_t count = 0;
    bool any = true;
    while (any) {
        any = false;
        for (const auto& pool : All()) {
            const std::size_t ran = pool->RunAll();
            count += ran;
            any = any || ran > 0;
        }
    }
    return count;
}

std::size_t FakePools::Queued() const {
    std::size_t count = 0;
    for (const auto& pool : All()) count += pool->Queued();
    return count;
}

void FakePools::SetWorkTaskCount(std::optional<int> count) {
    count_ = count;
    for (const auto& pool : All()) Prepare(*pool);
}

void FakePools::SetStartFails(bool fails) {
    start_fails_ = fails;
    for (const auto& pool : All()) Prepare(*pool);
}

void FakePools::Add(const std::shared_ptr<FakePool>& pool) {
    Registry& registry = GetRegistry();
    {
        std::lock_guard<std::mutex> lock(registry.mutex);
        std::erase_if(registry.pools, [](const std::weak_ptr<FakePool>& weak) { return weak.expired(); });
        registry.pools.push_back(pool);
    }
    if (Platform* platform = Platform::Installed()) platform->pools.Prepare(*pool);
}

void FakePools::Prepare(FakePool& pool) const {
    pool.SetWorkTaskCount(count_);
    pool.SetStartFails(start_fails_);
}

std::vector<std::shared_ptr<FakePool>> Pools() { return Platform::Current().pools.All(); }

}  // namespace qarmock

namespace Mox {
namespace Base {

class CMessageLoopDyThreadPool::Impl : public qarmock::FakePool {};

CMessageLoopDyThreadPool::CMessageLoopDyThreadPool() : impl_(std::make_shared<Impl>()) {
    qarmock::FakePools::Add(impl_);
}

CMessageLoopDyThreadPool::~CMessageLoopDyThreadPool() = default;

bool CMessageLoopDyThreadPool::Start(int min_threads, int max_threads, int idle_seconds) {
    return impl_->Start(min_threads, max_threads, idle_seconds);
}

void CMessageLoopDyThreadPool::Stop(bool wait) { impl_->Stop(wait); }

int CMessageLoopDyThreadPool::GetWorkTaskCount() const { return impl_->WorkTaskCount(); }

void CMessageLoopDyThreadPool::PostTask(std::shared_ptr<CTask> task) { impl_->Post(std::move(task)); }

}  // namespace Base
}  // namespace Mox
