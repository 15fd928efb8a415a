#include "demo_run/outage_verdict.h"

#include "demo_cameras/time_text.h"

namespace demo {

namespace {

/// The whole seconds of the camera's clock that lie within the outage.
struct Seconds {
    std::int64_t begin;
    std::int64_t end;
};

Seconds SecondsOf(const PastOutage& outage, std::int64_t skew_s) {
    return {(outage.begin_ms + 999) / 1000 + skew_s, outage.end_ms.value_or(outage.begin_ms) / 1000 + skew_s};
}

}  // namespace

OutageVerdict Judge(const PastOutage& outage, const CameraEvidence& evidence, std::int64_t probe_period_s) {
    OutageVerdict verdict;
    verdict.outage = outage;
    verdict.counts = outage.end_ms && evidence.first_in_order_ms && outage.begin_ms > *evidence.first_in_order_ms;
    const Seconds seconds = SecondsOf(outage, evidence.skew_s);
    const std::int64_t begin = seconds.begin + probe_period_s;
    const std::int64_t end = seconds.end - probe_period_s;
    verdict.told = outage.end_ms && evidence.told.Covers(begin, end);
    verdict.fetched = outage.end_ms && evidence.fetched.Covers(begin, end);
    return verdict;
}

std::string FailureText(const OutageVerdict& verdict, const CameraEvidence& evidence, std::int64_t offset_s) {
    const Seconds seconds = SecondsOf(verdict.outage, evidence.skew_s);
    return "outage camera=" + std::to_string(verdict.outage.camera) + " begin=" + FormatIso({seconds.begin, offset_s}) +
           " end=" + FormatIso({seconds.end, offset_s}) +
           (verdict.told ? " was told, but not fetched whole" : " was not told");
}

}  // namespace demo
