// What CMessageBusEventMsg publishes, and what the platform then tells it of subscriptions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "zelplatformadaptor/MessageBusEventMsg.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::Line;
using qarmock::LineIn;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::SubScribeType;

using Ids = std::set<unsigned int>;

// No operation tells what is in the tables of pushes, and nothing asks them yet, so the test reaches for them where
// they stand. An explicit instantiation may name private members.
struct PushResources {
    using Member = std::set<std::string> CMessageBusEventMsg::*;
    friend Member MemberOf(PushResources);
};
struct PushEvents {
    using Member = std::map<int, std::set<std::string>> CMessageBusEventMsg::*;
    friend Member MemberOf(PushEvents);
};
struct WantedByClient {
    using Member = bool (CMessageBusEventMsg::*)(int event, int resource_type, unsigned int resource_id);
    friend Member MemberOf(WantedByClient);
};
template <class Tag, typename Tag::Member kMember>
struct Reach {
    friend typename Tag::Member MemberOf(Tag) { return kMember; }
};
template struct Reach<PushResources, &CMessageBusEventMsg::set_push_resources>;
template struct Reach<PushEvents, &CMessageBusEventMsg::map_push_events>;
template struct Reach<WantedByClient, &CMessageBusEventMsg::IsWantedByClient>;

constexpr char kPublish[] = "qar::CMessageBusEventMsg::PublishEventType";
constexpr char kBeSubscribed[] = "qar::CMessageBusEventMsg::BeSubscribedCB";
constexpr char kPushByEvent[] = "qar::CMessageBusEventMsg::NeedPushClientByEvnetTypeCB";
constexpr char kPushByResource[] = "qar::CMessageBusEventMsg::NeedPushClientByResourceCB";
constexpr char kAddResource[] = "qar::CMessageBusEventMsg::AddPushResource";
constexpr char kDelResource[] = "qar::CMessageBusEventMsg::DelPushResource";

constexpr char kPublishHead[] = "[MessageBus] PublishEventType to platform, need-push[false], they are: \n";
constexpr char kPublishHeadWithPush[] = "[MessageBus] PublishEventType to platform, need-push[true], they are: \n";

class EventPublishTest : public ::testing::Test {
protected:
    EventPublishTest() {
        ON_CALL(platform.events, RegistMsgCapacity).WillByDefault(DoAll(SaveArg<1>(&be_subscribed), Return(true)));
        ON_CALL(platform.events, RegistMsgResourceCapacity)
            .WillByDefault(DoAll(SaveArg<1>(&push_by_event), Return(true)));
        ON_CALL(platform.events, RegistResourceCapacity)
            .WillByDefault(DoAll(SaveArg<1>(&push_by_resource), Return(true)));
    }

    /// Publishes so that the platform has all three functions, and forgets the lines.
    void Publish() {
        ASSERT_TRUE(bus->PublishEventType({7}, 1001));
        ASSERT_TRUE(be_subscribed && push_by_event && push_by_resource);
        platform.log.Clear();
    }

    std::size_t LineCount() const { return platform.log.Lines().size(); }
    const std::map<int, std::set<std::string>>& PushedEvents() const { return (*bus).*MemberOf(PushEvents()); }
    const std::set<std::string>& PushedResources() const { return (*bus).*MemberOf(PushResources()); }

    bool Wanted(int event, int resource_type, unsigned int resource_id) {
        return ((*bus).*MemberOf(WantedByClient()))(event, resource_type, resource_id);
    }

    qarmock::Platform platform;
    ZELPlatform::MsgBus::MsgCapacityFunc be_subscribed;
    ZELPlatform::MsgBus::MsgResourceCapacityFunc push_by_event;
    ZELPlatform::MsgBus::ResourceCapacityFunc push_by_resource;
    std::shared_ptr<CMessageBusEventMsg> bus = std::make_shared<CMessageBusEventMsg>();
};

// --- publish ---------------------------------------------------------------------------------------------------------

