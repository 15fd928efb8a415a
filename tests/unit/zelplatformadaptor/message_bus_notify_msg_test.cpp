#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "support/vtable_slot.h"
#include "zelplatformadaptor/MessageBusNotifyMsg.h"
#include "zelplatformadaptor/MsgContent.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::Line;
using qarmock::LineIn;
using test_support::SlotOf;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SizeIs;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::kMsgCategoryNotify;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::MsgCategory;
using ZELPlatform::SubScribeType;

constexpr char kPublish[] = "qar::CMessageBusNotifyMsg::PublishMsgType";
constexpr char kBeSubscribed[] = "qar::CMessageBusNotifyMsg::BeSubscribedCB";
constexpr char kSubscribeTypes[] = "qar::CMessageBusNotifyMsg::SubscribeMsg";
constexpr char kUnsubscribeTypes[] = "qar::CMessageBusNotifyMsg::UnsubscribeMsg";
constexpr char kDeliver[] = "qar::CMessageBusNotifyMsg::EventMsgCB";

/// A platform's content of a notify message.
class TextContent final : public ZELPlatform::CMsgBusContentBase {
public:
    explicit TextContent(std::string text) : text_(std::move(text)) {}
    bool GetTextContent(Buffer& buffer) override {
        buffer.data = text_.data();
        buffer.size = static_cast<unsigned int>(text_.size());
        return true;
    }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }

private:
    std::string text_;
};

/// Fails as the platform does.
auto Fail(int module, int code) {
    return DoAll([module, code] { Error::SetLastError(Error::ErrorCode(module, code)); }, Return(false));
}

std::shared_ptr<CMsgSubscribedInfo> InfoOf(const std::set<int>& types) {
    auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetTypeValues(types);
    return info;
}

std::shared_ptr<CMsgPushInfo> PushOf(int type, const std::string& text) {
    auto info = std::make_shared<CMsgPushInfo>();
    info->SetTypeValue(type);
    info->SetMsgContent(std::make_shared<TextContent>(text));
    return info;
}

class NotifyMsgTest : public ::testing::Test {
protected:
    NotifyMsgTest() {
        ON_CALL(platform.notify, PublishMsg).WillByDefault(DoAll(SaveArg<0>(&published), Return(true)));
        ON_CALL(platform.notify, SubscribeMsg).WillByDefault(DoAll(SaveArg<0>(&subscribed), Return(true)));
    }

    /// Publishes, so that the platform has the function to tell of subscriptions, and forgets the lines.
    void Publish() {
        ASSERT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
        ASSERT_NE(published, nullptr);
        ASSERT_TRUE(published->GetCallback());
        platform.log.Clear();
    }

    EventFunc Keep() {
        return [this](std::shared_ptr<IBusMsg> msg) { received.push_back(std::move(msg)); };
    }

    /// Subscribes, so that the platform has the function to deliver with, and forgets the lines.
    void Subscribe(EventFunc fn) {
        ASSERT_TRUE(bus->SubscribeMsg({12}, "p", std::move(fn)));
        ASSERT_NE(subscribed, nullptr);
        ASSERT_TRUE(subscribed->GetCallback());
        platform.log.Clear();
    }

    qarmock::Platform platform;
    std::shared_ptr<CMsgPublishInfo> published;
    std::shared_ptr<CMsgSubscribedInfo> subscribed;
    std::vector<std::shared_ptr<IBusMsg>> received;
    std::shared_ptr<CMessageBusNotifyMsg> bus = std::make_shared<CMessageBusNotifyMsg>();
};

TEST_F(NotifyMsgTest, UnsubscribeAloneIsVirtual) {
    static_assert(!std::has_virtual_destructor_v<CMessageBusNotifyMsg>);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::UnsubscribeMsg), 0);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::PublishMsgType), -1);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::PostMsg), -1);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::PostMsgToSpecifiedClients), -1);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::PostMsgToSpecifiedClientsAndSubscribers), -1);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::PostMsgWithPermission), -1);
    EXPECT_EQ(SlotOf(&CMessageBusNotifyMsg::SubscribeMsg), -1);
}

