#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>

#include "standalone/database/sqlite/Database.h"
#include "standalone/site/SiteStore.h"
#include "standalone/site/site_folder.h"

namespace {

using qarplatform::Site;
using qarplatform::SiteStore;
using qarplatform::sqlite::Database;
using qarplatform::sqlite::Statement;
using testing::IsEmpty;
using namespace ZELPlatform::InterfaceCommonData::AccesstypeInfo;

/// A store as version 1 of the tables was made and filled.
constexpr const char* kVersion1 = R"sql(
CREATE TABLE site (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    origin_ms INTEGER NOT NULL,
    start_ms INTEGER NOT NULL,
    database_dir TEXT NOT NULL) STRICT;
CREATE TABLE zone (
    position INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    display_name TEXT NOT NULL,
    bias INTEGER NOT NULL,
    has_daylight INTEGER NOT NULL,
    daylight_enable INTEGER NOT NULL,
    daylight_date TEXT NOT NULL,
    standard_date TEXT NOT NULL,
    daylight_bias INTEGER NOT NULL) STRICT;
CREATE TABLE area (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL,
    parent INTEGER NOT NULL) STRICT;
CREATE TABLE device (
    id INTEGER PRIMARY KEY,
    type INTEGER NOT NULL,
    guid TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    probe TEXT NOT NULL,
    archive TEXT NOT NULL,
    zone TEXT NOT NULL,
    guard INTEGER NOT NULL) STRICT;
CREATE TABLE channel (
    id INTEGER PRIMARY KEY,
    type INTEGER NOT NULL,
    guid TEXT NOT NULL UNIQUE,
    device INTEGER NOT NULL REFERENCES device (id),
    no INTEGER NOT NULL) STRICT;
CREATE TABLE element (
    id INTEGER PRIMARY KEY,
    guid TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    channel INTEGER NOT NULL REFERENCES channel (id),
    area INTEGER NOT NULL,
    create_time INTEGER NOT NULL) STRICT;
CREATE TABLE plugin (
    position INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    path TEXT NOT NULL,
    config_json TEXT NOT NULL) STRICT;
INSERT INTO site VALUES (1, 1000, 2000, '/db');
INSERT INTO zone VALUES (1, 'west5', 'Five west', 300, 1, 1, '3:2:0:2:0', '11:1:0:2:0', -60);
INSERT INTO area VALUES (1, 'Yard', 0);
INSERT INTO device VALUES (1, 2001, 'D-1', 'Gate camera', 'tcp://127.0.0.1:80', '', 'west5', 0);
INSERT INTO channel VALUES (101, 1001, 'C-1', 1, 4);
INSERT INTO element VALUES (1001, 'E-1', 'Gate', 101, 1, 77);
INSERT INTO plugin VALUES (1, 'p', '/p.so', '{}');
PRAGMA application_id = 1363235411;
PRAGMA user_version = 1;
)sql";

class SiteUpgradeTest : public testing::Test {
protected:
    SiteUpgradeTest() { Run(kVersion1); }

    void Run(const std::string& sql) {
        Database database;
        EXPECT_TRUE(database.Open(path_, std::chrono::seconds(1))) << database.Error();
        EXPECT_TRUE(database.Exec(sql)) << database.Error();
    }

    std::string Value(const std::string& sql) const {
        Database database;
        EXPECT_TRUE(database.Open(path_, std::chrono::seconds(1))) << database.Error();
        Statement row = database.Prepare(sql);
        return row.Step() == Statement::Result::kRow ? row.Text(0) : "no row";
    }

    std::string Tables() const {
        return Value(
            "SELECT group_concat(name) FROM (SELECT name FROM sqlite_schema "
            "WHERE type = 'table' ORDER BY name)");
    }

    void ExpectAllIsThere(SiteStore& store) {
        Site site;
        int64_t origin = 0;
        int64_t start = 0;
        ASSERT_TRUE(store.Load(site, origin, start, error_)) << error_;
        EXPECT_EQ(origin, 1000);
        EXPECT_EQ(start, 2000);
        EXPECT_EQ(site.database_dir, "/db");
        EXPECT_EQ(site.access_type, kAccessHttp);
        ASSERT_EQ(site.zones.size(), 1U);
        EXPECT_EQ(site.zones[0].daylight_date, "3:2:0:2:0");
        ASSERT_EQ(site.areas.size(), 1U);
        EXPECT_EQ(site.areas[0].name, "Yard");
        ASSERT_EQ(site.devices.size(), 1U);
        EXPECT_EQ(site.devices[0].guid, "D-1");
        EXPECT_FALSE(site.devices[0].guard);
        ASSERT_EQ(site.channels.size(), 1U);
        EXPECT_EQ(site.channels[0].no, 4);
        ASSERT_EQ(site.elements.size(), 1U);
        EXPECT_EQ(site.elements[0].create_time, 77);
        ASSERT_EQ(site.plugins.size(), 1U);
        EXPECT_EQ(site.plugins[0].path, "/p.so");
        EXPECT_THAT(site.users, IsEmpty());
        EXPECT_THAT(site.roles, IsEmpty());
    }

