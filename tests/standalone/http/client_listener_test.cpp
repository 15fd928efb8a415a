#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "standalone/base/arrivals.h"
#include "standalone/http/ClientFaults.h"
#include "standalone/http/ClientListener.h"
#include "standalone/http/raw_client.h"
#include "standalone/log/temp_log.h"

namespace {

std::atomic<bool> refuse_next_watch{false};

}  // namespace

/// In the place of the system's: fails once where a test says so, as if there was no memory for another descriptor.
extern "C" int epoll_ctl(int epoll, int operation, int fd, epoll_event* event) {
    if (operation == EPOLL_CTL_ADD && refuse_next_watch.exchange(false)) {
        errno = ENOMEM;
        return -1;
    }
    return static_cast<int>(syscall(SYS_epoll_ctl, epoll, operation, fd, event));
}

namespace http_test {
namespace {

using qarplatform::ClientFaults;
using qarplatform::ClientListener;
using qarplatform::ClientStream;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;

class ClientListenerTest : public ::testing::Test {
protected:
    ~ClientListenerTest() override {
        boost::asio::post(io_, [this] { listener_.Stop(); });
        work_.reset();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    void Start() {
        std::string error;
        ASSERT_TRUE(listener_.Listen("127.0.0.1", 0, error)) << error;
        listener_.Start();
        thread_ = std::thread([this] { io_.run(); });
    }

    /// Of sockets alone: the log opens its file when it likes.
    static std::ptrdiff_t OpenSockets() {
        return std::count_if(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator(), [](const std::filesystem::path& descriptor) {
                                 std::error_code gone;
                                 return std::filesystem::read_symlink(descriptor, gone).string().starts_with("socket:");
                             });
    }

    TempLog log_;
    ClientFaults faults_;
    boost::asio::io_context io_;
    boost::asio::executor_work_guard<ClientStream::Executor> work_{io_.get_executor()};
    /// Greets by default.
    std::function<void(ClientStream::Socket)> on_client_ = [](ClientStream::Socket socket) {
        boost::system::error_code ignored;
        socket.send(boost::asio::buffer("hello", 5), 0, ignored);
    };
    Arrivals<steady_clock::time_point> clients_;
    ClientListener listener_{io_, faults_, [this](ClientStream::Socket socket, const std::string&) {
                                 clients_.Add(steady_clock::now());
                                 on_client_(std::move(socket));
                             }};
    std::thread thread_;
};

TEST_F(ClientListenerTest, ClientThatCannotBeSetUpIsEndedAndTheNextIsServedBehindAPause) {
    on_client_ = [this, greet = on_client_](ClientStream::Socket socket) {
        if (clients_.Now().size() == 1) {
            throw std::bad_alloc();
        }
        greet(std::move(socket));
    };
    Start();
    const std::ptrdiff_t before = OpenSockets();
    RawClient first(listener_.Port());
    EXPECT_TRUE(first.Ends());
    EXPECT_EQ(OpenSockets(), before + 1) << "only the client's own";
    RawClient second(listener_.Port());
    EXPECT_EQ(second.ReadToEnd(), "hello");
    const std::vector<steady_clock::time_point> times = clients_.WaitFor(2);
    EXPECT_GE(times[1] - times[0], milliseconds(100));
    EXPECT_THAT(log_.Lines(), ElementsAre("W [QARPlatform] http: clients cannot be taken in: std::bad_alloc"));
}

TEST_F(ClientListenerTest, ClientThatCannotBeWatchedIsEndedAndTheNextIsServed) {
    Start();
    const std::ptrdiff_t before = OpenSockets();
    refuse_next_watch = true;
    RawClient first(listener_.Port());
    EXPECT_TRUE(first.Ends());
    EXPECT_EQ(OpenSockets(), before + 1) << "only the client's own";
    RawClient second(listener_.Port());
    EXPECT_EQ(second.ReadToEnd(), "hello");
    EXPECT_EQ(clients_.Now().size(), 1u);
    EXPECT_THAT(log_.Lines(),
                ElementsAre("W [QARPlatform] http: clients cannot be taken in: assign: Cannot allocate memory"));
}

}  // namespace
}  // namespace http_test
