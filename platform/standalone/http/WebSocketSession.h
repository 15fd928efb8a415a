#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "standalone/http/HttpServer.h"

namespace qarplatform {

/// A connection's WebSocket, from the answer to its upgrade on. Threads: the server's.
class WebSocketSession {
public:
    virtual ~WebSocketSession() = default;

    /// Answers the upgrade and begins. Once.
    /// @param key  the client's Sec-WebSocket-Key
    virtual void Start(const std::string& key, std::shared_ptr<PushListener> listener) = 0;

    /// Ends the WebSocket as PushChannel::Close does.
    virtual void Close(uint16_t code, const std::string& reason) = 0;
};

}  // namespace qarplatform
