#include "zelplatformadaptor/DeviceTimeZoneImpl.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Mox/Base/TimeUtil.h"
#include "ZELPlatform/TimeZone.h"
#include "tuk/DeviceManager.h"

namespace qar {

namespace TimeZone = ZELPlatform::TimeZone;

namespace {

constexpr int kChannelTypeCamera = 1001;

long long SystemTime() { return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()); }

TimeZone::CTimeZoneDeviceKey DeviceKey(int n_device_id, int n_device_type) {
    TimeZone::CTimeZoneDeviceKey key;
    key.SetDeviceId(n_device_id);
    key.SetDeviceType(n_device_type);
    return key;
}

std::shared_ptr<tuk::IDevice> DeviceOfCamera(int n_camera_id) {
    const auto channel =
        Mox::Base::CSingleton<tuk::CDeviceManager>::Instance()->FindChannelByID(n_camera_id, kChannelTypeCamera);
    return channel != nullptr ? channel->GetDevicePtr() : nullptr;
}

/// A ':' at the end begins no further field.
std::vector<std::string> SplitRule(const std::string& rule) {
    std::vector<std::string> fields;
    std::istringstream stream(rule);
    for (std::string field; std::getline(stream, field, ':');) fields.push_back(field);
    return fields;
}

long ReadNumber(const std::string& field) { return std::strtol(field.c_str(), nullptr, 10); }

int FirstWeekday(int year, int month) {
    std::tm first{};
    first.tm_year = year - 1900;
    first.tm_mon = month - 1;
    first.tm_mday = 1;
    ::timegm(&first);
    return first.tm_wday;
}

int MonthLength(int year, int month) {
    if (month == 4 || month == 6 || month == 9 || month == 11) return 30;
    if (month != 2) return 31;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return leap ? 29 : 28;
}

std::string WithLeadingZero(const std::string& digits) { return digits.size() == 1 ? "0" + digits : digits; }

}  // namespace

IDeviceTimeZoneAPI::~IDeviceTimeZoneAPI() = default;

bool CDeviceTimeZoneImpl::GetLocalTime(std::string& text, int& offset) {
    const long long now = SystemTime();
    text = Mox::Base::TimeUtil::TimeT2LocalTimeStrISO(now);
    std::string dropped;
    Mox::Base::TimeUtil::TimeT2LocalTime(dropped, offset, now);
    return true;
}

bool CDeviceTimeZoneImpl::GetDeviceTime(std::string& text, int& offset, int n_device_id, int n_device_type,
                                        long long n_utc_time) {
    std::string dropped;
    TimeZone::GetDeviceTime(text, dropped, offset, DeviceKey(n_device_id, n_device_type), n_utc_time);
    return true;
}

bool CDeviceTimeZoneImpl::GetDeviceTimeEx(std::string& text, int& offset, int n_device_id, int n_device_type,
                                          long long n_utc_time) {
    std::string dropped;
    return TimeZone::GetDeviceTimeEx(text, dropped, offset, DeviceKey(n_device_id, n_device_type), n_utc_time);
}

bool CDeviceTimeZoneImpl::GetDeviceISOTime(std::string& text, int& offset, int n_device_id, int n_device_type,
                                           long long n_utc_time) {
    const TimeZone::CTimeZoneDeviceKey key = DeviceKey(n_device_id, n_device_type);
    const long long time = n_utc_time == -1 ? SystemTime() : n_utc_time;
    auto info = std::make_shared<TimeZone::CTimeZoneInfo>();
    TimeZone::GetDeviceTimeZone(info, key);
    std::string dropped_local;
    std::string dropped_utc;
    TimeZone::GetDeviceTime(dropped_local, dropped_utc, offset, key, time);
    TimeZone::GetDevISOTimeByUTCTime(text, time, info);
    return true;
}

