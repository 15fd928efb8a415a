#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <list>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ZELPlatform/MsgBus.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "standalone/base/arrivals.h"
#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusThreads.h"
#include "standalone/log/temp_log.h"
#include "support/other_thread.h"
#include "support/random_worker.h"

namespace {

namespace MsgBus = ZELPlatform::MsgBus;
using qarplatform::BusThreads;
using qarplatform::Lane;
using qarplatform::StopBus;
using testing::Each;
using testing::ElementsAre;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;
using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
using PushInfo = std::shared_ptr<ZELPlatform::CMsgPushInfo>;

class NoContent final : public ZELPlatform::CMsgBusContentBase {
public:
    bool GetTextContent(Buffer&) override { return false; }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }
};

/// What each kind of message hands its number to.
using Got = std::function<void(int number)>;

// One subscription and one message of each half of the bus; the number is the message's type, or in an observer
// message's case and an event's the resource.

bool SubscribeChange(const std::string& plugin, Got got) {
    return MsgBus::SubscribeObserver("topic", plugin,
                                     MsgBus::CObserverFunction([got](const std::string&, const Content& content) {
                                         const char* text = nullptr;
                                         int size = 0;
                                         content->GetContent(&text, &size);
                                         got(std::stoi(text));
                                     }));
}

bool ApplyEvent(SubScribeType type, const std::string& name, SubscriberType kind, int event, Got got) {
    MsgBus::CSubscriber subscriber;
    subscriber.SetValsubscribeType(kind);
    subscriber.SetSubscriberId(name);
    if (got) subscriber.SetValcallbackFunction([got](int, int, int id, const Content&) { got(id); });
    MsgBus::CMsgSubscribeInfo row;
    row.SetValsubscriber(subscriber);
    row.SetValsubscribeType(type);
    row.SetValeventType(event);
    std::list<MsgBus::CMsgSubScribeErrorInfo> errors;
    return MsgBus::UpdateSubscribeList(errors, {row});
}

std::shared_ptr<ZELPlatform::CMsgSubscribedInfo> NotifySubscription(const std::string& name, SubscriberType kind,
                                                                    const std::set<int>& types, Got got) {
    auto info = std::make_shared<ZELPlatform::CMsgSubscribedInfo>();
    info->SetSubscriber(name);
    info->SetSubscriberType(kind);
    info->SetTypeValues(types);
    if (got) info->SetCallback([got](const PushInfo& message) { got(message->GetTypeValue()); });
    return info;
}

bool SendChange(int number) {
    auto content = std::make_shared<ZELPlatform::CObserverParam>();
    content->SetText(std::to_string(number));
    return MsgBus::NotifyObserverEventEx("topic", 1, content, ZELPlatform::kObserverTask0);
}

bool PostEvent(int event, int number) {
    return MsgBus::MsgNotifyBySubscription(event, 1001, number, nullptr, "poster", 0);
}

PushInfo Pushed(int type) {
    auto info = std::make_shared<ZELPlatform::CMsgPushInfo>();
    info->SetTypeValue(type);
    info->SetMsgContent(std::make_shared<NoContent>());
    return info;
}

TEST(BusThreadsTest, SubscriberHasOneLaneForAsLongAsItIsHeld) {
    BusThreads threads;
    const auto lane = threads.LaneOf(kSubscriberPlugin, "a");
    EXPECT_EQ(threads.LaneOf(kSubscriberPlugin, "a"), lane);
    EXPECT_NE(threads.LaneOf(kSubscriberPlugin, "b"), lane);
    EXPECT_NE(threads.LaneOf(kSubscriberClient, "a"), lane);
    for (int i = 0; i < 1000; ++i) threads.LaneOf(kSubscriberClient, std::to_string(i));
    EXPECT_EQ(threads.LaneOf(kSubscriberPlugin, "a"), lane);
    std::weak_ptr<Lane> observed = threads.LaneOf(kSubscriberPlugin, "c");
    EXPECT_TRUE(observed.expired());
}

