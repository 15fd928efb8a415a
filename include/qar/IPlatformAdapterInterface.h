#pragma once

#include <memory>

#include "qar/Export.h"

namespace qar {

class IDeviceManagerAPI;
class IDeviceTimeZoneAPI;
class IElementManagerAPI;
class ICapabilityManagerAPI;
class IMessageBusManagerAPI;
class IUserAuthorityAPI;
class ISystemAndLogAPI;
class IAccessRouteManagerAPI;
class IVehicleManagerAPI;
class IRedisCacheManager;
class IDistributeDBSyncAPI;
class IDistributeDBObserverAPI;
class IDistributedNodeAPI;
class IDistributedMemoryAPI;
class IDistributedHttpAPI;

/// The one door to the platform. Each getter hands out shared ownership of an object that is made once, with this
/// facade, and lives to the end of the process; two calls give the same object.
/// Threads: any; no getter blocks. A getter whose interface this version does not offer yet gives an empty pointer:
/// docs/plugin-guide.md lists them.
class QARCOMMON_API IPlatformAdapterInterface {
public:
    /// @return the one facade, never null. The first call in the process makes it and all its objects; a second caller
    ///         waits meanwhile. What a constructor throws leaves this call, and the next call tries again.
    static IPlatformAdapterInterface* Instance();

    // For facades that a plug-in makes itself, in its tests for example; the library exports them.
    IPlatformAdapterInterface() noexcept;
    IPlatformAdapterInterface(const IPlatformAdapterInterface& other) noexcept;
    IPlatformAdapterInterface& operator=(const IPlatformAdapterInterface& other) noexcept;
    virtual ~IPlatformAdapterInterface();

    virtual std::shared_ptr<IDeviceManagerAPI> GetDeviceManagerAPI() = 0;
    virtual std::shared_ptr<IDeviceTimeZoneAPI> GetDeviceTimeZoneAPI() = 0;
    virtual std::shared_ptr<IElementManagerAPI> GetElementManagerAPI() = 0;
    virtual std::shared_ptr<ICapabilityManagerAPI> GetCapabilityManagerAPI() = 0;
    virtual std::shared_ptr<IMessageBusManagerAPI> GetMessageBusManagerAPI() = 0;
    virtual std::shared_ptr<IUserAuthorityAPI> GetUserAuthorityAPI() = 0;
    virtual std::shared_ptr<ISystemAndLogAPI> GetSystemAndLogAPI() = 0;
    virtual std::shared_ptr<IAccessRouteManagerAPI> GetAccessRouteManagerAPI() = 0;
    virtual std::shared_ptr<IVehicleManagerAPI> GetVehicleManagerAPI() = 0;
    virtual std::shared_ptr<IRedisCacheManager> GetRedisCacheManager() = 0;
    virtual std::shared_ptr<IDistributeDBSyncAPI> GetDistributeDBSyncAPI() = 0;
    virtual std::shared_ptr<IDistributeDBObserverAPI> GetDistributeDBObserverAPI() = 0;
    virtual std::shared_ptr<IDistributedNodeAPI> GetDistributedNodeAPI() = 0;
    virtual std::shared_ptr<IDistributedMemoryAPI> GetDistributedMemoryAPI() = 0;
    virtual std::shared_ptr<IDistributedHttpAPI> GetDistributedHttpAPI() = 0;
};

}  // namespace qar
