#include <gtest/gtest.h>

#include <string>

#include "standalone/device/DeviceAddress.h"

namespace {

using qarplatform::DeviceAddress;
using qarplatform::IsHttpUrl;
using qarplatform::ParseDeviceAddress;
using qarplatform::ProbeKind;

/// The address as one text, or the error.
std::string Parsed(const std::string& text) {
    DeviceAddress address;
    std::string error;
    if (!ParseDeviceAddress(text, address, error)) {
        return error;
    }
    const char* kind = address.kind == ProbeKind::kTcp ? "tcp" : address.kind == ProbeKind::kHttp ? "http" : "rtsp";
    return std::string(kind) + " " + address.host + " " + std::to_string(address.port) + " " + address.path;
}

TEST(DeviceAddressTest, EachSchemeHasItsPort) {
    EXPECT_EQ(Parsed("tcp://10.0.0.1:8000"), "tcp 10.0.0.1 8000 ");
    EXPECT_EQ(Parsed("tcp://10.0.0.1:8000/"), "tcp 10.0.0.1 8000 ");
    EXPECT_EQ(Parsed("http://camera"), "http camera 80 /");
    EXPECT_EQ(Parsed("http://camera:81/status?x=1#part"), "http camera 81 /status?x=1");
    EXPECT_EQ(Parsed("http://camera?x=1"), "http camera 80 /?x=1");
    EXPECT_EQ(Parsed("rtsp://camera-1.site_2.example/stream/1"), "rtsp camera-1.site_2.example 554 /stream/1");
}

TEST(DeviceAddressTest, IPv6StandsInBrackets) {
    EXPECT_EQ(Parsed("rtsp://[::1]/"), "rtsp ::1 554 /");
    EXPECT_EQ(Parsed("tcp://[2001:db8::1]:80"), "tcp 2001:db8::1 80 ");
    DeviceAddress address;
    std::string error;
    ASSERT_TRUE(ParseDeviceAddress("http://[2001:db8::1]:81/", address, error));
    EXPECT_EQ(address.HostAndPort(), "[2001:db8::1]:81");
    EXPECT_EQ(Parsed("tcp://::1:80"), "an IPv6 address must stand between [ and ]");
    for (const char* text : {"tcp://[::1:80", "tcp://[]:80", "tcp://[1.2.3.4]:80", "tcp://[::1x]:80"}) {
        EXPECT_EQ(Parsed(text), "between [ and ] must stand an IPv6 address") << text;
    }
}

TEST(DeviceAddressTest, HostMustBeOne) {
    const std::string error = "must name a host: a name, an IPv4 address or an IPv6 address between [ and ]";
    for (const char* text : {"http://", "http:///x", "http://:80/", "http://a,b/", "http://-a/", "http://.a/",
                             "http://1.2.3/", "http://256.1.1.1/"}) {
        EXPECT_EQ(Parsed(text), error) << text;
    }
    EXPECT_EQ(Parsed("http://" + std::string(254, 'a') + "/"), error);
}

TEST(DeviceAddressTest, PortMustBeOne) {
    for (const char* text : {"http://a:/", "http://a:0/", "http://a:65536/", "http://a:999999/", "http://a:8x/",
                             "http://a:-1/", "http://[::1]80/", "http://[::1]:/"}) {
        EXPECT_EQ(Parsed(text), "the port must be a number from 1 to 65535") << text;
    }
    EXPECT_EQ(Parsed("tcp://a"), "must name a port, as in tcp://host:80");
}

TEST(DeviceAddressTest, OtherTextsAreRefused) {
    EXPECT_EQ(Parsed(""), "must begin with tcp://, http:// or rtsp://");
    EXPECT_EQ(Parsed("https://a/"), "must begin with tcp://, http:// or rtsp://");
    EXPECT_EQ(Parsed("RTSP://a/"), "must begin with tcp://, http:// or rtsp://");
    EXPECT_EQ(Parsed("rtsp://a/b c"), "must hold visible ASCII characters only");
    EXPECT_EQ(Parsed("rtsp://a/\r\nX: y"), "must hold visible ASCII characters only");
    EXPECT_EQ(Parsed("rtsp://k\xc3\xa4se/"), "must hold visible ASCII characters only");
    EXPECT_EQ(Parsed("rtsp://u:p@a/"), "must not hold a user name or password");
    EXPECT_EQ(Parsed("tcp://a:1/x"), "must end after the port");
    EXPECT_EQ(Parsed("rtsp://a/" + std::string(2048, 'x')), "must not be longer than 2048 characters");
}

TEST(DeviceAddressTest, ArchiveIsAnHttpUrl) {
    std::string error;
    EXPECT_TRUE(IsHttpUrl("http://a/archive", error));
    EXPECT_TRUE(IsHttpUrl("https://[::1]:8443/archive?x", error));
    EXPECT_FALSE(IsHttpUrl("rtsp://a/", error));
    EXPECT_EQ(error, "must begin with http:// or https://");
    EXPECT_FALSE(IsHttpUrl("http://u@a/", error));
    EXPECT_EQ(error, "must not hold a user name or password");
    EXPECT_FALSE(IsHttpUrl("http://", error));
}

}  // namespace
