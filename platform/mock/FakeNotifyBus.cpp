#include "mock/FakeNotifyBus.h"

#include <algorithm>
#include <iterator>

#include "Mox/Base/Error.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

using Mox::Base::Error;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;

namespace {

constexpr int kModuleBus = 1;
constexpr int kErrorNoFunction = 1;
constexpr int kErrorTold = 5;  // by PlatformCalls::Fail
constexpr int kErrorNoSubscriber = 6;
constexpr int kErrorNoPublisher = 7;
constexpr int kErrorNoContent = 8;

bool Refuse(int code) {
    Error::SetLastError(Error::ErrorCode(kModuleBus, code));
    return false;
}

std::set<int> Common(const std::set<int>& left, const std::set<int>& right) {
    std::set<int> common;
    std::set_intersection(left.begin(), left.end(), right.begin(), right.end(), std::inserter(common, common.end()));
    return common;
}

std::set<int> Without(const std::set<int>& all, const std::set<int>& those) {
    std::set<int> rest;
    std::set_difference(all.begin(), all.end(), those.begin(), those.end(), std::inserter(rest, rest.end()));
    return rest;
}

}  // namespace

void FakeNotifyBus::OpenClient(const std::string& name, const std::set<int>& permissions, const std::set<int>& types) {
    const Callback keep = [this, name](const PushInfo& info) {
        std::lock_guard<std::mutex> lock(mutex_);
        received_[name].push_back(info);
    };
    std::lock_guard<std::mutex> lock(mutex_);
    permissions_[name] = permissions;
    Subscriber* client = Find(ZELPlatform::kSubscriberClient, name);
    if (client == nullptr) {
        subscribers_.push_back({ZELPlatform::kSubscriberClient, name, ZELPlatform::kMsgCategoryNotify, {}, keep});
        client = &subscribers_.back();
    }
    client->callback = keep;
    const std::set<int> begun = Without(types, client->types);
    client->types.insert(types.begin(), types.end());
    QueueChange(ZELPlatform::kSubscribe, *client, begun);
}

bool FakeNotifyBus::CloseClient(const std::string& name) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (permissions_.erase(name) == 0) return false;
    const Subscriber client = *Find(ZELPlatform::kSubscriberClient, name);
    subscribers_.erase(subscribers_.begin() + (Find(ZELPlatform::kSubscriberClient, name) - subscribers_.data()));
    QueueChange(ZELPlatform::kSubscribeCancel, client, client.types);
    return true;
}

bool FakeNotifyBus::SetPermissions(const std::string& client, const std::set<int>& permissions) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = permissions_.find(client);
    if (found == permissions_.end()) return false;
    found->second = permissions;
    return true;
}

std::vector<FakeNotifyBus::PushInfo> FakeNotifyBus::Received(const std::string& client) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = received_.find(client);
    return found == received_.end() ? std::vector<PushInfo>() : found->second;
}

std::size_t FakeNotifyBus::Deliver(const PushInfo& info) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls = CallsIf(info, [&](const Subscriber& subscriber) {
            return info ? IsFor(subscriber, info) : subscriber.kind == ZELPlatform::kSubscriberPlugin;
        });
    }
    return queue_.Run(calls);
}

std::size_t FakeNotifyBus::TellPublishers(SubScribeType type, const SubscribedInfo& info) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& publisher : publishers_) {
            for (const auto& callback : publisher.callbacks) {
                calls.push_back([callback, type, info] { callback(type, info); });
            }
        }
    }
    return queue_.Run(calls);
}

std::vector<FakeNotifyBus::Push> FakeNotifyBus::Pushes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return pushes_;
}

std::vector<FakeNotifyBus::Subscription> FakeNotifyBus::Subscriptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Subscription> all;
    for (const auto& subscriber : subscribers_) all.push_back({subscriber.kind, subscriber.name, subscriber.types});
    return all;
}

