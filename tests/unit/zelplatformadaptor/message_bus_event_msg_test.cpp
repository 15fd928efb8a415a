#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <iterator>
#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "support/vtable_slot.h"
#include "unit/zelplatformadaptor/fake_contents.h"
#include "zelplatformadaptor/MessageBusEventMsg.h"
#include "zelplatformadaptor/PluginMsgBusEvent.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::Line;
using qarmock::LineIn;
using test_support::SlotOf;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SizeIs;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;

using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
using Errors = std::list<CMsgSubScribeErrorInfo>;
using Rows = std::list<CMsgSubscribeInfo>;

constexpr char kSubscribeEvent[] = "qar::CMessageBusEventMsg::SubscribeEventMsg";
constexpr char kSubscribeEventEx[] = "qar::CMessageBusEventMsg::SubscribeEventMsgEx";
constexpr char kUnsubscribeEvent[] = "qar::CMessageBusEventMsg::UnsubscribeEventMsg";
constexpr char kUnsubscribeEventEx[] = "qar::CMessageBusEventMsg::UnsubscribeEventMsgEx";
constexpr char kDeliver[] = "qar::CMessageBusEventMsg::EventMsgCB";

constexpr char kNullFunction[] = "[MessageBus] Plugin[p] subscribe event failed for function is null.\n";

/// Fills the platform's list of refused rows.
auto Refuse(const std::vector<Error::ErrorCode>& codes) {
    return [codes](Errors& errors, const Rows&) {
        for (const auto& code : codes) {
            CMsgSubScribeErrorInfo error;
            error.SetValerrorInfo(code);
            errors.push_back(error);
        }
        return false;
    };
}

class EventMsgTest : public ::testing::Test {
protected:
    EventMsgTest() {
        ON_CALL(platform.events, UpdateSubscribeList).WillByDefault(DoAll(SaveArg<1>(&rows), Return(true)));
    }

    EventFunc Keep() {
        return [this](std::shared_ptr<IBusMsg> msg) { received.push_back(std::move(msg)); };
    }

    /// What the platform would call to deliver by one row of the last list.
    void Deliver(std::size_t row, int type, int resource_type, int resource_id, const Content& content) {
        ASSERT_LT(row, rows.size());
        const auto fn = std::next(rows.begin(), static_cast<std::ptrdiff_t>(row))->GetValsubscriber();
        ASSERT_TRUE(fn.GetValcallbackFunction());
        fn.GetValcallbackFunction()(type, resource_type, resource_id, content);
    }

    static std::shared_ptr<CBusMsgCommon> EventOf(int type) {
        return std::make_shared<CBusMsgCommon>(type, 1001, 5u, "{}", nullptr, 0u, "p");
    }

    qarmock::Platform platform;
    Rows rows;
    std::vector<std::shared_ptr<IBusMsg>> received;
    std::shared_ptr<CMessageBusEventMsg> bus = std::make_shared<CMessageBusEventMsg>();
};

TEST_F(EventMsgTest, TwoOperationsAreVirtualInThisOrder) {
    static_assert(!std::has_virtual_destructor_v<CMessageBusEventMsg>);
    EXPECT_EQ(SlotOf(&CMessageBusEventMsg::UnsubscribeEventMsg), 0);
    EXPECT_EQ(SlotOf(&CMessageBusEventMsg::UnsubscribeEventMsgEx), 1);
    EXPECT_EQ(SlotOf(&CMessageBusEventMsg::PublishEventType), -1);
    EXPECT_EQ(SlotOf(&CMessageBusEventMsg::PostEventMsg), -1);
    EXPECT_EQ(SlotOf(&CMessageBusEventMsg::SubscribeEventMsg), -1);
    EXPECT_EQ(SlotOf(&CMessageBusEventMsg::SubscribeEventMsgEx), -1);
}

// --- subscribe -------------------------------------------------------------------------------------------------------

