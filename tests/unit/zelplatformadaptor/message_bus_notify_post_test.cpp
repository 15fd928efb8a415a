// The four operations of CMessageBusNotifyMsg that send, and its threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "zelplatformadaptor/MessageBusNotifyMsg.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::LineIn;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SizeIs;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::kMsgCategoryNotify;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;

using Msg = std::shared_ptr<IBusMsg>;
using Clients = std::set<std::string>;
using Permissions = std::map<int, std::list<int>>;
using Subscribers = std::map<ZELPlatform::SubscriberType, Clients>;

/// A message that counts how often its text was taken, and names no plug-in.
class CountingMsg : public IBusMsg {
public:
    int Type() const override { return 12; }
    int SourceType() const override { return 1001; }
    unsigned int SourceID() const override { return 5; }
    const char* Data() const override { return "{}"; }
    unsigned int DataSize() const override { return 3; }
    bool BinaryData() const override { return false; }
    std::string GetJsonTxt() const override {
        ++texts_taken;
        return "{}";
    }
    const char* GetBinaryData() const override { return nullptr; }

    mutable int texts_taken = 0;
};

std::shared_ptr<CMsgSubscribedInfo> InfoOf(const std::set<int>& types) {
    auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetTypeValues(types);
    return info;
}

Msg MsgOf(int type, unsigned int source_id, const std::string& json = "{}") {
    return std::make_shared<CBusMsgCommon>(type, 1001, source_id, json, nullptr, 0u, "p");
}

class NotifyPostTest : public ::testing::Test {
protected:
    NotifyPostTest() {
        ON_CALL(platform.notify, PublishMsg).WillByDefault(DoAll(SaveArg<0>(&published), Return(true)));
        ON_CALL(platform.notify, PushMsgToSubscriber).WillByDefault([this](const auto& info) {
            return Take("PushMsgToSubscriber", info);
        });
        ON_CALL(platform.notify, PushMsgToSpecifiedClients).WillByDefault([this](const auto&, const auto& info) {
            return Take("PushMsgToSpecifiedClients", info);
        });
        ON_CALL(platform.notify, PushMsgToSpecifiedSubscribers).WillByDefault([this](const auto&, const auto& info) {
            return Take("PushMsgToSpecifiedSubscribers", info);
        });
    }

    bool Take(const std::string& operation, const std::shared_ptr<CMsgPushInfo>& info) {
        operations.push_back(operation);
        pushed = info;
        EXPECT_THAT(platform.log.Lines(), IsEmpty()) << "lines come after the push";
        if (const auto work = std::exchange(while_pushing, nullptr)) work();
        return answer;
    }

    qarmock::Platform platform;
    std::vector<std::string> operations;
    std::shared_ptr<CMsgPushInfo> pushed;
    std::function<void()> while_pushing;
    bool answer = true;
    std::shared_ptr<CMsgPublishInfo> published;
    std::shared_ptr<CMessageBusNotifyMsg> bus = std::make_shared<CMessageBusNotifyMsg>();
};

// --- what all four have in common ------------------------------------------------------------------------------------

struct Sender {
    std::string name;
    bool (*post)(CMessageBusNotifyMsg& bus, Msg msg);
    std::string push;  ///< operation of the platform

    std::string Function() const { return "qar::CMessageBusNotifyMsg::" + name; }
};

void PrintTo(const Sender& sender, std::ostream* out) { *out << sender.name; }

class NotifySenderTest : public NotifyPostTest, public ::testing::WithParamInterface<Sender> {
protected:
    bool Post(Msg msg) { return GetParam().post(*bus, std::move(msg)); }
};

INSTANTIATE_TEST_SUITE_P(
    All, NotifySenderTest,
    ::testing::Values(Sender{"PostMsg", [](CMessageBusNotifyMsg& bus, Msg msg) { return bus.PostMsg(std::move(msg)); },
                             "PushMsgToSubscriber"},
                      Sender{"PostMsgToSpecifiedClients",
                             [](CMessageBusNotifyMsg& bus, Msg msg) {
                                 return bus.PostMsgToSpecifiedClients(std::move(msg), Clients{"a"});
                             },
                             "PushMsgToSpecifiedClients"},
                      Sender{"PostMsgToSpecifiedClientsAndSubscribers",
                             [](CMessageBusNotifyMsg& bus, Msg msg) {
                                 return bus.PostMsgToSpecifiedClientsAndSubscribers(
                                     std::move(msg), Subscribers{{kSubscriberClient, {"a"}}});
                             },
                             "PushMsgToSpecifiedSubscribers"},
                      Sender{"PostMsgWithPermission",
                             [](CMessageBusNotifyMsg& bus, Msg msg) {
                                 return bus.PostMsgWithPermission(std::move(msg), Permissions{{1, {2}}});
                             },
                             "PushMsgToSubscriber"}),
    [](const auto& info) { return info.param.name; });

