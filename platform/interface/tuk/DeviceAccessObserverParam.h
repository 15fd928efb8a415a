#pragma once

#include "ZELPlatform/BaseContent.h"

namespace tuk {

/// Observer message types of the topic "TUK_DeviceAccess".
enum DeviceAccessEvent {
    DeviceAccessEvent_DeviceOnline = 261,   ///< a guarded device came online; the resource is the device
    DeviceAccessEvent_DeviceGuardOn = 265,  ///< a device's guard went on; the resource is the device
    DeviceAccessEvent_ChannelOnline = 517,  ///< a channel came online; the resource is the channel
};

/// Parameter of the topic "TUK_DeviceAccess".
class CDeviceAccessObserverParam : public ZELPlatform::CObserverParam {
public:
    CDeviceAccessObserverParam() : n_id_(-1), n_resource_type_(-1) {}
    /// @return device id or channel id
    int GetVal_id() const { return n_id_; }
    /// @return 2001 for a device, 1001 for a channel
    int GetVal_resource_type() const { return n_resource_type_; }
    void SetVal_id(int id) { n_id_ = id; }
    void SetVal_resource_type(int type) { n_resource_type_ = type; }

private:
    int n_id_;
    int n_resource_type_;
};

}  // namespace tuk
