#include <gtest/gtest.h>

#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>

#include "standalone/device/HostResolver.h"

namespace {

using std::chrono::steady_clock;

class HostResolverTest : public testing::Test {
protected:
    /// Asks for a short form of the loopback address, which every machine looks up without a hosts file, and waits.
    boost::system::error_code Resolve(steady_clock::time_point deadline) {
        boost::asio::io_context io;
        auto work = boost::asio::make_work_guard(io);
        qarplatform::HostResolver resolver(io);
        boost::system::error_code result;
        resolver.Resolve(
            "127.1", 80, deadline,
            [&](const boost::system::error_code& error, const qarplatform::HostResolver::Endpoints& endpoints) {
                result = error;
                found_ = endpoints.size();
                work.reset();
            });
        io.run_for(std::chrono::seconds(30));
        return result;
    }

    std::size_t found_ = 0;
};

TEST_F(HostResolverTest, NameIsLookedUpBeforeItsDeadline) {
    EXPECT_FALSE(Resolve(steady_clock::now() + std::chrono::minutes(1)));
    EXPECT_GT(found_, 0U);
}

TEST_F(HostResolverTest, NameWhoseTurnComesTooLateIsNotLookedUp) {
    EXPECT_EQ(Resolve(steady_clock::now() - std::chrono::seconds(1)), boost::asio::error::timed_out);
    EXPECT_EQ(found_, 0U);
}

}  // namespace
