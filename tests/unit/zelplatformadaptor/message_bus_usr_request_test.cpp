#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "qar/HttpRecords.h"
#include "zelplatformadaptor/MessageBusUsrRequest.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::LineIn;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Return;
using ::testing::SizeIs;
using ::testing::StartsWith;
using ::testing::Unused;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgMimePart;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;
using ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype;

using Bound = ZELPlatform::MsgBus::UserRequestFunc;

constexpr char kRegister[] = "qar::CMessageBusUsrRequest::RegisterUsrRequest";
constexpr char kUnregister[] = "qar::CMessageBusUsrRequest::UnregisterUsrRequest";
constexpr char kProc[] = "qar::CMessageBusUsrRequest::ProcUserRequestCB";

constexpr auto kMethodFive = static_cast<ZELPlatform::Method>(5);

const std::string kSession = "0123456789abcdefghijklmnopqrstuv";
const std::string kSessionMasked = "012345**********qrstuv";

/// One direct send.
struct Sent {
    int session;
    Mox::Net::HttpResponse head;
    int64_t size;
    const char* data;
    std::string bytes;
};

void AnswerNothing(SHttpResponse&, const SHttpRequest&) {}

std::shared_ptr<SHttpMime> File(const std::string& data) {
    auto mime = std::make_shared<SHttpMime>();
    mime->str_mime_0 = "image/jpeg";
    mime->str_mime_1 = "attachment; filename=door.jpg";
    mime->str_mime_2 = "field";
    mime->str_mime_3 = "tag-7";
    mime->str_mime_4 = "binary";
    mime->str_mime_5 = "X-Other: 1";
    mime->str_mime_6 = data;
    return mime;
}

std::shared_ptr<ZELPlatform::CSystemConfigInfo> Config(int access_type) {
    auto access = std::make_shared<ZELPlatform::CAccesstypeInfo>();
    access->SetValAccessType(static_cast<Accesstype>(access_type));
    auto config = std::make_shared<ZELPlatform::CSystemConfigInfo>();
    config->SetValstruAccesstypeinfo(access);
    return config;
}

class UsrRequestTest : public ::testing::Test {
protected:
    UsrRequestTest() {
        ON_CALL(platform.front, AddURL).WillByDefault([this](Unused, Unused, Unused, Bound fn, Unused, Unused) {
            bound = std::move(fn);
            return true;
        });
        ON_CALL(platform.front, AddNoneJsonURL).WillByDefault(Return(true));
        ON_CALL(platform.front, DeleteURL).WillByDefault(Return(true));
        ON_CALL(platform.front, GetSystemConfigInfo).WillByDefault(Return(nullptr));
        ON_CALL(platform.front, HttpServerSyncSend)
            .WillByDefault([this](int session, const Mox::Net::HttpResponse& head, int64_t size, const char* data) {
                sent.push_back({session, head, size, data, std::string(data, static_cast<std::size_t>(size))});
                return 0;
            });
    }

    void Register(UsrRequestFunc handler) {
        requests->RegisterUsrRequest("p", "/doors", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync,
                                     std::move(handler), false);
    }

    /// What the handler sees of the fixture's request.
    SHttpRequest Seen() {
        SHttpRequest seen;
        Register([&seen](SHttpResponse&, const SHttpRequest& request) { seen = request; });
        bound(in, out, param);
        return seen;
    }

    std::vector<long long> Numbers(const std::string& first, const std::string& second = "",
                                   const std::string& third = "", const std::string& fourth = "") {
        in.str_numbers[0] = first;
        in.str_numbers[1] = second;
        in.str_numbers[2] = third;
        in.str_numbers[3] = fourth;
        return Seen().vec_url_ids;
    }

    static auto CostLine(const std::string& url) {
        return LineIn(kProc, 3, "QARCommonMsg",
                      MatchesRegex("Proc user-request cost: [0-9]+ ms, url\\[" + url + "\\]\n"));
    }

    qarmock::Platform platform;
    std::shared_ptr<CMessageBusUsrRequest> requests = std::make_shared<CMessageBusUsrRequest>();
    Bound bound;
    std::vector<Sent> sent;
    MsgIn in;
    MsgOut out;
    ProtoParam2 param;
};

