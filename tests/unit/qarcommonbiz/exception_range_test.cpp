// Exception ranges: what is told, what a deletion leaves, how old points go.

#include <stdexcept>

#include "history_fixture.h"

namespace qar::history_test {
namespace {

using Peer = CHistoryStateMgrPeer;

class ExceptionRangeTest : public HistoryTest {
protected:
    ExceptionRangeTest() { Register(); }

    static std::string At(const std::string& time) { return "2024-03-01T" + time + ":00+08:00"; }

    /// Enters points at 08:00, 09:00, … with these states; what that logs and runs is forgotten.
    void AddStates(const std::vector<int>& states) {
        int hour = 8;
        for (const int state : states) {
            const std::string text = (hour < 10 ? "0" : "") + std::to_string(hour) + ":00";
            ASSERT_TRUE(manager.AddCameraState(kPlugin, state, At(text), kBusi, kCamera));
            ++hour;
        }
        Forget();
    }
    static std::string Range(const std::string& begin, const std::string& end) {
        return "101: " + At(begin) + " " + At(end);
    }
    bool Delete(const std::string& begin, const std::string& end) {
        return manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, {begin, end});
    }
};

TEST_F(ExceptionRangeTest, ThreeContactsInARowAreOneRange) {
    AddStates({1, 1, 1});
    EXPECT_THAT(Ranges(), ElementsAre(Range("08:00", "10:00")));
}

TEST_F(ExceptionRangeTest, StretchFromContactToInOrderIsNone) {
    AddStates({1, 2, 1});
    EXPECT_THAT(Ranges(), ElementsAre(Range("09:00", "10:00")));
}

TEST_F(ExceptionRangeTest, TwoGapsWithOrderBetweenAreTwoRanges) {
    AddStates({2, 1, 2, 1});
    EXPECT_THAT(Ranges(), ElementsAre(Range("08:00", "09:00"), Range("10:00", "11:00")));
}

TEST_F(ExceptionRangeTest, SinglePointIsNoRangeWhateverItsState) {
    for (const int state : {1, 2, 3}) {
        ASSERT_TRUE(manager.AddCameraState(kPlugin, state, At("08:00"), kBusi, 500 + state));
    }
    EXPECT_THAT(Ranges(), IsEmpty());
}

TEST_F(ExceptionRangeTest, PointOfAnotherStateMakesRangesOnBothSides) {
    AddStates({2, 7, 2});
    EXPECT_THAT(Ranges(), ElementsAre(Range("08:00", "10:00")));
}

TEST_F(ExceptionRangeTest, EachEndKeepsItsOwnOffset) {
    manager.AddCameraState(kPlugin, 2, "2024-03-01T08:00:00+08:00", kBusi, kCamera);
    manager.AddCameraState(kPlugin, 1, "2024-03-01T09:00:00+07:00", kBusi, kCamera);
    EXPECT_THAT(Ranges(), ElementsAre("101: 2024-03-01T08:00:00+08:00 2024-03-01T09:00:00+07:00"));
}

TEST_F(ExceptionRangeTest, RangesAreAddedToWhatTheCallerHasAndJoinedWhereTheyMeet) {
    AddStates({2, 1});
    std::map<int, std::vector<SStateRange>> ranges = {{kCamera, {{"earlier", At("08:00")}}}, {7, {{"a", "b"}}}};
    EXPECT_TRUE(manager.GetExceptionRange(ranges, kPlugin, kBusi));
    EXPECT_THAT(Texts(ranges), ElementsAre("7: a b", "101: earlier " + At("09:00")));
}

TEST_F(ExceptionRangeTest, UnknownPluginOrBusinessTypeGivesTrueAndNothing) {
    AddStates({2, 1});
    std::map<int, std::vector<SStateRange>> ranges;
    EXPECT_TRUE(manager.GetExceptionRange(ranges, "other", kBusi));
    EXPECT_TRUE(manager.GetExceptionRange(ranges, kPlugin, 99));
    EXPECT_THAT(ranges, IsEmpty());
    EXPECT_EQ(Log(), "");
}

// --- AddCameraState --------------------------------------------------------------------------------------------------

TEST_F(ExceptionRangeTest, PointOfACameraThatNobodyCaresForOpensItsTimeline) {
    EXPECT_TRUE(manager.AddCameraState(kPlugin, 1, At("08:00"), 55, 999));
    EXPECT_THAT(Points(999, 55), ElementsAre(At("08:00") + " 1"));
}

TEST_F(ExceptionRangeTest, PointWithABadMomentIsRefused) {
    EXPECT_FALSE(manager.AddCameraState(kPlugin, 1, "soon", kBusi, kCamera));
    EXPECT_EQ(Log(),
              "5 QARCommon AddCameraState state_time is error plugin_id = gap, busi_type = 1, camera_id = 101, "
              "state = 1, time = soon\n");
}

TEST_F(ExceptionRangeTest, PointOfAnUnknownPluginIsRefused) {
    EXPECT_FALSE(manager.AddCameraState("other", 1, At("08:00"), kBusi, kCamera));
    EXPECT_EQ(Log(), "5 QARCommon no register plugin_id = other\n");
}

TEST_F(ExceptionRangeTest, PointWithoutAStoreIsToldByBothSteps) {
    Peer::RemoveStore(manager);
    EXPECT_FALSE(manager.AddCameraState(kPlugin, 1, At("08:00"), kBusi, kCamera));
    EXPECT_EQ(Log(),
              "5 QARCommon  ptr_db_history_data_ is null state plugin_id = gap, busi_type = 1, camera_id = 101 "
              "state = 1, time = " +
                  At("08:00") +
                  "\n5 QARCommon add AddHistoryStateInfo is fail pg_id = gap, busi_type = 1, camera_id = 101, "
                  "time = " +
                  At("08:00") + ", state = 1\n");
}

// --- DelHistoryStateInRange ------------------------------------------------------------------------------------------

std::string Before(const std::string& begin, const std::string& end) {
    return "3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange pre del range time plugin_id = gap, busi_type = 1, "
           "camera_id = 101, begin_time = " +
           begin + ", end_time = " + end + "\n";
}
std::string DeleteSql(const std::string& begin, const std::string& end) {
    return "DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1 AND state_time >= '" + begin +
           "' AND state_time < '" + end + "';";
}
std::string After(const std::string& begin, const std::string& end, int exists) {
    return "3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange del range time success plugin_id = gap, busi_type = "
           "1, camera_id = 101, begin_time = " +
           begin + ", end_time = " + end + ", b_exist_end_state = " + std::to_string(exists) + "\n";
}

TEST_F(ExceptionRangeTest, DeletedRangeLosesItsPointsAndItsEndBecomesInOrder) {
    AddStates({2, 1, 1, 1});
    EXPECT_TRUE(Delete(At("08:00"), At("10:00")));
    EXPECT_THAT(Points(), ElementsAre(At("10:00") + " 2", At("11:00") + " 1"));
    EXPECT_THAT(Ranges(), ElementsAre(Range("10:00", "11:00")));
    EXPECT_THAT(Sqls(), ElementsAre(DeleteSql("2024-03-01 08:00:00", "2024-03-01 10:00:00"),
                                    "UPDATE gap.history SET camera_state = 2 WHERE camera_id = 101 AND business_type = "
                                    "1 AND state_time = '2024-03-01 10:00:00'"));
    EXPECT_EQ(Log(), Before(At("08:00"), At("10:00")) + "2 QARCommon SQL = " + Sqls()[0] + "\n" +
                         After(At("08:00"), At("10:00"), 1));
}

TEST_F(ExceptionRangeTest, EndWithoutAPointGetsOneAndARow) {
    AddStates({1, 1});
    platform.database.fake.SetNextId(77);
    EXPECT_TRUE(Delete(At("08:00"), At("08:30")));
    EXPECT_THAT(Points(), ElementsAre(At("08:30") + " 2", At("09:00") + " 1"));
    ASSERT_EQ(Sqls().size(), 2u);
    EXPECT_THAT(Sqls()[1], ::testing::StartsWith("INSERT INTO gap.history(id, camera_id, camera_state, state_time, "
                                                 "state_utc_time, business_type, bi_type, differ) values(77, 101, 2, "
                                                 "'2024-03-01 08:30:00', "));
    EXPECT_EQ(Log(), Before(At("08:00"), At("08:30")) + "2 QARCommon SQL = " + Sqls()[0] + "\n" +
                         After(At("08:00"), At("08:30"), 0));
}

TEST_F(ExceptionRangeTest, EndPointKeepsItsOwnOffset) {
    manager.AddCameraState(kPlugin, 1, "2024-03-01T09:00:00+07:00", kBusi, kCamera);
    EXPECT_TRUE(Delete(At("08:00"), At("09:00")));
    EXPECT_THAT(Points(), ElementsAre("2024-03-01T09:00:00+07:00 2"));
}

TEST_F(ExceptionRangeTest, BeginBehindTheEndErasesNothingAndStillSetsTheEnd) {
    AddStates({1, 1, 1});
    EXPECT_TRUE(Delete(At("10:00"), At("09:00")));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1", At("09:00") + " 2", At("10:00") + " 1"));
}

TEST_F(ExceptionRangeTest, MomentThatCannotBeReadErasesNothing) {
    AddStates({2, 1});
    EXPECT_FALSE(Delete("soon", At("09:00")));
    EXPECT_FALSE(Delete(At("08:00"), "later"));
    EXPECT_THAT(Ranges(), ElementsAre(Range("08:00", "09:00")));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), Before("soon", At("09:00")) +
                         "5 QARCommon DelDBHistorySateInfo begin_time is error busi_type = 1, camera_id = 101, "
                         "begin_time = soon, end_time = " +
                         At("09:00") + "\n" + Before(At("08:00"), "later") +
                         "5 QARCommon DelDBHistorySateInfo end_time is error busi_type = 1, camera_id = 101, "
                         "begin_time = " +
                         At("08:00") + ", end_time = later\n");
}

