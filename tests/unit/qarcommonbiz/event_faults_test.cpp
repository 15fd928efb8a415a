// Each platform call failing in turn: the road of an event from the bus to the timeline.

#include "fault_scene.h"
#include "qarcommonbiz/TaskDefine.h"

namespace qar::history_test {
namespace {

const std::string kQueueFull = "PushTask more task  count = 2147483647\n";

class EventFaultsTest : public FaultTest {
protected:
    static void Stage(FaultScene& scene) {
        ASSERT_TRUE(scene.manager.Init());
        scene.RegisterAndCare();
    }
    /// Takes the event to the queue and lets the worker run.
    static std::string Take(FaultScene& scene, int type, int source_type, unsigned int id) {
        CHistoryStateMgr::ProcChangeMsgCBFunc("TUK_DeviceAccess",
                                              std::make_shared<CBusMsgCommon>(type, source_type, id, "{}", nullptr, 0),
                                              &scene.manager);
        scene.platform.pools.RunAll();
        return "";
    }
};

TEST_F(EventFaultsTest, EachFailingCallOfAFirstContactOfADevice) {
    const std::string on_guard =
        "3 QARCommon CHistoryStateMgr::HandleDeviceState on guard notify info deivce_id = 1, event_type = 265\n";
    const std::string first_row = "11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 01:00:00 28800 1";
    const std::string now_row = "12: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1";
    const std::string bare_week = WithoutOffset(kWeekAgo);
    const std::string bare_now = WithoutOffset(kNow);
    const std::string zero = "0000-00-00T00:00:00+00:00";
    const std::string before_zero = "-001-06-00T00:00:00+00:00";
    const Outcome usual = {"",
                           on_guard + InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1),
                           {"101/1 " + kWeekAgo + " 1", "101/1 " + kNow + " 1", "registered", "cares 101/1"},
                           {first_row, now_row},
                           {"1/101: " + kWeekAgo + " " + kNow}};
    const Outcome nothing = {"", "", {"registered", "cares 101/1"}, {}, {}};
    const std::string first_sql = InsertSql(11, 101, 1, "2024-03-01 09:00:00", "2024-03-01 01:00:00", 1, kEast8);
    const std::string now_sql = InsertSql(12, 101, 1, "2024-03-08 09:00:00", "2024-03-08 01:00:00", 1, kEast8);
    ExpectFaults(
        Stage, [](FaultScene& scene) { return Take(scene, 265, 2001, kDevice); }, usual,
        {{{"CMessageLoopDyThreadPool::GetWorkTaskCount 1"},
          nothing.Log("5 QARCommon CHandleDeviceStateTask::" + kQueueFull +
                      "5 QARCommon in UpdateDeviceState push task is fail resour_id = 1, type = 2001\n")},
         {{"CMessageLoopDyThreadPool::PostTask 1"}, nothing},
         {{"CDeviceManager::FindDeviceByID 1"},
          nothing.Log("5 QARCommon get device_info is fail device_id = 1, event_type = 265\n")},
         {{"IDevice::GetGuardStatus 1", "IDevice::IsOnline 1"},
          nothing.Log("5 QARCommon device_info not realy guard device_id = 1, event_type = 265\n")},
         {{"TimeZone::GetDeviceTime 1"},  // it has no failure: what it leaves empty is the moment 0
          {"",
           on_guard + InsertLine(before_zero, 1) + InsertLine(zero, 1),
           {"101/1 " + before_zero + " 1", "101/1 " + zero + " 1", "registered", "cares 101/1"},
           {"11: 101/1 -001-06-00 00:00:00 utc -001-05-31 00:00:00 0 1",
            "12: 101/1 0000-00-00 00:00:00 utc -001-11-30 00:00:00 0 1"},
           {"1/101: " + before_zero + " " + zero}}},
         {{"CDeviceManager::FindDeviceByID 2"}, nothing.Log("5 QARCommon get  channel_list is fail device_id = 1\n")},
         {{"IDevice::GetChannels 1"}, nothing.Log("5 QARCommon channel_list is empty device_id = 1\n")},
         // a channel's own state is not looked at, nor is a text that only a failure would show
         {{"CChannel::IsOnline 1", "TimeUtil::TimeDifference2Str 28800 1"}, usual},
         {{"TimeUtil::TimeDifference2Str 28800 2"},
          usual.Log(on_guard + InsertLine(bare_week, 1) + InsertLine(kNow, 1))
              .Rows({"11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 09:00:00 0 1", now_row})},
         {{"IDBManagerPure::GetNextID 1"},
          usual.Rows({"0: 101/1 2024-03-01 09:00:00 utc 2024-03-01 01:00:00 28800 1",
                      "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"})},
         {{"TimeUtil::TimeT2LocalTime 1"},
          usual.Rows({"11: 101/1 2024-03-01 09:00:00 utc 2024-03-01 00:00:00 28800 1", now_row})},
         {{"IDBManagerPure::Execute 1"},
          usual.Log(on_guard + InsertFails(first_sql, kWeekAgo, 1) + InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1))
              .Rows({now_row})},
         {{"TimeUtil::TimeDifference2Str 28800 3"},
          usual.Log(on_guard + InsertLine(kWeekAgo, 1) + InsertLine(bare_now, 1))
              .Rows({first_row, "12: 101/1 2024-03-08 09:00:00 utc 2024-03-08 09:00:00 0 1"})},
         {{"IDBManagerPure::GetNextID 2"},
          usual.Rows({first_row, "0: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"})},
         {{"TimeUtil::TimeT2LocalTime 2"},
          usual.Rows({first_row, "12: 101/1 2024-03-08 09:00:00 utc 2024-03-08 00:00:00 28800 1"})},
         {{"IDBManagerPure::Execute 2"},
          usual.Log(on_guard + InsertLine(kWeekAgo, 1) + InsertFails(now_sql, kNow, 1) + InsertLine(kNow, 1))
              .Rows({first_row})},
         {{"TimeUtil::TimeDifference2Str 28800 4"}, usual.Told({"1/101: " + bare_week + " " + kNow})},
         {{"TimeUtil::TimeDifference2Str 28800 5"}, usual.Told({"1/101: " + kWeekAgo + " " + bare_now})}});
}