TEST_F(EventMsgTest, SubscribeMakesOneRowForEachEvent) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), SizeIs(2)))
        .WillOnce(DoAll(
            SaveArg<1>(&rows), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    EXPECT_TRUE(bus->SubscribeEventMsg({13, 12}, "p", Keep(), true));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEvent, 3, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n"),
                            LineIn(kSubscribeEvent, 3, "QARCommon", "[MessageBus] event[12]\n"),
                            LineIn(kSubscribeEvent, 3, "QARCommon", "[MessageBus] event[13]\n")));
    int event = 12;
    for (const auto& row : rows) {
        EXPECT_EQ(row.GetValeventType(), event++);
        EXPECT_EQ(row.GetValsubscribeType(), kSubscribe);
        EXPECT_TRUE(row.GetIncludeNodeEvents());
        EXPECT_FALSE(row.GetNeedTukStorePicture());
        EXPECT_THAT(row.GetValresourceTypes(), IsEmpty());
        EXPECT_THAT(row.GetValresourceIDs(), IsEmpty());
        EXPECT_EQ(row.GetValsubscriber().GetValsubscribeType(), kSubscriberPlugin);
        EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "p");
        EXPECT_TRUE(row.GetValsubscriber().GetValcallbackFunction());
    }
    EXPECT_EQ(event, 14);
}

TEST_F(EventMsgTest, EventsOfOtherNodesCanBeLeftOut) {
    EXPECT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_FALSE(rows.front().GetIncludeNodeEvents());
}

TEST_F(EventMsgTest, EmptyFunctionIsRefusedWithoutAskingThePlatform) {
    EXPECT_CALL(platform.events, UpdateSubscribeList).Times(0);
    EXPECT_FALSE(bus->SubscribeEventMsg({12}, "p", nullptr, false));
    EXPECT_FALSE(bus->SubscribeEventMsgEx({12}, {1001}, {5}, "p", nullptr, false, false));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kSubscribeEvent, 5, "QARCommon", kNullFunction),
                                                  LineIn(kSubscribeEventEx, 5, "QARCommon", kNullFunction)));
}

TEST_F(EventMsgTest, SubscriptionOfNoEventReachesThePlatformAsWell) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), IsEmpty())).Times(2).WillRepeatedly(Return(true));
    EXPECT_TRUE(bus->SubscribeEventMsg({}, "p", Keep(), false));
    EXPECT_TRUE(bus->SubscribeEventMsgEx({}, {}, {}, "p", Keep(), false, false));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEvent, 3, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n")));
}

TEST_F(EventMsgTest, EachRefusedRowIsTold) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), SizeIs(3)))
        .WillOnce(Refuse({Error::ErrorCode(3, 78), Error::ErrorCode(4, 77)}));
    EXPECT_FALSE(bus->SubscribeEventMsg({12, 13, 14}, "p", Keep(), false));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(kSubscribeEvent, 5, "QARCommon", "[MessageBus] subscribe event failed. err[78], plugin[p]\n"),
            LineIn(kSubscribeEvent, 5, "QARCommon", "[MessageBus] subscribe event failed. err[77], plugin[p]\n")));
}

// Rows that the platform accepted stay accepted: there is no second list that takes them back.
TEST_F(EventMsgTest, AcceptedRowsOfARefusedListStay) {
    EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce([&](Errors& errors, const Rows& list) {
        rows = list;
        return Refuse({Error::ErrorCode(3, 78)})(errors, list);
    });
    EXPECT_FALSE(bus->SubscribeEventMsg({12, 13}, "p", Keep(), false));
    Deliver(0, 12, 1001, 5, nullptr);
    EXPECT_THAT(received, SizeIs(1));
}

TEST_F(EventMsgTest, RefusalWithoutARowIsFalseWithoutALine) {
    EXPECT_CALL(platform.events, UpdateSubscribeList).Times(2).WillRepeatedly(Return(false));
    EXPECT_FALSE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    EXPECT_FALSE(bus->SubscribeEventMsgEx({12}, {}, {}, "p", Keep(), false, false));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(EventMsgTest, ThePlatformsAnswerCountsAndNotItsListOfErrors) {
    EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce([](Errors& errors, const Rows& list) {
        return !Refuse({Error::ErrorCode(3, 78)})(errors, list);
    });
    EXPECT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(3, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n"),
                                                  Line(3, "QARCommon", "[MessageBus] event[12]\n")));
}

