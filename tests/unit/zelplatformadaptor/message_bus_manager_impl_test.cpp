#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "qar/HttpRecords.h"
#include "unit/zelplatformadaptor/fake_contents.h"
#include "zelplatformadaptor/MessageBusChangeMsg.h"
#include "zelplatformadaptor/MessageBusEventMsg.h"
#include "zelplatformadaptor/MessageBusManagerImpl.h"
#include "zelplatformadaptor/MessageBusNotifyMsg.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/MessageBusUsrRequest.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::LineIn;
using ::testing::_;
using ::testing::DoAll;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SizeIs;
using ::testing::Unused;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::InterfaceCommonData::UserSession::ClientType;
using ZELPlatform::InterfaceCommonData::UserSession::kAccountPerson;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeDesktop;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeMobile;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;

using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
using Names = std::vector<std::string>;
using Numbers = std::set<int>;
using Receivers = std::map<ZELPlatform::SubscriberType, std::set<std::string>>;
using Rows = std::list<CMsgSubscribeInfo>;
using Types = std::list<ClientType>;
using Users = std::list<unsigned int>;

void IgnoreEx(const std::string&, std::shared_ptr<IBusMsg>, void*) {}
void IgnoreChange(const std::string&, std::shared_ptr<IBusMsg>) {}
void IgnoreEvent(std::shared_ptr<IBusMsg>) {}
void IgnoreRequest(SHttpResponse&, const SHttpRequest&) {}

std::shared_ptr<IBusMsg> Message() {
    return std::make_shared<CBusMsgCommon>(5, 1001, 77, "{\"a\":1}", nullptr, 0, "sender");
}

class MessageBusManagerTest : public ::testing::Test {
protected:
    MessageBusManagerTest() {
        auto& bus = platform.bus;
        ON_CALL(bus, RegistObserver).WillByDefault(Return(true));
        ON_CALL(bus, SubscribeObserver).WillByDefault(Return(true));
        ON_CALL(bus, UnSubscribeObserver).WillByDefault(Return(true));
        ON_CALL(bus, SubscribeObserverEx).WillByDefault(Return(true));
        ON_CALL(bus, UnSubscribeObserverEx).WillByDefault(Return(true));
        ON_CALL(bus, NotifyObserverEventEx).WillByDefault(Return(true));
        auto& events = platform.events;
        ON_CALL(events, RegistMsgCapacity).WillByDefault(Return(true));
        ON_CALL(events, RegistMsgResourceCapacity).WillByDefault(Return(true));
        ON_CALL(events, RegistResourceCapacity).WillByDefault(Return(true));
        ON_CALL(events, UpdateSubscribeList).WillByDefault(Return(true));
        ON_CALL(events, MsgNotifyBySubscription).WillByDefault(Return(true));
        auto& notify = platform.notify;
        ON_CALL(notify, PublishMsg).WillByDefault(Return(true));
        ON_CALL(notify, SubscribeMsg).WillByDefault(Return(true));
        ON_CALL(notify, UnsubscribeMsg).WillByDefault(Return(true));
        ON_CALL(notify, PushMsgToSubscriber).WillByDefault(Return(true));
        ON_CALL(notify, PushMsgToSpecifiedClients).WillByDefault(Return(true));
        ON_CALL(notify, PushMsgToSpecifiedSubscribers).WillByDefault(Return(true));
        auto& front = platform.front;
        ON_CALL(front, AddURL).WillByDefault(Return(true));
        ON_CALL(front, AddNoneJsonURL).WillByDefault(Return(true));
        ON_CALL(front, DeleteURL).WillByDefault(Return(true));
        ON_CALL(front, GetSystemConfigInfo).WillByDefault(Return(nullptr));
        ON_CALL(front, HttpServerSyncSend).WillByDefault(Return(0));
        ON_CALL(front, MsgNotifyByDst).WillByDefault(Return(true));
        ON_CALL(front, GetSessionByUserID).WillByDefault(Return());
        ON_CALL(front, GetSessionByID).WillByDefault(Return());
        ON_CALL(front, GetOnlineSessionByClientType).WillByDefault(Return(false));
    }

    void ExpectNoCallOfTheEventBus() {
        EXPECT_CALL(platform.events, RegistMsgCapacity).Times(0);
        EXPECT_CALL(platform.events, RegistMsgResourceCapacity).Times(0);
        EXPECT_CALL(platform.events, RegistResourceCapacity).Times(0);
        EXPECT_CALL(platform.events, UpdateSubscribeList).Times(0);
        EXPECT_CALL(platform.events, MsgNotifyBySubscription).Times(0);
    }
    void ExpectNoCallOfTheObserverBus() {
        EXPECT_CALL(platform.bus, RegistObserver).Times(0);
        EXPECT_CALL(platform.bus, SubscribeObserver).Times(0);
        EXPECT_CALL(platform.bus, UnSubscribeObserver).Times(0);
        EXPECT_CALL(platform.bus, SubscribeObserverEx).Times(0);
        EXPECT_CALL(platform.bus, UnSubscribeObserverEx).Times(0);
        EXPECT_CALL(platform.bus, NotifyObserverEventEx).Times(0);
    }
    void ExpectNoCallOfTheNotifyBus() {
        EXPECT_CALL(platform.notify, PublishMsg).Times(0);
        EXPECT_CALL(platform.notify, SubscribeMsg).Times(0);
        EXPECT_CALL(platform.notify, UnsubscribeMsg).Times(0);
        EXPECT_CALL(platform.notify, PushMsgToSubscriber).Times(0);
        EXPECT_CALL(platform.notify, PushMsgToSpecifiedClients).Times(0);
        EXPECT_CALL(platform.notify, PushMsgToSpecifiedSubscribers).Times(0);
    }
    void ExpectNoCallForRequests() {
        EXPECT_CALL(platform.front, AddURL).Times(0);
        EXPECT_CALL(platform.front, AddNoneJsonURL).Times(0);
        EXPECT_CALL(platform.front, DeleteURL).Times(0);
    }
    void ExpectNoCallForPushes() {
        EXPECT_CALL(platform.front, MsgNotifyByDst).Times(0);
        EXPECT_CALL(platform.front, GetSessionByUserID).Times(0);
        EXPECT_CALL(platform.front, GetSessionByID).Times(0);
        EXPECT_CALL(platform.front, GetOnlineSessionByClientType).Times(0);
    }