TEST_F(EventPublishTest, WithoutPushOneRegistrationIsMade) {
    std::size_t lines_before = 0;
    EXPECT_CALL(platform.events, RegistMsgCapacity(std::set<int>{1, 2}, _))
        .WillOnce(DoAll([&] { lines_before = LineCount(); }, Return(true)));
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity).Times(0);
    EXPECT_CALL(platform.events, RegistResourceCapacity).Times(0);
    EXPECT_TRUE(bus->PublishEventType({2, 1}, -1));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPublish, 3, "QARCommon", kPublishHead),
                            LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[1]\n"),
                            LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[2]\n"),
                            LineIn(kPublish, 3, "QARCommon", "[MessageBus] Those event don't need to push client.\n")));
    EXPECT_EQ(lines_before, 3u) << "what is published is told before the platform is asked";
}

TEST_F(EventPublishTest, WithPushThreeRegistrationsAreMadeAndEachEventHasTheResourceType) {
    std::size_t lines_before = 0;
    {
        InSequence sequence;
        EXPECT_CALL(platform.events, RegistMsgCapacity(std::set<int>{1, 2}, _))
            .WillOnce(DoAll([&] { lines_before = LineCount(); }, Return(true)));
        EXPECT_CALL(platform.events,
                    RegistMsgResourceCapacity(std::map<int, std::set<int>>{{1, {1001}}, {2, {1001}}}, _))
            .WillOnce(Return(true));
        EXPECT_CALL(platform.events, RegistResourceCapacity(std::set<int>{1001}, _)).WillOnce(Return(true));
    }
    EXPECT_TRUE(bus->PublishEventType({1, 2}, 1001));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPublish, 3, "QARCommon", kPublishHeadWithPush),
                                                  LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[1]\n"),
                                                  LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[2]\n")));
    EXPECT_EQ(lines_before, 3u);
}

TEST_F(EventPublishTest, OnlyMinusOneMeansNoPush) {
    for (const int resource_type : {0, -2}) {
        platform.log.Clear();
        EXPECT_CALL(platform.events, RegistMsgResourceCapacity(std::map<int, std::set<int>>{{1, {resource_type}}}, _));
        EXPECT_CALL(platform.events, RegistResourceCapacity(std::set<int>{resource_type}, _));
        EXPECT_TRUE(bus->PublishEventType({1}, resource_type));
        EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(3, "QARCommon", kPublishHeadWithPush),
                                                      Line(3, "QARCommon", "[MessageBus] event[1]\n")));
    }
}

TEST_F(EventPublishTest, EmptySetReachesThePlatformAsWell) {
    EXPECT_CALL(platform.events, RegistMsgCapacity(std::set<int>{}, _)).Times(2);
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity(std::map<int, std::set<int>>{}, _));
    EXPECT_CALL(platform.events, RegistResourceCapacity(std::set<int>{1001}, _));
    EXPECT_TRUE(bus->PublishEventType({}, -1));
    EXPECT_TRUE(bus->PublishEventType({}, 1001));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(Line(3, "QARCommon", kPublishHead),
                            Line(3, "QARCommon", "[MessageBus] Those event don't need to push client.\n"),
                            Line(3, "QARCommon", kPublishHeadWithPush)));
}

TEST_F(EventPublishTest, PublishingAgainRegistersAgain) {
    EXPECT_CALL(platform.events, RegistMsgCapacity(std::set<int>{1}, _)).Times(2);
    EXPECT_TRUE(bus->PublishEventType({1}, -1));
    EXPECT_TRUE(bus->PublishEventType({1}, -1));
}

TEST_F(EventPublishTest, RefusedEventsAreNotRegisteredForPush) {
    EXPECT_CALL(platform.events, RegistMsgCapacity)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)));
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity).Times(0);
    EXPECT_CALL(platform.events, RegistResourceCapacity).Times(0);
    EXPECT_FALSE(bus->PublishEventType({1}, 1001));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kPublish, 3, "QARCommon", kPublishHeadWithPush),
                    LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[1]\n"),
                    LineIn(kPublish, 5, "QARCommon",
                           "[MessageBus] PublishEventType failed, platform_msgbus::RegistMsgCapacity() failed.\n")));
}

