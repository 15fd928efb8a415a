// Each platform call failing in turn: databases, start and stop, registration, the timer's posts.

#include "fault_scene.h"
#include "qarcommonbiz/TaskDefine.h"

namespace qar::history_test {
namespace {

// --- the databases ---------------------------------------------------------------------------------------------------

const std::string kConfigTopic = "Config_LocalConfigManager";

std::string BusLine(int level, const std::string& subscriber, const std::string& topic, const std::string& types,
                    const std::string& rest) {
    return std::to_string(level) + " QARCommon [MessageBus] plugin[" + subscriber + "] subscribes[" + topic +
           "] msg-type[" + types + "] " + rest + "\n\n";
}

std::string Subscribed(const std::string& subscriber, const std::string& topic, const std::string& types) {
    return BusLine(3, subscriber, topic, types, "change-msg.") +
           BusLine(3, subscriber, topic, types, "cb[func[PTR], user-data[PTR]] change-msg success.");
}

std::string Refused(const std::string& subscriber, const std::string& topic, const std::string& types) {
    return BusLine(3, subscriber, topic, types, "change-msg.") +
           BusLine(5, subscriber, topic, types, "cb[func[PTR], user-data[PTR]] change-msg failed, err[1,5].");
}

std::string Unsubscribed(const std::string& subscriber, const std::string& topic) {
    return "3 QARCommon [MessageBus] UnSubscribeObserver OK, plugin[" + subscriber + "], observer[" + topic +
           "], msg-type[].\n\n";
}

std::string NotUnsubscribed(const std::string& subscriber, const std::string& topic) {
    return "5 QARCommon [MessageBus] UnSubscribeObserver failed, plugin[" + subscriber + "], observer[" + topic +
           "], msg-type[], err[1,5].\n\n";
}

class DatabaseFaultsTest : public FaultTest {
protected:
    static void Open(FaultScene& scene) {
        scene.around = true;
        ASSERT_TRUE(scene.databases.Initialize("gap", 2, 3));
    }
    static void OpenAndMove(FaultScene& scene) {
        Open(scene);
        ASSERT_TRUE(scene.databases.Initialize("next", 1, 1));
        scene.SetConfig("moved");
    }
    const std::string kBegin = "3 QARCommon Process DBInfo change begin.\n\n";
    const std::string kEnd = "3 QARCommon Process DBInfo change end.\n\n";
    const Lines kBefore = {"open gap database", "open next database", "subscribed qarcommon"};
};

TEST_F(DatabaseFaultsTest, EachFailingCallOfAnOpening) {
    const Outcome usual = {
        "true",
        Subscribed("qarcommon", kConfigTopic, "1") + "3 QARCommon CDBManager SubscribeChangeMsg OK.\n\n",
        {"open gap database", "subscribed qarcommon"},
        {},
        {}};
    ExpectFaults(
        [](FaultScene& scene) { scene.around = true; },
        [](FaultScene& scene) { return Text(scene.databases.Initialize("gap", 2, 3)); }, usual,
        {{{"LocalConfigManager::GetLocationDBInfo 1"},
          {"false", "5 QARCommon GetDBParam failed, get platform DB info failed, plugin[gap]\n\n", {}, {}, {}}},
         {{"IDBManagerPure::Open 1"}, {"false", "", {}, {}, {}}},
         {{"MsgBus::SubscribeObserverEx 1"},
          {"true",
           Refused("qarcommon", kConfigTopic, "1") + "3 QARCommon CDBManager SubscribeChangeMsg failed.\n\n",
           {"open gap database"},
           {},
           {}}}});
}

TEST_F(DatabaseFaultsTest, EachFailingCallOfAClosing) {
    const std::string ok = "3 QARCommon CDBManager UnsubscribeChangeMsg OK.\n\n";
    const Outcome usual = {"true", Unsubscribed("qarcommon", kConfigTopic) + ok, {}, {}, {}};
    const auto finalize = [](FaultScene& scene) {
        if (scene.databases.Finalize("gap")) return std::string("true");
        return "false, then " + Text(scene.databases.Finalize("gap"));
    };
    ExpectFaults(Open, finalize, usual,
                 {{{"IDBManagerPure::Finalize 1"}, usual.Result("false, then true")},
                  {{"MsgBus::UnSubscribeObserverEx 1"},
                   usual.Log(NotUnsubscribed("qarcommon", kConfigTopic) + ok).Memory({"subscribed qarcommon"})}});
}

TEST_F(DatabaseFaultsTest, EachFailingCallOfTheRepointingOfOnePlugin) {
    const Outcome usual = {"true", "", {"open gap moved", "open next database", "subscribed qarcommon"}, {}, {}};
    ExpectFaults(OpenAndMove, [](FaultScene& scene) { return Text(scene.databases.ResetDBParam("gap")); }, usual,
                 {{{"LocalConfigManager::GetLocationDBInfo 1"},
                   {"false", "5 QARCommon GetDBParam failed when ResetDBParam, plugin[gap].\n\n", kBefore, {}, {}}},
                  {{"IDBManagerPure::ResetDBParam 1"}, {"false", "", kBefore, {}, {}}}});
}

TEST_F(DatabaseFaultsTest, EachFailingCallOfAChangeOfTheDatabaseInformation) {
    const Outcome usual = {"", kBegin + kEnd, {"open gap moved", "open next moved", "subscribed qarcommon"}, {}, {}};
    const auto change = [](FaultScene& scene) {
        CDBManagerImpl::ProcChangeMsgCBFunc(kConfigTopic, std::make_shared<CBusMsgCommon>(1, -1, 0, "{}", nullptr, 0),
                                            &scene.databases);
        return std::string();
    };
    ExpectFaults(
        OpenAndMove, change, usual,
        {{{"LocalConfigManager::GetLocationDBInfo 1"},
          usual.Log(kBegin + "5 QARCommon GetDBParam failed when ObserverMsgCB of DBInfo.\n\n").Memory(kBefore)},
         {{"IDBManagerPure::ResetDBParam 1"},
          usual.Memory({"open gap database", "open next moved", "subscribed qarcommon"})},
         {{"IDBManagerPure::ResetDBParam 2"},
          usual.Memory({"open gap moved", "open next database", "subscribed qarcommon"})}});
}

// --- start and stop --------------------------------------------------------------------------------------------------

const std::string kDeviceTopic = "TUK_DeviceAccess";
const std::string kTimer = "timer HistoryStateMgr.timer";

class StartFaultsTest : public FaultTest {
protected:
    static void Start(FaultScene& scene) {
        scene.around = true;
        CMessageLoopForHistoryState::Instance();
        ASSERT_TRUE(scene.manager.Init());
    }
};

TEST_F(StartFaultsTest, EachFailingCallOfAnInitIsMadeGoodByTheNext) {
    const std::string subscribed = Subscribed("qarcommon.s", kDeviceTopic, "261,265,517");
    const Outcome usual = {"true, true", subscribed, {"subscribed qarcommon.s", kTimer, "pool with 0 tasks"}, {}, {}};
    const auto init = [](FaultScene& scene) {
        const std::string first = Text(scene.manager.Init());
        return first + ", " + Text(scene.manager.Init());
    };
    const Outcome second_time = usual.Result("false, true");
    ExpectFaults([](FaultScene& scene) { scene.around = true; }, init, usual,
                 {{{"CMessageLoopDyThreadPool::Start 1"},
                   second_time.Log("5 QARCommon CHistoryStateMgr::Init CMessageLoopForHistoryState start is fail\n" +
                                   subscribed)},
                  {{"IThreadManager::NewTimer 1"},
                   second_time.Log("5 QARCommon CHistoryStateMgr::Init new timer is fail\n" + subscribed)},
                  {{"MsgBus::SubscribeObserverEx 1"},
                   second_time.Log(Refused("qarcommon.s", kDeviceTopic, "261,265,517") +
                                   "5 QARCommon CHistoryStateMgr::Init SubscribeChangeMsg is fail\n" + subscribed)}});
}

TEST_F(StartFaultsTest, EachFailingCallOfAnUninit) {
    const Outcome usual = {"true", Unsubscribed("qarcommon.s", kDeviceTopic), {kTimer, "pool with 0 tasks"}, {}, {}};
    ExpectFaults(Start, [](FaultScene& scene) { return Text(scene.manager.Uninit()); }, usual,
                 {{{"MsgBus::UnSubscribeObserverEx 1"},
                   usual.Log(NotUnsubscribed("qarcommon.s", kDeviceTopic))
                       .Memory({"subscribed qarcommon.s", kTimer, "pool with 0 tasks"})}});
}

TEST_F(StartFaultsTest, EachFailingCallOfTheLastUnRegister) {
    const auto stage = [](FaultScene& scene) {
        Start(scene);
        scene.HasRows({{kCamera, kBusi, "2024-03-07 08:00:00", kEast8, 1}});
        scene.Register();
    };
    const auto unregister = [](FaultScene& scene) {
        scene.manager.UnRegister(kPlugin);
        return std::string();
    };
    const Outcome usual = {"",
                           "3 QARCommon CHistoryStateMgr::UnRegister plugin:[gap]\n"
                           "3 QARCommon all plugin unregist. Stop Thread.\n",
                           {"subscribed qarcommon.s"},
                           {"0: 101/1 2024-03-07 08:00:00 28800 1"},
                           {}};
    ExpectFaults(
        stage, unregister, usual,
        {{{"IThreadManager::DelTimer 1"}, usual.Memory({"subscribed qarcommon.s", kTimer})},
         {{"CMessageLoopDyThreadPool::Stop 1"}, usual.Memory({"subscribed qarcommon.s", "pool with 0 tasks"})}});
}

TEST_F(StartFaultsTest, EachFailingCallOfATimerThatPostsAllItsJobs) {
    const auto tick = [](FaultScene& scene) {
        for (const int n_tick : {5, 20, 25}) scene.manager.OnTimer(static_cast<unsigned long long>(n_tick));
        return std::string();
    };
    const Lines jobs = {"CNotifyExceptionRangeTask", "CSetCareCameraDelayTask", "CDelExpireStateTask",
                        "CSetCareCameraDelayTask",   "CCheckStateTask",         "CSetCareCameraDelayTask"};
    /// @param refused  the job of the sequence that the queue does not take, from 0 on
    const auto log = [&](int refused) {
        std::string text;
        for (int job = 0; job < 6; ++job) {
            if (job == 0) text += "3 QARCommon CHistoryStateMgr::OnTimer n_tick = 5\n";
            if (job == 2) text += "3 QARCommon CHistoryStateMgr::OnTimer n_tick = 20\n";
            if (job == 4) text += "3 QARCommon CHistoryStateMgr::OnTimer n_tick = 25\n";
            if (job != refused) continue;
            const std::string& name = jobs[static_cast<std::size_t>(job)];
            text += "5 QARCommon " + name + "::PushTask more task  count = 2147483647\n5 QARCommon ";
            text += job % 2 == 0 ? "post " + name + " is fail\n" : "Post '" + name + "' is failed!\n";
        }
        return text;
    };
    const Outcome usual = {"", log(-1), {"subscribed qarcommon.s", kTimer, "pool with 6 tasks"}, {}, {}};
    const Outcome one_less = usual.Memory({"subscribed qarcommon.s", kTimer, "pool with 5 tasks"});
    std::vector<Fault> faults;
    for (int job = 0; job < 6; ++job) {
        const std::string n = " " + std::to_string(job + 1);
        faults.push_back({{"CMessageLoopDyThreadPool::GetWorkTaskCount" + n}, one_less.Log(log(job))});
        faults.push_back({{"CMessageLoopDyThreadPool::PostTask" + n}, one_less});
    }
    ExpectFaults(Start, tick, usual, faults);
}

// --- registration ----------------------------------------------------------------------------------------------------

const std::string kPluginLine = "3 QARCommon Plugin id [gap], table name [gap.history]\n";

class RegisterFaultsTest : public FaultTest {};

TEST_F(RegisterFaultsTest, EachFailingCallOfARegistrationThatReadsTwoRows) {
    const auto stage = [](FaultScene& scene) {
        scene.HasRows(
            {{kCamera, kBusi, "2024-03-07 08:00:00", kEast8, 1}, {kCamera, kBusi, "2024-03-07 09:00:00", kEast8, 2}});
    };
    const auto register_twice_if_need_be = [](FaultScene& scene) {
        const auto once = [&] { return scene.manager.Register(scene.Keep(), {kBusi}, kPlugin, kTable, "id"); };
        if (once()) return std::string("true");
        return "false, then " + Text(once());
    };
    const std::string first = "101/1 2024-03-07T08:00:00+08:00 1";
    const std::string second = "101/1 2024-03-07T09:00:00+08:00 2";
    const Outcome usual = {"true",
                           kPluginLine,
                           {first, second, "registered", "cares 101/1"},
                           {"0: 101/1 2024-03-07 08:00:00 28800 1", "0: 101/1 2024-03-07 09:00:00 28800 2"},
                           {}};
    const auto points = [&](const std::string& one, const std::string& two) {
        return usual.Memory({one, two, "registered", "cares 101/1"});
    };
    const std::string elsewhere = "2 QARCommon Camera not exits current node 0, plugin gap table name gap.history.\n";
    const Outcome first_alone = usual.Memory({first, "registered", "cares 101/1"});
    const Outcome second_alone = usual.Memory({second, "registered", "cares 101/1"});
    const std::string sql = "SELECT * FROM gap.history ORDER BY  business_type, camera_id, state_time";
    ExpectFaults(
        stage, register_twice_if_need_be, usual,
        {{{"IDBManagerPure::ExecuteQuery 1"},
          usual.Result("false, then false")
              .Log(kPluginLine + "5 QARCommon in CDBBaseSession::QueryDBInfoList execute is fail sql = " + sql +
                   "\n5 QARCommon Init DB History state info is fail plugin_id = gap\n" + kPluginLine +
                   "5 QARCommon exist register plugin_id = gap\n")
              .Memory({"registered"})},
         {{"CConnect::IsEnd 1"}, usual.Memory({"registered"})},
         {{"CConnect::IsEnd 2"}, first_alone},
         {{"CConnect::GetInt camera_id 1"}, second_alone.Log(kPluginLine + elsewhere)},
         {{"CConnect::GetInt camera_id 2"}, first_alone.Log(kPluginLine + elsewhere)},
         {{"CConnect::GetInt business_type 1"},
          usual.Memory({"101/0 2024-03-07T08:00:00+08:00 1", second, "registered", "cares 101/0", "cares 101/1"})},
         {{"CConnect::GetInt business_type 2"},
          usual.Memory({"101/0 2024-03-07T09:00:00+08:00 2", first, "registered", "cares 101/0", "cares 101/1"})},
         {{"CConnect::GetInt differ 1", "TimeUtil::TimeDifference2Str 28800 1"},
          points("101/1 2024-03-07T08:00:00+00:00 1", second)},
         {{"CConnect::GetInt differ 2", "TimeUtil::TimeDifference2Str 28800 2"},
          points(first, "101/1 2024-03-07T09:00:00+00:00 2")},
         {{"CConnect::GetString state_time 1"}, points("101/1 0000-00-00T00:00:00+00:00 1", second)},
         {{"CConnect::GetString state_time 2"}, points("101/1 0000-00-00T00:00:00+00:00 2", first)},
         {{"CConnect::GetInt camera_state 1"}, points("101/1 2024-03-07T08:00:00+08:00 0", second)},
         {{"CConnect::GetInt camera_state 2"}, points(first, "101/1 2024-03-07T09:00:00+08:00 0")},
         // a row that is read twice is one point; the last look finds the end anyway
         {{"CConnect::MoveNext 1", "CConnect::MoveNext 2", "CConnect::IsEnd 3"}, usual}});
}

// Asked for once in a process: what is not had then is not had later either.
TEST(CamerasOfThisNodeFaultsTest, NodeWhoseCamerasAreNotToBeHadReadsNoRows) {
    FaultScene scene;
    scene.HasRows({{kCamera, kBusi, "2024-03-07 08:00:00", kEast8, 1}});
    scene.Begin();
    scene.platform.calls.Fail("Resources::GetCurrentNodeAllElementsByType", 1);
    const std::string log =
        kPluginLine + "3 QARCommon Current node don't need load history data, plugin gap table name gap.history.\n";
    const auto expect_no_rows = [&](const Lines& calls) {
        EXPECT_TRUE(scene.manager.Register(scene.Keep(), {kBusi}, kPlugin, kTable, "id"));
        EXPECT_EQ(scene.platform.log.Text(), log);
        EXPECT_THAT(scene.Memory(), ElementsAre("registered"));
        EXPECT_EQ(scene.platform.calls.Made(), calls);
    };
    expect_no_rows({"Resources::GetCurrentNodeAllElementsByType 1"});
    scene.manager.UnRegister(kPlugin);
    scene.Begin();
    expect_no_rows({});
}

}  // namespace
}  // namespace qar::history_test
