#include <algorithm>
#include <boost/signals2/signal.hpp>
#include <memory>
#include <string>
#include <vector>

#include "bench/benches.h"
#include "bench/delivery.h"
#include "qar/IBusMsg.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/PluginMsgBusEvent.h"

namespace bench {

namespace {

constexpr int kEvent = 7001;
constexpr int kSource = 1001;

using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
using EventSignal = boost::signals2::signal<void(int, int, int, const Content&)>;
using EventFunction = std::function<void(std::shared_ptr<qar::IBusMsg>)>;

struct RawEvent {
    int type;
    int resource_type;
    int resource_id;
    Content content;
};

std::shared_ptr<qar::IBusMsg> MessageOf(int id) {
    return std::make_shared<qar::CBusMsgCommon>(
        kEvent, kSource, static_cast<unsigned int>(id),
        R"({"ChangeType":3,"ResourceType":1001,"ResourceID":)" + std::to_string(id) +
            R"(,"name":"Gate camera, north side","area":{"id":17,"path":"Site/Yard/North"}})",
        nullptr, 0, kPlugin);
}

/// One event to a number of subscribers, each with a thread. The raw side makes the same objects as ours: the poster's
/// message and its wrapper once, and a CPluginMsgBusEvent for each subscriber, on its thread. Boost.Signals2 calls a
/// slot for each subscriber, which puts the event into the subscriber's queue.
Comparison DeliveryTo(int subscribers, const Options& options) {
    Countdown& countdown = *new Countdown;  // a function may outlive its subscription
    const EventFunction function = [&countdown](std::shared_ptr<qar::IBusMsg> msg) {
        Require(msg->Type() == kEvent && msg->SourceType() == kSource, "the event is whole");
        countdown.Handled();
    };
    const auto bus = qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    EventSignal signal;
    std::vector<std::unique_ptr<RawSubscriber<RawEvent>>> raw;
    for (int i = 0; i < subscribers; ++i) {
        Require(bus->SubscribeEventMsg({kEvent}, "bench " + std::to_string(i), function, false), "subscribe");
        raw.push_back(std::make_unique<RawSubscriber<RawEvent>>([function](const RawEvent& event) {
            function(std::make_shared<qar::CPluginMsgBusEvent>(
                event.type, event.resource_type, static_cast<unsigned int>(event.resource_id), event.content));
        }));
        signal.connect([own = raw.back().get()](int type, int resource_type, int resource_id, const Content& content) {
            own->Post({type, resource_type, resource_id, content});
        });
    }

    const int messages = std::max(options.messages / subscribers, 1);
    Work work;
    work.name = "event to " + std::to_string(subscribers) + (subscribers == 1 ? " subscriber" : " subscribers");
    work.raw_name = "the same objects, Boost.Signals2, queues, threads";
    work.limit = 1.5;
    work.operations = messages * subscribers;
    work.rounds = options.rounds * kShortRounds;
    work.raw = [&] {
        PostAll(messages, subscribers, countdown, [&](int id) {
            const auto msg = MessageOf(id);
            signal(msg->Type(), msg->SourceType(), static_cast<int>(msg->SourceID()),
                   std::make_shared<qar::CPlatformMsgContent>(msg));
        });
    };
    work.ours = [&] {
        PostAll(messages, subscribers, countdown, [&](int id) { Require(bus->PostEventMsg(MessageOf(id)), "post"); });
    };
    const Comparison comparison = Compare(work);
    for (int i = 0; i < subscribers; ++i) bus->UnsubscribeEventMsg({kEvent}, "bench " + std::to_string(i));
    return comparison;
}

}  // namespace

std::vector<Comparison> EventDelivery(const Options& options) {
    std::vector<Comparison> all;
    for (const int subscribers : {1, 10, 100}) all.push_back(DeliveryTo(subscribers, options));
    return all;
}

}  // namespace bench