TEST_F(EventPublishTest, RefusedEventsWithoutPushAreNotCalledOnesThatNeedNone) {
    EXPECT_CALL(platform.events, RegistMsgCapacity).WillOnce(Return(false));
    EXPECT_FALSE(bus->PublishEventType({}, -1));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kPublish, 3, "QARCommon", kPublishHead),
                    LineIn(kPublish, 5, "QARCommon",
                           "[MessageBus] PublishEventType failed, platform_msgbus::RegistMsgCapacity() failed.\n")));
}

// The bus has no operation that takes a registration back, so the first one goes on working.
TEST_F(EventPublishTest, RefusalByEventTypeLeavesTheFirstRegistrationInPlace) {
    EXPECT_CALL(platform.events, RegistMsgCapacity);
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)));
    EXPECT_CALL(platform.events, RegistResourceCapacity).Times(0);
    EXPECT_FALSE(bus->PublishEventType({1}, 1001));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPublish, 3, "QARCommon", kPublishHeadWithPush),
                            LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[1]\n"),
                            LineIn(kPublish, 5, "QARCommon",
                                   "[MessageBus] PublishEventType for cs subscribe by event type failed, "
                                   "platform_msgbus::RegistMsgResourceCapacity() failed.\n")));
    platform.log.Clear();
    be_subscribed(kSubscribe, 1, {});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[1]\n")));
}

TEST_F(EventPublishTest, RefusalByResourceLeavesTheFirstTwoRegistrationsInPlace) {
    EXPECT_CALL(platform.events, RegistMsgCapacity);
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity);
    EXPECT_CALL(platform.events, RegistResourceCapacity)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)));
    EXPECT_FALSE(bus->PublishEventType({1}, 1001));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPublish, 3, "QARCommon", kPublishHeadWithPush),
                            LineIn(kPublish, 3, "QARCommon", "[MessageBus] event[1]\n"),
                            LineIn(kPublish, 5, "QARCommon",
                                   "[MessageBus] PublishEventType for cs subscribe by res type failed, "
                                   "platform_msgbus::RegistResourceCapacity() failed.\n")));
    be_subscribed(kSubscribe, 1, {});
    push_by_event(kSubscribe, 1, 1001, {5});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(1, ElementsAre("1001:5"))));
}

TEST_F(EventPublishTest, WhatThePlatformHoldsKeepsTheObjectAlive) {
    Publish();
    const std::weak_ptr<CMessageBusEventMsg> watched = bus;
    bus.reset();
    be_subscribed(kSubscribe, 7, {});
    EXPECT_THAT(platform.log.Lines(), SizeIs(1));

    be_subscribed = nullptr;
    EXPECT_FALSE(watched.expired());
    push_by_event = nullptr;
    EXPECT_FALSE(watched.expired());
    push_by_resource(kSubscribe, 1001, {});
    EXPECT_THAT(platform.log.Lines(), SizeIs(2));
    push_by_resource = nullptr;
    EXPECT_TRUE(watched.expired());
}

TEST_F(EventPublishTest, EachFunctionAloneKeepsTheObjectAlive) {
    for (int kept = 0; kept < 3; ++kept) {
        bus = std::make_shared<CMessageBusEventMsg>();
        Publish();
        const std::weak_ptr<CMessageBusEventMsg> watched = bus;
        bus.reset();
        if (kept != 0) be_subscribed = nullptr;
        if (kept != 1) push_by_event = nullptr;
        if (kept != 2) push_by_resource = nullptr;
        EXPECT_FALSE(watched.expired()) << kept;
        be_subscribed = nullptr;
        push_by_event = nullptr;
        push_by_resource = nullptr;
        EXPECT_TRUE(watched.expired()) << kept;
    }
}

