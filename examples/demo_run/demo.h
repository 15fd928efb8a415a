#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "demo_cameras/camera_fleet.h"
#include "demo_cameras/outage_runner.h"
#include "demo_cameras/site_file.h"
#include "demo_cameras/stop_signal.h"
#include "demo_run/host_process.h"
#include "demo_run/host_status.h"
#include "demo_run/outage_verdict.h"
#include "demo_run/view.h"
#include "demo_run/watch.h"

namespace demo {

struct DemoOptions {
    int for_s = 120;
    unsigned seed = 1;
    int cameras = 12;
    std::filesystem::path host;     // the program qarhost
    std::filesystem::path plugins;  // folder of backfill.so
    std::filesystem::path folder;   // work folder, empty or missing
};

/// The demonstration: cameras in this process, a host as a child, outages, and the proof that each was told and
/// fetched.
class Demo {
public:
    static constexpr int kScale = 600;

    /// @param stop  made before any thread of the process
    Demo(const DemoOptions& options, const TerminalAbilities& abilities, StopSignal& stop);

    /// @return the process's exit code: 0 if every outage that counts was told and fetched and there was one; 130 if it
    /// was
    ///         stopped before that; else 1
    int Run();

private:
    bool StartHost();
    std::optional<TimerStatus> WaitForHistoryTimer();
    void StartOutages(const TimerStatus& timer);
    bool RunOutages();
    void Drain();
    bool Step();
    void ReportOutages();
    Picture MakePicture() const;
    std::string Phase() const;
    int Conclude();
    std::vector<OutageVerdict> JudgeOutages();
    void Fail(const std::string& text) { failures_.push_back(text); }

    const DemoOptions options_;
    const TerminalAbilities abilities_;
    StopSignal& stop_;
    const DemoFolder folder_;
    CameraFleet fleet_;
    Watch watch_;
    std::unique_ptr<View> view_;
    std::unique_ptr<HostProcess> host_;
    std::unique_ptr<OutageRunner> outages_;
    std::int64_t timer_started_ms_ = 0;
    std::int64_t picture_begin_s_ = 0;
    std::chrono::system_clock::time_point outages_end_{};
    bool draining_ = false;
    std::vector<bool> reported_back_;
    std::vector<std::string> failures_;
};

}  // namespace demo