bool CDeviceTimeZoneImpl::GetCameraTime(std::string& text, int& offset, int n_camera_id, long long n_utc_time) {
    const auto device = DeviceOfCamera(n_camera_id);
    if (device == nullptr) return false;
    GetDeviceTime(text, offset, device->GetID(), device->GetType(), n_utc_time);
    return true;
}

bool CDeviceTimeZoneImpl::GetCameraTimeEx(std::string& text, int& offset, int n_camera_id, long long n_utc_time) {
    const auto device = DeviceOfCamera(n_camera_id);
    if (device == nullptr) return false;
    return GetDeviceTimeEx(text, offset, device->GetID(), device->GetType(), n_utc_time);
}

bool CDeviceTimeZoneImpl::GetCameraISOTime(std::string& text, int& offset, int n_camera_id, long long n_utc_time) {
    const auto device = DeviceOfCamera(n_camera_id);
    if (device == nullptr) return false;
    GetDeviceISOTime(text, offset, device->GetID(), device->GetType(), n_utc_time);
    return true;
}

bool CDeviceTimeZoneImpl::GetDeviceTimeZoneInfo(SDeviceTimeZoneInfo& info, int n_device_id, int n_device_type) {
    std::shared_ptr<TimeZone::CTimeZoneInfo> zone;
    TimeZone::GetDeviceTimeZone(zone, DeviceKey(n_device_id, n_device_type));
    if (zone == nullptr) return false;
    info.str_display_name_ = zone->GetDisplayName();
    info.n_bias_ = zone->GetBias();
    if (const auto dst = zone->GetDst()) {
        info.str_daylight_date_ = dst->GetDaylightDate();
        info.str_standard_date_ = dst->GetStandardDate();
        info.n_daylight_bias_ = dst->GetDaylightbias();
    }
    return true;
}

bool CDeviceTimeZoneImpl::GetDeviceUtcOffset(int& offset, int n_device_id, int n_device_type, std::string local_time) {
    std::shared_ptr<TimeZone::CTimeZoneInfo> zone;
    TimeZone::GetDeviceTimeZone(zone, DeviceKey(n_device_id, n_device_type));
    if (zone == nullptr) return false;
    int seconds = zone->GetBias() * -60;
    const auto dst = zone->GetDst();
    if (dst != nullptr && dst->GetEnable()) {
        const int year = std::stoi(local_time.substr(0, 4));
        const std::string begin = DaylightRuleToTimeText(dst->GetDaylightDate(), year);
        const std::string end = DaylightRuleToTimeText(dst->GetStandardDate(), year);
        // Plain text comparison: a period that begins after its end never holds, and an error text, which sorts behind
        // every date, keeps daylight saving off as a begin and leaves the period open as an end.
        if (begin <= local_time && local_time < end) seconds += dst->GetDaylightbias() * -60;
    }
    offset = seconds;
    return true;
}

std::string CDeviceTimeZoneImpl::DaylightRuleToTimeText(const std::string& rule, int year) {
    const std::vector<std::string> fields = SplitRule(rule);
    if (fields.size() != 5) throw std::invalid_argument("Invalid daylight_date format");
    const long month = ReadNumber(fields[0]);
    const long week = ReadNumber(fields[1]);
    const long weekday = ReadNumber(fields[2]);
    if (month < 1 || month > 12 || week < 1 || week > 5 || weekday < 0 || weekday > 6) return "Invalid input";
    const int n_month = static_cast<int>(month);
    const int day =
        (static_cast<int>(weekday) - FirstWeekday(year, n_month) + 7) % 7 + static_cast<int>(week - 1) * 7 + 1;
    if (day < 1 || day > MonthLength(year, n_month)) return "Date out of range";
    const std::string time = WithLeadingZero(fields[3]) + ":" + WithLeadingZero(fields[4]) + ":00";
    return std::to_string(year) + "-" + WithLeadingZero(std::to_string(n_month)) + "-" +
           WithLeadingZero(std::to_string(day)) + " " + time;
}

}  // namespace qar