TEST_F(ExceptionRangeTest, DeletionOfWhatIsNotThereIsTrueAndSilent) {
    AddStates({2, 1});
    EXPECT_TRUE(manager.DelHistoryStateInRange(kPlugin, kBusi, 999, {"bad", "bad"}));
    EXPECT_TRUE(manager.DelHistoryStateInRange(kPlugin, 99, kCamera, {"bad", "bad"}));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_THAT(platform.log.LinesFrom(4), IsEmpty());
    EXPECT_EQ(platform.log.Lines().size(), 2u);  // what was asked, and no more
}

TEST_F(ExceptionRangeTest, DeletionForAnUnknownPluginIsTrueAndTold) {
    EXPECT_TRUE(manager.DelHistoryStateInRange("other", kBusi, kCamera, {At("08:00"), At("09:00")}));
    EXPECT_EQ(
        Log(),
        "3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange pre del range time plugin_id = other, busi_type = "
        "1, camera_id = 101, begin_time = " +
            At("08:00") + ", end_time = " + At("09:00") +
            "\n5 QARCommon in CHistoryStateMgr::DelHistoryStateInRange not find pugin id = other\n");
}

TEST_F(ExceptionRangeTest, DeletionWithoutAStoreIsRefused) {
    AddStates({2, 1});
    Peer::RemoveStore(manager);
    EXPECT_FALSE(Delete(At("08:00"), At("09:00")));
    EXPECT_EQ(Log(),
              Before(At("08:00"), At("09:00")) +
                  "5 QARCommon CHistoryStateMgr::DelHistoryStateInRange ptr_db_history_data_ is null plugin_id = "
                  "gap, busi_type = 1, camera_id = 101, begin_time = " +
                  At("08:00") + ", end_time = " + At("09:00") + "\n");
}

