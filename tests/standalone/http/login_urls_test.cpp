#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "standalone/http/LoginUrls.h"
#include "standalone/http/Pages.h"
#include "standalone/http/front_fixture.h"

namespace qarplatform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kForm = "application/x-www-form-urlencoded";
constexpr const char* kJson = "application/json";

class LoginUrlsTest : public http_test::FrontFixture {
protected:
    explicit LoginUrlsTest(UserScheme scheme = UserScheme::kHttp) : FrontFixture(64, scheme) {
        login_answer_.result = LoginAnswer::kLoggedIn;
        login_answer_.session.id = kSession;
        login_answer_.session.user = 7;
        login_answer_.session.user_name = "ad\"min";
    }

    http_test::FakeExchange::Sent Post(const std::string& target, const std::string& body, const std::string& type) {
        return Ask(Request("POST", target, body, type));
    }
};

class HttpsLoginUrlsTest : public LoginUrlsTest {
protected:
    HttpsLoginUrlsTest() : LoginUrlsTest(UserScheme::kHttps) {}
};

class EitherLoginUrlsTest : public LoginUrlsTest {
protected:
    EitherLoginUrlsTest() : LoginUrlsTest(UserScheme::kEither) {}
};

TEST_F(EitherLoginUrlsTest, CookieGoesByHttpToo) {
    EXPECT_EQ(std::string("SID=") + kSession + "; HttpOnly; SameSite=Strict; Path=/",
              Post("/login", R"({"user":"a","password":"b"})", kJson).Header("Set-Cookie"));
}

TEST_F(LoginUrlsTest, JsonLogsIn) {
    const auto sent = Post("/login", R"({"user":"admin","password":"pass","client_type":"mobile"})", kJson);
    EXPECT_EQ(200U, sent.head.status);
    EXPECT_EQ("application/json; charset=utf-8", sent.Header("Content-Type"));
    EXPECT_EQ("no-store", sent.Header("Cache-Control"));
    EXPECT_EQ(std::string("SID=") + kSession + "; HttpOnly; SameSite=Strict; Path=/", sent.Header("Set-Cookie"));
    EXPECT_EQ(std::string(R"({"user":7,"name":"ad\"min","session":")") + kSession + "\"}", sent.body);
    EXPECT_THAT(logins_, ElementsAre("admin/pass/3/192.0.2.1"));
}

TEST_F(LoginUrlsTest, FormLogsIn) {
    const auto sent = Post("/login", "user=ad+min&password=p%26&client_type=desktop", kForm);
    EXPECT_EQ(200U, sent.head.status);
    EXPECT_EQ(std::string(R"({"user":7,"name":"ad\"min","session":")") + kSession + "\"}", sent.body);
    EXPECT_THAT(logins_, ElementsAre("ad min/p&/2/192.0.2.1"));
}

TEST_F(LoginUrlsTest, ClientIsAWebOneUnlessItSaysOtherwise) {
    Post("/login", R"({"user":"a","password":"b"})", "");
    Post("/login", R"({"user":"a","password":"b","client_type":"web","x":1})", "text/plain");
    EXPECT_THAT(logins_, ElementsAre("a/b/1/192.0.2.1", "a/b/1/192.0.2.1"));
}

TEST_F(HttpsLoginUrlsTest, CookieGoesOnlyOverHttps) {
    const auto sent = Post("/login", R"({"user":"a","password":"b"})", kJson);
    EXPECT_EQ(std::string("SID=") + kSession + "; HttpOnly; SameSite=Strict; Path=/; Secure",
              sent.Header("Set-Cookie"));
}

TEST_F(LoginUrlsTest, BadLoginsAreRefusedWithoutATry) {
    EXPECT_EQ(R"({"status":400,"error":"Bad Request","reason":"the body is no JSON object"})",
              Post("/login", "user=a&password=b", kJson).body);
    for (const char* body : {"", "[]", "{", R"({"user":"a"})", R"({"password":"b"})", R"({"user":1,"password":"b"})",
                             R"({"user":"a","password":"b","client_type":"Web"})"}) {
        EXPECT_EQ(400U, Post("/login", body, kJson).head.status) << body;
    }
    EXPECT_EQ(400U, Post("/login", "user=%&password=b", kForm).head.status);
    EXPECT_EQ(R"({"status":400,"error":"Bad Request","reason":"the body is too long"})",
              Post("/login", std::string(16 * 1024 + 1, ' '), kJson).body);
    EXPECT_THAT(logins_, IsEmpty());
}

TEST_F(LoginUrlsTest, RefusedLoginTellsNotWhichPartWasWrong) {
    login_answer_.result = LoginAnswer::kRefused;
    const auto sent = Post("/login", R"({"user":"a","password":"b"})", kJson);
    EXPECT_EQ(R"({"status":401,"error":"Unauthorized","reason":"user name or password is wrong"})", sent.body);
    EXPECT_EQ("", sent.Header("Set-Cookie"));
}

TEST_F(LoginUrlsTest, TooManyTriesAreToldWithTheTimeToWait) {
    login_answer_.result = LoginAnswer::kTooManyTries;
    login_answer_.retry_after = std::chrono::seconds(42);
    const auto sent = Post("/login", R"({"user":"a","password":"b"})", kJson);
    EXPECT_EQ(429U, sent.head.status);
    EXPECT_EQ("42", sent.Header("Retry-After"));
}

