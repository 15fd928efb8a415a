#pragma once

#include "standalone/device/LiveDevice.h"

namespace qarplatform {

/// Topic on which devices' events are sent.
inline constexpr const char* kDeviceAccessTopic = "TUK_DeviceAccess";

/// Tells that a device's guard went on.
void RaiseGuardOn(const LiveDevice& device);
/// Tells that a guarded device came online.
void RaiseDeviceOnline(const LiveDevice& device);
/// Tells that each camera of a device came online.
void RaiseCamerasOnline(const LiveDevice& device);

}  // namespace qarplatform