TEST_F(EventMsgTest, ErrorsOfOneListAreNotToldWithTheNext) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), _))
        .Times(2)
        .WillRepeatedly(Refuse({Error::ErrorCode(3, 78)}));
    EXPECT_FALSE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    EXPECT_FALSE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    EXPECT_THAT(platform.log.Lines(), SizeIs(2));
}

// Who is subscribed is known to the platform alone, so a second subscription under one name is its matter.
TEST_F(EventMsgTest, SubscribingAgainReachesThePlatformAgain) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(_, SizeIs(1))).Times(2).WillRepeatedly(Return(true));
    EXPECT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    EXPECT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    const auto head = Line(3, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n");
    const auto event = Line(3, "QARCommon", "[MessageBus] event[12]\n");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(head, event, head, event));
}

TEST_F(EventMsgTest, ExSubscribeAddsResourcesAndPictures) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), SizeIs(2)))
        .WillOnce(DoAll(
            SaveArg<1>(&rows), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    EXPECT_TRUE(bus->SubscribeEventMsgEx({13, 12}, {1002, 1001}, {6, 5}, "p", Keep(), true, true));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] event[12]\n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] event[13]\n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] resource_type[1001]\n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] resource_type[1002]\n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] resource_id[5]\n"),
                            LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] resource_id[6]\n")));
    int event = 12;
    for (const auto& row : rows) {
        EXPECT_EQ(row.GetValeventType(), event++);
        EXPECT_EQ(row.GetValsubscribeType(), kSubscribe);
        EXPECT_TRUE(row.GetIncludeNodeEvents());
        EXPECT_TRUE(row.GetNeedTukStorePicture());
        EXPECT_THAT(row.GetValresourceTypes(), ElementsAre(1001, 1002));
        EXPECT_THAT(row.GetValresourceIDs(), ElementsAre(5u, 6u));
        EXPECT_EQ(row.GetValsubscriber().GetValsubscribeType(), kSubscriberPlugin);
        EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "p");
        EXPECT_TRUE(row.GetValsubscriber().GetValcallbackFunction());
    }
    EXPECT_EQ(event, 14);
}

TEST_F(EventMsgTest, ExSubscribeHandsEachFlagToItsOwnPlace) {
    EXPECT_TRUE(bus->SubscribeEventMsgEx({12}, {}, {}, "p", Keep(), true, false));
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_TRUE(rows.front().GetIncludeNodeEvents());
    EXPECT_FALSE(rows.front().GetNeedTukStorePicture());
    EXPECT_TRUE(bus->SubscribeEventMsgEx({12}, {}, {}, "p", Keep(), false, true));
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_FALSE(rows.front().GetIncludeNodeEvents());
    EXPECT_TRUE(rows.front().GetNeedTukStorePicture());
}

TEST_F(EventMsgTest, ExSubscribeHandsANegativeIdOnWithoutItsSign) {
    EXPECT_TRUE(bus->SubscribeEventMsgEx({12}, {-1}, {-1}, "p", Keep(), false, false));
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_THAT(rows.front().GetValresourceTypes(), ElementsAre(-1));
    EXPECT_THAT(rows.front().GetValresourceIDs(), ElementsAre(0xFFFFFFFFu));
    EXPECT_THAT(platform.log.Lines().back(),
                LineIn(kSubscribeEventEx, 2, "QARCommon", "[MessageBus] resource_id[-1]\n"));
}

TEST_F(EventMsgTest, EachRefusedRowOfAnExSubscribeIsTold) {
    EXPECT_CALL(platform.events, UpdateSubscribeList)
        .WillOnce(Refuse({Error::ErrorCode(3, 78), Error::ErrorCode(3, 79)}));
    EXPECT_FALSE(bus->SubscribeEventMsgEx({12, 13}, {1001}, {5}, "p", Keep(), false, false));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(kSubscribeEventEx, 5, "QARCommon", "[MessageBus] subscribe event failed. err[78], plugin[p]\n"),
            LineIn(kSubscribeEventEx, 5, "QARCommon", "[MessageBus] subscribe event failed. err[79], plugin[p]\n")));
}

