#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "tuk/DeviceAccessObserverParam.h"
#include "unit/zelplatformadaptor/fake_contents.h"
#include "zelplatformadaptor/MessageBusChangeMsg.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::Line;
using qarmock::LineIn;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::InSequence;
using ::testing::Invoke;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Return;
using ::testing::SizeIs;

using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

/// What a callback got; an Ex callback finds it through its user data.
struct Inbox {
    struct Entry {
        std::string observer;
        std::shared_ptr<IBusMsg> msg;
    };
    std::vector<Entry> entries;
};

void Receive(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data) {
    static_cast<Inbox*>(user_data)->entries.push_back({observer, std::move(msg)});
}

void ReceiveOtherwise(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data) {
    Receive(observer, std::move(msg), user_data);
}

std::string CallbackText(ChangeFuncEx fn, void* user_data) {
    return CMessageBusChangeMsg::ChangeMsgCBFuncExParam{fn, user_data}.ToText();
}

class ChangeMsgTest : public ::testing::Test {
protected:
    ChangeFunc Keep(Inbox& inbox) {
        return [&inbox](const std::string& observer, std::shared_ptr<IBusMsg> msg) {
            inbox.entries.push_back({observer, std::move(msg)});
        };
    }

    static Content DeviceEvent(int type, int id) {
        auto param = std::make_shared<tuk::CDeviceAccessObserverParam>();
        param->SetObserverMsgType(type);
        param->SetVal_id(id);
        param->SetVal_resource_type(2001);
        param->SetText("text");
        return param;
    }

    qarmock::Platform platform;
    std::shared_ptr<CMessageBusChangeMsg> bus = std::make_shared<CMessageBusChangeMsg>();
};

// --- publish and post ------------------------------------------------------------------------------------------------

constexpr char kPublish[] = "qar::CMessageBusChangeMsg::PublishChangeMsgType";
constexpr char kAddTypes[] = "qar::CMessageBusChangeMsg::AddToMsgTypeSet";

TEST_F(ChangeMsgTest, PublishRegistersTheTopic) {
    EXPECT_CALL(platform.bus, RegistObserver("topic")).WillOnce(Return(true));
    EXPECT_TRUE(bus->PublishChangeMsgType("topic", {1}, {2}));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPublish, 3, "QARCommon",
                                                         "[MessageBus] PublishChangeMsgType OK, observer[topic]\n")));
}

TEST_F(ChangeMsgTest, PublishTellsWhenThePlatformRefusesTheTopic) {
    EXPECT_CALL(platform.bus, RegistObserver("topic")).WillOnce(Return(false));
    EXPECT_FALSE(bus->PublishChangeMsgType("topic", {}, {}));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kPublish, 4, "QARCommon", "[MessageBus] PublishChangeMsgType failed, observer[topic].\n")));
}

TEST_F(ChangeMsgTest, PublishLogsTypesThatWerePublishedBeforeAndStillAnswersForThePlatform) {
    ASSERT_TRUE(bus->PublishChangeMsgType("topic", {1, 2}, {1}));
    platform.log.Clear();
    EXPECT_TRUE(bus->PublishChangeMsgType("topic", {3, 2, 1}, {1, 4}));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(kAddTypes, 4, "QARCommon", "[MessageBus] add change-msg-type[topic:1] failed, it duplicate.\n"),
            LineIn(kAddTypes, 4, "QARCommon", "[MessageBus] add change-msg-type[topic:2] failed, it duplicate.\n"),
            LineIn(kAddTypes, 4, "QARCommon", "[MessageBus] add change-msg-type[topic:1] failed, it duplicate.\n"),
            Line(3, "QARCommon", "[MessageBus] PublishChangeMsgType OK, observer[topic]\n")));
    EXPECT_CALL(platform.bus, RegistObserver).WillOnce(Return(false));
    EXPECT_FALSE(bus->PublishChangeMsgType("topic", {1}, {}));
}

TEST_F(ChangeMsgTest, TypesOfTwoTopicsAreNotDuplicates) {
    ASSERT_TRUE(bus->PublishChangeMsgType("topic", {1}, {}));
    platform.log.Clear();
    EXPECT_TRUE(bus->PublishChangeMsgType("other", {1}, {1}));
    EXPECT_THAT(platform.log.Lines(), SizeIs(1));
}

