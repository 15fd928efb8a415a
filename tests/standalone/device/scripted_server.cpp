#include "standalone/device/scripted_server.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <future>

namespace device_test {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

class ScriptedServer::Session : public std::enable_shared_from_this<Session> {
public:
    Session(ScriptedServer& server, tcp::socket socket)
        : server_(server), socket_(std::move(socket)), pause_(socket_.get_executor()) {}

    void Read() {
        asio::async_read_until(socket_, asio::dynamic_buffer(question_), "\r\n\r\n",
                               [self = shared_from_this()](const error_code& error, std::size_t) {
                                   if (error) {
                                       self->End();
                                   } else {
                                       self->Answer();
                                   }
                               });
    }

    void Close() {
        error_code ignored;
        pause_.cancel();
        socket_.close(ignored);
    }

private:
    void Answer() {
        Script script;
        {
            const std::lock_guard<std::mutex> lock(server_.mutex_);
            server_.questions_.push_back(question_);
            script = server_.script_;
        }
        reply_ = script ? script(question_) : Reply();
        question_.clear();
        if (reply_.byte_by_byte) {
            Drip();
            return;
        }
        asio::async_write(socket_, asio::buffer(reply_.text),
                          [self = shared_from_this()](const error_code& error, std::size_t) {
                              if (error || self->reply_.closes) {
                                  self->End();
                              } else {
                                  self->Read();
                              }
                          });
    }

    void Drip() {
        if (sent_ == reply_.text.size()) {
            Read();
            return;
        }
        pause_.expires_after(std::chrono::milliseconds(20));
        pause_.async_wait([self = shared_from_this()](const error_code& error) {
            if (error) {
                self->End();
                return;
            }
            asio::async_write(self->socket_, asio::buffer(self->reply_.text.data() + self->sent_, 1),
                              [self](const error_code& write_error, std::size_t) {
                                  ++self->sent_;
                                  write_error ? self->End() : self->Drip();
                              });
        });
    }

    void End() {
        Close();
        server_.sessions_.erase(shared_from_this());
    }

    ScriptedServer& server_;
    tcp::socket socket_;
    asio::steady_timer pause_;
    std::string question_;
    Reply reply_;
    std::size_t sent_ = 0;
};

ScriptedServer::ScriptedServer(const std::string& address) : reservation_(io_), acceptor_(io_) {
    const tcp::endpoint any(asio::ip::make_address(address), 0);
    reservation_.open(any.protocol());
    reservation_.set_option(tcp::acceptor::reuse_address(true));
    reservation_.bind(any);
    endpoint_ = reservation_.local_endpoint();
    Listen();
    thread_ = std::thread([this] {
        const auto work = asio::make_work_guard(io_);
        io_.run();
    });
}

ScriptedServer::~ScriptedServer() {
    Vanish();
    io_.stop();
    thread_.join();
}

bool ScriptedServer::CanListenOn(const std::string& address) {
    asio::io_context io;
    tcp::acceptor acceptor(io);
    const tcp::endpoint any(asio::ip::make_address(address), 0);
    error_code error;
    acceptor.open(any.protocol(), error);
    if (!error) {
        acceptor.bind(any, error);
    }
    return !error;
}

std::string ScriptedServer::HostAndPort() const {
    const std::string host = endpoint_.address().to_string();
    return (endpoint_.address().is_v6() ? "[" + host + "]" : host) + ":" + std::to_string(endpoint_.port());
}

void ScriptedServer::Listen() {
    acceptor_ = tcp::acceptor(io_);
    acceptor_.open(endpoint_.protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint_);
    acceptor_.listen(4096);
    Accept();
}

void ScriptedServer::Accept() {
    acceptor_.async_accept([this](const error_code& error, tcp::socket socket) {
        if (error == asio::error::operation_aborted || !acceptor_.is_open()) {
            return;
        }
        if (!error) {
            OnConnection(std::move(socket));
        }
        Accept();
    });
}

void ScriptedServer::OnConnection(tcp::socket socket) {
    const auto session = std::make_shared<Session>(*this, std::move(socket));
    sessions_.insert(session);
    session->Read();
    const std::lock_guard<std::mutex> lock(mutex_);
    ++connections_;
    changed_.notify_all();
}

void ScriptedServer::Run(std::function<void()> function) {
    std::promise<void> done;
    asio::post(io_, [&] {
        function();
        done.set_value();
    });
    done.get_future().wait();
}

void ScriptedServer::SetScript(Script script) {
    const std::lock_guard<std::mutex> lock(mutex_);
    script_ = std::move(script);
}

void ScriptedServer::Vanish() {
    Run([this] {
        error_code ignored;
        acceptor_.close(ignored);
        for (const std::shared_ptr<Session>& session : sessions_) {
            session->Close();
        }
    });
}

void ScriptedServer::Return() {
    Run([this] { Listen(); });
}

int ScriptedServer::Connections() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return connections_;
}

std::vector<std::string> ScriptedServer::Questions() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return questions_;
}

bool ScriptedServer::WaitForConnections(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return connections_ >= count; });
}

bool ScriptedServer::WaitForMoreConnections(int count) { return WaitForConnections(Connections() + count); }

}  // namespace device_test
