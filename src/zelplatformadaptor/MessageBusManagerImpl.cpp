#include "zelplatformadaptor/MessageBusManagerImpl.h"

#include <iterator>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/Authentication.h"
#include "ZELPlatform/MsgBusPush.h"
#include "internal/Log.h"
#include "zelplatformadaptor/MessageBusChangeMsg.h"
#include "zelplatformadaptor/MessageBusEventMsg.h"
#include "zelplatformadaptor/MessageBusNotifyMsg.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/MessageBusUsrRequest.h"

namespace qar {

using internal::kLogError;
using internal::kLogInformation;
using internal::kModuleCommon;
using Mox::Base::Error;

namespace {

using ClientType = IMessageBusManagerAPI::ClientType;
using Sessions = std::vector<std::string>;

void Append(Sessions& sessions, Sessions&& found) {
    sessions.insert(sessions.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
}

/// A session that is there under two client types comes twice.
Sessions SessionsOfUsers(const std::list<unsigned int>& users, const std::list<ClientType>& client_types) {
    Sessions sessions;
    for (const unsigned int user : users) {
        for (const ClientType client_type : client_types) {
            Sessions found;
            ZELPlatform::Authentication::GetSessionByUserID(found, user, client_type);
            Append(sessions, std::move(found));
        }
    }
    return sessions;
}

Sessions SessionsOfPersons(const std::list<unsigned int>& users, const std::list<ClientType>& client_types) {
    const std::set<ClientType> types(client_types.begin(), client_types.end());
    Sessions sessions;
    for (const unsigned int user : users) {
        Sessions found;
        ZELPlatform::Authentication::GetSessionByID(found, user, types,
                                                    ZELPlatform::InterfaceCommonData::UserSession::kAccountPerson);
        Append(sessions, std::move(found));
    }
    return sessions;
}

Sessions SessionsOfEverybody(const std::list<ClientType>& client_types) {
    Sessions sessions;
    for (const ClientType client_type : client_types) {
        Sessions found;
        ZELPlatform::Authentication::GetOnlineSessionByClientType(found, client_type);
        Append(sessions, std::move(found));
    }
    return sessions;
}

bool Push(const Sessions& sessions, const std::shared_ptr<IBusMsg>& msg) {
    return ZELPlatform::MsgBus::MsgNotifyByDst(sessions, msg->Type(), std::make_shared<CPlatformMsgContent>(msg));
}

}  // namespace

IMessageBusManagerAPI::~IMessageBusManagerAPI() = default;

CMessageBusManagerImpl::CMessageBusManagerImpl()
    : ptr_usr_request(std::make_shared<CMessageBusUsrRequest>()),
      ptr_event_msg(std::make_shared<CMessageBusEventMsg>()),
      ptr_change_msg(std::make_shared<CMessageBusChangeMsg>()),
      ptr_notify_msg(std::make_shared<CMessageBusNotifyMsg>()) {}

CMessageBusManagerImpl::CMessageBusManagerImpl(std::shared_ptr<CMessageBusUsrRequest> usr_request,
                                               std::shared_ptr<CMessageBusEventMsg> event_msg,
                                               std::shared_ptr<CMessageBusChangeMsg> change_msg,
                                               std::shared_ptr<CMessageBusNotifyMsg> notify_msg)
    : ptr_usr_request(std::move(usr_request)),
      ptr_event_msg(std::move(event_msg)),
      ptr_change_msg(std::move(change_msg)),
      ptr_notify_msg(std::move(notify_msg)) {}

void CMessageBusManagerImpl::RegisterUsrRequest(const std::string& plugin, const std::string& url,
                                                ZELPlatform::Method method, ZELPlatform::CmdParam::Exec exec,
                                                UsrRequestFunc handler, bool flag) {
    if (ptr_usr_request == nullptr) return;
    ptr_usr_request->RegisterUsrRequest(plugin, url, method, exec, std::move(handler), flag);
}

void CMessageBusManagerImpl::UnregisterUsrRequest(const std::string& url) {
    if (ptr_usr_request == nullptr) return;
    ptr_usr_request->UnregisterUsrRequest(url);
}

bool CMessageBusManagerImpl::PublishEventType(const std::set<int>& events, int push_resource_type) {
    if (ptr_event_msg == nullptr) return false;
    return ptr_event_msg->PublishEventType(events, push_resource_type);
}

bool CMessageBusManagerImpl::SubscribeEventMsg(const std::set<int>& events, const std::string& plugin, EventFunc fn,
                                               bool include_node_events) {
    return ptr_event_msg->SubscribeEventMsg(events, plugin, std::move(fn), include_node_events);
}

void CMessageBusManagerImpl::UnsubscribeEventMsg(const std::set<int>& events, const std::string& plugin) {
    ptr_event_msg->UnsubscribeEventMsg(events, plugin);
}

bool CMessageBusManagerImpl::PublishChangeMsgType(const std::string& observer, const std::set<int>& task0_types,
                                                  const std::set<int>& task2_types) {
    if (ptr_change_msg == nullptr) return false;
    return ptr_change_msg->PublishChangeMsgType(observer, task0_types, task2_types);
}

bool CMessageBusManagerImpl::SubscribeChangeMsg(const std::string& observer, const std::set<int>& types, ChangeFunc fn,
                                                const std::string& plugin) {
    if (ptr_change_msg == nullptr) return false;
    return ptr_change_msg->SubscribeChangeMsg(observer, types, std::move(fn), plugin);
}

void CMessageBusManagerImpl::UnsubscribeChangeMsg(const std::string& observer, const std::string& plugin) {
    if (ptr_change_msg == nullptr) return;
    ptr_change_msg->UnsubscribeChangeMsg(observer, plugin);
}

bool CMessageBusManagerImpl::PostEventMsg(std::shared_ptr<IBusMsg> msg) {
    if (ptr_event_msg == nullptr) return false;
    return ptr_event_msg->PostEventMsg(std::move(msg));
}

bool CMessageBusManagerImpl::PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer) {
    if (ptr_change_msg == nullptr) return false;
    return ptr_change_msg->PostChangeMsg(std::move(msg), observer);
}

bool CMessageBusManagerImpl::PushMsgToUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                                            const std::list<ClientType>& client_types) {
    if (msg == nullptr) return false;
    const Sessions sessions = SessionsOfUsers(users, client_types);
    if (!users.empty() && sessions.empty()) {
        QAR_LOG(
            kLogInformation, kModuleCommon,
            "[%s][MessageBus] PushMsgToUsers do not excute for no session is online(usr_list is not empty, but session is empty).msg[%d], resource[%d]\n[%s(%d)]",
            msg->Type(), static_cast<int>(msg->SourceID()));
        return true;
    }
    return Push(sessions, msg);
}