TEST(BusThreadsTest, NothingIsSentOnceStopped) {
    BusThreads threads;
    {
        const BusThreads::Sending sending(threads);
        EXPECT_EQ(sending.Error(), std::nullopt);
    }
    threads.Stop();
    const BusThreads::Sending sending(threads);
    EXPECT_EQ(sending.Error(), qarplatform::kBusErrorStopped);
}

TEST(BusThreadsTest, StopWaitsForThoseWhoAreSending) {
    struct Empty final : qarplatform::Message {
        std::string Text() const override { return ""; }
    };
    using EmptyReceiver = qarplatform::ReceiverOf<Empty>;
    BusThreads threads;
    bool delivered = false;
    auto sending = std::make_unique<BusThreads::Sending>(threads);
    {
        const test_support::OtherThread stopping([&] { threads.Stop(); });
        EXPECT_TRUE(stopping.Waits());
        const auto receiver = std::make_shared<const EmptyReceiver>(threads.LaneOf(kSubscriberPlugin, "a"),
                                                                    [&](const Empty&) { delivered = true; });
        receiver->lane->Post(qarplatform::Delivery(receiver, std::make_shared<const Empty>()));
        sending.reset();
    }
    EXPECT_TRUE(delivered);
}

TEST(BusThreadsTest, StopDropsWhatIsStillQueuedAfterItsTimeAndWaitsForTheDeliveryUnderWay) {
    struct Empty final : qarplatform::Message {
        std::string Text() const override { return ""; }
    };
    using EmptyReceiver = qarplatform::ReceiverOf<Empty>;
    TempLog log(4);
    BusThreads threads;
    std::latch begun(1);
    std::latch may_go_on(1);
    int delivered = 0;
    const auto receiver =
        std::make_shared<const EmptyReceiver>(threads.LaneOf(kSubscriberPlugin, "a"), [&](const Empty&) {
            begun.count_down();
            may_go_on.wait();
            ++delivered;
        });
    {
        const BusThreads::Sending sending(threads);
        for (int i = 0; i < 3; ++i) {
            receiver->lane->Post(qarplatform::Delivery(receiver, std::make_shared<const Empty>()));
        }
    }
    begun.wait();
    {
        const test_support::OtherThread stopping([&] { threads.Stop(std::chrono::milliseconds(0)); });
        EXPECT_TRUE(stopping.Waits());
        may_go_on.count_down();
    }
    EXPECT_EQ(delivered, 1);
    EXPECT_THAT(log.Lines(), ElementsAre("W [QARPlatform] the bus stops: 2 messages for subscriber a are dropped"));
}

TEST(WholeBusTest, OrderHoldsForASubscriberOverChangesEventsAndNotifyMessages) {
    constexpr int kMessages = 3000;
    std::vector<int> got;  // added to on one lane only
    const Got add = [&](int number) { got.push_back(number); };
    MsgBus::RegistObserver("topic");
    std::set<int> types;
    for (int i = 0; i < kMessages; ++i) types.insert(i);
    ASSERT_TRUE(SubscribeChange("plugin", add));
    ASSERT_TRUE(ApplyEvent(kSubscribe, "plugin", kSubscriberPlugin, 7, add));
    ASSERT_TRUE(MsgBus::SubscribeMsg(NotifySubscription("plugin", kSubscriberPlugin, types, add)));
    for (int i = 0; i < kMessages; i += 3) {
        EXPECT_TRUE(SendChange(i));
        EXPECT_TRUE(PostEvent(7, i + 1));
        EXPECT_TRUE(MsgBus::PushMsgToSubscriber(Pushed(i + 2)));
    }
    StopBus();
    ASSERT_EQ(got.size(), static_cast<std::size_t>(kMessages));
    for (int i = 0; i < kMessages; ++i) EXPECT_EQ(got[static_cast<std::size_t>(i)], i);
}

