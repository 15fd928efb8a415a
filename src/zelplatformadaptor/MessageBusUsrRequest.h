#pragma once

#include <memory>
#include <string>

#include "ZELPlatform/MsgBusRequests.h"
#include "qar/IMessageBusManagerAPI.h"

namespace qar {

/// Users' HTTP requests: binds plug-ins' handlers to URLs, and brings requests to them and answers back. What is bound
/// with the platform holds a pointer to this object, so it is made with std::make_shared.
/// Threads: any; requests run at the same time, each on its own thread's stack.
class CMessageBusUsrRequest : public std::enable_shared_from_this<CMessageBusUsrRequest> {
public:
    void RegisterUsrRequest(const std::string& plugin, const std::string& url, ZELPlatform::Method method,
                            ZELPlatform::CmdParam::Exec exec, UsrRequestFunc handler, bool flag);
    void UnregisterUsrRequest(const std::string& url);

private:
    void ProcUserRequestCB(ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out, ZELPlatform::ProtoParam2& param,
                           const UsrRequestFunc& handler);

    static std::string MaskUrlForLog(const std::string& text, bool matchSID);
};

}  // namespace qar
