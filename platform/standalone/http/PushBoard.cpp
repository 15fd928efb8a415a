#include "standalone/http/PushBoard.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "Mox/Base/Error.h"
#include "standalone/http/ClientSubscriptions.h"
#include "standalone/http/HttpErrors.h"
#include "standalone/http/PushCommand.h"
#include "standalone/http/PushFrame.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

using Mox::Base::Error;
using ZELPlatform::CBaseContent;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;
using Channels = std::vector<std::shared_ptr<PushChannel>>;

constexpr uint16_t kCloseGoingAway = 1001;
constexpr uint16_t kClosePolicy = 1008;

std::string ErrorMessage(const std::string& text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> json(buffer);
    json.StartObject();
    json.Key("error");
    json.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    json.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

bool Refuse(HttpErrorCode code) {
    Error::SetLastError(Error::ErrorCode(kErrorModuleHttp, code));
    return false;
}

}  // namespace

class PushBoard::Impl : public std::enable_shared_from_this<Impl> {
public:
    explicit Impl(Bus bus) : bus_(std::move(bus)) {}

    void Start(std::function<bool(const std::string&)> use_session);
    void Stop();
    void Open(const std::string& session, unsigned int user, const PushListener* socket,
              const std::shared_ptr<PushChannel>& channel);
    void Receive(const std::string& session, PushChannel& channel, const std::string& text);
    void Close(const std::string& session, const PushListener* socket);
    void EndSession(const std::string& session, uint16_t code, const std::string& reason);
    bool Push(const std::vector<std::string>& sessions, int type, const std::shared_ptr<CBaseContent>& content);
    void Send(const std::vector<std::string>& sessions, const PushFrame& frame);

private:
    /// A session with an open WebSocket.
    struct Client {
        explicit Client(unsigned int its_user) : user(its_user) {}

        const unsigned int user;
        // guarded by mutex_
        std::vector<std::pair<const PushListener*, std::shared_ptr<PushChannel>>> sockets;
        // guarded by bus_mutex_
        ClientSubscriptions subscriptions;
    };

    std::shared_ptr<Client> Find(const std::string& session);
    std::size_t SocketsOf(unsigned int user) const;  // mutex_ is held
    bool UseSession(const std::string& session);
    std::shared_ptr<CMsgSubscribedInfo> MessageInfo(const std::string& session, const std::set<int>& types);
    CMsgSubscribeInfo Row(const std::string& session, int event, const PushCommand& command);

    // bus_mutex_ is held
    std::string Subscribe(const std::string& session, Client& client, const PushCommand& command);
    void UnsubscribeAll(const std::string& session, const Client& client);

    const Bus bus_;

    std::mutex bus_mutex_;  // before mutex_; held across the calls of the bus, so that they come in the order of events
    std::mutex mutex_;      // innermost
    // guarded by mutex_
    std::map<std::string, std::shared_ptr<Client>> clients_;
    std::function<bool(const std::string&)> use_session_;
    bool stopped_ = false;
};

/// One WebSocket.
class PushBoard::Socket : public PushListener {
public:
    Socket(std::shared_ptr<Impl> board, std::string session, unsigned int user)
        : board_(std::move(board)), session_(std::move(session)), user_(user) {}

    void Opened(const std::shared_ptr<PushChannel>& channel) override {
        channel_ = channel;
        board_->Open(session_, user_, this, channel);
    }
    void Received(const std::string& text) override { board_->Receive(session_, *channel_, text); }
    void Closed() override {
        board_->Close(session_, this);
        channel_.reset();
    }

private:
    const std::shared_ptr<Impl> board_;
    const std::string session_;
    const unsigned int user_;
    std::shared_ptr<PushChannel> channel_;  // of the calls above, which come one at a time
};

void PushBoard::Impl::Start(std::function<bool(const std::string&)> use_session) {
    std::lock_guard<std::mutex> lock(mutex_);
    use_session_ = std::move(use_session);
    stopped_ = false;
}

void PushBoard::Impl::Stop() {
    std::vector<std::string> sessions;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
        for (const auto& [session, client] : clients_) sessions.push_back(session);
    }
    for (const std::string& session : sessions) EndSession(session, kCloseGoingAway, "the server stops");
}

