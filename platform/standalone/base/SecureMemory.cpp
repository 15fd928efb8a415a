#include "qarutil/SecureMemory.h"

#include <cerrno>
#include <cstring>

namespace qarutil {

int memset_s(void* dest, std::size_t dest_size, int value, std::size_t count) {
    if (dest == nullptr) return EINVAL;
    if (count > dest_size) return ERANGE;
    std::memset(dest, value, count);
    return 0;
}

int memcpy_s(void* dest, std::size_t dest_size, const void* src, std::size_t count) {
    if (dest == nullptr) return EINVAL;
    if (src == nullptr || count > dest_size) {
        std::memset(dest, 0, dest_size);
        return src == nullptr ? EINVAL : ERANGE;
    }
    std::memcpy(dest, src, count);
    return 0;
}

}  // namespace qarutil