// --- unsubscribe -----------------------------------------------------------------------------------------------------

TEST_F(EventMsgTest, UnsubscribeMakesOneCancellingRowForEachEvent) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), SizeIs(2)))
        .WillOnce(DoAll(
            SaveArg<1>(&rows), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    bus->UnsubscribeEventMsg({13, 12}, "p");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kUnsubscribeEvent, 3, "QARCommon",
                                                         "[MessageBus] Plugin[p] Unsubscribe event-num[2]\n")));
    int event = 12;
    for (const auto& row : rows) {
        EXPECT_EQ(row.GetValeventType(), event++);
        EXPECT_EQ(row.GetValsubscribeType(), kSubscribeCancel);
        EXPECT_FALSE(row.GetIncludeNodeEvents());
        EXPECT_FALSE(row.GetNeedTukStorePicture());
        EXPECT_THAT(row.GetValresourceTypes(), IsEmpty());
        EXPECT_THAT(row.GetValresourceIDs(), IsEmpty());
        EXPECT_EQ(row.GetValsubscriber().GetValsubscribeType(), kSubscriberPlugin);
        EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "p");
        EXPECT_FALSE(row.GetValsubscriber().GetValcallbackFunction());
    }
    EXPECT_EQ(event, 14);
}

// The last line tells what was asked for, not what came of it.
TEST_F(EventMsgTest, UnsubscribeWritesItsLastLineAfterAFailureToo) {
    EXPECT_CALL(platform.events, UpdateSubscribeList)
        .WillOnce(Refuse({Error::ErrorCode(3, 78), Error::ErrorCode(3, 79)}));
    bus->UnsubscribeEventMsg({12, 13, 14}, "p");
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(kUnsubscribeEvent, 5, "QARCommon", "[MessageBus] Unsubscribe event failed. err[78], plugin[p]\n"),
            LineIn(kUnsubscribeEvent, 5, "QARCommon", "[MessageBus] Unsubscribe event failed. err[79], plugin[p]\n"),
            LineIn(kUnsubscribeEvent, 3, "QARCommon", "[MessageBus] Plugin[p] Unsubscribe event-num[3]\n")));
}

TEST_F(EventMsgTest, ExUnsubscribeAddsResourcesAndWritesItsLastLineAtLevelTwo) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), SizeIs(2)))
        .WillOnce(DoAll(
            SaveArg<1>(&rows), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    bus->UnsubscribeEventMsgEx({12, 13}, {1002, 1001}, {-1, 5}, "p");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kUnsubscribeEventEx, 2, "QARCommon",
                                                         "[MessageBus] Plugin[p] Unsubscribe event-num[2]\n")));
    int event = 12;
    for (const auto& row : rows) {
        EXPECT_EQ(row.GetValeventType(), event++);
        EXPECT_EQ(row.GetValsubscribeType(), kSubscribeCancel);
        EXPECT_FALSE(row.GetIncludeNodeEvents());
        EXPECT_FALSE(row.GetNeedTukStorePicture());
        EXPECT_THAT(row.GetValresourceTypes(), ElementsAre(1001, 1002));
        EXPECT_THAT(row.GetValresourceIDs(), ElementsAre(5u, 0xFFFFFFFFu));
        EXPECT_EQ(row.GetValsubscriber().GetValsubscribeType(), kSubscriberPlugin);
        EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "p");
        EXPECT_FALSE(row.GetValsubscriber().GetValcallbackFunction());
    }
    EXPECT_EQ(event, 14);
}

