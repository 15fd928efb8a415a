#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "mock/FakeDevices.h"
#include "tuk/DeviceManager.h"

namespace qarmock {

/// What AddCamera makes.
struct FakeCameraSet {
    std::shared_ptr<FakeDevice> device;
    std::shared_ptr<FakeCamera> camera;
    std::shared_ptr<FakeElement> element;
};

/// The devices, channels and elements of the node, behind the device manager and the resources. Threads: any.
class FakeSite {
public:
    /// Adds a device of type 2001, online and guarded, unless there is one of this id.
    std::shared_ptr<FakeDevice> AddDevice(int id);
    /// Adds a camera with its element (id of the element: camera id + 10000), on a device that is made when absent. All
    /// are online, the device is guarded.
    FakeCameraSet AddCamera(int camera_id, int device_id);

    // Objects of the test's own making. A channel is put on its device by the test (FakeDevice::channels).
    void Add(const std::shared_ptr<FakeDevice>& device);
    void Add(const std::shared_ptr<tuk::CChannel>& channel);
    void Add(const std::shared_ptr<FakeElement>& element);

    void RemoveDevice(int id);         ///< the device alone; its channels are left without a device
    void RemoveCamera(int camera_id);  ///< channel and element

    /// @return the device; empty when there is none
    std::shared_ptr<FakeDevice> Device(int id) const;
    std::shared_ptr<FakeCamera> Camera(int id) const;

    void GetAllDevices(std::vector<std::shared_ptr<tuk::CDevice>>& devices, int type) const;
    std::shared_ptr<tuk::CDevice> FindDeviceByID(int id, int type) const;
    std::shared_ptr<tuk::CDevice> FindDeviceByGuid(const std::string& guid) const;
    std::shared_ptr<tuk::CChannel> FindChannelByID(int id, int type) const;
    void GetCurrentNodeAllElementsByType(
        std::map<unsigned int, std::shared_ptr<ZELPlatform::Resources::CElementInterface>>& result, int type) const;

private:
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<FakeDevice>> devices_;
    std::vector<std::shared_ptr<tuk::CChannel>> channels_;
    std::vector<std::shared_ptr<FakeElement>> elements_;
};

}  // namespace qarmock
