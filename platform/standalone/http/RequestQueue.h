#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

#include "Mox/Base/ThreadPool.h"
#include "standalone/base/DescribedTask.h"

namespace qarplatform {

/// Requests on their way to the workers. Most take some microseconds, and to wake a worker for each would cost more
/// than all else: one worker runs them in the order of posting, as long as it keeps up. Those that have waited
/// kPatience, as others before them take long, get workers of their own. Threads: all operations from any thread.
class RequestQueue {
public:
    static constexpr std::chrono::milliseconds kPatience{1};

    RequestQueue() = default;
    ~RequestQueue();
    RequestQueue(const RequestQueue&) = delete;
    RequestQueue& operator=(const RequestQueue&) = delete;

    /// @param most_workers  requests beyond that number wait until one ends
    /// @param idle_seconds  real seconds after which a worker ends for want of requests
    /// @return false when no worker could be made
    bool Start(int most_workers, int idle_seconds);

    /// Drops what is queued and waits for nobody; requests that run finish on their own.
    void Stop();

    /// Never waits for a request. On a queue that does not run the request is dropped.
    void Post(std::shared_ptr<DescribedTask> request);

    /// @return how many threads it needs now: for requests, and one that watches for some time behind the last of them
    int AtWork() const;

private:
    class Line;

    mutable std::mutex mutex_;
    std::shared_ptr<Line> line_;  // guarded by mutex_; null while the queue does not run
};

}  // namespace qarplatform