TEST_P(NotifySenderTest, NullMessageIsNotSent) {
    EXPECT_FALSE(Post(nullptr));
    EXPECT_THAT(operations, IsEmpty());
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_P(NotifySenderTest, MessageIsPushedOnceAndToldAfterwards) {
    EXPECT_TRUE(Post(MsgOf(12, 5, "{\"a\":1}")));
    EXPECT_THAT(operations, ElementsAre(GetParam().push));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(GetParam().Function(), 3, "QARCommonMsg", "Event[12]-Resource[5] post to platform [success].\n"),
            LineIn(GetParam().Function(), 2, "QARCommonMsg", "Event[12] post to platform msg: \n{\"a\":1}\n")));
}

TEST_P(NotifySenderTest, FailedPushIsToldAndKeepsThePlatformsError) {
    answer = false;
    while_pushing = [] { Error::SetLastError(Error::ErrorCode(3, 77)); };
    EXPECT_FALSE(Post(MsgOf(12, 5)));
    EXPECT_THAT(operations, ElementsAre(GetParam().push));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(
            LineIn(GetParam().Function(), 3, "QARCommonMsg", "Event[12]-Resource[5] post to platform [failed].\n"),
            LineIn(GetParam().Function(), 2, "QARCommonMsg", "Event[12] post to platform msg: \n{}\n")));
}

TEST_P(NotifySenderTest, ContentIsTheWrappedMessageAndKeepsItAlive) {
    Msg msg = MsgOf(12, 5);
    const char* const block = msg->Data();
    const std::weak_ptr<IBusMsg> watched = msg;
    ASSERT_TRUE(Post(std::move(msg)));
    ASSERT_NE(pushed, nullptr);
    EXPECT_EQ(pushed->GetPublisher(), "p");
    ASSERT_NE(std::dynamic_pointer_cast<CNotifyMsgContent>(pushed->GetMsgContent()), nullptr);
    ZELPlatform::CMsgBusContentBase::Buffer buffer;
    EXPECT_TRUE(pushed->GetMsgContent()->GetTextContent(buffer));
    EXPECT_EQ(buffer.data, block);
    EXPECT_EQ(buffer.size, 3u);
    EXPECT_FALSE(watched.expired());
    pushed.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_P(NotifySenderTest, TextIsTakenOnceAndAfterThePush) {
    const auto msg = std::make_shared<CountingMsg>();
    while_pushing = [&] { EXPECT_EQ(msg->texts_taken, 0); };
    ASSERT_TRUE(Post(msg));
    EXPECT_EQ(msg->texts_taken, 1);
}

TEST_P(NotifySenderTest, MessageThatTellsNoPluginIsSentUnderItsName) {
    ASSERT_TRUE(Post(std::make_shared<CountingMsg>()));
    ASSERT_NE(pushed, nullptr);
    EXPECT_EQ(pushed->GetPublisher(), "not provide");
}

TEST_P(NotifySenderTest, HighResourceIdIsANegativeNumberInTheLine) {
    ASSERT_TRUE(Post(MsgOf(12, 0xFFFFFFFFu)));
    EXPECT_THAT(platform.log.Lines().front(), LineIn(GetParam().Function(), 3, "QARCommonMsg",
                                                     "Event[12]-Resource[-1] post to platform [success].\n"));
}

TEST_P(NotifySenderTest, PercentSignsInATextAreLeftAsTheyAre) {
    ASSERT_TRUE(Post(MsgOf(12, 5, "100%s %d %n")));
    EXPECT_THAT(platform.log.Lines().back(),
                LineIn(GetParam().Function(), 2, "QARCommonMsg", "Event[12] post to platform msg: \n100%s %d %n\n"));
}

// Were a lock held across the push, what comes in meanwhile would wait for it for ever.
TEST_P(NotifySenderTest, NoLockIsHeldAcrossThePush) {
    ASSERT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    bool told = false;
    while_pushing = [&] {
        std::thread([&] {
            published->GetCallback()(kSubscribe, InfoOf({12}));
            published->GetCallback()(kSubscribeCancel, InfoOf({12}));
            platform.log.Clear();
            EXPECT_TRUE(bus->PostMsg(MsgOf(12, 5)));
            told = true;
        }).join();
    };
    EXPECT_TRUE(Post(MsgOf(12, 5)));
    EXPECT_TRUE(told);
}

// --- to subscribers --------------------------------------------------------------------------------------------------

TEST_F(NotifyPostTest, PostFillsInPublisherCategoryAndType) {
    ASSERT_TRUE(bus->PostMsg(MsgOf(12, 5)));
    ASSERT_NE(pushed, nullptr);
    EXPECT_EQ(pushed->GetPublisher(), "p");
    EXPECT_TRUE(pushed->HasMsgCategory());
    EXPECT_EQ(pushed->GetMsgCategory(), 3);
    EXPECT_TRUE(pushed->HasTypeValue());
    EXPECT_EQ(pushed->GetTypeValue(), 12);
    EXPECT_THAT(pushed->GetUserPermissionInfo(), IsEmpty());
}

// The check of the resource answers yes to everything, so a message is never dropped for want of a subscriber.
TEST_F(NotifyPostTest, MessageOfATypeThatNobodySubscribedToIsSent) {
    EXPECT_TRUE(bus->PostMsg(MsgOf(12, 5)));
    EXPECT_THAT(operations, ElementsAre("PushMsgToSubscriber"));
}

TEST_F(NotifyPostTest, MessageIsSentWhateverIsSubscribedTo) {
    ASSERT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    const auto post = [&] {
        platform.log.Clear();
        operations.clear();
        EXPECT_TRUE(bus->PostMsg(MsgOf(12, 5)));
        EXPECT_THAT(operations, SizeIs(1));
        EXPECT_THAT(platform.log.Lines(), SizeIs(2));
    };
    published->GetCallback()(kSubscribe, InfoOf({11, 13}));
    post();
    published->GetCallback()(kSubscribe, InfoOf({12}));
    post();
    published->GetCallback()(kSubscribeCancel, InfoOf({12}));
    post();
}

// --- to clients and others by name -----------------------------------------------------------------------------------

TEST_F(NotifyPostTest, PostToClientsHandsOnTheirNamesAndFillsInCategoryAndType) {
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedClients(Clients{"a", "b"}, _));
    ASSERT_TRUE(bus->PostMsgToSpecifiedClients(MsgOf(12, 5), {"b", "a"}));
    ASSERT_NE(pushed, nullptr);
    EXPECT_TRUE(pushed->HasMsgCategory());
    EXPECT_EQ(pushed->GetMsgCategory(), 3);
    EXPECT_TRUE(pushed->HasTypeValue());
    EXPECT_EQ(pushed->GetTypeValue(), 12);
    EXPECT_THAT(pushed->GetUserPermissionInfo(), IsEmpty());
}

