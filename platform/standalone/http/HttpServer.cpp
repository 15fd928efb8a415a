// The only source with Beast: no other takes a compiler so long.
#include "standalone/http/HttpServer.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/intrusive/list.hpp>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <future>
#include <limits>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>  // before Asio: its coroutine header lacks it

#include "standalone/http/BodyBudget.h"
#include "standalone/http/BodySpool.h"
#include "standalone/http/ClientFaults.h"
#include "standalone/http/ClientListener.h"
#include "standalone/http/HttpConnection.h"
#include "standalone/http/PostGate.h"
#include "standalone/http/PushQueue.h"
#include "standalone/http/RequestParser.h"
#include "standalone/http/TlsContext.h"
#include "standalone/http/WebSocketSession.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
using beast::error_code;

constexpr std::size_t kRefusedAtOnce = 64;  // connections beyond the limit that are told so, the others only end
constexpr std::chrono::hours kLongestStop(24);
constexpr std::size_t kPushMessageBytes = 64 * 1024;
constexpr std::chrono::hours kLongestPushTime(24 * 365);  // that a timer's clock surely holds

// --- requests --------------------------------------------------------------------------------------------------------

class BeastParser : public RequestParser, private beast::http::basic_parser<true> {
    using Base = beast::http::basic_parser<true>;

public:
    explicit BeastParser(const HttpServerOptions& options)
        : head_limit_(options.header_bytes),
          body_limit_(options.spool_dir.empty() ? std::min(options.body_bytes, options.memory_body_bytes)
                                                : options.body_bytes) {
        header_limit(static_cast<uint32_t>(std::min<std::size_t>(head_limit_, std::numeric_limits<uint32_t>::max())));
        Base::body_limit(body_limit_);
    }

    Step Put(std::string_view bytes, std::size_t& taken) override {
        while (!is_done()) {
            const std::string_view rest = bytes.substr(taken);
            if (rest.empty()) {
                return Step::kMore;
            }
            error_code error;
            const std::size_t put = Base::put(net::buffer(rest), error);
            taken += put;
            if (!told_head_) {
                head_bytes_ += put;
            }
            if (error == beast::http::error::need_more) {
                return rest.size() - put + (told_head_ ? 0 : head_bytes_) > head_limit_ ? Refuse(TooLong())
                                                                                        : Step::kMore;
            }
            if (error) {
                return Refuse(ReasonOf(error, rest));
            }
            if (!told_head_ && is_header_done()) {
                told_head_ = true;
                return head_bytes_ > head_limit_ ? Refuse(TooLong()) : Step::kHead;
            }
        }
        return Step::kDone;
    }

    bool KeepsAlive() const override { return keep_alive(); }
    bool AwaitsBody() const override { return !is_done(); }
    bool LimitBody(uint64_t bytes) override {
        body_limit_ = std::min(body_limit_, bytes);
        Base::body_limit(body_limit_);
        if (content_length_remaining().value_or(uint64_t{0}) <= body_limit_) {
            return true;
        }
        refusal = ReasonOf(beast::http::error::body_limit, {});
        return false;
    }

private:
    Step Refuse(Refusal why) {
        refusal = std::move(why);
        return Step::kBad;
    }

    Refusal TooLong() const {
        return {431,
                "the request's head or the head of a chunk is longer than " + std::to_string(head_limit_) + " bytes"};
    }

    Refusal ReasonOf(const error_code& failure, std::string_view bytes) const {
        using beast::http::error;
        if (failure == error::header_limit) {
            return TooLong();
        }
        if (failure == error::body_limit) {
            return {413, "the body is longer than " + std::to_string(body_limit_) + " bytes"};
        }
        if (failure == error::bad_version && LineEndsWithVersion(bytes)) {
            return {505, "only HTTP/1.0 and HTTP/1.1 are served"};
        }
        return {400, "the request is malformed, " + failure.message()};
    }

    void on_request_impl(beast::http::verb, beast::string_view verb, beast::string_view target, int version,
                         error_code&) override {
        head.SetLine({verb.data(), verb.size()}, {target.data(), target.size()}, version);
    }
    void on_response_impl(int, beast::string_view, int, error_code&) override {}
    void on_field_impl(beast::http::field, beast::string_view name, beast::string_view value, error_code&) override {
        if (!told_head_) {  // else it stands behind the last chunk
            head.AddField({name.data(), name.size()}, {value.data(), value.size()});
        }
    }
    void on_header_impl(error_code&) override {}
    void on_body_init_impl(const boost::optional<uint64_t>&, error_code&) override {}
    std::size_t on_body_impl(beast::string_view data, error_code&) override {
        body.append(data.data(), data.size());
        return data.size();
    }
    void on_chunk_header_impl(uint64_t, beast::string_view, error_code&) override {}
    std::size_t on_chunk_body_impl(uint64_t, beast::string_view data, error_code&) override {
        body.append(data.data(), data.size());
        return data.size();
    }
    void on_finish_impl(error_code&) override {}

