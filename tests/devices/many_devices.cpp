#include "devices/many_devices.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>

#include "demo_cameras/time_text.h"

namespace qartest {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::uint32_t kFirstAddress = 0x7F010001;  // 127.1.0.1
constexpr int kQueue = 4096;

constexpr std::array kBehaviours = {
    Behaviour::kAnswers,         Behaviour::kRedirects, Behaviour::kAnswers, Behaviour::kEndlessBody,
    Behaviour::kAnswers,         Behaviour::kWrongDate, Behaviour::kAnswers, Behaviour::kSilent,
    Behaviour::kAnswers,         Behaviour::kDrips,     Behaviour::kAnswers, Behaviour::kNeverEnds,
    Behaviour::kAnswers,         Behaviour::kResets,    Behaviour::kAnswers, Behaviour::kEndlessHeaders,
    Behaviour::kClosesMidAnswer, Behaviour::kRubbish,   Behaviour::kNuls,    Behaviour::kBlackhole,
};

asio::ip::address_v4 AddressOf(int device) {
    return asio::ip::address_v4(kFirstAddress + static_cast<std::uint32_t>(device));
}

/// @return a number that is no device's where the address is none
int DeviceAt(const asio::ip::address& address) {
    return static_cast<int>(static_cast<std::int64_t>(address.to_v4().to_uint()) - std::int64_t{kFirstAddress});
}

// A child process must not keep a connection open that this one has closed.
void CloseInChildren(int file) { fcntl(file, F_SETFD, FD_CLOEXEC); }

void Listen(tcp::acceptor& acceptor, int queue) {
    acceptor.open(tcp::v4());
    CloseInChildren(acceptor.native_handle());
    acceptor.bind(tcp::endpoint(asio::ip::address_v4::any(), 0));
    acceptor.listen(queue);
}

}  // namespace

// One accepted connection. It reads all the time, as that tells when the other end closes.
class ManyDevices::Session : public std::enable_shared_from_this<Session> {
public:
    Session(ManyDevices& owner, tcp::socket socket, int device)
        : owner_(owner),
          socket_(std::move(socket)),
          pause_(socket_.get_executor()),
          device_(device),
          behaviour_(BehaviourOf(device)) {}

    int File() { return socket_.native_handle(); }

    void Read() {
        socket_.async_read_some(asio::buffer(buffer_),
                                [self = shared_from_this()](error_code error, std::size_t bytes) {
                                    if (error || self->closed_) {
                                        self->End();
                                        return;
                                    }
                                    self->OnBytes(bytes);
                                    self->Read();
                                });
    }

    /// The owner is not touched any more.
    void Close() {
        closed_ = true;
        error_code ignored;
        pause_.cancel();
        socket_.close(ignored);
    }

    static void Cut(tcp::socket& socket) {
        error_code ignored;
        socket.set_option(asio::socket_base::linger(true, 0), ignored);
        socket.close(ignored);
    }

private:
    void OnBytes(std::size_t bytes) {
        if (answering_) return;
        question_.append(buffer_.data(), bytes);
        answering_ = question_.find("\r\n\r\n") != std::string::npos;
        if (answering_) Answer();
    }

    void Answer() {
        const std::string whole = owner_.Answer(device_, question_.compare(0, 5, "HEAD ") == 0);
        switch (behaviour_) {
            case Behaviour::kAnswers:
            case Behaviour::kRedirects:
            case Behaviour::kWrongDate:
                Send(whole, nullptr);
                break;
            case Behaviour::kEndlessBody:
                Send(whole, [this] { SendOn(std::string(16384, 'x')); });
                break;
            case Behaviour::kEndlessHeaders:
                Send(whole.substr(0, whole.size() - 2), [this] { SendOn("More: " + std::string(500, 'm') + "\r\n"); });
                break;
            case Behaviour::kNeverEnds:
                Send(whole.substr(0, whole.size() - 2), nullptr);
                break;
            case Behaviour::kClosesMidAnswer:
                Send(whole.substr(0, whole.size() / 2), [this] { End(); });
                break;
            case Behaviour::kRubbish:
                Send("\x01\xFF{\"no\":\"answer\"}\r\n\r\n", nullptr);
                break;
            case Behaviour::kNuls:
                Send(std::string(200, '\0'), nullptr);
                break;
            case Behaviour::kDrips:
                Drip(whole);
                break;
            case Behaviour::kSilent:
            case Behaviour::kResets:
            case Behaviour::kBlackhole:
                break;
        }
    }

    void Send(std::string text, std::function<void()> then) {
        text_ = std::move(text);
        asio::async_write(socket_, asio::buffer(text_),
                          [self = shared_from_this(), then = std::move(then)](error_code error, std::size_t) {
                              if (error) {
                                  self->End();
                              } else if (then) {
                                  then();
                              }
                          });
    }

    void SendOn(const std::string& text) {
        Send(text, [this, text] { SendOn(text); });
    }

    void Drip(const std::string& rest) {
        pause_.expires_after(owner_.drip_);
        pause_.async_wait([self = shared_from_this(), rest](error_code error) {
            if (!error && !rest.empty()) {
                self->Send(rest.substr(0, 1), [raw = self.get(), rest] { raw->Drip(rest.substr(1)); });
            }
        });
    }

    void End() {
        if (closed_) return;
        Close();
        owner_.sessions_.erase(shared_from_this());
    }

