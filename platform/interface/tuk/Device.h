#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tuk {

class CChannel;
class CFeature;

/// A device as the device-access module knows it. A view of the live object, held by std::shared_ptr. None of the
/// operations asks the device itself, so none blocks. Threads: any. The order of the operations is part of the
/// contract.
class IDevice {
public:
    virtual ~IDevice() {}

    /// @param kind  a FeatureKind @return the feature; empty when the device has none of the kind
    virtual std::shared_ptr<CFeature> GetFeature(int kind) const = 0;
    virtual int GetLoginMode() const = 0;
    /// @return device type; 2001 is a camera's device
    virtual int GetType() const = 0;
    virtual std::string GetTextC() const = 0;
    virtual unsigned short GetPort() const = 0;
    virtual std::string GetTextD() const = 0;
    virtual std::string GetTextE() const = 0;
    virtual std::string GetGuid() const = 0;
    /// @return id, unique within the type
    virtual int GetID() const = 0;
    virtual std::string GetTextB() const = 0;
    virtual std::string GetTextA() const = 0;
    virtual unsigned short GetAlternatePort() const = 0;
    /// @return whether the device answered when it was last asked
    virtual bool IsOnline() const = 0;
    /// @return whether the device is set to guard
    virtual bool GetGuardStatus() const = 0;
    virtual int GetSubCategory() const = 0;
    /// Appends the channels of a type, none of them empty.
    virtual void GetChannels(std::vector<std::shared_ptr<CChannel>>& channels, int type) const = 0;
    /// @return the channel; empty when the device has none such
    virtual std::shared_ptr<CChannel> FindChannelByID(int id, int type) const = 0;
    /// @return the channel; empty when the device has none such
    virtual std::shared_ptr<CChannel> FindChannelByNo(int no, int type) const = 0;
    virtual std::string GetFirmwareVersion() const = 0;
    virtual long long GetTimeValue() const = 0;
    virtual std::string GetOnlineIdentificationGUID() const = 0;
};

/// A device with what only the device-access module's own class tells.
class CDevice : public IDevice {
public:
    virtual std::string GetStreamKey() const = 0;
};

}  // namespace tuk
