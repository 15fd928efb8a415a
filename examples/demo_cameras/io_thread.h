#pragma once

#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <functional>
#include <future>
#include <thread>
#include <utility>

namespace demo {

/// An io_context with the one thread that runs it; all sockets and timers of the cameras live on that thread.
class IoThread {
public:
    IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;
    /// Stops and joins the thread; handlers that have not run are dropped.
    ~IoThread();

    boost::asio::io_context& Context() { return context_; }

    /// Runs `work` on the thread and hands back what it returned or threw. Blocks; on the thread itself it runs at
    /// once.
    template <typename Work>
    auto Run(Work work) {
        std::packaged_task<decltype(work())()> task(std::move(work));
        auto result = task.get_future();
        boost::asio::dispatch(context_, std::ref(task));
        return result.get();
    }

private:
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

}  // namespace demo
