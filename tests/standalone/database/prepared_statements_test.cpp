#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <random>
#include <string>

#include "standalone/database/SqliteConnect.h"
#include "standalone/database/sqlite/Database.h"
#include "tests/standalone/database/sqlite_connect_fixture.h"

namespace {

using qarplatform::SqliteConnect;
using qarplatform::sqlite::Database;
using qarplatform::sqlite::Statement;
using testing::ElementsAre;

// Statements that a connection keeps prepared: what texts do must not depend on it.
class PreparedStatementsTest : public database_test::SqliteConnectFixture {};

constexpr char kTable[] =
    "CREATE TABLE s.t(id INTEGER PRIMARY KEY, n INTEGER CHECK(n < 900), x TEXT UNIQUE, r REAL, v)";

/// Makes INSERTs, UPDATEs and DELETEs out of values of every kind, most of them right.
class RandomStatements {
public:
    std::string Next() {
        static const char* const kEnds[] = {
            "", "", "", "", ";", " ; ", " -- 1 ' ?", "/* 2 */;", "; DELETE FROM s.t WHERE id = 3"};
        return Body() + Any(kEnds);
    }

private:
    template <std::size_t N>
    const char* Any(const char* const (&texts)[N]) {
        return texts[Below(N)];
    }

    std::size_t Below(std::size_t end) { return random_() / 7 % end; }

    std::string Value() {
        static const char* const kValues[] = {"0",
                                              "1",
                                              "2",
                                              "3",
                                              "7",
                                              "-5",
                                              "- 6",
                                              "+8",
                                              "007",
                                              "899",
                                              "900",
                                              "123456789012345678",
                                              "1234567890123456789",
                                              "9223372036854775807",
                                              "9223372036854775808",
                                              "1.5",
                                              ".5",
                                              "5.",
                                              "1e2",
                                              "2E+1",
                                              "0x1F",
                                              "NULL",
                                              "TRUE",
                                              "''",
                                              "'a'",
                                              "'A'",
                                              "'b'",
                                              "'it''s'",
                                              "''''",
                                              "'7'",
                                              "'7.0'",
                                              "' 7'",
                                              "'1e2'",
                                              "'a?1'",
                                              "'n'",
                                              "'-- '",
                                              "'2026-03-01 08:00:00'",
                                              "x'61'",
                                              "x''",
                                              "\"n\"",
                                              "\"none\"",
                                              "n",
                                              "x",
                                              "v",
                                              "?",
                                              "?1",
                                              ":a",
                                              "'open"};
        return Any(kValues);
    }

    std::string Expression() {
        switch (Below(14)) {
            case 0:
                return Value() + " || " + Value();
            case 1:
                return Value() + " + " + Value();
            case 2:
                return "CASE WHEN n = " + Value() + " THEN " + Value() + " ELSE " + Value() + " END";
            case 3:
                return "CAST(" + Value() + " AS VARCHAR(7))";
            case 4:
                return "coalesce(NULL, " + Value() + ")";
            case 5:
                return "length(" + Value() + ")";
            case 6:
                return "(SELECT " + Value() + ")";
            default:
                return Value();
        }
    }

    std::string Condition() {
        static const char* const kColumns[] = {"n", "x", "r", "v", "id", "s.t.n", "\"x\"", "'x'", "1"};
        static const char* const kSigns[] = {" = ", " < ", " >= ", " IS ", " LIKE ", " <> ", " COLLATE NOCASE = "};
        switch (Below(6)) {
            case 0:
                return Any(kColumns) + std::string(" IN (") + Value() + ", " + Value() + ")";
            case 1:
                return Any(kColumns) + std::string(" BETWEEN ") + Value() + " AND " + Value();
            case 2:
                return Any(kColumns) + std::string(" LIKE ") + Value() + " ESCAPE '\\'";
            default:
                return Any(kColumns) + std::string(Any(kSigns)) + Expression();
        }
    }

    std::string Where() { return " WHERE " + Condition() + (Below(3) == 0 ? " and " + Condition() : ""); }

    std::string Body() {
        static const char* const kInserts[] = {
            "INSERT INTO s.t",  "insert into \"s\".t", "INSERT OR REPLACE INTO s.t", "INSERT OR IGNORE INTO s.t",
            "REPLACE INTO s.t", "INSERT INTO t",       "INSERT INTO s . t",          "INSERT INTO 's'.'t'"};
        static const char* const kConflicts[] = {"",
                                                 "",
                                                 "",
                                                 "",
                                                 " ON CONFLICT(x) DO UPDATE SET n = 5, v = excluded.v",
                                                 " ON CONFLICT DO NOTHING",
                                                 " RETURNING 1"};
        switch (Below(8)) {
            case 0:
            case 1:
            case 2:
            case 3:
                return Any(kInserts) + std::string("(n, x, r, v) VALUES(") + Expression() + ", " + Expression() + ", " +
                       Expression() + "," + Expression() + ")" + Any(kConflicts);
            case 4:
                return "INSERT INTO s.t(n, v) SELECT n, " + Value() + " FROM s.t ORDER BY 1 LIMIT 1";
            case 5:
                return "DELETE FROM s.t" + Where() + (Below(2) == 0 ? " AND n = 7" : "");
            default:
                return std::string("UPDATE ") + (Below(9) == 0 ? "OR IGNORE " : "") + "s.t SET n = " + Expression() +
                       ", v = " + Expression() + (Below(9) == 0 ? " FROM t" : "") + Where();
        }
    }

