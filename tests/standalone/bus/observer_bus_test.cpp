#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <latch>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBus.h"
#include "standalone/base/arrivals.h"
#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusErrors.h"
#include "standalone/log/temp_log.h"

namespace {

namespace MsgBus = ZELPlatform::MsgBus;
using Mox::Base::Error;
using qarplatform::StopBus;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

Content Text(const std::string& text) {
    auto content = std::make_shared<ZELPlatform::CObserverParam>();
    content->SetText(text);
    return content;
}

std::string TextOf(const Content& content) {
    const char* data = nullptr;
    int size = 0;
    content->GetContent(&data, &size);
    return data;
}

/// What an Ex subscription gets as its user data.
struct Subscriber {
    Arrivals<std::string> messages;
    std::function<void()> step;
};

void Collect(const std::string& observer, int type, const Content& content, void* user_data) {
    auto* subscriber = static_cast<Subscriber*>(user_data);
    subscriber->messages.Add(observer + ":" + std::to_string(type) + ":" + TextOf(content));
    if (subscriber->step) subscriber->step();
}

void CollectToo(const std::string& observer, int type, const Content& content, void* user_data) {
    Collect(observer, type, content, user_data);
}

class ObserverBusTest : public testing::Test {
protected:
    ObserverBusTest() { MsgBus::RegistObserver("topic"); }
    ~ObserverBusTest() override { StopBus(); }

    static bool Send(int type, const std::string& text = "", const std::string& observer = "topic") {
        return MsgBus::NotifyObserverEventEx(observer, type, Text(text), ZELPlatform::kObserverTask0);
    }
    static bool Subscribe(Subscriber& subscriber, const std::set<int>& types, const std::string& plugin = "plugin",
                          const std::string& observer = "topic") {
        return MsgBus::SubscribeObserverEx(plugin, observer, types, Collect, &subscriber);
    }
    /// A plain function with an identity of its own.
    static MsgBus::CObserverFunction Plain(Arrivals<std::string>& messages) {
        return MsgBus::CObserverFunction([&messages](const std::string& observer, const Content& content) {
            messages.Add(observer + ":" + TextOf(content));
        });
    }
    static Error::ErrorCode BusError(int code) { return Error::ErrorCode(qarplatform::kErrorModuleBus, code); }

    Subscriber subscriber_;
};

TEST_F(ObserverBusTest, MessageReachesItsSubscriberWithTopicTypeAndContent) {
    ASSERT_TRUE(Subscribe(subscriber_, {261}));
    EXPECT_TRUE(Send(261, "text"));
    EXPECT_THAT(subscriber_.messages.WaitFor(1), ElementsAre("topic:261:text"));
}

TEST_F(ObserverBusTest, CallbackRunsOnAThreadOfTheBus) {
    std::thread::id called_on;
    subscriber_.step = [&] { called_on = std::this_thread::get_id(); };
    Subscribe(subscriber_, {});
    Send(1);
    StopBus();
    EXPECT_NE(called_on, std::thread::id());
    EXPECT_NE(called_on, std::this_thread::get_id());
}

TEST_F(ObserverBusTest, EachSubscriberGetsEachSendersMessagesInOrder) {
    constexpr int kSenders = 8;
    constexpr int kMessages = 1000;
    std::vector<Subscriber> subscribers(4);
    for (std::size_t i = 0; i < subscribers.size(); ++i) {
        ASSERT_TRUE(Subscribe(subscribers[i], {}, "plugin" + std::to_string(i)));
    }
    std::vector<std::thread> senders;
    for (int sender = 0; sender < kSenders; ++sender) {
        senders.emplace_back([sender] {
            for (int i = 0; i < kMessages; ++i) EXPECT_TRUE(Send(sender, std::to_string(i)));
        });
    }
    for (std::thread& sender : senders) sender.join();
    StopBus();
    for (Subscriber& subscriber : subscribers) {
        std::vector<int> next(kSenders, 0);
        for (const std::string& message : subscriber.messages.Now()) {
            int sender = -1;
            int number = -1;
            ASSERT_EQ(std::sscanf(message.c_str(), "topic:%d:%d", &sender, &number), 2);
            EXPECT_EQ(number, next.at(static_cast<std::size_t>(sender))++);
        }
        EXPECT_THAT(next, Each(kMessages));
    }
}

TEST_F(ObserverBusTest, OrderOfSendingHoldsOverTheTopicsOfASubscriber) {
    MsgBus::RegistObserver("other");
    Arrivals<std::string> messages;
    MsgBus::SubscribeObserver("topic", "plugin", Plain(messages));
    MsgBus::SubscribeObserver("other", "plugin", Plain(messages));
    for (int i = 0; i < 200; ++i) {
        Send(1, std::to_string(i));
        Send(1, std::to_string(i), "other");
    }
    StopBus();
    std::vector<std::string> expected;
    for (int i = 0; i < 200; ++i) {
        expected.push_back("topic:" + std::to_string(i));
        expected.push_back("other:" + std::to_string(i));
    }
    EXPECT_EQ(messages.Now(), expected);
}

TEST_F(ObserverBusTest, CallsOfOneSubscriberNeverOverlap) {
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    subscriber_.step = [&] {
        if (++inside > 1) overlapped = true;
        std::this_thread::yield();
        --inside;
    };
    Subscribe(subscriber_, {});
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender) {
        senders.emplace_back([] {
            for (int i = 0; i < 200; ++i) Send(i);
        });
    }
    for (std::thread& sender : senders) sender.join();
    StopBus();
    EXPECT_EQ(subscriber_.messages.Now().size(), 800u);
    EXPECT_FALSE(overlapped);
}

