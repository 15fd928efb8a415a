#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "standalone/base/arrivals.h"
#include "standalone/http/HttpServer.h"
#include "standalone/http/raw_client.h"

namespace http_test {

using qarplatform::AnswerHead;
using qarplatform::BodyTerms;
using qarplatform::ClientHead;
using qarplatform::ClientRequest;
using qarplatform::HttpServer;
using qarplatform::HttpServerOptions;
using qarplatform::SendResult;

/// A folder of the test's own, removed at its end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

class HttpServerTest : public ::testing::Test {
protected:
    HttpServerTest();
    ~HttpServerTest() override;

    /// Every request is answered at once with "VERB target body", unless on_request_ is set.
    void StartServer();
    /// Answers with a body that lives until it is sent; the result goes to results_.
    void Answer(const ClientRequest& request, const std::string& body, AnswerHead head = {});
    /// A request to this server and the answer to it, on a connection of its own.
    http_test::Answer Get(const std::string& target = "/");
    /// Returns when the server has done all that it had to do before.
    void PassServerThread();

    HttpServerOptions options_;
    std::function<void(ClientRequest)> on_request_;
    std::function<BodyTerms(const ClientHead&)> on_head_;
    Arrivals<ClientRequest> requests_;
    Arrivals<SendResult> results_;
    HttpServer server_;
};

}  // namespace http_test
