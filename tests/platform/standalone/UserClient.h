#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/PlatformUnderTest.h"

namespace platform_tests {

/// Sends a request to a port of the loopback, on a connection and a thread of its own.
std::unique_ptr<UserCall> SendRequest(uint16_t port, const UserRequest& request);

/// A WebSocket of a session, read by a thread of its own.
class PushClient {
public:
    virtual ~PushClient() = default;

    /// @return what came so far
    virtual std::vector<Frame> Frames() = 0;
};

/// Opens the WebSocket of a session. It is open at the server when this returns. Throws when it cannot be had.
std::unique_ptr<PushClient> OpenPush(uint16_t port, const std::string& session);

}  // namespace platform_tests