TEST_F(ObserverBusTest, SixtyFourBlockedSubscribersHoldUpNobody) {
    constexpr std::size_t kBlocked = 64;
    std::latch all_blocked(kBlocked);
    std::latch may_go_on(1);
    std::vector<Subscriber> blocked(kBlocked);
    for (std::size_t i = 0; i < kBlocked; ++i) {
        blocked[i].step = [&] {
            all_blocked.count_down();
            may_go_on.wait();
        };
        ASSERT_TRUE(Subscribe(blocked[i], {1}, "blocked" + std::to_string(i)));
    }
    ASSERT_TRUE(Subscribe(subscriber_, {}));
    Send(1);
    all_blocked.wait();
    for (int i = 0; i < 100; ++i) Send(2, std::to_string(i));
    EXPECT_EQ(subscriber_.messages.WaitFor(101).back(), "topic:2:99");
    may_go_on.count_down();
    StopBus();
}

TEST_F(ObserverBusTest, BlockedSubscriberGetsWhatWaitedInOrder) {
    std::latch may_go_on(1);
    subscriber_.step = [&] { may_go_on.wait(); };
    Subscribe(subscriber_, {});
    for (int i = 0; i < 3; ++i) Send(i);
    may_go_on.count_down();
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:0:", "topic:1:", "topic:2:"));
}

TEST_F(ObserverBusTest, SubscriberThatDoesNotKeepUpIsToldInTheLogOnce) {
    TempLog log;
    std::latch begun(1);
    std::latch may_go_on(1);
    bool first = true;
    subscriber_.step = [&] {
        if (first) begun.count_down();
        first = false;
        may_go_on.wait();
    };
    Subscribe(subscriber_, {});
    Send(1);
    begun.wait();
    for (int i = 0; i < 10050; ++i) Send(1);
    may_go_on.count_down();
    StopBus();
    EXPECT_THAT(log.Lines(),
                ElementsAre("W [QARPlatform] 10000 messages wait for subscriber plugin, which does not keep up"));
}

TEST_F(ObserverBusTest, TypesOfARepeatedSubscriptionAreMerged) {
    Subscribe(subscriber_, {1});
    Subscribe(subscriber_, {2});
    for (int type = 1; type <= 3; ++type) Send(type);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:1:", "topic:2:"));
}

TEST_F(ObserverBusTest, EmptyTypesAreAllTypes) {
    Subscribe(subscriber_, {1});
    Subscribe(subscriber_, {});
    Subscribe(subscriber_, {2});
    for (int type = -1; type <= 3; ++type) Send(type);
    StopBus();
    EXPECT_EQ(subscriber_.messages.Now().size(), 5u);
}

