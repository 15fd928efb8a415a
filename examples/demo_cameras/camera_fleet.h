#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "demo_cameras/io_thread.h"
#include "demo_cameras/outage_schedule.h"
#include "demo_cameras/scaled_clock.h"
#include "demo_cameras/simulated_camera.h"
#include "demo_cameras/zone_rule.h"

namespace demo {

/// A number of simulated cameras with ids 101, 102, …, each a device (1, 2, …) of its own, in turns of the
/// demonstration's zones and with clocks that are some seconds off. Threads: any.
class CameraFleet {
public:
    /// Reserves all ports; all cameras are away at first.
    CameraFleet(const ScaledClock& clock, int cameras, std::uint32_t seed);

    const ScaledClock& Clock() const { return clock_; }
    std::size_t Size() const { return cameras_.size(); }
    SimulatedCamera& At(std::size_t index) { return *cameras_.at(index); }
    const SimulatedCamera& At(std::size_t index) const { return *cameras_.at(index); }
    const ZoneRule& ZoneOf(std::size_t index) const { return zones_.at(index % zones_.size()); }
    const std::vector<ZoneRule>& Zones() const { return zones_; }

    /// Where a camera stands in the fleet.
    /// @throws std::out_of_range  for an id that no camera has
    std::size_t IndexOf(int camera) const;

    /// What an outage schedule must know of the cameras.
    std::vector<ScheduledCamera> Scheduled() const;

    void AllComeBack();
    void AllGoAway();

    IoThread& Io() { return io_; }

private:
    const ScaledClock clock_;
    const std::vector<ZoneRule> zones_;
    IoThread io_;  // before the cameras, which run on it
    std::vector<std::unique_ptr<SimulatedCamera>> cameras_;
};

}  // namespace demo
