#include "ZELPlatform/MsgBusEvents.h"

#include "standalone/bus/EventBus.h"

namespace ZELPlatform {
namespace MsgBus {

using qarplatform::EventBus;

bool RegistMsgCapacity(const std::set<int>& events, const MsgCapacityFunc& fn) {
    return EventBus::Get().RegisterEvents(events, fn);
}

bool RegistMsgResourceCapacity(const std::map<int, std::set<int>>& events_to_resource_types,
                               const MsgResourceCapacityFunc& fn) {
    return EventBus::Get().RegisterResourceEvents(events_to_resource_types, fn);
}

bool RegistResourceCapacity(const std::set<int>& resource_types, const ResourceCapacityFunc& fn) {
    return EventBus::Get().RegisterResources(resource_types, fn);
}

bool UpdateSubscribeList(std::list<CMsgSubScribeErrorInfo>& errors, const std::list<CMsgSubscribeInfo>& rows) {
    return EventBus::Get().Update(errors, rows);
}

bool MsgNotifyBySubscription(int type, int resource_type, int resource_id, const std::shared_ptr<CBaseContent>& content,
                             const std::string& plugin, int /*mode*/) {
    return EventBus::Get().Notify(type, resource_type, resource_id, content, plugin);
}

}  // namespace MsgBus
}  // namespace ZELPlatform