TEST_F(ChangeMsgTest, PostGoesOutOnTheTaskOfItsType) {
    ASSERT_TRUE(bus->PublishChangeMsgType("topic", {1}, {2}));
    platform.log.Clear();
    const auto msg_of = [](int type) { return std::make_shared<CBusMsgCommon>(type, 0, 0, "{}", nullptr, 0); };
    {
        InSequence sequence;
        EXPECT_CALL(platform.bus, NotifyObserverEventEx("topic", 1, _, ZELPlatform::kObserverTask0))
            .WillOnce(Return(true));
        EXPECT_CALL(platform.bus, NotifyObserverEventEx("topic", 2, _, ZELPlatform::kObserverTask2))
            .WillOnce(Return(true));
        EXPECT_CALL(platform.bus, NotifyObserverEventEx("topic", 3, _, ZELPlatform::kObserverTask2))
            .WillOnce(Return(true));
        EXPECT_CALL(platform.bus, NotifyObserverEventEx("other", 1, _, ZELPlatform::kObserverTask2))
            .WillOnce(Return(false));
    }
    EXPECT_TRUE(bus->PostChangeMsg(msg_of(1), "topic"));
    EXPECT_TRUE(bus->PostChangeMsg(msg_of(2), "topic"));
    EXPECT_TRUE(bus->PostChangeMsg(msg_of(3), "topic"));
    EXPECT_FALSE(bus->PostChangeMsg(msg_of(1), "other"));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(ChangeMsgTest, PostWrapsTheMessageAsAnObserverContent) {
    ASSERT_TRUE(bus->PublishChangeMsgType("topic", {}, {}));
    const auto msg = std::make_shared<CBusMsgCommon>(5, 0, 0, "{}", nullptr, 0);
    ASSERT_TRUE(bus->PostChangeMsg(msg, "topic"));
    const auto sent = platform.bus.fake.Sent();
    ASSERT_THAT(sent, SizeIs(1));
    const auto content = std::dynamic_pointer_cast<ZELPlatform::CObserverBaseContent>(sent[0].content);
    ASSERT_NE(content, nullptr);
    EXPECT_EQ(content->ObserverMsgType(), 5);
    const char* data = nullptr;
    int size = 0;
    EXPECT_TRUE(content->GetContent(&data, &size));
    EXPECT_EQ(data, msg->Data());
}

TEST_F(ChangeMsgTest, NullMessageIsNotPosted) {
    EXPECT_CALL(platform.bus, NotifyObserverEventEx).Times(0);
    EXPECT_FALSE(bus->PostChangeMsg(nullptr, "topic"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

// --- plain subscriptions ---------------------------------------------------------------------------------------------

constexpr char kSubscribe[] = "qar::CMessageBusChangeMsg::SubscribeChangeMsg";
constexpr char kUnsubscribe[] = "qar::CMessageBusChangeMsg::UnsubscribeChangeMsg";
constexpr char kNotify[] = "qar::CMessageBusChangeMsg::ChangeMsgNotifyCB";

TEST_F(ChangeMsgTest, EmptyFunctionIsRefusedWithoutAskingThePlatform) {
    EXPECT_CALL(platform.bus, SubscribeObserver).Times(0);
    EXPECT_FALSE(bus->SubscribeChangeMsg("topic", {}, nullptr, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribe, 5, "QARCommon",
                                   "[MessageBus] plugin[p] subscribes[topic] change-msg failed for function is "
                                   "null.\n")));
}

TEST_F(ChangeMsgTest, PlainSubscriberGetsEveryTypeOfTheTopic) {
    Inbox inbox;
    EXPECT_CALL(platform.bus, SubscribeObserver("TUK_DeviceAccess", "p", _));
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {1}, Keep(inbox), "p"));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribe, 3, "QARCommon",
                                   "[MessageBus] plugin[p] subscribes [TUK_DeviceAccess] change-msg\n")));
    platform.log.Clear();

    platform.bus.fake.Deliver("TUK_DeviceAccess", 265, DeviceEvent(265, 7));
    ASSERT_THAT(inbox.entries, SizeIs(1));
    EXPECT_EQ(inbox.entries[0].observer, "TUK_DeviceAccess");
    EXPECT_EQ(inbox.entries[0].msg->Type(), 265);
    EXPECT_EQ(inbox.entries[0].msg->SourceType(), 2001);
    EXPECT_EQ(inbox.entries[0].msg->SourceID(), 7u);
    EXPECT_EQ(inbox.entries[0].msg->GetJsonTxt(), "text");
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kNotify, 2, "QARCommonMsg", "Recv Observer-msg[265] from [TUK_DeviceAccess], msg: \ntext\n"),
                    LineIn(kNotify, 3, "QARCommonMsg",
                           MatchesRegex("Recv Observer-msg\\[265\\] from \\[TUK_DeviceAccess\\], \\[p\\] "
                                        "proc-cost: [0-9]+ ms\n"))));
}

