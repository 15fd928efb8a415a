// Whose bodies the front takes, over real sockets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "standalone/http/front_fixture.h"
#include "standalone/http/http_server_fixture.h"
#include "standalone/http/open_files.h"
#include "standalone/log/temp_log.h"

namespace http_test {
namespace {

using ::testing::IsEmpty;
using ZELPlatform::kMethodAny;
using ZELPlatform::kMethodGet;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;

constexpr const char* kLoginRefused =
    R"({"status":401,"error":"Unauthorized","reason":"user name or password is wrong"})";

/// The URLs /closed, /open and /read, the last for GET only, whose handler answers with the body's size.
class FrontBodiesTest : public FrontFixture {
protected:
    FrontBodiesTest() {
        options_.spool_dir = folder_.Path();
        options_.memory_body_bytes = 100'000;
        login_answer_.result = qarplatform::LoginAnswer::kRefused;
        for (const auto& [url, method, open] :
             {std::tuple("/closed", kMethodAny, false), std::tuple("/open", kMethodAny, true),
              std::tuple("/read", kMethodGet, false)}) {
            EXPECT_TRUE(Bind(
                url, method,
                [this](MsgIn& in, MsgOut&, ProtoParam2& param) {
                    files_ = FilesInUse(folder_.Path());
                    param.str_answer = std::to_string(in.n_body_size);
                },
                open));
            EXPECT_TRUE(urls_.MarkNoneJson("plugin", {url}));
        }
        std::string error;
        EXPECT_TRUE(server_.Start(
            options_, [front = front_](ClientRequest&& request) { front->Handle(std::move(request)); }, error,
            [front = front_](const ClientHead& head) { return front->TermsOf(head); }))
            << error;
    }
    ~FrontBodiesTest() override { server_.Stop(); }

    static std::string Head(const std::string& line, const std::string& lines) {
        return line + " HTTP/1.1\r\nHost: host:8080\r\n" + lines + "\r\n";
    }
    static std::string Length(std::size_t size) { return "Content-Length: " + std::to_string(size) + "\r\n"; }
    static std::string Cookie() { return std::string("Cookie: SID=") + kSession + "\r\n"; }

    Answer Send(const std::string& text) {
        RawClient client(server_.Port());
        client.Send(text);
        return client.ReadAnswer();
    }
    /// A request with a body of that length, in chunks too. @return the answer's body
    std::string Sized(const std::string& line, const std::string& lines, std::size_t size) {
        char chunk[20];
        snprintf(chunk, sizeof(chunk), "%zX\r\n", size);
        const std::string body(size, 'x');
        const Answer whole = Send(Head(line, lines + Length(size)) + body);
        const Answer chunked =
            Send(Head(line, lines + "Transfer-Encoding: chunked\r\n") + chunk + body + "\r\n0\r\n\r\n");
        EXPECT_EQ(whole.body, chunked.body) << line;
        return whole.body;
    }

