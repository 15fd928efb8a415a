#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace qarmock {

/// The server's clock zone: the process's own unless an offset is set. Threads: any.
class FakeTimeUtil {
public:
    /// Fixes the server's offset from UTC at every moment; east positive. The C library's local conversion is another
    /// matter: a test that wants both sets TZ as well.
    void SetServerOffset(std::optional<int> seconds);

    void TimeT2LocalTime(std::string& text, int& offset_seconds, int64_t t) const;
    std::string TimeT2LocalTimeStrISO(int64_t t) const;
    std::string TimeDifference2Str(int seconds) const;

private:
    mutable std::mutex mutex_;
    std::optional<int> offset_;
};

}  // namespace qarmock