// --- publish ---------------------------------------------------------------------------------------------------------

TEST_F(NotifyMsgTest, PublishRegistersThePublisherWithoutALine) {
    EXPECT_CALL(platform.notify, PublishMsg);
    EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {13, 12}));
    ASSERT_NE(published, nullptr);
    EXPECT_EQ(published->GetPublisher(), "p");
    EXPECT_EQ(published->GetMsgCategory(), 3);
    EXPECT_THAT(published->GetTypeValues(), ElementsAre(12, 13));
    EXPECT_TRUE(published->GetCallback());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(NotifyMsgTest, PublishHandsTheCategoryOnThatItIsGiven) {
    EXPECT_TRUE(bus->PublishMsgType("p", static_cast<MsgCategory>(2), {12}));
    ASSERT_NE(published, nullptr);
    EXPECT_EQ(published->GetMsgCategory(), 2);
}

TEST_F(NotifyMsgTest, PublishOfNoTypeReachesThePlatformAsWell) {
    EXPECT_CALL(platform.notify, PublishMsg);
    EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {}));
    ASSERT_NE(published, nullptr);
    EXPECT_THAT(published->GetTypeValues(), IsEmpty());
}

TEST_F(NotifyMsgTest, PublishingAgainRegistersAgain) {
    EXPECT_CALL(platform.notify, PublishMsg).Times(2);
    EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
}

// Plug-ins have always been told true, so a failed registration shows in the log alone.
TEST_F(NotifyMsgTest, PublishIsTrueAlsoWhenThePlatformFails) {
    EXPECT_CALL(platform.notify, PublishMsg).WillOnce(Fail(3, 77));
    EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPublish, 5, "QARCommon",
                                   "[MessageBus] ZELPlatform::MsgBus::PublishMsg Failed. publisher:[p] "
                                   "msg-category:[3]  msg failed, err[3,77].\n")));
}

TEST_F(NotifyMsgTest, PublisherKeepsTheObjectAlive) {
    Publish();
    const std::weak_ptr<CMessageBusNotifyMsg> watched = bus;
    bus.reset();
    EXPECT_FALSE(watched.expired());
    published->GetCallback()(kSubscribe, InfoOf({12}));
    EXPECT_THAT(platform.log.Lines(), SizeIs(1));
    published.reset();
    EXPECT_TRUE(watched.expired());
}

// --- types that somebody subscribed to -------------------------------------------------------------------------------

TEST_F(NotifyMsgTest, EachTypeOfASubscriptionIsToldAndTheSecondTimeAsDuplicate) {
    Publish();
    published->GetCallback()(kSubscribe, InfoOf({13, 12}));
    published->GetCallback()(kSubscribe, InfoOf({11, 12}));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[12]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[13]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[11]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[12]\n")));
}

TEST_F(NotifyMsgTest, DuplicateIsStillOneSubscription) {
    Publish();
    for (int i = 0; i < 3; ++i) published->GetCallback()(kSubscribe, InfoOf({12}));
    const auto duplicate = LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[12]\n");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[12]\n"), duplicate,
                            duplicate));
}

// Subscriptions are not counted: one that ends takes the type out, even if a second subscriber of it is left.
TEST_F(NotifyMsgTest, OneEndTakesOutATypeThatTwoSubscribedTo) {
    Publish();
    published->GetCallback()(kSubscribe, InfoOf({12}));
    published->GetCallback()(kSubscribe, InfoOf({12}));
    platform.log.Clear();
    published->GetCallback()(kSubscribeCancel, InfoOf({12}));
    published->GetCallback()(kSubscribe, InfoOf({12}));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] del-subscribe event[12]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Be subscribed event[12]\n")));
}

TEST_F(NotifyMsgTest, EveryValueButOneEndsASubscription) {
    Publish();
    for (const int value : {0, 2, 3}) {
        published->GetCallback()(kSubscribe, InfoOf({12}));
        platform.log.Clear();
        published->GetCallback()(static_cast<SubScribeType>(value), InfoOf({12}));
        published->GetCallback()(kSubscribe, InfoOf({12}));
        EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(3, "QARCommon", "[MessageBus] del-subscribe event[12]\n"),
                                                      Line(3, "QARCommon", "[MessageBus] Be subscribed event[12]\n")))
            << value;
        published->GetCallback()(kSubscribeCancel, InfoOf({12}));
    }
}

