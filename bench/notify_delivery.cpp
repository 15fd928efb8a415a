#include <algorithm>
#include <boost/signals2/signal.hpp>
#include <memory>
#include <string>
#include <vector>

#include "ZELPlatform/MsgPushInfo.h"
#include "bench/benches.h"
#include "bench/delivery.h"
#include "qar/IBusMsg.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/MsgContent.h"

namespace bench {

namespace {

constexpr int kType = 7002;

using PushInfo = std::shared_ptr<ZELPlatform::CMsgPushInfo>;
using NotifySignal = boost::signals2::signal<void(const PushInfo&)>;
using NotifyFunction = std::function<void(std::shared_ptr<qar::IBusMsg>)>;

std::shared_ptr<qar::IBusMsg> MessageOf(int id) {
    return std::make_shared<qar::CBusMsgCommon>(
        kType, -1, static_cast<unsigned int>(id),
        R"({"ResourceID":)" + std::to_string(id) +
            R"(,"name":"Gate camera, north side","area":{"id":17,"path":"Site/Yard/North"},"fields":["name","area"]})",
        nullptr, 0, kPlugin);
}

/// What the library pushes of a message.
PushInfo InfoOf(const std::shared_ptr<qar::IBusMsg>& msg) {
    auto info = std::make_shared<ZELPlatform::CMsgPushInfo>();
    info->SetPublisher(msg->PluginID());
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValue(msg->Type());
    info->SetMsgContent(std::make_shared<qar::CNotifyMsgContent>(msg));
    return info;
}

/// One notify message to a number of subscribers, each with a thread. The raw side makes the poster's message, its
/// wrapper and the push information once, and a CMsgContent for each subscriber, on its thread, as ours does; it does
/// without the content that the bus makes of the plug-in's, text and binary part apart. Boost.Signals2 calls a slot for
/// each subscriber, which puts the information into the subscriber's queue.
Comparison DeliveryTo(int subscribers, const Options& options) {
    Countdown& countdown = *new Countdown;  // a function may outlive its subscription
    const NotifyFunction function = [&countdown](std::shared_ptr<qar::IBusMsg> msg) {
        Require(msg->Type() == kType, "the message is whole");
        countdown.Handled();
    };
    const auto bus = qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    NotifySignal signal;
    std::vector<std::unique_ptr<RawSubscriber<PushInfo>>> raw;
    for (int i = 0; i < subscribers; ++i) {
        Require(bus->SubscribeMsg({kType}, "bench " + std::to_string(i), function), "subscribe");
        raw.push_back(std::make_unique<RawSubscriber<PushInfo>>(
            [function](const PushInfo& info) { function(std::make_shared<qar::CMsgContent>(info)); }));
        signal.connect([own = raw.back().get()](const PushInfo& info) { own->Post(info); });
    }

    const int messages = std::max(options.messages / subscribers, 1);
    Work work;
    work.name =
        "notify message to " + std::to_string(subscribers) + (subscribers == 1 ? " subscriber" : " subscribers");
    work.raw_name = "the same objects, Boost.Signals2, queues, threads";
    work.limit = 1.5;
    work.operations = messages * subscribers;
    work.rounds = options.rounds * kShortRounds;
    work.raw = [&] { PostAll(messages, subscribers, countdown, [&](int id) { signal(InfoOf(MessageOf(id))); }); };
    work.ours = [&] {
        PostAll(messages, subscribers, countdown, [&](int id) { Require(bus->PostMsg(MessageOf(id)), "post"); });
    };
    const Comparison comparison = Compare(work);
    bus->UnsubscribeMsg({kType}, kPlugin);  // ends the type for everybody
    return comparison;
}

}  // namespace

std::vector<Comparison> NotifyDelivery(const Options& options) {
    std::vector<Comparison> all;
    for (const int subscribers : {1, 10, 100}) all.push_back(DeliveryTo(subscribers, options));
    return all;
}

}  // namespace bench
