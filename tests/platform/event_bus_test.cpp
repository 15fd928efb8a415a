#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "platform/EventParty.h"

namespace platform_tests {
namespace {

using Mox::Base::Error;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ZELPlatform::CObserverParam;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::SubscriberType;
using namespace ZELPlatform::MsgBus;
using namespace events;

class EventBusTest : public EventTest {};

TEST_F(EventBusTest, RecordsKeepWhatTheyWereGiven) {
    CSubscriber subscriber;
    EXPECT_EQ(subscriber.GetSubscriberId(), "");
    EXPECT_FALSE(subscriber.GetValcallbackFunction());
    int called = 0;
    subscriber.SetValsubscribeType(kSubscriberPlugin);
    subscriber.SetSubscriberId("plugin");
    subscriber.SetValcallbackFunction([&called](int type, int, int, const auto&) { called = type; });
    EXPECT_EQ(subscriber.GetValsubscribeType(), kSubscriberPlugin);

    CMsgSubscribeInfo row;
    EXPECT_EQ(row.GetValeventType(), 0);
    EXPECT_THAT(row.GetValresourceTypes(), IsEmpty());
    EXPECT_THAT(row.GetValresourceIDs(), IsEmpty());
    EXPECT_FALSE(row.GetIncludeNodeEvents());
    EXPECT_FALSE(row.GetNeedTukStorePicture());
    row.SetValsubscriber(subscriber);
    row.SetValsubscribeType(kSubscribeCancel);
    row.SetValeventType(7);
    row.SetValresourceTypes({1, 2});
    row.SetValresourceIDs({3, 0xFFFFFFFEu});
    row.SetIncludeNodeEvents(true);
    row.SetNeedTukStorePicture(true);
    EXPECT_EQ(row.GetValsubscriber().GetSubscriberId(), "plugin");
    row.GetValsubscriber().GetValcallbackFunction()(5, 0, 0, nullptr);
    EXPECT_EQ(called, 5);
    EXPECT_EQ(row.GetValsubscribeType(), kSubscribeCancel);
    EXPECT_EQ(row.GetValeventType(), 7);
    EXPECT_THAT(row.GetValresourceTypes(), ElementsAre(1, 2));
    EXPECT_THAT(row.GetValresourceIDs(), ElementsAre(3u, 0xFFFFFFFEu));
    EXPECT_TRUE(row.GetIncludeNodeEvents());
    EXPECT_TRUE(row.GetNeedTukStorePicture());

    CMsgSubScribeErrorInfo error;
    EXPECT_EQ(error.GetValerrorInfo(), Error::ErrorCode());
    error.SetValerrorInfo(Error::ErrorCode(1, 2));
    EXPECT_EQ(error.GetValerrorInfo(), Error::ErrorCode(1, 2));
}

TEST_F(EventBusTest, SubscriberGetsTypeResourceAndContent) {
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    const auto content = std::make_shared<CObserverParam>();
    ASSERT_TRUE(Post(2, 1001, 5, content));
    ASSERT_TRUE(Post(1, 1001, 6, content));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_THAT(plugin_.Types(), ElementsAre(1));
    const Received received = plugin_.Box().All()[0];
    EXPECT_EQ(received.resource_type, 1001);
    EXPECT_EQ(received.resource_id, 6);
    EXPECT_EQ(received.content, content);
}

TEST_F(EventBusTest, EventThatNobodyWantsIsTaken) { EXPECT_TRUE(Post(1)); }

TEST_F(EventBusTest, EventReachesEverySubscriberOfItsTypePluginsAndClients) {
    ASSERT_TRUE(Update({plugin_.Row(1), other_.Row(1), client_.Row(1)}));
    ASSERT_TRUE(Post(1));
    for (const Party* party : {&plugin_, &other_, &client_}) {
        ASSERT_TRUE(WaitForMark(*party));
        EXPECT_THAT(party->Types(), ElementsAre(1));
    }
}

TEST_F(EventBusTest, SubscriberIsKindAndId) {
    const Party client{kSubscriberClient, "plugin"};
    ASSERT_TRUE(Update({plugin_.Row(1), client.Row(1)}));
    ASSERT_TRUE(Update({client.CancelRow(1)}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(client));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1));
    EXPECT_THAT(client.Types(), IsEmpty());
}

TEST_F(EventBusTest, RowStandsForEachPairOfItsTypesAndIds) {
    ASSERT_TRUE(Update({plugin_.Row(1, {{5, 6}, {10, 11}})}));
    for (const int type : {5, 6, 7}) {
        for (const int id : {10, 11, 12}) ASSERT_TRUE(Post(1, type, id));
    }
    ASSERT_TRUE(WaitForMark(plugin_));
    std::vector<std::pair<int, int>> got;
    for (const auto& received : plugin_.Box().All()) {
        if (received.type == 1) got.emplace_back(received.resource_type, received.resource_id);
    }
    EXPECT_THAT(got, ElementsAre(std::pair(5, 10), std::pair(5, 11), std::pair(6, 10), std::pair(6, 11)));
}

TEST_F(EventBusTest, TypeOrIdThatIsNotSetIsEveryOne) {
    ASSERT_TRUE(Update({plugin_.Row(1, {{5}, {}}), other_.Row(1, {{}, {10}})}));
    ASSERT_TRUE(Post(1, 5, 99));
    ASSERT_TRUE(Post(1, 6, 10));
    ASSERT_TRUE(Post(1, 6, 99));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    ASSERT_THAT(plugin_.Types(), SizeIs(1));
    EXPECT_EQ(plugin_.Box().All()[0].resource_id, 99);
    ASSERT_THAT(other_.Types(), SizeIs(1));
    EXPECT_EQ(other_.Box().All()[0].resource_type, 6);
}

TEST_F(EventBusTest, EmptySetIsEveryOneToo) {
    CMsgSubscribeInfo row = plugin_.Row(1);
    row.SetValresourceTypes({});
    row.SetValresourceIDs({});
    ASSERT_TRUE(Update({row}));
    ASSERT_TRUE(Post(1, 5, 6));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1));
}