// --- register and unregister -----------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, RegisterBindsTheUrlAndThenMarksItAsOneWithoutJson) {
    {
        InSequence sequence;
        EXPECT_CALL(platform.front,
                    AddURL("p", "/doors", ZELPlatform::kMethodDelete, _, ZELPlatform::CmdParam::kExecAsync, true))
            .WillOnce(Return(true));
        EXPECT_CALL(platform.front, AddNoneJsonURL("p", ElementsAre("/doors"))).WillOnce(Return(true));
    }
    requests->RegisterUsrRequest("p", "/doors", ZELPlatform::kMethodDelete, ZELPlatform::CmdParam::kExecAsync,
                                 AnswerNothing, true);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(UsrRequestTest, RegisterPassesItsArgumentsOnAsTheyAre) {
    const std::string url = "no path?SID=" + kSession;
    EXPECT_CALL(platform.front,
                AddURL("", url, ZELPlatform::kMethodPostGet, _, ZELPlatform::CmdParam::kExecSync, false))
        .WillOnce(Return(true));
    EXPECT_CALL(platform.front, AddNoneJsonURL("", ElementsAre(url))).WillOnce(Return(true));
    requests->RegisterUsrRequest("", url, ZELPlatform::kMethodPostGet, ZELPlatform::CmdParam::kExecSync, AnswerNothing,
                                 false);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(UsrRequestTest, EachUrlIsMarkedAlone) {
    EXPECT_CALL(platform.front, AddNoneJsonURL("p", ElementsAre("/a"))).WillOnce(Return(true));
    EXPECT_CALL(platform.front, AddNoneJsonURL("p", ElementsAre("/b"))).WillOnce(Return(true));
    requests->RegisterUsrRequest("p", "/a", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync, AnswerNothing,
                                 false);
    requests->RegisterUsrRequest("p", "/b", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync, AnswerNothing,
                                 false);
}

TEST_F(UsrRequestTest, UrlThatThePlatformRefusesIsToldMaskedAndNotMarked) {
    const auto token = std::make_shared<int>(0);
    EXPECT_CALL(platform.front, AddURL)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)));
    EXPECT_CALL(platform.front, AddNoneJsonURL).Times(0);
    requests->RegisterUsrRequest(
        "p", "/doors?SID=" + kSession + "&x=1", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync,
        [token](SHttpResponse&, const SHttpRequest&) {}, false);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kRegister, 5, "QARCommon",
                                   "[MessageBus] Network AddURL to zelplatform failed, url[/doors?SID=" +
                                       kSessionMasked + "&x=1]\n")));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_EQ(token.use_count(), 1);
    EXPECT_EQ(requests.use_count(), 1);
}

TEST_F(UsrRequestTest, AnswerToTheMarkingIsNotRead) {
    EXPECT_CALL(platform.front, AddNoneJsonURL).WillOnce(Return(false));
    EXPECT_CALL(platform.front, DeleteURL).Times(0);
    Register(AnswerNothing);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
    ASSERT_TRUE(bound);
}

TEST_F(UsrRequestTest, UnregisterReleasesTheUrlForAnyMethodWhateverItWasRegisteredWith) {
    requests->RegisterUsrRequest("p", "/doors", ZELPlatform::kMethodPost, ZELPlatform::CmdParam::kExecSync,
                                 AnswerNothing, false);
    EXPECT_CALL(platform.front, DeleteURL("/doors", kMethodFive)).WillOnce(Return(true));
    requests->UnregisterUsrRequest("/doors");
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(UsrRequestTest, UnregisterOfAnUnknownUrlIsThePlatformsMatter) {
    EXPECT_CALL(platform.front, DeleteURL("/never", kMethodFive)).WillOnce(Return(true));
    requests->UnregisterUsrRequest("/never");
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(UsrRequestTest, UnregisterThatThePlatformRefusesIsToldMasked) {
    EXPECT_CALL(platform.front, DeleteURL("/doors?SID=abc", kMethodFive)).WillOnce(Return(false));
    requests->UnregisterUsrRequest("/doors?SID=abc");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kUnregister, 5, "QARCommon",
                                   "[MessageBus] Network DelURL from zelplatform failed, url[/doors?SID=a*c]\n")));
}

