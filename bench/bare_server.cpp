#include "bench/bare_server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <thread>
#include <utility>  // before Asio: gcc in C++20 mode needs it there

namespace bench {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(tcp::socket socket, const std::string& body, const std::string& content_type)
        : socket_(std::move(socket)), body_(body), content_type_(content_type) {
        socket_.set_option(tcp::no_delay(true));
    }

    void Read() {
        request_ = {};
        http::async_read(socket_, buffer_, request_, [self = shared_from_this()](auto error, std::size_t) {
            if (!error) self->Write();
        });
    }

private:
    void Write() {
        response_ = {};
        response_.version(request_.version());
        response_.result(http::status::ok);
        response_.set(http::field::server, "bare");
        response_.set(http::field::content_type, content_type_);
        response_.body() = body_;
        response_.prepare_payload();
        http::async_write(socket_, response_, [self = shared_from_this()](auto error, std::size_t) {
            if (!error) self->Read();
        });
    }

    tcp::socket socket_;
    const std::string& body_;
    const std::string& content_type_;
    boost::beast::flat_buffer buffer_;
    http::request<http::string_body> request_;
    http::response<http::string_body> response_;
};

}  // namespace

class BareServer::Impl {
public:
    Impl(std::string body, std::string content_type)
        : body_(std::move(body)),
          content_type_(std::move(content_type)),
          acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)) {
        Accept();
        thread_ = std::thread([this] { context_.run(); });
    }
    ~Impl() {
        context_.stop();
        thread_.join();
    }

    uint16_t Port() const { return acceptor_.local_endpoint().port(); }

private:
    void Accept() {
        acceptor_.async_accept([this](auto error, tcp::socket socket) {
            if (error) return;
            std::make_shared<Connection>(std::move(socket), body_, content_type_)->Read();
            Accept();
        });
    }

    const std::string body_;
    const std::string content_type_;
    asio::io_context context_{1};
    tcp::acceptor acceptor_;
    std::thread thread_;
};

BareServer::BareServer(std::string body, std::string content_type)
    : impl_(std::make_unique<Impl>(std::move(body), std::move(content_type))) {}
BareServer::~BareServer() = default;

uint16_t BareServer::Port() const { return impl_->Port(); }

}  // namespace bench
