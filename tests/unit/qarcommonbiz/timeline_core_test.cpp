// Points: how one enters a camera's timeline.

#include "history_fixture.h"

namespace qar::history_test {
namespace {

using Peer = CHistoryStateMgrPeer;

class TimelineTest : public HistoryTest {
protected:
    bool Add(const std::string& iso, int state) {
        return Peer::Add(manager, kPlugin, kBusi, kCamera, Point(iso, state));
    }
    static std::string At(const std::string& time) { return "2024-03-01T" + time + ":00+08:00"; }

    static std::string Inserted(const std::string& iso, int state) {
        return "3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state info insert state plugin_id = gap, "
               "busi_type = 1, camera_id = 101, time = " +
               iso + ", state = " + std::to_string(state) + "\n";
    }
};

TEST_F(TimelineTest, FirstPointMakesTheTimelineAndItsRow) {
    EXPECT_FALSE(Peer::Exists(manager, kPlugin, kBusi, kCamera));
    EXPECT_TRUE(Add(At("08:00"), 1));
    EXPECT_TRUE(Peer::Exists(manager, kPlugin, kBusi, kCamera));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1"));
    ASSERT_EQ(Sqls().size(), 1u);
    EXPECT_THAT(Sqls()[0], ::testing::StartsWith("INSERT INTO t(id, camera_id, camera_state, state_time"));
    EXPECT_EQ(Log(), Inserted(At("08:00"), 1));
}

TEST_F(TimelineTest, StateTwoBehindAStateTwoMovesThatPointAndItsRow) {
    Add(At("08:00"), 2);
    Forget();
    EXPECT_TRUE(Add(At("08:30"), 2));
    EXPECT_THAT(Points(), ElementsAre(At("08:30") + " 2"));
    EXPECT_THAT(Sqls(), ElementsAre("UPDATE t SET state_time = '2024-03-01 08:30:00' WHERE camera_id = 101 AND "
                                    "business_type = 1 and state_time = '2024-03-01 08:00:00' and camera_state = 2"));
    EXPECT_EQ(Log(),
              "3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state info update state plugin_id = gap, "
              "busi_type = 1, camera_id = 101, time = " +
                  At("08:30") + ", state = 2\n");
}

TEST_F(TimelineTest, StateTwoBehindAStateOneIsAPointOfItsOwn) {
    Add(At("08:00"), 1);
    Add(At("08:30"), 2);
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1", At("08:30") + " 2"));
}

TEST_F(TimelineTest, StateOneNeverMovesAnything) {
    Add(At("08:00"), 2);
    Add(At("09:00"), 1);
    Add(At("10:00"), 1);
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 2", At("09:00") + " 1", At("10:00") + " 1"));
    EXPECT_EQ(Sqls().size(), 3u);
}

TEST_F(TimelineTest, StateTwoEarlierThanTheLastPointIsInsertedAndMovesNothing) {
    Add(At("08:00"), 2);
    EXPECT_TRUE(Add(At("07:00"), 2));
    EXPECT_THAT(Points(), ElementsAre(At("07:00") + " 2", At("08:00") + " 2"));
}

TEST_F(TimelineTest, OfTwoPointsInOneSecondTheFirstStaysWhateverTheStates) {
    Add(At("08:00"), 1);
    Forget();
    EXPECT_TRUE(Add(At("08:00"), 2));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1"));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "2 QARCommon exist state time add plugin_id = gap, busi_type = 1, camera_id = 101, state time = " +
                         At("08:00") + ", state = 2, old_state = 1\n");
}

TEST_F(TimelineTest, StateTwoAtTheVeryMomentOfTheLastPointChangesNothing) {
    Add(At("08:00"), 2);
    Forget();
    EXPECT_TRUE(Add(At("08:00"), 2));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "2 QARCommon exist state time add plugin_id = gap, busi_type = 1, camera_id = 101, state time = " +
                         At("08:00") + ", state = 2, old_state = 2\n");
}

TEST_F(TimelineTest, SameWallClockUnderAnotherOffsetIsTheSameMoment) {
    Add("2024-03-01T08:00:00+08:00", 1);
    EXPECT_TRUE(Add("2024-03-01T08:00:00+07:00", 1));
    EXPECT_THAT(Points(), ElementsAre("2024-03-01T08:00:00+08:00 1"));
}

