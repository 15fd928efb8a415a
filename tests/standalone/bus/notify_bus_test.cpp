#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "standalone/base/arrivals.h"
#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusErrors.h"
#include "standalone/bus/Lane.h"
#include "standalone/log/temp_log.h"

namespace {

namespace MsgBus = ZELPlatform::MsgBus;
using Mox::Base::Error;
using qarplatform::SetClientPermissions;
using qarplatform::StopBus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using ZELPlatform::CMsgBusContentBase;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;
using PushInfo = std::shared_ptr<CMsgPushInfo>;
using Permissions = std::map<int, std::list<int>>;

/// Hands out its whole block as text and as binary part, as a plug-in's message does.
class Block final : public CMsgBusContentBase {
public:
    Block(std::string bytes, int kind) : bytes_(std::move(bytes)), kind_(kind) {}

    bool GetTextContent(Buffer& buffer) override {
        buffer.data = bytes_.data();
        buffer.size = static_cast<unsigned int>(bytes_.size());
        return true;
    }
    bool GetBinaryContents(std::list<Buffer>& buffers) override {
        Buffer buffer;
        GetTextContent(buffer);
        buffers.push_back(buffer);
        return true;
    }
    int ContentType() override { return kind_; }

    const char* Data() const { return bytes_.data(); }

private:
    const std::string bytes_;
    const int kind_;
};

/// Has no text.
class NoBlock final : public CMsgBusContentBase {
public:
    bool GetTextContent(Buffer&) override { return false; }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }
};

PushInfo Info(int type, const std::shared_ptr<CMsgBusContentBase>& content) {
    auto info = std::make_shared<CMsgPushInfo>();
    info->SetPublisher("publisher");
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValue(type);
    info->SetMsgContent(content);
    return info;
}

PushInfo Info(int type) {
    return Info(type, std::make_shared<Block>(std::string("{}\0", 3), ZELPlatform::kContentText));
}

PushInfo PermissionInfo(const Permissions& permissions) {
    auto info = std::make_shared<CMsgPushInfo>();
    info->SetPublisher("publisher");
    info->SetMsgContent(std::make_shared<NoBlock>());
    info->SetUserPermissionInfo(permissions);
    return info;
}

std::shared_ptr<CMsgSubscribedInfo> Subscription(const std::string& name, const std::set<int>& types,
                                                 CMsgSubscribedInfo::Callback callback = nullptr,
                                                 SubscriberType kind = kSubscriberPlugin) {
    auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetSubscriber(name);
    info->SetSubscriberType(kind);
    info->SetTypeValues(types);
    info->SetCallback(std::move(callback));
    return info;
}

std::optional<std::string> TextOf(const PushInfo& info) {
    CMsgBusContentBase::Buffer buffer;
    if (!info->GetMsgContent()->GetTextContent(buffer)) return std::nullopt;
    return std::string(buffer.data, buffer.size);
}

std::optional<std::string> BinaryOf(const PushInfo& info) {
    std::list<CMsgBusContentBase::Buffer> buffers;
    if (!info->GetMsgContent()->GetBinaryContents(buffers)) return std::nullopt;
    EXPECT_THAT(buffers, SizeIs(1));
    return std::string(buffers.front().data, buffers.front().size);
}

Error::ErrorCode BusError(int code) { return Error::ErrorCode(qarplatform::kErrorModuleBus, code); }

void ExpectRefused(bool done, int code) {
    EXPECT_FALSE(done);
    EXPECT_EQ(Error::GetLastError(), BusError(code));
    Error::SetLastError(Error::ErrorCode());
}

class NotifyBusTest : public testing::Test {
protected:
    ~NotifyBusTest() override { StopBus(); }

