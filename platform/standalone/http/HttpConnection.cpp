#include "standalone/http/HttpConnection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <utility>  // before Asio: its coroutine header lacks it

#include "standalone/http/AnswerText.h"
#include "standalone/http/ErrorBody.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

using boost::system::error_code;

constexpr std::size_t kSpoolPiece = 256 * 1024;
constexpr std::size_t kSendPiece = 256 * 1024;
constexpr std::chrono::seconds kEndTime(5);  // for a client to take the last answer
constexpr std::chrono::seconds kEndTimeOnStop(1);
constexpr std::chrono::hours kLongestTime(24 * 365);  // that a timer's clock surely holds
constexpr uint64_t kOwnBody = 64 * 1024;              // with a request that the server answers by itself
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

/// The body of an unknown sender, which counts until its last user lets go of it.
struct CountedBody {
    std::string data;
    std::optional<BodyShare> share;
};

void Tell(const std::function<void(SendResult)>& done, SendResult result) {
    try {
        if (done) {
            done(result);
        }
    } catch (const std::exception& failure) {
        LogSinkWrite(kLogError, kModulePlatform, "http: who sent an answer failed behind it: %s", failure.what());
    }
}

}  // namespace

HttpConnection::HttpConnection(ConnectionHost& host, ClientStream::Socket socket,
                               const std::shared_ptr<ssl_ctx_st>& tls, std::string remote)
    : host_(host),
      remote_(std::move(remote)),
      stream_(std::move(socket), tls),
      timer_(stream_.GetExecutor()),
      parser_(host.MakeParser()) {}

void HttpConnection::Start() {
    host_.OnWaiting(*this);
    Begin(&HttpConnection::Read);
}

void HttpConnection::StartRefused() { Begin(&HttpConnection::RefuseFull); }

void HttpConnection::Begin(void (HttpConnection::*then)()) {
    Arm(host_.Options().header_timeout, &HttpConnection::OnHeaderTimeout);
    stream_.Handshake([self = shared_from_this(), then](const error_code& error) { self->OnHandshake(error, then); });
}

void HttpConnection::OnHandshake(const error_code& error, void (HttpConnection::*then)()) {
    if (state_ == State::kClosed) {
        return;
    }
    if (error) {
        TellFault("a TLS handshake failed");
        Close();
        return;
    }
    state_ = State::kIdle;
    (this->*then)();
}

void HttpConnection::AwaitRequest() {
    parser_ = host_.MakeParser();
    spool_.reset();
    share_.reset();
    exchange_.reset();
    host_.OnWaiting(*this);
    if (received_.empty()) {
        state_ = State::kIdle;
        Arm(host_.Options().idle_timeout, &HttpConnection::Close);
        Read();
    } else {
        state_ = State::kHead;
        Arm(host_.Options().header_timeout, &HttpConnection::OnHeaderTimeout);
        Parse();
    }
}

void HttpConnection::Read() {
    reading_ = true;
    stream_.Read(boost::asio::buffer(input_),
                 [self = shared_from_this()](const error_code& error, std::size_t size) { self->OnRead(error, size); });
}

void HttpConnection::OnRead(const error_code& error, std::size_t size) {
    reading_ = false;
    switch (state_) {
        case State::kIdle:
            if (error) {
                Close();
                return;
            }
            state_ = State::kHead;
            Arm(host_.Options().header_timeout, &HttpConnection::OnHeaderTimeout);
            break;
        case State::kHead:
        case State::kBody:
            if (error == boost::asio::error::eof) {
                Refuse(400, "the request ends before its end");
                return;
            }
            if (error) {
                Close();
                return;
            }
            break;
        case State::kEnding:
            EndSending();
            return;
        default:
            return;
    }
    received_.append(input_.data(), size);
    Parse();
}

void HttpConnection::Parse() {
    for (;;) {
        std::size_t taken = 0;
        const RequestParser::Step step = parser_->Put(received_, taken);
        received_.erase(0, taken);
        switch (step) {
            case RequestParser::Step::kBad:
                Refuse(parser_->refusal.status, parser_->refusal.reason);
                return;
            case RequestParser::Step::kMore:
                if (KeepBody(false)) {
                    Read();
                }
                return;
            case RequestParser::Step::kHead:
                if (!OnHead()) {
                    return;
                }
                break;
            case RequestParser::Step::kDone:
                if (KeepBody(true)) {
                    OnWhole();
                }
                return;
        }
    }
}

