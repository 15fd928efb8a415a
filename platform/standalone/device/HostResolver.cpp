#include "standalone/device/HostResolver.h"

#include <boost/asio/post.hpp>

namespace qarplatform {

namespace {

constexpr std::size_t kThreads = 4;

}  // namespace

HostResolver::HostResolver(boost::asio::io_context& io) : io_(io), threads_(kThreads) {}

HostResolver::~HostResolver() {
    threads_.stop();
    threads_.join();
}

void HostResolver::Resolve(const std::string& host, uint16_t port, std::chrono::steady_clock::time_point deadline,
                           Handler handler) {
    boost::asio::post(threads_, [this, host, port, deadline, handler = std::move(handler)]() mutable {
        boost::system::error_code error = boost::asio::error::timed_out;
        Endpoints endpoints;
        if (std::chrono::steady_clock::now() < deadline) {
            endpoints = boost::asio::ip::tcp::resolver(threads_).resolve(host, std::to_string(port), error);
        }
        boost::asio::post(io_, [error, endpoints = std::move(endpoints), handler = std::move(handler)] {
            handler(error, endpoints);
        });
    });
}

}  // namespace qarplatform