    qarmock::Platform platform;
};

// --- construction ----------------------------------------------------------------------------------------------------

TEST_F(MessageBusManagerTest, ConstructionAsksThePlatformForNothing) {
    ExpectNoCallOfTheEventBus();
    ExpectNoCallOfTheObserverBus();
    ExpectNoCallOfTheNotifyBus();
    ExpectNoCallForRequests();
    ExpectNoCallForPushes();
    const CMessageBusManagerImpl manager;
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusManagerTest, WorkersAreHeldInTheirOrderAndGivenUpInTheReverse) {
    std::vector<std::string> given_up;
    const auto worker = [&given_up](auto* object, const char* name) {
        return std::shared_ptr<std::remove_pointer_t<decltype(object)>>(object, [&given_up, name](auto* last) {
            given_up.emplace_back(name);
            delete last;
        });
    };
    {
        const CMessageBusManagerImpl manager(
            worker(new CMessageBusUsrRequest, "usr_request"), worker(new CMessageBusEventMsg, "event_msg"),
            worker(new CMessageBusChangeMsg, "change_msg"), worker(new CMessageBusNotifyMsg, "notify_msg"));
        EXPECT_THAT(given_up, IsEmpty());
    }
    EXPECT_THAT(given_up, ElementsAre("notify_msg", "change_msg", "event_msg", "usr_request"));
}

TEST_F(MessageBusManagerTest, WhatThePlatformWasGivenOutlivesTheManager) {
    ZELPlatform::MsgBus::UserRequestFunc request;
    Rows rows;
    qarmock::MockMsgBus::Function change;
    std::shared_ptr<CMsgSubscribedInfo> notify;
    EXPECT_CALL(platform.front, AddURL).WillOnce(DoAll(SaveArg<3>(&request), Return(true)));
    EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce(DoAll(SaveArg<1>(&rows), Return(true)));
    EXPECT_CALL(platform.bus, SubscribeObserver).WillOnce(DoAll(SaveArg<2>(&change), Return(true)));
    EXPECT_CALL(platform.notify, SubscribeMsg).WillOnce(DoAll(SaveArg<0>(&notify), Return(true)));
    std::vector<std::string> called;
    {
        CMessageBusManagerImpl manager;
        manager.RegisterUsrRequest(
            "p", "/doors", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync,
            [&called](SHttpResponse&, const SHttpRequest&) { called.emplace_back("request"); }, false);
        ASSERT_TRUE(manager.SubscribeEventMsg(
            {1}, "p", [&called](std::shared_ptr<IBusMsg>) { called.emplace_back("event"); }, false));
        ASSERT_TRUE(manager.SubscribeChangeMsg(
            "topic", {}, [&called](const std::string&, std::shared_ptr<IBusMsg>) { called.emplace_back("change"); },
            "p"));
        ASSERT_TRUE(
            manager.SubscribeMsg({1}, "p", [&called](std::shared_ptr<IBusMsg>) { called.emplace_back("notify"); }));
    }
    ASSERT_THAT(rows, SizeIs(1));
    ZELPlatform::MsgIn in;
    ZELPlatform::MsgOut out;
    ZELPlatform::ProtoParam2 param;
    request(in, out, param);
    rows.front().GetValsubscriber().GetValcallbackFunction()(1, 2, 3, std::make_shared<test::FakeContent>("{}"));
    change("topic", std::make_shared<test::FakeContent>("{}"));
    notify->GetCallback()(std::make_shared<CMsgPushInfo>());
    EXPECT_THAT(called, ElementsAre("request", "event", "change", "notify"));
}

// --- users' requests -------------------------------------------------------------------------------------------------

TEST_F(MessageBusManagerTest, RequestsReachTheirHandler) {
    CMessageBusManagerImpl manager;
    ZELPlatform::MsgBus::UserRequestFunc bound;
    EXPECT_CALL(platform.front,
                AddURL("p", "/doors", ZELPlatform::kMethodPost, _, ZELPlatform::CmdParam::kExecAsync, true))
        .WillOnce(DoAll(SaveArg<3>(&bound), Return(true)));
    EXPECT_CALL(platform.front, AddNoneJsonURL("p", ElementsAre("/doors"))).WillOnce(Return(true));
    manager.RegisterUsrRequest(
        "p", "/doors", ZELPlatform::kMethodPost, ZELPlatform::CmdParam::kExecAsync,
        [](SHttpResponse& response, const SHttpRequest& request) { response.str_body = "at " + request.str_url; },
        true);
    ASSERT_TRUE(bound);
    ZELPlatform::MsgIn in;
    in.str_url = "/doors/7";
    ZELPlatform::MsgOut out;
    ZELPlatform::ProtoParam2 param;
    bound(in, out, param);
    EXPECT_EQ(param.str_answer, "at /doors/7");
}

TEST_F(MessageBusManagerTest, UnregisterReachesThePlatform) {
    CMessageBusManagerImpl manager;
    EXPECT_CALL(platform.front, DeleteURL("/doors", ZELPlatform::kMethodAny)).WillOnce(Return(true));
    manager.UnregisterUsrRequest("/doors");
}

// --- events ----------------------------------------------------------------------------------------------------------

TEST_F(MessageBusManagerTest, PublishedEventsReachThePlatform) {
    CMessageBusManagerImpl manager;
    EXPECT_CALL(platform.events, RegistMsgCapacity(Numbers{1, 2}, _)).WillOnce(Return(true));
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity(std::map<int, Numbers>{{1, {1001}}, {2, {1001}}}, _))
        .WillOnce(Return(true));
    EXPECT_CALL(platform.events, RegistResourceCapacity(Numbers{1001}, _)).WillOnce(Return(true));
    EXPECT_TRUE(manager.PublishEventType({1, 2}, 1001));
    EXPECT_CALL(platform.events, RegistMsgCapacity(Numbers{3}, _)).WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_TRUE(manager.PublishEventType({3}, -1));
    EXPECT_FALSE(manager.PublishEventType({3}, -1));
}