    const std::size_t head_limit_;
    uint64_t body_limit_;
    std::size_t head_bytes_ = 0;
    bool told_head_ = false;
};

// --- WebSockets ------------------------------------------------------------------------------------------------------

/// A ClientStream as Beast wants a stream, so that its WebSocket is compiled once.
class PushStream {
public:
    using executor_type = ClientStream::Executor;

    PushStream(ClientStream& stream, std::string received) : stream_(&stream), received_(std::move(received)) {}

    executor_type get_executor() { return stream_->GetExecutor(); }

    template <class Buffers, class ReadHandler>
    void async_read_some(const Buffers& buffers, ReadHandler&& handler) {
        ClientStream::SizeHandler shared = Shared(std::forward<ReadHandler>(handler));
        if (received_.empty()) {
            stream_->Read(First<net::mutable_buffer>(buffers), std::move(shared));
            return;
        }
        const std::size_t size = net::buffer_copy(buffers, net::buffer(received_));
        received_.erase(0, size);
        net::post(get_executor(), [shared = std::move(shared), size] { shared({}, size); });
    }

    template <class Buffers, class WriteHandler>
    void async_write_some(const Buffers& buffers, WriteHandler&& handler) {
        const auto first = First<net::const_buffer>(buffers);
        stream_->Write({static_cast<const char*>(first.data()), first.size()}, {},
                       Shared(std::forward<WriteHandler>(handler)));
    }

    void Close() { stream_->Close(); }

private:
    template <class Buffer, class Buffers>
    static Buffer First(const Buffers& buffers) {
        const auto end = net::buffer_sequence_end(buffers);
        const auto found = std::find_if(net::buffer_sequence_begin(buffers), end,
                                        [](const Buffer& buffer) { return buffer.size() != 0; });
        return found == end ? Buffer() : Buffer(*found);
    }

    /// Beast's handlers can be moved only.
    template <class Handler>
    static ClientStream::SizeHandler Shared(Handler&& handler) {
        auto shared = std::make_shared<std::decay_t<Handler>>(std::forward<Handler>(handler));
        return [shared = std::move(shared)](const error_code& error, std::size_t size) {
            std::decay_t<Handler> called = std::move(*shared);
            called(error, size);
        };
    }

    ClientStream* stream_;
    std::string received_;
};

/// Found by Beast: the connection's own end comes behind the WebSocket's.
template <class TeardownHandler>
void async_teardown(beast::role_type, PushStream& stream, TeardownHandler&& handler) {
    net::post(stream.get_executor(), beast::bind_front_handler(std::forward<TeardownHandler>(handler), error_code()));
}

void beast_close_socket(PushStream& stream) { stream.Close(); }

class BeastWebSocket : public WebSocketSession, public std::enable_shared_from_this<BeastWebSocket> {
public:
    BeastWebSocket(ConnectionHost& host, ClientStream& stream, std::string received, std::string remote,
                   std::function<void()> on_end)
        : host_(host),
          remote_(std::move(remote)),
          on_end_(std::move(on_end)),
          end_time_(std::min<std::chrono::milliseconds>(host.Options().push_end_timeout, kLongestPushTime)),
          socket_(stream, std::move(received)),
          end_timer_(stream.GetExecutor()) {
        beast::websocket::stream_base::timeout timeout{};
        timeout.idle_timeout = std::min<std::chrono::milliseconds>(host.Options().idle_timeout, kLongestPushTime);
        timeout.handshake_timeout = std::min(timeout.idle_timeout, beast::websocket::stream_base::duration(end_time_));
        timeout.keep_alive_pings = true;
        socket_.set_option(timeout);
        socket_.set_option(beast::websocket::stream_base::decorator(
            [](beast::websocket::response_type& answer) { answer.set(beast::http::field::server, "qarhost"); }));
        socket_.auto_fragment(false);
        socket_.read_message_max(kPushMessageBytes);
    }

