#pragma once

#include <string>

#include "qar/Export.h"

namespace qar {

/// A device's time zone.
struct SDeviceTimeZoneInfo {
    std::string str_display_name_;   ///< name of the zone
    int n_bias_ = 0;                 ///< minutes; local time plus bias is UTC
    std::string str_daylight_date_;  ///< rule of the start of daylight saving, month:week:weekday:hour:minute
    std::string str_standard_date_;  ///< rule of its end
    int n_daylight_bias_ = 0;        ///< minutes, added to the bias while daylight saving is on
};

/// Devices' clocks and time zones.
/// Time texts are "YYYY-MM-DD HH:MM:SS" on the device's clock; offsets are seconds from UTC, east positive; a UTC time
/// is in seconds since 1970, -1 for the present of the device's own clock. Camera ids are channel ids of the type 1001.
/// Threads: any; nothing blocks on a device.
class QARCOMMON_API IDeviceTimeZoneAPI {
public:
    virtual ~IDeviceTimeZoneAPI();

    /// The server's present. @param text gets "YYYY-MM-DDTHH:MM:SS+HH:MM" @param offset gets the server's offset
    /// @return true
    virtual bool GetLocalTime(std::string& text, int& offset) = 0;
    /// Always fills text and offset: a device whose clock is not known answers with the server's clock. @return true
    virtual bool GetDeviceTime(std::string& text, int& offset, int n_device_id, int n_device_type,
                               long long n_utc_time) = 0;
    /// GetDeviceTime that can tell.
    /// @return false for an unknown device, and for the present while its clock has never been learned; the outputs are
    ///         filled all the same
    virtual bool GetDeviceTimeEx(std::string& text, int& offset, int n_device_id, int n_device_type,
                                 long long n_utc_time) = 0;
    /// The time -1 is the server's present here.
    /// @param text    gets "YYYY-MM-DDTHH:MM:SS+HH:MM" in the device's zone; untouched for a device without a zone
    /// @param offset  gets the offset as GetDeviceTime gives it
    /// @return true
    virtual bool GetDeviceISOTime(std::string& text, int& offset, int n_device_id, int n_device_type,
                                  long long n_utc_time) = 0;
    /// GetDeviceTime of the camera's device. @return false if camera or device is unknown, the outputs untouched then
    virtual bool GetCameraTime(std::string& text, int& offset, int n_camera_id, long long n_utc_time) = 0;
    /// GetDeviceTimeEx of the camera's device. @return false also if camera or device is unknown, the outputs untouched
    /// then
    virtual bool GetCameraTimeEx(std::string& text, int& offset, int n_camera_id, long long n_utc_time) = 0;
    /// GetDeviceISOTime of the camera's device. @return false if camera or device is unknown, the outputs untouched
    /// then
    virtual bool GetCameraISOTime(std::string& text, int& offset, int n_camera_id, long long n_utc_time) = 0;
    /// @param info  gets the zone, also the rules of a daylight saving that is off; untouched on false
    /// @return true if the device has a time zone
    virtual bool GetDeviceTimeZoneInfo(SDeviceTimeZoneInfo& info, int n_device_id, int n_device_type) = 0;
    /// The offset that holds at a local time of the device. A daylight saving whose start lies after its end within the
    /// year (southern zones) does not count here.
    /// @param offset  gets seconds to add to UTC; untouched on false
    /// @return true if the device has a time zone
    /// Throws std::invalid_argument when the zone has daylight saving and the text does not begin with a year or a rule
    /// has not five fields.
    virtual bool GetDeviceUtcOffset(int& offset, int n_device_id, int n_device_type, std::string local_time) = 0;
};

}  // namespace qar
