#include "mock/FakeMsgBus.h"

#include <algorithm>
#include <utility>

#include "Mox/Base/Error.h"
#include "mock/Caught.h"
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
    std::vector<Call> calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls = CallsFor(observer, type);
    }
    Run(calls, observer, type, content);
    return calls.size();
}

bool FakeMsgBus::DeliverOne() {
    Waiting waiting;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (waiting_.empty()) return false;
        waiting = std::move(waiting_.front());
        waiting_.pop_front();
    }
    Run(waiting.calls, waiting.message.observer, waiting.message.type, waiting.message.content);
    return true;
}

std::size_t FakeMsgBus::DeliverAll() {
    std::size_t count = 0;
    while (DeliverOne()) ++count;
    return count;
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

std::vector<std::string> FakeMsgBus::CaughtExceptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return caught_;
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
    const Message message{observer, type, content, task_type};
    sent_.push_back(message);
    waiting_.push_back({message, CallsFor(observer, type)});
    return true;
}

std::vector<FakeMsgBus::Call> FakeMsgBus::CallsFor(const std::string& observer, int type) const {
    std::vector<Call> calls;
    for (const auto& plain : plain_) {
        if (plain.observer != observer) continue;
        calls.push_back([fn = plain.fn](const std::string& topic, int, const Content& content) { fn(topic, content); });
    }
    std::set<std::pair<ObserverNotifyFuncEx, void*>> called;
    for (const auto& subscription : subscriptions_) {
        if (subscription.observer != observer || !Wants(subscription, type)) continue;
        if (!called.insert({subscription.cb, subscription.user_data}).second) continue;
        calls.push_back([cb = subscription.cb, user_data = subscription.user_data](
                            const std::string& topic, int message_type, const Content& content) {
            cb(topic, message_type, content, user_data);
        });
    }
    return calls;
}

void FakeMsgBus::Run(const std::vector<Call>& calls, const std::string& observer, int type, const Content& content) {
    for (const auto& call : calls) {
        if (const auto error = CatchText([&] { call(observer, type, content); })) {
            std::lock_guard<std::mutex> lock(mutex_);
            caught_.push_back(*error);
        }
    }
}

}  // namespace qarmock
