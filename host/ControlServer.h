#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace qarhost {

/// The host's control socket: a Unix socket of mode 0600. A client sends requests, one line each, and gets one line for
/// each. Of more than kMaxClients at a time the one that has been quiet for longest is hung up on. Threads: Start and
/// Stop on one thread; requests are answered one at a time on a thread of the server.
class ControlServer {
public:
    /// Answers a request; both without the newline.
    using Handler = std::function<std::string(const std::string& request)>;

    static constexpr std::size_t kMaxLine = 64 * 1024;
    static constexpr std::size_t kMaxClients = 32;

    explicit ControlServer(Handler handler);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /// Listens. A socket that is there already is taken for a dead host's and replaced, so the caller must hold the
    /// folder's lock.
    /// @param error  gets why not, with the path
    bool Start(const std::string& path, std::string& error);

    /// Hangs up on all clients, ends the thread and removes the socket.
    void Stop();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qarhost
