#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ZELPlatform/BaseContent.h"

namespace ZELPlatform {
namespace MsgBus {

/// Delivers a content to the clients that these sessions have open now. A session without one gets nothing, a session
/// that is named twice gets it twice, an empty list reaches nobody: none of that is a failure.
/// @param type     type of the message; for the log
/// @param content  text goes out as text without its NUL, everything else as the whole block. Kept until it is sent
/// @return false without a content or block, or when nothing can be delivered any more, with the last error set
/// Never waits for a client; a client that does not keep up loses its connection. Threads: any.
bool MsgNotifyByDst(const std::vector<std::string>& sessions, int type, const std::shared_ptr<CBaseContent>& content);

}  // namespace MsgBus
}  // namespace ZELPlatform
