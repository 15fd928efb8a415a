#include "bench/http_load.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "bench/history_tables.h"

namespace bench {

HttpLoad::HttpLoad(uint16_t port, int connections, std::string request)
    : request_(std::move(request)), epoll_(epoll_create1(EPOLL_CLOEXEC)), connections_(connections) {
    Require(epoll_ >= 0, "make an epoll descriptor");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (Connection& connection : connections_) {
        connection.fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        Require(connect(connection.fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0, "connect");
        const int on = 1;
        setsockopt(connection.fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.ptr = &connection;
        Require(epoll_ctl(epoll_, EPOLL_CTL_ADD, connection.fd, &event) == 0, "watch a connection");
    }
}

HttpLoad::~HttpLoad() {
    for (const Connection& connection : connections_) close(connection.fd);
    close(epoll_);
}

void HttpLoad::Send(const Connection& connection) const {
    const ssize_t sent = send(connection.fd, request_.data(), request_.size(), MSG_NOSIGNAL);
    Require(sent == static_cast<ssize_t>(request_.size()), "send a request");
}

bool HttpLoad::TakeAnswer(std::string& received, const std::string& body) {
    constexpr std::string_view kLength = "Content-Length: ";
    const std::size_t head = received.find("\r\n\r\n");
    if (head == std::string::npos) return false;
    const std::size_t length = received.find(kLength);
    Require(received.rfind("HTTP/1.1 200 ", 0) == 0 && length < head, "the answer is 200: " + received);
    const std::size_t size = std::strtoul(received.c_str() + length + kLength.size(), nullptr, 10);
    if (received.size() < head + 4 + size) return false;
    Require(received.compare(head + 4, std::string::npos, body) == 0, "the answer has its body");
    received.clear();
    return true;
}

void HttpLoad::Run(int requests, const std::string& body) {
    int sent = 0;
    for (const Connection& connection : connections_) {
        if (sent == requests) break;
        Send(connection);
        ++sent;
    }
    std::vector<epoll_event> events(connections_.size());
    for (int answered = 0; answered < requests;) {
        const int ready = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), 10000);
        Require(ready > 0, "answers come");
        for (int i = 0; i < ready; ++i) {
            Connection& connection = *static_cast<Connection*>(events[static_cast<std::size_t>(i)].data.ptr);
            char buffer[16384];
            const ssize_t got = recv(connection.fd, buffer, sizeof(buffer), 0);
            Require(got > 0, "the server keeps its connections");
            connection.received.append(buffer, static_cast<std::size_t>(got));
            if (!TakeAnswer(connection.received, body)) continue;
            ++answered;
            if (sent < requests) {
                Send(connection);
                ++sent;
            }
        }
    }
}

}  // namespace bench
