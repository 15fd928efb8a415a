#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>  // before Asio: its coroutine header lacks it
#include <vector>

#include "standalone/device/DeviceAddress.h"
#include "standalone/device/HostResolver.h"
#include "standalone/device/Probe.h"
#include "standalone/site/SiteFile.h"

namespace qarplatform {

/// Probes many devices on one thread, each once a period, none twice at a time.
class ProbeEngine {
public:
    /// Connections that are open at a time; further probes wait for their turn.
    static constexpr std::size_t kMostAtOnce = 512;

    struct Target {
        DeviceAddress address;
        Probe::Handler on_result;  ///< called on the engine's thread
    };

    ProbeEngine(const ProbeOptions& options, std::vector<Target> targets);
    ~ProbeEngine();
    ProbeEngine(const ProbeEngine&) = delete;
    ProbeEngine& operator=(const ProbeEngine&) = delete;

    /// Begins: the first target is asked at once, the others spread over the first period. Once.
    /// @return false with the reason when no thread can be made
    bool Start(std::string& error);

    /// Ends all probes; no result is told afterwards. Not from the engine's thread. Does not wait for devices, but for
    /// host names that are being looked up, see HostResolver.
    void Stop();

private:
    struct Entry {
        Entry(boost::asio::io_context& io, Target made_of) : target(std::move(made_of)), timer(io) {}
        Target target;
        boost::asio::steady_timer timer;
        std::chrono::steady_clock::time_point due;
    };

    void Run();
    void Schedule(Entry& entry);
    void OnDue(Entry& entry);
    void Begin(Entry& entry);
    void OnResult(Entry& entry, const ProbeResult& result);
    void TellLack(const std::string& reason);

    const std::chrono::milliseconds timeout_;
    const std::chrono::nanoseconds period_;
    boost::asio::io_context io_;
    std::optional<HostResolver> resolver_;
    std::vector<std::unique_ptr<Entry>> entries_;
    std::deque<Entry*> waiting_;
    std::size_t active_ = 0;
    std::optional<std::chrono::steady_clock::time_point> lack_told_;
    std::thread thread_;
};

}  // namespace qarplatform
