#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "standalone/base/arrivals.h"
#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusErrors.h"
#include "standalone/bus/Lane.h"
#include "standalone/log/temp_log.h"

namespace {

namespace MsgBus = ZELPlatform::MsgBus;
using Mox::Base::Error;
using MsgBus::kAllEvents;
using qarplatform::StopBus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;
using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
using Types = std::set<int>;
using Ids = std::set<unsigned int>;

/// An event's content with one extend buffer and one picture.
class PictureContent final : public ZELPlatform::CEventBaseContent {
public:
    bool GetContent(const char** data, int* size) override {
        *data = "text";
        *size = 5;
        return true;
    }
    std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() override { return {{"extend", 6}}; }
    bool GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) override {
        pictures.push_back(nullptr);
        return true;
    }
};

MsgBus::CSubscriber Subscriber(const std::string& id, MsgBus::EventNotifyFunc fn, SubscriberType kind) {
    MsgBus::CSubscriber subscriber;
    subscriber.SetSubscriberId(id);
    subscriber.SetValsubscribeType(kind);
    subscriber.SetValcallbackFunction(std::move(fn));
    return subscriber;
}

MsgBus::CMsgSubscribeInfo Row(SubScribeType type, const MsgBus::CSubscriber& subscriber, int event,
                              const Types& types = {}, const Ids& ids = {}) {
    MsgBus::CMsgSubscribeInfo row;
    row.SetValsubscriber(subscriber);
    row.SetValsubscribeType(type);
    row.SetValeventType(event);
    row.SetValresourceTypes(types);
    row.SetValresourceIDs(ids);
    return row;
}

bool Apply(const std::list<MsgBus::CMsgSubscribeInfo>& rows) {
    std::list<MsgBus::CMsgSubScribeErrorInfo> errors;
    return MsgBus::UpdateSubscribeList(errors, rows) && errors.empty();
}

bool Post(int event, int resource_type = 1001, int resource_id = 5, const Content& content = nullptr) {
    return MsgBus::MsgNotifyBySubscription(event, resource_type, resource_id, content, "poster", 0);
}

Error::ErrorCode BusError(int code) { return Error::ErrorCode(qarplatform::kErrorModuleBus, code); }

class EventBusTest : public testing::Test {
protected:
    ~EventBusTest() override { StopBus(); }

    /// A function that notes the event and who was called for it.
    MsgBus::EventNotifyFunc Note(const std::string& who) {
        return [this, who](int type, int, int, const Content&) { got_.Add(who + ":" + std::to_string(type)); };
    }
    bool Subscribe(const std::string& id, int event, const Types& types = {}, const Ids& ids = {},
                   SubscriberType kind = kSubscriberPlugin) {
        return Apply({Row(kSubscribe, Subscriber(id, Note(id), kind), event, types, ids)});
    }
    static bool Cancel(const std::string& id, int event, const Types& types = {}, const Ids& ids = {},
                       SubscriberType kind = kSubscriberPlugin) {
        return Apply({Row(kSubscribeCancel, Subscriber(id, nullptr, kind), event, types, ids)});
    }
    /// Ends the bus. @return what came
    std::vector<std::string> Got() {
        StopBus();
        return got_.Now();
    }

    MsgBus::MsgCapacityFunc EventNews() {
        return [this](SubScribeType type, int event, const Ids& ids) {
            news_.Add((type == kSubscribe ? "+" : "-") + std::to_string(event) + IdText(ids));
        };
    }
    MsgBus::MsgResourceCapacityFunc ResourceNews() {
        return [this](SubScribeType type, int event, int resource_type, const Ids& ids) {
            news_.Add((type == kSubscribe ? "+" : "-") + std::to_string(event) + "/" + std::to_string(resource_type) +
                      IdText(ids));
        };
    }
    MsgBus::ResourceCapacityFunc TypeNews() {
        return [this](SubScribeType type, int resource_type, const Ids& ids) {
            news_.Add((type == kSubscribe ? "+*/" : "-*/") + std::to_string(resource_type) + IdText(ids));
        };
    }
    std::vector<std::string> News() {
        StopBus();
        return news_.Now();
    }

