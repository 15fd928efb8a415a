#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "standalone/database/sqlite/Database.h"
#include "standalone/site/SiteStore.h"
#include "standalone/site/UserStore.h"
#include "standalone/site/site_folder.h"

namespace {

using qarplatform::Site;
using qarplatform::SiteStore;
using qarplatform::StoredSession;
using qarplatform::StoredUser;
using qarplatform::UserRights;
using qarplatform::UserStore;
using qarplatform::sqlite::Database;
using testing::ElementsAre;
using testing::IsEmpty;

class UserStoreTest : public testing::Test {
protected:
    void SetUp() override {
        Site site;
        site.roles = {{"guard", {5, 6}}, {"night", {6, 9}}, {"Administrator", {1}}, {"administrator", {}}};
        site.users = {{7, "anna", {"guard", "night"}, 0, false},
                      {8, "bert", {"Administrator"}, 70, false},
                      {9, "carl", {"administrator"}, 0, false}};
        ASSERT_TRUE(store_.Open(path_, error_)) << error_;
        ASSERT_TRUE(store_.Import(site, 1, 2, error_)) << error_;
        SetPassword("anna", "hash");
    }

    void SetPassword(const std::string& user, const std::string& password) {
        ASSERT_TRUE(users_.SetPassword(user, password, ended_, error_)) << error_;
    }

    StoredUser Find(const std::string& name) {
        std::optional<StoredUser> user;
        EXPECT_TRUE(users_.Find(name, user, error_)) << error_;
        return user.value_or(StoredUser());
    }

    /// @return the session's number
    int64_t Add(const std::string& id, const std::vector<std::string>& end = {}) {
        StoredSession session;
        session.id = id;
        session.user = Find("anna");
        session.client_type = 2;
        session.used_s = 1000;
        bool added = false;
        EXPECT_TRUE(users_.AddSession(session, "hash", end, added, error_)) << error_;
        EXPECT_TRUE(added);
        return session.number;
    }

    std::vector<std::string> Ids() {
        std::vector<StoredSession> sessions;
        EXPECT_TRUE(users_.LoadSessions(sessions, error_)) << error_;
        std::vector<std::string> ids;
        for (const StoredSession& session : sessions) {
            ids.push_back(session.id);
        }
        return ids;
    }

    site_test::SiteFolder folder_;
    const std::string path_ = folder_.At("site.db");
    SiteStore store_;
    UserStore& users_ = store_.Users();
    std::string error_;
    std::optional<int64_t> ended_;
};

TEST_F(UserStoreTest, UserIsFoundByTheExactName) {
    const StoredUser bert = Find("bert");
    EXPECT_EQ(bert.id, 8);
    EXPECT_EQ(bert.name, "bert");
    EXPECT_EQ(bert.person, 70);
    EXPECT_EQ(bert.password, "");
    EXPECT_EQ(Find("anna").password, "hash");
    EXPECT_EQ(Find("anna").person, 0);
    for (const char* name : {"Anna", "anna ", "", "' OR 1 --"}) {
        EXPECT_EQ(Find(name).id, 0) << name;
    }
}

TEST_F(UserStoreTest, PasswordEndsTheUsersSessions) {
    Add("a");
    Add("b");
    SetPassword("bert", "other");
    EXPECT_EQ(ended_, 0);
    EXPECT_THAT(Ids(), ElementsAre("a", "b"));
    SetPassword("anna", "new");
    EXPECT_EQ(ended_, 2);
    EXPECT_THAT(Ids(), IsEmpty());
    EXPECT_EQ(Find("anna").password, "new");
    EXPECT_EQ(Find("bert").password, "other");
}

TEST_F(UserStoreTest, PasswordOfNobodyIsNotSet) {
    SetPassword("nobody", "x");
    EXPECT_FALSE(ended_.has_value());
}

TEST_F(UserStoreTest, SiteTellsWhoHasAPassword) {
    Site site;
    int64_t origin = 0;
    int64_t start = 0;
    ASSERT_TRUE(store_.Load(site, origin, start, error_)) << error_;
    EXPECT_TRUE(site.users[0].has_password);
    EXPECT_FALSE(site.users[1].has_password);
}

TEST_F(UserStoreTest, RightsAreThoseOfAllRolesAndTheAdministratorIsExactlyThatRole) {
    std::map<int, UserRights> rights;
    ASSERT_TRUE(users_.LoadRights(rights, error_)) << error_;
    EXPECT_EQ(rights.size(), 3U);
    EXPECT_THAT(rights[7].permissions, ElementsAre(5, 6, 9));
    EXPECT_FALSE(rights[7].administrator);
    EXPECT_THAT(rights[8].permissions, ElementsAre(1));
    EXPECT_TRUE(rights[8].administrator);
    EXPECT_FALSE(rights[9].administrator);
}

TEST_F(UserStoreTest, SessionsAreLoadedWithTheirUsers) {
    const int64_t number = Add("a");
    std::vector<StoredSession> sessions;
    ASSERT_TRUE(users_.LoadSessions(sessions, error_)) << error_;
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].number, number);
    EXPECT_EQ(sessions[0].id, "a");
    EXPECT_EQ(sessions[0].user.id, 7);
    EXPECT_EQ(sessions[0].user.name, "anna");
    EXPECT_EQ(sessions[0].user.password, "");
    EXPECT_EQ(sessions[0].client_type, 2);
    EXPECT_EQ(sessions[0].used_s, 1000);
}