TEST_F(MessageBusManagerTest, EventSubscriptionReachesThePlatform) {
    CMessageBusManagerImpl manager;
    std::vector<int> received;
    Rows rows;
    for (const bool include : {true, false}) {
        EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), SizeIs(2)))
            .WillOnce(DoAll(SaveArg<1>(&rows), Return(true)));
        EXPECT_TRUE(manager.SubscribeEventMsg(
            {1, 2}, "p", [&received](std::shared_ptr<IBusMsg> msg) { received.push_back(msg->Type()); }, include));
        ASSERT_THAT(rows, SizeIs(2));
        EXPECT_EQ(rows.front().GetValeventType(), 1);
        EXPECT_EQ(rows.back().GetValeventType(), 2);
        for (const CMsgSubscribeInfo& row : rows) {
            EXPECT_EQ(row.GetValsubscribeType(), ZELPlatform::kSubscribe);
            EXPECT_EQ(row.GetValsubscriber().GetValsubscribeType(), ZELPlatform::kSubscriberPlugin);
            EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "p");
            EXPECT_EQ(row.GetIncludeNodeEvents(), include);
            EXPECT_FALSE(row.GetNeedTukStorePicture());
            EXPECT_THAT(row.GetValresourceTypes(), IsEmpty());
            EXPECT_THAT(row.GetValresourceIDs(), IsEmpty());
        }
    }
    rows.back().GetValsubscriber().GetValcallbackFunction()(2, 3, 4, std::make_shared<test::FakeContent>("{}"));
    EXPECT_THAT(received, ElementsAre(2));
}

TEST_F(MessageBusManagerTest, EventSubscriptionThatIsRefusedIsFalse) {
    CMessageBusManagerImpl manager;
    EXPECT_CALL(platform.events, UpdateSubscribeList).Times(2).WillRepeatedly(Return(false));
    EXPECT_FALSE(manager.SubscribeEventMsg({1}, "p", IgnoreEvent, true));
    EXPECT_FALSE(manager.SubscribeEventMsgEx({1}, {}, {}, "p", IgnoreEvent, true, true));
    EXPECT_FALSE(manager.SubscribeEventMsg({1}, "p", nullptr, true));
    EXPECT_FALSE(manager.SubscribeEventMsgEx({1}, {}, {}, "p", nullptr, true, true));
}

TEST_F(MessageBusManagerTest, EventUnsubscriptionReachesThePlatform) {
    CMessageBusManagerImpl manager;
    Rows rows;
    EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce(DoAll(SaveArg<1>(&rows), Return(true)));
    manager.UnsubscribeEventMsg({1}, "p");
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_EQ(rows.front().GetValeventType(), 1);
    EXPECT_EQ(rows.front().GetValsubscribeType(), ZELPlatform::kSubscribeCancel);
    EXPECT_EQ(rows.front().GetValsubscriber().GetSubscriberId(), "p");
    EXPECT_FALSE(rows.front().GetValsubscriber().GetValcallbackFunction());
}

TEST_F(MessageBusManagerTest, ExEventSubscriptionReachesThePlatform) {
    CMessageBusManagerImpl manager;
    Rows rows;
    const std::vector<std::pair<bool, bool>> flags = {{true, false}, {false, true}};
    for (const auto& [include, picture] : flags) {
        EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce(DoAll(SaveArg<1>(&rows), Return(true)));
        EXPECT_TRUE(manager.SubscribeEventMsgEx({1}, {20, 21}, {300, -1}, "p", IgnoreEvent, include, picture));
        ASSERT_THAT(rows, SizeIs(1));
        const CMsgSubscribeInfo& row = rows.front();
        EXPECT_EQ(row.GetValeventType(), 1);
        EXPECT_EQ(row.GetValsubscribeType(), ZELPlatform::kSubscribe);
        EXPECT_EQ(row.GetValresourceTypes(), (Numbers{20, 21}));
        EXPECT_EQ(row.GetValresourceIDs(), (std::set<unsigned int>{300, 0xFFFFFFFF}));
        EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "p");
        EXPECT_TRUE(row.GetValsubscriber().GetValcallbackFunction());
        EXPECT_EQ(row.GetIncludeNodeEvents(), include);
        EXPECT_EQ(row.GetNeedTukStorePicture(), picture);
    }
}

TEST_F(MessageBusManagerTest, ExEventUnsubscriptionReachesThePlatform) {
    CMessageBusManagerImpl manager;
    Rows rows;
    EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce(DoAll(SaveArg<1>(&rows), Return(true)));
    manager.UnsubscribeEventMsgEx({1}, {20}, {300}, "p");
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_EQ(rows.front().GetValeventType(), 1);
    EXPECT_EQ(rows.front().GetValsubscribeType(), ZELPlatform::kSubscribeCancel);
    EXPECT_EQ(rows.front().GetValresourceTypes(), Numbers{20});
    EXPECT_EQ(rows.front().GetValresourceIDs(), std::set<unsigned int>{300});
    EXPECT_EQ(rows.front().GetValsubscriber().GetSubscriberId(), "p");
}

TEST_F(MessageBusManagerTest, PostedEventReachesThePlatform) {
    CMessageBusManagerImpl manager;
    const auto msg = Message();
    Content content;
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(5, 1001, 77, _, "sender", 0))
        .WillOnce(DoAll(SaveArg<3>(&content), Return(true)))
        .WillOnce(Return(false));
    EXPECT_TRUE(manager.PostEventMsg(msg));
    const char* data = nullptr;
    int size = 0;
    ASSERT_TRUE(content->GetContent(&data, &size));
    EXPECT_EQ(data, msg->Data());
    EXPECT_FALSE(manager.PostEventMsg(msg));
    EXPECT_FALSE(manager.PostEventMsg(nullptr));
}

// --- change messages -------------------------------------------------------------------------------------------------