TEST_F(NotifyMsgTest, EndOfAnUnknownTypeWritesItsLineAndChangesNothing) {
    Publish();
    published->GetCallback()(kSubscribe, InfoOf({12}));
    platform.log.Clear();
    published->GetCallback()(static_cast<SubScribeType>(0), InfoOf({11, 13}));
    published->GetCallback()(kSubscribe, InfoOf({12}));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] del-subscribe event[11]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] del-subscribe event[13]\n"),
                            LineIn(kBeSubscribed, 3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[12]\n")));
}

TEST_F(NotifyMsgTest, SubscriptionWithoutInfoOrTypesIsPassedOver) {
    Publish();
    published->GetCallback()(kSubscribe, nullptr);
    published->GetCallback()(kSubscribeCancel, nullptr);
    published->GetCallback()(kSubscribe, InfoOf({}));
    published->GetCallback()(kSubscribeCancel, InfoOf({}));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(NotifyMsgTest, TypesOfAllPublishersOfOneObjectAreOneSet) {
    Publish();
    published->GetCallback()(kSubscribe, InfoOf({12}));
    ASSERT_TRUE(bus->PublishMsgType("q", kMsgCategoryNotify, {12}));
    platform.log.Clear();
    published->GetCallback()(kSubscribe, InfoOf({12}));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(Line(3, "QARCommon", "[MessageBus] Duplicate Be subscribed event[12]\n")));
}

// --- subscribe -------------------------------------------------------------------------------------------------------

TEST_F(NotifyMsgTest, SubscribeHandsThePlatformThePluginAndItsTypes) {
    EXPECT_CALL(platform.notify, SubscribeMsg)
        .WillOnce(DoAll(
            SaveArg<0>(&subscribed), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    EXPECT_TRUE(bus->SubscribeMsg({13, 12}, "p", Keep()));
    ASSERT_NE(subscribed, nullptr);
    EXPECT_EQ(subscribed->GetMsgCategory(), 3);
    EXPECT_THAT(subscribed->GetTypeValues(), ElementsAre(12, 13));
    EXPECT_TRUE(subscribed->HasSubscriber());
    EXPECT_EQ(subscribed->GetSubscriber(), "p");
    EXPECT_EQ(subscribed->GetSubscriberType(), kSubscriberPlugin);
    EXPECT_TRUE(subscribed->GetCallback());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeTypes, 3, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n"),
                            LineIn(kSubscribeTypes, 3, "QARCommon", "[MessageBus] event[12]\n"),
                            LineIn(kSubscribeTypes, 3, "QARCommon", "[MessageBus] event[13]\n")));
}

TEST_F(NotifyMsgTest, EmptyFunctionIsRefusedWithoutAskingThePlatform) {
    EXPECT_CALL(platform.notify, SubscribeMsg).Times(0);
    EXPECT_FALSE(bus->SubscribeMsg({12}, "p", nullptr));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeTypes, 5, "QARCommon",
                                   "[MessageBus] Plugin[p] subscribe event failed for function is null.\n")));
}

TEST_F(NotifyMsgTest, RefusedSubscriptionIsToldWithThePlatformsError) {
    EXPECT_CALL(platform.notify, SubscribeMsg).WillOnce(Fail(3, 77));
    EXPECT_FALSE(bus->SubscribeMsg({12}, "p", Keep()));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeTypes, 5, "QARCommon", "Subscribe event msg failed, err[3,77].")));
}

TEST_F(NotifyMsgTest, SubscriptionOfNoTypeReachesThePlatformAsWell) {
    EXPECT_CALL(platform.notify, SubscribeMsg);
    EXPECT_TRUE(bus->SubscribeMsg({}, "p", Keep()));
    ASSERT_NE(subscribed, nullptr);
    EXPECT_THAT(subscribed->GetTypeValues(), IsEmpty());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kSubscribeTypes, 3, "QARCommon", "[MessageBus] Plugin[p] subscribe event: \n")));
}

