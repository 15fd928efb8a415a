#pragma once

#include <chrono>

namespace demo {

/// SIGINT and SIGTERM as something to wait for. Make it before any thread is started: it blocks both signals for the
/// thread that makes it and all that follow.
class StopSignal {
public:
    StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;
    ~StopSignal();

    /// Waits for one of the signals. @return true once one has come, at once from then on
    bool WaitFor(std::chrono::milliseconds time);

    bool Came() const { return came_; }

private:
    int descriptor_;
    bool came_ = false;
};

}  // namespace demo
