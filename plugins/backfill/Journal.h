#pragma once

#include <mutex>
#include <string>

#include "RangeQueue.h"
#include "TimeRange.h"

namespace backfill {

/// A text file that gains one line for each range told, begun, failed and done, for people and programs that follow the
/// plug-in's work. Each line is written at once and whole. Threads: any.
class Journal {
public:
    Journal() = default;
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// Opens the file for appending, made if absent.
    /// @return false when that fails; `error` tells why, with the path
    bool Open(const std::string& path, std::string& error);

    // Without an open file these do nothing; a line that cannot be written is left out, or torn; the
    // next one begins a line all the same.
    void Told(const CameraKey& key, const TimeRange& range);
    void Fetching(const CameraKey& key, const TimeRange& range);
    void Failed(const CameraKey& key, const TimeRange& range, int attempt, const std::string& error);
    void Done(const CameraKey& key, const TimeRange& range, long long bytes, const std::string& file);

private:
    void Write(const char* event, const CameraKey& key, const TimeRange& range, const std::string& rest);

    int fd_ = -1;
    std::mutex mutex_;
    bool torn_ = false;  // the last line lacks its end; guarded by mutex_
};

}  // namespace backfill
