// What a test can do with the mock platform's events, notify messages, requests and sessions beside what every platform
// does.
#include <climits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "mock/FakeEventBus.h"
#include "mock/FakeFront.h"
#include "mock/FakeNotifyBus.h"
#include "mock/Platform.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::CObserverParam;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::InterfaceCommonData::UserSession::kAccountPerson;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb;
using namespace ZELPlatform::MsgBus;

class MockEventBusTest : public ::testing::Test {
protected:
    CMsgSubscribeInfo Row(int event, bool include_node_events = false) {
        CSubscriber subscriber;
        subscriber.SetValsubscribeType(ZELPlatform::kSubscriberPlugin);
        subscriber.SetSubscriberId("plugin");
        subscriber.SetValcallbackFunction(
            [this](int type, int, int, const std::shared_ptr<ZELPlatform::CBaseContent>&) {
                received_.push_back(type);
                if (type == 13) throw std::runtime_error("on purpose");
            });
        CMsgSubscribeInfo row;
        row.SetValsubscriber(subscriber);
        row.SetValsubscribeType(kSubscribe);
        row.SetValeventType(event);
        row.SetIncludeNodeEvents(include_node_events);
        return row;
    }
    bool Subscribe(const std::list<CMsgSubscribeInfo>& rows) {
        std::list<CMsgSubScribeErrorInfo> errors;
        return UpdateSubscribeList(errors, rows);
    }

    qarmock::Platform platform_;
    qarmock::FakeEventBus& fake_ = platform_.events.fake;
    std::vector<int> received_;
};

TEST_F(MockEventBusTest, PostedEventsWaitUntilTheyAreDeliveredOneByOne) {
    ASSERT_TRUE(Subscribe({Row(1), Row(2)}));
    const auto content = std::make_shared<CObserverParam>();
    ASSERT_TRUE(MsgNotifyBySubscription(1, 1001, -2, content, "poster", 0));
    ASSERT_TRUE(MsgNotifyBySubscription(2, 0, 0, content, "poster", 0));
    ASSERT_TRUE(MsgNotifyBySubscription(3, 0, 0, content, "poster", 0));
    EXPECT_THAT(received_, IsEmpty());
    EXPECT_TRUE(fake_.DeliverOne());
    EXPECT_THAT(received_, ElementsAre(1));
    EXPECT_EQ(fake_.DeliverAll(), 2u);
    EXPECT_FALSE(fake_.DeliverOne());
    EXPECT_THAT(received_, ElementsAre(1, 2));
    const auto posted = fake_.Posted();
    ASSERT_EQ(posted.size(), 3u);
    EXPECT_EQ(std::tie(posted[0].type, posted[0].resource_type, posted[0].resource_id, posted[0].content),
              std::make_tuple(1, 1001, -2, content));
    EXPECT_EQ(posted[0].plugin, "poster");
    EXPECT_EQ(posted[0].mode, 0);
}

TEST_F(MockEventBusTest, EventOfNobodyIsDeliveredAndWhatIsThrownIsKept) {
    ASSERT_TRUE(Subscribe({Row(1), Row(13)}));
    EXPECT_EQ(fake_.Deliver(1, 0, 0, nullptr), 1u);
    EXPECT_EQ(fake_.Deliver(2, 0, 0, nullptr), 0u);
    EXPECT_EQ(fake_.Deliver(13, 0, 0, nullptr), 1u);
    EXPECT_THAT(received_, ElementsAre(1, 13));
    EXPECT_THAT(fake_.CaughtExceptions(), ElementsAre("on purpose"));
    EXPECT_THAT(fake_.Posted(), IsEmpty());
}

TEST_F(MockEventBusTest, EventOfAnotherNodeReachesThoseWhoWantSuch) {
    ASSERT_TRUE(Subscribe({Row(1), Row(2, true)}));
    EXPECT_EQ(fake_.DeliverFromNode(1, 0, 0, nullptr), 0u);
    EXPECT_EQ(fake_.DeliverFromNode(2, 0, 0, nullptr), 1u);
    EXPECT_THAT(received_, ElementsAre(2));
}