TEST_F(ChangeMsgTest, MessageThatNoTopicTellsHasTypeMinusOne) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(inbox), "p"));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 265, nullptr);
    ASSERT_THAT(inbox.entries, SizeIs(1));
    EXPECT_EQ(inbox.entries[0].msg->Type(), -1);
}

TEST_F(ChangeMsgTest, SecondPlainFunctionOfOnePluginAndTopicIsCalledAsWell) {
    Inbox first;
    Inbox second;
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(first), "p"));
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(second), "p"));
    EXPECT_EQ(platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7)), 2u);
    EXPECT_THAT(first.entries, SizeIs(1));
    EXPECT_THAT(second.entries, SizeIs(1));
    EXPECT_NE(first.entries[0].msg, second.entries[0].msg);
}

TEST_F(ChangeMsgTest, PlainUnsubscribeEndsAllFunctionsOfThePluginOnTheTopic) {
    Inbox mine;
    Inbox others;
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(mine), "p"));
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(mine), "p"));
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(others), "q"));
    platform.log.Clear();
    bus->UnsubscribeChangeMsg("TUK_DeviceAccess", "p");
    const auto ok = LineIn(kUnsubscribe, 3, "QARCommon",
                           "[MessageBus] UnSubscribeObserver OK, plugin[p], observer[TUK_DeviceAccess]\n");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(ok, ok));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(mine.entries, IsEmpty());
    EXPECT_THAT(others.entries, SizeIs(1));
}

TEST_F(ChangeMsgTest, PlainUnsubscribeOfAnUnknownPairAsksThePlatformForNothing) {
    EXPECT_CALL(platform.bus, UnSubscribeObserver).Times(0);
    bus->UnsubscribeChangeMsg("topic", "p");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kUnsubscribe, 3, "QARCommon",
                                   "[MessageBus] CBProcList is empty when UnSubscribeObserver, plugin[p], "
                                   "observer[topic]\n")));
}

TEST_F(ChangeMsgTest, PlainUnsubscribeForgetsTheFunctionsAlsoWhenThePlatformRefuses) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsg("topic", {}, Keep(inbox), "p"));
    platform.log.Clear();
    EXPECT_CALL(platform.bus, UnSubscribeObserver("topic", _)).WillOnce(Return(false));
    bus->UnsubscribeChangeMsg("topic", "p");
    bus->UnsubscribeChangeMsg("topic", "p");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kUnsubscribe, 5, "QARCommon",
                                   "[MessageBus] UnSubscribeObserver failed, plugin[p], observer[topic]\n"),
                            LineIn(kUnsubscribe, 3, "QARCommon",
                                   "[MessageBus] CBProcList is empty when UnSubscribeObserver, plugin[p], "
                                   "observer[topic]\n")));
}

TEST_F(ChangeMsgTest, PlainSubscriptionThatThePlatformRefusesIsNotKept) {
    Inbox inbox;
    EXPECT_CALL(platform.bus, SubscribeObserver).WillOnce(Return(false));
    EXPECT_FALSE(bus->SubscribeChangeMsg("topic", {}, Keep(inbox), "p"));
    EXPECT_CALL(platform.bus, UnSubscribeObserver).Times(0);
    bus->UnsubscribeChangeMsg("topic", "p");
}

TEST_F(ChangeMsgTest, SubscriptionKeepsTheObjectAlive) {
    Inbox inbox;
    const std::weak_ptr<CMessageBusChangeMsg> watched = bus;
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(inbox), "p"));
    bus.reset();
    EXPECT_FALSE(watched.expired());
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(inbox.entries, SizeIs(1));
    watched.lock()->UnsubscribeChangeMsg("TUK_DeviceAccess", "p");
    EXPECT_TRUE(watched.expired());
}

TEST_F(ChangeMsgTest, ExceptionOfAPluginReachesThePlatformWithoutACostLine) {
    ASSERT_TRUE(bus->SubscribeChangeMsg(
        "TUK_DeviceAccess", {},
        [](const std::string&, std::shared_ptr<IBusMsg>) { throw std::runtime_error("plug-in"); }, "p"));
    platform.log.Clear();
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(platform.bus.fake.CaughtExceptions(), ElementsAre("plug-in"));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(2, "QARCommonMsg", _)));
}

