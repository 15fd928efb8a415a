#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/ThreadPool.h"
#include "ZELPlatform/MsgBus.h"
#include "standalone/bus/Lane.h"
#include "standalone/bus/Receiver.h"
#include "standalone/bus/TypeSet.h"

namespace qarplatform {

/// The observer half of the bus, within the process. Operations as in ZELPlatform::MsgBus; a message goes to those who
/// are subscribed when it is sent. Threads: any.
class ObserverBus {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
    using PlainFunction = ZELPlatform::MsgBus::ChangeMsgNotifyFunc;
    using ExFunction = ZELPlatform::MsgBus::ObserverNotifyFuncEx;

    ObserverBus() = default;
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

    /// Delivers what is queued, then ends the threads; later messages are refused. Not from a callback.
    void Stop();

private:
    using ExPair = std::pair<ExFunction, void*>;

    struct Subscription {
        std::string plugin;
        std::shared_ptr<const Receiver> receiver;
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

    /// Keeps Stop waiting while a message is being handed to the lanes.
    class SendGuard;

    // mutex_ is held in these
    Topic& TopicOf(const std::string& observer);
    std::shared_ptr<Lane> LaneOf(const std::string& subscriber);
    std::shared_ptr<const Receiver> ExReceiver(const std::string& plugin, const ExPair& pair);

    /// A pool of unbounded size: it ends the threads that a burst of busy subscribers has made.
    Mox::Base::CMessageLoopDyThreadPool pool_;

    std::mutex mutex_;
    std::condition_variable sent_;
    // guarded by mutex_
    std::map<std::string, Topic> topics_;
    std::map<std::string, std::shared_ptr<Lane>> lanes_;  // by subscriber
    std::map<ExPair, std::weak_ptr<const Receiver>>
        ex_receivers_;  // one for each pair, so that its calls stay in one lane
    int sending_ = 0;
    bool stopped_ = false;
};

}  // namespace qarplatform
