// The timer's jobs and the two sweeps.

#include "history_fixture.h"
#include "nothrow_new.h"
#include "qarcommonbiz/TaskDefine.h"

namespace qar::history_test {
namespace {

using Peer = CHistoryStateMgrPeer;
using ::testing::_;
using ::testing::Return;

const std::string kNow = "2024-03-08T09:00:00+08:00";
const std::string kWeekAgo = "2024-03-01T09:00:00+08:00";

class PeriodicJobsTest : public HistoryTest {
protected:
    /// Registers a plug-in with one state 2 point of the day before.
    void RegisterWithPoint(const std::string& plugin = kPlugin) {
        Register(plugin);
        ASSERT_TRUE(manager.AddCameraState(plugin, 2, "2024-03-07T09:00:00+08:00", kBusi, kCamera));
        Forget();
    }
    static std::shared_ptr<qarmock::FakePool> StartedPool() {
        CMessageLoopForHistoryState::Instance()->Start(3, 7, 5);
        return qarmock::Pools().back();
    }
    static std::string Tick(unsigned long long tick) {
        return "3 QARCommon CHistoryStateMgr::OnTimer n_tick = " + std::to_string(tick) + "\n";
    }
    static std::string Moved(const std::string& iso) {
        return "3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state info update state plugin_id = gap, "
               "busi_type = 1, camera_id = 101, time = " +
               iso + ", state = 2\n";
    }
    static std::string Expired(const std::string& plain) {
        return "3 QARCommon in CHistoryStateMgr::DelExpireStateByTime del expire state plugin_id = gap, n_busi_type = 1, "
               "n_camera_id = 101, expire_time = " +
               plain + ", table_name = gap.history\n";
    }
    const std::string kDeleteExpired =
        "DELETE FROM gap.history WHERE camera_id = 101 AND business_type = 1 AND state_time < '2024-03-01 09:00:00'";
};

// --- the timer -------------------------------------------------------------------------------------------------------

TEST_F(PeriodicJobsTest, EachTickPostsTheJobsOfItsRemainder) {
    const auto pool = StartedPool();
    RegisterWithPoint();
    platform.site.Camera(kCamera)->online = false;  // a check tells of it
    platform.site.AddCamera(201, 2);                // put off, which a retry tells of
    ASSERT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {201}));
    for (unsigned long long tick = 0; tick <= 130; ++tick) {
        Forget();
        manager.OnTimer(tick);
        EXPECT_EQ(Log(), Tick(tick));
        std::set<std::string> ran;
        const std::size_t tasks = pool->RunAll();
        for (const auto& line : platform.log.Lines()) ran.insert(line.function);
        std::size_t expected = 1;
        const auto expect = [&](const std::string& job, bool due) {
            EXPECT_EQ(ran.count("qar::CHistoryStateMgr::" + job), due ? 1u : 0u) << job << " at tick " << tick;
            if (due) ++expected;
        };
        expect("CheckCameraState", tick == 25 || tick == 55 || tick == 85 || tick == 115);
        expect("DelExpireStateByTime", tick == 20 || tick == 80);
        expect("NotifyExceptionRange", tick == 5 || tick == 65 || tick == 125);
        EXPECT_EQ(ran.count("qar::CHistoryStateMgr::DoDelaySetCareCamera"), 1u);
        EXPECT_EQ(tasks, expected) << tick;
    }
}

TEST_F(PeriodicJobsTest, TimerOfInitDrivesTheJobs) {
    RegisterWithPoint();
    ASSERT_TRUE(manager.Init());
    Forget();
    for (int tick = 1; tick <= 25; ++tick) ASSERT_TRUE(platform.timers.fake.Tick("HistoryStateMgr.timer"));
    SetClock("2024-03-08 09:30:00");
    platform.pools.RunAll();
    // expiry of tick 20 finds nothing old and adds its point, the check of tick 25 moves the last one
    EXPECT_THAT(Points(), ElementsAre("2024-03-01T09:30:00+08:00 2", "2024-03-08T09:30:00+08:00 2"));
}

TEST_F(PeriodicJobsTest, QueueOfExactly5000AcceptsOneMore) {
    const auto pool = StartedPool();
    platform.pools.SetWorkTaskCount(5000);
    for (const unsigned tick : {1u, 5u, 20u, 25u}) manager.OnTimer(tick);
    EXPECT_EQ(pool->Queued(), 7u);
    EXPECT_EQ(Log(), Tick(1) + Tick(5) + Tick(20) + Tick(25));
}

