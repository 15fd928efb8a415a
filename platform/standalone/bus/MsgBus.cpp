#include "ZELPlatform/MsgBus.h"

#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusThreads.h"
#include "standalone/bus/ObserverBus.h"

namespace ZELPlatform {
namespace MsgBus {

using qarplatform::ObserverBus;

bool RegistObserver(const std::string& observer) { return ObserverBus::Get().Register(observer); }

bool SubscribeObserver(const std::string& observer, const std::string& plugin, ChangeMsgNotifyFunc fn) {
    return ObserverBus::Get().Subscribe(observer, plugin, std::move(fn));
}

bool UnSubscribeObserver(const std::string& observer, ChangeMsgNotifyFunc fn) {
    return ObserverBus::Get().Unsubscribe(observer, fn);
}

bool SubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types,
                         ObserverNotifyFuncEx cb, void* user_data) {
    return ObserverBus::Get().SubscribeEx(plugin, observer, types, cb, user_data);
}

bool UnSubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types) {
    return ObserverBus::Get().UnsubscribeEx(plugin, observer, types);
}

// Within one process both roads are the same.
bool NotifyObserverEventEx(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content,
                           ObserverTaskType /*task_type*/) {
    return ObserverBus::Get().Notify(observer, type, content);
}

}  // namespace MsgBus
}  // namespace ZELPlatform

namespace qarplatform {

void StopBus() { BusThreads::Get().Stop(); }

}  // namespace qarplatform
