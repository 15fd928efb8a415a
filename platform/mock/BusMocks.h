#pragma once

#include <gmock/gmock.h>

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Mox/Net/HttpServer.h"
#include "ZELPlatform/Authentication.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "ZELPlatform/MsgBusPush.h"
#include "ZELPlatform/MsgBusRequests.h"
#include "ZELPlatform/System.h"

namespace qarmock {

class FakeEventBus;
class FakeFront;
class FakeNotifyBus;

// Mocks of the bus beside its observer half; used as those of Mocks.h.

/// The event half of ZELPlatform::MsgBus
class MockEventBus {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

    MockEventBus();
    ~MockEventBus();

    MOCK_METHOD(bool, RegistMsgCapacity, (const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn));
    MOCK_METHOD(bool, RegistMsgResourceCapacity,
                ((const std::map<int, std::set<int>>&)events_to_resource_types,
                 const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn));
    MOCK_METHOD(bool, RegistResourceCapacity,
                (const std::set<int>& resource_types, const ZELPlatform::MsgBus::ResourceCapacityFunc& fn));
    MOCK_METHOD(bool, UpdateSubscribeList,
                (std::list<ZELPlatform::MsgBus::CMsgSubScribeErrorInfo> & errors,
                 const std::list<ZELPlatform::MsgBus::CMsgSubscribeInfo>& rows));
    MOCK_METHOD(bool, MsgNotifyBySubscription,
                (int type, int resource_type, int resource_id, const Content& content, const std::string& plugin,
                 int mode));

private:
    const std::unique_ptr<FakeEventBus> fake_;

public:
    FakeEventBus& fake;  ///< of mock/FakeEventBus.h
};

/// The notify half of ZELPlatform::MsgBus
class MockNotifyBus {
public:
    using PushInfo = std::shared_ptr<ZELPlatform::CMsgPushInfo>;
    using SubscribedInfo = std::shared_ptr<ZELPlatform::CMsgSubscribedInfo>;
    using Subscribers = std::map<ZELPlatform::SubscriberType, std::set<std::string>>;

    MockNotifyBus();
    ~MockNotifyBus();

    MOCK_METHOD(bool, PublishMsg, (const std::shared_ptr<ZELPlatform::CMsgPublishInfo>& info));
    MOCK_METHOD(bool, SubscribeMsg, (const SubscribedInfo& info));
    MOCK_METHOD(bool, UnsubscribeMsg, (const SubscribedInfo& info));
    MOCK_METHOD(bool, PushMsgToSubscriber, (const PushInfo& info));
    MOCK_METHOD(bool, PushMsgToSpecifiedClients, (const std::set<std::string>& clients, const PushInfo& info));
    MOCK_METHOD(bool, PushMsgToSpecifiedSubscribers, (const Subscribers& subscribers, const PushInfo& info));

private:
    const std::unique_ptr<FakeNotifyBus> fake_;

public:
    FakeNotifyBus& fake;  ///< of mock/FakeNotifyBus.h
};

/// Users' requests and sessions: URLs and pushes of ZELPlatform::MsgBus, ZELPlatform::Authentication,
/// ZELPlatform::System and Mox::Net::CHttpServer
class MockFront {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
    using ClientType = ZELPlatform::InterfaceCommonData::UserSession::ClientType;
    using LoginAccountType = ZELPlatform::InterfaceCommonData::UserSession::LoginAccountType;
    using Request = ZELPlatform::MsgBus::UserRequestFunc;

    MockFront();
    ~MockFront();

    MOCK_METHOD(bool, AddURL,
                (const std::string& plugin, const std::string& url, ZELPlatform::Method method, Request fn,
                 ZELPlatform::CmdParam::Exec exec, bool flag));
    MOCK_METHOD(bool, AddNoneJsonURL, (const std::string& plugin, const std::vector<std::string>& urls));
    MOCK_METHOD(bool, DeleteURL, (const std::string& url, ZELPlatform::Method method));
    MOCK_METHOD(bool, MsgNotifyByDst, (const std::vector<std::string>& sessions, int type, const Content& content));
    MOCK_METHOD(void, GetSessionByUserID, (std::vector<std::string> & sessions, unsigned int user, ClientType type));
    MOCK_METHOD(void, GetSessionByID,
                (std::vector<std::string> & sessions, unsigned int id, std::set<ClientType> types,
                 LoginAccountType account_type));
    MOCK_METHOD(bool, GetOnlineSessionByClientType, (std::vector<std::string> & sessions, const ClientType& type));
    MOCK_METHOD(std::shared_ptr<ZELPlatform::CSystemConfigInfo>, GetSystemConfigInfo, ());
    MOCK_METHOD(int, HttpServerSyncSend,
                (int session, const Mox::Net::HttpResponse& response, int64_t size, const char* data));

private:
    const std::unique_ptr<FakeFront> fake_;

public:
    FakeFront& fake;  ///< of mock/FakeFront.h
};

}  // namespace qarmock