TEST_F(EventMsgTest, ExUnsubscribeWritesItsLastLineAfterAFailureToo) {
    EXPECT_CALL(platform.events, UpdateSubscribeList).WillOnce(Refuse({Error::ErrorCode(3, 78)}));
    bus->UnsubscribeEventMsgEx({12}, {1001}, {5}, "p");
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(kUnsubscribeEventEx, 5, "QARCommon", "[MessageBus] Unsubscribe event failed. err[78], plugin[p]\n"),
            LineIn(kUnsubscribeEventEx, 2, "QARCommon", "[MessageBus] Plugin[p] Unsubscribe event-num[1]\n")));
}

TEST_F(EventMsgTest, UnsubscribeOfNoEventReachesThePlatformAsWell) {
    EXPECT_CALL(platform.events, UpdateSubscribeList(IsEmpty(), IsEmpty())).Times(2).WillRepeatedly(Return(true));
    bus->UnsubscribeEventMsg({}, "p");
    bus->UnsubscribeEventMsgEx({}, {}, {}, "p");
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kUnsubscribeEvent, 3, "QARCommon", "[MessageBus] Plugin[p] Unsubscribe event-num[0]\n"),
                    LineIn(kUnsubscribeEventEx, 2, "QARCommon", "[MessageBus] Plugin[p] Unsubscribe event-num[0]\n")));
}

// --- delivery --------------------------------------------------------------------------------------------------------

TEST_F(EventMsgTest, SubscriberGetsTheEventAndItsCostIsLogged) {
    ASSERT_TRUE(bus->SubscribeEventMsg({12, 13}, "p", Keep(), false));
    platform.log.Clear();
    Deliver(1, 13, 1001, 5, std::make_shared<test::FakeContent>("{\"a\":1}"));
    ASSERT_THAT(received, SizeIs(1));
    EXPECT_EQ(received[0]->Type(), 13);
    EXPECT_EQ(received[0]->SourceType(), 1001);
    EXPECT_EQ(received[0]->SourceID(), 5u);
    EXPECT_EQ(received[0]->GetJsonTxt(), "{\"a\":1}");
    EXPECT_NE(std::dynamic_pointer_cast<CPluginMsgBusEvent>(received[0]), nullptr);
    const auto lines = platform.log.Lines();
    EXPECT_THAT(lines, ElementsAre(LineIn(kDeliver, 2, "QARCommonMsg", "Recv event[13], msg: \n{\"a\":1}\n"),
                                   LineIn(kDeliver, 2, "QARCommonMsg",
                                          MatchesRegex("Recv event\\[13\\], resource-id\\[5\\], "
                                                       "resource-type\\[1001\\], \\[p\\] proc-cost: [0-9]+ ms\n"))));
    EXPECT_THAT(lines.back().file, EndsWith("src/zelplatformadaptor/MessageBusEventMsg.cpp"));
    EXPECT_GT(lines.back().line, 0);
}

TEST_F(EventMsgTest, ExSubscriberGetsTheEventInTheSameWay) {
    ASSERT_TRUE(bus->SubscribeEventMsgEx({12}, {1001}, {5}, "q", Keep(), false, false));
    platform.log.Clear();
    Deliver(0, 12, 1001, 5, std::make_shared<test::FakeContent>("{}"));
    ASSERT_THAT(received, SizeIs(1));
    EXPECT_EQ(received[0]->Type(), 12);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kDeliver, 2, "QARCommonMsg", "Recv event[12], msg: \n{}\n"),
                            LineIn(kDeliver, 2, "QARCommonMsg",
                                   MatchesRegex("Recv event\\[12\\], resource-id\\[5\\], "
                                                "resource-type\\[1001\\], \\[q\\] proc-cost: [0-9]+ ms\n"))));
}

TEST_F(EventMsgTest, TextIsLoggedBeforeThePluginIsCalledAndTheCostAfter) {
    ASSERT_TRUE(bus->SubscribeEventMsg(
        {12}, "p", [&](std::shared_ptr<IBusMsg>) { EXPECT_THAT(platform.log.Lines(), SizeIs(1)); }, false));
    platform.log.Clear();
    Deliver(0, 12, 1001, 5, std::make_shared<test::FakeContent>("{}"));
    EXPECT_THAT(platform.log.Lines(), SizeIs(2));
}

