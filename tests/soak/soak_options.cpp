#include "soak/soak_options.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace soak {

namespace {

constexpr int kMany = 200;          // cameras
constexpr int kScaleOfMany = 2000;  // which two cores bear with a thousand

template <typename Value>
void Read(const char* name, Value least, Value most, Value& value) {
    const char* const text = std::getenv(name);
    if (text == nullptr) return;
    char* end = nullptr;
    const double number = std::strtod(text, &end);
    value = static_cast<Value>(number);
    if (end == text || *end != '\0' || static_cast<double>(value) != number || value < least || value > most) {
        throw std::invalid_argument(std::string(name) + " must be a number from " + std::to_string(least) + " to " +
                                    std::to_string(most) + ", not \"" + text + "\"");
    }
}

}  // namespace

SoakOptions SoakOptions::FromEnvironment() {
    SoakOptions options;
    Read("QAR_SOAK_CAMERAS", 2, 5000, options.cameras);
    if (options.cameras > kMany) options.scale = std::min(options.scale, kScaleOfMany);
    Read("QAR_SOAK_DAYS", 0.4, 365.0, options.days);
    Read("QAR_SOAK_SCALE", 60, 20000, options.scale);
    Read("QAR_SOAK_PROBE_S", 60, 600, options.probe_s);
    Read("QAR_SOAK_SEED", 0U, 1000000000U, options.seed);
    return options;
}

}  // namespace soak
