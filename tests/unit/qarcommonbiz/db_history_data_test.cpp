#include <cstdlib>
#include <ctime>

#include "history_fixture.h"
#include "qarcommonbiz/DBHistoryDataImpl.h"

namespace qar::history_test {
namespace {

using ::testing::_;
using ::testing::Return;

class DBHistoryDataTest : public ::testing::Test {
protected:
    DBHistoryDataTest() {
        setenv("TZ", "UTC0", 1);
        tzset();
        platform.time_util.fake.SetServerOffset(0);
    }

    static qarmock::FakeRows Rows(const std::vector<std::vector<std::string>>& rows) {
        qarmock::FakeRows result{{"camera_id", "business_type", "state_time", "differ", "camera_state"}, {}};
        for (const auto& row : rows) result.rows.emplace_back(row.begin(), row.end());
        return result;
    }
    std::vector<std::string> Sqls() const { return platform.database.fake.Sqls(); }
    std::string Log() const { return platform.log.Text(); }

    qarmock::Platform platform;
    CDBHistoryData store;
};

TEST_F(DBHistoryDataTest, MoveOfARowWritesThePlainMoment) {
    EXPECT_TRUE(
        store.UpdateDBHistoryStateTime("p", 7, 101, "2024-03-01 08:00:00", 2, "2024-03-01T08:30:00+08:00", "s.t"));
    EXPECT_THAT(Sqls(), ElementsAre("UPDATE s.t SET state_time = '2024-03-01 08:30:00' WHERE camera_id = 101 AND "
                                    "business_type = 7 and state_time = '2024-03-01 08:00:00' and camera_state = 2"));
    EXPECT_EQ(Log(), "");
    const auto statement = platform.database.fake.Statements().front();
    EXPECT_EQ(statement.plugin, "p");
    EXPECT_EQ(statement.conn_type, 1u);
}

TEST_F(DBHistoryDataTest, ChangeOfAStateMatchesThePlainMoment) {
    EXPECT_TRUE(store.UpdateDBHistorySateType("p", 7, 101, 2, "2024-03-01T08:30:00+08:00", "s.t"));
    EXPECT_THAT(Sqls(), ElementsAre("UPDATE s.t SET camera_state = 2 WHERE camera_id = 101 AND business_type = 7 AND "
                                    "state_time = '2024-03-01 08:30:00'"));
}

TEST_F(DBHistoryDataTest, NewRowHoldsTheBusinessTypeTwiceTheUtcTextAndTheOffset) {
    platform.database.fake.SetNextId(5000000000);
    EXPECT_TRUE(store.AddDBHistoryStateInfo("p", 7, 101, 1, "2024-03-01T08:30:00+08:00", "s.t", "row_id"));
    EXPECT_THAT(Sqls(), ElementsAre("INSERT INTO s.t(row_id, camera_id, camera_state, state_time, state_utc_time, "
                                    "business_type, bi_type, differ) values(5000000000, 101, 1, '2024-03-01 08:30:00', "
                                    "'2024-03-01 00:30:00', 7, 7, 28800)"));
    EXPECT_THAT(platform.database.fake.NextIdNames(), ElementsAre(""));
}

TEST_F(DBHistoryDataTest, DeletionOfARangeLogsItsStatementFirst) {
    EXPECT_TRUE(
        store.DelDBHistorySateInfo("p", 7, 101, {"2024-03-01T08:00:00+08:00", "2024-03-01T09:00:00+08:00"}, "s.t"));
    const std::string sql =
        "DELETE FROM s.t WHERE camera_id = 101 AND business_type = 7 AND state_time >= '2024-03-01 08:00:00' AND "
        "state_time < '2024-03-01 09:00:00';";
    EXPECT_THAT(Sqls(), ElementsAre(sql));
    EXPECT_EQ(Log(), "2 QARCommon SQL = " + sql + "\n");
}

TEST_F(DBHistoryDataTest, OtherDeletionsNameWhatTheyDelete) {
    EXPECT_TRUE(store.DelDBHistorySateByExpireTime("p", 7, 101, "2024-03-01 08:00:00", "s.t"));
    EXPECT_TRUE(store.DelDBHistoryStateByCameraIDAndBusiType("p", 7, 101, "s.t"));
    EXPECT_TRUE(store.DelDBHistoryStateByCameraID("p", 101, "s.t"));
    EXPECT_THAT(Sqls(), ElementsAre("DELETE FROM s.t WHERE camera_id = 101 AND business_type = 7 AND state_time < "
                                    "'2024-03-01 08:00:00'",
                                    "DELETE FROM s.t WHERE camera_id = 101 AND business_type = 7",
                                    "DELETE FROM s.t WHERE camera_id = 101"));
    EXPECT_EQ(Log(), "");
}

TEST_F(DBHistoryDataTest, MomentThatCannotBeReadRunsNothingAndIsTold) {
    EXPECT_FALSE(store.UpdateDBHistoryStateTime("p", 7, 101, "old", 2, "bad", "t"));
    EXPECT_FALSE(store.UpdateDBHistorySateType("p", 7, 101, 2, "bad", "t"));
    EXPECT_FALSE(store.AddDBHistoryStateInfo("p", 7, 101, 1, "bad", "t", "id"));
    EXPECT_FALSE(store.DelDBHistorySateInfo("p", 7, 101, {"bad", "2024-03-01T09:00:00Z"}, "t"));
    EXPECT_FALSE(store.DelDBHistorySateInfo("p", 7, 101, {"2024-03-01T09:00:00Z", "worse"}, "t"));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_THAT(platform.database.fake.NextIdNames(), IsEmpty());
    EXPECT_EQ(Log(),
              "5 QARCommon UpdateDBHistoryStateTime state_time is error plugin_id = p, busi_type = 7, camera_id = 101, "
              "state = 2, time = bad\n"
              "5 QARCommon UpdateDBHistorySateType state_time is error plugin_id = p, busi_type = 7, camera_id = 101, "
              "state = 2, time = bad\n"
              "5 QARCommon AddDBHistoryStateInfo state_time is error plugin_id = p, busi_type = 7, camera_id = 101, "
              "state = 1, time = bad\n"
              "5 QARCommon Parse begin time error. plugin_id = p, busi_type = 7, camera_id = 101, str_begin_time_ = "
              "bad,str_end_time_ = 2024-03-01T09:00:00Z\n"
              "5 QARCommon Parse end time error. plugin_id = p, busi_type = 7, camera_id = 101, str_begin_time_ = "
              "2024-03-01T09:00:00Z,str_end_time_ = worse\n");
}

TEST_F(DBHistoryDataTest, FailedStatementIsToldTwiceOnceByItselfAndOnceByItsOperation) {
    platform.database.fake.FailAll("");
    const std::string iso = "2024-03-01T08:30:00Z";
    EXPECT_FALSE(store.UpdateDBHistoryStateTime("p", 7, 1, "old", 2, iso, "t"));
    EXPECT_FALSE(store.UpdateDBHistorySateType("p", 7, 1, 2, iso, "t"));
    EXPECT_FALSE(store.AddDBHistoryStateInfo("p", 7, 1, 1, iso, "t", "id"));
    EXPECT_FALSE(store.DelDBHistorySateInfo("p", 7, 1, {iso, iso}, "t"));
    EXPECT_FALSE(store.DelDBHistorySateByExpireTime("p", 7, 1, "x", "t"));
    EXPECT_FALSE(store.DelDBHistoryStateByCameraIDAndBusiType("p", 7, 1, "t"));
    EXPECT_FALSE(store.DelDBHistoryStateByCameraID("p", 1, "t"));
    const std::vector<std::string> sql = Sqls();
    ASSERT_EQ(sql.size(), 7u);
    const std::string ran = "5 QARCommon in CDBBaseSession::Execute is fail sql = ";
    EXPECT_EQ(
        Log(),
        ran + sql[0] + "\n5 QARCommon UpdateDBHistoryStateTime::UpdateCameraState dbExecute fail sql = " + sql[0] +
            "\n" + ran + sql[1] +
            "\n5 QARCommon UpdateDBHistorySateType::UpdateCameraStateType dbExecute fail sql = " + sql[1] + "\n" + ran +
            sql[2] + "\n5 QARCommon AddDBHistoryStateInfo::AddCameraState dbExecute fail sql = " + sql[2] +
            "\n2 QARCommon SQL = " + sql[3] + "\n" + ran + sql[3] +
            "\n5 QARCommon CDBHistoryData::DelDBHistorySateInfo dbExecute fail sql = " + sql[3] + "\n" + ran + sql[4] +
            "\n5 QARCommon CDBHistoryData::DelDBHistorySateByExpireTime dbExecute fail sql = " + sql[4] + "\n" + ran +
            sql[5] + "\n5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraIDAndBusiType dbExecute fail sql = " +
            sql[5] + "\n" + ran + sql[6] +
            "\n5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = " + sql[6] + "\n");
}

TEST_F(DBHistoryDataTest, EmptyStatementIsRefused) {
    EXPECT_FALSE(store.Execute("p", ""));
    EXPECT_EQ(Log(), "5 QARCommon param failed\n");
    EXPECT_THAT(Sqls(), IsEmpty());
}

// --- reading ---------------------------------------------------------------------------------------------------------

TEST_F(DBHistoryDataTest, NodeWithoutCamerasReadsNothing) {
    StateRowMap rows;
    EXPECT_TRUE(store.InitDBHistoryStateInfo(rows, "p", "s.t"));
    EXPECT_THAT(rows, IsEmpty());
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "3 QARCommon Current node don't need load history data, plugin p table name s.t.\n");
}

TEST_F(DBHistoryDataTest, RowsOfThisNodesCamerasAreReadAndOthersSkipped) {
    platform.site.AddCamera(101, 1);
    platform.database.fake.Answer("SELECT", Rows({{"101", "7", "2024-03-01 08:00:00", "28800", "1"},
                                                  {"999", "7", "2024-03-01 08:00:00", "28800", "1"},
                                                  {"101", "8", "2024-03-01 09:00:00", "-19800", "2"}}));
    StateRowMap rows;
    EXPECT_TRUE(store.InitDBHistoryStateInfo(rows, "p", "s.t"));
    EXPECT_EQ(rows, (StateRowMap{{7, {{101, {{"2024-03-01T08:00:00+08:00", 1}}}}},
                                 {8, {{101, {{"2024-03-01T09:00:00-05:30", 2}}}}}}));
    EXPECT_THAT(Sqls(), ElementsAre("SELECT * FROM s.t ORDER BY  business_type, camera_id, state_time"));
    EXPECT_EQ(Log(), "2 QARCommon Camera not exits current node 999, plugin p table name s.t.\n");
}

TEST_F(DBHistoryDataTest, CamerasOfThisNodeAreReadOnceAndKnownByTheirPhysicalId) {
    platform.site.AddCamera(101, 1);
    EXPECT_CALL(platform.resources, GetCurrentNodeAllElementsByType(_, 1001));
    StateRowMap rows;
    EXPECT_TRUE(store.InitDBHistoryStateInfo(rows, "p", "s.t"));
    platform.site.AddCamera(102, 1);
    platform.database.fake.Answer("SELECT", Rows({{"102", "7", "2024-03-01 08:00:00", "0", "1"}}));
    EXPECT_TRUE(CDBHistoryData().InitDBHistoryStateInfo(rows, "q", "s.u"));
    EXPECT_THAT(rows, IsEmpty());
}

TEST_F(DBHistoryDataTest, FailedReadIsToldAndGivesFalse) {
    platform.site.AddCamera(101, 1);
    platform.database.fake.FailNext("SELECT");
    StateRowMap rows;
    EXPECT_FALSE(store.InitDBHistoryStateInfo(rows, "p", "t"));
    EXPECT_EQ(Log(),
              "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = SELECT * FROM t ORDER BY  "
              "business_type, camera_id, state_time\n");
}

TEST_F(DBHistoryDataTest, ResultWithoutConnectionIsAFailure) {
    platform.site.AddCamera(101, 1);
    EXPECT_CALL(platform.database, ExecuteQuery)
        .WillRepeatedly([](const std::string&, uint32_t, const std::string&, IDBManagerPure::ResultFunc fn) {
            fn(nullptr);
            return true;
        });
    StateRowMap rows;
    EXPECT_FALSE(store.InitDBHistoryStateInfo(rows, "p", "t"));
    EXPECT_FALSE(store.QueryCameraStateByCameraID(rows, "p", "t", {1}));
    EXPECT_EQ(Log(),
              "5 QARCommon CCameraStateDBSession::GetCameraStateList pRs = nullptr \n\n"
              "5 QARCommon pRs = nullptr\n"
              "5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = SELECT * FROM t "
              "WHERE camera_id IN (1)\n");
}

TEST_F(DBHistoryDataTest, ResultWithoutConnectionIsReadOnceWhateverTheRowFunctionSays) {
    EXPECT_CALL(platform.database, ExecuteQuery)
        .WillOnce([](const std::string&, uint32_t, const std::string&, IDBManagerPure::ResultFunc fn) {
            fn(nullptr);
            return true;
        });
    int calls = 0;
    EXPECT_FALSE(store.QueryDBInfoList("p", "SELECT", [&](db_layer::CConnect*) {
        return ++calls < 3 ? CDBHistoryData::kNext : CDBHistoryData::kStop;
    }));
    EXPECT_EQ(calls, 1);
}

TEST_F(DBHistoryDataTest, QueryByCamerasReadsThemWhateverNodeTheyStandOn) {
    platform.database.fake.Answer("SELECT", Rows({{"5", "7", "2024-03-01 08:00:00", "0", "1"}}));
    StateRowMap rows;
    EXPECT_TRUE(store.QueryCameraStateByCameraID(rows, "p", "s.t", {5, 3, 10}));
    EXPECT_EQ(rows, (StateRowMap{{7, {{5, {{"2024-03-01T08:00:00+00:00", 1}}}}}}));
    EXPECT_THAT(Sqls(), ElementsAre("SELECT * FROM s.t WHERE camera_id IN (3,5,10)"));
    EXPECT_EQ(Log(), "");
}

TEST_F(DBHistoryDataTest, QueryOfNoCamerasIsRefused) {
    StateRowMap rows;
    EXPECT_FALSE(store.QueryCameraStateByCameraID(rows, "p", "s.t", {}));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "5 QARCommon Param error. camere id empty.\n");
}

