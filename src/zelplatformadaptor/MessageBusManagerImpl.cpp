#include "zelplatformadaptor/MessageBusManagerImpl.h"

#include <utility>

#include "Mox/Base/Error.h"
#include "internal/Log.h"
#include "zelplatformadaptor/MessageBusChangeMsg.h"

namespace qar {

using internal::kLogError;
using internal::kModuleCommon;
using Mox::Base::Error;

IMessageBusManagerAPI::~IMessageBusManagerAPI() = default;

CMessageBusManagerImpl::CMessageBusManagerImpl() : CMessageBusManagerImpl(std::make_shared<CMessageBusChangeMsg>()) {}

CMessageBusManagerImpl::CMessageBusManagerImpl(std::shared_ptr<CMessageBusChangeMsg> change_msg)
    : ptr_change_msg(std::move(change_msg)) {}

void CMessageBusManagerImpl::RegisterUsrRequest(const std::string&, const std::string&, ZELPlatform::Method,
                                                ZELPlatform::CmdParam::Exec, UsrRequestFunc, bool) {}

void CMessageBusManagerImpl::UnregisterUsrRequest(const std::string&) {}

bool CMessageBusManagerImpl::PublishEventType(const std::set<int>&, int) { return false; }

bool CMessageBusManagerImpl::SubscribeEventMsg(const std::set<int>&, const std::string&, EventFunc, bool) {
    return false;
}

void CMessageBusManagerImpl::UnsubscribeEventMsg(const std::set<int>&, const std::string&) {}

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

bool CMessageBusManagerImpl::PostEventMsg(std::shared_ptr<IBusMsg>) { return false; }

bool CMessageBusManagerImpl::PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer) {
    if (ptr_change_msg == nullptr) return false;
    return ptr_change_msg->PostChangeMsg(std::move(msg), observer);
}

bool CMessageBusManagerImpl::PushMsgToUsers(const std::shared_ptr<IBusMsg>&, const std::list<unsigned int>&,
                                            const std::list<ClientType>&) {
    return false;
}

void CMessageBusManagerImpl::Reserved() {}

bool CMessageBusManagerImpl::PushMsgToPersonUsers(const std::shared_ptr<IBusMsg>&, const std::list<unsigned int>&,
                                                  const std::list<ClientType>&) {
    return false;
}

bool CMessageBusManagerImpl::PushMsgToUsersNew(const std::shared_ptr<IBusMsg>&, const std::list<unsigned int>&,
                                               const std::list<ClientType>&) {
    return false;
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

bool CMessageBusManagerImpl::SubscribeEventMsgEx(const std::set<int>&, const std::set<int>&, const std::set<int>&,
                                                 const std::string&, EventFunc, bool, bool) {
    return false;
}

void CMessageBusManagerImpl::UnsubscribeEventMsgEx(const std::set<int>&, const std::set<int>&, const std::set<int>&,
                                                   const std::string&) {}

bool CMessageBusManagerImpl::PublishMsgType(const std::string&, const std::set<int>&) { return false; }

bool CMessageBusManagerImpl::SubscribeMsg(const std::set<int>&, const std::string&, EventFunc) { return false; }

void CMessageBusManagerImpl::UnsubscribeMsg(const std::set<int>&, const std::string&) {}

bool CMessageBusManagerImpl::PostMsg(std::shared_ptr<IBusMsg>) { return false; }

bool CMessageBusManagerImpl::PostMsgToSpecifiedClients(const std::set<std::string>&, std::shared_ptr<IBusMsg>) {
    return false;
}

bool CMessageBusManagerImpl::PostMsgToSpecifiedClientsAndSubscribers(
    std::map<ZELPlatform::SubscriberType, std::set<std::string>>, std::shared_ptr<IBusMsg>) {
    return false;
}

bool CMessageBusManagerImpl::PostMsgWithPermission(const std::map<int, std::list<int>>&, std::shared_ptr<IBusMsg>) {
    return false;
}

}  // namespace qar