TEST_F(NotifyMsgTest, SubscribingAgainReachesThePlatformAgain) {
    EXPECT_CALL(platform.notify, SubscribeMsg).Times(2);
    EXPECT_TRUE(bus->SubscribeMsg({12}, "p", Keep()));
    EXPECT_TRUE(bus->SubscribeMsg({12}, "p", Keep()));
}

// The platform is told no name, so it can only end these types for the whole process.
TEST_F(NotifyMsgTest, UnsubscribeNamesTheTypesAndNoSubscriber) {
    std::shared_ptr<CMsgSubscribedInfo> ended;
    EXPECT_CALL(platform.notify, UnsubscribeMsg)
        .WillOnce(DoAll(
            SaveArg<0>(&ended), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    bus->UnsubscribeMsg({13, 12}, "p");
    ASSERT_NE(ended, nullptr);
    EXPECT_EQ(ended->GetMsgCategory(), 3);
    EXPECT_THAT(ended->GetTypeValues(), ElementsAre(12, 13));
    EXPECT_FALSE(ended->HasSubscriber());
    EXPECT_EQ(ended->GetSubscriber(), "");
    EXPECT_EQ(ended->GetSubscriberType(), 0);
    EXPECT_FALSE(ended->GetCallback());
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kUnsubscribeTypes, 3, "QARCommon",
                                                         "[MessageBus] Plugin[p] Unsubscribe event-num[2]\n")));
}

TEST_F(NotifyMsgTest, UnsubscribeOfNoTypeReachesThePlatformAsWell) {
    EXPECT_CALL(platform.notify, UnsubscribeMsg).WillOnce(Return(true));
    bus->UnsubscribeMsg({}, "p");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kUnsubscribeTypes, 3, "QARCommon",
                                                         "[MessageBus] Plugin[p] Unsubscribe event-num[0]\n")));
}

// The last line tells what was asked for, not what came of it.
TEST_F(NotifyMsgTest, UnsubscribeWritesItsLastLineAfterAFailureToo) {
    EXPECT_CALL(platform.notify, UnsubscribeMsg).WillOnce(Fail(3, 77));
    bus->UnsubscribeMsg({12}, "p");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kUnsubscribeTypes, 5, "QARCommon", "UnsubscribeMsg event msg failed, err[3,77]."),
                    LineIn(kUnsubscribeTypes, 3, "QARCommon", "[MessageBus] Plugin[p] Unsubscribe event-num[1]\n")));
}

// --- delivery --------------------------------------------------------------------------------------------------------

TEST_F(NotifyMsgTest, SubscriberGetsTheMessageAndItsCostIsLogged) {
    Subscribe(Keep());
    subscribed->GetCallback()(PushOf(12, "{\"a\":1}"));
    ASSERT_THAT(received, SizeIs(1));
    EXPECT_NE(std::dynamic_pointer_cast<CMsgContent>(received[0]), nullptr);
    EXPECT_EQ(received[0]->Type(), 12);
    EXPECT_EQ(received[0]->GetJsonTxt(), "{\"a\":1}");
    const auto lines = platform.log.Lines();
    EXPECT_THAT(lines, ElementsAre(LineIn(kDeliver, 2, "QARCommonMsg", "Recv event[12], msg: \n{\"a\":1}\n"),
                                   LineIn(kDeliver, 2, "QARCommonMsg",
                                          MatchesRegex("Recv event\\[12\\], \\[p\\] proc-cost: [0-9]+ ms\n"))));
    EXPECT_THAT(lines.back().file, EndsWith("src/zelplatformadaptor/MessageBusNotifyMsg.cpp"));
    EXPECT_GT(lines.back().line, 0);
}

TEST_F(NotifyMsgTest, TextIsLoggedBeforeThePluginIsCalledAndTheCostAfter) {
    Subscribe([&](std::shared_ptr<IBusMsg>) { EXPECT_THAT(platform.log.Lines(), SizeIs(1)); });
    subscribed->GetCallback()(PushOf(12, "{}"));
    EXPECT_THAT(platform.log.Lines(), SizeIs(2));
}

