#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <string>

#include "standalone/database/SqliteConnect.h"
#include "standalone/database/sqlite/Database.h"
#include "tests/standalone/database/sqlite_connect_fixture.h"

namespace {

using database_test::TempFolder;
using qarplatform::SqliteConnect;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

class SqliteSchemasTest : public database_test::SqliteConnectFixture {};

TEST_F(SqliteSchemasTest, ASchemaIsAFileOfItsName) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE backfill.t(v); INSERT INTO backfill.t VALUES(4)");
    Run(*connect, "CREATE TABLE plain(v)");
    EXPECT_TRUE(Exists("backfill.db"));
    EXPECT_TRUE(Exists("main.db"));
    qarplatform::sqlite::Database file;
    ASSERT_TRUE(file.Open(folder_ / "backfill.db", milliseconds(1000)));
    EXPECT_TRUE(file.Prepare("SELECT v FROM t")) << file.Error();
    ASSERT_TRUE(file.Open(folder_ / "main.db", milliseconds(1000)));
    EXPECT_TRUE(file.Prepare("SELECT v FROM plain")) << file.Error();
}

TEST_F(SqliteSchemasTest, FilesOfTheFolderAreAttachedOnOpen) {
    Run(*Connect(), "CREATE TABLE a.t(v); CREATE TABLE b.t(v)");
    const auto connect = Connect();
    EXPECT_THAT(Values(*connect, "SELECT name AS v FROM pragma_database_list ORDER BY 1"),
                ElementsAre("a", "b", "main"));
}

TEST_F(SqliteSchemasTest, FilesNamedAsBuiltInSchemasAreNotAttached) {
    std::ofstream(folder_ / "temp.db").flush();
    Connect();
    testing::internal::CaptureStderr();
    const auto connect = Connect();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(Values(*connect, "SELECT name AS v FROM pragma_database_list ORDER BY 1"), ElementsAre("main"));
}

TEST_F(SqliteSchemasTest, ASchemaThatAnotherConnectionMadeIsAttachedWhenItIsNamed) {
    for (const char* statement :
         {"SELECT v FROM s.t", "INSERT INTO s.t VALUES(1)", "UPDATE s.t SET v = 2", "DELETE FROM s.t",
          "CREATE TABLE s.u(v)", "CREATE INDEX s.i ON t(v)", "ALTER TABLE s.t ADD COLUMN w", "DROP TABLE s.t",
          "PRAGMA s.user_version", "SELECT v FROM \"S\".t", "INSERT INTO own VALUES(1); INSERT INTO s.t VALUES(1)"}) {
        const TempFolder folder;
        std::string error;
        const auto first = SqliteConnect::Open(folder.Path(), milliseconds(1000), error);
        const auto second = SqliteConnect::Open(folder.Path(), milliseconds(1000), error);
        ASSERT_TRUE(first && second) << error;
        Run(*first, "CREATE TABLE own(v)");
        Run(*first, "CREATE TABLE s.t(v)");
        EXPECT_TRUE(second->Query(statement)) << statement << ": " << Error(*second);
    }
}

TEST_F(SqliteSchemasTest, DropIfExistsReachesASchemaThatIsNotAttachedYet) {
    const auto second = Connect();
    const auto third = Connect();
    const auto first = Connect();
    Run(*first, "CREATE TABLE s.t(old)");
    Run(*second, "DROP TABLE IF EXISTS s.t; CREATE TABLE s.t(v)");
    EXPECT_TRUE(second->Query("SELECT v FROM s.t")) << Error(*second);
    Run(*third, "DROP TABLE IF EXISTS s.t");
    EXPECT_FALSE(first->Query("SELECT v FROM s.t"));
}

TEST_F(SqliteSchemasTest, ATextThatNeedsASchemaMidwayIsRunOnceAsAWhole) {
    const auto connect = Connect();
    Run(*connect,
        "CREATE TABLE t(v); INSERT INTO t VALUES(1); CREATE TABLE s.t(v); INSERT INTO s.t SELECT v + 1 FROM t");
    EXPECT_THAT(Values(*connect, "SELECT v FROM t"), ElementsAre("1"));
    EXPECT_THAT(Values(*connect, "SELECT v FROM s.t"), ElementsAre("2"));
    Run(*connect, "BEGIN; INSERT INTO t VALUES(3); CREATE TABLE z.t(v); COMMIT");
    EXPECT_THAT(Values(*connect, "SELECT v FROM t"), ElementsAre("1", "3"));
    Run(*connect,
        "BEGIN; INSERT INTO t VALUES(5); COMMIT; BEGIN; INSERT INTO t VALUES(7); CREATE TABLE y.t(v); COMMIT");
    EXPECT_THAT(Values(*connect, "SELECT v FROM t"), ElementsAre("1", "3", "5", "7"));
}

