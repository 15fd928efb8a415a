#include "kill/support/database_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

#include "integration/support/temp_folder.h"

namespace qartest {
namespace {

class DatabaseFolderTest : public testing::Test {
protected:
    static RecordedStatement Text(const std::string& sql) { return {1, "alpha", sql}; }

    const TempFolder root_;
    const DatabaseFolder folder_{root_.Path() / "one"};
    const DatabaseFolder other_{root_.Path() / "other"};
};

TEST_F(DatabaseFolderTest, StatementsOnACopyMakeTheSameTables) {
    folder_.Execute({Text("CREATE TABLE alpha.t(id INTEGER PRIMARY KEY, x); CREATE INDEX alpha.i ON t(x)")});
    other_.BecomeCopyOf(folder_.Path());
    const RecordedStatement row = Text("INSERT INTO alpha.t(x) VALUES('a;b')");
    folder_.Execute({row});
    EXPECT_NE("", Difference(folder_.Dump(), other_.Dump()));
    other_.Execute({row});
    EXPECT_EQ("", Difference(folder_.Dump(), other_.Dump()));
}

TEST_F(DatabaseFolderTest, DifferenceNamesRowsOfBothSides) {
    folder_.Execute({Text("CREATE TABLE alpha.t(x)"), Text("INSERT INTO alpha.t VALUES(1)")});
    other_.Execute({Text("CREATE TABLE alpha.t(x)"), Text("INSERT INTO alpha.t VALUES(2)")});
    EXPECT_EQ(
        "  missing in alpha: INSERT INTO t VALUES(1);\n"
        "  too many in alpha: INSERT INTO t VALUES(2);\n",
        Difference(folder_.Dump(), other_.Dump()));
}

TEST_F(DatabaseFolderTest, StatementThatFailsIsTold) {
    EXPECT_THROW(folder_.Execute({Text("INSERT INTO alpha.t VALUES(1)")}), std::runtime_error);
}

TEST_F(DatabaseFolderTest, PointsComeInTheOrderOfTheirTimelines) {
    EXPECT_TRUE(folder_.Points("alpha").empty());
    folder_.Execute(
        {Text("CREATE TABLE alpha.camera_history(id, business_type, camera_id, state_time, camera_state, differ)"),
         Text("INSERT INTO alpha.camera_history VALUES(1, 2, 101, '2026-03-01 09:00:00', 1, -1800), "
              "(2, 2, 101, '2026-03-01 08:00:00', 2, 28800), (3, 1, 102, '2026-03-01 10:00:00', 1, 0)")});
    const auto points = folder_.Points("alpha");
    ASSERT_EQ(3u, points.size());
    EXPECT_EQ(102, points[0].camera);
    EXPECT_EQ("2026-03-01 08:00:00", points[1].state_time);
    EXPECT_EQ(2, points[1].state);
    EXPECT_EQ(-1800, points[2].differ);
}

TEST_F(DatabaseFolderTest, DamagedFileIsTold) {
    folder_.Execute({Text("CREATE TABLE alpha.t(x)"), Text("CREATE INDEX alpha.i ON t(x)"),
                     Text("INSERT INTO alpha.t VALUES(1), (2), (3)")});
    EXPECT_NO_THROW(folder_.Dump());
    std::fstream file(folder_.Path() / "alpha.db", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(2 * 4096);  // the index
    file << std::string(4096, '\0');
    file.close();
    EXPECT_THROW(folder_.Dump(), std::runtime_error);
}

}  // namespace
}  // namespace qartest