TEST_F(NotifyPostTest, PostToNoClientReachesThePlatformAsWell) {
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedClients(Clients{}, _));
    EXPECT_TRUE(bus->PostMsgToSpecifiedClients(MsgOf(12, 5), {}));
}

TEST_F(NotifyPostTest, PostToClientsAndSubscribersHandsOnTheNamesOfEachKindAndFillsInCategoryAndType) {
    const Subscribers subscribers{{kSubscriberClient, {"a", "b"}}, {kSubscriberPlugin, {"q"}}};
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedSubscribers(subscribers, _));
    ASSERT_TRUE(bus->PostMsgToSpecifiedClientsAndSubscribers(MsgOf(12, 5), subscribers));
    ASSERT_NE(pushed, nullptr);
    EXPECT_TRUE(pushed->HasMsgCategory());
    EXPECT_EQ(pushed->GetMsgCategory(), 3);
    EXPECT_TRUE(pushed->HasTypeValue());
    EXPECT_EQ(pushed->GetTypeValue(), 12);
    EXPECT_THAT(pushed->GetUserPermissionInfo(), IsEmpty());
}

TEST_F(NotifyPostTest, KindWithoutNamesAndNoKindAtAllReachThePlatformAsWell) {
    const Subscribers nobody{{kSubscriberClient, {}}};
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedSubscribers(nobody, _));
    EXPECT_TRUE(bus->PostMsgToSpecifiedClientsAndSubscribers(MsgOf(12, 5), nobody));
    platform.log.Clear();
    EXPECT_CALL(platform.notify, PushMsgToSpecifiedSubscribers(Subscribers{}, _));
    EXPECT_TRUE(bus->PostMsgToSpecifiedClientsAndSubscribers(MsgOf(12, 5), {}));
}

// --- to those who hold a permission ----------------------------------------------------------------------------------