TEST_F(UsrRequestTest, LinesNameTheirSource) {
    EXPECT_CALL(platform.front, DeleteURL).WillOnce(Return(false));
    requests->UnregisterUsrRequest("/doors");
    Register(AnswerNothing);
    bound(in, out, param);
    const auto lines = platform.log.Lines();
    ASSERT_THAT(lines, SizeIs(2));
    for (const auto& line : lines) {
        EXPECT_THAT(line.file, EndsWith("src/zelplatformadaptor/MessageBusUsrRequest.cpp"));
        EXPECT_GT(line.line, 0);
        EXPECT_THAT(line.format, StartsWith("[%s]"));
        EXPECT_THAT(line.format, EndsWith("\n[%s(%d)]"));
    }
}

// --- lifetime --------------------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, BoundCallableKeepsTheObjectAndTheHandlerAlive) {
    const std::weak_ptr<CMessageBusUsrRequest> object = requests;
    auto token = std::make_shared<int>(0);
    const std::weak_ptr<int> handler = token;
    int calls = 0;
    Register([token = std::move(token), &calls](SHttpResponse&, const SHttpRequest&) { ++calls; });
    requests.reset();
    ASSERT_FALSE(object.expired());
    ASSERT_FALSE(handler.expired());
    bound(in, out, param);
    EXPECT_EQ(calls, 1);
    bound = nullptr;
    EXPECT_TRUE(object.expired());
    EXPECT_TRUE(handler.expired());
}

TEST_F(UsrRequestTest, ObjectKeepsNothingOfARegistration) {
    auto token = std::make_shared<int>(0);
    const std::weak_ptr<int> handler = token;
    Register([token = std::move(token)](SHttpResponse&, const SHttpRequest&) {});
    bound = nullptr;
    EXPECT_TRUE(handler.expired());
}

TEST_F(UsrRequestTest, CallableWorksOnAfterTheUrlWasReleased) {
    int calls = 0;
    Register([&calls](SHttpResponse&, const SHttpRequest&) { ++calls; });
    requests->UnregisterUsrRequest("/doors");
    bound(in, out, param);
    EXPECT_EQ(calls, 1);
}

// --- the request -----------------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, HandlerGetsTheFieldsOfTheRequest) {
    const std::string body("{\"a\":\0 1}", 9);
    in.n_connection = 12;
    in.n_method = 4;
    in.str_url = "/doors/7?x=1&SID=" + kSession;
    in.str_request_text = kSession;
    in.map_params = {{"x", "1"}, {"", "empty key"}, {"y", ""}};
    in.p_body = body.data();
    in.n_body_size = body.size();
    const SHttpRequest seen = Seen();
    EXPECT_EQ(seen.n_connection_id, 12);
    EXPECT_EQ(seen.n_method, 4);
    EXPECT_EQ(seen.str_url, in.str_url);
    EXPECT_EQ(seen.str_request_text, kSession);
    EXPECT_EQ(seen.map_params, (std::map<std::string, std::string>{{"x", "1"}, {"", "empty key"}, {"y", ""}}));
    EXPECT_EQ(in.map_params, seen.map_params);
    EXPECT_EQ(seen.str_body, body);
    EXPECT_FALSE(seen.b_access_type_https);
    EXPECT_THAT(seen.vec_url_ids, IsEmpty());
    EXPECT_THAT(seen.vec_mime, IsEmpty());
    EXPECT_EQ(seen.reserved, nullptr);
}

TEST_F(UsrRequestTest, ConnectionIsWidenedWithItsSign) {
    in.n_connection = -1;
    EXPECT_EQ(Seen().n_connection_id, -1);
    in.n_connection = std::numeric_limits<int32_t>::min();
    EXPECT_EQ(Seen().n_connection_id, -2147483648LL);
    in.n_connection = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(Seen().n_connection_id, 2147483647LL);
}

