#include "ZELPlatform/MsgBusNotify.h"

#include "standalone/bus/BusControl.h"
#include "standalone/bus/NotifyBus.h"

namespace ZELPlatform {
namespace MsgBus {

using qarplatform::NotifyBus;

bool PublishMsg(const std::shared_ptr<CMsgPublishInfo>& info) { return NotifyBus::Get().Publish(info); }

bool SubscribeMsg(const std::shared_ptr<CMsgSubscribedInfo>& info) { return NotifyBus::Get().Subscribe(info); }

bool UnsubscribeMsg(const std::shared_ptr<CMsgSubscribedInfo>& info) { return NotifyBus::Get().Unsubscribe(info); }

bool PushMsgToSubscriber(const std::shared_ptr<CMsgPushInfo>& info) { return NotifyBus::Get().Push(info); }

bool PushMsgToSpecifiedClients(const std::set<std::string>& clients, const std::shared_ptr<CMsgPushInfo>& info) {
    return NotifyBus::Get().PushTo({{kSubscriberClient, clients}}, info);
}

bool PushMsgToSpecifiedSubscribers(const std::map<SubscriberType, std::set<std::string>>& subscribers,
                                   const std::shared_ptr<CMsgPushInfo>& info) {
    return NotifyBus::Get().PushTo(subscribers, info);
}

}  // namespace MsgBus
}  // namespace ZELPlatform

namespace qarplatform {

void SetClientPermissions(ClientPermissions permissions) {
    NotifyBus::Get().SetClientPermissions(std::move(permissions));
}

}  // namespace qarplatform
