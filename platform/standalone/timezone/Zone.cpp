#include "standalone/timezone/Zone.h"

#include <chrono>
#include <limits>

namespace qarplatform {

namespace {

using ZELPlatform::TimeZone::CDaylightSavingTime;
using ZELPlatform::TimeZone::CTimeZoneInfo;

constexpr int64_t kSecondsPerMinute = 60;

int YearOf(int64_t seconds) {
    using namespace std::chrono;
    return int(year_month_day(floor<days>(sys_seconds(std::chrono::seconds(seconds)))).year());
}

}  // namespace

Zone::Zone(const ZoneRecord& record) {
    info_.SetDisplayName(record.display_name);
    info_.SetBias(record.bias);
    if (record.has_daylight) {
        daylight_.emplace();
        daylight_->SetEnable(record.daylight_enable);
        daylight_->SetDaylightDate(record.daylight_date);
        daylight_->SetStandardDate(record.standard_date);
        daylight_->SetDaylightbias(record.daylight_bias);
    }
    ReadRules();
}

Zone::Zone(const CTimeZoneInfo& info) {
    info_.SetDisplayName(info.GetDisplayName());
    info_.SetBias(info.GetBias());
    if (const std::shared_ptr<CDaylightSavingTime> daylight = info.GetDst()) {
        daylight_ = *daylight;
    }
    ReadRules();
}

void Zone::ReadRules() {
    if (!daylight_ || !daylight_->GetEnable()) {
        return;
    }
    Rules rules;
    std::string error;
    if (ParseDaylightRule(daylight_->GetDaylightDate(), rules.begins, error) &&
        ParseDaylightRule(daylight_->GetStandardDate(), rules.ends, error)) {
        rules_ = rules;
    }
}

int Zone::OffsetSeconds(int64_t utc) const {
    int64_t minutes = info_.GetBias();
    if (rules_ && IsDaylight(utc)) {
        minutes += daylight_->GetDaylightbias();
    }
    return static_cast<int>(-minutes * kSecondsPerMinute);
}

bool Zone::IsDaylight(int64_t utc) const {
    // The last change at or before the moment decides. It may lie in a neighbouring year: the year of UTC differs from
    // the zone's around New Year, and in the south daylight saving runs over it.
    const int64_t bias = int64_t{info_.GetBias()} * kSecondsPerMinute;
    const int64_t daylight_bias = bias + int64_t{daylight_->GetDaylightbias()} * kSecondsPerMinute;
    const int year = YearOf(utc);
    int64_t last_change = std::numeric_limits<int64_t>::min();
    bool daylight = false;
    for (int candidate = year - 1; candidate <= year + 1; ++candidate) {
        const int64_t begins = rules_->begins.LocalSeconds(candidate) + bias;
        const int64_t ends = rules_->ends.LocalSeconds(candidate) + daylight_bias;
        if (begins <= utc && begins > last_change) {
            last_change = begins;
            daylight = true;
        }
        if (ends <= utc && ends >= last_change) {
            last_change = ends;
            daylight = false;
        }
    }
    return daylight;
}

std::shared_ptr<CTimeZoneInfo> Zone::Info() const {
    auto info = std::make_shared<CTimeZoneInfo>(info_);
    if (daylight_) {
        info->SetDst(std::make_shared<CDaylightSavingTime>(*daylight_));
    }
    return info;
}

}  // namespace qarplatform