TEST_F(PeriodicJobsTest, QueueOf5001RefusesAndTheTimerGoesOnWithItsOtherJobs) {
    const auto pool = StartedPool();
    platform.pools.SetWorkTaskCount(5001);
    for (const unsigned tick : {5u, 20u, 25u}) manager.OnTimer(tick);
    const std::string delay =
        "5 QARCommon CSetCareCameraDelayTask::PushTask more task  count = 5001\n"
        "5 QARCommon Post 'CSetCareCameraDelayTask' is failed!\n";
    EXPECT_EQ(Log(), Tick(5) +
                         "5 QARCommon CNotifyExceptionRangeTask::PushTask more task  count = 5001\n"
                         "5 QARCommon post CNotifyExceptionRangeTask is fail\n" +
                         delay + Tick(20) +
                         "5 QARCommon CDelExpireStateTask::PushTask more task  count = 5001\n"
                         "5 QARCommon post CDelExpireStateTask is fail\n" +
                         delay + Tick(25) +
                         "5 QARCommon CCheckStateTask::PushTask more task  count = 5001\n"
                         "5 QARCommon post CCheckStateTask is fail\n" +
                         delay);
    EXPECT_EQ(pool->Posted(), 0u);
}

TEST_F(PeriodicJobsTest, TaskThatCannotBeMadeIsToldAndTheTimerGoesOn) {
    const auto pool = StartedPool();
    {
        const NothrowNewFails no_memory;
        for (const unsigned tick : {5u, 20u, 25u}) manager.OnTimer(tick);
    }
    const std::string delay =
        "5 QARCommon CSetCareCameraDelayTask::PushTask new task is fail\n"
        "5 QARCommon Post 'CSetCareCameraDelayTask' is failed!\n";
    EXPECT_EQ(Log(), Tick(5) +
                         "5 QARCommon CNotifyExceptionRangeTask::PushTask new task is fail\n"
                         "5 QARCommon post CNotifyExceptionRangeTask is fail\n" +
                         delay + Tick(20) +
                         "5 QARCommon CDelExpireStateTask::PushTask new task is fail\n"
                         "5 QARCommon post CDelExpireStateTask is fail\n" +
                         delay + Tick(25) +
                         "5 QARCommon CCheckStateTask::PushTask new task is fail\n"
                         "5 QARCommon post CCheckStateTask is fail\n" +
                         delay);
    EXPECT_EQ(pool->Posted(), 0u);
}

TEST_F(PeriodicJobsTest, TaskWithoutAManagerIsTold) {
    CNotifyExceptionRangeTask(nullptr).Exec();
    CDelExpireStateTask(nullptr).Exec();
    CCheckStateTask(nullptr).Exec();
    CSetCareCameraDelayTask(nullptr).Exec();
    const std::string line = "5 QARCommon p_callback_mgr_ is null\n";
    EXPECT_EQ(Log(), line + line + line + line);
    std::vector<std::string> functions;
    for (const auto& logged : platform.log.Lines()) functions.push_back(logged.function);
    EXPECT_THAT(functions, ElementsAre("qar::CNotifyExceptionRangeTask::Exec", "qar::CDelExpireStateTask::Exec",
                                       "qar::CCheckStateTask::Exec", "qar::CSetCareCameraDelayTask::Exec"));
}

TEST_F(PeriodicJobsTest, EachTaskCallsItsJob) {
    RegisterWithPoint();
    CNotifyExceptionRangeTask(&manager).Exec();
    EXPECT_EQ(Log(), "3 QARCommon CHistoryStateMgr::NotifyExceptionRange handle exception range\n");
    Forget();
    CCheckStateTask(&manager).Exec();
    EXPECT_EQ(Log(), Moved(kNow));
    Forget();
    CDelExpireStateTask(&manager).Exec();
    EXPECT_THAT(Sqls(), ::testing::Contains(kDeleteExpired));
    Forget();
    platform.time_zone.fake.ForgetClock(kDevice);
    ASSERT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, kBusi, {kCamera}));
    Forget();
    CSetCareCameraDelayTask(&manager).Exec();
    EXPECT_EQ(Sqls().size(), 1u);
}

// --- the check -------------------------------------------------------------------------------------------------------

