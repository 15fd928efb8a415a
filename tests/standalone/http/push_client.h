#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "standalone/http/raw_client.h"

namespace http_test {

constexpr const char* kUpgrade =
    "GET /push HTTP/1.1\r\nHost: h\r\nUpgrade: websocket\r\nConnection: keep-alive, Upgrade\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

enum Opcode : uint8_t { kContinuation = 0, kText = 1, kBinary = 2, kClose = 8, kPing = 9, kPong = 10 };

struct Frame {
    int opcode = -1;  ///< -1: the connection ended
    bool last = false;
    std::string data;

    /// @return the code of a close frame, 0 when it has none
    int CloseCode() const;
};

/// A WebSocket's client that may break every rule.
class PushClient : public RawClient {
public:
    /// Asks for the WebSocket and reads the answer.
    explicit PushClient(uint16_t port, Tls tls = Tls::kNone);

    const Answer& Upgraded() const { return upgraded_; }

    /// @param first  the first byte: last frame 0x80, reserved bits 0x70, opcode 0x0F
    static std::string FrameText(uint8_t first, std::string_view data, bool masked = true);
    bool SendFrame(uint8_t first, std::string_view data, bool masked = true);
    bool SendText(std::string_view text) { return SendFrame(0x80 | kText, text); }
    bool SendClose(uint16_t code);

    Frame ReadFrame();
    /// Reads up to a close frame. @return it
    Frame ReadClose();

private:
    Answer upgraded_;
};

}  // namespace http_test
