// Addresses of devices: what is taken can stand in a question without breaking it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "standalone/device/DeviceAddress.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    qarplatform::DeviceAddress address;
    std::string error;
    if (qarplatform::ParseDeviceAddress(text, address, error)) {
        const std::string shown = address.HostAndPort() + address.path;
        const bool visible = std::all_of(shown.begin(), shown.end(), [](char c) { return c > ' ' && c < '\x7f'; });
        if (!visible || address.host.empty() || address.port == 0) {
            std::abort();
        }
    }
    qarplatform::IsHttpUrl(text, error);
    return 0;
}