// Such a push goes by permission and not by type: category and type are left unset, and receivers that want them find
// them in the content.
TEST_F(NotifyPostTest, PostWithPermissionSetsNeitherCategoryNorType) {
    ASSERT_TRUE(bus->PostMsgWithPermission(MsgOf(12, 5), {{1, {3, 2}}, {4, {}}}));
    ASSERT_NE(pushed, nullptr);
    EXPECT_FALSE(pushed->HasMsgCategory());
    EXPECT_FALSE(pushed->HasTypeValue());
    EXPECT_EQ(pushed->GetPublisher(), "p");
    EXPECT_THAT(pushed->GetUserPermissionInfo(), ElementsAre(Pair(1, ElementsAre(3, 2)), Pair(4, IsEmpty())));
}

TEST_F(NotifyPostTest, PostWithoutAnyPermissionReachesThePlatformAsWell) {
    EXPECT_TRUE(bus->PostMsgWithPermission(MsgOf(12, 5), {}));
    EXPECT_THAT(operations, ElementsAre("PushMsgToSubscriber"));
    ASSERT_NE(pushed, nullptr);
    EXPECT_FALSE(pushed->HasTypeValue());
}

// --- threads ---------------------------------------------------------------------------------------------------------

// Were a lock held across these calls, what comes in meanwhile would wait for it for ever.
TEST_F(NotifyPostTest, PlatformMayTellOfSubscriptionsBeforeACallHasReturned) {
    int told = 0;
    const auto tell = [&](const CMsgPublishInfo& publisher) {
        std::thread([&] {
            publisher.GetCallback()(kSubscribe, InfoOf({12}));
            ++told;
        }).join();
    };
    EXPECT_CALL(platform.notify, PublishMsg).WillOnce([&](const auto& info) {
        published = info;
        tell(*info);
        return true;
    });
    EXPECT_CALL(platform.notify, SubscribeMsg).WillOnce([&](const auto&) {
        tell(*published);
        return true;
    });
    EXPECT_CALL(platform.notify, UnsubscribeMsg).WillOnce([&](const auto&) {
        tell(*published);
        return true;
    });
    EXPECT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    EXPECT_TRUE(bus->SubscribeMsg({12}, "p", [](Msg) {}));
    bus->UnsubscribeMsg({12}, "p");
    EXPECT_EQ(told, 3);
}

TEST_F(NotifyPostTest, ThreadsThatTellTheSameTypesLeaveOneNewAndOneDuplicateLineForEach) {
    ASSERT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    constexpr int kTypes = 100;
    const auto tell = [&] {
        for (int i = 0; i < kTypes; ++i) published->GetCallback()(kSubscribe, InfoOf({i}));
    };
    std::thread first(tell);
    std::thread second(tell);
    first.join();
    second.join();
    std::map<std::string, int> counts;
    for (const auto& line : platform.log.Lines()) ++counts[line.body];
    EXPECT_THAT(counts, SizeIs(2 * kTypes));
    for (int i = 0; i < kTypes; ++i) {
        const std::string type = std::to_string(i);
        EXPECT_EQ(counts["[MessageBus] Be subscribed event[" + type + "]\n"], 1);
        EXPECT_EQ(counts["[MessageBus] Duplicate Be subscribed event[" + type + "]\n"], 1);
    }
}

TEST_F(NotifyPostTest, ThreadsPostSubscribeAndAreToldTogether) {
    platform.log.SetLevel(5);
    ASSERT_TRUE(bus->PublishMsgType("p", kMsgCategoryNotify, {12}));
    constexpr int kRounds = 100;
    std::atomic<int> delivered{0};
    EXPECT_CALL(platform.notify, PushMsgToSubscriber).Times(2 * kRounds).WillRepeatedly(Return(true));
    EXPECT_CALL(platform.notify, UnsubscribeMsg).Times(2 * kRounds).WillRepeatedly(Return(true));
    EXPECT_CALL(platform.notify, SubscribeMsg).Times(2 * kRounds).WillRepeatedly([](const auto& info) {
        auto push = std::make_shared<CMsgPushInfo>();
        push->SetTypeValue(12);
        info->GetCallback()(push);
        return true;
    });
    const auto work = [&](const std::string& plugin) {
        for (int i = 0; i < kRounds; ++i) {
            published->GetCallback()(kSubscribe, InfoOf({i}));
            EXPECT_TRUE(bus->SubscribeMsg({i}, plugin, [&](Msg) { ++delivered; }));
            EXPECT_TRUE(bus->PostMsg(MsgOf(i, 5)));
            bus->UnsubscribeMsg({i}, plugin);
            published->GetCallback()(kSubscribeCancel, InfoOf({i}));
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
