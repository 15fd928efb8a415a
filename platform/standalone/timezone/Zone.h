#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "ZELPlatform/TimeZone.h"
#include "standalone/site/SiteRecords.h"
#include "standalone/timezone/DaylightRule.h"

namespace qarplatform {

/// A time zone with its rules of daylight saving. Immutable.
class Zone {
public:
    explicit Zone(const ZoneRecord& record);
    /// Rules that cannot be read leave the zone without daylight saving.
    explicit Zone(const ZELPlatform::TimeZone::CTimeZoneInfo& info);

    /// @param utc  seconds since 1970 UTC
    /// @return seconds to add to UTC, east positive
    int OffsetSeconds(int64_t utc) const;

    /// @return the zone as the interface tells it, a copy of the caller's own
    std::shared_ptr<ZELPlatform::TimeZone::CTimeZoneInfo> Info() const;

private:
    struct Rules {
        DaylightRule begins;  // on the clock without daylight saving
        DaylightRule ends;    // on the clock with daylight saving
    };

    void ReadRules();
    bool IsDaylight(int64_t utc) const;

    ZELPlatform::TimeZone::CTimeZoneInfo info_;
    std::optional<ZELPlatform::TimeZone::CDaylightSavingTime> daylight_;
    std::optional<Rules> rules_;
};

}  // namespace qarplatform
