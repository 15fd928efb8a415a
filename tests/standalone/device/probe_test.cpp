#include "standalone/device/Probe.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace {

using boost::asio::ip::address_v4;
using boost::asio::ip::tcp;
using qarplatform::IsConnectedToItself;

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

}  // namespace
