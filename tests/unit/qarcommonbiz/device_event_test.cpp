// The road of a device event into the state history.

#include <stdexcept>

#include "device_event_fixture.h"
#include "nothrow_new.h"

namespace qar::history_test {
namespace {

using ::testing::_;
using ::testing::DoDefault;
using ::testing::Return;

// --- from the bus to the pool ----------------------------------------------------------------------------------------

TEST_F(DeviceEventTest, EventFromTheBusReachesTheTimelineByWayOfThePool) {
    RegisterWithPoint();
    ASSERT_TRUE(manager.Init());
    for (const auto& [type, source, id] :
         {std::tuple(265, 2001, kDevice), std::tuple(261, 2001, kDevice), std::tuple(517, 1001, kCamera)}) {
        const std::size_t before = Points().size();
        EXPECT_EQ(platform.bus.fake.Deliver(kTopic, type, Event(type, source, id)), 1u);
        EXPECT_EQ(Points().size(), before);  // the bus's thread only posts
        EXPECT_EQ(Pool()->RunAll(), 1u);
        EXPECT_EQ(Points().size(), before + 1) << type;
        SetClock("2024-03-08 10:00:0" + std::to_string(before));
    }
    EXPECT_EQ(platform.bus.fake.Deliver(kTopic, 262, Event(262, 2001, kDevice)), 0u);
}

TEST_F(DeviceEventTest, EventsOfAnotherPairOfSourceAndTypeAreDroppedSilently) {
    ASSERT_TRUE(Pool()->Start(3, 7, 5));
    for (const auto& [source, type] :
         {std::pair(2001, 517), std::pair(1001, 265), std::pair(1001, 261), std::pair(2001, 1), std::pair(3001, 265)}) {
        manager.UpdateDeviceState(kTopic, Message(type, source, kDevice));
        manager.HandleDeviceState(source == 2001 && type == 1 ? Message(type, source, kDevice) : Message(517, 2001, 1));
        manager.HandleChannelState(Message(265, 1001, kCamera));
    }
    EXPECT_EQ(Pool()->Posted(), 0u);
    EXPECT_EQ(Log(), "");
}

TEST_F(DeviceEventTest, CallbackWithoutMessageOrManagerAndOfAnotherTopicIsTold) {
    CHistoryStateMgr::ProcChangeMsgCBFunc(kTopic, nullptr, &manager);
    CHistoryStateMgr::ProcChangeMsgCBFunc(kTopic, Message(265, 2001, 1), nullptr);
    CHistoryStateMgr::ProcChangeMsgCBFunc("Other", Message(265, 2001, 1), &manager);
    EXPECT_EQ(Log(), "5 QARCommon Recv Observer[TUK_DeviceAccess], ptr_bus_msg[0] or user_data[" +
                         PointerText(&manager) +
                         "] is null.\n"
                         "5 QARCommon Recv Observer[TUK_DeviceAccess], ptr_bus_msg[1] or user_data[(nil)] is null.\n"
                         "5 QARCommon Recv Observer[Other], user_data[" +
                         PointerText(&manager) + "], no handler function matched.\n");
    EXPECT_EQ(platform.pools.Queued(), 0u);
}

TEST_F(DeviceEventTest, UpdateTestsTopicAndMessageAgain) {
    manager.UpdateDeviceState("Other", Message(265, 2001, 1));
    manager.UpdateDeviceState(kTopic, nullptr);
    EXPECT_EQ(Log(),
              "5 QARCommon in UpdateDeviceState error msg type name value = Other\n"
              "5 QARCommon in UpdateDeviceState ptr_msg is null\n");
}

TEST_F(DeviceEventTest, EventThatTheQueueRefusesIsLostAndTold) {
    ASSERT_TRUE(Pool()->Start(3, 7, 5));
    platform.pools.SetWorkTaskCount(5000);
    manager.UpdateDeviceState(kTopic, Message(265, 2001, kDevice));
    manager.UpdateDeviceState(kTopic, Message(517, 1001, kCamera));
    EXPECT_EQ(Pool()->Queued(), 2u);
    EXPECT_EQ(Log(), "");
    platform.pools.SetWorkTaskCount(5001);
    manager.UpdateDeviceState(kTopic, Message(265, 2001, kDevice));
    manager.UpdateDeviceState(kTopic, Message(517, 1001, kCamera));
    EXPECT_EQ(Log(),
              "5 QARCommon CHandleDeviceStateTask::PushTask more task  count = 5001\n"
              "5 QARCommon in UpdateDeviceState push task is fail resour_id = 1, type = 2001\n"
              "5 QARCommon CHandleChannelStateTask::PushTask more task  count = 5001\n"
              "5 QARCommon in UpdateDeviceState push task is fail resour_id = 101, type = 1001\n");
    EXPECT_EQ(Pool()->Queued(), 2u);
}

TEST_F(DeviceEventTest, EventForWhichNoTaskCanBeMadeIsLostAndTold) {
    ASSERT_TRUE(Pool()->Start(3, 7, 5));
    const auto device_event = Message(265, 2001, kDevice);
    const auto channel_event = Message(517, 1001, kCamera);
    {
        const NothrowNewFails no_memory;
        manager.UpdateDeviceState(kTopic, device_event);
        manager.UpdateDeviceState(kTopic, channel_event);
    }
    EXPECT_EQ(Log(),
              "5 QARCommon CHandleDeviceStateTask::PushTask new task is fail\n"
              "5 QARCommon in UpdateDeviceState push task is fail resour_id = 1, type = 2001\n"
              "5 QARCommon CHandleChannelStateTask::PushTask new task is fail\n"
              "5 QARCommon in UpdateDeviceState push task is fail resour_id = 101, type = 1001\n");
    EXPECT_EQ(Pool()->Queued(), 0u);
}

TEST_F(DeviceEventTest, TaskWithoutManagerOrMessageIsTold) {
    CHandleDeviceStateTask(Message(265, 2001, 1), nullptr).Exec();
    CHandleDeviceStateTask(nullptr, &manager).Exec();
    CHandleChannelStateTask(Message(517, 1001, 1), nullptr).Exec();
    CHandleChannelStateTask(nullptr, &manager).Exec();
    const std::string line = "5 QARCommon p_callback_mgr_ is or ptr_bus_msg_ is null\n";
    EXPECT_EQ(Log(), line + line + line + line);
    EXPECT_EQ(platform.log.Lines()[0].function, "qar::CHandleDeviceStateTask::Exec");
    EXPECT_EQ(platform.log.Lines()[2].function, "qar::CHandleChannelStateTask::Exec");
}

// --- device events ---------------------------------------------------------------------------------------------------

TEST_F(DeviceEventTest, HandlersWithoutAMessageTellIt) {
    manager.HandleDeviceState(nullptr);
    manager.HandleChannelState(nullptr);
    EXPECT_EQ(Log(), "5 QARCommon ptr_bus_msg is null\n5 QARCommon ptr_bus_msg is null\n");
    EXPECT_EQ(platform.log.Lines()[1].function, "qar::CHistoryStateMgr::HandleChannelState");
}

TEST_F(DeviceEventTest, ContactOfADeviceAddsAPointAndTellsNothing) {
    RegisterWithPoint();
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_THAT(Points(), ElementsAre("2024-03-07T09:00:00+08:00 2", kNow + " 1"));
    EXPECT_THAT(Sqls(), ElementsAre(InsertSql(2, 101, 1, "2024-03-08 09:00:00", "2024-03-08 01:00:00", 1, kEast8)));
    EXPECT_EQ(Log(), OnGuard(265) + InsertLine(kNow, 1));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(DeviceEventTest, UnknownDeviceIsToldAndChangesNothing) {
    RegisterWithPoint();
    manager.HandleDeviceState(Message(261, 2001, 77));
    EXPECT_EQ(Log(), "5 QARCommon get device_info is fail device_id = 77, event_type = 261\n");
    EXPECT_EQ(Points().size(), 1u);
}

TEST_F(DeviceEventTest, DeviceThatIsAwayOrUnguardedByTheTimeOfHandlingGetsNoPoint) {
    RegisterWithPoint();
    platform.site.Camera(kCamera)->no = 3;
    const std::string line = "5 QARCommon device_info not realy guard device_id = 1, event_type = ";
    for (const bool guard : {true, false}) {
        platform.site.Device(kDevice)->guard = guard;
        platform.site.Device(kDevice)->online = !guard;
        Forget();
        manager.HandleDeviceState(Message(265, 2001, kDevice));
        EXPECT_EQ(Log(), line + "265\n");
        Forget();
        manager.HandleChannelState(Message(517, 1001, kCamera));
        EXPECT_EQ(Log(), Received() + line + "517\n");
    }
    EXPECT_EQ(Points().size(), 1u);
    EXPECT_THAT(Sqls(), IsEmpty());
}

TEST_F(DeviceEventTest, DeviceThatGoesBeforeItsChannelsAreAskedForIsTold) {
    RegisterWithPoint();
    EXPECT_CALL(platform.devices, FindDeviceByID(kDevice, 2001)).WillOnce(DoDefault()).WillOnce(Return(nullptr));
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_EQ(Log(), "5 QARCommon get  channel_list is fail device_id = 1\n");
    EXPECT_EQ(Points().size(), 1u);
}

TEST_F(DeviceEventTest, DeviceWithoutCamerasIsTold) {
    platform.site.AddDevice(2);
    manager.HandleDeviceState(Message(265, 2001, 2));
    EXPECT_EQ(Log(), "5 QARCommon channel_list is empty device_id = 2\n");
}

TEST_F(DeviceEventTest, AllCaredChannelsOfADeviceGetAPointUnderEveryTypeAtOneMoment) {
    platform.site.AddCamera(102, kDevice);
    platform.site.AddCamera(103, kDevice);
    Register(kPlugin, {1, 2});
    for (const int busi : {1, 2}) ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, busi, {101, 102}));
    SetClock("2024-03-08 12:00:00");
    EXPECT_CALL(platform.time_zone, GetDeviceTime(_, _, _, _, -1)).Times(1);  // one reading serves all
    EXPECT_CALL(platform.time_zone, GetDeviceTimeEx).Times(0);
    Forget();
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    const std::string noon = "2024-03-08T12:00:00+08:00";
    EXPECT_EQ(Log(), OnGuard(265) + InsertLine(noon, 1, 101, 1) + InsertLine(noon, 1, 101, 2) +
                         InsertLine(noon, 1, 102, 1) + InsertLine(noon, 1, 102, 2));
    for (const int camera : {101, 102}) {
        for (const int busi : {1, 2}) EXPECT_EQ(Points(camera, busi).back(), noon + " 1");
    }
    EXPECT_THAT(Points(103, 1), IsEmpty());
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(DeviceEventTest, SecondEventOfOneSecondAddsNothing) {
    RegisterWithPoint();
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    Forget();
    manager.HandleDeviceState(Message(261, 2001, kDevice));
    EXPECT_EQ(Log(),
              OnGuard(261) +
                  "2 QARCommon exist state time add plugin_id = gap, busi_type = 1, camera_id = 101, state time = " +
                  kNow + ", state = 1, old_state = 1\n");
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Points().size(), 2u);
}

TEST_F(DeviceEventTest, EventForACameraThatNobodyCaresForChangesNothing) {
    Register();
    platform.site.Camera(kCamera)->no = 3;
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_EQ(Log(), OnGuard(265));
    Forget();
    manager.HandleChannelState(Message(517, 1001, kCamera));
    EXPECT_EQ(Log(), Received() + kClockKnown + kChannelOnline);
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_THAT(Points(), IsEmpty());
}

TEST_F(DeviceEventTest, EventChangesNothingForAPluginThatCaresForAnotherCamera) {
    platform.site.AddCamera(102, 2);
    Register();
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {102}));
    Forget();
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    manager.HandleChannelState(Message(517, 1001, kCamera));
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_THAT(Points(), IsEmpty());
}

