#include "standalone/http/Front.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "standalone/http/front_fixture.h"
#include "standalone/log/temp_log.h"
#include "support/other_thread.h"

namespace qarplatform {
namespace {

using http_test::FakeExchange;
using Mox::Net::HttpResponse;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using ZELPlatform::kMethodAny;
using ZELPlatform::kMethodDelete;
using ZELPlatform::kMethodGet;
using ZELPlatform::kMethodPost;
using ZELPlatform::kMethodPut;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;

constexpr const char* kForm = "application/x-www-form-urlencoded";
constexpr std::chrono::seconds kPatience(20);

class FrontTest : public http_test::FrontFixture {
protected:
    using FrontFixture::FrontFixture;

    // Binds a URL whose handler keeps what it was given.
    void BindKept(const std::string& url, ZELPlatform::Method method, bool open = false, bool json = false) {
        ASSERT_TRUE(Bind(
            url, method,
            [this](MsgIn& in, MsgOut& out, ProtoParam2& param) {
                EXPECT_TRUE(out.b_send);
                kept_ = in;
                kept_body_ = std::string(in.p_body == nullptr ? "" : in.p_body, in.n_body_size);
                param.str_answer = "done";
            },
            open));
        if (!json) {
            ASSERT_TRUE(urls_.MarkNoneJson("plugin", {url}));
        }
    }

    unsigned StatusOf(const ClientRequest& request) { return Ask(request).head.status; }

    // Sends requests for /a, whose handler does not end before leave_ is counted down. @return once it is in each
    std::vector<ClientRequest> SendWaiting(int count = 1) {
        const auto entered = std::make_shared<std::latch>(count);
        EXPECT_TRUE(Bind(
            "/a", kMethodGet,
            [this, entered](MsgIn&, MsgOut&, ProtoParam2& param) {
                entered->count_down();
                leave_.wait();
                param.str_answer = "done";
            },
            true));
        std::vector<ClientRequest> requests;
        for (int i = 0; i < count; ++i) {
            requests.push_back(Request("GET", "/a"));
            front_->Handle(requests.back());
        }
        entered->wait();
        return requests;
    }