    Arrivals<std::string> got_;
    Arrivals<std::string> news_;

private:
    static std::string IdText(const Ids& ids) {
        std::string text;
        for (const unsigned int id : ids) text += " " + std::to_string(id);
        return text;
    }
};

TEST_F(EventBusTest, EventReachesItsSubscriberWithAllThatWasPosted) {
    struct Event {
        int type, resource_type, resource_id;
        Content content;
        std::thread::id thread;
    };
    Arrivals<Event> events;
    ASSERT_TRUE(Apply({Row(kSubscribe,
                           Subscriber(
                               "plugin",
                               [&](int type, int resource_type, int resource_id, const Content& content) {
                                   events.Add({type, resource_type, resource_id, content, std::this_thread::get_id()});
                               },
                               kSubscriberPlugin),
                           7)}));
    const auto content = std::make_shared<ZELPlatform::CObserverParam>();
    EXPECT_TRUE(Post(7, 1001, -2, content));
    StopBus();
    ASSERT_THAT(events.Now(), SizeIs(1));
    const Event event = events.Now()[0];
    EXPECT_EQ(event.type, 7);
    EXPECT_EQ(event.resource_type, 1001);
    EXPECT_EQ(event.resource_id, -2);
    EXPECT_EQ(event.content, content);
    EXPECT_NE(event.thread, std::this_thread::get_id());
}

TEST_F(EventBusTest, EmptyContentIsHandedOn) {
    Arrivals<bool> empty;
    Apply({Row(kSubscribe,
               Subscriber(
                   "plugin", [&](int, int, int, const Content& c) { empty.Add(c == nullptr); }, kSubscriberPlugin),
               7)});
    Post(7);
    StopBus();
    EXPECT_THAT(empty.Now(), ElementsAre(true));
}

TEST_F(EventBusTest, EventThatNobodyWantsIsAccepted) { EXPECT_TRUE(Post(7)); }

TEST_F(EventBusTest, RowStandsForEachPairOfItsTypesAndIds) {
    Subscribe("p", 7, {1, 2}, {5, 4000000000u});
    for (const int type : {1, 2, 3}) {
        for (const unsigned int id : {5u, 6u, 4000000000u}) {
            EXPECT_TRUE(Post(7, type, static_cast<int>(id)));
        }
    }
    Post(8, 1, 5);
    EXPECT_THAT(Got(), SizeIs(4));
}

TEST_F(EventBusTest, TypesAndIdsThatAreNotSetAreEveryOne) {
    Subscribe("any", 1);
    Subscribe("type", 1, {1001});
    Subscribe("id", 1, {}, {5});
    Post(1, 1001, 5);
    EXPECT_THAT(got_.WaitFor(3), UnorderedElementsAre("any:1", "type:1", "id:1"));
    Post(1, 1002, 5);
    EXPECT_THAT(got_.WaitFor(5), SizeIs(5));
    Post(1, 1001, 6);
    EXPECT_THAT(got_.WaitFor(7), SizeIs(7));
    Post(1, 1002, 6);
    EXPECT_THAT(Got(), UnorderedElementsAre("any:1", "type:1", "id:1",  //
                                            "any:1", "id:1",            //
                                            "any:1", "type:1",          //
                                            "any:1"));
}

