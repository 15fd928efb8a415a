#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace qartest {

/// @return a number with no visible tie to `value`; the same everywhere
inline uint64_t Scramble(uint64_t value) {
    value += 0x9e3779b97f4a7c15;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
}

/// Random numbers that are the same for the same seed on every machine.
class Dice {
public:
    explicit Dice(uint64_t seed) : state_(Scramble(seed)) {}

    uint64_t Roll() { return Scramble(state_++); }
    /// @return 0 to count - 1
    int Pick(int count) { return static_cast<int>(Roll() % static_cast<uint64_t>(count)); }
    bool Chance(int percent) { return Pick(100) < percent; }
    template <class Container>
    auto Of(const Container& container) {
        return *std::next(std::begin(container), Pick(static_cast<int>(std::size(container))));
    }

private:
    uint64_t state_;
};

}  // namespace qartest