TEST_F(EventBusTest, IdsAreBitsOfAnInt) {
    ASSERT_TRUE(Update({plugin_.Row(1, {{}, {0xFFFFFFFEu}})}));
    ASSERT_TRUE(Post(1, 5, -2));
    ASSERT_TRUE(Post(1, 5, 2));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_THAT(plugin_.Types(), ElementsAre(1));
    EXPECT_EQ(plugin_.Box().All()[0].resource_id, -2);
}

TEST_F(EventBusTest, EventComesOnceThroughThePairThatDecides) {
    ASSERT_TRUE(Update({plugin_.Row(1, {}, 400), plugin_.Row(1, {{5}, {}}, 300), plugin_.Row(1, {{}, {10}}, 200),
                        plugin_.Row(1, {{5}, {10}}, 100)}));
    ASSERT_TRUE(Post(1, 5, 10));
    ASSERT_TRUE(Post(1, 6, 10));
    ASSERT_TRUE(Post(1, 5, 11));
    ASSERT_TRUE(Post(1, 6, 11));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(101, 201, 301, 401));

    ASSERT_TRUE(Update({other_.Row(1, {{5}, {}}, 300), other_.Row(1, {{}, {10}}, 200)}));
    ASSERT_TRUE(Post(1, 5, 10));
    ASSERT_TRUE(WaitForMark(other_));
    EXPECT_THAT(other_.Types(), ElementsAre(201)) << "every type and the id, before the type and every id";
}

TEST_F(EventBusTest, SubscribingAPairAgainReplacesItsCallback) {
    ASSERT_TRUE(Update({plugin_.Row(1, {{5, 6}, {10}}, 100)}));
    ASSERT_TRUE(Update({plugin_.Row(1, {{6}, {10}}, 200)}));
    ASSERT_TRUE(Post(1, 5, 10));
    ASSERT_TRUE(Post(1, 6, 10));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(101, 201));
}