void CMessageBusManagerImpl::Reserved() {}

bool CMessageBusManagerImpl::PushMsgToPersonUsers(const std::shared_ptr<IBusMsg>& msg,
                                                  const std::list<unsigned int>& users,
                                                  const std::list<ClientType>& client_types) {
    if (msg == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Push msg is null.[%s(%d)]");
        return false;
    }
    const Sessions sessions = SessionsOfPersons(users, client_types);
    if (!users.empty() && sessions.empty()) {
        QAR_LOG(
            kLogInformation, kModuleCommon,
            "[%s][MessageBus] PushMsgToPersonUsers do not excute for no session is online(usr_list is not empty, but session is empty).msg[%d], resource[%d]\n[%s(%d)]",
            msg->Type(), static_cast<int>(msg->SourceID()));
        return true;
    }
    return Push(sessions, msg);
}

bool CMessageBusManagerImpl::PushMsgToUsersNew(const std::shared_ptr<IBusMsg>& msg,
                                               const std::list<unsigned int>& users,
                                               const std::list<ClientType>& client_types) {
    if (msg == nullptr) return false;
    const Sessions sessions = users.empty() ? SessionsOfEverybody(client_types) : SessionsOfUsers(users, client_types);
    if (sessions.empty()) {
        QAR_LOG(
            kLogInformation, kModuleCommon,
            "[%s][MessageBus] PushMsgToUsers do not excute for no session is online(usr_list is not empty, but session is empty).msg[%d], resource[%d]\n[%s(%d)]",
            msg->Type(), static_cast<int>(msg->SourceID()));
        return true;
    }
    return Push(sessions, msg);
}