// Were a lock held across a registration, the calls that come in meanwhile would wait for it for ever.
TEST_F(EventPublishTest, PlatformMayTellOfSubscriptionsBeforeTheRegistrationHasReturned) {
    const auto on_another_thread = [](const auto& work) { std::thread(work).join(); };
    EXPECT_CALL(platform.events, RegistMsgCapacity).WillOnce([&](const auto&, const auto& fn) {
        on_another_thread([&] { fn(kSubscribe, 1, {}); });
        return true;
    });
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity).WillOnce([&](const auto&, const auto& fn) {
        on_another_thread([&] { fn(kSubscribe, 1, 1001, {5}); });
        return true;
    });
    EXPECT_CALL(platform.events, RegistResourceCapacity).WillOnce([&](const auto&, const auto& fn) {
        on_another_thread([&] { fn(kSubscribe, 1001, {6}); });
        return true;
    });
    EXPECT_TRUE(bus->PublishEventType({1}, 1001));
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(1, ElementsAre("1001:5"))));
    EXPECT_THAT(PushedResources(), ElementsAre("1001:6"));
}

// --- events that somebody on the bus subscribed to -------------------------------------------------------------------

constexpr char kLying[] = "[MessageBus] Be subscribed event[7], resource-size is not 0, platform is lying!\n";

TEST_F(EventPublishTest, SecondSubscriptionOfAnEventIsToldAsDuplicate) {
    Publish();
    be_subscribed(kSubscribe, 7, {});
    be_subscribed(kSubscribe, 7, {});
    be_subscribed(kSubscribe, 8, {});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[7]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[7]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[8]\n")));
}

TEST_F(EventPublishTest, ResourcesInASubscriptionAreToldAndTheEventIsRecordedAllTheSame) {
    Publish();
    be_subscribed(kSubscribe, 7, {3});
    be_subscribed(kSubscribe, 7, {});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", kLying),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[7]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[7]\n")));
    EXPECT_THAT(PushedEvents(), IsEmpty());
    EXPECT_THAT(PushedResources(), IsEmpty());
}

TEST_F(EventPublishTest, ResourcesInACancellationAreToldAndTheEventIsErasedAllTheSame) {
    Publish();
    be_subscribed(kSubscribe, 7, {});
    platform.log.Clear();
    be_subscribed(kSubscribeCancel, 7, {3, 4});
    be_subscribed(kSubscribe, 7, {});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", kLying),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] del-subscribe event[7]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[7]\n")));
}

// The platform tells of the first subscriber and of the last, so subscribers are not counted here: one cancellation
// takes the event out, however many subscriptions were told before.
TEST_F(EventPublishTest, OneCancellationTakesOutAnEventThatWasToldTwice) {
    Publish();
    be_subscribed(kSubscribe, 7, {});
    be_subscribed(kSubscribe, 7, {});
    platform.log.Clear();
    be_subscribed(kSubscribeCancel, 7, {});
    be_subscribed(kSubscribe, 7, {});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] del-subscribe event[7]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[7]\n")));
}

TEST_F(EventPublishTest, EveryValueButOneCancels) {
    Publish();
    for (const int value : {0, 2, 3}) {
        be_subscribed(kSubscribe, 7, {});
        push_by_event(kSubscribe, 7, 1001, {5});
        push_by_resource(kSubscribe, 1001, {6});
        platform.log.Clear();
        be_subscribed(static_cast<SubScribeType>(value), 7, {});
        push_by_event(static_cast<SubScribeType>(value), 7, 1001, {5});
        push_by_resource(static_cast<SubScribeType>(value), 1001, {6});
        EXPECT_THAT(
            platform.log.Lines(),
            ElementsAre(Line(3, "QARCommon", "[MessageBus] del-subscribe event[7]\n"),
                        Line(3, "QARCommon", "[MessageBus] Client del-subscribe push-event[7]\n"),
                        Line(3, "QARCommon", "[MessageBus] Client del-subscribe push-event by resource, type[1001]\n"),
                        Line(3, "QARCommon", "[MessageBus] Client del-subscribe resource[6]\n")))
            << value;
        EXPECT_THAT(PushedEvents(), IsEmpty()) << value;
        EXPECT_THAT(PushedResources(), IsEmpty()) << value;
    }
}

