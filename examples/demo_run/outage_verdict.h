#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "demo_cameras/outage_runner.h"
#include "demo_run/interval_set.h"

namespace demo {

/// What is known of a camera when its outages are judged.
struct CameraEvidence {
    std::int64_t skew_s = 0;
    std::optional<std::int64_t> first_in_order_ms;  // when, on the site's clock, it was first seen with a state 2
    IntervalSet told;                               // seconds of the camera's clock
    IntervalSet fetched;                            // seconds whose bytes equal the recording
};

struct OutageVerdict {
    PastOutage outage;
    bool counts = false;   // began after the camera's first state 2, and is over
    bool told = false;     // but for one probe period at either end
    bool fetched = false;  // the same stretch

    bool Failed() const { return counts && !(told && fetched); }
};

OutageVerdict Judge(const PastOutage& outage, const CameraEvidence& evidence, std::int64_t probe_period_s);

/// "outage camera=101 begin=… end=… was not told" or "… was told, but not fetched whole"; moments on the camera's
/// clock, with its offset.
std::string FailureText(const OutageVerdict& verdict, const CameraEvidence& evidence, std::int64_t offset_s);

}  // namespace demo
