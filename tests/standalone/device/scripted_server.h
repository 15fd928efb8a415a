#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>  // before Asio: its coroutine header lacks it
#include <vector>

namespace device_test {

/// A device on a loopback socket that answers as the test says.
class ScriptedServer {
public:
    struct Reply {
        std::string text;
        bool byte_by_byte = false;  ///< a byte each 20 ms
        bool closes = false;        ///< closes the connection after the text
    };
    /// Called on the server's thread with each whole question.
    using Script = std::function<Reply(const std::string& question)>;

    /// Listens on a port that stays this server's own while it lives.
    explicit ScriptedServer(const std::string& address = "127.0.0.1");
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    /// @return whether this machine has the loopback address
    static bool CanListenOn(const std::string& address);

    std::string HostAndPort() const;
    void SetScript(Script script);
    /// Stops listening and closes all connections.
    void Vanish();
    /// Listens again on the same port.
    void Return();

    int Connections() const;
    std::vector<std::string> Questions() const;
    /// Waits until `count` connections were made in all. @return false after half a minute
    bool WaitForConnections(int count);
    /// Waits until `count` more connections than now were made. @return false after half a minute
    bool WaitForMoreConnections(int count);

private:
    class Session;

    void Listen();
    void Accept();
    void OnConnection(boost::asio::ip::tcp::socket socket);
    /// Runs a function on the server's thread and waits for it.
    void Run(std::function<void()> function);

    boost::asio::io_context io_;
    boost::asio::ip::tcp::socket reservation_;  // bound, never listening
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::ip::tcp::endpoint endpoint_;
    std::set<std::shared_ptr<Session>> sessions_;  // on the server's thread
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Script script_;                       // guarded by mutex_
    std::vector<std::string> questions_;  // guarded by mutex_
    int connections_ = 0;                 // guarded by mutex_
    std::thread thread_;
};

}  // namespace device_test