TEST_F(MockEventBusTest, SubscriptionsStandAsPairs) {
    auto row = Row(1);
    row.SetValresourceTypes({5, 6});
    row.SetNeedTukStorePicture(true);
    ASSERT_TRUE(Subscribe({row}));
    const auto standing = fake_.Subscriptions();
    ASSERT_EQ(standing.size(), 2u);
    EXPECT_EQ(standing[0].kind, ZELPlatform::kSubscriberPlugin);
    EXPECT_EQ(standing[0].subscriber, "plugin");
    EXPECT_EQ(standing[0].event, 1);
    EXPECT_EQ(standing[0].resource_type, 5);
    EXPECT_EQ(standing[1].resource_type, 6);
    EXPECT_EQ(standing[0].resource_id, std::nullopt);
    EXPECT_TRUE(standing[0].need_pictures);
    EXPECT_FALSE(standing[0].include_node_events);
}

TEST_F(MockEventBusTest, CapacitiesAreToldWhatTheTestSays) {
    std::vector<std::string> told;
    ASSERT_TRUE(
        RegistMsgCapacity({1, 2}, [&](ZELPlatform::SubScribeType type, int event, const std::set<unsigned int>& ids) {
            told.push_back("event " + std::to_string(type) + " " + std::to_string(event) + " " +
                           std::to_string(ids.size()));
        }));
    ASSERT_TRUE(RegistMsgResourceCapacity(
        {{1, {1001}}}, [&](ZELPlatform::SubScribeType type, int event, int resource_type, const auto& ids) {
            told.push_back("both " + std::to_string(type) + " " + std::to_string(event) + " " +
                           std::to_string(resource_type) + " " + std::to_string(ids.size()));
        }));
    ASSERT_TRUE(
        RegistResourceCapacity({1001}, [&](ZELPlatform::SubScribeType type, int resource_type, const auto& ids) {
            told.push_back("resource " + std::to_string(type) + " " + std::to_string(resource_type) + " " +
                           std::to_string(ids.size()));
        }));
    EXPECT_EQ(fake_.TellMsgCapacity(kSubscribe, 2, {3}), 1u);
    EXPECT_EQ(fake_.TellMsgCapacity(kSubscribe, 3, {}), 0u);
    EXPECT_EQ(fake_.TellMsgResourceCapacity(kSubscribeCancel, 1, 1001, {5, 6}), 1u);
    EXPECT_EQ(fake_.TellMsgResourceCapacity(kSubscribe, 1, 1002, {}), 0u);
    EXPECT_EQ(fake_.TellResourceCapacity(kSubscribe, 1001, {7}), 1u);
    EXPECT_EQ(fake_.TellResourceCapacity(kSubscribe, 1002, {7}), 0u);
    EXPECT_THAT(told, ElementsAre("event 1 2 1", "both 2 1 1001 2", "resource 1 1001 1"));
    EXPECT_THAT(fake_.Events(), ElementsAre(1, 2));
    EXPECT_THAT(fake_.ResourceEvents(), ElementsAre(Pair(1, ElementsAre(1001))));
    EXPECT_THAT(fake_.ResourceTypes(), ElementsAre(1001));
}

