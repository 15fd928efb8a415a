#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "demo_cameras/camera_fleet.h"
#include "demo_cameras/outage_schedule.h"

namespace demo {

/// An outage as it really was.
struct PastOutage {
    int camera = 0;
    std::int64_t begin_ms = 0;  // first moment, on the site's scaled clock, at which nobody could reach the camera
    std::optional<std::int64_t> end_ms;  // last such moment; nothing while it lasts
};

/// Lets the cameras of a fleet go away and come back as a schedule says, on a thread of its own. Where the machine is
/// late, an end waits for the next moment at which it may be, and an outage that would begin at a moment where it may
/// not is left out.
class OutageRunner {
public:
    /// @param fleet  must outlive the runner; all its cameras are there at first
    OutageRunner(CameraFleet& fleet, const CheckTicks& checks, std::vector<Outage> outages);
    OutageRunner(const OutageRunner&) = delete;
    OutageRunner& operator=(const OutageRunner&) = delete;
    /// Stops; cameras that are away stay away.
    ~OutageRunner();

    /// No new outage begins from now on; those that last end as scheduled.
    void BeginNoMore();

    /// All outages so far, in the order of their begin.
    std::vector<PastOutage> Past() const;

    /// Whether no outage lasts and none is to come.
    bool Done() const;

private:
    struct Step {
        int camera;
        std::int64_t end_ms;  // of the outage that begins; 0 where the step is an end
    };

    void Run();
    void Take(const Step& step, std::unique_lock<std::mutex>& lock);

    CameraFleet& fleet_;
    const CheckTicks checks_;
    const std::vector<ScheduledCamera> cameras_;

    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::multimap<std::int64_t, Step> steps_;  // by scaled moment; guarded by lock_, as all below
    std::vector<PastOutage> past_;
    bool begin_no_more_ = false;
    bool stop_ = false;

    std::thread thread_;
};

}  // namespace demo