TEST_F(DeviceEventTest, FirstContactOfACaredCameraIsToldAsSevenDays) {
    RegisterAndCare();
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", kNow + " 1"));
    EXPECT_EQ(Log(), OnGuard(265) + InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1));
}

TEST_F(DeviceEventTest, FirstContactOfAPluginWithoutAFunctionIsToldInTheLog) {
    RegisterAndCare();
    Peer::ForgetFunction(manager, kPlugin);
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_EQ(Log(), OnGuard(265) + InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) +
                         "5 QARCommon notify_func_ is null plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
                         kNow + "\n");
}

TEST_F(DeviceEventTest, PluginThatThrowsCostsTheNextNothing) {
    platform.site.Device(kDevice)->guard = false;
    ASSERT_TRUE(
        manager.Register([](auto&, int) { throw std::runtime_error("broken"); }, {kBusi}, "a_bad", kTable, "id"));
    ASSERT_TRUE(manager.SetCareCameraStateInfo("a_bad", kBusi, {kCamera}));
    RegisterAndCare();
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_EQ(Log(),
              OnGuard(265) + InsertLine(kWeekAgo, 1, 101, 1, "a_bad") + InsertLine(kNow, 1, 101, 1, "a_bad") +
                  "5 QARCommon notify_func_ of plugin threw, plugin_id = a_bad, busi_type = 1, error = broken\n" +
                  InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1));
}