TEST_F(EventBusTest, SubscriberGetsAnEventOnceByItsMostCertainPair) {
    const auto subscribe = [&](const std::string& as, int event, const Types& types, const Ids& ids) {
        ASSERT_TRUE(Apply({Row(kSubscribe, Subscriber("p", Note(as), kSubscriberPlugin), event, types, ids)}));
    };
    // the least certain first, so that each of the later ones has to win over those before it
    const std::vector<std::string> kinds = {
        "all events", "all events of the type", "all events of the id", "all events of the pair", "every", "type", "id",
        "pair"};
    const std::vector<std::pair<Types, Ids>> places = {{{}, {}}, {{1}, {}}, {{}, {5}}, {{1}, {5}}};
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        subscribe(kinds[i], i < 4 ? kAllEvents : 7, places[i % 4].first, places[i % 4].second);
        Post(7, 1, 5);
    }
    std::vector<std::string> expected;
    for (const std::string& kind : kinds) expected.push_back(kind + ":7");
    EXPECT_EQ(Got(), expected);
}

TEST_F(EventBusTest, SubscribersOfDifferentPairsGetTheEventOnceEach) {
    Subscribe("a", 7, {1}, {5});
    Subscribe("a", 7);
    Subscribe("b", 7, {1});
    Subscribe("b", kAllEvents);
    Subscribe("c", 7, {}, {5});
    Subscribe("c", 7, {1});
    Subscribe("c", 7, {1}, {5}, kSubscriberClient);
    Post(7, 1, 5);
    EXPECT_THAT(Got(), UnorderedElementsAre("a:7", "b:7", "c:7", "c:7"));
}

TEST_F(EventBusTest, SubscribingAPairAgainPutsTheNewFunctionInThePlaceOfTheOld) {
    Subscribe("p", 7, {1}, {5, 6});
    Apply({Row(kSubscribe, Subscriber("p", Note("new"), kSubscriberPlugin), 7, {1}, {5})});
    Post(7, 1, 5);
    Post(7, 1, 6);
    EXPECT_THAT(Got(), ElementsAre("new:7", "p:7"));
}

TEST_F(EventBusTest, CancellingWithTypesAndIdsEndsThesePairsAlone) {
    Subscribe("p", 7, {1, 2}, {5, 6});
    EXPECT_TRUE(Cancel("p", 7, {1}, {5}));
    for (const int type : {1, 2}) {
        for (const int id : {5, 6}) Post(7, type, id);
    }
    EXPECT_THAT(Got(), SizeIs(3));
}

TEST_F(EventBusTest, CancellingMorePairsThanThereAreEndsThosePairsAlone) {
    Subscribe("p", 7, {1, 2}, {5, 6});
    EXPECT_TRUE(Cancel("p", 7, {1, 3, 4, 8}, {5, 9, 10}));
    for (const int type : {1, 2}) {
        for (const int id : {5, 6}) Post(7, type, id);
    }
    EXPECT_THAT(Got(), SizeIs(3));
}

TEST_F(EventBusTest, CancellingWithTypesAndIdsLeavesThoseOfEveryTypeOrId) {
    Subscribe("p", 7, {1});
    Subscribe("p", 7, {}, {5});
    Subscribe("p", 7);
    EXPECT_TRUE(Cancel("p", 7, {1}, {5}));
    Post(7, 1, 6);
    Post(7, 2, 5);
    Post(7, 2, 6);
    EXPECT_THAT(Got(), SizeIs(3));
}

TEST_F(EventBusTest, CancellingWithoutTypesEndsThoseOfAnyType) {
    for (const Types& types : {Types{1}, Types{2}, Types{}}) Subscribe("p", 7, types, {5, 6});
    EXPECT_TRUE(Cancel("p", 7, {}, {5}));
    for (const int type : {1, 2, 3}) {
        Post(7, type, 5);
        Post(7, type, 6);
    }
    EXPECT_THAT(Got(), SizeIs(3));
}

TEST_F(EventBusTest, CancellingWithoutIdsEndsThoseOfAnyId) {
    Subscribe("p", 7, {1, 2}, {5, 6});
    Subscribe("p", 7, {1});
    EXPECT_TRUE(Cancel("p", 7, {1}));
    for (const int id : {5, 6, 7}) {
        Post(7, 1, id);
        Post(7, 2, id);
    }
    EXPECT_THAT(Got(), SizeIs(2));
}

