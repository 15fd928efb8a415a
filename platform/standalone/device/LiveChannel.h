#pragma once

#include <memory>
#include <string>
#include <utility>

#include "standalone/device/LiveDevice.h"
#include "standalone/site/SiteRecords.h"
#include "tuk/Channel.h"

namespace qarplatform {

/// Channel type of a camera.
constexpr int kCameraType = 1001;

/// A channel of the site. @tparam Base  tuk::CChannel, or tuk::CCamera for a camera
template <class Base>
class LiveChannelOf : public Base {
public:
    LiveChannelOf(const ChannelRecord& record, std::weak_ptr<LiveDevice> device)
        : record_(record), device_(std::move(device)) {}

    int GetID() const override { return record_.id; }
    int GetType() const override { return record_.type; }
    std::string GetGuid() const override { return record_.guid; }
    int GetNo() const override { return record_.no; }
    int GetDeviceID() const override { return record_.device; }
    std::string GetDeviceGuid() const override {
        const std::shared_ptr<LiveDevice> device = device_.lock();
        return device ? device->GetGuid() : "";
    }
    bool IsOnline() const override {
        const std::shared_ptr<LiveDevice> device = device_.lock();
        return device && device->IsOnline();
    }
    std::shared_ptr<tuk::IDevice> GetDevicePtr() const override { return device_.lock(); }

protected:
    const ChannelRecord record_;

private:
    const std::weak_ptr<LiveDevice> device_;  // the device owns its channels
};

using LiveChannel = LiveChannelOf<tuk::CChannel>;

class LiveCamera final : public LiveChannelOf<tuk::CCamera> {
public:
    using LiveChannelOf::LiveChannelOf;

    int GetTRAPICameraNo() const override { return record_.no; }
    unsigned char GetMultiStreamProto() const override { return 0; }
};

}  // namespace qarplatform