    CMsgSubscribedInfo::Callback Note(const std::string& who) {
        return [this, who](const PushInfo& info) { got_.Add(who + ":" + std::to_string(info->GetTypeValue())); };
    }
    bool Subscribe(const std::string& name, const std::set<int>& types, SubscriberType kind = kSubscriberPlugin) {
        return MsgBus::SubscribeMsg(Subscription(name, types, Note(name), kind));
    }
    static bool Unsubscribe(const std::string& name, const std::set<int>& types,
                            SubscriberType kind = kSubscriberPlugin) {
        return MsgBus::UnsubscribeMsg(Subscription(name, types, nullptr, kind));
    }
    static bool UnsubscribeAll(const std::set<int>& types) {
        auto info = std::make_shared<CMsgSubscribedInfo>();
        info->SetTypeValues(types);
        return MsgBus::UnsubscribeMsg(info);
    }
    static bool Push(int type) { return MsgBus::PushMsgToSubscriber(Info(type)); }
    /// Ends the bus. @return what came
    std::vector<std::string> Got() {
        StopBus();
        return got_.Now();
    }

    /// A callback of a publisher that notes what it is told: "+1:name 3 4" for a client's beginning.
    CMsgPublishInfo::Callback Told(Arrivals<std::string>& news) {
        return [&news](SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>& info) {
            std::string text = (type == kSubscribe ? "+" : "-") + std::to_string(info->GetSubscriberType()) + ":" +
                               info->GetSubscriber();
            for (const int each : info->GetTypeValues()) text += " " + std::to_string(each);
            news.Add(text);
        };
    }
    static bool Publish(const std::string& publisher, const std::set<int>& types, CMsgPublishInfo::Callback callback) {
        auto info = std::make_shared<CMsgPublishInfo>();
        info->SetPublisher(publisher);
        info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
        info->SetTypeValues(types);
        info->SetCallback(std::move(callback));
        return MsgBus::PublishMsg(info);
    }

    Arrivals<std::string> got_;
    Arrivals<std::string> news_;
};

/// The one message that a subscriber of type 1 gets when this content is pushed.
class NotifyContentTest : public NotifyBusTest {
protected:
    PushInfo Handed(const PushInfo& info) {
        Arrivals<PushInfo> handed;
        MsgBus::SubscribeMsg(Subscription("p", {1}, [&](const PushInfo& got) { handed.Add(got); }));
        EXPECT_TRUE(MsgBus::PushMsgToSubscriber(info));
        StopBus();
        EXPECT_THAT(handed.Now(), SizeIs(1));
        return handed.Now().at(0);
    }
    PushInfo Handed(const std::string& bytes, int kind) {
        return Handed(Info(1, std::make_shared<Block>(bytes, kind)));
    }
};

TEST_F(NotifyContentTest, TextIsWithoutItsNulAndHasNoBinaryPart) {
    const PushInfo info = Handed(std::string("{}\0", 3), ZELPlatform::kContentText);
    EXPECT_EQ(TextOf(info), "{}");
    EXPECT_EQ(BinaryOf(info), std::nullopt);
    EXPECT_EQ(info->GetMsgContent()->ContentType(), ZELPlatform::kContentText);
}

TEST_F(NotifyContentTest, BinaryPartIsBehindTheFirstNul) {
    const PushInfo info = Handed(std::string("{}\0a\0b", 6), ZELPlatform::kContentText);
    EXPECT_EQ(TextOf(info), "{}");
    EXPECT_EQ(BinaryOf(info), std::string("a\0b", 3));
    EXPECT_EQ(info->GetMsgContent()->ContentType(), ZELPlatform::kContentText);
}

TEST_F(NotifyContentTest, BinaryMessageHasAnEmptyText) {
    const PushInfo info = Handed(std::string("\0abc", 4), ZELPlatform::kContentBinary);
    EXPECT_EQ(TextOf(info), "");
    EXPECT_EQ(BinaryOf(info), "abc");
    EXPECT_EQ(info->GetMsgContent()->ContentType(), ZELPlatform::kContentBinary);
}

TEST_F(NotifyContentTest, BlockWithoutNulIsAllText) {
    const PushInfo info = Handed("{}", ZELPlatform::kContentText);
    EXPECT_EQ(TextOf(info), "{}");
    EXPECT_EQ(BinaryOf(info), std::nullopt);
}