/// @return whether parsing goes on
bool HttpConnection::OnHead() {
    const Refusal refusal = parser_->head.Check();
    if (refusal.status != 0) {
        Refuse(refusal.status, refusal.reason);
        return false;
    }
    TakeHead();
    if (!parser_->AwaitsBody()) {
        return true;
    }
    state_ = State::kBody;
    Arm(host_.Options().body_timeout, &HttpConnection::OnBodyTimeout);
    if (!AgreeOnBody()) {
        return false;
    }
    if (!parser_->head.expects_continue || !received_.empty()) {
        return true;
    }
    continuing_ = true;
    stream_.Write(kContinue, {},
                  [self = shared_from_this()](const error_code& error, std::size_t) { self->OnContinued(error); });
    return false;
}

/// @return whether the body is taken; else the request is answered
bool HttpConnection::AgreeOnBody() {
    BodyTerms terms;
    if (head_.target == "*") {
        terms.most_bytes = kOwnBody;
        terms.known = false;
    } else {
        terms = host_.OnHead(head_);
    }
    if (terms.refusal) {
        terms.refusal->head.close = true;
        own_body_ = std::move(terms.refusal->body);
        Send(terms.refusal->head, own_body_, nullptr);
        return false;
    }
    if (terms.known) {
        StopWaiting();
    } else {
        terms.most_bytes = std::min(terms.most_bytes, host_.Options().memory_body_bytes);
        share_.emplace(host_.UnknownBodies());
    }
    if (!parser_->LimitBody(terms.most_bytes)) {
        Refuse(parser_->refusal.status, parser_->refusal.reason);
        return false;
    }
    return true;
}

void HttpConnection::OnContinued(const error_code& error) {
    continuing_ = false;
    if (state_ != State::kBody) {
        return;
    }
    if (error) {
        Close();
    } else {
        Parse();
    }
}

/// @return whether the body stays in memory for now; else the way goes on in OnSpooled, or the request is answered
bool HttpConnection::KeepBody(bool whole) {
    const std::size_t size = parser_->body.size();
    if (share_) {
        const bool fits = share_->Grow(size);
        if (!fits) {
            Refuse(503, "there are too many bodies of unknown senders");
        }
        return fits;
    }
    if ((!spool_ && size <= host_.Options().memory_body_bytes) || (!whole && size < kSpoolPiece)) {
        return true;
    }
    Spool(whole);
    return false;
}

void HttpConnection::Spool(bool last) {
    const bool first = !spool_;
    if (first) {
        spool_ = std::make_shared<BodySpool>();
    }
    const auto piece = std::make_shared<Piece>();
    piece->data = std::exchange(parser_->body, {});
    piece->last = last;
    host_.RunOnDisk(
        [piece, first, spool = spool_, folder = host_.Options().spool_dir] {
            piece->error = first ? spool->Open(folder) : 0;
            if (piece->error == 0) {
                piece->error = spool->Append(piece->data);
            }
            if (piece->error == 0 && piece->last) {
                piece->body_owner = spool->Map(piece->body, piece->error);
            }
        },
        [self = shared_from_this(), piece] { self->OnSpooled(*piece); });
}

void HttpConnection::OnSpooled(const Piece& piece) {
    if (state_ != State::kBody) {
        return;
    }
    if (piece.error != 0) {
        const bool full = piece.error == ENOSPC || piece.error == EDQUOT || piece.error == EFBIG;
        Refuse(full ? 507 : 500, std::string("a file for the body cannot be written: ") + std::strerror(piece.error));
    } else if (piece.last) {
        HandOn(piece.body, piece.body_owner);
    } else {
        Parse();
    }
}

void HttpConnection::DropBody() {
    std::string().swap(parser_->body);
    share_.reset();
}

void HttpConnection::OnWhole() {
    if (head_.target == "*") {
        DropBody();
        AnswerHead head;
        head.status = 204;
        Send(head, {}, nullptr);
        return;
    }
    if (parser_->body.empty()) {
        HandOn({}, nullptr);
        return;
    }
    const auto body =
        std::make_shared<const CountedBody>(CountedBody{std::move(parser_->body), std::exchange(share_, std::nullopt)});
    HandOn(body->data, body);
}