TEST_F(MockEventBusTest, CallsThatAreToldToFailDoNothing) {
    platform_.calls.Fail("MsgBus::RegistMsgCapacity", 1);
    platform_.calls.Fail("MsgBus::RegistMsgResourceCapacity", 1);
    platform_.calls.Fail("MsgBus::RegistResourceCapacity", 1);
    platform_.calls.Fail("MsgBus::UpdateSubscribeList", 1);
    platform_.calls.Fail("MsgBus::MsgNotifyBySubscription", 1);
    EXPECT_FALSE(RegistMsgCapacity({1}, [](ZELPlatform::SubScribeType, int, const auto&) {}));
    EXPECT_FALSE(RegistMsgResourceCapacity({{1, {1}}}, [](ZELPlatform::SubScribeType, int, int, const auto&) {}));
    EXPECT_FALSE(RegistResourceCapacity({1}, [](ZELPlatform::SubScribeType, int, const auto&) {}));
    std::list<CMsgSubScribeErrorInfo> errors;
    EXPECT_FALSE(UpdateSubscribeList(errors, {Row(1), Row(2)}));
    EXPECT_THAT(errors, SizeIs(2)) << "one for each row";
    EXPECT_FALSE(MsgNotifyBySubscription(1, 0, 0, nullptr, "poster", 0));
    EXPECT_THAT(fake_.Events(), IsEmpty());
    EXPECT_THAT(fake_.ResourceEvents(), IsEmpty());
    EXPECT_THAT(fake_.ResourceTypes(), IsEmpty());
    EXPECT_THAT(fake_.Subscriptions(), IsEmpty());
    EXPECT_THAT(fake_.Posted(), IsEmpty());
}

class TextContent final : public ZELPlatform::CMsgBusContentBase {
public:
    bool GetTextContent(Buffer&) override { return false; }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }
};

class MockNotifyBusTest : public ::testing::Test {
protected:
    static std::shared_ptr<CMsgPushInfo> Message(int type) {
        auto info = std::make_shared<CMsgPushInfo>();
        info->SetTypeValue(type);
        info->SetMsgContent(std::make_shared<TextContent>());
        return info;
    }
    std::shared_ptr<CMsgSubscribedInfo> Subscription(const std::string& name, const std::set<int>& types) {
        auto info = std::make_shared<CMsgSubscribedInfo>();
        info->SetSubscriber(name);
        info->SetSubscriberType(ZELPlatform::kSubscriberPlugin);
        info->SetTypeValues(types);
        info->SetCallback([this](const std::shared_ptr<CMsgPushInfo>& message) {
            received_.push_back(message ? message->GetTypeValue() : -1);
            if (received_.back() == 13) throw std::runtime_error("on purpose");
        });
        return info;
    }

    qarmock::Platform platform_;
    qarmock::FakeNotifyBus& fake_ = platform_.notify.fake;
    std::vector<int> received_;
};

TEST_F(MockNotifyBusTest, PushesWaitUntilTheyAreDelivered) {
    ASSERT_TRUE(SubscribeMsg(Subscription("plugin", {1, 13})));
    const auto message = Message(1);
    ASSERT_TRUE(PushMsgToSubscriber(message));
    ASSERT_TRUE(PushMsgToSpecifiedClients({"client"}, Message(2)));
    ASSERT_TRUE(PushMsgToSpecifiedSubscribers({{ZELPlatform::kSubscriberPlugin, {"plugin"}}}, Message(13)));
    EXPECT_THAT(received_, IsEmpty());
    EXPECT_TRUE(fake_.DeliverOne());
    EXPECT_THAT(received_, ElementsAre(1));
    EXPECT_EQ(fake_.DeliverAll(), 2u);
    EXPECT_THAT(received_, ElementsAre(1, 13));
    EXPECT_THAT(fake_.CaughtExceptions(), ElementsAre("on purpose"));
    const auto pushes = fake_.Pushes();
    ASSERT_EQ(pushes.size(), 3u);
    EXPECT_EQ(pushes[0].operation, "PushMsgToSubscriber");
    EXPECT_EQ(pushes[0].info, message);
    EXPECT_EQ(pushes[1].operation, "PushMsgToSpecifiedClients");
    EXPECT_THAT(pushes[1].clients, ElementsAre("client"));
    EXPECT_EQ(pushes[2].operation, "PushMsgToSpecifiedSubscribers");
    EXPECT_THAT(pushes[2].subscribers, ElementsAre(Pair(ZELPlatform::kSubscriberPlugin, ElementsAre("plugin"))));
}

