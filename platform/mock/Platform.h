#pragma once

#include <gmock/gmock.h>

#include "mock/BusMocks.h"
#include "mock/FakePool.h"
#include "mock/FakeSite.h"
#include "mock/LogRecorder.h"
#include "mock/MemoryCalls.h"
#include "mock/Mocks.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

/// The platform of one test. Made in a fixture it stands in for all of the platform until it goes:
///
///     class MyTest : public ::testing::Test {
///     protected:
///         qarmock::Platform platform;
///     };
///
///     TEST_F(MyTest, CameraThatComesOnlineIsHandled) {
///         platform.site.AddCamera(101, 1);
///         platform.time_zone.fake.SetClock(1, "2024-03-01 08:00:00", 28800);
///         ...
///         platform.bus.fake.Deliver("TUK_DeviceAccess", 517, content);
///         platform.pools.RunAll();
///         EXPECT_THAT(platform.database.fake.Sqls(), ElementsAre(...));
///         EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(3, "QARCommon", "...")));
///     }
///
/// Nothing happens by itself: the test delivers messages, runs tasks and ticks timers, on its own thread. One at a time
/// in a process; one may follow another. Objects that live as long as the process (a library's singletons) keep what
/// they have learned of an earlier one, so such tests want a process for each case.
class Platform {
public:
    Platform();
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    /// @return the platform that stands now; without one the process ends with a message
    static Platform& Current();
    /// @return the platform that stands now, or null
    static Platform* Installed();

    PlatformCalls calls;
    LogRecorder log;
    MemoryCalls memory;
    FakePools pools;
    FakeSite site;
    ::testing::NiceMock<MockMsgBus> bus;
    ::testing::NiceMock<MockEventBus> events;
    ::testing::NiceMock<MockNotifyBus> notify;
    ::testing::NiceMock<MockFront> front;
    ::testing::NiceMock<MockResources> resources;
    ::testing::NiceMock<MockTimeZone> time_zone;
    ::testing::NiceMock<MockLocalConfig> local_config;
    ::testing::NiceMock<MockTimeUtil> time_util;
    ::testing::NiceMock<MockDeviceManager> devices;
    ::testing::NiceMock<MockThreadManager> timers;
    ::testing::NiceMock<MockDBManagerPure> database;
};

}  // namespace qarmock