TEST_F(TimelineTest, FailedInsertLeavesThePointInMemoryAndIsTold) {
    platform.database.fake.FailNext("INSERT");
    EXPECT_TRUE(Add(At("08:00"), 1));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1"));
    const std::string sql = InsertSql(1, 101, 1, "2024-03-01 08:00:00", "2024-03-01 00:00:00", 1, kEast8, "t");
    EXPECT_THAT(Sqls(), ElementsAre(sql));
    EXPECT_EQ(Log(),
              "5 QARCommon in CDBBaseSession::Execute is fail sql = " + sql +
                  "\n5 QARCommon AddDBHistoryStateInfo::AddCameraState dbExecute fail sql = " + sql +
                  "\n5 QARCommon  add db state time is fail state plugin_id = gap, busi_type = 1, camera_id = 101, "
                  "time = " +
                  At("08:00") + ", state = 1\n" + Inserted(At("08:00"), 1));
    EXPECT_EQ(platform.log.Lines()[2].function, "qar::CHistoryStateMgr::AddHistoryStateInfo");
}

TEST_F(TimelineTest, MemoryIsChangedBeforeTheRow) {
    std::vector<std::vector<std::string>> seen;
    ON_CALL(platform.database, Execute).WillByDefault([&](const auto&...) {
        seen.push_back(Points());
        return true;
    });
    Add(At("08:00"), 2);
    Add(At("08:30"), 2);
    EXPECT_THAT(seen, ElementsAre(ElementsAre(At("08:00") + " 2"), ElementsAre(At("08:30") + " 2")));
}

TEST_F(TimelineTest, FailedMoveLeavesThePointMovedInMemoryAndIsTold) {
    Add(At("08:00"), 2);
    Forget();
    platform.database.fake.FailNext("UPDATE");
    EXPECT_TRUE(Add(At("08:30"), 2));
    EXPECT_THAT(Points(), ElementsAre(At("08:30") + " 2"));
    ASSERT_EQ(Sqls().size(), 1u);
    EXPECT_EQ(Log(),
              "5 QARCommon in CDBBaseSession::Execute is fail sql = " + Sqls()[0] +
                  "\n5 QARCommon UpdateDBHistoryStateTime::UpdateCameraState dbExecute fail sql = " + Sqls()[0] +
                  "\n5 QARCommon  update db state time is fail state pu_id = gap, old_time = 2024-03-01 08:00:00, "
                  "busi_type = 1, camera_id = 101 time = " +
                  At("08:30") +
                  ", state = 2, old_state = 2\n3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state "
                  "info update state plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
                  At("08:30") + ", state = 2\n");
}

TEST_F(TimelineTest, WithoutAStoreNothingIsEnteredAndItIsTold) {
    Peer::RemoveStore(manager);
    EXPECT_FALSE(Add(At("08:00"), 1));
    EXPECT_THAT(Points(), IsEmpty());
    EXPECT_EQ(Log(),
              "5 QARCommon  ptr_db_history_data_ is null state plugin_id = gap, busi_type = 1, camera_id = 101 "
              "state = 1, time = " +
                  At("08:00") + "\n");
}

TEST_F(TimelineTest, RowsAreLoadedWithoutAnyStatement) {
    EXPECT_TRUE(Peer::Load(manager, kPlugin, kBusi, kCamera, {{At("08:00"), 1}, {At("09:00"), 2}}));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1", At("09:00") + " 2"));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "");
}

TEST_F(TimelineTest, LoadStopsAtATextThatIsNoTimeAndKeepsWhatCameBefore) {
    EXPECT_FALSE(Peer::Load(manager, kPlugin, kBusi, kCamera, {{At("08:00"), 1}, {"bad", 2}}));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1"));
    EXPECT_EQ(Log(),
              "5 QARCommon iso time to tm is fail plugin_id = gap, busi_type = 1, camera_id = 101, value = bad\n");
}

TEST_F(TimelineTest, OfTwoRowsOfOneWallClockTheLaterTextWinsWithItsOffset) {
    EXPECT_TRUE(Peer::Load(manager, kPlugin, kBusi, kCamera,
                           {{"2024-03-01T08:00:00+07:00", 1}, {"2024-03-01T08:00:00+08:00", 2}}));
    EXPECT_THAT(Points(), ElementsAre("2024-03-01T08:00:00+08:00 2"));
}

}  // namespace
}  // namespace qar::history_test