    ManyDevices& owner_;
    tcp::socket socket_;
    asio::steady_timer pause_;
    const int device_;
    const Behaviour behaviour_;
    std::array<char, 512> buffer_{};
    std::string question_;
    std::string text_;
    bool answering_ = false;
    bool closed_ = false;
};

ManyDevices::ManyDevices(int count, std::function<std::int64_t()> clock_s, std::chrono::milliseconds drip)
    : count_(count),
      clock_s_(std::move(clock_s)),
      drip_(drip),
      acceptor_(io_.Context()),
      blackhole_(io_.Context()),
      in_the_blackholes_queue_(io_.Context()),
      asked_(static_cast<std::size_t>(count) + 1),
      away_(static_cast<std::size_t>(count) + 1) {
    Listen(acceptor_, kQueue);
    port_ = acceptor_.local_endpoint().port();
    // One connection that nobody accepts fills a queue of this length.
    Listen(blackhole_, 0);
    blackhole_port_ = blackhole_.local_endpoint().port();
    in_the_blackholes_queue_.connect(tcp::endpoint(asio::ip::address_v4::loopback(), blackhole_port_));
    CloseInChildren(in_the_blackholes_queue_.native_handle());
    io_.Run([this] {
        open_ = std::make_shared<bool>(true);
        Accept();
    });
}

ManyDevices::~ManyDevices() {
    io_.Run([this] {
        open_.reset();
        error_code ignored;
        acceptor_.close(ignored);
        for (const auto& session : sessions_) session->Close();
        sessions_.clear();
    });
}

Behaviour ManyDevices::BehaviourOf(int device) {
    return kBehaviours[static_cast<std::size_t>(device) % kBehaviours.size()];
}

bool ManyDevices::AsksByHttp(int device) {
    const Behaviour behaviour = BehaviourOf(device);
    return behaviour == Behaviour::kRedirects || behaviour == Behaviour::kEndlessBody || device / 20 % 2 == 1;
}

std::string ManyDevices::Probe(int device) const {
    const Behaviour behaviour = BehaviourOf(device);
    const std::uint16_t port = behaviour == Behaviour::kBlackhole ? blackhole_port_ : port_;
    const std::string place = AddressOf(device).to_string() + ":" + std::to_string(port);
    if (behaviour == Behaviour::kAnswers && device % 20 == 14) return "tcp://" + place;
    return (AsksByHttp(device) ? "http://" : "rtsp://") + place + "/";
}

void ManyDevices::SetAway(const std::vector<int>& devices, bool away) {
    io_.Run([&] {
        for (const int device : devices) away_.at(static_cast<std::size_t>(device)) = away ? 1 : 0;
    });
}

int ManyDevices::Asked(int device) const {
    return io_.Run([&] { return asked_.at(static_cast<std::size_t>(device)); });
}

double ManyDevices::TurnsOf(const std::vector<int>& devices) const {
    return io_.Run([&] {
        double asked = 0;
        for (const int device : devices) asked += asked_.at(static_cast<std::size_t>(device));
        return asked / static_cast<double>(devices.size());
    });
}

std::size_t ManyDevices::MostOpen() const {
    return io_.Run([this] { return most_open_; });
}

void ManyDevices::Accept() {
    acceptor_.async_accept([this, open = std::weak_ptr<bool>(open_)](error_code error, tcp::socket socket) {
        if (open.expired()) return;
        if (!error) OnConnection(std::move(socket));
        Accept();
    });
}

void ManyDevices::OnConnection(tcp::socket socket) {
    CloseInChildren(socket.native_handle());
    error_code error;
    const int device = DeviceAt(socket.local_endpoint(error).address());
    if (error || device < 1 || device > count_) return;
    ++asked_[static_cast<std::size_t>(device)];
    if (away_[static_cast<std::size_t>(device)] != 0 || BehaviourOf(device) == Behaviour::kResets) {
        Session::Cut(socket);
        return;
    }
    const auto session = std::make_shared<Session>(*this, std::move(socket), device);
    sessions_.insert(session);
    session->Read();
    if (sessions_.size() > most_open_) most_open_ = std::max(most_open_, CountOpen());
}

// What the other end has closed, and was not read yet, is open no more.
std::size_t ManyDevices::CountOpen() const {
    std::vector<pollfd> files;
    for (const auto& session : sessions_) files.push_back({session->File(), POLLRDHUP, 0});
    const int closed = poll(files.data(), files.size(), 0);
    return files.size() - static_cast<std::size_t>(std::max(closed, 0));
}

std::string ManyDevices::Answer(int device, bool http) const {
    const Behaviour behaviour = BehaviourOf(device);
    std::string date = demo::FormatHttpDate(clock_s_());
    if (behaviour == Behaviour::kWrongDate) {
        date = device / 20 % 2 == 0 ? "Thu, 01 Jan 1970 00:00:09 GMT" : "the day after tomorrow";
    }
    const std::string head = "Server: one of many\r\nDate: " + date + "\r\n\r\n";
    if (!http) return "RTSP/1.0 200 OK\r\nCSeq: 1\r\n" + head;
    if (behaviour == Behaviour::kRedirects) return "HTTP/1.1 302 Found\r\nLocation: " + Probe(device) + "\r\n" + head;
    return "HTTP/1.1 200 OK\r\n" + head;
}

}  // namespace qartest
