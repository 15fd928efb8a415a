#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBus.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace {

using Mox::Base::Error;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ZELPlatform::CBaseContent;
using ZELPlatform::CObserverParam;
using namespace ZELPlatform::MsgBus;

thread_local bool t_posting = false;

struct Received {
    std::string observer;
    int type;
    std::shared_ptr<CBaseContent> content;
};

/// What one subscriber got.
class Inbox {
public:
    static Inbox& Make() { return MakeForever<Inbox>(); }

    void Add(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content) {
        if (t_posting) called_while_posting_ = true;
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back({observer, type, content});
    }
    std::vector<Received> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }
    std::vector<int> Types() const {
        std::vector<int> types;
        for (const auto& received : All()) types.push_back(received.type);
        return types;
    }
    std::size_t Count() const { return All().size(); }
    bool CalledWhilePosting() const { return called_while_posting_; }

private:
    mutable std::mutex mutex_;
    std::vector<Received> received_;
    std::atomic<bool> called_while_posting_{false};
};

void Receive(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content, void* user_data) {
    static_cast<Inbox*>(user_data)->Add(observer, type, content);
}

void ReceiveToo(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content, void* user_data) {
    static_cast<Inbox*>(user_data)->Add(observer, type, content);
}

void ReceiveAndThrow(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content,
                     void* user_data) {
    static_cast<Inbox*>(user_data)->Add(observer, type, content);
    if (type == 1) throw std::runtime_error("on purpose");
    throw 5;
}

void ReceiveAndEnd(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content,
                   void* user_data) {
    UnSubscribeObserverEx("ending", observer, {});
    static_cast<Inbox*>(user_data)->Add(observer, type, content);
}

void ReceiveAndSubscribeAnother(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content,
                                void* user_data) {
    SubscribeObserverEx("another", observer, {}, Receive, user_data);
    if (type == 1) NotifyObserverEventEx(observer, 2, content, ZELPlatform::kObserverTask2);
}

class BusTest : public PlatformTest {
protected:
    void SetUp() override { ASSERT_TRUE(RegistObserver("topic")); }

    static bool Post(int type, const std::string& observer = "topic",
                     ZELPlatform::ObserverTaskType task_type = ZELPlatform::kObserverTask2) {
        t_posting = true;
        const bool posted = NotifyObserverEventEx(observer, type, std::make_shared<CObserverParam>(), task_type);
        t_posting = false;
        return posted;
    }
    bool WaitForCount(const Inbox& inbox, std::size_t count) {
        return WaitUntil([&] { return inbox.Count() >= count; });
    }
    /// All that was sent before has been handed to the subscriber: its order is that of sending.
    bool WaitForMark(const Inbox& inbox, int type) {
        const auto marks = [&] {
            const auto types = inbox.Types();
            return std::count(types.begin(), types.end(), type);
        };
        const auto before = marks();
        EXPECT_TRUE(Post(type));
        return WaitUntil([&] { return marks() > before; });
    }
    static void ForgetError() { Error::SetLastError(Error::ErrorCode()); }
    static bool ErrorIsSet() { return Error::GetLastError() != Error::ErrorCode(); }
    /// A plain function that adds to an inbox under the type -1, with an identity of its own.
    static ChangeMsgNotifyFunc PlainInto(Inbox& inbox) {
        return CObserverFunction([&inbox](const std::string& observer, const std::shared_ptr<CBaseContent>& content) {
            inbox.Add(observer, -1, content);
        });
    }
};

TEST_F(BusTest, TopicMayBeRegisteredAgain) { EXPECT_TRUE(RegistObserver("topic")); }

TEST_F(BusTest, MessageOnAnUnknownTopicIsRefusedWithALastError) {
    ForgetError();
    EXPECT_FALSE(Post(1, "unknown"));
    EXPECT_TRUE(ErrorIsSet());
}

TEST_F(BusTest, MessageWithoutSubscribersIsTaken) {
    EXPECT_TRUE(Post(1));
    EXPECT_TRUE(Post(1, "topic", ZELPlatform::kObserverTask0));
}

TEST_F(BusTest, PlainSubscriberGetsEveryTypeWithTopicAndContent) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserver("topic", "plugin", PlainInto(inbox)));
    const auto content = std::make_shared<CObserverParam>();
    ASSERT_TRUE(NotifyObserverEventEx("topic", 5, content, ZELPlatform::kObserverTask0));
    ASSERT_TRUE(Post(6));
    ASSERT_TRUE(WaitForCount(inbox, 2));
    EXPECT_EQ(inbox.All()[0].observer, "topic");
    EXPECT_EQ(inbox.All()[0].content, content);
}

