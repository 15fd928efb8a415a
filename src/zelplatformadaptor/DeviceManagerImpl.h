#pragma once

#include <list>
#include <memory>
#include <string>

#include "qar/IDeviceManagerAPI.h"

namespace qar {

/// Copies what the platform's device-access module knows. Has no state.
class CDeviceManagerImpl final : public IDeviceManagerAPI {
public:
    bool GetAllDevices(std::list<std::shared_ptr<SDeviceBaseInfo>>& devices, int n_device_type) override;
    bool GetDeviceInfoByGuid(SDeviceBaseInfo& device, const std::string& str_guid) override;
    bool GetDeviceInfoByID(SDeviceBaseInfo& device, int n_device_id, int n_device_type) override;
    bool GetDeviceDetailInfo(SDeviceDetailInfo& device, int n_device_id, int n_device_type) override;
    bool GetDeviceChannels(std::list<std::shared_ptr<SChannelBaseInfo>>& channels, int n_device_id, int n_device_type,
                           int n_channel_type) override;
    bool GetChannelInfo(SChannelBaseInfo& channel, int n_channel_id, int n_channel_type) override;
    unsigned int GetChannelIDByNo(int n_channel_no, int n_channel_type, int n_device_id, int n_device_type) override;
    unsigned int GetCameraIDByNo(int n_channel_no, int n_device_id, int n_device_type) override;
    unsigned int GetChannelNoByID(int n_device_id, int n_channel_id, int n_channel_type, int n_device_type) override;
    std::shared_ptr<tuk::CDevice> GetDevicePtr(int n_device_id, int n_device_type) override;
    std::shared_ptr<tuk::CChannel> GetChannelPtr(int n_channel_id, int n_channel_type) override;
    std::shared_ptr<tuk::CFeature> GetDeviceFeature(int n_feature_kind, int n_device_id, int n_device_type) override;
};

}  // namespace qar
