#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace demo {

/// Accepts connections on a port that the kernel chose and that stays the same for the listener's life. While it is
/// closed nobody listens there, connection attempts are refused; the port stays bound, so that nobody else gets it.
/// Use it on the thread of its io_context only.
class PortListener {
public:
    using Accepted = std::function<void(boost::asio::ip::tcp::socket)>;

    /// Binds a port of `address`, closed at first.
    /// @throws boost::system::system_error  where the address cannot be bound
    PortListener(boost::asio::io_context& context, const std::string& address, Accepted accepted);

    std::uint16_t Port() const { return endpoint_.port(); }

    void Open();
    void Close();

private:
    void Bind();
    void Accept();
    void AcceptLater();

    boost::asio::ip::tcp::endpoint endpoint_;
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer pause_;
    Accepted accepted_;
    std::shared_ptr<bool> open_;  // set while open; an accept that outlives its opening finds it gone
};

}  // namespace demo