TEST_F(MessageBusManagerTest, ChangeOperationsReachThePlatform) {
    CMessageBusManagerImpl manager;
    const auto msg = Message();
    EXPECT_CALL(platform.bus, RegistObserver("topic")).WillOnce(Return(true));
    EXPECT_CALL(platform.bus, NotifyObserverEventEx("topic", 5, _, ZELPlatform::kObserverTask0)).WillOnce(Return(true));
    EXPECT_CALL(platform.bus, SubscribeObserver("topic", "p", _)).WillOnce(Return(true));
    EXPECT_CALL(platform.bus, UnSubscribeObserver("topic", _)).WillOnce(Return(true));
    EXPECT_CALL(platform.bus, SubscribeObserverEx("p", "topic", Numbers{1, 2}, _, _)).WillOnce(Return(true));
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx("p", "topic", Numbers{})).WillOnce(Return(true));
    EXPECT_TRUE(manager.PublishChangeMsgType("topic", {5}, {6}));
    EXPECT_TRUE(manager.PostChangeMsg(msg, "topic"));
    EXPECT_TRUE(manager.SubscribeChangeMsg("topic", {}, IgnoreChange, "p"));
    manager.UnsubscribeChangeMsg("topic", "p");
    EXPECT_TRUE(manager.SubscribeChangeMsgEx("topic", {1, 2}, IgnoreEx, nullptr, "p"));
    manager.UnsubscribeChangeMsgEx("topic", {1}, "p");
}

TEST_F(MessageBusManagerTest, SetsOfPublishedChangesKeepTheirOrder) {
    CMessageBusManagerImpl manager;
    ASSERT_TRUE(manager.PublishChangeMsgType("topic", {6}, {5}));
    EXPECT_CALL(platform.bus, NotifyObserverEventEx("topic", 5, _, ZELPlatform::kObserverTask2)).WillOnce(Return(true));
    EXPECT_TRUE(manager.PostChangeMsg(Message(), "topic"));
}

TEST_F(MessageBusManagerTest, ChangeSubscribersAreCalledWithWhatTheyGave) {
    CMessageBusManagerImpl manager;
    qarmock::MockMsgBus::Function plain;
    qarmock::MockMsgBus::FunctionEx ex = nullptr;
    void* platform_data = nullptr;
    EXPECT_CALL(platform.bus, SubscribeObserver).WillOnce(DoAll(SaveArg<2>(&plain), Return(true)));
    EXPECT_CALL(platform.bus, SubscribeObserverEx)
        .WillOnce(DoAll(SaveArg<3>(&ex), SaveArg<4>(&platform_data), Return(true)));
    std::vector<std::string> observers;
    ASSERT_TRUE(manager.SubscribeChangeMsg(
        "topic", {},
        [&observers](const std::string& observer, std::shared_ptr<IBusMsg>) { observers.push_back(observer); }, "p"));
    ASSERT_TRUE(manager.SubscribeChangeMsgEx(
        "topic", {1},
        [](const std::string& observer, std::shared_ptr<IBusMsg>, void* user_data) {
            static_cast<std::vector<std::string>*>(user_data)->push_back(observer + " ex");
        },
        &observers, "p"));
    const auto content = std::make_shared<test::FakeContent>("{}");
    plain("topic", content);
    ex("topic", 1, content, platform_data);
    EXPECT_THAT(observers, ElementsAre("topic", "topic ex"));
}

TEST_F(MessageBusManagerTest, RefusalsOfChangeOperationsComeBack) {
    CMessageBusManagerImpl manager;
    EXPECT_CALL(platform.bus, RegistObserver).WillOnce(Return(false));
    EXPECT_CALL(platform.bus, SubscribeObserver).WillOnce(Return(false));
    EXPECT_CALL(platform.bus, SubscribeObserverEx)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)));
    EXPECT_CALL(platform.bus, NotifyObserverEventEx).WillOnce(Return(false));
    EXPECT_FALSE(manager.PublishChangeMsgType("topic", {}, {}));
    EXPECT_FALSE(manager.SubscribeChangeMsg("topic", {}, IgnoreChange, "p"));
    EXPECT_FALSE(manager.SubscribeChangeMsgEx("topic", {}, IgnoreEx, nullptr, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_FALSE(manager.PostChangeMsg(Message(), "topic"));
    EXPECT_FALSE(manager.PostChangeMsg(nullptr, "topic"));
}

// --- notify messages -------------------------------------------------------------------------------------------------

TEST_F(MessageBusManagerTest, PublisherOfNotifyMessagesReachesThePlatformUnderCategoryThree) {
    CMessageBusManagerImpl manager;
    std::shared_ptr<CMsgPublishInfo> info;
    EXPECT_CALL(platform.notify, PublishMsg).WillOnce(DoAll(SaveArg<0>(&info), Return(true))).WillOnce(Return(false));
    EXPECT_TRUE(manager.PublishMsgType("p", {1, 2}));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetPublisher(), "p");
    EXPECT_EQ(info->GetMsgCategory(), static_cast<ZELPlatform::MsgCategory>(3));
    EXPECT_EQ(info->GetTypeValues(), (Numbers{1, 2}));
    EXPECT_TRUE(info->GetCallback());
    EXPECT_TRUE(manager.PublishMsgType("p", {1, 2}));
}

TEST_F(MessageBusManagerTest, NotifySubscriptionReachesThePlatform) {
    CMessageBusManagerImpl manager;
    std::shared_ptr<CMsgSubscribedInfo> info;
    EXPECT_CALL(platform.notify, SubscribeMsg).WillOnce(DoAll(SaveArg<0>(&info), Return(true))).WillOnce(Return(false));
    std::vector<int> received;
    EXPECT_TRUE(manager.SubscribeMsg({1, 2}, "p",
                                     [&received](std::shared_ptr<IBusMsg> msg) { received.push_back(msg->Type()); }));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetTypeValues(), (Numbers{1, 2}));
    EXPECT_EQ(info->GetSubscriber(), "p");
    EXPECT_EQ(info->GetSubscriberType(), ZELPlatform::kSubscriberPlugin);
    const auto pushed = std::make_shared<CMsgPushInfo>();
    pushed->SetTypeValue(2);
    info->GetCallback()(pushed);
    EXPECT_THAT(received, ElementsAre(2));
    EXPECT_FALSE(manager.SubscribeMsg({1}, "p", IgnoreEvent));
    EXPECT_FALSE(manager.SubscribeMsg({1}, "p", nullptr));
}

