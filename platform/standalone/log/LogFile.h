#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "standalone/log/LogControl.h"

namespace qarplatform {

/// Where the log's lines end: standard error, or a file that is rotated when it is full. Threads: one at a time.
class LogFile {
public:
    /// Standard error.
    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Opens the file of the options, made with mode 0640. Once only.
    /// @return 0, or an error number
    int Open(const LogOptions& options);

    /// Writes a text whole; a part that a full disk took is taken back. Where a rotation is due and cannot be done, the
    /// text goes to the old file, and the next one tries again; this is told on stderr once until it works.
    /// @return 0, or an error number
    int Append(std::string_view text);

private:
    std::size_t Size() const;
    void Rotate();
    int MakeRoom() const;

    int fd_ = 2;
    std::string path_;  // "" for standard error
    std::size_t max_bytes_ = 0;
    std::size_t files_ = 0;
    bool rotation_failing_ = false;  // told on stderr
};

}  // namespace qarplatform
