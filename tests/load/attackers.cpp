#include "load/attackers.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include "standalone/http/push_client.h"

namespace qartest {

namespace {

using http_test::PushClient;
using http_test::RawClient;
using Clients = std::vector<std::unique_ptr<RawClient>>;

constexpr int kBetweenRoundsMs = 5;
constexpr std::size_t kSlow = 100;

template <class Choices>
const auto& Choose(const Choices& choices, std::uint64_t round) {
    return choices[round % choices.size()];
}

bool HasEnded(const RawClient& client) {
    char byte = 0;
    const ssize_t size = recv(client.Fd(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return size == 0 || (size < 0 && errno != EAGAIN && errno != EWOULDBLOCK);
}

}  // namespace

Attackers::Attackers(std::uint16_t port, std::string cookie, std::size_t idle)
    : port_(port), cookie_(std::move(cookie)) {
    Run("idle", [this, clients = std::make_shared<Clients>(idle)](std::uint64_t) { StayIdle(*clients); });
    Run("slow heads", [this, clients = std::make_shared<Clients>(kSlow)](std::uint64_t) { SendSlowly(*clients); });
    Run("malformed lines", [this](std::uint64_t round) { SendLine(round); });
    Run("header floods", [this](std::uint64_t round) { SendHeaders(round); });
    Run("bodies cut short", [this](std::uint64_t round) { CutBody(round); });
    Run("path tricks", [this](std::uint64_t round) { TryPath(round); });
    Run("wrong frames", [this](std::uint64_t round) { SendFrame(round); });
}

Attackers::~Attackers() { Stop(); }

bool Attackers::HaveDone(std::uint64_t rounds) const {
    return std::all_of(running_.begin() + 1, running_.end(), [&](const auto& kind) { return kind->rounds >= rounds; });
}

void Attackers::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    stopped_.notify_all();
    for (const auto& kind : running_) {
        if (kind->thread.joinable()) kind->thread.join();
    }
}

std::vector<Attackers::Kind> Attackers::Kinds() const {
    std::vector<Kind> kinds;
    for (const auto& kind : running_) kinds.push_back({kind->name, kind->rounds});
    return kinds;
}

void Attackers::Run(const std::string& name, std::function<void(std::uint64_t round)> attack) {
    running_.push_back(std::make_unique<Running>());
    Running& kind = *running_.back();
    kind.name = name;
    kind.thread = std::thread([this, &kind, attack = std::move(attack)] {
        do {
            attack(kind.rounds);
            ++kind.rounds;
        } while (Pause(kBetweenRoundsMs));
    });
}

/// @return whether to go on
bool Attackers::Pause(int ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    return !stopped_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return stop_; });
}

std::unique_ptr<RawClient> Attackers::Connect() const { return std::make_unique<RawClient>(port_); }

// No answer is right too: the connection may have been ended for a newer one.
void Attackers::SendBad(const std::string& bytes) {
    const auto client = Connect();
    client->Send(bytes);
    const int status = client->ReadAnswer().status;
    if (status == 0 || (status >= 400 && status != 500 && status != 504)) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    wrong_.push_back(std::to_string(status) + " to " + bytes.substr(0, 60));
}

void Attackers::StayIdle(Clients& clients) {
    for (std::unique_ptr<RawClient>& client : clients) {
        if (client && !HasEnded(*client)) continue;
        client.reset();
        client = Connect();
        ++idle_opened_;
    }
}

void Attackers::SendSlowly(Clients& clients) const {
    for (std::unique_ptr<RawClient>& client : clients) {
        if (!client || HasEnded(*client)) {
            client.reset();
            client = Connect();
            client->Send("GET /doorbell/rings HTTP/1.1\r\nHost: h\r\nX: ");
        }
        client->Send("x");
    }
}

void Attackers::SendLine(std::uint64_t round) {
    static const std::array<std::string, 8> kLines = {
        "GET\r\n\r\n",
        "GET / HTTP/9.9\r\nHost: h\r\n\r\n",
        "GET  /  HTTP/1.1\r\nHost: h\r\n\r\n",
        "G\x01T / HTTP/1.1\r\nHost: h\r\n\r\n",
        "\x16\x03\x01\x02\x01\x01\xfc\x03\x03\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: h\r\nHost: i\r\n\r\n",
        "GET / HTTP/1.1\r\n\r\n",
        "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"};
    SendBad(Choose(kLines, round));
}

void Attackers::SendHeaders(std::uint64_t round) {
    std::string head = "GET /doorbell/rings HTTP/1.1\r\nHost: h\r\n";
    if (round % 2 == 0) {
        head.append("X: ").append(1'000'000, 'x').append("\r\n");
    } else {
        for (int i = 0; i < 20'000; ++i) head.append("X-").append(std::to_string(i)).append(": 1\r\n");
    }
    SendBad(head + "\r\n");
}

void Attackers::CutBody(std::uint64_t round) const {
    static const std::array<std::string, 4> kBodies = {"5\r\nab", "5\r\nabcde", "5\r\nabcde\r\n0\r\n", "5"};
    const auto client = Connect();
    client->Send("POST /login HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n" + Choose(kBodies, round));
    switch (round % 3) {
        case 0:
            client->EndSending();
            client->Ends();
            break;
        case 1:
            client->Reset();
            break;
        default:
            break;
    }
}

void Attackers::TryPath(std::uint64_t round) {
    static const std::array<std::string, 7> kPaths = {"/../../etc/passwd",         "/doorbell/../../etc/passwd",
                                                      "/%2e%2e/%2e%2e/etc/passwd", "/doorbell/..%2f..%2fsite.toml",
                                                      "/doorbell/rings%00.svg",    "/doorbell/%zz",
                                                      "/doorbell\\..\\site.toml"};
    SendBad("GET " + Choose(kPaths, round) + " HTTP/1.1\r\nHost: h\r\n" + cookie_ + "\r\n\r\n");
}

void Attackers::SendFrame(std::uint64_t round) {
    static const std::array<std::string, 6> kFrames = {
        PushClient::FrameText(0x81, "unmasked", false),   PushClient::FrameText(0xF1, "reserved bits"),
        PushClient::FrameText(0x83, "reserved opcode"),   PushClient::FrameText(0x81, "\xff\xfe no UTF-8"),
        PushClient::FrameText(0x80, "continues nothing"), PushClient::FrameText(0x81, std::string(100'000, 'x'))};
    const auto client = Connect();
    client->Send("GET /push HTTP/1.1\r\nHost: h\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n" + cookie_ +
                 "\r\nSec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
    client->ReadTo("\r\n\r\n");
    client->Send(Choose(kFrames, round));
    client->Ends();
}

}  // namespace qartest