TEST_F(MessageBusManagerTest, NotifyUnsubscriptionReachesThePlatform) {
    CMessageBusManagerImpl manager;
    std::shared_ptr<CMsgSubscribedInfo> info;
    EXPECT_CALL(platform.notify, UnsubscribeMsg).WillOnce(DoAll(SaveArg<0>(&info), Return(true)));
    manager.UnsubscribeMsg({1, 2}, "p");
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetTypeValues(), (Numbers{1, 2}));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn("qar::CMessageBusNotifyMsg::UnsubscribeMsg", 3, "QARCommon",
                                                         "[MessageBus] Plugin[p] Unsubscribe event-num[2]\n")));
}

TEST_F(MessageBusManagerTest, NotifyMessagesReachThePlatform) {
    CMessageBusManagerImpl manager;
    const auto msg = Message();
    const std::set<std::string> clients = {"c", "d"};
    const Receivers receivers = {{ZELPlatform::kSubscriberClient, {"c"}}, {ZELPlatform::kSubscriberPlugin, {"p", "q"}}};
    const std::map<int, std::list<int>> permissions = {{1, {2, 3}}, {4, {}}};
    std::vector<std::shared_ptr<CMsgPushInfo>> infos(4);
    EXPECT_CALL(platform.notify, PushMsgToSubscriber)
        .WillOnce(DoAll(SaveArg<0>(&infos[0]), Return(true)))
        .WillOnce(DoAll(SaveArg<0>(&infos[1]), Return(true)));
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedClients(clients, _))
        .WillOnce(DoAll(SaveArg<1>(&infos[2]), Return(true)));
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedSubscribers(receivers, _))
        .WillOnce(DoAll(SaveArg<1>(&infos[3]), Return(true)));
    EXPECT_TRUE(manager.PostMsg(msg));
    EXPECT_TRUE(manager.PostMsgWithPermission(permissions, msg));
    EXPECT_TRUE(manager.PostMsgToSpecifiedClients(clients, msg));
    EXPECT_TRUE(manager.PostMsgToSpecifiedClientsAndSubscribers(receivers, msg));
    for (const auto& info : infos) {
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->GetPublisher(), "sender");
        ZELPlatform::CMsgBusContentBase::Buffer buffer;
        ASSERT_TRUE(info->GetMsgContent()->GetTextContent(buffer));
        EXPECT_EQ(buffer.data, msg->Data());
    }
    EXPECT_EQ(infos[0]->GetTypeValue(), 5);
    EXPECT_THAT(infos[0]->GetUserPermissionInfo(), IsEmpty());
    EXPECT_EQ(infos[1]->GetUserPermissionInfo(), permissions);
    EXPECT_EQ(infos[2]->GetTypeValue(), 5);
    EXPECT_EQ(infos[3]->GetTypeValue(), 5);
}

TEST_F(MessageBusManagerTest, RefusalsOfNotifyMessagesComeBack) {
    CMessageBusManagerImpl manager;
    const auto msg = Message();
    EXPECT_CALL(platform.notify, PushMsgToSubscriber).Times(2).WillRepeatedly(Return(false));
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedClients).WillOnce(Return(false));
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedSubscribers).WillOnce(Return(false));
    EXPECT_FALSE(manager.PostMsg(msg));
    EXPECT_FALSE(manager.PostMsgWithPermission({}, msg));
    EXPECT_FALSE(manager.PostMsgToSpecifiedClients({}, msg));
    EXPECT_FALSE(manager.PostMsgToSpecifiedClientsAndSubscribers({}, msg));
    EXPECT_FALSE(manager.PostMsg(nullptr));
    EXPECT_FALSE(manager.PostMsgWithPermission({}, nullptr));
    EXPECT_FALSE(manager.PostMsgToSpecifiedClients({}, nullptr));
    EXPECT_FALSE(manager.PostMsgToSpecifiedClientsAndSubscribers({}, nullptr));
}

TEST_F(MessageBusManagerTest, ReservedOperationDoesNothing) {
    ExpectNoCallOfTheEventBus();
    ExpectNoCallOfTheObserverBus();
    ExpectNoCallOfTheNotifyBus();
    ExpectNoCallForRequests();
    ExpectNoCallForPushes();
    CMessageBusManagerImpl manager;
    manager.Reserved();
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

// --- without workers -------------------------------------------------------------------------------------------------

TEST_F(MessageBusManagerTest, WithoutTheWorkerForRequestsTheyAreNotBound) {
    ExpectNoCallForRequests();
    CMessageBusManagerImpl manager(nullptr, std::make_shared<CMessageBusEventMsg>(),
                                   std::make_shared<CMessageBusChangeMsg>(), std::make_shared<CMessageBusNotifyMsg>());
    manager.RegisterUsrRequest("p", "/doors", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync, IgnoreRequest,
                               false);
    manager.UnregisterUsrRequest("/doors");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());

    EXPECT_TRUE(manager.PublishEventType({1}, -1));
    EXPECT_TRUE(manager.PostEventMsg(Message()));
    EXPECT_TRUE(manager.PostChangeMsg(Message(), "topic"));
    EXPECT_TRUE(manager.PostMsg(Message()));
}

TEST_F(MessageBusManagerTest, WithoutTheWorkerForEventsTheyAreNotPublishedAndNotPosted) {
    ExpectNoCallOfTheEventBus();
    CMessageBusManagerImpl manager(std::make_shared<CMessageBusUsrRequest>(), nullptr,
                                   std::make_shared<CMessageBusChangeMsg>(), std::make_shared<CMessageBusNotifyMsg>());
    EXPECT_FALSE(manager.PublishEventType({1}, 1001));
    EXPECT_FALSE(manager.PostEventMsg(Message()));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());

    EXPECT_CALL(platform.front, AddURL).WillOnce(Return(true));
    manager.RegisterUsrRequest("p", "/doors", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync, IgnoreRequest,
                               false);
    EXPECT_TRUE(manager.PublishChangeMsgType("topic", {}, {}));
    EXPECT_TRUE(manager.PostMsg(Message()));
}