TEST_F(EventFaultsTest, EachFailingCallOfAContactOfAChannelWithATimeline) {
    const auto stage = [](FaultScene& scene) {
        Stage(scene);
        ASSERT_TRUE(scene.manager.AddCameraState(kPlugin, 2, "2024-03-08T08:30:00+08:00", kBusi, kCamera));
    };
    const std::string received =
        "2 QARCommon Received 'tuk::DeviceAccessEvent_ChannelOnline' event, n_channel_id = 101, event_type = 517, "
        "device_id = 1, channel_no = 1, event json={}\n";
    const std::string clock_known =
        "4 QARCommon Get device time by camera id is fail, device_id = 1, channel id = 101\n";
    const std::string online =
        "3 QARCommon CHistoryStateMgr::HandleDeviceState : Channel online info channel_id = 101, deivce_id = 1, "
        "event_type = 517\n";
    const std::string old_point = "101/1 2024-03-08T08:30:00+08:00 2";
    const std::string old_row = "1: 101/1 2024-03-08 08:30:00 utc 2024-03-08 00:30:00 28800 2";
    const std::string sql = InsertSql(11, 101, 1, "2024-03-08 09:00:00", "2024-03-08 01:00:00", 1, kEast8);
    const Outcome usual = {"",
                           received + clock_known + online + InsertLine(kNow, 1),
                           {old_point, "101/1 " + kNow + " 1", "registered", "cares 101/1"},
                           {old_row, "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"},
                           {}};
    const Outcome nothing = {"", "", {old_point, "registered", "cares 101/1"}, {old_row}, {}};
    ExpectFaults(stage, [](FaultScene& scene) { return Take(scene, 517, 1001, kCamera); }, usual,
                 {{{"CMessageLoopDyThreadPool::GetWorkTaskCount 1"},
                   nothing.Log("5 QARCommon CHandleChannelStateTask::" + kQueueFull +
                               "5 QARCommon in UpdateDeviceState push task is fail resour_id = 101, type = 1001\n")},
                  {{"CMessageLoopDyThreadPool::PostTask 1"}, nothing},
                  {{"CDeviceManager::FindChannelByID 1"},
                   nothing.Log("5 QARCommon get channel_info is fail n_channel_id = 101, event_type = 517\n")},
                  {{"CDeviceManager::FindDeviceByID 1"},
                   nothing.Log(received + "5 QARCommon get device_info is fail device_id = 1, event_type = 517\n")},
                  {{"IDevice::GetGuardStatus 1", "IDevice::IsOnline 1"},
                   nothing.Log(received + "5 QARCommon device_info not realy guard device_id = 1, event_type = 517\n")},
                  // the device's time is taken in place of the camera's, and the line that success brings does not come
                  {{"CDeviceManager::FindChannelByID 2", "CChannel::GetDevicePtr 1", "TimeZone::GetDeviceTimeEx 1"},
                   usual.Log(received + online + InsertLine(kNow, 1))},
                  {{"TimeUtil::TimeDifference2Str 28800 1"}, usual},
                  {{"TimeUtil::TimeDifference2Str 28800 2"},
                   usual.Log(received + clock_known + online + InsertLine(WithoutOffset(kNow), 1))
                       .Rows({old_row, "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 09:00:00 0 1"})},
                  {{"IDBManagerPure::GetNextID 1"},
                   usual.Rows({old_row, "0: 101/1 2024-03-08 09:00:00 utc 2024-03-08 01:00:00 28800 1"})},
                  {{"TimeUtil::TimeT2LocalTime 1"},
                   usual.Rows({old_row, "11: 101/1 2024-03-08 09:00:00 utc 2024-03-08 00:00:00 28800 1"})},
                  {{"IDBManagerPure::Execute 1"},
                   usual.Log(received + clock_known + online + InsertFails(sql, kNow, 1) + InsertLine(kNow, 1))
                       .Rows({old_row})}});
}

}  // namespace
}  // namespace qar::history_test