std::vector<FakeNotifyBus::Publisher> FakeNotifyBus::Publishers() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Publisher> all;
    for (const auto& publisher : publishers_) {
        all.push_back({publisher.name, publisher.types, publisher.callbacks.size()});
    }
    return all;
}

bool FakeNotifyBus::PublishMsg(const std::shared_ptr<ZELPlatform::CMsgPublishInfo>& info) {
    if (CallFails("MsgBus::PublishMsg")) return Refuse(kErrorTold);
    if (!info || info->GetPublisher().empty()) return Refuse(kErrorNoPublisher);
    if (!info->GetCallback()) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    auto publisher = std::find_if(publishers_.begin(), publishers_.end(),
                                  [&](const PublisherEntry& entry) { return entry.name == info->GetPublisher(); });
    if (publisher == publishers_.end()) {
        publishers_.push_back({info->GetPublisher(), {}, {}});
        publisher = std::prev(publishers_.end());
    }
    // the earlier callbacks know of what stands of the earlier types
    const std::set<int> added = Without(info->GetTypeValues(), publisher->types);
    publisher->types.insert(added.begin(), added.end());
    for (const auto& subscriber : subscribers_) {
        for (const auto& callback : publisher->callbacks) {
            QueueFor(callback, ZELPlatform::kSubscribe, subscriber, Common(subscriber.types, added));
        }
        QueueFor(info->GetCallback(), ZELPlatform::kSubscribe, subscriber, Common(subscriber.types, publisher->types));
    }
    publisher->callbacks.push_back(info->GetCallback());
    return true;
}

bool FakeNotifyBus::SubscribeMsg(const SubscribedInfo& info) {
    if (CallFails("MsgBus::SubscribeMsg")) return Refuse(kErrorTold);
    if (!info || info->GetSubscriber().empty()) return Refuse(kErrorNoSubscriber);
    if (!info->GetCallback()) return Refuse(kErrorNoFunction);
    const SubscriberType kind = info->GetSubscriberType();
    if (kind != ZELPlatform::kSubscriberClient && kind != ZELPlatform::kSubscriberPlugin) {
        return Refuse(kErrorNoSubscriber);
    }
    std::lock_guard<std::mutex> lock(mutex_);
    Subscriber* subscriber = Find(kind, info->GetSubscriber());
    if (subscriber == nullptr) {
        subscribers_.push_back({kind, info->GetSubscriber(), info->GetMsgCategory(), {}, nullptr});
        subscriber = &subscribers_.back();
    }
    subscriber->callback = info->GetCallback();
    const std::set<int> begun = Without(info->GetTypeValues(), subscriber->types);
    subscriber->types.insert(begun.begin(), begun.end());
    QueueChange(ZELPlatform::kSubscribe, *subscriber, begun);
    return true;
}

bool FakeNotifyBus::UnsubscribeMsg(const SubscribedInfo& info) {
    if (CallFails("MsgBus::UnsubscribeMsg")) return Refuse(kErrorTold);
    if (!info) return true;
    std::lock_guard<std::mutex> lock(mutex_);
    const bool all = info->HasSubscriber() && info->GetTypeValues().empty();
    for (auto subscriber = subscribers_.begin(); subscriber != subscribers_.end();) {
        const bool meant = !info->HasSubscriber() ||
                           (subscriber->kind == info->GetSubscriberType() && subscriber->name == info->GetSubscriber());
        if (!meant) {
            ++subscriber;
            continue;
        }
        const std::set<int> ended = all ? subscriber->types : Common(subscriber->types, info->GetTypeValues());
        subscriber->types = Without(subscriber->types, ended);
        QueueChange(ZELPlatform::kSubscribeCancel, *subscriber, ended);
        const bool is_client = subscriber->kind == ZELPlatform::kSubscriberClient;
        const bool gone = all || (!ended.empty() && subscriber->types.empty() && !is_client);
        subscriber = gone ? subscribers_.erase(subscriber) : std::next(subscriber);
    }
    return true;
}