TEST_F(MessageBusManagerTest, WithoutTheWorkerForChangesThePlainOperationsFailSilently) {
    ExpectNoCallOfTheObserverBus();
    CMessageBusManagerImpl manager(std::make_shared<CMessageBusUsrRequest>(), std::make_shared<CMessageBusEventMsg>(),
                                   nullptr, std::make_shared<CMessageBusNotifyMsg>());
    EXPECT_FALSE(manager.PublishChangeMsgType("topic", {}, {}));
    EXPECT_FALSE(manager.SubscribeChangeMsg("topic", {}, IgnoreChange, "p"));
    EXPECT_FALSE(manager.PostChangeMsg(Message(), "topic"));
    manager.UnsubscribeChangeMsg("topic", "p");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());

    EXPECT_CALL(platform.front, DeleteURL).WillOnce(Return(true));
    manager.UnregisterUsrRequest("/doors");
    EXPECT_TRUE(manager.PostEventMsg(Message()));
    EXPECT_TRUE(manager.PostMsg(Message()));
}

TEST_F(MessageBusManagerTest, WithoutTheWorkerForChangesTheExOperationsFailWithAnErrorAndALine) {
    ExpectNoCallOfTheObserverBus();
    CMessageBusManagerImpl manager(std::make_shared<CMessageBusUsrRequest>(), std::make_shared<CMessageBusEventMsg>(),
                                   nullptr, std::make_shared<CMessageBusNotifyMsg>());
    EXPECT_FALSE(manager.SubscribeChangeMsgEx("topic", {}, IgnoreEx, nullptr, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 1));
    Error::SetLastError(Error::ErrorCode());
    manager.UnsubscribeChangeMsgEx("topic", {}, "p");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 1));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn("qar::CMessageBusManagerImpl::SubscribeChangeMsgEx", 5,
                                                         "QARCommon", "Msg bus change sptr is null."),
                                                  LineIn("qar::CMessageBusManagerImpl::UnsubscribeChangeMsgEx", 5,
                                                         "QARCommon", "Msg bus change sptr is null.")));
}

TEST_F(MessageBusManagerTest, WithoutAWorkerTheFunctionsAndMessagesAreGivenUp) {
    CMessageBusManagerImpl manager(nullptr, nullptr, nullptr, nullptr);
    const auto token = std::make_shared<int>(0);
    manager.RegisterUsrRequest(
        "p", "/doors", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync,
        [token](SHttpResponse&, const SHttpRequest&) {}, false);
    EXPECT_FALSE(manager.SubscribeChangeMsg(
        "topic", {}, [token](const std::string&, std::shared_ptr<IBusMsg>) {}, "p"));
    EXPECT_EQ(token.use_count(), 1);
    const auto msg = Message();
    EXPECT_FALSE(manager.PostEventMsg(msg));
    EXPECT_FALSE(manager.PostChangeMsg(msg, "topic"));
    EXPECT_EQ(msg.use_count(), 1);
}

TEST_F(MessageBusManagerTest, PushesNeedNoWorker) {
    CMessageBusManagerImpl manager(nullptr, nullptr, nullptr, nullptr);
    EXPECT_CALL(platform.front, MsgNotifyByDst).Times(2).WillRepeatedly(Return(true));
    EXPECT_TRUE(manager.PushMsgToUsers(Message(), {}, {}));
    EXPECT_TRUE(manager.PushMsgToPersonUsers(Message(), {}, {}));
    EXPECT_TRUE(manager.PushMsgToUsersNew(Message(), {}, {}));
}

// --- pushes ----------------------------------------------------------------------------------------------------------

constexpr char kPushToUsers[] = "qar::CMessageBusManagerImpl::PushMsgToUsers";
constexpr char kPushToPersonUsers[] = "qar::CMessageBusManagerImpl::PushMsgToPersonUsers";
constexpr char kPushToUsersNew[] = "qar::CMessageBusManagerImpl::PushMsgToUsersNew";

const std::string kNobodyOnline =
    "[MessageBus] PushMsgToUsers do not excute for no session is online(usr_list is not empty, but session is "
    "empty).msg[5], resource[77]\n";
const std::string kNoPersonOnline =
    "[MessageBus] PushMsgToPersonUsers do not excute for no session is online(usr_list is not empty, but session is "
    "empty).msg[5], resource[77]\n";

class MessageBusPushTest : public MessageBusManagerTest {
protected:
    // Answers to look-ups, each of which is to have a vector of its own.
    static auto Gives(Names sessions) {
        return [sessions](Names& found, Unused, Unused) {
            EXPECT_THAT(found, IsEmpty());
            found = sessions;
        };
    }
    static auto GivesOfAccount(Names sessions) {
        return [sessions](Names& found, Unused, Unused, Unused) {
            EXPECT_THAT(found, IsEmpty());
            found = sessions;
        };
    }
    static auto GivesOnline(Names sessions, bool answer) {
        return [sessions, answer](Names& found, Unused) {
            EXPECT_THAT(found, IsEmpty());
            found = sessions;
            return answer;
        };
    }

    static void ExpectContentOf(const Content& content, const std::shared_ptr<IBusMsg>& pushed, int kind) {
        ASSERT_NE(std::dynamic_pointer_cast<CPlatformMsgContent>(content), nullptr);
        EXPECT_EQ(content->ContentType(), kind);
        const char* data = nullptr;
        int size = 0;
        ASSERT_TRUE(content->GetContent(&data, &size));
        EXPECT_EQ(data, pushed->Data());
        EXPECT_EQ(static_cast<unsigned int>(size), pushed->DataSize());
    }

    CMessageBusManagerImpl manager;
    const std::shared_ptr<IBusMsg> msg = Message();
};

