#pragma once

#include "LogSink.h"

namespace qarplatform {

/// Module of the platform's own lines.
inline constexpr const char* kModulePlatform = "QARPlatform";

inline constexpr int kLogDebug = 2;
inline constexpr int kLogInformation = 3;
inline constexpr int kLogWarning = 4;
inline constexpr int kLogError = 5;
inline constexpr int kLogCritical = 6;

}  // namespace qarplatform