void PushBoard::Impl::Open(const std::string& session, unsigned int user, const PushListener* socket,
                           const std::shared_ptr<PushChannel>& channel) {
    bool usable = true;
    bool one_too_many = false;
    {
        std::lock_guard<std::mutex> bus_lock(bus_mutex_);
        bool first = false;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            one_too_many = SocketsOf(user) >= kMostOfAUser;
            if (!one_too_many) {
                std::shared_ptr<Client>& client = clients_[session];
                first = client == nullptr;
                if (first) client = std::make_shared<Client>(user);
                client->sockets.emplace_back(socket, channel);
                usable = !stopped_;
            }
        }
        if (first) usable = bus_.subscribe_msg(MessageInfo(session, {})) && usable;
    }
    if (one_too_many) {
        channel->Close(kClosePolicy, "the user has too many WebSockets open");
        return;
    }
    // A session that ended before the socket was noted has told nobody to close it.
    if (!usable) {
        EndSession(session, kCloseGoingAway, "the server stops");
    } else if (!UseSession(session)) {
        EndSession(session, kClosePolicy, "the session has ended");
    }
}

void PushBoard::Impl::Receive(const std::string& session, PushChannel& channel, const std::string& text) {
    if (!UseSession(session)) {
        EndSession(session, kClosePolicy, "the session has ended");
        return;
    }
    PushCommand command;
    std::string error;
    if (ParsePushCommand(text, command, error)) {
        std::lock_guard<std::mutex> bus_lock(bus_mutex_);
        if (const std::shared_ptr<Client> client = Find(session)) error = Subscribe(session, *client, command);
    }
    if (!error.empty()) channel.Send(std::make_shared<const std::string>(ErrorMessage(error)), true);
}

void PushBoard::Impl::Close(const std::string& session, const PushListener* socket) {
    std::lock_guard<std::mutex> bus_lock(bus_mutex_);
    std::shared_ptr<Client> ended;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = clients_.find(session);
        if (found == clients_.end()) return;
        auto& sockets = found->second->sockets;
        std::erase_if(sockets, [socket](const auto& entry) { return entry.first == socket; });
        if (!sockets.empty()) return;
        ended = std::move(found->second);
        clients_.erase(found);
    }
    UnsubscribeAll(session, *ended);
}

void PushBoard::Impl::EndSession(const std::string& session, uint16_t code, const std::string& reason) {
    Channels channels;
    {
        std::lock_guard<std::mutex> bus_lock(bus_mutex_);
        std::shared_ptr<Client> ended;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            const auto found = clients_.find(session);
            if (found == clients_.end()) return;
            ended = std::move(found->second);
            clients_.erase(found);
            for (auto& [socket, channel] : ended->sockets) channels.push_back(std::move(channel));
        }
        UnsubscribeAll(session, *ended);
    }
    for (const auto& channel : channels) channel->Close(code, reason);
}

bool PushBoard::Impl::Push(const std::vector<std::string>& sessions, int type,
                           const std::shared_ptr<CBaseContent>& content) {
    if (content == nullptr) return Refuse(kHttpErrorNoContent);
    const PushFrame frame = MakeFrame(*content);
    if (frame.data == nullptr) return Refuse(kHttpErrorNoContent);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) return Refuse(kHttpErrorStopped);
    }
    LogSinkWrite(kLogDebug, kModulePlatform, "message of type %d, %zu bytes, is pushed to %zu sessions", type,
                 frame.data->size(), sessions.size());
    Send(sessions, frame);
    return true;
}

void PushBoard::Impl::Send(const std::vector<std::string>& sessions, const PushFrame& frame) {
    if (frame.data == nullptr) return;
    Channels channels;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const std::string& session : sessions) {
            const auto found = clients_.find(session);
            if (found == clients_.end()) continue;
            for (const auto& [socket, channel] : found->second->sockets) channels.push_back(channel);
        }
    }
    // A channel that takes nothing any more tells its socket by itself.
    for (const auto& channel : channels) channel->Send(frame.data, frame.text);
}

std::shared_ptr<PushBoard::Impl::Client> PushBoard::Impl::Find(const std::string& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = clients_.find(session);
    return found == clients_.end() ? nullptr : found->second;
}

std::size_t PushBoard::Impl::SocketsOf(unsigned int user) const {
    std::size_t sockets = 0;
    for (const auto& [session, client] : clients_) {
        if (client->user == user) sockets += client->sockets.size();
    }
    return sockets;
}

bool PushBoard::Impl::UseSession(const std::string& session) {
    std::function<bool(const std::string&)> use_session;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        use_session = use_session_;
    }
    return use_session && use_session(session);
}

