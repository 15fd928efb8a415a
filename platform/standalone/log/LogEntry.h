#pragma once

#include <chrono>
#include <string>

namespace qarplatform {

/// One entry of the log.
struct LogEntry {
    std::chrono::system_clock::time_point time;
    int level = 0;  ///< 2 debug … 6 critical
    std::string module;
    std::string text;  ///< may hold newlines
};

}  // namespace qarplatform
