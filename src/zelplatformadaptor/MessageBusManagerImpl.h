#pragma once

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "qar/IMessageBusManagerAPI.h"

namespace qar {

class CMessageBusChangeMsg;
class CMessageBusEventMsg;
class CMessageBusNotifyMsg;
class CMessageBusUsrRequest;

/// Forwards to the bus's four workers, and pushes messages to users' sessions itself. Holds nothing that changes.
class CMessageBusManagerImpl final : public IMessageBusManagerAPI {
public:
    CMessageBusManagerImpl();
    CMessageBusManagerImpl(std::shared_ptr<CMessageBusUsrRequest> usr_request,
                           std::shared_ptr<CMessageBusEventMsg> event_msg,
                           std::shared_ptr<CMessageBusChangeMsg> change_msg,
                           std::shared_ptr<CMessageBusNotifyMsg> notify_msg);

    void RegisterUsrRequest(const std::string& plugin, const std::string& url, ZELPlatform::Method method,
                            ZELPlatform::CmdParam::Exec exec, UsrRequestFunc handler, bool flag) override;
    void UnregisterUsrRequest(const std::string& url) override;
    bool PublishEventType(const std::set<int>& events, int push_resource_type) override;
    bool SubscribeEventMsg(const std::set<int>& events, const std::string& plugin, EventFunc fn,
                           bool include_node_events) override;
    void UnsubscribeEventMsg(const std::set<int>& events, const std::string& plugin) override;
    bool PublishChangeMsgType(const std::string& observer, const std::set<int>& task0_types,
                              const std::set<int>& task2_types) override;
    bool SubscribeChangeMsg(const std::string& observer, const std::set<int>& types, ChangeFunc fn,
                            const std::string& plugin) override;
    void UnsubscribeChangeMsg(const std::string& observer, const std::string& plugin) override;
    bool PostEventMsg(std::shared_ptr<IBusMsg> msg) override;
    bool PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer) override;
    bool PushMsgToUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                        const std::list<ClientType>& client_types) override;
    void Reserved() override;
    bool PushMsgToPersonUsers(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                              const std::list<ClientType>& client_types) override;
    bool PushMsgToUsersNew(const std::shared_ptr<IBusMsg>& msg, const std::list<unsigned int>& users,
                           const std::list<ClientType>& client_types) override;
    bool SubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types, ChangeFuncEx fn, void* user_data,
                              const std::string& plugin) override;
    void UnsubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types,
                                const std::string& plugin) override;
    bool SubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                             const std::set<int>& resource_ids, const std::string& plugin, EventFunc fn,
                             bool include_node_events, bool need_tuk_store_picture) override;
    void UnsubscribeEventMsgEx(const std::set<int>& events, const std::set<int>& resource_types,
                               const std::set<int>& resource_ids, const std::string& plugin) override;
    bool PublishMsgType(const std::string& publisher, const std::set<int>& types) override;
    bool SubscribeMsg(const std::set<int>& types, const std::string& plugin, EventFunc fn) override;
    void UnsubscribeMsg(const std::set<int>& types, const std::string& plugin) override;
    bool PostMsg(std::shared_ptr<IBusMsg> msg) override;
    bool PostMsgToSpecifiedClients(const std::set<std::string>& clients, std::shared_ptr<IBusMsg> msg) override;
    bool PostMsgToSpecifiedClientsAndSubscribers(std::map<ZELPlatform::SubscriberType, std::set<std::string>> receivers,
                                                 std::shared_ptr<IBusMsg> msg) override;
    bool PostMsgWithPermission(const std::map<int, std::list<int>>& permissions, std::shared_ptr<IBusMsg> msg) override;

private:
    std::shared_ptr<CMessageBusUsrRequest> ptr_usr_request;
    std::shared_ptr<CMessageBusEventMsg> ptr_event_msg;
    std::shared_ptr<CMessageBusChangeMsg> ptr_change_msg;
    std::shared_ptr<CMessageBusNotifyMsg> ptr_notify_msg;
};

}  // namespace qar
