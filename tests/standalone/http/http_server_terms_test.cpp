// On which terms the server takes bodies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "standalone/http/http_server_fixture.h"
#include "standalone/http/open_files.h"
#include "standalone/log/temp_log.h"

namespace http_test {
namespace {

using ::testing::IsEmpty;

constexpr const char* kChunked = "Transfer-Encoding: chunked\r\n";

/// A server with a folder for long bodies that asks for the terms of each body. Handlers get bodies' sizes, or keep the
/// requests.
class HttpTermsTest : public HttpServerTest {
protected:
    HttpTermsTest() {
        options_.spool_dir = folder_.Path();
        options_.memory_body_bytes = 1000;
        on_head_ = [this](const ClientHead& head) {
            heads_.Add(head);
            const std::lock_guard<std::mutex> lock(mutex_);
            return terms_;
        };
    }
    ~HttpTermsTest() override { server_.Stop(); }

    void Start() {
        std::string error;
        const auto on_request = [this](const ClientRequest& request) {
            if (keep_) {
                kept_.Add(std::make_shared<ClientRequest>(request));
            } else {
                Answer(request, std::to_string(request.body.size()));
            }
        };
        ASSERT_TRUE(server_.Start(options_, on_request, error, on_head_)) << error;
    }

    void KeepRequests() {
        keep_ = true;
        options_.stop_timeout = std::chrono::milliseconds(1);
    }

    void SetTerms(const BodyTerms& terms) {
        const std::lock_guard<std::mutex> lock(mutex_);
        terms_ = terms;
    }

    static BodyTerms Refusal() {
        qarplatform::Answer answer;
        answer.head.status = 401;
        answer.head.headers = {{"X-Why", "login"}};
        answer.body = "no";
        BodyTerms terms;
        terms.refusal = answer;
        return terms;
    }

    static std::string Length(std::size_t size) { return "Content-Length: " + std::to_string(size) + "\r\n"; }
    static std::string Post(const std::string& lines) { return "POST /a HTTP/1.1\r\nHost: h\r\n" + lines + "\r\n"; }
    static std::string Chunks(std::size_t size) {
        std::string chunks;
        for (; size > 0; --size) chunks += "1\r\nx\r\n";
        return chunks + "0\r\n\r\n";
    }

    http_test::Answer Ask(const std::string& request) {
        RawClient client(server_.Port());
        client.Send(request);
        return client.ReadAnswer();
    }

    /// Begins a request of this body, all of which but the last byte has reached the server when this returns.
    std::unique_ptr<RawClient> Begin(std::size_t size) {
        auto client = std::make_unique<RawClient>(server_.Port());
        client->Send(Post(Length(size)) + std::string(size - 1, 'x'));
        PassServerThread();
        return client;
    }

    /// Has a request with such a body be handed on and kept. @return how many are kept then
    std::size_t Keep(std::size_t size) {
        const std::size_t before = kept_.Now().size();
        clients_.push_back(std::make_unique<RawClient>(server_.Port()));
        clients_.back()->Send(Post(Length(size)) + std::string(size, 'x'));
        const std::size_t kept = kept_.WaitFor(before + 1).size();
        PassServerThread();
        return kept;
    }

    void LetGo(std::size_t kept) { kept_.Now()[kept]->body_owner.reset(); }