// The verb stays, for the answer.
void HttpConnection::TakeHead() {
    RequestHead& head = parser_->head;
    head_.websocket = head.IsWebSocket();
    head_.verb = head.verb;
    head_.target = std::move(head.target);
    head_.host = std::move(head.host);
    head_.origin = std::move(head.origin);
    head_.cookie = std::move(head.cookie);
    head_.content_type = std::move(head.content_type);
    head_.remote = remote_;
}

void HttpConnection::HandOn(std::string_view body, std::shared_ptr<const void> body_owner) {
    StopWaiting();
    state_ = State::kAnswering;
    exchange_ = std::make_shared<ClientExchange>(host_.Gate(), weak_from_this());
    Arm(host_.Options().answer_timeout, &HttpConnection::OnAnswerTimeout);
    ClientRequest request{std::move(head_), {}, {}, {}};
    request.body = body;
    request.body_owner = std::move(body_owner);
    request.exchange = exchange_;
    host_.OnRequest(std::move(request));
}

void HttpConnection::Answer(const AnswerHead& head, std::string_view body, std::function<void(SendResult)> done) {
    if (state_ != State::kAnswering) {
        Tell(done, SendResult::kGone);
        return;
    }
    Send(head, body, std::move(done));
}

void HttpConnection::Accept(const std::shared_ptr<PushListener>& listener) {
    if (state_ != State::kAnswering) {
        return;
    }
    if (!parser_->head.IsWebSocket()) {
        SendError(400, "no WebSocket was asked for");
        return;
    }
    if (host_.Stopping()) {
        SendError(503, "the server stops");
        return;
    }
    Disarm();
    state_ = State::kWebSocket;
    websocket_ = host_.MakeWebSocket(stream_, std::exchange(received_, {}), remote_,
                                     [self = shared_from_this()] { self->OnWebSocketEnd(); });
    websocket_->Start(parser_->head.websocket_key, listener);
}

void HttpConnection::OnWebSocketEnd() {
    websocket_.reset();
    if (state_ == State::kWebSocket) {
        End();
    }
}

void HttpConnection::Refuse(unsigned status, const std::string& reason) {
    TellFault("a request was refused with " + std::to_string(status) + ", " + reason);
    SendError(status, reason);
}

void HttpConnection::SendError(unsigned status, const std::string& reason) {
    DropBody();
    if (continuing_) {  // a client that does not even take the 100
        Close();
        return;
    }
    AnswerHead head;
    head.status = status;
    head.close = true;
    head.headers.emplace_back("Content-Type", "application/json");
    if (status == 426) {
        head.headers.emplace_back("Sec-WebSocket-Version", "13");
    }
    own_body_ = ErrorBody(status, reason);
    Send(head, own_body_, nullptr);
}

void HttpConnection::Send(const AnswerHead& head, std::string_view body, std::function<void(SendResult)> done) {
    const HttpServerOptions& options = host_.Options();
    StopWaiting();
    state_ = State::kSending;
    send_time_ = head.timeout.count() > 0 ? head.timeout : options.send_timeout;
    keep_alive_ = !head.close && !host_.Stopping() && parser_->KeepsAlive();
    head_text_ = AnswerHeadText(head, body.size(), parser_->head.version, keep_alive_, std::time(nullptr));
    done_ = std::move(done);
    if (parser_->head.verb == "HEAD" || !HasBody(head.status)) {
        body = {};
    }
    unsent_ = body;
    SendPiece(head_text_);
}

// Each piece has the whole time: what counts is that the client goes on taking, not how long the answer is.
void HttpConnection::SendPiece(std::string_view head) {
    Arm(send_time_, &HttpConnection::OnSendTimeout);
    const std::string_view piece = unsent_.substr(0, kSendPiece);
    unsent_.remove_prefix(piece.size());
    stream_.Write(head, piece,
                  [self = shared_from_this()](const error_code& error, std::size_t) { self->OnPieceSent(error); });
}

