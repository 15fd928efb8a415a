#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "ZELPlatform/TimeZone.h"

namespace qarmock {

class FakeSite;

/// The devices' clocks, which stand still until the test sets them, and their time zones. Threads: any.
class FakeTimeZone {
public:
    using Zone = std::shared_ptr<ZELPlatform::TimeZone::CTimeZoneInfo>;

    explicit FakeTimeZone(const FakeSite& site) : site_(site) {}

    /// Sets the present of a device's clock.
    /// @param local_text      given back as it is, usually "YYYY-MM-DD HH:MM:SS"
    /// @param offset_seconds  east positive
    void SetClock(int device_id, const std::string& local_text, int offset_seconds);
    /// The device's clock has never been learned, so GetDeviceTimeEx is false. The state before SetClock.
    void ForgetClock(int device_id);
    /// What a moment of a device is computed with when it is not the present; empty: it has no zone.
    void SetZone(int device_id, const Zone& zone);

    /// @param bias  minutes; local + bias = UTC
    static Zone MakeZone(const std::string& display_name, int bias);
    /// A zone with daylight saving; rules are month:week:weekday:hour:minute.
    static Zone MakeZone(const std::string& display_name, int bias, const std::string& daylight_date,
                         const std::string& standard_date, int daylight_bias);

    void GetDeviceTime(std::string& local_text, std::string& utc_text, int& offset,
                       const ZELPlatform::TimeZone::CTimeZoneDeviceKey& key, long long time) const;
    bool GetDeviceTimeEx(std::string& local_text, std::string& utc_text, int& offset,
                         const ZELPlatform::TimeZone::CTimeZoneDeviceKey& key, long long time) const;
    void GetDeviceTimeZone(Zone& info, const ZELPlatform::TimeZone::CTimeZoneDeviceKey& key) const;
    bool GetDevISOTimeByUTCTime(std::string& iso_text, long long time, const Zone& info) const;

private:
    struct Clock {
        std::string local_text;
        int offset;
    };

    const FakeSite& site_;
    mutable std::mutex mutex_;
    std::map<int, Clock> clocks_;  // by device id
    std::map<int, Zone> zones_;    // by device id
};

}  // namespace qarmock
