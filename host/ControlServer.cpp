#include "host/ControlServer.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include "host/ControlProtocol.h"

namespace qarhost {

namespace asio = boost::asio;
using Protocol = asio::local::stream_protocol;
using boost::system::error_code;

namespace {

class Client;
using Clients = std::set<std::shared_ptr<Client>>;

// One connection. On the server's thread only; alive while it waits for something.
class Client : public std::enable_shared_from_this<Client> {
public:
    Client(Protocol::socket socket, const ControlServer::Handler& handler, Clients& clients)
        : socket_(std::move(socket)), handler_(handler), clients_(clients) {}

    void Begin() {
        if (clients_.size() >= ControlServer::kMaxClients) HangUpOnTheQuietest();
        clients_.insert(shared_from_this());
        Read();
    }

    void Close() {
        error_code ignored;
        socket_.close(ignored);
    }

private:
    // Connections that are kept open without a word must not lock the operator out.
    void HangUpOnTheQuietest() {
        const auto quietest =
            std::min_element(clients_.begin(), clients_.end(),
                             [](const auto& left, const auto& right) { return left->heard_ < right->heard_; });
        (*quietest)->Close();
        clients_.erase(quietest);
    }

    void Read() {
        asio::async_read_until(
            socket_, asio::dynamic_buffer(input_, ControlServer::kMaxLine), '\n',
            [self = shared_from_this()](error_code error, std::size_t length) { self->Take(error, length); });
    }

    void Take(error_code error, std::size_t length) {
        if (error == asio::error::not_found) {
            Reply(ControlError("a request has at most " + std::to_string(ControlServer::kMaxLine) + " bytes"), false);
            return;
        }
        if (error) {
            clients_.erase(shared_from_this());
            return;
        }
        heard_ = std::chrono::steady_clock::now();
        std::string line = input_.substr(0, length - 1);
        input_.erase(0, length);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        Reply(Answer(line), true);
    }

    std::string Answer(const std::string& line) try { return handler_(line); } catch (const std::exception& e) {
        return ControlError(e.what());
    }

    void Reply(std::string text, bool go_on) {
        output_ = std::move(text) + "\n";
        asio::async_write(socket_, asio::buffer(output_),
                          [self = shared_from_this(), go_on](error_code error, std::size_t) {
                              if (!error && go_on) {
                                  self->Read();
                              } else {
                                  self->clients_.erase(self);
                              }
                          });
    }

    Protocol::socket socket_;
    const ControlServer::Handler& handler_;
    Clients& clients_;
    std::chrono::steady_clock::time_point heard_ = std::chrono::steady_clock::now();
    std::string input_;
    std::string output_;
};

}  // namespace

class ControlServer::Impl {
public:
    explicit Impl(Handler handler) : handler_(std::move(handler)) {}
    ~Impl() { Stop(); }

    bool Start(const std::string& path, std::string& error) {
        if (path.size() >= sizeof(sockaddr_un::sun_path)) {
            error = "cannot listen at " + path + ": the path of a socket has at most " +
                    std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " bytes; take a shorter data_dir";
            return false;
        }
        if (unlink(path.c_str()) != 0 && errno != ENOENT) {
            error = "cannot replace " + path + ": " + std::strerror(errno);
            return false;
        }
        try {
            acceptor_.open();
            // Before it is bound, so that nobody else can connect at any moment.
            fchmod(acceptor_.native_handle(), 0600);
            acceptor_.bind(Protocol::endpoint(path));
            if (chmod(path.c_str(), 0600) != 0) throw std::system_error(errno, std::generic_category());
            acceptor_.listen();
        } catch (const std::exception& e) {
            error = "cannot listen at " + path + ": " + e.what();
            return false;
        }
        path_ = path;
        Accept();
        thread_ = std::thread([this] { context_.run(); });
        return true;
    }

    void Stop() {
        if (!thread_.joinable()) return;
        context_.stop();
        thread_.join();
        for (const auto& client : clients_) client->Close();
        clients_.clear();
        unlink(path_.c_str());
    }

private:
    void Accept() {
        acceptor_.async_accept([this](error_code error, Protocol::socket socket) {
            if (!error) std::make_shared<Client>(std::move(socket), handler_, clients_)->Begin();
            if (error == asio::error::no_descriptors) {
                AcceptLater();
            } else {
                Accept();
            }
        });
    }

    // Out of descriptors, to try again at once would keep a core busy.
    void AcceptLater() {
        retry_.expires_after(std::chrono::seconds(1));
        retry_.async_wait([this](error_code) { Accept(); });
    }

    const Handler handler_;
    Clients clients_;  // on the server's thread; before the context, which holds references to it
    asio::io_context context_;
    Protocol::acceptor acceptor_{context_};
    asio::steady_timer retry_{context_};
    std::string path_;
    std::thread thread_;
};

ControlServer::ControlServer(Handler handler) : impl_(std::make_unique<Impl>(std::move(handler))) {}

ControlServer::~ControlServer() = default;

bool ControlServer::Start(const std::string& path, std::string& error) { return impl_->Start(path, error); }

void ControlServer::Stop() { impl_->Stop(); }

}  // namespace qarhost