    TempDir folder_;
    HttpServerOptions options_;
    std::atomic<int> files_{-1};  // of bodies, in use while a handler ran last
    HttpServer server_;
};

struct RefusedHead {
    std::string line;
    std::string lines;
    int status = 0;
    std::string error;
    std::string reason;
};

TEST_F(FrontBodiesTest, WhatIsRefusedWithoutABodyIsRefusedBeforeItsBodyComes) {
    TempLog log;
    const std::string login = "GET, HEAD, POST";
    const std::string evil = Cookie() + "Origin: http://evil\r\n";
    const std::vector<RefusedHead> refused = {
        {"POST /nowhere", Cookie(), 404, "Not Found", "no plug-in serves /nowhere"},
        {"POST /nowhere", "", 404, "Not Found", "no plug-in serves /nowhere"},
        {"POST /read", Cookie(), 405, "Method Not Allowed", "the URL takes GET, HEAD"},
        {"PATCH /closed", Cookie(), 405, "Method Not Allowed", "the URL takes GET, HEAD, PUT, POST, DELETE"},
        {"POST /closed", "", 401, "Unauthorized", "log in first"},
        {"GET /closed", "", 401, "Unauthorized", "log in first"},
        {std::string("POST /closed?SID=") + kOtherSession, "", 401, "Unauthorized", "log in first"},
        {"POST /push", "", 401, "Unauthorized", "log in first"},
        {"POST /push", Cookie(), 426, "Upgrade Required", "this URL is for WebSockets"},
        {"POST /closed", evil, 403, "Forbidden", "the request comes from another site"},
        {"POST /open", evil, 403, "Forbidden", "the request comes from another site"},
        {"POST /login", "Origin: http://evil\r\n", 403, "Forbidden", "the request comes from another site"},
        {"PUT /login", "", 405, "Method Not Allowed", "the URL takes " + login},
        {"PUT /logout", Cookie(), 405, "Method Not Allowed", "the URL takes POST"},
        {"POST /", Cookie(), 405, "Method Not Allowed", "the URL takes GET, HEAD"},
        {"POST /open?MT=x", "", 400, "Bad Request", "MT names none of PUT, POST, DELETE and GET"},
        {"POST /open?SID=1&SID=2", "", 400, "Bad Request", "the query names SID more than once"},
        {"POST /../open", "", 400, "Bad Request", "the path has a segment \".\" or \"..\""},
    };
    for (const RefusedHead& head : refused) {
        std::string reason = head.reason;
        for (std::size_t at = 0; (at = reason.find('"', at)) != std::string::npos; at += 2) reason.insert(at, "\\");
        const std::string body = "{\"status\":" + std::to_string(head.status) + ",\"error\":\"" + head.error +
                                 "\",\"reason\":\"" + reason + "\"}";
        const Answer without = Send(Head(head.line, head.lines));
        EXPECT_EQ(without.status, head.status) << head.line;
        EXPECT_EQ(without.body, body) << head.line;
        EXPECT_EQ(without.headers.count("connection"), 0U) << head.line;
        for (const std::string& length :
             {Length(5'000'000), Length(1), std::string("Transfer-Encoding: chunked\r\n")}) {
            for (const char* expect : {"", "Expect: 100-continue\r\n"}) {
                RawClient client(server_.Port());
                client.Send(Head(head.line, head.lines + length + expect));
                Answer answer = client.ReadAnswer();
                EXPECT_EQ(answer.status, head.status) << head.line << length << expect;
                EXPECT_EQ(answer.body, body) << head.line << length << expect;
                EXPECT_EQ(answer.headers["connection"], "close") << head.line << length << expect;
                answer.headers.erase("connection");
                answer.headers["date"] = without.headers.at("date");
                EXPECT_EQ(answer.headers, without.headers) << head.line << length << expect;
                EXPECT_TRUE(client.Ends());
            }
        }
    }
    EXPECT_EQ(files_, -1) << "no handler has run";
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(FrontBodiesTest, LongBodyOfARefusedClientIsNeitherKeptNorInItsWay) {
    const std::string body(5'000'000, 'x');
    RawClient client(server_.Port());
    EXPECT_TRUE(client.Send(Head("POST /closed", Length(body.size())) + body));
    EXPECT_EQ(client.ReadAnswer().status, 401);
    EXPECT_EQ(FilesInUse(folder_.Path()), 0);
    EXPECT_TRUE(client.Ends());
}

TEST_F(FrontBodiesTest, BodyOfASessionIsTakenWholeAndOnTheDiskWhereItIsLong) {
    EXPECT_EQ(Sized("POST /closed", Cookie(), 100'000), "100000");
    EXPECT_EQ(files_, 0);
    for (const char* url : {"POST /closed", "POST /open"}) {
        EXPECT_EQ(Sized(url, Cookie(), 3'000'000), "3000000");
        EXPECT_GT(files_, 0) << url;  // the last one's may be there still
    }
    EXPECT_EQ(Sized(std::string("POST /closed?SID=") + kSession, "", 3'000'000), "3000000");
}

TEST_F(FrontBodiesTest, BodyOfAnOpenUrlWithoutASessionStaysInMemory) {
    EXPECT_EQ(Sized("POST /open", "", 100'000), "100000");
    EXPECT_EQ(files_, 0);
    EXPECT_EQ(Sized("POST /open", "", 100'001),
              R"({"status":413,"error":"Content Too Large","reason":"the body is longer than 100000 bytes"})");
}

TEST_F(FrontBodiesTest, PlatformsOwnUrlsTakeSmallBodiesOnly) {
    const std::string refusal =
        R"({"status":413,"error":"Content Too Large","reason":"the body is longer than 65536 bytes"})";
    for (const std::string& cookie : {std::string(), Cookie()}) {
        for (const char* line : {"POST /login", "POST /logout", "GET /login", "GET /"}) {
            EXPECT_EQ(Sized(line, cookie, 65537), refusal) << line;
            EXPECT_NE(Sized(line, cookie, 65536), refusal) << line;
            AddSession(kSession, 7, "admin");
        }
    }
    const std::string form = "user=a&password=b";
    EXPECT_EQ(
        Send(Head("POST /login", Length(form.size()) + "Content-Type: application/x-www-form-urlencoded\r\n") + form)
            .body,
        kLoginRefused);
}

TEST_F(FrontBodiesTest, SessionThatEndsWhileTheBodyComesServesNoMore) {
    RawClient client(server_.Port());
    client.Send(Head("POST /closed", Cookie() + Length(4) + "Expect: 100-continue\r\n"));
    EXPECT_EQ(client.ReadTo("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    {
        std::lock_guard<std::mutex> lock(mutex_);
        sessions_.clear();
    }
    client.Send("body");
    EXPECT_EQ(client.ReadAnswer().body, R"({"status":401,"error":"Unauthorized","reason":"log in first"})");
    EXPECT_EQ(files_, -1);
}

}  // namespace
}  // namespace http_test
