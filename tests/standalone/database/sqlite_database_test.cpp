#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <utility>

#include "standalone/database/sqlite/Database.h"
#include "tests/standalone/database/temp_folder.h"

namespace {

using database_test::TempFolder;
using qarplatform::sqlite::Database;
using qarplatform::sqlite::QuotedName;
using qarplatform::sqlite::Statement;
using std::chrono::milliseconds;
using testing::HasSubstr;

class SqliteDatabaseTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(database_.Open(folder_ / "a.db", milliseconds(1000))) << database_.Error(); }

    int64_t Count() {
        Statement count = database_.Prepare("SELECT count(*) FROM t");
        return count.Step() == Statement::Result::kRow ? count.Int(0) : -1;
    }

    TempFolder folder_;
    Database database_;
};

TEST_F(SqliteDatabaseTest, ValuesGoInByParametersAndComeBackByColumns) {
    ASSERT_TRUE(database_.Exec("CREATE TABLE t(a, b, c)"));
    Statement insert = database_.Prepare("INSERT INTO t VALUES(?1, ?2, ?3)");
    ASSERT_TRUE(insert && insert.BindInt(1, INT64_MIN) && insert.BindText(2, std::string_view("x\0y", 3)) &&
                insert.BindNull(3));
    EXPECT_FALSE(insert.BindInt(4, 1));
    ASSERT_TRUE(insert.Run());
    insert.Reset();
    ASSERT_TRUE(insert.BindText(3, std::string_view()) && insert.Run());
    Statement select = database_.Prepare("SELECT a, b, c FROM t ORDER BY rowid");
    ASSERT_EQ(select.Step(), Statement::Result::kRow);
    EXPECT_EQ(select.ColumnCount(), 3);
    EXPECT_EQ(select.ColumnName(1), "b");
    EXPECT_EQ(select.Int(0), INT64_MIN);
    EXPECT_EQ(select.Text(1), std::string("x\0y", 3));
    EXPECT_TRUE(select.IsNull(2));
    EXPECT_EQ(select.Text(2), "");
    ASSERT_EQ(select.Step(), Statement::Result::kRow);
    EXPECT_FALSE(select.IsNull(2));
    EXPECT_EQ(select.Step(), Statement::Result::kDone);
}

TEST_F(SqliteDatabaseTest, ExecRunsAllStatementsOfAText) {
    EXPECT_TRUE(
        database_.Exec("CREATE TABLE t(a); INSERT INTO t VALUES(1); SELECT a FROM t; INSERT INTO t VALUES(2) -- end"));
    EXPECT_EQ(Count(), 2);
    EXPECT_TRUE(database_.Exec(""));
    EXPECT_TRUE(database_.Exec(" -- nothing"));
}

TEST_F(SqliteDatabaseTest, AFailureHasCodeAndTextUntilTheNextSuccess) {
    EXPECT_FALSE(database_.Prepare("SELECT a FROM missing"));
    EXPECT_EQ(database_.ErrorCode(), SQLITE_ERROR);
    EXPECT_EQ(database_.Error(), "no such table: missing");
    EXPECT_TRUE(database_.Exec("CREATE TABLE t(a UNIQUE)"));
    EXPECT_EQ(database_.ErrorCode(), 0);
    EXPECT_EQ(database_.Error(), "");
    EXPECT_FALSE(database_.Exec("INSERT INTO t VALUES(1), (1)"));
    EXPECT_EQ(database_.ErrorCode(), SQLITE_CONSTRAINT_UNIQUE);
}

TEST_F(SqliteDatabaseTest, PrepareHandsOutTheRestOfTheText) {
    std::string_view rest;
    EXPECT_TRUE(database_.Prepare("SELECT 1; SELECT 2", &rest));
    EXPECT_EQ(rest, " SELECT 2");
    EXPECT_FALSE(database_.Prepare(" -- nothing", &rest));
    EXPECT_EQ(rest, "");
    EXPECT_EQ(database_.ErrorCode(), 0);
}