TEST_F(NotifyMsgTest, CallWithoutInfoIsDroppedWithALine) {
    Subscribe(Keep());
    subscribed->GetCallback()(nullptr);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kDeliver, 5, "QARCommonMsg", "CMessageBusNotifyMsg::EventMsgCB nullptr == info")));
}

TEST_F(NotifyMsgTest, MessageWithoutTypeAndContentIsDelivered) {
    Subscribe(Keep());
    subscribed->GetCallback()(std::make_shared<CMsgPushInfo>());
    ASSERT_THAT(received, SizeIs(1));
    EXPECT_EQ(received[0]->Type(), 0);
    EXPECT_EQ(received[0]->GetJsonTxt(), "");
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kDeliver, 2, "QARCommonMsg", "Recv event[0], msg: \n\n"),
                            LineIn(kDeliver, 2, "QARCommonMsg",
                                   MatchesRegex("Recv event\\[0\\], \\[p\\] proc-cost: [0-9]+ ms\n"))));
}

TEST_F(NotifyMsgTest, EachCallMakesAMessageOfItsOwn) {
    Subscribe(Keep());
    const auto info = PushOf(12, "{}");
    subscribed->GetCallback()(info);
    subscribed->GetCallback()(info);
    ASSERT_THAT(received, SizeIs(2));
    EXPECT_NE(received[0], received[1]);
}

TEST_F(NotifyMsgTest, KeptMessageKeepsThePlatformsRecord) {
    Subscribe(Keep());
    auto info = PushOf(12, "{}");
    const std::weak_ptr<CMsgPushInfo> watched = info;
    subscribed->GetCallback()(info);
    info.reset();
    ASSERT_FALSE(watched.expired());
    EXPECT_EQ(received.at(0)->GetJsonTxt(), "{}");
    received.clear();
    EXPECT_TRUE(watched.expired());
}

TEST_F(NotifyMsgTest, SubscriptionKeepsTheObjectAlive) {
    Subscribe(Keep());
    const std::weak_ptr<CMessageBusNotifyMsg> watched = bus;
    bus.reset();
    EXPECT_FALSE(watched.expired());
    subscribed->GetCallback()(PushOf(12, "{}"));
    EXPECT_THAT(received, SizeIs(1));
    subscribed.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(NotifyMsgTest, ExceptionOfAPluginReachesThePlatformWithoutACostLine) {
    Subscribe([](std::shared_ptr<IBusMsg>) { throw std::runtime_error("plug-in"); });
    EXPECT_THROW(subscribed->GetCallback()(PushOf(12, "{}")), std::runtime_error);
    EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(2, "QARCommonMsg", "Recv event[12], msg: \n{}\n")));
}

TEST_F(NotifyMsgTest, FunctionMayUseTheBusFromInsideTheCall) {
    Publish();
    EXPECT_CALL(platform.notify, UnsubscribeMsg).WillOnce(Return(true));
    EXPECT_CALL(platform.notify, PushMsgToSubscriber).Times(2).WillRepeatedly(Return(true));
    Subscribe([&](std::shared_ptr<IBusMsg> msg) {
        bus->UnsubscribeMsg({12}, "p");
        EXPECT_TRUE(bus->SubscribeMsg({13}, "p", Keep()));
        EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {14}));
        published->GetCallback()(kSubscribe, InfoOf({14}));
        EXPECT_TRUE(bus->PostMsg(msg));
        EXPECT_TRUE(bus->PostMsgWithPermission(msg, {{1, {2}}}));
    });
    const auto first = subscribed;
    first->GetCallback()(PushOf(12, "{}"));
    EXPECT_THAT(received, IsEmpty()) << "no operation runs a callback itself";
    EXPECT_THAT(platform.log.Lines().back().body, MatchesRegex("Recv event\\[12\\], \\[p\\] proc-cost: [0-9]+ ms\n"));
    subscribed->GetCallback()(PushOf(13, "{}"));
    EXPECT_THAT(received, SizeIs(1));
}

}  // namespace
}  // namespace qar
