#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>

#include "standalone/auth/SessionOptions.h"

namespace qarplatform {

/// Counts failed logins by user and by address, and says when the next one may be tried. IPv6 addresses count together
/// that share their first 64 bits, as one client has all of them. Of more than kMostNames users or addresses those that
/// failed longest ago are forgotten. Threads: one at a time.
class LoginGate {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr std::size_t kMostNames = 4096;

    enum class Outcome { kRight, kWrong, kUnknown };

    explicit LoginGate(const SessionOptions& options);

    /// @return 0 when a login may be tried now, else the seconds until it may
    std::chrono::seconds Wait(const std::string& user, const std::string& remote, TimePoint now) const;

    /// Begins a try that Wait allows now.
    void Begin(const std::string& user, const std::string& remote);
    /// Ends it, also where the memory is at an end and a failure cannot be noted. A right one also forgets what failed
    /// of that user before.
    void End(const std::string& user, const std::string& remote, Outcome outcome, TimePoint now);

    /// @return true the first time, after a failure, that somebody is to be told of a refusal
    bool TellRefusal(const std::string& user, const std::string& remote);

private:
    struct Count {
        std::deque<TimePoint> failures;  // within the window, as of the last one
        int running = 0;
        bool told = false;
    };
    using Counts = std::unordered_map<std::string, Count>;

    std::chrono::seconds WaitOf(const Counts& counts, const std::string& name, TimePoint now) const;
    void Note(Counts& counts, const std::string& name, bool failed, TimePoint now);
    void MakeRoom(Counts& counts, TimePoint now) const;

    const std::size_t tries_;
    const std::chrono::seconds window_;
    Counts users_;
    Counts addresses_;
};

}  // namespace qarplatform
