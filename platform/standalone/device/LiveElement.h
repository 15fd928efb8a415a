#pragma once

#include <memory>
#include <string>
#include <utility>

#include "ZELPlatform/Resources.h"
#include "standalone/device/LiveDevice.h"
#include "standalone/site/SiteRecords.h"

namespace qarplatform {

/// An element of the site.
class LiveElement final : public ZELPlatform::Resources::CElementInterface {
public:
    /// @param type  of the element's channel
    LiveElement(const ElementRecord& record, int type, std::string area_name, std::shared_ptr<const LiveDevice> device)
        : record_(record), type_(type), area_name_(std::move(area_name)), device_(std::move(device)) {}

    unsigned int GetID() const override { return static_cast<unsigned int>(record_.id); }
    std::string GetGuid() const override { return record_.guid; }
    std::string GetName() const override { return record_.name; }
    unsigned int GetAreaID() const override { return static_cast<unsigned int>(record_.area); }
    std::string GetAreaName() const override { return area_name_; }
    int GetType() const override { return type_; }
    unsigned int GetPhysicalID() const override { return static_cast<unsigned int>(record_.channel); }
    unsigned int GetDeviceID() const override { return static_cast<unsigned int>(device_->GetID()); }
    bool IsOnline() const override { return device_->IsOnline(); }
    long long GetCreateTime() const override { return record_.create_time; }
    int GetDeviceType() const override { return device_->GetType(); }
    std::string GetOnlineIdentificationGUID() const override { return device_->GetOnlineIdentificationGUID(); }

private:
    const ElementRecord record_;
    const int type_;
    const std::string area_name_;
    const std::shared_ptr<const LiveDevice> device_;
};

}  // namespace qarplatform