TEST_F(ExceptionRangeTest, FailedStatementsOfADeletionAreToldAndMemoryIsChangedAllTheSame) {
    AddStates({2, 1});
    platform.database.fake.FailAll("gap.history");
    EXPECT_TRUE(Delete(At("08:00"), At("09:00")));
    EXPECT_THAT(Points(), ElementsAre(At("09:00") + " 2"));
    EXPECT_TRUE(Delete(At("08:00"), At("08:30")));
    EXPECT_THAT(Points(), ElementsAre(At("08:30") + " 2", At("09:00") + " 2"));
    const std::vector<std::string> sql = Sqls();
    ASSERT_EQ(sql.size(), 4u);
    const std::string ran = "5 QARCommon in CDBBaseSession::Execute is fail sql = ";
    const auto deletion_fails = [&](const std::string& text, const std::string& end) {
        return Before(At("08:00"), At(end)) + "2 QARCommon SQL = " + text + "\n" + ran + text +
               "\n5 QARCommon CDBHistoryData::DelDBHistorySateInfo dbExecute fail sql = " + text +
               "\n5 QARCommon DelDBHistorySateInfo is fail busi_type = 1, camera_id = 101, begin_time = " +
               At("08:00") + ", end_time = " + At(end) + "\n";
    };
    EXPECT_EQ(Log(), deletion_fails(sql[0], "09:00") + ran + sql[1] +
                         "\n5 QARCommon UpdateDBHistorySateType::UpdateCameraStateType dbExecute fail sql = " + sql[1] +
                         "\n5 QARCommon UpdateDBHistorySateType is fail busi_type = 1, camera_id = 101, begin_time = " +
                         At("08:00") + ", end_time = " + At("09:00") + "\n" + After(At("08:00"), At("09:00"), 1) +
                         deletion_fails(sql[2], "08:30") + ran + sql[3] +
                         "\n5 QARCommon AddDBHistoryStateInfo::AddCameraState dbExecute fail sql = " + sql[3] +
                         "\n5 QARCommon AddDBHistoryStateInfo is fail busi_type = 1, camera_id = 101, state = 2, "
                         "state_time = " +
                         At("08:30") + "\n" + After(At("08:00"), At("08:30"), 0));
}

