#include "standalone/device/DeviceTable.h"

#include <atomic>
#include <utility>

#include "standalone/device/LiveChannel.h"

namespace qarplatform {

namespace {

std::atomic<const DeviceTable*>& Slot() {
    static const DeviceTable& empty = *new DeviceTable(Site());
    static std::atomic<const DeviceTable*> slot(&empty);
    return slot;
}

}  // namespace

const DeviceTable& DeviceTable::Current() { return *Slot().load(std::memory_order_acquire); }

// Never deleted: readers hold no lock.
void DeviceTable::Publish(std::unique_ptr<const DeviceTable> table) {
    Slot().store(table.release(), std::memory_order_release);
}

DeviceTable::DeviceTable(const Site& site) {
    AddDevices(site);
    AddChannels(site);
    AddElements(site);
}

void DeviceTable::AddDevices(const Site& site) {
    std::unordered_map<std::string, std::shared_ptr<const Zone>> zones;
    for (const ZoneRecord& record : site.zones) {
        zones.emplace(record.name, std::make_shared<const Zone>(record));
    }
    for (const DeviceRecord& record : site.devices) {
        const auto zone = zones.find(record.zone);
        auto device = std::make_shared<LiveDevice>(record, zone == zones.end() ? nullptr : zone->second);
        devices_.emplace(record.id, device);
        devices_by_guid_.emplace(record.guid, std::move(device));
    }
}

void DeviceTable::AddChannels(const Site& site) {
    for (const ChannelRecord& record : site.channels) {
        const std::shared_ptr<LiveDevice> device = FindDevice(record.device);
        if (!device) {
            continue;
        }
        std::shared_ptr<tuk::CChannel> channel;
        if (record.type == kCameraType) {
            channel = std::make_shared<LiveCamera>(record, device);
        } else {
            channel = std::make_shared<LiveChannel>(record, device);
        }
        channels_.emplace(record.id, channel);
        device->AddChannel(std::move(channel));
    }
}

void DeviceTable::AddElements(const Site& site) {
    std::unordered_map<int, std::string> area_names;
    for (const AreaRecord& area : site.areas) {
        area_names.emplace(area.id, area.name);
    }
    for (const ElementRecord& record : site.elements) {
        const auto channel = channels_.find(record.channel);
        if (channel == channels_.end()) {
            continue;
        }
        const auto area = area_names.find(record.area);
        elements_.emplace(record.id, std::make_shared<LiveElement>(record, channel->second->GetType(),
                                                                   area == area_names.end() ? "" : area->second,
                                                                   FindDevice(channel->second->GetDeviceID())));
    }
}

std::shared_ptr<LiveDevice> DeviceTable::FindDevice(int id) const {
    const auto found = devices_.find(id);
    return found == devices_.end() ? nullptr : found->second;
}

std::shared_ptr<LiveDevice> DeviceTable::FindDevice(int id, int type) const {
    std::shared_ptr<LiveDevice> device = FindDevice(id);
    return device && device->GetType() == type ? device : nullptr;
}

std::shared_ptr<LiveDevice> DeviceTable::FindDevice(const std::string& guid) const {
    const auto found = devices_by_guid_.find(guid);
    return found == devices_by_guid_.end() ? nullptr : found->second;
}

std::shared_ptr<tuk::CChannel> DeviceTable::FindChannel(int id, int type) const {
    const auto found = channels_.find(id);
    return found == channels_.end() || found->second->GetType() != type ? nullptr : found->second;
}

}  // namespace qarplatform
