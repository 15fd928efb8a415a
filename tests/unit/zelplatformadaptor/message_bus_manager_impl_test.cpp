#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "Mox/Base/Error.h"
#include "mock/Platform.h"
#include "zelplatformadaptor/MessageBusChangeMsg.h"
#include "zelplatformadaptor/MessageBusManagerImpl.h"

namespace qar {
namespace {

using Mox::Base::Error;
using qarmock::LineIn;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Return;

void Ignore(const std::string&, std::shared_ptr<IBusMsg>, void*) {}

class MessageBusManagerTest : public ::testing::Test {
protected:
    qarmock::Platform platform;
};

TEST_F(MessageBusManagerTest, ConstructionAsksThePlatformForNothing) {
    EXPECT_CALL(platform.bus, RegistObserver).Times(0);
    EXPECT_CALL(platform.bus, SubscribeObserver).Times(0);
    EXPECT_CALL(platform.bus, SubscribeObserverEx).Times(0);
    const CMessageBusManagerImpl manager;
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusManagerTest, ChangeOperationsReachThePlatform) {
    CMessageBusManagerImpl manager;
    const auto msg = std::make_shared<CBusMsgCommon>(1, 0, 0, "{}", nullptr, 0);
    const ChangeFunc fn = [](const std::string&, std::shared_ptr<IBusMsg>) {};
    EXPECT_CALL(platform.bus, RegistObserver("topic"));
    EXPECT_CALL(platform.bus, SubscribeObserver("topic", "p", _));
    EXPECT_CALL(platform.bus, SubscribeObserverEx("p", "topic", std::set<int>{1, 2}, _, _));
    EXPECT_CALL(platform.bus, NotifyObserverEventEx("topic", 1, _, ZELPlatform::kObserverTask0));
    EXPECT_CALL(platform.bus, UnSubscribeObserver("topic", _));
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx("p", "topic", std::set<int>{}));
    EXPECT_TRUE(manager.PublishChangeMsgType("topic", {1}, {2}));
    EXPECT_TRUE(manager.SubscribeChangeMsg("topic", {}, fn, "p"));
    EXPECT_TRUE(manager.SubscribeChangeMsgEx("topic", {1, 2}, Ignore, nullptr, "p"));
    EXPECT_TRUE(manager.PostChangeMsg(msg, "topic"));
    manager.UnsubscribeChangeMsg("topic", "p");
    manager.UnsubscribeChangeMsgEx("topic", {1}, "p");
}

TEST_F(MessageBusManagerTest, AnswersOfTheWorkerComeBack) {
    CMessageBusManagerImpl manager;
    EXPECT_CALL(platform.bus, RegistObserver).WillOnce(Return(false));
    EXPECT_CALL(platform.bus, SubscribeObserver).WillOnce(Return(false));
    EXPECT_CALL(platform.bus, SubscribeObserverEx).WillOnce(Return(false));
    const ChangeFunc fn = [](const std::string&, std::shared_ptr<IBusMsg>) {};
    EXPECT_FALSE(manager.PublishChangeMsgType("topic", {}, {}));
    EXPECT_FALSE(manager.SubscribeChangeMsg("topic", {}, fn, "p"));
    EXPECT_FALSE(manager.SubscribeChangeMsgEx("topic", {}, Ignore, nullptr, "p"));
    EXPECT_FALSE(manager.PostChangeMsg(nullptr, "topic"));
}

TEST_F(MessageBusManagerTest, WithoutAWorkerTheExOperationsFailWithAnErrorAndALine) {
    CMessageBusManagerImpl manager(nullptr);
    EXPECT_FALSE(manager.SubscribeChangeMsgEx("topic", {}, Ignore, nullptr, "p"));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 1));
    Error::SetLastError(Error::ErrorCode());
    manager.UnsubscribeChangeMsgEx("topic", {}, "p");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 1));
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn("qar::CMessageBusManagerImpl::SubscribeChangeMsgEx", 5,
                                                         "QARCommon", "Msg bus change sptr is null."),
                                                  LineIn("qar::CMessageBusManagerImpl::UnsubscribeChangeMsgEx", 5,
                                                         "QARCommon", "Msg bus change sptr is null.")));
}

TEST_F(MessageBusManagerTest, WithoutAWorkerThePlainOperationsFailSilently) {
    CMessageBusManagerImpl manager(nullptr);
    const auto msg = std::make_shared<CBusMsgCommon>(1, 0, 0, "{}", nullptr, 0);
    EXPECT_FALSE(manager.PublishChangeMsgType("topic", {}, {}));
    EXPECT_FALSE(manager.SubscribeChangeMsg(
        "topic", {}, [](const std::string&, std::shared_ptr<IBusMsg>) {}, "p"));
    EXPECT_FALSE(manager.PostChangeMsg(msg, "topic"));
    manager.UnsubscribeChangeMsg("topic", "p");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(MessageBusManagerTest, OperationsOfWorkersThatAreNotThereFailSilently) {
    CMessageBusManagerImpl manager;
    const auto msg = std::make_shared<CBusMsgCommon>(1, 0, 0, "{}", nullptr, 0);
    const EventFunc fn = [](std::shared_ptr<IBusMsg>) {};
    manager.RegisterUsrRequest(
        "p", "/url", ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecSync,
        [](SHttpResponse&, const SHttpRequest&) {}, false);
    manager.UnregisterUsrRequest("/url");
    EXPECT_FALSE(manager.PublishEventType({1}, -1));
    EXPECT_FALSE(manager.SubscribeEventMsg({1}, "p", fn, true));
    manager.UnsubscribeEventMsg({1}, "p");
    EXPECT_FALSE(manager.PostEventMsg(msg));
    EXPECT_FALSE(manager.PushMsgToUsers(msg, {1}, {ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb}));
    manager.Reserved();
    EXPECT_FALSE(manager.PushMsgToPersonUsers(msg, {1}, {}));
    EXPECT_FALSE(manager.PushMsgToUsersNew(msg, {}, {}));
    EXPECT_FALSE(manager.SubscribeEventMsgEx({1}, {2}, {3}, "p", fn, true, false));
    manager.UnsubscribeEventMsgEx({1}, {2}, {3}, "p");
    EXPECT_FALSE(manager.PublishMsgType("p", {1}));
    EXPECT_FALSE(manager.SubscribeMsg({1}, "p", fn));
    manager.UnsubscribeMsg({1}, "p");
    EXPECT_FALSE(manager.PostMsg(msg));
    EXPECT_FALSE(manager.PostMsgToSpecifiedClients({"c"}, msg));
    EXPECT_FALSE(manager.PostMsgToSpecifiedClientsAndSubscribers({{ZELPlatform::kSubscriberPlugin, {"p"}}}, msg));
    EXPECT_FALSE(manager.PostMsgWithPermission({{1, {2}}}, msg));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

}  // namespace
}  // namespace qar
