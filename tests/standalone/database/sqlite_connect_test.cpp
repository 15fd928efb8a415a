#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "standalone/database/SqliteConnect.h"
#include "tests/standalone/database/sqlite_connect_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class SqliteConnectTest : public database_test::SqliteConnectFixture {};

// --- rows ------------------------------------------------------------------------------------------------------------

TEST_F(SqliteConnectTest, RowsAreReadOneAfterTheOtherUpToTheEnd) {
    const auto connect = Connect();
    ASSERT_TRUE(connect->Query("SELECT 1 AS v UNION ALL SELECT 2"));
    EXPECT_FALSE(connect->IsEnd());
    EXPECT_EQ(connect->GetInt("v"), 1);
    EXPECT_EQ(connect->GetInt("v"), 1);
    connect->MoveNext();
    EXPECT_FALSE(connect->IsEnd());
    EXPECT_EQ(connect->GetInt("v"), 2);
    connect->MoveNext();
    EXPECT_TRUE(connect->IsEnd());
    EXPECT_EQ(connect->GetInt("v"), 0);
    EXPECT_EQ(connect->GetString("v"), "");
    connect->MoveNext();
    EXPECT_TRUE(connect->IsEnd());
}

TEST_F(SqliteConnectTest, WithoutResultTheConnectionIsAtItsEnd) {
    const auto connect = Connect();
    EXPECT_TRUE(connect->IsEnd());
    EXPECT_EQ(connect->GetString("v"), "");
    ASSERT_TRUE(connect->Query("SELECT 1 AS v WHERE 0"));
    EXPECT_TRUE(connect->IsEnd());
    ASSERT_TRUE(connect->Query("CREATE TABLE t(v)"));
    EXPECT_TRUE(connect->IsEnd());
}

TEST_F(SqliteConnectTest, ColumnsAreNamedWithoutRegardToCase) {
    const auto connect = Connect();
    ASSERT_TRUE(connect->Query("SELECT 5 AS Camera_ID"));
    EXPECT_EQ(connect->GetInt("camera_id"), 5);
    EXPECT_EQ(connect->GetInt("CAMERA_ID"), 5);
    EXPECT_EQ(connect->GetInt("camera_i"), 0);
    EXPECT_EQ(connect->GetInt(""), 0);
}

TEST_F(SqliteConnectTest, OfColumnsWithOneNameTheFirstIsRead) {
    const auto connect = Connect();
    ASSERT_TRUE(connect->Query("SELECT 1 AS a, 2 AS A"));
    EXPECT_EQ(connect->GetInt("A"), 1);
}

TEST_F(SqliteConnectTest, ValuesAreReadAsNumberAndAsText) {
    struct Case {
        const char* value;
        long long number;
        const char* text;
    };
    const auto connect = Connect();
    for (const Case& c :
         {Case{"NULL", 0, ""}, Case{"42", 42, "42"}, Case{"-9223372036854775808", INT64_MIN, "-9223372036854775808"},
          Case{"'17'", 17, "17"}, Case{"'-3'", -3, "-3"}, Case{"'17 '", 0, "17 "}, Case{"'1.5'", 0, "1.5"},
          Case{"'abc'", 0, "abc"}, Case{"''", 0, ""}, Case{"'99999999999999999999'", 0, "99999999999999999999"},
          Case{"2.0", 2, "2.0"}, Case{"-2.75", -2, "-2.75"}, Case{"x'3132'", 12, "12"}}) {
        ASSERT_TRUE(connect->Query(std::string("SELECT ") + c.value + " AS v"));
        EXPECT_EQ(connect->GetInt("v"), c.number) << c.value;
        EXPECT_EQ(connect->GetString("v"), c.text) << c.value;
    }
}

TEST_F(SqliteConnectTest, TextsKeepNulsAndAnyLength) {
    const auto connect = Connect();
    ASSERT_TRUE(connect->Query("SELECT CAST(x'610062' AS TEXT) AS a, printf('%.*c', 100000, 'x') AS b"));
    EXPECT_EQ(connect->GetString("a"), std::string("a\0b", 3));
    EXPECT_EQ(connect->GetString("b"), std::string(100000, 'x'));
}

