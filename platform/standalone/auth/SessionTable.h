#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "standalone/auth/Session.h"

namespace qarplatform {

/// The sessions that have not ended, and when each was last used. One that was not used for the idle time is not found
/// any more, and waits for TakeUnused. Threads: one at a time.
class SessionTable {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using ClientType = ZELPlatform::InterfaceCommonData::UserSession::ClientType;
    using LoginAccountType = ZELPlatform::InterfaceCommonData::UserSession::LoginAccountType;

    /// The number of a session and the moment.
    using LastUse = std::pair<int64_t, TimePoint>;

    explicit SessionTable(std::chrono::seconds idle) : idle_(idle) {}

    /// @param number  the store's; gives the order of the logins
    void Add(Session session, int64_t number, TimePoint used);
    /// @return the session; nothing when there is none
    std::optional<Session> Remove(const std::string& id);

    /// Both give null for a session that is not there; the pointer is good until the table changes.
    const Session* Find(const std::string& id, TimePoint now) const;
    const Session* Use(const std::string& id, TimePoint now);

    /// In the order of the logins. @param client_types  empty: all
    std::vector<std::string> OfAccount(LoginAccountType account_type, unsigned int account,
                                       const std::set<ClientType>& client_types, TimePoint now) const;
    std::vector<std::string> OfClientType(ClientType client_type, TimePoint now) const;
    std::vector<std::string> All() const;

    /// @return the ids that must end so that a user has room for one more session: those used longest ago
    std::vector<std::string> TooMany(unsigned int user, std::size_t limit) const;

    /// Removes the sessions that were not used for the idle time.
    std::vector<Session> TakeUnused(TimePoint now);

    /// @return the last uses that have not been saved
    std::vector<LastUse> Unsaved() const;
    void Saved(const std::vector<LastUse>& uses);

private:
    struct Entry {
        Session session;
        TimePoint used;
        bool unsaved = false;
    };
    using Account = std::pair<LoginAccountType, unsigned int>;

    bool IsLive(const Entry& entry, TimePoint now) const { return now - entry.used < idle_; }
    const Entry* FindLive(const std::string& id, TimePoint now) const;

    const std::chrono::seconds idle_;
    std::map<int64_t, Entry> entries_;
    std::unordered_map<std::string, int64_t> numbers_;
    std::map<Account, std::set<int64_t>> accounts_;
};

}  // namespace qarplatform
