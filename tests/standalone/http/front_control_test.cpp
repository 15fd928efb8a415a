#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <set>
#include <string>

#include "Mox/Net/HttpServer.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "ZELPlatform/MsgBusPush.h"
#include "ZELPlatform/MsgBusRequests.h"
#include "standalone/auth/Sessions.h"
#include "standalone/auth/session_site.h"
#include "standalone/bus/BusControl.h"
#include "standalone/http/FrontControl.h"
#include "standalone/http/raw_client.h"
#include "support/other_thread.h"

namespace {

namespace MsgBus = ZELPlatform::MsgBus;
using http_test::RawClient;
using Mox::Net::CHttpServer;
using Mox::Net::HttpResponse;
using qarplatform::FrontPort;
using qarplatform::Sessions;
using qarplatform::StartFront;
using qarplatform::StopFront;
using testing::HasSubstr;
using testing::StartsWith;
using ZELPlatform::kMethodAny;
using ZELPlatform::kMethodGet;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;
using ZELPlatform::CmdParam::kExecSync;

class NotifyText final : public ZELPlatform::CMsgBusContentBase {
public:
    explicit NotifyText(std::string text) : text_(std::move(text)) {}
    bool GetTextContent(Buffer& buffer) override {
        buffer.data = text_.c_str();
        buffer.size = static_cast<unsigned int>(text_.size()) + 1;
        return true;
    }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }

private:
    const std::string text_;
};

std::shared_ptr<ZELPlatform::CBaseContent> Text(const std::string& text) {
    auto content = std::make_shared<ZELPlatform::CObserverParam>();
    content->SetText(text);
    return content;
}

/// The front of the process over real sockets, sessions and bus.
class FrontControlTest : public testing::Test {
protected:
    FrontControlTest() {
        std::string error;
        EXPECT_TRUE(Sessions::Get().Start(site_.Store(), {}, error)) << error;
        options_.server.stop_timeout = std::chrono::seconds(20);
    }
    ~FrontControlTest() override {
        StopFront();
        qarplatform::StopBus();
        Sessions::Get().Stop();
    }

    void Start() {
        std::string error;
        ASSERT_TRUE(StartFront(options_, error)) << error;
    }

    static http_test::Answer Ask(const std::string& request) {
        RawClient client(FrontPort());
        client.Send(request);
        return client.ReadAnswer();
    }
    static http_test::Answer Get(const std::string& target) {
        return Ask("GET " + target + " HTTP/1.1\r\nHost: h\r\n\r\n");
    }

    // @return the Cookie line of a new session of anna's
    static std::string LogIn() {
        const std::string form = "user=anna&password=anna%27s+password";
        const auto answer =
            Ask("POST /login HTTP/1.1\r\nHost: h\r\nContent-Type: application/x-www-form-urlencoded\r\n"
                "Content-Length: " +
                std::to_string(form.size()) + "\r\n\r\n" + form);
        EXPECT_EQ(200, answer.status) << answer.body;
        const std::string cookie = answer.headers.at("set-cookie");
        return "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n";
    }

    auth_test::SessionSite site_;
    qarplatform::FrontOptions options_;
};

