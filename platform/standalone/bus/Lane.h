#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "Mox/Base/ThreadPool.h"
#include "standalone/bus/Receiver.h"

namespace qarplatform {

/// A message on its way to one receiver.
struct Delivery {
    std::shared_ptr<const Receiver> receiver;
    std::shared_ptr<const std::string> observer;
    int type = 0;
    std::shared_ptr<ZELPlatform::CBaseContent> content;
};

/// The messages of one subscriber, delivered one after another in the order of posting. A lane with messages has a
/// worker of the pool to itself, so a subscriber that blocks holds up no other.
class Lane : public std::enable_shared_from_this<Lane> {
public:
    /// @param pool  runs the lanes, without a bound on its threads; outlives the lane
    Lane(std::string subscriber, Mox::Base::CMessageLoopDyThreadPool& pool);

    /// Never waits for a receiver.
    void Post(Delivery&& delivery);

private:
    class Work;

    void Run();
    void Deliver(const Delivery& delivery) const;

    const std::string subscriber_;
    Mox::Base::CMessageLoopDyThreadPool& pool_;

    std::mutex mutex_;
    // guarded by mutex_
    std::deque<Delivery> waiting_;
    bool running_ = false;  // a worker has the lane or will get it
};

}  // namespace qarplatform
