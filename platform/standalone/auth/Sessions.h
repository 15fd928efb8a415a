#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ZELPlatform/BusTypes.h"
#include "standalone/auth/LoginAnswer.h"
#include "standalone/auth/Session.h"
#include "standalone/auth/SessionOptions.h"

namespace qarplatform {

class SiteStore;

/// The users' sessions, kept in the site's store so that a restart finds them. A session ends by logout, when it was
/// not used for SessionOptions::idle (up to a minute less when the process was killed), when its user logs in for the
/// 65th time, for the one used longest ago, and within a second of a change of its user's password by another process.
/// Threads: any.
class Sessions {
public:
    /// The sessions of the process, never destroyed.
    static Sessions& Get();

    Sessions();
    ~Sessions();
    Sessions(const Sessions&) = delete;
    Sessions& operator=(const Sessions&) = delete;

    /// Loads the sessions that have not ended.
    /// @param store  open; must not end before Stop
    bool Start(SiteStore& store, const SessionOptions& options, std::string& error);
    /// Writes the last uses. Waits for logins that are being tested; those that wait, and later ones, fail. Later calls
    /// find no session; none of them counts as ended. Not from the listener.
    void Stop();

    /// Blocks for as long as testing a password takes, some tens of milliseconds, and where several log in at once
    /// until it is this one's turn. Of more than 64 that wait the others are told that there are too many.
    /// @param remote  the client's address, without its port
    LoginAnswer Login(const std::string& user, const std::string& password,
                      ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type, const std::string& remote);
    /// @return false when there is no such session
    bool Logout(const std::string& session);

    /// Finds a session and begins its idle time anew. @return nothing for one that does not exist or has ended
    std::optional<Session> Use(const std::string& session);

    /// Sets who is called with the id of each session that ends, for whatever reason; on any thread, with no lock held;
    /// must not throw. When this returns, no call of an earlier listener is under way. Not from a listener.
    void SetEndedListener(std::function<void(const std::string& session)> listener);

    // Ids of sessions, in the order of their logins.

    /// Sessions of user accounts.
    std::vector<std::string> OfUser(unsigned int user,
                                    ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type);
    /// @param client_types  empty: all
    std::vector<std::string> OfAccount(
        unsigned int account, const std::set<ZELPlatform::InterfaceCommonData::UserSession::ClientType>& client_types,
        ZELPlatform::InterfaceCommonData::UserSession::LoginAccountType account_type);
    std::vector<std::string> OfClientType(ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type);

    /// @param permissions  permission to resource ids
    /// @return whether the session's user holds one of the permissions through a role, as an administrator does of any.
    ///         A role holds its permissions for all resources
    bool HoldsOneOf(const std::string& session, const std::map<int, std::list<int>>& permissions);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qarplatform
