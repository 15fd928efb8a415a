#include "standalone/site/UserStore.h"

#include <algorithm>

#include "standalone/site/SiteDatabase.h"
#include "standalone/site/SiteRecords.h"

namespace qarplatform {

namespace {

using sqlite::Statement;

int Int(const Statement& row, int column) { return static_cast<int>(row.Int(column)); }

}  // namespace

bool UserStore::Find(const std::string& name, std::optional<StoredUser>& user, std::string& error) {
    const auto lock = database_.Lock();
    user.reset();
    const auto take = [&user](const Statement& row) {
        user = StoredUser{Int(row, 0), row.Text(1), Int(row, 2), row.Text(3)};
    };
    return database_.Rows("SELECT id, name, person, password FROM user WHERE name = ?", take, name) ||
           database_.Fail(error);
}

bool UserStore::SetPassword(const std::string& name, const std::string& password, std::optional<int64_t>& ended,
                            std::string& error) {
    const auto lock = database_.Lock();
    ended.reset();
    int64_t users = 0;
    int64_t sessions = 0;
    const bool set = database_.InTransaction([&] {
        return database_.Change(users, "UPDATE user SET password = ? WHERE name = ?", password, name) &&
               database_.Change(sessions, "DELETE FROM session WHERE user = (SELECT id FROM user WHERE name = ?)",
                                name);
    });
    if (!set) {
        return database_.Fail(error);
    }
    if (users != 0) {
        ended = sessions;
    }
    return true;
}

bool UserStore::LoadRights(std::map<int, UserRights>& rights, std::string& error) {
    const auto lock = database_.Lock();
    std::map<int, UserRights> loaded;
    const auto load = [&] {
        return database_.Rows("SELECT id FROM user", [&](const Statement& row) { loaded[Int(row, 0)]; }) &&
               database_.Rows(
                   "SELECT user FROM user_role JOIN role ON role.id = role WHERE name = ?",
                   [&](const Statement& row) { loaded[Int(row, 0)].administrator = true; }, kAdministratorRole) &&
               database_.Rows("SELECT user, permission FROM user_role JOIN role_permission USING (role)",
                              [&](const Statement& row) { loaded[Int(row, 0)].permissions.insert(Int(row, 1)); });
    };
    if (!database_.InSnapshot(load, error)) {
        return false;
    }
    rights = std::move(loaded);
    return true;
}

bool UserStore::LoadSessions(std::vector<StoredSession>& sessions, std::string& error) {
    const auto lock = database_.Lock();
    std::vector<StoredSession> loaded;
    const auto take = [&loaded](const Statement& row) {
        loaded.push_back(
            {row.Int(0), row.Text(1), {Int(row, 2), row.Text(3), Int(row, 4), ""}, Int(row, 5), row.Int(6)});
    };
    if (!database_.Rows("SELECT number, session.id, user, name, person, client_type, used_s FROM session "
                        "JOIN user ON user.id = user ORDER BY number",
                        take)) {
        return database_.Fail(error);
    }
    sessions = std::move(loaded);
    return true;
}

bool UserStore::AddSession(StoredSession& session, const std::string& password, const std::vector<std::string>& end,
                           bool& added, std::string& error) {
    const auto lock = database_.Lock();
    int64_t sessions = 0;
    int64_t number = 0;
    const bool done = database_.InTransaction([&] {
        return database_.Change(sessions,
                                "INSERT INTO session (id, user, client_type, used_s) "
                                "SELECT ?, id, ?, ? FROM user WHERE id = ? AND password = ?",
                                session.id, session.client_type, session.used_s, session.user.id, password) &&
               database_.Number("SELECT last_insert_rowid()", number) &&
               std::all_of(end.begin(), end.end(), [this](const std::string& id) {
                   return database_.Run("DELETE FROM session WHERE id = ?", id);
               });
    });
    if (!done) {
        return database_.Fail(error);
    }
    added = sessions != 0;
    session.number = number;
    return true;
}

bool UserStore::EndSessions(const std::vector<std::string>& ids, std::string& error) {
    const auto lock = database_.Lock();
    return database_.InTransaction([&] {
        return std::all_of(ids.begin(), ids.end(), [this](const std::string& id) {
            return database_.Run("DELETE FROM session WHERE id = ?", id);
        });
    }) || database_.Fail(error);
}

bool UserStore::SaveUses(const std::vector<SessionUse>& uses, std::string& error) {
    const auto lock = database_.Lock();
    return database_.InTransaction([&] {
        return std::all_of(uses.begin(), uses.end(), [this](const SessionUse& use) {
            return database_.Run("UPDATE session SET used_s = ? WHERE number = ?", use.used_s, use.number);
        });
    }) || database_.Fail(error);
}

bool UserStore::ReadMark(int64_t& mark, std::string& error) {
    const auto lock = database_.Lock();
    return database_.Number("PRAGMA data_version", mark) || database_.Fail(error);
}

}  // namespace qarplatform
