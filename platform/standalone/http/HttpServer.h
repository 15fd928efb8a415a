#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qarplatform {

struct HttpServerOptions {
    std::string address = "127.0.0.1";
    uint16_t port = 0;                          ///< 0: a free one
    std::string certificate_file;               ///< PEM chain; with key_file: HTTPS, else both ""
    std::string key_file;                       ///< PEM, mode 0600
    std::size_t connections = 1024;             ///< that are served at a time; how one beyond them is: see HttpServer
    std::size_t header_bytes = 16 * 1024;       ///< of request line and headers; of a chunk's head or the trailer too
    uint64_t body_bytes = 64ULL * 1024 * 1024;  ///< a longer body is refused with 413
    uint64_t memory_body_bytes = 1024 * 1024;   ///< a longer body goes to a file in spool_dir, nameless
    std::string spool_dir;                      ///< "": bodies above memory_body_bytes are refused
    /// Of the bodies of unknown senders (see BodyTerms) together, until who was handed them lets go; then 503.
    uint64_t unknown_body_bytes = 64ULL * 1024 * 1024;
    /// To a request's last header: from the connection's begin, with TLS's handshake, or from a later request's first
    /// byte.
    std::chrono::milliseconds header_timeout{10'000};
    std::chrono::milliseconds body_timeout{60'000};    ///< for the whole body
    std::chrono::milliseconds idle_timeout{60'000};    ///< between two requests, and between two pongs of a WebSocket
    std::chrono::milliseconds send_timeout{60'000};    ///< of an answer whose head names none: see AnswerHead
    std::chrono::milliseconds answer_timeout{60'000};  ///< from a request's last byte to its answer; then 504
    /// That wait for one WebSocket, with 128 more for each message; above it is closed with 1008.
    std::size_t push_queue_bytes = 4 * 1024 * 1024;
    /// For a WebSocket that the server ends: to what still waits, the close and the client's answer to it. Then it is
    /// cut.
    std::chrono::milliseconds push_end_timeout{5'000};
    std::chrono::milliseconds stop_timeout{5'000};  ///< for what is under way when the server stops
};

/// Head of an answer. Content-Length, Transfer-Encoding, Connection, Keep-Alive, Date and Server are the server's own:
/// a head that names one of them is a bad one, as is one with a name that is no token, a value with control characters
/// (a tab may be) or a status outside 200 to 599. The server adds "X-Content-Type-Options: nosniff" where it is
/// missing. Answers of status 204 and 304 and those to HEAD go without their body.
struct AnswerHead {
    unsigned status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    bool close = false;  ///< ends the connection behind the answer
    /// For the client to take the head with the first 256 KiB of the body, and again for each 256 KiB behind them; a
    /// client that is slow but steady gets an answer of any length. 0: the server's send_timeout.
    std::chrono::milliseconds timeout{0};
};

/// A whole answer.
struct Answer {
    AnswerHead head;
    std::string body;
};

/// The numbers are those of Mox::Net::CHttpServer::HttpServerSyncSend.
enum class SendResult {
    kSent = 0,      ///< the system has taken every byte for the client
    kAnswered = 1,  ///< the request has its answer already, be it the server's own 504
    kGone = 2,      ///< the client ended the connection
    kTimeout = 3,   ///< the client did not take a part of the answer in time; its connection is ended
    kBadHead = 4,   ///< nothing was sent; the request may still be answered
    kStopped = 5    ///< the server stopped before the last byte
};

/// An open WebSocket. Threads: any.
class PushChannel {
public:
    virtual ~PushChannel() = default;

    /// Queues a message, which goes as one frame; never waits. When the queue would grow beyond the server's limit it
    /// is dropped, and the WebSocket ends with 1008.
    /// @param data  not null
    /// @param text  whether it goes as a text frame; what is no UTF-8 in it is replaced by U+FFFD then
    /// @return false when the WebSocket has ended or ends now
    virtual bool Send(std::shared_ptr<const std::string> data, bool text) = 0;

    /// Ends the WebSocket behind what is queued; with 1008, whose client shall have nothing more, without it. One that
    /// ends already keeps its code. It has ended when the server's push_end_timeout is over, whatever its client does.
    /// @param code    one that may be sent: 1000 to 1003, 1007 to 1011, 3000 to 4999; another becomes 1011
    /// @param reason  cut to 123 bytes
    virtual void Close(uint16_t code, const std::string& reason) = 0;
};

/// What a WebSocket tells. Called on the server's thread, one call at a time for one channel; must not block or throw.
/// The server pings a silent client, and ends the WebSocket when nothing comes for idle_timeout. A message that is
/// binary ends it with 1003, one above 64 KiB with 1009, a text that is no UTF-8 with 1007, a breach of the protocol
/// with 1002.
class PushListener {
public:
    virtual ~PushListener() = default;

    /// @param channel  may be kept for any time; it does nothing any more once the WebSocket has ended
    virtual void Opened(const std::shared_ptr<PushChannel>& channel) = 0;
    /// @param text  a whole text message of the client, UTF-8
    virtual void Received(const std::string& text) = 0;
    /// The last call, once after Opened.
    virtual void Closed() = 0;
};

/// A request's way back to its client. Either operation counts once for each request. It may be kept for any time,
/// beyond the server's end too. Threads: any.
class Exchange {
public:
    virtual ~Exchange() = default;

    /// Sends an answer; never waits.
    /// @param body  not copied; must stay readable until `done` was called
    /// @param done  not empty; called once. On the server's thread, where it must not block or throw; or within this
    /// call,
    ///              with kAnswered, kBadHead or kStopped
    virtual void Send(AnswerHead head, std::string_view body, std::function<void(SendResult)> done) = 0;

    /// Answers a WebSocket's upgrade; never waits. Nothing when the request has its answer or the client has gone; its
    /// listener hears nothing then. A request that is no upgrade is answered 400.
    virtual void Accept(std::shared_ptr<PushListener> listener) = 0;
};

/// A request's head as it came in.
struct ClientHead {
    std::string verb;    ///< "GET", "HEAD", ..., as sent
    std::string target;  ///< as sent, from the path on: begins with '/'
    std::string host;    ///< "" where HTTP/1.0 names none
    std::string origin;
    std::string cookie;  ///< all Cookie lines, joined by "; "
    std::string content_type;
    std::string remote;      ///< the client's address, without its port
    bool websocket = false;  ///< a well-formed WebSocket upgrade
};

/// A whole request as it came in.
struct ClientRequest : ClientHead {
    std::string_view body;  ///< readable while body_owner lives
    std::shared_ptr<const void> body_owner;
    std::shared_ptr<Exchange> exchange;
};

/// How the body of a request is to be taken whose head is there.
struct BodyTerms {
    /// Nothing of the body is taken: this is sent at once, in the place of a 100 too, and ends the connection. Its head
    /// must be one that can be sent.
    std::optional<Answer> refusal;
    /// Beside the server's own limits; a longer body is refused with 413.
    uint64_t most_bytes = std::numeric_limits<uint64_t>::max();
    /// Whether somebody answers for the sender. Else the body is taken into memory only, of at most memory_body_bytes,
    /// and as long as unknown_body_bytes lasts.
    bool known = true;
};

/// A server of HTTP/1.1 and 1.0, plain or over TLS 1.2 and 1.3, with WebSockets. One thread serves all clients, another
/// writes long bodies to the disk.
/// It answers by itself, with an ErrorBody and the end of the connection, what is no proper request (400, 411, 417,
/// 426, 431, 501 for CONNECT, TRACE and encodings but "chunked", 505), what is too long (413) or too slow (408), what
/// the disk cannot take (507, 500), what comes while all connections are busy or the server stops (503), and what gets
/// no answer (504); and "OPTIONS *", with 204. Other verbs are handed on, known or not. A request that comes while
/// another of its connection has no answer yet waits unread. A client that has said all keeps the way back open: only
/// when an answer cannot be sent has it gone.
/// A new client beyond the limit of connections takes the place of the connection that has waited longest: new and
/// silent, between two requests, within a request's head or an unknown sender's body (see BodyTerms), or behind its
/// last answer until the client ends it. That one ends without an answer. A connection is busy, and keeps its place,
/// while a known sender's body is read, a request is handled or answered, and as a WebSocket, be it silent. Each kind
/// of client's fault gets a line in the log at most once a second, with the address and the number of those left out.
/// Threads: any, behind Start.
class HttpServer {
public:
    HttpServer();
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Once, or again behind Stop.
    /// @param on_request  called on the server's thread for each whole request; must not block or throw
    /// @param error       gets what is wrong, with the file or address
    /// @param on_head     called likewise when a body is still to come, before any of it is read; on_request follows
    ///                    when that is whole. Empty: every body is taken, as a known sender's
    bool Start(const HttpServerOptions& options, std::function<void(ClientRequest&&)> on_request, std::string& error,
               std::function<BodyTerms(const ClientHead&)> on_head = nullptr);

    /// @return the port it listens on; 0 when it does not
    uint16_t Port() const;

    /// Takes no more connections or requests, ends the idle ones and the WebSockets (1001), waits for those that are
    /// being answered, at most stop_timeout, cuts what is left, and ends the threads. No callback comes behind it. Not
    /// from a callback.
    void Stop();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qarplatform
