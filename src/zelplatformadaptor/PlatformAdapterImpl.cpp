#include "zelplatformadaptor/PlatformAdapterImpl.h"

#include "zelplatformadaptor/DeviceManagerImpl.h"
#include "zelplatformadaptor/DeviceTimeZoneImpl.h"
#include "zelplatformadaptor/MessageBusManagerImpl.h"

namespace qar {

IPlatformAdapterInterface::IPlatformAdapterInterface() noexcept = default;
IPlatformAdapterInterface::IPlatformAdapterInterface(const IPlatformAdapterInterface& other) noexcept = default;
IPlatformAdapterInterface& IPlatformAdapterInterface::operator=(const IPlatformAdapterInterface& other) noexcept =
    default;
IPlatformAdapterInterface::~IPlatformAdapterInterface() = default;

IPlatformAdapterInterface* IPlatformAdapterInterface::Instance() {
    static CPlatformAdapterImpl instance;
    return &instance;
}

CPlatformAdapterImpl::CPlatformAdapterImpl()
    : ptr_device_manager(std::make_shared<CDeviceManagerImpl>()),
      ptr_device_time_zone(std::make_shared<CDeviceTimeZoneImpl>()),
      ptr_message_bus_manager(std::make_shared<CMessageBusManagerImpl>()) {}

std::shared_ptr<IDeviceManagerAPI> CPlatformAdapterImpl::GetDeviceManagerAPI() { return ptr_device_manager; }
std::shared_ptr<IDeviceTimeZoneAPI> CPlatformAdapterImpl::GetDeviceTimeZoneAPI() { return ptr_device_time_zone; }
std::shared_ptr<IElementManagerAPI> CPlatformAdapterImpl::GetElementManagerAPI() { return ptr_element_manager; }
std::shared_ptr<ICapabilityManagerAPI> CPlatformAdapterImpl::GetCapabilityManagerAPI() {
    return ptr_capability_manager;
}
std::shared_ptr<IMessageBusManagerAPI> CPlatformAdapterImpl::GetMessageBusManagerAPI() {
    return ptr_message_bus_manager;
}
std::shared_ptr<IUserAuthorityAPI> CPlatformAdapterImpl::GetUserAuthorityAPI() { return ptr_user_authority; }
std::shared_ptr<ISystemAndLogAPI> CPlatformAdapterImpl::GetSystemAndLogAPI() { return ptr_system_and_log; }
std::shared_ptr<IAccessRouteManagerAPI> CPlatformAdapterImpl::GetAccessRouteManagerAPI() {
    return ptr_access_route_manager;
}
std::shared_ptr<IVehicleManagerAPI> CPlatformAdapterImpl::GetVehicleManagerAPI() { return ptr_vehicle_manager; }
std::shared_ptr<IRedisCacheManager> CPlatformAdapterImpl::GetRedisCacheManager() { return ptr_redis_cache_manager; }
std::shared_ptr<IDistributeDBSyncAPI> CPlatformAdapterImpl::GetDistributeDBSyncAPI() { return ptr_distribute_db_sync; }
std::shared_ptr<IDistributeDBObserverAPI> CPlatformAdapterImpl::GetDistributeDBObserverAPI() {
    return ptr_distribute_db_observer;
}
std::shared_ptr<IDistributedNodeAPI> CPlatformAdapterImpl::GetDistributedNodeAPI() { return ptr_distributed_node; }
std::shared_ptr<IDistributedMemoryAPI> CPlatformAdapterImpl::GetDistributedMemoryAPI() {
    return ptr_distributed_memory;
}
std::shared_ptr<IDistributedHttpAPI> CPlatformAdapterImpl::GetDistributedHttpAPI() { return ptr_distributed_http; }

}  // namespace qar