TEST_F(MockNotifyBusTest, MessageOfNobodyIsDeliveredAlsoAnEmptyOne) {
    ASSERT_TRUE(SubscribeMsg(Subscription("plugin", {1})));
    EXPECT_EQ(fake_.Deliver(Message(1)), 1u);
    EXPECT_EQ(fake_.Deliver(Message(2)), 0u);
    EXPECT_EQ(fake_.Deliver(nullptr), 1u);
    EXPECT_THAT(received_, ElementsAre(1, -1));
    EXPECT_THAT(fake_.Pushes(), IsEmpty());
}

TEST_F(MockNotifyBusTest, ClientGetsWhatItsUserMaySeeAndWhatItSubscribedTo) {
    fake_.OpenClient("guard", {12});
    fake_.OpenClient("guest", {}, {1});
    const auto secret = Message(1);
    secret->SetUserPermissionInfo({{12, {}}});
    ASSERT_TRUE(PushMsgToSubscriber(secret));
    ASSERT_TRUE(PushMsgToSubscriber(Message(1)));
    fake_.DeliverAll();
    EXPECT_THAT(fake_.Received("guard"), ElementsAre(secret));
    EXPECT_THAT(fake_.Received("guest"), SizeIs(1));
    EXPECT_TRUE(fake_.SetPermissions("guest", {11, 12}));
    EXPECT_TRUE(fake_.CloseClient("guard"));
    EXPECT_FALSE(fake_.CloseClient("guard"));
    EXPECT_FALSE(fake_.SetPermissions("guard", {12}));
    ASSERT_TRUE(PushMsgToSubscriber(secret));
    fake_.DeliverAll();
    EXPECT_THAT(fake_.Received("guard"), SizeIs(1));
    EXPECT_THAT(fake_.Received("guest"), SizeIs(2));
    EXPECT_THAT(fake_.Received("nobody"), IsEmpty());
}

TEST_F(MockNotifyBusTest, PublishersAreToldWhatTheTestSays) {
    auto publisher = std::make_shared<ZELPlatform::CMsgPublishInfo>();
    std::vector<std::string> told;
    publisher->SetPublisher("plugin");
    publisher->SetTypeValues({1});
    publisher->SetCallback([&](ZELPlatform::SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>& info) {
        told.push_back(std::to_string(type) + (info ? " some" : " none"));
    });
    ASSERT_TRUE(PublishMsg(publisher));
    EXPECT_EQ(fake_.TellPublishers(kSubscribe, std::make_shared<CMsgSubscribedInfo>()), 1u);
    EXPECT_EQ(fake_.TellPublishers(kSubscribeCancel, nullptr), 1u);
    EXPECT_THAT(told, ElementsAre("1 some", "2 none"));
    ASSERT_TRUE(PublishMsg(publisher));
    ASSERT_THAT(fake_.Publishers(), SizeIs(1));
    EXPECT_EQ(fake_.Publishers()[0].name, "plugin");
    EXPECT_THAT(fake_.Publishers()[0].types, ElementsAre(1));
    EXPECT_EQ(fake_.Publishers()[0].callbacks, 2u);
}

