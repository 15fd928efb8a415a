#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Mox/Base/ThreadPool.h"
#include "ZELPlatform/BusTypes.h"
#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusErrors.h"
#include "standalone/bus/Lane.h"
#include "standalone/bus/StopDeadline.h"

namespace qarplatform {

inline bool IsKnownKind(ZELPlatform::SubscriberType kind) {
    return kind == ZELPlatform::kSubscriberClient || kind == ZELPlatform::kSubscriberPlugin;
}

/// What the halves of the bus share: the threads, a lane for each subscriber, and the end of sending. A subscriber has
/// one lane for observer, event and notify messages, so their order holds for it. Threads: any.
class BusThreads {
public:
    class Sending;

    BusThreads() = default;
    BusThreads(const BusThreads&) = delete;
    BusThreads& operator=(const BusThreads&) = delete;

    /// The threads of the process's bus, never destroyed.
    static BusThreads& Get();

    /// @return the lane of a subscriber; the same one for as long as somebody holds it or messages wait in it
    std::shared_ptr<Lane> LaneOf(ZELPlatform::SubscriberType kind, const std::string& subscriber);
    /// @return a lane for itself. @param name  whose, for the log
    std::shared_ptr<Lane> NewLane(std::string name);

    /// Delivers what is queued, as far as the time goes, then ends the threads; later messages are refused. Not from a
    /// callback.
    /// @param time  after which what is still queued is dropped
    void Stop(std::chrono::milliseconds time = kBusStopTime);

private:
    bool StartPool();

    /// A pool of unbounded size: it ends the threads that a burst of busy subscribers has made.
    Mox::Base::CMessageLoopDyThreadPool pool_;
    std::atomic<bool> pool_runs_ = false;
    StopDeadline deadline_;

    std::atomic<int> sending_ = 0;
    std::atomic<bool> stopped_ = false;

    std::mutex mutex_;
    // guarded by mutex_
    std::map<std::pair<ZELPlatform::SubscriberType, std::string>, std::weak_ptr<Lane>> lanes_;
    std::size_t lanes_to_clean_ = 64;  // as many as there are when those that nobody holds are taken out
    unsigned long clients_ = 0;        // that were given a lane
};

/// Keeps Stop waiting while messages are handed to the lanes.
class BusThreads::Sending {
public:
    explicit Sending(BusThreads& threads);
    ~Sending();
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;

    /// @return why nothing may be sent; nothing when it may
    std::optional<BusErrorCode> Error() const { return error_; }

private:
    BusThreads& threads_;
    std::optional<BusErrorCode> error_;
};

}  // namespace qarplatform
