#pragma once

#include <algorithm>
#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBusEvents.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace events {

/// An event that a party is given, so that all before it is known to have come.
constexpr int kMark = 9999;

inline thread_local bool t_in_bus = false;  // inside an operation of the bus

struct Received {
    int type;
    int resource_type;
    int resource_id;
    std::shared_ptr<ZELPlatform::CBaseContent> content;
};

/// What one subscriber got.
class Inbox {
public:
    void Add(const Received& received) {
        if (t_in_bus) called_in_bus_ = true;
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back(received);
    }
    std::vector<Received> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }
    bool CalledInsideAnOperation() const { return called_in_bus_; }

private:
    mutable std::mutex mutex_;
    std::vector<Received> received_;
    std::atomic<bool> called_in_bus_{false};
};

/// Subscribed types and ids; an empty set is every one.
struct Resources {
    std::set<int> types{};
    std::set<unsigned int> ids{};
};

/// One subscriber.
class Party {
public:
    Party(ZELPlatform::SubscriberType kind, std::string id) : kind_(kind), id_(std::move(id)) {}

    /// @param tag  added to the types that come through this row's callback
    ZELPlatform::MsgBus::CMsgSubscribeInfo Row(int event, const Resources& resources = {}, int tag = 0) const {
        ZELPlatform::MsgBus::CMsgSubscribeInfo row = BareRow(ZELPlatform::kSubscribe, event, resources);
        ZELPlatform::MsgBus::CSubscriber subscriber = row.GetValsubscriber();
        subscriber.SetValcallbackFunction(
            [inbox = inbox_, tag](int type, int resource_type, int resource_id,
                                  const std::shared_ptr<ZELPlatform::CBaseContent>& content) {
                inbox->Add({type + tag, resource_type, resource_id, content});
            });
        row.SetValsubscriber(subscriber);
        return row;
    }
    ZELPlatform::MsgBus::CMsgSubscribeInfo CancelRow(int event, const Resources& resources = {}) const {
        return BareRow(ZELPlatform::kSubscribeCancel, event, resources);
    }
    /// @return the types that came, without those of the mark
    std::vector<int> Types() const {
        std::vector<int> types;
        for (const auto& received : inbox_->All()) {
            if (received.type != kMark) types.push_back(received.type);
        }
        return types;
    }
    const Inbox& Box() const { return *inbox_; }

private:
    ZELPlatform::MsgBus::CMsgSubscribeInfo BareRow(ZELPlatform::SubScribeType type, int event,
                                                   const Resources& resources) const {
        ZELPlatform::MsgBus::CSubscriber subscriber;
        subscriber.SetValsubscribeType(kind_);
        subscriber.SetSubscriberId(id_);
        ZELPlatform::MsgBus::CMsgSubscribeInfo row;
        row.SetValsubscriber(subscriber);
        row.SetValsubscribeType(type);
        row.SetValeventType(event);
        if (!resources.types.empty()) row.SetValresourceTypes(resources.types);
        if (!resources.ids.empty()) row.SetValresourceIDs(resources.ids);
        return row;
    }

    ZELPlatform::SubscriberType kind_;
    std::string id_;
    std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
};

inline bool Update(const std::list<ZELPlatform::MsgBus::CMsgSubscribeInfo>& rows) {
    std::list<ZELPlatform::MsgBus::CMsgSubScribeErrorInfo> errors;
    t_in_bus = true;
    const bool done = ZELPlatform::MsgBus::UpdateSubscribeList(errors, rows);
    t_in_bus = false;
    EXPECT_EQ(errors.empty(), done);
    return done;
}

inline bool Post(
    int type, int resource_type = 0, int resource_id = 0,
    const std::shared_ptr<ZELPlatform::CBaseContent>& content = std::make_shared<ZELPlatform::CObserverParam>()) {
    t_in_bus = true;
    const bool posted =
        ZELPlatform::MsgBus::MsgNotifyBySubscription(type, resource_type, resource_id, content, "poster", 0);
    t_in_bus = false;
    return posted;
}

/// Base of the fixtures about events.
class EventTest : public PlatformTest {
protected:
    /// All that was posted before has come to the party: its order is that of posting.
    bool WaitForMark(const Party& party) {
        const auto marks = [&] {
            const auto all = party.Box().All();
            return std::count_if(all.begin(), all.end(), [](const Received& got) { return got.type == kMark; });
        };
        const auto before = marks();
        EXPECT_TRUE(Update({party.Row(kMark)}));
        EXPECT_TRUE(Post(kMark));
        return WaitUntil([&] { return marks() > before; });
    }
    static void ForgetError() { Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode()); }
    static bool ErrorIsSet() { return Mox::Base::Error::GetLastError() != Mox::Base::Error::ErrorCode(); }

    const Party plugin_{ZELPlatform::kSubscriberPlugin, "plugin"};
    const Party other_{ZELPlatform::kSubscriberPlugin, "other"};
    const Party client_{ZELPlatform::kSubscriberClient, "client"};
};

}  // namespace events
}  // namespace platform_tests