TEST_F(EventPublishTest, CancellationOfAnUnknownEventWritesItsLineAlone) {
    Publish();
    be_subscribed(kSubscribe, 8, {});
    platform.log.Clear();
    be_subscribed(kSubscribeCancel, 7, {});
    be_subscribed(kSubscribe, 8, {});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] del-subscribe event[7]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[8]\n")));
}

TEST_F(EventPublishTest, EventsOfTwoObjectsAreApart) {
    Publish();
    const auto first = be_subscribed;
    const auto other = std::make_shared<CMessageBusEventMsg>();
    ASSERT_TRUE(other->PublishEventType({7}, -1));
    platform.log.Clear();
    first(kSubscribe, 7, {});
    be_subscribed(kSubscribe, 7, {});
    const auto line = LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[7]\n");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(line, line));
}

// --- events that clients want of certain resources -------------------------------------------------------------------

TEST_F(EventPublishTest, ClientsWishForAnEventIsKeptForEachResource) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {5, 3});
    push_by_event(kSubscribe, 8, 1001, {3});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPushByEvent, 3, "QARCommon", "[MessageBus] Client subscribe push-event[7]\n"),
                            LineIn(kPushByEvent, 3, "QARCommon", "[MessageBus] Client subscribe push-event[8]\n")));
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, UnorderedElementsAre("1001:3", "1001:5")),
                                            Pair(8, UnorderedElementsAre("1001:3"))));
    EXPECT_THAT(PushedResources(), IsEmpty());
}

TEST_F(EventPublishTest, SameResourceTwiceIsKeptOnce) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {5});
    push_by_event(kSubscribe, 7, 1001, {5, 6});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, UnorderedElementsAre("1001:5", "1001:6"))));
    // not counted either: one cancellation takes it out
    push_by_event(kSubscribeCancel, 7, 1001, {5});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, ElementsAre("1001:6"))));
}

TEST_F(EventPublishTest, ResourcesOfTwoTypesWithOneIdAreTwo) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {5});
    push_by_event(kSubscribe, 7, 1002, {5});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, UnorderedElementsAre("1001:5", "1002:5"))));
    push_by_event(kSubscribeCancel, 7, 1001, {5});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, ElementsAre("1002:5"))));
}

TEST_F(EventPublishTest, CancellingTheLastResourceOfAnEventTakesTheEventOut) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {3, 5});
    push_by_event(kSubscribe, 8, 1001, {3});
    platform.log.Clear();
    push_by_event(kSubscribeCancel, 7, 1001, {3});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, ElementsAre("1001:5")), Pair(8, ElementsAre("1001:3"))));
    push_by_event(kSubscribeCancel, 7, 1001, {5});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(8, ElementsAre("1001:3"))));
    const auto line = LineIn(kPushByEvent, 3, "QARCommon", "[MessageBus] Client del-subscribe push-event[7]\n");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(line, line));
}

TEST_F(EventPublishTest, CancellingWhatNoClientWantedChangesNothing) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {3});
    platform.log.Clear();
    push_by_event(kSubscribeCancel, 7, 1001, {4});
    push_by_event(kSubscribeCancel, 7, 1001, {});
    push_by_event(kSubscribeCancel, 8, 1001, {3});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, ElementsAre("1001:3"))));
    const auto of_seven = LineIn(kPushByEvent, 3, "QARCommon", "[MessageBus] Client del-subscribe push-event[7]\n");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(of_seven, of_seven,
                            LineIn(kPushByEvent, 3, "QARCommon", "[MessageBus] Client del-subscribe push-event[8]\n")));
}

