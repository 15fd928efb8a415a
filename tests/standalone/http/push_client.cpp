#include "standalone/http/push_client.h"

#include <array>
#include <cstddef>

namespace http_test {

namespace {

std::size_t Number(std::string_view bytes) {
    std::size_t number = 0;
    for (const char byte : bytes) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

void AppendNumber(std::string& text, std::size_t number, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) {
        text += static_cast<char>(number >> (8 * i) & 0xFF);
    }
}

}  // namespace

int Frame::CloseCode() const {
    return opcode == kClose && data.size() >= 2 ? static_cast<int>(Number(data.substr(0, 2))) : 0;
}

PushClient::PushClient(uint16_t port, Tls tls) : RawClient(port, tls) {
    Send(kUpgrade);
    upgraded_ = ReadAnswer();
}

std::string PushClient::FrameText(uint8_t first, std::string_view data, bool masked) {
    constexpr std::array<char, 4> kMask = {0x11, 0x22, 0x33, 0x44};
    std::string text(1, static_cast<char>(first));
    const std::size_t mask_bit = masked ? 0x80 : 0;
    if (data.size() < 126) {
        AppendNumber(text, mask_bit | data.size(), 1);
    } else if (data.size() <= 0xFFFF) {
        AppendNumber(text, mask_bit | 126, 1);
        AppendNumber(text, data.size(), 2);
    } else {
        AppendNumber(text, mask_bit | 127, 1);
        AppendNumber(text, data.size(), 8);
    }
    if (!masked) {
        return text.append(data);
    }
    text.append(kMask.data(), kMask.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        text += static_cast<char>(data[i] ^ kMask[i % kMask.size()]);
    }
    return text;
}

bool PushClient::SendFrame(uint8_t first, std::string_view data, bool masked) {
    return Send(FrameText(first, data, masked));
}

bool PushClient::SendClose(uint16_t code) {
    std::string data;
    AppendNumber(data, code, 2);
    return SendFrame(0x80 | kClose, data);
}

Frame PushClient::ReadFrame() {
    Frame frame;
    const std::string head = ReadBytes(2);
    if (head.size() < 2) {
        return frame;
    }
    std::size_t size = static_cast<unsigned char>(head[1]);
    if (size >= 126) {
        size = Number(ReadBytes(size == 126 ? 2 : 8));
    }
    frame.data = ReadBytes(size);
    if (frame.data.size() == size) {
        frame.opcode = head[0] & 0x0F;
        frame.last = (head[0] & 0x80) != 0;
    }
    return frame;
}

Frame PushClient::ReadClose() {
    for (;;) {
        Frame frame = ReadFrame();
        if (frame.opcode < 0 || frame.opcode == kClose) {
            return frame;
        }
    }
}

}  // namespace http_test
