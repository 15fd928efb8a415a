#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace bench {

/// Counts deliveries to many subscribers down, without a lock but for the last.
class Countdown {
public:
    void Expect(int deliveries) { left_ = deliveries; }
    void Handled() {
        if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1) left_.notify_one();
    }
    void WaitForAll() {
        for (int left = left_; left != 0; left = left_) left_.wait(left);
    }

private:
    std::atomic<int> left_ = 0;
};

/// Posts messages with `post(number)` to subscribers that all count down, no more at once than would be told in the
/// log.
template <class Post>
void PostAll(int messages, int subscribers, Countdown& countdown, const Post& post) {
    constexpr int kMostAtOnce = 1000;
    for (int i = 0; i < messages; ++i) {
        if (i % kMostAtOnce == 0) {
            countdown.WaitForAll();
            countdown.Expect(std::min(kMostAtOnce, messages - i) * subscribers);
        }
        post(i);
    }
    countdown.WaitForAll();
}

/// The least that hands items to another thread in order: a queue, and a thread that takes all that is in it at once
/// and is woken only when it was empty.
template <class Item>
class RawSubscriber {
public:
    explicit RawSubscriber(std::function<void(const Item&)> function)
        : function_(std::move(function)), thread_([this] { Run(); }) {}
    ~RawSubscriber() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ended_ = true;
        }
        came_.notify_one();
        thread_.join();
    }

    void Post(Item item) {
        bool was_empty = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            was_empty = items_.empty();
            items_.push_back(std::move(item));
        }
        if (was_empty) came_.notify_one();
    }

private:
    void Run() {
        std::vector<Item> items;
        std::unique_lock<std::mutex> lock(mutex_);
        while (true) {
            came_.wait(lock, [this] { return ended_ || !items_.empty(); });
            if (items_.empty()) return;
            items.swap(items_);
            lock.unlock();
            for (const Item& item : items) function_(item);
            items.clear();
            lock.lock();
        }
    }

    const std::function<void(const Item&)> function_;
    std::mutex mutex_;
    std::condition_variable came_;
    std::vector<Item> items_;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace bench
