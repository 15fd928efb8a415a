// A plug-in's own facade, for its tests for example: what the compiler would write for a class is the library's here.
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "qar/IDeviceManagerAPI.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"

namespace qar {
namespace {

class OwnFacade : public IPlatformAdapterInterface {
public:
    explicit OwnFacade(int number) : number_(number) {}

    int Number() const { return number_; }

    std::shared_ptr<IDeviceManagerAPI> GetDeviceManagerAPI() override { return nullptr; }
    std::shared_ptr<IDeviceTimeZoneAPI> GetDeviceTimeZoneAPI() override { return nullptr; }
    std::shared_ptr<IElementManagerAPI> GetElementManagerAPI() override { return nullptr; }
    std::shared_ptr<ICapabilityManagerAPI> GetCapabilityManagerAPI() override { return nullptr; }
    std::shared_ptr<IMessageBusManagerAPI> GetMessageBusManagerAPI() override { return nullptr; }
    std::shared_ptr<IUserAuthorityAPI> GetUserAuthorityAPI() override { return nullptr; }
    std::shared_ptr<ISystemAndLogAPI> GetSystemAndLogAPI() override { return nullptr; }
    std::shared_ptr<IAccessRouteManagerAPI> GetAccessRouteManagerAPI() override { return nullptr; }
    std::shared_ptr<IVehicleManagerAPI> GetVehicleManagerAPI() override { return nullptr; }
    std::shared_ptr<IRedisCacheManager> GetRedisCacheManager() override { return nullptr; }
    std::shared_ptr<IDistributeDBSyncAPI> GetDistributeDBSyncAPI() override { return nullptr; }
    std::shared_ptr<IDistributeDBObserverAPI> GetDistributeDBObserverAPI() override { return nullptr; }
    std::shared_ptr<IDistributedNodeAPI> GetDistributedNodeAPI() override { return nullptr; }
    std::shared_ptr<IDistributedMemoryAPI> GetDistributedMemoryAPI() override { return nullptr; }
    std::shared_ptr<IDistributedHttpAPI> GetDistributedHttpAPI() override { return nullptr; }

private:
    int number_;
};

// Were one of the three not exported, this would not link.
TEST(FacadeLinkTest, FacadeOfAPluginIsMadeCopiedAndAssigned) {
    OwnFacade first(1);
    OwnFacade copy(first);
    OwnFacade other(2);
    other = first;
    IPlatformAdapterInterface& facade = copy;
    EXPECT_EQ(copy.Number(), 1);
    EXPECT_EQ(other.Number(), 1);
    EXPECT_EQ(facade.GetDeviceManagerAPI(), nullptr);
}

static_assert(std::is_nothrow_copy_constructible<OwnFacade>::value, "as the compiler's own would be");
static_assert(std::is_nothrow_copy_assignable<OwnFacade>::value, "as the compiler's own would be");

}  // namespace
}  // namespace qar
