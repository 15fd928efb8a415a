#include "tuk/DeviceManager.h"

#include "standalone/device/DeviceTable.h"

namespace {

using qarplatform::DeviceTable;

class DeviceManager final : public tuk::CDeviceManager {
public:
    void GetAllDevices(std::vector<std::shared_ptr<tuk::CDevice>>& devices, int type) override {
        for (const auto& [id, device] : DeviceTable::Current().Devices()) {
            if (device->GetType() == type) {
                devices.push_back(device);
            }
        }
    }
    std::shared_ptr<tuk::CDevice> FindDeviceByID(int id, int type) override {
        return DeviceTable::Current().FindDevice(id, type);
    }
    std::shared_ptr<tuk::CDevice> FindDeviceByGuid(const std::string& guid) override {
        return DeviceTable::Current().FindDevice(guid);
    }
    std::shared_ptr<tuk::CChannel> FindChannelByID(int id, int type) override {
        return DeviceTable::Current().FindChannel(id, type);
    }
};

}  // namespace

namespace Mox {
namespace Base {

template <>
tuk::CDeviceManager* CSingleton<tuk::CDeviceManager>::Instance() {
    static DeviceManager& manager = *new DeviceManager;
    return &manager;
}

}  // namespace Base
}  // namespace Mox