TEST_F(SqliteConnectTest, ExecuteReturningKeepsTheRowsOfAChange) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE t(id INTEGER PRIMARY KEY, v)");
    ASSERT_TRUE(connect->ExecuteReturning("INSERT INTO t(v) VALUES('a'), ('b') RETURNING id AS v"));
    EXPECT_THAT(Column(*connect, "v"), ElementsAre("1", "2"));
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 2);
}

TEST_F(SqliteConnectTest, AFailureLeavesATextAndNoResultAndTheNextSuccessTakesTheTextAway) {
    const auto connect = Connect();
    ASSERT_TRUE(connect->Query("SELECT 1 AS v"));
    EXPECT_FALSE(connect->Query("SELECT missing"));
    EXPECT_EQ(Error(*connect), "no such column: missing");
    EXPECT_TRUE(connect->IsEnd());
    EXPECT_TRUE(connect->Execute("SELECT 1"));
    EXPECT_EQ(Error(*connect), "");
}

TEST_F(SqliteConnectTest, AQueryThatFailsBehindItsFirstRowLeavesNoRows) {
    const auto connect = Connect();
    EXPECT_FALSE(connect->Query("SELECT abs(column1) AS v FROM (VALUES(1), (-9223372036854775808))"));
    EXPECT_EQ(Error(*connect), "integer overflow");
    EXPECT_TRUE(connect->IsEnd());
}

TEST_F(SqliteConnectTest, ATextWithoutStatementSucceeds) {
    const auto connect = Connect();
    for (const char* text : {"", " ", ";", "-- nothing"}) {
        EXPECT_TRUE(connect->Execute(text)) << text;
        EXPECT_TRUE(connect->Query(text)) << text;
    }
}

TEST_F(SqliteConnectTest, ATextWithANulIsRefusedAsAWhole) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE t(v)");
    EXPECT_FALSE(connect->Execute(std::string("INSERT INTO t VALUES(1)\0; DROP TABLE t", 38)));
    EXPECT_THAT(Error(*connect), HasSubstr("NUL"));
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 0);
}

// --- several statements ----------------------------------------------------------------------------------------------

TEST_F(SqliteConnectTest, SeveralStatementsOfOneTextTakeEffectTogether) {
    const auto connect = Connect();
    Run(*connect, "DROP TABLE IF EXISTS t; CREATE TABLE t(v PRIMARY KEY);\n;INSERT INTO t VALUES(1) -- done");
    EXPECT_EQ(Number(*connect, "SELECT v FROM t"), 1);
}

TEST_F(SqliteConnectTest, AFailureAmongSeveralStatementsTakesAllBack) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE t(v PRIMARY KEY)");
    EXPECT_FALSE(connect->Execute("INSERT INTO t VALUES(1); INSERT INTO t VALUES(2); INSERT INTO t VALUES(1);"));
    EXPECT_THAT(Error(*connect), HasSubstr("UNIQUE"));
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 0);
    EXPECT_FALSE(connect->Execute("INSERT INTO t VALUES(1); SYNTAX ERROR"));
    EXPECT_FALSE(connect->Execute("CREATE TABLE u(v); INSERT INTO nowhere VALUES(1)"));
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 0);
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM sqlite_master WHERE name = 'u'"), 0);
}

TEST_F(SqliteConnectTest, AQueryOfSeveralStatementsHoldsTheLastResult) {
    const auto connect = Connect();
    ASSERT_TRUE(
        connect->Query("SELECT 1 AS v; CREATE TABLE t(v); SELECT 7 AS v UNION SELECT 8; INSERT INTO t VALUES(3)"));
    EXPECT_THAT(Column(*connect, "v"), ElementsAre("7", "8"));
    EXPECT_EQ(Number(*connect, "SELECT v FROM t"), 3);
}

TEST_F(SqliteConnectTest, ATriggerWithItsOwnSemicolonsIsOneStatement) {
    const auto connect = Connect();
    Run(*connect,
        "CREATE TABLE t(v); CREATE TABLE u(v);"
        "CREATE TRIGGER r AFTER INSERT ON t BEGIN INSERT INTO u VALUES(new.v); INSERT INTO u VALUES(new.v + 1); END;"
        "INSERT INTO t VALUES(10)");
    EXPECT_THAT(Values(*connect, "SELECT v FROM u"), ElementsAre("10", "11"));
}

