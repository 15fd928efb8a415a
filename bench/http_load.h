#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// Kept-alive connections to a server on loopback, driven by one thread that waits for all of them at once: each sends
/// its next request when it has its answer.
class HttpLoad {
public:
    /// @param request  the whole text of the request that is sent over and over
    HttpLoad(uint16_t port, int connections, std::string request);
    ~HttpLoad();
    HttpLoad(const HttpLoad&) = delete;
    HttpLoad& operator=(const HttpLoad&) = delete;

    /// Sends requests and ends the process when an answer is not 200 with this body.
    void Run(int requests, const std::string& body);

private:
    struct Connection {
        int fd = -1;
        std::string received;
    };

    void Send(const Connection& connection) const;
    /// @return whether the answer is whole; it is taken away then
    static bool TakeAnswer(std::string& received, const std::string& body);

    const std::string request_;
    int epoll_ = -1;
    std::vector<Connection> connections_;
};

}  // namespace bench
