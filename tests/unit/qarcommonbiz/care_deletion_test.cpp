// Cameras put off, and how cameras leave.

#include "care_fixture.h"

namespace qar::history_test {
namespace {

// --- cameras put off -------------------------------------------------------------------------------------------------

class PutOffTest : public CareRegistryTest {
protected:
    PutOffTest() { Register(kPlugin, {1, 2}); }
    void PutOff() {
        platform.time_zone.fake.ForgetClock(kDevice);
        ASSERT_FALSE(SetEx());
    }
    std::set<int> Waiting(int busi = kBusi) const {
        const auto& delayed = Peer::Delayed(manager);
        const auto plugin = delayed.find(kPlugin);
        if (plugin == delayed.end() || plugin->second.count(busi) == 0) return {};
        return plugin->second.at(busi);
    }
    const std::string kRetried =
        "2 QARCommon CHistoryStateMgr::DoDelaySetCareCamera Set camera info: plugin = gap, busi_type = 1, camera id = 101.\n";
};

TEST_F(PutOffTest, UnknownClockPutsTheCameraOffAndTakesItOutOfTheCaredOnes) {
    PutOff();
    EXPECT_EQ(Log(), "4 QARCommon get dev_time is fail" + Of(101) + "\n");
    EXPECT_THAT(Sqls(), ElementsAre(kSelect));
    EXPECT_EQ(Waiting(), std::set<int>{kCamera});
    EXPECT_THAT(Cared(), IsEmpty());
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(PutOffTest, RetryGoesOnUntilTheClockIsKnown) {
    PutOff();
    Forget();
    manager.DoDelaySetCareCamera();
    EXPECT_EQ(Log(), "4 QARCommon get dev_time is fail" + Of(101) + "\n" + kRetried);
    EXPECT_EQ(Waiting(), std::set<int>{kCamera});
    SetClock("2024-03-08 09:00:00");
    Forget();
    manager.DoDelaySetCareCamera();
    EXPECT_EQ(Log(), InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) + Told(kWeekAgo, kNow) + kRetried);
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_EQ(Cared(), std::set<int>{kCamera});
    EXPECT_THAT(Waiting(), IsEmpty());
    Forget();
    manager.DoDelaySetCareCamera();
    EXPECT_EQ(Log(), "");
}

TEST_F(PutOffTest, RetryThatFailsForAnotherReasonGoesOnToo) {
    PutOff();
    SetClock("2024-03-08 09:00:00");
    platform.site.Device(kDevice)->guard = false;
    manager.DoDelaySetCareCamera();
    EXPECT_EQ(Waiting(), std::set<int>{kCamera});
    EXPECT_EQ(Cared(), std::set<int>{kCamera});  // in both now
    platform.site.Device(kDevice)->guard = true;
    manager.DoDelaySetCareCamera();
    EXPECT_THAT(Waiting(), IsEmpty());
    EXPECT_EQ(Points().size(), 2u);
}

TEST_F(PutOffTest, RetryOfEachCameraIsACallOfItsOwnThroughTheInterface) {
    struct Counting : CHistoryStateMgr {
        bool SetCareCameraStateInfoEx(const std::string& plugin, int busi, const std::set<int>& cameras) override {
            calls.push_back(plugin + std::to_string(busi) + "/" + std::to_string(*cameras.begin()) + "/" +
                            std::to_string(cameras.size()));
            return CHistoryStateMgr::SetCareCameraStateInfoEx(plugin, busi, cameras);
        }
        std::vector<std::string> calls;
    } counting;
    platform.site.AddCamera(102, kDevice);
    platform.time_zone.fake.ForgetClock(kDevice);
    ASSERT_TRUE(counting.Register(Keep(), {1, 2}, "p", kTable, "id"));
    counting.SetCareCameraStateInfoEx("p", 2, {101, 102});
    counting.SetCareCameraStateInfoEx("p", 1, {102});
    counting.calls.clear();
    counting.DoDelaySetCareCamera();
    EXPECT_THAT(counting.calls, ElementsAre("p1/102/1", "p2/101/1", "p2/102/1"));
}

TEST_F(PutOffTest, DeletionForgetsAPutOffCameraOnlyWhereItsBusinessTypeHasTimelines) {
    PutOff();
    manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera});
    EXPECT_EQ(Waiting(), std::set<int>{kCamera});
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, kNow, kBusi, 500));
    manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera});
    EXPECT_THAT(Waiting(), IsEmpty());
}

