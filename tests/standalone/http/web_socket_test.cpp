#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "standalone/http/HttpServer.h"
#include "standalone/http/http_server_fixture.h"
#include "standalone/http/push_client.h"
#include "standalone/log/temp_log.h"

namespace http_test {
namespace {

using qarplatform::PushChannel;
using qarplatform::PushListener;
using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Tells "opened", "received ..." and "closed".
class Recorder : public PushListener {
public:
    void Opened(const std::shared_ptr<PushChannel>& channel) override {
        channels.Add(channel);
        calls.Add("opened");
    }
    void Received(const std::string& text) override { calls.Add("received " + text); }
    void Closed() override { calls.Add("closed"); }

    Arrivals<std::string> calls;
    Arrivals<std::shared_ptr<PushChannel>> channels;
};

class WebSocketTest : public HttpServerTest {
protected:
    WebSocketTest() {
        on_request_ = [this](const ClientRequest& request) { request.exchange->Accept(recorder_); };
    }

    std::shared_ptr<PushChannel> Channel() { return recorder_->channels.WaitFor(1)[0]; }

    static std::shared_ptr<const std::string> Text(std::string text) {
        return std::make_shared<const std::string>(std::move(text));
    }

    /// The server's answer to a client's mistake.
    int CodeAfter(const std::string& bytes) {
        PushClient client(server_.Port());
        client.Send(bytes);
        const Frame frame = client.ReadClose();
        EXPECT_TRUE(client.Ends());
        return frame.CloseCode();
    }

    /// Starts the server for one connection. @return the WebSocket's client, which reads nothing, so that the writing
    /// of `part` hangs
    std::unique_ptr<PushClient> HangingClient(const std::shared_ptr<const std::string>& part) {
        options_.connections = 1;
        options_.push_queue_bytes = std::max(options_.push_queue_bytes, 2 * part->size());
        options_.push_end_timeout = milliseconds(200);
        on_request_ = [this](const ClientRequest& request) {
            if (request.websocket) {
                request.exchange->Accept(recorder_);
            } else {
                Answer(request, "served");
            }
        };
        StartServer();
        auto client = std::make_unique<PushClient>(server_.Port());
        client->TakeLittle();
        EXPECT_TRUE(Channel()->Send(part, false));
        EXPECT_EQ(client->ReadBytes(2).size(), 2u);  // the frame is on its way
        return client;
    }

    /// Ends the log. @return its lines of WebSockets
    static std::vector<std::string> PushLines(TempLog& log) {
        std::vector<std::string> lines = log.Lines();
        std::erase_if(lines, [](const std::string& line) { return line.find("a WebSocket's") == std::string::npos; });
        return lines;
    }

    /// Expects that the WebSocket, which is the only connection, ends long before its idle time does, once, and gives
    /// its place back.
    void ExpectCutInTime() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, options_.idle_timeout / 2);
        EXPECT_FALSE(Channel()->Send(Text("late"), true));
        int status = 0;
        while ((status = Get().status) == 503) {
        }
        EXPECT_EQ(status, 200);
        EXPECT_EQ(recorder_->calls.Now().size(), 2u);
    }

    std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
};

