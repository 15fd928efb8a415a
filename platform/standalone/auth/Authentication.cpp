#include "ZELPlatform/Authentication.h"

#include <iterator>

#include "standalone/auth/Sessions.h"

namespace ZELPlatform {
namespace Authentication {

namespace {

void Append(std::vector<std::string>& sessions, std::vector<std::string> found) {
    sessions.insert(sessions.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
}

}  // namespace

void GetSessionByUserID(std::vector<std::string>& sessions, unsigned int user, ClientType type) {
    Append(sessions, qarplatform::Sessions::Get().OfUser(user, type));
}

void GetSessionByID(std::vector<std::string>& sessions, unsigned int id, std::set<ClientType> types,
                    LoginAccountType account_type) {
    Append(sessions, qarplatform::Sessions::Get().OfAccount(id, types, account_type));
}

bool GetOnlineSessionByClientType(std::vector<std::string>& sessions, const ClientType& type) {
    std::vector<std::string> found = qarplatform::Sessions::Get().OfClientType(type);
    const bool any = !found.empty();
    Append(sessions, std::move(found));
    return any;
}

}  // namespace Authentication
}  // namespace ZELPlatform
