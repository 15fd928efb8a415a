#include "platform/PlatformUnderTest.h"

namespace platform_tests {

std::string DeviceGuid(int device) { return "D0000000-0000-4000-8000-" + std::to_string(100000000000LL + device); }

std::string ChannelGuid(int channel) { return "C0000000-0000-4000-8000-" + std::to_string(100000000000LL + channel); }

}  // namespace platform_tests
