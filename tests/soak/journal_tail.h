#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace soak {

/// A line of a plug-in's journal: "told camera=101 busi=1 begin=… end=…", and what follows.
struct JournalEntry {
    std::string kind;
    int camera = 0;
    int busi = 0;
    std::int64_t begin_s = 0;  ///< since 1970 UTC
    std::int64_t end_s = 0;
};

/// Reads a journal while it is being written.
class JournalTail {
public:
    explicit JournalTail(std::filesystem::path file) : file_(std::move(file)) {}

    /// The whole lines that were added since the last call; none while there is no file.
    /// @throws std::runtime_error  for a line of another form
    std::vector<JournalEntry> Read();

private:
    std::filesystem::path file_;
    std::streamoff read_ = 0;
    std::string rest_;
};

}  // namespace soak
