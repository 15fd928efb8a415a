#include "demo_cameras/port_listener.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <boost/asio/ip/address.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <chrono>

namespace demo {

using boost::asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds kPause(100);

}  // namespace

PortListener::PortListener(boost::asio::io_context& context, const std::string& address, Accepted accepted)
    : endpoint_(boost::asio::ip::make_address(address), 0),
      acceptor_(context),
      pause_(context),
      accepted_(std::move(accepted)) {
    Bind();
    endpoint_ = acceptor_.local_endpoint();
}

void PortListener::Open() {
    if (open_) {
        return;
    }
    acceptor_.listen();
    open_ = std::make_shared<bool>(true);
    Accept();
}

void PortListener::Close() {
    if (!open_) {
        return;
    }
    open_.reset();
    acceptor_.close();
    Bind();
}

void PortListener::Bind() {
    // Not acceptor_.open: a child process that inherited the socket would keep it listening.
    const int descriptor = socket(endpoint_.protocol().family(), SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw boost::system::system_error(errno, boost::system::system_category(), "socket");
    }
    acceptor_.assign(endpoint_.protocol(), descriptor);
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint_);
}

void PortListener::Accept() {
    acceptor_.async_accept(
        [this, open = std::weak_ptr<bool>(open_)](boost::system::error_code error, tcp::socket socket) {
            if (open.expired()) {
                return;
            }
            if (error) {
                AcceptLater();
                return;
            }
            accepted_(std::move(socket));
            Accept();
        });
}

// A connection that cannot be accepted, mostly for want of descriptors, stays in the queue: the next try would fail at
// once again.
void PortListener::AcceptLater() {
    pause_.expires_after(kPause);
    pause_.async_wait([this, open = std::weak_ptr<bool>(open_)](boost::system::error_code /*error*/) {
        if (!open.expired()) {
            Accept();
        }
    });
}

}  // namespace demo