TEST_F(EventMsgTest, EventWithoutAContentIsDelivered) {
    ASSERT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    platform.log.Clear();
    Deliver(0, 12, -1, -1, nullptr);
    ASSERT_THAT(received, SizeIs(1));
    EXPECT_EQ(received[0]->SourceType(), -1);
    EXPECT_EQ(received[0]->SourceID(), 0xFFFFFFFFu);
    EXPECT_EQ(received[0]->Data(), nullptr);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kDeliver, 2, "QARCommonMsg", "Recv event[12], msg: \n\n"),
                            LineIn(kDeliver, 2, "QARCommonMsg",
                                   MatchesRegex("Recv event\\[12\\], resource-id\\[-1\\], "
                                                "resource-type\\[-1\\], \\[p\\] proc-cost: [0-9]+ ms\n"))));
}

TEST_F(EventMsgTest, EachCallMakesAMessageOfItsOwn) {
    ASSERT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    const auto content = std::make_shared<test::FakeContent>("{}");
    Deliver(0, 12, 1001, 5, content);
    Deliver(0, 12, 1001, 5, content);
    ASSERT_THAT(received, SizeIs(2));
    EXPECT_NE(received[0], received[1]);
}

TEST_F(EventMsgTest, KeptMessageKeepsThePlatformsContent) {
    ASSERT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    auto content = std::make_shared<test::FakeContent>("{}");
    const std::weak_ptr<test::FakeContent> watched = content;
    Deliver(0, 12, 1001, 5, content);
    content.reset();
    ASSERT_FALSE(watched.expired());
    EXPECT_EQ(received.at(0)->GetJsonTxt(), "{}");
    received.clear();
    EXPECT_TRUE(watched.expired());
}

TEST_F(EventMsgTest, SubscriptionKeepsTheObjectAlive) {
    for (const bool ex : {false, true}) {
        bus = std::make_shared<CMessageBusEventMsg>();
        ASSERT_TRUE(ex ? bus->SubscribeEventMsgEx({12}, {}, {}, "p", Keep(), false, false)
                       : bus->SubscribeEventMsg({12}, "p", Keep(), false));
        const std::weak_ptr<CMessageBusEventMsg> watched = bus;
        bus.reset();
        EXPECT_FALSE(watched.expired()) << ex;
        received.clear();
        Deliver(0, 12, 1001, 5, nullptr);
        EXPECT_THAT(received, SizeIs(1)) << ex;
        rows.clear();
        EXPECT_TRUE(watched.expired()) << ex;
    }
}

TEST_F(EventMsgTest, ExceptionOfAPluginReachesThePlatformWithoutACostLine) {
    ASSERT_TRUE(bus->SubscribeEventMsg(
        {12}, "p", [](std::shared_ptr<IBusMsg>) { throw std::runtime_error("plug-in"); }, false));
    platform.log.Clear();
    EXPECT_THROW(Deliver(0, 12, 1001, 5, nullptr), std::runtime_error);
    EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(2, "QARCommonMsg", "Recv event[12], msg: \n\n")));
}

TEST_F(EventMsgTest, FunctionMayUseTheBusFromInsideTheCall) {
    ZELPlatform::MsgBus::MsgCapacityFunc be_subscribed;
    EXPECT_CALL(platform.events, RegistMsgCapacity).WillOnce(DoAll(SaveArg<1>(&be_subscribed), Return(true)));
    EXPECT_CALL(platform.events, MsgNotifyBySubscription).WillOnce(Return(true));
    ASSERT_TRUE(bus->SubscribeEventMsg(
        {12}, "p",
        [&](std::shared_ptr<IBusMsg> msg) {
            bus->UnsubscribeEventMsg({12}, "p");
            bus->UnsubscribeEventMsgEx({12}, {}, {}, "p");
            EXPECT_TRUE(bus->SubscribeEventMsg({13}, "p", Keep(), false));
            EXPECT_TRUE(bus->PublishEventType({14}, -1));
            be_subscribed(kSubscribe, 14, {});
            EXPECT_TRUE(bus->PostEventMsg(std::move(msg)));
        },
        false));
    const Rows first = rows;
    platform.log.Clear();
    first.front().GetValsubscriber().GetValcallbackFunction()(12, 1001, 5, nullptr);
    EXPECT_THAT(received, IsEmpty()) << "no operation runs a callback itself";
    const auto lines = platform.log.LinesOf("QARCommonMsg");
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_THAT(lines.back().body, MatchesRegex("Recv event\\[12\\].*proc-cost: [0-9]+ ms\n"));
    Deliver(0, 13, 1001, 5, nullptr);
    EXPECT_THAT(received, SizeIs(1));
}

