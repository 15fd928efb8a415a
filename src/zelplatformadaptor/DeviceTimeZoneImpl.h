#pragma once

#include <string>

#include "qar/IDeviceTimeZoneAPI.h"

namespace qar {

/// Devices' clocks and offsets on top of the platform's time zones. Has no state.
class CDeviceTimeZoneImpl final : public IDeviceTimeZoneAPI {
public:
    bool GetLocalTime(std::string& text, int& offset) override;
    bool GetDeviceTime(std::string& text, int& offset, int n_device_id, int n_device_type,
                       long long n_utc_time) override;
    bool GetDeviceTimeEx(std::string& text, int& offset, int n_device_id, int n_device_type,
                         long long n_utc_time) override;
    bool GetDeviceISOTime(std::string& text, int& offset, int n_device_id, int n_device_type,
                          long long n_utc_time) override;
    bool GetCameraTime(std::string& text, int& offset, int n_camera_id, long long n_utc_time) override;
    bool GetCameraTimeEx(std::string& text, int& offset, int n_camera_id, long long n_utc_time) override;
    bool GetCameraISOTime(std::string& text, int& offset, int n_camera_id, long long n_utc_time) override;
    bool GetDeviceTimeZoneInfo(SDeviceTimeZoneInfo& info, int n_device_id, int n_device_type) override;
    bool GetDeviceUtcOffset(int& offset, int n_device_id, int n_device_type, std::string local_time) override;

    /// @param rule  month:week:weekday:hour:minute; week 5 is the fifth such weekday, not the last
    /// @return the rule's moment in that year as "YYYY-MM-DD HH:MM:SS"; "Invalid input" for a field out of its range,
    ///         "Date out of range" for a day that the month does not have
    /// Throws std::invalid_argument when the rule has not five fields.
    static std::string DaylightRuleToTimeText(const std::string& rule, int year);
};

}  // namespace qar
