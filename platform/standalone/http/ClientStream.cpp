#include "standalone/http/ClientStream.h"

#include <openssl/ssl.h>

#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <utility>  // before Asio: its coroutine header lacks it

namespace qarplatform {

namespace net = boost::asio;

struct ClientStream::Tls {
    Tls(Socket& socket, SSL_CTX* shared) : context(WithOwner(shared)), stream(socket, context) {}

    static SSL_CTX* WithOwner(SSL_CTX* shared) {
        SSL_CTX_up_ref(shared);
        return shared;
    }

    net::ssl::context context;
    net::ssl::stream<Socket&> stream;
};

ClientStream::ClientStream(Socket socket, const std::shared_ptr<ssl_ctx_st>& tls) : socket_(std::move(socket)) {
    if (tls) {
        tls_ = std::make_unique<Tls>(socket_, tls.get());
    }
}

ClientStream::~ClientStream() = default;

void ClientStream::Handshake(Handler handler) {
    if (tls_) {
        tls_->stream.async_handshake(net::ssl::stream_base::server, std::move(handler));
    } else {
        net::post(GetExecutor(), [handler = std::move(handler)] { handler({}); });
    }
}

void ClientStream::Read(net::mutable_buffer buffer, SizeHandler handler) {
    if (tls_) {
        tls_->stream.async_read_some(buffer, std::move(handler));
    } else {
        socket_.async_read_some(buffer, std::move(handler));
    }
}

void ClientStream::Write(std::string_view first, std::string_view second, SizeHandler handler) {
    const std::array<net::const_buffer, 2> buffers = {net::buffer(first), net::buffer(second)};
    if (tls_) {
        net::async_write(tls_->stream, buffers, std::move(handler));
    } else {
        net::async_write(socket_, buffers, std::move(handler));
    }
}

void ClientStream::EndSending(Handler handler) {
    Handler end_socket = [this, handler = std::move(handler)](const boost::system::error_code&) {
        boost::system::error_code error;
        socket_.shutdown(net::socket_base::shutdown_send, error);
        handler(error);
    };
    if (tls_) {
        tls_->stream.async_shutdown(std::move(end_socket));
    } else {
        net::post(GetExecutor(), [end_socket = std::move(end_socket)] { end_socket({}); });
    }
}

void ClientStream::ReadRest(net::mutable_buffer buffer, SizeHandler handler) {
    socket_.async_read_some(buffer, std::move(handler));
}

void ClientStream::Cancel() {
    boost::system::error_code ignored;
    socket_.cancel(ignored);
}

void ClientStream::Close() {
    boost::system::error_code ignored;
    socket_.close(ignored);
}

}  // namespace qarplatform
