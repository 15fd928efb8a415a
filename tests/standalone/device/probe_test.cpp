#include "standalone/device/Probe.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

namespace {

using boost::asio::ip::address_v4;
using boost::asio::ip::tcp;
using boost::system::error_code;
using qarplatform::IsConnectedToItself;
using qarplatform::IsOwnLack;
using qarplatform::ProbeResult;

error_code SystemError(int number) { return {number, boost::system::system_category()}; }

/// Moves this process, which has one thread yet, into a network of its own that has the loopback address and two ports
/// that are given out.
bool EnterNetworkWithTwoPorts() {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return false;
    }
    const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    const bool up = ioctl(control, SIOCSIFFLAGS, &loopback) == 0;
    close(control);
    std::ofstream ports("/proc/sys/net/ipv4/ip_local_port_range");
    return up && (ports << "40000 40001" << std::flush);
}

TEST(ProbeTest, SocketThatGotThePortItConnectsToIsConnectedToItself) {
    boost::asio::io_context io;
    tcp::socket socket(io, tcp::endpoint(address_v4::loopback(), 0));
    socket.connect(socket.local_endpoint());
    EXPECT_TRUE(IsConnectedToItself(socket));
}

TEST(ProbeTest, ConnectionToAListenerIsNotConnectedToItself) {
    boost::asio::io_context io;
    tcp::acceptor listener(io, tcp::endpoint(address_v4::loopback(), 0));
    tcp::socket socket(io);
    socket.connect(listener.local_endpoint());
    EXPECT_FALSE(IsConnectedToItself(socket));
}

TEST(ProbeTest, SocketWithoutAConnectionIsNotConnectedToItself) {
    boost::asio::io_context io;
    tcp::socket socket(io, tcp::endpoint(address_v4::loopback(), 0));
    EXPECT_FALSE(IsConnectedToItself(socket));
}

TEST(ProbeTest, LackOfFilesMemoryOrPortsIsThisMachinesOwn) {
    for (const int number : {EMFILE, ENFILE, ENOBUFS, ENOMEM, EADDRNOTAVAIL}) {
        EXPECT_TRUE(IsOwnLack(SystemError(number))) << SystemError(number).message();
    }
}

TEST(ProbeTest, WhatADeviceOrTheWayToItDoesIsNoLackOfThisMachine) {
    for (const int number : {ECONNREFUSED, ECONNRESET, ETIMEDOUT, EHOSTUNREACH, ENETUNREACH}) {
        EXPECT_FALSE(IsOwnLack(SystemError(number))) << SystemError(number).message();
    }
    EXPECT_FALSE(IsOwnLack(boost::asio::error::host_not_found));
    EXPECT_FALSE(IsOwnLack(error_code()));
}

TEST(ProbeTest, DeviceIsNotAskedWhileAllPortsAreInUse) {
    if (!EnterNetworkWithTwoPorts()) {
        GTEST_SKIP() << "this process may not have a network of its own";
    }
    boost::asio::io_context io;
    tcp::acceptor listener(io, tcp::endpoint(address_v4::loopback(), 0));
    tcp::socket holds_the_other(io);
    holds_the_other.connect(listener.local_endpoint());
    qarplatform::HostResolver resolver(io);
    const qarplatform::DeviceAddress address{qarplatform::ProbeKind::kTcp, "127.0.0.1",
                                             listener.local_endpoint().port(), ""};
    ProbeResult told;
    std::make_shared<qarplatform::Probe>(io, resolver, address, std::chrono::seconds(30),
                                         [&](const ProbeResult& result) { told = result; })
        ->Start();
    io.run();
    EXPECT_EQ(told.outcome, ProbeResult::Outcome::kNotAsked);
    EXPECT_EQ(told.reason, "no connection: Cannot assign requested address");
}

}  // namespace
