#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusEvents.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "standalone/http/HttpServer.h"

namespace qarplatform {

/// The users' WebSockets, by session. A session with an open one is a client of the bus: it gets notify messages by
/// name and permission, and what its own messages subscribe it to (PushCommand). Messages that are none are answered
/// with {"error":"..."}. The last socket's end, or the session's, ends its subscriptions. A socket beyond kMostOfAUser
/// is closed with 1008. Threads: any.
class PushBoard {
public:
    /// Most open WebSockets of a user, in all sessions together.
    static constexpr std::size_t kMostOfAUser = 16;

    /// What the board asks of the bus; the functions of ZELPlatform::MsgBus.
    struct Bus {
        std::function<bool(std::list<ZELPlatform::MsgBus::CMsgSubScribeErrorInfo>&,
                           const std::list<ZELPlatform::MsgBus::CMsgSubscribeInfo>&)>
            update_subscribe_list;
        std::function<bool(const std::shared_ptr<ZELPlatform::CMsgSubscribedInfo>&)> subscribe_msg;
        std::function<bool(const std::shared_ptr<ZELPlatform::CMsgSubscribedInfo>&)> unsubscribe_msg;
    };

    /// The board of the process, never destroyed, on the bus of the process.
    static PushBoard& Get();

    explicit PushBoard(Bus bus);
    PushBoard(const PushBoard&) = delete;
    PushBoard& operator=(const PushBoard&) = delete;

    /// @param use_session  whether a session is there; begins its idle time anew. Asked at each opening and message
    void Start(std::function<bool(const std::string& session)> use_session);
    /// Ends every client that is left; pushes fail from now on.
    void Stop();

    /// @return what a WebSocket of a session is accepted with
    std::shared_ptr<PushListener> NewListener(const std::string& session, unsigned int user);

    /// As ZELPlatform::MsgBus::MsgNotifyByDst.
    bool Push(const std::vector<std::string>& sessions, int type,
              const std::shared_ptr<ZELPlatform::CBaseContent>& content);

    /// Closes the WebSockets of a session that has ended.
    void EndSession(const std::string& session);

private:
    class Impl;
    class Socket;
    // shared with the sockets, which the server holds
    const std::shared_ptr<Impl> impl_;
};

}  // namespace qarplatform
