#include "bench/site.h"

#include <chrono>
#include <string>

#include "bench/history_tables.h"
#include "standalone/base/Clock.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/device/DeviceTable.h"
#include "standalone/log/LogControl.h"

namespace bench {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::system_clock;

void StartClock() {
    constexpr double kScale = 200;
    constexpr int64_t kStart = 1772668800000;  // 2026-03-05 UTC
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    qarplatform::Clock::Get().Configure(kScale, now, kStart);
}

}  // namespace

void LoadSite(const Options& options) {
    StartClock();
    qarplatform::Site site;
    site.areas.push_back({1, "Yard", 0});
    for (int camera = kFirstCamera; camera < kFirstCamera + options.cameras; ++camera) {
        qarplatform::DeviceRecord device;
        device.id = camera;
        device.guid = "device-" + std::to_string(camera);
        device.name = device.guid;
        device.probe = "tcp://127.0.0.1:1/";
        site.devices.push_back(device);
        qarplatform::ChannelRecord channel;
        channel.id = camera;
        channel.guid = "channel-" + std::to_string(camera);
        channel.device = camera;
        site.channels.push_back(channel);
        qarplatform::ElementRecord element;
        element.id = camera;
        element.guid = "element-" + std::to_string(camera);
        element.name = element.guid;
        element.channel = camera;
        element.area = 1;
        site.elements.push_back(element);
    }
    qarplatform::DeviceLayer::Get().Load(site);
    for (const auto& [id, device] : qarplatform::DeviceTable::Current().Devices()) {
        device->GetClock().RunOnHostClock();
        device->SetOnline(true);
    }
}

void WriteLogLines(const Options& options, bool written) {
    constexpr int kInformation = 3;
    constexpr int kError = 5;
    qarplatform::StopLog();
    qarplatform::LogOptions log;
    log.level = written ? kInformation : kError;
    log.file = options.folder + "/bench.log";
    std::string error;
    Require(qarplatform::StartLog(log, error), error);
}

}  // namespace bench
