#include "mock/BusMocks.h"

#include <utility>

#include "mock/FakeEventBus.h"
#include "mock/FakeFront.h"
#include "mock/FakeNotifyBus.h"
#include "mock/Platform.h"

namespace qarmock {

using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CmdParam::Exec;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;

MockEventBus::MockEventBus() : fake_(std::make_unique<FakeEventBus>()), fake(*fake_) {
    ON_CALL(*this, RegistMsgCapacity)
        .WillByDefault([this](const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn) {
            return fake.RegistMsgCapacity(events, fn);
        });
    ON_CALL(*this, RegistMsgResourceCapacity)
        .WillByDefault([this](const std::map<int, std::set<int>>& events_to_resource_types,
                              const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn) {
            return fake.RegistMsgResourceCapacity(events_to_resource_types, fn);
        });
    ON_CALL(*this, RegistResourceCapacity)
        .WillByDefault(
            [this](const std::set<int>& resource_types, const ZELPlatform::MsgBus::ResourceCapacityFunc& fn) {
                return fake.RegistResourceCapacity(resource_types, fn);
            });
    ON_CALL(*this, UpdateSubscribeList)
        .WillByDefault([this](std::list<CMsgSubScribeErrorInfo>& errors, const std::list<CMsgSubscribeInfo>& rows) {
            return fake.UpdateSubscribeList(errors, rows);
        });
    ON_CALL(*this, MsgNotifyBySubscription)
        .WillByDefault([this](int type, int resource_type, int resource_id, const Content& content,
                              const std::string& plugin, int mode) {
            return fake.MsgNotifyBySubscription(type, resource_type, resource_id, content, plugin, mode);
        });
}

MockEventBus::~MockEventBus() = default;

MockNotifyBus::MockNotifyBus() : fake_(std::make_unique<FakeNotifyBus>()), fake(*fake_) {
    ON_CALL(*this, PublishMsg).WillByDefault([this](const std::shared_ptr<CMsgPublishInfo>& info) {
        return fake.PublishMsg(info);
    });
    ON_CALL(*this, SubscribeMsg).WillByDefault([this](const SubscribedInfo& info) { return fake.SubscribeMsg(info); });
    ON_CALL(*this, UnsubscribeMsg).WillByDefault([this](const SubscribedInfo& info) {
        return fake.UnsubscribeMsg(info);
    });
    ON_CALL(*this, PushMsgToSubscriber).WillByDefault([this](const PushInfo& info) {
        return fake.PushMsgToSubscriber(info);
    });
    ON_CALL(*this, PushMsgToSpecifiedClients)
        .WillByDefault([this](const std::set<std::string>& clients, const PushInfo& info) {
            return fake.PushMsgToSpecifiedClients(clients, info);
        });
    ON_CALL(*this, PushMsgToSpecifiedSubscribers)
        .WillByDefault([this](const Subscribers& subscribers, const PushInfo& info) {
            return fake.PushMsgToSpecifiedSubscribers(subscribers, info);
        });
}

MockNotifyBus::~MockNotifyBus() = default;

MockFront::MockFront() : fake_(std::make_unique<FakeFront>()), fake(*fake_) {
    ON_CALL(*this, AddURL)
        .WillByDefault([this](const std::string& plugin, const std::string& url, ZELPlatform::Method method, Request fn,
                              Exec exec,
                              bool flag) { return fake.AddURL(plugin, url, method, std::move(fn), exec, flag); });
    ON_CALL(*this, AddNoneJsonURL)
        .WillByDefault([this](const std::string& plugin, const std::vector<std::string>& urls) {
            return fake.AddNoneJsonURL(plugin, urls);
        });
    ON_CALL(*this, DeleteURL).WillByDefault([this](const std::string& url, ZELPlatform::Method method) {
        return fake.DeleteURL(url, method);
    });
    ON_CALL(*this, MsgNotifyByDst)
        .WillByDefault([this](const std::vector<std::string>& sessions, int type, const Content& content) {
            return fake.MsgNotifyByDst(sessions, type, content);
        });
    ON_CALL(*this, GetSessionByUserID)
        .WillByDefault([this](std::vector<std::string>& sessions, unsigned int user, ClientType type) {
            fake.GetSessionByUserID(sessions, user, type);
        });
    ON_CALL(*this, GetSessionByID)
        .WillByDefault(
            [this](std::vector<std::string>& sessions, unsigned int id, const std::set<ClientType>& types,
                   LoginAccountType account_type) { fake.GetSessionByID(sessions, id, types, account_type); });
    ON_CALL(*this, GetOnlineSessionByClientType)
        .WillByDefault([this](std::vector<std::string>& sessions, const ClientType& type) {
            return fake.GetOnlineSessionByClientType(sessions, type);
        });
    ON_CALL(*this, GetSystemConfigInfo).WillByDefault([this] { return fake.GetSystemConfigInfo(); });
    ON_CALL(*this, HttpServerSyncSend)
        .WillByDefault([this](int session, const Mox::Net::HttpResponse& response, int64_t size, const char* data) {
            return fake.HttpServerSyncSend(session, response, size, data);
        });
}

MockFront::~MockFront() = default;

}  // namespace qarmock

