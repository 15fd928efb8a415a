#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <mutex>
#include <utility>  // before Asio: its coroutine header lacks it

namespace qarplatform {

/// The way from any thread to that of an io_context, until it is closed: every task that got through is run, in order.
class PostGate {
public:
    explicit PostGate(boost::asio::io_context& io) : io_(io) {}
    PostGate(const PostGate&) = delete;
    PostGate& operator=(const PostGate&) = delete;

    /// @return false when the gate is closed; the task is not run then
    bool Post(std::function<void()> task);

    /// Nothing gets through any more. The io_context may end when it has run what did.
    void Close();

private:
    boost::asio::io_context& io_;
    std::mutex mutex_;     // held while posting
    bool closed_ = false;  // guarded by mutex_
};

}  // namespace qarplatform
