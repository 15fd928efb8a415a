#include "internal/PerformceTiming.h"

#include "LogSink.h"
#include "internal/Log.h"

namespace qar {

CPerformceTiming::CPerformceTiming(const std::string& name, bool enabled)
    : name(name), begin(std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now())), enabled(enabled) {}

CPerformceTiming::~CPerformceTiming() {
    if (!enabled) return;
    ::LogSinkWrite(internal::kLogDebug, internal::kModulePerf, "[%4d][%s]:%s %lld ms\n", 55,
                   "qar::CPerformceTiming::~CPerformceTiming", name.c_str(), Elapsed());
}

long long CPerformceTiming::Elapsed() const {
    const auto now = std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now());
    return (now - begin).count() / 10000;
}

}  // namespace qar
