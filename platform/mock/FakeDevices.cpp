#include "mock/FakeDevices.h"

namespace qarmock {

std::shared_ptr<tuk::CFeature> FakeDevice::GetFeature(int kind) const {
    const auto found = features.find(kind);
    return found == features.end() ? nullptr : found->second;
}

void FakeDevice::GetChannels(std::vector<std::shared_ptr<tuk::CChannel>>& found, int channel_type) const {
    if (CallFails("IDevice::GetChannels")) return;
    for (const auto& channel : channels) {
        if (channel->GetType() == channel_type) found.push_back(channel);
    }
}

std::shared_ptr<tuk::CChannel> FakeDevice::FindChannelByID(int channel_id, int channel_type) const {
    for (const auto& channel : channels) {
        if (channel->GetID() == channel_id && channel->GetType() == channel_type) return channel;
    }
    return nullptr;
}

std::shared_ptr<tuk::CChannel> FakeDevice::FindChannelByNo(int no, int channel_type) const {
    for (const auto& channel : channels) {
        if (channel->GetNo() == no && channel->GetType() == channel_type) return channel;
    }
    return nullptr;
}

}  // namespace qarmock