TEST_F(ObserverBusTest, TypesCanBeEndedOneByOne) {
    Subscribe(subscriber_, {1, 2});
    EXPECT_TRUE(MsgBus::UnSubscribeObserverEx("plugin", "topic", {1}));
    Send(1);
    Send(2);
    EXPECT_TRUE(MsgBus::UnSubscribeObserverEx("plugin", "topic", {2}));
    Send(2);
    // the pair is free again
    EXPECT_TRUE(MsgBus::SubscribeObserverEx("plugin", "topic", {3}, CollectToo, &subscriber_));
    Send(3);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:2:", "topic:3:"));
}

TEST_F(ObserverBusTest, TypeEndedOutOfAllTypesIsLeftOut) {
    Subscribe(subscriber_, {});
    MsgBus::UnSubscribeObserverEx("plugin", "topic", {2});
    for (int type = 1; type <= 3; ++type) Send(type);
    Subscribe(subscriber_, {2});
    Send(2);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:1:", "topic:3:", "topic:2:"));
}

TEST_F(ObserverBusTest, SecondFunctionForOnePluginAndTopicIsRefusedAndFirstStays) {
    Subscriber other;
    ASSERT_TRUE(Subscribe(subscriber_, {1}));
    EXPECT_FALSE(MsgBus::SubscribeObserverEx("plugin", "topic", {2}, CollectToo, &subscriber_));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorOtherFunction));
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(MsgBus::SubscribeObserverEx("plugin", "topic", {2}, Collect, &other));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorOtherFunction));
    Send(1);
    Send(2);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:1:"));
    EXPECT_THAT(other.messages.Now(), IsEmpty());
}

TEST_F(ObserverBusTest, SubscriptionsOfOtherPluginsAndTopicsAreTheirOwn) {
    MsgBus::RegistObserver("other");
    Subscriber second;
    Subscriber third;
    EXPECT_TRUE(Subscribe(subscriber_, {}));
    EXPECT_TRUE(Subscribe(second, {}, "plugin", "other"));
    EXPECT_TRUE(Subscribe(third, {}, "plugin2"));
    MsgBus::UnSubscribeObserverEx("plugin", "topic", {});
    Send(1);
    Send(2, "", "other");
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), IsEmpty());
    EXPECT_THAT(second.messages.Now(), ElementsAre("other:2:"));
    EXPECT_THAT(third.messages.Now(), ElementsAre("topic:1:"));
}

TEST_F(ObserverBusTest, MessageGoesOnceToEachDistinctFunctionAndUserData) {
    Subscriber other;
    Subscribe(subscriber_, {1}, "a");
    Subscribe(subscriber_, {1, 2}, "b");
    Subscribe(other, {1}, "c");
    Send(1);
    Send(2);
    MsgBus::UnSubscribeObserverEx("a", "topic", {});
    Send(1);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:1:", "topic:2:", "topic:1:"));
    EXPECT_THAT(other.messages.Now(), ElementsAre("topic:1:", "topic:1:"));
}

TEST_F(ObserverBusTest, NullFunctionsAreRefused) {
    EXPECT_FALSE(MsgBus::SubscribeObserverEx("plugin", "topic", {}, nullptr, &subscriber_));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorNoFunction));
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(MsgBus::SubscribeObserver("topic", "plugin", nullptr));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorNoFunction));
}

TEST_F(ObserverBusTest, EndingAnUnknownExSubscriptionIsTrue) {
    EXPECT_TRUE(MsgBus::UnSubscribeObserverEx("nobody", "topic", {}));
    EXPECT_TRUE(MsgBus::UnSubscribeObserverEx("plugin", "nothing", {1}));
}

