#pragma once

#include <atomic>
#include <cstddef>
#include <shared_mutex>
#include <string>
#include <unordered_set>

namespace qarplatform {

/// Masks sessions' ids in the log's lines:
///   - a run of exactly 32 letters and digits that is a known session's id;
///   - what stands behind "SID=" or "SID%3D", up to the next character that stands in no URL's value, unless it holds a
///     star: then it is masked already.
/// 32 characters become the first six, ten stars and the last six; of any other text three tenths in the middle, one
/// character at least, become stars. What has been masked stays as it is. Threads: any.
class SessionMask {
public:
    void Add(const std::string& session_id);
    void Remove(const std::string& session_id);

    void Apply(std::string& text) const;

private:
    void MaskKnown(std::string& text) const;

    mutable std::shared_mutex mutex_;
    std::unordered_set<std::string> known_;  // guarded by mutex_
    std::atomic<std::size_t> count_{0};      // of known_
};

}  // namespace qarplatform
