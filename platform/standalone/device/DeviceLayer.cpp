#include "standalone/device/DeviceLayer.h"

#include <memory>
#include <mutex>
#include <utility>

#include "ZELPlatform/MsgBus.h"
#include "standalone/device/DeviceContact.h"
#include "standalone/device/DeviceEvents.h"
#include "standalone/device/DeviceTable.h"
#include "standalone/device/ProbeEngine.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

/// What the one layer holds beside the table of devices.
struct Running {
    std::mutex mutex;
    std::unique_ptr<ProbeEngine> probes;  // guarded by mutex
    bool events_ended = false;            // guarded by mutex
};

Running& TheRunning() {
    static Running& running = *new Running;
    return running;
}

/// A device whose stored address is wrong is told and left out, so it stays away.
std::vector<ProbeEngine::Target> TargetsOf(const DeviceTable& table, int failures) {
    std::vector<ProbeEngine::Target> targets;
    for (const auto& [id, device] : table.Devices()) {
        if (!device->AddressError().empty()) {
            LogSinkWrite(kLogError, kModulePlatform, "device %d \"%s\" is never asked, \"%s\" is no address: %s", id,
                         device->Name().c_str(), device->GetTextC().c_str(), device->AddressError().c_str());
            continue;
        }
        const auto contact = std::make_shared<DeviceContact>(device, failures);
        targets.push_back({device->Address(), [contact](const ProbeResult& result) { contact->OnResult(result); }});
    }
    return targets;
}

}  // namespace

DeviceLayer& DeviceLayer::Get() {
    static DeviceLayer& layer = *new DeviceLayer;
    return layer;
}

void DeviceLayer::Load(const Site& site) {
    ZELPlatform::MsgBus::RegistObserver(kDeviceAccessTopic);
    DeviceTable::Publish(std::make_unique<const DeviceTable>(site));
}

bool DeviceLayer::StartProbes(const ProbeOptions& options, std::string& error) {
    Running& running = TheRunning();
    const std::lock_guard<std::mutex> lock(running.mutex);
    if (running.probes) {
        return true;
    }
    auto probes = std::make_unique<ProbeEngine>(options, TargetsOf(DeviceTable::Current(), options.failures));
    if (!probes->Start(error)) {
        return false;
    }
    running.probes = std::move(probes);
    running.events_ended = false;
    return true;
}

void DeviceLayer::StopProbes() {
    Running& running = TheRunning();
    const std::lock_guard<std::mutex> lock(running.mutex);
    running.events_ended = true;
    running.probes.reset();
}

bool DeviceLayer::SetGuard(int device_id, bool guard) {
    const std::shared_ptr<LiveDevice> device = DeviceTable::Current().FindDevice(device_id);
    if (!device) {
        return false;
    }
    Running& running = TheRunning();
    const std::lock_guard<std::mutex> lock(running.mutex);
    const bool was_guarded = device->SetGuard(guard);
    if (guard && !was_guarded && !running.events_ended) {
        RaiseGuardOn(*device);
    }
    return true;
}

std::vector<DeviceStatus> DeviceLayer::Status() const {
    std::vector<DeviceStatus> status;
    for (const auto& [id, device] : DeviceTable::Current().Devices()) {
        status.push_back(
            {id, device->GetType(), device->IsOnline(), device->GetGuardStatus(), device->GetClock().Known()});
    }
    return status;
}

}  // namespace qarplatform