    void Start(const std::string& key, std::shared_ptr<PushListener> listener) override {
        using beast::http::field;
        listener_ = std::move(listener);
        queue_ =
            std::make_shared<PushQueue>(host_.Options().push_queue_bytes, host_.Gate(), [session = weak_from_this()] {
                if (const auto open = session.lock()) {
                    open->Pump();
                }
            });
        beast::http::request<beast::http::empty_body> request(beast::http::verb::get, "/", 11);
        request.set(field::host, "");
        request.set(field::connection, "upgrade");
        request.set(field::upgrade, "websocket");
        request.set(field::sec_websocket_version, "13");
        request.set(field::sec_websocket_key, key);
        socket_.async_accept(request,
                             [self = shared_from_this()](const error_code& error) { self->OnAccepted(error); });
    }

    void Close(uint16_t code, const std::string& reason) override { queue_->Close(code, reason); }

private:
    void OnAccepted(const error_code& error) {
        if (error) {
            on_end_();
            return;
        }
        opened_ = true;
        Call([this] { listener_->Opened(queue_); });
        Pump();
        Read();
    }

    void Read() {
        socket_.async_read(input_,
                           [self = shared_from_this()](const error_code& error, std::size_t) { self->OnRead(error); });
    }

    void OnRead(const error_code& error) {
        if (error) {
            TellFailure(error);
            end_timer_.cancel();
            queue_->Drop();
            Call([this] { listener_->Closed(); });
            on_end_();
            return;
        }
        const std::string text(static_cast<const char*>(input_.data().data()), input_.size());
        input_.consume(input_.size());
        if (socket_.got_text()) {
            Call([&] { listener_->Received(text); });
        } else {
            host_.Faults().Tell("a WebSocket's message was no text", remote_);
            queue_->Close(1003, "only text is taken");
            Pump();
        }
        Read();  // behind a close too, for the client's answer to it
    }

    /// Writes what is queued, one frame at a time, and ends the WebSocket behind it.
    void Pump() {
        if (!opened_) {
            return;
        }
        if (!end_) {
            BeginEnd();
        }
        if (writing_ || closing_ || !socket_.is_open()) {
            return;
        }
        if (std::optional<PushQueue::Frame> frame = queue_->TakeFrame()) {
            writing_ = true;
            socket_.text(frame->text);
            socket_.async_write(net::buffer(*frame->data),
                                [self = shared_from_this(), data = frame->data](const error_code& error, std::size_t) {
                                    self->writing_ = false;
                                    self->TellFailure(error);
                                    self->Pump();
                                });
        } else if (end_) {
            closing_ = true;
            socket_.async_close(
                beast::websocket::close_reason(static_cast<beast::websocket::close_code>(end_->code), end_->reason),
                [self = shared_from_this()](const error_code& error) { self->TellFailure(error); });
        }
    }

    /// Where an end is noted: sees to it that no write that the client does not take, and no client that goes on
    /// sending, keeps the WebSocket open.
    void BeginEnd() {
        end_ = queue_->TakeEnd();
        if (!end_) {
            return;
        }
        if (end_->overflow) {
            host_.Faults().Tell("a WebSocket's client reads too slowly", remote_);
        }
        end_timer_.expires_after(end_time_);
        end_timer_.async_wait([session = weak_from_this()](const error_code& error) {
            const auto open = session.lock();
            if (!error && open) {
                open->OnEndTimeout();
            }
        });
    }

    void OnEndTimeout() {
        if (!end_->overflow) {
            TellNoAnswer();
        }
        socket_.next_layer().Close();  // the reading, which never rests, fails and tells the end
    }

    void TellNoAnswer() { host_.Faults().Tell("a WebSocket's client did not answer in time", remote_); }

    void TellFailure(const error_code& failure) {
        using beast::websocket::error;
        if (failure == beast::error::timeout) {
            TellNoAnswer();
        } else if (failure.category() == beast::websocket::make_error_code(error::closed).category() &&
                   failure != error::closed) {
            host_.Faults().Tell("a WebSocket's client broke the protocol, " + failure.message(), remote_);
        }
    }

    template <class Function>
    static void Call(const Function& function) {
        try {
            function();
        } catch (const std::exception& failure) {
            LogSinkWrite(kLogError, kModulePlatform, "http: the owner of a WebSocket failed: %s", failure.what());
        }
    }

    ConnectionHost& host_;
    const std::string remote_;
    const std::function<void()> on_end_;
    const std::chrono::milliseconds end_time_;
    beast::websocket::stream<PushStream, false> socket_;
    std::shared_ptr<PushListener> listener_;
    std::shared_ptr<PushQueue> queue_;
    ClientStream::Timer end_timer_;
    beast::flat_buffer input_;
    std::optional<PushQueue::End> end_;  // once it is noted
    bool opened_ = false;
    bool writing_ = false;
    bool closing_ = false;  // the close is on its way
};

}  // namespace

