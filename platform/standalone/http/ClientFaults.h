#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace qarplatform {

/// Tells in the log what clients do wrong: a line for each kind of fault at most once a second, with the number of
/// those that got none. A line names the client's address and nothing that it sent. Threads: any.
class ClientFaults {
public:
    ClientFaults() = default;
    ClientFaults(const ClientFaults&) = delete;
    ClientFaults& operator=(const ClientFaults&) = delete;

    /// @param kind    what went wrong; the same text each time, it tells the kinds apart
    /// @param remote  the client's address; "" when there is none
    void Tell(const std::string& kind, const std::string& remote);

    /// Tells the numbers of those left out that no line has named yet.
    void TellLeftOut();

private:
    struct Kind {
        std::chrono::steady_clock::time_point told;
        uint64_t left_out = 0;
    };

    std::mutex mutex_;
    std::map<std::string, Kind> kinds_;  // guarded by mutex_
};

}  // namespace qarplatform