TEST_F(LoginUrlsTest, FailureIsTold) {
    login_answer_.result = LoginAnswer::kFailed;
    EXPECT_EQ(500U, Post("/login", R"({"user":"a","password":"b"})", kJson).head.status);
}

TEST_F(LoginUrlsTest, LoginFromAnotherSiteIsRefused) {
    ClientRequest request = Request("POST", "/login", R"({"user":"a","password":"b"})", kJson);
    request.origin = "http://evil";
    EXPECT_EQ(403U, Ask(request).head.status);
    EXPECT_THAT(logins_, IsEmpty());
}

TEST_F(LoginUrlsTest, PageHasALabelledFormAndLoadsNothing) {
    const auto sent = Ask(Request("GET", "/login?to=/a?b=1"));
    EXPECT_EQ(200U, sent.head.status);
    EXPECT_EQ("text/html; charset=utf-8", sent.Header("Content-Type"));
    EXPECT_EQ(
        "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'",
        sent.Header("Content-Security-Policy"));
    EXPECT_THAT(sent.body, HasSubstr("<form method=\"post\" action=\"/login\">"));
    EXPECT_THAT(sent.body, HasSubstr("<label for=\"user\">"));
    EXPECT_THAT(sent.body, HasSubstr("<label for=\"password\">"));
    EXPECT_THAT(sent.body, HasSubstr("<input type=\"hidden\" name=\"to\" value=\"/a?b=1\">"));
    EXPECT_THAT(sent.body, Not(HasSubstr("http")));
    EXPECT_THAT(sent.body, Not(HasSubstr("role=\"alert\"")));
}

TEST_F(LoginUrlsTest, BrowserIsSentOnToWhereItCameFrom) {
    const auto sent = Post("/login", "user=a&password=b&to=%2Fa%3Fb%3D1", kForm);
    EXPECT_EQ(303U, sent.head.status);
    EXPECT_EQ("/a?b=1", sent.Header("Location"));
    EXPECT_EQ(std::string("SID=") + kSession + "; HttpOnly; SameSite=Strict; Path=/", sent.Header("Set-Cookie"));
}

TEST_F(LoginUrlsTest, BrowserIsNeverSentToAnotherHost) {
    for (const char* to : {"//evil", "http://evil", "/%5Cevil", "", "/a%0d%0aX:%201"}) {
        EXPECT_EQ("/", Post("/login", std::string("user=a&password=b&to=") + to, kForm).Header("Location")) << to;
        EXPECT_THAT(Ask(Request("GET", std::string("/login?to=") + to)).body, HasSubstr("name=\"to\" value=\"/\""))
            << to;
    }
}

TEST_F(LoginUrlsTest, BrowserIsToldOfARefusalOnThePage) {
    login_answer_.result = LoginAnswer::kRefused;
    const auto sent = Post("/login", "user=%22%3Ca%3E&password=b&to=/a", kForm);
    EXPECT_EQ(401U, sent.head.status);
    EXPECT_THAT(sent.body, HasSubstr("<p role=\"alert\">user name or password is wrong</p>"));
    EXPECT_THAT(sent.body, HasSubstr("value=\"&quot;&lt;a&gt;\""));
    EXPECT_THAT(sent.body, HasSubstr("<input type=\"hidden\" name=\"to\" value=\"/a\">"));
    login_answer_.result = LoginAnswer::kTooManyTries;
    login_answer_.retry_after = std::chrono::seconds(9);
    EXPECT_EQ("9", Post("/login", "user=a&password=b&to=/a", kForm).Header("Retry-After"));
}

TEST_F(LoginUrlsTest, LogoutEndsTheSessionAndClearsTheCookie) {
    const auto sent = Ask(LoggedIn(Request("POST", "/logout")));
    EXPECT_EQ(200U, sent.head.status);
    EXPECT_EQ("{}", sent.body);
    EXPECT_EQ("SID=; HttpOnly; SameSite=Strict; Path=/; Max-Age=0", sent.Header("Set-Cookie"));
    EXPECT_EQ(0U, sessions_.count(kSession));
    EXPECT_EQ(200U, Ask(LoggedIn(Request("POST", "/logout"))).head.status);
}

TEST_F(LoginUrlsTest, BrowserIsSentOnAfterLogout) {
    const auto sent = Ask(LoggedIn(Request("POST", "/logout", "to=/login", kForm)));
    EXPECT_EQ(303U, sent.head.status);
    EXPECT_EQ("/login", sent.Header("Location"));
    EXPECT_EQ(0U, sessions_.count(kSession));
}

TEST_F(LoginUrlsTest, OtherMethodsAreNotAllowed) {
    EXPECT_EQ("GET, HEAD, POST", Ask(Request("PUT", "/login")).Header("Allow"));
    const auto sent = Ask(LoggedIn(Request("GET", "/logout")));
    EXPECT_EQ(405U, sent.head.status);
    EXPECT_EQ("POST", sent.Header("Allow"));
    EXPECT_EQ(1U, sessions_.count(kSession));
}

TEST(PagesTest, WhatMeansSomethingInHtmlIsEscaped) {
    EXPECT_EQ("&lt;a href=&quot;x&quot;&gt;&amp;&#39;\xC3\xA4", EscapeHtml("<a href=\"x\">&'\xC3\xA4"));
}

}  // namespace
}  // namespace qarplatform
