#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ZELPlatform/MsgBusRequests.h"
#include "platform/RequestTest.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::StartsWith;
using ZELPlatform::kMethodAny;
using ZELPlatform::kMethodDelete;
using ZELPlatform::kMethodGet;
using ZELPlatform::kMethodPost;
using ZELPlatform::kMethodPostGet;
using ZELPlatform::kMethodPut;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;
using namespace ZELPlatform::MsgBus;

bool IsRefusal(unsigned status) { return status >= 400 && status < 500; }

class RequestsTest : public RequestTest {
protected:
    static void Ignore(MsgIn&, MsgOut&, ProtoParam2&) {}
    template <class Call>
    static void ExpectRefused(const Call& call) {
        ForgetError();
        EXPECT_FALSE(call());
        EXPECT_TRUE(ErrorIsSet());
    }
};

TEST_F(RequestsTest, NewRecordsHoldTheirDefaults) {
    const MsgIn in;
    EXPECT_EQ(in.n_connection, -1);
    EXPECT_EQ(in.n_method, -1);
    EXPECT_EQ(in.p_body, nullptr);
    EXPECT_EQ(in.n_body_size, 0u);
    EXPECT_TRUE(MsgOut().b_send);
    EXPECT_EQ(ProtoParam2().str_answer, "");
}

TEST_F(RequestsTest, UrlIsAnAbsolutePathWithoutAQuery) {
    for (const char* url : {"", "url", "http://host/url", "/url?a=1"}) {
        ExpectRefused([&] { return BindFunc(url, Ignore); });
    }
}

TEST_F(RequestsTest, EmptyHandlerIsRefused) {
    ExpectRefused([&] { return BindFunc("/url", nullptr); });
}

TEST_F(RequestsTest, MethodThatIsBoundIsRefusedAndTheFirstHandlerStays) {
    const auto first = Bind("/url", "first", kMethodPostGet);
    for (const auto method : {kMethodPostGet, kMethodGet, kMethodPost, kMethodAny}) {
        ExpectRefused([&] { return BindFunc("/url", Ignore, method); });
    }
    EXPECT_TRUE(BindFunc("/url", Ignore, kMethodPut));
    EXPECT_TRUE(BindFunc("/url", Ignore, kMethodDelete));
    EXPECT_EQ(Ask(Get("/url")).body, "first");
}

TEST_F(RequestsTest, HandlerGetsTheRequestAndItsTextIsTheAnswer) {
    const auto log = Bind("/url/of/plugin", "the answer");
    const UserAnswer answer = Ask(Get("/url/of/plugin?a=1&b=x%20y+z&a=2&c"));
    EXPECT_EQ(answer.status, 200u);
    EXPECT_EQ(answer.body, "the answer");
    ASSERT_EQ(log->Count(), 1u);
    const MsgIn in = log->Last();
    EXPECT_EQ(in.n_method, kMethodGet);
    EXPECT_EQ(in.str_url, "/url/of/plugin?a=1&b=x%20y+z&a=2&c");
    EXPECT_EQ(in.str_request_text, "");
    EXPECT_THAT(in.map_params, ElementsAre(Pair("a", "1"), Pair("b", "x y z"), Pair("c", "")));
    EXPECT_EQ(in.str_numbers[0], "");
    EXPECT_TRUE(in.vec_mime.empty());
    EXPECT_EQ(log->All()[0].body, "");
}