TEST_F(DeviceEventTest, ContactWithoutAStoreEndsTheStepAndGoesOnWithTheNext) {
    RegisterAndCare("a");
    RegisterWithPoint("b");
    Peer::RemoveStore(manager);
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    const auto no_store = [](const std::string& plugin, const std::string& iso) {
        return "5 QARCommon  ptr_db_history_data_ is null state plugin_id = " + plugin +
               ", busi_type = 1, camera_id = 101 state = 1, time = " + iso + "\n";
    };
    const auto add_fails = [](const std::string& plugin) {
        return "5 QARCommon CHistoryStateMgr::HandleDeviceState add is fail pug_id = " + plugin +
               ", device_id = 1, channel_id = 101, time = " + kNow + "\n";
    };
    EXPECT_EQ(Log(),
              OnGuard(265) + no_store("a", kWeekAgo) +
                  "5 QARCommon add fist state info is fail plugin_id = a, busi_type = 1, camera_id = 101, time = " +
                  kWeekAgo +
                  ", state = 1\n"
                  "5 QARCommon add fist state is fail plugin_id = a, busi_type = 1, camera_id = 101, time = " +
                  kNow + "\n" + no_store("a", kNow) + add_fails("a") + no_store("b", kNow) + add_fails("b"));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(DeviceEventTest, FailedFirstPointStillLeadsToTheFirstRangeWhenTheSecondCanBeAdded) {
    RegisterAndCare();
    const auto store = Peer::SwapStore(manager, nullptr);
    // the store is back as soon as the first point has failed
    ON_CALL(platform.time_util, TimeDifference2Str).WillByDefault([&](int seconds) {
        if (platform.log.Text().find("ptr_db_history_data_ is null") != std::string::npos) {
            Peer::SwapStore(manager, store);
        }
        return platform.time_util.fake.TimeDifference2Str(seconds);
    });
    manager.HandleDeviceState(Message(265, 2001, kDevice));
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_THAT(Points(), ElementsAre(kNow + " 1"));
}

// --- channel events --------------------------------------------------------------------------------------------------

class ChannelEventTest : public DeviceEventTest {
protected:
    ChannelEventTest() { platform.site.Camera(kCamera)->no = 3; }
};

TEST_F(ChannelEventTest, ContactOfAChannelAddsAPointToThatCameraAlone) {
    platform.site.AddCamera(102, kDevice);
    RegisterWithPoint();
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {102}));
    Forget();
    manager.HandleChannelState(Message(517, 1001, kCamera));
    EXPECT_EQ(Points().back(), kNow + " 1");
    EXPECT_EQ(Points(102).size(), 2u);
    EXPECT_EQ(Log(), Received() + kClockKnown + kChannelOnline + InsertLine(kNow, 1));
}

