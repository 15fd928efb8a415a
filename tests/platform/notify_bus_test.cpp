#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusNotify.h"
#include "ZELPlatform/MsgPushInfo.h"
#include "platform/NotifyParty.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::kMsgCategoryNotify;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;
using namespace ZELPlatform::MsgBus;
using namespace notify;

std::shared_ptr<CMsgPushInfo> Secret(const std::map<int, std::list<int>>& permissions, const std::string& text) {
    auto info = std::make_shared<CMsgPushInfo>();
    info->SetPublisher("publisher");
    info->SetMsgContent(std::make_shared<Text>(text));
    info->SetUserPermissionInfo(permissions);
    return info;
}

class NotifyBusTest : public NotifyTest {
protected:
    /// A user's client with an open connection. @return its session
    std::string OpenClient(const std::string& user) {
        std::string session = platform_->LogIn(user, ZELPlatform::InterfaceCommonData::UserSession::kClientTypeDesktop);
        platform_->OpenClient(session);
        return session;
    }
    std::vector<std::string> Texts(const std::string& session) {
        std::vector<std::string> texts;
        for (const auto& frame : platform_->Frames(session)) texts.push_back(frame.data);
        return texts;
    }
    bool WaitForText(const std::string& session, const std::string& text) {
        return WaitUntil([&] {
            const auto texts = Texts(session);
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        });
    }
};

TEST_F(NotifyBusTest, RecordsKeepWhatTheyWereGiven) {
    CMsgSubscribedInfo subscribed;
    EXPECT_FALSE(subscribed.HasSubscriber());
    EXPECT_THAT(subscribed.GetTypeValues(), IsEmpty());
    EXPECT_FALSE(subscribed.GetCallback());
    std::shared_ptr<CMsgPushInfo> got;
    subscribed.SetMsgCategory(kMsgCategoryNotify);
    subscribed.SetTypeValues({1, 2});
    subscribed.SetSubscriber("");
    subscribed.SetSubscriberType(kSubscriberClient);
    subscribed.SetCallback([&got](const std::shared_ptr<CMsgPushInfo>& info) { got = info; });
    EXPECT_EQ(subscribed.GetMsgCategory(), kMsgCategoryNotify);
    EXPECT_THAT(subscribed.GetTypeValues(), ElementsAre(1, 2));
    EXPECT_TRUE(subscribed.HasSubscriber());
    EXPECT_EQ(subscribed.GetSubscriber(), "");
    EXPECT_EQ(subscribed.GetSubscriberType(), kSubscriberClient);
    const auto message = Message(1);
    subscribed.GetCallback()(message);
    EXPECT_EQ(got, message);

    CMsgPublishInfo published;
    EXPECT_EQ(published.GetPublisher(), "");
    EXPECT_FALSE(published.GetCallback());
    int told = 0;
    published.SetPublisher("publisher");
    published.SetMsgCategory(kMsgCategoryNotify);
    published.SetTypeValues({3});
    published.SetCallback([&told](SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>&) { told = type; });
    EXPECT_EQ(published.GetPublisher(), "publisher");
    EXPECT_EQ(published.GetMsgCategory(), kMsgCategoryNotify);
    EXPECT_THAT(published.GetTypeValues(), ElementsAre(3));
    published.GetCallback()(kSubscribe, nullptr);
    EXPECT_EQ(told, kSubscribe);

    CMsgPushInfo pushed;
    EXPECT_FALSE(pushed.HasMsgCategory());
    EXPECT_FALSE(pushed.HasTypeValue());
    pushed.SetMsgCategory(kMsgCategoryNotify);
    EXPECT_TRUE(pushed.HasMsgCategory());
    EXPECT_FALSE(pushed.HasTypeValue());
    pushed.SetTypeValue(0);
    EXPECT_TRUE(pushed.HasTypeValue());
}

TEST_F(NotifyBusTest, SubscriberWithoutNameOrCallbackOrOfNoKindIsRefused) {
    ExpectRefused([&] { return Subscribe(inbox_, {1}, ""); });
    ExpectRefused([&] { return Subscribe(inbox_, {1}, "plugin", SubscriberType()); });
    ExpectRefused([&] { return SubscribeMsg(Subscription({1}, "plugin")); });
}

