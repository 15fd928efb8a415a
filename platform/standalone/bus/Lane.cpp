#include "standalone/bus/Lane.h"

#include <cstddef>
#include <exception>
#include <utility>

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

constexpr std::size_t kBacklogToTell = 10000;

}  // namespace

class Lane::Work : public Mox::Base::CTask {
public:
    explicit Work(std::shared_ptr<Lane> lane) : lane_(std::move(lane)) {}
    void Exec() override { lane_->Run(); }

private:
    const std::shared_ptr<Lane> lane_;
};

Lane::Lane(std::string subscriber, Mox::Base::CMessageLoopDyThreadPool& pool)
    : subscriber_(std::move(subscriber)), pool_(pool) {}

void Lane::Post(Delivery&& delivery) {
    std::size_t waiting = 0;
    bool idle = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        waiting_.push_back(std::move(delivery));
        waiting = waiting_.size();
        idle = !std::exchange(running_, true);
    }
    if (idle) pool_.PostTask(std::make_shared<Work>(shared_from_this()));
    if (waiting == kBacklogToTell) {
        LogSinkWrite(kLogWarning, kModulePlatform, "%zu messages wait for subscriber %s, which does not keep up",
                     waiting, subscriber_.c_str());
    }
}

void Lane::Run() {
    while (true) {
        std::deque<Delivery> deliveries;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            running_ = !waiting_.empty();
            if (!running_) return;
            deliveries.swap(waiting_);
        }
        for (; !deliveries.empty(); deliveries.pop_front()) Deliver(deliveries.front());
    }
}

void Lane::Deliver(const Delivery& delivery) const {
    try {
        delivery.receiver->function(*delivery.observer, delivery.type, delivery.content);
    } catch (const std::exception& error) {
        LogSinkWrite(kLogError, kModulePlatform, "subscriber %s threw at a message of type %d from %s: %s",
                     subscriber_.c_str(), delivery.type, delivery.observer->c_str(), error.what());
    } catch (...) {
        LogSinkWrite(kLogError, kModulePlatform,
                     "subscriber %s threw something that is no std::exception at a message of type %d from %s",
                     subscriber_.c_str(), delivery.type, delivery.observer->c_str());
    }
}

}  // namespace qarplatform
