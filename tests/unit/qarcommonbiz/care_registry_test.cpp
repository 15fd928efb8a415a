// Who is registered, and which cameras each one cares for.

#include <stdexcept>

#include "care_fixture.h"

namespace qar::history_test {
namespace {

using ::testing::_;
using ::testing::Return;

// --- Register --------------------------------------------------------------------------------------------------------

TEST_F(CareRegistryTest, RegistrationWithoutFunctionOrBusinessTypesIsRefused) {
    EXPECT_FALSE(manager.Register(nullptr, {1}, kPlugin, kTable, "id"));
    EXPECT_FALSE(manager.Register(Keep(), {}, kPlugin, kTable, "id"));
    EXPECT_EQ(Log(),
              "5 QARCommon CHistoryStateMgr::Register param is error\n"
              "5 QARCommon CHistoryStateMgr::Register param is error\n");
    EXPECT_THAT(Sqls(), IsEmpty());
}

TEST_F(CareRegistryTest, RegistrationWithoutAStoreIsRefusedAndEntersNothing) {
    Peer::RemoveStore(manager);
    EXPECT_FALSE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
    EXPECT_EQ(Log(),
              "3 QARCommon Plugin id [gap], table name [gap.history]\n"
              "5 QARCommon ptr_db_history_data_ is null\n");
    Forget();
    EXPECT_EQ(Cared(), std::set<int>{-5});
    EXPECT_EQ(Log(), "5 QARCommon no register plugin_id = gap\n");
}

TEST_F(CareRegistryTest, SecondRegistrationOfAPluginIsRefusedAndChangesNothing) {
    Register(kPlugin, {1});
    ASSERT_TRUE(Set());
    Forget();
    EXPECT_FALSE(manager.Register([](auto&, int) { FAIL(); }, {2}, kPlugin, "other.table", "other_id"));
    EXPECT_EQ(Log(),
              "3 QARCommon Plugin id [gap], table name [other.table]\n"
              "5 QARCommon exist register plugin_id = gap\n");
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Cared(), std::set<int>{kCamera});
    EXPECT_EQ(Points().size(), 2u);
    EXPECT_FALSE(manager.SetCareCameraStateInfo(kPlugin, 2, {kCamera}));
    EXPECT_THAT(Sqls(), IsEmpty());
    platform.site.AddCamera(102, kDevice);
    EXPECT_TRUE(Set({102}));  // tells the first function, writes to the first table
    EXPECT_THAT(told, ElementsAre("1/102: " + kWeekAgo + " " + kNow));
    EXPECT_EQ(Sqls()[0], InsertSql(3, 102, 1, "2024-03-01 09:00:00", "2024-03-01 01:00:00", 1, kEast8));
}

TEST_F(CareRegistryTest, RegistrationOnANodeWithoutCamerasSucceedsWithAnEmptyStateMap) {
    platform.site.RemoveCamera(kCamera);
    EXPECT_FALSE(Peer::HasPlugin(manager, kPlugin));
    EXPECT_TRUE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
    EXPECT_TRUE(Peer::HasPlugin(manager, kPlugin));
    EXPECT_THAT(Points(), IsEmpty());
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_EQ(Log(),
              "3 QARCommon Plugin id [gap], table name [gap.history]\n"
              "3 QARCommon Current node don't need load history data, plugin gap table name gap.history.\n");
}

TEST_F(CareRegistryTest, CamerasWithRowsAreCaredForFromRegistrationOn) {
    platform.site.AddCamera(102, kDevice);
    platform.database.fake.Answer("SELECT", HistoryRows({{"101", "1", "2024-03-05 08:00:00", "28800", "1"},
                                                         {"101", "1", "2024-03-05 09:00:00", "-19800", "2"},
                                                         {"102", "7", "2024-03-06 08:00:00", "28800", "1"},
                                                         {"999", "1", "2024-03-06 08:00:00", "28800", "1"}}));
    EXPECT_TRUE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
    EXPECT_THAT(Sqls(), ElementsAre("SELECT * FROM gap.history ORDER BY  business_type, camera_id, state_time"));
    EXPECT_EQ(Log(),
              "3 QARCommon Plugin id [gap], table name [gap.history]\n"
              "2 QARCommon Camera not exits current node 999, plugin gap table name gap.history.\n");
    EXPECT_EQ(Cared(1), std::set<int>{101});
    EXPECT_EQ(Cared(7), std::set<int>{102});  // whatever types were registered
    EXPECT_THAT(Points(), ElementsAre("2024-03-05T08:00:00+08:00 1", "2024-03-05T09:00:00-05:30 2"));
    EXPECT_THAT(Points(102, 7), ElementsAre("2024-03-06T08:00:00+08:00 1"));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(CareRegistryTest, FailedReadOfTheTableLeavesThePluginRegistered) {
    platform.database.fake.FailNext("SELECT");
    EXPECT_FALSE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
    const std::string first = "3 QARCommon Plugin id [gap], table name [gap.history]\n";
    EXPECT_EQ(Log(), first +
                         "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = SELECT * FROM "
                         "gap.history ORDER BY  business_type, camera_id, state_time\n"
                         "5 QARCommon Init DB History state info is fail plugin_id = gap\n");
    EXPECT_FALSE(Peer::HasPlugin(manager, kPlugin));
    Forget();
    EXPECT_FALSE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
    EXPECT_EQ(Log(), first + "5 QARCommon exist register plugin_id = gap\n");
    manager.UnRegister(kPlugin);
    EXPECT_TRUE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
}

TEST_F(CareRegistryTest, RowWhoseMomentCannotBeReadIsPassedOver) {
    auto store = std::make_shared<::testing::NiceMock<MockStore>>();
    EXPECT_CALL(*store, InitDBHistoryStateInfo(_, kPlugin, kTable))
        .WillOnce([](StateRowMap& rows, const std::string&, const std::string&) {
            rows = {{1, {{101, {{"2024-03-05T08:00:00+08:00", 1}, {"bad", 2}}}}}};
            return true;
        });
    Peer::SwapStore(manager, store);
    EXPECT_TRUE(manager.Register(Keep(), {1}, kPlugin, kTable, "id"));
    EXPECT_THAT(Points(), ElementsAre("2024-03-05T08:00:00+08:00 1"));
    EXPECT_EQ(Log(),
              "3 QARCommon Plugin id [gap], table name [gap.history]\n"
              "5 QARCommon iso time to tm is fail plugin_id = gap, busi_type = 1, camera_id = 101, value = bad\n");
}

// --- UnRegister ------------------------------------------------------------------------------------------------------

TEST_F(CareRegistryTest, UnregisteringForgetsAllButTheRows) {
    Register();
    platform.site.AddCamera(102, 2);
    ASSERT_TRUE(Set());
    ASSERT_FALSE(SetEx({102}));  // put off: the clock of device 2 is not known
    Forget();
    manager.UnRegister(kPlugin);
    EXPECT_THAT(Sqls(), IsEmpty());
    EXPECT_FALSE(Peer::HasPlugin(manager, kPlugin));
    EXPECT_THAT(Peer::Delayed(manager), IsEmpty());
    EXPECT_EQ(Log(),
              "3 QARCommon CHistoryStateMgr::UnRegister plugin:[gap]\n"
              "3 QARCommon all plugin unregist. Stop Thread.\n");
    EXPECT_EQ(Cared(), std::set<int>{-5});
    EXPECT_FALSE(Set());
}

TEST_F(CareRegistryTest, UnregisteringOneOfTwoKeepsTheOther) {
    Register("a");
    Register("b");
    manager.UnRegister("a");
    EXPECT_EQ(Log(),
              "3 QARCommon CHistoryStateMgr::UnRegister plugin:[a]\n"
              "3 QARCommon not all plugin unregist. thread still run.\n");
    EXPECT_TRUE(Peer::HasPlugin(manager, "b"));
    EXPECT_TRUE(manager.SetCareCameraStateInfo("b", 1, {kCamera}));
}

// --- SetCareCameraStateInfo ------------------------------------------------------------------------------------------

TEST_F(CareRegistryTest, EmptySetIsTrueEvenForAnUnknownPlugin) {
    EXPECT_TRUE(manager.SetCareCameraStateInfo("nobody", 1, {}));
    EXPECT_TRUE(manager.SetCareCameraStateInfoEx("nobody", 1, {}));
    EXPECT_EQ(Log(), "");
}

TEST_F(CareRegistryTest, UnknownPluginAndUnregisteredBusinessTypeAreRefused) {
    Register();
    EXPECT_FALSE(manager.SetCareCameraStateInfo("nobody", 1, {kCamera}));
    EXPECT_FALSE(manager.SetCareCameraStateInfo(kPlugin, 9, {kCamera}));
    EXPECT_FALSE(manager.SetCareCameraStateInfoEx("nobody", 1, {kCamera}));
    EXPECT_FALSE(manager.SetCareCameraStateInfoEx(kPlugin, 9, {kCamera}));
    const std::string lines =
        "5 QARCommon no register plugin_id = nobody\n"
        "5 QARCommon no register busi_type value = 9\n";
    EXPECT_EQ(Log(), lines + lines);
    EXPECT_THAT(Sqls(), IsEmpty());
}

// The list's level stands from then on, which a move-out tells by what it does not say.
TEST_F(CareRegistryTest, ListOfAnUnregisteredBusinessTypeIsEmptyAndCreatesTheLevel) {
    Register();
    const std::string asked = "3 QARCommon Del camera state info plugin_id = gap, camera_ids = 101\n";
    manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kCamera});
    EXPECT_EQ(Log(), asked + "3 QARCommon Not find camera register info. plugin_id = gap, camera_id = 101\n");
    EXPECT_THAT(Cared(9), IsEmpty());
    Forget();
    manager.DelCareCameraStateInfoAtMoveOutByCameraIDs(kPlugin, {kCamera});
    EXPECT_EQ(Log(), asked);
}