    std::latch leave_{1};
    MsgIn kept_;
    std::string kept_body_;
};

TEST_F(FrontTest, HandlerIsGivenTheWholeRequest) {
    BindKept("/a", kMethodPost);
    const std::string target = "/a/1/-2?b=%20c&SID=ignored&b=d";
    const auto sent = Ask(LoggedIn(Request("POST", target, "body", "text/plain")));
    EXPECT_EQ(200U, sent.head.status);
    EXPECT_EQ("done", sent.body);
    EXPECT_GT(kept_.n_connection, 0);
    EXPECT_EQ(kMethodPost, kept_.n_method);
    EXPECT_EQ(target, kept_.str_url);
    EXPECT_THAT(kept_.str_numbers, ElementsAre("1", "-2", "", ""));
    EXPECT_EQ(kSession, kept_.str_request_text);
    EXPECT_THAT(kept_.map_params, ElementsAre(Pair("b", " c")));
    EXPECT_THAT(kept_.vec_mime, IsEmpty());
    EXPECT_EQ("body", kept_body_);
}

TEST_F(FrontTest, RequestWithoutASessionIsRefused) {
    BindKept("/a", kMethodGet);
    const auto sent = Ask(Request("GET", "/a"));
    EXPECT_EQ(401U, sent.head.status);
    EXPECT_EQ("application/json", sent.Header("Content-Type"));
    EXPECT_EQ("Session", sent.Header("WWW-Authenticate"));
    EXPECT_EQ(R"({"status":401,"error":"Unauthorized","reason":"log in first"})", sent.body);
    EXPECT_EQ(-1, kept_.n_connection);
}

TEST_F(FrontTest, SessionMayComeInTheQuery) {
    BindKept("/a", kMethodGet);
    EXPECT_EQ(200U, StatusOf(Request("GET", std::string("/a?SID=") + kSession + "&x=1")));
    EXPECT_EQ(kSession, kept_.str_request_text);
    EXPECT_THAT(kept_.map_params, ElementsAre(Pair("x", "1")));
}

TEST_F(FrontTest, CookieComesBeforeTheQueryUnlessItsSessionHasEnded) {
    BindKept("/a", kMethodGet);
    AddSession(kOtherSession, 8, "other");
    auto request = LoggedIn(Request("GET", std::string("/a?SID=") + kOtherSession));
    EXPECT_EQ(200U, StatusOf(request));
    EXPECT_EQ(kSession, kept_.str_request_text);
    request = Request("GET", std::string("/a?SID=") + kOtherSession);
    request.cookie = "SID=00000000000000000000000000000000";
    EXPECT_EQ(200U, StatusOf(request));
    EXPECT_EQ(kOtherSession, kept_.str_request_text);
}

TEST_F(FrontTest, CookieOfAnotherHostInFrontDoesNotHideTheSession) {
    BindKept("/a", kMethodAny);
    const std::string strange = "SID=00000000000000000000000000000000; ";
    const std::string own = std::string("SID=") + kSession;
    auto request = Request("GET", "/a");
    request.cookie = strange + "SID=short; " + strange + strange + own;
    EXPECT_EQ(200U, StatusOf(request));
    EXPECT_EQ(kSession, kept_.str_request_text);
    request = Request("GET", "/a");
    request.cookie = strange + strange + strange + strange + own;
    EXPECT_EQ(401U, StatusOf(request));
}

TEST_F(FrontTest, SessionOfALaterCookieIsGuardedToo) {
    BindKept("/a", kMethodAny);
    auto request = Request("POST", "/a");
    request.cookie = std::string("SID=00000000000000000000000000000000; SID=") + kSession;
    request.origin = "http://evil";
    EXPECT_EQ(403U, StatusOf(request));
}

// A neighbour of the site can set a cookie with its own session in front of the user's.
TEST_F(FrontTest, CookiesOfTwoLiveSessionsCountForNone) {
    BindKept("/a", kMethodAny);
    AddSession(kOtherSession, 8, "other");
    const std::string own = std::string("SID=") + kSession;
    auto request = Request("GET", "/a?" + own);
    request.cookie = std::string("SID=") + kOtherSession + "; " + own;
    EXPECT_EQ(401U, StatusOf(request));
    request = Request("GET", "/a");
    request.cookie = own + "; " + own;
    EXPECT_EQ(200U, StatusOf(request)) << "the same one twice is one";
    EXPECT_EQ(kSession, kept_.str_request_text);
}

TEST_F(FrontTest, QueryThatNamesSeveralSessionsIsRefused) {
    BindKept("/a", kMethodAny, true);
    const std::string sid = std::string("SID=") + kSession;
    const std::string refusal = R"({"status":400,"error":"Bad Request","reason":"the query names SID more than once"})";
    for (const std::string& query : {sid + "&" + sid, "SID=&" + sid, sid + "&%53ID=" + kOtherSession}) {
        EXPECT_EQ(refusal, Ask(LoggedIn(Request("POST", "/a?" + query))).body) << query;
        EXPECT_EQ(refusal, Ask(Request("GET", "/login?" + query)).body) << query;
    }
    EXPECT_EQ(-1, kept_.n_connection);
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a?x=1&" + sid, "SID=form&SID=form", kForm)));
    EXPECT_EQ(kSession, kept_.str_request_text);
    EXPECT_THAT(kept_.map_params, ElementsAre(Pair("x", "1")));
}

TEST_F(FrontTest, QueryThatNamesSeveralSessionsIsRefusedBeforeAllElseIsAsked) {
    BindKept("/a", kMethodGet);
    const std::string refusal = R"({"status":400,"error":"Bad Request","reason":"the query names SID more than once"})";
    const std::string query = std::string("?SID=") + kSession + "&SID=" + kSession;
    ClientRequest foreign = LoggedIn(Request("POST", "/a" + query));
    foreign.origin = "http://evil";
    EXPECT_EQ(refusal, Ask(foreign).body);
    ClientRequest socket = LoggedIn(Request("GET", "/a" + query));
    socket.websocket = true;
    EXPECT_EQ(refusal, Ask(socket).body);
    EXPECT_EQ(refusal, Ask(Request("PUT", "/a" + query)).body) << "method";
    EXPECT_EQ(refusal, Ask(Request("GET", "/nowhere" + query)).body);
    EXPECT_EQ(refusal, Ask(Request("GET", "/a?SID=1&SID=2")).body) << "no session";
    EXPECT_EQ(refusal, Ask(Request("GET", "/push?SID=1&SID=2")).body);
    EXPECT_EQ(0, uses_) << "which would keep it alive";
}

TEST_F(FrontTest, QueryThatEscapesTheSessionIsRefused) {
    BindKept("/a", kMethodAny, true);
    const std::string id = kSession;
    const std::string refusal =
        R"({"status":400,"error":"Bad Request","reason":"the query's key SID or its value is escaped"})";
    for (const std::string& query : {"%53ID=" + id, "x=1&SI%44=" + id, "SID=%30" + id.substr(1)}) {
        EXPECT_EQ(refusal, Ask(Request("GET", "/a?" + query)).body) << query;
        EXPECT_EQ(refusal, Ask(LoggedIn(Request("POST", "/a?" + query))).body) << query;
        EXPECT_EQ(refusal, Ask(Request("GET", "/login?" + query)).body) << query;
    }
    EXPECT_EQ(-1, kept_.n_connection);
}

TEST_F(FrontTest, WhatIsNoSessionIsNone) {
    BindKept("/a", kMethodGet);
    EXPECT_EQ(401U, StatusOf(Request("GET", "/a?SID=short")));
    EXPECT_EQ(401U, StatusOf(Request("GET", std::string("/a?SID=") + kOtherSession)));
    EXPECT_EQ(401U, StatusOf(Request("GET", std::string("/a?sid=") + kSession)));
}

TEST_F(FrontTest, OpenUrlIsServedWithoutASession) {
    BindKept("/a", kMethodGet, true);
    EXPECT_EQ(200U, StatusOf(Request("GET", "/a")));
    EXPECT_EQ("", kept_.str_request_text);
    EXPECT_EQ(200U, StatusOf(LoggedIn(Request("GET", "/a"))));
    EXPECT_EQ(kSession, kept_.str_request_text);
}

TEST_F(FrontTest, VerbNamesTheMethod) {
    BindKept("/a", kMethodAny, true);
    const std::vector<std::pair<const char*, int>> verbs = {
        {"GET", 0}, {"HEAD", 0}, {"PUT", 1}, {"POST", 2}, {"DELETE", 3}};
    for (const auto& [verb, method] : verbs) {
        EXPECT_EQ(200U, StatusOf(Request(verb, "/a"))) << verb;
        EXPECT_EQ(method, kept_.n_method) << verb;
    }
}

TEST_F(FrontTest, KeyOfAPostNamesTheMethod) {
    BindKept("/a", kMethodAny, true);
    const std::vector<std::pair<const char*, int>> words = {{"PUT", 1}, {"POST", 2}, {"DELETE", 3}, {"GET", 4}};
    for (const auto& [word, method] : words) {
        EXPECT_EQ(200U, StatusOf(Request("POST", std::string("/a?MT=") + word))) << word;
        EXPECT_EQ(method, kept_.n_method) << word;
        EXPECT_THAT(kept_.map_params, ElementsAre(Pair("MT", word)));
    }
    EXPECT_EQ(200U, StatusOf(Request("GET", "/a?MT=DELETE")));
    EXPECT_EQ(0, kept_.n_method);
}

TEST_F(FrontTest, UnknownMethodWordIsRefused) {
    BindKept("/a", kMethodAny, true);
    for (const char* target : {"/a?MT=put", "/a?MT=", "/a?MT=PATCH"}) {
        EXPECT_EQ(R"({"status":400,"error":"Bad Request","reason":"MT names none of PUT, POST, DELETE and GET"})",
                  Ask(Request("POST", target)).body);
    }
}

TEST_F(FrontTest, KeyOfAPostReachesTheUrlBoundForThatMethod) {
    ASSERT_TRUE(Bind(
        "/a", kMethodGet, [](MsgIn&, MsgOut&, ProtoParam2& p) { p.str_answer = "get"; }, true));
    ASSERT_TRUE(Bind(
        "/a", kMethodPost, [](MsgIn&, MsgOut&, ProtoParam2& p) { p.str_answer = "post"; }, true));
    ASSERT_TRUE(Bind(
        "/a", kMethodDelete, [](MsgIn&, MsgOut&, ProtoParam2& p) { p.str_answer = "delete"; }, true));
    EXPECT_EQ("get", Ask(Request("POST", "/a?MT=GET")).body);
    EXPECT_EQ("post", Ask(Request("POST", "/a")).body);
    EXPECT_EQ("delete", Ask(Request("POST", "/a?MT=DELETE")).body);
    EXPECT_EQ(405U, StatusOf(Request("POST", "/a?MT=PUT")));
}

TEST_F(FrontTest, UnknownUrlIsNotFoundAndUnboundMethodNotAllowed) {
    BindKept("/a", kMethodGet);
    EXPECT_EQ(R"({"status":404,"error":"Not Found","reason":"no plug-in serves /b"})",
              Ask(LoggedIn(Request("GET", "/b?x=1"))).body);
    for (const char* verb : {"PUT", "PATCH", "get"}) {
        const auto sent = Ask(LoggedIn(Request(verb, "/a")));
        EXPECT_EQ(405U, sent.head.status) << verb;
        EXPECT_EQ("GET, HEAD", sent.Header("Allow")) << verb;
    }
}

TEST_F(FrontTest, TargetThatPlaysTricksIsRefused) {
    BindKept("/a", kMethodAny, true);
    for (const char* target : {"/../a", "//a", "/%2e%2e/a", "/a%00", "/x%2Fa", "/\\a", "/\xE4", "/a?x=%", "/a?x=%E4"}) {
        EXPECT_EQ(400U, StatusOf(LoggedIn(Request("GET", target)))) << target;
    }
    EXPECT_EQ(-1, kept_.n_connection);
}

TEST_F(FrontTest, BodyOfAJsonUrlMustBeJson) {
    BindKept("/a", kMethodPost, true, true);
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a", R"({"a":1})", "text/plain")));
    EXPECT_EQ(R"({"a":1})", kept_body_);
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a")));
    EXPECT_EQ(R"({"status":400,"error":"Bad Request","reason":"the body is no JSON: Invalid value. At byte 5."})",
              Ask(Request("POST", "/a", R"({"a":x})", "application/json")).body);
    EXPECT_EQ(400U, StatusOf(Request("POST", "/a", "a=1", kForm)));
}

TEST_F(FrontTest, BodyOfAMarkedUrlMayBeAnything) {
    BindKept("/a", kMethodPost, true);
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a", std::string("\0{", 2), "application/json")));
    EXPECT_EQ(std::string("\0{", 2), kept_body_);
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a", "x", "; broken")));
}

TEST_F(FrontTest, FormIsAddedToTheQuery) {
    BindKept("/a", kMethodPost, true);
    const std::string form = std::string("a=form&b=1+2&SID=") + kSession;
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a?a=query", form, "Application/x-www-form-urlencoded; charset=utf-8")));
    EXPECT_THAT(kept_.map_params, ElementsAre(Pair("a", "query"), Pair("b", "1 2")));
    EXPECT_EQ("", kept_.str_request_text);
    EXPECT_EQ(form, kept_body_);
    EXPECT_EQ(400U, StatusOf(Request("POST", "/a", "a=%", kForm)));
}

TEST_F(FrontTest, MultipartBodyIsTakenApart) {
    BindKept("/a", kMethodPost, true);
    const std::string body = "--x\r\nContent-Disposition: form-data; name=n; filename=f\r\n\r\ndata\r\n--x--";
    EXPECT_EQ(200U, StatusOf(Request("POST", "/a", body, "multipart/form-data; boundary=x")));
    ASSERT_THAT(kept_.vec_mime, SizeIs(1));
    EXPECT_EQ("n", kept_.vec_mime[0].str_name);
    EXPECT_EQ("data", kept_.vec_mime[0].str_data);
    EXPECT_EQ(body, kept_body_);
    EXPECT_EQ(R"({"status":400,"error":"Bad Request","reason":"the body holds no boundary line"})",
              Ask(Request("POST", "/a", body, "multipart/form-data; boundary=y")).body);
}

TEST_F(FrontTest, AnswerOfAJsonUrlIsJson) {
    ASSERT_TRUE(Bind(
        "/a", kMethodGet, [](MsgIn&, MsgOut&, ProtoParam2& p) { p.str_answer = "<html>"; }, true));
    const auto sent = Ask(Request("GET", "/a"));
    EXPECT_EQ("application/json; charset=utf-8", sent.Header("Content-Type"));
    EXPECT_EQ("no-store", sent.Header("Cache-Control"));
}

TEST_F(FrontTest, AnswersOfMarkedUrlsAreToldApartByTheirBeginning) {
    std::string answer;
    ASSERT_TRUE(Bind(
        "/a", kMethodGet, [&](MsgIn&, MsgOut&, ProtoParam2& p) { p.str_answer = answer; }, true));
    ASSERT_TRUE(urls_.MarkNoneJson("plugin", {"/a"}));
    const std::vector<std::pair<const char*, const char*>> types = {
        {"{}", "application/json; charset=utf-8"},       {" \r\n[1]", "application/json; charset=utf-8"},
        {"<!DOCTYPE HTML>", "text/html; charset=utf-8"}, {"<Html lang=en>", "text/html; charset=utf-8"},
        {"<?xml?>", "application/xml; charset=utf-8"},   {"<!doctype x>", "application/xml; charset=utf-8"},
        {"text", "text/plain; charset=utf-8"},           {"", "text/plain; charset=utf-8"}};
    for (const auto& [text, type] : types) {
        answer = text;
        const auto sent = Ask(Request("GET", "/a"));
        EXPECT_EQ(type, sent.Header("Content-Type")) << text;
        EXPECT_EQ(text, sent.body);
    }
}

TEST_F(FrontTest, HandlerMayAnswerByItself) {
    std::atomic<int> result{-1};
    ASSERT_TRUE(Bind(
        "/a", kMethodGet,
        [&](MsgIn& in, MsgOut& out, ProtoParam2&) {
            result = static_cast<int>(answers_.Send(in.n_connection, HttpResponse(), 4, "file"));
            out.b_send = false;
        },
        true));
    const auto sent = Ask(Request("GET", "/a"));
    EXPECT_EQ("file", sent.body);
    EXPECT_EQ("application/xml; charset=\"UTF-8\"", sent.Header("Content-Type"));
    front_->Stop(std::chrono::steady_clock::now() + kPatience);
    EXPECT_EQ(0, result);
}

TEST_F(FrontTest, AnswerMayFollowAfterTheHandlerReturned) {
    std::atomic<int32_t> number{0};
    ASSERT_TRUE(Bind(
        "/a", kMethodGet,
        [&](MsgIn& in, MsgOut& out, ProtoParam2&) {
            number = in.n_connection;
            out.b_send = false;
        },
        true));
    const ClientRequest request = Request("GET", "/a");
    front_->Handle(request);
    front_->Stop(std::chrono::steady_clock::now() + kPatience);
    EXPECT_FALSE(ExchangeOf(request).Answered());
    EXPECT_EQ(SendResult::kSent, answers_.Send(number, HttpResponse(), 4, "late"));
    EXPECT_EQ("late", ExchangeOf(request).Answer().body);
}

TEST_F(FrontTest, AnswerOfTheHandlerItselfStaysTheOnlyOne) {
    ASSERT_TRUE(Bind(
        "/a", kMethodGet,
        [&](MsgIn& in, MsgOut&, ProtoParam2& param) {
            answers_.Send(in.n_connection, HttpResponse(), 4, "file");
            param.str_answer = "text";
        },
        true));
    const ClientRequest request = Request("GET", "/a");
    EXPECT_EQ("file", Ask(request).body);
    front_->Stop(std::chrono::steady_clock::now() + kPatience);
    EXPECT_EQ(0, ExchangeOf(request).Refused());
}

TEST_F(FrontTest, HandlerThatThrowsIsToldAndAnsweredWithAFailure) {
    TempLog log;
    ASSERT_TRUE(Bind("/a", kMethodGet, [](MsgIn&, MsgOut&, ProtoParam2&) { throw std::runtime_error("no disk"); }));
    ASSERT_TRUE(Bind("/b", kMethodGet, [](MsgIn&, MsgOut& out, ProtoParam2&) {
        out.b_send = false;
        throw 1;
    }));
    const std::string failure = R"({"status":500,"error":"Internal Server Error","reason":"the plug-in failed"})";
    EXPECT_EQ(failure, Ask(LoggedIn(Request("GET", std::string("/a/1?SID=") + kSession))).body);
    EXPECT_EQ(failure, Ask(LoggedIn(Request("GET", "/b"))).body);
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(HasSubstr("plug-in plugin threw at a request for /a: no disk"),
                    HasSubstr("plug-in plugin threw at a request for /b: something that is no std::exception")));
}

TEST_F(FrontTest, SeveralRequestsOfOneUrlRunAtOnce) {
    std::latch all(4);
    ASSERT_TRUE(Bind(
        "/a", kMethodGet, [&](MsgIn&, MsgOut&, ProtoParam2&) { all.arrive_and_wait(); }, true));
    std::vector<ClientRequest> requests;
    for (int i = 0; i < 4; ++i) {
        requests.push_back(Request("GET", "/a"));
        front_->Handle(requests.back());
    }
    for (const ClientRequest& request : requests) EXPECT_EQ(200U, ExchangeOf(request).Answer().head.status);
}

TEST_F(FrontTest, ReleasedUrlLetsItsCallEnd) {
    const ClientRequest request = SendWaiting().front();
    ASSERT_TRUE(urls_.Delete("/a", kMethodAny));
    EXPECT_EQ(404U, StatusOf(Request("GET", "/a")));
    leave_.count_down();
    EXPECT_EQ("done", ExchangeOf(request).Answer().body);
}

class NarrowFrontTest : public FrontTest {
protected:
    NarrowFrontTest() : FrontTest(2) {}
};

TEST_F(NarrowFrontTest, RequestsBeyondTheLimitAreRefusedAtOnceAndLaterOnesServed) {
    BindKept("/b", kMethodGet, true);
    SendWaiting(2);
    const auto sent = Ask(Request("GET", "/b"));
    EXPECT_EQ(503U, sent.head.status);
    EXPECT_EQ("1", sent.Header("Retry-After"));
    EXPECT_EQ(R"({"status":503,"error":"Service Unavailable","reason":"too many requests at a time"})", sent.body);
    leave_.count_down();
    front_->Stop(std::chrono::steady_clock::now() + kPatience);
    ASSERT_TRUE(front_->Start());
    EXPECT_EQ(200U, StatusOf(Request("GET", "/b")));
}

TEST_F(FrontTest, StopWaitsForHandlersAndRefusesMore) {
    const ClientRequest request = SendWaiting().front();
    {
        const test_support::OtherThread stopper([&] { front_->Stop(std::chrono::steady_clock::now() + kPatience); });
        EXPECT_TRUE(stopper.Waits());
        leave_.count_down();
    }
    EXPECT_TRUE(ExchangeOf(request).Answered());
    EXPECT_EQ(R"({"status":503,"error":"Service Unavailable","reason":"the server stops"})",
              Ask(Request("GET", "/a")).body);
}

TEST_F(FrontTest, StopLeavesBehindWhatTakesTooLong) {
    TempLog log;
    const ClientRequest request = SendWaiting().front();
    front_->Stop(std::chrono::steady_clock::now());
    leave_.count_down();
    EXPECT_EQ(200U, ExchangeOf(request).Answer().head.status);
    EXPECT_THAT(log.Lines(), ElementsAre(HasSubstr("1 requests are left behind at work")));
}

TEST_F(FrontTest, ChangeByACookiesSessionMustComeFromThisSite) {
    BindKept("/a", kMethodAny);
    ClientRequest request = LoggedIn(Request("POST", "/a"));
    request.origin = "http://evil";
    EXPECT_EQ(R"({"status":403,"error":"Forbidden","reason":"the request comes from another site"})",
              Ask(request).body);
    EXPECT_EQ(-1, kept_.n_connection);
    for (const char* verb : {"PUT", "DELETE"}) {
        request = LoggedIn(Request(verb, "/a"));
        request.origin = "null";
        EXPECT_EQ(403U, StatusOf(request)) << verb;
    }
    request = LoggedIn(Request("POST", "/a?MT=GET"));
    request.origin = "http://host:8081";
    EXPECT_EQ(403U, StatusOf(request));
    request = LoggedIn(Request("POST", "/a"));
    request.origin = "http://HOST:8080";
    EXPECT_EQ(200U, StatusOf(request));
    request = LoggedIn(Request("GET", "/a"));
    request.origin = "http://evil";
    EXPECT_EQ(200U, StatusOf(request));
    request = Request("POST", std::string("/a?SID=") + kSession);
    request.origin = "http://evil";
    EXPECT_EQ(200U, StatusOf(request));
}

class SchemedFrontTest : public FrontTest, public testing::WithParamInterface<UserScheme> {
protected:
    SchemedFrontTest() : FrontTest(64, GetParam()) {}
};

TEST_P(SchemedFrontTest, ChangeMustComeFromAPageOfTheSchemeThatUsersSee) {
    BindKept("/a", kMethodAny);
    for (const auto& [origin, scheme] :
         {std::pair("http://host", UserScheme::kHttp), std::pair("http://host:80", UserScheme::kHttp),
          std::pair("https://host", UserScheme::kHttps), std::pair("https://host:443", UserScheme::kHttps)}) {
        const bool same = GetParam() == scheme || GetParam() == UserScheme::kEither;
        ClientRequest request = LoggedIn(Request("POST", "/a"));
        request.host = "host";
        request.origin = origin;
        EXPECT_EQ(same ? 200U : 403U, StatusOf(request)) << origin;
    }
}

std::string SchemeName(const testing::TestParamInfo<UserScheme>& scheme) {
    constexpr std::array<const char*, 3> kNames = {"Http", "Https", "Either"};
    return kNames.at(static_cast<std::size_t>(scheme.param));
}

INSTANTIATE_TEST_SUITE_P(Schemes, SchemedFrontTest,
                         testing::Values(UserScheme::kHttp, UserScheme::kHttps, UserScheme::kEither), SchemeName);

TEST_F(FrontTest, WebSocketOfASessionIsAccepted) {
    ClientRequest request = LoggedIn(Request("GET", "/push"));
    request.websocket = true;
    request.origin = "http://host:8080";
    front_->Handle(request);
    const auto listener = ExchangeOf(request).Accepted();
    const auto channel = std::make_shared<http_test::FakeChannel>();
    listener->Opened(channel);
    const auto content = std::make_shared<ZELPlatform::CObserverParam>();
    content->SetText("hello");
    EXPECT_TRUE(board_.Push({kSession}, 1, content));
    EXPECT_THAT(channel->Texts(), ElementsAre("hello"));
    listener->Closed();
}

TEST_F(FrontTest, OtherWebSocketsAreRefused) {
    ClientRequest request = Request("GET", "/push");
    request.websocket = true;
    EXPECT_EQ(401U, StatusOf(request));
    request = LoggedIn(Request("GET", "/push"));
    request.websocket = true;
    request.origin = "http://evil";
    EXPECT_EQ(403U, StatusOf(request));
    BindKept("/a", kMethodAny);
    request = LoggedIn(Request("GET", "/a"));
    request.websocket = true;
    EXPECT_EQ(404U, StatusOf(request));
    const auto sent = Ask(LoggedIn(Request("GET", "/push")));
    EXPECT_EQ(426U, sent.head.status);
    EXPECT_EQ("websocket", sent.Header("Upgrade"));
}

TEST_F(FrontTest, FirstPageListsWhatABrowserCanOpen) {
    BindKept("/a b", kMethodGet);
    BindKept("/c", kMethodPut);
    BindKept("/d<", kMethodAny);
    AddSession(kSession, 7, "<admin>");
    const auto sent = Ask(LoggedIn(Request("GET", "/")));
    EXPECT_EQ(200U, sent.head.status);
    EXPECT_EQ("text/html; charset=utf-8", sent.Header("Content-Type"));
    EXPECT_THAT(sent.Header("Content-Security-Policy"), HasSubstr("default-src 'none'"));
    EXPECT_THAT(sent.body, HasSubstr("Logged in as &lt;admin&gt;."));
    EXPECT_THAT(sent.body, HasSubstr("<li><a href=\"/a%20b\">/a b</a> (plugin)</li>\n"
                                     "<li><a href=\"/d%3C\">/d&lt;</a> (plugin)</li>\n</ul>"));
    EXPECT_THAT(sent.body, testing::Not(HasSubstr("/c")));
}

TEST_F(FrontTest, FirstPageSendsOthersToTheLogin) {
    const auto sent = Ask(Request("GET", "/"));
    EXPECT_EQ(303U, sent.head.status);
    EXPECT_EQ("/login", sent.Header("Location"));
    EXPECT_EQ(405U, StatusOf(Request("POST", "/")));
}

}  // namespace
}  // namespace qarplatform
