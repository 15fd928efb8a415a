// What a client sends to a server, over a real connection: the server answers or hangs up, and goes on serving.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "standalone/http/HttpServer.h"

namespace {

using qarplatform::BodyTerms;
using qarplatform::ClientHead;
using qarplatform::ClientRequest;
using qarplatform::HttpServer;
using qarplatform::HttpServerOptions;

class Echo : public qarplatform::PushListener {
public:
    void Opened(const std::shared_ptr<qarplatform::PushChannel>& channel) override { channel_ = channel; }
    void Received(const std::string& text) override { channel_->Send(std::make_shared<const std::string>(text), true); }
    void Closed() override { channel_.reset(); }

private:
    std::shared_ptr<qarplatform::PushChannel> channel_;
};

void Answer(const ClientRequest& request) {
    if (request.websocket) {
        request.exchange->Accept(std::make_shared<Echo>());
        return;
    }
    // the body and whoever owns it live as long as the answer
    request.exchange->Send({}, request.body, [owner = request.body_owner](qarplatform::SendResult) {});
}

// By the target, for an input to choose: a body at /u is of an unknown sender, one at /r is refused.
BodyTerms Terms(const ClientHead& head) {
    BodyTerms terms;
    terms.known = head.target != "/u";
    if (head.target == "/r") terms.refusal.emplace();
    return terms;
}

uint16_t Port() {
    static HttpServer& server = *new HttpServer;  // leaked: its threads end with the process
    static const uint16_t port = [] {
        HttpServerOptions options;
        options.body_bytes = 100'000;
        options.memory_body_bytes = 10'000;
        options.unknown_body_bytes = 5'000;
        options.spool_dir = "/tmp";
        std::string error;
        if (!server.Start(options, &Answer, error, &Terms)) std::abort();
        return server.Port();
    }();
    return port;
}

int Connect() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(Port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval patience{30, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) std::abort();
    return fd;
}

// A search's alarm clock interrupts what waits.
template <class Call>
ssize_t Uninterrupted(const Call& call) {
    ssize_t n = 0;
    do {
        n = call();
    } while (n < 0 && errno == EINTR);
    return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const int fd = Connect();
    std::size_t sent = 0;
    while (sent < size) {
        const ssize_t n = Uninterrupted([&] { return send(fd, data + sent, size - sent, MSG_NOSIGNAL); });
        if (n <= 0) break;  // the server has had enough
        sent += static_cast<std::size_t>(n);
    }
    shutdown(fd, SHUT_WR);
    std::string answer;
    char buffer[4096];
    ssize_t n = 0;
    while ((n = Uninterrupted([&] { return recv(fd, buffer, sizeof(buffer), 0); })) > 0) {
        answer.append(buffer, static_cast<std::size_t>(n));
    }
    const bool hung_up = n == 0 || errno == ECONNRESET;
    close(fd);
    if (!hung_up || (!answer.empty() && answer.rfind("HTTP/1.1 ", 0) != 0)) std::abort();
    return 0;
}
