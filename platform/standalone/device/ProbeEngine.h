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
/// A probe under way has a place; who finds none free waits for one. A device counts as slow while its last probe took
/// half its time-out or longer. Neither the slow devices nor the others have more than three quarters of the places, so
/// those that hang, however many, keep none waiting that answers, and the other way round.
class ProbeEngine {
public:
    struct Target {
        DeviceAddress address;
        Probe::Handler on_result;  ///< called on the engine's thread
    };

    ProbeEngine(const ProbeOptions& options, std::vector<Target> targets);
    ~ProbeEngine();
    ProbeEngine(const ProbeEngine&) = delete;
    ProbeEngine& operator=(const ProbeEngine&) = delete;

    /// @return how many probes are under way at a time: as the options say, but at most half of the open files that the
    ///         process may have
    std::size_t Places() const { return places_; }

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
        std::chrono::steady_clock::time_point begun;
        bool slow = false;
    };

    /// The slow targets, or the others.
    struct Kind {
        std::deque<Entry*> waiting;
        std::size_t active = 0;
    };

    void Run();
    void Schedule(Entry& entry);
    void OnDue(Entry& entry);
    void BeginWaiting();
    Kind* NextKind();
    Kind& KindOf(const Entry& entry) { return entry.slow ? slow_ : quick_; }
    void Begin(Entry& entry);
    void OnResult(Entry& entry, const ProbeResult& result);
    void TellLack(const std::string& reason);

    const std::chrono::milliseconds timeout_;
    const std::chrono::nanoseconds period_;
    const std::size_t places_;
    const std::size_t places_of_a_kind_;
    boost::asio::io_context io_;
    std::optional<HostResolver> resolver_;
    std::vector<std::unique_ptr<Entry>> entries_;
    Kind quick_;
    Kind slow_;
    std::optional<std::chrono::steady_clock::time_point> lack_told_;
    std::thread thread_;
};

}  // namespace qarplatform
