// Answers that a handler sends directly, inside its call or later.
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Net/HttpServer.h"
#include "ZELPlatform/MsgBusRequests.h"
#include "platform/RequestTest.h"

namespace platform_tests {
namespace {

using Mox::Net::CHttpServer;
using Mox::Net::HttpResponse;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;

int Send(int32_t connection, const std::string& data, const HttpResponse& head = HttpResponse()) {
    return CHttpServer::HttpServerSyncSend(connection, head, static_cast<int64_t>(data.size()), data.data());
}

class DirectAnswerTest : public RequestTest {
protected:
    /// Binds a URL whose handler leaves the answer for later.
    std::shared_ptr<RequestLog> BindForLater(const std::string& url) {
        auto log = std::make_shared<RequestLog>();
        EXPECT_TRUE(BindFunc(url, [log](MsgIn& in, MsgOut& out, ProtoParam2& param) {
            param.str_answer = "{\"not\":\"sent\"}";
            out.b_send = false;
            log->Add(in);
        }));
        return log;
    }
    /// Sends a request and waits until the handler has it.
    std::unique_ptr<UserCall> Begin(const std::string& url, const RequestLog& log) {
        const std::size_t before = log.Count();
        auto call = platform_->Send(Get(url));
        EXPECT_TRUE(WaitUntil([&] { return log.Count() > before; }));
        return call;
    }
    UserAnswer AnswerOf(UserCall& call) {
        std::optional<UserAnswer> answer;
        EXPECT_TRUE(WaitUntil([&] {
            answer = call.Answer();
            return answer.has_value();
        }));
        return answer.value_or(UserAnswer());
    }
};

TEST_F(DirectAnswerTest, NewHeadHoldsItsDefaults) {
    const HttpResponse head;
    EXPECT_EQ(head.n_status, 200u);
    EXPECT_EQ(head.n_send_timeout_ms, 20000u);
    EXPECT_EQ(head.n_close, 0u);
    EXPECT_EQ(head.str_content_type, "application/xml; charset=\"UTF-8\"");
    EXPECT_EQ(head.str_content_disposition, "");
    EXPECT_EQ(head.str_etag, "");
    EXPECT_EQ(head.str_cache_control, "no-cache");
    EXPECT_TRUE(head.vec_headers.empty());
}

TEST_F(DirectAnswerTest, HeadAndDataGoOutAsTheyAre) {
    const std::string data("\0\xFF data\r\n", 9);
    HttpResponse head;
    head.n_status = 206;
    head.str_content_type = "image/jpeg";
    head.str_content_disposition = "attachment; filename=\"a.jpg\"";
    head.str_etag = "\"7\"";
    head.str_cache_control = "max-age=5";
    head.vec_headers = {{"X-First", "one"}, {"X-Second", "two, three"}};
    std::atomic<int> result{-1};
    ASSERT_TRUE(BindFunc("/direct", [&](MsgIn& in, MsgOut& out, ProtoParam2&) {
        result = Send(in.n_connection, data, head);
        out.b_send = false;
    }));
    const UserAnswer answer = Ask(Get("/direct"));
    EXPECT_EQ(answer.status, 206u);
    EXPECT_EQ(answer.body, data);
    EXPECT_EQ(answer.Header("content-type"), "image/jpeg");
    EXPECT_EQ(answer.Header("content-disposition"), "attachment; filename=\"a.jpg\"");
    EXPECT_EQ(answer.Header("etag"), "\"7\"");
    EXPECT_EQ(answer.Header("cache-control"), "max-age=5");
    EXPECT_EQ(answer.Header("x-first"), "one");
    EXPECT_EQ(answer.Header("x-second"), "two, three");
    EXPECT_TRUE(WaitUntil([&] { return result == 0; }));
}

TEST_F(DirectAnswerTest, EmptyTextsLeaveTheirHeaderLinesOutAndDataMayBeEmpty) {
    const auto log = BindForLater("/later");
    const auto call = Begin("/later", *log);
    HttpResponse head;
    head.str_content_type = "";
    head.str_cache_control = "";
    EXPECT_EQ(CHttpServer::HttpServerSyncSend(log->Last().n_connection, head, 0, nullptr), 0);
    const UserAnswer answer = AnswerOf(*call);
    EXPECT_EQ(answer.status, 200u);
    EXPECT_EQ(answer.body, "");
    for (const char* name : {"content-type", "content-disposition", "etag", "cache-control"}) {
        EXPECT_EQ(answer.headers.count(name), 0u) << name;
    }
}

TEST_F(DirectAnswerTest, AnswerMayComeAfterTheHandlerReturnedOnAnyThread) {
    const auto log = BindForLater("/later");
    const auto call = Begin("/later", *log);
    EXPECT_FALSE(call->Answer().has_value());
    int result = -1;
    std::thread([&] { result = Send(log->Last().n_connection, "late"); }).join();
    EXPECT_EQ(result, 0);
    const UserAnswer answer = AnswerOf(*call);
    EXPECT_EQ(answer.body, "late");
    EXPECT_EQ(answer.Header("content-type"), "application/xml; charset=\"UTF-8\"");
    EXPECT_EQ(answer.Header("cache-control"), "no-cache");
}

TEST_F(DirectAnswerTest, EachRequestHasItsConnection) {
    const auto log = BindForLater("/later");
    const auto first = Begin("/later", *log);
    const int32_t first_connection = log->Last().n_connection;
    const auto second = Begin("/later", *log);
    const int32_t second_connection = log->Last().n_connection;
    ASSERT_NE(first_connection, second_connection);
    EXPECT_EQ(Send(second_connection, "second"), 0);
    EXPECT_EQ(Send(first_connection, "first"), 0);
    EXPECT_EQ(AnswerOf(*first).body, "first");
    EXPECT_EQ(AnswerOf(*second).body, "second");
}

TEST_F(DirectAnswerTest, RequestIsAnsweredOnce) {
    const auto log = BindForLater("/later");
    const auto call = Begin("/later", *log);
    const int32_t connection = log->Last().n_connection;
    EXPECT_EQ(Send(connection, "first"), 0);
    EXPECT_EQ(Send(connection, "second"), 1);
    EXPECT_EQ(AnswerOf(*call).body, "first");
    EXPECT_EQ(Send(-1, "nobody"), 1);
    EXPECT_EQ(Send(connection + 1000, "nobody"), 1);
}

TEST_F(DirectAnswerTest, DirectAnswerIsTheOnlyOneThoughTheHandlerAsksForAnother) {
    ASSERT_TRUE(BindFunc("/both", [](MsgIn& in, MsgOut&, ProtoParam2& param) {
        Send(in.n_connection, "direct");
        param.str_answer = "{\"text\":1}";
    }));
    EXPECT_EQ(Ask(Get("/both")).body, "direct");
}

TEST_F(DirectAnswerTest, HeadThatCannotBeSentIsRefusedAndTheRequestCanStillBeAnswered) {
    const auto log = BindForLater("/later");
    const auto call = Begin("/later", *log);
    const int32_t connection = log->Last().n_connection;
    for (const uint32_t status : {0u, 100u, 199u, 600u}) {
        HttpResponse head;
        head.n_status = status;
        EXPECT_EQ(Send(connection, "data", head), 4) << status;
    }
    HttpResponse head;
    head.str_content_type = "text/plain\r\nX-Other: 1";
    EXPECT_EQ(Send(connection, "data", head), 4);
    head = HttpResponse();
    head.str_content_disposition = "a\nb";
    EXPECT_EQ(Send(connection, "data", head), 4);
    head = HttpResponse();
    head.vec_headers = {{"X-Name", "a\rb"}};
    EXPECT_EQ(Send(connection, "data", head), 4);
    head.vec_headers = {{"X-Na\nme", "a"}};
    EXPECT_EQ(Send(connection, "data", head), 4);

    EXPECT_EQ(Send(connection, "data"), 0);
    EXPECT_EQ(AnswerOf(*call).body, "data");
}

TEST_F(DirectAnswerTest, ClientThatHasGoneGetsNoAnswer) {
    const auto log = BindForLater("/later");
    const auto call = Begin("/later", *log);
    call->Leave();
    // more than the network takes in before it notices
    EXPECT_EQ(Send(log->Last().n_connection, std::string(std::size_t{32} << 20, 'x')), 2);
}

}  // namespace
}  // namespace platform_tests
