#include "standalone/bus/Lane.h"

#include <chrono>
#include <exception>
#include <limits>
#include <utility>

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

constexpr std::size_t kBacklogToTell = 10000;
constexpr std::size_t kKeptRoom = 1024;  // deliveries for which an idle lane keeps memory
constexpr std::chrono::milliseconds kWaitForMore(20);
constexpr int kMostWaitingWorkers = 128;  // in their lanes; further ones go back to the pool at once

std::atomic<int> waiting_workers = 0;

/// For the log. Never throws: the lane goes on where the memory is at an end.
std::string TextOf(const Message& message) {
    try {
        return message.Text();
    } catch (...) {
        return "a message";  // short enough to need no memory
    }
}

}  // namespace

Lane::Lane(std::string name, Mox::Base::CMessageLoopDyThreadPool& pool, const StopDeadline& deadline)
    : name_(std::move(name)), pool_(pool), deadline_(deadline) {}

void Lane::Post(Delivery&& delivery) { Queue(std::move(delivery), std::numeric_limits<std::size_t>::max()); }

void Lane::PostOrDrop(Delivery&& delivery) { Queue(std::move(delivery), kMostWaiting); }

void Lane::Queue(Delivery&& delivery, std::size_t most_waiting) {
    std::size_t waiting = 0;
    bool idle = false;
    bool wake = false;
    bool first_dropped = false;
    std::shared_ptr<Lane> self;  // once the lock is gone, the delivery may be done, and with it the lane
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const std::size_t before = queue_.size() + taken_.load(std::memory_order_relaxed);
        if (before < most_waiting) {
            queue_.push_back(std::move(delivery));
            waiting = before + 1;
            idle = !std::exchange(running_, true);
            wake = std::exchange(worker_waits_, false);
        } else {
            first_dropped = dropped_++ == 0;
        }
        if (idle || wake || first_dropped || waiting == kBacklogToTell) self = shared_from_this();
    }
    if (wake) came_.notify_one();
    if (first_dropped) {
        LogSinkWrite(kLogWarning, kModulePlatform, "%s does not keep up: %zu messages wait, further ones are dropped",
                     name_.c_str(), most_waiting);
    }
    if (waiting == kBacklogToTell) {
        LogSinkWrite(kLogWarning, kModulePlatform, "%zu messages wait for %s, which does not keep up", waiting,
                     name_.c_str());
    }
    if (idle) pool_.PostTask(std::move(self));
}

std::string Lane::Description() const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!running_ || worker_waits_) return {};
    const std::size_t waiting = queue_.size() + taken_.load(std::memory_order_relaxed);
    return waiting == 0 ? name_ : name_ + " (" + std::to_string(waiting) + " messages wait)";
}

void Lane::Exec() {
    std::vector<Delivery> deliveries;
    std::size_t too_late = 0;
    while (Take(deliveries)) {
        for (Delivery& next : deliveries) {
            taken_.store(taken_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
            const Delivery delivery = std::move(next);  // let go of before the next one
            if (deadline_.Over()) {
                ++too_late;
            } else {
                Deliver(delivery);
            }
        }
        deliveries.clear();
        if (deliveries.capacity() > kKeptRoom) deliveries = {};
    }
    if (too_late > 0) {
        LogSinkWrite(kLogWarning, kModulePlatform, "the bus stops: %zu messages for %s are dropped", too_late,
                     name_.c_str());
    }
}

bool Lane::Take(std::vector<Delivery>& deliveries) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (queue_.empty() && dropped_ > 0) {
        const std::size_t dropped = std::exchange(dropped_, 0);
        lock.unlock();
        LogSinkWrite(kLogWarning, kModulePlatform, "%s has caught up; dropped messages: %zu", name_.c_str(), dropped);
        lock.lock();
    }
    if (queue_.empty()) WaitForMore(lock);
    running_ = !queue_.empty();
    if (running_ || queue_.capacity() < deliveries.capacity() || queue_.capacity() > kKeptRoom) {
        deliveries.swap(queue_);
    }
    taken_.store(deliveries.size(), std::memory_order_relaxed);
    return running_;
}

void Lane::WaitForMore(std::unique_lock<std::mutex>& lock) {
    if (waiting_workers.fetch_add(1) < kMostWaitingWorkers) {
        worker_waits_ = true;
        came_.wait_for(lock, kWaitForMore, [this] { return !queue_.empty(); });
        worker_waits_ = false;
    }
    waiting_workers.fetch_sub(1);
}

void Lane::Deliver(const Delivery& delivery) const {
    try {
        delivery.Deliver();
    } catch (const std::exception& error) {
        LogSinkWrite(kLogError, kModulePlatform, "%s threw at %s: %s", name_.c_str(),
                     TextOf(delivery.GetMessage()).c_str(), error.what());
    } catch (...) {
        LogSinkWrite(kLogError, kModulePlatform, "%s threw something that is no std::exception at %s", name_.c_str(),
                     TextOf(delivery.GetMessage()).c_str());
    }
}

}  // namespace qarplatform