TEST_F(CareRegistryTest, ListForAnUnknownPluginLeavesTheCallersSet) {
    EXPECT_EQ(Cared(1, "nobody"), std::set<int>{-5});
    EXPECT_EQ(Log(), "5 QARCommon no register plugin_id = nobody\n");
}

TEST_F(CareRegistryTest, FirstCareTellsExactlySevenDaysAndTheSecondNothing) {
    Register();
    EXPECT_TRUE(Set());
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_EQ(Sqls(), kFirstAddSql);
    EXPECT_EQ(Log(), InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) + Told(kWeekAgo, kNow));
    EXPECT_EQ(Cared(), std::set<int>{kCamera});
    EXPECT_THAT(Ranges(), ElementsAre("101: " + kWeekAgo + " " + kNow));
    Forget();
    SetClock("2024-03-08 09:30:00");
    EXPECT_TRUE(Set());
    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", kNow + " 1", "2024-03-08T09:30:00+08:00 1"));
    EXPECT_EQ(Log(), InsertLine("2024-03-08T09:30:00+08:00", 1));
}

TEST_F(CareRegistryTest, EachFormAsksForThePresentInItsOwnWay) {
    Register();
    EXPECT_CALL(platform.time_zone, GetDeviceTime(_, _, _, _, -1)).Times(1);
    EXPECT_CALL(platform.time_zone, GetDeviceTimeEx).Times(0);
    EXPECT_TRUE(Set());
    ::testing::Mock::VerifyAndClearExpectations(&platform.time_zone);
    EXPECT_CALL(platform.time_zone, GetDeviceTime).Times(0);
    EXPECT_CALL(platform.time_zone, GetDeviceTimeEx(_, _, _, _, -1)).Times(1);
    EXPECT_TRUE(SetEx());
}

