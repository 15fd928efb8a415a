#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "demo_cameras/stop_signal.h"

namespace demo {

/// A running qarhost, as a child in a process group of its own, so that Ctrl-C on the terminal does not reach it. It
/// ends with its parent.
class HostProcess {
public:
    /// Starts `host run --site SITE --plugins PLUGINS`; what it prints to stderr goes to a file.
    /// @throws std::system_error  where no process can be made
    HostProcess(const std::filesystem::path& host, const std::filesystem::path& site_file,
                const std::filesystem::path& plugins, const std::filesystem::path& error_file);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    /// Stops it if that has not been done.
    ~HostProcess();

    /// Waits until it has printed a line that begins with `begin`. @return false where it ended, the time is over or
    /// `stop` came
    bool WaitForLine(const std::string& begin, std::chrono::milliseconds timeout, StopSignal& stop);

    /// Also takes in what it has printed, so that it never waits for a reader: call it now and then.
    bool Running();

    /// SIGTERM, and SIGKILL where that does not end it in time.
    /// @return "" after a clean end with code 0, else what was wrong
    std::string Stop(std::chrono::milliseconds timeout);

private:
    bool ReadOutput(std::chrono::milliseconds timeout);
    bool Reap(bool wait);

    pid_t pid_ = -1;
    int output_ = -1;
    std::string printed_;
    std::optional<int> status_;  // of waitpid, once it has ended
};

}  // namespace demo