TEST_F(EventBusTest, CancellingWithNeitherEndsAllOfTheEventAndOfNoOther) {
    Subscribe("p", 7);
    Subscribe("p", 7, {1}, {5});
    Subscribe("p", 8);
    Subscribe("other", 7);
    Subscribe("p", 7, {}, {}, kSubscriberClient);
    EXPECT_TRUE(Cancel("p", 7));
    Post(7, 1, 5);
    Post(8, 1, 5);
    EXPECT_THAT(Got(), UnorderedElementsAre("other:7", "p:7", "p:8"));
}

TEST_F(EventBusTest, CancellingWhatIsNotThereIsNoError) {
    Subscribe("p", 7, {1}, {5});
    EXPECT_TRUE(Cancel("p", 8));
    EXPECT_TRUE(Cancel("p", 7, {2}, {5}));
    EXPECT_TRUE(Cancel("nobody", 7));
    EXPECT_TRUE(Cancel("p", 7, {}, {}, kSubscriberClient));
    Post(7, 1, 5);
    EXPECT_THAT(Got(), ElementsAre("p:7"));
}

TEST_F(EventBusTest, EachSubscribeTypeButOneIsACancellation) {
    Subscribe("p", 7);
    Apply({Row(static_cast<SubScribeType>(3), Subscriber("p", Note("x"), kSubscriberPlugin), 7)});
    Post(7);
    EXPECT_THAT(Got(), IsEmpty());
}

TEST_F(EventBusTest, RefusedRowsAreToldInOrderAndTheOthersHold) {
    const auto good = Subscriber("p", Note("p"), kSubscriberPlugin);
    std::list<MsgBus::CMsgSubScribeErrorInfo> errors(1);
    EXPECT_FALSE(MsgBus::UpdateSubscribeList(
        errors,
        {Row(kSubscribe, good, 1), Row(kSubscribe, Subscriber("p", nullptr, kSubscriberPlugin), 2),
         Row(kSubscribe, Subscriber("", Note("p"), kSubscriberPlugin), 3), Row(kSubscribe, good, 4),
         Row(kSubscribe, Subscriber("p", Note("p"), static_cast<SubscriberType>(3)), 5),
         Row(kSubscribeCancel, Subscriber("", nullptr, kSubscriberPlugin), 1), Row(kSubscribeCancel, good, 4)}));
    std::vector<int> codes;
    for (const auto& error : errors) codes.push_back(error.GetValerrorInfo().GetCode());
    EXPECT_THAT(codes, ElementsAre(0, qarplatform::kBusErrorNoFunction, qarplatform::kBusErrorNoName,
                                   qarplatform::kBusErrorUnknownKind, qarplatform::kBusErrorNoName));
    EXPECT_EQ(errors.back().GetValerrorInfo().GetModule(), qarplatform::kErrorModuleBus);
    for (int event = 1; event <= 5; ++event) Post(event);
    EXPECT_THAT(Got(), ElementsAre("p:1"));
}

TEST_F(EventBusTest, EndedSubscriptionLetsGoOfItsFunction) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observed = held;
    Apply({Row(kSubscribe,
               Subscriber(
                   "p", [held = std::move(held)](int, int, int, const Content&) {}, kSubscriberPlugin),
               7, {1}, {5, 6})});
    EXPECT_FALSE(observed.expired());
    Cancel("p", 7, {}, {5});
    EXPECT_FALSE(observed.expired());
    Apply({Row(kSubscribe, Subscriber("p", Note("p"), kSubscriberPlugin), 7, {1}, {6})});
    EXPECT_TRUE(observed.expired());
}

