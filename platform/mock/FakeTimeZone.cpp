#include "mock/FakeTimeZone.h"

#include <ctime>

#include "Mox/Base/TimeUtil.h"
#include "mock/CivilTime.h"
#include "mock/FakeSite.h"

namespace qarmock {

using ZELPlatform::TimeZone::CDaylightSavingTime;
using ZELPlatform::TimeZone::CTimeZoneDeviceKey;
using ZELPlatform::TimeZone::CTimeZoneInfo;

namespace {

/// @return seconds east of UTC at a moment in UTC
int OffsetAt(const FakeTimeZone::Zone& zone, long long utc) {
    if (!zone) return 0;
    const int standard = zone->GetBias() * -60;
    const auto dst = zone->GetDst();
    if (!dst || !dst->GetEnable()) return standard;
    const int daylight = standard + dst->GetDaylightbias() * -60;
    const int year = YearOf(utc + standard);
    const auto begin = RuleMoment(dst->GetDaylightDate(), year);
    const auto end = RuleMoment(dst->GetStandardDate(), year);
    if (!begin || !end) return standard;
    const long long begin_utc = *begin - standard;
    const long long end_utc = *end - daylight;
    const bool on = begin_utc <= end_utc ? begin_utc <= utc && utc < end_utc : begin_utc <= utc || utc < end_utc;
    return on ? daylight : standard;
}

}  // namespace

void FakeTimeZone::SetClock(int device_id, const std::string& local_text, int offset_seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    clocks_[device_id] = Clock{local_text, offset_seconds};
}

void FakeTimeZone::ForgetClock(int device_id) {
    std::lock_guard<std::mutex> lock(mutex_);
    clocks_.erase(device_id);
}

void FakeTimeZone::SetZone(int device_id, const Zone& zone) {
    std::lock_guard<std::mutex> lock(mutex_);
    zones_[device_id] = zone;
}

FakeTimeZone::Zone FakeTimeZone::MakeZone(const std::string& display_name, int bias) {
    auto zone = std::make_shared<CTimeZoneInfo>();
    zone->SetDisplayName(display_name);
    zone->SetBias(bias);
    return zone;
}

FakeTimeZone::Zone FakeTimeZone::MakeZone(const std::string& display_name, int bias, const std::string& daylight_date,
                                          const std::string& standard_date, int daylight_bias) {
    auto dst = std::make_shared<CDaylightSavingTime>();
    dst->SetEnable(true);
    dst->SetDaylightDate(daylight_date);
    dst->SetStandardDate(standard_date);
    dst->SetDaylightbias(daylight_bias);
    Zone zone = MakeZone(display_name, bias);
    zone->SetDst(dst);
    return zone;
}

void FakeTimeZone::GetDeviceTime(std::string& local_text, std::string& utc_text, int& offset,
                                 const CTimeZoneDeviceKey& key, long long time) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto clock = clocks_.find(key.GetDeviceId());
    if (time == -1 && clock != clocks_.end()) {
        local_text = clock->second.local_text;
        offset = clock->second.offset;
        const auto local = ReadPlainText(local_text);
        utc_text = local ? PlainText(*local - offset) : local_text;
        return;
    }
    const long long utc = time == -1 ? static_cast<long long>(std::time(nullptr)) : time;
    const auto zone = zones_.find(key.GetDeviceId());
    offset = 0;
    if (zone != zones_.end()) {
        offset = OffsetAt(zone->second, utc);
    } else if (clock != clocks_.end()) {
        offset = clock->second.offset;
    }
    local_text = PlainText(utc + offset);
    utc_text = PlainText(utc);
}

bool FakeTimeZone::GetDeviceTimeEx(std::string& local_text, std::string& utc_text, int& offset,
                                   const CTimeZoneDeviceKey& key, long long time) const {
    GetDeviceTime(local_text, utc_text, offset, key, time);
    if (!site_.FindDeviceByID(key.GetDeviceId(), key.GetDeviceType())) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    return time != -1 || clocks_.count(key.GetDeviceId()) > 0;
}

void FakeTimeZone::GetDeviceTimeZone(Zone& info, const CTimeZoneDeviceKey& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto zone = zones_.find(key.GetDeviceId());
    info = zone == zones_.end() ? nullptr : zone->second;
}

bool FakeTimeZone::GetDevISOTimeByUTCTime(std::string& iso_text, long long time, const Zone& info) const {
    if (!info) return false;
    const int offset = OffsetAt(info, time);
    iso_text = PlainText(time + offset);
    iso_text.replace(iso_text.find(' '), 1, "T");
    iso_text += Mox::Base::TimeUtil::TimeDifference2Str(offset);
    return true;
}

}  // namespace qarmock