TEST_F(EventPublishTest, WishForAnEventOfNoResourceMakesAnEmptyEntryUntilItIsCancelled) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {});
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, IsEmpty())));
    push_by_event(kSubscribeCancel, 7, 1001, {});
    EXPECT_THAT(PushedEvents(), IsEmpty());
}

TEST_F(EventPublishTest, WishOfAClientIsNoSubscriptionOfTheEvent) {
    Publish();
    push_by_event(kSubscribe, 7, 1001, {5});
    platform.log.Clear();
    be_subscribed(kSubscribe, 7, {});
    be_subscribed(kSubscribeCancel, 7, {});
    EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(3, "QARCommon", "[MessageBus] Be subscribed event[7]\n"),
                                                  Line(3, "QARCommon", "[MessageBus] del-subscribe event[7]\n")));
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, ElementsAre("1001:5"))));
}

// --- resources of which clients want every event ---------------------------------------------------------------------

TEST_F(EventPublishTest, WholeResourcesAreKeptAndEachIsTold) {
    Publish();
    push_by_resource(kSubscribe, 1001, {5, 3});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPushByResource, 3, "QARCommon",
                                   "[MessageBus] Client subscribe push-event by resource, type[1001]\n"),
                            LineIn(kAddResource, 3, "QARCommon", "[MessageBus] Client subscribe resource[3]\n"),
                            LineIn(kAddResource, 3, "QARCommon", "[MessageBus] Client subscribe resource[5]\n")));
    EXPECT_THAT(PushedResources(), UnorderedElementsAre("1001:3", "1001:5"));
    EXPECT_THAT(PushedEvents(), IsEmpty());
}

TEST_F(EventPublishTest, WholeResourceTwiceIsKeptOnceAndToldTwice) {
    Publish();
    push_by_resource(kSubscribe, 1001, {3});
    push_by_resource(kSubscribe, 1001, {3});
    const auto head =
        LineIn(kPushByResource, 3, "QARCommon", "[MessageBus] Client subscribe push-event by resource, type[1001]\n");
    const auto line = LineIn(kAddResource, 3, "QARCommon", "[MessageBus] Client subscribe resource[3]\n");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(head, line, head, line));
    EXPECT_THAT(PushedResources(), ElementsAre("1001:3"));
}

TEST_F(EventPublishTest, WholeResourcesAreTakenOutAndEachIsToldAlsoAnUnknownOne) {
    Publish();
    push_by_resource(kSubscribe, 1001, {3, 5});
    push_by_resource(kSubscribe, 1002, {3});
    platform.log.Clear();
    push_by_resource(kSubscribeCancel, 1001, {3, 9});
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPushByResource, 3, "QARCommon",
                                   "[MessageBus] Client del-subscribe push-event by resource, type[1001]\n"),
                            LineIn(kDelResource, 3, "QARCommon", "[MessageBus] Client del-subscribe resource[3]\n"),
                            LineIn(kDelResource, 3, "QARCommon", "[MessageBus] Client del-subscribe resource[9]\n")));
    EXPECT_THAT(PushedResources(), UnorderedElementsAre("1001:5", "1002:3"));
}

TEST_F(EventPublishTest, NoResourceAtAllIsTheFirstLineAlone) {
    Publish();
    push_by_resource(kSubscribe, 1001, {});
    push_by_resource(kSubscribeCancel, 1001, {});
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(Line(3, "QARCommon", "[MessageBus] Client subscribe push-event by resource, type[1001]\n"),
                    Line(3, "QARCommon", "[MessageBus] Client del-subscribe push-event by resource, type[1001]\n")));
    EXPECT_THAT(PushedResources(), IsEmpty());
}

