#pragma once

#include <cstddef>
#include <string>

namespace qarplatform {

struct LogOptions {
    int level = 3;                     ///< lowest level that is written: 2 debug … 6 critical
    std::string file;                  ///< path; "" writes to stderr
    std::size_t max_bytes = 10 << 20;  ///< size at which the file is rotated
    std::size_t files = 5;             ///< rotated files that are kept
};

/// Opens the log. Until then lines of level 4 and above go to stderr.
/// @param error  gets what went wrong, with the path
/// @return false when the file cannot be opened
bool StartLog(const LogOptions& options, std::string& error);

/// Lets lines show a session's id, which is a secret of 32 letters and digits, masked. The last net under those who
/// log: they mask it themselves. Threads: any.
void MaskInLog(const std::string& session_id);
void UnmaskInLog(const std::string& session_id);

/// Writes out what is queued and closes the log; later lines go to stderr.
void StopLog();

}  // namespace qarplatform