TEST_F(RequestsTest, UrlThatNobodyBoundReachesNobody) {
    const auto log = Bind("/url");
    for (const char* target : {"/other", "/ur", "/urls", "/url/name", "/other/url"}) {
        EXPECT_TRUE(IsRefusal(Ask(Get(target)).status)) << target;
    }
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(RequestsTest, UpToFourNumbersMayFollow) {
    const auto log = Bind("/url");
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases{
        {"/url/1", {"1", "", "", ""}},
        {"/url/1/0022?a=1", {"1", "0022", "", ""}},
        {"/url/1/-2/3/40000000000000000000", {"1", "-2", "3", "40000000000000000000"}}};
    for (const auto& [target, numbers] : cases) {
        EXPECT_EQ(Ask(Get(target)).status, 200u) << target;
        const MsgIn in = log->Last();
        for (std::size_t i = 0; i < numbers.size(); ++i) EXPECT_EQ(in.str_numbers[i], numbers[i]) << target;
        EXPECT_EQ(in.str_url, target);
    }
    for (const char* target : {"/url/1/2/3/4/5", "/url/1/name", "/url/1.5", "/url/1a"}) {
        EXPECT_TRUE(IsRefusal(Ask(Get(target)).status)) << target;
    }
    EXPECT_EQ(log->Count(), cases.size());
}

TEST_F(RequestsTest, LongestUrlDecides) {
    const auto shorter = Bind("/url", "shorter");
    const auto longer = Bind("/url/5", "longer");
    EXPECT_EQ(Ask(Get("/url/5")).body, "longer");
    EXPECT_EQ(Ask(Get("/url/5/6")).body, "longer");
    EXPECT_EQ(longer->Last().str_numbers[0], "6");
    EXPECT_EQ(Ask(Get("/url/6")).body, "shorter");
    EXPECT_EQ(shorter->Last().str_numbers[0], "6");
}

TEST_F(RequestsTest, LongestUrlDecidesAlsoWhenItDoesNotTakeTheMethod) {
    const auto shorter = Bind("/url");
    Bind("/url/5", "put", kMethodPut);
    EXPECT_TRUE(IsRefusal(Ask(Get("/url/5")).status));
    EXPECT_EQ(shorter->Count(), 0u);
}

TEST_F(RequestsTest, MethodIsTheVerbs) {
    const auto log = Bind("/url");
    const std::vector<std::pair<std::string, int>> cases{
        {"GET", kMethodGet}, {"PUT", kMethodPut}, {"POST", kMethodPost}, {"DELETE", kMethodDelete}};
    for (const auto& [verb, method] : cases) {
        UserRequest request = Get("/url");
        request.verb = verb;
        EXPECT_EQ(Ask(request).status, 200u) << verb;
        EXPECT_EQ(log->Last().n_method, method) << verb;
    }
    EXPECT_EQ(Ask(Get("/url?MT=PUT")).status, 200u);
    EXPECT_EQ(log->Last().n_method, kMethodGet) << "MT is for POST";
}

TEST_F(RequestsTest, KeyOfAPostNamesTheMethod) {
    const auto log = Bind("/url");
    const std::vector<std::pair<std::string, int>> cases{
        {"PUT", kMethodPut}, {"POST", kMethodPost}, {"DELETE", kMethodDelete}, {"GET", kMethodPostGet}};
    for (const auto& [word, method] : cases) {
        EXPECT_EQ(Ask(Post("/url?MT=" + word, "")).status, 200u) << word;
        EXPECT_EQ(log->Last().n_method, method) << word;
    }
}

TEST_F(RequestsTest, EachMethodHasItsHandler) {
    Bind("/url", "get", kMethodGet);
    Bind("/url", "put", kMethodPut);
    EXPECT_EQ(Ask(Get("/url")).body, "get");
    EXPECT_EQ(Ask(Post("/url?MT=PUT", "")).body, "put");
    EXPECT_EQ(Ask(Post("/url?MT=GET", "")).body, "get");
    EXPECT_TRUE(IsRefusal(Ask(Post("/url", "")).status));
    EXPECT_TRUE(IsRefusal(Ask(Post("/url?MT=DELETE", "")).status));
}

TEST_F(RequestsTest, SessionIsNeededWhereTheUrlIsNotOpen) {
    auto log = std::make_shared<RequestLog>();
    ASSERT_TRUE(BindFunc(
        "/closed", [log](MsgIn& in, MsgOut&, ProtoParam2&) { log->Add(in); }, kMethodAny, false));
    EXPECT_TRUE(IsRefusal(Ask(Get("/closed")).status));
    EXPECT_TRUE(IsRefusal(Ask(Get("/closed?SID=" + std::string(32, 'x'))).status));
    EXPECT_EQ(log->Count(), 0u);
    const std::string session = LogIn("ann");
    EXPECT_EQ(Ask(Get("/closed?a=1", session)).status, 200u);
    EXPECT_EQ(log->Last().str_request_text, session);
    EXPECT_THAT(log->Last().map_params, ElementsAre(Pair("a", "1")));
    platform_->LogOut(session);
    EXPECT_TRUE(IsRefusal(Ask(Get("/closed", session)).status));
}

TEST_F(RequestsTest, SessionsIdInTheQueryIsNoParameter) {
    const auto log = Bind("/url");
    const std::string session = LogIn("ann");
    const std::string target = "/url?a=1&SID=" + session;
    EXPECT_EQ(Ask(Get(target)).status, 200u);
    EXPECT_EQ(log->Last().str_request_text, session);
    EXPECT_EQ(log->Last().str_url, target);
    EXPECT_THAT(log->Last().map_params, ElementsAre(Pair("a", "1")));
    EXPECT_EQ(Ask(Get("/url?SID=" + std::string(32, 'x'))).status, 200u);
    EXPECT_EQ(log->Last().str_request_text, "") << "no such session";
}

TEST_F(RequestsTest, UrlCarriesJsonUnlessItIsMarked) {
    auto log = std::make_shared<RequestLog>();
    ASSERT_TRUE(BindFunc("/json", [log](MsgIn& in, MsgOut&, ProtoParam2& param) {
        log->Add(in);
        param.str_answer = "{\"a\":1}";
    }));
    EXPECT_TRUE(IsRefusal(Ask(Post("/json", "no JSON")).status));
    EXPECT_TRUE(IsRefusal(Ask(Post("/json", "{\"a\":")).status));
    EXPECT_TRUE(IsRefusal(Ask(Post("/json", "a=1", "application/x-www-form-urlencoded")).status));
    EXPECT_EQ(log->Count(), 0u);
    const UserAnswer answer = Ask(Post("/json", "{\"b\": [1, 2]}"));
    EXPECT_EQ(answer.status, 200u);
    EXPECT_THAT(answer.Header("content-type"), StartsWith("application/json"));
    EXPECT_EQ(answer.body, "{\"a\":1}");
    ASSERT_EQ(log->Count(), 1u);
    EXPECT_EQ(log->All()[0].body, "{\"b\": [1, 2]}");
    EXPECT_EQ(Ask(Get("/json")).status, 200u) << "without a body";

    ASSERT_TRUE(AddNoneJsonURL("plugin", {"/json"}));
    const std::string bytes("no\0JSON", 7);
    EXPECT_EQ(Ask(Post("/json", bytes)).status, 200u);
    EXPECT_EQ(log->All().back().body, bytes);
}

TEST_F(RequestsTest, AnswersOfMarkedUrlsAreToldApartByTheirFirstCharacters) {
    const std::vector<std::pair<std::string, std::string>> cases{{" {\"a\":1}", "application/json"},
                                                                 {"[1]", "application/json"},
                                                                 {"<?xml version=\"1.0\"?><a/>", "application/xml"},
                                                                 {"<a/>", "application/xml"},
                                                                 {"<!DOCTYPE html><p>", "text/html"},
                                                                 {"<html></html>", "text/html"},
                                                                 {"a text", "text/plain"},
                                                                 {"", "text/plain"}};
    int number = 0;
    for (const auto& [text, type] : cases) {
        const std::string url = "/marked" + std::to_string(++number);
        Bind(url, text);
        const UserAnswer answer = Ask(Get(url));
        EXPECT_THAT(answer.Header("content-type"), StartsWith(type)) << text;
        EXPECT_EQ(answer.body, text);
    }
}

TEST_F(RequestsTest, MarkingAUrlThatThePluginHasNotBoundIsRefusedAndTheOthersAreMarked) {
    ASSERT_TRUE(BindFunc("/own", Ignore));
    ASSERT_TRUE(AddURL("other", "/others", kMethodAny, Ignore, ZELPlatform::CmdParam::kExecAsync, true));
    EXPECT_FALSE(AddNoneJsonURL("plugin", {"/others", "/absent", "/own"}));
    EXPECT_EQ(Ask(Post("/own", "no JSON")).status, 200u);
    EXPECT_TRUE(IsRefusal(Ask(Post("/others", "no JSON")).status));
}

TEST_F(RequestsTest, FormInTheBodyIsReadBehindTheQuery) {
    const auto log = Bind("/form");
    EXPECT_EQ(Ask(Post("/form?a=1", "a=2&b=x%26y+z&c=", "application/x-www-form-urlencoded")).status, 200u);
    EXPECT_THAT(log->Last().map_params, ElementsAre(Pair("a", "1"), Pair("b", "x&y z"), Pair("c", "")));
    EXPECT_EQ(log->All()[0].body, "a=2&b=x%26y+z&c=");
}

TEST_F(RequestsTest, PartsOfTheBodyAreTakenApart) {
    const auto log = Bind("/parts");
    const std::string data("two\r\n--no boundary\0\xFF", 20);
    const std::string body =
        "--limit\r\n"
        "Content-Disposition: form-data; name=\"first\"\r\n"
        "\r\n"
        "one\r\n"
        "--limit\r\n"
        "Content-Disposition: form-data; name=\"second\"; filename=\"a.jpg\"\r\n"
        "Content-Type: image/jpeg\r\n"
        "Content-Transfer-Encoding: binary\r\n"
        "\r\n" +
        data +
        "\r\n"
        "--limit--\r\n";
    EXPECT_EQ(Ask(Post("/parts", body, "multipart/form-data; boundary=limit")).status, 200u);
    ASSERT_EQ(log->Count(), 1u);
    const auto parts = log->Last().vec_mime;
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[0].str_content_type, "");
    EXPECT_EQ(parts[0].str_content_disposition, "form-data; name=\"first\"");
    EXPECT_EQ(parts[0].str_name, "first");
    EXPECT_EQ(parts[0].str_file_name, "");
    EXPECT_EQ(parts[0].str_transfer_encoding, "");
    EXPECT_EQ(parts[0].str_data, "one");
    EXPECT_EQ(parts[1].str_content_type, "image/jpeg");
    EXPECT_EQ(parts[1].str_content_disposition, "form-data; name=\"second\"; filename=\"a.jpg\"");
    EXPECT_EQ(parts[1].str_name, "second");
    EXPECT_EQ(parts[1].str_file_name, "a.jpg");
    EXPECT_EQ(parts[1].str_transfer_encoding, "binary");
    EXPECT_THAT(parts[1].str_headers, HasSubstr("filename=\"a.jpg\"\r\nContent-Type: image/jpeg\r\n"));
    EXPECT_EQ(parts[1].str_data, data);
}