TEST_F(NotifyBusTest, SubscriberGetsMessagesOfItsTypes) {
    ASSERT_TRUE(Subscribe(inbox_, {1, 3}, "plugin"));
    ASSERT_TRUE(Push(Message(1, "first")));
    ASSERT_TRUE(Push(Message(2, "second")));
    ASSERT_TRUE(Push(Message(3, "third")));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    ASSERT_THAT(inbox_->Types(), ElementsAre(1, 3));
    CMsgPushInfo& message = *inbox_->All()[0];
    EXPECT_EQ(message.GetPublisher(), "publisher");
    EXPECT_EQ(message.GetMsgCategory(), kMsgCategoryNotify);
    EXPECT_EQ(TextOf(message), "first");
}

TEST_F(NotifyBusTest, MessageOfANewTypeZeroIsOneOfTypeZero) {
    ASSERT_TRUE(Subscribe(inbox_, {0}, "plugin"));
    ASSERT_TRUE(Push(Message(0)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(0));
}

TEST_F(NotifyBusTest, MessageReachesEverySubscriberOfItsTypeOnce) {
    ASSERT_TRUE(Subscribe(inbox_, {1, 2}, "plugin"));
    ASSERT_TRUE(Subscribe(inbox_, {1, 2}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {1}, "client", kSubscriberClient));
    ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    ASSERT_TRUE(WaitForMark(*other_, "client", kSubscriberClient));
    EXPECT_THAT(inbox_->Types(), ElementsAre(1));
    EXPECT_THAT(other_->Types(), ElementsAre(1));
}

TEST_F(NotifyBusTest, MessageThatNobodyWantsIsTaken) {
    EXPECT_TRUE(Push(Message(1)));
    EXPECT_TRUE(Push(Secret({{11, {}}}, "secret")));
    EXPECT_TRUE(PushMsgToSpecifiedClients({"nobody"}, Message(1)));
    EXPECT_TRUE(PushMsgToSpecifiedClients({}, Message(1)));
    EXPECT_TRUE(PushMsgToSpecifiedSubscribers({{kSubscriberPlugin, {"nobody"}}}, Message(1)));
    EXPECT_TRUE(PushMsgToSpecifiedSubscribers({}, Message(1)));
}

TEST_F(NotifyBusTest, EmptyMessagesAndThoseWithoutContentAreRefused) {
    auto bare = std::make_shared<CMsgPushInfo>();
    bare->SetTypeValue(1);
    for (const auto& info : {std::shared_ptr<CMsgPushInfo>(), bare}) {
        ExpectRefused([&] { return PushMsgToSubscriber(info); });
        ExpectRefused([&] { return PushMsgToSpecifiedClients({"client"}, info); });
        ExpectRefused([&] { return PushMsgToSpecifiedSubscribers({{kSubscriberPlugin, {"plugin"}}}, info); });
    }
}

TEST_F(NotifyBusTest, SecondSubscribeAddsTypesAndItsCallbackTakesOverAllOfThem) {
    ASSERT_TRUE(Subscribe(other_, {1}, "plugin"));
    ASSERT_TRUE(Subscribe(inbox_, {2}, "plugin"));
    ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(Push(Message(2)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(1, 2));
    EXPECT_THAT(other_->All(), IsEmpty());
}

TEST_F(NotifyBusTest, SubscriberIsKindAndName) {
    ASSERT_TRUE(Subscribe(inbox_, {1}, "name", kSubscriberPlugin));
    ASSERT_TRUE(Subscribe(other_, {1}, "name", kSubscriberClient));
    const auto info = Subscription({1}, "name", kSubscriberClient);
    ASSERT_TRUE(UnsubscribeMsg(info));
    ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(WaitForMark(*inbox_, "name"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(1));
    ASSERT_TRUE(Subscribe(other_, {2}, "name", kSubscriberClient));
    ASSERT_TRUE(WaitForMark(*other_, "name", kSubscriberClient));
    EXPECT_THAT(other_->Types(), IsEmpty());
}

TEST_F(NotifyBusTest, TypesOfASubscriberAreEndedOneByOne) {
    ASSERT_TRUE(Subscribe(inbox_, {1, 2, 3}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {1}, "other"));
    EXPECT_TRUE(UnsubscribeMsg(Subscription({1, 2, 77}, "plugin")));
    for (const int type : {1, 2, 3}) ASSERT_TRUE(Push(Message(type)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    ASSERT_TRUE(WaitForMark(*other_, "other"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(3));
    EXPECT_THAT(other_->Types(), ElementsAre(1));
}

TEST_F(NotifyBusTest, WithoutASubscriberTheTypesOfAllAreEnded) {
    ASSERT_TRUE(Subscribe(inbox_, {1, 2}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {1, 3}, "other"));
    EXPECT_TRUE(Unsubscribe({1}));
    for (const int type : {1, 2, 3}) ASSERT_TRUE(Push(Message(type)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    ASSERT_TRUE(WaitForMark(*other_, "other"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(2));
    EXPECT_THAT(other_->Types(), ElementsAre(3));
}

TEST_F(NotifyBusTest, EndingWhatIsNotSubscribedIsTrue) {
    EXPECT_TRUE(Unsubscribe({1}));
    EXPECT_TRUE(Unsubscribe({}));
    EXPECT_TRUE(UnsubscribeMsg(Subscription({1}, "nobody")));
}

TEST_F(NotifyBusTest, OneSubscriberGetsMessagesInTheOrderOfSending) {
    std::set<int> types;
    std::vector<int> sent;
    for (int type = 1; type <= 300; ++type) {
        types.insert(type);
        sent.push_back(type);
    }
    ASSERT_TRUE(Subscribe(inbox_, types, "plugin"));
    for (const int type : sent) {
        if (type % 3 == 0) {
            ASSERT_TRUE(PushMsgToSpecifiedSubscribers({{kSubscriberPlugin, {"plugin"}}}, Message(type)));
        } else {
            ASSERT_TRUE(Push(Message(type)));
        }
    }
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    EXPECT_EQ(inbox_->Types(), sent);
}

TEST_F(NotifyBusTest, CallbackNeverRunsInsideAnOperation) {
    ASSERT_TRUE(Subscribe(inbox_, {1}, "plugin"));
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    EXPECT_EQ(inbox_->Types().size(), 20u);
    EXPECT_FALSE(inbox_->CalledInsideAnOperation());
}

TEST_F(NotifyBusTest, CallbackThatThrowsCostsNobodyAMessage) {
    const auto throwing = Subscription({1, 2}, "throwing");
    throwing->SetCallback([inbox = other_](const std::shared_ptr<CMsgPushInfo>& message) {
        inbox->Add(message);
        if (message->GetTypeValue() == 1) throw std::runtime_error("on purpose");
        if (message->GetTypeValue() == 2) throw 5;
    });
    ASSERT_TRUE(SubscribeMsg(throwing));
    ASSERT_TRUE(Subscribe(inbox_, {1, 2}, "plugin"));
    ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(Push(Message(2)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    ASSERT_TRUE(WaitForMark(*other_, "throwing"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(1, 2));
    EXPECT_THAT(other_->Types(), ElementsAre(1, 2));
}

TEST_F(NotifyBusTest, CallbackMayEndItsOwnTypesSubscribeAndPush) {
    const auto info = Subscription({1}, "plugin");
    info->SetCallback([inbox = inbox_](const std::shared_ptr<CMsgPushInfo>& message) {
        inbox->Add(message);
        if (message->GetTypeValue() != 1) return;
        UnsubscribeMsg(Subscription({1}, "plugin"));
        Subscribe(inbox, {2}, "plugin");
        PushMsgToSubscriber(Message(2));
    });
    ASSERT_TRUE(SubscribeMsg(info));
    ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(WaitUntil([this] { return inbox_->Types().size() == 2; }));
    ASSERT_TRUE(Push(Message(1)));
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    EXPECT_THAT(inbox_->Types(), ElementsAre(1, 2));
}

TEST_F(NotifyBusTest, ClientsAreReachedByNameWhateverTheySubscribedTo) {
    const auto third = std::make_shared<Inbox>();
    ASSERT_TRUE(Subscribe(inbox_, {1}, "client", kSubscriberClient));
    ASSERT_TRUE(Subscribe(other_, {1}, "other", kSubscriberClient));
    ASSERT_TRUE(Subscribe(third, {1}, "client", kSubscriberPlugin));
    ASSERT_TRUE(PushMsgToSpecifiedClients({"client", "nobody"}, Message(5)));
    ASSERT_TRUE(WaitForMark(*inbox_, "client", kSubscriberClient));
    ASSERT_TRUE(WaitForMark(*other_, "other", kSubscriberClient));
    ASSERT_TRUE(WaitForMark(*third, "client", kSubscriberPlugin));
    EXPECT_THAT(inbox_->Types(), ElementsAre(5));
    EXPECT_THAT(other_->Types(), IsEmpty());
    EXPECT_THAT(third->Types(), IsEmpty()) << "a plug-in of that name is no client";
}

TEST_F(NotifyBusTest, AClientIsReachedByNameUntilItIsEndedAsSuch) {
    ASSERT_TRUE(Subscribe(inbox_, {1}, "client", kSubscriberClient));
    ASSERT_TRUE(Subscribe(other_, {1}, "other", kSubscriberClient));
    EXPECT_TRUE(UnsubscribeMsg(Subscription({1}, "client", kSubscriberClient)));
    EXPECT_TRUE(UnsubscribeMsg(Subscription({}, "other", kSubscriberClient)));
    ASSERT_TRUE(PushMsgToSpecifiedClients({"client", "other"}, Message(5)));
    ASSERT_TRUE(WaitForMark(*inbox_, "client", kSubscriberClient));
    EXPECT_THAT(inbox_->Types(), ElementsAre(5));
    EXPECT_THAT(other_->Types(), IsEmpty());
}

TEST_F(NotifyBusTest, SubscribersAreReachedByKindAndNameWhateverTheySubscribedTo) {
    const auto third = std::make_shared<Inbox>();
    ASSERT_TRUE(Subscribe(inbox_, {1}, "first", kSubscriberClient));
    ASSERT_TRUE(Subscribe(other_, {1}, "first", kSubscriberPlugin));
    ASSERT_TRUE(Subscribe(third, {1}, "second", kSubscriberPlugin));
    ASSERT_TRUE(PushMsgToSpecifiedSubscribers(
        {{kSubscriberClient, {"first", "second"}}, {kSubscriberPlugin, {"second", "nobody"}}}, Message(5)));
    ASSERT_TRUE(WaitForMark(*inbox_, "first", kSubscriberClient));
    ASSERT_TRUE(WaitForMark(*other_, "first", kSubscriberPlugin));
    ASSERT_TRUE(WaitForMark(*third, "second", kSubscriberPlugin));
    EXPECT_THAT(inbox_->Types(), ElementsAre(5));
    EXPECT_THAT(other_->Types(), IsEmpty());
    EXPECT_THAT(third->Types(), ElementsAre(5));
}

TEST_F(NotifyBusTest, UsersClientIsNamedByItsSession) {
    platform_->StartFront();
    const std::string ann = OpenClient("ann");
    const std::string bob = OpenClient("bob");
    ASSERT_TRUE(PushMsgToSpecifiedClients({ann}, Message(5, "for ann")));
    ASSERT_TRUE(PushMsgToSpecifiedSubscribers({{kSubscriberClient, {bob}}}, Message(5, "for bob")));
    ASSERT_TRUE(WaitForText(ann, "for ann"));
    ASSERT_TRUE(WaitForText(bob, "for bob"));
    EXPECT_THAT(Texts(ann), ElementsAre("for ann"));
    EXPECT_THAT(Texts(bob), ElementsAre("for bob"));
}

TEST_F(NotifyBusTest, PermissionMessageGoesToClientsWhoseUserHoldsOneOfThemAndToNobodyElse) {
    platform_->StartFront();
    const std::string ann = OpenClient("ann");  // holds 11 and 12
    const std::string bob = OpenClient("bob");  // holds 12
    const std::string cid = OpenClient("cid");  // holds none
    ASSERT_TRUE(Subscribe(inbox_, {0, 1}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {0, 1}, "client", kSubscriberClient));

    ASSERT_TRUE(Push(Secret({{11, {}}}, "eleven")));
    ASSERT_TRUE(Push(Secret({{12, {1001, 1002}}, {13, {}}}, "twelve or thirteen")));
    ASSERT_TRUE(Push(Secret({{13, {}}}, "thirteen")));
    const auto typed = Secret({{12, {}}}, "twelve of type 1");
    typed->SetTypeValue(1);
    ASSERT_TRUE(Push(typed));
    for (const auto& session : {ann, bob, cid}) {
        ASSERT_TRUE(PushMsgToSpecifiedClients({session}, Message(5, "last")));
        ASSERT_TRUE(WaitForText(session, "last"));
    }
    ASSERT_TRUE(WaitForMark(*inbox_, "plugin"));
    ASSERT_TRUE(WaitForMark(*other_, "client", kSubscriberClient));
    EXPECT_THAT(Texts(ann), ElementsAre("eleven", "twelve or thirteen", "twelve of type 1", "last"));
    EXPECT_THAT(Texts(bob), ElementsAre("twelve or thirteen", "twelve of type 1", "last"));
    EXPECT_THAT(Texts(cid), ElementsAre("last"));
    EXPECT_THAT(inbox_->Types(), IsEmpty());
    EXPECT_THAT(other_->Types(), IsEmpty());
}

}  // namespace
}  // namespace platform_tests