    TempDir folder_;
    std::mutex mutex_;
    BodyTerms terms_;  // guarded by mutex_
    Arrivals<ClientHead> heads_;
    bool keep_ = false;
    Arrivals<std::shared_ptr<ClientRequest>> kept_;
    std::vector<std::unique_ptr<RawClient>> clients_;
};

TEST_F(HttpTermsTest, OwnerIsToldTheHeadBeforeTheBodyComes) {
    Start();
    RawClient client(server_.Port());
    client.Send(
        "PUT /a?b HTTP/1.1\r\nHost: h:1\r\nOrigin: http://o\r\nCookie: c=1\r\nCookie: d=2\r\nContent-Type: t/x\r\n"
        "Content-Length: 3\r\n\r\n");
    const ClientHead head = heads_.WaitFor(1)[0];
    EXPECT_EQ(head.verb, "PUT");
    EXPECT_EQ(head.target, "/a?b");
    EXPECT_EQ(head.host, "h:1");
    EXPECT_EQ(head.origin, "http://o");
    EXPECT_EQ(head.cookie, "c=1; d=2");
    EXPECT_EQ(head.content_type, "t/x");
    EXPECT_EQ(head.remote, "127.0.0.1");
    EXPECT_FALSE(head.websocket);
    client.Send("abc");
    EXPECT_EQ(client.ReadAnswer().body, "3");
    EXPECT_EQ(heads_.Now().size(), 1U);
}

TEST_F(HttpTermsTest, OwnerIsNotAskedWhereNoBodyComes) {
    terms_ = Refusal();
    Start();
    EXPECT_EQ(Ask("GET /a HTTP/1.1\r\nHost: h\r\n\r\n").body, "0");
    EXPECT_EQ(Ask(Post("")).body, "0");
    EXPECT_EQ(Ask(Post(Length(0))).body, "0");
    EXPECT_THAT(heads_.Now(), IsEmpty());
}

TEST_F(HttpTermsTest, RefusalIsSentForTheHeadAloneAndEndsTheConnection) {
    TempLog log;
    terms_ = Refusal();
    KeepRequests();
    Start();
    for (const std::string& lines : {Length(10'000'000), Length(1), Length(1) + "Expect: 100-continue\r\n",
                                     std::string(kChunked), std::string(kChunked) + "Expect: 100-continue\r\n"}) {
        RawClient client(server_.Port());
        client.Send(Post(lines));
        const http_test::Answer answer = client.ReadAnswer();
        EXPECT_EQ(answer.status, 401) << lines;
        EXPECT_EQ(answer.headers.at("x-why"), "login") << lines;
        EXPECT_EQ(answer.headers.at("connection"), "close") << lines;
        EXPECT_EQ(answer.body, "no") << lines;
        EXPECT_TRUE(client.Ends()) << lines;
    }
    server_.Stop();
    EXPECT_THAT(kept_.Now(), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(HttpTermsTest, RefusedClientThatSendsItsBodyAllTheSameGetsTheAnswer) {
    terms_ = Refusal();
    Start();
    const std::string body(8'000'000, 'x');
    RawClient client(server_.Port());
    EXPECT_TRUE(client.Send(Post(Length(body.size())) + body));
    EXPECT_EQ(client.ReadAnswer().body, "no");
    EXPECT_EQ(FilesInUse(folder_.Path()), 0);
    EXPECT_TRUE(client.Ends());
    RawClient pipelined(server_.Port());
    pipelined.Send(Post(Length(1)) + "x" + Post(""));
    EXPECT_EQ(pipelined.ReadAnswer().status, 401);
    EXPECT_EQ(pipelined.ReadToEnd(), "");
}

TEST_F(HttpTermsTest, RefusalOfAHeadRequestGoesWithoutItsBody) {
    terms_ = Refusal();
    Start();
    RawClient client(server_.Port());
    client.Send("HEAD /a HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\n\r\n");
    const http_test::Answer answer = client.ReadAnswer(true);
    EXPECT_EQ(answer.status, 401);
    EXPECT_EQ(answer.headers.at("content-length"), "2");
    EXPECT_EQ(client.ReadToEnd(), "");
}

TEST_F(HttpTermsTest, BodyMayBeAsLongAsItsTermsSay) {
    terms_.most_bytes = 2000;
    Start();
    const std::string refusal =
        R"({"status":413,"error":"Content Too Large","reason":"the body is longer than 2000 bytes"})";
    EXPECT_EQ(Ask(Post(Length(2000)) + std::string(2000, 'x')).body, "2000");
    EXPECT_EQ(Ask(Post(Length(2001))).body, refusal);
    EXPECT_EQ(Ask(Post(Length(2001) + "Expect: 100-continue\r\n")).body, refusal);
    EXPECT_EQ(Ask(Post(kChunked) + Chunks(2000)).body, "2000");
    EXPECT_EQ(Ask(Post(kChunked) + Chunks(2001)).body, refusal);
    EXPECT_EQ(Ask(Post(kChunked) + "7D1\r\n").body, refusal);
}

TEST_F(HttpTermsTest, TermsDoNotWidenTheServersLimit) {
    options_.body_bytes = 1500;
    Start();
    EXPECT_EQ(Ask(Post(Length(1500)) + std::string(1500, 'x')).body, "1500");
    EXPECT_EQ(Ask(Post(Length(1501))).status, 413);
}

TEST_F(HttpTermsTest, TermsHoldForOneRequestOnly) {
    terms_.most_bytes = 1;
    Start();
    RawClient client(server_.Port());
    client.Send(Post(Length(1)) + "x");
    EXPECT_EQ(client.ReadAnswer().body, "1");
    BodyTerms wider;
    wider.most_bytes = 5000;
    SetTerms(wider);
    client.Send(Post(Length(5000)) + std::string(5000, 'x'));
    EXPECT_EQ(client.ReadAnswer().body, "5000");
}

TEST_F(HttpTermsTest, KnownSendersLongBodyIsOnTheDiskAndAnUnknownOnesRefused) {
    KeepRequests();
    Start();
    RawClient client(server_.Port());
    client.Send(Post(Length(2000)) + std::string(2000, 'x'));
    kept_.WaitFor(1);
    EXPECT_EQ(FilesInUse(folder_.Path()), 1);
    BodyTerms unknown;
    unknown.known = false;
    SetTerms(unknown);
    const std::string refusal =
        R"({"status":413,"error":"Content Too Large","reason":"the body is longer than 1000 bytes"})";
    EXPECT_EQ(Ask(Post(Length(1001))).body, refusal);
    EXPECT_EQ(Ask(Post(kChunked) + Chunks(1001)).body, refusal);
    RawClient fits(server_.Port());
    fits.Send(Post(Length(1000)) + std::string(1000, 'x'));
    EXPECT_EQ(kept_.WaitFor(2)[1]->body, std::string(1000, 'x'));
    EXPECT_EQ(FilesInUse(folder_.Path()), 1);
}

TEST_F(HttpTermsTest, BodiesOfUnknownSendersAreBoundedTogetherUntilTheirRequestsAreLetGoOf) {
    options_.unknown_body_bytes = 1999;
    terms_.known = false;
    KeepRequests();
    Start();
    const std::string refusal =
        R"({"status":503,"error":"Service Unavailable","reason":"there are too many bodies of unknown senders"})";
    const auto first = Begin(1000);
    EXPECT_EQ(Keep(1000), 1U);
    EXPECT_EQ(Ask(Post(Length(1)) + "x").body, refusal);
    EXPECT_EQ(Ask(Post(kChunked) + "1\r\nx\r\n").body, refusal);
    first->Send("x");
    EXPECT_EQ(first->ReadAnswer().body, refusal);
    EXPECT_EQ(Keep(999), 2U);
    EXPECT_EQ(Ask(Post(Length(1)) + "x").body, refusal);
    SetTerms({});
    EXPECT_EQ(Keep(1000), 3U);
    BodyTerms unknown;
    unknown.known = false;
    SetTerms(unknown);
    EXPECT_EQ(Ask(Post(Length(1)) + "x").body, refusal);
    LetGo(0);
    LetGo(1);
    EXPECT_EQ(Keep(1000), 4U);
    EXPECT_EQ(Keep(999), 5U);
    EXPECT_EQ(Ask(Post(Length(1)) + "x").body, refusal);
}

TEST_F(HttpTermsTest, UnknownSenderWithinItsBodyGivesItsPlaceToANewClientAndAKnownOneDoesNot) {
    options_.connections = 1;
    terms_.known = false;
    Start();
    RawClient unknown(server_.Port());
    unknown.Send(Post(Length(10)) + "xxxxx");
    heads_.WaitFor(1);
    EXPECT_EQ(Ask("GET /a HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n").status, 200);
    EXPECT_EQ(unknown.ReadToEnd(), "");
    SetTerms(BodyTerms());
    RawClient known(server_.Port());
    known.Send(Post(Length(10)) + "xxxxx");
    heads_.WaitFor(2);
    EXPECT_EQ(Ask("GET /a HTTP/1.1\r\nHost: h\r\n\r\n").status, 503);
    known.Send("xxxxx");
    EXPECT_EQ(known.ReadAnswer().body, "10");
}

TEST_F(HttpTermsTest, BodyThatIsCutShortCountsNoMore) {
    options_.unknown_body_bytes = 1000;
    terms_.known = false;
    Start();
    const auto ended = Begin(1000);
    const auto reset = Begin(2);
    EXPECT_EQ(Ask(Post(Length(1)) + "x").status, 503);
    ended->EndSending();
    EXPECT_EQ(ended->ReadAnswer().status, 400);
    EXPECT_EQ(Ask(Post(Length(999)) + std::string(999, 'x')).body, "999");
    reset->Reset();
    PassServerThread();
    EXPECT_EQ(Ask(Post(Length(1000)) + std::string(1000, 'x')).body, "1000");
}

TEST_F(HttpTermsTest, ServersOwnAnswerTakesSmallBodiesOnly) {
    options_.memory_body_bytes = 1'000'000;
    Start();
    const std::string options = "OPTIONS * HTTP/1.1\r\nHost: h\r\n";
    EXPECT_EQ(Ask(options + Length(65536) + "\r\n" + std::string(65536, 'x')).status, 204);
    EXPECT_EQ(Ask(options + Length(65537) + "\r\n").body,
              R"({"status":413,"error":"Content Too Large","reason":"the body is longer than 65536 bytes"})");
    EXPECT_THAT(heads_.Now(), IsEmpty());
}

}  // namespace
}  // namespace http_test
