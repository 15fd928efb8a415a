#pragma once

#include <functional>
#include <optional>
#include <string>

#include "standalone/auth/Sessions.h"

namespace qarplatform {

/// What the front asks of the users' sessions; the operations of Sessions.
struct FrontSessions {
    std::function<std::optional<Session>(const std::string& session)> use;
    std::function<LoginAnswer(const std::string& user, const std::string& password,
                              ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type,
                              const std::string& remote)>
        login;
    std::function<bool(const std::string& session)> logout;
};

}  // namespace qarplatform
