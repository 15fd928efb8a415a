#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "standalone/device/HttpDate.h"
#include "standalone/http/HttpServer.h"
#include "standalone/http/http_server_fixture.h"

namespace http_test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(HttpServerTest, RequestIsHandedOnWholeAndAnswered) {
    StartServer();
    RawClient client(server_.Port());
    client.Send(
        "POST /a/b?x=1 HTTP/1.1\r\nHost: site:8080\r\nOrigin: https://site\r\nCookie: a=1\r\nCookie: b=2\r\n"
        "Content-Type: text/plain\r\nContent-Length: 4\r\n\r\nbody");
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "POST /a/b?x=1 body");
    const ClientRequest request = requests_.WaitFor(1)[0];
    EXPECT_EQ(request.verb, "POST");
    EXPECT_EQ(request.target, "/a/b?x=1");
    EXPECT_EQ(request.host, "site:8080");
    EXPECT_EQ(request.origin, "https://site");
    EXPECT_EQ(request.cookie, "a=1; b=2");
    EXPECT_EQ(request.content_type, "text/plain");
    EXPECT_EQ(request.remote, "127.0.0.1");
    EXPECT_FALSE(request.websocket);
    EXPECT_EQ(request.body, "body");
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kSent));
}

TEST_F(HttpServerTest, AnswerHasTheServersOwnHeadersAndTheCallers) {
    on_request_ = [this](const ClientRequest& request) {
        AnswerHead head;
        head.status = 404;
        head.headers = {{"Content-Type", "text/plain"}, {"X-Own", "1"}};
        Answer(request, "nothing", head);
    };
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.headers.at("content-length"), "7");
    EXPECT_EQ(answer.headers.at("content-type"), "text/plain");
    EXPECT_EQ(answer.headers.at("x-own"), "1");
    EXPECT_EQ(answer.headers.at("server"), "qarhost");
    EXPECT_EQ(answer.headers.at("x-content-type-options"), "nosniff");
    EXPECT_EQ(answer.headers.count("connection"), 0u);
    int64_t seconds = 0;
    ASSERT_TRUE(qarplatform::ParseHttpDate(answer.headers.at("date"), seconds));
    EXPECT_NEAR(static_cast<double>(seconds), static_cast<double>(std::time(nullptr)), 60);
}

TEST_F(HttpServerTest, ConnectionServesRequestsOneAfterAnother) {
    StartServer();
    RawClient client(server_.Port());
    for (int i = 0; i < 3; ++i) {
        client.Send("GET /" + std::to_string(i) + " HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_EQ(client.ReadAnswer().body, "GET /" + std::to_string(i) + " ");
    }
}

TEST_F(HttpServerTest, RequestBehindAnotherIsHandedOnWhenThatIsAnsweredAndInOrder) {
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient client(server_.Port());
    client.Send(
        "GET /1 HTTP/1.1\r\nHost: h\r\n\r\nPOST /2 HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\n\r\nabcGET /3 "
        "HTTP/1.1\r\nHost: h\r\n\r\n");
    for (std::size_t i = 1; i <= 3; ++i) {
        requests_.WaitFor(i);
        PassServerThread();
        const std::vector<ClientRequest> requests = requests_.Now();
        ASSERT_EQ(requests.size(), i);
        EXPECT_EQ(requests.back().target, "/" + std::to_string(i));
        Answer(requests.back(), "answer " + requests.back().target);
        EXPECT_EQ(client.ReadAnswer().body, "answer /" + std::to_string(i));
    }
    EXPECT_EQ(requests_.Now()[1].body, "abc");
}

TEST_F(HttpServerTest, ClientThatWantsNoMoreIsAnsweredAndTheConnectionEnds) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.headers.at("connection"), "close");
    EXPECT_TRUE(client.Ends());
}