TEST_F(BusTest, PlainSubscriptionMayComeBeforeTheTopic) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserver("later", "plugin", PlainInto(inbox)));
    ASSERT_TRUE(RegistObserver("later"));
    ASSERT_TRUE(Post(1, "later"));
    EXPECT_TRUE(WaitForCount(inbox, 1));
}

TEST_F(BusTest, EmptyPlainFunctionIsRefused) { EXPECT_FALSE(SubscribeObserver("topic", "plugin", nullptr)); }

TEST_F(BusTest, PluginMayHaveSeveralPlainFunctions) {
    Inbox& first = Inbox::Make();
    Inbox& second = Inbox::Make();
    ASSERT_TRUE(SubscribeObserver("topic", "plugin", PlainInto(first)));
    ASSERT_TRUE(SubscribeObserver("topic", "plugin", PlainInto(second)));
    ASSERT_TRUE(Post(1));
    EXPECT_TRUE(WaitForCount(first, 1));
    EXPECT_TRUE(WaitForCount(second, 1));
}

TEST_F(BusTest, PlainSubscriptionIsEndedByItsOwnFunctionAlone) {
    Inbox& ended = Inbox::Make();
    Inbox& kept = Inbox::Make();
    const ChangeMsgNotifyFunc fn = PlainInto(ended);
    ASSERT_TRUE(SubscribeObserver("topic", "plugin", fn));
    ASSERT_TRUE(SubscribeObserver("topic", "plugin", PlainInto(kept)));

    ForgetError();
    EXPECT_FALSE(UnSubscribeObserver("topic", PlainInto(ended))) << "another identity";
    EXPECT_TRUE(ErrorIsSet());
    ForgetError();
    EXPECT_FALSE(UnSubscribeObserver("other", fn)) << "another topic";
    EXPECT_TRUE(ErrorIsSet());

    EXPECT_TRUE(UnSubscribeObserver("topic", fn));
    ForgetError();
    EXPECT_FALSE(UnSubscribeObserver("topic", fn)) << "a second time";
    EXPECT_TRUE(ErrorIsSet());

    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForCount(kept, 1));
    EXPECT_EQ(ended.Count(), 0u);
}

TEST_F(BusTest, CopiesOfAFunctionAreTheSameAndTwoMadeApartAreNot) {
    int calls = 0;
    const auto count = [&calls](const std::string&, const std::shared_ptr<CBaseContent>&) { ++calls; };
    const CObserverFunction first(count);
    const CObserverFunction copy = first;
    EXPECT_TRUE(first.IsSame(copy));
    EXPECT_FALSE(first.IsSame(CObserverFunction(count)));
    copy("topic", nullptr);
    EXPECT_EQ(calls, 1);
}

TEST_F(BusTest, ExSubscriberGetsItsTypesWithTypeTopicAndContent) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {1, 3}, Receive, &inbox));
    const auto content = std::make_shared<CObserverParam>();
    ASSERT_TRUE(NotifyObserverEventEx("topic", 1, content, ZELPlatform::kObserverTask2));
    ASSERT_TRUE(Post(2));
    ASSERT_TRUE(WaitForMark(inbox, 3));
    EXPECT_THAT(inbox.Types(), ElementsAre(1, 3));
    EXPECT_EQ(inbox.All()[0].observer, "topic");
    EXPECT_EQ(inbox.All()[0].content, content);
}

TEST_F(BusTest, EmptySetIsAllTypes) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    for (const int type : {-1, 0, 7, 265}) ASSERT_TRUE(Post(type));
    ASSERT_TRUE(WaitForCount(inbox, 4));
    EXPECT_THAT(inbox.Types(), ElementsAre(-1, 0, 7, 265));
}

TEST_F(BusTest, SubscriberOfAnotherTopicGetsNothing) {
    Inbox& inbox = Inbox::Make();
    Inbox& other = Inbox::Make();
    ASSERT_TRUE(RegistObserver("other"));
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    ASSERT_TRUE(SubscribeObserverEx("plugin", "other", {}, Receive, &other));
    ASSERT_TRUE(Post(1, "other"));
    ASSERT_TRUE(WaitForCount(other, 1));
    ASSERT_TRUE(WaitForMark(inbox, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(2));
}

TEST_F(BusTest, SecondSubscribeWithTheSameFunctionAddsItsTypes) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {1}, Receive, &inbox));
    EXPECT_TRUE(SubscribeObserverEx("plugin", "topic", {2}, Receive, &inbox));
    for (const int type : {1, 3, 2}) ASSERT_TRUE(Post(type));
    ASSERT_TRUE(WaitForMark(inbox, 1));
    EXPECT_THAT(inbox.Types(), ElementsAre(1, 2, 1));
}

