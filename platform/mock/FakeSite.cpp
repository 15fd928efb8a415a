#include "mock/FakeSite.h"

#include "Mox/Base/GuidUtil.h"

namespace qarmock {

std::shared_ptr<FakeDevice> FakeSite::AddDevice(int id) {
    if (auto present = Device(id)) return present;
    auto device = std::make_shared<FakeDevice>();
    device->id = id;
    device->guid = Mox::Base::GuidUtil::CreateGuid();
    Add(device);
    return device;
}

FakeCameraSet FakeSite::AddCamera(int camera_id, int device_id) {
    FakeCameraSet set;
    set.device = AddDevice(device_id);

    set.camera = std::make_shared<FakeCamera>();
    set.camera->id = camera_id;
    set.camera->guid = Mox::Base::GuidUtil::CreateGuid();
    set.camera->device_id = device_id;
    set.camera->device_guid = set.device->guid;
    set.camera->device = set.device;
    set.device->channels.push_back(set.camera);
    set.camera->no = static_cast<int>(set.device->channels.size());
    set.camera->trapi_camera_no = set.camera->no;
    Add(set.camera);

    set.element = std::make_shared<FakeElement>();
    set.element->id = static_cast<unsigned int>(camera_id) + 10000;
    set.element->guid = Mox::Base::GuidUtil::CreateGuid();
    set.element->name = "camera " + std::to_string(camera_id);
    set.element->physical_id = static_cast<unsigned int>(camera_id);
    set.element->device_id = static_cast<unsigned int>(device_id);
    Add(set.element);
    return set;
}

void FakeSite::Add(const std::shared_ptr<FakeDevice>& device) {
    std::lock_guard<std::mutex> lock(mutex_);
    devices_.push_back(device);
}

void FakeSite::Add(const std::shared_ptr<tuk::CChannel>& channel) {
    std::lock_guard<std::mutex> lock(mutex_);
    channels_.push_back(channel);
}

void FakeSite::Add(const std::shared_ptr<FakeElement>& element) {
    std::lock_guard<std::mutex> lock(mutex_);
    elements_.push_back(element);
}

void FakeSite::RemoveDevice(int id) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& device : devices_) {
        if (device->id != id) continue;
        for (const auto& channel : device->channels) {
            if (auto* camera = dynamic_cast<FakeCamera*>(channel.get())) camera->device.reset();
            if (auto* other = dynamic_cast<FakeChannel*>(channel.get())) other->device.reset();
        }
    }
    std::erase_if(devices_, [id](const auto& device) { return device->id == id; });
}

void FakeSite::RemoveCamera(int camera_id) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(channels_, [camera_id](const auto& channel) {
        return channel->GetID() == camera_id && channel->GetType() == kCameraType;
    });
    std::erase_if(elements_, [camera_id](const auto& element) {
        return element->physical_id == static_cast<unsigned int>(camera_id) && element->type == kCameraType;
    });
}

std::shared_ptr<FakeDevice> FakeSite::Device(int id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& device : devices_) {
        if (device->id == id) return device;
    }
    return nullptr;
}

std::shared_ptr<FakeCamera> FakeSite::Camera(int id) const {
    return std::dynamic_pointer_cast<FakeCamera>(FindChannelByID(id, kCameraType));
}

void FakeSite::GetAllDevices(std::vector<std::shared_ptr<tuk::CDevice>>& devices, int type) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& device : devices_) {
        if (device->type == type) devices.push_back(device);
    }
}

std::shared_ptr<tuk::CDevice> FakeSite::FindDeviceByID(int id, int type) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& device : devices_) {
        if (device->id == id && device->type == type) return device;
    }
    return nullptr;
}

std::shared_ptr<tuk::CDevice> FakeSite::FindDeviceByGuid(const std::string& guid) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& device : devices_) {
        if (device->guid == guid) return device;
    }
    return nullptr;
}

std::shared_ptr<tuk::CChannel> FakeSite::FindChannelByID(int id, int type) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& channel : channels_) {
        if (channel->GetID() == id && channel->GetType() == type) return channel;
    }
    return nullptr;
}

void FakeSite::GetCurrentNodeAllElementsByType(
    std::map<unsigned int, std::shared_ptr<ZELPlatform::Resources::CElementInterface>>& result, int type) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& element : elements_) {
        if (element->type == type) result.emplace(element->id, element);
    }
}

}  // namespace qarmock