// --- expiry ----------------------------------------------------------------------------------------------------------

class ExpiryTest : public ExceptionRangeTest {
protected:
    bool Expire(const std::string& time) { return Peer::Expire(manager, kPlugin, kBusi, kCamera, Point(At(time), 2)); }
    static std::string Done(const std::string& time) {
        return "3 QARCommon in CHistoryStateMgr::DelExpireStateByTime del expire state plugin_id = gap, n_busi_type = 1, "
               "n_camera_id = 101, expire_time = 2024-03-01 " +
               time + ":00, table_name = t\n";
    }
};

TEST_F(ExpiryTest, PointsBeforeTheMomentGoAndNoneIsAdded) {
    AddStates({2, 1, 2});
    EXPECT_TRUE(Expire("09:00"));
    EXPECT_THAT(Points(), ElementsAre(At("09:00") + " 1", At("10:00") + " 2"));
    EXPECT_THAT(Sqls(), ElementsAre("DELETE FROM t WHERE camera_id = 101 AND business_type = 1 AND state_time < "
                                    "'2024-03-01 09:00:00'"));
    EXPECT_EQ(Log(), Done("09:00"));
}

// The sense looks reversed: a point is added when nothing was erased. It is there after every other run, and plug-ins
// have always been told of it so.
TEST_F(ExpiryTest, TimelineWithoutOldPointsGetsOneThatTheNextRunRemovesAgain) {
    AddStates({1});
    EXPECT_TRUE(Expire("07:00"));
    EXPECT_THAT(Points(), ElementsAre(At("07:00") + " 2", At("08:00") + " 1"));
    EXPECT_THAT(Ranges(), ElementsAre(Range("07:00", "08:00")));
    EXPECT_TRUE(Expire("07:30"));
    EXPECT_THAT(Points(), ElementsAre(At("08:00") + " 1"));
    EXPECT_THAT(Ranges(), IsEmpty());
    EXPECT_TRUE(Expire("07:45"));
    EXPECT_THAT(Points(), ElementsAre(At("07:45") + " 2", At("08:00") + " 1"));
}

