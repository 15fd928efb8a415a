#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <set>
#include <string>

#include "standalone/database/sqlite/Database.h"
#include "standalone/site/SiteStore.h"
#include "standalone/site/site_folder.h"

namespace {

using qarplatform::Site;
using qarplatform::SiteStore;
using qarplatform::sqlite::Database;
using site_test::SiteFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZELPlatform::InterfaceCommonData::AccesstypeInfo;

constexpr uid_t kNobody = 65534;

Site SmallSite() {
    Site site;
    site.zones = {{"west5", "Five west", 300, true, true, "3:2:0:2:0", "11:1:0:2:0", -60},
                  {"east8", "Eight east", -480, false, false, "", "", 0}};
    site.areas = {{1, "Yard", 0}, {2, "Gate", 1}};
    site.devices = {
        {1, 2001, "D-1", "Gate camera", "rtsp://127.0.0.1:5541/", "http://127.0.0.1/archive", "west5", true},
        {2, 2001, "", "Yard camera", "tcp://127.0.0.1:80", "", "", false}};
    site.channels = {{101, 1001, "", 1, 1}, {102, 1005, "C-2", 2, 3}};
    site.elements = {{1001, "", "Gate", 101, 2, 0}, {1002, "E-2", "Yard", 102, 1, 77}};
    site.plugins = {{"z", "/z.so", "{}"}, {"a", "/a.so", R"({"x":1})"}};
    site.roles = {{"guard", {6, 5}}, {"Administrator", {}}, {"nobody's", {7}}};
    site.users = {{3, "anna", {"Administrator", "guard"}, 0, false}, {2, "bert", {}, 70, false}};
    site.access_type = kAccessHttps;
    site.database_dir = "/db";
    return site;
}

class SiteStoreTest : public testing::Test {
protected:
    void Open(SiteStore& store) { ASSERT_TRUE(store.Open(path_, error_)) << error_; }

    void OpenWithSite(SiteStore& store) {
        Open(store);
        ASSERT_TRUE(store.Import(SmallSite(), 1000, 2000000, error_)) << error_;
    }

    Site Load(SiteStore& store) {
        Site site;
        int64_t origin = 0;
        int64_t start = 0;
        EXPECT_TRUE(store.Load(site, origin, start, error_)) << error_;
        return site;
    }

