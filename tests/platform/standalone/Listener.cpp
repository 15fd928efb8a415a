#include "platform/standalone/Listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace platform_tests {

namespace {

/// @return a socket bound to the port, 0 for any free one; -1 on failure
int Bind(int& port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    socklen_t length = sizeof(address);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
        return fd;
    }
    if (fd >= 0) close(fd);
    return -1;
}

}  // namespace

// A socket that listens no more keeps its port only when it was bound to that port by number.
Listener::Listener() {
    for (int attempt = 0; attempt < 100 && socket_ < 0; ++attempt) {
        port_ = 0;
        const int any = Bind(port_);
        if (any < 0) continue;
        close(any);
        socket_ = Bind(port_);
    }
    if (socket_ < 0) throw std::runtime_error("no free port");
}

Listener::~Listener() { close(socket_); }

void Listener::Open() {
    if (listen(socket_, SOMAXCONN) != 0) throw std::runtime_error("cannot listen");
}

void Listener::Close() { shutdown(socket_, SHUT_RDWR); }

}  // namespace platform_tests