TEST_F(EventBusTest, RowsOfAListAreAppliedInOrder) {
    ASSERT_TRUE(Update({plugin_.Row(1), plugin_.CancelRow(1), other_.CancelRow(1), other_.Row(1)}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    EXPECT_THAT(plugin_.Types(), IsEmpty());
    EXPECT_THAT(other_.Types(), ElementsAre(1));
}

TEST_F(EventBusTest, CancellingEndsThePairsOfItsEventAlone) {
    ASSERT_TRUE(Update({plugin_.Row(1), plugin_.Row(2), other_.Row(1)}));
    ASSERT_TRUE(Update({plugin_.CancelRow(1)}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(Post(2));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(2));
    EXPECT_THAT(other_.Types(), ElementsAre(1));
}

TEST_F(EventBusTest, CancellingWithTypesAndIdsEndsThesePairs) {
    ASSERT_TRUE(Update({plugin_.Row(1, {{5, 6}, {10, 11}})}));
    ASSERT_TRUE(Update({plugin_.CancelRow(1, {{5}, {10}})}));
    ASSERT_TRUE(Post(1, 5, 10));
    ASSERT_TRUE(Post(1, 5, 11));
    ASSERT_TRUE(Post(1, 6, 10));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), SizeIs(2));
}

TEST_F(EventBusTest, CancellingWithoutTypesEndsThoseOfAnyTypeAndWithoutIdsThoseOfAnyId) {
    ASSERT_TRUE(Update({plugin_.Row(1, {{5, 6}, {10, 11}}), plugin_.Row(1, {{}, {10}}), other_.Row(1, {{5, 6}, {10}}),
                        other_.Row(1, {{5}, {}})}));
    ASSERT_TRUE(Update({plugin_.CancelRow(1, {{}, {10}}), other_.CancelRow(1, {{5}, {}})}));
    for (const int type : {5, 6, 7}) {
        for (const int id : {10, 11}) ASSERT_TRUE(Post(1, type, id));
    }
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    ASSERT_THAT(plugin_.Types(), SizeIs(2));
    EXPECT_EQ(plugin_.Box().All()[0].resource_id, 11);
    EXPECT_EQ(plugin_.Box().All()[1].resource_id, 11);
    ASSERT_THAT(other_.Types(), SizeIs(1));
    EXPECT_EQ(other_.Box().All()[0].resource_type, 6);
}

TEST_F(EventBusTest, CancellingCertainTypesOrIdsLeavesThePairOfEvery) {
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    ASSERT_TRUE(
        Update({plugin_.CancelRow(1, {{5}, {}}), plugin_.CancelRow(1, {{}, {10}}), plugin_.CancelRow(1, {{5}, {10}})}));
    ASSERT_TRUE(Post(1, 5, 10));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1));
}

TEST_F(EventBusTest, CancellingWhatIsNotThereIsNoError) {
    EXPECT_TRUE(Update({plugin_.CancelRow(1), plugin_.CancelRow(1, {{5}, {10}})}));
}

TEST_F(EventBusTest, RefusedRowsAreToldInOrderAndTheOthersHold) {
    CMsgSubscribeInfo no_callback = plugin_.Row(2);
    no_callback.SetValsubscriber(plugin_.CancelRow(2).GetValsubscriber());
    const CMsgSubscribeInfo no_id = Party(kSubscriberPlugin, "").Row(3);
    const CMsgSubscribeInfo no_kind = Party(SubscriberType(), "plugin").Row(4);
    const CMsgSubscribeInfo no_id_cancels = Party(kSubscriberPlugin, "").CancelRow(1);

    std::list<CMsgSubScribeErrorInfo> errors(1);
    ForgetError();
    EXPECT_FALSE(
        UpdateSubscribeList(errors, {plugin_.Row(1), no_callback, no_id, no_kind, no_id_cancels, plugin_.Row(5)}));
    EXPECT_TRUE(ErrorIsSet());
    ASSERT_EQ(errors.size(), 5u) << "appended";
    EXPECT_EQ(errors.front().GetValerrorInfo(), Error::ErrorCode()) << "as it was";
    errors.pop_front();
    for (const auto& error : errors) EXPECT_NE(error.GetValerrorInfo(), Error::ErrorCode());

    for (const int event : {1, 2, 3, 4, 5}) ASSERT_TRUE(Post(event));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1, 5));
}