TEST_F(NotifyContentTest, EmptyBlockIsAnEmptyText) {
    const PushInfo info = Handed("", ZELPlatform::kContentText);
    EXPECT_EQ(TextOf(info), "");
    EXPECT_EQ(BinaryOf(info), std::nullopt);
}

TEST_F(NotifyContentTest, ContentWithoutTextStaysSo) {
    const PushInfo info = Handed(Info(1, std::make_shared<NoBlock>()));
    EXPECT_EQ(TextOf(info), std::nullopt);
    EXPECT_EQ(BinaryOf(info), std::nullopt);
}

TEST_F(NotifyContentTest, PublisherCategoryAndTypeAreHandedOn) {
    const PushInfo info = Handed(Info(1));
    EXPECT_EQ(info->GetPublisher(), "publisher");
    EXPECT_TRUE(info->HasMsgCategory());
    EXPECT_EQ(info->GetMsgCategory(), ZELPlatform::kMsgCategoryNotify);
    EXPECT_TRUE(info->HasTypeValue());
    EXPECT_EQ(info->GetTypeValue(), 1);
}

TEST_F(NotifyContentTest, MemoryIsThePlugInsAndLivesAsLongAsTheMessage) {
    auto block = std::make_shared<Block>(std::string("{}\0", 3), ZELPlatform::kContentText);
    const std::weak_ptr<Block> observed = block;
    const char* const data = block->Data();
    PushInfo info = Handed(Info(1, std::move(block)));
    EXPECT_FALSE(observed.expired());
    CMsgBusContentBase::Buffer buffer;
    EXPECT_TRUE(info->GetMsgContent()->GetTextContent(buffer));
    EXPECT_EQ(buffer.data, data);
    info.reset();
    EXPECT_TRUE(observed.expired());
}

TEST_F(NotifyBusTest, MessageGoesToAllSubscribersOfItsTypeOnceEach) {
    EXPECT_TRUE(Subscribe("a", {1, 2}));
    EXPECT_TRUE(Subscribe("a", {1}));
    EXPECT_TRUE(Subscribe("b", {1}));
    EXPECT_TRUE(Subscribe("b", {1}, kSubscriberClient));
    EXPECT_TRUE(Subscribe("c", {2}));
    EXPECT_TRUE(Push(1));
    EXPECT_THAT(Got(), UnorderedElementsAre("a:1", "b:1", "b:1"));
}

TEST_F(NotifyBusTest, SubscribersOfOnePushShareItsMemoryAndMayWriteToTheirInformation) {
    Arrivals<PushInfo> handed;
    for (const char* name : {"a", "b"}) {
        MsgBus::SubscribeMsg(Subscription(name, {1}, [&](const PushInfo& info) {
            EXPECT_EQ(info->GetTypeValue(), 1);
            info->SetTypeValue(2);
            handed.Add(info);
        }));
    }
    Push(1);
    StopBus();
    ASSERT_THAT(handed.Now(), SizeIs(2));
    EXPECT_NE(handed.Now()[0], handed.Now()[1]);
    CMsgBusContentBase::Buffer first;
    CMsgBusContentBase::Buffer second;
    EXPECT_TRUE(handed.Now()[0]->GetMsgContent()->GetTextContent(first));
    EXPECT_TRUE(handed.Now()[1]->GetMsgContent()->GetTextContent(second));
    EXPECT_EQ(first.data, second.data);
}

TEST_F(NotifyBusTest, MessageThatNobodyWantsIsAccepted) { EXPECT_TRUE(Push(1)); }

TEST_F(NotifyBusTest, TypesOfARepeatedSubscriptionAreAddedAndItsCallbackServesAll) {
    Subscribe("a", {1});
    MsgBus::SubscribeMsg(Subscription("a", {2}, Note("new")));
    for (int type = 1; type <= 3; ++type) Push(type);
    EXPECT_THAT(Got(), ElementsAre("new:1", "new:2"));
}

TEST_F(NotifyBusTest, ReplacedCallbackIsLetGoOf) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observed = held;
    MsgBus::SubscribeMsg(Subscription("a", {1}, [held = std::move(held)](const PushInfo&) {}));
    EXPECT_FALSE(observed.expired());
    Subscribe("a", {2});
    EXPECT_TRUE(observed.expired());
}