// --- Ex subscriptions ------------------------------------------------------------------------------------------------

constexpr char kSubscribeEx[] = "qar::CMessageBusChangeMsg::SubscribeChangeMsgEx";
constexpr char kUnsubscribeEx[] = "qar::CMessageBusChangeMsg::UnsubscribeChangeMsgEx";
constexpr char kNotifyEx[] = "qar::CMessageBusChangeMsg::ChangeMsgNotifyCBEx";

TEST_F(ChangeMsgTest, NullFunctionIsRefusedWithItsOwnError) {
    EXPECT_CALL(platform.bus, SubscribeObserverEx).Times(0);
    EXPECT_FALSE(bus->SubscribeChangeMsgEx("topic", {1}, nullptr, this, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 2));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEx, 5, "QARCommon",
                                   "[MessageBus] plugin[p] subscribes[topic] change-msg failed for function is "
                                   "null.\n")));
}

TEST_F(ChangeMsgTest, ExSubscriberGetsTheTypesItAskedFor) {
    Inbox inbox;
    EXPECT_CALL(platform.bus, SubscribeObserverEx("p", "TUK_DeviceAccess", std::set<int>{261, 265}, _, _));
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {265, 261}, Receive, &inbox, "p"));
    const std::string cb = CallbackText(Receive, &inbox);
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kSubscribeEx, 3, "QARCommon",
                           "[MessageBus] plugin[p] subscribes[TUK_DeviceAccess] msg-type[261,265] change-msg.\n"),
                    LineIn(kSubscribeEx, 3, "QARCommon",
                           "[MessageBus] plugin[p] subscribes[TUK_DeviceAccess] msg-type[261,265] cb[" + cb +
                               "] change-msg success.\n")));
    platform.log.Clear();

    platform.bus.fake.Deliver("TUK_DeviceAccess", 517, DeviceEvent(517, 7));
    EXPECT_THAT(inbox.entries, IsEmpty());
    platform.bus.fake.Deliver("TUK_DeviceAccess", 265, DeviceEvent(265, 7));
    ASSERT_THAT(inbox.entries, SizeIs(1));
    EXPECT_EQ(inbox.entries[0].observer, "TUK_DeviceAccess");
    EXPECT_EQ(inbox.entries[0].msg->Type(), 265);
    EXPECT_EQ(inbox.entries[0].msg->SourceID(), 7u);
    const auto lines = platform.log.Lines();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_THAT(lines[0],
                LineIn(kNotifyEx, 2, "QARCommonMsg", "Recv Observer-msg[265] from [TUK_DeviceAccess], msg: \ntext\n"));
    const std::string head = "Recv Observer-msg[265] from [TUK_DeviceAccess], [" + cb + "] proc-cost: ";
    EXPECT_THAT(lines[1], LineIn(kNotifyEx, 3, "QARCommonMsg", ::testing::StartsWith(head)));
    EXPECT_THAT(lines[1].body.substr(head.size()), MatchesRegex("[0-9]+ ms\n"));
    EXPECT_THAT(lines[1].file, EndsWith("src/zelplatformadaptor/MessageBusChangeMsg.cpp"));
    EXPECT_GT(lines[1].line, 0);
}

TEST_F(ChangeMsgTest, CallbackIsPrintedWithItsFunctionAndUserData) {
    int data = 0;
    char expected[96];
    std::snprintf(expected, sizeof expected, "func[%p], user-data[%p]", reinterpret_cast<void*>(&Receive),
                  static_cast<void*>(&data));
    EXPECT_EQ(CallbackText(Receive, &data), expected);
}

TEST_F(ChangeMsgTest, EmptyTypeSetIsAnEmptyTextAndEveryType) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {}, Receive, &inbox, "p"));
    EXPECT_THAT(platform.log.Lines()[0],
                Line(3, "QARCommon", "[MessageBus] plugin[p] subscribes[TUK_DeviceAccess] msg-type[] change-msg.\n"));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 12345, DeviceEvent(12345, 7));
    EXPECT_THAT(inbox.entries, SizeIs(1));
}

