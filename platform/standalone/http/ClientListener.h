#pragma once

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>  // before Asio: its coroutine header lacks it

#include "standalone/http/ClientFaults.h"
#include "standalone/http/ClientStream.h"

namespace qarplatform {

/// Takes clients in. A lack of descriptors, memory or the like makes them wait. Threads: that of its io_context, from
/// Start on.
class ClientListener {
public:
    /// @param on_client  gets each client with its address, as text without the port. When it throws, that client's
    /// connection is ended, the fault told, and the others wait for a moment.
    ClientListener(boost::asio::io_context& io, ClientFaults& faults,
                   std::function<void(ClientStream::Socket, const std::string&)> on_client);

    /// @param port   0: a free one
    /// @param error  gets what is wrong, with the address
    bool Listen(const std::string& address, uint16_t port, std::string& error);
    uint16_t Port() const;

    void Start();
    /// No client is taken in any more.
    void Stop();

private:
    void Await();
    void TakeIn();
    void TakeInWaiting();
    void Pause(const char* reason);

    ClientFaults& faults_;
    const std::function<void(ClientStream::Socket, const std::string&)> on_client_;
    boost::asio::basic_socket_acceptor<boost::asio::ip::tcp, ClientStream::Executor> acceptor_;
    ClientStream::Timer timer_;
};

}  // namespace qarplatform