bool FakeNotifyBus::PushMsgToSubscriber(const PushInfo& info) {
    if (CallFails("MsgBus::PushMsgToSubscriber")) return Refuse(kErrorTold);
    return Send({"PushMsgToSubscriber", info, {}, {}},
                [&](const Subscriber& subscriber) { return IsFor(subscriber, info); });
}

bool FakeNotifyBus::PushMsgToSpecifiedClients(const std::set<std::string>& clients, const PushInfo& info) {
    if (CallFails("MsgBus::PushMsgToSpecifiedClients")) return Refuse(kErrorTold);
    return Send({"PushMsgToSpecifiedClients", info, clients, {}}, [&](const Subscriber& subscriber) {
        return subscriber.kind == ZELPlatform::kSubscriberClient && clients.count(subscriber.name) > 0;
    });
}

bool FakeNotifyBus::PushMsgToSpecifiedSubscribers(const Subscribers& subscribers, const PushInfo& info) {
    if (CallFails("MsgBus::PushMsgToSpecifiedSubscribers")) return Refuse(kErrorTold);
    return Send({"PushMsgToSpecifiedSubscribers", info, {}, subscribers}, [&](const Subscriber& subscriber) {
        const auto names = subscribers.find(subscriber.kind);
        return names != subscribers.end() && names->second.count(subscriber.name) > 0;
    });
}

FakeNotifyBus::Subscriber* FakeNotifyBus::Find(SubscriberType kind, const std::string& name) {
    const auto found = std::find_if(subscribers_.begin(), subscribers_.end(), [&](const Subscriber& subscriber) {
        return subscriber.kind == kind && subscriber.name == name;
    });
    return found == subscribers_.end() ? nullptr : &*found;
}

void FakeNotifyBus::QueueChange(SubScribeType type, const Subscriber& subscriber, const std::set<int>& types) {
    for (const auto& publisher : publishers_) {
        for (const auto& callback : publisher.callbacks) {
            QueueFor(callback, type, subscriber, Common(types, publisher.types));
        }
    }
}

void FakeNotifyBus::QueueFor(const PublishCallback& callback, SubScribeType type, const Subscriber& subscriber,
                             const std::set<int>& types) {
    if (types.empty()) return;
    auto told = std::make_shared<ZELPlatform::CMsgSubscribedInfo>();
    told->SetMsgCategory(subscriber.category);
    told->SetTypeValues(types);
    told->SetSubscriber(subscriber.name);
    told->SetSubscriberType(subscriber.kind);
    queue_.Add({[callback, type, told] { callback(type, told); }});
}

bool FakeNotifyBus::IsOpenClient(const Subscriber& subscriber) const {
    return subscriber.kind == ZELPlatform::kSubscriberClient && permissions_.count(subscriber.name) > 0;
}

DeliveryQueue::Calls FakeNotifyBus::CallsIf(const PushInfo& info,
                                            const std::function<bool(const Subscriber&)>& wants) const {
    DeliveryQueue::Calls calls;
    for (const auto& subscriber : subscribers_) {
        if (wants(subscriber)) calls.push_back([callback = subscriber.callback, info] { callback(info); });
    }
    return calls;
}

bool FakeNotifyBus::IsFor(const Subscriber& subscriber, const PushInfo& info) const {
    const auto& wanted = info->GetUserPermissionInfo();
    if (wanted.empty()) return info->HasTypeValue() && subscriber.types.count(info->GetTypeValue()) > 0;
    if (!IsOpenClient(subscriber)) return false;
    const auto& held = permissions_.at(subscriber.name);
    return std::any_of(held.begin(), held.end(), [&](int permission) { return wanted.count(permission) > 0; });
}

bool FakeNotifyBus::Send(Push push, const std::function<bool(const Subscriber&)>& wants) {
    if (!push.info || !push.info->GetMsgContent()) return Refuse(kErrorNoContent);
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.Add(CallsIf(push.info, wants));
    pushes_.push_back(std::move(push));
    return true;
}

}  // namespace qarmock
