#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "standalone/device/LiveDevice.h"
#include "standalone/device/LiveElement.h"
#include "standalone/site/SiteRecords.h"

namespace qarplatform {

/// All devices, channels and elements of the site. What is in it does not change, so it is read without a lock.
class DeviceTable {
public:
    explicit DeviceTable(const Site& site);
    DeviceTable(const DeviceTable&) = delete;
    DeviceTable& operator=(const DeviceTable&) = delete;

    /// @return the table of the loaded site; an empty one before. It lives as long as the process.
    static const DeviceTable& Current();
    /// Makes a table the current one.
    static void Publish(std::unique_ptr<const DeviceTable> table);

    /// In order of ids.
    const std::map<int, std::shared_ptr<LiveDevice>>& Devices() const { return devices_; }
    /// In order of ids.
    const std::map<int, std::shared_ptr<LiveElement>>& Elements() const { return elements_; }

    /// @return empty when unknown
    std::shared_ptr<LiveDevice> FindDevice(int id) const;
    std::shared_ptr<LiveDevice> FindDevice(int id, int type) const;
    std::shared_ptr<LiveDevice> FindDevice(const std::string& guid) const;
    std::shared_ptr<tuk::CChannel> FindChannel(int id, int type) const;

private:
    void AddDevices(const Site& site);
    void AddChannels(const Site& site);
    void AddElements(const Site& site);

    std::map<int, std::shared_ptr<LiveDevice>> devices_;
    std::unordered_map<std::string, std::shared_ptr<LiveDevice>> devices_by_guid_;
    std::unordered_map<int, std::shared_ptr<tuk::CChannel>> channels_;
    std::map<int, std::shared_ptr<LiveElement>> elements_;
};

}  // namespace qarplatform
