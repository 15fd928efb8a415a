#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <string_view>

#include "standalone/http/http_server_fixture.h"

namespace http_test {
namespace {

using ::testing::HasSubstr;

class HttpBodiesTest : public HttpServerTest {
protected:
    HttpBodiesTest() {
        options_.spool_dir = folder_.Path();
        on_request_ = [this](const ClientRequest& request) { Answer(request, std::to_string(request.body.size())); };
    }

    static std::string Body(std::size_t size) {
        std::string body(size, 0);
        for (std::size_t i = 0; i < size; ++i) {
            body[i] = static_cast<char>(i * 2654435761u >> 13);
        }
        return body;
    }

    static std::string Head(std::size_t size) {
        return "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
    }

    TempDir folder_;
};

TEST_F(HttpBodiesTest, BodyThatFitsMemoryAndOneByteMoreArriveWhole) {
    options_.memory_body_bytes = 1000;
    StartServer();
    RawClient client(server_.Port());
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{999}, std::size_t{1000},
                                   std::size_t{1001}, std::size_t{300'000}, std::size_t{5'000'000}}) {
        const std::string body = Body(size);
        client.Send(Head(size) + body);
        EXPECT_EQ(client.ReadAnswer().body, std::to_string(size));
        EXPECT_TRUE(requests_.Now().back().body == body) << size;
    }
}

TEST_F(HttpBodiesTest, LongBodyInChunksArrivesWhole) {
    StartServer();
    RawClient client(server_.Port());
    const std::string body = Body(5'000'000);
    std::string request = "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (std::size_t at = 0, size = 1; at < body.size(); at += size, size = size * 3 % 70'001 + 1) {
        const std::string part = body.substr(at, size);
        char head[20];
        snprintf(head, sizeof(head), "%zX\r\n", part.size());
        request += head + part + "\r\n";
    }
    client.Send(request + "0\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "5000000");
    EXPECT_TRUE(requests_.Now()[0].body == body);
}

TEST_F(HttpBodiesTest, SpooledBodyHasNoNameAndIsGoneWithItsLastUser) {
    options_.memory_body_bytes = 1000;
    options_.stop_timeout = std::chrono::milliseconds(1);
    on_request_ = [](const ClientRequest&) {};
    StartServer();
    RawClient client(server_.Port());
    client.Send(Head(2'000'000) + Body(2'000'000));
    ClientRequest request = requests_.WaitFor(1)[0];
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
    client.Reset();
    server_.Stop();
    EXPECT_TRUE(request.body == Body(2'000'000));
}

TEST_F(HttpBodiesTest, LongerBodyThanAllowedIsRefusedBeforeItIsReadAndTheClientGetsTheAnswer) {
    options_.body_bytes = 100'000;
    StartServer();
    RawClient exact(server_.Port());
    exact.Send(Head(100'000) + Body(100'000));
    EXPECT_EQ(exact.ReadAnswer().body, "100000");
    RawClient client(server_.Port());
    // So much that it lies unread at the server when that has answered.
    EXPECT_TRUE(client.Send(Head(8'000'000) + Body(8'000'000)));
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 413);
    EXPECT_THAT(answer.body, HasSubstr("the body is longer than 100000 bytes"));
    EXPECT_TRUE(client.Ends());
}

TEST_F(HttpBodiesTest, LongerChunksThanAllowedAreRefused) {
    options_.body_bytes = 100;
    StartServer();
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n40\r\n" + Body(64) + "\r\n25\r\n");
    EXPECT_EQ(client.ReadAnswer().status, 413);
}

TEST_F(HttpBodiesTest, WithoutAFolderOnlyMemoryIsFilled) {
    options_.spool_dir.clear();
    options_.memory_body_bytes = 1000;
    StartServer();
    RawClient client(server_.Port());
    client.Send(Head(1000) + Body(1000));
    EXPECT_EQ(client.ReadAnswer().body, "1000");
    client.Send(Head(1001) + Body(1001));
    EXPECT_EQ(client.ReadAnswer().status, 413);
}

TEST_F(HttpBodiesTest, ClientThatWaitsToContinueIsToldSo) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(client.ReadTo("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.Send("abc");
    EXPECT_EQ(client.ReadAnswer().body, "3");
}

TEST_F(HttpBodiesTest, ClientThatWaitsToContinueIsRefusedWithoutItsBody) {
    options_.body_bytes = 100;
    StartServer();
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nExpect: 100-continue\r\nContent-Length: 101\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().status, 413);
}

TEST_F(HttpBodiesTest, ClientThatDoesNotWaitToContinueIsNotToldSo) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\nExpect: 100-Continue\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(client.ReadAnswer().body, "3");
}

TEST_F(HttpBodiesTest, PostWithoutAnyLengthHasNoBody) {
    StartServer();
    RawClient client(server_.Port());
    client.Send("POST / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "0");
}

TEST_F(HttpBodiesTest, FullDiskFailsTheRequestWithTheReasonAndNoOther) {
    options_.memory_body_bytes = 1000;
    StartServer();
    RawClient other(server_.Port());
    other.Send(Head(900) + Body(450));
    PassServerThread();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{1'000'000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    RawClient client(server_.Port());
    EXPECT_TRUE(client.Send(Head(8'000'000) + Body(8'000'000)));
    const http_test::Answer answer = client.ReadAnswer();
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(answer.status, 507);
    EXPECT_THAT(answer.body, HasSubstr("a file for the body cannot be written: File too large"));
    EXPECT_TRUE(client.Ends());
    other.Send(Body(450));
    EXPECT_EQ(other.ReadAnswer().body, "900");
    RawClient again(server_.Port());
    again.Send(Head(8'000'000) + Body(8'000'000));
    EXPECT_EQ(again.ReadAnswer().body, "8000000");
}

TEST_F(HttpBodiesTest, LostFolderFailsTheRequestWithTheReason) {
    options_.memory_body_bytes = 1000;
    StartServer();
    std::filesystem::remove_all(folder_.Path());
    RawClient client(server_.Port());
    client.Send(Head(2000) + Body(2000));
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 500);
    EXPECT_THAT(answer.body, HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace http_test