bool CMessageBusManagerImpl::SubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types,
                                                  ChangeFuncEx fn, void* user_data, const std::string& plugin) {
    if (ptr_change_msg == nullptr) {
        Error::SetLastError(Error::ErrorCode(0, 1));
        QAR_LOG(kLogError, kModuleCommon, "[%s]Msg bus change sptr is null.[%s(%d)]");
        return false;
    }
    return ptr_change_msg->SubscribeChangeMsgEx(observer, types, fn, user_data, plugin);
}

void CMessageBusManagerImpl::UnsubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types,
                                                    const std::string& plugin) {
    if (ptr_change_msg == nullptr) {
        Error::SetLastError(Error::ErrorCode(0, 1));
        QAR_LOG(kLogError, kModuleCommon, "[%s]Msg bus change sptr is null.[%s(%d)]");
        return;
    }
    ptr_change_msg->UnsubscribeChangeMsgEx(observer, types, plugin);
}

bool CMessageBusManagerImpl::SubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                                 const std::set<int>& resource_ids, const std::string& plugin,
                                                 EventFunc fn, bool include_node_events, bool need_tuk_store_picture) {
    return ptr_event_msg->SubscribeEventMsgEx(events, resource_types, resource_ids, plugin, std::move(fn),
                                              include_node_events, need_tuk_store_picture);
}

void CMessageBusManagerImpl::UnsubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                                                   const std::set<int>& resource_ids, const std::string& plugin) {
    ptr_event_msg->UnsubscribeEventMsgEx(events, resource_types, resource_ids, plugin);
}

bool CMessageBusManagerImpl::PublishMsgType(const std::string& publisher, const std::set<int>& types) {
    return ptr_notify_msg->PublishMsgType(publisher, ZELPlatform::kMsgCategoryNotify, types);
}

bool CMessageBusManagerImpl::SubscribeMsg(const std::set<int>& types, const std::string& plugin, EventFunc fn) {
    return ptr_notify_msg->SubscribeMsg(types, plugin, std::move(fn));
}

void CMessageBusManagerImpl::UnsubscribeMsg(const std::set<int>& types, const std::string& plugin) {
    ptr_notify_msg->UnsubscribeMsg(types, plugin);
}

bool CMessageBusManagerImpl::PostMsg(std::shared_ptr<IBusMsg> msg) { return ptr_notify_msg->PostMsg(std::move(msg)); }

bool CMessageBusManagerImpl::PostMsgToSpecifiedClients(const std::set<std::string>& clients,
                                                       std::shared_ptr<IBusMsg> msg) {
    return ptr_notify_msg->PostMsgToSpecifiedClients(std::move(msg), clients);
}

bool CMessageBusManagerImpl::PostMsgToSpecifiedClientsAndSubscribers(
    std::map<ZELPlatform::SubscriberType, std::set<std::string>> receivers, std::shared_ptr<IBusMsg> msg) {
    return ptr_notify_msg->PostMsgToSpecifiedClientsAndSubscribers(std::move(msg), std::move(receivers));
}

bool CMessageBusManagerImpl::PostMsgWithPermission(const std::map<int, std::list<int>>& permissions,
                                                   std::shared_ptr<IBusMsg> msg) {
    return ptr_notify_msg->PostMsgWithPermission(std::move(msg), permissions);
}

}  // namespace qar
