#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "ZELPlatform/BaseContent.h"
#include "ZELPlatform/BusTypes.h"

namespace ZELPlatform {
namespace MsgBus {

/// Function of a plain subscription. std::function cannot be compared, so this callable carries an identity: copies of
/// one object are the same function, two objects made one by one are not.
class CObserverFunction {
public:
    using Function = std::function<void(const std::string& observer, const std::shared_ptr<CBaseContent>& content)>;

    explicit CObserverFunction(Function fn) : ptr_fn_(std::make_shared<Function>(std::move(fn))) {}

    void operator()(const std::string& observer, const std::shared_ptr<CBaseContent>& content) const {
        (*ptr_fn_)(observer, content);
    }

    bool IsSame(const CObserverFunction& other) const { return ptr_fn_ == other.ptr_fn_; }

private:
    std::shared_ptr<Function> ptr_fn_;
};

/// What a plain subscription is given; holds a CObserverFunction, by which it is found again.
using ChangeMsgNotifyFunc =
    std::function<void(const std::string& observer, const std::shared_ptr<CBaseContent>& content)>;

/// Callback of an Ex subscription. `type` is the type under which the message was sent, `user_data` what was given to
/// SubscribeObserverEx.
using ObserverNotifyFuncEx = void (*)(const std::string& observer, int type,
                                      const std::shared_ptr<CBaseContent>& content, void* user_data);

// The observer half of the bus. Threads: any, also from inside a callback. None of these waits for a callback that
// runs, and none calls back on its caller's thread. Callbacks run on the bus's own threads: in the order of sending for
// one subscriber, and no subscriber holds up another. What a callback throws is caught and logged.

/// Creates a topic. @return true, also when it was there
bool RegistObserver(const std::string& observer);

/// Adds a function to a topic; it gets every type. The topic need not be registered yet.
/// @return false when `fn` is empty
bool SubscribeObserver(const std::string& observer, const std::string& plugin, ChangeMsgNotifyFunc fn);

/// Ends the subscription that holds the same CObserverFunction.
/// @return false when there is none, with the last error set
bool UnSubscribeObserver(const std::string& observer, ChangeMsgNotifyFunc fn);

/// Subscribes (plug-in, topic). The order of the two names is the reverse of the plain form's.
/// @param types  types wanted; an empty set is all types. A subscription that is there with the same `cb` and
///               `user_data` gets these types in addition
/// @param user_data  handed back with each call; must stay readable for the rest of the process, as a call may be on
///                   its way while the subscription ends
/// @return false when `cb` is null or the pair is subscribed with another function, with the last error set.
/// A message reaches each distinct (cb, user_data) once, however many pairs were subscribed with it.
bool SubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types,
                         ObserverNotifyFuncEx cb, void* user_data);

/// Ends types of a subscription.
/// @param types  an empty set is all types
/// @return true, also when there was no such subscription
bool UnSubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types);

/// Sends a message on a topic. Never runs a callback on the caller's thread.
/// @return false when the topic is not registered or the bus has stopped, with the last error set
bool NotifyObserverEventEx(const std::string& observer, int type, const std::shared_ptr<CBaseContent>& content,
                           ObserverTaskType task_type);

}  // namespace MsgBus
}  // namespace ZELPlatform