TEST_F(UsrRequestTest, MethodIsPassedOnWhateverItIs) {
    in.n_method = -1;
    EXPECT_EQ(Seen().n_method, -1);
    in.n_method = 77;
    EXPECT_EQ(Seen().n_method, 77);
}

TEST_F(UsrRequestTest, NullBodyOfNoSizeIsAnEmptyText) {
    in.p_body = nullptr;
    in.n_body_size = 0;
    EXPECT_EQ(Seen().str_body, "");
}

TEST_F(UsrRequestTest, BodyEndsWhereItsSizeSays) {
    in.p_body = "behind the end";
    in.n_body_size = 6;
    EXPECT_EQ(Seen().str_body, "behind");
    in.n_body_size = 0;
    EXPECT_EQ(Seen().str_body, "");
}

TEST_F(UsrRequestTest, AccessTypeTwoIsHttpsAndNothingElse) {
    for (const int type : {0, 1, 2, 3}) {
        EXPECT_CALL(platform.front, GetSystemConfigInfo).WillOnce(Return(Config(type)));
        EXPECT_EQ(Seen().b_access_type_https, type == 2) << type;
    }
}

TEST_F(UsrRequestTest, MissingSettingsLeaveTheRequestWithoutHttps) {
    EXPECT_CALL(platform.front, GetSystemConfigInfo).WillOnce(Return(nullptr));
    EXPECT_FALSE(Seen().b_access_type_https);
    EXPECT_CALL(platform.front, GetSystemConfigInfo)
        .WillOnce(Return(std::make_shared<ZELPlatform::CSystemConfigInfo>()));
    EXPECT_FALSE(Seen().b_access_type_https);
    EXPECT_THAT(platform.log.Lines(), ElementsAre(CostLine(""), CostLine("")));
}

TEST_F(UsrRequestTest, SettingsAreAskedAnewForEachRequest) {
    bool https = false;
    Register([&https](SHttpResponse&, const SHttpRequest& request) { https = request.b_access_type_https; });
    EXPECT_CALL(platform.front, GetSystemConfigInfo).WillOnce(Return(Config(2)));
    bound(in, out, param);
    EXPECT_TRUE(https);
    EXPECT_CALL(platform.front, GetSystemConfigInfo).WillOnce(Return(Config(1)));
    bound(in, out, param);
    EXPECT_FALSE(https);
}

TEST_F(UsrRequestTest, PartsOfTheBodyComeInOrderEachWithItsSevenTexts) {
    const std::string data("\xFF\xD8\0\r\n", 5);
    in.vec_mime = {MsgMimePart{"image/jpeg", "form-data; name=\"f\"", "f", "door.jpg", "binary", "A: 1\r\n", data},
                   MsgMimePart{}, MsgMimePart{"t", "d", "n", "fn", "e", "h", "x"}};
    const SHttpRequest seen = Seen();
    ASSERT_THAT(seen.vec_mime, SizeIs(3));
    EXPECT_EQ(seen.vec_mime[0]->str_mime_0, "image/jpeg");
    EXPECT_EQ(seen.vec_mime[0]->str_mime_1, "form-data; name=\"f\"");
    EXPECT_EQ(seen.vec_mime[0]->str_mime_2, "f");
    EXPECT_EQ(seen.vec_mime[0]->str_mime_3, "door.jpg");
    EXPECT_EQ(seen.vec_mime[0]->str_mime_4, "binary");
    EXPECT_EQ(seen.vec_mime[0]->str_mime_5, "A: 1\r\n");
    EXPECT_EQ(seen.vec_mime[0]->str_mime_6, data);
    EXPECT_EQ(seen.vec_mime[0]->reserved, nullptr);
    EXPECT_EQ(seen.vec_mime[1]->str_mime_0 + seen.vec_mime[1]->str_mime_6, "");
    EXPECT_EQ(seen.vec_mime[2]->str_mime_6, "x");
    EXPECT_NE(seen.vec_mime[1], seen.vec_mime[2]);
}

