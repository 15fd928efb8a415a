#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "standalone/database/ResultTable.h"
#include "standalone/database/sqlite/Database.h"
#include "tests/standalone/database/temp_folder.h"

namespace {

using database_test::TempFolder;
using qarplatform::ResultTable;
using qarplatform::sqlite::Database;
using qarplatform::sqlite::Statement;

class ResultTableTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(database_.Open(folder_ / "main.db", std::chrono::seconds(1))); }

    ResultTable ResultOf(const std::string& sql) {
        ResultTable table;
        Statement statement = database_.Prepare(sql);
        EXPECT_TRUE(statement) << database_.Error();
        table.Begin(statement);
        while (statement.Step() == Statement::Result::kRow) {
            table.AddRow(statement);
        }
        return table;
    }

    TempFolder folder_;
    Database database_;
};

// Numbers, texts of all lengths, NULLs and NULs change places from row to row.
constexpr char kMixedRows[] =
    "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 999) "
    "SELECT CASE i % 4 WHEN 0 THEN i WHEN 1 THEN 'text ' || i WHEN 2 THEN NULL ELSE i / 2.0 END AS a, "
    "CAST(substr(x'61006200', 1, i % 5) AS TEXT) AS b, printf('%.*c', 1 + i * 37 % 1000, 'x') AS c, -i AS d FROM n";

void ExpectMixedRow(ResultTable& table, int i) {
    const std::string half = std::to_string(i / 2) + (i % 2 == 0 ? ".0" : ".5");
    const std::string a[] = {std::to_string(i), "text " + std::to_string(i), "", half};
    const int64_t a_number[] = {i, 0, 0, i / 2};
    EXPECT_EQ(table.GetString("a"), a[i % 4]) << i;
    EXPECT_EQ(table.GetInt("a"), a_number[i % 4]) << i;
    EXPECT_EQ(table.GetString("b"), std::string("a\0b\0", 4).substr(0, static_cast<std::size_t>(i % 5))) << i;
    EXPECT_EQ(table.GetString("c"), std::string(static_cast<std::size_t>(1 + i * 37 % 1000), 'x')) << i;
    EXPECT_EQ(table.GetInt("d"), -i) << i;
}

TEST_F(ResultTableTest, EveryRowIsReadAsItWasAdded) {
    ResultTable table = ResultOf(kMixedRows);
    for (int i = 0; i < 1000; ++i, table.Next()) {
        ASSERT_FALSE(table.AtEnd());
        ExpectMixedRow(table, i);
    }
    EXPECT_TRUE(table.AtEnd());
}

TEST_F(ResultTableTest, RowsMayBePassedOverUnread) {
    ResultTable table = ResultOf(kMixedRows);
    for (int i = 0; i < 1000; ++i, table.Next()) {
        if (i % 7 == 3) {
            ExpectMixedRow(table, i);
        }
    }
    EXPECT_TRUE(table.AtEnd());
}

TEST_F(ResultTableTest, BehindTheLastRowThereIsNothing) {
    ResultTable table = ResultOf("SELECT 5 AS v");
    EXPECT_EQ(table.GetInt("v"), 5);
    table.Next();
    table.Next();
    EXPECT_TRUE(table.AtEnd());
    EXPECT_EQ(table.GetInt("v"), 0);
    EXPECT_EQ(table.GetString("v"), "");
}

TEST_F(ResultTableTest, ATableMovesWithItsRows) {
    ResultTable table = ResultOf("SELECT 'a' AS v UNION ALL SELECT 'b'");
    EXPECT_EQ(table.GetString("v"), "a");
    ResultTable moved = std::move(table);
    EXPECT_EQ(moved.GetString("v"), "a");
    moved.Next();
    EXPECT_EQ(moved.GetString("v"), "b");
}

TEST_F(ResultTableTest, ATextOfSixteenMebibytesAndTheWidestNumbersAreKept) {
    ResultTable table = ResultOf(
        "SELECT printf('%.*c', 16777216, 'y') AS t, 9223372036854775807 AS most, -9223372036854775808 AS least, "
        "zeroblob(3) AS zeros, 1e300 AS far");
    EXPECT_EQ(table.GetString("t"), std::string(16777216, 'y'));
    EXPECT_EQ(table.GetInt("most"), INT64_MAX);
    EXPECT_EQ(table.GetInt("least"), INT64_MIN);
    EXPECT_EQ(table.GetString("zeros"), std::string(3, '\0'));
    EXPECT_EQ(table.GetInt("far"), INT64_MAX);
    EXPECT_EQ(table.GetString("far"), "1.0e+300");
}

TEST_F(ResultTableTest, AResultWithoutRowsOrColumnsIsAtItsEnd) {
    ResultTable table = ResultOf("SELECT 1 AS v WHERE 0");
    EXPECT_TRUE(table.AtEnd());
    EXPECT_EQ(table.GetInt("v"), 0);
    ResultTable empty;
    EXPECT_TRUE(empty.AtEnd());
    EXPECT_EQ(empty.GetString("v"), "");
}

}  // namespace