TEST_F(RequestsTest, HandlerThatThrowsIsAnsweredWith500) {
    ASSERT_TRUE(BindFunc("/throwing/1", [](MsgIn&, MsgOut&, ProtoParam2& param) {
        param.str_answer = "half an answer";
        throw std::runtime_error("on purpose");
    }));
    ASSERT_TRUE(BindFunc("/throwing/2", [](MsgIn&, MsgOut& out, ProtoParam2&) {
        out.b_send = false;
        throw 5;
    }));
    for (const char* url : {"/throwing/1", "/throwing/2"}) {
        const UserAnswer answer = Ask(Get(url));
        EXPECT_EQ(answer.status, 500u);
        EXPECT_THAT(answer.body, ::testing::Not(HasSubstr("half an answer")));
    }
}

TEST_F(RequestsTest, ReleasedUrlReachesNobodyAndIsFreeAgain) {
    const auto log = Bind("/url", "first");
    EXPECT_TRUE(DeleteURL("/url", kMethodAny));
    EXPECT_TRUE(IsRefusal(Ask(Get("/url")).status));
    EXPECT_EQ(log->Count(), 0u);
    Bind("/url", "second");
    EXPECT_EQ(Ask(Get("/url")).body, "second");
}

TEST_F(RequestsTest, ReleasingWhatIsNotBoundIsRefused) {
    Bind("/url", "put", kMethodPut);
    ExpectRefused([&] { return DeleteURL("/other", kMethodAny); });
    ExpectRefused([&] { return DeleteURL("/url", kMethodGet); });
    EXPECT_TRUE(DeleteURL("/url", kMethodPut));
    ExpectRefused([&] { return DeleteURL("/url", kMethodPut); });
}

