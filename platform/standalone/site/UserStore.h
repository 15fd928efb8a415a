#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace qarplatform {

class SiteDatabase;

/// A user, as a login needs them.
struct StoredUser {
    int id = 0;
    std::string name;
    int person = 0;        ///< of a person account; 0: a user account
    std::string password;  ///< the text of its hash; "" while none is set
};

/// A session, as it outlives the process.
struct StoredSession {
    int64_t number = 0;  ///< rises with each login
    std::string id;
    StoredUser user;  ///< without the password
    int client_type = 0;
    int64_t used_s = 0;  ///< last use, seconds since 1970 UTC
};

/// When a session was last used.
struct SessionUse {
    int64_t number = 0;
    int64_t used_s = 0;
};

/// What a user may do, by all of their roles.
struct UserRights {
    bool administrator = false;
    std::set<int> permissions;
};

/// The part of the site's store that changes as users come and go: passwords, rights, sessions. Threads: any.
/// Operations give false with a text that names the file and what went wrong; nothing is half done.
class UserStore {
public:
    explicit UserStore(SiteDatabase& database) : database_(database) {}

    /// @param user  gets nothing when there is no such user
    bool Find(const std::string& name, std::optional<StoredUser>& user, std::string& error);

    /// Sets the hash of a user's password and ends their sessions.
    /// @param ended  gets the number of sessions ended; nothing when there is no such user
    bool SetPassword(const std::string& name, const std::string& password, std::optional<int64_t>& ended,
                     std::string& error);

    /// @param rights  gets all users, by their ids
    bool LoadRights(std::map<int, UserRights>& rights, std::string& error);

    /// @param sessions  gets all of them in the order of their logins
    bool LoadSessions(std::vector<StoredSession>& sessions, std::string& error);

    /// Adds a session and ends others, unless the user is gone or has another password by now.
    /// @param session  its number is set
    /// @param password  the text of the hash that the password was tested against
    /// @param added  gets whether it was added
    bool AddSession(StoredSession& session, const std::string& password, const std::vector<std::string>& end,
                    bool& added, std::string& error);
    bool EndSessions(const std::vector<std::string>& ids, std::string& error);
    bool SaveUses(const std::vector<SessionUse>& uses, std::string& error);

    /// @param mark  changes when another process has written to the store
    bool ReadMark(int64_t& mark, std::string& error);

private:
    SiteDatabase& database_;
};

}  // namespace qarplatform