TEST_F(HttpServerTest, AnswerThatClosesEndsTheConnection) {
    on_request_ = [this](const ClientRequest& request) {
        AnswerHead head;
        head.close = true;
        Answer(request, "last", head);
    };
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().headers.at("connection"), "close");
    EXPECT_TRUE(client.Ends());
}

TEST_F(HttpServerTest, ClientThatEndsItsSideBehindTheRequestIsAnswered) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    client.EndSending();
    EXPECT_EQ(client.ReadAnswer().status, 200);
    EXPECT_TRUE(client.Ends());
}

TEST_F(HttpServerTest, OldClientIsAnsweredAndTheConnectionEnds) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET /old HTTP/1.0\r\n\r\n");
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.body, "GET /old ");
    EXPECT_EQ(answer.headers.at("connection"), "close");
    EXPECT_TRUE(client.Ends());
}

TEST_F(HttpServerTest, OldClientKeepsTheConnectionWhenItAsksForThat) {
    StartServer();
    RawClient client(server_.Port());
    for (int i = 0; i < 2; ++i) {
        client.Send("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
        EXPECT_EQ(client.ReadAnswer().headers.at("connection"), "keep-alive");
    }
}

TEST_F(HttpServerTest, HeadIsAnsweredAsGetWithoutTheBody) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("HEAD /file HTTP/1.1\r\nHost: h\r\n\r\n");
    const http_test::Answer answer = client.ReadAnswer(true);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.headers.at("content-length"), std::to_string(std::string("HEAD /file ").size()));
    client.Send("GET /next HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "GET /next ");
}

TEST_F(HttpServerTest, AnswerWithoutContentHasNeitherBodyNorLength) {
    on_request_ = [this](const ClientRequest& request) {
        AnswerHead head;
        head.status = 204;
        Answer(request, "not sent", head);
    };
    StartServer();
    RawClient client(server_.Port());
    for (int i = 0; i < 2; ++i) {
        client.Send("DELETE / HTTP/1.1\r\nHost: h\r\n\r\n");
        const http_test::Answer answer = client.ReadAnswer();
        EXPECT_EQ(answer.status, 204);
        EXPECT_EQ(answer.headers.count("content-length"), 0u);
    }
}

TEST_F(HttpServerTest, VerbsOfAnyNameAreHandedOn) {
    StartServer();
    RawClient client(server_.Port());
    for (const std::string verb : {"GET", "PUT", "POST", "DELETE", "OPTIONS", "PATCH", "LIST"}) {
        client.Send(verb + " / HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_EQ(client.ReadAnswer().body, verb + " / ");
    }
}

TEST_F(HttpServerTest, AbsoluteTargetIsTakenApart) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET http://other:80/p?q HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "GET /p?q ");
    client.Send("GET HTTP://other?q HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "GET /?q ");
    EXPECT_EQ(requests_.WaitFor(2)[0].host, "other:80");
}

TEST_F(HttpServerTest, AnswerIsSentFromAnotherThreadBehindTheCallback) {
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest request = requests_.WaitFor(1)[0];
    std::thread([&] { Answer(request, "late"); }).join();
    EXPECT_EQ(client.ReadAnswer().body, "late");
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kSent));
}

TEST_F(HttpServerTest, SecondAnswerIsRefused) {
    on_request_ = [this](const ClientRequest& request) {
        Answer(request, "first");
        Answer(request, "second");
    };
    StartServer();
    EXPECT_EQ(Get().body, "first");
    EXPECT_THAT(results_.WaitFor(2), ElementsAre(SendResult::kAnswered, SendResult::kSent));
}

TEST_F(HttpServerTest, OneOfManyThreadsAnswers) {
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest request = requests_.WaitFor(1)[0];
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] { Answer(request, "one"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(client.ReadAnswer().body, "one");
    const std::vector<SendResult> results = results_.WaitFor(8);
    EXPECT_EQ(std::count(results.begin(), results.end(), SendResult::kSent), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), SendResult::kAnswered), 7);
}

