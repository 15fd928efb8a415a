#pragma once

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusEvents.h"
#include "standalone/bus/BusThreads.h"
#include "standalone/bus/EventCapacities.h"
#include "standalone/bus/EventTable.h"

namespace qarplatform {

/// The event half of the bus, within the process. Operations as in ZELPlatform::MsgBus. Events beyond
/// Lane::kMostWaiting that wait for a subscriber are dropped, what producers are told never is. On a bus that has
/// stopped registrations are taken and nothing is told. Threads: any.
class EventBus {
public:
    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;

    explicit EventBus(BusThreads& threads) : threads_(threads), capacities_(table_, threads) {}
    EventBus(const EventBus&) = delete;
    EventBus& operator=(const EventBus&) = delete;

    /// The bus of the process, never destroyed.
    static EventBus& Get();

    bool RegisterEvents(const std::set<int>& events, const ZELPlatform::MsgBus::MsgCapacityFunc& fn);
    bool RegisterResourceEvents(const std::map<int, std::set<int>>& types_of_events,
                                const ZELPlatform::MsgBus::MsgResourceCapacityFunc& fn);
    bool RegisterResources(const std::set<int>& resource_types, const ZELPlatform::MsgBus::ResourceCapacityFunc& fn);

    bool Update(std::list<ZELPlatform::MsgBus::CMsgSubScribeErrorInfo>& errors,
                const std::list<ZELPlatform::MsgBus::CMsgSubscribeInfo>& rows);

    bool Notify(int type, int resource_type, int resource_id, const Content& content, const std::string& plugin);

private:
    using Receivers = std::vector<std::shared_ptr<const EventReceiver>>;

    // mutex_ is held in these
    void Subscribe(const ZELPlatform::MsgBus::CMsgSubscribeInfo& row, Receivers& old);
    void Cancel(const ZELPlatform::MsgBus::CMsgSubscribeInfo& row, Receivers& old);

    BusThreads& threads_;

    std::mutex mutex_;
    // guarded by mutex_
    EventTable table_;
    EventCapacities capacities_;
};

}  // namespace qarplatform