TEST_F(RequestsTest, ReleasingOneMethodLeavesTheOthersAndAnyReleasesAll) {
    Bind("/url", "put", kMethodPut);
    Bind("/url", "post or get", kMethodPostGet);
    Bind("/url", "delete", kMethodDelete);
    EXPECT_TRUE(DeleteURL("/url", kMethodPostGet));
    EXPECT_TRUE(IsRefusal(Ask(Get("/url")).status));
    EXPECT_EQ(Ask(Post("/url?MT=PUT", "")).body, "put");
    EXPECT_TRUE(DeleteURL("/url", kMethodAny));
    EXPECT_TRUE(IsRefusal(Ask(Post("/url?MT=PUT", "")).status));
    EXPECT_TRUE(IsRefusal(Ask(Post("/url?MT=DELETE", "")).status));
}

TEST_F(RequestsTest, CallThatRunsGoesOnWhenItsUrlIsReleased) {
    ASSERT_TRUE(BindFunc("/url", [](MsgIn&, MsgOut&, ProtoParam2& param) {
        param.str_answer = DeleteURL("/url", kMethodAny) ? "{\"released\":true}" : "{}";
    }));
    const UserAnswer answer = Ask(Get("/url"));
    EXPECT_EQ(answer.status, 200u);
    EXPECT_EQ(answer.body, "{\"released\":true}");
    EXPECT_TRUE(IsRefusal(Ask(Get("/url")).status));
}

}  // namespace
}  // namespace platform_tests