// The failure names another operation; those who watch the log know it so.
TEST_F(DBHistoryDataTest, FailedQueryByCamerasIsToldUnderADeletionsName) {
    platform.database.fake.FailNext("SELECT");
    StateRowMap rows;
    EXPECT_FALSE(store.QueryCameraStateByCameraID(rows, "p", "t", {1}));
    EXPECT_EQ(Log(),
              "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = SELECT * FROM t WHERE "
              "camera_id IN (1)\n"
              "5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = SELECT * FROM t "
              "WHERE camera_id IN (1)\n");
}

TEST_F(DBHistoryDataTest, RowLoopGoesOnStopsOrFailsAsTheRowFunctionSays) {
    platform.database.fake.Answer(
        "SELECT", Rows({{"1", "7", "x", "0", "1"}, {"2", "7", "x", "0", "1"}, {"3", "7", "x", "0", "1"}}));
    const auto read = [this](CDBHistoryData::QueryResult at_two) {
        int rows = 0;
        const bool result = store.QueryDBInfoList("p", "SELECT", [&](db_layer::CConnect* connect) {
            ++rows;
            return connect->GetInt("camera_id") == 2 ? at_two : CDBHistoryData::kNext;
        });
        return std::make_pair(result, rows);
    };
    EXPECT_EQ(read(CDBHistoryData::kNext), std::make_pair(true, 3));
    EXPECT_EQ(read(CDBHistoryData::kStop), std::make_pair(true, 2));
    EXPECT_EQ(read(CDBHistoryData::kFail), std::make_pair(false, 2));
    EXPECT_EQ(Log(), "");
}

TEST_F(DBHistoryDataTest, ReadWithoutARowFunctionIsRefusedSilently) {
    EXPECT_FALSE(store.QueryDBInfoList("p", "SELECT", nullptr));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "");
}

}  // namespace
}  // namespace qar::history_test