TEST_F(MockNotifyBusTest, CallsThatAreToldToFailDoNothing) {
    for (const char* operation : {"PublishMsg", "SubscribeMsg", "UnsubscribeMsg", "PushMsgToSubscriber",
                                  "PushMsgToSpecifiedClients", "PushMsgToSpecifiedSubscribers"}) {
        platform_.calls.Fail(std::string("MsgBus::") + operation, 1);
    }
    auto publisher = std::make_shared<ZELPlatform::CMsgPublishInfo>();
    publisher->SetPublisher("plugin");
    publisher->SetCallback([](ZELPlatform::SubScribeType, const std::shared_ptr<CMsgSubscribedInfo>&) {});
    EXPECT_FALSE(PublishMsg(publisher));
    EXPECT_THAT(fake_.Publishers(), IsEmpty());
    EXPECT_FALSE(SubscribeMsg(Subscription("plugin", {1})));
    EXPECT_THAT(fake_.Subscriptions(), IsEmpty());
    ASSERT_TRUE(SubscribeMsg(Subscription("plugin", {1})));
    EXPECT_FALSE(UnsubscribeMsg(Subscription("plugin", {1})));
    ASSERT_THAT(fake_.Subscriptions(), SizeIs(1));
    EXPECT_EQ(fake_.Subscriptions()[0].subscriber, "plugin");
    EXPECT_THAT(fake_.Subscriptions()[0].types, ElementsAre(1));
    EXPECT_FALSE(PushMsgToSubscriber(Message(1)));
    EXPECT_FALSE(PushMsgToSpecifiedClients({"client"}, Message(1)));
    EXPECT_FALSE(PushMsgToSpecifiedSubscribers({{ZELPlatform::kSubscriberPlugin, {"plugin"}}}, Message(1)));
    EXPECT_THAT(fake_.Pushes(), IsEmpty());
    EXPECT_FALSE(fake_.DeliverOne());
}

class MockFrontTest : public ::testing::Test {
protected:
    bool Bind(const std::string& url, UserRequestFunc fn, bool flag = true,
              ZELPlatform::Method method = ZELPlatform::kMethodAny) {
        return AddURL("plugin", url, method, std::move(fn), ZELPlatform::CmdParam::kExecSync, flag);
    }
    uint32_t Status(const qarmock::FakeRequest& request) { return fake_.Request(request).head.n_status; }
    static void Echo(ZELPlatform::MsgIn& in, ZELPlatform::MsgOut&, ZELPlatform::ProtoParam2& param) {
        param.str_answer = in.str_url;
    }

    qarmock::Platform platform_;
    qarmock::FakeFront& fake_ = platform_.front.fake;
};

TEST_F(MockFrontTest, RequestRunsItsHandlerHereAndNow) {
    ASSERT_TRUE(Bind("/echo", Echo));
    const auto answer = fake_.Request({"/echo?a=1"});
    EXPECT_TRUE(answer.sent);
    EXPECT_FALSE(answer.direct);
    EXPECT_EQ(answer.head.n_status, 200u);
    EXPECT_EQ(answer.head.str_content_type, "application/json; charset=utf-8");
    EXPECT_EQ(answer.body, "/echo?a=1");
}

TEST_F(MockFrontTest, FrontAnswersByItselfWhatIsNotForAHandler) {
    ASSERT_TRUE(Bind("/closed", Echo, false));
    ASSERT_TRUE(Bind("/put", Echo, true, ZELPlatform::kMethodPut));
    ASSERT_TRUE(Bind("/throwing", [](auto&, auto&, auto&) { throw std::runtime_error("on purpose"); }));
    EXPECT_EQ(Status({"/absent"}), 404u);
    EXPECT_EQ(Status({"/closed"}), 401u);
    EXPECT_EQ(Status({"/closed?SID=unknown"}), 401u);
    EXPECT_EQ(Status({"/put"}), 405u);
    EXPECT_EQ(Status({"/put", "", ZELPlatform::kMethodPut, "no JSON"}), 400u);
    EXPECT_EQ(Status({"/put", "", ZELPlatform::kMethodPut, "{}"}), 200u);
    EXPECT_EQ(Status({"/throwing"}), 500u);
    EXPECT_THAT(fake_.CaughtExceptions(), ElementsAre("on purpose"));
}