TEST_F(EventBusTest, EventGoesToThoseWhoAreSubscribedWhenItIsPosted) {
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(Update({plugin_.CancelRow(1), other_.Row(1)}));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1));
    EXPECT_THAT(other_.Types(), IsEmpty());
}

TEST_F(EventBusTest, OneSubscriberGetsEventsInTheOrderOfPosting) {
    std::list<CMsgSubscribeInfo> rows;
    std::vector<int> posted;
    for (int type = 0; type < 300; ++type) {
        rows.push_back(plugin_.Row(type));
        posted.push_back(type);
    }
    ASSERT_TRUE(Update(rows));
    for (const int type : posted) ASSERT_TRUE(Post(type));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_EQ(plugin_.Types(), posted);
}

TEST_F(EventBusTest, CallbackNeverRunsInsideAnOperation) {
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), SizeIs(20));
    EXPECT_FALSE(plugin_.Box().CalledInsideAnOperation());
}

TEST_F(EventBusTest, CallbackThatThrowsCostsNobodyAnEvent) {
    CMsgSubscribeInfo throwing = other_.Row(1);
    CSubscriber subscriber = throwing.GetValsubscriber();
    subscriber.SetValcallbackFunction(
        [fn = subscriber.GetValcallbackFunction()](int type, int resource_type, int resource_id, const auto& content) {
            fn(type, resource_type, resource_id, content);
            if (resource_id == 1) throw std::runtime_error("on purpose");
            throw 5;
        });
    throwing.SetValsubscriber(subscriber);
    ASSERT_TRUE(Update({throwing, plugin_.Row(1)}));
    ASSERT_TRUE(Post(1, 0, 1));
    ASSERT_TRUE(Post(1, 0, 2));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1, 1));
    EXPECT_THAT(other_.Types(), ElementsAre(1, 1));
}

TEST_F(EventBusTest, CallbackMayCancelItsOwnRowSubscribeAndPost) {
    CMsgSubscribeInfo row = plugin_.Row(1);
    CSubscriber subscriber = row.GetValsubscriber();
    subscriber.SetValcallbackFunction(
        [fn = subscriber.GetValcallbackFunction(), cancel = plugin_.CancelRow(1), next = plugin_.Row(2)](
            int type, int resource_type, int resource_id, const auto& content) {
            fn(type, resource_type, resource_id, content);
            std::list<CMsgSubScribeErrorInfo> errors;
            UpdateSubscribeList(errors, {cancel, next});
            MsgNotifyBySubscription(2, resource_type, resource_id, content, "plugin", 0);
        });
    row.SetValsubscriber(subscriber);
    ASSERT_TRUE(Update({row}));
    ASSERT_TRUE(Post(1, 1001, 5));
    ASSERT_TRUE(WaitUntil([this] { return plugin_.Types().size() == 2; }));
    ASSERT_TRUE(Post(1));
    ASSERT_TRUE(WaitForMark(plugin_));
    EXPECT_THAT(plugin_.Types(), ElementsAre(1, 2));
}

TEST_F(EventBusTest, ContentLivesUntilItsSubscriberHasIt) {
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    auto content = std::make_shared<CObserverParam>();
    content->SetText("{\"A\": 1}");
    ASSERT_TRUE(Post(1, 0, 0, content));
    content.reset();
    ASSERT_TRUE(WaitForMark(plugin_));
    const char* data = nullptr;
    int size = 0;
    ASSERT_TRUE(plugin_.Box().All()[0].content->GetContent(&data, &size));
    EXPECT_EQ(std::string(data), "{\"A\": 1}");
}

