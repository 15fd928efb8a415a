#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "standalone/http/RequestGuard.h"

namespace qarplatform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kId = "0123456789abcdef0123456789ABCDEF";
const std::string kOther = "ffffffffffffffffffffffffffffffff";

TEST(RequestGuardTest, SessionIsReadOutOfTheCookies) {
    EXPECT_THAT(SessionCookies("SID=" + kId), ElementsAre(kId));
    EXPECT_THAT(SessionCookies("a=1; SID=" + kId + "; b=2"), ElementsAre(kId));
    EXPECT_THAT(SessionCookies("a;;SID=" + kId + ";SID=" + kOther), ElementsAre(kId, kOther));
    EXPECT_THAT(SessionCookies(""), IsEmpty());
    EXPECT_THAT(SessionCookies("XSID=" + kId + "; sid=" + kId), IsEmpty());
}

TEST(RequestGuardTest, ValueThatCanBeNoSessionIsPassedOver) {
    EXPECT_THAT(SessionCookies("SID=" + kId.substr(1)), IsEmpty());
    EXPECT_THAT(SessionCookies("SID=" + kId + "0"), IsEmpty());
    EXPECT_THAT(SessionCookies("SID=short; SID=" + kOther), ElementsAre(kOther));
    EXPECT_FALSE(CanBeSessionId("0123456789abcdef0123456789abcde\x01"));
    EXPECT_FALSE(CanBeSessionId("0123456789abcdef 123456789abcdef"));
    EXPECT_TRUE(CanBeSessionId(kId));
}

TEST(RequestGuardTest, FourCookiesOfTheFormOfASessionAreRead) {
    std::string cookies;
    std::vector<std::string> sessions;
    for (const char digit : std::string("12345")) {
        sessions.emplace_back(32, digit);
        cookies += "SID=short; SID=" + sessions.back() + "; ";
    }
    sessions.pop_back();
    EXPECT_EQ(sessions, SessionCookies(cookies));
}

TEST(RequestGuardTest, SecondSessionOfAQueryIsSeenHoweverItIsEscaped) {
    for (const char* target : {"/a?SID=1&SID=2", "/a?SID&SID", "/a?x=1&SID=&y=2&SID=", "/a?SID=1&%53%49D=2",
                               "/a?%53ID=1&S%49D=2", "/a?XSID=1&SID=2", "/a?XSID=1&YSID=2", "/a?x=SID=1&SID=2"}) {
        EXPECT_EQ("the query names SID more than once", WrongSessionKey(target)) << target;
    }
    for (const char* target : {"/a", "/a?", "/a?SID=1", "/a?x=1&SID=2&sid=3&SIDE=4", "/a?x=SID&SID=1", "/SID=1?SID=2",
                               "/a?SID=1&%5SID", "/a?SID=1&x=%"}) {
        EXPECT_EQ("", WrongSessionKey(target)) << target;
    }
}

TEST(RequestGuardTest, EscapedSessionOfAQueryIsSeen) {
    for (const char* target : {"/a?%53ID=1", "/a?S%49D=1", "/a?x=1&SI%44=2&y=3", "/a?%53%49%44", "/a?SID=%31",
                               "/a?SID=1+2", "/a?SID=+", "/a?x=1&SID=12%"}) {
        EXPECT_EQ("the query's key SID or its value is escaped", WrongSessionKey(target)) << target;
    }
    for (const char* target : {"/a?SID=1&x=%20", "/a?%78=1&SID=2", "/a?x=a+b&SID=1", "/a?%73ID=1", "/a?SID+=1",
                               "/%53ID=1?SID=2", "/a?XSID=%31"}) {
        EXPECT_EQ("", WrongSessionKey(target)) << target;
    }
}

constexpr auto kHttp = UserScheme::kHttp;
constexpr auto kHttps = UserScheme::kHttps;
constexpr auto kEither = UserScheme::kEither;

TEST(RequestGuardTest, OriginOfTheSameHostIsTheSame) {
    for (const UserScheme scheme : {kHttp, kEither}) {
        EXPECT_TRUE(IsSameOrigin("http://host:8080", "host:8080", scheme));
        EXPECT_TRUE(IsSameOrigin("HTTP://Host", "hOST", scheme));
        EXPECT_TRUE(IsSameOrigin("http://host", "host:80", scheme));
        EXPECT_TRUE(IsSameOrigin("http://host:80", "host", scheme));
        EXPECT_TRUE(IsSameOrigin("http://[::1]:8080", "[::1]:8080", scheme));
    }
    for (const UserScheme scheme : {kHttps, kEither}) {
        EXPECT_TRUE(IsSameOrigin("https://host:8080", "host:8080", scheme));
        EXPECT_TRUE(IsSameOrigin("HttpS://Host", "hOST", scheme));
        EXPECT_TRUE(IsSameOrigin("https://host", "host:443", scheme));
        EXPECT_TRUE(IsSameOrigin("https://host:443", "host", scheme));
    }
}

TEST(RequestGuardTest, OriginOfTheOtherSchemeIsAnother) {
    EXPECT_FALSE(IsSameOrigin("https://host", "host", kHttp));
    EXPECT_FALSE(IsSameOrigin("https://host:8080", "host:8080", kHttp));
    EXPECT_FALSE(IsSameOrigin("https://host:80", "host", kHttp));
    EXPECT_FALSE(IsSameOrigin("http://host", "host", kHttps));
    EXPECT_FALSE(IsSameOrigin("http://host:8080", "host:8080", kHttps));
    EXPECT_FALSE(IsSameOrigin("http://host:443", "host", kHttps));
}

TEST(RequestGuardTest, OtherOriginsAreNot) {
    for (const UserScheme scheme : {kHttp, kHttps, kEither}) {
        EXPECT_FALSE(IsSameOrigin("http://host:8081", "host:8080", scheme));
        EXPECT_FALSE(IsSameOrigin("https://host:8081", "host:8080", scheme));
        EXPECT_FALSE(IsSameOrigin("http://host", "host:443", scheme));
        EXPECT_FALSE(IsSameOrigin("https://host", "host:80", scheme));
        EXPECT_FALSE(IsSameOrigin("http://evil", "host", scheme));
        EXPECT_FALSE(IsSameOrigin("https://evil", "host", scheme));
        EXPECT_FALSE(IsSameOrigin("http://host.evil", "host", scheme));
        EXPECT_FALSE(IsSameOrigin("http://evil/host", "host", scheme));
        EXPECT_FALSE(IsSameOrigin("null", "null", scheme));
        EXPECT_FALSE(IsSameOrigin("ftp://host", "host", scheme));
        EXPECT_FALSE(IsSameOrigin("http://", "", scheme));
        EXPECT_FALSE(IsSameOrigin("https://", "", scheme));
    }
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
