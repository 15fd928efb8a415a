#include "standalone/device/LiveDevice.h"

#include <algorithm>
#include <utility>

namespace qarplatform {

LiveDevice::LiveDevice(const DeviceRecord& record, std::shared_ptr<const Zone> zone)
    : record_(record), zone_(std::move(zone)), guard_(record.guard) {
    ParseDeviceAddress(record_.probe, address_, address_error_);
}

std::shared_ptr<tuk::CFeature> LiveDevice::GetFeature(int /*kind*/) const { return nullptr; }

void LiveDevice::GetChannels(std::vector<std::shared_ptr<tuk::CChannel>>& channels, int type) const {
    std::copy_if(channels_.begin(), channels_.end(), std::back_inserter(channels),
                 [type](const auto& channel) { return channel->GetType() == type; });
}

std::shared_ptr<tuk::CChannel> LiveDevice::FindChannelByID(int id, int type) const {
    const auto found = std::find_if(channels_.begin(), channels_.end(), [id, type](const auto& channel) {
        return channel->GetID() == id && channel->GetType() == type;
    });
    return found == channels_.end() ? nullptr : *found;
}

std::shared_ptr<tuk::CChannel> LiveDevice::FindChannelByNo(int no, int type) const {
    const auto found = std::find_if(channels_.begin(), channels_.end(), [no, type](const auto& channel) {
        return channel->GetNo() == no && channel->GetType() == type;
    });
    return found == channels_.end() ? nullptr : *found;
}

}  // namespace qarplatform
