#pragma once

#include <boost/container/small_vector.hpp>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ZELPlatform/MsgBusNotify.h"
#include "standalone/bus/BusControl.h"
#include "standalone/bus/BusThreads.h"
#include "standalone/bus/NotifyContent.h"
#include "standalone/bus/Receiver.h"

namespace qarplatform {

/// What subscribers get of a pushed message. The permissions are no matter of theirs.
class NotifyMessage final : public Message {
public:
    explicit NotifyMessage(const ZELPlatform::CMsgPushInfo& pushed);
    std::string Text() const override;

    /// @return an object of its own for each subscriber, which may write to it; made on the subscriber's thread
    std::shared_ptr<ZELPlatform::CMsgPushInfo> MakeInfo() const;

private:
    ZELPlatform::CMsgPushInfo info_;  // without a content
    const NotifyContent content_;
};

/// What a publisher is told.
struct PublisherMessage final : Message {
    PublisherMessage(ZELPlatform::SubScribeType its_type, std::shared_ptr<ZELPlatform::CMsgSubscribedInfo> its_info)
        : type(its_type), info(std::move(its_info)) {}
    std::string Text() const override;

    const ZELPlatform::SubScribeType type;
    const std::shared_ptr<ZELPlatform::CMsgSubscribedInfo> info;
};

/// The notify half of the bus, within the process. Operations as in ZELPlatform::MsgBus; a message goes to those who
/// are subscribed when it is pushed. Messages beyond Lane::kMostWaiting that wait for a subscriber are dropped, what
/// publishers are told never is. On a bus that has stopped publishers and subscribers are taken and nothing is told.
/// Threads: any.
class NotifyBus {
public:
    using PushInfo = std::shared_ptr<ZELPlatform::CMsgPushInfo>;
    using SubscribedInfo = std::shared_ptr<ZELPlatform::CMsgSubscribedInfo>;
    using Names = std::set<std::string>;

    explicit NotifyBus(BusThreads& threads) : threads_(threads) {}
    NotifyBus(const NotifyBus&) = delete;
    NotifyBus& operator=(const NotifyBus&) = delete;

    /// The bus of the process, never destroyed.
    static NotifyBus& Get();

    bool Publish(const std::shared_ptr<ZELPlatform::CMsgPublishInfo>& info);
    bool Subscribe(const SubscribedInfo& info);
    bool Unsubscribe(const SubscribedInfo& info);
    bool Push(const PushInfo& info);
    bool PushTo(const std::map<ZELPlatform::SubscriberType, Names>& subscribers, const PushInfo& info);

    void SetClientPermissions(ClientPermissions permissions);

private:
    using NotifyReceiver = ReceiverOf<NotifyMessage>;
    using PublisherReceiver = ReceiverOf<PublisherMessage>;
    /// On the stack while they are few.
    using Receivers = boost::container::small_vector<std::shared_ptr<const NotifyReceiver>, 16>;
    using Key = std::pair<ZELPlatform::SubscriberType, std::string>;
    struct Subscriber {
        std::shared_ptr<const NotifyReceiver> receiver;
        std::set<int> types;
    };
    using Subscribers = std::map<Key, Subscriber>;
    struct Publisher {
        std::set<int> types;
        std::vector<std::shared_ptr<const PublisherReceiver>> receivers;
    };

    // mutex_ is held in these
    Receivers ReceiversOf(int type) const;
    /// A plug-in without types is gone; a client, which is reached by name as well, only when it is ended as such.
    /// @param end_client  whether it is
    /// @param old         gets the receiver of a subscriber that is gone
    /// @return the subscriber behind it
    Subscribers::iterator EndTypes(Subscribers::iterator subscriber, const std::set<int>& types, bool end_client,
                                   bool tell, Receivers& old);
    void TellPublishers(ZELPlatform::SubScribeType type, const Key& subscriber, const std::set<int>& types) const;

    Receivers PermittedClients(const std::map<int, std::list<int>>& permissions);
    static bool Send(const PushInfo& info, Receivers&& receivers);

    BusThreads& threads_;

    std::mutex mutex_;
    // guarded by mutex_
    Subscribers subscribers_;
    std::unordered_map<int, std::vector<const Subscriber*>> by_type_;
    std::map<std::string, Publisher> publishers_;
    std::shared_ptr<const ClientPermissions> client_permissions_;
};

}  // namespace qarplatform