TEST_F(MessageBusPushTest, NullMessageIsPushedToNobody) {
    ExpectNoCallForPushes();
    EXPECT_FALSE(manager.PushMsgToUsers(nullptr, {1}, {kClientTypeWeb}));
    EXPECT_FALSE(manager.PushMsgToUsersNew(nullptr, {1}, {kClientTypeWeb}));
    EXPECT_FALSE(manager.PushMsgToUsersNew(nullptr, {}, {kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
    EXPECT_FALSE(manager.PushMsgToPersonUsers(nullptr, {1}, {kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPushToPersonUsers, 5, "QARCommon", "Push msg is null.")));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
}

TEST_F(MessageBusPushTest, UsersSessionsAreGatheredByUserAndThenByClientTypeAndKeptTwice) {
    {
        InSequence sequence;
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 8u, kClientTypeMobile)).WillOnce(Gives({"a", "b"}));
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 8u, kClientTypeWeb)).WillOnce(Gives({"b"}));
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 0xFFFFFFFFu, kClientTypeMobile)).WillOnce(Gives({}));
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 0xFFFFFFFFu, kClientTypeWeb)).WillOnce(Gives({"c", "a"}));
        EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a", "b", "b", "c", "a"), 5, _)).WillOnce(Return(true));
    }
    EXPECT_CALL(platform.front, GetSessionByID).Times(0);
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType).Times(0);
    EXPECT_TRUE(manager.PushMsgToUsers(msg, {8, 0xFFFFFFFF}, {kClientTypeMobile, kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, RepeatedUsersAndClientTypesAreAskedForEachTime) {
    EXPECT_CALL(platform.front, GetSessionByUserID(_, 8u, kClientTypeWeb)).Times(4).WillRepeatedly(Gives({"a"}));
    EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a", "a", "a", "a"), 5, _)).WillOnce(Return(true));
    EXPECT_TRUE(manager.PushMsgToUsers(msg, {8, 8}, {kClientTypeWeb, kClientTypeWeb}));
}

TEST_F(MessageBusPushTest, PushHandsOverTheMessageAndItsTypeAndGivesThePlatformsAnswer) {
    const auto push_each_way = [this](const std::shared_ptr<IBusMsg>& pushed) {
        return std::vector<bool>{manager.PushMsgToUsers(pushed, {8}, {kClientTypeWeb}),
                                 manager.PushMsgToPersonUsers(pushed, {8}, {kClientTypeWeb}),
                                 manager.PushMsgToUsersNew(pushed, {8}, {kClientTypeWeb}),
                                 manager.PushMsgToUsersNew(pushed, {}, {kClientTypeWeb})};
    };
    EXPECT_CALL(platform.front, GetSessionByUserID).WillRepeatedly(Gives({"a"}));
    EXPECT_CALL(platform.front, GetSessionByID).WillRepeatedly(GivesOfAccount({"a"}));
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType).WillRepeatedly(GivesOnline({"a"}, true));
    for (const bool answer : {true, false}) {
        const auto binary = std::make_shared<CBusMsgCommon>(-6, 1, 2, "", "\x01\x02", 2);
        std::vector<Content> contents;
        EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a"), 5, _))
            .Times(4)
            .WillRepeatedly([&](Unused, Unused, const Content& content) {
                contents.push_back(content);
                return answer;
            });
        EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a"), -6, _))
            .Times(4)
            .WillRepeatedly([&](Unused, Unused, const Content& content) {
                contents.push_back(content);
                return answer;
            });
        EXPECT_THAT(push_each_way(msg), ElementsAre(answer, answer, answer, answer));
        EXPECT_THAT(push_each_way(binary), ElementsAre(answer, answer, answer, answer));
        ASSERT_THAT(contents, SizeIs(8));
        for (std::size_t i = 0; i < 4; ++i) {
            ExpectContentOf(contents[i], msg, ZELPlatform::kContentText);
            ExpectContentOf(contents[i + 4], binary, ZELPlatform::kContentBinary);
        }
    }
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, PushedContentKeepsTheMessageAlive) {
    Content content;
    EXPECT_CALL(platform.front, MsgNotifyByDst).WillOnce(DoAll(SaveArg<2>(&content), Return(true)));
    auto pushed = Message();
    const std::weak_ptr<IBusMsg> watched = pushed;
    EXPECT_TRUE(manager.PushMsgToUsers(pushed, {}, {}));
    pushed.reset();
    ASSERT_FALSE(watched.expired());
    const char* data = nullptr;
    int size = 0;
    EXPECT_TRUE(content->GetContent(&data, &size));
    EXPECT_EQ(std::string(data, static_cast<std::size_t>(size)), std::string("{\"a\":1}\0", 8));
    content.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(MessageBusPushTest, UsersOfWhomNobodyIsOnlineAreNoFailure) {
    EXPECT_CALL(platform.front, GetSessionByUserID).Times(2).WillRepeatedly(Gives({}));
    EXPECT_CALL(platform.front, MsgNotifyByDst).Times(0);
    EXPECT_TRUE(manager.PushMsgToUsers(msg, {8, 9}, {kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPushToUsers, 3, "QARCommon", kNobodyOnline)));
}

TEST_F(MessageBusPushTest, UsersWithoutAClientTypeAreNotLookedFor) {
    EXPECT_CALL(platform.front, GetSessionByUserID).Times(0);
    EXPECT_CALL(platform.front, MsgNotifyByDst).Times(0);
    EXPECT_TRUE(manager.PushMsgToUsers(msg, {8}, {}));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPushToUsers, 3, "QARCommon", kNobodyOnline)));
}