TEST_F(SqliteConnectTest, ATextMayHoldItsOwnTransaction) {
    const auto connect = Connect();
    Run(*connect, "BEGIN; CREATE TABLE t(v); INSERT INTO t VALUES(1); COMMIT;");
    EXPECT_FALSE(connect->RollbackOpenTransaction());
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 1);
    Run(*connect, "BEGIN; INSERT INTO t VALUES(2); ROLLBACK;");
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 1);
}

TEST_F(SqliteConnectTest, ATransactionThatATextBeganIsRolledBackWhenTheTextFails) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE t(v)");
    EXPECT_FALSE(connect->Execute("BEGIN; INSERT INTO t VALUES(1); INSERT INTO nowhere VALUES(1); COMMIT"));
    EXPECT_FALSE(connect->RollbackOpenTransaction());
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 0);
}

TEST_F(SqliteConnectTest, ATransactionMayLastOverSeveralTextsAndAFailureLeavesItOpen) {
    const auto connect = Connect();
    Run(*connect, "CREATE TABLE t(v)");
    Run(*connect, "BEGIN");
    Run(*connect, "INSERT INTO t VALUES(1); INSERT INTO t VALUES(2)");
    EXPECT_FALSE(connect->Execute("INSERT INTO nowhere VALUES(1)"));
    Run(*connect, "COMMIT");
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 2);
    Run(*connect, "BEGIN; INSERT INTO t VALUES(3)");
    EXPECT_TRUE(connect->RollbackOpenTransaction());
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 2);
}

// --- time-outs, collations -------------------------------------------------------------------------------------------

constexpr char kEndlessQuery[] =
    "WITH RECURSIVE n(v) AS (SELECT 1 UNION ALL SELECT v + 1 FROM n) SELECT count(*) AS v FROM n";

TEST_F(SqliteConnectTest, AQueryIsGivenUpAtItsTimeOutAndTheConnectionGoesOn) {
    const auto connect = Connect();
    const unsigned int timeout = 1;
    EXPECT_FALSE(connect->QueryUDT(kEndlessQuery, &timeout));
    EXPECT_EQ(Error(*connect), "the statement ran into its time-out");
    EXPECT_FALSE(connect->QuerySortByCollateUDT(kEndlessQuery, "nocase", &timeout));
    EXPECT_EQ(Error(*connect), "the statement ran into its time-out");
    EXPECT_EQ(
        Number(
            *connect,
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 100000) SELECT count(*) AS v FROM n"),
        100000);
}

// Takes longer than ten milliseconds and less than ten seconds anywhere.
TEST_F(SqliteConnectTest, TheTimeOutIsInSeconds) {
    const auto connect = Connect();
    const unsigned int timeout = 10;
    ASSERT_TRUE(connect->QueryUDT(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 1000000) SELECT count(*) AS v FROM n",
        &timeout))
        << Error(*connect);
    EXPECT_EQ(connect->GetInt("v"), 1000000);
}

TEST_F(SqliteConnectTest, NoTimeOutIsNullOrZero) {
    const auto connect = Connect();
    const unsigned int none = 0;
    EXPECT_TRUE(connect->QueryUDT("SELECT 1", nullptr));
    EXPECT_TRUE(connect->QueryUDT("SELECT 1", &none));
    EXPECT_TRUE(connect->QuerySortByCollateUDT("SELECT 1", "nocase", nullptr));
}

TEST_F(SqliteConnectTest, TheTimeOutCoversTheWaitForALock) {
    const auto holder = Connect();
    const auto connect = Connect(std::chrono::milliseconds(600000));
    Run(*holder, "CREATE TABLE t(v)");
    Run(*holder, "BEGIN IMMEDIATE");
    const unsigned int timeout = 1;
    EXPECT_FALSE(connect->QueryUDT("INSERT INTO t VALUES(1) RETURNING v", &timeout));
    EXPECT_THAT(Error(*connect), HasSubstr("locked until the statement's time-out"));
    Run(*holder, "COMMIT");
    EXPECT_TRUE(connect->Execute("INSERT INTO t VALUES(1)")) << Error(*connect);
}

