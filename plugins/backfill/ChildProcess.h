#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace backfill {

/// Wakes every ChildProcess run that was given it, once and for all. Threads: any.
class StopEvent {
public:
    StopEvent();
    ~StopEvent();
    StopEvent(const StopEvent&) = delete;
    StopEvent& operator=(const StopEvent&) = delete;

    void Set();
    /// @return a descriptor that becomes readable with Set
    int Fd() const { return fd_; }

private:
    int fd_;
};

/// How a program ended.
struct ChildResult {
    bool success = false;  ///< it ran and ended with code 0
    std::string error;     ///< otherwise why, with the last of what it printed
};

/// Runs a program and waits for it. It gets no input and none of this process's descriptors, and runs in a process
/// group of its own, which is killed when the time is over or `stop` is set.
/// @param argv     program (looked up in PATH) and arguments; not empty
/// @param timeout  real time
ChildResult RunChild(const std::vector<std::string>& argv, std::chrono::milliseconds timeout, const StopEvent& stop);

}  // namespace backfill