TEST_F(SqliteDatabaseTest, ATransactionIsKeptOnTrueAndRolledBackOnFalse) {
    ASSERT_TRUE(database_.Exec("CREATE TABLE t(a)"));
    EXPECT_TRUE(database_.InTransaction([&] {
        EXPECT_TRUE(database_.InOpenTransaction());
        return database_.Exec("INSERT INTO t VALUES(1)");
    }));
    EXPECT_FALSE(database_.InTransaction(
        [&] { return database_.Exec("INSERT INTO t VALUES(2)") && database_.Exec("INSERT INTO u VALUES(2)"); }));
    EXPECT_EQ(database_.Error(), "no such table: u");
    EXPECT_FALSE(database_.InOpenTransaction());
    EXPECT_EQ(Count(), 1);
}

TEST_F(SqliteDatabaseTest, AStatementMayBeMoved) {
    Statement first = database_.Prepare("SELECT 1");
    Statement second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.Step(), Statement::Result::kRow);
    second = Statement();
    EXPECT_FALSE(second);
}

TEST_F(SqliteDatabaseTest, AClosedDatabaseAnswersFailure) {
    database_.Close();
    EXPECT_FALSE(database_.IsOpen());
    EXPECT_FALSE(database_.Prepare("SELECT 1"));
    EXPECT_EQ(database_.Error(), "the database is not open");
    EXPECT_FALSE(database_.Exec("SELECT 1"));
    EXPECT_FALSE(database_.InOpenTransaction());
}

TEST_F(SqliteDatabaseTest, AttachedFilesAreReadByTheirNameAndABrokenOneLeavesNothingBehind) {
    EXPECT_TRUE(database_.Attach(folder_ / "b.db", "odd \"name")) << database_.Error();
    EXPECT_TRUE(database_.Exec("CREATE TABLE " + QuotedName("odd \"name") + ".t(a)"));
    std::ofstream(folder_ / "c.db") << std::string(8192, '#');
    EXPECT_FALSE(database_.Attach(folder_ / "c.db", "c"));
    EXPECT_THAT(database_.Error(), HasSubstr("c.db: file is not a database"));
    EXPECT_FALSE(database_.Exec("CREATE TABLE c.t(a)"));
    EXPECT_FALSE(database_.Attach(folder_ / "missing/d.db", "d"));
    EXPECT_THAT(database_.Error(), HasSubstr("missing/d.db: cannot be made: No such file or directory"));
}

TEST_F(SqliteDatabaseTest, ARelativePathIsNeverTakenForAUri) {
    ASSERT_EQ(chdir(folder_.Path().c_str()), 0);
    Database database;
    EXPECT_TRUE(database.Open("file:x.db?mode=memory", milliseconds(0))) << database.Error();
    EXPECT_TRUE(std::ifstream(folder_ / "file:x.db?mode=memory").good());
    EXPECT_FALSE(database.Open("", milliseconds(0)));
    EXPECT_FALSE(database.Open("missing/x.db", milliseconds(0)));
    EXPECT_EQ(database.Error(), "missing/x.db: cannot be made: No such file or directory");
}

TEST_F(SqliteDatabaseTest, ADeadlineEndsAStatementAndCanBeTakenAway) {
    const std::string endless =
        "WITH RECURSIVE n(v) AS (SELECT 1 UNION ALL SELECT v + 1 FROM n) SELECT count(*) FROM n";
    database_.SetDeadline(std::chrono::steady_clock::now());
    EXPECT_FALSE(database_.Exec(endless));
    EXPECT_EQ(database_.ErrorCode(), SQLITE_INTERRUPT);
    database_.SetDeadline(std::nullopt);
    EXPECT_TRUE(database_.Exec(
        "WITH RECURSIVE n(v) AS (SELECT 1 UNION ALL SELECT v + 1 FROM n LIMIT 100000) SELECT count(*) FROM n"));
}

}  // namespace