TEST_F(HttpServerTest, BadHeadIsRefusedAndTheRequestCanStillBeAnswered) {
    on_request_ = [this](const ClientRequest& request) {
        for (const auto& field : std::vector<std::pair<std::string, std::string>>{{"X", "a\r\nSet-Cookie: b"},
                                                                                  {"X", "a\nb"},
                                                                                  {"X", std::string("a\0b", 3)},
                                                                                  {"X\r\nY", "a"},
                                                                                  {"X Y", "a"},
                                                                                  {"", "a"},
                                                                                  {"content-length", "1"},
                                                                                  {"Transfer-Encoding", "chunked"},
                                                                                  {"Connection", "close"},
                                                                                  {"Server", "other"},
                                                                                  {"Date", "today"}}) {
            AnswerHead head;
            head.headers = {field};
            Answer(request, "bad", head);
        }
        for (const unsigned status : {0u, 101u, 199u, 600u}) {
            AnswerHead head;
            head.status = status;
            Answer(request, "bad", head);
        }
        Answer(request, "good");
    };
    StartServer();
    EXPECT_EQ(Get().body, "good");
    const std::vector<SendResult> results = results_.WaitFor(16);
    EXPECT_EQ(std::count(results.begin(), results.end(), SendResult::kBadHead), 15);
    EXPECT_EQ(results.back(), SendResult::kSent);
}

TEST_F(HttpServerTest, LongBodyIsSentFromWhereItLies) {
    const std::string body(20'000'000, 'x');
    const char* told = nullptr;
    on_request_ = [&](const ClientRequest& request) {
        told = body.data();
        request.exchange->Send({}, body, [this](SendResult result) { results_.Add(result); });
    };
    StartServer();
    EXPECT_TRUE(Get().body == body);
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kSent));
}

TEST_F(HttpServerTest, AnswerToAClientThatHasGoneTellsSo) {
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest request = requests_.WaitFor(1)[0];
    client.Reset();
    Answer(request, std::string(8'000'000, 'x'));
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kGone));
}

TEST_F(HttpServerTest, ClientThatLeavesWithinTheAnswerCountsAsGone) {
    on_request_ = [this](const ClientRequest& request) { Answer(request, std::string(50'000'000, 'x')); };
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadBytes(1000).size(), 1000u);
    client.Reset();
    EXPECT_THAT(results_.WaitFor(1), ElementsAre(SendResult::kGone));
}

TEST_F(HttpServerTest, StopWaitsForTheAnswerThatIsUnderWay) {
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest request = requests_.WaitFor(1)[0];
    RawClient idle(server_.Port());
    idle.Send("GET /");
    PassServerThread();
    std::thread stop([this] { server_.Stop(); });
    EXPECT_EQ(idle.ReadAnswer().status, 503);  // the stop has begun
    Answer(request, "last");
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.body, "last");
    EXPECT_EQ(answer.headers.at("connection"), "close");
    EXPECT_TRUE(client.Ends());
    stop.join();
    EXPECT_THAT(results_.Now(), ElementsAre(SendResult::kSent));
    EXPECT_EQ(server_.Port(), 0);
    Answer(request, "too late");
    EXPECT_EQ(results_.Now().back(), SendResult::kAnswered);
}

TEST_F(HttpServerTest, StopEndsIdleConnectionsAndTakesNoNewOnes) {
    options_.stop_timeout = std::chrono::hours(1);
    StartServer();
    const uint16_t port = server_.Port();
    RawClient fresh(port);
    RawClient used(port);
    used.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(used.ReadAnswer().status, 200);
    PassServerThread();
    server_.Stop();
    EXPECT_TRUE(fresh.Ends());
    EXPECT_TRUE(used.Ends());
    EXPECT_FALSE(RawClient(port).Connected());
    server_.Stop();
}

