#include "mock/DeliveryQueue.h"

#include <utility>

#include "mock/Caught.h"

namespace qarmock {

void DeliveryQueue::Add(Calls calls) {
    std::lock_guard<std::mutex> lock(mutex_);
    waiting_.push_back(std::move(calls));
}

bool DeliveryQueue::DeliverOne() {
    Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (waiting_.empty()) return false;
        calls = std::move(waiting_.front());
        waiting_.pop_front();
    }
    Run(calls);
    return true;
}

std::size_t DeliveryQueue::DeliverAll() {
    std::size_t count = 0;
    while (DeliverOne()) ++count;
    return count;
}

std::size_t DeliveryQueue::Run(const Calls& calls) {
    for (const Call& call : calls) {
        if (const auto error = CatchText(call)) {
            std::lock_guard<std::mutex> lock(mutex_);
            caught_.push_back(*error);
        }
    }
    return calls.size();
}

std::vector<std::string> DeliveryQueue::CaughtExceptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return caught_;
}

}  // namespace qarmock