TEST_F(ExpiryTest, EmptiedTimelineStaysAndGetsAPointByTheNextRun) {
    AddStates({1});
    EXPECT_TRUE(Expire("09:00"));
    EXPECT_THAT(Points(), IsEmpty());
    EXPECT_FALSE(Peer::Exists(manager, kPlugin, kBusi, kCamera));
    EXPECT_TRUE(Expire("10:00"));
    EXPECT_THAT(Points(), ElementsAre(At("10:00") + " 2"));
}

TEST_F(ExpiryTest, FailedStatementLeavesMemoryAsItWas) {
    AddStates({1, 2});
    platform.database.fake.FailNext("DELETE");
    EXPECT_FALSE(Expire("09:30"));
    EXPECT_EQ(Points().size(), 2u);
    EXPECT_EQ(platform.log.Lines().back().body,
              "DelDBHistorySateByExpireTime is error plugin_id = gap, busi_type = 1, camera_id = 101, expire_time = "
              "2024-03-01 09:30:00");
}

TEST_F(ExpiryTest, UnknownCameraIsTrueAndSilent) {
    EXPECT_TRUE(Peer::Expire(manager, kPlugin, kBusi, 999, Point(At("09:00"), 2)));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(), "");
}

TEST_F(ExpiryTest, WithoutAStoreItIsRefused) {
    Peer::RemoveStore(manager);
    EXPECT_FALSE(Expire("09:00"));
    EXPECT_EQ(Log(), "5 QARCommon ptr_db_history_data_ is null\n");
}

// --- notification ----------------------------------------------------------------------------------------------------

TEST_F(ExceptionRangeTest, EveryNotificationTellsAllRangesAnew) {
    AddStates({2, 1});
    manager.NotifyExceptionRange();
    manager.NotifyExceptionRange();
    EXPECT_THAT(told, ElementsAre("1/" + Range("08:00", "09:00"), "1/" + Range("08:00", "09:00")));
    const std::string lines =
        "3 QARCommon CHistoryStateMgr::NotifyExceptionRange handle exception range\n"
        "3 QARCommon CHistoryStateMgr::NotifyExceptionRange plugin_id = gap, busi_type = 1, camera_id = 101, begin_time "
        "= " +
        At("08:00") + ", end_time = " + At("09:00") + "\n";
    EXPECT_EQ(Log(), lines + lines);
}

TEST_F(ExceptionRangeTest, NothingToTellCallsNobody) {
    AddStates({1, 2});
    manager.NotifyExceptionRange();
    EXPECT_THAT(told, IsEmpty());
    EXPECT_EQ(Log(), "3 QARCommon CHistoryStateMgr::NotifyExceptionRange handle exception range\n");
}

TEST_F(ExceptionRangeTest, PluginThatIsGoneIsPassedOverAndTheNextIsTold) {
    Register("late");
    AddStates({2, 1});
    ASSERT_TRUE(manager.AddCameraState("late", 2, At("08:00"), kBusi, kCamera));
    ASSERT_TRUE(manager.AddCameraState("late", 1, At("09:00"), kBusi, kCamera));
    Peer::ForgetRegistration(manager, kPlugin);
    Forget();
    manager.NotifyExceptionRange();
    EXPECT_EQ(told.size(), 1u);
    EXPECT_EQ(platform.log.Lines()[1].level, 5);
    EXPECT_EQ(platform.log.Lines()[1].body, "not find map_plugin_id notify info plugin_id = gap");
}