TEST_F(NotifyBusTest, TypesOfOneSubscriberAreEnded) {
    Subscribe("a", {1, 2});
    Subscribe("a", {1}, kSubscriberClient);
    Subscribe("b", {1});
    EXPECT_TRUE(Unsubscribe("a", {1, 3}));
    Push(1);
    Push(2);
    EXPECT_THAT(Got(), UnorderedElementsAre("a:1", "b:1", "a:2"));
}

TEST_F(NotifyBusTest, WithoutASubscriberTheTypesOfAllAreEnded) {
    Subscribe("a", {1, 2});
    Subscribe("b", {1});
    Subscribe("c", {1, 3}, kSubscriberClient);
    EXPECT_TRUE(UnsubscribeAll({1, 2}));
    for (int type = 1; type <= 3; ++type) Push(type);
    EXPECT_THAT(Got(), ElementsAre("c:3"));
}

TEST_F(NotifyBusTest, NoTypesOfNobodyEndNothing) {
    Subscribe("a", {1});
    EXPECT_TRUE(UnsubscribeAll({}));
    Push(1);
    EXPECT_THAT(Got(), ElementsAre("a:1"));
}

TEST_F(NotifyBusTest, NoTypesOfASubscriberEndItWithAllItHad) {
    Subscribe("a", {1, 2});
    Subscribe("b", {1}, kSubscriberClient);
    EXPECT_TRUE(Unsubscribe("a", {}));
    EXPECT_TRUE(Unsubscribe("b", {}, kSubscriberClient));
    Push(1);
    Push(2);
    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedClients({"b"}, Info(3)));
    EXPECT_THAT(Got(), IsEmpty());
}

TEST_F(NotifyBusTest, AClientWithoutTypesIsStillReachedByName) {
    Subscribe("a", {1}, kSubscriberClient);
    Subscribe("b", {1}, kSubscriberClient);
    EXPECT_TRUE(Unsubscribe("a", {1}, kSubscriberClient));
    EXPECT_TRUE(UnsubscribeAll({1}));
    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedClients({"a", "b"}, Info(3)));
    EXPECT_THAT(Got(), UnorderedElementsAre("a:3", "b:3"));
}

TEST_F(NotifyBusTest, EndingWhatIsNotThereIsTrue) {
    EXPECT_TRUE(Unsubscribe("nobody", {1}));
    EXPECT_TRUE(UnsubscribeAll({1}));
    EXPECT_TRUE(MsgBus::UnsubscribeMsg(nullptr));
}

TEST_F(NotifyBusTest, APlugInIsGoneWithItsLastType) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observed = held;
    MsgBus::SubscribeMsg(Subscription("a", {1, 2}, [held = std::move(held)](const PushInfo&) {}));
    Unsubscribe("a", {1});
    EXPECT_FALSE(observed.expired());
    Unsubscribe("a", {2});
    EXPECT_TRUE(observed.expired());
}

TEST_F(NotifyBusTest, NamedClientsGetTheMessageWhateverTheirTypes) {
    Subscribe("a", {1}, kSubscriberClient);
    Subscribe("b", {2}, kSubscriberClient);
    Subscribe("none", {}, kSubscriberClient);
    Subscribe("c", {3}, kSubscriberClient);
    Subscribe("a", {3});
    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedClients({"a", "b", "none", "nobody"}, Info(3)));
    EXPECT_THAT(Got(), UnorderedElementsAre("a:3", "b:3", "none:3"));
}

TEST_F(NotifyBusTest, NamedSubscribersOfEachKindGetTheMessage) {
    Subscribe("a", {1}, kSubscriberClient);
    Subscribe("b", {1}, kSubscriberClient);
    MsgBus::SubscribeMsg(Subscription("a", {1}, Note("plugin a")));
    MsgBus::SubscribeMsg(Subscription("b", {1}, Note("plugin b")));
    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedSubscribers(
        {{kSubscriberClient, {"a"}}, {kSubscriberPlugin, {"b", "x"}}, {static_cast<SubscriberType>(3), {"a"}}},
        Info(3)));
    EXPECT_THAT(Got(), UnorderedElementsAre("a:3", "plugin b:3"));
}