TEST_F(ChangeMsgTest, SameFunctionAndUserDataAgainReachesThePlatformAndWidensTheTypes) {
    Inbox inbox;
    void* first_param = nullptr;
    void* second_param = nullptr;
    EXPECT_CALL(platform.bus, SubscribeObserverEx("p", "TUK_DeviceAccess", std::set<int>{1}, _, _))
        .WillOnce([&](const auto& plugin, const auto& observer, const auto& types, auto cb, void* user_data) {
            first_param = user_data;
            return platform.bus.fake.SubscribeObserverEx(plugin, observer, types, cb, user_data);
        });
    EXPECT_CALL(platform.bus, SubscribeObserverEx("p", "TUK_DeviceAccess", std::set<int>{2}, _, _))
        .WillOnce([&](const auto& plugin, const auto& observer, const auto& types, auto cb, void* user_data) {
            second_param = user_data;
            return platform.bus.fake.SubscribeObserverEx(plugin, observer, types, cb, user_data);
        });
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &inbox, "p"));
    platform.log.Clear();
    EXPECT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {2}, Receive, &inbox, "p"));
    EXPECT_EQ(first_param, second_param);
    const std::string cb = CallbackText(Receive, &inbox);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEx, 3, "QARCommon",
                                   "[MessageBus] Reuse one callback function, plugin[p], "
                                   "observer[TUK_DeviceAccess], msg-type[2], cb[" +
                                       cb + "].\n"),
                            Line(3, "QARCommon",
                                 "[MessageBus] plugin[p] subscribes[TUK_DeviceAccess] msg-type[2] change-msg.\n"),
                            Line(3, "QARCommon",
                                 "[MessageBus] plugin[p] subscribes[TUK_DeviceAccess] msg-type[2] cb[" + cb +
                                     "] change-msg success.\n")));

    // one subscription, so a message of either type comes once
    EXPECT_THAT(platform.bus.fake.Subscriptions(), SizeIs(1));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 2, DeviceEvent(2, 7));
    EXPECT_THAT(inbox.entries, SizeIs(2));
    // and one entry, so one unsubscribe ends it
    bus->UnsubscribeChangeMsgEx("TUK_DeviceAccess", {}, "p");
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
}

TEST_F(ChangeMsgTest, SecondFunctionForOnePluginAndTopicIsRefusedAndFirstStays) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &inbox, "p"));
    platform.log.Clear();
    EXPECT_CALL(platform.bus, SubscribeObserverEx).Times(0);
    EXPECT_FALSE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {2, 3}, ReceiveOtherwise, &inbox, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 40945));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEx, 3, "QARCommon",
                                   "[MessageBus] One plugin and one observer correspond to multiple functions not "
                                   "support, plugin[p], observer[TUK_DeviceAccess], msg-type[2,3], cb[" +
                                       CallbackText(Receive, &inbox) + "], cb-new[" +
                                       CallbackText(ReceiveOtherwise, &inbox) + "].\n")));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(inbox.entries, SizeIs(1));
}

TEST_F(ChangeMsgTest, OtherUserDataForOnePluginAndTopicIsRefusedAndFirstStays) {
    Inbox inbox;
    Inbox other;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &inbox, "p"));
    EXPECT_FALSE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {2}, Receive, &other, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 40945));
    EXPECT_EQ(Error::GetLastError().GetCode(), 0x9FF1);
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(inbox.entries, SizeIs(1));
    EXPECT_THAT(other.entries, IsEmpty());
}

TEST_F(ChangeMsgTest, TwoPluginsOnOneTopicEachGetTheirOwnMessage) {
    Inbox first;
    Inbox second;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &first, "p"));
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, ReceiveOtherwise, &second, "q"));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    ASSERT_THAT(first.entries, SizeIs(1));
    ASSERT_THAT(second.entries, SizeIs(1));
    EXPECT_NE(first.entries[0].msg, second.entries[0].msg);
}

TEST_F(ChangeMsgTest, TwoPluginsWithTheSameFunctionAndUserDataAreTwoSubscribers) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &inbox, "p"));
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &inbox, "q"));
    EXPECT_EQ(platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7)), 2u);
    EXPECT_THAT(inbox.entries, SizeIs(2));
}

TEST_F(ChangeMsgTest, PluginAndTopicThatJoinToOneKeyShareItsCallback) {
    Inbox inbox;
    Inbox other;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("b+c", {1}, Receive, &inbox, "a"));
    EXPECT_FALSE(bus->SubscribeChangeMsgEx("c", {1}, Receive, &other, "a+b"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 40945));
}

