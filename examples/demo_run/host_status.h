#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace demo {

struct TimerStatus {
    std::string name;
    std::int64_t interval_ms = 0;
    std::int64_t started_ms = 0;  // tick n falls at started_ms + n * interval_ms of the scaled clock
    std::int64_t ticks = 0;
};

struct HostStatus {
    std::int64_t now_ms = 0;  // scaled clock
    std::vector<TimerStatus> timers;

    /// The timer of the state history; null while no plug-in has started it.
    const TimerStatus* HistoryTimer() const;
};

/// Reads the answer of the host's control socket; nothing where it is none or says that something failed.
std::optional<HostStatus> ParseHostStatus(const std::string& json);

/// Asks a running host; nothing where it does not answer in time.
/// @param socket  path of its control socket
std::optional<HostStatus> AskHostStatus(const std::filesystem::path& socket, std::chrono::milliseconds timeout);

}  // namespace demo