// --- the server ------------------------------------------------------------------------------------------------------

class HttpServer::Impl : public ConnectionHost {
public:
    Impl(const HttpServerOptions& options, std::function<void(ClientRequest&&)> on_request,
         std::function<BodyTerms(const ClientHead&)> on_head)
        : options_(options), on_request_(std::move(on_request)), on_head_(std::move(on_head)), io_(1), disk_(1) {}

    ~Impl() override { Stop(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    bool Start(std::string& error);
    uint16_t Port() const { return port_; }
    void Stop();

private:
    const HttpServerOptions& Options() const override { return options_; }
    ClientFaults& Faults() override { return faults_; }
    bool Stopping() const override { return stopping_; }
    std::unique_ptr<RequestParser> MakeParser() const override { return std::make_unique<BeastParser>(options_); }
    std::shared_ptr<WebSocketSession> MakeWebSocket(ClientStream& stream, std::string received,
                                                    const std::string& remote, std::function<void()> on_end) override {
        return std::make_shared<BeastWebSocket>(*this, stream, std::move(received), remote, std::move(on_end));
    }
    const std::shared_ptr<PostGate>& Gate() const override { return gate_; }
    BodyTerms OnHead(const ClientHead& head) override { return on_head_ ? on_head_(head) : BodyTerms(); }
    const std::shared_ptr<BodyBudget>& UnknownBodies() const override { return unknown_bodies_; }
    void OnRequest(ClientRequest&& request) override { on_request_(std::move(request)); }
    void RunOnDisk(std::function<void()> task, std::function<void()> then) override;
    void OnWaiting(HttpConnection& connection) override;
    void OnClosed(const std::shared_ptr<HttpConnection>& connection) override;

    static void Run(net::io_context& io);
    void OnClient(ClientStream::Socket socket, const std::string& remote);
    void BeginStop();
    void Cut();
    void TellIfAllClosed();
    std::set<std::shared_ptr<HttpConnection>> AllConnections() const;

    const HttpServerOptions options_;
    const std::function<void(ClientRequest&&)> on_request_;
    const std::function<BodyTerms(const ClientHead&)> on_head_;
    const std::shared_ptr<BodyBudget> unknown_bodies_ = std::make_shared<BodyBudget>(options_.unknown_body_bytes);
    std::shared_ptr<ssl_ctx_st> tls_;
    ClientFaults faults_;
    std::atomic<uint16_t> port_{0};

    net::io_context io_;
    net::io_context disk_;  // spools bodies
    const std::shared_ptr<PostGate> gate_ = std::make_shared<PostGate>(io_);
    ClientListener listener_{io_, faults_, [this](ClientStream::Socket socket, const std::string& remote) {
                                 OnClient(std::move(socket), remote);
                             }};
    std::optional<net::executor_work_guard<ClientStream::Executor>> io_work_;
    std::optional<net::executor_work_guard<ClientStream::Executor>> disk_work_;

    // on the server's thread
    std::set<std::shared_ptr<HttpConnection>> connections_;
    std::set<std::shared_ptr<HttpConnection>> refused_;
    /// Of connections_, those without a whole request or with their last answer, the longest waiting first.
    boost::intrusive::list<HttpConnection, boost::intrusive::constant_time_size<false>> waiting_;
    bool stopping_ = false;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool all_closed_ = false;  // guarded by mutex_

    std::mutex stop_mutex_;  // held while stopping

    std::thread io_thread_;
    std::thread disk_thread_;
};

bool HttpServer::Impl::Start(std::string& error) {
    if (options_.certificate_file.empty() != options_.key_file.empty()) {
        error = "HTTPS needs both a certificate file and a key file";
        return false;
    }
    if (!options_.certificate_file.empty()) {
        tls_ = MakeTlsContext(options_.certificate_file, options_.key_file, error);
        if (!tls_) {
            return false;
        }
    }
    if (!options_.spool_dir.empty()) {
        if (const int code = BodySpool().Open(options_.spool_dir); code != 0) {
            error = "the folder " + options_.spool_dir + " takes no files: " + std::strerror(code);
            return false;
        }
    }
    if (!listener_.Listen(options_.address, options_.port, error)) {
        return false;
    }
    port_ = listener_.Port();
    io_work_.emplace(io_.get_executor());
    disk_work_.emplace(disk_.get_executor());
    try {
        disk_thread_ = std::thread([this] { Run(disk_); });
        io_thread_ = std::thread([this] { Run(io_); });
    } catch (const std::exception& failure) {
        error = std::string("the HTTP server's threads cannot be made: ") + failure.what();
        disk_work_.reset();
        if (disk_thread_.joinable()) {
            disk_thread_.join();
        }
        return false;
    }
    gate_->Post([this] { listener_.Start(); });
    return true;
}

void HttpServer::Impl::Run(net::io_context& io) {
    for (;;) {
        try {
            io.run();
            return;
        } catch (const std::exception& failure) {
            LogSinkWrite(kLogError, kModulePlatform, "http: a request failed within the host: %s", failure.what());
        }
    }
}

void HttpServer::Impl::OnClient(ClientStream::Socket socket, const std::string& remote) {
    if (connections_.size() >= options_.connections && !waiting_.empty()) {
        waiting_.front().MakeRoom();
    }
    const bool full = connections_.size() >= options_.connections;
    if (full && refused_.size() >= kRefusedAtOnce) {
        faults_.Tell("a connection was ended, there are too many", remote);
        return;
    }
    const auto connection = std::make_shared<HttpConnection>(*this, std::move(socket), tls_, remote);
    (full ? refused_ : connections_).insert(connection);
    try {
        if (full) {
            connection->StartRefused();
        } else {
            connection->Start();
        }
    } catch (...) {  // it would count for ever
        connection->Cut();
        throw;
    }
}

void HttpServer::Impl::RunOnDisk(std::function<void()> task, std::function<void()> then) {
    net::post(disk_, [this, task = std::move(task), then = std::move(then)] {
        task();
        net::post(io_, then);
    });
}

void HttpServer::Impl::OnWaiting(HttpConnection& connection) {
    if (refused_.count(connection.shared_from_this()) == 0) {
        waiting_.push_back(connection);
    }
}

void HttpServer::Impl::OnClosed(const std::shared_ptr<HttpConnection>& connection) {
    connections_.erase(connection);
    refused_.erase(connection);
    TellIfAllClosed();
}

void HttpServer::Impl::Stop() {
    const std::lock_guard<std::mutex> stop_lock(stop_mutex_);
    if (!io_thread_.joinable()) {
        return;
    }
    port_ = 0;
    gate_->Post([this] { BeginStop(); });
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::min<std::chrono::milliseconds>(options_.stop_timeout, kLongestStop),
                          [this] { return all_closed_; });
    }
    gate_->Close();
    std::packaged_task<void()> cut([this] { Cut(); });  // is done when it throws, too
    net::post(io_, [&cut] { cut(); });
    cut.get_future().wait();
    disk_work_.reset();
    disk_thread_.join();
    io_work_.reset();
    io_thread_.join();
    faults_.TellLeftOut();
}