TEST_F(ChangeMsgTest, PlainAndExSubscriptionOfOnePluginAndTopicStandBesideEachOther) {
    Inbox plain;
    Inbox ex;
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, Keep(plain), "p"));
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {}, Receive, &ex, "p"));
    bus->UnsubscribeChangeMsg("TUK_DeviceAccess", "p");
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(plain.entries, IsEmpty());
    EXPECT_THAT(ex.entries, SizeIs(1));
}

TEST_F(ChangeMsgTest, RefusalOfThePlatformKeepsItsErrorAndStoresNothing) {
    Inbox inbox;
    EXPECT_CALL(platform.bus, SubscribeObserverEx)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)))
        .WillOnce(Return(true));
    EXPECT_FALSE(bus->SubscribeChangeMsgEx("topic", {1, 2}, Receive, &inbox, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEx, 3, "QARCommon",
                                   "[MessageBus] plugin[p] subscribes[topic] msg-type[1,2] change-msg.\n"),
                            LineIn(kSubscribeEx, 5, "QARCommon",
                                   "[MessageBus] plugin[p] subscribes[topic] msg-type[1,2] cb[" +
                                       CallbackText(Receive, &inbox) + "] change-msg failed, err[3,77].\n")));
    EXPECT_TRUE(bus->SubscribeChangeMsgEx("topic", {1}, ReceiveOtherwise, &inbox, "p"));
}

TEST_F(ChangeMsgTest, ExUnsubscribeEndsTheWholeSubscriptionWhateverTheTypes) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1, 2}, Receive, &inbox, "p"));
    platform.log.Clear();
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx("p", "TUK_DeviceAccess", std::set<int>{}));
    bus->UnsubscribeChangeMsgEx("TUK_DeviceAccess", {1}, "p");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kUnsubscribeEx, 3, "QARCommon",
                                   "[MessageBus] UnSubscribeObserver OK, plugin[p], observer[TUK_DeviceAccess], "
                                   "msg-type[1].\n")));
    EXPECT_EQ(platform.bus.fake.Deliver("TUK_DeviceAccess", 2, DeviceEvent(2, 7)), 0u);
}

TEST_F(ChangeMsgTest, AnotherFunctionIsTakenAfterTheUnsubscribe) {
    Inbox inbox;
    Inbox other;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, Receive, &inbox, "p"));
    bus->UnsubscribeChangeMsgEx("TUK_DeviceAccess", {1}, "p");
    EXPECT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {1}, ReceiveOtherwise, &other, "p"));
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(inbox.entries, IsEmpty());
    EXPECT_THAT(other.entries, SizeIs(1));
}

TEST_F(ChangeMsgTest, ExUnsubscribeOfAnUnknownPairStillAsksThePlatform) {
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx("p", "topic", std::set<int>{})).WillOnce(Return(true));
    bus->UnsubscribeChangeMsgEx("topic", {1, 2}, "p");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kUnsubscribeEx, 4, "QARCommon",
                                   "[MessageBus] CBExTypeTuple is empty when UnSubscribeObserver, plugin[p], "
                                   "observer[topic], msg-type[1,2]\n"),
                            LineIn(kUnsubscribeEx, 3, "QARCommon",
                                   "[MessageBus] UnSubscribeObserver OK, plugin[p], observer[topic], "
                                   "msg-type[1,2].\n")));
}

TEST_F(ChangeMsgTest, ExUnsubscribeForgetsTheCallbackAlsoWhenThePlatformRefuses) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("topic", {1}, Receive, &inbox, "p"));
    platform.log.Clear();
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 78)); }, Return(false)));
    bus->UnsubscribeChangeMsgEx("topic", {}, "p");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 78));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kUnsubscribeEx, 5, "QARCommon",
                                   "[MessageBus] UnSubscribeObserver failed, plugin[p], observer[topic], msg-type[], "
                                   "err[3,78].\n")));
    EXPECT_CALL(platform.bus, SubscribeObserverEx).WillOnce(Return(true));
    EXPECT_TRUE(bus->SubscribeChangeMsgEx("topic", {1}, ReceiveOtherwise, &inbox, "p"));
}

