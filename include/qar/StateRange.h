#pragma once

#include <string>

namespace qar {

/// A stretch of time for which something must be fetched from a camera's own storage. Both texts are moments on the
/// device's own clock with its offset from UTC at that moment, "YYYY-MM-DDTHH:MM:SS+HH:MM".
struct SStateRange {
    std::string str_begin_time_;  ///< first moment of the stretch
    std::string str_end_time_;    ///< first moment behind it
};

}  // namespace qar