TEST_F(ObserverBusTest, PlainFunctionsOfOnePluginAllGetEveryType) {
    Arrivals<std::string> first;
    Arrivals<std::string> second;
    EXPECT_TRUE(MsgBus::SubscribeObserver("topic", "plugin", Plain(first)));
    EXPECT_TRUE(MsgBus::SubscribeObserver("topic", "plugin", Plain(second)));
    Send(1, "a");
    Send(99, "b");
    StopBus();
    EXPECT_THAT(first.Now(), ElementsAre("topic:a", "topic:b"));
    EXPECT_THAT(second.Now(), ElementsAre("topic:a", "topic:b"));
}

TEST_F(ObserverBusTest, PlainSubscriptionIsEndedByACopyOfItsFunction) {
    Arrivals<std::string> first;
    Arrivals<std::string> second;
    const MsgBus::ChangeMsgNotifyFunc ended = Plain(first);
    MsgBus::SubscribeObserver("topic", "plugin", ended);
    MsgBus::SubscribeObserver("topic", "plugin", Plain(second));
    const MsgBus::ChangeMsgNotifyFunc copy = ended;
    EXPECT_TRUE(MsgBus::UnSubscribeObserver("topic", copy));
    Send(1, "a");
    StopBus();
    EXPECT_THAT(first.Now(), IsEmpty());
    EXPECT_THAT(second.Now(), ElementsAre("topic:a"));
}

TEST_F(ObserverBusTest, EndingAPlainSubscriptionThatIsNotThereFails) {
    Arrivals<std::string> messages;
    const MsgBus::ChangeMsgNotifyFunc fn = Plain(messages);
    MsgBus::SubscribeObserver("topic", "plugin", fn);
    const auto fails = [](const std::string& observer, const MsgBus::ChangeMsgNotifyFunc& function) {
        Error::SetLastError(Error::ErrorCode());
        EXPECT_FALSE(MsgBus::UnSubscribeObserver(observer, function));
        EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorNoSubscription));
    };
    fails("topic", Plain(messages));
    fails("other", fn);
    fails("topic", nullptr);
    fails("topic", [](const std::string&, const Content&) {});
    EXPECT_TRUE(MsgBus::UnSubscribeObserver("topic", fn));
    fails("topic", fn);
}

TEST_F(ObserverBusTest, EndedSubscriptionLetsGoOfItsFunction) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observed = held;
    {
        const MsgBus::ChangeMsgNotifyFunc fn =
            MsgBus::CObserverFunction([held = std::move(held)](const std::string&, const Content&) {});
        MsgBus::SubscribeObserver("topic", "plugin", fn);
        MsgBus::UnSubscribeObserver("topic", fn);
    }
    EXPECT_TRUE(observed.expired());
}

TEST_F(ObserverBusTest, TopicThatNobodyRegisteredIsRefused) {
    Subscribe(subscriber_, {}, "plugin", "later");
    EXPECT_FALSE(Send(1, "early", "later"));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorNoTopic));
    EXPECT_TRUE(MsgBus::RegistObserver("later"));
    EXPECT_TRUE(MsgBus::RegistObserver("later"));
    EXPECT_TRUE(Send(1, "in time", "later"));
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("later:1:in time"));
}

TEST_F(ObserverBusTest, MessageThatNobodyWantsIsAccepted) { EXPECT_TRUE(Send(1)); }

TEST_F(ObserverBusTest, EmptyContentIsHandedOn) {
    Arrivals<bool> empty;
    MsgBus::SubscribeObserver("topic", "plugin", MsgBus::CObserverFunction([&](const std::string&, const Content& c) {
                                  empty.Add(c == nullptr);
                              }));
    EXPECT_TRUE(MsgBus::NotifyObserverEventEx("topic", 1, nullptr, ZELPlatform::kObserverTask2));
    StopBus();
    EXPECT_THAT(empty.Now(), ElementsAre(true));
}

