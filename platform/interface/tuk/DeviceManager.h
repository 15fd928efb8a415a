#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Mox/Base/Singleton.h"
#include "tuk/Channel.h"
#include "tuk/Device.h"
#include "tuk/Feature.h"

namespace tuk {

/// The devices and channels of this node. Threads: any; nothing blocks on a device.
class CDeviceManager {
public:
    virtual ~CDeviceManager() {}

    /// Appends all devices of a type, none of them empty.
    virtual void GetAllDevices(std::vector<std::shared_ptr<CDevice>>& devices, int type) = 0;
    /// @return the device; empty when unknown
    virtual std::shared_ptr<CDevice> FindDeviceByID(int id, int type) = 0;
    /// @return the device; empty when unknown
    virtual std::shared_ptr<CDevice> FindDeviceByGuid(const std::string& guid) = 0;
    /// @return the channel; empty when unknown
    virtual std::shared_ptr<CChannel> FindChannelByID(int id, int type) = 0;
};

}  // namespace tuk

namespace Mox {
namespace Base {

/// Given by each platform.
template <>
tuk::CDeviceManager* CSingleton<tuk::CDeviceManager>::Instance();

}  // namespace Base
}  // namespace Mox
