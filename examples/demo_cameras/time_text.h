#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace demo {

/// A moment and the offset from UTC of the clock that showed it.
struct OffsetTime {
    std::int64_t utc_s = 0;     // seconds since 1970 UTC
    std::int64_t offset_s = 0;  // east positive

    bool operator==(const OffsetTime&) const = default;
};

/// Reads "2026-11-01T01:30:00-05:00"; also "Z" as the offset. Anything else, impossible dates included, gives nothing.
std::optional<OffsetTime> ParseIso(const std::string& text);

/// "2026-11-01T01:30:00-05:00"
std::string FormatIso(const OffsetTime& time);

/// Reads the wall clock "2026-11-01 01:30:00" and gives it as if it were UTC, in seconds since 1970.
std::optional<std::int64_t> ParsePlain(const std::string& text);

/// "2026-11-01 01:30" for seconds since 1970 UTC
std::string FormatMinute(std::int64_t utc_s);

/// "01:30" for seconds since 1970 UTC
std::string FormatHourMinute(std::int64_t utc_s);

/// "+08:00", "-05:30"
std::string FormatOffset(std::int64_t offset_s);

/// The form of a Date header: "Sun, 01 Nov 2026 06:30:00 GMT"
std::string FormatHttpDate(std::int64_t utc_s);

/// "2026-11-01T06:30:00Z", as a TOML file takes it
std::string FormatUtc(std::int64_t utc_s);

}  // namespace demo