TEST_F(ChangeMsgTest, CallWithoutUserDataOrFunctionIsDroppedWithALine) {
    Inbox inbox;
    ZELPlatform::MsgBus::ObserverNotifyFuncEx callback = nullptr;
    EXPECT_CALL(platform.bus, SubscribeObserverEx).WillOnce([&](const auto&, const auto&, const auto&, auto cb, void*) {
        callback = cb;
        return true;
    });
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("topic", {}, Receive, &inbox, "p"));
    platform.log.Clear();
    ASSERT_NE(callback, nullptr);

    CMessageBusChangeMsg::ChangeMsgCBFuncExParam without_function{nullptr, &inbox};
    callback("topic", 9, DeviceEvent(1, 7), nullptr);
    callback("topic", 9, DeviceEvent(1, 7), &without_function);
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<void*>(&without_function));
    EXPECT_THAT(inbox.entries, IsEmpty());
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(kNotifyEx, 5, "QARCommonMsg", "User data is null, recv Observer-msg[9] from [topic], [(nil)]."),
            LineIn(kNotifyEx, 5, "QARCommonMsg",
                   "User data is null, recv Observer-msg[9] from [topic], [" + std::string(address) + "].")));
}

// --- from inside and around callbacks --------------------------------------------------------------------------------

/// Ends its own subscription and begins another from inside the call.
struct SelfEnding {
    CMessageBusChangeMsg* bus = nullptr;
    Inbox inbox;

    static void Receive(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data) {
        auto* self = static_cast<SelfEnding*>(user_data);
        self->inbox.entries.push_back({observer, std::move(msg)});
        self->bus->UnsubscribeChangeMsgEx(observer, {}, "p");
        EXPECT_TRUE(self->bus->SubscribeChangeMsgEx("other", {}, &SelfEnding::Receive, user_data, "p"));
        EXPECT_TRUE(self->bus->PublishChangeMsgType("other", {1}, {}));
        EXPECT_TRUE(self->bus->PostChangeMsg(std::make_shared<CBusMsgCommon>(1, 0, 0, "", nullptr, 0), "other"));
    }
};

TEST_F(ChangeMsgTest, CallbackMayUnsubscribeSubscribeAndPostAndItsCostIsStillLogged) {
    SelfEnding subscriber;
    subscriber.bus = bus.get();
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {}, &SelfEnding::Receive, &subscriber, "p"));
    platform.log.Clear();
    platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    EXPECT_THAT(subscriber.inbox.entries, SizeIs(1));
    const auto lines = platform.log.LinesOf("QARCommonMsg");
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_THAT(lines[1].body,
                ::testing::StartsWith("Recv Observer-msg[1] from [TUK_DeviceAccess], [" +
                                      CallbackText(&SelfEnding::Receive, &subscriber) + "] proc-cost: "));
    EXPECT_THAT(platform.bus.fake.Subscriptions(), SizeIs(1));
}

TEST_F(ChangeMsgTest, CallOnItsWayWhileTheSubscriptionEndsIsStillSafe) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {}, Receive, &inbox, "p"));
    const auto subscription = platform.bus.fake.Subscriptions().at(0);
    bus->UnsubscribeChangeMsgEx("TUK_DeviceAccess", {}, "p");
    bus.reset();
    subscription.cb("TUK_DeviceAccess", 1, DeviceEvent(1, 7), subscription.user_data);
    EXPECT_THAT(inbox.entries, SizeIs(1));
}

TEST_F(ChangeMsgTest, PlainCallbackMayUnsubscribeItselfSubscribeAndPost) {
    int calls = 0;
    int other_calls = 0;
    const ChangeFunc fn = [&](const std::string& observer, std::shared_ptr<IBusMsg>) {
        ++calls;
        bus->UnsubscribeChangeMsg(observer, "p");
        EXPECT_TRUE(bus->PublishChangeMsgType("other", {1}, {}));
        EXPECT_TRUE(bus->SubscribeChangeMsg(
            "other", {}, [&](const std::string&, std::shared_ptr<IBusMsg>) { ++other_calls; }, "p"));
        EXPECT_TRUE(bus->PostChangeMsg(std::make_shared<CBusMsgCommon>(1, 0, 0, "", nullptr, 0), "other"));
        EXPECT_EQ(other_calls, 0) << "no operation runs a callback itself";
    };
    ASSERT_TRUE(bus->SubscribeChangeMsg("TUK_DeviceAccess", {}, fn, "p"));
    for (int i = 0; i < 2; ++i) platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7));
    platform.bus.fake.DeliverAll();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(other_calls, 1);
}

