#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "demo_cameras/recording.h"

namespace demo {

/// What is sent for one request.
struct Reply {
    std::string text;             // start line, headers and a short body
    std::int64_t body_begin = 0;  // recorded seconds [begin, end) that follow the text
    std::int64_t body_end = 0;
    bool close = false;                           // the connection ends behind it
    std::chrono::milliseconds pause{0};           // real time before the first byte
    std::chrono::milliseconds pause_per_byte{0};  // real time before each byte of the text
};

/// One accepted connection: reads request heads and sends what `Respond` answers. Use it on its socket's thread only.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /// Gets a request's head up to and including the empty line; nothing means that the request is never answered.
    using Respond = std::function<std::optional<Reply>(const std::string& head)>;
    /// Called once, when the connection has ended by itself.
    using Ended = std::function<void(const std::shared_ptr<Connection>&)>;

    Connection(boost::asio::ip::tcp::socket socket, Recording recording, Respond respond, Ended ended);

    void Start();

    /// Ends the connection at once, also in the middle of an answer. `Ended` is not called.
    void Cut();

private:
    void ReadHead();
    void Send(Reply reply);
    void SendText();
    void SendByte(std::size_t at);
    void SendBody(std::int64_t from);
    void End();

    boost::asio::ip::tcp::socket socket_;
    boost::asio::steady_timer timer_;
    Recording recording_;
    Respond respond_;
    Ended ended_;
    std::string received_;
    Reply reply_;
    std::string chunk_;
};

}  // namespace demo
