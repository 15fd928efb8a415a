#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Mox/Base/ThreadPool.h"
#include "standalone/base/DescribedTask.h"
#include "standalone/bus/Receiver.h"
#include "standalone/bus/StopDeadline.h"

namespace qarplatform {

/// The messages of one subscriber, delivered one after another in the order of posting. A lane with messages has a
/// worker of the pool to itself, so a subscriber that blocks holds up no other. The worker of an emptied lane waits in
/// it for a moment before it goes back to the pool: under steady traffic a message wakes it without the pool's locks.
class Lane final : public DescribedTask, public std::enable_shared_from_this<Lane> {
public:
    /// Waiting messages beyond which further ones may be dropped.
    static constexpr std::size_t kMostWaiting = 100000;

    /// @param name      of the subscriber, for the log
    /// @param pool      runs the lanes, without a bound on its threads; outlives the lane
    /// @param deadline  once it is over, messages that wait are dropped, with a line in the log; outlives the lane
    Lane(std::string name, Mox::Base::CMessageLoopDyThreadPool& pool, const StopDeadline& deadline);

    // Neither waits for a receiver.

    /// The message is kept, however many wait.
    void Post(Delivery&& delivery);
    /// The message is dropped when kMostWaiting wait. The log tells when that begins and, once nothing waits any more,
    /// how many were dropped.
    void PostOrDrop(Delivery&& delivery);

    /// The subscriber and how many messages wait, while one is being delivered.
    std::string Description() const override;

private:
    void Exec() override;

    void Queue(Delivery&& delivery, std::size_t most_waiting);
    /// @param deliveries  empty; gets what waits
    /// @return false when nothing came for a while; the worker has no more to do then
    bool Take(std::vector<Delivery>& deliveries);
    void WaitForMore(std::unique_lock<std::mutex>& lock);
    void Deliver(const Delivery& delivery) const;

    const std::string name_;
    Mox::Base::CMessageLoopDyThreadPool& pool_;
    const StopDeadline& deadline_;

    /// Deliveries that the worker has taken out of queue_ but not begun.
    std::atomic<std::size_t> taken_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable came_;
    // guarded by mutex_
    std::vector<Delivery> queue_;
    std::size_t dropped_ = 0;  // since nothing waited last
    bool running_ = false;     // a worker has the lane or will get it
    bool worker_waits_ = false;
};

}  // namespace qarplatform