TEST_F(PutOffTest, DeletionUnderOneBusinessTypeLeavesTheOther) {
    PutOff();
    ASSERT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, 2, {kCamera}));
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, kNow, kBusi, 500));
    manager.DelCareCameraStateInfo(kPlugin, kBusi, {kCamera});
    EXPECT_THAT(Waiting(1), IsEmpty());
    EXPECT_EQ(Waiting(2), std::set<int>{kCamera});
}

TEST_F(PutOffTest, DeletionByCameraDoesNotReachAPutOffCameraUnlessAnotherTypeCaresForIt) {
    PutOff();
    manager.DelCareCameraStateInfoByCameraID(kPlugin, kCamera);
    EXPECT_EQ(Waiting(), std::set<int>{kCamera});
    SetClock("2024-03-08 09:00:00");
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 2, {kCamera}));
    manager.DelCareCameraStateInfoByCameraID(kPlugin, kCamera);
    EXPECT_THAT(Waiting(), IsEmpty());
}

TEST_F(PutOffTest, MoveOutForgetsPutOffCamerasUnderEveryType) {
    PutOff();
    ASSERT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, 2, {kCamera}));
    EXPECT_TRUE(manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kCamera}));
    EXPECT_THAT(Waiting(1), IsEmpty());
    EXPECT_THAT(Waiting(2), IsEmpty());
}

// --- deletions -------------------------------------------------------------------------------------------------------

class CareDeletionTest : public CareRegistryTest {
protected:
    CareDeletionTest() {
        platform.site.AddCamera(102, kDevice);
        Register(kPlugin, {1, 2});
        EXPECT_TRUE(Set({101, 102}));
        EXPECT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 2, {101}));
        Forget();
    }
};

TEST_F(CareDeletionTest, DeletionUnderOneTypeClearsMemoryAndRows) {
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, 1, {999}));  // cared for, no timeline
    Forget();
    manager.DelCareCameraStateInfo(kPlugin, 1, {101, 102, 999});
    EXPECT_EQ(
        Log(),
        "3 QARCommon in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = gap, busi_type = "
        "1, camera_ids = 101, 102, 999, \n");
    EXPECT_THAT(Sqls(), ElementsAre("DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1",
                                    "DELETE FROM gap.history WHERE camera_id = 102 AND business_type = 1"));
    EXPECT_THAT(Points(101), IsEmpty());
    EXPECT_EQ(Points(101, 2).size(), 2u);
    EXPECT_THAT(Cared(1), IsEmpty());
    EXPECT_EQ(Cared(2), std::set<int>{101});
}

TEST_F(CareDeletionTest, DeletionUnderOneTypeForAnUnknownPluginOrATypeWithoutTimelinesRunsNothing) {
    manager.DelCareCameraStateInfo("nobody", 1, {101});
    manager.DelCareCameraStateInfo(kPlugin, 9, {101});
    EXPECT_EQ(
        Log(),
        "3 QARCommon in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = nobody, "
        "busi_type = 1, camera_ids = 101, \n"
        "5 QARCommon no register plugin_id = nobody\n"
        "3 QARCommon in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = gap, busi_type = "
        "9, camera_ids = 101, \n");
    EXPECT_THAT(Sqls(), IsEmpty());
}

