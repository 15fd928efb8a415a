#pragma once

#include <string>

#include "ZELPlatform/BusTypes.h"

namespace qarplatform {

/// A user's session, as a request finds it.
struct Session {
    std::string id;
    unsigned int user = 0;
    std::string user_name;
    ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type{};
    ZELPlatform::InterfaceCommonData::UserSession::LoginAccountType account_type{};
    unsigned int account = 0;  ///< the user's id, or the person's for a person account
};

}  // namespace qarplatform