TEST_F(CareRegistryTest, SeveralCamerasAreToldTogether) {
    Register();
    platform.site.AddCamera(103, 2);
    SetClock("2024-03-01 00:00:00", 2, -19800);
    int calls = 0;
    manager.UnRegister(kPlugin);
    ASSERT_TRUE(manager.Register(
        [&](std::map<int, std::vector<SStateRange>>& ranges, int busi) {
            ++calls;
            EXPECT_EQ(busi, 1);
            EXPECT_THAT(Texts(ranges), ElementsAre("101: " + kWeekAgo + " " + kNow,
                                                   "103: 2024-02-23T00:00:00-05:30 2024-03-01T00:00:00-05:30"));
        },
        {1}, kPlugin, kTable, "id"));
    Forget();
    EXPECT_TRUE(Set({103, 101}));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(Log(), InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) + InsertLine("2024-02-23T00:00:00-05:30", 1, 103) +
                         InsertLine("2024-03-01T00:00:00-05:30", 1, 103) + Told(kWeekAgo, kNow) +
                         Told("2024-02-23T00:00:00-05:30", "2024-03-01T00:00:00-05:30", 103));
}

TEST_F(CareRegistryTest, UnguardedCameraIsCaredForWithoutPointsAndIsNotPutOff) {
    for (const bool guard : {false, true}) {  // not guarded; guarded and away
        Register();
        platform.site.Device(kDevice)->guard = guard;
        platform.site.Device(kDevice)->online = !guard;
        EXPECT_TRUE(Set());
        EXPECT_FALSE(SetEx());
        EXPECT_EQ(Log(), "4 QARCommon Not Guard!" + Of(101) + "\n4 QARCommon Not Guard!" + Of(101) + "\n");
        EXPECT_EQ(Cared(), std::set<int>{kCamera});
        EXPECT_THAT(Points(), IsEmpty());
        EXPECT_THAT(told, IsEmpty());
        EXPECT_THAT(Sqls(), ElementsAre(kSelect));
        EXPECT_THAT(Peer::Delayed(manager), IsEmpty());
        manager.UnRegister(kPlugin);
    }
}