TEST_F(BusTest, SecondSubscribeWithAnEmptySetWidensToAllTypes) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {1}, Receive, &inbox));
    EXPECT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    ASSERT_TRUE(Post(9));
    ASSERT_TRUE(WaitForCount(inbox, 1));
    EXPECT_THAT(inbox.Types(), ElementsAre(9));
}

TEST_F(BusTest, AnotherFunctionForThePairIsRefusedAndTheFirstStays) {
    Inbox& first = Inbox::Make();
    Inbox& second = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {1}, Receive, &first));
    ForgetError();
    EXPECT_FALSE(SubscribeObserverEx("plugin", "topic", {1}, ReceiveToo, &first)) << "another function";
    EXPECT_TRUE(ErrorIsSet());
    ForgetError();
    EXPECT_FALSE(SubscribeObserverEx("plugin", "topic", {2}, Receive, &second)) << "another user data";
    EXPECT_TRUE(ErrorIsSet());
    ASSERT_TRUE(Post(2));
    ASSERT_TRUE(WaitForMark(first, 1));
    EXPECT_THAT(first.Types(), ElementsAre(1));
    EXPECT_EQ(second.Count(), 0u);
}

TEST_F(BusTest, NullExFunctionIsRefusedWithALastError) {
    ForgetError();
    EXPECT_FALSE(SubscribeObserverEx("plugin", "topic", {1}, nullptr, nullptr));
    EXPECT_TRUE(ErrorIsSet());
}

TEST_F(BusTest, MessageReachesAFunctionOnceHoweverManyPairsHaveIt) {
    Inbox& inbox = Inbox::Make();
    for (const char* plugin : {"first", "second", "third"}) {
        ASSERT_TRUE(SubscribeObserverEx(plugin, "topic", {1, 2}, Receive, &inbox));
    }
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(inbox, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(1, 2));
}

TEST_F(BusTest, FunctionOfSeveralPairsIsCalledForTheTypesOfAnyOfThem) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("first", "topic", {1}, Receive, &inbox));
    ASSERT_TRUE(SubscribeObserverEx("second", "topic", {2}, Receive, &inbox));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(Post(3));
    ASSERT_TRUE(WaitForMark(inbox, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(1, 2));
    ASSERT_TRUE(UnSubscribeObserverEx("first", "topic", {}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(inbox, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(1, 2, 2));
}

TEST_F(BusTest, DifferentFunctionsAndUserDataAreCalledEach) {
    Inbox& first = Inbox::Make();
    Inbox& second = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("first", "topic", {}, Receive, &first));
    ASSERT_TRUE(SubscribeObserverEx("second", "topic", {}, Receive, &second));
    ASSERT_TRUE(SubscribeObserverEx("third", "topic", {}, ReceiveToo, &second));
    ASSERT_TRUE(Post(1));
    EXPECT_TRUE(WaitForCount(first, 1));
    EXPECT_TRUE(WaitForCount(second, 2));
}

TEST_F(BusTest, EndedSubscriptionGetsNothingMore) {
    Inbox& ended = Inbox::Make();
    Inbox& kept = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("ended", "topic", {}, Receive, &ended));
    ASSERT_TRUE(SubscribeObserverEx("kept", "topic", {}, Receive, &kept));
    EXPECT_TRUE(UnSubscribeObserverEx("ended", "topic", {}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForCount(kept, 1));
    ASSERT_TRUE(SubscribeObserverEx("ended", "topic", {2}, Receive, &ended));
    ASSERT_TRUE(WaitForMark(ended, 2));
    EXPECT_THAT(ended.Types(), ElementsAre(2));
}

TEST_F(BusTest, TypesAreEndedOneByOneUntilThePairIsFree) {
    Inbox& inbox = Inbox::Make();
    Inbox& other = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {1, 2}, Receive, &inbox));
    EXPECT_TRUE(UnSubscribeObserverEx("plugin", "topic", {1}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(inbox, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(2));
    EXPECT_TRUE(UnSubscribeObserverEx("plugin", "topic", {2}));
    EXPECT_TRUE(SubscribeObserverEx("plugin", "topic", {2}, ReceiveToo, &other));
    ASSERT_TRUE(WaitForMark(other, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(2));
}

TEST_F(BusTest, TypesAreEndedOfASubscriptionToAll) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    EXPECT_TRUE(UnSubscribeObserverEx("plugin", "topic", {1}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(inbox, 2));
    EXPECT_THAT(inbox.Types(), ElementsAre(2));
    EXPECT_TRUE(SubscribeObserverEx("plugin", "topic", {1}, Receive, &inbox));
    ASSERT_TRUE(WaitForMark(inbox, 1));
    EXPECT_THAT(inbox.Types(), ElementsAre(2, 1));
}

TEST_F(BusTest, EndingAnUnknownSubscriptionIsTrue) {
    EXPECT_TRUE(UnSubscribeObserverEx("nobody", "topic", {}));
    EXPECT_TRUE(UnSubscribeObserverEx("nobody", "unknown", {1}));
}

TEST_F(BusTest, PairIsFreeForAnotherFunctionAfterItsEnd) {
    Inbox& first = Inbox::Make();
    Inbox& second = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {1}, Receive, &first));
    ASSERT_TRUE(UnSubscribeObserverEx("plugin", "topic", {}));
    EXPECT_TRUE(SubscribeObserverEx("plugin", "topic", {1}, ReceiveToo, &second));
    ASSERT_TRUE(Post(1));
    EXPECT_TRUE(WaitForCount(second, 1));
}

