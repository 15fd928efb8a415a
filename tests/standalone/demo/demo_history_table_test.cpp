#include <gtest/gtest.h>
#include <sqlite3.h>

#include "demo_cameras/time_text.h"
#include "demo_run/history_table.h"
#include "tests/standalone/demo/demo_temporary_folder.h"

namespace demo {
namespace {

HistoryRow Point(std::int64_t wall_s, int state) { return {101, 1, state, wall_s, 0}; }

TEST(DemoHistoryTableTest, OnlyAStateTwoBehindAOneOrTwoIsInOrder) {
    EXPECT_TRUE(ExceptionPairs({}).empty());
    EXPECT_TRUE(ExceptionPairs({Point(1, 1)}).empty());
    EXPECT_TRUE(ExceptionPairs({Point(1, 1), Point(2, 2), Point(3, 2)}).empty());
    EXPECT_EQ(ExceptionPairs({Point(1, 1), Point(2, 1)}).size(), 1U);
    EXPECT_EQ(ExceptionPairs({Point(1, 3), Point(2, 2)}).size(), 1U);
    const auto pairs = ExceptionPairs({Point(1, 2), Point(2, 1), Point(3, 2), Point(4, 1)});
    ASSERT_EQ(pairs.size(), 2U);
    EXPECT_EQ(pairs[0].first.wall_s, 1);
    EXPECT_EQ(pairs[1].second.wall_s, 4);
}

class DemoHistoryTableFileTest : public testing::Test {
protected:
    ~DemoHistoryTableFileTest() override { sqlite3_close(writer_); }

    void Execute(const char* sql) {
        if (writer_ == nullptr) {
            ASSERT_EQ(sqlite3_open(File().c_str(), &writer_), SQLITE_OK);
        }
        ASSERT_EQ(sqlite3_exec(writer_, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(writer_);
    }

    void CreateTable() {
        Execute(
            "PRAGMA journal_mode=WAL;"
            "CREATE TABLE camera_history(id INTEGER PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time TEXT,"
            "state_utc_time TEXT, business_type INTEGER, bi_type INTEGER, differ INTEGER)");
    }

    std::filesystem::path File() const { return folder_.Path() / "backfill.db"; }

    const TemporaryFolder folder_;
    sqlite3* writer_ = nullptr;
};

TEST_F(DemoHistoryTableFileTest, WithoutAFileOrATableThereIsNothing) {
    HistoryTable table(File());
    EXPECT_FALSE(table.Read());
    EXPECT_FALSE(std::filesystem::exists(File())) << "reading creates nothing";
    Execute("CREATE TABLE other(id INTEGER)");
    EXPECT_FALSE(table.Read());
}

TEST_F(DemoHistoryTableFileTest, RowsComeInTheOrderOfTheirWallClock) {
    CreateTable();
    HistoryTable table(File());
    EXPECT_EQ(table.Read(), std::vector<HistoryRow>());
    Execute(
        "INSERT INTO camera_history VALUES (1, 102, 1, '2026-11-01 10:00:00', '', 1, 1, -19800),"
        "(2, 101, 2, '2026-11-01 09:30:00', '', 1, 1, 28800), (3, 101, 1, '2026-11-01 09:00:00', '', 1, 1, 28800)");
    EXPECT_EQ(table.Read(), (std::vector<HistoryRow>{{101, 1, 1, *ParsePlain("2026-11-01 09:00:00"), 28800},
                                                     {101, 1, 2, *ParsePlain("2026-11-01 09:30:00"), 28800},
                                                     {102, 1, 1, *ParsePlain("2026-11-01 10:00:00"), -19800}}));
}

TEST_F(DemoHistoryTableFileTest, AnOpenTransactionOfTheWriterDoesNotDisturb) {
    CreateTable();
    Execute("INSERT INTO camera_history VALUES (1, 101, 1, '2026-11-01 10:00:00', '', 1, 1, 0)");
    Execute("BEGIN IMMEDIATE; DELETE FROM camera_history");
    HistoryTable table(File());
    ASSERT_TRUE(table.Read());
    EXPECT_EQ(table.Read()->size(), 1U);
    Execute("COMMIT");
    EXPECT_EQ(table.Read()->size(), 0U);
}

}  // namespace
}  // namespace demo
