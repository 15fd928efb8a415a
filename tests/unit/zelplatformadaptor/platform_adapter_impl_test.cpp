#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <thread>

#include "mock/Platform.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IMessageBusManagerAPI.h"
#include "zelplatformadaptor/DeviceManagerImpl.h"
#include "zelplatformadaptor/DeviceTimeZoneImpl.h"
#include "zelplatformadaptor/MessageBusManagerImpl.h"
#include "zelplatformadaptor/PlatformAdapterImpl.h"

namespace qar {
namespace {

class PlatformAdapterTest : public ::testing::Test {
protected:
    qarmock::Platform platform;
};

TEST_F(PlatformAdapterTest, FirstCallsOnTwoThreadsGiveOneFacadeWithOneSetOfObjects) {
    struct Seen {
        IPlatformAdapterInterface* facade = nullptr;
        std::shared_ptr<IDeviceManagerAPI> devices;
        std::shared_ptr<IDeviceTimeZoneAPI> time_zone;
        std::shared_ptr<IMessageBusManagerAPI> bus;
    };
    std::latch both(2);
    const auto look = [&](Seen& seen) {
        both.arrive_and_wait();
        seen.facade = IPlatformAdapterInterface::Instance();
        seen.devices = seen.facade->GetDeviceManagerAPI();
        seen.time_zone = seen.facade->GetDeviceTimeZoneAPI();
        seen.bus = seen.facade->GetMessageBusManagerAPI();
    };
    Seen first;
    Seen second;
    std::thread other([&] { look(second); });
    look(first);
    other.join();
    EXPECT_NE(first.facade, nullptr);
    EXPECT_EQ(first.facade, second.facade);
    EXPECT_EQ(first.devices, second.devices);
    EXPECT_EQ(first.time_zone, second.time_zone);
    EXPECT_EQ(first.bus, second.bus);
}

TEST_F(PlatformAdapterTest, GettersGiveTheSameObjectEachTime) {
    auto* facade = IPlatformAdapterInterface::Instance();
    EXPECT_NE(dynamic_cast<CDeviceManagerImpl*>(facade->GetDeviceManagerAPI().get()), nullptr);
    EXPECT_NE(dynamic_cast<CDeviceTimeZoneImpl*>(facade->GetDeviceTimeZoneAPI().get()), nullptr);
    EXPECT_NE(dynamic_cast<CMessageBusManagerImpl*>(facade->GetMessageBusManagerAPI().get()), nullptr);
    EXPECT_EQ(facade->GetDeviceManagerAPI(), facade->GetDeviceManagerAPI());
    EXPECT_EQ(facade->GetDeviceTimeZoneAPI(), facade->GetDeviceTimeZoneAPI());
    EXPECT_EQ(facade->GetMessageBusManagerAPI(), facade->GetMessageBusManagerAPI());
    EXPECT_EQ(IPlatformAdapterInterface::Instance(), facade);
}

TEST_F(PlatformAdapterTest, ObjectOutlivesTheFacadeThatMadeIt) {
    std::shared_ptr<IDeviceManagerAPI> devices;
    {
        CPlatformAdapterImpl facade;
        devices = facade.GetDeviceManagerAPI();
        EXPECT_EQ(devices.use_count(), 2);
    }
    EXPECT_EQ(devices.use_count(), 1);
    EXPECT_EQ(devices->GetDevicePtr(1, 2001), nullptr);
}

TEST_F(PlatformAdapterTest, GettersOfInterfacesNotOfferedYetAreEmpty) {
    auto* facade = IPlatformAdapterInterface::Instance();
    EXPECT_EQ(facade->GetElementManagerAPI(), nullptr);
    EXPECT_EQ(facade->GetCapabilityManagerAPI(), nullptr);
    EXPECT_EQ(facade->GetUserAuthorityAPI(), nullptr);
    EXPECT_EQ(facade->GetSystemAndLogAPI(), nullptr);
    EXPECT_EQ(facade->GetAccessRouteManagerAPI(), nullptr);
    EXPECT_EQ(facade->GetVehicleManagerAPI(), nullptr);
    EXPECT_EQ(facade->GetRedisCacheManager(), nullptr);
    EXPECT_EQ(facade->GetDistributeDBSyncAPI(), nullptr);
    EXPECT_EQ(facade->GetDistributeDBObserverAPI(), nullptr);
    EXPECT_EQ(facade->GetDistributedNodeAPI(), nullptr);
    EXPECT_EQ(facade->GetDistributedMemoryAPI(), nullptr);
    EXPECT_EQ(facade->GetDistributedHttpAPI(), nullptr);
}

TEST_F(PlatformAdapterTest, FirstCallNeitherLogsNorAsksThePlatform) {
    EXPECT_CALL(platform.bus, RegistObserver).Times(0);
    EXPECT_CALL(platform.devices, GetAllDevices).Times(0);
    EXPECT_CALL(platform.timers, NewTimer).Times(0);
    const CPlatformAdapterImpl facade;
    EXPECT_THAT(platform.log.Lines(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace qar