TEST_F(CareRegistryTest, CameraThatThePlatformDoesNotKnowIsToldByBothForms) {
    Register();
    platform.site.RemoveDevice(kDevice);
    platform.site.Camera(kCamera)->device_guid = "guid-1";
    EXPECT_TRUE(Set({kCamera, 999}));
    EXPECT_FALSE(SetEx({kCamera, 999}));
    const std::string lines =
        "5 QARCommon get device_info is fail camera_id = 101, guid = guid-1\n5 QARCommon check guard is fail" +
        Of(101) + "\n5 QARCommon not find channel object camera_id = 999\n5 QARCommon check guard is fail" + Of(999) +
        "\n";
    EXPECT_EQ(Log(), lines + lines);
    EXPECT_EQ(Cared(), (std::set<int>{kCamera, 999}));
    EXPECT_THAT(Peer::Delayed(manager), IsEmpty());
}

TEST_F(CareRegistryTest, FailingCameraCostsTheNextNothing) {
    Register();
    EXPECT_TRUE(Set({7, kCamera}));
    EXPECT_THAT(told, ElementsAre(kRange));
    platform.site.AddCamera(102, kDevice);
    told.clear();
    EXPECT_FALSE(SetEx({7, 102}));  // told, and false for the other
    EXPECT_THAT(told, ElementsAre("1/102: " + kWeekAgo + " " + kNow));
}

TEST_F(CareRegistryTest, PlainFormDoesNotPutOffACameraWithoutADeviceTime) {
    Register();
    platform.site.Camera(kCamera)->device.reset();
    EXPECT_TRUE(Set());
    EXPECT_EQ(Log(), "5 QARCommon get dev_time is fail" + Of(101) + "\n");
    EXPECT_EQ(Cared(), std::set<int>{kCamera});
    EXPECT_THAT(Peer::Delayed(manager), IsEmpty());
}