TEST_F(UsrRequestTest, HandlerMayKeepAPartBeyondTheRequest) {
    in.vec_mime = {MsgMimePart{"t", "d", "n", "fn", "e", "h", "data"}};
    std::shared_ptr<SHttpMime> kept;
    Register([&kept](SHttpResponse&, const SHttpRequest& request) { kept = request.vec_mime.at(0); });
    bound(in, out, param);
    in = MsgIn();
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(kept->str_mime_6, "data");
}

// --- numbers of the URL ----------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, NumbersComeInOrder) {
    EXPECT_THAT(Numbers("1", "2", "3", "4"), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(Numbers("1"), ElementsAre(1));
    EXPECT_THAT(Numbers(""), IsEmpty());
}

TEST_F(UsrRequestTest, FirstEmptyTextEndsTheNumbers) {
    EXPECT_THAT(Numbers("1", "", "3", "4"), ElementsAre(1));
    EXPECT_THAT(Numbers("1", "2", "", "4"), ElementsAre(1, 2));
    EXPECT_THAT(Numbers("", "2", "3", "4"), IsEmpty());
}

TEST_F(UsrRequestTest, TextThatIsNoNumberIsZeroAndNotTheEnd) {
    EXPECT_THAT(Numbers("5", "abc", "7"), ElementsAre(5, 0, 7));
    EXPECT_THAT(Numbers("5", "-", "+", "x7"), ElementsAre(5, 0, 0, 0));
}

TEST_F(UsrRequestTest, BlankTextIsZeroAndNotTheNumberBefore) {
    EXPECT_THAT(Numbers("5", " ", "\t\n", "8"), ElementsAre(5, 0, 0, 8));
}

TEST_F(UsrRequestTest, NumberEndsAtTheFirstCharacterThatIsNoDigit) {
    EXPECT_THAT(Numbers("7x", "1.9", "0x10", "3 4"), ElementsAre(7, 1, 0, 3));
    EXPECT_THAT(Numbers("  12", "007", "+8"), ElementsAre(12, 7, 8));
}

TEST_F(UsrRequestTest, NumbersReachOverAllOfTheirRange) {
    EXPECT_THAT(
        Numbers("-1", "9223372036854775807", "-9223372036854775808", "4294967296"),
        ElementsAre(-1, std::numeric_limits<long long>::max(), std::numeric_limits<long long>::min(), 4294967296LL));
}

TEST_F(UsrRequestTest, NumberBeyondItsRangeIsTheNearestOneAndSpoilsNoOther) {
    EXPECT_THAT(Numbers("9223372036854775808", "1", "-99999999999999999999", "2"),
                ElementsAre(std::numeric_limits<long long>::max(), 1, std::numeric_limits<long long>::min(), 2));
}

// --- the answer as text ----------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, HandlerStartsWithAnEmptyResponse) {
    bool called = false;
    Register([&called](SHttpResponse& response, const SHttpRequest&) {
        called = true;
        EXPECT_EQ(response.str_body, "");
        EXPECT_EQ(response.str_spare_text, "");
        EXPECT_FALSE(response.b_no_auto_reply);
        EXPECT_EQ(response.GetHttpMime(), nullptr);
        response.str_body = "left behind";
        response.str_spare_text = "left behind";
    });
    bound(in, out, param);
    bound(in, out, param);
    EXPECT_TRUE(called);
}

TEST_F(UsrRequestTest, TextIsHandedToThePlatformForSending) {
    EXPECT_CALL(platform.front, HttpServerSyncSend).Times(0);
    const std::string text("{\"ok\":\0true}", 12);
    Register([&text](SHttpResponse& response, const SHttpRequest&) {
        response.str_body = text;
        response.str_spare_text = "not read";
    });
    out.b_send = false;
    param.str_answer = "of another request";
    bound(in, out, param);
    EXPECT_TRUE(out.b_send);
    EXPECT_EQ(param.str_answer, text);
}

TEST_F(UsrRequestTest, EmptyTextIsHandedToThePlatformToo) {
    Register(AnswerNothing);
    out.b_send = false;
    param.str_answer = "of another request";
    bound(in, out, param);
    EXPECT_TRUE(out.b_send);
    EXPECT_EQ(param.str_answer, "");
}

