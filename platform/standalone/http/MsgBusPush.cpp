#include "ZELPlatform/MsgBusPush.h"

#include "standalone/http/PushBoard.h"

bool ZELPlatform::MsgBus::MsgNotifyByDst(const std::vector<std::string>& sessions, int type,
                                         const std::shared_ptr<CBaseContent>& content) {
    return qarplatform::PushBoard::Get().Push(sessions, type, content);
}