// --- threads ---------------------------------------------------------------------------------------------------------

// Were a lock held across a call to the platform, what comes in meanwhile would wait for it for ever.
TEST_F(EventMsgTest, NoLockIsHeldAcrossACallToThePlatform) {
    ZELPlatform::MsgBus::MsgCapacityFunc be_subscribed;
    ZELPlatform::MsgBus::MsgResourceCapacityFunc push_by_event;
    ZELPlatform::MsgBus::ResourceCapacityFunc push_by_resource;
    EXPECT_CALL(platform.events, RegistMsgCapacity).WillOnce(DoAll(SaveArg<1>(&be_subscribed), Return(true)));
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity).WillOnce(DoAll(SaveArg<1>(&push_by_event), Return(true)));
    EXPECT_CALL(platform.events, RegistResourceCapacity).WillOnce(DoAll(SaveArg<1>(&push_by_resource), Return(true)));
    ASSERT_TRUE(bus->PublishEventType({12}, 1001));
    int told = 0;
    const auto tell = [&] {
        std::thread([&] {
            be_subscribed(kSubscribe, 12, {});
            push_by_event(kSubscribe, 12, 1001, {5});
            push_by_resource(kSubscribe, 1001, {5});
            ++told;
        }).join();
    };
    EXPECT_CALL(platform.events, MsgNotifyBySubscription).WillOnce(DoAll(tell, Return(true)));
    EXPECT_CALL(platform.events, UpdateSubscribeList).Times(4).WillRepeatedly(DoAll(tell, Return(true)));
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12)));
    EXPECT_TRUE(bus->SubscribeEventMsg({12}, "p", Keep(), false));
    EXPECT_TRUE(bus->SubscribeEventMsgEx({12}, {}, {}, "p", Keep(), false, false));
    bus->UnsubscribeEventMsg({12}, "p");
    bus->UnsubscribeEventMsgEx({12}, {}, {}, "p");
    EXPECT_EQ(told, 5);
}

TEST_F(EventMsgTest, ThreadsSubscribePostDeliverAndUnsubscribeTogether) {
    platform.log.SetLevel(5);
    std::atomic<int> delivered{0};
    constexpr int kRounds = 100;
    EXPECT_CALL(platform.events, UpdateSubscribeList).Times(4 * kRounds).WillRepeatedly([](Errors&, const Rows& list) {
        const auto& fn = list.front().GetValsubscriber().GetValcallbackFunction();
        if (fn) fn(list.front().GetValeventType(), 1001, 5, nullptr);
        return true;
    });
    EXPECT_CALL(platform.events, MsgNotifyBySubscription).Times(2 * kRounds).WillRepeatedly(Return(true));
    const auto work = [&](const std::string& plugin) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_TRUE(bus->SubscribeEventMsg(
                {i}, plugin, [&](std::shared_ptr<IBusMsg>) { ++delivered; }, false));
            EXPECT_TRUE(bus->PostEventMsg(EventOf(i)));
            bus->UnsubscribeEventMsg({i}, plugin);
        }
    };
    std::thread first(work, "p");
    std::thread second(work, "q");
    first.join();
    second.join();
    EXPECT_EQ(delivered, 2 * kRounds);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

}  // namespace
}  // namespace qar
