#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "demo_cameras/io_thread.h"
#include "demo_cameras/scaled_clock.h"
#include "demo_cameras/simulated_camera.h"
#include "integration/support/temp_folder.h"

namespace qartest {

/// A site of simulated cameras in a folder of its own, with the site file that a host runs it by. The cameras are away
/// until they are told to come.
class TestSite {
public:
    static constexpr int kScale = 1200;                // an hour lasts three seconds
    static constexpr std::int64_t kProbeS = 60;        // period of the probes, unless set; a moment is known no better
    static constexpr std::int64_t kEast8S = 28800;     // offset of the zone "east8"
    static constexpr std::int64_t kWest530S = -19800;  // offset of the zone "west530"

    explicit TestSite(int scale = kScale);

    const demo::ScaledClock& Clock() const { return clock_; }

    /// Adds a camera: channel 101, 102, … of device 1, 2, …
    /// @param options  its id and seed are filled in
    /// @throws boost::system::system_error  where its address cannot be bound
    demo::SimulatedCamera& AddCamera(const std::string& zone = "east8", demo::CameraOptions options = {});

    /// Adds a device, with its channel, that is no simulated camera. @return the channel's id
    int AddDevice(const std::string& probe);

    /// Adds a plug-in. @param config  lines of TOML
    void AddPlugin(const std::string& id, const std::string& path, const std::string& config = "");

    /// Adds a front on a free port of loopback, with the users "anna" (1, Administrator), "bert" (2, role "guard" with
    /// the permissions 11 and 12) and "carl" (3, the account of person 77). None has a password yet.
    /// @param settings  further lines of its section
    void AddFront(const std::string& settings = "");

    /// Real milliseconds for a whole probe; 2000 at first.
    void SetProbeTimeout(int ms) { probe_timeout_ms_ = ms; }
    /// Scaled seconds between two probes of a device; kProbeS at first.
    void SetProbePeriod(std::int64_t seconds) { probe_period_s_ = seconds; }
    /// Probes under way at a time; 512 at first.
    void SetProbeConnections(int connections) { probe_connections_ = connections; }
    /// Lowest level of the host's log; "debug" at first.
    void SetLogLevel(const std::string& level) { log_level_ = level; }

    /// Writes the site file. @return its path
    std::string Write() const;

    const TempFolder& Folder() const { return folder_; }
    std::filesystem::path SiteFile() const { return folder_.Path() / "site.toml"; }
    std::filesystem::path DataDir() const { return folder_.Path() / "data"; }
    std::filesystem::path DatabaseDir() const { return DataDir() / "db"; }
    std::filesystem::path LogFile() const { return DataDir() / "log" / "qarhost.log"; }

    /// Lines of the log so far that hold a text.
    std::vector<std::string> LogLines(const std::string& text) const;

private:
    void AddRecords(const std::string& zone, const std::string& probe, const std::string& archive);

    TempFolder folder_;
    const demo::ScaledClock clock_;
    demo::IoThread io_;  // before the cameras, which run on it
    std::vector<std::unique_ptr<demo::SimulatedCamera>> cameras_;
    std::string records_;
    std::string plugins_;
    std::string front_;
    int devices_ = 0;
    int probe_timeout_ms_ = 2000;
    std::int64_t probe_period_s_ = kProbeS;
    int probe_connections_ = 512;
    std::string log_level_ = "debug";
};

}  // namespace qartest