TEST_F(MockFrontTest, AnswerMayComeLaterOrNotAtAll) {
    std::vector<int32_t> connections;
    ASSERT_TRUE(Bind("/later", [&](ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out, auto&) {
        connections.push_back(in.n_connection);
        out.b_send = false;
    }));
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(fake_.Request({"/later"}).sent);
    fake_.Leave(connections[1]);
    fake_.GiveUp(connections[2]);
    const auto send = [](int connection, const Mox::Net::HttpResponse& head = Mox::Net::HttpResponse()) {
        return Mox::Net::CHttpServer::HttpServerSyncSend(connection, head, 4, "data");
    };
    Mox::Net::HttpResponse broken;
    broken.n_status = 99;
    EXPECT_EQ(send(connections[0], broken), 4);
    EXPECT_EQ(send(connections[0]), 0);
    EXPECT_EQ(send(connections[0]), 1);
    EXPECT_EQ(send(connections[1]), 2);
    EXPECT_EQ(send(connections[2]), 1);
    EXPECT_EQ(send(12345), 1);
    const auto answer = fake_.Answer(connections[0]);
    EXPECT_TRUE(answer.sent);
    EXPECT_TRUE(answer.direct);
    EXPECT_EQ(answer.body, "data");
    EXPECT_FALSE(fake_.Answer(connections[1]).sent);
    EXPECT_EQ(fake_.Answer(connections[2]).head.n_status, 504u);
    EXPECT_EQ(fake_.Answer(12345).connection, -1);
    const auto sends = fake_.Sends();
    ASSERT_EQ(sends.size(), 6u);
    EXPECT_EQ(sends[0].result, 4);
    EXPECT_EQ(sends[1].connection, connections[0]);
    EXPECT_EQ(sends[1].head.n_send_timeout_ms, 20000u);
    EXPECT_EQ(sends[1].data, "data");
}

TEST_F(MockFrontTest, HandlerIsCalledWithTheRecordsOfTheTest) {
    ASSERT_TRUE(Bind("/numbers", [](ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out, auto& param) {
        if (in.str_numbers[0].empty()) throw std::runtime_error("no number");
        param.str_answer = in.str_numbers[2];
        out.b_send = false;
    }));
    ZELPlatform::MsgIn in;
    ZELPlatform::MsgOut out;
    ZELPlatform::ProtoParam2 param;
    EXPECT_FALSE(fake_.Call("/absent", in, out, param));
    EXPECT_FALSE(fake_.Call("/numbers", in, out, param));
    EXPECT_THAT(fake_.CaughtExceptions(), ElementsAre("no number"));
    in.str_numbers[0] = "1";
    in.str_numbers[2] = "3";
    EXPECT_TRUE(fake_.Call("/numbers", in, out, param));
    EXPECT_EQ(param.str_answer, "3");
    EXPECT_FALSE(out.b_send);
}

TEST_F(MockFrontTest, SessionsLogInAndOutAndOpenAndClose) {
    const std::string session = fake_.LogIn(7, kClientTypeWeb);
    EXPECT_EQ(session.size(), 32u);
    fake_.LogInAs("person", 8, kClientTypeWeb, kAccountPerson);
    ASSERT_THAT(fake_.Sessions(), SizeIs(2));
    EXPECT_EQ(fake_.Sessions()[1].id, "person");
    EXPECT_EQ(fake_.Sessions()[1].account, 8u);
    EXPECT_EQ(fake_.Sessions()[1].account_type, kAccountPerson);
    EXPECT_TRUE(fake_.SetOpen("person", false));
    EXPECT_FALSE(fake_.SetOpen("nobody", false));
    auto content = std::make_shared<CObserverParam>();
    content->SetText("text");
    ASSERT_TRUE(MsgNotifyByDst({session, "person", session}, 5, content));
    const auto received = fake_.ReceivedBy(session);
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].type, 5);
    EXPECT_TRUE(received[0].text);
    EXPECT_EQ(received[0].data, "text");
    EXPECT_THAT(fake_.ReceivedBy("person"), IsEmpty());
    ASSERT_THAT(fake_.Pushes(), SizeIs(1));
    EXPECT_THAT(fake_.Pushes()[0].sessions, ElementsAre(session, "person", session));
    EXPECT_EQ(fake_.Pushes()[0].content, content);
    EXPECT_TRUE(fake_.LogOut(session));
    EXPECT_FALSE(fake_.LogOut(session));
    ASSERT_TRUE(MsgNotifyByDst({session}, 5, content));
    EXPECT_THAT(fake_.ReceivedBy(session), SizeIs(2));
}