TEST_F(CareRegistryTest, PlainFormWithoutAStoreIsToldAtTheFirstPointAndAtALaterOne) {
    Register();
    const auto store = Peer::SwapStore(manager, nullptr);
    EXPECT_TRUE(Set());
    EXPECT_EQ(Log(),
              NoStore(kWeekAgo) +
                  "5 QARCommon add fist state info is fail plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
                  kWeekAgo +
                  ", state = 1\n"
                  "5 QARCommon add fist state is fail plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
                  kNow + "\n");
    Peer::SwapStore(manager, store);
    ASSERT_TRUE(Set());
    Peer::RemoveStore(manager);
    Forget();
    EXPECT_TRUE(Set());
    EXPECT_EQ(Log(),
              NoStore(kNow) + "5 QARCommon add history state info is fail" + Of(101) + ", time = " + kNow + "\n");
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(CareRegistryTest, PluginWithoutAFunctionIsToldAndBothFormsAreTrue) {
    Register();
    Peer::ForgetFunction(manager, kPlugin);
    EXPECT_TRUE(Set());
    EXPECT_EQ(Log(), InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) + "5 QARCommon notify_func is null\n");
    platform.site.AddCamera(102, kDevice);
    Forget();
    EXPECT_TRUE(SetEx({7, 102}));  // true although camera 7 failed
    EXPECT_EQ(platform.log.Lines().back().body, "notify_func is null");
    EXPECT_EQ(platform.log.Lines().back().function, "qar::CHistoryStateMgr::SetCareCameraStateInfoEx");
    EXPECT_EQ(platform.log.Lines().back().level, 5);
}

TEST_F(CareRegistryTest, FailedStatementsCostNeitherThePointsNorTheRange) {
    Register();
    platform.database.fake.FailAll("INSERT");
    EXPECT_TRUE(Set());
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", kNow + " 1"));
    EXPECT_THAT(told, ElementsAre(kRange));
}

TEST_F(CareRegistryTest, WhatTheCallbackThrowsReachesThePluginThatCalled) {
    ASSERT_TRUE(
        manager.Register([](auto&, int) { throw std::runtime_error("own fault"); }, {1}, kPlugin, kTable, "id"));
    EXPECT_THROW(Set(), std::runtime_error);
    EXPECT_EQ(Points().size(), 2u);
}

// --- SetCareCameraStateInfoEx ----------------------------------------------------------------------------------------

TEST_F(CareRegistryTest, ExFormWithoutRowsIsAFirstAdd) {
    Register();
    EXPECT_TRUE(SetEx());
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_THAT(Sqls(), ElementsAre(kSelect, kFirstAddSql[0], kFirstAddSql[1]));
    EXPECT_EQ(Log(), InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) + Told(kWeekAgo, kNow));
}

TEST_F(CareRegistryTest, ExFormLoadsTheRowsOfTheTableAndTellsNoFirstRange) {
    Register();
    platform.database.fake.Answer("camera_id IN", HistoryRows({{"101", "1", "2024-03-05 08:00:00", "28800", "1"},
                                                               {"101", "1", "2024-03-05 08:30:00", "28800", "2"},
                                                               {"101", "2", "2024-03-06 08:00:00", "28800", "1"}}));
    EXPECT_TRUE(SetEx());
    EXPECT_THAT(Points(), ElementsAre("2024-03-05T08:00:00+08:00 1", "2024-03-05T08:30:00+08:00 2", kNow + " 1"));
    EXPECT_THAT(Points(kCamera, 2), IsEmpty());  // another business type's row is not its matter
    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(Sqls(),
                ElementsAre(kSelect, InsertSql(1, 101, 1, "2024-03-08 09:00:00", "2024-03-08 01:00:00", 1, kEast8)));
    EXPECT_EQ(Log(), InsertLine(kNow, 1));
}