TEST(WholeBusTest, SubscriberBlockedInOneHalfHoldsUpNoOther) {
    std::latch blocked(3);
    std::latch may_go_on(1);
    const Got block = [&](int) {
        blocked.count_down();
        may_go_on.wait();
    };
    Arrivals<int> got;
    const Got add = [&](int number) { got.Add(number); };
    MsgBus::RegistObserver("topic");
    SubscribeChange("blocked 1", block);
    ApplyEvent(kSubscribe, "blocked 2", kSubscriberPlugin, 7, block);
    MsgBus::SubscribeMsg(NotifySubscription("blocked 3", kSubscriberPlugin, {1}, block));
    SubscribeChange("free", add);
    ApplyEvent(kSubscribe, "free", kSubscriberPlugin, 7, add);
    MsgBus::SubscribeMsg(NotifySubscription("free", kSubscriberPlugin, {1}, add));
    const auto send = [](int number) {
        SendChange(number);
        PostEvent(7, number);
        MsgBus::PushMsgToSubscriber(Pushed(1));
    };
    send(10);
    blocked.wait();
    send(20);
    EXPECT_THAT(got.WaitFor(6), ElementsAre(10, 10, 1, 20, 20, 1));
    may_go_on.count_down();
    StopBus();
}

TEST(WholeBusTest, ChangesAreKeptHoweverManyEventsAreDropped) {
    TempLog log(4);
    constexpr std::size_t kChanges = 1000;
    std::latch begun(1);
    std::latch may_go_on(1);
    bool first = true;
    std::size_t events = 0;
    std::size_t changes = 0;
    MsgBus::RegistObserver("topic");
    ApplyEvent(kSubscribe, "plugin", kSubscriberPlugin, 7, [&](int) {
        if (std::exchange(first, false)) begun.count_down();
        may_go_on.wait();
        ++events;
    });
    SubscribeChange("plugin", [&](int) { ++changes; });
    PostEvent(7, 0);
    begun.wait();
    for (std::size_t i = 0; i < Lane::kMostWaiting + 5; ++i) PostEvent(7, 0);
    for (std::size_t i = 0; i < kChanges; ++i) SendChange(0);
    may_go_on.count_down();
    StopBus();
    EXPECT_EQ(events, Lane::kMostWaiting + 1);
    EXPECT_EQ(changes, kChanges);
    EXPECT_EQ(log.Lines().back(), "W [QARPlatform] subscriber plugin has caught up; dropped messages: 5");
}

TEST(WholeBusTest, StopDeliversWhatIsQueuedInEachHalf) {
    std::latch may_go_on(1);
    std::vector<int> got;
    const Got add = [&](int number) {
        may_go_on.wait();
        got.push_back(number);
    };
    MsgBus::RegistObserver("topic");
    SubscribeChange("plugin", add);
    ApplyEvent(kSubscribe, "plugin", kSubscriberPlugin, 7, add);
    MsgBus::SubscribeMsg(NotifySubscription("plugin", kSubscriberPlugin, {3}, add));
    SendChange(1);
    PostEvent(7, 2);
    MsgBus::PushMsgToSubscriber(Pushed(3));
    std::thread stopping(StopBus);
    may_go_on.count_down();
    stopping.join();
    EXPECT_THAT(got, ElementsAre(1, 2, 3));
    EXPECT_FALSE(SendChange(1));
    EXPECT_FALSE(PostEvent(7, 2));
    EXPECT_FALSE(MsgBus::PushMsgToSubscriber(Pushed(3)));
}

