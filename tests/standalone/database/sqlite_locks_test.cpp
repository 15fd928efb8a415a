#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "standalone/database/SqliteConnect.h"
#include "tests/standalone/database/sqlite_connect_fixture.h"

namespace {

using qarplatform::SqliteConnect;
using std::chrono::milliseconds;
using testing::HasSubstr;

class SqliteLocksTest : public database_test::SqliteConnectFixture {};

TEST_F(SqliteLocksTest, AShortLockIsWaitedOut) {
    const auto holder = Connect();
    const auto connect = Connect();
    Run(*holder, "CREATE TABLE t(v)");
    Run(*holder, "BEGIN IMMEDIATE");
    for (const char* sql : {"INSERT INTO t VALUES(1)", "INSERT INTO t VALUES(2); INSERT INTO t VALUES(3)"}) {
        auto waiting = std::async(std::launch::async, [&] { return connect->Execute(sql); });
        EXPECT_EQ(waiting.wait_for(milliseconds(100)), std::future_status::timeout);
        Run(*holder, "COMMIT");
        EXPECT_TRUE(waiting.get()) << Error(*connect);
        Run(*holder, "BEGIN IMMEDIATE");
    }
    EXPECT_EQ(Number(*holder, "SELECT count(*) AS v FROM t"), 3);
}

TEST_F(SqliteLocksTest, ALongLockEndsInAClearTextAndNothingIsHalfDone) {
    const auto holder = Connect();
    const auto connect = Connect(milliseconds(50));
    Run(*holder, "CREATE TABLE t(v)");
    Run(*holder, "BEGIN IMMEDIATE");
    EXPECT_FALSE(connect->Execute("INSERT INTO t VALUES(1)"));
    EXPECT_EQ(Error(*connect), "database is locked by another connection for 50 ms");
    EXPECT_FALSE(connect->Execute("INSERT INTO t VALUES(1); INSERT INTO t VALUES(2)"));
    EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM t"), 0);
    Run(*holder, "COMMIT");
    EXPECT_TRUE(connect->Execute("INSERT INTO t VALUES(1); INSERT INTO t VALUES(2)")) << Error(*connect);
    EXPECT_FALSE(connect->IsBroken());
}

TEST_F(SqliteLocksTest, ConnectionsThatOpenANewFolderAtOneMomentAllSucceed) {
    std::vector<std::future<std::string>> openings;
    for (int i = 0; i < 8; ++i) {
        openings.push_back(std::async(std::launch::async, [&, i] {
            std::string error;
            const auto connect = SqliteConnect::Open(folder_.Path(), milliseconds(20000), error);
            if (connect && !connect->Execute("CREATE TABLE IF NOT EXISTS s.t(v); INSERT INTO s.t VALUES(" +
                                             std::to_string(i) + ")")) {
                connect->GetLastErrorText(error);
            }
            return error;
        }));
    }
    for (auto& opening : openings) {
        EXPECT_EQ(opening.get(), "");
    }
    EXPECT_EQ(Number(*Connect(), "SELECT count(*) AS v FROM s.t"), 8);
}

}  // namespace
