#include "host/ControlClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "host/DataDirLock.h"
#include "standalone/site/SiteFile.h"

namespace qarhost {

namespace {

using Clock = std::chrono::steady_clock;

class Socket {
public:
    Socket() : file_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
    ~Socket() {
        if (file_ >= 0) close(file_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int File() const { return file_; }

private:
    const int file_;
};

std::string Reason() { return std::strerror(errno); }

// Nobody listens: is there no host, or does it not listen yet?
std::string NobodyListens(const std::string& data_dir) {
    const auto pid = DataDirLock::Holder(data_dir);
    if (!pid) return "no host runs on " + data_dir;
    return "the host (pid " + std::to_string(*pid) + ") that runs on " + data_dir +
           " does not listen: it starts or stops";
}

bool Connect(const Socket& socket, const std::string& data_dir, std::string& error) {
    const std::string path = ControlSocketPath(data_dir);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        error = "the path of a socket has at most " + std::to_string(sizeof address.sun_path - 1) + " bytes: " + path;
        return false;
    }
    std::copy(path.begin(), path.end(), static_cast<char*>(address.sun_path));
    if (connect(socket.File(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return true;
    error =
        errno == ENOENT || errno == ECONNREFUSED ? NobodyListens(data_dir) : "cannot reach " + path + ": " + Reason();
    return false;
}

// Waits until the socket is ready for `events`.
bool Ready(const Socket& socket, short events, Clock::time_point deadline, std::string& error) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd file{socket.File(), events, 0};
    if (poll(&file, 1, static_cast<int>(std::max<long long>(left, 0))) > 0) return true;
    error = "the host does not answer";
    return false;
}

bool Send(const Socket& socket, const std::string& text, Clock::time_point deadline, std::string& error) {
    std::size_t sent = 0;
    while (sent < text.size()) {
        if (!Ready(socket, POLLOUT, deadline, error)) return false;
        const ssize_t count = send(socket.File(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        // it may have hung up with an answer: what it will not read is too long, say
        if (count < 0 && (errno == EPIPE || errno == ECONNRESET)) return true;
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            error = "cannot send to the host: " + Reason();
            return false;
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

bool ReceiveLine(const Socket& socket, std::string& line, Clock::time_point deadline, std::string& error) {
    line.clear();
    std::array<char, 4096> block{};
    while (line.find('\n') == std::string::npos) {
        if (!Ready(socket, POLLIN, deadline, error)) return false;
        const ssize_t count = recv(socket.File(), block.data(), block.size(), 0);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            error = "the host hung up";
            return false;
        }
        if (count > 0) line.append(block.data(), static_cast<std::size_t>(count));
    }
    line.resize(line.find('\n'));
    return true;
}

}  // namespace

std::string ControlSocketPath(const std::string& data_dir) {
    constexpr char kName[] = "/qarhost.sock";
    static_assert(qarplatform::kLongestDataDir + sizeof kName == sizeof(sockaddr_un::sun_path));
    return data_dir + kName;
}

bool AskHost(const std::string& data_dir, const std::string& request, std::chrono::milliseconds timeout,
             std::string& answer, std::string& error) {
    const auto deadline = Clock::now() + timeout;
    const Socket socket;
    if (socket.File() < 0) {
        error = "cannot make a socket: " + Reason();
        return false;
    }
    return Connect(socket, data_dir, error) && Send(socket, request + "\n", deadline, error) &&
           ReceiveLine(socket, answer, deadline, error);
}

}  // namespace qarhost