namespace ZELPlatform {

using qarmock::Platform;

namespace MsgBus {

bool RegistMsgCapacity(const std::set<int>& events, const MsgCapacityFunc& fn) {
    return Platform::Current().events.RegistMsgCapacity(events, fn);
}

bool RegistMsgResourceCapacity(const std::map<int, std::set<int>>& events_to_resource_types,
                               const MsgResourceCapacityFunc& fn) {
    return Platform::Current().events.RegistMsgResourceCapacity(events_to_resource_types, fn);
}

bool RegistResourceCapacity(const std::set<int>& resource_types, const ResourceCapacityFunc& fn) {
    return Platform::Current().events.RegistResourceCapacity(resource_types, fn);
}

bool UpdateSubscribeList(std::list<CMsgSubScribeErrorInfo>& errors, const std::list<CMsgSubscribeInfo>& rows) {
    return Platform::Current().events.UpdateSubscribeList(errors, rows);
}

bool MsgNotifyBySubscription(int type, int resource_type, int resource_id, const std::shared_ptr<CBaseContent>& content,
                             const std::string& plugin, int mode) {
    return Platform::Current().events.MsgNotifyBySubscription(type, resource_type, resource_id, content, plugin, mode);
}

bool PublishMsg(const std::shared_ptr<CMsgPublishInfo>& info) { return Platform::Current().notify.PublishMsg(info); }

bool SubscribeMsg(const std::shared_ptr<CMsgSubscribedInfo>& info) {
    return Platform::Current().notify.SubscribeMsg(info);
}

bool UnsubscribeMsg(const std::shared_ptr<CMsgSubscribedInfo>& info) {
    return Platform::Current().notify.UnsubscribeMsg(info);
}

bool PushMsgToSubscriber(const std::shared_ptr<CMsgPushInfo>& info) {
    return Platform::Current().notify.PushMsgToSubscriber(info);
}

bool PushMsgToSpecifiedClients(const std::set<std::string>& clients, const std::shared_ptr<CMsgPushInfo>& info) {
    return Platform::Current().notify.PushMsgToSpecifiedClients(clients, info);
}

bool PushMsgToSpecifiedSubscribers(const std::map<SubscriberType, std::set<std::string>>& subscribers,
                                   const std::shared_ptr<CMsgPushInfo>& info) {
    return Platform::Current().notify.PushMsgToSpecifiedSubscribers(subscribers, info);
}

bool MsgNotifyByDst(const std::vector<std::string>& sessions, int type, const std::shared_ptr<CBaseContent>& content) {
    return Platform::Current().front.MsgNotifyByDst(sessions, type, content);
}

bool AddURL(const std::string& plugin, const std::string& url, Method method, UserRequestFunc fn, CmdParam::Exec exec,
            bool flag) {
    return Platform::Current().front.AddURL(plugin, url, method, std::move(fn), exec, flag);
}

bool AddNoneJsonURL(const std::string& plugin, const std::vector<std::string>& urls) {
    return Platform::Current().front.AddNoneJsonURL(plugin, urls);
}

bool DeleteURL(const std::string& url, Method method) { return Platform::Current().front.DeleteURL(url, method); }

}  // namespace MsgBus

namespace Authentication {

void GetSessionByUserID(std::vector<std::string>& sessions, unsigned int user, ClientType type) {
    Platform::Current().front.GetSessionByUserID(sessions, user, type);
}

void GetSessionByID(std::vector<std::string>& sessions, unsigned int id, std::set<ClientType> types,
                    LoginAccountType account_type) {
    Platform::Current().front.GetSessionByID(sessions, id, std::move(types), account_type);
}

bool GetOnlineSessionByClientType(std::vector<std::string>& sessions, const ClientType& type) {
    return Platform::Current().front.GetOnlineSessionByClientType(sessions, type);
}

}  // namespace Authentication

namespace System {

std::shared_ptr<CSystemConfigInfo> GetSystemConfigInfo() { return Platform::Current().front.GetSystemConfigInfo(); }

}  // namespace System
}  // namespace ZELPlatform

namespace Mox {
namespace Net {

int CHttpServer::HttpServerSyncSend(int session, const HttpResponse& response, int64_t size, const char* data) {
    return qarmock::Platform::Current().front.HttpServerSyncSend(session, response, size, data);
}

}  // namespace Net
}  // namespace Mox
