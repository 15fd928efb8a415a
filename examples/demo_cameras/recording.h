#pragma once

#include <cstdint>
#include <string>

namespace demo {

/// What a simulated camera has stored: four bytes for each second of its own clock, the big-endian value of `ValueOf`.
class Recording {
public:
    static constexpr std::int64_t kBytesPerSecond = 4;

    Recording(std::uint32_t seed, int camera) : seed_(seed), camera_(camera) {}

    /// The value recorded for a second, given in seconds since 1970 UTC: (seed << 32 | camera) + second *
    /// 0x9E3779B97F4A7C15, mixed as in SplitMix64 (shift 30, multiply 0xBF58476D1CE4E5B9, shift 27, multiply
    /// 0x94D049BB133111EB, shift 31), of which the upper 32 bits are taken.
    std::uint32_t ValueOf(std::int64_t second) const;

    /// The bytes of the seconds in [begin, end); empty if end is not after begin.
    std::string Bytes(std::int64_t begin, std::int64_t end) const;

private:
    std::uint32_t seed_;
    int camera_;
};

}  // namespace demo