TEST_F(EventBusTest, RowOfAllEventsStandsForEveryEventOfItsResources) {
    ASSERT_TRUE(Update({client_.Row(kAllEvents, {{1001}, {10}}), client_.Row(3, {}, 100)}));
    ASSERT_TRUE(Post(1, 1001, 10));
    ASSERT_TRUE(Post(2, 1001, 10));
    ASSERT_TRUE(Post(1, 1001, 11));
    ASSERT_TRUE(WaitForMark(client_));
    EXPECT_THAT(client_.Types(), ElementsAre(1, 2));
    ASSERT_TRUE(Post(3, 1001, 10));
    ASSERT_TRUE(WaitForMark(client_));
    EXPECT_THAT(client_.Types(), SizeIs(3)) << "an event reaches a subscriber once";
    ASSERT_TRUE(Update({client_.CancelRow(kAllEvents, {{1001}, {10}})}));
    ASSERT_TRUE(Post(1, 1001, 10));
    ASSERT_TRUE(WaitForMark(client_));
    EXPECT_THAT(client_.Types(), SizeIs(3));
}

class PictureBlock : public moxcore::IMoxMemoryBlock {
public:
    const char* GetData() const override { return "picture"; }
    unsigned int GetSize() const override { return 7; }
};

class PictureEvent : public ZELPlatform::CEventBaseContent {
public:
    bool GetContent(const char** data, int* size) override {
        *data = "event";
        *size = 6;
        return true;
    }
    std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() override { return {{"extend", 6u}}; }
    bool GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) override {
        pictures.push_back(std::make_shared<PictureBlock>());
        return true;
    }
};

TEST_F(EventBusTest, PicturesAreHandedOutToThoseWhoWantThem) {
    CMsgSubscribeInfo with_pictures = plugin_.Row(1);
    with_pictures.SetNeedTukStorePicture(true);
    ASSERT_TRUE(Update({with_pictures, other_.Row(1)}));
    ASSERT_TRUE(Post(1, 0, 0, std::make_shared<PictureEvent>()));
    ASSERT_TRUE(WaitForMark(plugin_));
    ASSERT_TRUE(WaitForMark(other_));
    for (const Party* party : {&plugin_, &other_}) {
        const auto content = party->Box().All()[0].content;
        EXPECT_EQ(content->ContentType(), ZELPlatform::kContentTextAndBinary);
        const char* data = nullptr;
        int size = 0;
        ASSERT_TRUE(content->GetContent(&data, &size));
        EXPECT_EQ(std::string(data), "event");
        auto* event = dynamic_cast<ZELPlatform::CEventBaseContent*>(content.get());
        ASSERT_NE(event, nullptr);
        EXPECT_THAT(event->GetExtendBuffers(), SizeIs(1));
        std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>> pictures;
        event->GetPictureBinaryData(pictures);
        EXPECT_THAT(pictures, SizeIs(party == &plugin_ ? 1 : 0));
    }
}

TEST_F(EventBusTest, SubscribingAPairAgainReplacesItsFlags) {
    CMsgSubscribeInfo with_pictures = plugin_.Row(1);
    with_pictures.SetNeedTukStorePicture(true);
    ASSERT_TRUE(Update({with_pictures}));
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    ASSERT_TRUE(Post(1, 0, 0, std::make_shared<PictureEvent>()));
    ASSERT_TRUE(WaitForMark(plugin_));
    auto* event = dynamic_cast<ZELPlatform::CEventBaseContent*>(plugin_.Box().All()[0].content.get());
    ASSERT_NE(event, nullptr);
    std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>> pictures;
    event->GetPictureBinaryData(pictures);
    EXPECT_THAT(pictures, IsEmpty());
}

}  // namespace
}  // namespace platform_tests
