#include "mock/FakeMsgBus.h"

#include <algorithm>
#include <utility>

#include "Mox/Base/Error.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

using Mox::Base::Error;
using ZELPlatform::MsgBus::ChangeMsgNotifyFunc;
using ZELPlatform::MsgBus::CObserverFunction;
using ZELPlatform::MsgBus::ObserverNotifyFuncEx;

namespace {

constexpr int kModuleBus = 1;
constexpr int kErrorNoFunction = 1;
constexpr int kErrorOtherFunction = 2;
constexpr int kErrorNoSubscription = 3;
constexpr int kErrorNoTopic = 4;
constexpr int kErrorTold = 5;  // by PlatformCalls::Fail

bool Refuse(int code) {
    Error::SetLastError(Error::ErrorCode(kModuleBus, code));
    return false;
}

bool Wants(const FakeMsgBus::Subscription& subscription, int type) {
    return subscription.all_types != (subscription.types.count(type) > 0);
}

void AddTypes(FakeMsgBus::Subscription& subscription, const std::set<int>& types) {
    if (types.empty()) {
        subscription.all_types = true;
        subscription.types.clear();
    }
    for (const int type : types) {
        if (subscription.all_types) {
            subscription.types.erase(type);
        } else {
            subscription.types.insert(type);
        }
    }
}

void RemoveTypes(FakeMsgBus::Subscription& subscription, const std::set<int>& types) {
    if (types.empty()) {
        subscription.all_types = false;
        subscription.types.clear();
    }
    for (const int type : types) {
        if (subscription.all_types) {
            subscription.types.insert(type);
        } else {
            subscription.types.erase(type);
        }
    }
}

}  // namespace

std::size_t FakeMsgBus::Deliver(const std::string& observer, int type, const Content& content) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls = CallsFor(observer, type, content);
    }
    return queue_.Run(calls);
}

std::vector<FakeMsgBus::Message> FakeMsgBus::Sent() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sent_;
}

std::set<std::string> FakeMsgBus::Topics() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return topics_;
}

std::vector<FakeMsgBus::Subscription> FakeMsgBus::Subscriptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return subscriptions_;
}

std::size_t FakeMsgBus::PlainSubscriptions(const std::string& observer) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(plain_.begin(), plain_.end(), [&](const Plain& plain) { return plain.observer == observer; }));
}

bool FakeMsgBus::RegistObserver(const std::string& observer) {
    if (CallFails("MsgBus::RegistObserver")) return Refuse(kErrorTold);
    std::lock_guard<std::mutex> lock(mutex_);
    topics_.insert(observer);
    return true;
}

bool FakeMsgBus::SubscribeObserver(const std::string& observer, const std::string& plugin, ChangeMsgNotifyFunc fn) {
    if (CallFails("MsgBus::SubscribeObserver")) return Refuse(kErrorTold);
    if (!fn) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    plain_.push_back({observer, plugin, std::move(fn)});
    return true;
}

bool FakeMsgBus::UnSubscribeObserver(const std::string& observer, ChangeMsgNotifyFunc fn) {
    if (CallFails("MsgBus::UnSubscribeObserver")) return Refuse(kErrorTold);
    const CObserverFunction* wanted = fn.target<CObserverFunction>();
    if (wanted == nullptr) return Refuse(kErrorNoSubscription);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = std::find_if(plain_.begin(), plain_.end(), [&](const Plain& plain) {
        const CObserverFunction* held = plain.fn.target<CObserverFunction>();
        return plain.observer == observer && held != nullptr && held->IsSame(*wanted);
    });
    if (found == plain_.end()) return Refuse(kErrorNoSubscription);
    plain_.erase(found);
    return true;
}

bool FakeMsgBus::SubscribeObserverEx(const std::string& plugin, const std::string& observer, const std::set<int>& types,
                                     ObserverNotifyFuncEx cb, void* user_data) {
    if (CallFails("MsgBus::SubscribeObserverEx")) return Refuse(kErrorTold);
    if (cb == nullptr) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& subscription : subscriptions_) {
        if (subscription.plugin != plugin || subscription.observer != observer) continue;
        if (subscription.cb != cb || subscription.user_data != user_data) return Refuse(kErrorOtherFunction);
        AddTypes(subscription, types);
        return true;
    }
    subscriptions_.push_back({plugin, observer, types.empty(), types, cb, user_data});
    return true;
}

bool FakeMsgBus::UnSubscribeObserverEx(const std::string& plugin, const std::string& observer,
                                       const std::set<int>& types) {
    if (CallFails("MsgBus::UnSubscribeObserverEx")) return Refuse(kErrorTold);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found =
        std::find_if(subscriptions_.begin(), subscriptions_.end(), [&](const Subscription& subscription) {
            return subscription.plugin == plugin && subscription.observer == observer;
        });
    if (found == subscriptions_.end()) return true;
    RemoveTypes(*found, types);
    if (!found->all_types && found->types.empty()) subscriptions_.erase(found);
    return true;
}

bool FakeMsgBus::NotifyObserverEventEx(const std::string& observer, int type, const Content& content,
                                       ZELPlatform::ObserverTaskType task_type) {
    if (CallFails("MsgBus::NotifyObserverEventEx")) return Refuse(kErrorTold);
    std::lock_guard<std::mutex> lock(mutex_);
    if (topics_.count(observer) == 0) return Refuse(kErrorNoTopic);
    sent_.push_back({observer, type, content, task_type});
    queue_.Add(CallsFor(observer, type, content));
    return true;
}

DeliveryQueue::Calls FakeMsgBus::CallsFor(const std::string& observer, int type, const Content& content) const {
    DeliveryQueue::Calls calls;
    for (const auto& plain : plain_) {
        if (plain.observer != observer) continue;
        calls.push_back([fn = plain.fn, observer, content] { fn(observer, content); });
    }
    std::set<std::pair<ObserverNotifyFuncEx, void*>> called;
    for (const auto& subscription : subscriptions_) {
        if (subscription.observer != observer || !Wants(subscription, type)) continue;
        if (!called.insert({subscription.cb, subscription.user_data}).second) continue;
        calls.push_back([cb = subscription.cb, user_data = subscription.user_data, observer, type, content] {
            cb(observer, type, content, user_data);
        });
    }
    return calls;
}

}  // namespace qarmock
