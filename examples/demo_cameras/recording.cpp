#include "demo_cameras/recording.h"

namespace demo {

std::uint32_t Recording::ValueOf(std::int64_t second) const {
    std::uint64_t value = (std::uint64_t{seed_} << 32) | static_cast<std::uint32_t>(camera_);
    value += static_cast<std::uint64_t>(second) * 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    value ^= value >> 31;
    return static_cast<std::uint32_t>(value >> 32);
}

std::string Recording::Bytes(std::int64_t begin, std::int64_t end) const {
    std::string bytes;
    if (end <= begin) {
        return bytes;
    }
    bytes.reserve(static_cast<std::size_t>((end - begin) * kBytesPerSecond));
    for (std::int64_t second = begin; second < end; ++second) {
        const std::uint32_t value = ValueOf(second);
        for (int shift = 24; shift >= 0; shift -= 8) {
            bytes.push_back(static_cast<char>(static_cast<unsigned char>(value >> shift)));
        }
    }
    return bytes;
}

}  // namespace demo
