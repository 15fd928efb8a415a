// Rules of daylight saving: what is taken is a moment of its year, in a zone of any kind.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "standalone/timezone/DaylightRule.h"
#include "standalone/timezone/TimeText.h"
#include "standalone/timezone/Zone.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::size_t half = text.find('\n');
    qarplatform::ZoneRecord record;
    record.has_daylight = true;
    record.daylight_enable = true;
    record.daylight_date = text.substr(0, half);
    record.standard_date = half == std::string::npos ? "11:1:0:2:0" : text.substr(half + 1);
    record.daylight_bias = -60;
    qarplatform::DaylightRule rule;
    std::string error;
    if (qarplatform::ParseDaylightRule(record.daylight_date, rule, error)) {
        for (const int year : {1970, 2026, 2028, 9999}) {
            if (qarplatform::TimeText(rule.LocalSeconds(year)).substr(0, 4) != std::to_string(year)) {
                std::abort();
            }
        }
    }
    const qarplatform::Zone zone(record);
    for (const int64_t moment : {int64_t{0}, int64_t{1772323200}, int64_t{1782864000}, int64_t{253402300799}}) {
        const int offset = zone.OffsetSeconds(moment);
        if (offset != 0 && offset != 3600) {
            std::abort();
        }
    }
    return 0;
}
