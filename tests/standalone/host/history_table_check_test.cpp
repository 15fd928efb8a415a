#include <gtest/gtest.h>
#include <sqlite3.h>

#include "host/HistoryTableCheck.h"
#include "integration/support/temp_folder.h"

namespace qarhost {
namespace {

constexpr const char* kCreate =
    "CREATE TABLE camera_history(id INTEGER PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time TEXT, "
    "state_utc_time TEXT, business_type INTEGER, bi_type INTEGER, differ INTEGER);";

class HistoryTableCheckTest : public testing::Test {
protected:
    void Run(const std::string& file, const std::string& sql) {
        sqlite3* database = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open((folder_.Path() / file).c_str(), &database));
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr))
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }

    void Insert(const std::string& camera, const std::string& state, const std::string& time) {
        Run("backfill.db",
            "INSERT INTO camera_history(camera_id, camera_state, state_time, business_type, differ) "
            "VALUES(" +
                camera + ", " + state + ", " + time + ", 1, 0)");
    }

    std::vector<HistoryTable> Check() { return CheckHistoryTables(folder_.Path().string(), {101, 102}, errors_); }

    qartest::TempFolder folder_;
    std::vector<std::string> errors_;
};

TEST_F(HistoryTableCheckTest, GoodRowsAreCountedAndNothingElse) {
    Run("backfill.db", kCreate);
    Insert("101", "1", "'2024-02-29 23:59:59'");
    Insert("102", "2", "'2026-03-01 00:00:00'");
    const auto tables = Check();
    ASSERT_EQ(1u, tables.size());
    EXPECT_EQ((folder_.Path() / "backfill.db").string(), tables[0].file);
    EXPECT_EQ("camera_history", tables[0].table);
    EXPECT_EQ(2, tables[0].rows);
    EXPECT_TRUE(tables[0].bad.empty());
    EXPECT_TRUE(errors_.empty());
}

TEST_F(HistoryTableCheckTest, EachKindOfRubbishIsCountedWithItsFirstExamples) {
    Run("backfill.db", kCreate);
    for (int i = 0; i < 5; ++i) Insert("101", "1", "'2024-13-0" + std::to_string(i) + " 08:00:00'");
    Insert("101", "3", "'2024-03-01 08:00:00'");
    Insert("999", "1", "'2024-03-01 08:00:00'");
    Insert("101", "NULL", "NULL");
    const auto tables = Check();
    ASSERT_EQ(1u, tables.size());
    EXPECT_EQ(8, tables[0].rows);
    ASSERT_EQ(3u, tables[0].bad.size());
    EXPECT_EQ("state_time is no moment", tables[0].bad[0].what);
    EXPECT_EQ(6, tables[0].bad[0].count);
    ASSERT_EQ(3u, tables[0].bad[0].examples.size());
    EXPECT_EQ("camera_id 101, camera_state 1, state_time '2024-13-00 08:00:00', business_type 1",
              tables[0].bad[0].examples[0]);
    EXPECT_EQ("camera_state is neither 1 nor 2", tables[0].bad[1].what);
    EXPECT_EQ(2, tables[0].bad[1].count);
    EXPECT_EQ("camera_id is no camera of the site", tables[0].bad[2].what);
    EXPECT_EQ(1, tables[0].bad[2].count);
}

TEST_F(HistoryTableCheckTest, TextWhereANumberBelongsIsRubbish) {
    Run("backfill.db", kCreate);
    Insert("'x101'", "'one'", "'2024-03-01 08:00:00'");
    const auto tables = Check();
    ASSERT_EQ(1u, tables.size());
    ASSERT_EQ(2u, tables[0].bad.size());
    EXPECT_EQ("camera_state is neither 1 nor 2", tables[0].bad[0].what);
    EXPECT_EQ("camera_id is no camera of the site", tables[0].bad[1].what);
}

TEST_F(HistoryTableCheckTest, TablesWithOtherColumnsAreLeftAlone) {
    Run("backfill.db", "CREATE TABLE attempt(camera_id INTEGER, state_time TEXT); INSERT INTO attempt VALUES(1, 'x');");
    EXPECT_TRUE(Check().empty());
}

TEST_F(HistoryTableCheckTest, TableWhoseNameNeedsQuotesIsRead) {
    Run("odd.db",
        "CREATE TABLE \"a \"\"b\"(camera_id, camera_state, state_time, business_type, differ);"
        "INSERT INTO \"a \"\"b\" VALUES(101, 1, 'no', 1, 0);");
    const auto tables = Check();
    ASSERT_EQ(1u, tables.size());
    EXPECT_EQ("a \"b", tables[0].table);
    EXPECT_EQ(1u, tables[0].bad.size());
}

TEST_F(HistoryTableCheckTest, FileThatIsNoDatabaseIsAnErrorAndTheOthersAreRead) {
    folder_.Write("a.db", "this is no database, however long it is made to be: " + std::string(4096, 'x'));
    Run("backfill.db", kCreate);
    EXPECT_EQ(1u, Check().size());
    ASSERT_EQ(1u, errors_.size());
    EXPECT_EQ((folder_.Path() / "a.db").string() + ": file is not a database", errors_[0]);
}

TEST_F(HistoryTableCheckTest, FolderThatIsNotThereHoldsNothing) {
    EXPECT_TRUE(CheckHistoryTables((folder_.Path() / "none").string(), {}, errors_).empty());
    EXPECT_TRUE(errors_.empty());
}

TEST(IsPlainTimeTest, TellsMomentsThatExistFromTextsThatOnlyLookSo) {
    for (const char* good : {"2024-03-01 08:00:00", "2024-02-29 00:00:00", "1999-12-31 23:59:59"}) {
        EXPECT_TRUE(IsPlainTime(good)) << good;
    }
    for (const char* bad :
         {"", "null", "2024-03-01", "2024-03-01T08:00:00", "2024-03-01 08:00:00 ", "2023-02-29 00:00:00",
          "2024-00-01 00:00:00", "2024-01-32 00:00:00", "2024-01-01 24:00:00", "2024-01-01 00:60:00",
          "2024-01-01 00:00:60", "0000-01-01 00:00:00", "+024-01-01 00:00:00", "2024-1-01 00:00:000"}) {
        EXPECT_FALSE(IsPlainTime(bad)) << bad;
    }
}

}  // namespace
}  // namespace qarhost