TEST_F(EventBusTest, FunctionThatIsLetGoOfMayUseTheBus) {
    struct Last {
        ~Last() { EXPECT_TRUE(Cancel("other", 7)); }
    };
    Subscribe("other", 7);
    Apply({Row(kSubscribe,
               Subscriber(
                   "p", [last = std::make_shared<Last>()](int, int, int, const Content&) {}, kSubscriberPlugin),
               7)});
    Cancel("p", 7);
    Post(7);
    EXPECT_THAT(Got(), IsEmpty());
}

TEST_F(EventBusTest, PicturesGoToThoseWhoAskedForThem) {
    Arrivals<std::string> got;
    const auto subscribe = [&](const std::string& id, bool need) {
        auto row = Row(kSubscribe,
                       Subscriber(
                           id,
                           [&got, id](int, int, int, const Content& content) {
                               auto* event = dynamic_cast<ZELPlatform::CEventBaseContent*>(content.get());
                               ASSERT_NE(event, nullptr);
                               std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>> pictures;
                               const bool had = event->GetPictureBinaryData(pictures);
                               const char* data = nullptr;
                               int size = 0;
                               EXPECT_TRUE(event->GetContent(&data, &size));
                               EXPECT_EQ(std::string(data, static_cast<std::size_t>(size)), std::string("text\0", 5));
                               EXPECT_EQ(event->ContentType(), ZELPlatform::kContentTextAndBinary);
                               ASSERT_THAT(event->GetExtendBuffers(), SizeIs(1));
                               EXPECT_STREQ(event->GetExtendBuffers().front().first, "extend");
                               got.Add(id + (had ? " true " : " false ") + std::to_string(pictures.size()));
                           },
                           kSubscriberPlugin),
                       7);
        row.SetNeedTukStorePicture(need);
        ASSERT_TRUE(Apply({row}));
    };
    subscribe("with", true);
    subscribe("without", false);
    subscribe("changed", false);
    subscribe("changed", true);
    Post(7, 1, 5, std::make_shared<PictureContent>());
    StopBus();
    EXPECT_THAT(got.Now(), UnorderedElementsAre("with true 1", "without false 0", "changed true 1"));
}

TEST_F(EventBusTest, ProducerIsToldOfTheFirstAndTheLastThatWantAnEvent) {
    EXPECT_TRUE(MsgBus::RegistMsgCapacity({1, 2}, EventNews()));
    Subscribe("a", 1, {1}, {5, 6});
    Subscribe("b", 1, {}, {}, kSubscriberClient);
    Subscribe("a", 3);
    Subscribe("a", 2);
    Cancel("a", 1);
    Cancel("b", 1, {}, {}, kSubscriberClient);
    Cancel("b", 1, {}, {}, kSubscriberClient);
    Subscribe("a", 1);
    EXPECT_THAT(News(), ElementsAre("+1", "+2", "-1", "+1"));
}

TEST_F(EventBusTest, ProducerIsToldOfWhatWasWantedBefore) {
    Subscribe("a", 2);
    Subscribe("a", 3);
    Cancel("a", 3);
    MsgBus::RegistMsgCapacity({1, 2, 3}, EventNews());
    Cancel("a", 2);
    EXPECT_THAT(News(), ElementsAre("+2", "-2"));
}

TEST_F(EventBusTest, WhoWantsAllEventsWantsEachOfThem) {
    MsgBus::RegistMsgCapacity({1, 2}, EventNews());
    Subscribe("a", 1);
    Subscribe("c", kAllEvents, {1001}, {5, 6}, kSubscriberClient);
    Subscribe("d", kAllEvents, {1001}, {5}, kSubscriberClient);
    Cancel("a", 1);
    Cancel("c", kAllEvents, {}, {}, kSubscriberClient);
    Cancel("d", kAllEvents, {}, {}, kSubscriberClient);
    EXPECT_THAT(News(), ElementsAre("+1", "+2", "-1", "-2"));
}