void HttpConnection::OnPieceSent(const error_code& error) {
    if (error || unsent_.empty()) {
        OnSent(error);
    } else if (state_ == State::kClosed) {  // while it was on its way here
        OnSent(boost::asio::error::operation_aborted);
    } else {
        SendPiece({});
    }
}

void HttpConnection::OnSent(const error_code& error) {
    Tell(std::exchange(done_, nullptr), error ? failure_ : SendResult::kSent);
    if (state_ == State::kClosed) {
        return;
    }
    if (error) {
        Close();
    } else if (keep_alive_ && !host_.Stopping()) {
        AwaitRequest();
    } else {
        End();
    }
}

void HttpConnection::MakeRoom() {
    TellFault("a connection without a request was ended for a new one, there are too many");
    Close();
}

void HttpConnection::Stop() {
    switch (state_) {
        case State::kHandshake:
        case State::kIdle:
            Close();
            break;
        case State::kEnding:
            Arm(kEndTimeOnStop, &HttpConnection::Close);
            break;
        case State::kHead:
        case State::kBody:
            SendError(503, "the server stops");
            break;
        case State::kWebSocket:
            websocket_->Close(1001, "the server stops");
            break;
        case State::kAnswering:
        case State::kSending:
        case State::kClosed:
            break;
    }
}

void HttpConnection::Cut() {
    failure_ = SendResult::kStopped;
    Close();
}

void HttpConnection::End() {
    state_ = State::kEnding;
    host_.OnWaiting(*this);
    Arm(host_.Stopping() ? kEndTimeOnStop : kEndTime, &HttpConnection::Close);
    if (reading_) {
        stream_.Cancel();  // OnRead goes on
    } else {
        EndSending();
    }
}

// A connection that is closed while something unread lies in it is reset, and with it goes the answer.
void HttpConnection::EndSending() {
    stream_.EndSending([self = shared_from_this()](const error_code&) { self->ReadRest(); });
}

void HttpConnection::ReadRest() {
    if (state_ == State::kClosed) {
        return;
    }
    stream_.ReadRest(boost::asio::buffer(input_), [self = shared_from_this()](const error_code& error, std::size_t) {
        if (error) {
            self->Close();
        } else {
            self->ReadRest();
        }
    });
}

void HttpConnection::Close() {
    if (state_ == State::kClosed) {
        return;
    }
    StopWaiting();
    state_ = State::kClosed;
    Disarm();
    ++timer_turn_;
    timer_.cancel();  // which keeps this alive
    stream_.Close();
    host_.OnClosed(shared_from_this());
}

void HttpConnection::OnHeaderTimeout() {
    if (state_ == State::kHead) {
        Refuse(408, "the request's head took too long");
        return;
    }
    if (state_ == State::kHandshake) {
        TellFault("a TLS handshake took too long");
    }
    Close();
}

void HttpConnection::OnAnswerTimeout() {
    if (exchange_->Claim()) {
        TellFault("a request got no answer in time");
        SendError(504, "no answer came in time");
    }
}

void HttpConnection::OnSendTimeout() {
    TellFault("an answer was taken too slowly");
    failure_ = SendResult::kTimeout;
    Close();
}

void HttpConnection::Arm(std::chrono::milliseconds time, void (HttpConnection::*on_expiry)()) {
    deadline_ = Clock::now() + std::min<std::chrono::milliseconds>(time, kLongestTime);
    on_expiry_ = on_expiry;
    if (deadline_ < wake_) {
        SetTimer(deadline_);
    }
}

void HttpConnection::Disarm() { on_expiry_ = nullptr; }

void HttpConnection::SetTimer(Clock::time_point wake) {
    wake_ = wake;
    timer_.expires_at(wake);
    timer_.async_wait([self = shared_from_this(), turn = ++timer_turn_](const error_code& error) {
        if (!error && turn == self->timer_turn_) {
            self->OnTimer();
        }
    });
}

void HttpConnection::OnTimer() {
    wake_ = Clock::time_point::max();
    if (on_expiry_ == nullptr) {
        return;
    }
    if (Clock::now() < deadline_) {
        SetTimer(deadline_);
    } else {
        (this->*std::exchange(on_expiry_, nullptr))();
    }
}

}  // namespace qarplatform
