// Each platform call failing in turn: points, the sweeps, exception ranges.

#include "fault_scene.h"

namespace qar::history_test {
namespace {

/// A moment of 2024-03-08.
std::string At(const std::string& clock, const std::string& offset = "+08:00") {
    return "2024-03-08T" + clock + ":00" + offset;
}

class TimelineFaultsTest : public FaultTest {
protected:
    struct New {
        int state;
        std::string iso;
    };
    static Stage With(const std::vector<New>& points) {
        return [points](FaultScene& scene) {
            scene.Register();
            for (const New& point : points) {
                ASSERT_TRUE(scene.manager.AddCameraState(kPlugin, point.state, point.iso, kBusi, kCamera));
            }
        };
    }
    static Act Add(int state, const std::string& iso) {
        return
            [=](FaultScene& scene) { return Text(scene.manager.AddCameraState(kPlugin, state, iso, kBusi, kCamera)); };
    }
};

// --- a point ---------------------------------------------------------------------------------------------------------

TEST_F(TimelineFaultsTest, EachFailingCallOfANewPoint) {
    const std::string sql = InsertSql(11, 101, 1, "2024-03-08 08:00:00", "2024-03-08 00:00:00", 1, kEast8);
    const Outcome usual = {"true",
                           InsertLine(At("08:00"), 1),
                           {"101/1 " + At("08:00") + " 1", "registered"},
                           {"11: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 1"},
                           {}};
    ExpectFaults(With({}), Add(1, At("08:00")), usual,
                 {{{"TimeUtil::TimeDifference2Str 28800 1"},
                   usual.Log(InsertLine(At("08:00", ""), 1))
                       .Rows({"11: 101/1 2024-03-08 08:00:00 utc 2024-03-08 08:00:00 0 1"})},
                  {{"IDBManagerPure::GetNextID 1"},
                   usual.Rows({"0: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 1"})},
                  {{"TimeUtil::TimeT2LocalTime 1"},
                   usual.Rows({"11: 101/1 2024-03-08 08:00:00 utc 2024-03-07 23:00:00 28800 1"})},
                  {{"IDBManagerPure::Execute 1"},
                   usual.Log(InsertFails(sql, At("08:00"), 1) + InsertLine(At("08:00"), 1)).Rows({})}});
}

const std::string kMoveSql =
    "UPDATE gap.history SET state_time = '2024-03-08 09:00:00' WHERE camera_id = 101 AND business_type = 1 and "
    "state_time = '2024-03-08 08:00:00' and camera_state = 2";
const std::string kUnmovedRow = "1: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 2";
const Outcome kMoved = {"",
                        UpdateLine(kNow),
                        {"101/1 " + kNow + " 2", "registered"},
                        {"1: 101/1 2024-03-08 09:00:00 utc 2024-03-08 00:00:00 28800 2"},
                        {}};

std::vector<Fault> MoveFaults(const Outcome& moved) {
    return {{{"TimeUtil::TimeDifference2Str 28800 1"}, moved.Log(UpdateLine(WithoutOffset(kNow)))},
            {{"IDBManagerPure::Execute 1"},
             moved.Log(UpdateFails(kMoveSql, "2024-03-08 08:00:00", kNow) + UpdateLine(kNow)).Rows({kUnmovedRow})}};
}

TEST_F(TimelineFaultsTest, EachFailingCallOfAPointThatMoves) {
    const Outcome usual = kMoved.Result("true");
    ExpectFaults(With({{2, At("08:00")}}), Add(2, kNow), usual, MoveFaults(usual));
}

// --- the sweeps ------------------------------------------------------------------------------------------------------

const std::string kNoTime = "5 QARCommon  get device time is fail camera_id = 101\n";
const Lines kCallsForTheTime = {"CDeviceManager::FindChannelByID 1", "CChannel::GetDevicePtr 1",
                                "TimeZone::GetDeviceTimeEx 1"};

TEST_F(TimelineFaultsTest, EachFailingCallOfACheckOfACameraInOrder) {
    const auto stage = [](FaultScene& scene) {
        scene.platform.site.Camera(kCamera)->device_guid = "the-device";
        With({{2, At("08:00")}})(scene);
    };
    const auto check = [](FaultScene& scene) {
        scene.manager.CheckCameraState();
        return std::string();
    };
    const std::string fails = "5 QARCommon check gurad is fail plugin_id = gap, busy_type = 1, camera_id = 101\n";
    const Outcome nothing = {"", "", {"101/1 " + At("08:00") + " 2", "registered"}, {kUnmovedRow}, {}};
    std::vector<Fault> faults = MoveFaults(kMoved);
    faults.insert(faults.end(),
                  {{kCallsForTheTime, nothing.Log(kNoTime)},
                   {{"CDeviceManager::FindChannelByID 2", "CDeviceManager::FindChannelByID 3"},
                    nothing.Log("5 QARCommon not find channel object camera_id = 101\n" + fails)},
                   {{"CDeviceManager::FindDeviceByID 1"},
                    nothing.Log("5 QARCommon get device_info is fail camera_id = 101, guid = the-device\n" + fails)},
                   {{"IDevice::GetGuardStatus 1", "IDevice::IsOnline 1"}, nothing},
                   {{"CChannel::IsOnline 1"}, nothing.Log(fails)}});
    ExpectFaults(stage, check, kMoved, faults);
}

class ExpiryFaultsTest : public TimelineFaultsTest {
protected:
    static std::string Expire(FaultScene& scene) {
        scene.manager.CheckExpireState();
        return "";
    }
    const std::string kSql =
        "DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1 AND state_time < '2024-03-01 09:00:00'";
    const std::string kFails =
        ExecuteFails(kSql) + "5 QARCommon CDBHistoryData::DelDBHistorySateByExpireTime dbExecute fail sql = " + kSql +
        "\n5 QARCommon DelDBHistorySateByExpireTime is error plugin_id = gap, busi_type = 1, camera_id = 101, "
        "expire_time = 2024-03-01 09:00:00\n"
        "5 QARCommon del expire state is fail pug_id = gap, busi_type = 1, camera_id = 101, time = "
        "2024-03-01T09:00:00+08:00, table_name = gap.history\n";
    const std::string kDone =
        "3 QARCommon in CHistoryStateMgr::DelExpireStateByTime del expire state plugin_id = gap, n_busi_type = 1, "
        "n_camera_id = 101, expire_time = 2024-03-01 09:00:00, table_name = gap.history\n";
};

TEST_F(ExpiryFaultsTest, EachFailingCallOfTheExpiryOfAnOldPoint) {
    const std::string kept_row = "2: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 2";
    const Outcome usual = {"", kDone, {"101/1 " + At("08:00") + " 2", "registered"}, {kept_row}, {}};
    const Outcome nothing = {"",
                             "",
                             {"101/1 2024-02-20T08:00:00+08:00 1", "101/1 " + At("08:00") + " 2", "registered"},
                             {"1: 101/1 2024-02-20 08:00:00 utc 2024-02-20 00:00:00 28800 1", kept_row},
                             {}};
    ExpectFaults(With({{1, "2024-02-20T08:00:00+08:00"}, {2, At("08:00")}}), Expire, usual,
                 {{kCallsForTheTime, nothing.Log(kNoTime)}, {{"IDBManagerPure::Execute 1"}, nothing.Log(kFails)}});
}

TEST_F(ExpiryFaultsTest, EachFailingCallOfAnExpiryThatAddsItsPoint) {
    const std::string sql = InsertSql(11, 101, 2, "2024-03-01 09:00:00", "2024-03-01 01:00:00", 1, kEast8);
    const Outcome usual = {"",
                           InsertLine(kWeekAgo, 2) + kDone,
                           {"101/1 " + kWeekAgo + " 2", "101/1 " + At("08:00") + " 2", "registered"},
                           {kUnmovedRow, "11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 01:00:00 28800 2"},
                           {}};
    const Outcome nothing = {"", "", {"101/1 " + At("08:00") + " 2", "registered"}, {kUnmovedRow}, {}};
    ExpectFaults(With({{2, At("08:00")}}), Expire, usual,
                 {{kCallsForTheTime, nothing.Log(kNoTime)},
                  {{"IDBManagerPure::Execute 1"}, nothing.Log(kFails)},
                  {{"TimeUtil::TimeDifference2Str 28800 1"},
                   usual.Log(InsertLine(WithoutOffset(kWeekAgo), 2) + kDone)
                       .Rows({kUnmovedRow, "11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 09:00:00 0 2"})},
                  {{"IDBManagerPure::GetNextID 1"},
                   usual.Rows({kUnmovedRow, "0: 101/1 2024-03-01 09:00:00 utc 2024-03-01 01:00:00 28800 2"})},
                  {{"TimeUtil::TimeT2LocalTime 1"},
                   usual.Rows({kUnmovedRow, "11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 00:00:00 28800 2"})},
                  {{"IDBManagerPure::Execute 2"},
                   usual.Log(InsertFails(sql, kWeekAgo, 2) + InsertLine(kWeekAgo, 2) + kDone).Rows({kUnmovedRow})}});
}

// --- ranges ----------------------------------------------------------------------------------------------------------

class RangeFaultsTest : public TimelineFaultsTest {
protected:
    /// The offsets tell the two ends apart, whichever is made a text first.
    static constexpr const char* kBeginText = "TimeUtil::TimeDifference2Str 25200 1";
    static constexpr const char* kEndText = "TimeUtil::TimeDifference2Str 28800 1";
    const std::string kBegin = At("07:00", "+07:00");
    const std::string kEnd = At("08:00");
    const Lines kPoints = {"101/1 " + kBegin + " 2", "101/1 " + kEnd + " 1", "registered"};
    const Lines kRows = {"1: 101/1 2024-03-08 07:00:00 utc 2024-03-08 00:00:00 25200 2",
                         "2: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 1"};
};

TEST_F(RangeFaultsTest, EachFailingCallOfANotification) {
    const auto notify = [](FaultScene& scene) {
        scene.manager.NotifyExceptionRange();
        return std::string();
    };
    const auto told = [this](const std::string& begin, const std::string& end) {
        return Outcome{"",
                       "3 QARCommon CHistoryStateMgr::NotifyExceptionRange handle exception range\n"
                       "3 QARCommon CHistoryStateMgr::NotifyExceptionRange plugin_id = gap, busi_type = 1, camera_id = "
                       "101, begin_time = " +
                           begin + ", end_time = " + end + "\n",
                       kPoints,
                       kRows,
                       {"1/101: " + begin + " " + end}};
    };
    ExpectFaults(With({{2, kBegin}, {1, kEnd}}), notify, told(kBegin, kEnd),
                 {{{kBeginText}, told(At("07:00", ""), kEnd)}, {{kEndText}, told(kBegin, At("08:00", ""))}});
}

TEST_F(RangeFaultsTest, EachFailingCallOfAQuestionForTheRanges) {
    const auto get = [](FaultScene& scene) {
        std::map<int, std::vector<SStateRange>> ranges;
        std::string result = Text(scene.manager.GetExceptionRange(ranges, kPlugin, kBusi));
        for (const std::string& text : Texts(ranges)) result += ", " + text;
        return result;
    };
    const Outcome usual = {"true, 101: " + kBegin + " " + kEnd, "", kPoints, kRows, {}};
    ExpectFaults(With({{2, kBegin}, {1, kEnd}}), get, usual,
                 {{{kBeginText}, usual.Result("true, 101: " + At("07:00", "") + " " + kEnd)},
                  {{kEndText}, usual.Result("true, 101: " + kBegin + " " + At("08:00", ""))}});
}

class RangeDeletionFaultsTest : public RangeFaultsTest {
protected:
    Act Delete() {
        return [range = SStateRange{kBegin, kEnd}](FaultScene& scene) {
            return Text(scene.manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, range));
        };
    }
    std::string Done(int b_exist_end_state) const {
        return "3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange del range time success plugin_id = gap, "
               "busi_type = 1, camera_id = 101, " +
               kTimes + ", b_exist_end_state = " + std::to_string(b_exist_end_state) + "\n";
    }
    const std::string kTimes = "begin_time = " + kBegin + ", end_time = " + kEnd;
    const std::string kSql =
        "DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1 AND state_time >= '2024-03-08 07:00:00' "
        "AND state_time < '2024-03-08 08:00:00';";
    const std::string kPre =
        "3 QARCommon in CHistoryStateMgr::DelHistoryStateInRange pre del range time plugin_id = gap, busi_type = 1, "
        "camera_id = 101, " +
        kTimes + "\n2 QARCommon SQL = " + kSql + "\n";
    const std::string kDeleteFails =
        ExecuteFails(kSql) + "5 QARCommon CDBHistoryData::DelDBHistorySateInfo dbExecute fail sql = " + kSql +
        "\n5 QARCommon DelDBHistorySateInfo is fail busi_type = 1, camera_id = 101, " + kTimes + "\n";
    const Lines kLeft = {"101/1 " + kEnd + " 2", "registered"};
};

TEST_F(RangeDeletionFaultsTest, EachFailingCallOfTheDeletionOfARangeWhoseEndIsAPoint) {
    const std::string sql =
        "UPDATE gap.history SET camera_state = 2 WHERE camera_id = 101 AND business_type = 1 AND state_time = "
        "'2024-03-08 08:00:00'";
    const std::string end_row = "2: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 2";
    const Outcome usual = {"true", kPre + Done(1), kLeft, {end_row}, {}};
    ExpectFaults(With({{2, kBegin}, {1, kEnd}}), Delete(), usual,
                 {{{"IDBManagerPure::Execute 1"}, usual.Log(kPre + kDeleteFails + Done(1)).Rows({kRows[0], end_row})},
                  {{kEndText}, usual},  // the statement takes the wall clock alone
                  {{"IDBManagerPure::Execute 2"},
                   usual
                       .Log(kPre + ExecuteFails(sql) +
                            "5 QARCommon UpdateDBHistorySateType::UpdateCameraStateType dbExecute fail sql = " + sql +
                            "\n5 QARCommon UpdateDBHistorySateType is fail busi_type = 1, camera_id = 101, " + kTimes +
                            "\n" + Done(1))
                       .Rows({kRows[1]})}});
}

TEST_F(RangeDeletionFaultsTest, EachFailingCallOfTheDeletionOfARangeWhoseEndIsNoPoint) {
    const std::string sql = InsertSql(11, 101, 2, "2024-03-08 08:00:00", "2024-03-08 00:00:00", 1, kEast8);
    const Outcome usual = {
        "true", kPre + Done(0), kLeft, {"11: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 2"}, {}};
    ExpectFaults(
        With({{2, kBegin}}), Delete(), usual,
        {{{"IDBManagerPure::Execute 1"},
          usual.Log(kPre + kDeleteFails + Done(0))
              .Rows({kRows[0], "11: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 2"})},
         {{kEndText}, usual.Rows({"11: 101/1 2024-03-08 08:00:00 utc 2024-03-08 08:00:00 0 2"})},
         {{"IDBManagerPure::GetNextID 1"},
          usual.Rows({"0: 101/1 2024-03-08 08:00:00 utc 2024-03-08 00:00:00 28800 2"})},
         {{"TimeUtil::TimeT2LocalTime 1"},
          usual.Rows({"11: 101/1 2024-03-08 08:00:00 utc 2024-03-07 23:00:00 28800 2"})},
         {{"IDBManagerPure::Execute 2"},
          usual
              .Log(
                  kPre + ExecuteFails(sql) +
                  "5 QARCommon AddDBHistoryStateInfo::AddCameraState dbExecute fail sql = " + sql +
                  "\n5 QARCommon AddDBHistoryStateInfo is fail busi_type = 1, camera_id = 101, state = 2, state_time = " +
                  kEnd + "\n" + Done(0))
              .Rows({})}});
}

}  // namespace
}  // namespace qar::history_test
