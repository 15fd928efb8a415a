#include "standalone/device/DeviceEvents.h"

#include <memory>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBus.h"
#include "standalone/device/LiveChannel.h"
#include "standalone/log/PlatformLog.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace qarplatform {

namespace {

void Raise(tuk::DeviceAccessEvent event, int resource_type, int id, int device_id) {
    auto param = std::make_shared<tuk::CDeviceAccessObserverParam>();
    param->SetObserverMsgType(event);
    param->SetVal_id(id);
    param->SetVal_resource_type(resource_type);
    param->SetText("{\"event\":" + std::to_string(event) + ",\"id\":" + std::to_string(id) +
                   ",\"device\":" + std::to_string(device_id) + "}");
    if (!ZELPlatform::MsgBus::NotifyObserverEventEx(kDeviceAccessTopic, event, param, ZELPlatform::kObserverTask0)) {
        LogSinkWrite(kLogError, kModulePlatform, "event %d of device %d, resource %d, is lost: the bus refused it",
                     static_cast<int>(event), device_id, id);
    }
}

}  // namespace

void RaiseGuardOn(const LiveDevice& device) {
    Raise(tuk::DeviceAccessEvent_DeviceGuardOn, device.GetType(), device.GetID(), device.GetID());
}

void RaiseDeviceOnline(const LiveDevice& device) {
    Raise(tuk::DeviceAccessEvent_DeviceOnline, device.GetType(), device.GetID(), device.GetID());
}

void RaiseCamerasOnline(const LiveDevice& device) {
    std::vector<std::shared_ptr<tuk::CChannel>> cameras;
    device.GetChannels(cameras, kCameraType);
    for (const std::shared_ptr<tuk::CChannel>& camera : cameras) {
        Raise(tuk::DeviceAccessEvent_ChannelOnline, camera->GetType(), camera->GetID(), device.GetID());
    }
}

}  // namespace qarplatform
