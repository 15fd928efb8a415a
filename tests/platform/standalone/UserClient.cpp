#include "platform/standalone/UserClient.h"

#include <sys/socket.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <cctype>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace platform_tests {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

constexpr const char* kHost = "127.0.0.1";

tcp::endpoint Endpoint(uint16_t port) { return {asio::ip::address_v4::loopback(), port}; }

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

class HttpCall : public UserCall {
public:
    HttpCall(uint16_t port, const UserRequest& request) {
        socket_.connect(Endpoint(port));
        http::request<http::string_body> message;
        message.version(11);
        message.method_string(request.verb);
        message.target(request.target);
        message.set(http::field::host, kHost);
        if (!request.session.empty()) message.set(http::field::cookie, "SID=" + request.session);
        if (!request.content_type.empty()) message.set(http::field::content_type, request.content_type);
        message.body() = request.body;
        message.prepare_payload();
        http::write(socket_, message);
        thread_ = std::thread([this] { Read(); });
    }
    ~HttpCall() override { End(); }
    HttpCall(const HttpCall&) = delete;
    HttpCall& operator=(const HttpCall&) = delete;

    std::optional<UserAnswer> Answer() override {
        std::lock_guard<std::mutex> lock(mutex_);
        return answer_;
    }
    void Leave() override { End(); }

private:
    void Read() {
        beast::flat_buffer buffer;
        http::response_parser<http::string_body> parser;
        parser.body_limit(boost::none);
        beast::error_code error;
        http::read(socket_, buffer, parser, error);
        if (error) return;
        UserAnswer answer;
        answer.status = parser.get().result_int();
        for (const auto& field : parser.get().base()) {
            answer.headers[Lower(std::string(field.name_string()))] = std::string(field.value());
        }
        answer.body = parser.get().body();
        std::lock_guard<std::mutex> lock(mutex_);
        answer_ = std::move(answer);
    }
    void End() {
        if (!thread_.joinable()) return;
        shutdown(socket_.native_handle(), SHUT_RDWR);  // ends a read of the other thread
        thread_.join();
        socket_.close();
    }

    asio::io_context io_;
    tcp::socket socket_{io_};
    std::thread thread_;
    std::mutex mutex_;
    std::optional<UserAnswer> answer_;  // guarded by mutex_
};

class WebSocketClient : public PushClient {
public:
    WebSocketClient(uint16_t port, const std::string& session) {
        stream_.next_layer().connect(Endpoint(port));
        stream_.set_option(beast::websocket::stream_base::decorator(
            [&](beast::websocket::request_type& request) { request.set(http::field::cookie, "SID=" + session); }));
        stream_.handshake(kHost, "/push");
        // what is no command is answered, so the server has opened the client by then
        stream_.write(asio::buffer(std::string("no command")));
        Next();
        thread_ = std::thread([this] { Read(); });
    }
    ~WebSocketClient() override {
        shutdown(stream_.next_layer().native_handle(), SHUT_RDWR);  // ends a read of the other thread
        thread_.join();
    }
    WebSocketClient(const WebSocketClient&) = delete;
    WebSocketClient& operator=(const WebSocketClient&) = delete;

    std::vector<Frame> Frames() override {
        std::lock_guard<std::mutex> lock(mutex_);
        return frames_;
    }

private:
    Frame Next() {
        beast::flat_buffer buffer;
        stream_.read(buffer);
        return {stream_.got_text(), beast::buffers_to_string(buffer.data())};
    }
    void Read() {
        try {
            while (true) {
                Frame frame = Next();
                std::lock_guard<std::mutex> lock(mutex_);
                frames_.push_back(std::move(frame));
            }
        } catch (const beast::system_error&) {
            // the connection's end
        }
    }

    asio::io_context io_;
    beast::websocket::stream<tcp::socket> stream_{io_};
    std::thread thread_;
    std::mutex mutex_;
    std::vector<Frame> frames_;  // guarded by mutex_
};

}  // namespace

std::unique_ptr<UserCall> SendRequest(uint16_t port, const UserRequest& request) {
    return std::make_unique<HttpCall>(port, request);
}

std::unique_ptr<PushClient> OpenPush(uint16_t port, const std::string& session) {
    return std::make_unique<WebSocketClient>(port, session);
}

}  // namespace platform_tests
