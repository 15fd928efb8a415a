#include "standalone/bus/BusThreads.h"

#include <limits>

namespace qarplatform {

namespace {

constexpr int kIdleSeconds = 10;

}  // namespace

BusThreads& BusThreads::Get() {
    static BusThreads& threads = *new BusThreads;
    return threads;
}

std::shared_ptr<Lane> BusThreads::LaneOf(ZELPlatform::SubscriberType kind, const std::string& subscriber) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::weak_ptr<Lane>& known = lanes_[{kind, subscriber}];
    std::shared_ptr<Lane> lane = known.lock();
    if (lane == nullptr) {
        // a client is named by its session's id, which must not reach the log
        lane = NewLane(kind == ZELPlatform::kSubscriberClient ? "client " + std::to_string(++clients_)
                                                              : "subscriber " + subscriber);
        known = lane;
        if (lanes_.size() >= lanes_to_clean_) {
            std::erase_if(lanes_, [](const auto& entry) { return entry.second.expired(); });
            lanes_to_clean_ = 64 + 2 * lanes_.size();
        }
    }
    return lane;
}

std::shared_ptr<Lane> BusThreads::NewLane(std::string name) {
    return std::make_shared<Lane>(std::move(name), pool_, deadline_);
}

void BusThreads::Stop(std::chrono::milliseconds time) {
    deadline_.Set(StopDeadline::Clock::now() + time);
    stopped_ = true;
    for (int sending = sending_; sending != 0; sending = sending_) sending_.wait(sending);
    pool_.Stop(true);
}

bool BusThreads::StartPool() {
    if (!pool_runs_) pool_runs_ = pool_.Start(1, std::numeric_limits<int>::max(), kIdleSeconds);
    return pool_runs_;
}

BusThreads::Sending::Sending(BusThreads& threads) : threads_(threads) {
    ++threads_.sending_;  // before stopped_ is read, as Stop writes it before it looks who is sending
    if (threads_.stopped_) {
        error_ = kBusErrorStopped;
    } else if (!threads_.StartPool()) {
        error_ = kBusErrorNoThread;
    }
}

BusThreads::Sending::~Sending() {
    if (--threads_.sending_ == 0 && threads_.stopped_) threads_.sending_.notify_all();
}

}  // namespace qarplatform
