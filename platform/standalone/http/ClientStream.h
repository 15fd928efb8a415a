#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>  // before Asio: its coroutine header lacks it

struct ssl_ctx_st;

namespace qarplatform {

/// A client's connection, with or without TLS under one type, so that what uses it is compiled once. Threads: that of
/// its io_context. One read and one write may be under way at a time; their handlers are called later, never from
/// within the call.
class ClientStream {
public:
    using Executor = boost::asio::io_context::executor_type;
    using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Executor>;
    using Timer = boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                                    boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;
    using Handler = std::function<void(const boost::system::error_code&)>;
    using SizeHandler = std::function<void(const boost::system::error_code&, std::size_t)>;

    /// @param tls  null: without
    ClientStream(Socket socket, const std::shared_ptr<ssl_ctx_st>& tls);
    ~ClientStream();
    ClientStream(const ClientStream&) = delete;
    ClientStream& operator=(const ClientStream&) = delete;

    Executor GetExecutor() { return socket_.get_executor(); }

    /// Nothing without TLS.
    void Handshake(Handler handler);
    /// Reads what there is.
    void Read(boost::asio::mutable_buffer buffer, SizeHandler handler);
    /// Writes both texts whole.
    void Write(std::string_view first, std::string_view second, SizeHandler handler);
    /// Tells the client that nothing more comes. With TLS it is done when the client has told the same.
    void EndSending(Handler handler);
    /// Reads what there is on the socket, past TLS; behind EndSending.
    void ReadRest(boost::asio::mutable_buffer buffer, SizeHandler handler);
    /// Ends what is under way with an error.
    void Cancel();
    /// Ends what is under way with an error, and the connection.
    void Close();

private:
    struct Tls;

    Socket socket_;
    std::unique_ptr<Tls> tls_;
};

}  // namespace qarplatform
