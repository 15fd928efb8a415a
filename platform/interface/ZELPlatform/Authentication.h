#pragma once

#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/BusTypes.h"

namespace ZELPlatform {
namespace Authentication {

using InterfaceCommonData::UserSession::ClientType;
using InterfaceCommonData::UserSession::LoginAccountType;

// Sessions of users who are logged in now. A session's id is a secret of 32 characters and must reach no log.
// All append to `sessions`. Threads: any.

/// @param user  the user's id, in sessions of user accounts
void GetSessionByUserID(std::vector<std::string>& sessions, unsigned int user, ClientType type);

/// @param id            the user's or person's id, as the account type says
/// @param types         an empty set is every client type
/// @param account_type  sessions of these accounts only
void GetSessionByID(std::vector<std::string>& sessions, unsigned int id, std::set<ClientType> types,
                    LoginAccountType account_type);

/// @return false when there is none
bool GetOnlineSessionByClientType(std::vector<std::string>& sessions, const ClientType& type);

}  // namespace Authentication
}  // namespace ZELPlatform