TEST_F(PeriodicJobsTest, CheckOfACameraInOrderMovesItsLastPoint) {
    RegisterWithPoint();
    EXPECT_CALL(platform.time_zone, GetDeviceTimeEx(_, _, _, _, -1)).Times(1);
    manager.CheckCameraState();
    EXPECT_THAT(Points(), ElementsAre(kNow + " 2"));
    EXPECT_THAT(Sqls(),
                ElementsAre("UPDATE gap.history SET state_time = '2024-03-08 09:00:00' WHERE camera_id = 101 AND "
                            "business_type = 1 and state_time = '2024-03-07 09:00:00' and camera_state = 2"));
    EXPECT_EQ(Log(), Moved(kNow));
}

TEST_F(PeriodicJobsTest, CheckLooksAtCamerasWithATimelineWhetherCaredForOrNot) {
    platform.site.AddCamera(102, kDevice);
    platform.site.Device(kDevice)->guard = false;
    RegisterWithPoint();
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {102}));  // cared for, no timeline
    platform.site.Device(kDevice)->guard = true;
    Forget();
    manager.CheckCameraState();
    EXPECT_EQ(Log(), Moved(kNow));
    EXPECT_THAT(Points(102), IsEmpty());
}

TEST_F(PeriodicJobsTest, CheckOfAnOfflineCameraOnAGuardedDeviceIsToldAndAddsNothing) {
    RegisterWithPoint();
    platform.site.Camera(kCamera)->online = false;
    manager.CheckCameraState();
    EXPECT_EQ(Log(), "5 QARCommon check gurad is fail plugin_id = gap, busy_type = 1, camera_id = 101\n");
    EXPECT_THAT(Points(), ElementsAre("2024-03-07T09:00:00+08:00 2"));
    EXPECT_THAT(Sqls(), IsEmpty());
}

TEST_F(PeriodicJobsTest, CheckOfACameraOnAnUnguardedDeviceIsSilentAndAddsNothing) {
    RegisterWithPoint();
    platform.site.Device(kDevice)->guard = false;
    manager.CheckCameraState();
    EXPECT_EQ(Log(), "");
    EXPECT_THAT(Points(), ElementsAre("2024-03-07T09:00:00+08:00 2"));
    platform.site.Camera(kCamera)->online = false;  // being online is asked all the same
    manager.CheckCameraState();
    EXPECT_EQ(Log(), "5 QARCommon check gurad is fail plugin_id = gap, busy_type = 1, camera_id = 101\n");
}

TEST_F(PeriodicJobsTest, CheckOfACameraWhoseDeviceOrChannelIsGoneIsTold) {
    RegisterWithPoint();
    platform.site.Camera(kCamera)->device_guid = "guid-1";
    const std::string fails = "5 QARCommon check gurad is fail plugin_id = gap, busy_type = 1, camera_id = 101\n";
    EXPECT_CALL(platform.devices, FindDeviceByID(kDevice, 2001)).WillRepeatedly(Return(nullptr));
    manager.CheckCameraState();
    EXPECT_EQ(Log(), "5 QARCommon get device_info is fail camera_id = 101, guid = guid-1\n" + fails);
    ::testing::Mock::VerifyAndClear(&platform.devices);
    Forget();
    // The channel is known while the clock is read, and gone when guard is asked, or when being online is.
    const std::shared_ptr<tuk::CChannel> channel = platform.site.Camera(kCamera);
    const auto device = platform.site.Device(kDevice);
    ON_CALL(platform.devices, FindDeviceByID).WillByDefault(Return(device));
    EXPECT_CALL(platform.devices, FindChannelByID(kCamera, 1001))
        .WillOnce(Return(channel))
        .WillOnce(Return(nullptr))
        .WillOnce(Return(channel))
        .WillOnce(Return(channel))
        .WillOnce(Return(nullptr));
    manager.CheckCameraState();
    manager.CheckCameraState();
    const std::string gone = "5 QARCommon not find channel object camera_id = 101\n";
    EXPECT_EQ(Log(), gone + fails + gone + fails);
    EXPECT_EQ(platform.log.Lines()[0].function, "qar::CHistoryStateMgr::IsGuard");
    EXPECT_EQ(platform.log.Lines()[2].function, "qar::CHistoryStateMgr::IsCameraOnline");
}