TEST_F(NotifyBusTest, MessageWithPermissionsGoesToTheClientsThatHoldOneAndToNobodyElse) {
    Arrivals<std::string> asked;
    const Permissions permissions = {{10, {1, 2}}, {11, {}}};
    SetClientPermissions([&](const std::string& client, const Permissions& wanted) {
        asked.Add(client);
        EXPECT_EQ(wanted, permissions);
        return client == "holder";
    });
    Subscribe("holder", {1}, kSubscriberClient);
    Subscribe("other", {0}, kSubscriberClient);
    Subscribe("holder", {0});
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(PermissionInfo(permissions)));
    EXPECT_THAT(asked.Now(), UnorderedElementsAre("holder", "other"));
    EXPECT_THAT(Got(), ElementsAre("holder:0"));
}

TEST_F(NotifyBusTest, TypeOfAMessageWithPermissionsIsNoMatter) {
    SetClientPermissions([](const std::string&, const Permissions&) { return true; });
    const auto info = Info(1);
    info->SetUserPermissionInfo({{10, {}}});
    Subscribe("plugin", {1});
    Subscribe("client", {2}, kSubscriberClient);
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(info));
    EXPECT_THAT(Got(), ElementsAre("client:1"));
}

TEST_F(NotifyBusTest, WithNoOneToAskNobodyGetsAMessageWithPermissions) {
    Subscribe("client", {0}, kSubscriberClient);
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(PermissionInfo({{10, {}}})));
    SetClientPermissions([](const std::string&, const Permissions&) { return true; });
    SetClientPermissions(nullptr);
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(PermissionInfo({{10, {}}})));
    EXPECT_THAT(Got(), IsEmpty());
}

TEST_F(NotifyBusTest, PermissionsAreAskedForWithoutALock) {
    SetClientPermissions([this](const std::string& client, const Permissions&) {
        EXPECT_TRUE(Subscribe("inner", {5}));
        EXPECT_TRUE(Push(5));
        return client == "a";
    });
    Subscribe("a", {1}, kSubscriberClient);
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(PermissionInfo({{10, {}}})));
    EXPECT_THAT(Got(), UnorderedElementsAre("inner:5", "a:0"));
}

TEST_F(NotifyBusTest, MessageWithNeitherTypeNorPermissionsReachesNobody) {
    SetClientPermissions([](const std::string&, const Permissions&) { return true; });
    Subscribe("plugin", {0});
    Subscribe("client", {0}, kSubscriberClient);
    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(PermissionInfo({})));
    EXPECT_TRUE(Push(0));
    EXPECT_THAT(Got(), UnorderedElementsAre("plugin:0", "client:0"));
}

TEST_F(NotifyBusTest, SubscriptionsThatLackSomethingAreRefused) {
    ExpectRefused(MsgBus::SubscribeMsg(nullptr), qarplatform::kBusErrorNoName);
    ExpectRefused(MsgBus::SubscribeMsg(Subscription("", {1}, Note("x"))), qarplatform::kBusErrorNoName);
    ExpectRefused(MsgBus::SubscribeMsg(Subscription("a", {1})), qarplatform::kBusErrorNoFunction);
    for (const int kind : {0, 3}) {
        ExpectRefused(MsgBus::SubscribeMsg(Subscription("a", {1}, Note("x"), static_cast<SubscriberType>(kind))),
                      qarplatform::kBusErrorUnknownKind);
    }
    Push(1);
    EXPECT_THAT(Got(), IsEmpty());
}

TEST_F(NotifyBusTest, PublishersThatLackSomethingAreRefused) {
    ExpectRefused(MsgBus::PublishMsg(nullptr), qarplatform::kBusErrorNoName);
    ExpectRefused(Publish("", {1}, Told(news_)), qarplatform::kBusErrorNoName);
    ExpectRefused(Publish("p", {1}, nullptr), qarplatform::kBusErrorNoFunction);
    Subscribe("a", {1});
    StopBus();
    EXPECT_THAT(news_.Now(), IsEmpty());
}

