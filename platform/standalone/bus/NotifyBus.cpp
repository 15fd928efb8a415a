#include "standalone/bus/NotifyBus.h"

#include <algorithm>
#include <iterator>

#include "standalone/bus/BusErrors.h"

namespace qarplatform {

using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscribeCancel;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;

namespace {

std::set<int> Common(const std::set<int>& left, const std::set<int>& right) {
    std::set<int> common;
    std::set_intersection(left.begin(), left.end(), right.begin(), right.end(), std::inserter(common, common.end()));
    return common;
}

std::set<int> Without(const std::set<int>& types, const std::set<int>& others) {
    std::set<int> rest;
    std::set_difference(types.begin(), types.end(), others.begin(), others.end(), std::inserter(rest, rest.end()));
    return rest;
}

std::shared_ptr<const PublisherMessage> NewsOf(SubScribeType type, const std::pair<SubscriberType, std::string>& key,
                                               const std::set<int>& types) {
    auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValues(types);
    info->SetSubscriberType(key.first);
    info->SetSubscriber(key.second);
    return std::make_shared<const PublisherMessage>(type, std::move(info));
}

}  // namespace

NotifyMessage::NotifyMessage(const CMsgPushInfo& pushed) : content_(pushed.GetMsgContent()) {
    info_.SetPublisher(pushed.GetPublisher());
    if (pushed.HasMsgCategory()) info_.SetMsgCategory(pushed.GetMsgCategory());
    if (pushed.HasTypeValue()) info_.SetTypeValue(pushed.GetTypeValue());
}

std::string NotifyMessage::Text() const {
    return "notify message " + std::to_string(info_.GetTypeValue()) + " from " + info_.GetPublisher();
}

std::shared_ptr<CMsgPushInfo> NotifyMessage::MakeInfo() const {
    auto info = std::make_shared<CMsgPushInfo>(info_);
    info->SetMsgContent(std::make_shared<NotifyContent>(content_));
    return info;
}

std::string PublisherMessage::Text() const {
    return type == kSubscribe ? "the news that a subscription began" : "the news that a subscription ended";
}

NotifyBus& NotifyBus::Get() {
    static NotifyBus& bus = *new NotifyBus(BusThreads::Get());
    return bus;
}

bool NotifyBus::Publish(const std::shared_ptr<CMsgPublishInfo>& info) {
    if (info == nullptr || info->GetPublisher().empty()) return Refuse(kBusErrorNoName);
    if (!info->GetCallback()) return Refuse(kBusErrorNoFunction);
    const auto receiver = std::make_shared<const PublisherReceiver>(
        threads_.NewLane("publisher " + info->GetPublisher()),
        [fn = info->GetCallback()](const PublisherMessage& news) { fn(news.type, news.info); });
    const BusThreads::Sending sending(threads_);
    std::lock_guard<std::mutex> lock(mutex_);
    Publisher& publisher = publishers_[info->GetPublisher()];
    const std::set<int> added = Without(info->GetTypeValues(), publisher.types);
    publisher.types.insert(added.begin(), added.end());
    publisher.receivers.push_back(receiver);
    if (sending.Error()) return true;
    for (const auto& [key, subscriber] : subscribers_) {
        for (const auto& told : publisher.receivers) {
            const std::set<int> types = Common(subscriber.types, told == receiver ? publisher.types : added);
            if (!types.empty()) told->lane->Post(Delivery(told, NewsOf(kSubscribe, key, types)));
        }
    }
    return true;
}

bool NotifyBus::Subscribe(const SubscribedInfo& info) {
    if (info == nullptr || info->GetSubscriber().empty()) return Refuse(kBusErrorNoName);
    if (!IsKnownKind(info->GetSubscriberType())) return Refuse(kBusErrorUnknownKind);
    if (!info->GetCallback()) return Refuse(kBusErrorNoFunction);
    const Key key(info->GetSubscriberType(), info->GetSubscriber());
    auto receiver = std::make_shared<const NotifyReceiver>(
        threads_.LaneOf(key.first, key.second),
        [fn = info->GetCallback()](const NotifyMessage& message) { fn(message.MakeInfo()); });
    const BusThreads::Sending sending(threads_);
    std::lock_guard<std::mutex> lock(mutex_);
    Subscriber& subscriber = subscribers_[key];
    subscriber.receiver.swap(receiver);  // the old one is let go of without the lock, as it may hold plug-ins' objects
    const std::set<int> added = Without(info->GetTypeValues(), subscriber.types);
    subscriber.types.insert(added.begin(), added.end());
    for (const int type : added) by_type_[type].push_back(&subscriber);
    if (!sending.Error()) TellPublishers(kSubscribe, key, added);
    return true;
}

bool NotifyBus::Unsubscribe(const SubscribedInfo& info) {
    if (info == nullptr) return true;
    Receivers old;  // let go of without the lock
    const BusThreads::Sending sending(threads_);
    const bool tell = !sending.Error();
    std::lock_guard<std::mutex> lock(mutex_);
    if (info->HasSubscriber()) {
        const auto found = subscribers_.find({info->GetSubscriberType(), info->GetSubscriber()});
        if (found == subscribers_.end()) return true;
        const bool all = info->GetTypeValues().empty();
        EndTypes(found, all ? found->second.types : info->GetTypeValues(), all, tell, old);
    } else {
        for (auto each = subscribers_.begin(); each != subscribers_.end();) {
            each = Common(each->second.types, info->GetTypeValues()).empty()
                       ? std::next(each)
                       : EndTypes(each, info->GetTypeValues(), false, tell, old);
        }
    }
    return true;
}

bool NotifyBus::Push(const PushInfo& info) {
    const BusThreads::Sending sending(threads_);
    if (info == nullptr || info->GetMsgContent() == nullptr) return Refuse(kBusErrorNoContent);
    if (sending.Error()) return Refuse(*sending.Error());
    if (!info->GetUserPermissionInfo().empty()) return Send(info, PermittedClients(info->GetUserPermissionInfo()));
    // a message without a type is one of no type, not one of type 0
    if (!info->HasTypeValue()) return true;
    std::unique_lock<std::mutex> lock(mutex_);
    Receivers receivers = ReceiversOf(info->GetTypeValue());
    lock.unlock();
    return Send(info, std::move(receivers));
}

bool NotifyBus::PushTo(const std::map<SubscriberType, Names>& subscribers, const PushInfo& info) {
    const BusThreads::Sending sending(threads_);
    if (info == nullptr || info->GetMsgContent() == nullptr) return Refuse(kBusErrorNoContent);
    if (sending.Error()) return Refuse(*sending.Error());
    Receivers receivers;
    std::unique_lock<std::mutex> lock(mutex_);
    for (const auto& [kind, names] : subscribers) {
        for (const std::string& name : names) {
            const auto found = subscribers_.find({kind, name});
            if (found != subscribers_.end()) receivers.push_back(found->second.receiver);
        }
    }
    lock.unlock();
    return Send(info, std::move(receivers));
}

void NotifyBus::SetClientPermissions(ClientPermissions permissions) {
    auto set = permissions ? std::make_shared<const ClientPermissions>(std::move(permissions)) : nullptr;
    std::lock_guard<std::mutex> lock(mutex_);
    client_permissions_.swap(set);
}

NotifyBus::Receivers NotifyBus::ReceiversOf(int type) const {
    Receivers receivers;
    const auto subscribers = by_type_.find(type);
    if (subscribers == by_type_.end()) return receivers;
    receivers.reserve(subscribers->second.size());
    for (const Subscriber* subscriber : subscribers->second) receivers.push_back(subscriber->receiver);
    return receivers;
}

NotifyBus::Subscribers::iterator NotifyBus::EndTypes(Subscribers::iterator subscriber, const std::set<int>& types,
                                                     bool end_client, bool tell, Receivers& old) {
    std::set<int>& held = subscriber->second.types;
    const std::set<int> ended = Common(held, types);
    held = Without(held, ended);
    for (const int type : ended) {
        const auto subscribers = by_type_.find(type);
        std::erase(subscribers->second, &subscriber->second);
        if (subscribers->second.empty()) by_type_.erase(subscribers);
    }
    if (tell) TellPublishers(kSubscribeCancel, subscriber->first, ended);
    const bool is_client = subscriber->first.first == ZELPlatform::kSubscriberClient;
    if (!held.empty() || (is_client && !end_client)) return std::next(subscriber);
    old.push_back(std::move(subscriber->second.receiver));
    return subscribers_.erase(subscriber);
}

void NotifyBus::TellPublishers(SubScribeType type, const Key& subscriber, const std::set<int>& types) const {
    for (const auto& [name, publisher] : publishers_) {
        const std::set<int> told = Common(types, publisher.types);
        if (told.empty()) continue;
        for (const auto& receiver : publisher.receivers) {
            receiver->lane->Post(Delivery(receiver, NewsOf(type, subscriber, told)));
        }
    }
}

NotifyBus::Receivers NotifyBus::PermittedClients(const std::map<int, std::list<int>>& permissions) {
    std::shared_ptr<const ClientPermissions> holds;
    std::vector<std::pair<std::string, std::shared_ptr<const NotifyReceiver>>> clients;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        holds = client_permissions_;
        if (holds == nullptr) return {};
        for (const auto& [key, subscriber] : subscribers_) {
            if (key.first == kSubscriberClient) clients.emplace_back(key.second, subscriber.receiver);
        }
    }
    Receivers permitted;
    for (auto& [name, receiver] : clients) {
        if ((*holds)(name, permissions)) permitted.push_back(std::move(receiver));
    }
    return permitted;
}

bool NotifyBus::Send(const PushInfo& info, Receivers&& receivers) {
    if (receivers.empty()) return true;
    const auto message = std::make_shared<const NotifyMessage>(*info);
    for (auto& receiver : receivers) {
        Lane& lane = *receiver->lane;
        lane.PostOrDrop(Delivery(std::move(receiver), message));
    }
    return true;
}

}  // namespace qarplatform