TEST_F(UserStoreTest, NumbersRiseAndAreNeverGivenAgain) {
    const int64_t first = Add("a");
    const int64_t second = Add("b");
    EXPECT_GT(second, first);
    ASSERT_TRUE(users_.EndSessions({"a", "b", "none"}, error_)) << error_;
    EXPECT_THAT(Ids(), IsEmpty());
    EXPECT_GT(Add("c"), second);
}

TEST_F(UserStoreTest, NewSessionEndsOthersInOneStep) {
    Add("a");
    Add("b");
    Add("c", {"a"});
    EXPECT_THAT(Ids(), ElementsAre("b", "c"));
}

TEST_F(UserStoreTest, SessionIsNotAddedWhenThePasswordChangedMeanwhile) {
    StoredSession session;
    session.id = "a";
    session.user = Find("anna");
    session.client_type = 1;
    SetPassword("anna", "new");
    bool added = true;
    EXPECT_TRUE(users_.AddSession(session, session.user.password, {}, added, error_)) << error_;
    EXPECT_FALSE(added);
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(UserStoreTest, ClientTypeThatCannotBeIsRefused) {
    StoredSession session;
    session.id = "a";
    session.user = Find("anna");
    session.client_type = 4;
    bool added = true;
    EXPECT_FALSE(users_.AddSession(session, "hash", {}, added, error_));
    EXPECT_EQ(error_, path_ + ": CHECK constraint failed: client_type IN (1, 2, 3)");
}

TEST_F(UserStoreTest, UsesAreSaved) {
    const int64_t number = Add("a");
    Add("b");
    ASSERT_TRUE(users_.SaveUses({{number, 2000}, {number + 77, 3000}}, error_)) << error_;
    std::vector<StoredSession> sessions;
    ASSERT_TRUE(users_.LoadSessions(sessions, error_)) << error_;
    EXPECT_EQ(sessions[0].used_s, 2000);
    EXPECT_EQ(sessions[1].used_s, 1000);
}

TEST_F(UserStoreTest, MarkChangesWithTheChangesOfOthersOnly) {
    int64_t before = 0;
    int64_t after = 0;
    ASSERT_TRUE(users_.ReadMark(before, error_)) << error_;
    Add("a");
    ASSERT_TRUE(users_.ReadMark(after, error_)) << error_;
    EXPECT_EQ(after, before);
    {
        Database other;
        ASSERT_TRUE(other.Open(path_, std::chrono::seconds(1)));
        ASSERT_TRUE(other.Exec("DELETE FROM session"));
    }
    ASSERT_TRUE(users_.ReadMark(after, error_)) << error_;
    EXPECT_NE(after, before);
}

}  // namespace
