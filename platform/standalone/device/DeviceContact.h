#pragma once

#include <memory>
#include <set>
#include <string>

#include "standalone/device/LiveDevice.h"
#include "standalone/device/Probe.h"

namespace qarplatform {

/// Turns the results of a device's probes into its state, its clock, events and log lines. All on one thread.
class DeviceContact {
public:
    /// @param failures  failed probes in a row after which the device counts as away
    DeviceContact(std::shared_ptr<LiveDevice> device, int failures);

    void OnResult(const ProbeResult& result);

private:
    void OnAnswer(const ProbeResult& result);
    void OnFailure(const std::string& reason);
    void LearnClock(const ProbeResult& result);
    void DoubtDate(const std::string& date, const char* why);

    const std::shared_ptr<LiveDevice> device_;
    const int failures_;
    int failed_ = 0;          // probes in a row
    bool contacted_ = false;  // since the start
    // logged in this absence; a device may fail in turns, and each kind of failure is one line
    std::set<std::string> away_reasons_;
    bool date_doubted_ = false;  // logged, and no good date since
    bool clock_jumps_ = false;   // the last date was a jump; a clock that stands still jumps at each answer
};

}  // namespace qarplatform
