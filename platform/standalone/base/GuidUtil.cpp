#include "Mox/Base/GuidUtil.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>

namespace Mox {
namespace Base {
namespace GuidUtil {

std::string CreateGuid() {
    std::array<unsigned char, 16> bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "no random bytes for a GUID");
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // random
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // RFC 4122

    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string guid;
    guid.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) guid += '-';
        guid += kDigits[bytes[i] >> 4];
        guid += kDigits[bytes[i] & 0x0F];
    }
    return guid;
}

}  // namespace GuidUtil
}  // namespace Base
}  // namespace Mox