TEST_F(HttpServerTest, StopCutsWhatTakesTooLongAndEachIsToldOnce) {
    options_.stop_timeout = milliseconds(200);
    on_request_ = [this](const ClientRequest& request) {
        if (request.target == "/long") {
            Answer(request, std::string(50'000'000, 'x'));
        }
    };
    StartServer();
    RawClient slow(server_.Port());
    slow.TakeLittle();
    slow.Send("GET /long HTTP/1.1\r\nHost: h\r\n\r\n");
    RawClient waiting(server_.Port());
    waiting.Send("GET /never HTTP/1.1\r\nHost: h\r\n\r\n");
    const std::vector<ClientRequest> requests = requests_.WaitFor(2);
    server_.Stop();
    EXPECT_THAT(results_.Now(), ElementsAre(SendResult::kStopped));
    EXPECT_TRUE(waiting.Ends());
    for (const ClientRequest& request : requests) {
        Answer(request, "too late");
    }
    EXPECT_EQ(results_.Now().size(), 3u);
}

TEST_F(HttpServerTest, ExchangeMayOutliveTheServer) {
    auto server = std::make_unique<HttpServer>();
    std::string error;
    options_.stop_timeout = milliseconds(1);
    ASSERT_TRUE(server->Start(
        options_, [this](const ClientRequest& request) { requests_.Add(request); }, error));
    RawClient client(server->Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const ClientRequest request = requests_.WaitFor(1)[0];
    server.reset();
    Answer(request, "too late");
    EXPECT_THAT(results_.Now(), ElementsAre(SendResult::kStopped));
}

TEST_F(HttpServerTest, EveryAnswerIsToldOnceWhateverTheClientsDo) {
    options_.stop_timeout = milliseconds(100);
    std::atomic<int> sends{0};
    std::atomic<int> told{0};
    const std::string body(3'000'000, 'x');
    on_request_ = [&](const ClientRequest& request) {
        ++sends;
        request.exchange->Send({}, body, [&](SendResult) { ++told; });
    };
    StartServer();
    const uint16_t port = server_.Port();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([port, thread] {
            for (int i = 0; i < 40; ++i) {
                RawClient client(port);
                client.Send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
                switch ((i + thread) % 4) {
                    case 0:
                        client.ReadAnswer();
                        break;
                    case 1:
                        client.ReadBytes(1000);
                        break;
                    case 2:
                        client.ReadBytes(1000);
                        client.Reset();
                        break;
                    default:
                        break;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    server_.Stop();
    EXPECT_GT(sends, 0);
    EXPECT_EQ(told, sends);
}

TEST_F(HttpServerTest, ServesOnIpv6) {
    options_.address = "::1";
    std::string error;
    if (!server_.Start(
            options_, [this](const ClientRequest& request) { Answer(request, request.remote); }, error)) {
        GTEST_SKIP() << error;
    }
    RawClient client(server_.Port(), RawClient::Tls::kNone, "::1");
    client.Send("GET / HTTP/1.1\r\nHost: [::1]\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "::1");
}

TEST_F(HttpServerTest, StartTellsWhatIsWrong) {
    StartServer();
    HttpServer other;
    const auto ignore = [](const ClientRequest&) {};
    std::string error;
    HttpServerOptions taken;
    taken.port = server_.Port();
    EXPECT_FALSE(other.Start(taken, ignore, error));
    EXPECT_EQ(error, "cannot listen on 127.0.0.1 port " + std::to_string(taken.port) + ": Address already in use");
    HttpServerOptions no_address;
    no_address.address = "nowhere";
    EXPECT_FALSE(other.Start(no_address, ignore, error));
    EXPECT_EQ(error, "the address nowhere to listen on is no IP address");
    HttpServerOptions no_folder;
    no_folder.spool_dir = "/no/such/folder";
    EXPECT_FALSE(other.Start(no_folder, ignore, error));
    EXPECT_EQ(error, "the folder /no/such/folder takes no files: No such file or directory");
    EXPECT_EQ(other.Port(), 0);
}

}  // namespace
}  // namespace http_test