TEST_F(SqliteConnectTest, TextsSortByTheCollationAndWithoutOneByBytes) {
    const auto connect = Connect();
    Run(*connect,
        "CREATE TABLE t(v TEXT); INSERT INTO t VALUES('b'), ('a'), ('C'), ('\xC3\xA4'), ('\xF0\x9F\x98\x80'), ('\xEF\xBF\xBD')");
    const std::string sql = "SELECT v FROM t ORDER BY v";
    ASSERT_TRUE(connect->QuerySortByCollate(sql, "nocase"));
    EXPECT_THAT(Column(*connect, "v"), ElementsAre("a", "b", "C", "\xC3\xA4", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80"));
    ASSERT_TRUE(connect->QuerySortByCollate(sql, ""));
    EXPECT_THAT(Column(*connect, "v"), ElementsAre("C", "a", "b", "\xC3\xA4", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80"));
    ASSERT_TRUE(connect->QuerySortByCollate(sql + " DESC LIMIT 2", "BINARY"));
    EXPECT_THAT(Column(*connect, "v"), ElementsAre("\xF0\x9F\x98\x80", "\xEF\xBF\xBD"));
}

TEST_F(SqliteConnectTest, ACollationThatIsNoLocaleSortsByCodePointAndSaysSoOnce) {
    const auto connect = Connect();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(connect->QuerySortByCollate("SELECT 'b' AS v UNION SELECT 'a' UNION SELECT 'C' ORDER BY v",
                                                "no \"such\" locale"));
        EXPECT_THAT(Column(*connect, "v"), ElementsAre("C", "a", "b"));
    }
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("no locale for collation no \"such\" locale"));
    EXPECT_EQ(log.find("no locale"), log.rfind("no locale"));
}

TEST_F(SqliteConnectTest, ACollationThatIsALocaleIsTakenWithoutAWord) {
    const auto connect = Connect();
    testing::internal::CaptureStderr();
    ASSERT_TRUE(connect->QuerySortByCollate("SELECT 'b' AS v UNION SELECT 'a' ORDER BY 1 DESC", "C"));
    EXPECT_THAT(Column(*connect, "v"), ElementsAre("b", "a"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- nonsense --------------------------------------------------------------------------------------------------------

TEST_F(SqliteConnectTest, RandomTextsNeverHurtTheConnection) {
    const auto connect = Connect(std::chrono::milliseconds(0));
    Run(*connect, "CREATE TABLE t(a, b); CREATE TABLE s.t(a, b)");
    const std::vector<std::string> words = {"SELECT",
                                            "INSERT INTO",
                                            "UPDATE",
                                            "DELETE FROM",
                                            "DROP TABLE",
                                            "IF EXISTS",
                                            "CREATE TABLE",
                                            "t",
                                            "s.t",
                                            "u.t",
                                            "x.y.z",
                                            "a",
                                            "b",
                                            "*",
                                            "FROM",
                                            "WHERE",
                                            "SET",
                                            "VALUES",
                                            "(",
                                            ")",
                                            ",",
                                            ";",
                                            "=",
                                            "1",
                                            "'",
                                            "''",
                                            "\"",
                                            "`",
                                            "[",
                                            "]",
                                            "--",
                                            "\n",
                                            "/*",
                                            "*/",
                                            "ORDER BY",
                                            "LIMIT",
                                            "COLLATE",
                                            "ASC",
                                            "DESC",
                                            "NULLS",
                                            "BEGIN",
                                            "COMMIT",
                                            "ROLLBACK",
                                            "SAVEPOINT p",
                                            "RELEASE p",
                                            "UNION",
                                            "?1",
                                            ":n",
                                            ".",
                                            "||",
                                            "RETURNING",
                                            "EXPLAIN",
                                            "PRAGMA s.user_version",
                                            "ATTACH",
                                            "\xFF",
                                            "\xEF\xBB\xBF"};
    std::mt19937 random(20260301);
    const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    const unsigned int timeout = 5;
    for (int i = 0; i < 6000; ++i) {
        std::string text;
        for (std::size_t n = below(14); n > 0; --n) {
            text += i % 3 == 0 ? std::string(1, static_cast<char>(below(256)))
                               : words[below(words.size())] + (below(4) ? " " : "");
        }
        if (i % 2 == 0) {
            connect->QuerySortByCollateUDT(text, "nocase", &timeout);
        } else {
            connect->Execute(text);
        }
        for (; !connect->IsEnd(); connect->MoveNext()) {
            connect->GetString("a");
        }
        connect->RollbackOpenTransaction();
        ASSERT_EQ(Number(*connect, "SELECT 1 AS v"), 1) << text;
    }
}

}  // namespace
