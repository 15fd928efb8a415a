#include <gtest/gtest.h>

#include <string>

#include "standalone/http/RequestGuard.h"

namespace qarplatform {
namespace {

const std::string kId = "0123456789abcdef0123456789ABCDEF";
const std::string kOther = "ffffffffffffffffffffffffffffffff";

TEST(RequestGuardTest, SessionIsReadOutOfTheCookies) {
    EXPECT_EQ(kId, SessionCookie("SID=" + kId));
    EXPECT_EQ(kId, SessionCookie("a=1; SID=" + kId + "; b=2"));
    EXPECT_EQ(kId, SessionCookie("a;;SID=" + kId + ";SID=" + kOther));
    EXPECT_EQ("", SessionCookie(""));
    EXPECT_EQ("", SessionCookie("XSID=" + kId + "; sid=" + kId));
}

TEST(RequestGuardTest, ValueThatCanBeNoSessionIsPassedOver) {
    EXPECT_EQ("", SessionCookie("SID=" + kId.substr(1)));
    EXPECT_EQ("", SessionCookie("SID=" + kId + "0"));
    EXPECT_EQ(kOther, SessionCookie("SID=short; SID=" + kOther));
    EXPECT_FALSE(CanBeSessionId("0123456789abcdef0123456789abcde\x01"));
    EXPECT_FALSE(CanBeSessionId("0123456789abcdef 123456789abcdef"));
    EXPECT_TRUE(CanBeSessionId(kId));
}

TEST(RequestGuardTest, OriginOfTheSameHostIsTheSame) {
    EXPECT_TRUE(IsSameOrigin("http://host:8080", "host:8080"));
    EXPECT_TRUE(IsSameOrigin("HTTP://Host", "hOST"));
    EXPECT_TRUE(IsSameOrigin("http://host", "host:80"));
    EXPECT_TRUE(IsSameOrigin("http://host:80", "host"));
    EXPECT_TRUE(IsSameOrigin("https://host", "host:443"));
    EXPECT_TRUE(IsSameOrigin("http://[::1]:8080", "[::1]:8080"));
}

TEST(RequestGuardTest, OtherOriginsAreNot) {
    EXPECT_FALSE(IsSameOrigin("http://host:8081", "host:8080"));
    EXPECT_FALSE(IsSameOrigin("http://host", "host:443"));
    EXPECT_FALSE(IsSameOrigin("https://host", "host:80"));
    EXPECT_FALSE(IsSameOrigin("http://evil", "host"));
    EXPECT_FALSE(IsSameOrigin("http://host.evil", "host"));
    EXPECT_FALSE(IsSameOrigin("http://evil/host", "host"));
    EXPECT_FALSE(IsSameOrigin("null", "null"));
    EXPECT_FALSE(IsSameOrigin("ftp://host", "host"));
    EXPECT_FALSE(IsSameOrigin("http://", ""));
}

TEST(RequestGuardTest, LocalPathLeadsToNoOtherHost) {
    EXPECT_TRUE(IsLocalPath("/"));
    EXPECT_TRUE(IsLocalPath("/a/b?c=%20#d"));
    for (const char* path : {"", "a", "//evil", "/\\evil", "http://evil", "/a\r\nX: 1", "/a b", "/\xC3\xA4"}) {
        EXPECT_FALSE(IsLocalPath(path)) << path;
    }
}

}  // namespace
}  // namespace qarplatform
