#include "mock/FakeEventBus.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Mox/Base/Error.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

using Mox::Base::Error;
using ZELPlatform::SubScribeType;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;
using ZELPlatform::MsgBus::kAllEvents;

namespace {

constexpr int kModuleBus = 1;
constexpr int kErrorNoFunction = 1;
constexpr int kErrorTold = 5;  // by PlatformCalls::Fail
constexpr int kErrorNoSubscriber = 6;

bool Refuse(int code) {
    Error::SetLastError(Error::ErrorCode(kModuleBus, code));
    return false;
}

/// An event's content for a subscriber that wants no pictures.
class WithoutPictures : public ZELPlatform::CEventBaseContent {
public:
    explicit WithoutPictures(std::shared_ptr<CEventBaseContent> content) : content_(std::move(content)) {}

    bool GetContent(const char** data, int* size) override { return content_->GetContent(data, size); }
    int ContentType() override { return content_->ContentType(); }
    std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() override { return content_->GetExtendBuffers(); }
    bool GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>&) override { return false; }

private:
    const std::shared_ptr<CEventBaseContent> content_;
};

FakeEventBus::Content ContentFor(const FakeEventBus::Subscription& subscription, const FakeEventBus::Content& content) {
    if (subscription.need_pictures) return content;
    auto event_content = std::dynamic_pointer_cast<ZELPlatform::CEventBaseContent>(content);
    if (!event_content) return content;
    return std::make_shared<WithoutPictures>(std::move(event_content));
}

/// @return 0 when the row can be applied
int FaultOf(const CMsgSubscribeInfo& row) {
    const auto& subscriber = row.GetValsubscriber();
    if (subscriber.GetSubscriberId().empty()) return kErrorNoSubscriber;
    const auto kind = subscriber.GetValsubscribeType();
    if (kind != ZELPlatform::kSubscriberClient && kind != ZELPlatform::kSubscriberPlugin) return kErrorNoSubscriber;
    if (row.GetValsubscribeType() == ZELPlatform::kSubscribe && !subscriber.GetValcallbackFunction()) {
        return kErrorNoFunction;
    }
    return 0;
}

bool IsOf(const FakeEventBus::Subscription& subscription, const ZELPlatform::MsgBus::CSubscriber& subscriber) {
    return subscription.kind == subscriber.GetValsubscribeType() &&
           subscription.subscriber == subscriber.GetSubscriberId();
}

bool SamePair(const FakeEventBus::Subscription& left, const FakeEventBus::Subscription& right) {
    return left.kind == right.kind && left.subscriber == right.subscriber && left.event == right.event &&
           left.resource_type == right.resource_type && left.resource_id == right.resource_id;
}

template <class Value>
std::vector<std::optional<Value>> EachOrEvery(const std::set<Value>& values) {
    if (values.empty()) return {std::nullopt};
    return {values.begin(), values.end()};
}

/// @return how well a pair fits an event, the least number being the best; nothing when it does not fit
std::optional<int> RankFor(const FakeEventBus::Subscription& subscription, const FakeEventBus::Event& event) {
    if (subscription.event != event.type && subscription.event != kAllEvents) return std::nullopt;
    if (subscription.resource_type && *subscription.resource_type != event.resource_type) return std::nullopt;
    if (subscription.resource_id && *subscription.resource_id != static_cast<unsigned int>(event.resource_id)) {
        return std::nullopt;
    }
    return (subscription.event == event.type ? 0 : 4) + (subscription.resource_id ? 0 : 2) +
           (subscription.resource_type ? 0 : 1);
}

bool IsWanted(const std::vector<FakeEventBus::Subscription>& subscriptions, int event) {
    return std::any_of(subscriptions.begin(), subscriptions.end(), [event](const FakeEventBus::Subscription& held) {
        return held.event == event || held.event == kAllEvents;
    });
}

/// The ids for which clients want an event on resources of a type. Without a value: every one.
using Ids = std::set<std::optional<unsigned int>>;

Ids ClientsIds(const std::vector<FakeEventBus::Subscription>& subscriptions, int event, int resource_type) {
    Ids ids;
    for (const auto& held : subscriptions) {
        if (held.kind == ZELPlatform::kSubscriberClient && held.event == event &&
            held.resource_type.value_or(resource_type) == resource_type) {
            ids.insert(held.resource_id);
        }
    }
    return ids;
}

Ids Without(const Ids& all, const Ids& those) {
    Ids rest;
    std::set_difference(all.begin(), all.end(), those.begin(), those.end(), std::inserter(rest, rest.end()));
    return rest;
}

std::set<unsigned int> CertainOnes(const Ids& ids) {
    std::set<unsigned int> certain;
    for (const auto& id : ids) {
        if (id) certain.insert(*id);
    }
    return certain;
}

}  // namespace

std::size_t FakeEventBus::Deliver(int type, int resource_type, int resource_id, const Content& content) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls = CallsFor({type, resource_type, resource_id, content, "", 0}, false);
    }
    return queue_.Run(calls);
}

