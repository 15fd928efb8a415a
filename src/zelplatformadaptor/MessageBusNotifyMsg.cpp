#include "zelplatformadaptor/MessageBusNotifyMsg.h"

#include <utility>

#include "Mox/Base/Error.h"
#include "internal/Log.h"
#include "internal/PerformceTiming.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/MsgContent.h"

namespace qar {

using internal::kLogDebug;
using internal::kLogError;
using internal::kLogInformation;
using internal::kModuleCommon;
using internal::kModuleMsg;
using Mox::Base::Error;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;

namespace {

std::shared_ptr<CMsgPushInfo> PushInfo(const std::shared_ptr<IBusMsg>& msg) {
    auto info = std::make_shared<CMsgPushInfo>();
    info->SetPublisher(msg->PluginID());
    info->SetMsgContent(std::make_shared<CNotifyMsgContent>(msg));
    return info;
}

std::shared_ptr<CMsgPushInfo> TypedPushInfo(const std::shared_ptr<IBusMsg>& msg) {
    auto info = PushInfo(msg);
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValue(msg->Type());
    return info;
}

}  // namespace

bool CMessageBusNotifyMsg::PublishMsgType(const std::string& publisher, ZELPlatform::MsgCategory category,
                                          const std::set<int>& types) {
    const auto info = std::make_shared<CMsgPublishInfo>();
    info->SetPublisher(publisher);
    info->SetMsgCategory(category);
    info->SetTypeValues(types);
    info->SetCallback([self = shared_from_this()](ZELPlatform::SubScribeType subscribe_type,
                                                  const std::shared_ptr<CMsgSubscribedInfo>& subscribed) {
        self->BeSubscribedCB(subscribe_type, subscribed);
    });
    if (!ZELPlatform::MsgBus::PublishMsg(info)) {
        const Error::ErrorCode error = Error::GetLastError();
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s][MessageBus] ZELPlatform::MsgBus::PublishMsg Failed. publisher:[%s] msg-category:[%d]  msg failed, err[%d,%d].\n[%s(%d)]",
            publisher.c_str(), static_cast<int>(category), error.GetModule(), error.GetCode());
    }
    return true;
}

bool CMessageBusNotifyMsg::PostMsg(std::shared_ptr<IBusMsg> msg) {
    if (msg == nullptr) return false;
    if (!IsMsgTypeBeSubscribed(msg->Type()) &&
        !IsMsgResourceBeSubscribed(msg->Type(), msg->SourceType(), msg->SourceID())) {
        QAR_LOG(kLogInformation, kModuleMsg, "[%s][MessageBus] no-body care event[%d]-resource[%d], droped.\n[%s(%d)]",
                msg->Type(), static_cast<int>(msg->SourceID()));
        return true;
    }
    const bool posted = ZELPlatform::MsgBus::PushMsgToSubscriber(TypedPushInfo(msg));
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Event[%d]-Resource[%d] post to platform [%s].\n[%s(%d)]", msg->Type(),
            static_cast<int>(msg->SourceID()), posted ? "success" : "failed");
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Event[%d] post to platform msg: \n%s\n[%s(%d)]", msg->Type(),
            msg->GetJsonTxt().c_str());
    return posted;
}

bool CMessageBusNotifyMsg::PostMsgToSpecifiedClients(std::shared_ptr<IBusMsg> msg,
                                                     const std::set<std::string>& clients) {
    if (msg == nullptr) return false;
    const bool posted = ZELPlatform::MsgBus::PushMsgToSpecifiedClients(clients, TypedPushInfo(msg));
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Event[%d]-Resource[%d] post to platform [%s].\n[%s(%d)]", msg->Type(),
            static_cast<int>(msg->SourceID()), posted ? "success" : "failed");
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Event[%d] post to platform msg: \n%s\n[%s(%d)]", msg->Type(),
            msg->GetJsonTxt().c_str());
    return posted;
}

bool CMessageBusNotifyMsg::PostMsgToSpecifiedClientsAndSubscribers(
    std::shared_ptr<IBusMsg> msg, std::map<ZELPlatform::SubscriberType, std::set<std::string>> receivers) {
    if (msg == nullptr) return false;
    const bool posted = ZELPlatform::MsgBus::PushMsgToSpecifiedSubscribers(receivers, TypedPushInfo(msg));
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Event[%d]-Resource[%d] post to platform [%s].\n[%s(%d)]", msg->Type(),
            static_cast<int>(msg->SourceID()), posted ? "success" : "failed");
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Event[%d] post to platform msg: \n%s\n[%s(%d)]", msg->Type(),
            msg->GetJsonTxt().c_str());
    return posted;
}