TEST_F(WebSocketTest, UpgradeIsToldToTheOwnerAndAnswered) {
    StartServer();
    PushClient client(server_.Port());
    EXPECT_EQ(client.Upgraded().status, 101);
    EXPECT_EQ(client.Upgraded().headers.at("sec-websocket-accept"), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
    EXPECT_EQ(client.Upgraded().headers.at("server"), "qarhost");
    const ClientRequest request = requests_.WaitFor(1)[0];
    EXPECT_TRUE(request.websocket);
    EXPECT_EQ(request.target, "/push");
    EXPECT_THAT(recorder_->calls.WaitFor(1), ElementsAre("opened"));
}

TEST_F(WebSocketTest, OwnerMayRefuseTheUpgradeWithAnAnswer) {
    on_request_ = [this](const ClientRequest& request) {
        AnswerHead head;
        head.status = 403;
        Answer(request, "no", head);
    };
    StartServer();
    PushClient client(server_.Port());
    EXPECT_EQ(client.Upgraded().status, 403);
    EXPECT_EQ(client.Upgraded().body, "no");
}

TEST_F(WebSocketTest, FramesArriveWholeAndInOrderFromAnyThread) {
    StartServer();
    PushClient client(server_.Port());
    const auto channel = Channel();
    std::thread([&] {
        EXPECT_TRUE(channel->Send(Text("one"), true));
        EXPECT_TRUE(channel->Send(Text(std::string("\0\xFF", 2)), false));
        EXPECT_TRUE(channel->Send(Text(""), true));
        EXPECT_TRUE(channel->Send(Text(std::string(200'000, 'x')), true));
    }).join();
    const Frame one = client.ReadFrame();
    EXPECT_EQ(one.opcode, kText);
    EXPECT_TRUE(one.last);
    EXPECT_EQ(one.data, "one");
    const Frame two = client.ReadFrame();
    EXPECT_EQ(two.opcode, kBinary);
    EXPECT_EQ(two.data, std::string("\0\xFF", 2));
    const Frame three = client.ReadFrame();
    EXPECT_EQ(three.opcode, kText);
    EXPECT_EQ(three.data, "");
    const Frame four = client.ReadFrame();
    EXPECT_TRUE(four.last);
    EXPECT_EQ(four.data, std::string(200'000, 'x'));
}

TEST_F(WebSocketTest, WhatIsNoUtf8IsReplacedInTextFramesOnly) {
    StartServer();
    PushClient client(server_.Port());
    EXPECT_TRUE(Channel()->Send(Text("a\xFFz"), true));
    EXPECT_TRUE(Channel()->Send(Text("a\xFFz"), false));
    EXPECT_EQ(client.ReadFrame().data, "a\xEF\xBF\xBDz");
    EXPECT_EQ(client.ReadFrame().data, "a\xFFz");
}

TEST_F(WebSocketTest, ClientsTextsAreHandedOnFragmentedOnesWhole) {
    StartServer();
    PushClient client(server_.Port());
    client.SendText("one");
    client.SendFrame(kText, "t");
    client.SendFrame(0x80 | kPing, "p");
    client.SendFrame(kContinuation, "w");
    client.SendFrame(0x80 | kContinuation, "o");
    client.SendText(std::string(64 * 1024, 'x'));
    EXPECT_THAT(recorder_->calls.WaitFor(4),
                ElementsAre("opened", "received one", "received two", "received " + std::string(64 * 1024, 'x')));
    const Frame pong = client.ReadFrame();
    EXPECT_EQ(pong.opcode, kPong);
    EXPECT_EQ(pong.data, "p");
}

TEST_F(WebSocketTest, FrameSentWithTheUpgradeIsHandedOn) {
    StartServer();
    RawClient client(server_.Port());
    client.Send(kUpgrade + PushClient::FrameText(0x80 | kText, "early"));
    EXPECT_EQ(client.ReadAnswer().status, 101);
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "received early"));
}

TEST_F(WebSocketTest, ClientsCloseIsAnsweredAndToldOnce) {
    StartServer();
    PushClient client(server_.Port());
    const auto channel = Channel();
    client.SendClose(1000);
    EXPECT_EQ(client.ReadClose().CloseCode(), 1000);
    EXPECT_TRUE(client.Ends());
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
    EXPECT_FALSE(channel->Send(Text("late"), true));
    channel->Close(1000, "");
    server_.Stop();
    EXPECT_EQ(recorder_->calls.Now().size(), 2u);
}

TEST_F(WebSocketTest, ClientThatVanishesIsTold) {
    StartServer();
    PushClient client(server_.Port());
    Channel();
    client.Reset();
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
}

TEST_F(WebSocketTest, ChannelClosesBehindWhatIsQueued) {
    StartServer();
    PushClient client(server_.Port());
    const auto channel = Channel();
    const std::string reason = std::string(122, 'r') + "\xC3\xA4";
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(channel->Send(Text(std::to_string(i)), true));
    }
    channel->Close(4001, reason);
    channel->Close(1000, "second");
    EXPECT_FALSE(channel->Send(Text("late"), true));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(client.ReadFrame().data, std::to_string(i));
    }
    const Frame close = client.ReadFrame();
    EXPECT_EQ(close.CloseCode(), 4001);
    EXPECT_EQ(close.data.substr(2), std::string(122, 'r'));
    client.SendClose(4001);
    EXPECT_TRUE(client.Ends());
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
}

TEST_F(WebSocketTest, CodeThatMayNotBeSentBecomes1011) {
    StartServer();
    PushClient client(server_.Port());
    Channel()->Close(1005, "");
    EXPECT_EQ(client.ReadClose().CloseCode(), 1011);
}

TEST_F(WebSocketTest, ClientThatReadsTooSlowlyIsClosed) {
    options_.push_queue_bytes = 1'000'000;
    options_.idle_timeout = milliseconds(600);
    TempLog log;
    StartServer();
    PushClient client(server_.Port());
    client.TakeLittle();
    const auto channel = Channel();
    const auto part = Text(std::string(400'000, 'x'));
    int sent = 0;
    while (channel->Send(part, false)) {
        ++sent;
    }
    EXPECT_GE(sent, 2);
    EXPECT_LT(sent, 1000);
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
    server_.Stop();
    EXPECT_THAT(log.Lines(), Contains(HasSubstr("http: a WebSocket's client")));
}

TEST_F(WebSocketTest, SlowClientThatWakesUpGetsTheReason) {
    options_.push_queue_bytes = 1'000'000;
    StartServer();
    PushClient client(server_.Port());
    const auto channel = Channel();
    const auto part = Text(std::string(400'000, 'x'));
    while (channel->Send(part, false)) {
    }
    EXPECT_EQ(client.ReadClose().CloseCode(), 1008);
    client.SendClose(1008);
    EXPECT_TRUE(client.Ends());
}

TEST_F(WebSocketTest, OverflowEndsAWebSocketWhoseClientReadsNothing) {
    options_.push_queue_bytes = 1'000'000;
    TempLog log;
    std::weak_ptr<const std::string> data;
    {
        const auto part = Text(std::string(400'000, 'x'));
        data = part;
        const auto client = HangingClient(part);
        while (Channel()->Send(part, false)) {
        }
        ExpectCutInTime();
    }
    EXPECT_TRUE(data.expired());
    server_.Stop();
    EXPECT_THAT(PushLines(log),
                ElementsAre("W [QARPlatform] http: a WebSocket's client reads too slowly, client 127.0.0.1"));
}

TEST_F(WebSocketTest, CloseEndsAWebSocketWhoseClientReadsNothing) {
    TempLog log;
    for (const uint16_t code : {uint16_t{1008}, uint16_t{1001}}) {
        SCOPED_TRACE(code);
        std::weak_ptr<const std::string> data;
        {
            const auto waiting = Text("waits");
            data = waiting;
            const auto client = HangingClient(Text(std::string(20'000'000, 'x')));
            EXPECT_TRUE(Channel()->Send(waiting, true));
            Channel()->Close(code, "the end");
            ExpectCutInTime();
        }
        EXPECT_TRUE(data.expired());
        server_.Stop();
        recorder_ = std::make_shared<Recorder>();
    }
    EXPECT_THAT(PushLines(log),
                ElementsAre("W [QARPlatform] http: a WebSocket's client did not answer in time, client 127.0.0.1",
                            "W [QARPlatform] http: a WebSocket's client did not answer in time, client 127.0.0.1"));
}

TEST_F(WebSocketTest, ClientThatGoesOnSendingDoesNotStretchTheEnd) {
    const auto client = HangingClient(Text(std::string(20'000'000, 'x')));
    Channel()->Close(1008, "the end");
    std::thread sending([&] {
        const auto begin = std::chrono::steady_clock::now();
        while (client->SendFrame(0x80 | kPong, "") &&
               std::chrono::steady_clock::now() - begin < options_.idle_timeout) {
            std::this_thread::yield();
        }
    });
    ExpectCutInTime();
    sending.join();
}

TEST_F(WebSocketTest, BinaryMessageEndsAWebSocketWhoseClientReadsNothing) {
    TempLog log;
    const auto client = HangingClient(Text(std::string(20'000'000, 'x')));
    client->SendFrame(0x80 | kBinary, "x");
    ExpectCutInTime();
    server_.Stop();
    EXPECT_THAT(PushLines(log),
                ElementsAre("W [QARPlatform] http: a WebSocket's message was no text, client 127.0.0.1",
                            "W [QARPlatform] http: a WebSocket's client did not answer in time, client 127.0.0.1"));
}

TEST_F(WebSocketTest, WhatWaitsIsNotDeliveredBehindAnEndForPolicy) {
    options_.push_queue_bytes = 30'000'000;
    StartServer();
    PushClient client(server_.Port());
    const auto channel = Channel();
    constexpr std::size_t kLong = 20'000'000;
    EXPECT_TRUE(channel->Send(Text(std::string(kLong, 'x')), false));
    EXPECT_EQ(client.ReadBytes(10).size(), 10u);  // the first frame's head: it is on its way
    EXPECT_TRUE(channel->Send(Text("not for everybody"), true));
    channel->Close(1008, "the session has ended");
    EXPECT_EQ(client.ReadBytes(kLong).size(), kLong);
    const Frame frame = client.ReadFrame();
    EXPECT_EQ(frame.CloseCode(), 1008);
    EXPECT_EQ(frame.data.substr(2), "the session has ended");
    client.SendClose(1008);
    EXPECT_TRUE(client.Ends());
}

TEST_F(WebSocketTest, ClientThatTakesWhatWaitsInTimeGetsItBeforeTheEnd) {
    options_.push_queue_bytes = 30'000'000;
    StartServer();
    PushClient client(server_.Port());
    const auto channel = Channel();
    const std::string part(10'000'000, 'x');
    EXPECT_TRUE(channel->Send(Text(part), true));
    EXPECT_TRUE(channel->Send(Text(part + "y"), true));
    channel->Close(1001, "the server stops");
    EXPECT_TRUE(client.ReadFrame().data == part);
    EXPECT_TRUE(client.ReadFrame().data == part + "y");
    EXPECT_EQ(client.ReadFrame().CloseCode(), 1001);
}

TEST_F(WebSocketTest, SilentClientIsPingedAndClosedWhenItDoesNotAnswer) {
    options_.idle_timeout = milliseconds(300);
    TempLog log;
    StartServer();
    PushClient client(server_.Port());
    EXPECT_EQ(client.ReadFrame().opcode, kPing);
    EXPECT_TRUE(client.Ends());
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
    server_.Stop();
    EXPECT_THAT(log.Lines(),
                ElementsAre(HasSubstr("http: a WebSocket's client did not answer in time, client 127.0.0.1")));
}

TEST_F(WebSocketTest, ClientThatAnswersPingsStays) {
    options_.idle_timeout = milliseconds(1000);
    StartServer();
    PushClient client(server_.Port());
    for (int i = 0; i < 4; ++i) {  // twice the time-out, as it is pinged at half of it
        const Frame ping = client.ReadFrame();
        ASSERT_EQ(ping.opcode, kPing);
        client.SendFrame(0x80 | kPong, ping.data);
    }
    EXPECT_TRUE(Channel()->Send(Text("still there"), true));
    EXPECT_EQ(client.ReadFrame().data, "still there");
}

TEST_F(WebSocketTest, StopClosesWebSockets) {
    options_.stop_timeout = milliseconds(1500);
    StartServer();
    PushClient polite(server_.Port());
    PushClient silent(server_.Port());
    const auto channels = recorder_->channels.WaitFor(2);
    std::thread stop([this] { server_.Stop(); });
    EXPECT_EQ(polite.ReadClose().CloseCode(), 1001);
    polite.SendClose(1001);
    EXPECT_TRUE(polite.Ends());
    EXPECT_EQ(silent.ReadClose().CloseCode(), 1001);
    EXPECT_TRUE(silent.Ends());
    stop.join();
    const std::vector<std::string> calls = recorder_->calls.Now();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "closed"), 2);
    EXPECT_FALSE(channels[0]->Send(Text("late"), true));
}

TEST_F(WebSocketTest, ChannelMayOutliveTheServer) {
    auto server = std::make_unique<HttpServer>();
    std::string error;
    options_.stop_timeout = milliseconds(1);
    ASSERT_TRUE(server->Start(
        options_, [this](const ClientRequest& request) { request.exchange->Accept(recorder_); }, error));
    PushClient client(server->Port());
    const auto channel = Channel();
    server.reset();
    EXPECT_THAT(recorder_->calls.Now(), ElementsAre("opened", "closed"));
    EXPECT_FALSE(channel->Send(Text("late"), true));
    channel->Close(1000, "late");
}

TEST_F(WebSocketTest, BinaryMessageIsRefused) {
    StartServer();
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kBinary, "x") + PushClient::FrameText(0x80 | kClose, "")), 1003);
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
}

TEST_F(WebSocketTest, ClientThatBreaksTheProtocolIsClosedWithTheCodeForIt) {
    StartServer();
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kText, "x", false)), 1002) << "unmasked";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0xC0 | kText, "x")), 1002) << "reserved bit";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x83, "x")), 1002) << "reserved data opcode";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x8B, "x")), 1002) << "reserved control opcode";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(kPing, "x")), 1002) << "fragmented control";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kPing, std::string(126, 'x'))), 1002) << "long control";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kContinuation, "x")), 1002) << "continues nothing";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(kText, "x") + PushClient::FrameText(0x80 | kText, "y")), 1002)
        << "new message within one";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kClose, "x")), 1002) << "close with half a code";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kClose, std::string("\x03\xED", 2))), 1002) << "close with 1005";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kText, "\xFF")), 1007) << "no UTF-8";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(0x80 | kText, std::string(64 * 1024 + 1, 'x'))), 1009) << "too long";
    EXPECT_EQ(CodeAfter(PushClient::FrameText(kText, std::string(64 * 1024, 'x')) +
                        PushClient::FrameText(0x80 | kContinuation, "x")),
              1009)
        << "too long in pieces";
    EXPECT_EQ(CodeAfter(std::string("\x81\xFF\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01\x02\x03\x04", 14)), 1009)
        << "length beyond all";
    const std::vector<std::string> calls = recorder_->calls.WaitFor(28);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "opened"), 14);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "closed"), 14);
}