/// A user's WebSocket.
class PushedTo {
public:
    explicit PushedTo(const std::string& cookie) : client_(FrontPort()) {
        client_.Send("GET /push HTTP/1.1\r\nHost: h\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n" + cookie +
                     "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
        EXPECT_THAT(client_.ReadTo("\r\n\r\n"), StartsWith("HTTP/1.1 101 "));
    }

    // At most 125 bytes.
    void Say(const std::string& text) {
        client_.Send("\x81" + std::string(1, static_cast<char>(0x80 + text.size())) + std::string(4, '\0') + text);
    }
    // What was sent and is answered has been worked off.
    void Settle() {
        Say("?");
        EXPECT_EQ("text:{\"error\":\"Invalid value. At byte 0.\"}", Hear());
    }
    // @return kind and data of the next frame
    std::string Hear() {
        const std::string head = client_.ReadBytes(2);
        if (head.size() < 2) return "ended";
        const std::string data = client_.ReadBytes(static_cast<unsigned char>(head[1]));
        switch (static_cast<unsigned char>(head[0])) {
            case 0x81:
                return "text:" + data;
            case 0x82:
                return "binary:" + data;
            case 0x88:
                return "close:" + std::to_string(static_cast<unsigned char>(data.at(0)) * 256 +
                                                 static_cast<unsigned char>(data.at(1)));
            default:
                return "other";
        }
    }

private:
    RawClient client_;
};

TEST_F(FrontControlTest, UrlsBoundBeforeAndAfterTheStartAreServed) {
    const auto answer = [](MsgIn& in, MsgOut&, ProtoParam2& param) {
        param.str_answer = "{\"url\":\"" + in.str_url + "\"}";
    };
    ASSERT_TRUE(MsgBus::AddURL("p", "/before", kMethodGet, answer, kExecSync, true));
    EXPECT_EQ(0, FrontPort());
    Start();
    EXPECT_NE(0, FrontPort());
    ASSERT_TRUE(MsgBus::AddURL("p", "/after", kMethodGet, answer, kExecSync, true));
    EXPECT_EQ("{\"url\":\"/before?a\"}", Get("/before?a").body);
    EXPECT_EQ("{\"url\":\"/after/1\"}", Get("/after/1").body);
    ASSERT_TRUE(MsgBus::DeleteURL("/after", kMethodAny));
    EXPECT_EQ(404, Get("/after").status);
}

TEST_F(FrontControlTest, UserLogsInAsksAndLogsOut) {
    ASSERT_TRUE(MsgBus::AddURL(
        "p", "/who", kMethodGet,
        [](MsgIn& in, MsgOut&, ProtoParam2& param) { param.str_answer = std::to_string(in.str_request_text.size()); },
        kExecSync, false));
    Start();
    EXPECT_EQ(401, Get("/who").status);
    const std::string cookie = LogIn();
    const std::string request = "GET /who HTTP/1.1\r\nHost: h\r\n" + cookie + "\r\n";
    EXPECT_EQ("32", Ask(request).body);
    EXPECT_EQ(200, Ask("POST /logout HTTP/1.1\r\nHost: h\r\nContent-Length: 0\r\n" + cookie + "\r\n").status);
    EXPECT_EQ(401, Ask(request).status);
}

TEST_F(FrontControlTest, BodyIsNotAwaitedWhereASessionIsMissing) {
    ASSERT_TRUE(MsgBus::AddURL(
        "p", "/body", kMethodAny,
        [](MsgIn& in, MsgOut&, ProtoParam2& param) { param.str_answer = std::to_string(in.n_body_size); }, kExecSync,
        false));
    Start();
    const std::string head = "POST /body HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n";
    EXPECT_EQ(401, Ask(head + "\r\n").status);
    EXPECT_EQ("2", Ask(head + LogIn() + "\r\n{}").body);
}

TEST_F(FrontControlTest, PagesOfTheSchemeThatUsersSeeMayAsk) {
    Start();
    const std::string host = "POST /login HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n";
    EXPECT_EQ(400, Ask(host + "Origin: http://h\r\n\r\n{}").status);
    EXPECT_EQ(403, Ask(host + "Origin: https://h\r\n\r\n{}").status);
    StopFront();
    options_.plain = true;
    Start();
    EXPECT_EQ(400, Ask(host + "Origin: http://h\r\n\r\n{}").status);
    EXPECT_EQ(400, Ask(host + "Origin: https://h\r\n\r\n{}").status);
    EXPECT_EQ(403, Ask(host + "Origin: https://other\r\n\r\n{}").status);
}

TEST_F(FrontControlTest, HandlerSendsAFileByItself) {
    const std::string file(3 << 20, 'f');
    std::atomic<int> result{-1};
    ASSERT_TRUE(MsgBus::AddURL(
        "p", "/file", kMethodGet,
        [&](MsgIn& in, MsgOut& out, ProtoParam2&) {
            result = CHttpServer::HttpServerSyncSend(in.n_connection, HttpResponse(), static_cast<int64_t>(file.size()),
                                                     file.data());
            out.b_send = false;
        },
        kExecSync, true));
    Start();
    EXPECT_EQ(file, Get("/file").body);
    StopFront();
    EXPECT_EQ(0, result);
}

TEST_F(FrontControlTest, RequestThatNobodyAnswersIsAnsweredByTheServer) {
    options_.server.answer_timeout = std::chrono::milliseconds(50);
    std::atomic<int> number{0};
    ASSERT_TRUE(MsgBus::AddURL(
        "p", "/never", kMethodGet,
        [&](MsgIn& in, MsgOut& out, ProtoParam2&) {
            number = in.n_connection;
            out.b_send = false;
        },
        kExecSync, true));
    Start();
    EXPECT_EQ(504, Get("/never").status);
    EXPECT_EQ(1, CHttpServer::HttpServerSyncSend(number, HttpResponse(), 1, "x"));
}

TEST_F(FrontControlTest, WebSocketGetsPushesNotifyMessagesAndEvents) {
    Start();
    const std::string cookie = LogIn();
    const std::string session = cookie.substr(cookie.find('=') + 1, 32);
    PushedTo socket(cookie);
    socket.Say(R"({"subscribe":{"events":[5],"resource_types":[1001]}})");
    socket.Say(R"({"subscribe":{"messages":[3]}})");
    socket.Settle();

    EXPECT_TRUE(MsgBus::MsgNotifyByDst({session}, 1, Text("direct")));
    EXPECT_EQ("text:direct", socket.Hear());

    EXPECT_TRUE(MsgBus::MsgNotifyBySubscription(5, 1002, 7, Text("other resource"), "p", 0));
    EXPECT_TRUE(MsgBus::MsgNotifyBySubscription(5, 1001, 7, Text("event"), "p", 0));
    EXPECT_EQ("text:event", socket.Hear());

    const auto info = std::make_shared<ZELPlatform::CMsgPushInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValue(3);
    info->SetMsgContent(std::make_shared<NotifyText>("by type"));
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(info));
    EXPECT_EQ("text:by type", socket.Hear());

