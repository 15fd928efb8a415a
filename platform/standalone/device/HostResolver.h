#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>  // before Asio: its coroutine header lacks it

namespace qarplatform {

/// Looks host names up on threads of its own, so that a name server that is silent holds up few other names.
/// A look-up that has begun cannot be cancelled, and a thread that is left behind in it would still run in the system's
/// resolver while the process ends; so the destructor waits. With a silent name server that takes the resolver's own
/// time-out: by the defaults of resolv.conf(5) 10 s with one name server and 28 s with three, and as long again for
/// each search domain that is tried. "options timeout:1 attempts:1" there makes it a tenth.
class HostResolver {
public:
    using Endpoints = boost::asio::ip::tcp::resolver::results_type;
    using Handler = std::function<void(const boost::system::error_code& error, const Endpoints& endpoints)>;

    /// @param io  runs the handlers; must outlive the object
    explicit HostResolver(boost::asio::io_context& io);
    /// Drops the look-ups that wait for their turn and waits for those under way, at most one on each thread; their
    /// handlers are not called once `io` has stopped.
    ~HostResolver();

    /// @param deadline  a name whose turn has not come by then is not looked up and the handler gets timed_out, so that
    ///                  a silent name server lets no look-ups pile up for which nobody waits any more
    void Resolve(const std::string& host, uint16_t port, std::chrono::steady_clock::time_point deadline,
                 Handler handler);

private:
    boost::asio::io_context& io_;
    boost::asio::thread_pool threads_;
};

}  // namespace qarplatform