TEST_F(EventBusTest, EachRegistrationOfAnEventIsTold) {
    MsgBus::RegistMsgCapacity({1}, EventNews());
    MsgBus::RegistMsgCapacity({1}, EventNews());
    Subscribe("a", 1);
    EXPECT_THAT(News(), ElementsAre("+1", "+1"));
}

TEST_F(EventBusTest, ProducerIsToldOfClientsThatWantAnEventOfCertainResources) {
    EXPECT_TRUE(MsgBus::RegistMsgResourceCapacity({{1, {1001, 1002}}, {2, {1001}}}, ResourceNews()));
    Subscribe("plugin", 1, {1001}, {5});
    Subscribe("c", 1, {1001, 1003}, {5, 6}, kSubscriberClient);
    Subscribe("c", 1, {1001}, {6, 7}, kSubscriberClient);
    Subscribe("c", 2, {}, {8}, kSubscriberClient);
    Subscribe("c", 1, {}, {9}, kSubscriberClient);
    Subscribe("c", 3, {1001}, {5}, kSubscriberClient);
    Cancel("c", 1, {1001}, {5, 7, 99}, kSubscriberClient);
    Cancel("c", 1, {}, {}, kSubscriberClient);
    EXPECT_THAT(News(), ElementsAre("+1/1001 5 6", "+1/1001 7", "+2/1001 8", "+1/1001 9", "+1/1002 9", "-1/1001 5 7",
                                    "-1/1001 6 9", "-1/1002 9"));
}

TEST_F(EventBusTest, ResourceThatAnotherClientWantsAsWellIsNotToldTwice) {
    MsgBus::RegistMsgResourceCapacity({{1, {1001}}}, ResourceNews());
    Subscribe("c", 1, {1001}, {5, 6}, kSubscriberClient);
    Subscribe("d", 1, {}, {5, 7}, kSubscriberClient);
    Cancel("c", 1, {}, {}, kSubscriberClient);
    Cancel("d", 1, {}, {}, kSubscriberClient);
    EXPECT_THAT(News(), ElementsAre("+1/1001 5 6", "+1/1001 7", "-1/1001 6", "-1/1001 5 7"));
}

TEST_F(EventBusTest, EveryResourceIsNoCertainOne) {
    MsgBus::RegistMsgResourceCapacity({{1, {1001}}}, ResourceNews());
    Subscribe("c", 1, {1001}, {}, kSubscriberClient);
    Cancel("c", 1, {}, {}, kSubscriberClient);
    EXPECT_THAT(News(), IsEmpty());
}

TEST_F(EventBusTest, ProducerIsToldOfResourcesThatClientsWantedBefore) {
    Subscribe("c", 1, {1001}, {5, 6}, kSubscriberClient);
    Subscribe("d", 1, {}, {6, 7}, kSubscriberClient);
    Subscribe("plugin", 1, {1001}, {8});
    Subscribe("d", kAllEvents, {1001}, {9}, kSubscriberClient);
    Subscribe("e", kAllEvents, {1001}, {}, kSubscriberClient);
    MsgBus::RegistMsgResourceCapacity({{1, {1001, 1002}}}, ResourceNews());
    EXPECT_THAT(news_.WaitFor(2), ElementsAre("+1/1001 5 6 7", "+1/1002 6 7"));
    MsgBus::RegistResourceCapacity({1001, 1002}, TypeNews());
    EXPECT_THAT(News(), ElementsAre("+1/1001 5 6 7", "+1/1002 6 7", "+*/1001 9", "+*/1001"));
}

