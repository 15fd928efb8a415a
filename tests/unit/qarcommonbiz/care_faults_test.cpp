// Each platform call failing in turn: both forms of care, the retry of put-off cameras, the deletions.

#include "fault_scene.h"

namespace qar::history_test {
namespace {

const std::string kOf = " camera_id = 101, str_plugin_id = gap, n_busi_type = 1\n";
const std::string kGuardFails = "5 QARCommon check guard is fail" + kOf;
const std::string kNoChannel = "5 QARCommon not find channel object camera_id = 101\n" + kGuardFails;
const std::string kNoDevice = "5 QARCommon get device_info is fail camera_id = 101, guid = the-device\n" + kGuardFails;
const std::string kNotGuarded = "4 QARCommon Not Guard!" + kOf;

const std::string kFirstSql = InsertSql(11, 101, 1, "2024-03-01 09:00:00", "2024-03-01 01:00:00", 1, kEast8);
const std::string kFirstRow = "11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 01:00:00 28800 1";
const std::string kNowRow = "12: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1";
const Lines kCared = {"registered", "cares 101/1"};

std::string NowSql(long long id) {
    return InsertSql(id, 101, 1, "2024-03-08 09:00:00", "2024-03-08 01:00:00", 1, kEast8);
}

std::string ToldLine(const std::string& begin = kWeekAgo, const std::string& end = kNow) {
    return "3 QARCommon CHistoryStateMgr::SetCareCameraStateInfo notity history range plugin_id = gap, busi_type = 1, "
           "camera_id = 101, begin_time = " +
           begin + ", end_time = " + end + "\n";
}

std::string Told(const std::string& begin = kWeekAgo, const std::string& end = kNow) {
    return "1/101: " + begin + " " + end;
}

std::string FirstAddLog(const std::string& week_ago = kWeekAgo, const std::string& now = kNow) {
    return InsertLine(week_ago, 1) + InsertLine(now, 1);
}

/// What a first care that goes well leaves.
Outcome FirstCare(const std::string& result) {
    return {result,
            FirstAddLog() + ToldLine(),
            {"101/1 " + kWeekAgo + " 1", "101/1 " + kNow + " 1", "registered", "cares 101/1"},
            {kFirstRow, kNowRow},
            {Told()}};
}

/// The calls of a first care from the two points on, which both forms make alike. A statement or number that fails
/// costs a row; a text that lacks its offset is taken as it is.
std::vector<Fault> FirstAddFaults(const Outcome& usual) {
    const std::string bare_week = WithoutOffset(kWeekAgo);
    const std::string bare_now = WithoutOffset(kNow);
    return {
        {{"TimeUtil::TimeDifference2Str 28800 1"},
         usual.Log(FirstAddLog(bare_week) + ToldLine())
             .Rows({"11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 09:00:00 0 1", kNowRow})},
        {{"IDBManagerPure::GetNextID 1"},
         usual.Rows({"0: 101/1 2024-03-01 09:00:00 utc 2024-03-01 01:00:00 28800 1",
                     "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"})},
        {{"TimeUtil::TimeT2LocalTime 1"},
         usual.Rows({"11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 00:00:00 28800 1", kNowRow})},
        {{"IDBManagerPure::Execute 1"},
         usual.Log(InsertFails(kFirstSql, kWeekAgo, 1) + FirstAddLog() + ToldLine()).Rows({kNowRow})},
        {{"TimeUtil::TimeDifference2Str 28800 2"},
         usual.Log(FirstAddLog(kWeekAgo, bare_now) + ToldLine())
             .Rows({kFirstRow, "12: 101/1 2024-03-08 09:00:00 utc 2024-03-08 09:00:00 0 1"})},
        {{"IDBManagerPure::GetNextID 2"},
         usual.Rows({kFirstRow, "0: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"})},
        {{"TimeUtil::TimeT2LocalTime 2"},
         usual.Rows({kFirstRow, "12: 101/1 2024-03-08 09:00:00 utc 2024-03-08 00:00:00 28800 1"})},
        {{"IDBManagerPure::Execute 2"},
         usual.Log(InsertLine(kWeekAgo, 1) + InsertFails(NowSql(12), kNow, 1) + InsertLine(kNow, 1) + ToldLine())
             .Rows({kFirstRow})},
        {{"TimeUtil::TimeDifference2Str 28800 3"},
         usual.Log(FirstAddLog() + ToldLine(bare_week)).Told({Told(bare_week)})},
        {{"TimeUtil::TimeDifference2Str 28800 4"},
         usual.Log(FirstAddLog() + ToldLine(kWeekAgo, bare_now)).Told({Told(kWeekAgo, bare_now)})},
    };
}

class CareFaultsTest : public FaultTest {
protected:
    static void Stage(FaultScene& scene) {
        scene.platform.site.Camera(kCamera)->device_guid = "the-device";
        scene.Register();
    }
};

TEST_F(CareFaultsTest, EachFailingCallOfAFirstCare) {
    const auto care = [](FaultScene& scene) {
        return Text(scene.manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
    };
    const Outcome usual = FirstCare("true");
    const Outcome nothing = {"true", "", kCared, {}, {}};
    std::vector<Fault> faults = FirstAddFaults(usual);
    faults.insert(
        faults.end(),
        {{{"CDeviceManager::FindChannelByID 1"}, nothing.Log(kNoChannel)},
         {{"CDeviceManager::FindDeviceByID 1"}, nothing.Log(kNoDevice)},
         {{"IDevice::GetGuardStatus 1", "IDevice::IsOnline 1"}, nothing.Log(kNotGuarded)},
         {{"CDeviceManager::FindChannelByID 2", "CChannel::GetDevicePtr 1"},
          nothing.Log("5 QARCommon get dev_time is fail" + kOf)},
         // this operation has no failure: what it leaves empty is the moment 0, and seven days before it the calendar
         // gives six months of no length
         {{"TimeZone::GetDeviceTime 1"},
          {"true",
           FirstAddLog("-001-06-00T00:00:00+00:00", "0000-00-00T00:00:00+00:00") +
               ToldLine("-001-06-00T00:00:00+00:00", "0000-00-00T00:00:00+00:00"),
           {"101/1 -001-06-00T00:00:00+00:00 1", "101/1 0000-00-00T00:00:00+00:00 1", "registered", "cares 101/1"},
           {"11: 101/1 -001-06-00 00:00:00 utc -001-05-31 00:00:00 0 1",
            "12: 101/1 0000-00-00 00:00:00 utc -001-11-30 00:00:00 0 1"},
           {Told("-001-06-00T00:00:00+00:00", "0000-00-00T00:00:00+00:00")}}}});
    ExpectFaults(Stage, care, usual, faults);
}

// --- cameras that may come from another node -------------------------------------------------------------------------

const std::string kSelect = "SELECT * FROM gap.history WHERE camera_id IN (101)";
const std::string kQueryFails =
    "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = " + kSelect +
    "\n5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = " + kSelect +
    "\n5 QARCommon QueryCameraStateByCameraID failed plugin_id = gap, table_name = "
    "gap.history\n";
const std::string kPutOff = "4 QARCommon get dev_time is fail" + kOf;

/// The calls of the Ex form up to the camera's time.
/// @param nothing  the outcome of a camera that gets no point, but for its lines
std::vector<Fault> ExFaults(const Outcome& nothing, const Lines& put_off, const std::string& more = "") {
    return {{{"IDBManagerPure::ExecuteQuery 1"}, nothing.Log(kQueryFails + more)},
            {{"CDeviceManager::FindChannelByID 1"}, nothing.Log(kNoChannel + more)},
            {{"CDeviceManager::FindDeviceByID 1"}, nothing.Log(kNoDevice + more)},
            {{"IDevice::GetGuardStatus 1", "IDevice::IsOnline 1"}, nothing.Log(kNotGuarded + more)},
            {{"CDeviceManager::FindChannelByID 2", "CChannel::GetDevicePtr 1", "TimeZone::GetDeviceTimeEx 1"},
             nothing.Log(kPutOff + more).Memory(put_off)}};
}

class CareExFaultsTest : public CareFaultsTest {
protected:
    static std::string Care(FaultScene& scene) {
        return Text(scene.manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kCamera}));
    }
};

TEST_F(CareExFaultsTest, EachFailingCallOfAFirstCareOfACameraWithoutRows) {
    const Outcome usual = FirstCare("true");
    std::vector<Fault> faults = FirstAddFaults(usual);
    for (Fault& fault : ExFaults({"false", "", kCared, {}, {}}, {"registered", "put off 101/1"})) {
        faults.push_back(std::move(fault));
    }
    faults.push_back({{"CConnect::IsEnd 1"}, usual});  // it is at its end anyway
    ExpectFaults(Stage, Care, usual, faults);
}

TEST_F(CareExFaultsTest, EachFailingCallOfTheCareOfACameraWithRowsOfAnotherNode) {
    const auto stage = [](FaultScene& scene) {
        Stage(scene);
        scene.HasRows({{kCamera, kBusi, "2024-03-07 09:00:00", kEast8, 2}});
    };
    const std::string row = "0: 101/1 2024-03-07 09:00:00 28800 2";
    const auto memory = [](const std::string& loaded) {
        return Lines{"101/1 " + loaded, "101/1 " + kNow + " 1", "registered", "cares 101/1"};
    };
    const Outcome usual = {"true",
                           InsertLine(kNow, 1),
                           memory("2024-03-07T09:00:00+08:00 2"),
                           {row, "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"},
                           {}};
    const Outcome first_care = FirstCare("true").Rows({row, kFirstRow, kNowRow});
    std::vector<Fault> faults = ExFaults({"false", "", kCared, {row}, {}}, {"registered", "put off 101/1"});
    faults.insert(
        faults.end(),
        {// no row of this camera and business type is read: it is a first care
         {{"CConnect::IsEnd 1", "CConnect::GetInt camera_id 1", "CConnect::GetInt business_type 1"}, first_care},
         {{"CConnect::MoveNext 1", "CConnect::IsEnd 2"}, usual},
         {{"CConnect::GetInt differ 1", "TimeUtil::TimeDifference2Str 28800 1"},
          usual.Memory(memory("2024-03-07T09:00:00+00:00 2"))},
         {{"CConnect::GetString state_time 1"}, usual.Memory(memory("0000-00-00T00:00:00+00:00 2"))},
         {{"CConnect::GetInt camera_state 1"}, usual.Memory(memory("2024-03-07T09:00:00+08:00 0"))},
         {{"TimeUtil::TimeDifference2Str 28800 2"},
          usual.Log(InsertLine(WithoutOffset(kNow), 1))
              .Rows({row, "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 09:00:00 0 1"})},
         {{"IDBManagerPure::GetNextID 1"},
          usual.Rows({row, "0: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"})},
         {{"TimeUtil::TimeT2LocalTime 1"},
          usual.Rows({row, "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 00:00:00 28800 1"})},
         {{"IDBManagerPure::Execute 1"},
          usual.Log(InsertFails(NowSql(11), kNow, 1) + InsertLine(kNow, 1)).Rows({row})}});
    ExpectFaults(stage, Care, usual, faults);
}

// Whatever keeps the retry from succeeding, the camera stays put off.
TEST_F(CareExFaultsTest, EachFailingCallOfTheRetryOfACameraThatWasPutOff) {
    const auto stage = [](FaultScene& scene) {
        Stage(scene);
        scene.platform.time_zone.fake.ForgetClock(kDevice);
        ASSERT_FALSE(scene.manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kCamera}));
        scene.SetClock("2024-03-08 09:00:00");
    };
    const auto retry = [](FaultScene& scene) {
        scene.manager.DoDelaySetCareCamera();
        return std::string();
    };
    const std::string tried =
        "2 QARCommon CHistoryStateMgr::DoDelaySetCareCamera Set camera info: plugin = gap, busi_type = 1, camera id = "
        "101.\n";
    const Outcome care = FirstCare("");
    const Outcome usual = care.Log(care.log + tried);
    std::vector<Fault> faults = FirstAddFaults(care);
    for (Fault& fault : faults) fault.outcome.log += tried;
    const Outcome nothing = {"", "", {"registered", "cares 101/1", "put off 101/1"}, {}, {}};
    for (Fault& fault : ExFaults(nothing, {"registered", "put off 101/1"}, tried)) faults.push_back(std::move(fault));
    faults.push_back({{"CConnect::IsEnd 1"}, usual});
    ExpectFaults(stage, retry, usual, faults);
}