TEST_F(ChangeMsgTest, PlainCallOnItsWayMayComeAfterTheUnsubscribe) {
    int calls = 0;
    ASSERT_TRUE(bus->PublishChangeMsgType("topic", {1}, {}));
    ASSERT_TRUE(bus->SubscribeChangeMsg(
        "topic", {}, [&](const std::string&, std::shared_ptr<IBusMsg>) { ++calls; }, "p"));
    ASSERT_TRUE(bus->PostChangeMsg(std::make_shared<CBusMsgCommon>(1, 0, 0, "", nullptr, 0), "topic"));
    bus->UnsubscribeChangeMsg("topic", "p");
    bus.reset();
    platform.bus.fake.DeliverAll();
    EXPECT_EQ(calls, 1);
}

// Were a lock held across the platform's subscribe, the callback's own operations would wait for it for ever.
TEST_F(ChangeMsgTest, CallMayComeBeforeTheSubscribeHasReturned) {
    SelfEnding subscriber;
    subscriber.bus = bus.get();
    int plain_calls = 0;
    const auto deliver = [this] {
        std::thread([this] { platform.bus.fake.Deliver("TUK_DeviceAccess", 1, DeviceEvent(1, 7)); }).join();
    };
    ON_CALL(platform.bus, SubscribeObserverEx)
        .WillByDefault([&](const std::string& plugin, const std::string& observer, const std::set<int>& types,
                           ZELPlatform::MsgBus::ObserverNotifyFuncEx cb, void* user_data) {
            const bool result = platform.bus.fake.SubscribeObserverEx(plugin, observer, types, cb, user_data);
            if (observer == "TUK_DeviceAccess") {
                deliver();
                EXPECT_THAT(subscriber.inbox.entries, SizeIs(1));
            }
            return result;
        });
    ON_CALL(platform.bus, SubscribeObserver)
        .WillByDefault([&](const std::string& observer, const auto& plugin, auto fn) {
            const bool result = platform.bus.fake.SubscribeObserver(observer, plugin, std::move(fn));
            deliver();
            EXPECT_EQ(plain_calls, 1);
            return result;
        });
    EXPECT_TRUE(bus->SubscribeChangeMsgEx("TUK_DeviceAccess", {}, &SelfEnding::Receive, &subscriber, "p"));
    EXPECT_TRUE(bus->SubscribeChangeMsg(
        "TUK_DeviceAccess", {}, [&](const std::string&, std::shared_ptr<IBusMsg>) { ++plain_calls; }, "p"));
}

TEST_F(ChangeMsgTest, SubscribingAgainHandsThePlatformTheSameAddress) {
    Inbox inbox;
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("topic", {}, Receive, &inbox, "p"));
    void* const first = platform.bus.fake.Subscriptions().at(0).user_data;
    bus->UnsubscribeChangeMsgEx("topic", {}, "p");
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("topic", {}, Receive, &inbox, "p"));
    EXPECT_EQ(platform.bus.fake.Subscriptions().at(0).user_data, first);
}

void Count(const std::string&, std::shared_ptr<IBusMsg>, void* user_data) {
    ++*static_cast<std::atomic<int>*>(user_data);
}

TEST_F(ChangeMsgTest, ThreadsSubscribePublishPostAndUnsubscribeTogether) {
    platform.log.SetLevel(5);
    std::atomic<int> received{0};
    const auto work = [&](const std::string& plugin) {
        for (int i = 0; i < 100; ++i) {
            EXPECT_TRUE(bus->PublishChangeMsgType("topic", {i}, {i + 1}));
            EXPECT_TRUE(bus->SubscribeChangeMsgEx("topic", {}, Count, &received, plugin));
            EXPECT_TRUE(bus->SubscribeChangeMsg(
                "topic", {}, [&](const std::string&, std::shared_ptr<IBusMsg>) { ++received; }, plugin));
            EXPECT_TRUE(bus->PostChangeMsg(std::make_shared<CBusMsgCommon>(i, 0, 0, "{}", nullptr, 0), "topic"));
            while (platform.bus.fake.DeliverOne()) {
            }
            bus->UnsubscribeChangeMsg("topic", plugin);
            bus->UnsubscribeChangeMsgEx("topic", {}, plugin);
        }
    };
    std::thread first(work, "p");
    std::thread second(work, "q");
    first.join();
    second.join();
    platform.bus.fake.DeliverAll();
    // each of the 200 messages reached at least its own sender's two subscriptions
    EXPECT_GE(received, 400);
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    EXPECT_EQ(platform.bus.fake.PlainSubscriptions("topic"), 0u);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

}  // namespace
}  // namespace qar