    SiteFolder folder_;
    std::string path_ = folder_.At("site.db");
    std::string error_;
};

TEST_F(SiteStoreTest, NewStoreIsItsOwnersAloneAndEmpty) {
    SiteStore store;
    Open(store);

    struct stat found;
    ASSERT_EQ(stat(path_.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600U);
    EXPECT_FALSE(store.Imported());
    Site site;
    int64_t origin = 0;
    int64_t start = 0;
    EXPECT_FALSE(store.Load(site, origin, start, error_));
    EXPECT_EQ(error_, path_ + ": no site has been imported yet");
}

TEST_F(SiteStoreTest, WhatWasImportedIsLoadedFromAnotherObject) {
    {
        SiteStore store;
        OpenWithSite(store);
        EXPECT_TRUE(store.Imported());
    }
    SiteStore store;
    Open(store);
    EXPECT_TRUE(store.Imported());
    Site site;
    int64_t origin = 0;
    int64_t start = 0;
    ASSERT_TRUE(store.Load(site, origin, start, error_)) << error_;

    EXPECT_EQ(origin, 1000);
    EXPECT_EQ(start, 2000000);
    EXPECT_EQ(site.database_dir, "/db");
    ASSERT_EQ(site.zones.size(), 2U);
    EXPECT_EQ(site.zones[0].name, "west5");
    EXPECT_EQ(site.zones[0].display_name, "Five west");
    EXPECT_EQ(site.zones[0].bias, 300);
    EXPECT_TRUE(site.zones[0].has_daylight);
    EXPECT_TRUE(site.zones[0].daylight_enable);
    EXPECT_EQ(site.zones[0].daylight_date, "3:2:0:2:0");
    EXPECT_EQ(site.zones[0].standard_date, "11:1:0:2:0");
    EXPECT_EQ(site.zones[0].daylight_bias, -60);
    EXPECT_FALSE(site.zones[1].has_daylight);
    ASSERT_EQ(site.areas.size(), 2U);
    EXPECT_EQ(site.areas[1].name, "Gate");
    EXPECT_EQ(site.areas[1].parent, 1);
    ASSERT_EQ(site.devices.size(), 2U);
    EXPECT_EQ(site.devices[0].guid, "D-1");
    EXPECT_EQ(site.devices[0].name, "Gate camera");
    EXPECT_EQ(site.devices[0].probe, "rtsp://127.0.0.1:5541/");
    EXPECT_EQ(site.devices[0].archive, "http://127.0.0.1/archive");
    EXPECT_EQ(site.devices[0].zone, "west5");
    EXPECT_TRUE(site.devices[0].guard);
    EXPECT_FALSE(site.devices[1].guard);
    ASSERT_EQ(site.channels.size(), 2U);
    EXPECT_EQ(site.channels[1].type, 1005);
    EXPECT_EQ(site.channels[1].device, 2);
    EXPECT_EQ(site.channels[1].no, 3);
    ASSERT_EQ(site.elements.size(), 2U);
    EXPECT_EQ(site.elements[0].channel, 101);
    EXPECT_EQ(site.elements[0].area, 2);
    EXPECT_EQ(site.elements[0].create_time, 2000);
    EXPECT_EQ(site.elements[1].create_time, 77);
    ASSERT_EQ(site.plugins.size(), 2U);
    EXPECT_EQ(site.plugins[0].id, "z");
    EXPECT_EQ(site.plugins[1].config_json, R"({"x":1})");
    ASSERT_EQ(site.roles.size(), 3U);
    EXPECT_EQ(site.roles[0].name, "guard");
    EXPECT_THAT(site.roles[0].permissions, ElementsAre(5, 6));
    EXPECT_EQ(site.roles[1].name, "Administrator");
    EXPECT_THAT(site.roles[1].permissions, IsEmpty());
    ASSERT_EQ(site.users.size(), 2U);
    EXPECT_EQ(site.users[0].id, 2);
    EXPECT_EQ(site.users[0].name, "bert");
    EXPECT_THAT(site.users[0].roles, IsEmpty());
    EXPECT_EQ(site.users[0].person, 70);
    EXPECT_FALSE(site.users[0].has_password);
    EXPECT_EQ(site.users[1].id, 3);
    EXPECT_THAT(site.users[1].roles, ElementsAre("guard", "Administrator"));
    EXPECT_EQ(site.users[1].person, 0);
    EXPECT_EQ(site.access_type, kAccessHttps);
}

TEST_F(SiteStoreTest, AccessTypeIsKept) {
    {
        SiteStore store;
        OpenWithSite(store);
        EXPECT_TRUE(store.SetAccessType(kAccessHttp, error_)) << error_;
    }
    SiteStore store;
    Open(store);
    EXPECT_EQ(Load(store).access_type, kAccessHttp);
}

TEST_F(SiteStoreTest, AccessTypeNeedsASite) {
    SiteStore store;
    Open(store);
    EXPECT_FALSE(store.SetAccessType(kAccessHttp, error_));
    EXPECT_EQ(error_, path_ + ": no site has been imported yet");
}

TEST_F(SiteStoreTest, UsersAreImportedIntoAStoreThatHasNoneAndOnlyThere) {
    SiteStore store;
    Open(store);
    Site without = SmallSite();
    without.roles.clear();
    without.users.clear();
    ASSERT_TRUE(store.Import(without, 1, 2, error_)) << error_;
    EXPECT_TRUE(store.ImportUsers(without, error_)) << error_;
    EXPECT_THAT(Load(store).users, IsEmpty());

    EXPECT_TRUE(store.ImportUsers(SmallSite(), error_)) << error_;
    EXPECT_EQ(Load(store).users.size(), 2U);
    EXPECT_EQ(Load(store).roles.size(), 3U);

    Site other = SmallSite();
    other.users.push_back({4, "carl", {}, 0, false});
    EXPECT_TRUE(store.ImportUsers(other, error_)) << error_;
    EXPECT_EQ(Load(store).users.size(), 2U);
}

TEST_F(SiteStoreTest, ImportOfUsersThatFailsLeavesNone) {
    SiteStore store;
    Open(store);
    Site site = SmallSite();
    site.roles.clear();
    site.users.clear();
    ASSERT_TRUE(store.Import(site, 1, 2, error_)) << error_;
    site = SmallSite();
    site.users[1].id = site.users[0].id;
    EXPECT_FALSE(store.ImportUsers(site, error_));
    EXPECT_EQ(error_, path_ + ": UNIQUE constraint failed: user.id");
    EXPECT_THAT(Load(store).roles, IsEmpty());
}

TEST_F(SiteStoreTest, MissingGuidsAreMadeOnceAndGivenOnesStay) {
    SiteStore store;
    OpenWithSite(store);
    const Site first = Load(store);

    EXPECT_EQ(first.channels[1].guid, "C-2");
    EXPECT_EQ(first.elements[1].guid, "E-2");
    const std::set<std::string> made = {first.devices[1].guid, first.channels[0].guid, first.elements[0].guid};
    EXPECT_EQ(made.size(), 3U);
    for (const std::string& guid : made) {
        EXPECT_EQ(guid.size(), 36U);
    }
    EXPECT_EQ(Load(store).devices[1].guid, first.devices[1].guid);
}

TEST_F(SiteStoreTest, SecondImportIsRefusedAndTheFirstStays) {
    SiteStore store;
    OpenWithSite(store);
    Site other;
    other.database_dir = "/other";

    EXPECT_FALSE(store.Import(other, 1, 2, error_));
    EXPECT_EQ(error_, path_ + ": a site has been imported already");
    EXPECT_EQ(Load(store).database_dir, "/db");
}

TEST_F(SiteStoreTest, ImportThatFailsLeavesNothing) {
    SiteStore store;
    Open(store);
    Site site = SmallSite();
    site.elements[1].channel = 999;

    EXPECT_FALSE(store.Import(site, 1, 2, error_));
    EXPECT_EQ(error_, path_ + ": FOREIGN KEY constraint failed");
    EXPECT_FALSE(store.Imported());
    EXPECT_TRUE(store.Import(SmallSite(), 1, 2, error_)) << error_;
}

TEST_F(SiteStoreTest, GuardAndDatabaseFolderAreKept) {
    {
        SiteStore store;
        OpenWithSite(store);
        EXPECT_TRUE(store.SetGuard(1, false, error_)) << error_;
        EXPECT_TRUE(store.SetGuard(2, true, error_)) << error_;
        EXPECT_TRUE(store.SetDatabaseDir("/elsewhere", error_)) << error_;
    }
    SiteStore store;
    Open(store);
    const Site site = Load(store);
    EXPECT_FALSE(site.devices[0].guard);
    EXPECT_TRUE(site.devices[1].guard);
    EXPECT_EQ(site.database_dir, "/elsewhere");
}

TEST_F(SiteStoreTest, GuardOfAnUnknownDeviceIsRefused) {
    SiteStore store;
    OpenWithSite(store);
    EXPECT_FALSE(store.SetGuard(3, true, error_));
    EXPECT_EQ(error_, path_ + ": there is no device 3");
}

TEST_F(SiteStoreTest, DatabaseFolderNeedsASite) {
    SiteStore store;
    Open(store);
    EXPECT_FALSE(store.SetDatabaseDir("/x", error_));
    EXPECT_EQ(error_, path_ + ": no site has been imported yet");
}

TEST_F(SiteStoreTest, FileThatIsNoDatabaseIsRefused) {
    folder_.Write("site.db", std::string(4096, 'x'));
    SiteStore store;
    EXPECT_FALSE(store.Open(path_, error_));
    EXPECT_EQ(error_, path_ + ": file is not a database");
}

TEST_F(SiteStoreTest, OtherDatabaseIsRefusedAndNotTouched) {
    {
        Database other;
        ASSERT_TRUE(other.Open(path_, std::chrono::seconds(1)));
        ASSERT_TRUE(other.Exec("CREATE TABLE notes (text TEXT)"));
    }
    SiteStore store;
    EXPECT_FALSE(store.Open(path_, error_));
    EXPECT_EQ(error_, path_ + ": holds something else than a site");
}

TEST_F(SiteStoreTest, StoreOfANewerProgramIsRefused) {
    {
        SiteStore store;
        OpenWithSite(store);
    }
    {
        Database newer;
        ASSERT_TRUE(newer.Open(path_, std::chrono::seconds(1)));
        ASSERT_TRUE(newer.Exec("PRAGMA user_version = 3"));
    }
    SiteStore store;
    EXPECT_FALSE(store.Open(path_, error_));
    EXPECT_EQ(error_, path_ +
                          ": was written by a newer program: its tables have version 3, this program knows versions "
                          "up to 2");
}

TEST_F(SiteStoreTest, LockedStoreGivesOneErrorAndWorksAgainAfterwards) {
    SiteStore store;
    OpenWithSite(store);
    Database other;
    ASSERT_TRUE(other.Open(path_, std::chrono::seconds(1)));
    ASSERT_TRUE(other.Exec("BEGIN IMMEDIATE"));

    EXPECT_FALSE(store.SetGuard(1, false, error_));
    EXPECT_EQ(error_, path_ + ": database is locked by another connection for 3000 ms");

    other.Rollback();
    EXPECT_TRUE(store.SetGuard(1, false, error_)) << error_;
}

TEST_F(SiteStoreTest, FullStoreGivesOneErrorAndKeepsWhatItHas) {
    SiteStore store;
    Open(store);
    Site large = SmallSite();
    large.plugins[0].config_json = "\"" + std::string(8 << 20, 'x') + "\"";
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    rlimit small = limit;
    small.rlim_cur = 1 << 20;
    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);

    EXPECT_FALSE(store.Import(large, 1, 2, error_));
    EXPECT_EQ(error_.substr(0, path_.size() + 2), path_ + ": ");
    EXPECT_GT(error_.size(), path_.size() + 2);

    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_FALSE(store.Imported());
    EXPECT_TRUE(store.Import(SmallSite(), 1, 2, error_)) << error_;
}

TEST_F(SiteStoreTest, FolderThatIsNotThereIsNamed) {
    SiteStore store;
    const std::string path = folder_.At("none/site.db");
    EXPECT_FALSE(store.Open(path, error_));
    EXPECT_EQ(error_, path + ": cannot be made: No such file or directory");
}

TEST_F(SiteStoreTest, ChangeThatTheDatabaseRefusesIsToldAndLeavesWhatWas) {
    SiteStore store;
    OpenWithSite(store);
    {
        Database other;
        ASSERT_TRUE(other.Open(path_, std::chrono::seconds(1)));
        ASSERT_TRUE(
            other.Exec("CREATE TRIGGER closed BEFORE UPDATE ON device BEGIN SELECT RAISE(ABORT, 'closed'); END"));
    }
    EXPECT_FALSE(store.SetGuard(1, false, error_));
    EXPECT_EQ(error_, path_ + ": closed");
    EXPECT_TRUE(Load(store).devices[0].guard);
}

TEST_F(SiteStoreTest, StoreThatMayOnlyBeReadIsLoadedAndNotChanged) {
    {
        SiteStore store;
        OpenWithSite(store);
    }
    ASSERT_EQ(chmod(path_.c_str(), 0400), 0);
    if (access(path_.c_str(), W_OK) == 0) {
        // Permissions do not hold the superuser back, so the rest runs as another user.
        ASSERT_EQ(chmod(folder_.At("").c_str(), 0755), 0);
        ASSERT_EQ(chown(path_.c_str(), kNobody, kNobody), 0);
        ASSERT_EQ(chown(folder_.At("").c_str(), kNobody, kNobody), 0);
        ASSERT_EQ(seteuid(kNobody), 0);
    }
    SiteStore store;
    Open(store);
    EXPECT_EQ(Load(store).devices.size(), 2U);
    EXPECT_FALSE(store.SetGuard(1, false, error_));
    EXPECT_EQ(error_, path_ + ": attempt to write a readonly database");
    EXPECT_EQ(seteuid(getuid()), 0);
}

}  // namespace
