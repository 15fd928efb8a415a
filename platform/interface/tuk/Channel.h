#pragma once

#include <memory>
#include <string>

#include "tuk/Device.h"

namespace tuk {

/// A channel of a device. A view of the live object, held by std::shared_ptr. Threads: any; nothing blocks.
class CChannel {
public:
    virtual ~CChannel() {}

    /// @return id, unique within the type
    virtual int GetID() const = 0;
    /// @return channel type; 1001 is a camera
    virtual int GetType() const = 0;
    virtual std::string GetGuid() const = 0;
    /// @return the channel's number on its device
    virtual int GetNo() const = 0;
    virtual int GetDeviceID() const = 0;
    virtual std::string GetDeviceGuid() const = 0;
    virtual bool IsOnline() const = 0;
    /// @return the device; empty when it is gone
    virtual std::shared_ptr<IDevice> GetDevicePtr() const = 0;
};

/// A camera.
class CCamera : public CChannel {
public:
    /// @return the camera's number on the device's TRAPI interface
    virtual int GetTRAPICameraNo() const = 0;
    virtual unsigned char GetMultiStreamProto() const = 0;
};

}  // namespace tuk
