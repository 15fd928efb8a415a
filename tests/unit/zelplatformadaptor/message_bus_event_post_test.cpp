#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "unit/zelplatformadaptor/fake_contents.h"
#include "zelplatformadaptor/MessageBusEventMsg.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/PluginMsgBusEvent.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::LineIn;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SizeIs;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;

using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

constexpr char kPost[] = "qar::CMessageBusEventMsg::PostEventMsg";

class EventPostTest : public ::testing::Test {
protected:
    static std::shared_ptr<CBusMsgCommon> EventOf(int type, int source_type, unsigned int source_id,
                                                  const std::string& json = "{}") {
        return std::make_shared<CBusMsgCommon>(type, source_type, source_id, json, nullptr, 0u, "p");
    }

    qarmock::Platform platform;
    std::shared_ptr<CMessageBusEventMsg> bus = std::make_shared<CMessageBusEventMsg>();
};

TEST_F(EventPostTest, PostHandsTheWrappedMessageToThePlatform) {
    const auto msg = EventOf(12, 1001, 5, "{\"a\":1}");
    Content content;
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(12, 1001, 5, _, "p", 0))
        .WillOnce(DoAll(
            SaveArg<3>(&content), [&] { EXPECT_THAT(platform.log.Lines(), IsEmpty()); }, Return(true)));
    EXPECT_TRUE(bus->PostEventMsg(msg));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPost, 3, "QARCommonMsg", "Event[12]-Resource[5] post to platform [success].\n"),
                            LineIn(kPost, 2, "QARCommonMsg", "Event[12] post to platform msg: \n{\"a\":1}\n")));
    ASSERT_NE(std::dynamic_pointer_cast<CPlatformMsgContent>(content), nullptr);
    const char* data = nullptr;
    int size = 0;
    EXPECT_TRUE(content->GetContent(&data, &size));
    EXPECT_EQ(data, msg->Data());
    EXPECT_EQ(size, 8);
    EXPECT_EQ(content->ContentType(), ZELPlatform::kContentText);
}

TEST_F(EventPostTest, PostedContentKeepsTheMessageAlive) {
    Content content;
    EXPECT_CALL(platform.events, MsgNotifyBySubscription).WillOnce(DoAll(SaveArg<3>(&content), Return(true)));
    auto msg = EventOf(12, 1001, 5);
    const std::weak_ptr<IBusMsg> watched = msg;
    ASSERT_TRUE(bus->PostEventMsg(std::move(msg)));
    EXPECT_FALSE(watched.expired());
    content.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(EventPostTest, BinaryMessageIsPostedAsBinaryWithAnEmptyText) {
    Content content;
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(12, 1001, 5, _, "p", 0))
        .WillOnce(DoAll(SaveArg<3>(&content), Return(true)));
    EXPECT_TRUE(bus->PostEventMsg(std::make_shared<CBusMsgCommon>(12, 1001, 5u, "", "abc", 3u, "p")));
    ASSERT_NE(content, nullptr);
    EXPECT_EQ(content->ContentType(), ZELPlatform::kContentBinary);
    EXPECT_THAT(platform.log.Lines().back(), LineIn(kPost, 2, "QARCommonMsg", "Event[12] post to platform msg: \n\n"));
}

TEST_F(EventPostTest, RefusedPostIsTold) {
    EXPECT_CALL(platform.events, MsgNotifyBySubscription)
        .WillOnce(DoAll([] { Error::SetLastError(Error::ErrorCode(3, 77)); }, Return(false)));
    EXPECT_FALSE(bus->PostEventMsg(EventOf(12, 1001, 5)));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 77));
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kPost, 3, "QARCommonMsg", "Event[12]-Resource[5] post to platform [failed].\n"),
                            LineIn(kPost, 2, "QARCommonMsg", "Event[12] post to platform msg: \n{}\n")));
}

TEST_F(EventPostTest, NullMessageIsNotPosted) {
    EXPECT_CALL(platform.events, MsgNotifyBySubscription).Times(0);
    EXPECT_FALSE(bus->PostEventMsg(nullptr));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

// Whether somebody wants an event is known here, but not asked: sending is fixed on, and nothing is ever dropped.
TEST_F(EventPostTest, EventThatNobodyAskedForIsPosted) {
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(12, 1001, 5, _, "p", 0)).WillOnce(Return(true));
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, 1001, 5)));
    EXPECT_THAT(platform.log.Lines(), SizeIs(2));
}

TEST_F(EventPostTest, EventIsPostedWhateverClientsAskedFor) {
    ZELPlatform::MsgBus::MsgCapacityFunc be_subscribed;
    ZELPlatform::MsgBus::MsgResourceCapacityFunc push_by_event;
    ZELPlatform::MsgBus::ResourceCapacityFunc push_by_resource;
    EXPECT_CALL(platform.events, RegistMsgCapacity).WillOnce(DoAll(SaveArg<1>(&be_subscribed), Return(true)));
    EXPECT_CALL(platform.events, RegistMsgResourceCapacity).WillOnce(DoAll(SaveArg<1>(&push_by_event), Return(true)));
    EXPECT_CALL(platform.events, RegistResourceCapacity).WillOnce(DoAll(SaveArg<1>(&push_by_resource), Return(true)));
    ASSERT_TRUE(bus->PublishEventType({12}, 1001));
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(12, 1001, 5, _, "p", 0)).Times(4).WillRepeatedly(Return(true));

    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, 1001, 5)));
    be_subscribed(kSubscribe, 13, {});
    push_by_event(kSubscribe, 12, 1001, {6});
    push_by_resource(kSubscribe, 1001, {6});
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, 1001, 5))) << "others are wanted";
    be_subscribed(kSubscribe, 12, {});
    push_by_event(kSubscribe, 12, 1001, {5});
    push_by_resource(kSubscribe, 1001, {5});
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, 1001, 5))) << "it is wanted";
    be_subscribed(kSubscribeCancel, 12, {});
    push_by_event(kSubscribeCancel, 12, 1001, {5});
    push_by_resource(kSubscribeCancel, 1001, {5});
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, 1001, 5))) << "it is wanted no longer";
}

TEST_F(EventPostTest, MessageThatTellsNoPluginIsPostedUnderItsName) {
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(12, 1001, 5, _, "not provide", 0)).WillOnce(Return(true));
    EXPECT_TRUE(bus->PostEventMsg(
        std::make_shared<CPluginMsgBusEvent>(12, 1001, 5u, std::make_shared<test::FakeContent>("{}"))));
}

TEST_F(EventPostTest, HighResourceIdIsTheIntOfTheSameBits) {
    EXPECT_CALL(platform.events, MsgNotifyBySubscription(12, -1, -1, _, "p", 0)).WillOnce(Return(true));
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, -1, 0xFFFFFFFFu)));
    EXPECT_THAT(platform.log.Lines().front(),
                LineIn(kPost, 3, "QARCommonMsg", "Event[12]-Resource[-1] post to platform [success].\n"));
}

TEST_F(EventPostTest, PercentSignsInATextAreLeftAsTheyAre) {
    EXPECT_CALL(platform.events, MsgNotifyBySubscription).WillOnce(Return(true));
    EXPECT_TRUE(bus->PostEventMsg(EventOf(12, 1001, 5, "100%s %d %n")));
    EXPECT_THAT(platform.log.Lines().back(),
                LineIn(kPost, 2, "QARCommonMsg", "Event[12] post to platform msg: \n100%s %d %n\n"));
}

}  // namespace
}  // namespace qar