TEST_F(ChannelEventTest, FirstContactOfAChannelIsToldAsSevenDays) {
    RegisterAndCare();
    manager.HandleChannelState(Message(517, 1001, kCamera, "{}"));
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_EQ(Log(),
              Received(kDevice, "{}") + kClockKnown + kChannelOnline + InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1));
}

TEST_F(ChannelEventTest, ChannelOfAnUnknownClockTakesTheDevicesTimeWithoutTheWarning) {
    RegisterWithPoint();
    EXPECT_CALL(platform.time_zone, GetDeviceTimeEx(_, _, _, _, -1)).WillOnce(Return(false));
    EXPECT_CALL(platform.time_zone, GetDeviceTime(_, _, _, _, -1)).Times(1);
    manager.HandleChannelState(Message(517, 1001, kCamera));
    EXPECT_EQ(Log(), Received() + kChannelOnline + InsertLine(kNow, 1));
}

TEST_F(ChannelEventTest, UnknownChannelAndUnknownDeviceAreTold) {
    manager.HandleChannelState(Message(517, 1001, 999));
    EXPECT_EQ(Log(), "5 QARCommon get channel_info is fail n_channel_id = 999, event_type = 517\n");
    Forget();
    platform.site.RemoveDevice(kDevice);
    manager.HandleChannelState(Message(517, 1001, kCamera));
    EXPECT_EQ(Log(), Received() + "5 QARCommon get device_info is fail device_id = 1, event_type = 517\n");
}

TEST_F(ChannelEventTest, ContactOfAChannelWithoutAStoreIsToldUnderTheDeviceHandlersName) {
    RegisterWithPoint();
    Peer::RemoveStore(manager);
    manager.HandleChannelState(Message(517, 1001, kCamera));
    EXPECT_EQ(platform.log.Lines().back().body,
              "CHistoryStateMgr::HandleDeviceState add is fail pug_id = gap, device_id = 1, channel_id = 101, time = " +
                  kNow);
}

}  // namespace
}  // namespace qar::history_test
