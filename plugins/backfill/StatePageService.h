#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "StatePageSource.h"
#include "qar/HttpRecords.h"

namespace backfill {

/// Answers the page's requests, also those that are still on their way when the plug-in stops. However many requests
/// come at once, one at a time reads the database; the others wait for it, and share the failure when one cannot be
/// read. Threads: any; all but Close block on the database.
class StatePageService {
public:
    using Clock = std::function<RangeQueue::Time()>;

    /// How long the numbers of points are remembered, as each costs a scan; a range that is hastened drops them.
    static constexpr std::chrono::seconds kRemembered{2};

    /// @param source  used until Close has returned
    /// @param clock   the time of the queue
    explicit StatePageService(StateSource& source, Clock clock = std::chrono::steady_clock::now);

    /// @return the answer to GET /ID/cameras and what follows it
    std::string Cameras(const qar::SHttpRequest& request);
    /// @return the answer to POST /ID/fetch
    std::string Fetch(const qar::SHttpRequest& request);

    /// Waits for the request that reads the database; those that wait for it, and all that come, are refused.
    void Close();

private:
    using PointCounts = std::map<CameraKey, long long>;

    template <typename Answer>
    std::string Serve(const Answer& answer);
    template <typename Read>
    void ReadDatabase(const Read& read);

    std::string AllCameras();
    std::string OneCamera(const CameraKey& key);
    std::shared_ptr<const PointCounts> Counts();
    std::shared_ptr<const PointCounts> Remembered();
    void Remember(const std::shared_ptr<const PointCounts>& counts, uint64_t changes);
    void Forget();
    uint64_t Changes();

    StateSource& source_;
    const Clock clock_;

    std::shared_mutex serving_;  // shared while a request is served
    std::atomic<bool> closed_ = false;

    std::mutex database_;  // held while the database is read
    std::atomic<uint64_t> failures_ = 0;

    std::mutex mutex_;  // innermost
    // guarded by mutex_
    std::shared_ptr<const PointCounts> counts_;
    RangeQueue::Time counted_;
    uint64_t changes_ = 0;
};

}  // namespace backfill
