#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

namespace demo {

/// A plain blocking connection; every wait ends after ten seconds.
class TestClient {
public:
    explicit TestClient(std::uint16_t port, const std::string& address = "127.0.0.1") {
        const bool ipv6 = address.find(':') != std::string::npos;
        descriptor_ = socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval limit{10, 0};
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        sockaddr_in v4{};
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        sockaddr_in6 v6{};
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        inet_pton(ipv6 ? AF_INET6 : AF_INET, address.c_str(),
                  ipv6 ? static_cast<void*>(&v6.sin6_addr) : static_cast<void*>(&v4.sin_addr));
        const auto* target = ipv6 ? reinterpret_cast<const sockaddr*>(&v6) : reinterpret_cast<const sockaddr*>(&v4);
        error_ = connect(descriptor_, target, ipv6 ? sizeof(v6) : sizeof(v4)) == 0 ? 0 : errno;
    }
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;
    ~TestClient() { close(descriptor_); }

    bool Connected() const { return error_ == 0; }
    /// Of the connection attempt; 0 where it succeeded.
    int Error() const { return error_; }

    void Send(const std::string& text) { (void)!send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL); }

    /// All up to and including `end`; what there is where the connection ends before it.
    std::string ReadTo(const std::string& end) {
        while (received_.find(end) == std::string::npos && Receive()) {
        }
        const std::size_t found = received_.find(end);
        return Take(found == std::string::npos ? received_.size() : found + end.size());
    }

    std::string ReadBytes(std::size_t count) {
        while (received_.size() < count && Receive()) {
        }
        return Take(std::min(count, received_.size()));
    }

    /// Whether the other side ends the connection, what still comes being dropped.
    bool Ends() {
        while (Receive()) {
        }
        return errno != EAGAIN;
    }

    /// Whether nothing comes for that long.
    bool StaysSilentFor(int milliseconds) {
        const timeval limit{milliseconds / 1000, milliseconds % 1000 * 1000};
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        return received_.empty() && !Receive() && errno == EAGAIN;
    }

private:
    bool Receive() {
        std::array<char, 65536> part{};
        errno = 0;
        const ssize_t size = recv(descriptor_, part.data(), part.size(), 0);
        if (size > 0) {
            received_.append(part.data(), static_cast<std::size_t>(size));
        }
        return size > 0;
    }

    std::string Take(std::size_t count) {
        std::string taken = received_.substr(0, count);
        received_.erase(0, count);
        return taken;
    }

    int descriptor_ = -1;
    int error_ = 0;
    std::string received_;
};

}  // namespace demo