TEST_F(EventBusTest, ProducerIsToldOfClientsThatWantAllEventsOfResources) {
    EXPECT_TRUE(MsgBus::RegistResourceCapacity({1001}, TypeNews()));
    Subscribe("plugin", kAllEvents, {1001}, {5});
    Subscribe("c", kAllEvents, {1001, 1002}, {5, 6}, kSubscriberClient);
    Subscribe("c", 1, {1001}, {7}, kSubscriberClient);
    Subscribe("d", kAllEvents, {}, {6, 8}, kSubscriberClient);
    Subscribe("d", kAllEvents, {}, {}, kSubscriberClient);
    Cancel("c", kAllEvents, {}, {}, kSubscriberClient);
    Cancel("d", kAllEvents, {}, {}, kSubscriberClient);
    EXPECT_THAT(News(), ElementsAre("+*/1001 5 6", "+*/1001 8", "+*/1001", "-*/1001 5", "-*/1001 6 8", "-*/1001"));
}

TEST_F(EventBusTest, RegistrationsWithoutAFunctionAreRefused) {
    const auto refused = [](bool done) {
        EXPECT_FALSE(done);
        EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorNoFunction));
        Error::SetLastError(Error::ErrorCode());
    };
    refused(MsgBus::RegistMsgCapacity({1}, nullptr));
    refused(MsgBus::RegistMsgResourceCapacity({{1, {1001}}}, nullptr));
    refused(MsgBus::RegistResourceCapacity({1001}, nullptr));
}

TEST_F(EventBusTest, BlockedProducerHoldsUpNobodyAndIsToldInOrder) {
    std::latch may_go_on(1);
    Arrivals<std::string> slow;
    MsgBus::RegistMsgCapacity({1}, [&](SubScribeType type, int, const Ids&) {
        may_go_on.wait();
        slow.Add(type == kSubscribe ? "+" : "-");
    });
    MsgBus::RegistMsgCapacity({1}, EventNews());
    for (int i = 0; i < 3; ++i) {
        Subscribe("p", 1);
        Post(1);
        Cancel("p", 1);
    }
    EXPECT_THAT(news_.WaitFor(6), ElementsAre("+1", "-1", "+1", "-1", "+1", "-1"));
    EXPECT_THAT(got_.WaitFor(3), SizeIs(3));
    may_go_on.count_down();
    StopBus();
    EXPECT_THAT(slow.Now(), ElementsAre("+", "-", "+", "-", "+", "-"));
}

TEST_F(EventBusTest, ProducerMaySubscribeAndPost) {
    MsgBus::RegistMsgCapacity({1}, [this](SubScribeType, int, const Ids&) {
        EXPECT_TRUE(Subscribe("inner", 2));
        EXPECT_TRUE(Post(2));
    });
    Subscribe("p", 1);
    EXPECT_THAT(got_.WaitFor(1), ElementsAre("inner:2"));
}

TEST_F(EventBusTest, ThrowingFunctionsAreLoggedAndCostNobodyAnEvent) {
    TempLog log;
    int calls = 0;
    Apply({Row(kSubscribe,
               Subscriber(
                   "thrower",
                   [&](int, int, int, const Content&) {
                       if (++calls == 1) throw std::runtime_error("boom");
                       if (calls == 2) throw 5;
                   },
                   kSubscriberPlugin),
               7)});
    Subscribe("other", 7);
    for (int i = 0; i < 3; ++i) Post(7, 1001, -1);
    EXPECT_THAT(Got(), SizeIs(3));
    EXPECT_EQ(calls, 3);
    EXPECT_THAT(log.Lines(), ElementsAre("E [QARPlatform] subscriber thrower threw at event 7 of resource 4294967295 "
                                         "from poster: boom",
                                         "E [QARPlatform] subscriber thrower threw something that is no "
                                         "std::exception at event 7 of resource 4294967295 from poster"));
}

TEST_F(EventBusTest, ThrowingProducersAreLogged) {
    TempLog log;
    MsgBus::RegistMsgCapacity({4, 5, 6}, [](SubScribeType, int, const Ids&) { throw std::runtime_error("boom"); });
    Subscribe("p", 5);
    StopBus();
    EXPECT_THAT(log.Lines(), ElementsAre("E [QARPlatform] producer of event 4 and 2 more threw at the news of "
                                         "subscriptions of event 5: boom"));
}