TEST_F(UsrRequestTest, FileThatWasTakenBackLeavesTheText) {
    EXPECT_CALL(platform.front, HttpServerSyncSend).Times(0);
    Register([](SHttpResponse& response, const SHttpRequest&) {
        response.SetHttpMime(File("data"));
        response.SetHttpMime(nullptr);
        response.str_body = "text";
    });
    bound(in, out, param);
    EXPECT_TRUE(out.b_send);
    EXPECT_EQ(param.str_answer, "text");
}

// --- the answer by the handler itself --------------------------------------------------------------------------------

TEST_F(UsrRequestTest, HandlerThatAnswersByItselfLeavesNothingToSend) {
    EXPECT_CALL(platform.front, HttpServerSyncSend).Times(0);
    Register([](SHttpResponse& response, const SHttpRequest&) {
        response.b_no_auto_reply = true;
        response.str_body = "not sent";
    });
    in.str_url = "/doors";
    out.b_send = true;
    param.str_answer = "as before";
    bound(in, out, param);
    EXPECT_FALSE(out.b_send);
    EXPECT_EQ(param.str_answer, "as before");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(CostLine("/doors")));
}

TEST_F(UsrRequestTest, FileOfAHandlerThatAnswersByItselfIsNotSent) {
    EXPECT_CALL(platform.front, HttpServerSyncSend).Times(0);
    Register([](SHttpResponse& response, const SHttpRequest&) {
        response.b_no_auto_reply = true;
        response.SetHttpMime(File("data"));
    });
    bound(in, out, param);
    EXPECT_FALSE(out.b_send);
    EXPECT_EQ(param.str_answer, "");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(CostLine("")));
}

// --- the answer as a file --------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, FileIsSentDirectlyUnderItsHead) {
    Register([](SHttpResponse& response, const SHttpRequest&) {
        response.SetHttpMime(File(std::string("\xFF\xD8\0end", 6)));
        response.str_body = "the file wins";
    });
    in.n_connection = 4711;
    in.str_url = "/doors";
    out.b_send = true;
    param.str_answer = "as before";
    bound(in, out, param);

    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].session, 4711);
    EXPECT_EQ(sent[0].head.n_status, 200u);
    EXPECT_EQ(sent[0].head.n_send_timeout_ms, 40000u);
    EXPECT_EQ(sent[0].head.n_close, 0u);
    EXPECT_EQ(sent[0].head.str_content_type, "image/jpeg");
    EXPECT_EQ(sent[0].head.str_content_disposition, "attachment; filename=door.jpg");
    EXPECT_EQ(sent[0].head.str_etag, "\"tag-7\"");
    EXPECT_EQ(sent[0].head.str_cache_control, "no-cache");
    EXPECT_THAT(sent[0].head.vec_headers, IsEmpty());
    EXPECT_EQ(sent[0].size, 6);
    EXPECT_EQ(sent[0].bytes, std::string("\xFF\xD8\0end", 6));

    EXPECT_FALSE(out.b_send);
    EXPECT_EQ(param.str_answer, "as before");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(CostLine("/doors")));
}

TEST_F(UsrRequestTest, FileGoesOutOfItsOwnStringWithoutACopy) {
    for (const std::size_t size : {std::size_t{3}, std::size_t{1} << 20}) {
        const auto mime = File(std::string(size, 'x'));
        Register([&mime](SHttpResponse& response, const SHttpRequest&) { response.SetHttpMime(mime); });
        bound(in, out, param);
        ASSERT_THAT(sent, SizeIs(1));
        EXPECT_EQ(sent[0].data, mime->str_mime_6.data());
        EXPECT_EQ(sent[0].size, static_cast<int64_t>(size));
        sent.clear();
    }
}