TEST(WholeBusTest, EightThreadsPostAndSubscribeAtOnce) {
    constexpr int kThreads = 8;
    constexpr int kTurns = 400;
    constexpr int kSteady = 1000;  // an event and a message type that one subscriber has from beginning to end
    std::atomic<int> churned = 0;
    std::vector<std::vector<int>> events(kThreads);  // of the steady subscriber, by thread
    std::vector<std::vector<int>> pushes(kThreads);
    MsgBus::RegistObserver("topic");
    ApplyEvent(kSubscribe, "steady", kSubscriberPlugin, kSteady,
               [&](int id) { events[static_cast<std::size_t>(id / kTurns)].push_back(id % kTurns); });
    std::set<int> types;
    for (int i = 0; i < kThreads * kTurns; ++i) types.insert(kSteady + i);
    MsgBus::SubscribeMsg(NotifySubscription("steady", kSubscriberPlugin, types, [&](int type) {
        pushes[static_cast<std::size_t>((type - kSteady) / kTurns)].push_back((type - kSteady) % kTurns);
    }));
    qarplatform::SetClientPermissions([](const std::string& client, const auto&) { return client.size() % 2 == 0; });

    const auto work = [&](test_support::RandomWorker worker) {
        const Got count = [&](int) { ++churned; };
        for (int turn = 0; turn < kTurns; ++turn) {
            const int number = worker.number * kTurns + turn;
            EXPECT_TRUE(PostEvent(kSteady, number));
            EXPECT_TRUE(MsgBus::PushMsgToSubscriber(Pushed(kSteady + number)));
            const std::string name = "churned " + std::to_string(worker.Below(4));
            const SubscriberType kind = worker.Once(2) ? kSubscriberClient : kSubscriberPlugin;
            const int type = worker.Once(8) ? MsgBus::kAllEvents : worker.Below(4);
            switch (worker.Below(9)) {
                case 0:
                    EXPECT_TRUE(ApplyEvent(kSubscribe, name, kind, type, count));
                    break;
                case 1:
                    EXPECT_TRUE(ApplyEvent(kSubscribeCancel, name, kind, type, nullptr));
                    break;
                case 2:
                    EXPECT_TRUE(MsgBus::SubscribeMsg(NotifySubscription(name, kind, {type, 5}, count)));
                    break;
                case 3:
                    EXPECT_TRUE(MsgBus::UnsubscribeMsg(NotifySubscription(name, kind, {type, 5}, nullptr)));
                    break;
                case 4:
                    EXPECT_TRUE(PostEvent(type, 1));
                    break;
                case 5: {
                    const PushInfo info = Pushed(type);
                    if (worker.Once(2)) info->SetUserPermissionInfo({{1, {}}});
                    EXPECT_TRUE(MsgBus::PushMsgToSubscriber(info));
                    break;
                }
                case 6:
                    EXPECT_TRUE(MsgBus::PushMsgToSpecifiedSubscribers({{kind, {name, "steady?"}}}, Pushed(type)));
                    break;
                case 7:
                    if (turn % 20 == 0) {
                        EXPECT_TRUE(
                            MsgBus::RegistMsgCapacity({type}, [&](SubScribeType, int, const auto&) { ++churned; }));
                        auto info = std::make_shared<ZELPlatform::CMsgPublishInfo>();
                        info->SetPublisher(name);
                        info->SetTypeValues({type});
                        info->SetCallback([&](SubScribeType, const auto&) { ++churned; });
                        EXPECT_TRUE(MsgBus::PublishMsg(info));
                    }
                    break;
                default:
                    EXPECT_TRUE(SubscribeChange(name, count));
                    EXPECT_TRUE(SendChange(1));
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(work, test_support::RandomWorker{i, std::mt19937(static_cast<unsigned int>(i))});
    }
    for (std::thread& thread : threads) thread.join();
    StopBus();

    std::vector<int> all(kTurns);
    for (int i = 0; i < kTurns; ++i) all[static_cast<std::size_t>(i)] = i;
    EXPECT_THAT(events, Each(all));
    EXPECT_THAT(pushes, Each(all));
    EXPECT_GT(churned, 0);
}

}  // namespace
