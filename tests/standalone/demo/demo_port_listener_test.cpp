#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>

#include "demo_cameras/port_listener.h"

namespace demo {
namespace {

using boost::asio::ip::tcp;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

/// Keeps this process from opening further descriptors.
class NoDescriptorLeft {
public:
    NoDescriptorLeft() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const int lowest_free = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(lowest_free);
        rlimit none = before_;
        none.rlim_cur = static_cast<rlim_t>(lowest_free);
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoDescriptorLeft(const NoDescriptorLeft&) = delete;
    NoDescriptorLeft& operator=(const NoDescriptorLeft&) = delete;
    ~NoDescriptorLeft() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_{};
};

class DemoPortListenerTest : public testing::Test {
protected:
    void SetUp() override {
#if defined(__has_feature)
#if __has_feature(address_sanitizer)  // comes with the check of undefined behaviour
        GTEST_SKIP() << "the sanitizer's check of an object's type needs a descriptor itself";
#endif
#endif
        listener_.Open();
        client_.open(tcp::v4());
    }

    void Connect() { client_.connect({boost::asio::ip::address_v4::loopback(), listener_.Port()}); }

    boost::asio::io_context io_;
    boost::asio::io_context client_io_;
    tcp::socket client_{client_io_};
    int accepted_ = 0;
    PortListener listener_{io_, "127.0.0.1", [this](const tcp::socket& /*socket*/) { ++accepted_; }};
};

TEST_F(DemoPortListenerTest, WithoutADescriptorItPausesBetweenItsAttempts) {
    {
        const NoDescriptorLeft none;
        Connect();
        const auto begin = steady_clock::now();
        for (int handlers = 0; handlers < 4; ++handlers) {
            ASSERT_EQ(io_.run_one_for(30s), 1U);
        }
        EXPECT_GE(steady_clock::now() - begin, 100ms);
        EXPECT_EQ(accepted_, 0);
    }
    while (accepted_ == 0 && io_.run_one_for(30s) > 0) {
    }
    EXPECT_EQ(accepted_, 1);
}

TEST_F(DemoPortListenerTest, ClosedDuringAPauseItTriesNoMore) {
    {
        const NoDescriptorLeft none;
        Connect();
        ASSERT_EQ(io_.run_one_for(30s), 1U);  // the attempt that fails
    }
    listener_.Close();
    io_.run_for(30s);
    EXPECT_TRUE(io_.stopped()) << "something waits on a listener that is closed";
    EXPECT_EQ(accepted_, 0);
}

}  // namespace
}  // namespace demo