// --- deletions -------------------------------------------------------------------------------------------------------

class CareDeletionFaultsTest : public FaultTest {
protected:
    static void Stage(FaultScene& scene) {
        scene.RegisterAndCare();
        ASSERT_TRUE(scene.manager.AddCameraState(kPlugin, 1, kNow, kBusi, kCamera));
    }
    const std::string kRow = "1: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1";
};

TEST_F(CareDeletionFaultsTest, EachFailingCallOfADeletionUnderABusinessType) {
    const std::string begin =
        "3 QARCommon in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = gap, busi_type = 1, "
        "camera_ids = 101, \n";
    const std::string sql = "DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1";
    const Outcome usual = {"", begin, {"registered"}, {}, {}};
    const auto remove = [](FaultScene& scene) {
        scene.manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera});
        return std::string();
    };
    ExpectFaults(
        Stage, remove, usual,
        {{{"IDBManagerPure::Execute 1"},
          usual
              .Log(begin + ExecuteFails(sql) +
                   "5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraIDAndBusiType dbExecute fail sql = " + sql +
                   "\n5 QARCommon CHistoryStateMgr::DelCareCameraStateInfo "
                   "DelDBHistoryStateByCameraIDAndBusiType is fail plugin_id = gap, busi_type = 1, camera_id = "
                   "101\n")
              .Rows({kRow})}});
}

