#pragma once

#include <memory>
#include <string>

namespace ZELPlatform {
namespace TimeZone {

/// Which device's time zone is meant.
class CTimeZoneDeviceKey {
public:
    CTimeZoneDeviceKey() : n_device_id_(-1), n_device_type_(-1) {}
    void SetDeviceId(int id) { n_device_id_ = id; }
    void SetDeviceType(int type) { n_device_type_ = type; }
    int GetDeviceId() const { return n_device_id_; }
    int GetDeviceType() const { return n_device_type_; }

private:
    int n_device_id_;
    int n_device_type_;
};

/// Settings of daylight saving.
class CDaylightSavingTime {
public:
    CDaylightSavingTime() : b_enable_(false), n_daylight_bias_(0) {}
    bool GetEnable() const { return b_enable_; }
    /// @return rule of the start, month:week:weekday:hour:minute in local time
    const std::string& GetDaylightDate() const { return str_daylight_date_; }
    /// @return rule of the end, in local time with daylight saving on
    const std::string& GetStandardDate() const { return str_standard_date_; }
    /// @return minutes that are added to the bias while daylight saving is on, usually -60
    int GetDaylightbias() const { return n_daylight_bias_; }
    void SetEnable(bool enable) { b_enable_ = enable; }
    void SetDaylightDate(const std::string& rule) { str_daylight_date_ = rule; }
    void SetStandardDate(const std::string& rule) { str_standard_date_ = rule; }
    void SetDaylightbias(int minutes) { n_daylight_bias_ = minutes; }

private:
    bool b_enable_;
    std::string str_daylight_date_;
    std::string str_standard_date_;
    int n_daylight_bias_;
};

/// A time zone.
class CTimeZoneInfo {
public:
    CTimeZoneInfo() : n_bias_(0) {}
    const std::string& GetDisplayName() const { return str_display_name_; }
    /// @return minutes; local time plus bias is UTC, so -480 lies eight hours east
    int GetBias() const { return n_bias_; }
    /// @return the settings of daylight saving; empty when the zone has none
    std::shared_ptr<CDaylightSavingTime> GetDst() const { return ptr_dst_; }
    void SetDisplayName(const std::string& name) { str_display_name_ = name; }
    void SetBias(int minutes) { n_bias_ = minutes; }
    void SetDst(const std::shared_ptr<CDaylightSavingTime>& dst) { ptr_dst_ = dst; }

private:
    std::string str_display_name_;
    int n_bias_;
    std::shared_ptr<CDaylightSavingTime> ptr_dst_;
};

// Threads: any. None of these asks the device; they answer from what is known of it.

/// The device's wall clock at a moment.
/// @param local_text  gets "YYYY-MM-DD HH:MM:SS" on the device's clock
/// @param utc_text    gets the same moment in UTC, in the same form
/// @param offset      gets the device's offset from UTC at that moment, seconds, east positive
/// @param time        the device's UTC time in seconds since 1970; -1 for the present of the device's own clock, or of
///                    the server's while the device's has never been learned
/// An unknown device is answered in UTC.
void GetDeviceTime(std::string& local_text, std::string& utc_text, int& offset, const CTimeZoneDeviceKey& key,
                   long long time);

/// GetDeviceTime for callers that must not take the server's clock for the device's.
/// @return false for an unknown device, and with time -1 while the device's clock has never been learned; the outputs
///         are filled as by GetDeviceTime all the same
bool GetDeviceTimeEx(std::string& local_text, std::string& utc_text, int& offset, const CTimeZoneDeviceKey& key,
                     long long time);

/// @param info  gets the device's time zone; made empty when the device has none
void GetDeviceTimeZone(std::shared_ptr<CTimeZoneInfo>& info, const CTimeZoneDeviceKey& key);

/// @param iso_text  gets the zone's local time at `time` as "YYYY-MM-DDTHH:MM:SS+HH:MM"; untouched on failure
/// @param time      UTC, seconds since 1970
/// @return false when `info` is empty
bool GetDevISOTimeByUTCTime(std::string& iso_text, long long time, const std::shared_ptr<CTimeZoneInfo>& info);

}  // namespace TimeZone
}  // namespace ZELPlatform