    socket.Say(R"({"unsubscribe":{"messages":[3]}})");
    socket.Settle();
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(info));
    info->SetMsgContent(std::make_shared<NotifyText>("by name"));
    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedClients({session}, info));
    EXPECT_EQ("text:by name", socket.Hear());
}

TEST_F(FrontControlTest, LogoutClosesTheWebSocket) {
    Start();
    const std::string cookie = LogIn();
    PushedTo socket(cookie);
    socket.Settle();
    EXPECT_EQ(200, Ask("POST /logout HTTP/1.1\r\nHost: h\r\nContent-Length: 0\r\n" + cookie + "\r\n").status);
    EXPECT_EQ("close:1008", socket.Hear());
}

TEST_F(FrontControlTest, StopWaitsForTheHandlerAndItsAnswer) {
    std::latch entered(1);
    std::latch leave(1);
    ASSERT_TRUE(MsgBus::AddURL(
        "p", "/slow", kMethodGet,
        [&](MsgIn&, MsgOut&, ProtoParam2& param) {
            entered.count_down();
            leave.wait();
            param.str_answer = "1";
        },
        kExecSync, true));
    Start();
    RawClient client(FrontPort());
    client.Send("GET /slow HTTP/1.1\r\nHost: h\r\n\r\n");
    entered.wait();
    {
        const test_support::OtherThread stopper([] { StopFront(); });
        EXPECT_TRUE(stopper.Waits());
        leave.count_down();
    }
    EXPECT_EQ("1", client.ReadAnswer().body);
    EXPECT_EQ(0, FrontPort());
}

TEST_F(FrontControlTest, AfterTheStopUrlsAreStillBoundAndNothingIsSent) {
    Start();
    const std::string cookie = LogIn();
    PushedTo socket(cookie);
    socket.Settle();
    StopFront();
    EXPECT_EQ("close:1001", socket.Hear());
    StopFront();
    EXPECT_TRUE(MsgBus::AddURL(
        "p", "/a", kMethodGet, [](MsgIn&, MsgOut&, ProtoParam2&) {}, kExecSync, true));
    EXPECT_TRUE(MsgBus::DeleteURL("/a", kMethodAny));
    EXPECT_EQ(5, CHttpServer::HttpServerSyncSend(1, HttpResponse(), 1, "x"));
    EXPECT_FALSE(MsgBus::MsgNotifyByDst({}, 1, Text("x")));
}

TEST_F(FrontControlTest, SecondStartIsRefusedAndOneAfterTheStopServes) {
    Start();
    std::string error;
    EXPECT_FALSE(StartFront(options_, error));
    EXPECT_EQ("users' requests are served already", error);
    EXPECT_EQ(200, Get("/login").status);
    StopFront();
    Start();
    EXPECT_EQ(200, Get("/login").status);
}

TEST_F(FrontControlTest, AddressThatCannotBeListenedOnIsTold) {
    options_.server.address = "no address";
    std::string error;
    EXPECT_FALSE(StartFront(options_, error));
    EXPECT_THAT(error, HasSubstr("no address"));
    EXPECT_EQ(0, FrontPort());
    options_.server.address = "127.0.0.1";
    Start();
}

}  // namespace
