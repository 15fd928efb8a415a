#include "demo_cameras/connection.h"

#include <algorithm>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

namespace demo {

namespace {

constexpr std::size_t kLongestHead = 8192;
constexpr std::int64_t kSecondsPerChunk = 16384;

}  // namespace

using boost::system::error_code;

Connection::Connection(boost::asio::ip::tcp::socket socket, Recording recording, Respond respond, Ended ended)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      recording_(recording),
      respond_(std::move(respond)),
      ended_(std::move(ended)) {}

void Connection::Start() {
    error_code ignored;
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
    ReadHead();
}

void Connection::Cut() {
    respond_ = nullptr;
    ended_ = nullptr;
    error_code ignored;
    timer_.cancel(ignored);
    // First the shutdown, which also works where another process has inherited the socket.
    socket_.shutdown(boost::asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.set_option(boost::asio::socket_base::linger(true, 0), ignored);
    socket_.close(ignored);
}

void Connection::ReadHead() {
    boost::asio::async_read_until(socket_, boost::asio::dynamic_buffer(received_, kLongestHead), "\r\n\r\n",
                                  [self = shared_from_this()](error_code error, std::size_t size) {
                                      if (error || !self->respond_) {
                                          self->End();
                                          return;
                                      }
                                      const std::string head = self->received_.substr(0, size);
                                      self->received_.erase(0, size);
                                      std::optional<Reply> reply = self->respond_(head);
                                      if (reply) {
                                          self->Send(std::move(*reply));
                                      } else {
                                          self->ReadHead();
                                      }
                                  });
}

void Connection::Send(Reply reply) {
    reply_ = std::move(reply);
    if (reply_.pause.count() == 0) {
        SendText();
        return;
    }
    timer_.expires_after(reply_.pause);
    timer_.async_wait([self = shared_from_this()](error_code error) {
        if (!error) {
            self->SendText();
        }
    });
}

void Connection::SendText() {
    if (reply_.pause_per_byte.count() > 0) {
        SendByte(0);
        return;
    }
    boost::asio::async_write(socket_, boost::asio::buffer(reply_.text),
                             [self = shared_from_this()](error_code error, std::size_t) {
                                 if (error) {
                                     self->End();
                                 } else {
                                     self->SendBody(self->reply_.body_begin);
                                 }
                             });
}

void Connection::SendByte(std::size_t at) {
    if (at == reply_.text.size()) {
        SendBody(reply_.body_begin);
        return;
    }
    timer_.expires_after(reply_.pause_per_byte);
    timer_.async_wait([self = shared_from_this(), at](error_code timer_error) {
        if (timer_error) {
            return;
        }
        boost::asio::async_write(self->socket_, boost::asio::buffer(&self->reply_.text[at], 1),
                                 [self, at](error_code error, std::size_t) {
                                     if (error) {
                                         self->End();
                                     } else {
                                         self->SendByte(at + 1);
                                     }
                                 });
    });
}

void Connection::SendBody(std::int64_t from) {
    if (from >= reply_.body_end) {
        if (reply_.close) {
            error_code ignored;
            socket_.shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
            End();
        } else {
            ReadHead();
        }
        return;
    }
    const std::int64_t to = std::min(from + kSecondsPerChunk, reply_.body_end);
    chunk_ = recording_.Bytes(from, to);
    boost::asio::async_write(socket_, boost::asio::buffer(chunk_),
                             [self = shared_from_this(), to](error_code error, std::size_t) {
                                 if (error) {
                                     self->End();
                                 } else {
                                     self->SendBody(to);
                                 }
                             });
}

void Connection::End() {
    if (ended_) {
        std::exchange(ended_, nullptr)(shared_from_this());
    }
    error_code ignored;
    socket_.close(ignored);
}

}  // namespace demo
