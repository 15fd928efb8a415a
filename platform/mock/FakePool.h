#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Mox/Base/ThreadPool.h"

namespace qarmock {

/// One thread pool of the process, without threads: tasks wait until the test runs them on its own thread.
/// Threads: any; RunOne may be called from several threads at a time.
class FakePool {
public:
    struct StartCall {
        int min_threads;
        int max_threads;
        int idle_seconds;
    };

    /// Runs the task that has waited longest; what it throws is caught and kept. @return false when none waits
    bool RunOne();
    /// Runs tasks until none waits, also those that are posted meanwhile. @return how many ran
    std::size_t RunAll();

    bool Running() const;
    /// @return tasks that wait
    std::size_t Queued() const;
    /// Fixes what GetWorkTaskCount gives; without a value it is the true count again.
    void SetWorkTaskCount(std::optional<int> count);
    /// Lets Start fail until told otherwise.
    void SetStartFails(bool fails);

    /// @return the calls of Start, also those that failed or found the pool running
    std::vector<StartCall> Starts() const;
    /// @return the argument of each call of Stop
    std::vector<bool> Stops() const;
    /// @return how many tasks were posted, also those that were dropped
    std::size_t Posted() const;
    /// @return the texts of the exceptions that left a task's Exec
    std::vector<std::string> CaughtExceptions() const;

    // What the pool's own operations come to.
    bool Start(int min_threads, int max_threads, int idle_seconds);
    void Stop(bool wait);
    int WorkTaskCount() const;
    void Post(std::shared_ptr<Mox::Base::CTask> task);

private:
    mutable std::mutex mutex_;
    std::deque<std::shared_ptr<Mox::Base::CTask>> tasks_;
    bool running_ = false;
    bool start_fails_ = false;
    int executing_ = 0;
    std::optional<int> count_;
    std::vector<StartCall> starts_;
    std::vector<bool> stops_;
    std::size_t posted_ = 0;
    std::vector<std::string> caught_;
};

/// All pools of the process.
class FakePools {
public:
    FakePools() = default;
    /// Ends all pools; what waits in them is dropped.
    ~FakePools();
    FakePools(const FakePools&) = delete;
    FakePools& operator=(const FakePools&) = delete;

    /// @return the pools that exist now, in the order in which they were made
    std::vector<std::shared_ptr<FakePool>> All() const;

    /// Runs the tasks of all pools until none waits. @return how many ran
    std::size_t RunAll();
    /// @return tasks that wait, in all pools
    std::size_t Queued() const;
    /// For all pools, also those that are made later.
    void SetWorkTaskCount(std::optional<int> count);
    /// For all pools, also those that are made later.
    void SetStartFails(bool fails);

    /// For the pool's constructor.
    static void Add(const std::shared_ptr<FakePool>& pool);

private:
    void Prepare(FakePool& pool) const;

    bool start_fails_ = false;
    std::optional<int> count_;
};

/// Short for Platform::Current().pools.All().
std::vector<std::shared_ptr<FakePool>> Pools();

}  // namespace qarmock