TEST_F(WebSocketTest, BrokenProtocolIsToldOnceASecondWithTheAddressAndNothingOfTheClients) {
    TempLog log;
    StartServer();
    for (int i = 0; i < 3; ++i) {
        CodeAfter(PushClient::FrameText(0x80 | kText, "secret", false));
    }
    server_.Stop();
    const std::vector<std::string> lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], HasSubstr("http: a WebSocket's client broke the protocol, "));
    EXPECT_THAT(lines[0], HasSubstr(", client 127.0.0.1"));
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find("secret"), std::string::npos);
    }
}

TEST_F(WebSocketTest, MalformedUpgradeIsRefused) {
    StartServer();
    const std::string upgrade = kUpgrade;
    const auto status_of = [&](const std::string& from, const std::string& to) {
        std::string request = upgrade;
        request.replace(request.find(from), from.size(), to);
        RawClient client(server_.Port());
        client.Send(request);
        return client.ReadAnswer();
    };
    EXPECT_EQ(status_of("Version: 13", "Version: 8").status, 426);
    EXPECT_EQ(status_of("Version: 13", "Version: 8").headers.at("sec-websocket-version"), "13");
    EXPECT_EQ(status_of("dGhlIHNhbXBsZSBub25jZQ==", "short").status, 400);
    EXPECT_EQ(status_of("GET", "POST").status, 400);
    EXPECT_EQ(status_of("\r\n\r\n", "\r\nContent-Length: 1\r\n\r\nx").status, 400);
    EXPECT_TRUE(requests_.Now().empty());
}

