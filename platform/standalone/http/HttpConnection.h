#pragma once

#include <array>
#include <boost/intrusive/list_hook.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>  // before Asio: its coroutine header lacks it

#include "standalone/http/BodyBudget.h"
#include "standalone/http/BodySpool.h"
#include "standalone/http/ClientExchange.h"
#include "standalone/http/ClientFaults.h"
#include "standalone/http/ClientStream.h"
#include "standalone/http/HttpServer.h"
#include "standalone/http/PostGate.h"
#include "standalone/http/RequestParser.h"
#include "standalone/http/WebSocketSession.h"

namespace qarplatform {

class HttpConnection;

/// What a connection needs of its server. On the server's thread.
class ConnectionHost {
public:
    virtual ~ConnectionHost() = default;

    virtual const HttpServerOptions& Options() const = 0;
    virtual ClientFaults& Faults() = 0;
    /// @return whether the server takes no more requests
    virtual bool Stopping() const = 0;
    virtual std::unique_ptr<RequestParser> MakeParser() const = 0;
    /// @param received  what has come behind the request
    /// @param on_end    called once when the WebSocket is done with the stream
    virtual std::shared_ptr<WebSocketSession> MakeWebSocket(ClientStream& stream, std::string received,
                                                            const std::string& remote,
                                                            std::function<void()> on_end) = 0;
    virtual const std::shared_ptr<PostGate>& Gate() const = 0;
    /// @param head  of a request whose body is still to come
    virtual BodyTerms OnHead(const ClientHead& head) = 0;
    virtual const std::shared_ptr<BodyBudget>& UnknownBodies() const = 0;
    virtual void OnRequest(ClientRequest&& request) = 0;
    /// Runs a task on the thread that may wait for the disk; `then` runs on the server's thread behind it.
    virtual void RunOnDisk(std::function<void()> task, std::function<void()> then) = 0;
    /// The connection needs its place less than a new client does, from now until it unlinks itself.
    virtual void OnWaiting(HttpConnection& connection) = 0;
    virtual void OnClosed(const std::shared_ptr<HttpConnection>& connection) = 0;
};

/// One client's connection: reads requests, sends answers, and gives the stream to a WebSocket. Its host owns it until
/// it is closed. Threads: the server's.
class HttpConnection
    : public std::enable_shared_from_this<HttpConnection>,
      public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
public:
    HttpConnection(ConnectionHost& host, ClientStream::Socket socket, const std::shared_ptr<ssl_ctx_st>& tls,
                   std::string remote);

    /// Serves requests.
    void Start();
    /// Answers 503 without reading anything.
    void StartRefused();

    /// Ends a connection that waits, for a new client's sake.
    void MakeRoom();
    /// Ends the connection, or has it end behind its answer.
    void Stop();
    /// Ends the connection as it is. An answer under way counts as stopped.
    void Cut();

    /// Answers the request that was handed on.
    void Answer(const AnswerHead& head, std::string_view body, std::function<void(SendResult)> done);
    /// Lets the request that was handed on have its WebSocket.
    void Accept(const std::shared_ptr<PushListener>& listener);

private:
    enum class State {
        kHandshake,
        kIdle,       // no byte of a request has come
        kHead,       // reads a request's head
        kBody,       // reads a request's body
        kAnswering,  // the request was handed on
        kSending,
        kWebSocket,
        kEnding,  // an answer's last byte is sent; waits for the client to end the connection
        kClosed
    };

    /// A part of a body on its way to the disk.
    struct Piece {
        std::string data;
        bool last = false;
        int error = 0;
        std::string_view body;                   // of the last: the whole one
        std::shared_ptr<const void> body_owner;  // of the last
    };

    void StopWaiting() {
        if (is_linked()) {
            unlink();
        }
    }
    void Begin(void (HttpConnection::*then)());
    void OnHandshake(const boost::system::error_code& error, void (HttpConnection::*then)());
    void AwaitRequest();
    void Read();
    void OnRead(const boost::system::error_code& error, std::size_t size);
    void Parse();
    bool OnHead();
    bool AgreeOnBody();
    void OnContinued(const boost::system::error_code& error);
    bool KeepBody(bool whole);
    void Spool(bool last);
    void OnSpooled(const Piece& piece);
    void DropBody();
    void OnWhole();
    void TakeHead();
    void HandOn(std::string_view body, std::shared_ptr<const void> body_owner);

    /// Tells the fault in the log, answers by the server itself, and ends the connection.
    void Refuse(unsigned status, const std::string& reason);
    void RefuseFull() { Refuse(503, "there are too many connections"); }
    void SendError(unsigned status, const std::string& reason);
    void Send(const AnswerHead& head, std::string_view body, std::function<void(SendResult)> done);
    void SendPiece(std::string_view head);
    void OnPieceSent(const boost::system::error_code& error);
    void OnSent(const boost::system::error_code& error);
    void OnWebSocketEnd();
    void End();
    void EndSending();
    void ReadRest();
    void Close();
    void TellFault(const std::string& kind) { host_.Faults().Tell(kind, remote_); }

    void OnHeaderTimeout();
    void OnBodyTimeout() { Refuse(408, "the request's body took too long"); }
    void OnAnswerTimeout();
    void OnSendTimeout();

    using Clock = std::chrono::steady_clock;

    /// Calls a function when the time is over, in the place of what was armed before.
    void Arm(std::chrono::milliseconds time, void (HttpConnection::*on_expiry)());
    /// What was armed is not called.
    void Disarm();
    void SetTimer(Clock::time_point wake);
    void OnTimer();

    ConnectionHost& host_;
    const std::string remote_;
    ClientStream stream_;
    // A request sets a deadline several times but seldom an earlier one: the timer is left to wake too early, then set
    // anew.
    ClientStream::Timer timer_;
    uint64_t timer_turn_ = 0;
    Clock::time_point wake_ = Clock::time_point::max();  // of the timer, as long as it is set
    Clock::time_point deadline_;
    void (HttpConnection::*on_expiry_)() = nullptr;  // at the deadline, if there is one
    State state_ = State::kHandshake;
    bool reading_ = false;
    bool continuing_ = false;  // 100 is being written

    std::array<char, 16 * 1024> input_;
    std::string received_;  // what no parser has taken
    std::unique_ptr<RequestParser> parser_;
    ClientHead head_;                   // of the request, from its last header until it is handed on
    std::shared_ptr<BodySpool> spool_;  // used by the disk's thread while a piece is under way
    std::optional<BodyShare> share_;    // of an unknown sender's body
    std::shared_ptr<ClientExchange> exchange_;

    std::string head_text_;
    std::string own_body_;     // of the server's own answers
    std::string_view unsent_;  // of the answer's body
    std::chrono::milliseconds send_time_{0};
    bool keep_alive_ = false;
    std::function<void(SendResult)> done_;
    SendResult failure_ = SendResult::kGone;  // why a write fails
    std::shared_ptr<WebSocketSession> websocket_;
};

}  // namespace qarplatform