TEST_F(SqliteSchemasTest, ASchemaCannotBeAttachedInsideACallersTransaction) {
    const auto connect = Connect();
    Run(*connect, "BEGIN");
    EXPECT_FALSE(connect->Execute("CREATE TABLE s.t(v)"));
    EXPECT_THAT(Error(*connect), HasSubstr("transaction is open"));
    Run(*connect, "COMMIT");
    Run(*connect, "CREATE TABLE s.t(v)");
}

TEST_F(SqliteSchemasTest, ReadingASchemaThatIsNotThereMakesNoFile) {
    const auto connect = Connect();
    EXPECT_FALSE(connect->Query("SELECT * FROM s.t"));
    EXPECT_EQ(Error(*connect), "no such table: s.t");
    EXPECT_FALSE(connect->Query("PRAGMA s.user_version"));
    EXPECT_TRUE(connect->Execute("DROP TABLE IF EXISTS s.t"));
    EXPECT_FALSE(Exists("s.db"));
}

TEST_F(SqliteSchemasTest, SchemaNamesThatAreNoPlainNamesAreRefused) {
    const auto connect = Connect();
    for (const char* name : {"\"../evil\"", "\"a b\"", "[a/b]", "`9a`", "\"a.b\"", "\"\xC3\xA4\"", "\"\""}) {
        EXPECT_FALSE(connect->Execute(std::string("CREATE TABLE ") + name + ".t(v)")) << name;
        EXPECT_THAT(Error(*connect), HasSubstr("is refused")) << name;
    }
    EXPECT_FALSE(std::ifstream(folder_ / "../evil.db").good());
}

TEST_F(SqliteSchemasTest, AttachAndDetachAreRefused) {
    const auto connect = Connect();
    EXPECT_FALSE(connect->Execute("ATTACH '/tmp/a.db' AS a"));
    EXPECT_THAT(Error(*connect), HasSubstr("refused"));
    EXPECT_FALSE(connect->Execute("CREATE TABLE t(v); DETACH a"));
    EXPECT_FALSE(connect->Query("SELECT v FROM t"));
}

TEST_F(SqliteSchemasTest, NamesOfSchemasKnowNoCase) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE Backfill.t(v)");
    Run(*connect, "INSERT INTO BACKFILL.t VALUES(1)");
    EXPECT_TRUE(Exists("backfill.db"));
    const auto other = Connect();
    EXPECT_EQ(Number(*other, "SELECT v FROM backFill.t"), 1);
}

TEST_F(SqliteSchemasTest, TheEleventhSchemaIsRefusedWithAClearTextAndTheOthersGoOn) {
    const auto connect = Connect();
    for (int i = 0; i < 10; ++i) {
        Run(*connect, "CREATE TABLE s" + std::to_string(i) + ".t(v)");
    }
    EXPECT_FALSE(connect->Execute("CREATE TABLE s10.t(v)"));
    EXPECT_EQ(Error(*connect),
              "schema s10 cannot be attached: 10 schemas are attached already, which is the most SQLite takes here");
    EXPECT_FALSE(Exists("s10.db"));
    Run(*connect, "INSERT INTO s9.t VALUES(1); INSERT INTO s0.t VALUES(1)");
}

TEST_F(SqliteSchemasTest, AFileThatIsNoDatabaseSpoilsItsSchemaOnly) {
    std::ofstream(folder_ / "broken.db") << std::string(8192, '#');
    testing::internal::CaptureStderr();
    const auto connect = Connect();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("broken.db"));
    Run(*connect, "CREATE TABLE good.t(v)");
    EXPECT_FALSE(connect->Query("SELECT * FROM broken.t"));
    EXPECT_THAT(Error(*connect), HasSubstr("schema broken cannot be attached"));
    Run(*connect, "INSERT INTO good.t VALUES(1)");
}

TEST_F(SqliteSchemasTest, FilesAreForTheOwnerOnly) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE t(v); CREATE TABLE s.t(v)");
    for (const char* file : {"main.db", "main.db-wal", "main.db-shm", "s.db", "s.db-wal"}) {
        struct stat found;
        ASSERT_EQ(stat((folder_ / file).c_str(), &found), 0) << file;
        EXPECT_EQ(found.st_mode & 0777, 0600u) << file;
    }
}

TEST_F(SqliteSchemasTest, EveryFileIsInWriteAheadModeWithForeignKeysChecked) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE s.t(v INTEGER PRIMARY KEY); CREATE TABLE s.u(v REFERENCES t(v))");
    for (const char* schema : {"main", "s"}) {
        ASSERT_TRUE(connect->Query(std::string("PRAGMA ") + schema + ".journal_mode"));
        EXPECT_EQ(connect->GetString("journal_mode"), "wal") << schema;
        ASSERT_TRUE(connect->Query(std::string("PRAGMA ") + schema + ".synchronous"));
        EXPECT_EQ(connect->GetInt("synchronous"), 1) << schema;
    }
    EXPECT_FALSE(connect->Execute("INSERT INTO s.u VALUES(1)"));
    EXPECT_THAT(Error(*connect), HasSubstr("FOREIGN KEY"));
}

}  // namespace
