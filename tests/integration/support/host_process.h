#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "integration/support/child_process.h"
#include "integration/support/test_site.h"

namespace qartest {

struct DeviceState {
    int id = 0;
    bool online = false;
    bool guard = false;
    bool clock_known = false;
};

/// What `qarhost status --json` tells.
struct HostState {
    pid_t pid = 0;
    std::string database;
    std::int64_t now_ms = 0;                               ///< on the scaled clock
    std::optional<std::int64_t> history_timer_started_ms;  ///< scaled moment at which the history's timer began
    std::int64_t history_timer_ticks = 0;
    std::vector<DeviceState> devices;
    std::vector<std::pair<std::string, std::string>> plugins;  ///< id and state

    const DeviceState* Device(int id) const;
};

/// The command line of qarhost.
Launch HostCommand(const std::vector<std::string>& words);

/// How a host is run.
struct HostOptions {
    std::string plugin_dir;                          ///< "" for the test plug-ins
    std::map<std::string, std::string> environment;  ///< set besides what this process has
    uid_t user = 0;                                  ///< other than 0: runs as this user
};

/// A running qarhost on a test site.
class HostProcess {
public:
    /// Starts it; the site file must have been written.
    explicit HostProcess(const TestSite& site, const HostOptions& options = {});

    ChildProcess& Process() { return process_; }

    /// Waits for the line that all is up. @return false where it ended or the time is over
    bool WaitUntilReady() { return process_.WaitForOut("qarhost ready pid="); }

    /// SIGTERM. @return its exit code
    std::optional<int> Stop();

    /// SIGKILL.
    void Kill();

    /// Runs another command of qarhost on the same site.
    Ended Command(const std::string& command, const std::vector<std::string>& words = {}) const;

    /// @return nothing where it does not answer
    std::optional<HostState> State() const;

    /// Waits until its state is as wanted.
    bool WaitForState(const std::function<bool(const HostState&)>& wanted) const;
    bool WaitForOnline(int device, bool online) const;

    /// Waits for a moment that is far from the checks of the history, in scaled minutes, so that what a test does now
    /// is noticed before the next check.
    bool WaitForQuiet() const;

    /// Waits until the history has checked its cameras once more.
    bool WaitForCheck() const;

private:
    const TestSite& site_;
    ChildProcess process_;
};

}  // namespace qartest