TEST_F(ObserverBusTest, NothingSentAfterTheEndOfASubscriptionReachesIt) {
    std::atomic<int> round = 0;
    std::atomic<bool> late = false;
    struct Round {
        int number;
        std::atomic<int>* now;
        std::atomic<bool>* late;
    };
    std::vector<Round> rounds;
    constexpr int kRounds = 200;
    for (int i = 0; i < kRounds; ++i) rounds.push_back({i, &round, &late});
    for (Round& data : rounds) {
        // a message carries the round in which it was sent
        ASSERT_TRUE(MsgBus::SubscribeObserverEx(
            "plugin", "topic", {},
            [](const std::string&, int type, const Content&, void* user_data) {
                auto* own = static_cast<Round*>(user_data);
                if (type > own->number) *own->late = true;
            },
            &data));
        Send(data.number);
        MsgBus::UnSubscribeObserverEx("plugin", "topic", {});
        Send(data.number + 1);
    }
    StopBus();
    EXPECT_FALSE(late);
}

TEST_F(ObserverBusTest, CallbackMayEndItsOwnSubscriptionAndBeginAnother) {
    Subscriber next;
    std::latch changed(1);
    subscriber_.step = [&] {
        EXPECT_TRUE(MsgBus::UnSubscribeObserverEx("plugin", "topic", {}));
        EXPECT_TRUE(Subscribe(next, {}));
        changed.count_down();
    };
    Subscribe(subscriber_, {});
    Send(1);
    changed.wait();
    Send(2);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:1:"));
    EXPECT_THAT(next.messages.Now(), ElementsAre("topic:2:"));
}

TEST_F(ObserverBusTest, CallbackMaySend) {
    int left = 3;
    subscriber_.step = [&] {
        if (left-- > 0) Send(left);
    };
    Subscribe(subscriber_, {});
    Send(9);
    EXPECT_THAT(subscriber_.messages.WaitFor(4), ElementsAre("topic:9:", "topic:2:", "topic:1:", "topic:0:"));
    StopBus();
}

TEST_F(ObserverBusTest, ThrowingCallbackIsLoggedAndCostsNobodyAMessage) {
    TempLog log;
    Subscriber other;
    int calls = 0;
    subscriber_.step = [&] {
        ++calls;
        if (calls == 1) throw std::runtime_error("boom");
        if (calls == 2) throw 5;
    };
    Subscribe(subscriber_, {}, "thrower");
    Subscribe(other, {}, "other");
    for (int type = 1; type <= 3; ++type) Send(type);
    StopBus();
    EXPECT_THAT(subscriber_.messages.Now(), ElementsAre("topic:1:", "topic:2:", "topic:3:"));
    EXPECT_THAT(other.messages.Now(), ElementsAre("topic:1:", "topic:2:", "topic:3:"));
    EXPECT_THAT(log.Lines(),
                ElementsAre("E [QARPlatform] subscriber thrower threw at a message of type 1 from topic: boom",
                            "E [QARPlatform] subscriber thrower threw something that is no std::exception at a "
                            "message of type 2 from topic"));
}

TEST_F(ObserverBusTest, StopDeliversWhatIsQueuedThenRefuses) {
    std::latch may_go_on(1);
    subscriber_.step = [&] { may_go_on.wait(); };
    Subscribe(subscriber_, {});
    for (int i = 0; i < 100; ++i) Send(i);
    std::thread stopping(StopBus);
    may_go_on.count_down();
    stopping.join();
    EXPECT_EQ(subscriber_.messages.Now().size(), 100u);
    EXPECT_FALSE(Send(1));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorStopped));
    StopBus();
    EXPECT_EQ(subscriber_.messages.Now().size(), 100u);
}

TEST_F(ObserverBusTest, AcceptedMessagesArriveHoweverTheStopFalls) {
    std::atomic<std::size_t> accepted = 0;
    Subscribe(subscriber_, {});
    std::latch sending(4);
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender) {
        senders.emplace_back([&] {
            for (bool first = true; Send(1); first = false) {
                ++accepted;
                if (first) sending.count_down();
            }
        });
    }
    sending.wait();
    StopBus();
    for (std::thread& sender : senders) sender.join();
    EXPECT_EQ(subscriber_.messages.Now().size(), accepted);
}

TEST(UnusedBusTest, IsStoppedAllTheSame) {
    StopBus();
    MsgBus::RegistObserver("topic");
    EXPECT_FALSE(MsgBus::NotifyObserverEventEx("topic", 1, Text(""), ZELPlatform::kObserverTask0));
}

}  // namespace