TEST_F(MockFrontTest, SettingsAreWhatTheTestSaysAlsoNone) {
    using namespace ZELPlatform::InterfaceCommonData::AccesstypeInfo;
    EXPECT_EQ(ZELPlatform::System::GetSystemConfigInfo()->GetValstruAccesstypeinfo()->GetValAccessType(), kAccessHttp);
    fake_.SetAccessType(kAccessHttps);
    EXPECT_EQ(ZELPlatform::System::GetSystemConfigInfo()->GetValstruAccesstypeinfo()->GetValAccessType(), kAccessHttps);
    fake_.SetSystemConfig(std::make_shared<ZELPlatform::CSystemConfigInfo>());
    EXPECT_EQ(ZELPlatform::System::GetSystemConfigInfo()->GetValstruAccesstypeinfo(), nullptr);
    fake_.SetSystemConfig(nullptr);
    EXPECT_EQ(ZELPlatform::System::GetSystemConfigInfo(), nullptr);
}

TEST_F(MockFrontTest, CallsThatAreToldToFailDoNothing) {
    for (const char* operation : {"MsgBus::AddURL", "MsgBus::AddNoneJsonURL", "MsgBus::DeleteURL",
                                  "MsgBus::MsgNotifyByDst", "Authentication::GetSessionByUserID",
                                  "Authentication::GetSessionByID", "Authentication::GetOnlineSessionByClientType",
                                  "System::GetSystemConfigInfo", "CHttpServer::HttpServerSyncSend"}) {
        platform_.calls.Fail(operation, 1);
    }
    int sent = -1;
    const auto send = [&](ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out, auto&) {
        sent = Mox::Net::CHttpServer::HttpServerSyncSend(in.n_connection, Mox::Net::HttpResponse(), 0, nullptr);
        out.b_send = false;
    };
    EXPECT_FALSE(Bind("/url", send));
    EXPECT_THAT(fake_.Urls(), IsEmpty());
    ASSERT_TRUE(Bind("/url", send));
    EXPECT_FALSE(AddNoneJsonURL("plugin", {"/url"}));
    EXPECT_FALSE(fake_.Urls()[0].none_json);
    EXPECT_FALSE(DeleteURL("/url", ZELPlatform::kMethodAny));
    ASSERT_THAT(fake_.Urls(), SizeIs(1));
    EXPECT_EQ(fake_.Urls()[0].plugin, "plugin");
    EXPECT_EQ(fake_.Urls()[0].exec, ZELPlatform::CmdParam::kExecSync);
    EXPECT_FALSE(fake_.Request({"/url"}).sent);
    EXPECT_EQ(sent, 2);

    const std::string session = fake_.LogIn(7, kClientTypeWeb);
    EXPECT_FALSE(MsgNotifyByDst({session}, 1, std::make_shared<CObserverParam>()));
    EXPECT_THAT(fake_.Pushes(), IsEmpty());
    std::vector<std::string> sessions;
    ZELPlatform::Authentication::GetSessionByUserID(sessions, 7, kClientTypeWeb);
    ZELPlatform::Authentication::GetSessionByID(sessions, 7, {},
                                                ZELPlatform::InterfaceCommonData::UserSession::kAccountUser);
    EXPECT_FALSE(ZELPlatform::Authentication::GetOnlineSessionByClientType(sessions, kClientTypeWeb));
    EXPECT_THAT(sessions, IsEmpty());
    EXPECT_EQ(ZELPlatform::System::GetSystemConfigInfo(), nullptr);
}

}  // namespace
