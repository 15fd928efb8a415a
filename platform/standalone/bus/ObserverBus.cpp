#include "standalone/bus/ObserverBus.h"

#include <algorithm>

#include "standalone/bus/BusErrors.h"

namespace qarplatform {

using ZELPlatform::MsgBus::CObserverFunction;

std::string ObserverMessage::Text() const { return "a message of type " + std::to_string(type) + " from " + *observer; }

ObserverBus& ObserverBus::Get() {
    static ObserverBus& bus = *new ObserverBus(BusThreads::Get());
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
    subscription.receiver = std::make_shared<const ObserverReceiver>(
        LaneOf(plugin), [fn](const ObserverMessage& message) { fn(*message.observer, message.content); });
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
    const BusThreads::Sending sending(threads_);
    if (sending.Error()) return Refuse(*sending.Error());
    std::shared_ptr<const std::string> name;
    std::shared_ptr<const Subscriptions> subscriptions;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto topic = topics_.find(observer);
        if (topic == topics_.end() || !topic->second.registered) return Refuse(kBusErrorNoTopic);
        name = topic->second.name;
        subscriptions = topic->second.subscriptions;
    }
    const auto message = std::make_shared<const ObserverMessage>(std::move(name), type, content);
    std::vector<const ObserverReceiver*> served;
    for (const Subscription& subscription : *subscriptions) {
        const ObserverReceiver* receiver = subscription.receiver.get();
        if (!subscription.types.Contains(type)) continue;
        if (std::find(served.begin(), served.end(), receiver) != served.end()) continue;
        served.push_back(receiver);
        receiver->lane->Post(Delivery(subscription.receiver, message));
    }
    return true;
}

ObserverBus::Topic& ObserverBus::TopicOf(const std::string& observer) {
    Topic& topic = topics_[observer];
    if (topic.name == nullptr) {
        topic.name = std::make_shared<const std::string>(observer);
        topic.subscriptions = std::make_shared<const Subscriptions>();
    }
    return topic;
}

std::shared_ptr<Lane> ObserverBus::LaneOf(const std::string& plugin) {
    return threads_.LaneOf(ZELPlatform::kSubscriberPlugin, plugin);
}

std::shared_ptr<const ObserverBus::ObserverReceiver> ObserverBus::ExReceiver(const std::string& plugin,
                                                                             const ExPair& pair) {
    std::weak_ptr<const ObserverReceiver>& known = ex_receivers_[pair];
    std::shared_ptr<const ObserverReceiver> receiver = known.lock();
    if (receiver == nullptr) {
        receiver = std::make_shared<const ObserverReceiver>(
            LaneOf(plugin), [cb = pair.first, user_data = pair.second](const ObserverMessage& message) {
                cb(*message.observer, message.type, message.content, user_data);
            });
        known = receiver;
    }
    return receiver;
}

}  // namespace qarplatform
