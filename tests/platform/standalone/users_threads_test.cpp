// What the interface promises of the threads of events, notify messages and requests, and of time, which a platform
// without threads of its own cannot show.
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Mox/Net/HttpServer.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "ZELPlatform/MsgBusPush.h"
#include "platform/RequestTest.h"
#include "platform/standalone/Gate.h"
#include "standalone/bus/BusControl.h"
#include "standalone/http/FrontControl.h"

namespace platform_tests {
namespace {

using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::CObserverParam;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;
using namespace ZELPlatform::MsgBus;

/// What is counted of a subscriber's calls, and where they wait.
struct Calls {
    Gate gate;
    std::atomic<int> done{0};
    std::atomic<bool> on_posting_thread{false};
    const std::thread::id posting = std::this_thread::get_id();

    void Count() {
        if (std::this_thread::get_id() == posting) on_posting_thread = true;
        ++done;
    }
};

class HeldUpTest : public PlatformTest {
protected:
    ~HeldUpTest() override { slow_->gate.Open(); }

    const std::shared_ptr<Calls> slow_ = std::make_shared<Calls>();
    const std::shared_ptr<Calls> fast_ = std::make_shared<Calls>();
};

CMsgSubscribeInfo Row(const std::string& plugin, ZELPlatform::SubScribeType type, EventNotifyFunc fn) {
    CSubscriber subscriber;
    subscriber.SetValsubscribeType(ZELPlatform::kSubscriberPlugin);
    subscriber.SetSubscriberId(plugin);
    subscriber.SetValcallbackFunction(std::move(fn));
    CMsgSubscribeInfo row;
    row.SetValsubscriber(subscriber);
    row.SetValsubscribeType(type);
    row.SetValeventType(1);
    return row;
}

bool Update(const std::list<CMsgSubscribeInfo>& rows) {
    std::list<CMsgSubScribeErrorInfo> errors;
    return UpdateSubscribeList(errors, rows);
}

void PostEvents(int count) {
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(MsgNotifyBySubscription(1, 0, 0, std::make_shared<CObserverParam>(), "poster", 0));
    }
}

TEST_F(HeldUpTest, SubscriberOfEventsThatIsHeldUpHoldsUpNoOtherAndNoOperation) {
    const auto slow = [calls = slow_](int, int, int, const auto&) {
        calls->gate.Pass();
        calls->Count();
    };
    const auto fast = [calls = fast_](int, int, int, const auto&) { calls->Count(); };
    ASSERT_TRUE(Update({Row("slow", ZELPlatform::kSubscribe, slow), Row("fast", ZELPlatform::kSubscribe, fast)}));
    PostEvents(100);
    EXPECT_TRUE(WaitUntil([this] { return fast_->done == 100; }));
    EXPECT_EQ(slow_->done, 0);
    EXPECT_EQ(slow_->gate.Waiting(), 1) << "one call at a time for a subscriber";
    EXPECT_TRUE(Update({Row("slow", ZELPlatform::kSubscribe, slow)}));
    EXPECT_TRUE(RegistMsgCapacity({1}, [](ZELPlatform::SubScribeType, int, const auto&) {}));
    EXPECT_TRUE(Update({Row("slow", ZELPlatform::kSubscribeCancel, nullptr)}));
    EXPECT_EQ(slow_->done, 0) << "it is held up still";
    slow_->gate.Open();
    EXPECT_TRUE(WaitUntil([this] { return slow_->done == 100; }));
    EXPECT_FALSE(slow_->on_posting_thread);
    EXPECT_FALSE(fast_->on_posting_thread);
}

class NoText final : public ZELPlatform::CMsgBusContentBase {
public:
    bool GetTextContent(Buffer&) override { return false; }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }
};

std::shared_ptr<CMsgSubscribedInfo> Subscription(const std::string& plugin, CMsgSubscribedInfo::Callback callback) {
    auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetSubscriber(plugin);
    info->SetSubscriberType(ZELPlatform::kSubscriberPlugin);
    info->SetTypeValues({1});
    info->SetCallback(std::move(callback));
    return info;
}

