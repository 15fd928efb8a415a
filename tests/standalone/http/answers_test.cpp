#include "standalone/http/Answers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "standalone/http/http_fakes.h"
#include "support/other_thread.h"

namespace qarplatform {
namespace {

using http_test::FakeExchange;
using Mox::Net::CHttpServer;
using Mox::Net::HttpResponse;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class AnswersTest : public testing::Test {
protected:
    AnswersTest() { answers_.Start(std::chrono::hours(1)); }

    SendResult Send(int32_t number, const std::string& text) {
        return answers_.Send(number, HttpResponse(), static_cast<int64_t>(text.size()), text.data());
    }

    Answers answers_;
};

TEST_F(AnswersTest, NumbersAreAboveZeroAndDiffer) {
    std::set<int32_t> numbers;
    for (int i = 0; i < 100; ++i) numbers.insert(answers_.Add(std::make_shared<FakeExchange>()));
    EXPECT_EQ(100U, numbers.size());
    EXPECT_GT(*numbers.begin(), 0);
}

TEST_F(AnswersTest, DataIsSentFromWhereItLies) {
    const auto exchange = std::make_shared<FakeExchange>();
    const std::string text = "data";
    EXPECT_EQ(SendResult::kSent, Send(answers_.Add(exchange), text));
    EXPECT_EQ("data", exchange->Answer().body);
    EXPECT_EQ(text.data(), exchange->Answer().data);
}

TEST_F(AnswersTest, HeadIsMadeOfTheFieldsThatAreSet) {
    const auto exchange = std::make_shared<FakeExchange>();
    HttpResponse response;
    response.n_status = 206;
    response.n_send_timeout_ms = 40000;
    response.n_close = 1;
    response.str_content_type = "video/mp4";
    response.str_content_disposition = "attachment";
    response.str_etag = "\"1\"";
    response.vec_headers = {{"X-One", "1"}, {"X-Empty", ""}, {"X-Two", "2"}};
    EXPECT_EQ(SendResult::kSent, answers_.Send(answers_.Add(exchange), response, 0, nullptr));
    const auto sent = exchange->Answer();
    EXPECT_EQ(206U, sent.head.status);
    EXPECT_TRUE(sent.head.close);
    EXPECT_EQ(std::chrono::seconds(40), sent.head.timeout);
    EXPECT_THAT(
        sent.head.headers,
        ElementsAre(Pair("Content-Type", "video/mp4"), Pair("Content-Disposition", "attachment"), Pair("ETag", "\"1\""),
                    Pair("Cache-Control", "no-cache"), Pair("X-One", "1"), Pair("X-Two", "2")));
    EXPECT_EQ("", sent.body);
}

TEST_F(AnswersTest, EmptyFieldsAndZeroTimeoutAreLeftToTheServer) {
    const auto exchange = std::make_shared<FakeExchange>();
    HttpResponse response;
    response.n_send_timeout_ms = 0;
    response.str_content_type = "";
    response.str_cache_control = "";
    EXPECT_EQ(SendResult::kSent, answers_.Send(answers_.Add(exchange), response, 0, nullptr));
    EXPECT_THAT(exchange->Answer().head.headers, IsEmpty());
    EXPECT_EQ(std::chrono::milliseconds(0), exchange->Answer().head.timeout);
    EXPECT_FALSE(exchange->Answer().head.close);
}

TEST_F(AnswersTest, SecondAnswerIsRefused) {
    const auto exchange = std::make_shared<FakeExchange>();
    const int32_t number = answers_.Add(exchange);
    EXPECT_EQ(SendResult::kSent, Send(number, "first"));
    EXPECT_EQ(SendResult::kAnswered, Send(number, "second"));
    EXPECT_EQ("first", exchange->Answer().body);
    EXPECT_EQ(0, exchange->Refused());
}

TEST_F(AnswersTest, UnknownNumbersAreRefused) {
    for (const int32_t number : {0, -1, 1, 77}) EXPECT_EQ(SendResult::kAnswered, Send(number, "x"));
}

TEST_F(AnswersTest, SendingWaitsUntilAllIsHandedToTheNetwork) {
    const auto exchange = std::make_shared<FakeExchange>(true);
    const int32_t number = answers_.Add(exchange);
    std::atomic<int> result{-1};
    {
        const test_support::OtherThread sender([&] { result = static_cast<int>(Send(number, "x")); });
        exchange->Answer();
        EXPECT_TRUE(sender.Waits());
        EXPECT_EQ(-1, result);
        EXPECT_EQ(SendResult::kAnswered, Send(number, "y"));
        exchange->End(SendResult::kTimeout);
    }
    EXPECT_EQ(3, result);
}

TEST_F(AnswersTest, EndOfTheClientIsTold) {
    for (const SendResult told : {SendResult::kGone, SendResult::kStopped}) {
        const auto exchange = std::make_shared<FakeExchange>(true);
        const int32_t number = answers_.Add(exchange);
        std::atomic<int> result{-1};
        {
            const test_support::OtherThread sender([&] { result = static_cast<int>(Send(number, "x")); });
            exchange->Answer();
            exchange->End(told);
        }
        EXPECT_EQ(static_cast<int>(told), result);
    }
}

TEST_F(AnswersTest, HeadThatCannotBeSentLeavesTheRequestOpen) {
    const auto exchange = std::make_shared<FakeExchange>();
    const int32_t number = answers_.Add(exchange);
    HttpResponse response;
    response.n_status = 100;
    EXPECT_EQ(SendResult::kBadHead, answers_.Send(number, response, 0, nullptr));
    EXPECT_EQ(SendResult::kBadHead, answers_.Send(number, HttpResponse(), -1, "x"));
    EXPECT_EQ(SendResult::kBadHead, answers_.Send(number, HttpResponse(), 1, nullptr));
    EXPECT_FALSE(exchange->Answered());
    EXPECT_EQ(SendResult::kSent, Send(number, "x"));
}

TEST_F(AnswersTest, HeadThatCannotBeSentTakesNoOtherAnswerItsChance) {
    std::vector<HttpResponse> bad(6);
    bad[0].n_status = 199;
    bad[1].n_status = 600;
    bad[2].vec_headers = {{"X A", "1"}};
    bad[3].vec_headers = {{"X", "1\r\nY: 2"}};
    bad[4].vec_headers = {{"content-length", "1"}};
    bad[5].str_content_type = "text/plain\n";
    for (const HttpResponse& response : bad) {
        const auto exchange = std::make_shared<FakeExchange>();
        const int32_t number = answers_.Add(exchange);
        EXPECT_EQ(SendResult::kBadHead, answers_.Send(number, response, 1, "y"));
        EXPECT_FALSE(exchange->Answered());
        EXPECT_EQ(SendResult::kSent, Send(number, "x"));
        EXPECT_EQ("x", exchange->Answer().body);
        EXPECT_EQ(SendResult::kAnswered, answers_.Send(number, response, 1, "y"));
    }
}

TEST_F(AnswersTest, TakenRequestIsAnsweredByWhoTookIt) {
    const auto exchange = std::make_shared<FakeExchange>();
    const int32_t number = answers_.Add(exchange);
    EXPECT_EQ(exchange, answers_.Take(number));
    EXPECT_EQ(nullptr, answers_.Take(number));
    EXPECT_EQ(SendResult::kAnswered, Send(number, "x"));
    EXPECT_FALSE(exchange->Answered());
}

TEST_F(AnswersTest, RequestBeyondItsTimeIsGivenUp) {
    answers_.Start(std::chrono::milliseconds(-1));  // every request is too old at once
    const auto exchange = std::make_shared<FakeExchange>();
    const int32_t old = answers_.Add(exchange);
    EXPECT_EQ(2, exchange.use_count());
    const int32_t young = answers_.Add(std::make_shared<FakeExchange>());
    EXPECT_EQ(1, exchange.use_count());
    EXPECT_EQ(SendResult::kAnswered, Send(old, "x"));
    EXPECT_EQ(SendResult::kSent, Send(young, "x"));
}

TEST_F(AnswersTest, StopGivesUpAllAndRefusesMore) {
    const auto exchange = std::make_shared<FakeExchange>();
    const int32_t number = answers_.Add(exchange);
    answers_.Stop();
    EXPECT_EQ(1, exchange.use_count());
    EXPECT_EQ(SendResult::kStopped, Send(number, "x"));
    EXPECT_EQ(SendResult::kStopped, Send(77, "x"));
    EXPECT_EQ(0, answers_.Add(exchange));
    answers_.Start(std::chrono::hours(1));
    EXPECT_EQ(SendResult::kAnswered, Send(number, "x"));
    EXPECT_GT(answers_.Add(exchange), number);
}

TEST_F(AnswersTest, PlatformsOperationGivesTheNumbersOfTheTable) {
    Answers::Get().Start(std::chrono::hours(1));
    const auto exchange = std::make_shared<FakeExchange>();
    const int32_t number = Answers::Get().Add(exchange);
    HttpResponse bad;
    bad.n_status = 0;
    EXPECT_EQ(4, CHttpServer::HttpServerSyncSend(number, bad, 0, nullptr));
    EXPECT_EQ(0, CHttpServer::HttpServerSyncSend(number, HttpResponse(), 2, "ab"));
    EXPECT_EQ("ab", exchange->Answer().body);
    EXPECT_EQ(1, CHttpServer::HttpServerSyncSend(number, HttpResponse(), 2, "ab"));
    Answers::Get().Stop();
    EXPECT_EQ(5, CHttpServer::HttpServerSyncSend(number, HttpResponse(), 2, "ab"));
}

}  // namespace
}  // namespace qarplatform
