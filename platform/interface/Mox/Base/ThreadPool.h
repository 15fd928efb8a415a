#pragma once

#include <memory>

namespace Mox {
namespace Base {

/// One piece of work for a thread pool.
class CTask {
public:
    virtual ~CTask() {}

    /// Does the work, on a worker of the pool. May throw: the pool catches and logs it, and the worker goes on.
    virtual void Exec() = 0;
};

/// A pool of worker threads that grows and shrinks by itself. Made by value or derived from; its state is hidden.
/// Threads: all operations from any thread, also from a worker of the pool itself.
class CMessageLoopDyThreadPool {
public:
    CMessageLoopDyThreadPool();
    virtual ~CMessageLoopDyThreadPool();
    CMessageLoopDyThreadPool(const CMessageLoopDyThreadPool&) = delete;
    CMessageLoopDyThreadPool& operator=(const CMessageLoopDyThreadPool&) = delete;

    /// Starts the pool. A pool that runs is left as it is.
    /// @param min_threads    workers that are kept, at least 1
    /// @param max_threads    most workers at a time, not below min_threads
    /// @param idle_seconds   real seconds after which a worker above min_threads ends for want of work
    /// @return true when the pool runs, also when it ran before; false when no thread could be made
    bool Start(int min_threads, int max_threads, int idle_seconds);

    /// Ends the pool; a later Start begins afresh. Harmless on a pool that does not run.
    /// @param wait  true: runs what is queued and waits for it (must not be called from a worker then);
    ///              false: drops what is queued and waits for nobody; tasks in Exec finish on their own
    void Stop(bool wait);

    /// @return how many tasks are in the pool now, queued and running
    int GetWorkTaskCount() const;

    /// Queues a task; any free worker runs its Exec, then the pool lets go of it. Never blocks on a worker.
    /// On a pool that does not run the task is dropped.
    void PostTask(std::shared_ptr<CTask> task);

private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace Base
}  // namespace Mox