TEST_F(CareRegistryTest, ExFormPrefersMemoryToRows) {
    Register();
    ASSERT_TRUE(Set());
    platform.database.fake.Answer("camera_id IN", HistoryRows({{"101", "1", "2024-03-05 08:00:00", "28800", "1"}}));
    SetClock("2024-03-08 09:30:00");
    EXPECT_TRUE(SetEx());
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", kNow + " 1", "2024-03-08T09:30:00+08:00 1"));
}

TEST_F(CareRegistryTest, ExFormWithoutAStoreIsRefusedWithTheCamerasCaredFor) {
    Register();
    Peer::RemoveStore(manager);
    EXPECT_FALSE(SetEx());
    EXPECT_EQ(Log(), "5 QARCommon ptr_db_history_data_ nullptr plugin_id = gap\n");
    EXPECT_EQ(Cared(), std::set<int>{kCamera});
}

TEST_F(CareRegistryTest, ExFormWhoseQueryFailsIsRefusedWithTheCamerasCaredFor) {
    Register();
    platform.database.fake.FailNext("SELECT");
    EXPECT_FALSE(SetEx());
    EXPECT_EQ(Log(), "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = " + kSelect +
                         "\n5 QARCommon CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = " + kSelect +
                         "\n5 QARCommon QueryCameraStateByCameraID failed plugin_id = gap, table_name = gap.history\n");
    EXPECT_EQ(Cared(), std::set<int>{kCamera});
    EXPECT_THAT(Points(), IsEmpty());
}

TEST_F(CareRegistryTest, ExFormWhoseRowsCannotBeReadIsAFirstAddAndFalse) {
    Register();
    auto store = std::make_shared<::testing::NiceMock<MockStore>>();
    ON_CALL(*store, QueryCameraStateByCameraID).WillByDefault([](StateRowMap& rows, auto&&...) {
        rows = {{1, {{101, {{"2024-03-05T08:00:00+08:00", 2}, {"bad", 2}}}}}};
        return true;
    });
    ON_CALL(*store, AddDBHistoryStateInfo).WillByDefault(Return(true));
    Peer::SwapStore(manager, store);
    EXPECT_FALSE(SetEx());
    EXPECT_THAT(told, ElementsAre(kRange));
    EXPECT_THAT(Points(), ElementsAre(kWeekAgo + " 1", "2024-03-05T08:00:00+08:00 2", kNow + " 1"));
    EXPECT_EQ(Log(),
              "5 QARCommon iso time to tm is fail plugin_id = gap, busi_type = 1, camera_id = 101, value = bad\n"
              "5 QARCommon iso time to tm is fail plugin_id = gap, busi_type = 1, camera_id = 101, state = 2.\n" +
                  InsertLine(kWeekAgo, 1) + InsertLine(kNow, 1) + Told(kWeekAgo, kNow));
}

TEST_F(CareRegistryTest, ExFormWhoseStoreGoesAwayIsFalseAtTheFirstPointAndAtALaterOne) {
    Register();
    const auto store = Peer::SwapStore(manager, nullptr);
    Peer::SwapStore(manager, store);
    RemoveStoreWhenTheClockIsAsked();
    EXPECT_FALSE(SetEx());
    EXPECT_EQ(Log(),
              NoStore(kWeekAgo) +
                  "5 QARCommon add fist state info is fail plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
                  kWeekAgo +
                  ", state = 1\n"
                  "5 QARCommon add fist state is fail plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
                  kNow + "\n");
    Peer::SwapStore(manager, store);
    ASSERT_TRUE(Set());
    Forget();
    EXPECT_FALSE(SetEx());
    EXPECT_EQ(Log(),
              NoStore(kNow) + "5 QARCommon add history state info is fail" + Of(101) + ", time = " + kNow + "\n");
}

}  // namespace
}  // namespace qar::history_test
