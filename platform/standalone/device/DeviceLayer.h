#pragma once

#include <string>
#include <vector>

#include "standalone/site/SiteFile.h"
#include "standalone/site/SiteRecords.h"

namespace qarplatform {

struct DeviceStatus {
    int id = 0;
    int type = 0;
    bool online = false;
    bool guard = false;
    bool clock_known = false;
};

/// The devices of this node: what is known of them, and the probes that find out whether they answer.
/// Behind tuk::CDeviceManager, ZELPlatform::Resources and ZELPlatform::TimeZone. Threads: any.
class DeviceLayer {
public:
    /// The one layer of the process.
    static DeviceLayer& Get();

    /// Takes the site's areas, zones, devices, channels and elements. Once, before anything reads them.
    void Load(const Site& site);

    /// Begins to probe every device, at once and then each period; one whose address is wrong is told in the log and
    /// stays away. Contacts raise events on "TUK_DeviceAccess": 265 when guard goes on, 261 when a guarded device comes
    /// online, 517 for each of its channels then; each also at the first contact after the start.
    bool StartProbes(const ProbeOptions& options, std::string& error);

    /// Ends the probes; no event is raised afterwards. Waits while host names are being looked up, see HostResolver.
    void StopProbes();

    /// Sets a device's guard; 265 is raised when it was off before, whether the device is online or not.
    /// @return false for an unknown device
    bool SetGuard(int device_id, bool guard);

    std::vector<DeviceStatus> Status() const;

private:
    DeviceLayer() = default;
};

}  // namespace qarplatform
