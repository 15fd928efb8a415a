#pragma once

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>  // before Asio: its coroutine header lacks it
#include <vector>

#include "standalone/device/DeviceAddress.h"
#include "standalone/device/HostResolver.h"
#include "standalone/device/ReplyHead.h"

namespace qarplatform {

struct ProbeResult {
    enum class Outcome {
        kAnswered,
        kFailed,    ///< the device did not answer as it should
        kNotAsked,  ///< this machine lacks something (open files, memory, ports); says nothing about the device
    };
    Outcome outcome = Outcome::kFailed;
    std::string reason;                      ///< why it failed; the same text for the same fault
    std::optional<std::string> date;         ///< Date of the answer
    std::int64_t answered_ms = 0;            ///< the platform's clock when it answered
    std::chrono::nanoseconds round_trip{0};  ///< real time from before the question until after answered_ms
};

/// @return whether an error is a lack of this machine (open files, memory, ports of its own), not the device's doing
bool IsOwnLack(const boost::system::error_code& error);

/// @return whether a connection ends where it began. A connect to a closed port of this machine may be given that very
///         port as its own; the kernel then connects the socket to itself.
bool IsConnectedToItself(const boost::asio::ip::tcp::socket& socket);

/// One question to a device and its answer. Lives until its handler was called. All on the thread that runs `io`.
class Probe : public std::enable_shared_from_this<Probe> {
public:
    using Handler = std::function<void(const ProbeResult&)>;

    Probe(boost::asio::io_context& io, HostResolver& resolver, const DeviceAddress& address,
          std::chrono::milliseconds timeout, Handler handler);

    /// Begins; the handler is called once, never from inside this call.
    void Start();

private:
    enum class Phase { kResolve, kConnect, kAnswer, kDone };

    void Resolve();
    void Connect();
    void OnConnect(const boost::system::error_code& error);
    void Ask();
    void Read();
    void OnRead(const boost::system::error_code& error, std::size_t bytes);
    void OnDeadline();
    void Answered();
    void Failed(const std::string& reason);
    void Broken(const std::string& what, const boost::system::error_code& error);
    void Finish(ProbeResult result);
    std::string Question() const;

    HostResolver& resolver_;
    const DeviceAddress address_;
    const std::chrono::milliseconds timeout_;
    Handler handler_;
    boost::asio::ip::tcp::socket socket_;
    boost::asio::steady_timer deadline_;
    Phase phase_ = Phase::kResolve;
    std::vector<boost::asio::ip::tcp::endpoint> endpoints_;
    std::size_t tried_ = 0;              // of the endpoints
    boost::system::error_code refused_;  // why none took the connection so far
    std::string question_;
    std::chrono::steady_clock::time_point asked_;
    bool got_bytes_ = false;
    std::array<char, 2048> buffer_;
    ReplyHead head_;
};

}  // namespace qarplatform
