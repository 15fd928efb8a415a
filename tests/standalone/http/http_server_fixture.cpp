#include "standalone/http/http_server_fixture.h"

#include <stdlib.h>

#include <filesystem>

namespace http_test {

TempDir::TempDir() {
    path_ = (std::filesystem::temp_directory_path() / "qar_http_XXXXXX").string();
    EXPECT_NE(mkdtemp(path_.data()), nullptr);
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

HttpServerTest::HttpServerTest() {
    on_request_ = [this](const ClientRequest& request) {
        Answer(request, request.verb + " " + request.target + " " + std::string(request.body));
    };
}

HttpServerTest::~HttpServerTest() { server_.Stop(); }

void HttpServerTest::StartServer() {
    std::string error;
    ASSERT_TRUE(server_.Start(
        options_,
        [this](ClientRequest request) {
            requests_.Add(request);
            on_request_(std::move(request));
        },
        error, on_head_))
        << error;
}

void HttpServerTest::Answer(const ClientRequest& request, const std::string& body, AnswerHead head) {
    const auto kept = std::make_shared<const std::string>(body);
    request.exchange->Send(std::move(head), *kept, [this, kept](SendResult result) { results_.Add(result); });
}

http_test::Answer HttpServerTest::Get(const std::string& target) {
    RawClient client(server_.Port());
    client.Send("GET " + target + " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    return client.ReadAnswer();
}

void HttpServerTest::PassServerThread() {
    RawClient client(server_.Port());
    client.Send("OPTIONS * HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().status, 204);
}

}  // namespace http_test
