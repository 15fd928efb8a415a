#include "standalone/device/DeviceContact.h"

#include <chrono>
#include <utility>

#include "standalone/base/Clock.h"
#include "standalone/device/DeviceEvents.h"
#include "standalone/device/HttpDate.h"
#include "standalone/log/PlatformLog.h"
#include "standalone/timezone/TimeText.h"

namespace qarplatform {

namespace {

constexpr int64_t kFirstBelievedSecond = 946684800;  // 2000-01-01 00:00:00 UTC; clocks that lost power begin before it
constexpr int64_t kFirstDoubtedSecond = 7258118400;  // 2200-01-01 00:00:00 UTC
constexpr std::size_t kLongestShown = 64;

/// A text that a device sent, for the log.
std::string Shown(const std::string& text) {
    std::string shown = text.substr(0, kLongestShown);
    for (char& c : shown) {
        if (c < ' ' || c > '~') {
            c = '?';
        }
    }
    return shown;
}

std::chrono::milliseconds Scaled(std::chrono::nanoseconds real) {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    return std::chrono::ceil<std::chrono::milliseconds>(Milliseconds(real) * Clock::Get().Scale());
}

}  // namespace

DeviceContact::DeviceContact(std::shared_ptr<LiveDevice> device, int failures)
    : device_(std::move(device)), failures_(failures) {}

void DeviceContact::OnResult(const ProbeResult& result) {
    if (result.outcome == ProbeResult::Outcome::kAnswered) {
        OnAnswer(result);
    } else {
        OnFailure(result.reason);
    }
}

void DeviceContact::OnAnswer(const ProbeResult& result) {
    LearnClock(result);
    failed_ = 0;
    device_->SetLastContact(result.answered_ms / 1000);
    const bool first = !contacted_;
    const bool came_online = !device_->IsOnline();
    if (!first && !came_online) {
        return;
    }
    contacted_ = true;
    device_->SetOnline(true);
    LogSinkWrite(kLogInformation, kModulePlatform, "device %d \"%s\" %s at %s", device_->GetID(),
                 device_->Name().c_str(), first ? "answers" : "answers again", device_->GetTextC().c_str());
    away_reasons_.clear();
    if (device_->GetGuardStatus()) {
        if (first) {
            RaiseGuardOn(*device_);
        }
        RaiseDeviceOnline(*device_);
    }
    RaiseCamerasOnline(*device_);
}

void DeviceContact::OnFailure(const std::string& reason) {
    if (++failed_ < failures_) {
        return;
    }
    failed_ = failures_;
    device_->SetOnline(false);
    if (!away_reasons_.insert(reason).second) {
        return;
    }
    LogSinkWrite(kLogWarning, kModulePlatform, "device %d \"%s\" does not answer at %s: %s", device_->GetID(),
                 device_->Name().c_str(), device_->GetTextC().c_str(), reason.c_str());
}

void DeviceContact::LearnClock(const ProbeResult& result) {
    DeviceClock& clock = device_->GetClock();
    if (!result.date) {
        clock.RunOnHostClock();
        return;
    }
    int64_t date = 0;
    if (!ParseHttpDate(*result.date, date)) {
        DoubtDate(*result.date, "it is no date as the protocol wants it");
        return;
    }
    if (date < kFirstBelievedSecond) {
        DoubtDate(*result.date, "it lies before the year 2000");
        return;
    }
    if (date >= kFirstDoubtedSecond) {
        DoubtDate(*result.date, "it lies behind the year 2199");
        return;
    }
    date_doubted_ = false;
    int64_t jump_ms = 0;
    const bool jumped =
        clock.Learn(date, result.answered_ms, Scaled(result.round_trip), jump_ms) == DeviceClock::Change::kJumped;
    const bool jumped_before = std::exchange(clock_jumps_, jumped);
    if (jumped && !jumped_before) {
        LogSinkWrite(kLogWarning, kModulePlatform,
                     "device %d \"%s\": its clock jumped by %lld s to %s UTC; the new time is taken", device_->GetID(),
                     device_->Name().c_str(), static_cast<long long>(jump_ms / 1000), TimeText(date).c_str());
    }
}

void DeviceContact::DoubtDate(const std::string& date, const char* why) {
    if (date_doubted_) {
        return;
    }
    date_doubted_ = true;
    LogSinkWrite(kLogWarning, kModulePlatform, "device %d \"%s\": its date \"%s\" is not believed: %s",
                 device_->GetID(), device_->Name().c_str(), Shown(date).c_str(), why);
}

}  // namespace qarplatform