TEST_F(CareDeletionTest, FailedStatementOfADeletionIsToldAndMemoryIsCleared) {
    platform.database.fake.FailAll("DELETE");
    manager.DelCareCameraStateInfo(kPlugin, 1, {102});
    const std::string first = Sqls()[0];
    EXPECT_EQ(
        Log(),
        "3 QARCommon in CHistoryStateMgr::DelCareCameraStateInfo del camera state info plugin_id = gap, busi_type = "
        "1, camera_ids = 102, \n5 QARCommon in CDBBaseSession::Execute is fail sql = " +
            first +
            "\n5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraIDAndBusiType dbExecute fail sql = " + first +
            "\n5 QARCommon CHistoryStateMgr::DelCareCameraStateInfo DelDBHistoryStateByCameraIDAndBusiType is fail "
            "plugin_id = gap, busi_type = 1, camera_id = 102\n");
    EXPECT_THAT(Points(102), IsEmpty());
    Forget();
    manager.DelCareCameraStateInfoByCameraID(kPlugin, 101);
    const std::string second = "DELETE FROM gap.history WHERE camera_id = 101";
    EXPECT_THAT(Sqls(), ElementsAre(second));
    EXPECT_EQ(
        Log(),
        "3 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID del camera camera plugin_id = gap, camera_id "
        "= 101\n5 QARCommon in CDBBaseSession::Execute is fail sql = " +
            second + "\n5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = " + second +
            "\n5 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID DelDBHistoryStateByCameraID is fail "
            "pug_id = gap, camera_id = 101\n");
    EXPECT_THAT(Points(101), IsEmpty());
}

TEST_F(CareDeletionTest, DeletionByCameraClearsItUnderEveryType) {
    manager.DelCareCameraStateInfoByCameraID(kPlugin, 101);
    EXPECT_EQ(
        Log(),
        "3 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID del camera camera plugin_id = gap, camera_id "
        "= 101\n");
    EXPECT_THAT(Sqls(), ElementsAre("DELETE FROM gap.history WHERE camera_id = 101"));
    EXPECT_THAT(Points(101, 1), IsEmpty());
    EXPECT_THAT(Points(101, 2), IsEmpty());
    EXPECT_EQ(Cared(1), std::set<int>{102});
    EXPECT_THAT(Cared(2), IsEmpty());
}

TEST_F(CareDeletionTest, DeletionByCameraOfOneThatNobodyCaresForTouchesNoRow) {
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, kNow, 1, 500));  // a timeline without care
    Forget();
    manager.DelCareCameraStateInfoByCameraID(kPlugin, 500);
    manager.DelCareCameraStateInfoByCameraID("nobody", 101);
    EXPECT_EQ(
        Log(),
        "3 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID del camera camera plugin_id = gap, camera_id "
        "= 500\n"
        "3 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID not exist camera plugin_id = gap, camera_id = "
        "500\n"
        "3 QARCommon CHistoryStateMgr::DelCareCameraStateInfoByCameraID del camera camera plugin_id = nobody, "
        "camera_id = 101\n"
        "5 QARCommon no register plugin_id = nobody\n");
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Points(500).size(), 1u);
}

TEST_F(CareDeletionTest, MoveOutClearsMemoryAndLeavesTheRows) {
    EXPECT_TRUE(manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {101, 102}));
    EXPECT_EQ(Log(), "3 QARCommon Del camera state info plugin_id = gap, camera_ids = 101,102\n");
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_THAT(Points(101, 1), IsEmpty());
    EXPECT_THAT(Points(101, 2), IsEmpty());
    EXPECT_THAT(Points(102, 1), IsEmpty());
    EXPECT_THAT(Cared(1), IsEmpty());
    EXPECT_THAT(Cared(2), IsEmpty());
}

TEST_F(CareDeletionTest, MoveOutForAnUnknownPluginIsTrueAndTold) {
    EXPECT_TRUE(manager.DelCareCameraStateInfoAtMoveOutByCameraIDs("nobody", {101, 102}));
    EXPECT_EQ(
        Log(),
        "3 QARCommon Del camera state info plugin_id = nobody, camera_ids = 101,102\n"
        "5 QARCommon no register plugin_id = nobody\n"
        "3 QARCommon Not find camera register info. plugin_id = nobody, camera_id = 101,102\n"
        "4 QARCommon Del camera state info failed, can't find plugin_id, plugin_id = nobody, camera_ids = 101,102\n");
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Peer::Delayed(manager).count("nobody"), 1u);  // the level is made all the same
}

}  // namespace
}  // namespace qar::history_test
