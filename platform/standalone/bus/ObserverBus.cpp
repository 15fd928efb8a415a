#include "standalone/bus/ObserverBus.h"

#include <algorithm>
#include <limits>

#include "Mox/Base/Error.h"
#include "standalone/bus/BusErrors.h"

namespace qarplatform {

using ZELPlatform::MsgBus::CObserverFunction;

namespace {

constexpr int kIdleSeconds = 10;

bool Refuse(BusErrorCode code) {
    Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode(kErrorModuleBus, code));
    return false;
}

}  // namespace

class ObserverBus::SendGuard {
public:
    /// The bus's mutex is held.
    explicit SendGuard(ObserverBus& bus) : bus_(bus) { ++bus_.sending_; }
    ~SendGuard() {
        std::lock_guard<std::mutex> lock(bus_.mutex_);
        if (--bus_.sending_ == 0 && bus_.stopped_) bus_.sent_.notify_all();
    }
    SendGuard(const SendGuard&) = delete;
    SendGuard& operator=(const SendGuard&) = delete;

private:
    ObserverBus& bus_;
};

ObserverBus& ObserverBus::Get() {
    static ObserverBus& bus = *new ObserverBus;
    return bus;
}

bool ObserverBus::Register(const std::string& observer) {
    std::lock_guard<std::mutex> lock(mutex_);
    TopicOf(observer).registered = true;
    return true;
}

bool ObserverBus::Subscribe(const std::string& observer, const std::string& plugin, PlainFunction fn) {
    if (!fn) return Refuse(kBusErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    Topic& topic = TopicOf(observer);
    auto subscriptions = std::make_shared<Subscriptions>(*topic.subscriptions);
    Subscription subscription;
    subscription.plugin = plugin;
    subscription.receiver = std::make_shared<const Receiver>(
        LaneOf(plugin), [fn](const std::string& name, int, const Content& content) { fn(name, content); });
    subscription.types.Add({});
    subscription.plain = std::move(fn);
    subscriptions->push_back(std::move(subscription));
    topic.subscriptions = std::move(subscriptions);
    return true;
}

bool ObserverBus::Unsubscribe(const std::string& observer, const PlainFunction& fn) {
    const CObserverFunction* wanted = fn.target<CObserverFunction>();
    if (wanted == nullptr) return Refuse(kBusErrorNoSubscription);
    std::shared_ptr<const Subscriptions> before;  // let go of without the lock, as functions may hold plug-ins' objects
    std::lock_guard<std::mutex> lock(mutex_);
    Topic& topic = TopicOf(observer);
    auto subscriptions = std::make_shared<Subscriptions>(*topic.subscriptions);
    const auto found = std::find_if(subscriptions->begin(), subscriptions->end(), [&](const Subscription& held) {
        const CObserverFunction* function = held.plain.target<CObserverFunction>();
        return function != nullptr && function->IsSame(*wanted);
    });
    if (found == subscriptions->end()) return Refuse(kBusErrorNoSubscription);
    subscriptions->erase(found);
    before = std::exchange(topic.subscriptions, std::move(subscriptions));
    return true;
}

bool ObserverBus::SubscribeEx(const std::string& plugin, const std::string& observer, const std::set<int>& types,
                              ExFunction cb, void* user_data) {
    if (cb == nullptr) return Refuse(kBusErrorNoFunction);
    const ExPair pair(cb, user_data);
    std::lock_guard<std::mutex> lock(mutex_);
    Topic& topic = TopicOf(observer);
    auto subscriptions = std::make_shared<Subscriptions>(*topic.subscriptions);
    auto found = std::find_if(subscriptions->begin(), subscriptions->end(), [&](const Subscription& held) {
        return held.ex.first != nullptr && held.plugin == plugin;
    });
    if (found == subscriptions->end()) {
        Subscription subscription;
        subscription.plugin = plugin;
        subscription.receiver = ExReceiver(plugin, pair);
        subscription.ex = pair;
        found = subscriptions->insert(found, std::move(subscription));
    } else if (found->ex != pair) {
        return Refuse(kBusErrorOtherFunction);
    }
    found->types.Add(types);
    topic.subscriptions = std::move(subscriptions);
    return true;
}

bool ObserverBus::UnsubscribeEx(const std::string& plugin, const std::string& observer, const std::set<int>& types) {
    std::lock_guard<std::mutex> lock(mutex_);
    Topic& topic = TopicOf(observer);
    auto subscriptions = std::make_shared<Subscriptions>(*topic.subscriptions);
    const auto found = std::find_if(subscriptions->begin(), subscriptions->end(), [&](const Subscription& held) {
        return held.ex.first != nullptr && held.plugin == plugin;
    });
    if (found == subscriptions->end()) return true;
    found->types.Remove(types);
    if (found->types.Empty()) subscriptions->erase(found);
    topic.subscriptions = std::move(subscriptions);
    std::erase_if(ex_receivers_, [](const auto& entry) { return entry.second.expired(); });
    return true;
}

bool ObserverBus::Notify(const std::string& observer, int type, const Content& content) {
    std::shared_ptr<const std::string> name;
    std::shared_ptr<const Subscriptions> subscriptions;
    std::unique_lock<std::mutex> lock(mutex_);
    if (stopped_) return Refuse(kBusErrorStopped);
    const auto topic = topics_.find(observer);
    if (topic == topics_.end() || !topic->second.registered) return Refuse(kBusErrorNoTopic);
    if (!pool_.Start(1, std::numeric_limits<int>::max(), kIdleSeconds)) return Refuse(kBusErrorNoThread);
    name = topic->second.name;
    subscriptions = topic->second.subscriptions;
    const SendGuard guard(*this);
    lock.unlock();

    std::vector<const Receiver*> served;
    for (const Subscription& subscription : *subscriptions) {
        const Receiver* receiver = subscription.receiver.get();
        if (!subscription.types.Contains(type)) continue;
        if (std::find(served.begin(), served.end(), receiver) != served.end()) continue;
        served.push_back(receiver);
        receiver->lane->Post({subscription.receiver, name, type, content});
    }
    return true;
}

void ObserverBus::Stop() {
    {
        std::unique_lock<std::mutex> lock(mutex_);
        stopped_ = true;
        sent_.wait(lock, [this] { return sending_ == 0; });
    }
    pool_.Stop(true);
}

ObserverBus::Topic& ObserverBus::TopicOf(const std::string& observer) {
    Topic& topic = topics_[observer];
    if (topic.name == nullptr) {
        topic.name = std::make_shared<const std::string>(observer);
        topic.subscriptions = std::make_shared<const Subscriptions>();
    }
    return topic;
}

std::shared_ptr<Lane> ObserverBus::LaneOf(const std::string& subscriber) {
    std::shared_ptr<Lane>& lane = lanes_[subscriber];
    if (lane == nullptr) lane = std::make_shared<Lane>(subscriber, pool_);
    return lane;
}

std::shared_ptr<const Receiver> ObserverBus::ExReceiver(const std::string& plugin, const ExPair& pair) {
    std::weak_ptr<const Receiver>& known = ex_receivers_[pair];
    std::shared_ptr<const Receiver> receiver = known.lock();
    if (receiver == nullptr) {
        receiver = std::make_shared<const Receiver>(
            LaneOf(plugin),
            [cb = pair.first, user_data = pair.second](const std::string& name, int type, const Content& content) {
                cb(name, type, content, user_data);
            });
        known = receiver;
    }
    return receiver;
}

}  // namespace qarplatform