TEST_F(NotifyBusTest, PushesOfNothingAreRefused) {
    const auto no_content = std::make_shared<CMsgPushInfo>();
    for (const PushInfo& info : {PushInfo(), no_content}) {
        ExpectRefused(MsgBus::PushMsgToSubscriber(info), qarplatform::kBusErrorNoContent);
        ExpectRefused(MsgBus::PushMsgToSpecifiedClients({"a"}, info), qarplatform::kBusErrorNoContent);
        ExpectRefused(MsgBus::PushMsgToSpecifiedSubscribers({}, info), qarplatform::kBusErrorNoContent);
    }
}

TEST_F(NotifyBusTest, PublisherIsToldOfSubscriptionsOfItsTypes) {
    EXPECT_TRUE(Publish("p", {1, 2}, Told(news_)));
    Subscribe("a", {1, 3});
    Subscribe("a", {1, 2, 4});
    Subscribe("a", {2}, kSubscriberClient);
    Subscribe("b", {3});
    Unsubscribe("a", {1, 3});
    Unsubscribe("a", {1});
    UnsubscribeAll({2});
    StopBus();
    EXPECT_THAT(news_.Now(), ElementsAre("+2:a 1", "+2:a 2", "+1:a 2", "-2:a 1", "-1:a 2", "-2:a 2"));
}

TEST_F(NotifyBusTest, PublisherIsToldOfWhatStoodBefore) {
    Subscribe("a", {1, 3}, kSubscriberClient);
    Subscribe("b", {1, 2});
    Subscribe("c", {3});
    Unsubscribe("b", {1});
    Publish("p", {1, 2}, Told(news_));
    StopBus();
    EXPECT_THAT(news_.Now(), ElementsAre("+1:a 1", "+2:b 2"));
}

TEST_F(NotifyBusTest, PublisherMayAddTypesAndKeepsBothCallbacks) {
    Arrivals<std::string> second;
    Subscribe("a", {1, 2});
    Publish("p", {1}, Told(news_));
    Publish("p", {1, 2}, Told(second));
    Subscribe("b", {2});
    StopBus();
    EXPECT_THAT(news_.Now(), ElementsAre("+2:a 1", "+2:a 2", "+2:b 2"));
    EXPECT_THAT(second.Now(), ElementsAre("+2:a 1 2", "+2:b 2"));
}

TEST_F(NotifyBusTest, BlockedPublisherHoldsUpNobodyAndIsToldInOrder) {
    std::latch may_go_on(1);
    Arrivals<std::string> slow;
    Publish("p", {1}, [&](SubScribeType type, const auto&) {
        may_go_on.wait();
        slow.Add(type == kSubscribe ? "+" : "-");
    });
    Publish("p", {1}, Told(news_));
    for (int i = 0; i < 2; ++i) {
        Subscribe("a", {1});
        Push(1);
        Unsubscribe("a", {1});
    }
    EXPECT_THAT(news_.WaitFor(4), ElementsAre("+2:a 1", "-2:a 1", "+2:a 1", "-2:a 1"));
    EXPECT_THAT(got_.WaitFor(2), SizeIs(2));
    may_go_on.count_down();
    StopBus();
    EXPECT_THAT(slow.Now(), ElementsAre("+", "-", "+", "-"));
}

TEST_F(NotifyBusTest, BlockedSubscriberHoldsUpNobodyAndGetsWhatWaitedInOrder) {
    std::latch may_go_on(1);
    Arrivals<int> slow;
    MsgBus::SubscribeMsg(Subscription("slow", {1, 2, 3}, [&](const PushInfo& info) {
        may_go_on.wait();
        slow.Add(info->GetTypeValue());
    }));
    Subscribe("a", {1, 2, 3});
    for (int type = 1; type <= 3; ++type) Push(type);
    EXPECT_THAT(got_.WaitFor(3), ElementsAre("a:1", "a:2", "a:3"));
    EXPECT_THAT(slow.Now(), IsEmpty());
    may_go_on.count_down();
    StopBus();
    EXPECT_THAT(slow.Now(), ElementsAre(1, 2, 3));
}