    site_test::SiteFolder folder_;
    std::string path_ = folder_.At("site.db");
    std::string error_;
};

constexpr const char* kOldTables = "area,channel,device,element,plugin,site,zone";

TEST_F(SiteUpgradeTest, OlderStoreIsRaisedAndKeepsAll) {
    {
        SiteStore store;
        ASSERT_TRUE(store.Open(path_, error_)) << error_;
        EXPECT_TRUE(store.Imported());
        ExpectAllIsThere(store);
        Site users;
        users.users = {{7, "anna", {}, 0, false}};
        EXPECT_TRUE(store.ImportUsers(users, error_)) << error_;
    }
    EXPECT_EQ(Value("PRAGMA user_version"), "2");
    EXPECT_EQ(Value("SELECT name FROM user"), "anna");
    SiteStore again;
    EXPECT_TRUE(again.Open(path_, error_)) << error_;
}

TEST_F(SiteUpgradeTest, RaisedStoreEqualsANewOne) {
    {
        SiteStore raised;
        ASSERT_TRUE(raised.Open(path_, error_)) << error_;
    }
    const std::string raised = Tables();
    const std::string columns = Value("SELECT group_concat(name) FROM pragma_table_info('site')");
    path_ = folder_.At("new.db");
    SiteStore made;
    ASSERT_TRUE(made.Open(path_, error_)) << error_;
    EXPECT_EQ(Tables(), raised);
    EXPECT_EQ(Value("SELECT group_concat(name) FROM pragma_table_info('site')"), columns);
}

TEST_F(SiteUpgradeTest, RaisingThatFailsLeavesTheOlderStoreWhole) {
    Run("CREATE TABLE session (mine TEXT)");
    SiteStore store;
    EXPECT_FALSE(store.Open(path_, error_));
    EXPECT_EQ(error_, path_ + ": table session already exists");
    EXPECT_EQ(Value("PRAGMA user_version"), "1");
    EXPECT_EQ(Tables(), "area,channel,device,element,plugin,session,site,zone");
    EXPECT_EQ(Value("SELECT group_concat(name) FROM pragma_table_info('site')"), "one,origin_ms,start_ms,database_dir");
}

/// Ends the process where a transaction is about to be committed.
int EndAtCommit(sqlite3* database, char**, const sqlite3_api_routines*) {
    sqlite3_commit_hook(
        database,
        [](void*) {
            kill(getpid(), SIGKILL);
            return 0;
        },
        nullptr);
    return SQLITE_OK;
}

TEST_F(SiteUpgradeTest, KillDuringTheRaisingLeavesTheOlderStoreWhole) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&EndAtCommit));
        SiteStore store;
        store.Open(path_, error_);
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_EQ(Value("PRAGMA user_version"), "1");
    EXPECT_EQ(Tables(), kOldTables);
    SiteStore store;
    ASSERT_TRUE(store.Open(path_, error_)) << error_;
    ExpectAllIsThere(store);
}

TEST_F(SiteUpgradeTest, ReadingAnOlderStoreLeavesItAsItIs) {
    SiteStore store;
    ASSERT_TRUE(store.OpenToRead(path_, error_)) << error_;
    EXPECT_TRUE(store.Imported());
    ExpectAllIsThere(store);
    EXPECT_EQ(Value("PRAGMA user_version"), "1");
    EXPECT_EQ(Tables(), kOldTables);
}

TEST_F(SiteUpgradeTest, EmptyFileIsReadAsAStoreWithoutASite) {
    SiteStore store;
    ASSERT_TRUE(store.OpenToRead(folder_.Write("empty.db", ""), error_)) << error_;
    EXPECT_FALSE(store.Imported());
    path_ = folder_.At("empty.db");
    EXPECT_EQ(Value("PRAGMA user_version"), "0");
}

TEST_F(SiteUpgradeTest, VersionThatCannotBeIsRefused) {
    for (const char* version : {"0", "-1", "3"}) {
        Run(std::string("PRAGMA user_version = ") + version);
        SiteStore store;
        EXPECT_FALSE(store.Open(path_, error_)) << version;
        EXPECT_FALSE(store.OpenToRead(path_, error_)) << version;
    }
    EXPECT_EQ(Tables(), kOldTables);
}

}  // namespace