TEST_F(CareDeletionFaultsTest, EachFailingCallOfTheDeletionOfACameraAltogether) {
    const std::string begin =
        "3 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID del camera camera plugin_id = gap, camera_id = "
        "101\n";
    const std::string sql = "DELETE FROM gap.history WHERE camera_id = 101";
    const Outcome usual = {"", begin, {"registered"}, {}, {}};
    const auto remove = [](FaultScene& scene) {
        scene.manager.DelCareCameraStateInfoByCameraID(kPlugin, kCamera);
        return std::string();
    };
    ExpectFaults(Stage, remove, usual,
                 {{{"IDBManagerPure::Execute 1"},
                   usual
                       .Log(begin + ExecuteFails(sql) +
                            "5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = " + sql +
                            "\n5 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID "
                            "DelDBHistoryStateByCameraID is fail pug_id = gap, camera_id = 101\n")
                       .Rows({kRow})}});
}

TEST_F(CareDeletionFaultsTest, MoveOutAndTheListOfCaredCamerasNeedNothingOfThePlatform) {
    const auto move_out = [](FaultScene& scene) {
        std::set<int> cared;
        scene.manager.GetCareCameraList(cared, kPlugin, kBusi);
        EXPECT_THAT(cared, ElementsAre(kCamera));
        return Text(scene.manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kCamera}));
    };
    ExpectFaults(
        Stage, move_out,
        {"true", "3 QARCommon Del camera state info plugin_id = gap, camera_ids = 101\n", {"registered"}, {kRow}, {}},
        {});
}

}  // namespace
}  // namespace qar::history_test
