#include "standalone/http/ClientListener.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/ip/address.hpp>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <exception>
#include <utility>  // before Asio: its coroutine header lacks it

namespace qarplatform {

namespace net = boost::asio;
using boost::system::error_code;

namespace {

constexpr int kTakenAtOnce = 64;
constexpr std::chrono::milliseconds kBetweenVainTries(100);
constexpr int kUnsentBytes = 128 * 1024;

/// Owns a descriptor until a socket does.
class NewDescriptor {
public:
    explicit NewDescriptor(int fd) : fd_(fd) {}
    ~NewDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    NewDescriptor(const NewDescriptor&) = delete;
    NewDescriptor& operator=(const NewDescriptor&) = delete;

    int Get() const { return fd_; }
    void Release() { fd_ = -1; }

private:
    int fd_;
};

/// Lets the system take no more for a client than keeps its line busy. Else it takes megabytes at once, and nothing
/// then until a third of them has gone: a client that takes all the time would look as if it stood still.
void LimitUnsent(ClientStream::Socket& socket) {
    ::setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kUnsentBytes, sizeof(kUnsentBytes));
}

bool IsLack(int reason) { return reason == EMFILE || reason == ENFILE || reason == ENOBUFS || reason == ENOMEM; }

std::string AddressText(const net::ip::address& address) {
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return net::ip::make_address_v4(net::ip::v4_mapped, address.to_v6()).to_string();
    }
    return address.to_string();
}

}  // namespace

ClientListener::ClientListener(net::io_context& io, ClientFaults& faults,
                               std::function<void(ClientStream::Socket, const std::string&)> on_client)
    : faults_(faults), on_client_(std::move(on_client)), acceptor_(io.get_executor()), timer_(io.get_executor()) {}

bool ClientListener::Listen(const std::string& address, uint16_t port, std::string& error) {
    error_code code;
    const net::ip::tcp::endpoint endpoint(net::ip::make_address(address, code), port);
    if (code) {
        error = "the address " + address + " to listen on is no IP address";
        return false;
    }
    acceptor_.open(endpoint.protocol(), code);
    if (!code) {
        ::fcntl(acceptor_.native_handle(), F_SETFD, FD_CLOEXEC);
        acceptor_.set_option(net::socket_base::reuse_address(true), code);
    }
    if (!code) {
        acceptor_.bind(endpoint, code);
    }
    if (!code) {
        acceptor_.listen(net::socket_base::max_listen_connections, code);
    }
    if (!code) {
        acceptor_.native_non_blocking(true, code);
    }
    if (code) {
        error = "cannot listen on " + address + " port " + std::to_string(port) + ": " + code.message();
        return false;
    }
    return true;
}

uint16_t ClientListener::Port() const { return acceptor_.local_endpoint().port(); }

void ClientListener::Start() { Await(); }

void ClientListener::Stop() {
    error_code ignored;
    acceptor_.close(ignored);
    timer_.cancel();
}

void ClientListener::Await() {
    acceptor_.async_wait(net::socket_base::wait_read, [this](const error_code& error) {
        if (!error) {
            TakeIn();
        }
    });
}

void ClientListener::TakeIn() {
    try {
        TakeInWaiting();
    } catch (const std::exception& failure) {
        Pause(failure.what());
    }
}

void ClientListener::TakeInWaiting() {
    for (int i = 0; i < kTakenAtOnce && acceptor_.is_open(); ++i) {
        net::ip::tcp::endpoint remote;
        auto size = static_cast<socklen_t>(remote.capacity());
        const int fd = ::accept4(acceptor_.native_handle(), remote.data(), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            NewDescriptor descriptor(fd);
            ClientStream::Socket socket(acceptor_.get_executor(), remote.protocol(), descriptor.Get());
            descriptor.Release();
            error_code ignored;
            socket.set_option(net::ip::tcp::no_delay(true), ignored);
            LimitUnsent(socket);
            on_client_(std::move(socket), AddressText(remote.address()));
        } else if (errno == EAGAIN) {
            break;
        } else if (IsLack(errno)) {
            Pause(std::strerror(errno));
            return;
        }  // else a client that has gone already
    }
    Await();
}

// First of all it sees to its own going on, as the telling may lack memory too.
void ClientListener::Pause(const char* reason) {
    timer_.expires_after(kBetweenVainTries);
    timer_.async_wait([this](const error_code& error) {
        if (!error) {
            TakeIn();
        }
    });
    faults_.Tell(std::string("clients cannot be taken in: ") + reason, "");
}

}  // namespace qarplatform