TEST_F(MessageBusPushTest, PushToNoUsersReachesThePlatformWithAnEmptyList) {
    EXPECT_CALL(platform.front, GetSessionByUserID).Times(0);
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType).Times(0);
    EXPECT_CALL(platform.front, MsgNotifyByDst(IsEmpty(), 5, _)).WillOnce(Return(false)).WillOnce(Return(true));
    EXPECT_FALSE(manager.PushMsgToUsers(msg, {}, {kClientTypeWeb}));
    EXPECT_TRUE(manager.PushMsgToUsers(msg, {}, {}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, ResourceIdIsPrintedWithASign) {
    const auto pushed = std::make_shared<CBusMsgCommon>(-3, 0, 0xFFFFFFFF, "{}", nullptr, 0);
    EXPECT_TRUE(manager.PushMsgToUsers(pushed, {8}, {}));
    EXPECT_TRUE(manager.PushMsgToPersonUsers(pushed, {8}, {}));
    EXPECT_TRUE(manager.PushMsgToUsersNew(pushed, {8}, {}));
    const auto lines = platform.log.Lines();
    EXPECT_THAT(lines, SizeIs(3));
    for (const auto& line : lines) {
        EXPECT_THAT(line.body, EndsWith(").msg[-3], resource[-1]\n"));
        EXPECT_THAT(line.file, EndsWith("src/zelplatformadaptor/MessageBusManagerImpl.cpp"));
    }
}

// --- pushes to persons -----------------------------------------------------------------------------------------------

TEST_F(MessageBusPushTest, PersonsSessionsAreGatheredByUserForAllClientTypesAtOnce) {
    const std::set<ClientType> types = {kClientTypeWeb, kClientTypeMobile};
    {
        InSequence sequence;
        EXPECT_CALL(platform.front, GetSessionByID(_, 8u, types, kAccountPerson)).WillOnce(GivesOfAccount({"a", "b"}));
        EXPECT_CALL(platform.front, GetSessionByID(_, 0xFFFFFFFFu, types, kAccountPerson)).WillOnce(GivesOfAccount({}));
        EXPECT_CALL(platform.front, GetSessionByID(_, 8u, types, kAccountPerson)).WillOnce(GivesOfAccount({"c", "a"}));
        EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a", "b", "c", "a"), 5, _)).WillOnce(Return(true));
    }
    EXPECT_CALL(platform.front, GetSessionByUserID).Times(0);
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType).Times(0);
    EXPECT_TRUE(
        manager.PushMsgToPersonUsers(msg, {8, 0xFFFFFFFF, 8}, {kClientTypeMobile, kClientTypeWeb, kClientTypeMobile}));
    EXPECT_EQ(static_cast<int>(kAccountPerson), 3);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, PersonsWithoutAClientTypeAreLookedForAllTheSame) {
    EXPECT_CALL(platform.front, GetSessionByID(_, 8u, std::set<ClientType>{}, kAccountPerson))
        .WillOnce(GivesOfAccount({"a"}));
    EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a"), 5, _)).WillOnce(Return(true));
    EXPECT_TRUE(manager.PushMsgToPersonUsers(msg, {8}, {}));
}

TEST_F(MessageBusPushTest, PersonsOfWhomNobodyIsOnlineAreNoFailure) {
    EXPECT_CALL(platform.front, GetSessionByID).Times(2).WillRepeatedly(GivesOfAccount({}));
    EXPECT_CALL(platform.front, MsgNotifyByDst).Times(0);
    EXPECT_TRUE(manager.PushMsgToPersonUsers(msg, {8, 9}, {kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPushToPersonUsers, 3, "QARCommon", kNoPersonOnline)));
}

TEST_F(MessageBusPushTest, PushToNoPersonsReachesThePlatformWithAnEmptyList) {
    EXPECT_CALL(platform.front, GetSessionByID).Times(0);
    EXPECT_CALL(platform.front, MsgNotifyByDst(IsEmpty(), 5, _)).WillOnce(Return(false)).WillOnce(Return(true));
    EXPECT_FALSE(manager.PushMsgToPersonUsers(msg, {}, {kClientTypeWeb}));
    EXPECT_TRUE(manager.PushMsgToPersonUsers(msg, {}, {}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

// --- pushes to users or to everybody ---------------------------------------------------------------------------------

TEST_F(MessageBusPushTest, NewPushToUsersGathersTheirSessionsAsTheOldOne) {
    {
        InSequence sequence;
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 8u, kClientTypeMobile)).WillOnce(Gives({"a", "b"}));
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 8u, kClientTypeWeb)).WillOnce(Gives({"b"}));
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 9u, kClientTypeMobile)).WillOnce(Gives({}));
        EXPECT_CALL(platform.front, GetSessionByUserID(_, 9u, kClientTypeWeb)).WillOnce(Gives({"c"}));
        EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a", "b", "b", "c"), 5, _)).WillOnce(Return(true));
    }
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType).Times(0);
    EXPECT_CALL(platform.front, GetSessionByID).Times(0);
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {8, 9}, {kClientTypeMobile, kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, NewPushToNoUsersGoesToEverybodyOnlineOnTheClientTypes) {
    {
        InSequence sequence;
        EXPECT_CALL(platform.front, GetOnlineSessionByClientType(_, kClientTypeMobile))
            .WillOnce(GivesOnline({"a", "b"}, true));
        EXPECT_CALL(platform.front, GetOnlineSessionByClientType(_, kClientTypeDesktop))
            .WillOnce(GivesOnline({}, false));
        EXPECT_CALL(platform.front, GetOnlineSessionByClientType(_, kClientTypeMobile))
            .WillOnce(GivesOnline({"b"}, true));
        EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a", "b", "b"), 5, _)).WillOnce(Return(true));
    }
    EXPECT_CALL(platform.front, GetSessionByUserID).Times(0);
    EXPECT_CALL(platform.front, GetSessionByID).Times(0);
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {}, {kClientTypeMobile, kClientTypeDesktop, kClientTypeMobile}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, SessionsOfALookUpThatSaysThereAreNoneAreTakenAllTheSame) {
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType(_, kClientTypeWeb)).WillOnce(GivesOnline({"a"}, false));
    EXPECT_CALL(platform.front, MsgNotifyByDst(ElementsAre("a"), 5, _)).WillOnce(Return(true));
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {}, {kClientTypeWeb}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusPushTest, NewPushNeverReachesThePlatformWithAnEmptyList) {
    EXPECT_CALL(platform.front, GetSessionByUserID(_, 8u, kClientTypeWeb)).WillOnce(Gives({}));
    EXPECT_CALL(platform.front, GetOnlineSessionByClientType(_, kClientTypeWeb)).WillOnce(GivesOnline({}, false));
    EXPECT_CALL(platform.front, MsgNotifyByDst).Times(0);
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {8}, {kClientTypeWeb}));
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {8}, {}));
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {}, {kClientTypeWeb}));
    EXPECT_TRUE(manager.PushMsgToUsersNew(msg, {}, {}));
    const auto lines = platform.log.Lines();
    EXPECT_THAT(lines, SizeIs(4));
    EXPECT_THAT(lines, Each(LineIn(kPushToUsersNew, 3, "QARCommon", kNobodyOnline)));
}

}  // namespace
}  // namespace qar