TEST_F(UsrRequestTest, FileThatTheHandlerGivesAwayLivesUntilItIsSent) {
    std::weak_ptr<SHttpMime> watched;
    Register([&watched](SHttpResponse& response, const SHttpRequest&) {
        auto mime = File("data");
        watched = mime;
        response.SetHttpMime(std::move(mime));
    });
    EXPECT_CALL(platform.front, HttpServerSyncSend).WillOnce([&watched](Unused, Unused, Unused, const char* data) {
        const auto mime = watched.lock();
        EXPECT_NE(mime, nullptr);
        EXPECT_EQ(mime == nullptr ? nullptr : mime->str_mime_6.data(), data);
        return 0;
    });
    bound(in, out, param);
    EXPECT_TRUE(watched.expired());
}

TEST_F(UsrRequestTest, EmptyFileIsSentWithEmptyTextsInItsHead) {
    Register([](SHttpResponse& response, const SHttpRequest&) { response.SetHttpMime(std::make_shared<SHttpMime>()); });
    bound(in, out, param);
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].head.str_content_type, "");
    EXPECT_EQ(sent[0].head.str_content_disposition, "");
    EXPECT_EQ(sent[0].head.str_etag, "\"\"");
    EXPECT_EQ(sent[0].head.str_cache_control, "no-cache");
    EXPECT_EQ(sent[0].size, 0);
    EXPECT_FALSE(out.b_send);
}

TEST_F(UsrRequestTest, TagIsQuotedAsItIs) {
    Register([](SHttpResponse& response, const SHttpRequest&) {
        auto mime = File("data");
        mime->str_mime_3 = "\"a\\b\"";
        response.SetHttpMime(mime);
    });
    bound(in, out, param);
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].head.str_etag, "\"\"a\\b\"\"");
}

TEST_F(UsrRequestTest, NegativeConnectionReachesTheSendAsItIs) {
    Register([](SHttpResponse& response, const SHttpRequest&) { response.SetHttpMime(File("data")); });
    in.n_connection = -2;
    bound(in, out, param);
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].session, -2);
}

TEST_F(UsrRequestTest, SendThatFailsIsToldMaskedAndAnsweredByNobody) {
    Register([](SHttpResponse& response, const SHttpRequest&) { response.SetHttpMime(File("data")); });
    in.str_url = "/doors?SID=" + kSession + "&x=1";
    in.str_request_text = kSession;
    param.str_answer = "as before";
    for (const int error : {3, -1}) {
        platform.log.Clear();
        out.b_send = true;
        EXPECT_CALL(platform.front, HttpServerSyncSend).WillOnce(Return(error));
        bound(in, out, param);
        EXPECT_FALSE(out.b_send);
        EXPECT_EQ(param.str_answer, "as before");
        const auto lines = platform.log.Lines();
        ASSERT_THAT(lines, SizeIs(2));
        EXPECT_THAT(lines[0], LineIn(kProc, 5, "QARCommon",
                                     "http response send file failed, data-size[4], url[/doors?SID=" + kSessionMasked +
                                         "&x=1], error[" + std::to_string(error) + "]\n"));
        EXPECT_THAT(lines[1], LineIn(kProc, 3, "QARCommonMsg", StartsWith("Proc user-request cost: ")));
    }
}

// --- the cost line ---------------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, CostLineMasksTheSession) {
    const std::vector<std::pair<std::string, std::string>> urls = {
        {"/a?SID=" + kSession, "/a?SID=" + kSessionMasked},
        {"/a?SID=abc", "/a?SID=a*c"},
        {"/a?SID=x", "/a?SID=*"},
        {"/a?SID=x&y=1", "/a?SID=*&y=1"},
        {"/a?y=1", "/a?y=1"},
        {"/a?SID=&x=1", "/a?SID=&x=1"},
        {"/a?SID=abc&SID=defgh", "/a?SID=a*c&SID=a*c"},
        {"/a?%s%n", "/a?%s%n"},
        {"", ""},
    };
    Register(AnswerNothing);
    for (const auto& [url, masked] : urls) {
        platform.log.Clear();
        in.str_url = url;
        in.str_request_text = kSession;
        bound(in, out, param);
        const auto lines = platform.log.Lines();
        ASSERT_THAT(lines, SizeIs(1));
        EXPECT_THAT(lines[0], LineIn(kProc, 3, "QARCommonMsg",
                                     ::testing::AllOf(MatchesRegex("Proc user-request cost: [0-9]+ ms, url\\[.*\\]\n"),
                                                      EndsWith(" ms, url[" + masked + "]\n"))));
    }
}