    std::minstd_rand random_{7};
};

std::string RowsOf(Database& database) {
    std::string rows;
    Statement select = database.Prepare(
        "SELECT id || '|' || quote(n) || quote(x) || quote(r) || quote(v) || typeof(n) || typeof(v) FROM s.t ORDER BY id");
    while (select.Step() == Statement::Result::kRow) {
        rows += select.Text(0) + "\n";
    }
    return rows;
}

TEST_F(PreparedStatementsTest, RandomTextsDoWhatTheyDoOnABareConnection) {
    const auto connect = Connect();
    Run(*connect, kTable);
    const database_test::TempFolder bare_folder;
    Database bare;
    ASSERT_TRUE(bare.Open(bare_folder / "main.db", std::chrono::seconds(1)));
    ASSERT_TRUE(bare.Attach(bare_folder / "s.db", "s"));
    ASSERT_TRUE(bare.Exec(kTable));
    Database seen;
    ASSERT_TRUE(seen.Open(folder_ / "main.db", std::chrono::seconds(1)));
    ASSERT_TRUE(seen.Attach(folder_ / "s.db", "s"));

    RandomStatements statements;
    int succeeded = 0;
    for (int i = 0; i < 6000 && !HasFailure(); ++i) {
        const std::string sql = statements.Next();
        const bool several = sql.find("; DELETE") != std::string::npos;
        const bool expected = several ? bare.InTransaction([&] { return bare.Exec(sql); }) : bare.Exec(sql);
        EXPECT_EQ(connect->Execute(sql), expected) << sql;
        if (!expected) {
            EXPECT_EQ(Error(*connect), bare.Error()) << sql;
        }
        succeeded += expected ? 1 : 0;
        if (i % 50 == 0) {
            ASSERT_EQ(RowsOf(seen), RowsOf(bare)) << sql;
        }
    }
    EXPECT_EQ(RowsOf(seen), RowsOf(bare));
    EXPECT_GT(succeeded, 1500);
}

TEST_F(PreparedStatementsTest, AChangeOfTheTableBetweenTwoTextsIsSeen) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE s.t(v)");
    Run(*connect, "INSERT INTO s.t VALUES(1)");
    Run(*connect, "DROP TABLE s.t; CREATE TABLE s.t(v TEXT)");
    Run(*connect, "INSERT INTO s.t VALUES(2)");
    EXPECT_THAT(Values(*connect, "SELECT typeof(v) AS v FROM s.t"), ElementsAre("text"));
    Run(*connect, "DROP TABLE s.t");
    EXPECT_FALSE(connect->Execute("INSERT INTO s.t VALUES(3)"));
    EXPECT_EQ(Error(*connect), "no such table: s.t");
    Run(*connect, "CREATE TABLE s.t(v, w)");
    EXPECT_FALSE(connect->Execute("INSERT INTO s.t VALUES(4)"));
    EXPECT_EQ(Error(*connect), "table s.t has 2 columns but 1 values were supplied");
}

TEST_F(PreparedStatementsTest, ASchemaThatAnotherConnectionMadeIsAttachedWhenAChangeNamesIt) {
    const auto connect = Connect();
    const auto other = Connect();
    Run(*other, "CREATE TABLE late.t(v)");
    Run(*connect, "INSERT INTO late.t VALUES(1)");
    EXPECT_EQ(Number(*other, "SELECT count(*) AS v FROM late.t"), 1);
}

TEST_F(PreparedStatementsTest, ManyDifferentStatementsTakeTurns) {
    const auto connect = Connect();
    std::string columns;
    for (int i = 0; i < 40; ++i) {
        columns += ", c" + std::to_string(i) + " DEFAULT 0";
    }
    Run(*connect, "CREATE TABLE s.t(id INTEGER PRIMARY KEY" + columns + ")");
    Run(*connect, "INSERT INTO s.t(id) VALUES(1)");
    for (int round = 1; round <= 3; ++round) {
        for (int i = 0; i < 40; ++i) {
            Run(*connect,
                "UPDATE s.t SET c" + std::to_string(i) + " = " + std::to_string(round * 100 + i) + " WHERE id = 1");
        }
    }
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(Number(*connect, "SELECT c" + std::to_string(i) + " AS v FROM s.t"), 300 + i);
    }
}

TEST_F(PreparedStatementsTest, AFailedChangeIsForgottenAndTheNextOneWorks) {
    const auto connect = Connect();
    Run(*connect, kTable);
    Run(*connect, "INSERT INTO s.t(id, x) VALUES(1, 'a')");
    EXPECT_FALSE(connect->Execute("INSERT INTO s.t(id, x) VALUES(2, 'a')"));
    EXPECT_EQ(Error(*connect), "UNIQUE constraint failed: t.x");
    Run(*connect, "INSERT INTO s.t(id, x) VALUES(3, 'b')");
    const auto other = Connect();
    Run(*other, "DELETE FROM s.t WHERE id = 1");
    EXPECT_THAT(Values(*connect, "SELECT x AS v FROM s.t"), ElementsAre("b"));
}

}  // namespace
