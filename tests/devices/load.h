#pragma once

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "devices/many_devices.h"

namespace qartest {

/// A site of many devices, measured so that those that hang want twice the places that they may have, whatever the
/// number of devices: a run with ten times the devices takes ten times as long.
struct Load {
    /// So many devices as the environment variable QAR_DEVICES says, 1000 where it says nothing.
    Load() {
        const char* wanted = std::getenv("QAR_DEVICES");
        devices = std::clamp(wanted == nullptr ? 1000 : std::atoi(wanted), 200, 20000) / 20 * 20;
    }

    /// Scaled seconds in a real one: an hour lasts 3 s with 1000 devices.
    int Scale() const { return 1200000 / devices; }
    static constexpr int kPeriodS = 3600;  // scaled
    int TimeoutMs() const { return devices; }
    int Connections() const { return devices / 25; }

    std::chrono::milliseconds Period() const { return std::chrono::milliseconds(3 * devices); }
    std::chrono::milliseconds Timeout() const { return std::chrono::milliseconds(TimeoutMs()); }
    std::chrono::milliseconds Drip() const { return Timeout() / 5; }

    /// Until a change at a device whose probes do not hang is known.
    std::chrono::milliseconds Notice() const { return Period() + Timeout(); }
    /// Until each device was asked once: nobody knows at first which ones hang.
    std::chrono::milliseconds FirstRound() const {
        return Notice() + Timeout() * Those(&Hangs).size() / (Connections() * 3 / 4);
    }
    /// Bounds of time are stated as so many times what they should be, for machines that have other work.
    static constexpr int kPatience = 5;

    /// The devices of a kind.
    std::vector<int> Those(bool (*wanted)(Behaviour)) const {
        std::vector<int> those;
        for (int device = 1; device <= devices; ++device) {
            if (wanted(ManyDevices::BehaviourOf(device))) those.push_back(device);
        }
        return those;
    }
    std::vector<int> Good() const {
        return Those([](Behaviour behaviour) { return behaviour == Behaviour::kAnswers; });
    }
    std::vector<int> Silent() const {
        return Those([](Behaviour behaviour) { return behaviour == Behaviour::kSilent; });
    }
    /// Some of those that answer as they should: they go away and come back.
    std::vector<int> Leaving() const {
        std::vector<int> leaving;
        for (int device = 2; device <= devices; device += 20) leaving.push_back(device);
        return leaving;
    }

    int devices = 0;
};

}  // namespace qartest
