// Start and stop of the state history.

#include "device_event_fixture.h"

namespace qar::history_test {
namespace {

using ::testing::_;
using ::testing::DoDefault;
using ::testing::Return;

using StateHistoryStartTest = DeviceEventTest;

// --- start and stop --------------------------------------------------------------------------------------------------

TEST_F(StateHistoryStartTest, InitStartsPoolTimerAndSubscriptionOnce) {
    EXPECT_TRUE(manager.Init());
    EXPECT_TRUE(manager.Init());
    ASSERT_EQ(Pool()->Starts().size(), 1u);
    EXPECT_EQ(Pool()->Starts()[0].min_threads, 3);
    EXPECT_EQ(Pool()->Starts()[0].max_threads, 7);
    EXPECT_EQ(Pool()->Starts()[0].idle_seconds, 5);
    ASSERT_EQ(platform.timers.fake.Started().size(), 1u);
    EXPECT_EQ(platform.timers.fake.Started()[0].name, kTimer);
    EXPECT_EQ(platform.timers.fake.Started()[0].interval_ms, 60000u);
    EXPECT_EQ(platform.timers.fake.Started()[0].reserved, 0);
    const auto subscriptions = platform.bus.fake.Subscriptions();
    ASSERT_EQ(subscriptions.size(), 1u);
    EXPECT_EQ(subscriptions[0].plugin, "qarcommon.s");
    EXPECT_EQ(subscriptions[0].observer, kTopic);
    EXPECT_FALSE(subscriptions[0].all_types);
    EXPECT_EQ(subscriptions[0].types, (std::set<int>{261, 265, 517}));
    EXPECT_EQ(OwnLog(), "");
}

TEST_F(StateHistoryStartTest, InitWhosePoolDoesNotStartIsRetriedByTheNext) {
    platform.pools.SetStartFails(true);
    EXPECT_FALSE(manager.Init());
    EXPECT_EQ(OwnLog(), "5 QARCommon CHistoryStateMgr::Init CMessageLoopForHistoryState start is fail\n");
    EXPECT_THAT(platform.timers.fake.Started(), IsEmpty());
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    platform.pools.SetStartFails(false);
    EXPECT_TRUE(manager.Init());
    EXPECT_EQ(Pool()->Starts().size(), 2u);
    EXPECT_EQ(platform.bus.fake.Subscriptions().size(), 1u);
}

TEST_F(StateHistoryStartTest, InitWhoseTimerFailsLeavesThePoolStartedAndIsRetriedByTheNext) {
    EXPECT_CALL(platform.timers, NewTimer(kTimer, 60000u, _, 0)).WillOnce(Return(false)).WillOnce(DoDefault());
    EXPECT_FALSE(manager.Init());
    EXPECT_EQ(OwnLog(), "5 QARCommon CHistoryStateMgr::Init new timer is fail\n");
    EXPECT_TRUE(Pool()->Running());
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    EXPECT_TRUE(manager.Init());
    EXPECT_EQ(Pool()->Starts().size(), 2u);
    EXPECT_THAT(platform.timers.fake.Running(), ElementsAre(kTimer));
}

TEST_F(StateHistoryStartTest, InitWhoseSubscriptionIsRefusedIsRetriedByTheNext) {
    EXPECT_CALL(platform.bus, SubscribeObserverEx("qarcommon.s", kTopic, std::set<int>{261, 265, 517}, _, _))
        .WillOnce(Return(false))
        .WillOnce(DoDefault());
    EXPECT_FALSE(manager.Init());
    EXPECT_EQ(OwnLog(), "5 QARCommon CHistoryStateMgr::Init SubscribeChangeMsg is fail\n");
    EXPECT_TRUE(manager.Init());
    EXPECT_EQ(Pool()->Starts().size(), 2u);
    EXPECT_EQ(platform.timers.fake.Started().size(), 2u);
    EXPECT_THAT(platform.timers.fake.Running(), ElementsAre(kTimer));
    EXPECT_TRUE(manager.Init());
    EXPECT_EQ(Pool()->Starts().size(), 2u);
}

TEST_F(StateHistoryStartTest, UninitEndsTheSubscriptionAloneAndALaterInitDoesNotRenewIt) {
    ASSERT_TRUE(manager.Init());
    Forget();
    EXPECT_CALL(platform.bus, UnSubscribeObserverEx("qarcommon.s", kTopic, std::set<int>{}));
    EXPECT_TRUE(manager.Uninit());
    EXPECT_EQ(OwnLog(), "");
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    EXPECT_TRUE(Pool()->Running());
    EXPECT_THAT(platform.timers.fake.Running(), ElementsAre(kTimer));
    EXPECT_TRUE(manager.Init());
    EXPECT_THAT(platform.bus.fake.Subscriptions(), IsEmpty());
    EXPECT_EQ(platform.bus.fake.Deliver(kTopic, 265, Event(265, 2001, kDevice)), 0u);
}

TEST_F(StateHistoryStartTest, LastUnregisterEndsTimerAndThenPoolAndNothingRestartsThem) {
    ASSERT_TRUE(manager.Init());
    Register("a");
    Register("b");
    manager.UnRegister("a");
    EXPECT_TRUE(Pool()->Running());
    EXPECT_THAT(platform.timers.fake.Deleted(), IsEmpty());
    ASSERT_TRUE(platform.timers.fake.Tick(kTimer));
    ASSERT_EQ(Pool()->Queued(), 1u);
    Forget();
    EXPECT_CALL(platform.timers, DelTimer(kTimer)).WillOnce([this](const std::string& name) {
        EXPECT_TRUE(Pool()->Running());  // the timer goes first
        platform.timers.fake.DelTimer(name);
    });
    manager.UnRegister("b");
    EXPECT_EQ(OwnLog(),
              "3 QARCommon CHistoryStateMgr::UnRegister plugin:[b]\n"
              "3 QARCommon all plugin unregist. Stop Thread.\n");
    EXPECT_FALSE(Pool()->Running());
    EXPECT_THAT(Pool()->Stops(), ElementsAre(false));
    EXPECT_EQ(Pool()->Queued(), 0u);

    EXPECT_TRUE(manager.Register(Keep(), {kBusi}, "c", kTable, "id"));
    EXPECT_TRUE(manager.Init());
    EXPECT_FALSE(Pool()->Running());
    EXPECT_THAT(platform.timers.fake.Running(), IsEmpty());
    EXPECT_EQ(Pool()->Starts().size(), 1u);
    EXPECT_TRUE(manager.SetCareCameraStateInfo("c", kBusi, {kCamera}));
}

TEST_F(StateHistoryStartTest, UnregisterOfAnUnknownPluginFollowsTheStopRuleToo) {
    manager.UnRegister("nobody");
    EXPECT_EQ(OwnLog(),
              "3 QARCommon CHistoryStateMgr::UnRegister plugin:[nobody]\n"
              "3 QARCommon all plugin unregist. Stop Thread.\n");
    EXPECT_THAT(platform.timers.fake.Deleted(), ElementsAre(kTimer));
}

// A sweep or an event can enter a plug-in in the state map again after it has gone; that keeps the jobs running.
TEST_F(StateHistoryStartTest, TimelinesLeftBehindKeepTimerAndPool) {
    Register();
    manager.UnRegister(kPlugin);
    ASSERT_TRUE(Peer::Add(manager, kPlugin, kBusi, kCamera, Point(kNow, 1)));
    Register("other");
    manager.UnRegister("other");
    EXPECT_EQ(OwnLog(),
              "3 QARCommon CHistoryStateMgr::UnRegister plugin:[other]\n"
              "3 QARCommon not all plugin unregist. thread still run.\n");
}

}  // namespace
}  // namespace qar::history_test
