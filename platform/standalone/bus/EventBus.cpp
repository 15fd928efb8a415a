#include "standalone/bus/EventBus.h"

#include <optional>
#include <utility>

#include "standalone/bus/BusErrors.h"
#include "standalone/bus/ContentWithoutPictures.h"

namespace qarplatform {

using Mox::Base::Error;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;
using ZELPlatform::MsgBus::CSubscriber;

namespace {

std::optional<BusErrorCode> Fault(const CMsgSubscribeInfo& row) {
    const CSubscriber& subscriber = row.GetValsubscriber();
    const bool begins = row.GetValsubscribeType() == ZELPlatform::kSubscribe;
    if (subscriber.GetSubscriberId().empty()) return kBusErrorNoName;
    if (!IsKnownKind(subscriber.GetValsubscribeType())) return kBusErrorUnknownKind;
    if (begins && !subscriber.GetValcallbackFunction()) return kBusErrorNoFunction;
    return std::nullopt;
}

EventTable::Key KeyOf(const CSubscriber& subscriber) {
    return {subscriber.GetValsubscribeType(), subscriber.GetSubscriberId()};
}

/// @return the numbers, or the one "every" in place of none
template <class Number>
std::vector<std::optional<Number>> OrEvery(const std::set<Number>& numbers) {
    if (numbers.empty()) return {std::nullopt};
    return {numbers.begin(), numbers.end()};
}

std::vector<EventPlace> PlacesOf(const CMsgSubscribeInfo& row) {
    std::vector<EventPlace> places;
    for (const auto& type : OrEvery(row.GetValresourceTypes())) {
        for (const auto& id : OrEvery(row.GetValresourceIDs())) places.push_back({type, id});
    }
    return places;
}

}  // namespace

EventBus& EventBus::Get() {
    static EventBus& bus = *new EventBus(BusThreads::Get());
    return bus;
}

bool EventBus::RegisterEvents(const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn) {
    if (!fn) return Refuse(kBusErrorNoFunction);
    const BusThreads::Sending sending(threads_);
    std::lock_guard<std::mutex> lock(mutex_);
    capacities_.AddEventProducer(events, fn, !sending.Error());
    return true;
}

bool EventBus::RegisterResourceEvents(const std::map<int, std::set<int>>& types_of_events,
                                      const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn) {
    if (!fn) return Refuse(kBusErrorNoFunction);
    const BusThreads::Sending sending(threads_);
    std::lock_guard<std::mutex> lock(mutex_);
    capacities_.AddResourceProducer(types_of_events, fn, !sending.Error());
    return true;
}

bool EventBus::RegisterResources(const std::set<int>& resource_types,
                                 const ZELPlatform::MsgBus::ResourceCapacityFunc& fn) {
    if (!fn) return Refuse(kBusErrorNoFunction);
    const BusThreads::Sending sending(threads_);
    std::lock_guard<std::mutex> lock(mutex_);
    capacities_.AddTypeProducer(resource_types, fn, !sending.Error());
    return true;
}

bool EventBus::Update(std::list<CMsgSubScribeErrorInfo>& errors, const std::list<CMsgSubscribeInfo>& rows) {
    bool done = true;
    Receivers old;  // let go of without the lock, as functions may hold plug-ins' objects
    const BusThreads::Sending sending(threads_);
    std::lock_guard<std::mutex> lock(mutex_);
    for (const CMsgSubscribeInfo& row : rows) {
        const std::optional<BusErrorCode> fault = sending.Error() ? sending.Error() : Fault(row);
        if (fault) {
            done = Refuse(*fault);
            errors.emplace_back();
            errors.back().SetValerrorInfo(Error::GetLastError());
        } else if (row.GetValsubscribeType() == ZELPlatform::kSubscribe) {
            Subscribe(row, old);
        } else {
            Cancel(row, old);
        }
    }
    return done;
}

void EventBus::Subscribe(const CMsgSubscribeInfo& row, Receivers& old) {
    const CSubscriber& subscriber = row.GetValsubscriber();
    const auto call = [fn = subscriber.GetValcallbackFunction(),
                       pictures = row.GetNeedTukStorePicture()](const EventMessage& message) {
        fn(message.type, message.resource_type, message.resource_id,
           pictures ? message.content : ContentWithoutPictures::Of(message.content));
    };
    const auto receiver = std::make_shared<const EventReceiver>(
        threads_.LaneOf(subscriber.GetValsubscribeType(), subscriber.GetSubscriberId()), call);
    // whether the row includes other nodes' events makes no difference: within one process there are none
    const auto begun = table_.Begin(KeyOf(subscriber), row.GetValeventType(), PlacesOf(row), receiver, old);
    capacities_.Tell(ZELPlatform::kSubscribe, subscriber.GetValsubscribeType(), row.GetValeventType(), begun);
}

void EventBus::Cancel(const CMsgSubscribeInfo& row, Receivers& old) {
    const CSubscriber& subscriber = row.GetValsubscriber();
    const auto ended =
        table_.End(KeyOf(subscriber), row.GetValeventType(), row.GetValresourceTypes(), row.GetValresourceIDs(), old);
    capacities_.Tell(ZELPlatform::kSubscribeCancel, subscriber.GetValsubscribeType(), row.GetValeventType(), ended);
}

bool EventBus::Notify(int type, int resource_type, int resource_id, const Content& content, const std::string& plugin) {
    const BusThreads::Sending sending(threads_);
    if (sending.Error()) return Refuse(*sending.Error());
    EventTable::Receivers receivers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        receivers = table_.ReceiversOf(type, resource_type, static_cast<unsigned int>(resource_id));
    }
    if (receivers.empty()) return true;
    auto made = std::make_shared<EventMessage>();
    made->type = type;
    made->resource_type = resource_type;
    made->resource_id = resource_id;
    made->plugin = plugin;
    made->content = content;
    const std::shared_ptr<const EventMessage> message = std::move(made);
    for (auto& receiver : receivers) {
        Lane& lane = *receiver->lane;
        lane.PostOrDrop(Delivery(std::move(receiver), message));
    }
    return true;
}

}  // namespace qarplatform