TEST_F(EventBusTest, FunctionMayCancelItsOwnSubscriptionAndBeginAnother) {
    Apply({Row(kSubscribe,
               Subscriber(
                   "p",
                   [this](int type, int, int, const Content&) {
                       EXPECT_TRUE(Cancel("p", 7));
                       EXPECT_TRUE(Subscribe("p", 8));
                       got_.Add("first:" + std::to_string(type));
                   },
                   kSubscriberPlugin),
               7)});
    Post(7);
    got_.WaitFor(1);
    Post(7);
    Post(8);
    EXPECT_THAT(Got(), ElementsAre("first:7", "p:8"));
}

TEST_F(EventBusTest, EventsBeyondTheMostThatWaitAreDroppedAndTheLogTellsHowMany) {
    TempLog log(4);
    std::latch begun(1);
    std::latch may_go_on(1);
    std::size_t calls = 0;
    Apply({Row(kSubscribe,
               Subscriber(
                   "0123456789abcdef0123456789abcdef",
                   [&](int, int, int, const Content&) {
                       if (++calls == 1) begun.count_down();
                       may_go_on.wait();
                   },
                   kSubscriberClient),
               7)});
    Post(7);
    begun.wait();
    for (std::size_t i = 0; i < qarplatform::Lane::kMostWaiting + 2; ++i) EXPECT_TRUE(Post(7));
    may_go_on.count_down();
    StopBus();
    EXPECT_EQ(calls, qarplatform::Lane::kMostWaiting + 1);
    // a client's name is a session's id: it must not reach the log
    EXPECT_THAT(log.Lines(),
                ElementsAre("W [QARPlatform] 10000 messages wait for client 1, which does not keep up",
                            "W [QARPlatform] client 1 does not keep up: 100000 messages wait, further ones are dropped",
                            "W [QARPlatform] client 1 has caught up; dropped messages: 2"));
}

TEST_F(EventBusTest, ProducersAreToldHoweverMuchWaits) {
    std::latch begun(1);
    std::latch may_go_on(1);
    std::size_t calls = 0;
    MsgBus::RegistMsgCapacity({7}, [&](SubScribeType, int, const Ids&) {
        if (++calls == 1) begun.count_down();
        may_go_on.wait();
    });
    Subscribe("p", 7);
    begun.wait();
    Cancel("p", 7);
    for (std::size_t i = 0; i < qarplatform::Lane::kMostWaiting / 2; ++i) {
        Subscribe("p", 7);
        Cancel("p", 7);
    }
    may_go_on.count_down();
    StopBus();
    EXPECT_EQ(calls, qarplatform::Lane::kMostWaiting + 2);
}

TEST_F(EventBusTest, StoppedBusRefusesEventsAndRows) {
    Subscribe("p", 7);
    Post(7);
    StopBus();
    EXPECT_FALSE(Post(7));
    EXPECT_EQ(Error::GetLastError(), BusError(qarplatform::kBusErrorStopped));
    std::list<MsgBus::CMsgSubScribeErrorInfo> errors;
    const auto subscriber = Subscriber("p", Note("p"), kSubscriberPlugin);
    EXPECT_FALSE(
        MsgBus::UpdateSubscribeList(errors, {Row(kSubscribe, subscriber, 1), Row(kSubscribeCancel, subscriber, 7)}));
    ASSERT_THAT(errors, SizeIs(2));
    EXPECT_EQ(errors.front().GetValerrorInfo(), BusError(qarplatform::kBusErrorStopped));
    EXPECT_TRUE(MsgBus::RegistMsgCapacity({7}, EventNews()));
    EXPECT_THAT(News(), IsEmpty());
    EXPECT_THAT(Got(), ElementsAre("p:7"));
}

}  // namespace
