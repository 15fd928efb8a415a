#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>

#include "standalone/device/DeviceContact.h"
#include "standalone/device/LiveDevice.h"

namespace {

using qarplatform::DeviceContact;
using qarplatform::DeviceRecord;
using qarplatform::LiveDevice;
using qarplatform::ProbeResult;

constexpr std::int64_t kAnsweredS = 1772323205;  // 2026-03-01 00:00:05 UTC

ProbeResult Answer(const char* date, std::chrono::milliseconds round_trip) {
    ProbeResult result;
    result.outcome = ProbeResult::Outcome::kAnswered;
    result.date = date;
    result.answered_ms = kAnsweredS * 1000;
    result.round_trip = round_trip;
    return result;
}

// A busy machine handles an answer late; the device's clock must not be taken for slow because of that.
TEST(DeviceContactTest, DateCountsForTheMomentOfTheAnswerHoweverLateItIsHandled) {
    DeviceRecord record;
    record.probe = "rtsp://127.0.0.1:1/";
    const auto device = std::make_shared<LiveDevice>(record, nullptr);
    DeviceContact contact(device, 1);
    contact.OnResult(Answer("Sun, 01 Mar 2026 00:00:05 GMT", std::chrono::milliseconds(1)));
    EXPECT_TRUE(device->GetClock().Known());
    EXPECT_EQ(0, device->GetClock().DeviceTimeMs(0));
    EXPECT_EQ(kAnsweredS, device->GetTimeValue());
}

}  // namespace