bool CMessageBusNotifyMsg::PostMsgWithPermission(std::shared_ptr<IBusMsg> msg,
                                                 const std::map<int, std::list<int>>& permissions) {
    if (msg == nullptr) return false;
    // Goes by permission alone: category and type stay unset.
    const auto info = PushInfo(msg);
    info->SetUserPermissionInfo(permissions);
    const bool posted = ZELPlatform::MsgBus::PushMsgToSubscriber(info);
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Event[%d]-Resource[%d] post to platform [%s].\n[%s(%d)]", msg->Type(),
            static_cast<int>(msg->SourceID()), posted ? "success" : "failed");
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Event[%d] post to platform msg: \n%s\n[%s(%d)]", msg->Type(),
            msg->GetJsonTxt().c_str());
    return posted;
}

bool CMessageBusNotifyMsg::SubscribeMsg(const std::set<int>& types, const std::string& plugin, EventFunc fn) {
    if (!fn) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] Plugin[%s] subscribe event failed for function is null.\n[%s(%d)]", plugin.c_str());
        return false;
    }
    const auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValues(types);
    info->SetSubscriber(plugin);
    info->SetSubscriberType(ZELPlatform::kSubscriberPlugin);
    info->SetCallback([self = shared_from_this(), fn = std::move(fn),
                       plugin](const std::shared_ptr<CMsgPushInfo>& pushed) { self->EventMsgCB(pushed, fn, plugin); });
    if (!ZELPlatform::MsgBus::SubscribeMsg(info)) {
        const Error::ErrorCode error = Error::GetLastError();
        QAR_LOG(kLogError, kModuleCommon, "[%s]Subscribe event msg failed, err[%d,%d].[%s(%d)]", error.GetModule(),
                error.GetCode());
        return false;
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Plugin[%s] subscribe event: \n[%s(%d)]", plugin.c_str());
    for (const int type : types) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] event[%d]\n[%s(%d)]", type);
    }
    return true;
}

void CMessageBusNotifyMsg::UnsubscribeMsg(const std::set<int>& types, const std::string& plugin) {
    const auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValues(types);
    if (!ZELPlatform::MsgBus::UnsubscribeMsg(info)) {
        const Error::ErrorCode error = Error::GetLastError();
        QAR_LOG(kLogError, kModuleCommon, "[%s]UnsubscribeMsg event msg failed, err[%d,%d].[%s(%d)]", error.GetModule(),
                error.GetCode());
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Plugin[%s] Unsubscribe event-num[%d]\n[%s(%d)]",
            plugin.c_str(), static_cast<int>(types.size()));
}

bool CMessageBusNotifyMsg::IsMsgTypeBeSubscribed(int type) {
    const std::lock_guard<std::mutex> lock(mutex_types);
    return set_subscribed_types.count(type) != 0;
}

/// Every resource counts as wanted, so nothing is dropped on this side.
bool CMessageBusNotifyMsg::IsMsgResourceBeSubscribed(int, int, unsigned int) {
    const std::lock_guard<std::mutex> lock(mutex_resources);
    return true;
}

bool CMessageBusNotifyMsg::AddBeSubscribedType(int type) {
    const std::lock_guard<std::mutex> lock(mutex_types);
    return set_subscribed_types.insert(type).second;
}

void CMessageBusNotifyMsg::DelBeSubscribedType(int type) {
    const std::lock_guard<std::mutex> lock(mutex_types);
    set_subscribed_types.erase(type);
}

void CMessageBusNotifyMsg::BeSubscribedCB(ZELPlatform::SubScribeType subscribe_type,
                                          const std::shared_ptr<CMsgSubscribedInfo>& info) {
    if (info == nullptr) return;
    for (const int type : info->GetTypeValues()) {
        if (subscribe_type != ZELPlatform::kSubscribe) {
            QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] del-subscribe event[%d]\n[%s(%d)]", type);
            DelBeSubscribedType(type);
        } else if (AddBeSubscribedType(type)) {
            QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Be subscribed event[%d]\n[%s(%d)]", type);
        } else {
            QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] Duplicate Be subscribed event[%d]\n[%s(%d)]",
                    type);
        }
    }
}

void CMessageBusNotifyMsg::EventMsgCB(const std::shared_ptr<CMsgPushInfo>& info, const EventFunc& fn,
                                      const std::string& plugin) {
    if (info == nullptr) {
        QAR_LOG(kLogError, kModuleMsg, "[%s]CMessageBusNotifyMsg::EventMsgCB nullptr == info[%s(%d)]");
        return;
    }
    const auto msg = std::make_shared<CMsgContent>(info);
    const CPerformceTiming timing("", false);
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Recv event[%d], msg: \n%s\n[%s(%d)]", msg->Type(), msg->GetJsonTxt().c_str());
    fn(msg);
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Recv event[%d], [%s] proc-cost: %lld ms\n[%s(%d)]", info->GetTypeValue(),
            plugin.c_str(), timing.Elapsed());
}

}  // namespace qar
