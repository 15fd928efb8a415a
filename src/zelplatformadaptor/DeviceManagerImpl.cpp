#include "zelplatformadaptor/DeviceManagerImpl.h"

#include <vector>

#include "tuk/DeviceManager.h"

namespace qar {

namespace {

constexpr int kChannelTypeCamera = 1001;
constexpr unsigned int kUnknown = 0xFFFFFFFF;

tuk::CDeviceManager& DeviceAccess() { return *Mox::Base::CSingleton<tuk::CDeviceManager>::Instance(); }

void FillDevice(SDeviceBaseInfo& record, const tuk::CDevice& device, int n_device_type, unsigned short port) {
    record.n_device_type = n_device_type;
    record.n_device_id = device.GetID();
    record.str_device_guid = device.GetGuid();
    record.str_device_text_a = device.GetTextA();
    record.str_device_text_b = device.GetTextB();
    record.str_device_text_c = device.GetTextC();
    record.n_device_port = port;
    record.b_device_flag = device.IsOnline();
    record.n_device_time = device.GetTimeValue();
    record.SetGuardStatus(device.GetGuardStatus());
    record.SetSubCategory(device.GetSubCategory());
    record.SetOnlineIdentificationGUID(device.GetOnlineIdentificationGUID());
}

void FillChannel(SChannelBaseInfo& record, const tuk::CChannel& channel, int n_channel_type) {
    record.n_channel_type = channel.GetType();
    record.n_channel_id = channel.GetID();
    record.str_channel_guid = channel.GetGuid();
    record.n_channel_no = channel.GetNo();
    record.n_trapi_camera_no = channel.GetNo();
    record.b_channel_flag = channel.IsOnline();
    if (n_channel_type != kChannelTypeCamera) return;
    if (const auto* camera = dynamic_cast<const tuk::CCamera*>(&channel)) {
        record.n_trapi_camera_no = camera->GetTRAPICameraNo();
    }
}

}  // namespace

IDeviceManagerAPI::~IDeviceManagerAPI() = default;

bool CDeviceManagerImpl::GetAllDevices(std::list<std::shared_ptr<SDeviceBaseInfo>>& devices, int n_device_type) {
    std::vector<std::shared_ptr<tuk::CDevice>> found;
    DeviceAccess().GetAllDevices(found, n_device_type);
    for (const auto& device : found) {
        if (device == nullptr) continue;
        auto record = std::make_shared<SDeviceBaseInfo>();
        FillDevice(*record, *device, n_device_type, device->GetAlternatePort());
        devices.push_back(std::move(record));
    }
    return true;
}

bool CDeviceManagerImpl::GetDeviceInfoByGuid(SDeviceBaseInfo& device, const std::string& str_guid) {
    const auto found = DeviceAccess().FindDeviceByGuid(str_guid);
    if (found == nullptr) return false;
    FillDevice(device, *found, found->GetType(), found->GetPort());
    return true;
}

bool CDeviceManagerImpl::GetDeviceInfoByID(SDeviceBaseInfo& device, int n_device_id, int n_device_type) {
    const auto found = GetDevicePtr(n_device_id, n_device_type);
    if (found == nullptr) return false;
    FillDevice(device, *found, found->GetType(), found->GetAlternatePort());
    return true;
}

bool CDeviceManagerImpl::GetDeviceDetailInfo(SDeviceDetailInfo& device, int n_device_id, int n_device_type) {
    const auto found = GetDevicePtr(n_device_id, n_device_type);
    if (found == nullptr) return false;
    FillDevice(device, *found, found->GetType(), found->GetAlternatePort());
    device.str_device_text_d = found->GetTextD();
    device.str_device_text_e = found->GetTextE();
    device.n_login_mode = found->GetLoginMode();
    device.str_firmware_version = found->GetFirmwareVersion();
    device.str_stream_key = found->GetStreamKey();
    const auto video = std::dynamic_pointer_cast<tuk::CVideoFeature>(found->GetFeature(tuk::kFeatureVideo));
    if (video != nullptr) video->GetUrlFormat(device.str_url_format);
    return true;
}

bool CDeviceManagerImpl::GetDeviceChannels(std::list<std::shared_ptr<SChannelBaseInfo>>& channels, int n_device_id,
                                           int n_device_type, int n_channel_type) {
    const auto device = GetDevicePtr(n_device_id, n_device_type);
    if (device == nullptr) return false;
    std::vector<std::shared_ptr<tuk::CChannel>> found;
    device->GetChannels(found, n_channel_type);
    for (const auto& channel : found) {
        auto record = std::make_shared<SChannelBaseInfo>();
        FillChannel(*record, *channel, n_channel_type);
        record->n_device_id = channel->GetDeviceID();
        record->n_device_type = device->GetType();
        channels.push_back(std::move(record));
    }
    return true;
}

bool CDeviceManagerImpl::GetChannelInfo(SChannelBaseInfo& channel, int n_channel_id, int n_channel_type) {
    const auto found = GetChannelPtr(n_channel_id, n_channel_type);
    if (found == nullptr) return false;
    FillChannel(channel, *found, n_channel_type);
    if (const auto device = found->GetDevicePtr()) {
        channel.n_device_id = found->GetDeviceID();
        channel.n_device_type = device->GetType();
    }
    return true;
}

unsigned int CDeviceManagerImpl::GetChannelIDByNo(int n_channel_no, int n_channel_type, int n_device_id,
                                                  int n_device_type) {
    const auto device = GetDevicePtr(n_device_id, n_device_type);
    if (device == nullptr) return kUnknown;
    const auto channel = device->FindChannelByNo(n_channel_no, n_channel_type);
    return channel != nullptr ? static_cast<unsigned int>(channel->GetID()) : kUnknown;
}

unsigned int CDeviceManagerImpl::GetCameraIDByNo(int n_channel_no, int n_device_id, int n_device_type) {
    return GetChannelIDByNo(n_channel_no, kChannelTypeCamera, n_device_id, n_device_type);
}

unsigned int CDeviceManagerImpl::GetChannelNoByID(int n_device_id, int n_channel_id, int n_channel_type,
                                                  int n_device_type) {
    const auto device = GetDevicePtr(n_device_id, n_device_type);
    if (device == nullptr) return kUnknown;
    const auto channel = device->FindChannelByID(n_channel_id, n_channel_type);
    return channel != nullptr ? static_cast<unsigned int>(channel->GetNo()) : kUnknown;
}

std::shared_ptr<tuk::CDevice> CDeviceManagerImpl::GetDevicePtr(int n_device_id, int n_device_type) {
    return DeviceAccess().FindDeviceByID(n_device_id, n_device_type);
}

std::shared_ptr<tuk::CChannel> CDeviceManagerImpl::GetChannelPtr(int n_channel_id, int n_channel_type) {
    return DeviceAccess().FindChannelByID(n_channel_id, n_channel_type);
}

std::shared_ptr<tuk::CFeature> CDeviceManagerImpl::GetDeviceFeature(int n_feature_kind, int n_device_id,
                                                                    int n_device_type) {
    const auto device = GetDevicePtr(n_device_id, n_device_type);
    return device != nullptr ? device->GetFeature(n_feature_kind) : nullptr;
}

}  // namespace qar
