#include "ZELPlatform/TimeZone.h"

#include <algorithm>

#include "Mox/Base/TimeUtil.h"
#include "standalone/base/Clock.h"
#include "standalone/device/DeviceTable.h"
#include "standalone/timezone/TimeText.h"
#include "standalone/timezone/Zone.h"

namespace ZELPlatform {
namespace TimeZone {

namespace {

using qarplatform::Clock;
using qarplatform::DeviceTable;
using qarplatform::LiveDevice;
using qarplatform::TimeText;
using qarplatform::Zone;

constexpr long long kPresent = -1;

/// Within what a text can show no sum with an offset overflows.
int64_t Limited(int64_t seconds) {
    return std::clamp(seconds, qarplatform::kFirstTextSecond, qarplatform::kLastTextSecond);
}

std::shared_ptr<const LiveDevice> FindDevice(const CTimeZoneDeviceKey& key) {
    return DeviceTable::Current().FindDevice(key.GetDeviceId(), key.GetDeviceType());
}

}  // namespace

bool GetDeviceTimeEx(std::string& local_text, std::string& utc_text, int& offset, const CTimeZoneDeviceKey& key,
                     long long time) {
    const std::shared_ptr<const LiveDevice> device = FindDevice(key);
    bool known = device != nullptr;
    int64_t utc = time;
    if (time == kPresent) {
        const int64_t now_ms = Clock::Get().NowMs();
        known = device && device->GetClock().Known();
        utc = (known ? device->GetClock().DeviceTimeMs(now_ms) : now_ms) / 1000;
    }
    utc = Limited(utc);
    const Zone* zone = device ? device->GetZone() : nullptr;
    offset = zone ? zone->OffsetSeconds(utc) : 0;
    local_text = TimeText(utc + offset);
    utc_text = TimeText(utc);
    return known;
}

void GetDeviceTime(std::string& local_text, std::string& utc_text, int& offset, const CTimeZoneDeviceKey& key,
                   long long time) {
    GetDeviceTimeEx(local_text, utc_text, offset, key, time);
}

void GetDeviceTimeZone(std::shared_ptr<CTimeZoneInfo>& info, const CTimeZoneDeviceKey& key) {
    const std::shared_ptr<const LiveDevice> device = FindDevice(key);
    const Zone* zone = device ? device->GetZone() : nullptr;
    info = zone ? zone->Info() : nullptr;
}

bool GetDevISOTimeByUTCTime(std::string& iso_text, long long time, const std::shared_ptr<CTimeZoneInfo>& info) {
    if (!info) {
        return false;
    }
    const int64_t utc = Limited(time);
    const int offset = Zone(*info).OffsetSeconds(utc);
    iso_text = TimeText(utc + offset, 'T') + Mox::Base::TimeUtil::TimeDifference2Str(offset);
    return true;
}

}  // namespace TimeZone
}  // namespace ZELPlatform
