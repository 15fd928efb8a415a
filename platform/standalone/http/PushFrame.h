#pragma once

#include <memory>
#include <string>

#include "ZELPlatform/BaseContent.h"

namespace qarplatform {

/// A content as a WebSocket frame: text without its NUL as a text frame, everything else as a binary frame with the
/// whole block, which is text, NUL, binary part. Text that is no UTF-8 may not go as text and goes as its block.
struct PushFrame {
    std::shared_ptr<const std::string> data;  ///< null: the content has no block
    bool text = false;
};

PushFrame MakeFrame(ZELPlatform::CBaseContent& content);
PushFrame MakeFrame(ZELPlatform::CMsgBusContentBase& content);

}  // namespace qarplatform
