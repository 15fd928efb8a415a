#pragma once

#include <list>
#include <memory>
#include <string>

#include "qar/DeviceRecords.h"
#include "qar/Export.h"

namespace tuk {
class CChannel;
class CDevice;
class CFeature;
}  // namespace tuk

namespace qar {

/// The platform's devices and channels, as fresh copies or as the live objects.
/// Channel type 1001 is a camera, device type 2001 a camera's device. The order of ids and types differs between
/// operations and is part of the contract. Ids are unique within a type.
/// Records passed in are never reset: what a look-up does not fill stays as it was. Lists are appended to, never
/// cleared. Threads: any; nothing blocks on a device. Ownership: records handed out belong to the caller; live objects
/// belong to the platform and should not be kept.
class QARCOMMON_API IDeviceManagerAPI {
public:
    virtual ~IDeviceManagerAPI();

    /// Appends all devices of a type. @return true
    virtual bool GetAllDevices(std::list<std::shared_ptr<SDeviceBaseInfo>>& devices, int n_device_type) = 0;
    /// The record's port is the device's own; the other look-ups give its alternate port. @return true if found
    virtual bool GetDeviceInfoByGuid(SDeviceBaseInfo& device, const std::string& str_guid) = 0;
    /// @return true if found
    virtual bool GetDeviceInfoByID(SDeviceBaseInfo& device, int n_device_id, int n_device_type) = 0;
    /// @return true if found, also for a device without the video feature
    virtual bool GetDeviceDetailInfo(SDeviceDetailInfo& device, int n_device_id, int n_device_type) = 0;
    /// Appends a device's channels of a type. @return true if the device is found, also when it has none of that type
    virtual bool GetDeviceChannels(std::list<std::shared_ptr<SChannelBaseInfo>>& channels, int n_device_id,
                                   int n_device_type, int n_channel_type) = 0;
    /// @return true if found, also for a channel whose device is gone: its device id and type stay as they were
    virtual bool GetChannelInfo(SChannelBaseInfo& channel, int n_channel_id, int n_channel_type) = 0;
    /// @return channel id; 0xFFFFFFFF if the device or channel is unknown
    virtual unsigned int GetChannelIDByNo(int n_channel_no, int n_channel_type, int n_device_id, int n_device_type) = 0;
    /// @return channel id of a camera; 0xFFFFFFFF if the device or channel is unknown
    virtual unsigned int GetCameraIDByNo(int n_channel_no, int n_device_id, int n_device_type) = 0;
    /// @return number of the channel on its device; 0xFFFFFFFF if the device or channel is unknown
    virtual unsigned int GetChannelNoByID(int n_device_id, int n_channel_id, int n_channel_type, int n_device_type) = 0;
    /// @return the live device; empty if unknown
    virtual std::shared_ptr<tuk::CDevice> GetDevicePtr(int n_device_id, int n_device_type) = 0;
    /// @return the live channel; empty if unknown
    virtual std::shared_ptr<tuk::CChannel> GetChannelPtr(int n_channel_id, int n_channel_type) = 0;
    /// @param n_feature_kind  2 is the video feature
    /// @return the feature; empty if the device is unknown or has none
    virtual std::shared_ptr<tuk::CFeature> GetDeviceFeature(int n_feature_kind, int n_device_id, int n_device_type) = 0;
};

}  // namespace qar
