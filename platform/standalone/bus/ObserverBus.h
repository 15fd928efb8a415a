#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ZELPlatform/MsgBus.h"
#include "standalone/bus/BusThreads.h"
#include "standalone/bus/Receiver.h"
#include "standalone/bus/TypeSet.h"

namespace qarplatform {

struct ObserverMessage final : Message {
    ObserverMessage(std::shared_ptr<const std::string> its_observer, int its_type,
                    std::shared_ptr<ZELPlatform::CBaseContent> its_content)
        : observer(std::move(its_observer)), type(its_type), content(std::move(its_content)) {}
    std::string Text() const override;

    const std::shared_ptr<const std::string> observer;
    const int type;
    const std::shared_ptr<ZELPlatform::CBaseContent> content;
};

/// The observer half of the bus, within the process. Operations as in ZELPlatform::MsgBus; a message goes to those who
/// are subscribed when it is sent. None is dropped, however many wait for a subscriber: a change that is lost is never
/// told again. Threads: any.
class ObserverBus {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
    using PlainFunction = ZELPlatform::MsgBus::ChangeMsgNotifyFunc;
    using ExFunction = ZELPlatform::MsgBus::ObserverNotifyFuncEx;

    explicit ObserverBus(BusThreads& threads) : threads_(threads) {}
    ObserverBus(const ObserverBus&) = delete;
    ObserverBus& operator=(const ObserverBus&) = delete;

    /// The bus of the process, never destroyed.
    static ObserverBus& Get();

    bool Register(const std::string& observer);
    bool Subscribe(const std::string& observer, const std::string& plugin, PlainFunction fn);
    bool Unsubscribe(const std::string& observer, const PlainFunction& fn);
    bool SubscribeEx(const std::string& plugin, const std::string& observer, const std::set<int>& types, ExFunction cb,
                     void* user_data);
    bool UnsubscribeEx(const std::string& plugin, const std::string& observer, const std::set<int>& types);
    bool Notify(const std::string& observer, int type, const Content& content);

private:
    using ObserverReceiver = ReceiverOf<ObserverMessage>;
    using ExPair = std::pair<ExFunction, void*>;

    struct Subscription {
        std::string plugin;
        std::shared_ptr<const ObserverReceiver> receiver;
        TypeSet types;
        PlainFunction plain;          // empty in an Ex subscription
        ExPair ex{nullptr, nullptr};  // null in a plain one
    };
    using Subscriptions = std::vector<Subscription>;

    struct Topic {
        bool registered = false;
        std::shared_ptr<const std::string> name;
        // replaced as a whole, so that sending takes a reference under the lock and nothing more
        std::shared_ptr<const Subscriptions> subscriptions;
    };

    // mutex_ is held in these
    Topic& TopicOf(const std::string& observer);
    std::shared_ptr<Lane> LaneOf(const std::string& plugin);
    std::shared_ptr<const ObserverReceiver> ExReceiver(const std::string& plugin, const ExPair& pair);

    BusThreads& threads_;

    std::mutex mutex_;
    // guarded by mutex_
    std::map<std::string, Topic> topics_;
    std::map<ExPair, std::weak_ptr<const ObserverReceiver>>
        ex_receivers_;  // one for each pair, so that its calls stay in one lane
};

}  // namespace qarplatform