TEST_F(NotifyBusTest, CallbackMayEndItsOwnSubscriptionAndPush) {
    MsgBus::SubscribeMsg(Subscription("a", {1, 2}, [this](const PushInfo& info) {
        EXPECT_TRUE(Unsubscribe("a", {1, 2}));
        EXPECT_TRUE(Subscribe("b", {2}));
        EXPECT_TRUE(Push(2));
        got_.Add("first:" + std::to_string(info->GetTypeValue()));
    }));
    Push(1);
    EXPECT_THAT(got_.WaitFor(2), UnorderedElementsAre("first:1", "b:2"));
}

TEST_F(NotifyBusTest, ThrowingCallbacksAreLoggedAndCostNobodyAMessage) {
    TempLog log;
    int calls = 0;
    Publish("p", {1}, [](SubScribeType, const auto&) { throw std::runtime_error("bang"); });
    MsgBus::SubscribeMsg(Subscription("thrower", {1}, [&](const PushInfo&) {
        if (++calls == 1) throw std::runtime_error("boom");
        if (calls == 2) throw 5;
    }));
    for (int i = 0; i < 3; ++i) Push(1);
    StopBus();
    EXPECT_EQ(calls, 3);
    EXPECT_THAT(log.Lines(),
                UnorderedElementsAre(
                    "E [QARPlatform] publisher p threw at the news that a subscription began: bang",
                    "E [QARPlatform] subscriber thrower threw at notify message 1 from publisher: boom",
                    "E [QARPlatform] subscriber thrower threw something that is no std::exception at notify message "
                    "1 from publisher"));
}

TEST_F(NotifyBusTest, MessagesBeyondTheMostThatWaitAreDroppedAndTheLogTellsHowMany) {
    TempLog log(4);
    std::latch begun(1);
    std::latch may_go_on(1);
    std::size_t calls = 0;
    MsgBus::SubscribeMsg(Subscription("slow", {1}, [&](const PushInfo&) {
        if (++calls == 1) begun.count_down();
        may_go_on.wait();
    }));
    Push(1);
    begun.wait();
    for (std::size_t i = 0; i < qarplatform::Lane::kMostWaiting; ++i) EXPECT_TRUE(Push(1));
    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedSubscribers({{kSubscriberPlugin, {"slow"}}}, Info(1)));
    may_go_on.count_down();
    StopBus();
    EXPECT_EQ(calls, qarplatform::Lane::kMostWaiting + 1);
    EXPECT_THAT(
        log.Lines(),
        ElementsAre("W [QARPlatform] 10000 messages wait for subscriber slow, which does not keep up",
                    "W [QARPlatform] subscriber slow does not keep up: 100000 messages wait, further ones are dropped",
                    "W [QARPlatform] subscriber slow has caught up; dropped messages: 1"));
}

TEST_F(NotifyBusTest, StoppedBusRefusesPushesAndTellsNobody) {
    Publish("p", {1}, Told(news_));
    Subscribe("a", {1});
    StopBus();
    ExpectRefused(Push(1), qarplatform::kBusErrorStopped);
    ExpectRefused(MsgBus::PushMsgToSpecifiedClients({"a"}, Info(1)), qarplatform::kBusErrorStopped);
    ExpectRefused(MsgBus::PushMsgToSpecifiedSubscribers({}, Info(1)), qarplatform::kBusErrorStopped);
    EXPECT_TRUE(Subscribe("b", {1}));
    EXPECT_TRUE(Unsubscribe("a", {1}));
    EXPECT_TRUE(Publish("p", {1}, Told(news_)));
    EXPECT_THAT(news_.Now(), ElementsAre("+2:a 1"));
    EXPECT_THAT(Got(), IsEmpty());
}

}  // namespace