std::size_t FakeEventBus::DeliverFromNode(int type, int resource_type, int resource_id, const Content& content) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls = CallsFor({type, resource_type, resource_id, content, "", 0}, true);
    }
    return queue_.Run(calls);
}

std::size_t FakeEventBus::TellMsgCapacity(SubScribeType type, int event, const std::set<unsigned int>& resources) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& capacity : msg_capacities_) {
            if (capacity.events.count(event) == 0) continue;
            calls.push_back([fn = capacity.fn, type, event, resources] { fn(type, event, resources); });
        }
    }
    return queue_.Run(calls);
}

std::size_t FakeEventBus::TellMsgResourceCapacity(SubScribeType type, int event, int resource_type,
                                                  const std::set<unsigned int>& resources) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& capacity : msg_resource_capacities_) {
            const auto found = capacity.events.find(event);
            if (found == capacity.events.end() || found->second.count(resource_type) == 0) continue;
            calls.push_back([fn = capacity.fn, type, event, resource_type, resources] {
                fn(type, event, resource_type, resources);
            });
        }
    }
    return queue_.Run(calls);
}

std::size_t FakeEventBus::TellResourceCapacity(SubScribeType type, int resource_type,
                                               const std::set<unsigned int>& resources) {
    DeliveryQueue::Calls calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& capacity : resource_capacities_) {
            if (capacity.resource_types.count(resource_type) == 0) continue;
            calls.push_back([fn = capacity.fn, type, resource_type, resources] { fn(type, resource_type, resources); });
        }
    }
    return queue_.Run(calls);
}

std::vector<FakeEventBus::Event> FakeEventBus::Posted() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return posted_;
}

std::vector<FakeEventBus::Subscription> FakeEventBus::Subscriptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return subscriptions_;
}

std::set<int> FakeEventBus::Events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::set<int> events;
    for (const auto& capacity : msg_capacities_) events.insert(capacity.events.begin(), capacity.events.end());
    return events;
}

std::map<int, std::set<int>> FakeEventBus::ResourceEvents() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::map<int, std::set<int>> events;
    for (const auto& capacity : msg_resource_capacities_) {
        for (const auto& [event, types] : capacity.events) events[event].insert(types.begin(), types.end());
    }
    return events;
}

std::set<int> FakeEventBus::ResourceTypes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::set<int> types;
    for (const auto& capacity : resource_capacities_) {
        types.insert(capacity.resource_types.begin(), capacity.resource_types.end());
    }
    return types;
}

bool FakeEventBus::RegistMsgCapacity(const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn) {
    if (CallFails("MsgBus::RegistMsgCapacity")) return Refuse(kErrorTold);
    if (!fn) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    msg_capacities_.push_back({events, fn});
    QueueChange(msg_capacities_.back(), {});
    return true;
}

bool FakeEventBus::RegistMsgResourceCapacity(const std::map<int, std::set<int>>& events_to_resource_types,
                                             const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn) {
    if (CallFails("MsgBus::RegistMsgResourceCapacity")) return Refuse(kErrorTold);
    if (!fn) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    msg_resource_capacities_.push_back({events_to_resource_types, fn});
    QueueChange(msg_resource_capacities_.back(), {});
    return true;
}

bool FakeEventBus::RegistResourceCapacity(const std::set<int>& resource_types,
                                          const ZELPlatform::MsgBus::ResourceCapacityFunc& fn) {
    if (CallFails("MsgBus::RegistResourceCapacity")) return Refuse(kErrorTold);
    if (!fn) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    resource_capacities_.push_back({resource_types, fn});
    QueueChange(resource_capacities_.back(), {});
    return true;
}

bool FakeEventBus::UpdateSubscribeList(std::list<CMsgSubScribeErrorInfo>& errors,
                                       const std::list<CMsgSubscribeInfo>& rows) {
    const bool fails = CallFails("MsgBus::UpdateSubscribeList");
    if (fails) Refuse(kErrorTold);
    bool taken = !fails;
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& row : rows) {
        const int fault = fails ? kErrorTold : FaultOf(row);
        if (fault != 0) {
            taken = Refuse(fault);
            errors.emplace_back().SetValerrorInfo(Error::GetLastError());
            continue;
        }
        const auto before = subscriptions_;
        if (row.GetValsubscribeType() == ZELPlatform::kSubscribe) {
            Subscribe(row);
        } else {
            Cancel(row);
        }
        for (const auto& capacity : msg_capacities_) QueueChange(capacity, before);
        for (const auto& capacity : msg_resource_capacities_) QueueChange(capacity, before);
        for (const auto& capacity : resource_capacities_) QueueChange(capacity, before);
    }
    return taken;
}

bool FakeEventBus::MsgNotifyBySubscription(int type, int resource_type, int resource_id, const Content& content,
                                           const std::string& plugin, int mode) {
    if (CallFails("MsgBus::MsgNotifyBySubscription")) return Refuse(kErrorTold);
    std::lock_guard<std::mutex> lock(mutex_);
    posted_.push_back({type, resource_type, resource_id, content, plugin, mode});
    queue_.Add(CallsFor(posted_.back(), false));
    return true;
}