TEST_F(PeriodicJobsTest, SweepsPassOverACameraWhoseClockIsNotKnownAndGoOn) {
    RegisterWithPoint();
    platform.site.AddCamera(50, 2);  // its device's clock is not known
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, kNow, kBusi, 50));
    Forget();
    manager.CheckCameraState();
    EXPECT_EQ(Log(), "5 QARCommon  get device time is fail camera_id = 50\n" + Moved(kNow));
    Forget();
    manager.CheckExpireState();
    EXPECT_EQ(Log(), "5 QARCommon  get device time is fail camera_id = 50\n" + InsertLine(kWeekAgo, 2) +
                         Expired("2024-03-01 09:00:00"));
    EXPECT_EQ(platform.log.Lines()[0].function, "qar::CHistoryStateMgr::CheckExpireState");
}

TEST_F(PeriodicJobsTest, CheckWithoutAStoreIsTold) {
    RegisterWithPoint();
    Peer::RemoveStore(manager);
    manager.CheckCameraState();
    EXPECT_EQ(
        Log(),
        "5 QARCommon  ptr_db_history_data_ is null state plugin_id = gap, busi_type = 1, camera_id = 101 state = 2, "
        "time = " +
            kNow +
            "\n5 QARCommon add history state info is fail plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
            kNow + "\n");
}

// --- the expiry ------------------------------------------------------------------------------------------------------

TEST_F(PeriodicJobsTest, ExpiryRemovesWhatIsOlderThanSevenDaysOfTheDevicesClock) {
    RegisterWithPoint();
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, "2024-03-01T08:59:59+08:00", kBusi, kCamera));
    ASSERT_TRUE(manager.AddCameraState(kPlugin, 1, kWeekAgo, kBusi, kCamera));  // not older
    Forget();
    EXPECT_CALL(platform.time_zone, GetDeviceTimeEx(_, _, _, _, -1)).Times(1);
    manager.CheckExpireState();
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", "2024-03-07T09:00:00+08:00 2"));
    EXPECT_THAT(Sqls(), ElementsAre(kDeleteExpired));
    EXPECT_EQ(Log(), Expired("2024-03-01 09:00:00"));
}

TEST_F(PeriodicJobsTest, FailedExpiryIsTold) {
    RegisterWithPoint();
    platform.database.fake.FailAll("DELETE");
    manager.CheckExpireState();
    EXPECT_EQ(Log(),
              "5 QARCommon in CDBBaseSession::Execute is fail sql = " + kDeleteExpired +
                  "\n5 QARCommon CDBHistoryData::DelDBHistorySateByExpireTime dbExecute fail sql = " + kDeleteExpired +
                  "\n5 QARCommon DelDBHistorySateByExpireTime is error plugin_id = gap, busi_type = 1, camera_id = "
                  "101, expire_time = 2024-03-01 09:00:00\n"
                  "5 QARCommon del expire state is fail pug_id = gap, busi_type = 1, camera_id = 101, time = " +
                  kWeekAgo + ", table_name = gap.history\n");
    EXPECT_EQ(Points().size(), 1u);
}

TEST_F(PeriodicJobsTest, ExpiryWhoseStoreGoesAwayBeforeItsPointIsTold) {
    RegisterWithPoint();
    const auto store = std::make_shared<::testing::NiceMock<MockStore>>();
    EXPECT_CALL(*store, DelDBHistorySateByExpireTime(kPlugin, kBusi, kCamera, "2024-03-01 09:00:00", kTable))
        .WillOnce([this](auto&&...) {
            Peer::RemoveStore(manager);
            return true;
        });
    Peer::SwapStore(manager, store);
    manager.CheckExpireState();
    EXPECT_EQ(
        Log(),
        "5 QARCommon  ptr_db_history_data_ is null state plugin_id = gap, busi_type = 1, camera_id = 101 state = 2, "
        "time = " +
            kWeekAgo +
            "\n5 QARCommon add history state info is fail plugin_id = gap, busi_type = 1, camera_id = 101, state = 2, "
            "time = " +
            kWeekAgo + "\n5 QARCommon del expire state is fail pug_id = gap, busi_type = 1, camera_id = 101, time = " +
            kWeekAgo + ", table_name = gap.history\n");
}

TEST_F(PeriodicJobsTest, ExpiryWithoutAStoreIsTold) {
    RegisterWithPoint();
    Peer::RemoveStore(manager);
    manager.CheckExpireState();
    EXPECT_EQ(Log(),
              "5 QARCommon ptr_db_history_data_ is null\n"
              "5 QARCommon del expire state is fail pug_id = gap, busi_type = 1, camera_id = 101, time = " +
                  kWeekAgo + ", table_name = gap.history\n");
}