void HttpServer::Impl::BeginStop() {
    stopping_ = true;
    listener_.Stop();
    for (const std::shared_ptr<HttpConnection>& connection : AllConnections()) {
        connection->Stop();
    }
    TellIfAllClosed();
}

// Without a copy, as one that is not cut would keep the server's thread.
void HttpServer::Impl::Cut() {
    for (auto* const connections : {&connections_, &refused_}) {
        while (!connections->empty()) {
            connections->extract(connections->begin()).value()->Cut();
        }
    }
}

void HttpServer::Impl::TellIfAllClosed() {
    if (stopping_ && connections_.empty() && refused_.empty()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        all_closed_ = true;
        changed_.notify_all();
    }
}

// A copy, as connections that end leave the sets.
std::set<std::shared_ptr<HttpConnection>> HttpServer::Impl::AllConnections() const {
    std::set<std::shared_ptr<HttpConnection>> all = connections_;
    all.insert(refused_.begin(), refused_.end());
    return all;
}

HttpServer::HttpServer() = default;

HttpServer::~HttpServer() = default;

bool HttpServer::Start(const HttpServerOptions& options, std::function<void(ClientRequest&&)> on_request,
                       std::string& error, std::function<BodyTerms(const ClientHead&)> on_head) {
    auto impl = std::make_unique<Impl>(options, std::move(on_request), std::move(on_head));
    if (!impl->Start(error)) {
        return false;
    }
    impl_ = std::move(impl);
    return true;
}

uint16_t HttpServer::Port() const { return impl_ ? impl_->Port() : uint16_t{0}; }

void HttpServer::Stop() {
    if (impl_) {
        impl_->Stop();
    }
}

}  // namespace qarplatform
