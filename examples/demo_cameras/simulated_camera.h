#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "demo_cameras/camera_protocol.h"
#include "demo_cameras/connection.h"
#include "demo_cameras/io_thread.h"
#include "demo_cameras/port_listener.h"
#include "demo_cameras/recording.h"
#include "demo_cameras/scaled_clock.h"

namespace demo {

/// How a camera's RTSP port behaves.
enum class ProbeBehaviour {
    kAnswers,  // as it should
    kRubbish,  // answers each request with bytes that are no RTSP
    kSilent,   // accepts, reads, never answers
    kDrip      // answers rightly, one byte a (real) second
};

/// What Date a camera's answers carry.
enum class DateBehaviour { kOwnClock, kNone, kYear1970 };

struct CameraOptions {
    int id = 0;  // the channel id, which is also the archive's path
    std::uint32_t seed = 1;
    std::string address = "127.0.0.1";  // or "::1"
    std::int64_t skew_s = 0;            // its clock runs ahead of the site's by this
    ProbeBehaviour probe = ProbeBehaviour::kAnswers;
    DateBehaviour date = DateBehaviour::kOwnClock;
    std::chrono::milliseconds archive_pause{0};  // real time that the archive takes before it answers
    int archive_failures = 0;                    // so many requests to the archive are answered with status 500 first
};

/// A camera on real sockets: an RTSP port that answers OPTIONS with the camera's own clock, and an HTTP port that hands
/// out what the camera recorded, each on a port of the kernel's choice. It records all the time, from 8 days before the
/// clock's start on, also while nobody can reach it. Threads: all operations from any thread; they block until the
/// camera's thread has done the work.
class SimulatedCamera {
public:
    static constexpr std::int64_t kRecordedBeforeStartS = 8 * 86400;

    /// Reserves both ports; nobody listens there yet.
    /// @param io  must outlive the camera
    SimulatedCamera(IoThread& io, const ScaledClock& clock, CameraOptions options);
    SimulatedCamera(const SimulatedCamera&) = delete;
    SimulatedCamera& operator=(const SimulatedCamera&) = delete;
    /// Goes away for good.
    ~SimulatedCamera();

    /// Begins to listen.
    /// @return the site's scaled moment just before, in milliseconds
    std::int64_t ComeBack();

    /// Closes both listeners and cuts all connections; further attempts are refused until `ComeBack`, which keeps the
    /// ports.
    /// @return the site's scaled moment just after, in milliseconds
    std::int64_t GoAway();

    bool Away() const { return away_; }

    void SetProbeBehaviour(ProbeBehaviour behaviour);
    void SetDateBehaviour(DateBehaviour behaviour);
    void SetArchivePause(std::chrono::milliseconds pause);
    /// The next `count` requests to the archive are answered with status 500.
    void FailArchive(int count);
    /// Sets the camera's clock forward, or back where negative.
    void JumpClock(std::int64_t seconds);

    int Id() const { return options_.id; }
    std::uint16_t ProbePort() const { return probe_port_; }
    std::uint16_t ArchivePort() const { return archive_port_; }
    std::string ProbeUrl() const;    // "rtsp://127.0.0.1:5541/"
    std::string ArchiveUrl() const;  // "http://127.0.0.1:8081/archive", without the camera

    /// The camera's own clock, in seconds since 1970 UTC.
    std::int64_t ClockS() const;
    std::int64_t SkewS() const { return skew_s_; }

    const Recording& Recorded() const { return recording_; }

    int ProbesAnswered() const { return probes_answered_; }
    int ArchiveRequests() const { return archive_requests_; }

private:
    void Serve(boost::asio::ip::tcp::socket socket, Connection::Respond respond);
    void Close();
    std::optional<std::string> Date() const;
    std::optional<Reply> RespondToProbe(const std::string& head);
    Reply RespondToArchive(const std::string& head);
    std::string Url(const std::string& scheme, std::uint16_t port, const std::string& path) const;

    IoThread& io_;
    const ScaledClock clock_;
    CameraOptions options_;  // behaviours: on the io thread only
    const Recording recording_;
    std::atomic<std::int64_t> skew_s_;
    std::atomic<bool> away_{true};
    std::atomic<int> probes_answered_{0};
    std::atomic<int> archive_requests_{0};

    // on the io thread only
    std::unique_ptr<PortListener> probe_listener_;
    std::unique_ptr<PortListener> archive_listener_;
    std::set<std::shared_ptr<Connection>> connections_;

    std::uint16_t probe_port_ = 0;
    std::uint16_t archive_port_ = 0;
};

}  // namespace demo