// It is told once, not for each business type.
TEST_F(ExceptionRangeTest, PluginWithoutAFunctionIsPassedOverAndTheNextIsTold) {
    Register("late");
    AddStates({2, 1});
    for (const int busi : {2, 3}) {
        ASSERT_TRUE(manager.AddCameraState(kPlugin, 2, At("08:00"), busi, kCamera));
        ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, At("09:00"), busi, kCamera));
    }
    ASSERT_TRUE(manager.AddCameraState("late", 2, At("08:00"), kBusi, kCamera));
    ASSERT_TRUE(manager.AddCameraState("late", 1, At("09:00"), kBusi, kCamera));
    Peer::ForgetFunction(manager, kPlugin);
    Forget();
    manager.NotifyExceptionRange();
    EXPECT_THAT(told, ElementsAre("1/" + Range("08:00", "09:00")));
    EXPECT_EQ(Log(),
              "3 QARCommon CHistoryStateMgr::NotifyExceptionRange handle exception range\n"
              "5 QARCommon pugin func is null plugin_id = gap\n"
              "3 QARCommon CHistoryStateMgr::NotifyExceptionRange plugin_id = late, busi_type = 1, camera_id = 101, "
              "begin_time = " +
                  At("08:00") + ", end_time = " + At("09:00") + "\n");
}

TEST_F(ExceptionRangeTest, EachBusinessTypeIsToldByACallOfItsOwnWithAllItsCameras) {
    std::vector<std::string> calls;
    ASSERT_TRUE(manager.Register(
        [&](std::map<int, std::vector<SStateRange>>& ranges, int busi) {
            std::string call = std::to_string(busi);
            for (const std::string& text : Texts(ranges)) call += " | " + text;
            calls.push_back(call);
        },
        {1, 2}, "p", kTable, "id"));
    for (const auto& [busi, camera] : {std::pair(2, 5), std::pair(1, 7), std::pair(1, 6)}) {
        ASSERT_TRUE(manager.AddCameraState("p", 2, At("08:00"), busi, camera));
        ASSERT_TRUE(manager.AddCameraState("p", 1, At("09:00"), busi, camera));
    }
    ASSERT_TRUE(manager.AddCameraState("p", 1, At("08:00"), 3, 8));  // nothing to tell
    manager.NotifyExceptionRange();
    const std::string range = At("08:00") + " " + At("09:00");
    EXPECT_THAT(calls, ElementsAre("1 | 6: " + range + " | 7: " + range, "2 | 5: " + range));
}

TEST_F(ExceptionRangeTest, PluginThatThrowsIsToldInTheLogAndTheNextLosesNothing) {
    ASSERT_TRUE(
        manager.Register([](auto&, int) { throw std::runtime_error("broken"); }, {kBusi}, "a_bad", "b.t", "id"));
    ASSERT_TRUE(manager.Register([](auto&, int) { throw 7; }, {kBusi}, "a_worse", "b.t", "id"));
    AddStates({2, 1});
    for (const char* plugin : {"a_bad", "a_worse"}) {
        manager.AddCameraState(plugin, 2, At("08:00"), kBusi, kCamera);
        manager.AddCameraState(plugin, 1, At("09:00"), kBusi, kCamera);
    }
    Forget();
    manager.NotifyExceptionRange();
    EXPECT_THAT(told, ElementsAre("1/" + Range("08:00", "09:00")));
    std::vector<std::string> errors;
    for (const auto& line : platform.log.LinesFrom(5)) errors.push_back(line.body);
    EXPECT_THAT(errors, ElementsAre("notify_func_ of plugin threw, plugin_id = a_bad, busi_type = 1, error = broken",
                                    "notify_func_ of plugin threw, plugin_id = a_worse, busi_type = 1, error = unknown "
                                    "exception"));
}

TEST_F(ExceptionRangeTest, CallbackMayAskForTheRanges) {
    std::vector<std::string> asked;
    ASSERT_TRUE(manager.Register([&](auto&, int) { asked = Ranges("asker"); }, {kBusi}, "asker", "b.t", "id"));
    manager.AddCameraState("asker", 2, At("08:00"), kBusi, kCamera);
    manager.AddCameraState("asker", 1, At("09:00"), kBusi, kCamera);
    manager.NotifyExceptionRange();
    EXPECT_THAT(asked, ElementsAre(Range("08:00", "09:00")));
}

}  // namespace
}  // namespace qar::history_test