// Keys and lines are made with %d, so an id from 2^31 on is a negative number in them.
TEST_F(EventPublishTest, HighIdsAreNegativeNumbersInKeysAndLines) {
    Publish();
    push_by_event(kSubscribe, 7, -1, {0xFFFFFFFFu});
    push_by_resource(kSubscribe, 1001, {0x80000000u});
    EXPECT_THAT(platform.log.Lines().back(),
                Line(3, "QARCommon", "[MessageBus] Client subscribe resource[-2147483648]\n"));
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, ElementsAre("-1:-1"))));
    EXPECT_THAT(PushedResources(), ElementsAre("1001:-2147483648"));
    push_by_event(kSubscribeCancel, 7, -1, {0xFFFFFFFFu});
    push_by_resource(kSubscribeCancel, 1001, {0x80000000u});
    EXPECT_THAT(platform.log.Lines().back(),
                Line(3, "QARCommon", "[MessageBus] Client del-subscribe resource[-2147483648]\n"));
    EXPECT_THAT(PushedEvents(), IsEmpty());
    EXPECT_THAT(PushedResources(), IsEmpty());
}

// --- the question that a post does not ask yet -----------------------------------------------------------------------

TEST_F(EventPublishTest, EventIsWantedOfTheResourceOfWhichAClientWantsIt) {
    Publish();
    EXPECT_FALSE(Wanted(7, 1001, 5));
    push_by_event(kSubscribe, 7, 1001, {5});
    EXPECT_TRUE(Wanted(7, 1001, 5));
    EXPECT_FALSE(Wanted(8, 1001, 5));
    EXPECT_FALSE(Wanted(7, 1002, 5));
    EXPECT_FALSE(Wanted(7, 1001, 6));
    push_by_event(kSubscribeCancel, 7, 1001, {5});
    EXPECT_FALSE(Wanted(7, 1001, 5));
}

TEST_F(EventPublishTest, EveryEventIsWantedOfAResourceThatAClientWantsAsAWhole) {
    Publish();
    push_by_resource(kSubscribe, 1001, {0xFFFFFFFFu});
    EXPECT_TRUE(Wanted(7, 1001, 0xFFFFFFFFu));
    EXPECT_TRUE(Wanted(8, 1001, 0xFFFFFFFFu));
    EXPECT_FALSE(Wanted(7, 1002, 0xFFFFFFFFu));
    EXPECT_FALSE(Wanted(7, 1001, 5));
    push_by_resource(kSubscribeCancel, 1001, {0xFFFFFFFFu});
    EXPECT_FALSE(Wanted(7, 1001, 0xFFFFFFFFu));
}

TEST_F(EventPublishTest, SubscriptionOnTheBusIsNoWishOfAClient) {
    Publish();
    be_subscribed(kSubscribe, 7, {5});
    EXPECT_FALSE(Wanted(7, 1001, 5));
}

// --- threads ---------------------------------------------------------------------------------------------------------

TEST_F(EventPublishTest, ThreadsThatTellTheSameEventsLeaveOneNewAndOneDuplicateLineForEach) {
    Publish();
    constexpr unsigned int kEvents = 100;
    const auto tell = [&] {
        for (unsigned int i = 0; i < kEvents; ++i) {
            be_subscribed(kSubscribe, static_cast<int>(i), {});
            push_by_event(kSubscribe, 7, 1001, {i});
            push_by_resource(kSubscribe, 1001, {i});
        }
    };
    std::thread first(tell);
    std::thread second(tell);
    first.join();
    second.join();
    std::map<std::string, unsigned int> counts;
    for (const auto& line : platform.log.Lines()) ++counts[line.body];
    for (unsigned int i = 0; i < kEvents; ++i) {
        const std::string event = std::to_string(i);
        EXPECT_EQ(counts["[MessageBus] Be subscribed event[" + event + "]\n"], 1u);
        EXPECT_EQ(counts["[MessageBus] Duplicate Be subscribed event[" + event + "]\n"], 1u);
    }
    EXPECT_THAT(PushedEvents(), ElementsAre(Pair(7, SizeIs(kEvents))));
    EXPECT_THAT(PushedResources(), SizeIs(kEvents));
}

}  // namespace
}  // namespace qar