void FakeEventBus::Subscribe(const CMsgSubscribeInfo& row) {
    const auto& subscriber = row.GetValsubscriber();
    for (const auto& resource_type : EachOrEvery(row.GetValresourceTypes())) {
        for (const auto& resource_id : EachOrEvery(row.GetValresourceIDs())) {
            Subscription wanted{subscriber.GetValsubscribeType(),
                                subscriber.GetSubscriberId(),
                                row.GetValeventType(),
                                resource_type,
                                resource_id,
                                row.GetIncludeNodeEvents(),
                                row.GetNeedTukStorePicture(),
                                subscriber.GetValcallbackFunction()};
            const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                            [&](const Subscription& held) { return SamePair(held, wanted); });
            if (found != subscriptions_.end()) {
                *found = std::move(wanted);
            } else {
                subscriptions_.push_back(std::move(wanted));
            }
        }
    }
}

void FakeEventBus::Cancel(const CMsgSubscribeInfo& row) {
    const auto& types = row.GetValresourceTypes();
    const auto& ids = row.GetValresourceIDs();
    const auto ends = [&](const Subscription& held) {
        return IsOf(held, row.GetValsubscriber()) && held.event == row.GetValeventType() &&
               (types.empty() || (held.resource_type && types.count(*held.resource_type) > 0)) &&
               (ids.empty() || (held.resource_id && ids.count(*held.resource_id) > 0));
    };
    subscriptions_.erase(std::remove_if(subscriptions_.begin(), subscriptions_.end(), ends), subscriptions_.end());
}

void FakeEventBus::QueueChange(const MsgCapacity& capacity, const std::vector<Subscription>& before) {
    for (const int event : capacity.events) {
        const bool wanted = IsWanted(subscriptions_, event);
        if (wanted == IsWanted(before, event)) continue;
        const SubScribeType type = wanted ? ZELPlatform::kSubscribe : ZELPlatform::kSubscribeCancel;
        queue_.Add({[fn = capacity.fn, type, event] { fn(type, event, {}); }});
    }
}

void FakeEventBus::QueueChange(const MsgResourceCapacity& capacity, const std::vector<Subscription>& before) {
    for (const auto& [event, resource_types] : capacity.events) {
        for (const int resource_type : resource_types) {
            const Ids were = ClientsIds(before, event, resource_type);
            const Ids are = ClientsIds(subscriptions_, event, resource_type);
            const auto queue = [&, told_event = event](SubScribeType type, const std::set<unsigned int>& ids) {
                if (ids.empty()) return;
                queue_.Add({[fn = capacity.fn, type, told_event, resource_type, ids] {
                    fn(type, told_event, resource_type, ids);
                }});
            };
            queue(ZELPlatform::kSubscribe, CertainOnes(Without(are, were)));
            queue(ZELPlatform::kSubscribeCancel, CertainOnes(Without(were, are)));
        }
    }
}

void FakeEventBus::QueueChange(const ResourceCapacity& capacity, const std::vector<Subscription>& before) {
    for (const int resource_type : capacity.resource_types) {
        const Ids were = ClientsIds(before, kAllEvents, resource_type);
        const Ids are = ClientsIds(subscriptions_, kAllEvents, resource_type);
        const auto queue = [&](SubScribeType type, const std::set<unsigned int>& ids) {
            queue_.Add({[fn = capacity.fn, type, resource_type, ids] { fn(type, resource_type, ids); }});
        };
        const auto queue_all = [&](SubScribeType type, const Ids& changed) {
            const std::set<unsigned int> certain = CertainOnes(changed);
            if (!certain.empty()) queue(type, certain);
            if (changed.count(std::nullopt) > 0) queue(type, {});
        };
        queue_all(ZELPlatform::kSubscribe, Without(are, were));
        queue_all(ZELPlatform::kSubscribeCancel, Without(were, are));
    }
}

DeliveryQueue::Calls FakeEventBus::CallsFor(const Event& event, bool from_node) const {
    std::vector<const Subscription*> best;  // of each subscriber
    for (const auto& subscription : subscriptions_) {
        const auto rank = RankFor(subscription, event);
        if (!rank) continue;
        const auto rival = std::find_if(best.begin(), best.end(), [&](const Subscription* other) {
            return other->kind == subscription.kind && other->subscriber == subscription.subscriber;
        });
        if (rival == best.end()) {
            best.push_back(&subscription);
        } else if (*rank < *RankFor(**rival, event)) {
            *rival = &subscription;
        }
    }
    DeliveryQueue::Calls calls;
    for (const auto* subscription : best) {
        if (from_node && !subscription->include_node_events) continue;
        calls.push_back([fn = subscription->fn, type = event.type, resource_type = event.resource_type,
                         resource_id = event.resource_id, content = ContentFor(*subscription, event.content)] {
            fn(type, resource_type, resource_id, content);
        });
    }
    return calls;
}

}  // namespace qarmock
