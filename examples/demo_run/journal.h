#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "demo_cameras/time_text.h"

namespace demo {

enum class JournalEvent { kTold, kFetching, kFailed, kDone };

/// One line of the journal that the plug-in `backfill` writes.
struct JournalLine {
    JournalEvent event = JournalEvent::kTold;
    int camera = 0;
    int busi = 0;
    OffsetTime begin;  // of the range, on the camera's clock
    OffsetTime end;
    std::string error;  // failed: why
    std::string text;   // the line as it stands
};

/// Nothing for a line of another kind, or one that lacks something.
std::optional<JournalLine> ParseJournalLine(const std::string& line);

/// Reads a journal while it is being written.
class JournalTail {
public:
    explicit JournalTail(std::filesystem::path file) : file_(std::move(file)) {}

    /// The whole lines that were added since the last call; none while there is no file. Lines that cannot be read are
    /// counted and left out.
    std::vector<JournalLine> Read();

    int Unreadable() const { return unreadable_; }

private:
    std::filesystem::path file_;
    std::streamoff read_ = 0;
    std::string rest_;
    int unreadable_ = 0;
};

}  // namespace demo