TEST_F(HeldUpTest, SubscriberOfMessagesThatIsHeldUpHoldsUpNoOtherAndNoOperation) {
    const auto slow = Subscription("slow", [calls = slow_](const std::shared_ptr<CMsgPushInfo>&) {
        calls->gate.Pass();
        calls->Count();
    });
    const auto fast = Subscription("fast", [calls = fast_](const std::shared_ptr<CMsgPushInfo>&) { calls->Count(); });
    ASSERT_TRUE(SubscribeMsg(slow));
    ASSERT_TRUE(SubscribeMsg(fast));
    auto message = std::make_shared<CMsgPushInfo>();
    message->SetTypeValue(1);
    message->SetMsgContent(std::make_shared<NoText>());
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(PushMsgToSubscriber(message));
    EXPECT_TRUE(WaitUntil([this] { return fast_->done == 100; }));
    EXPECT_EQ(slow_->done, 0);
    EXPECT_EQ(slow_->gate.Waiting(), 1) << "one call at a time for a subscriber";
    EXPECT_TRUE(SubscribeMsg(slow));
    EXPECT_TRUE(UnsubscribeMsg(slow));
    EXPECT_EQ(slow_->done, 0) << "it is held up still";
    slow_->gate.Open();
    EXPECT_TRUE(WaitUntil([this] { return slow_->done == 100; }));
    EXPECT_FALSE(slow_->on_posting_thread);
    EXPECT_FALSE(fast_->on_posting_thread);
}

class RequestThreadsTest : public RequestTest {};

TEST_F(RequestThreadsTest, SeveralRequestsOfOneUrlRunAtOnce) {
    const auto gate = std::make_shared<Gate>();
    ASSERT_TRUE(BindFunc("/held", [gate](MsgIn&, MsgOut&, ProtoParam2& param) {
        gate->Pass();
        param.str_answer = "{}";
    }));
    std::vector<std::unique_ptr<UserCall>> calls;
    for (int i = 0; i < 5; ++i) calls.push_back(platform_->Send(Get("/held")));
    EXPECT_TRUE(gate->WaitForWaiting(5));
    gate->Open();
    for (const auto& call : calls) {
        EXPECT_TRUE(WaitUntil([&] { return call->Answer().has_value(); }));
    }
}

TEST_F(RequestThreadsTest, SendingIsGivenUpWhenTheClientDoesNotTakeTheAnswerInTime) {
    // a client that reads nothing: more data than the network holds
    const std::string data(std::size_t{64} << 20, 'x');
    std::atomic<int> result{-1};
    ASSERT_TRUE(BindFunc("/much", [&](MsgIn& in, MsgOut& out, ProtoParam2&) {
        Mox::Net::HttpResponse head;
        head.n_send_timeout_ms = 200;
        result = Mox::Net::CHttpServer::HttpServerSyncSend(in.n_connection, head, static_cast<int64_t>(data.size()),
                                                           data.data());
        out.b_send = false;
    }));
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket client(io);
    client.connect({boost::asio::ip::address_v4::loopback(), qarplatform::FrontPort()});
    boost::asio::write(client, boost::asio::buffer(std::string("GET /much HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")));
    EXPECT_TRUE(WaitUntil([&] { return result != -1; }));
    EXPECT_EQ(result, 3);
}

TEST_F(RequestThreadsTest, NothingIsSentOrPushedOnceTheServerHasStopped) {
    std::atomic<int32_t> connection{-1};
    ASSERT_TRUE(BindFunc("/url", [&](MsgIn& in, MsgOut&, ProtoParam2& param) {
        connection = in.n_connection;
        param.str_answer = "{}";
    }));
    EXPECT_EQ(Ask(Get("/url")).status, 200u);
    const std::string session = LogIn("ann");
    EXPECT_TRUE(MsgNotifyByDst({session}, 1, std::make_shared<CObserverParam>()));
    qarplatform::StopFront();
    EXPECT_EQ(Mox::Net::CHttpServer::HttpServerSyncSend(connection, {}, 0, nullptr), 5);
    ForgetError();
    EXPECT_FALSE(MsgNotifyByDst({session}, 1, std::make_shared<CObserverParam>()));
    EXPECT_TRUE(ErrorIsSet());
}

TEST(StoppedBusTest, RefusesRowsEventsAndMessages) {
    qarplatform::StopBus();
    std::list<CMsgSubScribeErrorInfo> errors;
    EXPECT_FALSE(
        UpdateSubscribeList(errors, {Row("plugin", ZELPlatform::kSubscribe, [](int, int, int, const auto&) {})}));
    EXPECT_EQ(errors.size(), 1u);
    using Mox::Base::Error;
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(MsgNotifyBySubscription(1, 0, 0, std::make_shared<CObserverParam>(), "poster", 0));
    EXPECT_NE(Error::GetLastError(), Error::ErrorCode());
    auto message = std::make_shared<CMsgPushInfo>();
    message->SetTypeValue(1);
    message->SetMsgContent(std::make_shared<NoText>());
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(PushMsgToSubscriber(message));
    EXPECT_NE(Error::GetLastError(), Error::ErrorCode());
    EXPECT_FALSE(PushMsgToSpecifiedClients({"client"}, message));
    EXPECT_FALSE(PushMsgToSpecifiedSubscribers({{ZELPlatform::kSubscriberPlugin, {"plugin"}}}, message));
}

}  // namespace
}  // namespace platform_tests