TEST_F(WebSocketTest, UpgradeToSomethingElseIsAnOrdinaryRequest) {
    on_request_ = [this](const ClientRequest& request) { Answer(request, request.websocket ? "push" : "plain"); };
    StartServer();
    RawClient client(server_.Port());
    client.Send("GET / HTTP/1.1\r\nHost: h\r\nConnection: Upgrade, HTTP2-Settings\r\nUpgrade: h2c\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "plain");
    client.Send("GET / HTTP/1.1\r\nHost: h\r\nUpgrade: websocket\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().body, "plain");
}

TEST_F(WebSocketTest, AcceptOfAnOrdinaryRequestIsAnsweredWith400) {
    StartServer();
    EXPECT_EQ(Get().status, 400);
    EXPECT_TRUE(recorder_->calls.Now().empty());
}

TEST_F(WebSocketTest, AcceptBehindAnAnswerHasNoEffect) {
    on_request_ = [this](const ClientRequest& request) {
        Answer(request, "answered");
        request.exchange->Accept(recorder_);
    };
    StartServer();
    EXPECT_EQ(PushClient(server_.Port()).Upgraded().body, "answered");
    PassServerThread();
    EXPECT_TRUE(recorder_->calls.Now().empty());
}

TEST_F(WebSocketTest, ClientThatDoesNotAnswerACloseIsEndedByTime) {
    options_.idle_timeout = milliseconds(300);
    StartServer();
    PushClient client(server_.Port());
    Channel()->Close(1000, "");
    EXPECT_EQ(client.ReadClose().CloseCode(), 1000);
    EXPECT_TRUE(client.Ends());
    EXPECT_THAT(recorder_->calls.WaitFor(2), ElementsAre("opened", "closed"));
}

}  // namespace
}  // namespace http_test