// --- a plug-in that goes meanwhile -----------------------------------------------------------------------------------

TEST_F(PeriodicJobsTest, SweepsPassOverAPluginWithoutRegistrationAndGoOnWithTheNext) {
    RegisterWithPoint("a");
    RegisterWithPoint();
    Peer::ForgetRegistration(manager, "a");
    const std::string gone = "5 QARCommon not find map_plugin_id notify info plugin_id = a\n";
    manager.CheckCameraState();
    EXPECT_EQ(Log(), gone + Moved(kNow));
    Forget();
    manager.CheckExpireState();
    EXPECT_EQ(Log(), gone + InsertLine(kWeekAgo, 2) + Expired("2024-03-01 09:00:00"));
    Forget();
    manager.NotifyExceptionRange();
    EXPECT_EQ(Log(), "3 QARCommon CHistoryStateMgr::NotifyExceptionRange handle exception range\n" + gone);
}

TEST_F(PeriodicJobsTest, PluginThatUnregistersBehindTheLookUpIsEnteredInTheStateMapAgain) {
    RegisterWithPoint();
    ON_CALL(platform.time_zone, GetDeviceTimeEx)
        .WillByDefault([this](std::string& local, std::string& utc, int& offset, const auto& key, long long time) {
            manager.UnRegister(kPlugin);
            EXPECT_FALSE(Peer::HasPlugin(manager, kPlugin));
            return platform.time_zone.fake.GetDeviceTimeEx(local, utc, offset, key, time);
        });
    manager.CheckCameraState();
    EXPECT_TRUE(Peer::HasPlugin(manager, kPlugin));
    EXPECT_THAT(Points(), ElementsAre(kNow + " 2"));
    Forget();
    manager.CheckCameraState();
    EXPECT_EQ(Log(), "5 QARCommon not find map_plugin_id notify info plugin_id = gap\n");
}

TEST_F(PeriodicJobsTest, ExpiryOfAPluginThatUnregistersMeanwhileRunsNothing) {
    RegisterWithPoint();
    ON_CALL(platform.time_zone, GetDeviceTimeEx)
        .WillByDefault([this](std::string& local, std::string& utc, int& offset, const auto& key, long long time) {
            manager.UnRegister(kPlugin);
            return platform.time_zone.fake.GetDeviceTimeEx(local, utc, offset, key, time);
        });
    manager.CheckExpireState();
    EXPECT_FALSE(Peer::HasPlugin(manager, kPlugin));
    EXPECT_THAT(Sqls(), IsEmpty());
}

// --- a typical life --------------------------------------------------------------------------------------------------

TEST_F(PeriodicJobsTest, TypicalLifeOfACamera) {
    const auto at = [](const std::string& time) { return "2024-03-08T" + time + ":00+08:00"; };
    const auto check_at = [&](const std::string& time) {
        SetClock("2024-03-08 " + time + ":00");
        manager.CheckCameraState();
    };
    Register();
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
    EXPECT_THAT(told, ElementsAre("1/101: " + kWeekAgo + " " + kNow));
    ASSERT_TRUE(manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, {kWeekAgo, kNow}));
    EXPECT_THAT(Points(), ElementsAre(kNow + " 2"));
    check_at("09:25");
    check_at("09:55");
    EXPECT_THAT(Points(), ElementsAre(at("09:55") + " 2"));
    platform.site.Device(kDevice)->online = false;
    check_at("10:25");
    platform.site.Device(kDevice)->online = true;
    SetClock("2024-03-08 11:03:00");
    manager.HandleDeviceState(std::make_shared<CBusMsgCommon>(265, 2001, kDevice, "{}", nullptr, 0));
    check_at("11:25");
    check_at("11:55");
    EXPECT_THAT(Points(), ElementsAre(at("09:55") + " 2", at("11:03") + " 1", at("11:55") + " 2"));
    told.clear();
    manager.NotifyExceptionRange();
    manager.NotifyExceptionRange();
    const std::string gap = "1/101: " + at("09:55") + " " + at("11:03");
    EXPECT_THAT(told, ElementsAre(gap, gap));
    ASSERT_TRUE(manager.DelHistoryStateInRange(kPlugin, kBusi, kCamera, {at("09:55"), at("11:03")}));
    EXPECT_THAT(Ranges(), IsEmpty());
    told.clear();
    manager.NotifyExceptionRange();
    EXPECT_THAT(told, IsEmpty());
}

}  // namespace
}  // namespace qar::history_test
