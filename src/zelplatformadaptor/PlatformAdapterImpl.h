#pragma once

#include <memory>

#include "qar/IPlatformAdapterInterface.h"

namespace qar {

/// Makes each API object once, in the order of the members, and hands out shared ownership of it.
class CPlatformAdapterImpl final : public IPlatformAdapterInterface {
public:
    CPlatformAdapterImpl();

    std::shared_ptr<IDeviceManagerAPI> GetDeviceManagerAPI() override;
    std::shared_ptr<IDeviceTimeZoneAPI> GetDeviceTimeZoneAPI() override;
    std::shared_ptr<IElementManagerAPI> GetElementManagerAPI() override;
    std::shared_ptr<ICapabilityManagerAPI> GetCapabilityManagerAPI() override;
    std::shared_ptr<IMessageBusManagerAPI> GetMessageBusManagerAPI() override;
    std::shared_ptr<IUserAuthorityAPI> GetUserAuthorityAPI() override;
    std::shared_ptr<ISystemAndLogAPI> GetSystemAndLogAPI() override;
    std::shared_ptr<IAccessRouteManagerAPI> GetAccessRouteManagerAPI() override;
    std::shared_ptr<IVehicleManagerAPI> GetVehicleManagerAPI() override;
    std::shared_ptr<IRedisCacheManager> GetRedisCacheManager() override;
    std::shared_ptr<IDistributeDBSyncAPI> GetDistributeDBSyncAPI() override;
    std::shared_ptr<IDistributeDBObserverAPI> GetDistributeDBObserverAPI() override;
    std::shared_ptr<IDistributedNodeAPI> GetDistributedNodeAPI() override;
    std::shared_ptr<IDistributedMemoryAPI> GetDistributedMemoryAPI() override;
    std::shared_ptr<IDistributedHttpAPI> GetDistributedHttpAPI() override;

private:
    // Written by the constructor only, so read without a lock. Those without an implementation yet stay empty.
    std::shared_ptr<IDeviceManagerAPI> ptr_device_manager;
    std::shared_ptr<IDeviceTimeZoneAPI> ptr_device_time_zone;
    std::shared_ptr<IElementManagerAPI> ptr_element_manager;
    std::shared_ptr<ICapabilityManagerAPI> ptr_capability_manager;
    std::shared_ptr<IMessageBusManagerAPI> ptr_message_bus_manager;
    std::shared_ptr<IUserAuthorityAPI> ptr_user_authority;
    std::shared_ptr<ISystemAndLogAPI> ptr_system_and_log;
    std::shared_ptr<IAccessRouteManagerAPI> ptr_access_route_manager;
    std::shared_ptr<IVehicleManagerAPI> ptr_vehicle_manager;
    std::shared_ptr<IRedisCacheManager> ptr_redis_cache_manager;
    std::shared_ptr<IDistributeDBSyncAPI> ptr_distribute_db_sync;
    std::shared_ptr<IDistributeDBObserverAPI> ptr_distribute_db_observer;
    std::shared_ptr<IDistributedNodeAPI> ptr_distributed_node;
    std::shared_ptr<IDistributedMemoryAPI> ptr_distributed_memory;
    std::shared_ptr<IDistributedHttpAPI> ptr_distributed_http;
};

}  // namespace qar
