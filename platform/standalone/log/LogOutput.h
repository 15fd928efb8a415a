#pragma once

#include <memory>
#include <string>

#include "standalone/log/LogControl.h"
#include "standalone/log/LogEntry.h"
#include "standalone/log/LogFile.h"

namespace spdlog {
class formatter;
}

namespace qarplatform {

/// Where entries go: a rotating file or stderr. An entry is "2026-03-01 08:00:00.123 W [QARCommon] text" in local time;
/// further lines of its text are indented. Threads: one at a time.
class LogOutput {
public:
    /// To stderr.
    LogOutput();
    ~LogOutput();
    LogOutput(LogOutput&&) noexcept;
    LogOutput& operator=(LogOutput&&) noexcept;

    /// To the file of the options, made with mode 0640, its folder too.
    /// @return false when it cannot be opened, with the path and the reason in `error`; the output is as it was then
    bool OpenFile(const LogOptions& options, std::string& error);

    /// Writes an entry. An output that fails (a full disk) is told on stderr once until it works again; then a line of
    /// its own tells how many entries were lost.
    void Write(const LogEntry& entry);

private:
    bool TellLost();
    bool Put(const LogEntry& entry);

    std::unique_ptr<LogFile> file_;
    std::unique_ptr<spdlog::formatter> layout_;
    unsigned long long lost_ = 0;  // entries that no line has told yet
    std::string reason_;           // why the last one was lost
};

}  // namespace qarplatform