std::shared_ptr<CMsgSubscribedInfo> PushBoard::Impl::MessageInfo(const std::string& session,
                                                                 const std::set<int>& types) {
    auto info = std::make_shared<CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValues(types);
    info->SetSubscriber(session);
    info->SetSubscriberType(ZELPlatform::kSubscriberClient);
    info->SetCallback([weak = weak_from_this(), session](const std::shared_ptr<CMsgPushInfo>& message) {
        const std::shared_ptr<Impl> board = weak.lock();
        if (board == nullptr || message == nullptr || message->GetMsgContent() == nullptr) return;
        board->Send({session}, MakeFrame(*message->GetMsgContent()));
    });
    return info;
}

CMsgSubscribeInfo PushBoard::Impl::Row(const std::string& session, int event, const PushCommand& command) {
    ZELPlatform::MsgBus::CSubscriber subscriber;
    subscriber.SetValsubscribeType(ZELPlatform::kSubscriberClient);
    subscriber.SetSubscriberId(session);
    if (command.subscribe) {
        subscriber.SetValcallbackFunction(
            [weak = weak_from_this(), session](int, int, int, const std::shared_ptr<CBaseContent>& content) {
                const std::shared_ptr<Impl> board = weak.lock();
                if (board != nullptr && content != nullptr) board->Send({session}, MakeFrame(*content));
            });
    }
    CMsgSubscribeInfo row;
    row.SetValsubscriber(subscriber);
    row.SetValsubscribeType(command.subscribe ? ZELPlatform::kSubscribe : ZELPlatform::kSubscribeCancel);
    row.SetValeventType(event);
    row.SetValresourceTypes(command.resource_types);
    row.SetValresourceIDs(command.resource_ids);
    row.SetIncludeNodeEvents(true);
    return row;
}

// @return what is wrong; "" when all holds
std::string PushBoard::Impl::Subscribe(const std::string& session, Client& client, const PushCommand& command) {
    // Noted before the bus begins it, and until the bus was told to end it, also when the bus refuses: ending what is
    // not there is no error, forgetting what is there would be one.
    const bool fits = command.subscribe ? client.subscriptions.Apply(command) : ClientSubscriptions::NamesFew(command);
    if (!fits) return "more than " + std::to_string(ClientSubscriptions::kMax) + " subscriptions";
    std::list<CMsgSubscribeInfo> rows;
    for (const int event : command.events) rows.push_back(Row(session, event, command));
    std::list<CMsgSubScribeErrorInfo> errors;
    bool done = rows.empty() || bus_.update_subscribe_list(errors, rows);
    if (done && !command.messages.empty()) {
        const auto info = MessageInfo(session, command.messages);
        done = command.subscribe ? bus_.subscribe_msg(info) : bus_.unsubscribe_msg(info);
    }
    if (!command.subscribe) client.subscriptions.Apply(command);
    return done ? "" : "the bus takes no subscriptions any more";
}

void PushBoard::Impl::UnsubscribeAll(const std::string& session, const Client& client) {
    PushCommand cancel;
    cancel.subscribe = false;
    std::list<CMsgSubscribeInfo> rows;
    for (const int event : client.subscriptions.Events()) rows.push_back(Row(session, event, cancel));
    std::list<CMsgSubScribeErrorInfo> errors;
    if (!rows.empty()) bus_.update_subscribe_list(errors, rows);
    bus_.unsubscribe_msg(MessageInfo(session, {}));
}

PushBoard& PushBoard::Get() {
    static PushBoard& board =
        *new PushBoard({&ZELPlatform::MsgBus::UpdateSubscribeList, &ZELPlatform::MsgBus::SubscribeMsg,
                        &ZELPlatform::MsgBus::UnsubscribeMsg});
    return board;
}

PushBoard::PushBoard(Bus bus) : impl_(std::make_shared<Impl>(std::move(bus))) {}

void PushBoard::Start(std::function<bool(const std::string& session)> use_session) {
    impl_->Start(std::move(use_session));
}

void PushBoard::Stop() { impl_->Stop(); }

std::shared_ptr<PushListener> PushBoard::NewListener(const std::string& session, unsigned int user) {
    return std::make_shared<Socket>(impl_, session, user);
}

bool PushBoard::Push(const std::vector<std::string>& sessions, int type,
                     const std::shared_ptr<ZELPlatform::CBaseContent>& content) {
    return impl_->Push(sessions, type, content);
}

void PushBoard::EndSession(const std::string& session) {
    impl_->EndSession(session, kClosePolicy, "the session has ended");
}

}  // namespace qarplatform