TEST_F(UsrRequestTest, CostCoversTheHandlerAndTheSend) {
    using Clock = std::chrono::system_clock;
    Clock::time_point begin;
    Clock::time_point end;
    const auto pass_20_milliseconds = [] {
        const auto until = Clock::now() + std::chrono::milliseconds(20);
        while (Clock::now() < until) std::this_thread::yield();
    };
    Register([&](SHttpResponse& response, const SHttpRequest&) {
        begin = Clock::now();
        pass_20_milliseconds();
        response.SetHttpMime(File("data"));
    });
    EXPECT_CALL(platform.front, HttpServerSyncSend).WillOnce([&](Unused, Unused, Unused, Unused) {
        pass_20_milliseconds();
        end = Clock::now();
        return 0;
    });
    bound(in, out, param);
    const auto lines = platform.log.Lines();
    ASSERT_THAT(lines, ElementsAre(CostLine("")));
    const std::string head = "Proc user-request cost: ";
    EXPECT_GE(std::stoi(lines[0].body.substr(head.size())),
              std::chrono::duration_cast<std::chrono::milliseconds>(end - begin).count());
}

// --- handlers that throw ---------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, ExceptionOfTheHandlerReachesThePlatformWithoutALine) {
    EXPECT_CALL(platform.front, HttpServerSyncSend).Times(0);
    Register([](SHttpResponse& response, const SHttpRequest&) {
        response.str_body = "text";
        response.b_no_auto_reply = true;
        response.SetHttpMime(File("data"));
        throw std::runtime_error("plug-in");
    });
    for (const bool send : {true, false}) {
        out.b_send = send;
        param.str_answer = "as before";
        try {
            bound(in, out, param);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "plug-in");
        }
        EXPECT_EQ(out.b_send, send);
        EXPECT_EQ(param.str_answer, "as before");
    }
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(UsrRequestTest, EmptyHandlerIsBoundAndThrowsWhenItIsCalled) {
    Register(nullptr);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
    ASSERT_TRUE(bound);
    EXPECT_THROW(bound(in, out, param), std::bad_function_call);
}

// --- several at once -------------------------------------------------------------------------------------------------

TEST_F(UsrRequestTest, TwoRequestsOfOneUrlRunAtOnceAndEachHasItsOwnAnswer) {
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0;
    Register([&](SHttpResponse& response, const SHttpRequest& request) {
        std::unique_lock<std::mutex> lock(mutex);
        ++inside;
        changed.notify_all();
        EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(60), [&] { return inside == 2; }));
        response.str_body = "answer to " + request.str_url;
    });
    MsgIn other_in;
    MsgOut other_out;
    ProtoParam2 other_param;
    in.str_url = "/doors/1";
    other_in.str_url = "/doors/2";
    std::thread other([&] { bound(other_in, other_out, other_param); });
    bound(in, out, param);
    other.join();
    EXPECT_EQ(param.str_answer, "answer to /doors/1");
    EXPECT_EQ(other_param.str_answer, "answer to /doors/2");
}

TEST_F(UsrRequestTest, HandlerMayRegisterAndReleaseUrls) {
    EXPECT_CALL(platform.front, AddURL("p", "/doors", _, _, _, _));
    EXPECT_CALL(platform.front, AddURL("p", "/more", _, _, _, _)).WillOnce(Return(true));
    EXPECT_CALL(platform.front, DeleteURL("/doors", _)).WillOnce([this](Unused, Unused) {
        bound = nullptr;
        return true;
    });
    Register([this](SHttpResponse&, const SHttpRequest&) {
        requests->RegisterUsrRequest("p", "/more", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync,
                                     AnswerNothing, false);
        requests->UnregisterUsrRequest("/doors");
    });
    in.str_url = "/doors";
    const Bound called = bound;
    called(in, out, param);
    EXPECT_TRUE(out.b_send);
    EXPECT_THAT(platform.log.Lines(), ElementsAre(CostLine("/doors")));
}

}  // namespace
}  // namespace qar
