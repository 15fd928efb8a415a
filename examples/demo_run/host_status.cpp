#include "demo_run/host_status.h"

#include <poll.h>
#include <rapidjson/document.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace demo {

namespace {

std::int64_t Number(const rapidjson::Value& object, const char* key) {
    const auto member = object.FindMember(key);
    return member != object.MemberEnd() && member->value.IsInt64() ? member->value.GetInt64() : 0;
}

class Socket {
public:
    Socket() : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }

    bool Connect(const std::filesystem::path& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (descriptor_ < 0 || path.native().size() >= sizeof(address.sun_path)) {
            return false;
        }
        std::memcpy(address.sun_path, path.c_str(), path.native().size());
        return connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    bool Send(const std::string& text) {
        return send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }

    /// What comes up to the first line's end.
    std::optional<std::string> ReadLine(std::chrono::steady_clock::time_point until) {
        std::string line;
        std::array<char, 4096> part{};
        while (line.find('\n') == std::string::npos) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
            pollfd waited{descriptor_, POLLIN, 0};
            if (left.count() <= 0 || poll(&waited, 1, static_cast<int>(left.count())) <= 0) {
                return std::nullopt;
            }
            const ssize_t size = recv(descriptor_, part.data(), part.size(), 0);
            if (size <= 0) {
                return std::nullopt;
            }
            line.append(part.data(), static_cast<std::size_t>(size));
        }
        return line.substr(0, line.find('\n'));
    }

private:
    int descriptor_;
};

}  // namespace

const TimerStatus* HostStatus::HistoryTimer() const {
    for (const TimerStatus& timer : timers) {
        if (timer.name == "HistoryStateMgr.timer") {
            return &timer;
        }
    }
    return nullptr;
}

std::optional<HostStatus> ParseHostStatus(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("ok") || !document["ok"].IsTrue()) {
        return std::nullopt;
    }
    HostStatus status;
    if (document.HasMember("clock") && document["clock"].IsObject()) {
        status.now_ms = Number(document["clock"], "now_ms");
    }
    if (document.HasMember("timers") && document["timers"].IsArray()) {
        for (const rapidjson::Value& timer : document["timers"].GetArray()) {
            if (timer.IsObject() && timer.HasMember("name") && timer["name"].IsString()) {
                status.timers.push_back({timer["name"].GetString(), Number(timer, "interval_ms"),
                                         Number(timer, "started_ms"), Number(timer, "ticks")});
            }
        }
    }
    return status;
}

std::optional<HostStatus> AskHostStatus(const std::filesystem::path& socket, std::chrono::milliseconds timeout) {
    const auto until = std::chrono::steady_clock::now() + timeout;
    Socket control;
    if (!control.Connect(socket) || !control.Send("{\"command\":\"status\"}\n")) {
        return std::nullopt;
    }
    const std::optional<std::string> answer = control.ReadLine(until);
    return answer ? ParseHostStatus(*answer) : std::nullopt;
}

}  // namespace demo
