#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "standalone/auth/PasswordHash.h"
#include "standalone/database/sqlite/Database.h"
#include "standalone/site/SiteStore.h"
#include "standalone/site/site_folder.h"

namespace auth_test {

/// A store with three users: anna (7, a guard who holds 5 and 6), bert (8, an administrator, person 70) and carl (9,
/// without role or password).
class SessionSite {
public:
    SessionSite() {
        qarplatform::Site site;
        site.roles = {{"guard", {5, 6}}, {"Administrator", {}}};
        site.users = {
            {7, "anna", {"guard"}, 0, false}, {8, "bert", {"Administrator"}, 70, false}, {9, "carl", {}, 0, false}};
        site.database_dir = "/db";
        std::string error;
        OpenStore();
        EXPECT_TRUE(store_->Import(site, 1, 2, error)) << error;
        SetPassword(*store_, "anna", "anna's password");
        SetPassword(*store_, "bert", "bert's password");
    }

    std::string Path() const { return folder_.At("site.db"); }
    qarplatform::SiteStore& Store() { return *store_; }

    void OpenStore() {
        std::string error;
        EXPECT_TRUE(store_.emplace().Open(Path(), error)) << error;
    }
    void CloseStore() { store_.reset(); }

    /// Sets a password as the command does, by a connection of its own, with a cheap hash.
    void ChangePassword(const std::string& user, const std::string& password) const {
        qarplatform::SiteStore other;
        std::string error;
        ASSERT_TRUE(other.Open(Path(), error)) << error;
        SetPassword(other, user, password);
    }

    /// Runs SQL on a connection of its own.
    void Run(const std::string& sql) const {
        qarplatform::sqlite::Database other;
        ASSERT_TRUE(other.Open(Path(), std::chrono::seconds(1))) << other.Error();
        EXPECT_TRUE(other.Exec(sql)) << other.Error();
    }

    /// @return the first column of the first row
    std::string Value(const std::string& sql) const {
        qarplatform::sqlite::Database other;
        EXPECT_TRUE(other.Open(Path(), std::chrono::seconds(1))) << other.Error();
        qarplatform::sqlite::Statement row = other.Prepare(sql);
        return row.Step() == qarplatform::sqlite::Statement::Result::kRow ? row.Text(0) : "no row";
    }

private:
    static void SetPassword(qarplatform::SiteStore& store, const std::string& user, const std::string& password) {
        std::optional<int64_t> ended;
        std::string error;
        EXPECT_TRUE(store.Users().SetPassword(user, qarplatform::HashPassword(password, {10, 1, 1}), ended, error))
            << error;
        EXPECT_TRUE(ended.has_value()) << user;
    }

    site_test::SiteFolder folder_;
    std::optional<qarplatform::SiteStore> store_;
};

}  // namespace auth_test