TEST_F(BusTest, OneSubscriberGetsMessagesInTheOrderOfSending) {
    Inbox& inbox = Inbox::Make();
    Inbox& plain = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    ASSERT_TRUE(SubscribeObserver("topic", "plugin", PlainInto(plain)));
    std::vector<int> sent;
    std::vector<std::shared_ptr<CBaseContent>> contents;
    for (int type = 0; type < 300; ++type) {
        contents.push_back(std::make_shared<CObserverParam>());
        ASSERT_TRUE(NotifyObserverEventEx("topic", type, contents.back(), ZELPlatform::kObserverTask2));
        sent.push_back(type);
    }
    ASSERT_TRUE(WaitForCount(inbox, 300));
    EXPECT_EQ(inbox.Types(), sent);
    ASSERT_TRUE(WaitForCount(plain, 300));
    const auto received = plain.All();
    for (std::size_t i = 0; i < contents.size(); ++i) EXPECT_EQ(received[i].content, contents[i]) << i;
}

TEST_F(BusTest, CallbackNeverRunsInsideThePost) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    for (int type = 0; type < 20; ++type) ASSERT_TRUE(Post(type));
    ASSERT_TRUE(WaitForCount(inbox, 20));
    EXPECT_FALSE(inbox.CalledWhilePosting());
}

TEST_F(BusTest, CallbackThatThrowsCostsNobodyAMessage) {
    Inbox& throwing = Inbox::Make();
    Inbox& other = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("throwing", "topic", {}, ReceiveAndThrow, &throwing));
    ASSERT_TRUE(SubscribeObserverEx("other", "topic", {}, Receive, &other));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(Post(2));
    EXPECT_TRUE(WaitForCount(other, 2));
    EXPECT_TRUE(WaitForCount(throwing, 2));
}

TEST_F(BusTest, CallbackMayEndItsOwnSubscription) {
    Inbox& inbox = Inbox::Make();
    Inbox& other = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("ending", "topic", {}, ReceiveAndEnd, &inbox));
    ASSERT_TRUE(SubscribeObserverEx("other", "topic", {}, Receive, &other));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForCount(inbox, 1));
    ASSERT_TRUE(Post(2));
    ASSERT_TRUE(WaitForCount(other, 2));
    EXPECT_TRUE(SubscribeObserverEx("ending", "topic", {3}, Receive, &inbox)) << "the pair is free";
    ASSERT_TRUE(WaitForMark(inbox, 3));
    EXPECT_THAT(inbox.Types(), ElementsAre(1, 3));
}

TEST_F(BusTest, CallbackMaySubscribeAndPost) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, ReceiveAndSubscribeAnother, &inbox));
    ASSERT_TRUE(Post(1));
    EXPECT_TRUE(WaitForCount(inbox, 1)) << "what the callback posted reaches what it subscribed";
    EXPECT_EQ(inbox.Types().front(), 2);
}

TEST_F(BusTest, ContentLivesUntilItsLastSubscriberHasIt) {
    Inbox& inbox = Inbox::Make();
    ASSERT_TRUE(SubscribeObserverEx("plugin", "topic", {}, Receive, &inbox));
    auto content = std::make_shared<CObserverParam>();
    content->SetText("{\"A\": 1}");
    content->SetObserverMsgType(4);
    ASSERT_TRUE(NotifyObserverEventEx("topic", 4, content, ZELPlatform::kObserverTask2));
    content.reset();
    ASSERT_TRUE(WaitForCount(inbox, 1));
    const char* data = nullptr;
    int size = 0;
    ASSERT_TRUE(inbox.All()[0].content->GetContent(&data, &size));
    EXPECT_EQ(std::string(data), "{\"A\": 1}");
}

}  // namespace
}  // namespace platform_tests
