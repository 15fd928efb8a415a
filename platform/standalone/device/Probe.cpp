#include "standalone/device/Probe.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>

#include "standalone/base/Clock.h"

namespace qarplatform {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

const char* ProtocolOf(ProbeKind kind) { return kind == ProbeKind::kRtsp ? "RTSP" : "HTTP"; }

}  // namespace

bool IsOwnLack(const error_code& error) {
    constexpr std::array kLacks = {EMFILE, ENFILE, ENOBUFS, ENOMEM, EADDRNOTAVAIL};
    return error.category() == asio::error::get_system_category() &&
           std::find(kLacks.begin(), kLacks.end(), error.value()) != kLacks.end();
}

bool IsConnectedToItself(const tcp::socket& socket) {
    error_code error;
    const tcp::endpoint own = socket.local_endpoint(error);
    return !error && own == socket.remote_endpoint(error) && !error;
}

Probe::Probe(asio::io_context& io, HostResolver& resolver, const DeviceAddress& address,
             std::chrono::milliseconds timeout, Handler handler)
    : resolver_(resolver),
      address_(address),
      timeout_(timeout),
      handler_(std::move(handler)),
      socket_(io),
      deadline_(io),
      head_(ProtocolOf(address.kind)) {}

void Probe::Start() {
    deadline_.expires_after(timeout_);
    deadline_.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error) {
            self->OnDeadline();
        }
    });
    error_code not_numeric;
    const asio::ip::address address = asio::ip::make_address(address_.host, not_numeric);
    if (not_numeric) {
        Resolve();
        return;
    }
    endpoints_.emplace_back(address, address_.port);
    phase_ = Phase::kConnect;
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->Connect(); });
}

void Probe::Resolve() {
    resolver_.Resolve(address_.host, address_.port, deadline_.expiry(),
                      [self = shared_from_this()](const error_code& error, const HostResolver::Endpoints& endpoints) {
                          if (self->phase_ == Phase::kDone) {
                              return;
                          }
                          if (error) {
                              self->Broken("its host name cannot be looked up", error);
                              return;
                          }
                          self->phase_ = Phase::kConnect;
                          self->endpoints_.assign(endpoints.begin(), endpoints.end());
                          self->Connect();
                      });
}

// One address after the other, until one takes the connection.
void Probe::Connect() {
    if (phase_ == Phase::kDone) {
        return;
    }
    const tcp::endpoint endpoint = endpoints_[tried_++];
    error_code error;
    socket_.close(error);
    socket_.open(endpoint.protocol(), error);
    if (error) {
        OnConnect(error);
        return;
    }
    socket_.async_connect(endpoint, [self = shared_from_this()](const error_code& result) {
        if (self->phase_ == Phase::kDone) {
            return;
        }
        const bool nobody_listens = !result && IsConnectedToItself(self->socket_);
        self->OnConnect(nobody_listens ? error_code(asio::error::connection_refused) : result);
    });
}

void Probe::OnConnect(const error_code& error) {
    // A lack counts only where no address told anything: one may lie in a family that this machine has no address of.
    if (error && (!refused_ || !IsOwnLack(error))) {
        refused_ = error;
    }
    if (error && tried_ < endpoints_.size()) {
        Connect();
    } else if (error) {
        Broken("no connection", refused_);
    } else if (address_.kind == ProbeKind::kTcp) {
        Answered();
    } else {
        Ask();
    }
}

std::string Probe::Question() const {
    if (address_.kind == ProbeKind::kRtsp) {
        return "OPTIONS rtsp://" + address_.HostAndPort() + address_.path +
               " RTSP/1.0\r\nCSeq: 1\r\nUser-Agent: qarhost\r\n\r\n";
    }
    return "HEAD " + address_.path + " HTTP/1.1\r\nHost: " + address_.HostAndPort() +
           "\r\nUser-Agent: qarhost\r\nConnection: close\r\n\r\n";
}

void Probe::Ask() {
    phase_ = Phase::kAnswer;
    question_ = Question();
    asked_ = std::chrono::steady_clock::now();
    asio::async_write(socket_, asio::buffer(question_),
                      [self = shared_from_this()](const error_code& error, std::size_t /*bytes*/) {
                          if (self->phase_ == Phase::kDone) {
                              return;
                          }
                          if (error) {
                              self->Broken("the connection broke", error);
                          } else {
                              self->Read();
                          }
                      });
}

void Probe::Read() {
    socket_.async_read_some(asio::buffer(buffer_),
                            [self = shared_from_this()](const error_code& error, std::size_t bytes) {
                                if (self->phase_ != Phase::kDone) {
                                    self->OnRead(error, bytes);
                                }
                            });
}

void Probe::OnRead(const error_code& error, std::size_t bytes) {
    if (error == asio::error::eof) {
        Failed(got_bytes_ ? "the connection was closed before the answer was whole"
                          : "the connection was closed without an answer");
        return;
    }
    if (error) {
        Broken("the connection broke", error);
        return;
    }
    got_bytes_ = true;
    switch (head_.Add(std::string_view(buffer_.data(), bytes))) {
        case ReplyHead::State::kNeedMore:
            Read();
            break;
        case ReplyHead::State::kWhole:
            Answered();
            break;
        case ReplyHead::State::kRubbish:
            Failed(std::string("the answer is not ") + ProtocolOf(address_.kind));
            break;
        case ReplyHead::State::kTooLong:
            Failed("the head of the answer is longer than 16 KiB");
            break;
    }
}

void Probe::OnDeadline() {
    const std::string limit = " within " + std::to_string(timeout_.count()) + " ms";
    switch (phase_) {
        case Phase::kResolve:
            Failed("its host name was not looked up" + limit);
            break;
        case Phase::kConnect:
            Failed("no connection" + limit);
            break;
        case Phase::kAnswer:
            Failed((got_bytes_ ? "no whole answer" : "no answer") + limit);
            break;
        case Phase::kDone:
            break;
    }
}

void Probe::Answered() {
    ProbeResult result;
    result.outcome = ProbeResult::Outcome::kAnswered;
    result.date = head_.Date();
    // read before the round trip's end: what passes between the two then widens the doubt about the date
    result.answered_ms = Clock::Get().NowMs();
    if (phase_ == Phase::kAnswer) {
        result.round_trip = std::chrono::steady_clock::now() - asked_;
    }
    Finish(std::move(result));
}

void Probe::Failed(const std::string& reason) {
    ProbeResult result;
    result.reason = reason;
    Finish(std::move(result));
}

void Probe::Broken(const std::string& what, const error_code& error) {
    ProbeResult result;
    result.outcome = IsOwnLack(error) ? ProbeResult::Outcome::kNotAsked : ProbeResult::Outcome::kFailed;
    result.reason = what + ": " + error.message();
    Finish(std::move(result));
}

void Probe::Finish(ProbeResult result) {
    phase_ = Phase::kDone;
    deadline_.cancel();
    error_code ignored;
    socket_.close(ignored);
    const Handler handler = std::move(handler_);
    handler(result);
}

}  // namespace qarplatform
